#pragma once
#include <QtGlobal>
// Payload of the trace service (SapID 0xA0), shared by the host service and the virtual module.
// Every message of the service is an event; its MsgID is the event identifier.
#include "base/TCodeTables.h"

struct TraceMsgIds
{
    static constexpr quint8 kSapId = 0xA0;
};

namespace TraceLayouts {

/// Bytes needed to show both parameters; longer payloads are shown the same, the rest ignored.
constexpr int kParameterBytes = 8;

/// The two event parameters, P1 and P2, unsigned little-endian.
// name                         type
inline constexpr TFieldLayoutEntry kEventParameters[] = {
    {"P1",                       "U32d"},
    {"P2",                       "U32d"},
    {nullptr, nullptr},
};

}

#pragma once
#include <QByteArray>

#include "tools/sim/TSimService.h"

/// Trace output of debug firmware: the service takes no requests; the owner makes it emit events.
class TSimTrace : public TSimService
{
public:
    static constexpr quint8 kSapId = 0xA0;

    explicit TSimTrace(TSimModule& module) : TSimService(module) {}
    quint8 SapID() const override { return kSapId; }
    TSimReply HandleRequest(quint8 msgId, const QByteArray& payload) override;

    /// Sends trace event `id` with its two parameters.
    void EmitEvent(quint8 id, quint32 p1, quint32 p2);
    /// Sends trace event `id` with any payload (short ones carry no parameters).
    void EmitRawEvent(quint8 id, const QByteArray& payload);
};

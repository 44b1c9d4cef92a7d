#pragma once
#include <QStringList>

/// The gateway addresses the user keeps ("GatewaySupport/Gateways" in the settings store). Storing a
/// changed list tells everyone through the device manager's EvUpdateGatewayList.
class TGatewayList
{
public:
    static QStringList Load();
    /// Keeps the non-empty addresses, trimmed, in order; true (and the signal) when the list changed.
    static bool Store(const QStringList& addresses);
};

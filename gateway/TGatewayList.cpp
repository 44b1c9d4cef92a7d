#include "gateway/TGatewayList.h"

#include "devices/TDeviceManager.h"
#include "settings/TSettings.h"

QStringList TGatewayList::Load()
{
    return TSettings::Instance().Gateways();
}

bool TGatewayList::Store(const QStringList& addresses)
{
    QStringList list;
    for (const QString& address : addresses)
        if (!address.trimmed().isEmpty())
            list << address.trimmed();
    if (list == Load())
        return false;
    TSettings::Instance().SetGateways(list);
    emit TDeviceManager::Instance().EvUpdateGatewayList();
    return true;
}

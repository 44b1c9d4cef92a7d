#include "tools/sim/TSimIdentity.h"

#include <QStringList>

QString TSimIdentity::FirmwareText() const
{
    if (radioStack.isEmpty() && band.isEmpty() && appName.isEmpty())
        return firmwareName;
    return QStringList{firmwareName, radioStack, band, appName}.join(QLatin1Char(';'));
}

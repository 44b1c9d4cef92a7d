#include "sap/TDeviceTypes.h"

#include "base/TCodeTables.h"
#include "sap/TVeltoLRSAP.h"

namespace {
// type  name
const TCodeTableEntry kDeviceTypes[] = {
    {0x90, "Velto LR Module"},
    {0x91, "Velto LR USB Stick"},
    {0x92, "Velto LR Demo Board"},
    {0x93, "Velto LR Sensor Node"},
    {0xA0, "Wavelet24 Module"},
    {0xA1, "Wavelet24 USB Stick"},
    {0xB0, "Caravel Dual Stack Module"},
    {0xB1, "Caravel Dual Stack USB Stick"},
    {0, nullptr},
};
}

namespace TDeviceTypes {

QString Name(quint8 type)
{
    for (const TCodeTableEntry* row = kDeviceTypes; row->text; ++row)
        if (row->code == type)
            return QString::fromLatin1(row->text);
    return QStringLiteral("Unknown Device");
}

bool Number(const QString& name, quint8& type)
{
    for (const TCodeTableEntry* row = kDeviceTypes; row->text; ++row) {
        if (name == QLatin1String(row->text)) {
            type = quint8(row->code);
            return true;
        }
    }
    return false;
}

}

#include "devices/TPortSource.h"

#include <QSerialPortInfo>

namespace {
class TLinuxPortSource : public TPortSource
{
public:
    QStringList PresentPorts() const override
    {
        QStringList ports;
        const auto infos = QSerialPortInfo::availablePorts();
        for (const QSerialPortInfo& info : infos)
            ports << info.systemLocation();
        return ports;
    }

    QList<DevicePort> DevicePorts() const override
    {
        QList<DevicePort> result;
        const auto infos = QSerialPortInfo::availablePorts();
        for (const QSerialPortInfo& info : infos) {
            if (!info.hasVendorIdentifier() || !info.hasProductIdentifier())
                continue;
            const QString identity = QStringLiteral("VID_%1&PID_%2\\%3")
                                         .arg(info.vendorIdentifier(), 4, 16, QLatin1Char('0'))
                                         .arg(info.productIdentifier(), 4, 16, QLatin1Char('0'))
                                         .arg(info.serialNumber())
                                         .toUpper();
            result << DevicePort(identity, info.systemLocation());
        }
        return result;
    }
};
}

std::unique_ptr<TPortSource> TPortSource::CreateSystemSource()
{
    return std::make_unique<TLinuxPortSource>();
}

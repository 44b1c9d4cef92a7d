#include "devices/TPortSource.h"
#include "devices/TRegistryKey.h"

namespace {
class TRegistryPortSource : public TPortSource
{
public:
    QStringList PresentPorts() const override
    {
        TRegistryKey root;
        const auto key = root.Open(QStringLiteral("HARDWARE\\DEVICEMAP\\SERIALCOMM"));
        return key ? key->Values() : QStringList();
    }

    QList<DevicePort> DevicePorts() const override
    {
        QList<DevicePort> result;
        TRegistryKey root;
        const auto enumKey = root.Open(QStringLiteral("SYSTEM\\CurrentControlSet\\Enum"));
        if (!enumKey)
            return result;
        for (const QString& enumerator : enumKey->SubkeyNames()) {
            const auto enumeratorKey = enumKey->Open(enumerator);
            if (!enumeratorKey)
                continue;
            for (const QString& device : enumeratorKey->SubkeyNames()) {
                const auto deviceKey = enumeratorKey->Open(device);
                if (!deviceKey)
                    continue;
                for (const QString& instance : deviceKey->SubkeyNames()) {
                    const auto parameters = deviceKey->Open(instance + QStringLiteral("\\Device Parameters"));
                    if (!parameters)
                        continue;
                    const QString port = parameters->Value(QStringLiteral("PortName"));
                    if (!port.isEmpty())
                        result << DevicePort(device, port);
                }
            }
        }
        return result;
    }
};
}

std::unique_ptr<TPortSource> TPortSource::CreateSystemSource()
{
    return std::make_unique<TRegistryPortSource>();
}

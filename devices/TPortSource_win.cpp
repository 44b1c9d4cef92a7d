#include "devices/TPortSource.h"
#include "devices/TRegistryKey.h"

namespace {
class TRegistryPortSource : public TPortSource
{
public:
    Ports Enumerate() const override
    {
        Ports ports;
        TRegistryKey root;
        if (const auto key = root.Open(QStringLiteral("HARDWARE\\DEVICEMAP\\SERIALCOMM")))
            ports.present = key->Values();
        if (ports.present.isEmpty())
            return ports;
        const auto enumKey = root.Open(QStringLiteral("SYSTEM\\CurrentControlSet\\Enum"));
        if (!enumKey)
            return ports;
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
                        ports.devices << DevicePort(device, port);
                }
            }
        }
        return ports;
    }

    /// Hand-added ports are COM names here; the registry says whether they are present.
    PathKind Classify(const QString&) const override { return PathName; }
};
}

std::unique_ptr<TPortSource> TPortSource::CreateSystemSource()
{
    return std::make_unique<TRegistryPortSource>();
}

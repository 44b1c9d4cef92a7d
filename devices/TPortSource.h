#pragma once
#include <QList>
#include <QPair>
#include <QStringList>

#include <memory>

/// Where the present serial ports and their USB identities come from: the registry on Windows,
/// the system's serial port list on Linux. The discovery algorithm above it is the same everywhere.
class TPortSource
{
public:
    /// (device identity, port name). The identity reads like the registry's device key,
    /// e.g. "VID_0403&PID_6001\A50285BI", so that VID/PID patterns match it unchanged.
    using DevicePort = QPair<QString, QString>;

    virtual ~TPortSource() = default;
    /// Present serial ports, in the system's order.
    virtual QStringList PresentPorts() const = 0;
    /// Every USB serial device with the port it provides.
    virtual QList<DevicePort> DevicePorts() const = 0;

    /// The platform's own source.
    static std::unique_ptr<TPortSource> CreateSystemSource();
};

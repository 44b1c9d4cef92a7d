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

    /// One enumeration: the present ports in the system's order and the USB serial devices behind them.
    struct Ports {
        QStringList present;
        QList<DevicePort> devices;
    };

    /// What a hand-added path is right now.
    enum PathKind {
        PathMissing,          ///< nothing there (or a dangling link)
        PathSerial,           ///< a serial port's character device
        PathPseudoTerminal,   ///< a pseudo-terminal's character device
        PathOther,            ///< a regular file, a directory, /dev/null, a console ...
        PathName,             ///< a port name, not a path (COM7): probed whether the system lists it or not
    };

    virtual ~TPortSource() = default;
    /// Reads the system's port list (expensive: call it when the ports may have changed, not per tick).
    virtual Ports Enumerate() const = 0;
    /// Looks at one hand-added path (cheap: one or two stats).
    virtual PathKind Classify(const QString& path) const = 0;

    /// The platform's own source.
    static std::unique_ptr<TPortSource> CreateSystemSource();
};

#pragma once
#include <QObject>

#include <memory>

/// Tells when serial ports may have come or gone (udev on Linux), so that the port list is read
/// again then and not on every tick. Where the platform says nothing, the manager reads the list per tick.
class TPortMonitor : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;
    /// True when EvPortsChanged reports changes; false makes the manager enumerate on every tick.
    virtual bool Watching() const = 0;

    /// The platform's own monitor.
    static std::unique_ptr<TPortMonitor> CreateSystemMonitor();

signals:
    /// One or more ports were added or removed (a burst may come as several signals).
    void EvPortsChanged();
};

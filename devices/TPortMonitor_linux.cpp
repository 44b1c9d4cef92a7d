#include "devices/TPortMonitor.h"

#include <QSocketNotifier>

#include <libudev.h>
#include <unistd.h>

namespace {
/// A udev monitor of the tty subsystem whose netlink socket sits in the event loop.
class TUdevPortMonitor : public TPortMonitor
{
public:
    TUdevPortMonitor()
        : m_udev(udev_new())
    {
        if (!m_udev)
            return;
        // Without a udev daemon (containers, minimal systems) only the kernel's own events come.
        const char* source = ::access("/run/udev/control", F_OK) == 0 ? "udev" : "kernel";
        m_monitor = udev_monitor_new_from_netlink(m_udev, source);
        if (!m_monitor)
            return;
        if (udev_monitor_filter_add_match_subsystem_devtype(m_monitor, "tty", nullptr) < 0 || udev_monitor_enable_receiving(m_monitor) < 0) {
            udev_monitor_unref(m_monitor);
            m_monitor = nullptr;
            return;
        }
        auto* notifier = new QSocketNotifier(udev_monitor_get_fd(m_monitor), QSocketNotifier::Read, this);
        connect(notifier, &QSocketNotifier::activated, this, &TUdevPortMonitor::OnReadable);
    }

    ~TUdevPortMonitor() override
    {
        if (m_monitor)
            udev_monitor_unref(m_monitor);
        if (m_udev)
            udev_unref(m_udev);
    }

    bool Watching() const override { return m_monitor != nullptr; }

private:
    void OnReadable()
    {
        bool any = false;
        // The socket does not block: this drains what has arrived and stops.
        while (udev_device* device = udev_monitor_receive_device(m_monitor)) {
            udev_device_unref(device);
            any = true;
        }
        if (any)
            emit EvPortsChanged();
    }

    udev* m_udev = nullptr;
    udev_monitor* m_monitor = nullptr;
};
}

std::unique_ptr<TPortMonitor> TPortMonitor::CreateSystemMonitor()
{
    return std::make_unique<TUdevPortMonitor>();
}

#include "firmware/TFtdiPins.h"

#include <QEventLoop>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QSerialPortInfo>
#include <QTimer>

namespace {
bool PortExists(const QString& portName)
{
    if (QFileInfo::exists(portName) || QFileInfo::exists(QStringLiteral("/dev/") + portName))
        return true;
    const QList<QSerialPortInfo> ports = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo& info : ports) {
        if (info.portName() == portName || info.systemLocation() == portName)
            return true;
    }
    return false;
}
}

bool TFtdiPins::WaitForPort(const QString& portName, int timeoutMs)
{
    if (PortExists(portName))
        return true;
    if (timeoutMs <= 0)
        return false;
    // Woken by the kernel when the device node's folder changes; a port name without a folder to
    // watch (COM3) is looked for again every kPortPollMs instead.
    QEventLoop loop;
    QFileSystemWatcher watcher;
    const QFileInfo info(portName);
    const bool watched = info.isAbsolute() && watcher.addPath(info.absolutePath());
    QTimer poll;
    const auto check = [&loop, &portName] {
        if (PortExists(portName))
            loop.quit();
    };
    QObject::connect(&watcher, &QFileSystemWatcher::directoryChanged, &loop, check);
    QObject::connect(&poll, &QTimer::timeout, &loop, check);
    if (!watched)
        poll.start(kPortPollMs);
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    loop.exec();
    return PortExists(portName);
}

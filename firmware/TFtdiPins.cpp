#include "firmware/TFtdiPins.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QFileInfo>
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
    QDeadlineTimer deadline(timeoutMs);
    while (!PortExists(portName)) {
        if (deadline.hasExpired())
            return false;
        QEventLoop loop;
        QTimer::singleShot(kPortPollMs, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

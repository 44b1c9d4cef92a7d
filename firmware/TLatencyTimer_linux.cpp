#include "firmware/TLatencyTimer.h"

#include <QFile>
#include <QFileInfo>

namespace {
const char* const kUdevHint =
    "a udev rule such as ACTION==\"add\", SUBSYSTEM==\"usb-serial\", DRIVER==\"ftdi_sio\", ATTR{latency_timer}=\"1\" "
    "sets it for good";

/// "ttyUSB0" for "/dev/ttyUSB0", "ttyUSB0" or a link to it (/dev/serial/by-id/...).
QString DeviceName(const QString& portName)
{
    const QString path = portName.startsWith(QLatin1Char('/')) ? portName : QStringLiteral("/dev/") + portName;
    const QString target = QFileInfo(path).canonicalFilePath();
    return QFileInfo(target.isEmpty() ? path : target).fileName();
}

bool WriteValue(const QString& path, const QByteArray& value, QString& error)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(value) != value.size() || !file.flush()) {
        error = file.errorString();
        return false;
    }
    return true;
}
}

TLatencyTimer::TLatencyTimer(const QString& systemRoot)
    : m_root(systemRoot.isEmpty() ? QStringLiteral("/sys") : systemRoot)
{
}

TLatencyTimer::~TLatencyTimer()
{
    Restore();
}

TLatencyTimer::Result TLatencyTimer::Lower(const QString& portName, int ms)
{
    Restore();
    m_text.clear();
    const QString device = DeviceName(portName);
    const QString attribute = m_root + QStringLiteral("/bus/usb-serial/devices/") + device + QStringLiteral("/latency_timer");
    QFile file(attribute);
    if (!file.open(QIODevice::ReadOnly)) {
        m_text = QStringLiteral("info - %1 has no latency timer to lower (no FTDI USB serial port)").arg(portName);
        return NotApplicable;
    }
    const QString previous = QString::fromLatin1(file.readAll()).trimmed();
    file.close();
    if (previous == QString::number(ms)) {
        m_text = QStringLiteral("info - latency timer of %1 is %2 ms already").arg(device).arg(ms);
        return Lowered;
    }
    QString error;
    if (!WriteValue(attribute, QByteArray::number(ms), error)) {
        m_text = QStringLiteral("warning - couldn't lower the latency timer of %1 from %2 ms to %3 ms (%4: %5): "
                                "the update runs, but slower; %6")
                     .arg(device, previous)
                     .arg(ms)
                     .arg(attribute, error, QLatin1String(kUdevHint));
        return Failed;
    }
    m_attribute = attribute;
    m_previous = previous;
    m_text = QStringLiteral("info - latency timer of %1 lowered from %2 ms to %3 ms for the update").arg(device, previous).arg(ms);
    return Lowered;
}

bool TLatencyTimer::Restore()
{
    if (m_attribute.isEmpty())
        return true;
    const QString attribute = m_attribute;
    m_attribute.clear();
    QString error;
    if (!WriteValue(attribute, m_previous.toLatin1(), error)) {
        m_text = QStringLiteral("warning - couldn't put the latency timer back to %1 ms (%2: %3)").arg(m_previous, attribute, error);
        return false;
    }
    m_text = QStringLiteral("info - latency timer put back to %1 ms").arg(m_previous);
    return true;
}

#include "devices/TPortSource.h"

#include <QFileInfo>
#include <QSerialPortInfo>

#include <sys/stat.h>
#include <sys/types.h>
#ifdef __linux__
#include <sys/sysmacros.h>
#endif

namespace {
// Unix98 pseudo-terminal slaves (/dev/pts/N) use these character-device majors.
constexpr unsigned kFirstPtyMajor = 136;
constexpr unsigned kLastPtyMajor = 143;

class TLinuxPortSource : public TPortSource
{
public:
    Ports Enumerate() const override
    {
        Ports ports;
        const auto infos = QSerialPortInfo::availablePorts();
        for (const QSerialPortInfo& info : infos) {
            ports.present << info.systemLocation();
            if (!info.hasVendorIdentifier() || !info.hasProductIdentifier())
                continue;
            const QString identity = QStringLiteral("VID_%1&PID_%2\\%3")
                                         .arg(info.vendorIdentifier(), 4, 16, QLatin1Char('0'))
                                         .arg(info.productIdentifier(), 4, 16, QLatin1Char('0'))
                                         .arg(info.serialNumber())
                                         .toUpper();
            ports.devices << DevicePort(identity, info.systemLocation());
        }
        return ports;
    }

    PathKind Classify(const QString& path) const override
    {
        struct stat st {};
        if (::stat(QFile::encodeName(path).constData(), &st) != 0)
            return PathMissing;
        if (!S_ISCHR(st.st_mode))
            return PathOther;
        const unsigned maj = major(st.st_rdev);
        const unsigned min = minor(st.st_rdev);
        if (maj >= kFirstPtyMajor && maj <= kLastPtyMajor)
            return PathPseudoTerminal;
        // A tty with a device behind it is a serial port; consoles, /dev/tty and /dev/null have none.
        const QString device = QStringLiteral("/sys/dev/char/%1:%2/device").arg(maj).arg(min);
        const QString subsystem = QStringLiteral("/sys/dev/char/%1:%2/subsystem").arg(maj).arg(min);
        if (QFileInfo::exists(device) && QFileInfo(subsystem).canonicalFilePath().endsWith(QLatin1String("/tty")))
            return PathSerial;
        return PathOther;
    }
};
}

std::unique_ptr<TPortSource> TPortSource::CreateSystemSource()
{
    return std::make_unique<TLinuxPortSource>();
}

#include "hci/TSerialDevice.h"

#include <QFileInfo>

#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace TSerialDevice {

QString RefusalBeforeOpen(const QString& path)
{
    struct stat status {};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return QString();
    if (S_ISDIR(status.st_mode))
        return QStringLiteral("Is a directory");
    if (S_ISREG(status.st_mode))
        return QStringLiteral("not a serial port (a regular file)");
    if (!S_ISCHR(status.st_mode))
        return QStringLiteral("not a serial port (not a character device)");
    // Devices with a driver model entry show their class there: a terminal sits under ".../tty/".
    // Pseudo-terminals have no entry; opening one that is no terminal fails in the port itself.
    const QString entry = QStringLiteral("/sys/dev/char/%1:%2").arg(major(status.st_rdev)).arg(minor(status.st_rdev));
    const QFileInfo sysfs(entry);
    if (sysfs.exists() && !sysfs.canonicalFilePath().contains(QLatin1String("/tty/")))
        return QStringLiteral("not a serial port (a character device that is no terminal)");
    return QString();
}

}

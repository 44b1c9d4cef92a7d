#include "base/TSystemMemory.h"

#include <QFile>

namespace TSystemMemory {

qint64 FreeBytes()
{
    QFile file(QStringLiteral("/proc/meminfo"));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return -1;
    // "MemAvailable:   12345678 kB" counts what can be had without swapping; older kernels lack it.
    qint64 freeKb = -1;
    // /proc files report size 0: read them whole rather than asking for the end.
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray& line : lines) {
        const QList<QByteArray> parts = line.simplified().split(' ');
        if (parts.size() < 2)
            continue;
        bool ok = false;
        const qint64 kb = parts.at(1).toLongLong(&ok);
        if (!ok)
            continue;
        if (parts.at(0) == "MemAvailable:")
            return kb * 1024;
        if (parts.at(0) == "MemFree:")
            freeKb = kb;
    }
    return freeKb < 0 ? -1 : freeKb * 1024;
}

}

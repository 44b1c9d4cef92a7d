#include "base/TSystemMemory.h"

namespace TSystemMemory {

QString FreeMemItem()
{
    const qint64 bytes = FreeBytes();
    const QString value = bytes < 0 ? QStringLiteral("n.a.") : QStringLiteral("%1 MiB").arg(bytes / (1024 * 1024));
    return QStringLiteral("Key:FreeMem;Value:%1").arg(value);
}

}

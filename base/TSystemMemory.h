#pragma once
#include <QString>

/// Free memory as the operating system reports it (/proc/meminfo on Linux, GlobalMemoryStatusEx on Windows).
namespace TSystemMemory {
/// Available physical memory in bytes; -1 when the system does not say.
qint64 FreeBytes();
/// "Key:FreeMem;Value:%1" with the free memory in MiB, for a descriptor row.
QString FreeMemItem();
}

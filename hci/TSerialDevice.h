#pragma once
#include <QString>

/// What may be opened as a serial port: a character device that is a terminal. A regular file,
/// a directory or /dev/null would take the wake-up bytes and frames as data. One source per platform.
namespace TSerialDevice {
/// Asked before opening: empty when the path may be opened, else why not (a missing path is left to
/// the open, which says so itself; a descriptor that is no terminal fails the open's own settings).
QString RefusalBeforeOpen(const QString& path);
}

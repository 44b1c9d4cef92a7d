#pragma once
// A name of its own for a virtual module's port. Pseudo-terminal numbers are reused at once by other
// processes, and a serial port's lock file is named after the path it is opened by: a fresh
// /dev/pts/N may still be locked by the program that had that number a moment ago. The link goes
// with the terminal.
#include <QDir>
#include <QTemporaryDir>

#include "tools/sim/TPseudoTerminal.h"

inline QString NamedPort(TPseudoTerminal& wire)
{
    static QTemporaryDir dir(QDir::tempPath() + QStringLiteral("/tessera-ports-XXXXXX"));
    static int count = 0;
    const QString path = dir.filePath(QStringLiteral("port-%1").arg(++count));
    return wire.CreateLink(path) ? path : QString();
}

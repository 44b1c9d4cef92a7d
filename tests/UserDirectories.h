#pragma once
// HOME and the XDG directories pointed at a private temporary folder, removed at exit: for test
// mains and fuzz targets, before anything reads the settings.
#include <QByteArray>
#include <QDir>
#include <QString>
#include <QTemporaryDir>

namespace TestEnvironment {
inline QString IsolateUserDirectories()
{
    static QTemporaryDir home(QDir::tempPath() + QStringLiteral("/tessera-test-XXXXXX"));
    const QByteArray path = home.path().toLocal8Bit();
    qputenv("HOME", path);
    qputenv("XDG_DATA_HOME", path + "/.local/share");
    qputenv("XDG_CONFIG_HOME", path + "/.config");
    qputenv("XDG_CACHE_HOME", path + "/.cache");
    return home.path();
}
}

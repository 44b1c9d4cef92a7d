// Run once by libFuzzer before the first input, for every target: the user's settings and files stay
// untouched (HOME and the XDG directories point at a private folder) and Qt's warnings about bad
// input stay off the terminal.
#include <QCoreApplication>
#include <QDir>

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    const QByteArray home = (QDir::tempPath() + QStringLiteral("/tessera-fuzz-home-%1").arg(QCoreApplication::applicationPid())).toLocal8Bit();
    QDir().mkpath(QString::fromLocal8Bit(home));
    qputenv("HOME", home);
    qputenv("XDG_DATA_HOME", home + "/.local/share");
    qputenv("XDG_CONFIG_HOME", home + "/.config");
    qputenv("XDG_CACHE_HOME", home + "/.cache");
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    return 0;
}

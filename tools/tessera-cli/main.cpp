// tessera-cli: scripting and production use of the studio's core.
#include <QCoreApplication>
#include <QTextStream>

#include "tools/cli/TCli.h"

int main(int argc, char* argv[])
{
    // Protocol traces are for --verbose only: scripts read stdout and stderr.
    static bool verbose = false;
    for (int i = 1; i < argc; ++i)
        verbose = verbose || qstrcmp(argv[i], "--verbose") == 0;
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
        if (type != QtDebugMsg || verbose)
            fprintf(stderr, "%s\n", qPrintable(text));
    });
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tessera-cli"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TESSERA_VERSION));
    QTextStream out(stdout);
    QTextStream err(stderr);
    TCli cli(out, err);
    const int rc = cli.Run(app.arguments().mid(1));
    out.flush();
    err.flush();
    return rc;
}

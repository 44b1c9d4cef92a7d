#pragma once
// Runs the tessera-cli binary while this test's event loop keeps its virtual modules answering.
#include <QEventLoop>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTimer>

namespace CliProcess {
struct Run {
    int exitCode = -1;
    QString out;
    QString err;
};

/// `stderrPath` sends the binary's stderr there instead of a pipe (a pseudo-terminal, to look
/// like a terminal). The wait is an event loop ended by the process or the time-out.
inline Run Cli(const QStringList& args, int timeoutMs = 20000, const QString& stderrPath = QString())
{
    QProcess process;
    if (!stderrPath.isEmpty())
        process.setStandardErrorFile(stderrPath, QIODevice::Append);
    QEventLoop loop;
    QObject::connect(&process, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), &loop, &QEventLoop::quit);
    QObject::connect(&process, &QProcess::errorOccurred, &loop, &QEventLoop::quit);
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    process.start(QStringLiteral(TESSERA_BIN_DIR "/tessera-cli"), args);
    loop.exec();
    Run run;
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished(1000);
        run.err = QStringLiteral("timed out");
        return run;
    }
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}
}

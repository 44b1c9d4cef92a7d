#pragma once
// Runs the tessera-cli binary to its end while the test's own event loop keeps running, so that the
// virtual modules and gateways living in the test process answer it.
#include <QProcess>
#include <QSignalSpy>
#include <QString>
#include <QStringList>

struct Run {
    int exitCode = -1;
    QString out;
    QString err;
};

inline Run Cli(const QStringList& args, int timeoutMs = 20000)
{
    qRegisterMetaType<QProcess::ExitStatus>();
    QProcess process;
    QSignalSpy finished(&process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished));
    process.start(QStringLiteral(TESSERA_BIN_DIR "/tessera-cli"), args);
    Run run;
    if (!finished.wait(timeoutMs)) {
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

#pragma once
// Runs the tessera-cli binary to its end while the test's own event loop keeps running, so that the
// virtual modules and gateways living in the test process answer it.
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QString>
#include <QStringList>

struct Run {
    int exitCode = -1;
    QString out;
    QString err;
};

/// Pumps in short slices rather than a nested QEventLoop: the flash test's virtual module misses its
/// bootloader entry under a nested exec() (an "Operation Timeout" in tessera-cli flash --via-hci).
inline Run Cli(const QStringList& args, int timeoutMs = 20000)
{
    QProcess process;
    process.start(QStringLiteral(TESSERA_BIN_DIR "/tessera-cli"), args);
    QElapsedTimer timer;
    timer.start();
    while (process.state() != QProcess::NotRunning && timer.elapsed() < timeoutMs)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
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

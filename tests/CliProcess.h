#pragma once
// Runs the tessera-cli binary while this test's event loop keeps its virtual modules answering.
#include <QEventLoop>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QtTest>

namespace CliProcess {
struct Run {
    QStringList args;
    int exitCode = -1;
    QString out;
    QString err;
};

/// What a failed check prints: the command line, its exit status and its stderr.
inline QString Describe(const Run& run)
{
    return QStringLiteral("tessera-cli %1\nexit status %2\nstderr: %3").arg(run.args.join(QLatin1Char(' '))).arg(run.exitCode).arg(run.err);
}

/// `stderrPath` sends the binary's stderr there instead of a pipe (a pseudo-terminal, to look
/// like a terminal).
inline void Start(QProcess& process, const QStringList& args, const QString& stderrPath = QString())
{
    if (!stderrPath.isEmpty())
        process.setStandardErrorFile(stderrPath, QIODevice::Append);
    process.setProgram(QStringLiteral(TESSERA_BIN_DIR "/tessera-cli"));
    process.setArguments(args);
    process.start();
}

/// Lets this process's event loop keep the virtual modules answering until the command has ended
/// or the time-out has passed.
inline Run Finish(QProcess& process, int timeoutMs = 60000)
{
    QEventLoop loop;
    QObject::connect(&process, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), &loop, &QEventLoop::quit);
    QObject::connect(&process, &QProcess::errorOccurred, &loop, &QEventLoop::quit);
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    if (process.state() != QProcess::NotRunning)
        loop.exec();
    Run run;
    run.args = process.arguments();
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished(5000);
        run.err = QStringLiteral("timed out; stderr so far: ") + QString::fromUtf8(process.readAllStandardError());
        return run;
    }
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}

inline Run Cli(const QStringList& args, int timeoutMs = 60000, const QString& stderrPath = QString())
{
    QProcess process;
    Start(process, args, stderrPath);
    return Finish(process, timeoutMs);
}
}

/// Checks a run's exit status; a failure prints the command line and its stderr.
#define CHECK_EXIT(run, code)                                                               \
    do {                                                                                    \
        const CliProcess::Run& checked = (run);                                             \
        QVERIFY2(checked.exitCode == (code), qPrintable(CliProcess::Describe(checked)));    \
    } while (false)

// Prints the CPU seconds that idle programs use in ten seconds: (a) `tessera-cli monitor` on a
// silent virtual module, (b) the studio (offscreen) with two virtual modules attached as extra
// ports. Each program runs as its own process; its CPU time (utime + stime from /proc/<pid>/stat)
// is read once its start-up has settled and again ten seconds later.
//
//   bench_idle [--bin DIR]   DIR holds tessera, tessera-cli and tessera-sim (default: beside this program)
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>

#include <functional>
#include <memory>
#include <vector>

#include <unistd.h>

#include "settings/TSettings.h"

namespace {
constexpr int kMeasureMs = 10000;
constexpr int kPollMs = 250;
constexpr int kSettledMs = 1000;      // no CPU used for this long: start-up is over
constexpr int kSettleLimitMs = 20000;
constexpr double kTargetSeconds = 0.05;

void Wait(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

/// Polls until `done` says yes or `limitMs` passed; returns whether it said yes.
bool WaitFor(const std::function<bool()>& done, int limitMs)
{
    QElapsedTimer clock;
    clock.start();
    while (!done()) {
        if (clock.elapsed() > limitMs)
            return false;
        Wait(kPollMs);
    }
    return true;
}

/// utime + stime of a process, in clock ticks; -1 when it is gone.
qint64 CpuTicks(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray line = stat.readAll();
    // Fields after the command name (which may hold blanks) start at field 3; utime is 14, stime 15.
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    if (fields.size() < 13)
        return -1;
    return fields.at(11).toLongLong() + fields.at(12).toLongLong();
}

/// Time on the CPU of all the process's threads in ns (/proc/<pid>/task/*/schedstat), finer than clock ticks; -1 when gone.
qint64 CpuNs(qint64 pid)
{
    const QDir tasks(QStringLiteral("/proc/%1/task").arg(pid));
    if (!tasks.exists())
        return -1;
    qint64 sum = 0;
    for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile schedstat(tasks.filePath(task + QStringLiteral("/schedstat")));
        if (schedstat.open(QIODevice::ReadOnly))
            sum += schedstat.readAll().split(' ').value(0).toLongLong();
    }
    return sum;
}

/// Waits until the process has used no CPU for kSettledMs; returns whether it settled.
bool Settle(qint64 pid)
{
    qint64 last = CpuTicks(pid);
    QElapsedTimer still;
    still.start();
    return WaitFor([&] {
        const qint64 now = CpuTicks(pid);
        if (now != last) {
            last = now;
            still.restart();
        }
        return still.elapsed() >= kSettledMs;
    }, kSettleLimitMs);
}

struct Usage {
    double seconds = -1;   ///< utime + stime
    double onCpuMs = -1;   ///< the same from the scheduler, in ms
};

/// CPU time the process uses over kMeasureMs; negative when it ended.
Usage Measure(qint64 pid)
{
    const qint64 ticksBefore = CpuTicks(pid);
    const qint64 nsBefore = CpuNs(pid);
    Wait(kMeasureMs);
    const qint64 ticksAfter = CpuTicks(pid);
    const qint64 nsAfter = CpuNs(pid);
    Usage usage;
    if (ticksBefore < 0 || ticksAfter < 0)
        return usage;
    usage.seconds = double(ticksAfter - ticksBefore) / double(::sysconf(_SC_CLK_TCK));
    if (nsBefore >= 0 && nsAfter >= nsBefore)
        usage.onCpuMs = double(nsAfter - nsBefore) / 1e6;
    return usage;
}

std::unique_ptr<QProcess> StartSim(const QString& bin, const QString& link)
{
    auto sim = std::make_unique<QProcess>();
    sim->start(bin + QStringLiteral("/tessera-sim"), {QStringLiteral("--link"), link});
    if (!sim->waitForStarted() || !WaitFor([&link] { return QFileInfo::exists(link); }, kSettleLimitMs))
        return nullptr;
    return sim;
}

void Stop(QProcess& process)
{
    process.terminate();
    if (!process.waitForFinished(5000))
        process.kill();
    process.waitForFinished(1000);
}

QString Figure(const Usage& usage, bool settled)
{
    if (usage.seconds < 0)
        return QStringLiteral("n.a. (the program ended)");
    return QStringLiteral("%1 s CPU%2 (target < %3 s; %4 ms on the CPU by the scheduler)%5")
        .arg(usage.seconds, 0, 'f', 3)
        .arg(usage.seconds < kTargetSeconds ? QString() : QStringLiteral(" OVER"))
        .arg(kTargetSeconds)
        .arg(usage.onCpuMs < 0 ? QStringLiteral("n.a.") : QString::number(usage.onCpuMs, 'f', 1))
        .arg(settled ? QString() : QStringLiteral(", start-up never settled"));
}
}

int main(int argc, char** argv)
{
    QTemporaryDir home;   // never touch the user's settings; the programs started here inherit it
    qputenv("HOME", home.path().toLocal8Bit());
    qputenv("XDG_DATA_HOME", (home.path() + QStringLiteral("/share")).toLocal8Bit());
    qputenv("XDG_CONFIG_HOME", (home.path() + QStringLiteral("/config")).toLocal8Bit());
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption binOption(QStringLiteral("bin"), QStringLiteral("Folder of tessera, tessera-cli and tessera-sim."), QStringLiteral("DIR"));
    parser.addOption(binOption);
    parser.addHelpOption();
    parser.process(app);
    const QString bin = QDir(parser.isSet(binOption) ? parser.value(binOption) : QCoreApplication::applicationDirPath()).absolutePath();
    QTextStream out(stdout);
    out << "programs from " << bin << "\n";
    out.flush();

    // (a) tessera-cli monitor on a module that says nothing.
    {
        const QString link = home.filePath(QStringLiteral("sim-monitor"));
        auto sim = StartSim(bin, link);
        if (!sim) {
            out << "(a) tessera-sim did not start\n";
            return 1;
        }
        QProcess monitor;
        monitor.start(bin + QStringLiteral("/tessera-cli"), {QStringLiteral("monitor"), QStringLiteral("--port"), link});
        monitor.waitForStarted();
        const bool settled = Settle(monitor.processId());
        const Usage seconds = Measure(monitor.processId());
        out << "(a) tessera-cli monitor, silent module, " << kMeasureMs / 1000 << " s: " << Figure(seconds, settled) << "\n";
        out.flush();
        Stop(monitor);
        Stop(*sim);
    }

    // (b) the studio with two modules attached as extra ports, idle.
    {
        const QStringList links{home.filePath(QStringLiteral("sim-1")), home.filePath(QStringLiteral("sim-2"))};
        std::vector<std::unique_ptr<QProcess>> sims;
        for (const QString& link : links) {
            sims.push_back(StartSim(bin, link));
            if (!sims.back()) {
                out << "(b) tessera-sim did not start\n";
                return 1;
            }
        }
        TSettings::Instance().WriteList(QStringLiteral("ComPorts"), QStringLiteral("Extra"), links);
        const QString settingsFile = TSettings::Instance().SettingsFilePath();
        QProcess studio;
        studio.start(bin + QStringLiteral("/tessera"), QStringList());
        studio.waitForStarted();
        // Found means: the studio wrote both ports into its list of used ports.
        const bool found = WaitFor([&] {
            QSettings settings(settingsFile, QSettings::IniFormat);
            const QStringList used = settings.value(QStringLiteral("ComPorts/Used")).toStringList();
            return used.contains(links.at(0)) && used.contains(links.at(1));
        }, kSettleLimitMs);
        const bool settled = Settle(studio.processId());
        const Usage seconds = Measure(studio.processId());
        out << "(b) tessera (offscreen), two modules " << (found ? "found" : "NOT found") << ", idle, " << kMeasureMs / 1000
            << " s: " << Figure(seconds, settled) << "\n";
        out.flush();
        Stop(studio);
        for (auto& sim : sims)
            Stop(*sim);
    }
    return 0;
}

// Prints how the Osprey Data Link page copes with 1000 received messages per second for 10 s. A
// virtual module in a process of its own (this program started with --module) receives them from
// four nodes (TSimTraffic) and sends them over its pseudo-terminal; the studio's page, shown
// offscreen in this process, puts every one into its table and its signal plot. Event-loop latency
// is how late a 1 ms timer fires here while the messages arrive; "shown" is the time from the last
// message leaving the module until the plot holds its point and the table its row.
#include <QApplication>
#include <QEventLoop>
#include <QProcess>
#include <QSocketNotifier>
#include <QTextStream>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

#include <unistd.h>

#include "TestEnvironment.h"
#include "devices/TControllerPrototypes.h"
#include "devices/TDeviceManager.h"
#include "gui/TSignalView.h"
#include "gui/pages/TDataLinkPage.h"
#include "status/TTableCtrl.h"
#include "tools/sim/TSimModule.h"
#include "tools/sim/TSimTraffic.h"

namespace {
constexpr int kSeconds = 10;
constexpr double kPerSecond = 1000;
constexpr int kWaitMs = 30000;

/// One clock for both processes (CLOCK_MONOTONIC).
qint64 NowNs()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double Percentile(const std::vector<double>& sorted, double p)
{
    return sorted.empty() ? 0.0 : sorted[std::min(sorted.size() - 1, size_t(double(sorted.size()) * p))];
}

/// The module's process: "ready" once its port is linked at `link`; on "start" from standard
/// input, kSeconds of traffic, then "stopped <messages> <ns of the last one>"; ends with its input.
int RunModule(int argc, char** argv, const QString& link)
{
    QCoreApplication app(argc, argv);
    TSimModule sim;
    sim.Identity().firmwareName = QStringLiteral("Caravel_LoRaWAN");
    if (!sim.Open() || !sim.CreateLink(link))
        return 1;
    TSimTraffic traffic(sim);
    qint64 lastNs = 0;
    QObject::connect(&traffic, &TSimTraffic::EvEmitted, [&lastNs] { lastNs = NowNs(); });
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, [&] {
        char line[64];
        const ssize_t n = ::read(STDIN_FILENO, line, sizeof line);
        if (n <= 0) {
            app.quit();
            return;
        }
        traffic.Start(kPerSecond);
        QTimer::singleShot(kSeconds * 1000, [&] {
            traffic.Stop();
            std::printf("stopped %llu %lld\n", static_cast<unsigned long long>(traffic.Emitted()), static_cast<long long>(lastNs));
            std::fflush(stdout);
        });
    });
    std::printf("ready\n");
    std::fflush(stdout);
    return app.exec();
}

/// Runs the event loop until `module` printed a line starting with `word` (its words), or `ms` pass.
QStringList AwaitLine(QProcess& module, const char* word, int ms)
{
    QEventLoop loop;
    QStringList words;
    const auto check = [&] {
        while (module.canReadLine()) {
            const QStringList line = QString::fromLatin1(module.readLine()).simplified().split(QLatin1Char(' '));
            if (line.first() == QLatin1String(word)) {
                words = line;
                loop.quit();
            }
        }
    };
    QObject::connect(&module, &QProcess::readyReadStandardOutput, &loop, check);
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    check();
    if (words.isEmpty())
        loop.exec();
    return words;
}
}

int main(int argc, char** argv)
{
    for (int i = 1; i + 1 < argc; ++i)
        if (qstrcmp(argv[i], "--module") == 0)
            return RunModule(argc, argv, QString::fromLocal8Bit(argv[i + 1]));

    const QString home = TestEnvironment::IsolateUserDirectories();
    if (qgetenv("QT_QPA_PLATFORM").isEmpty())
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QTextStream out(stdout);

    const QString link = home + QStringLiteral("/ttyBENCH0");
    QProcess module;
    module.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    module.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--module"), link});
    if (AwaitLine(module, "ready", kWaitMs).isEmpty()) {
        out << "error - the virtual module did not start\n";
        return 1;
    }
    TControllerPrototypes::RegisterAll();
    TDeviceManager& devices = TDeviceManager::Instance();
    devices.SetDefaultPatterns(TDeviceManager::DefaultPatterns());
    devices.AddExtraPort(link);
    devices.DiscoveryTick();
    if (!devices.SelectedDevice()) {
        out << "error - the virtual module was not found\n";
        return 1;
    }

    TDataLinkPage page(QStringLiteral("Osprey Data Link"));
    page.resize(1024, 768);
    page.show();
    const TSignalView& view = *page.SignalView();
    const TTableCtrl& table = *page.Table();
    int redraws = 0;
    QObject::connect(&view, &TSignalView::EvRedrawn, [&redraws] { ++redraws; });

    std::vector<double> lateMs;
    qint64 lastTickNs = -1;
    QTimer probe;
    probe.setTimerType(Qt::PreciseTimer);
    QObject::connect(&probe, &QTimer::timeout, [&] {
        const qint64 now = NowNs();
        if (lastTickNs >= 0)
            lateMs.push_back(double(now - lastTickNs) / 1e6 - 1.0);
        lastTickNs = now;
    });
    probe.start(1);
    module.write("start\n");
    const QStringList stopped = AwaitLine(module, "stopped", kSeconds * 1000 + kWaitMs);
    probe.stop();
    if (stopped.size() < 3) {
        out << "error - the virtual module did not report its end\n";
        return 1;
    }
    const quint64 emitted = stopped.at(1).toULongLong();
    const qint64 lastSentNs = stopped.at(2).toLongLong();

    // Until the last message is in the plot and in the table.
    qint64 plottedNs = -1, tabledNs = -1;
    {
        QEventLoop loop;
        QTimer check;
        QObject::connect(&check, &QTimer::timeout, [&] {
            if (plottedNs < 0 && view.Stats().Counters().received >= emitted && view.ShownRevision() == view.Stats().Revision())
                plottedNs = NowNs();
            if (tabledNs < 0 && quint64(table.RowCount()) >= emitted)
                tabledNs = NowNs();
            if (plottedNs >= 0 && tabledNs >= 0)
                loop.quit();
        });
        QTimer::singleShot(kWaitMs, &loop, &QEventLoop::quit);
        check.start(1);
        loop.exec();
    }
    module.closeWriteChannel();
    module.waitForFinished();

    std::sort(lateMs.begin(), lateMs.end());
    out << QStringLiteral("%1 messages in %2 s from 4 nodes; the page counted %3, plotted %4 points, listed %5 rows, redrew the plot %6 times\n")
               .arg(emitted).arg(kSeconds).arg(view.Stats().Counters().received).arg(view.Stats().PointCount())
               .arg(table.RowCount()).arg(redraws);
    out << QStringLiteral("event-loop latency (1 ms timer, %1 ticks): median %2 ms, p99 %3 ms, max %4 ms\n")
               .arg(lateMs.size())
               .arg(Percentile(lateMs, 0.5), 0, 'f', 2)
               .arg(Percentile(lateMs, 0.99), 0, 'f', 2)
               .arg(lateMs.empty() ? 0.0 : lateMs.back(), 0, 'f', 2);
    const auto after = [lastSentNs](qint64 ns) {
        return ns < 0 ? QStringLiteral("not within %1 s").arg(kWaitMs / 1000)
                      : QStringLiteral("%1 ms").arg(double(ns - lastSentNs) / 1e6, 0, 'f', 1);
    };
    out << QStringLiteral("last message shown: in the plot %1, in the table %2 after it left the module\n").arg(after(plottedNs), after(tabledNs));
    return 0;
}

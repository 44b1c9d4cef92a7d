// Prints the event-loop latency of the studio while a virtual module floods it with 1000 events per
// second: every event goes through the link, the LoRaWAN service, the controller and the status
// window. Latency is how late a 10 ms timer fires.
#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>

#include <algorithm>
#include <vector>

#include "devices/TLoRaWANEndNode.h"
#include "status/TStatusWindow.h"
#include "tools/sim/TSimLoRaWAN.h"
#include "tools/sim/TSimModule.h"

int main(int argc, char** argv)
{
    QTemporaryDir home;
    qputenv("HOME", home.path().toLocal8Bit());
    qputenv("XDG_DATA_HOME", (home.path() + QStringLiteral("/share")).toLocal8Bit());
    if (qgetenv("QT_QPA_PLATFORM").isEmpty())
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QTextStream out(stdout);

    TStatusWindow window;
    window.resize(1200, 400);
    window.show();
    TSimModule sim;
    sim.Open();
    TLoRaWANEndNode node;
    node.Open(sim.PortName(), QStringLiteral("115200"));
    int received = 0;
    QObject::connect(&node, &TLoRaWANEndNode::EvLoRaWAN_RxEvent, [&received](const TKeyValueList&) { ++received; });

    auto* lorawan = sim.ServiceOf<TSimLoRaWAN>();
    constexpr int kSeconds = 5;
    constexpr int kEventsPerSecond = 1000;
    int sent = 0;
    QTimer flood;
    flood.setTimerType(Qt::PreciseTimer);
    QObject::connect(&flood, &QTimer::timeout, [&] {
        for (int i = 0; i < 10 && sent < kSeconds * kEventsPerSecond; ++i, ++sent)
            lorawan->InjectRxData(10, QByteArray::fromHex("0102030405060708"));
    });
    flood.start(10);   // ten events every 10 ms

    std::vector<double> lateMs;
    QElapsedTimer probeClock;
    QTimer probe;
    probe.setTimerType(Qt::PreciseTimer);
    QObject::connect(&probe, &QTimer::timeout, [&] {
        if (probeClock.isValid())
            lateMs.push_back(probeClock.nsecsElapsed() / 1e6 - 10.0);
        probeClock.restart();
    });
    probe.start(10);

    QTimer::singleShot(kSeconds * 1000 + 500, &app, &QCoreApplication::quit);
    app.exec();
    flood.stop();
    probe.stop();
    std::sort(lateMs.begin(), lateMs.end());
    out << QStringLiteral("%1 events sent, %2 received and shown in %3 s\n").arg(sent).arg(received).arg(kSeconds);
    out << QStringLiteral("event-loop latency (10 ms timer): median %1 ms, p99 %2 ms, max %3 ms\n")
               .arg(lateMs[lateMs.size() / 2], 0, 'f', 2)
               .arg(lateMs[size_t(double(lateMs.size()) * 0.99)], 0, 'f', 2)
               .arg(lateMs.back(), 0, 'f', 2);
    return 0;
}

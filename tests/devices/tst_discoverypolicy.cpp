#include <QtTest>

#include "TestEnvironment.h"
#include "devices/TDeviceManager.h"
#include "devices/TDiscoveryPolicy.h"

namespace {
using Policy = TDiscoveryPolicy;
using Decision = TDiscoveryPolicy::Decision;

const QString kUsb0 = QStringLiteral("/dev/ttyUSB0");
const QString kFtdi = QStringLiteral("VID_0403&PID_6001\\A50285BI");
const QString kOtherFtdi = QStringLiteral("VID_0403&PID_6001\\B7700001");
const QString kArduino = QStringLiteral("VID_2341&PID_0043\\75833353");

/// What is there at one tick, written as a chain: Ports().Usb(...).Device(...).
struct Ports {
    Policy::Snapshot s;
    Ports()
    {
        s.defaultPatterns = TDeviceManager::DefaultPatterns();
        s.rateFlags = {false, false, false, true, true, false, false};   // 57600 and 115200
    }
    Ports& Usb(const QString& port, const QString& identity)
    {
        s.system.present << port;
        s.system.devices << TPortSource::DevicePort(identity, port);
        return *this;
    }
    Ports& Plain(const QString& port)
    {
        s.system.present << port;
        return *this;
    }
    Ports& NoPatterns()
    {
        s.defaultPatterns.clear();
        return *this;
    }
    Ports& Path(const QString& port, TPortSource::PathKind kind)
    {
        s.handAdded << Policy::HandAdded{port, kind};
        return *this;
    }
    /// flags: any of "busy", "lost" (its link saw the port go), "selected", "parked".
    Ports& Device(const QString& port, int presence = Policy::kPresenceTicks, const QString& flags = QString())
    {
        Policy::Device d;
        d.port = port;
        d.presence = presence;
        d.busy = flags.contains(QLatin1String("busy"));
        d.linkLost = flags.contains(QLatin1String("lost"));
        d.selected = flags.contains(QLatin1String("selected"));
        d.parked = flags.contains(QLatin1String("parked"));
        s.devices << d;
        return *this;
    }
    Ports& Released(const QString& port)
    {
        s.released << port;
        return *this;
    }
};

/// One tick of a scenario: an action before it ("reset", "block PORT"), what is there, what each
/// probe gives ('+' a module answers, '-' nothing), what the policy decides, when it wants the next tick.
struct Step {
    qint64 clock;
    QString before;
    Policy::Snapshot now;
    QString probes;
    QStringList expected;
    int wake;
};
using Scenario = QList<Step>;

QString Text(const Decision& d)
{
    // kind               text
    static const QMap<Decision::Kind, QString> kNames = {
        {Decision::Probe, QStringLiteral("probe")},        {Decision::Presence, QStringLiteral("presence")},
        {Decision::Remove, QStringLiteral("remove")},      {Decision::DropParked, QStringLiteral("drop-parked")},
        {Decision::DropPath, QStringLiteral("drop-path")}, {Decision::RefusePath, QStringLiteral("refuse")},
        {Decision::Retry, QStringLiteral("retry")},        {Decision::Block, QStringLiteral("block")},
    };
    QString text = kNames.value(d.kind) + QLatin1Char(' ') + d.port;
    if (d.kind == Decision::Probe || d.kind == Decision::Presence || d.kind == Decision::Retry || d.kind == Decision::Block)
        text += QLatin1Char(' ') + QString::number(d.value);
    if (d.reconnect)
        text += QStringLiteral(" reconnect");
    if (d.again)
        text += QStringLiteral(" again");
    return text;
}

/// Runs one tick and answers its probes; returns the decisions as texts.
QStringList Run(Policy& policy, const Step& step, QList<int>* rates = nullptr)
{
    if (step.before == QLatin1String("reset"))
        policy.Reset();
    else if (step.before.startsWith(QLatin1String("block ")))
        policy.Block(step.before.mid(6));
    QStringList texts;
    int probe = 0;
    for (const Decision& d : policy.Tick(step.now, step.clock)) {
        texts << Text(d);
        if (d.kind != Decision::Probe)
            continue;
        if (rates)
            *rates << d.value;
        if (probe < step.probes.size() && step.probes.at(probe++) == QLatin1Char('+'))
            texts << (policy.ProbeSucceeded(d.port) ? QStringLiteral("reselect ") : QStringLiteral("found ")) + d.port;
        else
            texts << Text(policy.ProbeFailed(d.port, step.clock));
    }
    return texts;
}
}
Q_DECLARE_METATYPE(Scenario)

class TestDiscoveryPolicy : public QObject
{
    Q_OBJECT
private slots:
    void scenario_decisions_data()
    {
        QTest::addColumn<Scenario>("steps");
        const int idle = -1;
        const int tick = Policy::kTickMs;

        QTest::newRow("new port: probed at the fastest rate; other USB devices left alone")
            << Scenario{{0, {}, Ports().Usb(kUsb0, kFtdi).Usb("/dev/ttyACM0", kArduino).s, "+", {"probe /dev/ttyUSB0 115200", "found /dev/ttyUSB0"}, idle},
                        {500, {}, Ports().Usb(kUsb0, kFtdi).Usb("/dev/ttyACM0", kArduino).Device(kUsb0).s, "", {}, idle}};
        QTest::newRow("no pattern: every present port")
            << Scenario{{0, {}, Ports().NoPatterns().Plain("/dev/ttyS0").s, "+", {"probe /dev/ttyS0 115200", "found /dev/ttyS0"}, idle}};
        QTest::newRow("vanished: removed on the third tick without its port")
            << Scenario{{0, {}, Ports().Device(kUsb0, 3, "selected").s, "", {"presence /dev/ttyUSB0 2"}, tick},
                        {500, {}, Ports().Device(kUsb0, 2, "selected").s, "", {"presence /dev/ttyUSB0 1"}, tick},
                        {1000, {}, Ports().Device(kUsb0, 1, "selected").s, "", {"remove /dev/ttyUSB0"}, tick},
                        {1500, {}, Ports().s, "", {}, idle}};
        QTest::newRow("back within the count: kept")
            << Scenario{{0, {}, Ports().Device(kUsb0).s, "", {"presence /dev/ttyUSB0 2"}, tick},
                        {500, {}, Ports().Usb(kUsb0, kFtdi).Device(kUsb0, 2).s, "", {"presence /dev/ttyUSB0 3"}, idle}};
        QTest::newRow("returned after removal: probed as the same module and selected again")
            << Scenario{{0, {}, Ports().Usb(kUsb0, kFtdi).s, "+", {"probe /dev/ttyUSB0 115200", "found /dev/ttyUSB0"}, idle},
                        {500, {}, Ports().Device(kUsb0, 1, "selected").s, "", {"remove /dev/ttyUSB0"}, tick},
                        {1000, {}, Ports().Usb(kUsb0, kFtdi).s, "+", {"probe /dev/ttyUSB0 115200 reconnect", "reselect /dev/ttyUSB0"}, idle}};
        QTest::newRow("another module on the same port: found, not selected")
            << Scenario{{0, {}, Ports().Usb(kUsb0, kFtdi).s, "+", {"probe /dev/ttyUSB0 115200", "found /dev/ttyUSB0"}, idle},
                        {500, {}, Ports().Device(kUsb0, 1, "selected").s, "", {"remove /dev/ttyUSB0"}, tick},
                        {1000, {}, Ports().Usb(kUsb0, kOtherFtdi).s, "+", {"probe /dev/ttyUSB0 115200", "found /dev/ttyUSB0"}, idle}};
        QTest::newRow("link died and the port is back: replaced and probed at once")
            << Scenario{{0, {}, Ports().Usb(kUsb0, kFtdi).Device(kUsb0, 3, "lost selected").s, "+",
                         {"remove /dev/ttyUSB0", "probe /dev/ttyUSB0 115200 reconnect", "reselect /dev/ttyUSB0"}, tick}};
        QTest::newRow("busy device: neither counted, removed nor probed")
            << Scenario{{0, {}, Ports().Device(kUsb0, 1, "busy").s, "", {}, tick},
                        {500, {}, Ports().Usb(kUsb0, kFtdi).Device(kUsb0, 3, "busy lost").s, "", {}, tick},
                        {1000, {}, Ports().Device(kUsb0, 1).s, "", {"remove /dev/ttyUSB0"}, tick}};
        QTest::newRow("parked: kept until its port is gone, never probed")
            << Scenario{{0, {}, Ports().Usb(kUsb0, kFtdi).Device(kUsb0, 3, "parked").s, "", {}, idle},
                        {500, {}, Ports().Device(kUsb0, 3, "parked").s, "", {"presence /dev/ttyUSB0 2"}, tick},
                        {1000, {}, Ports().Device(kUsb0, 1, "parked").s, "", {"drop-parked /dev/ttyUSB0"}, tick},
                        {1500, {}, Ports().Usb(kUsb0, kFtdi).s, "+", {"probe /dev/ttyUSB0 115200", "found /dev/ttyUSB0"}, idle}};
        QTest::newRow("released: left alone")
            << Scenario{{0, {}, Ports().Usb(kUsb0, kFtdi).Released(kUsb0).s, "", {}, idle}};
        QTest::newRow("hand-added paths: serial ports and ptys probed; others refused once; a gone pty dropped")
            << Scenario{{0, {}, Ports().Path("/dev/ttyS4", TPortSource::PathSerial).Path("/dev/pts/3", TPortSource::PathPseudoTerminal)
                                    .Path("/home/u/notes.txt", TPortSource::PathOther).Path("/dev/pts/9", TPortSource::PathMissing)
                                    .Path("/tmp/sim0", TPortSource::PathMissing).s,
                         "++",
                         {"refuse /home/u/notes.txt", "drop-path /dev/pts/9", "probe /dev/ttyS4 115200", "found /dev/ttyS4",
                          "probe /dev/pts/3 115200", "found /dev/pts/3"},
                         tick},
                        {500, {}, Ports().Path("/home/u/notes.txt", TPortSource::PathOther).Path("/tmp/sim0", TPortSource::PathMissing).s, "", {}, tick},
                        {1000, {}, Ports().Path("/home/u/notes.txt", TPortSource::PathOther).s, "", {}, idle}};
        QTest::newRow("retries, then blocked; tried again after a growing back-off")
            << Scenario{{0, {}, Ports().Usb(kUsb0, kFtdi).s, "-", {"probe /dev/ttyUSB0 115200", "retry /dev/ttyUSB0 57600"}, tick},
                        {500, {}, Ports().Usb(kUsb0, kFtdi).s, "-", {"probe /dev/ttyUSB0 57600", "retry /dev/ttyUSB0 115200"}, tick},
                        {1000, {}, Ports().Usb(kUsb0, kFtdi).s, "-", {"probe /dev/ttyUSB0 115200", "retry /dev/ttyUSB0 57600"}, tick},
                        {1500, {}, Ports().Usb(kUsb0, kFtdi).s, "-", {"probe /dev/ttyUSB0 57600", "retry /dev/ttyUSB0 115200"}, tick},
                        {2000, {}, Ports().Usb(kUsb0, kFtdi).s, "-", {"probe /dev/ttyUSB0 115200", "retry /dev/ttyUSB0 57600"}, tick},
                        {2500, {}, Ports().Usb(kUsb0, kFtdi).s, "-", {"probe /dev/ttyUSB0 57600", "retry /dev/ttyUSB0 115200"}, tick},
                        {3000, {}, Ports().Usb(kUsb0, kFtdi).s, "-", {"probe /dev/ttyUSB0 115200", "block /dev/ttyUSB0 5000"}, 5000},
                        {7999, {}, Ports().Usb(kUsb0, kFtdi).s, "", {}, 1},
                        {8000, {}, Ports().Usb(kUsb0, kFtdi).s, "-", {"probe /dev/ttyUSB0 57600", "block /dev/ttyUSB0 10000 again"}, 10000},
                        {18000, {}, Ports().Usb(kUsb0, kFtdi).s, "+", {"probe /dev/ttyUSB0 115200", "found /dev/ttyUSB0"}, idle}};
        QTest::newRow("blocked port unplugged: starts afresh when it returns")
            << Scenario{{0, {}, Ports().Usb(kUsb0, kFtdi).s, "-", {"probe /dev/ttyUSB0 115200", "retry /dev/ttyUSB0 57600"}, tick},
                        {500, {}, Ports().s, "", {}, idle},
                        {1000, {}, Ports().Usb(kUsb0, kFtdi).s, "+", {"probe /dev/ttyUSB0 115200", "found /dev/ttyUSB0"}, idle}};
        QTest::newRow("blocked by the user: only Reset lets it be probed")
            << Scenario{{0, "block /dev/ttyUSB0", Ports().Usb(kUsb0, kFtdi).s, "", {}, idle},
                        {600000, {}, Ports().Usb(kUsb0, kFtdi).s, "", {}, idle},
                        {600500, "reset", Ports().Usb(kUsb0, kFtdi).s, "+", {"probe /dev/ttyUSB0 115200", "found /dev/ttyUSB0"}, idle}};
    }
    void scenario_decisions()
    {
        QFETCH(Scenario, steps);
        Policy policy;
        for (int i = 0; i < steps.size(); ++i) {
            const Step& step = steps.at(i);
            QCOMPARE(Run(policy, step), step.expected);
            QVERIFY2(policy.NextWakeMs(step.clock) == step.wake,
                     qPrintable(QStringLiteral("step %1: next wake %2, expected %3").arg(i).arg(policy.NextWakeMs(step.clock)).arg(step.wake)));
        }
    }

    void failingProbe_triesEveryEnabledRateBeforeBlocking_data()
    {
        QTest::addColumn<QList<bool>>("flags");
        QTest::addColumn<QList<int>>("rates");
        //                        9600  19200  38400  57600  115200 230400 460800
        QTest::newRow("57600, 115200") << QList<bool>{false, false, false, true, true, false, false}
                                       << QList<int>{115200, 57600, 115200, 57600, 115200, 57600, 115200};
        QTest::newRow("the slowest and the fastest") << QList<bool>{true, false, false, true, false, false, true}
                                                     << QList<int>{460800, 57600, 9600, 460800, 57600, 9600, 460800, 57600, 9600, 460800};
        QTest::newRow("one rate") << QList<bool>{true, false, false, false, false, false, false} << QList<int>{9600, 9600, 9600, 9600};
        QTest::newRow("none: blocked at the first failure") << QList<bool>{false, false, false, false, false, false, false} << QList<int>{115200};
    }
    void failingProbe_triesEveryEnabledRateBeforeBlocking()
    {
        QFETCH(QList<bool>, flags);
        QFETCH(QList<int>, rates);
        Policy policy;
        Ports ports;
        ports.s.rateFlags = flags;
        ports.Usb(kUsb0, kFtdi);
        QList<int> tried;
        for (int tick = 0; tick < rates.size(); ++tick) {
            const QStringList texts = Run(policy, Step{tick * 500, {}, ports.s, "-", {}, 0}, &tried);
            QCOMPARE(texts.size(), 2);
            QCOMPARE(texts.last().startsWith(QStringLiteral("block ")), tick == rates.size() - 1);
        }
        QCOMPARE(tried, rates);
        QCOMPARE(policy.Blocked(), QStringList{kUsb0});
        QVERIFY(policy.Pending().isEmpty());
    }
};

TESSERA_TEST_MAIN(TestDiscoveryPolicy)
#include "tst_discoverypolicy.moc"

// Received traffic of the virtual module, in process and through tessera-sim's options.
#include <QElapsedTimer>
#include <QProcess>
#include <QSet>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <functional>

#include "TestEnvironment.h"
#include "sap/ServiceFixture.h"
#include "sap/TDataLinkSAP.h"
#include "sap/TSensorSAP.h"
#include "sap/TSignalStats.h"
#include "tools/sim/TSimDataLink.h"
#include "tools/sim/TSimDeviceMgmt.h"
#include "tools/sim/TSimTraffic.h"

namespace {
TKeyValueList Record(const QSignalSpy& spy, int index)
{
    return spy.at(index).first().value<TKeyValueList>();
}

int Level(const TKeyValueList& record, const char* key)
{
    return record.Value(QLatin1String(key)).section(QLatin1Char(' '), 0, 0).toInt();
}

/// The decoded part of a record, without "HostTime" and "Port".
QString Decoded(TKeyValueList record)
{
    record.remove(0, 2);
    return record.ToText(QStringLiteral("|"));
}

QString SourceAddress(const TSimTraffic::Source& source)
{
    return TDataLinkSAP::AddressText(source.group, source.device);
}
}

class TestSimTraffic : public QObject
{
    Q_OBJECT

    std::unique_ptr<TSimModule> m_sim;
    std::unique_ptr<TVeltoLRHCI> m_link;
    std::unique_ptr<TDataLinkSAP> m_dl;

private slots:
    void init() { QVERIFY(OpenServiceOverPty(m_sim, m_link, m_dl, kTimeoutMs)); }
    void cleanup() { CloseServiceOverPty(m_sim, m_link, m_dl); }

    void traffic_rateSourcesAndWanderingSignal()
    {
        QSignalSpy events(m_dl.get(), &TDataLinkSAP::EvDataLink_MessageEvent);
        TSimTraffic traffic(*m_sim);
        constexpr double kRate = 100;
        constexpr int kCounted = 200;
        QVERIFY(traffic.Start(kRate));
        QVERIFY(events.wait(kTimeoutMs));
        QElapsedTimer window;
        window.start();
        const int first = events.size();
        QTRY_VERIFY_WITH_TIMEOUT(events.size() >= first + kCounted, 20000);
        const double perSecond = (events.size() - first) * 1000.0 / double(qMax<qint64>(1, window.elapsed()));
        // A rate, not a speed: the module keeps to it however late its ticks come.
        QVERIFY2(perSecond > kRate * 0.6 && perSecond < kRate * 1.4, qPrintable(QString::number(perSecond)));
        traffic.Stop();
        QVERIFY(!traffic.Running());

        // Round robin over the nodes, each on its own slow walk around its middle.
        const QVector<TSimTraffic::Source>& sources = TSimTraffic::Sources();
        QHash<QString, QSet<int>> rssiSeen;
        for (int i = 0; i < events.size(); ++i) {
            const TKeyValueList record = Record(events, i);
            const TSimTraffic::Source& source = sources.at(i % sources.size());
            QCOMPARE(record.Value("EvType"), QStringLiteral("Rx U-Msg"));
            QCOMPARE(record.Value("DstAddress"), QStringLiteral("10:1F3A"));
            QCOMPARE(record.Value("SrcAddress"), SourceAddress(source));
            const int rssi = Level(record, "RSSI");
            const int snr = Level(record, "SNR");
            QVERIFY2(qAbs(rssi - source.rssiDbm) <= TSimTraffic::kRssiSpanDb, qPrintable(record.ToText()));
            QVERIFY2(qAbs(snr - source.snrDb) <= TSimTraffic::kSnrSpanDb, qPrintable(record.ToText()));
            QVERIFY(record.Value("RSSI").endsWith(QLatin1String(" dBm")) && record.Value("SNR").endsWith(QLatin1String(" dB")));
            QVERIFY(record.Contains("Time"));
            if (i >= sources.size()) {
                const int previous = Level(Record(events, i - sources.size()), "RSSI");
                QVERIFY2(qAbs(rssi - previous) <= 2, qPrintable(record.ToText()));
            }
            rssiSeen[source.sensor ? QStringLiteral("sensor ") + SourceAddress(source) : SourceAddress(source)].insert(rssi);
        }
        QCOMPARE(rssiSeen.size(), sources.size());
        for (const QSet<int>& values : qAsConst(rssiSeen))
            QVERIFY(values.size() > 1);

        // The radio page's statistics of the same events: one series per node, in host time order.
        TSignalStats stats;
        for (const QList<QVariant>& event : qAsConst(events))
            stats.Add(event.first().value<TKeyValueList>());
        QCOMPARE(stats.PointCount(), events.size());
        QCOMPARE(int(stats.Counters().received), events.size());
        QCOMPARE(stats.SeriesSources(), QStringList({"10:0101", "10:0102", "10:0104", "20:0A0B"}));
        for (const TSimTraffic::Source& source : sources) {
            const TSourceSignal s = stats.Source(SourceAddress(source));
            QCOMPARE(s.measured, s.packets);
            QVERIFY(s.rssiMin >= source.rssiDbm - TSimTraffic::kRssiSpanDb && s.rssiMax <= source.rssiDbm + TSimTraffic::kRssiSpanDb);
            QVERIFY(s.rssiMin < s.rssiMax);
            const QVector<QPointF> series = stats.RssiSeries(SourceAddress(source));
            QCOMPARE(quint64(series.size()), s.packets);
            QVERIFY(std::is_sorted(series.begin(), series.end(), [](const QPointF& a, const QPointF& b) { return a.x() < b.x(); }));
        }
        // The sensor nodes' telegrams arrive as plain messages while the sensor app is off.
        QCOMPARE(Record(events, 1).Value("Payload"), QStringLiteral("01 00 E4 0C D8 00 2D 40 01"));
        QCOMPARE(Record(events, 0).Value("Payload"), QStringLiteral("01 00 00"));

        QVERIFY(!traffic.Start(0));
        QVERIFY(!traffic.Start(-1));
        QVERIFY(!traffic.Start(TSimTraffic::kMaxRate + 1));
        QVERIFY(!traffic.Running());
    }

    void traffic_followsTheModulesSettings()
    {
        TSensorSAP sensor;
        sensor.AttachLink(m_link.get());
        QSignalSpy messages(m_dl.get(), &TDataLinkSAP::EvDataLink_MessageEvent);
        QSignalSpy telegrams(&sensor, &TSensorSAP::EvSensorApp_DataEvent);
        TSimTraffic traffic(*m_sim);

        // The sensor app receives: the sensor nodes' telegrams go to it, with their signal.
        QVERIFY(sensor.SetSensorConfig(Params({{"Mode", "2"}, {"Options", "0"}, {"TxPeriod", "1000"}, {"RxTimeout", "1000"}})));
        QVERIFY(traffic.Start(200));
        QTRY_VERIFY_WITH_TIMEOUT(telegrams.size() >= 2 && messages.size() >= 2, kTimeoutMs);
        traffic.Stop();
        const TKeyValueList telegram = Record(telegrams, 0);
        QCOMPARE(telegram.Value("SrcAddress"), SourceAddress(TSimTraffic::Sources().at(1)));
        QVERIFY2(Decoded(telegram).startsWith(QStringLiteral(
                     "EventType: SensorData|DstAddress: 10:1F3A|SrcAddress: 10:0102|Counter: 1|Battery: 3300 mV|Temperature: 21.6 \u00B0C|Humidity: 45 %|Light: 320 lx|RSSI: ")),
                 qPrintable(Decoded(telegram)));
        for (const QList<QVariant>& event : qAsConst(messages))
            QVERIFY(!event.first().value<TKeyValueList>().Value("SrcAddress").isEmpty());
        QVERIFY(sensor.SetSensorConfig(Params({{"Mode", "0"}, {"Options", "0"}, {"TxPeriod", "1000"}, {"RxTimeout", "1000"}})));

        // Without the trailer the messages carry no signal; in sniffer mode they are raw frames.
        TKeyValueList config = Params({{"NVM", "0"}, {"RadioMode", "0"}, {"RxGroupAddress", "0x10"}, {"RxDeviceAddress", "0x1F3A"},
                                       {"Modulation", "0"}, {"Frequency", "14245888"}, {"Bandwidth", "0"}, {"Spreading", "11"},
                                       {"ErrorCoding", "1"}, {"PowerLevel", "14"}, {"RxCtrl", "0x01"}, {"RxWindow", "3000"},
                                       {"ExtraOptions", "0x00"}, {"FSKDataRate", "0"}});
        QVERIFY(m_dl->SetRadioConfig(config));
        // Events of the phase before may still be on their way: wait for the new kind.
        auto arrived = [&](const std::function<bool(const TKeyValueList&)>& match) {
            for (int i = 0; i < messages.size(); ++i)
                if (match(Record(messages, i)))
                    return true;
            return false;
        };
        messages.clear();
        QVERIFY(traffic.Start(200));
        QTRY_VERIFY_WITH_TIMEOUT(arrived([](const TKeyValueList& r) { return r.Value("EvType") == "Rx U-Msg" && !r.Contains("RSSI"); }), kTimeoutMs);
        traffic.Stop();

        config.Set(QStringLiteral("RadioMode"), QStringLiteral("1"));
        QVERIFY(m_dl->SetRadioConfig(config));
        messages.clear();
        QVERIFY(traffic.Start(200));
        QTRY_VERIFY_WITH_TIMEOUT(arrived([](const TKeyValueList& r) {
            return r.Value("EvType") == "RxRawMessage" && r.Value("RadioMsg").startsWith("40 10 3A 1F ") && r.Contains("RSSI");
        }), kTimeoutMs);
        traffic.Stop();

        // Receiver off: the nodes still send, the module takes nothing.
        config.Set(QStringLiteral("RadioMode"), QStringLiteral("0"));
        config.Set(QStringLiteral("RxCtrl"), QStringLiteral("0"));
        QVERIFY(m_dl->SetRadioConfig(config));
        const quint32 taken = dynamic_cast<TSimDeviceMgmt*>(m_sim->Service(TSimDeviceMgmt::kSapId))->Counters().radioRxPackets;
        const quint64 offered = traffic.Emitted();
        QVERIFY(traffic.Start(200));
        QTRY_VERIFY_WITH_TIMEOUT(traffic.Emitted() >= offered + 5, kTimeoutMs);
        traffic.Stop();
        QCOMPARE(dynamic_cast<TSimDeviceMgmt*>(m_sim->Service(TSimDeviceMgmt::kSapId))->Counters().radioRxPackets, taken);
    }

    void tesseraSim_peerAndTraffic()
    {
        QTemporaryDir dir;
        const QString primary = dir.filePath(QStringLiteral("primary")), peer = dir.filePath(QStringLiteral("peer"));
        QProcess sim;
        sim.start(QStringLiteral(TESSERA_BIN_DIR "/tessera-sim"),
                  {QStringLiteral("--link"), primary, QStringLiteral("--peer-link"), peer, QStringLiteral("--path-loss"), QStringLiteral("100"),
                   QStringLiteral("--traffic"), QStringLiteral("20")});
        QVERIFY(sim.waitForStarted(kTimeoutMs));
        // Both ports are printed once both exist.
        QTRY_COMPARE_WITH_TIMEOUT(sim.peek(4096).count('\n'), 2, kTimeoutMs);
        const QStringList ports = QString::fromLatin1(sim.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(ports.size(), 2);
        QCOMPARE(QFileInfo(primary).symLinkTarget(), ports.at(0));
        QCOMPARE(QFileInfo(peer).symLinkTarget(), ports.at(1));

        TVeltoLRHCI linkA, linkB;
        QVERIFY(linkA.Open(primary, QStringLiteral("115200")));
        QVERIFY(linkB.Open(peer, QStringLiteral("115200")));
        TDataLinkSAP a, b;
        a.AttachLink(&linkA);
        b.AttachLink(&linkB);
        QSignalSpy eventsA(&a, &TDataLinkSAP::EvDataLink_MessageEvent);
        TKeyValueList config;
        QVERIFY(b.GetRadioConfig(config));
        QCOMPARE(config.Value("RxDeviceAddress"), QStringLiteral("0x1234"));
        config.clear();
        QVERIFY(a.GetRadioConfig(config));
        QCOMPARE(config.Value("RxDeviceAddress"), QStringLiteral("0x1F3A"));

        // The traffic arrives at the first module, and so does what the peer sends it.
        QTRY_VERIFY_WITH_TIMEOUT(!eventsA.isEmpty(), kTimeoutMs);
        QVERIFY(b.SendURadioMessage(Params({{"DstGroupAddress", "0x10"}, {"DstDeviceAddress", "0x1F3A"}, {"Payload", "C0 FF EE"}})));
        auto fromPeer = [&] {
            for (const QList<QVariant>& event : qAsConst(eventsA))
                if (event.first().value<TKeyValueList>().Value("SrcAddress") == QLatin1String("10:1234"))
                    return event.first().value<TKeyValueList>();
            return TKeyValueList();
        };
        QTRY_VERIFY_WITH_TIMEOUT(!fromPeer().isEmpty(), 10000);
        // 14 dBm less 100 dB.
        QVERIFY2(Decoded(fromPeer()).startsWith(QStringLiteral(
                     "EvType: Rx U-Msg|DstAddress: 10:1F3A|SrcAddress: 10:1234|Payload: C0 FF EE|RSSI: -86 dBm|SNR: 12 dB|Time: ")),
                 qPrintable(Decoded(fromPeer())));

        linkA.Close();
        linkB.Close();
        sim.terminate();
        QVERIFY(sim.waitForFinished(kTimeoutMs));
        QVERIFY(!QFile::exists(peer) && !QFileInfo(peer).isSymLink());
    }

    void tesseraSim_badOptions_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("error");
        QTest::newRow("no rate") << QStringList{"--traffic", "0"} << "error - --traffic wants messages per second, more than 0 and at most 10000\n";
        QTest::newRow("rate not a number") << QStringList{"--traffic", "fast"} << "error - --traffic wants messages per second, more than 0 and at most 10000\n";
        QTest::newRow("path loss out of range") << QStringList{"--peer-link", "/tmp/x", "--path-loss", "201"} << "error - --path-loss wants dB, 0..200\n";
        QTest::newRow("path loss without a peer") << QStringList{"--path-loss", "100"} << "error - --path-loss needs --peer-link\n";
    }
    void tesseraSim_badOptions()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, error);
        QProcess sim;
        sim.start(QStringLiteral(TESSERA_BIN_DIR "/tessera-sim"), args);
        QVERIFY(sim.waitForFinished(kTimeoutMs));
        QCOMPARE(sim.exitCode(), 2);
        QCOMPARE(QString::fromUtf8(sim.readAllStandardError()), error);
        QCOMPARE(sim.readAllStandardOutput(), QByteArray());
    }
};

TESSERA_TEST_MAIN(TestSimTraffic)
#include "tst_simtraffic.moc"

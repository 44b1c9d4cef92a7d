// Two virtual modules on one air, each driven through its own pseudo-terminal by the studio's
// DataLink service.
#include <QSignalSpy>
#include <QtTest>

#include "TestEnvironment.h"
#include "sap/ServiceFixture.h"
#include "sap/TDataLinkSAP.h"
#include "sap/TSignalStats.h"
#include "tools/sim/TSimAir.h"
#include "tools/sim/TSimDataLink.h"
#include "tools/sim/TSimDeviceMgmt.h"

namespace {
constexpr quint32 kAddressA = 0x26011F3A;   // radio 10:1F3A
constexpr quint32 kAddressB = 0x26011234;   // radio 10:1234

/// SF7, 125 kHz, 4/5, 14 dBm, receiver always on, trailer on.
TKeyValueList RadioConfig(const char* device, const TKeyValueList& changes)
{
    TKeyValueList config = Params({{"NVM", "0"}, {"RadioMode", "0"}, {"RxGroupAddress", "0x10"}, {"RxDeviceAddress", device},
                                   {"Modulation", "0"}, {"Frequency", "14245888"}, {"Bandwidth", "0"}, {"Spreading", "7"},
                                   {"ErrorCoding", "1"}, {"PowerLevel", "14"}, {"RxCtrl", "0x01"}, {"RxWindow", "500"},
                                   {"ExtraOptions", "0x01"}, {"FSKDataRate", "0"}});
    for (const TKeyValueList::Item& change : changes)
        config.Set(change.first, change.second);
    return config;
}

TKeyValueList Message(const char* group, const char* device, const char* payload)
{
    return Params({{"DstGroupAddress", group}, {"DstDeviceAddress", device}, {"Payload", payload}});
}

/// The event text without the receive time, which comes from the module clock.
QString WithoutRxTime(const QString& text)
{
    const int at = text.indexOf(QStringLiteral("|Time: "));
    return at < 0 || text.contains(QStringLiteral("Time: HOST")) ? text : text.left(at);
}

QStringList Texts(const QSignalSpy& spy)
{
    QStringList texts;
    for (int i = 0; i < spy.size(); ++i)
        texts << WithoutRxTime(EventText(spy, i));
    return texts;
}

/// One module with its own link and DataLink service.
struct Station
{
    std::unique_ptr<TSimModule> sim;
    std::unique_ptr<TVeltoLRHCI> link;
    std::unique_ptr<TDataLinkSAP> dl;
    std::unique_ptr<QSignalSpy> events;

    bool Open(quint32 address)
    {
        if (!OpenServiceOverPty(sim, link, dl, kTimeoutMs))
            return false;
        sim->Identity().deviceAddress = address;
        Radio().ResetRadioConfig();
        events = std::make_unique<QSignalSpy>(dl.get(), &TDataLinkSAP::EvDataLink_MessageEvent);
        return true;
    }
    TSimDataLink& Radio() { return *dynamic_cast<TSimDataLink*>(sim->Service(TSimDataLink::kSapId)); }
    TSimCounters& Counters() { return dynamic_cast<TSimDeviceMgmt*>(sim->Service(TSimDeviceMgmt::kSapId))->Counters(); }
    /// Frames demodulated, addressed to this module, failing their integrity check.
    QString CounterText() { return QStringLiteral("%1/%2/%3").arg(Counters().radioRxPackets).arg(Counters().radioRxAddressOk).arg(Counters().radioRxCRCErrors); }
};
}

class TestSimAir : public QObject
{
    Q_OBJECT

    std::unique_ptr<TSimAir> m_air;
    Station m_a;
    Station m_b;

    bool Configure(const TKeyValueList& changesA, const TKeyValueList& changesB)
    {
        return m_a.dl->SetRadioConfig(RadioConfig("0x1F3A", changesA)) && m_b.dl->SetRadioConfig(RadioConfig("0x1234", changesB));
    }

private slots:
    void init()
    {
        QVERIFY(m_a.Open(kAddressA));
        QVERIFY(m_b.Open(kAddressB));
        m_air = std::make_unique<TSimAir>();
        QVERIFY(m_air->Join(*m_a.sim));
        QVERIFY(m_air->Join(*m_b.sim));
    }
    void cleanup()
    {
        m_air.reset();
        for (Station* s : {&m_a, &m_b}) {
            s->events.reset();
            CloseServiceOverPty(s->sim, s->link, s->dl);
        }
    }

    void unconfirmed_arrivesWithSignalAndModuleTime()
    {
        QVERIFY(Configure({}, {}));
        QVERIFY(m_a.dl->SendURadioMessage(Message("0x10", "0x1234", "01 02 03 04")));
        QVERIFY(m_b.events->wait(kTimeoutMs));
        QTRY_COMPARE_WITH_TIMEOUT(m_a.events->size(), 1, kTimeoutMs);
        // 16 bytes on air at SF7/125 kHz/4/5; 14 dBm less 90 dB; SNR capped at what a radio reports.
        QCOMPARE(EventText(*m_a.events, 0), QStringLiteral("EvType: Tx U-Msg|Time: HOST|Info: Status:OK  Packet:1  AirTime:52 ms"));
        QCOMPARE(WithoutRxTime(EventText(*m_b.events, 0)),
                 QStringLiteral("EvType: Rx U-Msg|DstAddress: 10:1234|SrcAddress: 10:1F3A|Payload: 01 02 03 04|RSSI: -76 dBm|SNR: 12 dB"));
        const QDateTime rxTime = QDateTime::fromString(m_b.events->first().first().value<TKeyValueList>().Value("Time"), QStringLiteral("yyyy-MM-dd hh:mm:ss"));
        QVERIFY(qAbs(rxTime.secsTo(QDateTime::currentDateTime())) <= 5);
        QCOMPARE(m_b.CounterText(), QStringLiteral("1/1/0"));
        QCOMPARE(m_a.Counters().radioTxPackets, quint32(1));
        // The other way round, with the packet counter of each side.
        QVERIFY(m_b.dl->SendURadioMessage(Message("0x10", "0x1F3A", "")));
        QTRY_COMPARE_WITH_TIMEOUT(m_a.events->size(), 2, kTimeoutMs);
        QCOMPARE(WithoutRxTime(EventText(*m_a.events, 1)),
                 QStringLiteral("EvType: Rx U-Msg|DstAddress: 10:1F3A|SrcAddress: 10:1234|Payload: |RSSI: -76 dBm|SNR: 12 dB"));
        QTRY_COMPARE_WITH_TIMEOUT(m_b.events->size(), 2, kTimeoutMs);
        QCOMPARE(EventText(*m_b.events, 1), QStringLiteral("EvType: Tx U-Msg|Time: HOST|Info: Status:OK  Packet:1  AirTime:42 ms"));
    }

    void reception_followsChannelAddressAndSignal_data()
    {
        QTest::addColumn<TKeyValueList>("changesA");
        QTest::addColumn<TKeyValueList>("changesB");
        QTest::addColumn<int>("pathLoss");
        QTest::addColumn<QString>("group");
        QTest::addColumn<QString>("device");
        QTest::addColumn<QString>("received");   // B's event without its time; empty: nothing
        QTest::addColumn<QString>("counters");   // B: demodulated/addressed/integrity errors

        const QString rx = QStringLiteral("EvType: Rx U-Msg|DstAddress: %1|SrcAddress: 10:1F3A|Payload: 5A|RSSI: %2 dBm|SNR: %3 dB");
        const TKeyValueList none;
        QTest::newRow("unicast") << none << none << 90 << "0x10" << "0x1234" << rx.arg("10:1234").arg(-76).arg(12) << "1/1/0";
        QTest::newRow("device broadcast in the group") << none << none << 90 << "0x10" << "0xFFFF" << rx.arg("10:FFFF").arg(-76).arg(12) << "1/1/0";
        QTest::newRow("group broadcast") << none << none << 90 << "0xFF" << "0x1234" << rx.arg("FF:1234").arg(-76).arg(12) << "1/1/0";
        QTest::newRow("other device") << none << none << 90 << "0x10" << "0x4321" << "" << "1/0/0";
        QTest::newRow("other group") << none << none << 90 << "0x20" << "0x1234" << "" << "1/0/0";
        QTest::newRow("other frequency") << none << Params({{"Frequency", "14245889"}}) << 90 << "0x10" << "0x1234" << "" << "0/0/0";
        QTest::newRow("other spreading factor") << none << Params({{"Spreading", "8"}}) << 90 << "0x10" << "0x1234" << "" << "0/0/0";
        QTest::newRow("other bandwidth") << none << Params({{"Bandwidth", "1"}}) << 90 << "0x10" << "0x1234" << "" << "0/0/0";
        QTest::newRow("FSK receiver, LoRa sender") << none << Params({{"Modulation", "1"}}) << 90 << "0x10" << "0x1234" << "" << "0/0/0";
        QTest::newRow("FSK both") << Params({{"Modulation", "1"}}) << Params({{"Modulation", "1"}}) << 90 << "0x10" << "0x1234"
                                  << rx.arg("10:1234").arg(-76).arg(12) << "1/1/0";
        QTest::newRow("FSK, other data rate") << Params({{"Modulation", "1"}}) << Params({{"Modulation", "1"}, {"FSKDataRate", "1"}}) << 90
                                              << "0x10" << "0x1234" << "" << "0/0/0";
        QTest::newRow("receiver off") << none << Params({{"RxCtrl", "0"}}) << 90 << "0x10" << "0x1234" << "" << "0/0/0";
        QTest::newRow("receiver only after its own transmissions") << none << Params({{"RxCtrl", "2"}}) << 90 << "0x10" << "0x1234" << "" << "0/0/0";
        QTest::newRow("AES both, same key") << Params({{"ExtraOptions", "0x03"}}) << Params({{"ExtraOptions", "0x03"}}) << 90 << "0x10" << "0x1234"
                                            << rx.arg("10:1234").arg(-76).arg(12) << "1/1/0";
        QTest::newRow("AES on the sender only") << Params({{"ExtraOptions", "0x03"}}) << none << 90 << "0x10" << "0x1234" << "" << "1/0/1";
        QTest::newRow("no trailer") << none << Params({{"ExtraOptions", "0x00"}}) << 90 << "0x10" << "0x1234"
                                    << "EvType: Rx U-Msg|DstAddress: 10:1234|SrcAddress: 10:1F3A|Payload: 5A" << "1/1/0";
        QTest::newRow("far, SF7 still decodes") << none << none << 130 << "0x10" << "0x1234" << rx.arg("10:1234").arg(-116).arg(1) << "1/1/0";
        QTest::newRow("too far for SF7") << none << none << 140 << "0x10" << "0x1234" << "" << "0/0/0";
        QTest::newRow("too far for SF7, not for SF10") << Params({{"Spreading", "10"}}) << Params({{"Spreading", "10"}}) << 140 << "0x10" << "0x1234"
                                                       << rx.arg("10:1234").arg(-126).arg(-9) << "1/1/0";
        QTest::newRow("sniffer sees every frame") << none << Params({{"RadioMode", "1"}}) << 90 << "0x20" << "0x4321"
                                                  << "EvType: RxRawMessage|RadioMsg: 40 20 21 43 10 3A 1F 5A|Length: 8|RSSI: -76 dBm|SNR: 12 dB" << "1/0/0";
    }
    void reception_followsChannelAddressAndSignal()
    {
        QFETCH(TKeyValueList, changesA);
        QFETCH(TKeyValueList, changesB);
        QFETCH(int, pathLoss);
        QFETCH(QString, group);
        QFETCH(QString, device);
        QFETCH(QString, received);
        QFETCH(QString, counters);
        QVERIFY(Configure(changesA, changesB));
        QVERIFY(m_air->SetPathLoss(*m_a.sim, *m_b.sim, pathLoss));
        QVERIFY(m_a.dl->SendURadioMessage(Params({{"DstGroupAddress", group}, {"DstDeviceAddress", device}, {"Payload", "5A"}})));
        // The air hands the frame to the receivers in the same turn as it reports the end of the
        // transmission: once the sender's event is here, B has decided.
        QTRY_COMPARE_WITH_TIMEOUT(m_a.events->size(), 1, kTimeoutMs);
        QVERIFY(EventText(*m_a.events, 0).startsWith(QStringLiteral("EvType: Tx U-Msg|Time: HOST|Info: Status:OK  Packet:1  AirTime:")));
        QCOMPARE(m_b.CounterText(), counters);
        if (received.isEmpty()) {
            // A message B does hear comes next: had the first one reached B, it would be first.
            QVERIFY(Configure({}, {}));
            QVERIFY(m_air->SetPathLoss(*m_a.sim, *m_b.sim, 90));
            QVERIFY(m_a.dl->SendURadioMessage(Message("0x10", "0x1234", "EE")));
            received = QStringLiteral("EvType: Rx U-Msg|DstAddress: 10:1234|SrcAddress: 10:1F3A|Payload: EE|RSSI: -76 dBm|SNR: 12 dB");
        }
        QTRY_COMPARE_WITH_TIMEOUT(m_b.events->size(), 1, kTimeoutMs);
        QCOMPARE(WithoutRxTime(EventText(*m_b.events, 0)), received);
    }

    void confirmed_acknowledgedWithTheReceiversAckData()
    {
        QVERIFY(Configure({}, {}));
        QVERIFY(m_b.dl->SetAckData(Params({{"AckMode", "1"}, {"Payload", "AA BB CC"}})));
        QVERIFY(m_a.dl->SendCRadioMessage(Message("0x10", "0x1234", "01")));
        QTRY_COMPARE_WITH_TIMEOUT(m_a.events->size(), 2, kTimeoutMs);
        QTRY_COMPARE_WITH_TIMEOUT(m_b.events->size(), 2, kTimeoutMs);
        QCOMPARE(Texts(*m_a.events), QStringList({
            "EvType: Tx C-Msg|Time: HOST|Info: Status:OK  Packet:1  AirTime:47 ms",
            "EvType: Rx Ack-Msg|DstAddress: 10:1F3A|SrcAddress: 10:1234|Payload: AA BB CC|RSSI: -76 dBm|SNR: 12 dB"}));
        QCOMPARE(Texts(*m_b.events), QStringList({
            "EvType: Rx C-Msg|DstAddress: 10:1234|SrcAddress: 10:1F3A|Payload: 01|RSSI: -76 dBm|SNR: 12 dB",
            "EvType: Tx Ack-Msg|Time: HOST|Info: Status:OK  Packet:1  AirTime:47 ms"}));

        // Ack mode 1: the data went with that acknowledgement only.
        QVERIFY(m_a.dl->SendCRadioMessage(Message("0x10", "0x1234", "02")));
        QTRY_COMPARE_WITH_TIMEOUT(m_a.events->size(), 4, kTimeoutMs);
        QCOMPARE(Texts(*m_a.events).mid(2), QStringList({
            "EvType: Tx C-Msg|Time: HOST|Info: Status:OK  Packet:2  AirTime:47 ms",
            "EvType: Rx Ack-Msg|DstAddress: 10:1F3A|SrcAddress: 10:1234|Payload: |RSSI: -76 dBm|SNR: 12 dB"}));
        QTRY_COMPARE_WITH_TIMEOUT(m_b.events->size(), 4, kTimeoutMs);
        QCOMPARE(EventText(*m_b.events, 3), QStringLiteral("EvType: Tx Ack-Msg|Time: HOST|Info: Status:OK  Packet:2  AirTime:42 ms"));

        // What the radio page makes of the sender's events.
        TSignalStats stats;
        int points = 0;
        for (const QList<QVariant>& event : qAsConst(*m_a.events))
            points += stats.Add(event.first().value<TKeyValueList>());
        QCOMPARE(points, 2);
        const TLinkCounters& c = stats.Counters();
        QCOMPARE(QStringLiteral("%1/%2/%3/%4/%5").arg(c.received).arg(c.transmitted).arg(c.acknowledged).arg(c.ackTimeouts).arg(c.airTimeMs),
                 QStringLiteral("2/2/2/0/94"));
        const TSourceSignal b = stats.Source(QStringLiteral("10:1234"));
        QCOMPARE(QStringLiteral("%1 %2 %3 %4").arg(b.measured).arg(b.rssiMin).arg(b.rssiMax).arg(b.snrMean), QStringLiteral("2 -76 -76 12"));
    }

    void confirmed_withoutAcknowledgement_data()
    {
        QTest::addColumn<TKeyValueList>("changesA");
        QTest::addColumn<TKeyValueList>("changesB");
        QTest::addColumn<QString>("device");
        QTest::addColumn<QStringList>("eventsA");
        QTest::addColumn<QStringList>("eventsB");
        const QString tx = QStringLiteral("Tx C-Msg"), timeout = QStringLiteral("Ack Timeout");
        const TKeyValueList none;
        QTest::newRow("nobody listening") << none << Params({{"RxCtrl", "0"}}) << "0x1234" << QStringList{tx, timeout} << QStringList();
        QTest::newRow("broadcast is never acknowledged") << none << none << "0xFFFF" << QStringList{tx, timeout} << QStringList{"Rx C-Msg"};
        QTest::newRow("sender's receive window closes before the ack") << Params({{"RxCtrl", "2"}, {"RxWindow", "10"}}) << none << "0x1234"
                                                                     << QStringList{tx, timeout} << QStringList{"Rx C-Msg", "Tx Ack-Msg"};
        QTest::newRow("sender's receive window open for the ack") << Params({{"RxCtrl", "2"}, {"RxWindow", "500"}}) << none << "0x1234"
                                                                << QStringList{tx, "Rx Ack-Msg"} << QStringList{"Rx C-Msg", "Tx Ack-Msg"};
    }
    void confirmed_withoutAcknowledgement()
    {
        QFETCH(TKeyValueList, changesA);
        QFETCH(TKeyValueList, changesB);
        QFETCH(QString, device);
        QFETCH(QStringList, eventsA);
        QFETCH(QStringList, eventsB);
        QVERIFY(Configure(changesA, changesB));
        QVERIFY(m_a.dl->SendCRadioMessage(Params({{"DstGroupAddress", "0x10"}, {"DstDeviceAddress", device}, {"Payload", "01"}})));
        QTRY_COMPARE_WITH_TIMEOUT(m_a.events->size(), eventsA.size(), kTimeoutMs);
        // B answers (or not) well before A gives up waiting.
        QTRY_COMPARE_WITH_TIMEOUT(m_b.events->size(), eventsB.size(), kTimeoutMs);
        auto types = [](const QSignalSpy& spy) {
            QStringList list;
            for (const QList<QVariant>& event : spy)
                list << event.first().value<TKeyValueList>().Value("EvType");
            return list;
        };
        QCOMPARE(types(*m_a.events), eventsA);
        QCOMPARE(types(*m_b.events), eventsB);
    }

    void busyAir_queueFullAndListenBeforeTalk()
    {
        // SF12: the first frame stays on air for more than a second.
        QVERIFY(Configure(Params({{"Spreading", "12"}}), Params({{"Spreading", "12"}})));
        QVERIFY(m_a.dl->SendURadioMessage(Message("0x10", "0x1234", "01 02 03 04")));
        QVERIFY(!m_a.dl->SendURadioMessage(Message("0x10", "0x1234", "05")));
        QCOMPARE(m_a.dl->ResultText(), QStringLiteral("tx-queue full -> request rejected"));
        // B hears A at -76 dBm, above its -85 dBm listen-before-talk threshold.
        QVERIFY(m_b.dl->SendURadioMessage(Message("0x10", "0x1F3A", "06")));
        QVERIFY(m_b.events->wait(kTimeoutMs));
        QCOMPARE(EventText(*m_b.events, 0), QStringLiteral("EvType: Tx U-Msg|Time: HOST|Info: Status:media busy  Packet:0"));
        QCOMPARE(m_b.Counters().radioTxMediaBusy, quint32(1));
        QTRY_COMPARE_WITH_TIMEOUT(m_a.events->size(), 1, kTimeoutMs);
        QCOMPARE(EventText(*m_a.events, 0), QStringLiteral("EvType: Tx U-Msg|Time: HOST|Info: Status:OK  Packet:1  AirTime:1319 ms"));
        // The air is free again.
        QVERIFY(m_b.dl->SendURadioMessage(Message("0x10", "0x1F3A", "06")));
        QTRY_COMPARE_WITH_TIMEOUT(m_a.events->size(), 2, kTimeoutMs);
        QCOMPARE(WithoutRxTime(EventText(*m_a.events, 1)),
                 QStringLiteral("EvType: Rx U-Msg|DstAddress: 10:1F3A|SrcAddress: 10:1234|Payload: 06|RSSI: -76 dBm|SNR: 12 dB"));
    }

    void leavingTheAir_framesOnAirAreDropped()
    {
        QVERIFY(Configure(Params({{"Spreading", "12"}}), Params({{"Spreading", "12"}})));
        QSignalSpy ended(m_air.get(), &TSimAir::EvTransmissionEnded);
        QVERIFY(m_a.dl->SendURadioMessage(Message("0x10", "0x1234", "01")));
        QCOMPARE(m_air->Stations(), 2);
        m_a.events.reset();
        CloseServiceOverPty(m_a.sim, m_a.link, m_a.dl);
        QCOMPARE(m_air->Stations(), 1);
        // B still sends, and nobody is there to hear it.
        QVERIFY(m_b.dl->SendURadioMessage(Message("0x10", "0x1F3A", "02")));
        QVERIFY(ended.wait(kTimeoutMs));
        QCOMPARE(ended.size(), 1);
        QCOMPARE(ended.first().at(2).toInt(), 0);
        QCOMPARE(ended.first().at(1).value<quint16>(), quint16(0x1234));
    }
};

TESSERA_TEST_MAIN(TestSimAir)
#include "tst_simair.moc"

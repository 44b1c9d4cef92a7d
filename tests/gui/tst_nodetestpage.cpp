#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QtTest>

#include "PageBench.h"
#include "gui/pages/TFactoryPage.h"
#include "gui/pages/TNodeTestPage.h"
#include "sap/TProductionSupportSAP.h"
#include "settings/TSettings.h"
#include "status/TTableCtrl.h"
#include "tools/sim/TSimProductionSupport.h"

namespace {
constexpr quint8 kPts = 0xA1;
const QStringList kRadio{"PowerLevel=10", "Modulation=0", "Frequency=14245888", "Bandwidth=1", "Spreading=9", "ErrorCoding=2"};

TSimProductionSupport& Production(TSimModule& sim)
{
    return *static_cast<TSimProductionSupport*>(sim.Service(kPts));
}

QString Hex(int bytes)
{
    QStringList octets;
    for (int i = 0; i < bytes; ++i)
        octets << QStringLiteral("%1").arg(i & 0xFF, 2, 16, QLatin1Char('0')).toUpper();
    return octets.join(QLatin1Char(' '));
}

int Column(const char* name)
{
    return TNodeTestPage::Columns().indexOf(QString::fromLatin1(name));
}
}

class TestNodeTestPage : public QObject
{
    Q_OBJECT

    TPageBench m_bench;

private slots:
    void initTestCase() { TPageBench::Prepare(); }
    void cleanup()
    {
        m_bench.Release();
        // Every test starts with the defaults of the "Radio" settings.
        QSettings(TSettings::Instance().SettingsFilePath(), QSettings::IniFormat).remove(QStringLiteral("Radio"));
    }

    void actions_sendExactRequests_data()
    {
        TPageBench::RequestColumns();
        QTest::newRow("radio test mode") << "Set Radio Test Mode" << (QStringList{"TestMode=1", "Payload=FF"} + kRadio) << false << quint8(0x01)
                                         << TPageBench::Bytes("01 0A 00 00 60 D9 01 09 02") << "OK - set the radio test mode ("
                                         << "TestMode: 1; PowerLevel: 10; Modulation: 0; Frequency: 14245888; Bandwidth: 1; Spreading: 9; ErrorCoding: 2";
        QTest::newRow("test message") << "Send Test Message" << (QStringList{"TestMode=1", "Payload=01 02 03"} + kRadio) << false << quint8(0x15)
                                      << TPageBench::Bytes("0A 00 00 60 D9 01 09 02 01 02 03") << "OK - send a test message ("
                                      << "PowerLevel: 10; Modulation: 0; Frequency: 14245888; Bandwidth: 1; Spreading: 9; ErrorCoding: 2; Payload: 01 02 03";
    }
    void actions_sendExactRequests()
    {
        QVERIFY(m_bench.Attach(QStringLiteral("module")));
        TNodeTestPage page(QStringLiteral("Radio Tests"));
        m_bench.CheckRequest(page, kPts);
    }

    void payload_255BytesSent256RefusedOnThePage()
    {
        TRadioController* device = m_bench.Attach(QStringLiteral("module"));
        QVERIFY(device);
        TNodeTestPage page(QStringLiteral("Radio Tests"));
        TPageBench::Enter(page, kRadio);
        QSignalSpy requests(&m_bench.Sim(), &TSimModule::RequestReceived);
        TPageBench::Enter(page, {QStringLiteral("Payload=") + Hex(255)});
        page.Button(QStringLiteral("Send Test Message"))->click();
        QCOMPARE(requests.size(), 1);
        QCOMPARE(requests.first().at(2).toByteArray().size(), 8 + 255);
        QCOMPARE(requests.first().at(2).toByteArray().right(2), TPageBench::Bytes("FD FE"));
        QVERIFY2(page.ResultLine()->text().startsWith(QLatin1String("OK - send a test message (")), qPrintable(page.ResultLine()->text()));
        // The module reports the message it sent as a test packet: it goes into the table.
        QTRY_COMPARE(page.Table()->RowCount(), 1);
        QCOMPARE(page.Table()->Cell(0, Column("EvType")), QStringLiteral("Tx Test Packet"));

        const quint32 sent = device->Link()->FramesSent();
        TPageBench::Enter(page, {QStringLiteral("Payload=") + Hex(256)});
        page.Button(QStringLiteral("Send Test Message"))->click();
        QCOMPARE(page.ResultLine()->text(), QStringLiteral("Not sent: Payload - 0 to 255 hex bytes needed, 256 given"));
        QCOMPARE(device->Link()->FramesSent(), sent);
        // The radio test mode has no payload: a payload the message could not take does not stop it.
        TPageBench::Enter(page, {"TestMode=0"});
        page.Button(QStringLiteral("Set Radio Test Mode"))->click();
        QCOMPARE(page.LastOutcome().Type(), TCommandOutcome::Ok);
    }

    void settings_radioFieldsSurviveARestart()
    {
        QVERIFY(m_bench.Attach(QStringLiteral("module")));
        {
            TNodeTestPage page(QStringLiteral("Radio Tests"));
            // A first start shows the defaults.
            QCOMPARE(TPageBench::Shown(page, QStringLiteral("Frequency")), QStringLiteral("14245888"));
            QCOMPARE(qobject_cast<QLabel*>(page.Group(QStringLiteral("Radio Test"))->Editor(4))->text(), QStringLiteral("869.500 MHz"));
            TPageBench::Enter(page, {"TestMode=0", "PowerLevel=5", "Modulation=1", "Frequency=14221312", "Bandwidth=2", "Spreading=11",
                                     "ErrorCoding=4", "Payload=AA BB CC", "RepeatCount=2", "RepeatInterval=0"});
            QCOMPARE(qobject_cast<QLabel*>(page.Group(QStringLiteral("Radio Test"))->Editor(4))->text(), QStringLiteral("868.000 MHz"));
            page.Button(QStringLiteral("Start Test Run"))->click();
            QTRY_VERIFY(!page.IsRunning());
        }
        QSettings file(TSettings::Instance().SettingsFilePath(), QSettings::IniFormat);
        QCOMPARE(file.value(QStringLiteral("Radio/Frequency")).toString(), QStringLiteral("14221312"));
        QCOMPARE(file.value(QStringLiteral("Radio/Payload")).toString(), QStringLiteral("AA BB CC"));
        QCOMPARE(file.value(QStringLiteral("Radio/RepeatInterval")).toString(), QStringLiteral("0"));

        TNodeTestPage again(QStringLiteral("Radio Tests"));
        const QStringList keys{"TestMode", "PowerLevel", "Modulation", "Frequency", "Bandwidth", "Spreading", "ErrorCoding", "Payload",
                               "RepeatCount", "RepeatInterval"};
        QStringList values;
        for (const QString& key : keys)
            values << TPageBench::Shown(again, key);
        QCOMPARE(values, (QStringList{"Off", "5", "FSK", "14221312", "500 kHz", "SF11", "4/8", "AA BB CC", "2", "0"}));
    }

    void packetErrorRate_afterARunWithLostPackets()
    {
        QVERIFY(m_bench.Attach(QStringLiteral("receiver")));
        Production(m_bench.Sim()).SetTestPacketLoss(25);
        TNodeTestPage page(QStringLiteral("Radio Tests"));
        QSignalSpy packets(qobject_cast<TProductionSupportSAP*>(TDeviceManager::Instance().SelectedDevice()->SAP(QStringLiteral("PTS"))),
                           &TProductionSupportSAP::EvProductionSupport_TestPacketEvent);
        TPageBench::Enter(page, QStringList{"TestMode=3"} + kRadio);
        page.Button(QStringLiteral("Set Radio Test Mode"))->click();
        QTRY_VERIFY_WITH_TIMEOUT(packets.size() >= 12, 10000);
        TPageBench::Enter(page, {"TestMode=0"});
        page.Button(QStringLiteral("Set Radio Test Mode"))->click();
        // Every packet sent before the module took the new mode has arrived with its answer.
        QTRY_COMPARE(page.Table()->RowCount(), packets.size());
        QTRY_COMPARE(TPageBench::Shown(page, QStringLiteral("Packets")), QString::number(packets.size()));

        // One packet in four is lost: the counters leave every fourth out.
        const int received = page.Table()->RowCount();
        QList<int> counters;
        double rssiSum = 0;
        for (int row = 0; row < received; ++row) {
            QCOMPARE(page.Table()->Cell(row, Column("EvType")), QStringLiteral("Rx Test Packet"));
            counters << page.Table()->Cell(row, Column("PacketCounter")).toInt();
            rssiSum += page.Table()->Cell(row, Column("RSSI")).toInt();
        }
        const int last = counters.last();
        QList<int> expected;
        for (int counter = 1; counter <= last; ++counter)
            if (counter % 4 != 0)
                expected << counter;
        QCOMPARE(counters, expected);
        QCOMPARE(TPageBench::Shown(page, QStringLiteral("Received")), QStringLiteral("%1 of %2 expected").arg(received).arg(last));
        QCOMPARE(TPageBench::Shown(page, QStringLiteral("RxPER")), QStringLiteral("%1 %").arg(100.0 * (last - received) / last, 0, 'f', 1));
        // The virtual transmitter's signal: -95 dBm and 7 dB, varied by -3..+2 dB and -1..+1 dB.
        QCOMPARE(TPageBench::Shown(page, QStringLiteral("RSSI")),
                 QStringLiteral("min -98 / mean %1 / max -93 dBm").arg(rssiSum / received, 0, 'f', 1));
        QVERIFY(TPageBench::Shown(page, QStringLiteral("SNR")).startsWith(QLatin1String("min 6 / mean ")));
        QVERIFY(TPageBench::Shown(page, QStringLiteral("SNR")).endsWith(QLatin1String(" / max 8 dB")));
        QCOMPARE(TPageBench::Shown(page, QStringLiteral("Sent")), QStringLiteral("0 of 0 expected"));
        QCOMPARE(TPageBench::Shown(page, QStringLiteral("TxPER")), QStringLiteral("n.a."));

        page.ClearStatistics();
        QCOMPARE(page.Table()->RowCount(), 0);
        QCOMPARE(TPageBench::Shown(page, QStringLiteral("Packets")), QStringLiteral("0"));
        QCOMPARE(TPageBench::Shown(page, QStringLiteral("RSSI")), QStringLiteral("n.a."));
    }

    void testRun_sendsNTimesAndCountsRefusalsAsFailures()
    {
        TRadioController* device = m_bench.Attach(QStringLiteral("module"));
        QVERIFY(device);
        TNodeTestPage page(QStringLiteral("Radio Tests"));
        TPageBench::Enter(page, QStringList{"Payload=01 02 03 04", "RepeatCount=3", "RepeatInterval=20"} + kRadio);
        QSignalSpy requests(&m_bench.Sim(), &TSimModule::RequestReceived);
        page.Button(QStringLiteral("Start Test Run"))->click();
        QVERIFY(page.IsRunning());
        QVERIFY(!page.Button(QStringLiteral("Start Test Run"))->isEnabled());
        QTRY_VERIFY(!page.IsRunning());
        QCOMPARE(TPageBench::MessageIds(requests, kPts), (QList<quint8>{0x15, 0x15, 0x15}));
        QCOMPARE(page.RunText(), QStringLiteral("Test run finished: 3 of 3 done, 3 sent, 0 failed"));
        QCOMPARE(page.RunProgress()->value(), 3);
        QCOMPARE(page.RunProgress()->maximum(), 3);
        QVERIFY(page.Button(QStringLiteral("Start Test Run"))->isEnabled());
        QTRY_COMPARE(TPageBench::Shown(page, QStringLiteral("Sent")), QStringLiteral("3 of 3 expected"));
        QCOMPARE(TPageBench::Shown(page, QStringLiteral("TxPER")), QStringLiteral("0.0 %"));
        QCOMPARE(TPageBench::Shown(page, QStringLiteral("RSSI")), QStringLiteral("n.a."));

        // A busy channel: the module refuses every message.
        Production(m_bench.Sim()).SetChannelBusy(true);
        page.Button(QStringLiteral("Start Test Run"))->click();
        QTRY_VERIFY(!page.IsRunning());
        QCOMPARE(page.RunText(), QStringLiteral("Test run finished: 3 of 3 done, 0 sent, 3 failed - last failure: The module answered: media busy"));
        Production(m_bench.Sim()).SetChannelBusy(false);

        // The module waits for another page's request: the messages are refused before they are sent.
        TFactoryPage other(QStringLiteral("Customer Settings"));
        m_bench.Sim().SetResponseDelay(300);
        QTimer::singleShot(0, &other, [&other] { other.Button(QStringLiteral("Get Measurement Value"))->click(); });
        requests.clear();
        TPageBench::Enter(page, {"RepeatInterval=0"});
        page.Button(QStringLiteral("Start Test Run"))->click();
        QTRY_VERIFY(!page.IsRunning());
        QCOMPARE(page.RunText(),
                 QStringLiteral("Test run finished: 3 of 3 done, 0 sent, 3 failed - last failure: Not sent: the module is busy with another request"));
        QCOMPARE(TPageBench::MessageIds(requests, kPts), QList<quint8>{0x0F});
        QTRY_VERIFY(!device->IsBusy());
        m_bench.Sim().SetResponseDelay(0);

        // Stopped half way: no message after Stop.
        TPageBench::Enter(page, {"RepeatCount=1000", "RepeatInterval=30"});
        page.Button(QStringLiteral("Start Test Run"))->click();
        QTRY_VERIFY(page.RunProgress()->value() >= 2);
        page.Button(QStringLiteral("Stop"))->click();
        QVERIFY(!page.IsRunning());
        const int done = page.RunProgress()->value();
        QVERIFY(page.RunText().startsWith(QStringLiteral("Test run stopped: %1 of 1000 done, %1 sent, 0 failed").arg(done)));
        const quint32 sent = device->Link()->FramesSent();
        requests.clear();
        QVERIFY(!requests.wait(300));   // a running test would have sent several messages by now
        QCOMPARE(device->Link()->FramesSent(), sent);

        // The module goes away during a run: the run ends at once instead of refusing message after message.
        page.Button(QStringLiteral("Start Test Run"))->click();
        QTRY_VERIFY(page.RunProgress()->value() >= 1);
        m_bench.Release();
        QTRY_VERIFY(!page.IsRunning());
        QVERIFY2(page.RunText().endsWith(QLatin1String(" failed - last failure: Not sent: no module selected")), qPrintable(page.RunText()));
        QVERIFY(page.RunText().startsWith(QLatin1String("Test run stopped: ")));
    }
};

TESSERA_PAGE_TEST_MAIN(TestNodeTestPage)

#include "tst_nodetestpage.moc"

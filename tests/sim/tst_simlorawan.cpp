#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <unistd.h>

#include "TestEnvironment.h"
#include "sap/LoRaWANFixture.h"
#include "sap/TVeltoLRLoRaWAN.h"
#include "tools/sim/TSimControl.h"
#include "tools/sim/TSimLoRaWAN.h"
#include "tools/sim/TSimModule.h"

namespace {
const char* const kKey = kAbpKey;
const QString kRx = QStringLiteral("|RSSI: -57|SNR: 9|RxSlot: 1");
}

/// The virtual module plays the network: what it sends reaches the studio's LoRaWAN service over a
/// pseudo-terminal and decodes as the pages will show it.
class TestSimLoRaWAN : public QObject, LoRaWANOverPty
{
    Q_OBJECT

private slots:
    void init() { QVERIFY(OpenServiceOverPty(m_sim, m_link, m_lw, kTimeoutMs)); }
    void cleanup() { CloseServiceOverPty(m_sim, m_link, m_lw); }

    void periodicDownlink_onlyWhileJoinedOrActivated()
    {
        QSignalSpy rx(m_lw.get(), &TVeltoLRLoRaWAN::EvLoRaWAN_RxEvent);
        SimLw().SetPeriodicDownlink(30, 0x15, {QByteArray::fromHex("AA"), QByteArray::fromHex("BBCC")});
        QVERIFY(SimLw().PeriodicDownlink());
        QVERIFY(!SimLw().PeriodicDownlink()->IsRunning());

        QVERIFY(ActivateAbp());
        QVERIFY(SimLw().PeriodicDownlink()->IsRunning());
        QTRY_VERIFY_WITH_TIMEOUT(rx.size() >= 3, kTimeoutMs);
        QCOMPARE(EventText(rx, 0), QStringLiteral("EvType: Rx U-Data|FrameCounter: 0") + kRx + QStringLiteral("|ChannelIndex: 0|DataRate: 5|ACK: 0|FramePending: 0|LoRaPort: 0x15|Payload: AA"));
        QVERIFY(EventText(rx, 1).endsWith(QStringLiteral("|LoRaPort: 0x15|Payload: BB CC")));
        QVERIFY(EventText(rx, 2).endsWith(QStringLiteral("|LoRaPort: 0x15|Payload: AA")));

        QVERIFY(m_lw->DeactivateDevice());
        QVERIFY(!SimLw().PeriodicDownlink()->IsRunning());
        const int sent = SimLw().PeriodicDownlink()->Sent();
        QTRY_COMPARE_WITH_TIMEOUT(rx.size(), sent, kTimeoutMs);

        // A join starts them again once accepted; a lost link stops them.
        QVERIFY(m_lw->JoinNetwork());
        QTRY_VERIFY_WITH_TIMEOUT(SimLw().PeriodicDownlink()->IsRunning(), kTimeoutMs);
        QTRY_VERIFY_WITH_TIMEOUT(rx.size() >= sent + 2, kTimeoutMs);
        QCOMPARE(EventText(rx, sent).section(QLatin1Char('|'), 0, 1), QStringLiteral("EvType: Join Accepted|DeviceAddress: 0x260B0001"));
        QVERIFY(EventText(rx, sent + 1).startsWith(QStringLiteral("EvType: Rx U-Data|FrameCounter: 0|")));
        SimLw().InjectLinkDisconnect(0);
        QVERIFY(!SimLw().PeriodicDownlink()->IsRunning());

        SimLw().SetPeriodicDownlink(0, 1, {});
        QVERIFY(!SimLw().PeriodicDownlink());
    }

    void bands_decideDataRatePowerAndPayload()
    {
        QVERIFY(ActivateAbp());
        auto config = [](const char* dataRate, const char* power, const char* band) {
            return Params({{"DataRate", dataRate}, {"PowerLevel", power}, {"Options", "0x00"}, {"AutoPowerSaving", "0"},
                           {"Retransmissions", "1"}, {"BandID", band}, {"HeaderMacCmdCap", "0"}});
        };
        QVERIFY(m_lw->SetNodeConfig(config("4", "30", "2")));
        QVERIFY(!m_lw->SetNodeConfig(config("5", "14", "2")));
        QCOMPARE(m_lw->ResultText(), QStringLiteral("wrong parameter"));
        QVERIFY(!m_lw->SetNodeConfig(config("5", "17", "1")));
        QVERIFY(!m_lw->SetNodeConfig(config("0", "14", "3")));
        QVERIFY(m_lw->SetNodeConfig(config("0", "16", "7")));

        QVERIFY(m_lw->SetNodeConfig(config("0", "20", "2")));
        TKeyValueList status;
        QVERIFY(m_lw->GetNwkStatus(status));
        QCOMPARE(status.Value("MaxPayloadSize"), QStringLiteral("11"));
        QVERIFY(!m_lw->SendUData(Params({{"LoRaPort", "1"}, {"Payload", QString(QByteArray(12, '\x01').toHex())}})));
        QCOMPARE(m_lw->ResultText(), QStringLiteral("wrong parameter"));
        QVERIFY(m_lw->SendUData(Params({{"LoRaPort", "1"}, {"Payload", QString(QByteArray(11, '\x01').toHex())}})));
    }

    void control_playsTheNetwork()
    {
        TSimControl control(*m_sim);
        QSignalSpy tx(m_lw.get(), &TVeltoLRLoRaWAN::EvLoRaWAN_SendMsgEvent);
        QSignalSpy rx(m_lw.get(), &TVeltoLRLoRaWAN::EvLoRaWAN_RxEvent);
        QCOMPARE(control.Execute(QStringLiteral("downlink-now 10 CAFE")), QStringLiteral("error - the node is neither joined nor activated"));
        QCOMPARE(control.Execute(QStringLiteral("mac 06")), QStringLiteral("error - the node is neither joined nor activated"));
        QCOMPARE(control.Execute(QStringLiteral("status")), QStringLiteral("info - network status: inactive; 0 downlinks queued"));

        QVERIFY(ActivateAbp());
        QCOMPARE(control.Execute(QStringLiteral("  downlink-now   0x0A CA-FE confirmed ")), QStringLiteral("info - downlink sent (port 10, 2 bytes, confirmed)"));
        QVERIFY(rx.wait(kTimeoutMs));
        // The refused downlink sent nothing: this one is the first to arrive.
        QCOMPARE(EventText(rx, 0), QStringLiteral("EvType: Rx C-Data|FrameCounter: 0") + kRx + QStringLiteral("|ChannelIndex: 0|DataRate: 5|ACK: 0|FramePending: 0|LoRaPort: 0x0A|Payload: CA FE"));

        QCOMPARE(control.Execute(QStringLiteral("downlink 21 0102")), QStringLiteral("info - downlink queued for the next uplink (port 21, 2 bytes; 1 waiting)"));
        QCOMPARE(control.Execute(QStringLiteral("status")), QStringLiteral("info - network status: active (ABP), device address 0x26011F3A; 1 downlinks queued"));
        QCOMPARE(rx.size(), 1);
        QVERIFY(m_lw->SendUData(Params({{"LoRaPort", "0x0A"}, {"Payload", "55"}})));
        QTRY_COMPARE_WITH_TIMEOUT(rx.size(), 2, kTimeoutMs);
        QCOMPARE(EventText(tx, 0).section(QLatin1Char('|'), 0, 0), QStringLiteral("EvType: Tx U-Data"));
        QCOMPARE(EventText(rx, 1), QStringLiteral("EvType: Rx U-Data|FrameCounter: 1") + kRx + QStringLiteral("|ChannelIndex: 0|DataRate: 5|ACK: 0|FramePending: 0|LoRaPort: 0x15|Payload: 01 02"));

        QCOMPARE(control.Execute(QStringLiteral("mac 0603")), QStringLiteral("info - MAC command sent: 06 03"));
        QCOMPARE(control.Execute(QStringLiteral("invalid 0x04")), QStringLiteral("info - invalid frame reported (error code 0x04)"));
        QVERIFY(m_lw->SetMulticastConfig(Params({{"Index", "1"}, {"DeviceAddress", "0x01020304"}, {"NwkSessionKey", kKey}, {"AppSessionKey", kKey}})));
        QCOMPARE(control.Execute(QStringLiteral("multicast 1 0x30 BEEF")), QStringLiteral("info - multicast data sent to group 1 (port 48, 2 bytes)"));
        QTRY_COMPARE_WITH_TIMEOUT(rx.size(), 5, kTimeoutMs);
        QCOMPARE(EventText(rx, 2), QStringLiteral("EvType: Rx MAC Command|FrameCounter: 2") + kRx + QStringLiteral("|MACCommand: 06 03"));
        QCOMPARE(EventText(rx, 3), QStringLiteral("EvType: Rx Invalid Data: MIC Error"));
        QCOMPARE(EventText(rx, 4), QStringLiteral("EvType: Rx Multicast Data|DeviceAddress: 0x01020304|FrameCounter: 3|RSSI: -57|SNR: 9|LoRaPort: 0x30|Payload: BE EF"));

        QCOMPARE(control.Execute(QStringLiteral("linkdisconnect 1")), QStringLiteral("info - link disconnected (reason 1)"));
        QVERIFY(rx.wait(kTimeoutMs));
        QCOMPARE(EventText(rx, 5), QStringLiteral("EvType: Link Disconnect|Reason: 1"));
        TKeyValueList status;
        QVERIFY(m_lw->GetNwkStatus(status));
        QCOMPARE(status.Value("NetworkStatusText"), QStringLiteral("inactive"));

        QCOMPARE(control.Execute(QStringLiteral("joinaccept off")), QStringLiteral("info - join requests go unanswered"));
        QVERIFY(m_lw->JoinNetwork());
        QTRY_COMPARE_WITH_TIMEOUT(SimLw().Status(), TSimLoRaWAN::Inactive, kTimeoutMs);
        QCOMPARE(EventText(tx, 1).section(QLatin1Char('|'), 0, 0), QStringLiteral("EvType: Tx Join Request"));
        QCOMPARE(rx.size(), 6);
        QCOMPARE(control.Execute(QStringLiteral("joinaccept on")), QStringLiteral("info - join requests are accepted"));
        QVERIFY(m_lw->JoinNetwork());
        QVERIFY(rx.wait(kTimeoutMs));
        QCOMPARE(EventText(rx, 6).section(QLatin1Char('|'), 0, 0), QStringLiteral("EvType: Join Accepted"));
    }

    void control_refusesBadLines_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("reply");
        QTest::newRow("blank") << "   " << "";
        QTest::newRow("unknown") << "fly 1" << "error - unknown command \"fly\" (help lists them)";
        QTest::newRow("too few") << "downlink 1" << "error - usage: downlink PORT HEX [confirmed]";
        QTest::newRow("port 0") << "downlink 0 01" << "error - LoRa port \"0\" is not 1..223";
        QTest::newRow("odd hex") << "downlink 1 010" << "error - \"010\" is not a payload of hex octets";
        QTest::newRow("payload 256") << "downlink 1 " + QString(QByteArray(256, 'x').toHex()) << "error - payload of 256 bytes (at most 255)";
        QTest::newRow("not confirmed") << "downlink 1 01 maybe" << "error - \"maybe\" is not \"confirmed\"";
        QTest::newRow("group 4") << "multicast 4 1 01" << "error - multicast group \"4\" is not 0..3";
        QTest::newRow("mac not hex") << "mac zz" << "error - \"zz\" is not a MAC command of hex octets, CID first";
        QTest::newRow("code 256") << "invalid 256" << "error - error code \"256\" is not 0..255";
        QTest::newRow("join accept") << "joinaccept yes" << "error - joinaccept wants on or off, got \"yes\"";
    }
    void control_refusesBadLines()
    {
        QFETCH(QString, line);
        QFETCH(QString, reply);
        QVERIFY(ActivateAbp());
        TSimControl control(*m_sim);
        QCOMPARE(control.Execute(line), reply);
        QCOMPARE(SimLw().QueuedDownlinks(), 0);
        QVERIFY(SimLw().Active());
    }

    void control_help_listsEveryCommand()
    {
        TSimControl control(*m_sim);
        const QString help = control.Execute(QStringLiteral("help"));
        QVERIFY2(help.startsWith(QStringLiteral("info - commands:\n  downlink PORT HEX [confirmed]")), qPrintable(help));
        for (const char* command : {"downlink-now", "multicast", "mac", "invalid", "linkdisconnect", "joinaccept", "status", "help"})
            QVERIFY2(help.contains(QStringLiteral("\n  ") + QLatin1String(command) + QLatin1Char(' ')), qPrintable(command));
    }

    void control_readsLinesFromAPipe()
    {
        int fds[2];
        QCOMPARE(::pipe(fds), 0);
        TSimControl control(*m_sim);
        QSignalSpy replies(&control, &TSimControl::EvReply);
        control.Listen(fds[0]);
        const QByteArray input = "status\njoinaccept o" + QByteArray("ff\n\n") + QByteArray(TSimControl::kMaxLineBytes + 10, 'x') + "\nstatus\n";
        QCOMPARE(::write(fds[1], input.constData(), size_t(input.size())), ssize_t(input.size()));
        QTRY_COMPARE_WITH_TIMEOUT(replies.size(), 4, kTimeoutMs);
        QCOMPARE(replies.at(0).first().toString(), QStringLiteral("info - network status: inactive; 0 downlinks queued"));
        QCOMPARE(replies.at(1).first().toString(), QStringLiteral("info - join requests go unanswered"));
        QCOMPARE(replies.at(2).first().toString(), QStringLiteral("error - line longer than 1024 bytes dropped"));
        QCOMPARE(replies.at(3).first().toString(), replies.at(0).first().toString());
        ::close(fds[1]);
        ::close(fds[0]);
    }

    void tesseraSim_optionsAndStandardInput()
    {
        QTemporaryDir dir;
        const QString linkPath = dir.filePath(QStringLiteral("sim"));
        QProcess sim;
        sim.start(QStringLiteral(TESSERA_BIN_DIR "/tessera-sim"),
                  {QStringLiteral("--link"), linkPath, QStringLiteral("--downlink-every"), QStringLiteral("0.1"), QStringLiteral("--downlink-port"),
                   QStringLiteral("0x20"), QStringLiteral("--downlink-payload"), QStringLiteral("0A"), QStringLiteral("--downlink-payload"), QStringLiteral("0B-0C")});
        QVERIFY(sim.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(sim.canReadLine(), kTimeoutMs);
        QVERIFY(sim.readLine().startsWith("/dev/pts/"));

        TVeltoLRHCI link;
        QVERIFY(link.Open(linkPath, QStringLiteral("115200")));
        TVeltoLRLoRaWAN lw;
        lw.AttachLink(&link);
        QSignalSpy rx(&lw, &TVeltoLRLoRaWAN::EvLoRaWAN_RxEvent);
        QVERIFY(lw.ActivateDevice(Params({{"DeviceAddress", "0x26011F3A"}, {"NwkSessionKey", kKey}, {"AppSessionKey", kKey}})));
        QTRY_VERIFY_WITH_TIMEOUT(rx.size() >= 2, kTimeoutMs);
        QVERIFY(EventText(rx, 0).endsWith(QStringLiteral("|LoRaPort: 0x20|Payload: 0A")));
        QVERIFY(EventText(rx, 1).endsWith(QStringLiteral("|LoRaPort: 0x20|Payload: 0B 0C")));

        sim.write("status\nlinkdisconnect\n");
        QByteArray replies;
        QTRY_VERIFY_WITH_TIMEOUT((replies += sim.readAll()).count('\n') >= 2, kTimeoutMs);
        QCOMPARE(replies, QByteArray("info - network status: active (ABP), device address 0x26011F3A; 0 downlinks queued\n"
                                     "info - link disconnected (reason 0)\n"));
        // The end of its input does not end the module.
        sim.closeWriteChannel();
        TKeyValueList status;
        QVERIFY(lw.GetNwkStatus(status));
        QCOMPARE(status.Value("NetworkStatusText"), QStringLiteral("inactive"));
        sim.terminate();
        QVERIFY(sim.waitForFinished(kTimeoutMs));

        QProcess bad;
        bad.start(QStringLiteral(TESSERA_BIN_DIR "/tessera-sim"), {QStringLiteral("--downlink-every"), QStringLiteral("0")});
        QVERIFY(bad.waitForFinished(kTimeoutMs));
        QCOMPARE(bad.exitCode(), 2);
        QCOMPARE(bad.readAllStandardError(), QByteArray("error - --downlink-every wants 0.1 to 86400 seconds\n"));
        bad.start(QStringLiteral(TESSERA_BIN_DIR "/tessera-sim"), {QStringLiteral("--downlink-every"), QStringLiteral("1"), QStringLiteral("--downlink-payload"), QStringLiteral("0")});
        QVERIFY(bad.waitForFinished(kTimeoutMs));
        QCOMPARE(bad.exitCode(), 2);
        QCOMPARE(bad.readAllStandardError(), QByteArray("error - --downlink-port/--downlink-payload: \"0\" is not a payload of hex octets\n"));
    }
};

TESSERA_TEST_MAIN(TestSimLoRaWAN)
#include "tst_simlorawan.moc"

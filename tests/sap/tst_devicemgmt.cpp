#include <QSignalSpy>
#include <QtTest>

#include "ServiceFixture.h"
#include "TestEnvironment.h"
#include "hci/TVeltoLRHCI.h"
#include "sap/TVeltoLRDeviceMgmt.h"
#include "settings/TSettings.h"
#include "tools/sim/TSimDeviceMgmt.h"
#include "tools/sim/TSimModule.h"

namespace {
/// Firmware information as the module sends it (status byte first).
QByteArray FirmwareInfo(const QByteArray& text, int buildDateBytes = 10)
{
    return Bytes("00 04 02 75 00") + QByteArray("2026-11-02").left(buildDateBytes) + text;
}
}

class TestDeviceMgmt : public QObject
{
    Q_OBJECT

    std::unique_ptr<TSimModule> m_sim;
    std::unique_ptr<TVeltoLRHCI> m_link;
    std::unique_ptr<TVeltoLRDeviceMgmt> m_dm;

    TSimDeviceMgmt& SimDm() { return *dynamic_cast<TSimDeviceMgmt*>(m_sim->Service(TSimDeviceMgmt::kSapId)); }

private slots:
    void init()
    {
        QVERIFY(OpenServiceOverPty(m_sim, m_link, m_dm, kTimeoutMs));
    }
    void cleanup() { CloseServiceOverPty(m_sim, m_link, m_dm); }

    void commandTable_everyCommandIsAnInvokableSlot()
    {
        QCOMPARE(m_dm->CommandNames().size(), 24);
        QCOMPARE(CommandsWithoutSlot(*m_dm), QStringList());
        QCOMPARE(m_dm->MessageName(0x38), QStringLiteral("EvRTCAlarm"));
        QCOMPARE(m_dm->MessageName(0x20), QString());
    }

    void withoutLink_noRadioInterface()
    {
        TVeltoLRDeviceMgmt alone;
        TKeyValueList result;
        QVERIFY(!alone.GetDeviceInfo(result));
        QCOMPARE(alone.ResultText(), QStringLiteral("no radio interface"));
        QVERIFY(!alone.GetLocalBaudrate(result));
        QCOMPARE(alone.ResultText(), QStringLiteral("no radio interface"));
        QVERIFY(result.isEmpty());
    }

    void deviceInfo_recordAndStatusTexts()
    {
        TKeyValueList result;
        QVERIFY2(m_dm->GetDeviceInfo(result), qPrintable(m_dm->ResultText()));
        QCOMPARE(result.ToText(QStringLiteral("|")), QStringLiteral("DeviceType: Velto LR USB Stick|DeviceAddress: 26011F3A|DeviceID: 0042A1C7"));

        result.clear();
        m_sim->ForceStatus(0x01, 0x03, 0x03);
        QVERIFY(!m_dm->GetDeviceInfo(result));
        QCOMPARE(m_dm->ResultText(), QStringLiteral("wrong parameter"));
        m_sim->ForceStatus(0x01, 0x03, 0x09);
        QVERIFY(!m_dm->GetDeviceInfo(result));
        QCOMPARE(m_dm->ResultText(), QStringLiteral("Unsupported ID(9)"));
        QVERIFY(result.isEmpty());

        const QByteArray shortInfo = Bytes("00 91 3A 1F 01 26 C7 A1 42");
        QVERIFY(!m_dm->DecodeResponse(0x04, reinterpret_cast<const quint8*>(shortInfo.constData()), shortInfo.size(), result));
        QCOMPARE(m_dm->ResultText(), QStringLiteral("error - response too short (9 bytes)"));
        QVERIFY(result.isEmpty());
    }

    void firmwareInfo_data()
    {
        QTest::addColumn<QByteArray>("payload");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QString>("record");
        const QString head = QStringLiteral("FWVersion: V2.4|BuildCount: 117|BuildDate: 2026-11-02|");
        QTest::newRow("four parts") << FirmwareInfo("Velto_LoRaWAN;LoRaWAN 1.0.3;EU868;EndNode") << true
                                    << head + "FWName: Velto_LoRaWAN|RadioStack: LoRaWAN 1.0.3|Band: EU868|AppName: EndNode";
        QTest::newRow("no separator") << FirmwareInfo("Velto_LR_PTest") << true << head + "FWName: Velto_LR_PTest";
        QTest::newRow("two parts") << FirmwareInfo("Caravel_LoRaWAN;Osprey") << true
                                   << head + "FWName: Caravel_LoRaWAN|RadioStack: Osprey|Band: n.a.|AppName: n.a.";
        QTest::newRow("five parts") << FirmwareInfo("A;B;C;D;E") << true << head + "FWName: A|RadioStack: B|Band: C|AppName: D;E";
        QTest::newRow("text ends at NUL") << FirmwareInfo(QByteArray("Velto_LoRaWAN\0\0", 15)) << true << head + "FWName: Velto_LoRaWAN";
        QTest::newRow("build date only") << FirmwareInfo(QByteArray()) << true << head.chopped(1);
        QTest::newRow("build date cut") << FirmwareInfo(QByteArray(), 9) << true << QStringLiteral("FWVersion: V2.4|BuildCount: 117");
        QTest::newRow("version only") << Bytes("00 0B 01 75") << true << QStringLiteral("FWVersion: V1.11");
        QTest::newRow("too short") << Bytes("00 04") << false << QString();
    }
    void firmwareInfo()
    {
        QFETCH(QByteArray, payload);
        QFETCH(bool, ok);
        QFETCH(QString, record);
        TKeyValueList result;
        QCOMPARE(m_dm->DecodeResponse(0x06, reinterpret_cast<const quint8*>(payload.constData()), payload.size(), result), ok);
        QCOMPARE(result.ToText(QStringLiteral("|")), record);
        if (!ok)
            QCOMPARE(m_dm->ResultText(), QStringLiteral("error - response too short (2 bytes)"));
    }

    void firmwareInfo_fromTheModuleAndVersionCompare()
    {
        m_sim->Identity().radioStack.clear();
        m_sim->Identity().band.clear();
        m_sim->Identity().appName.clear();
        TKeyValueList result;
        QVERIFY(m_dm->GetFirmwareInfo(result));
        QCOMPARE(result.ToText(QStringLiteral("|")), QStringLiteral("FWVersion: V2.4|BuildCount: 117|BuildDate: 2026-11-02|FWName: Velto_LoRaWAN"));
        QVERIFY(m_dm->HasNewerFWVersionThan(2, 3));
        QVERIFY(m_dm->HasNewerFWVersionThan(1, 9));
        QVERIFY(!m_dm->HasNewerFWVersionThan(2, 4));
        QVERIFY(!m_dm->HasNewerFWVersionThan(3, 0));
    }

    void rtc_packedClockInBothDateFormats()
    {
        QSignalSpy requests(m_sim.get(), &TSimModule::RequestReceived);
        QVERIFY(m_dm->SetRTC(Params({{"DateTime", "2030-06-15 08:09:10"}})));
        QVERIFY(m_dm->SetRTC(Params({{"DateTime", "15.06.2030 08:09:10"}})));
        QCOMPARE(requests.size(), 2);
        for (const QList<QVariant>& request : requests) {
            QCOMPARE(request.at(1).value<quint8>(), quint8(0x0D));
            QCOMPARE(request.at(2).toByteArray(), Bytes("4A 62 E8 79"));
        }

        const QByteArray response = Bytes("00 4A 62 E8 79");
        TKeyValueList iso;
        QVERIFY(m_dm->DecodeResponse(0x10, reinterpret_cast<const quint8*>(response.constData()), response.size(), iso));
        QCOMPARE(iso.Value("DateTime"), QStringLiteral("2030-06-15 08:09:10"));
        TSettings::Instance().SetIsoFormat(false);
        TKeyValueList german;
        QVERIFY(m_dm->DecodeResponse(0x10, reinterpret_cast<const quint8*>(response.constData()), response.size(), german));
        QCOMPARE(german.Value("DateTime"), QStringLiteral("15.06.2030 08:09:10"));
        TSettings::Instance().SetIsoFormat(true);

        TKeyValueList now;
        QVERIFY(m_dm->GetRTC(now));
        QVERIFY2(now.Value("DateTime").startsWith(QStringLiteral("2030-06-15 08:09:1")), qPrintable(now.Value("DateTime")));

        TKeyValueList sync;
        QVERIFY(m_dm->SyncRTC(sync));
        QCOMPARE(sync.size(), 1);
        const QDateTime target = QDateTime::fromString(sync.Value("TargetTime"), QStringLiteral("yyyy-MM-dd hh:mm:ss"));
        QVERIFY2(qAbs(target.secsTo(SimDm().Now())) <= 2, qPrintable(sync.Value("TargetTime")));
        QVERIFY(m_dm->SyncRTC());
    }

    void rtcAlarm_readBackAndFires()
    {
        QSignalSpy requests(m_sim.get(), &TSimModule::RequestReceived);
        QSignalSpy alarms(m_dm.get(), &TVeltoLRDeviceMgmt::EvDeviceMgmt_RTCAlarmEvent);
        QVERIFY(m_dm->SetRTC(Params({{"DateTime", "2031-01-01 11:59:59"}})));
        QVERIFY(m_dm->SetRTCAlarm(Params({{"NewAlarm", "12:00:00"}})));
        QCOMPARE(requests.last().at(2).toByteArray(), Bytes("00 0C 00 00"));
        TKeyValueList alarm;
        QVERIFY(m_dm->GetRTCAlarm(alarm));
        QCOMPARE(alarm.ToText(QStringLiteral("|")), QStringLiteral("Status: Active|Options: 0x00|CurrentAlarm: 12:00:00"));

        QVERIFY(alarms.wait(5000));
        const TKeyValueList event = alarms.first().first().value<TKeyValueList>();
        QCOMPARE(event.Value("EvType"), QStringLiteral("RTC Alarm"));
        QVERIFY2(event.Value("DateTime").startsWith(QStringLiteral("2031-01-01 12:00:0")), qPrintable(event.Value("DateTime")));
        alarm.clear();
        QVERIFY(m_dm->GetRTCAlarm(alarm));
        QCOMPARE(alarm.Value("Status"), QStringLiteral("Inactive"));

        QVERIFY(m_dm->SetRTCAlarm(Params({{"NewAlarm", "7:05:09"}, {"Options", "0x01"}})));
        QCOMPARE(requests.last().at(2).toByteArray(), Bytes("01 07 05 09"));
        QVERIFY(m_dm->ClearRTCAlarm());
        alarm.clear();
        QVERIFY(m_dm->GetRTCAlarm(alarm));
        QCOMPARE(alarm.ToText(QStringLiteral("|")), QStringLiteral("Status: Inactive|Options: 0x01|CurrentAlarm: 07:05:09"));
    }

    void configuration_setReadBackAndReset()
    {
        QSignalSpy requests(m_sim.get(), &TSimModule::RequestReceived);
        QSignalSpy changes(m_dm.get(), &TVeltoLRDeviceMgmt::EvDeviceMgmt_ConfigChanged);
        const TKeyValueList hci = Params({{"NVM", "1"}, {"BaudrateID", "5"}, {"NumWakeupChars", "300"}, {"TxTimeout", "10"}, {"RxTimeout", "20"}});
        QVERIFY(m_dm->SetHCIConfig(hci));
        QCOMPARE(requests.last().at(2).toByteArray(), Bytes("01 05 2C 01 0A 14"));
        TKeyValueList result;
        QVERIFY(m_dm->GetHCIConfig(result));
        QCOMPARE(result, hci);
        TKeyValueList badRate = hci;
        badRate.Set(QStringLiteral("BaudrateID"), QStringLiteral("7"));
        QVERIFY(!m_dm->SetHCIConfig(badRate));
        QCOMPARE(m_dm->ResultText(), QStringLiteral("wrong parameter"));

        QVERIFY(m_dm->SetDeviceConfig(Params({{"PowerSaving", "0"}, {"ExtraOptions", "3"}})));
        QCOMPARE(requests.last().at(2).toByteArray(), Bytes("00 00 00 03"));
        result.clear();
        QVERIFY(m_dm->GetDeviceConfig(result));
        QCOMPARE(result.ToText(QStringLiteral("|")), QStringLiteral("Reserved: 0|PowerSaving: 0|Reserved: 0|ExtraOptions: 3"));
        QVERIFY(m_dm->ResetDeviceConfig());
        result.clear();
        QVERIFY(m_dm->GetDeviceConfig(result));
        QCOMPARE(result.Value("PowerSaving"), QStringLiteral("1"));
        QCOMPARE(result.Value("ExtraOptions"), QStringLiteral("0"));

        QVERIFY(m_dm->SetRadioStack(Params({{"RadioStack", "1"}})));
        QVERIFY(!m_dm->SetRadioStack(Params({{"RadioStack", "2"}})));
        result.clear();
        QVERIFY(m_dm->GetRadioStack(result));
        QCOMPARE(result.ToText(), QStringLiteral("RadioStack: 1"));
        QCOMPARE(changes.size(), 4);

        // Reserved bytes are kept as the module received them.
        TKeyValueList raw;
        QVERIFY(Invoke(m_dm.get(), "SendTestCommand", Params({{"SapID", "1"}, {"MsgID", "0x25"}, {"MsgPayload", "5A 00 A5 02"}}), &raw));
        result.clear();
        QVERIFY(m_dm->GetDeviceConfig(result));
        QCOMPARE(result.ToText(QStringLiteral("|")), QStringLiteral("Reserved: 90|PowerSaving: 0|Reserved: 165|ExtraOptions: 2"));
        // ... and a record read from the module goes back with them.
        result.Set(QStringLiteral("PowerSaving"), QStringLiteral("1"));
        QVERIFY(m_dm->SetDeviceConfig(result));
        QCOMPARE(requests.last().at(2).toByteArray(), Bytes("5A 01 A5 02"));
        raw.clear();
        QVERIFY(!Invoke(m_dm.get(), "SendTestCommand", Params({{"SapID", "1"}, {"MsgID", "0x25"}, {"MsgPayload", "00 02 00 00"}}), &raw));
        QCOMPARE(raw.Value("MsgPayload"), QStringLiteral("03"));

        result.clear();
        QVERIFY(m_dm->GetCPUID(result));
        QCOMPARE(result.ToText(QStringLiteral("|")), QStringLiteral("CPUID: 0x410FC241|UniqueID: 33 00 29 00 11 51 33 39 C7 A1 42 00"));

        QVERIFY(m_dm->GetLocalBaudrate(result));
        QCOMPARE(result.Value("Baudrate"), QStringLiteral("115200 bps"));
        QVERIFY(Invoke(m_dm.get(), "SetLocalBaudrate", Params({{"Baudrate", "57600"}})));
        QCOMPARE(m_link->BaudrateText(), QStringLiteral("57600 bps"));
        QVERIFY(!m_dm->SetLocalBaudrate(Params({{"Baudrate", "1234"}})));
        QCOMPARE(m_dm->ResultText(), QStringLiteral("error - unsupported baud rate: \"1234\""));
    }

    void operationMode_resetAndPowerUp()
    {
        QSignalSpy powerUps(m_dm.get(), &TVeltoLRDeviceMgmt::EvDeviceMgmt_PowerUpEvent);
        TKeyValueList result;
        QVERIFY(m_dm->SetProductionMode());
        QVERIFY(m_dm->GetOperationMode(result));
        QCOMPARE(result.ToText(), QStringLiteral("OperationMode: 1"));
        QVERIFY(!m_dm->SetOperationMode(Params({{"OperationMode", "2"}})));
        QCOMPARE(m_dm->ResultText(), QStringLiteral("wrong parameter"));

        QVERIFY(m_dm->ResetDevice());
        QVERIFY(powerUps.wait(kTimeoutMs));
        const TKeyValueList event = powerUps.first().first().value<TKeyValueList>();
        TKeyValueList decoded = event;
        decoded.remove(0, 2);
        QCOMPARE(decoded.ToText(QStringLiteral("|")),
                 QStringLiteral("EvType: Power-Up Event|FWVersion: V2.4|BuildCount: 117|BuildDate: 2026-11-02|"
                                "FWName: Velto_LoRaWAN|RadioStack: LoRaWAN 1.0.3|Band: EU868|AppName: EndNode"));
        QCOMPARE(event.first().first, QStringLiteral("HostTime"));
        result.clear();
        QVERIFY(m_dm->GetOperationMode(result));
        QCOMPARE(result.Value("OperationMode"), QStringLiteral("0"));

        int bootloaderRequests = 0;
        SimDm().EnterBootloaderRequested = [&bootloaderRequests] { ++bootloaderRequests; };
        QVERIFY(m_dm->SetBootLoaderMode());
        QTRY_COMPARE(bootloaderRequests, 1);
    }

    void systemStatus_normalAndDeveloperTables()
    {
        SimDm().Counters().txUData = 7;
        SimDm().Counters().radioRxCRCErrors = 0x01020304;
        TKeyValueList normal;
        QVERIFY(m_dm->GetSystemStatus(normal));
        QCOMPARE(normal.ToText(QStringLiteral("|")), QStringLiteral("SystemTickRes: 1|TxUData: 7|TxCData: 0|TxError: 0|"
                                                                    "RadioNumRxPackest: 0|RadioNumRxAddressOk: 0|RadioNumRxCRCErrors: 16909060"));
        m_dm->SetDeveloperDecoding(true);
        TKeyValueList first;
        QVERIFY(m_dm->GetSystemStatus(first));
        QCOMPARE(first.size(), 23);
        QCOMPARE(first.Value("BatteryLevel"), QStringLiteral("3300 mV"));
        QCOMPARE(first.at(17).first, QStringLiteral("RadioNumRxPackest"));
        QTRY_VERIFY(m_sim->Uptime() > first.Value("SystemTick").toLongLong());
        TKeyValueList second;
        QVERIFY(m_dm->GetSystemStatus(second));
        QVERIFY(second.Value("SystemTick").toULongLong() > first.Value("SystemTick").toULongLong());
    }

    void testCommand_anyServiceAnyMessage()
    {
        TKeyValueList result;
        QVERIFY(m_dm->SendTestCommand(Params({{"SapID", "0x01"}, {"MsgID", "1"}}), result));
        QCOMPARE(result.ToText(QStringLiteral("|")), QStringLiteral("SapID: 0x01|MsgID: 0x02|MsgPayload: 00"));
        result.clear();
        QVERIFY(m_dm->SendTestCommand(Params({{"SapID", "16"}, {"MsgID", "0x61"}, {"MsgPayload", "34 12"}}), result));
        QCOMPARE(result.Value("MsgPayload"), QStringLiteral("00"));
        result.clear();
        QVERIFY(m_dm->SendTestCommand(Params({{"SapID", "0x10"}, {"MsgID", "0x63"}}), result));
        QCOMPARE(result.ToText(QStringLiteral("|")), QStringLiteral("SapID: 0x10|MsgID: 0x64|MsgPayload: 00 34 12"));
        QVERIFY(!m_dm->SendTestCommand(Params({{"SapID", "0x10"}, {"MsgID", "0x7E"}})));
        QCOMPARE(m_dm->ResultText(), QStringLiteral("command not supported"));
    }

    void parameterErrors_nothingSent_data()
    {
        QTest::addColumn<QByteArray>("command");
        QTest::addColumn<TKeyValueList>("params");
        QTest::addColumn<QString>("error");
        const TKeyValueList hci = Params({{"NVM", "0"}, {"BaudrateID", "4"}, {"NumWakeupChars", "40"}, {"TxTimeout", "10"}});
        QTest::newRow("HCI config without RxTimeout") << QByteArray("SetHCIConfig") << hci << "error - parameter missing: RxTimeout";
        TKeyValueList wakeups = hci;
        wakeups.Append(QStringLiteral("RxTimeout"), QStringLiteral("1"));
        wakeups.Set(QStringLiteral("NumWakeupChars"), QStringLiteral("65536"));
        QTest::newRow("wake-up count too large") << QByteArray("SetHCIConfig") << wakeups << "error - invalid value for NumWakeupChars: \"65536\" (0..65535)";
        QTest::newRow("mode not a number") << QByteArray("SetOperationMode") << Params({{"OperationMode", "fast"}})
                                           << "error - invalid value for OperationMode: \"fast\" (0..255)";
        QTest::newRow("clock text") << QByteArray("SetRTC") << Params({{"DateTime", "2030-13-01 00:00:00"}})
                                    << "error - invalid value for DateTime: \"2030-13-01 00:00:00\"";
        QTest::newRow("alarm minute") << QByteArray("SetRTCAlarm") << Params({{"NewAlarm", "12:60:00"}})
                                      << "error - invalid value for NewAlarm: \"12:60:00\" (hh:mm:ss)";
        QTest::newRow("alarm missing") << QByteArray("SetRTCAlarm") << TKeyValueList() << "error - parameter missing: NewAlarm";
        QTest::newRow("test payload not hex") << QByteArray("SendTestCommand") << Params({{"SapID", "1"}, {"MsgID", "1"}, {"MsgPayload", "0G"}})
                                              << "error - invalid hex byte list for MsgPayload: \"0G\"";
        QTest::newRow("test MsgID without response") << QByteArray("SendTestCommand") << Params({{"SapID", "1"}, {"MsgID", "0xFF"}})
                                                     << "error - invalid value for MsgID: \"0xFF\" (0..254)";
        TKeyValueList big = Params({{"SapID", "1"}, {"MsgID", "1"}});
        big.Append(QStringLiteral("MsgPayload"), QString(QByteArray(501, 'A').toHex()));
        QTest::newRow("test payload too long") << QByteArray("SendTestCommand") << big << "error - too many bytes for MsgPayload: 501 (at most 500)";
    }
    void parameterErrors_nothingSent()
    {
        QFETCH(QByteArray, command);
        QFETCH(TKeyValueList, params);
        QFETCH(QString, error);
        CheckRefusedBeforeSending(*m_dm, [&] { return Invoke(m_dm.get(), command.constData(), params); }, error);
    }

    void everyPrefix_neverReadsPastThePayload_data()
    {
        QTest::addColumn<quint8>("msgId");
        QTest::addColumn<bool>("event");
        QTest::addColumn<QByteArray>("payload");
        QByteArray status(84, 0);
        for (int i = 1; i < status.size(); ++i)
            status[i] = char(i);
        QTest::newRow("device info") << quint8(0x04) << false << Bytes("00 91 3A 1F 01 26 C7 A1 42 00");
        QTest::newRow("firmware info") << quint8(0x06) << false << FirmwareInfo("Velto_LoRaWAN;LoRaWAN 1.0.3;EU868;EndNode");
        QTest::newRow("CPU ID") << quint8(0xF5) << false << Bytes("00 41 C2 0F 41 33 00 29 00 11 51 33 39 C7 A1 42 00");
        QTest::newRow("device status") << quint8(0x18) << false << status;
        QTest::newRow("RTC") << quint8(0x10) << false << Bytes("00 4A 62 E8 79");
        QTest::newRow("RTC alarm") << quint8(0x36) << false << Bytes("00 01 01 0C 00 00");
        QTest::newRow("HCI config") << quint8(0x44) << false << Bytes("00 01 04 28 00 0A 14");
        QTest::newRow("operation mode") << quint8(0x0C) << false << Bytes("00 01");
        QTest::newRow("radio stack") << quint8(0x3C) << false << Bytes("00 01");
        QTest::newRow("device config") << quint8(0x28) << false << Bytes("00 00 01 00 02");
        QTest::newRow("reset") << quint8(0x08) << false << Bytes("00");
        QTest::newRow("power-up event") << quint8(0x20) << true << FirmwareInfo("Velto_LoRaWAN;LoRaWAN 1.0.3;EU868;EndNode");
        QTest::newRow("RTC alarm event") << quint8(0x38) << true << Bytes("4A 62 E8 79");
    }
    void everyPrefix_neverReadsPastThePayload()
    {
        QFETCH(quint8, msgId);
        QFETCH(bool, event);
        QFETCH(QByteArray, payload);
        m_dm->SetDeveloperDecoding(true);
        // The bytes behind the payload differ between two runs: a decoder that reads them shows it.
        CheckEveryPrefix(payload, 0x01, msgId, [&](const HCIMessage& message, TKeyValueList& record) {
            if (!event)
                return m_dm->DecodeResponse(msgId, message.Payload, message.Length, record);
            QSignalSpy powerUp(m_dm.get(), &TVeltoLRDeviceMgmt::EvDeviceMgmt_PowerUpEvent);
            QSignalSpy alarm(m_dm.get(), &TVeltoLRDeviceMgmt::EvDeviceMgmt_RTCAlarmEvent);
            const bool handled = m_dm->ProcessHCIMessage(message, record);
            return handled && powerUp.size() + alarm.size() == 1;
        });
    }
};

TESSERA_TEST_MAIN(TestDeviceMgmt)
#include "tst_devicemgmt.moc"

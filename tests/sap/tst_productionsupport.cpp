#include <QSignalSpy>
#include <QtTest>

#include "ServiceFixture.h"
#include "TestEnvironment.h"
#include "hci/TVeltoLRHCI.h"
#include "sap/TProductionSupportSAP.h"
#include "sap/TVeltoLRDeviceMgmt.h"
#include "settings/TSettings.h"
#include "tools/sim/TSimModule.h"
#include "tools/sim/TSimDeviceMgmt.h"
#include "tools/sim/TSimProductionSupport.h"

namespace {
/// 869.5 MHz, LoRa SF7 125 kHz 4/5, 14 dBm.
TKeyValueList Radio(const char* testMode = nullptr)
{
    TKeyValueList radio;
    if (testMode)
        radio.Append(QStringLiteral("TestMode"), testMode);
    radio += Params({{"PowerLevel", "14"}, {"Modulation", "0"}, {"Frequency", "14245888"}, {"Bandwidth", "0"}, {"Spreading", "7"}, {"ErrorCoding", "1"}});
    return radio;
}

TKeyValueList TestMessage(const QString& payload)
{
    TKeyValueList message = Radio();
    message.Append(QStringLiteral("Payload"), payload);
    return message;
}
}

class TestProductionSupport : public QObject
{
    Q_OBJECT

    std::unique_ptr<TSimModule> m_sim;
    std::unique_ptr<TVeltoLRHCI> m_link;
    std::unique_ptr<TProductionSupportSAP> m_pts;

    TSimProductionSupport& Sim() { return *dynamic_cast<TSimProductionSupport*>(m_sim->Service(TSimProductionSupport::kSapId)); }

private slots:
    void init()
    {
        QVERIFY(OpenServiceOverPty(m_sim, m_link, m_pts, kTimeoutMs));
    }
    void cleanup() { CloseServiceOverPty(m_sim, m_link, m_pts); }

    void requestBytes_data()
    {
        QTest::addColumn<QByteArray>("command");
        QTest::addColumn<TKeyValueList>("params");
        QTest::addColumn<bool>("withResult");
        QTest::addColumn<quint8>("msgId");
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("radio test mode") << QByteArray("SetRadioTestMode") << Radio("1") << false << quint8(0x01) << Bytes("01 0E 00 00 60 D9 00 07 01");
        QTest::newRow("device ID") << QByteArray("SetDeviceID") << Params({{"DeviceID", "0x12345678"}}) << false << quint8(0x03) << Bytes("78 56 34 12");
        QTest::newRow("GPIO") << QByteArray("SetGPIOPorts") << Params({{"OutputMask", "0x0101"}, {"OutputLevels", "0x0001"}}) << false << quint8(0x07)
                              << Bytes("01 01 01 00");
        QTest::newRow("frequency offset") << QByteArray("SetFrequencyOffset") << Params({{"FrequencyOffset", "-1200"}}) << false << quint8(0x09) << Bytes("50 FB");
        QTest::newRow("calibration value") << QByteArray("SetCalibrationValue") << Params({{"CalibrationID", "2"}, {"CalibrationValue", "-3"}}) << false
                                           << quint8(0x0B) << Bytes("02 00 FD FF");
        QTest::newRow("calibration read") << QByteArray("GetCalibrationValue") << Params({{"CalibrationID", "0x0102"}}) << true << quint8(0x0D) << Bytes("02 01");
        QTest::newRow("measurement read") << QByteArray("GetMeasurementValue") << Params({{"MeasurementID", "1"}}) << true << quint8(0x0F) << Bytes("01 00");
        QTest::newRow("clock output") << QByteArray("SetClockOutput")
                                      << Params({{"ClockOutput", "1"}, {"ClockSource", "0"}, {"Prescaler", "16"}, {"Duration", "600"}}) << false
                                      << quint8(0x11) << Bytes("01 00 10 00 58 02");
        QTest::newRow("air time") << QByteArray("GetAirtime")
                                  << Params({{"Modulation", "0"}, {"Bandwidth", "0"}, {"Spreading", "12"}, {"ErrorCoding", "1"}, {"FSKDataRate", "0"}, {"PayloadSize", "51"}})
                                  << true << quint8(0x13) << Bytes("00 00 0C 01 00 33");
        QTest::newRow("test message") << QByteArray("SendTestMessage") << TestMessage("0x01 0x02 0x03") << false << quint8(0x15)
                                      << Bytes("0E 00 00 60 D9 00 07 01 01 02 03");
        QTest::newRow("test message of 255 bytes") << QByteArray("SendTestMessage") << TestMessage(QString(QByteArray(255, '\xA5').toHex())) << false
                                                   << quint8(0x15) << Bytes("0E 00 00 60 D9 00 07 01") + QByteArray(255, '\xA5');
    }
    void requestBytes()
    {
        QFETCH(QByteArray, command);
        QFETCH(TKeyValueList, params);
        QFETCH(bool, withResult);
        QFETCH(quint8, msgId);
        QFETCH(QByteArray, bytes);
        QSignalSpy requests(m_sim.get(), &TSimModule::RequestReceived);
        TKeyValueList result;
        Invoke(m_pts.get(), command.constData(), params, withResult ? &result : nullptr);
        QCOMPARE(requests.size(), 1);
        QCOMPARE(requests.first().at(0).value<quint8>(), quint8(0xA1));
        QCOMPARE(requests.first().at(1).value<quint8>(), msgId);
        QCOMPARE(requests.first().at(2).toByteArray().toHex(' '), bytes.toHex(' '));
    }

    void calibration_andMeasurements_followTheModuleState()
    {
        TKeyValueList result;
        QVERIFY(m_pts->SetFrequencyOffset(Params({{"FrequencyOffset", "-1200"}})));
        QVERIFY(m_pts->SetCalibrationValue(Params({{"CalibrationID", "2"}, {"CalibrationValue", "-3"}})));
        QVERIFY(m_pts->SetCalibrationValue(Params({{"CalibrationID", "4"}, {"CalibrationValue", "-15"}})));
        QVERIFY(m_pts->GetCalibrationValue(Params({{"CalibrationID", "1"}}), result));
        QVERIFY(m_pts->GetCalibrationValue(Params({{"CalibrationID", "2"}}), result));
        QVERIFY(m_pts->GetMeasurementValue(Params({{"MeasurementID", "1"}}), result));
        QVERIFY(m_pts->GetMeasurementValue(Params({{"MeasurementID", "2"}}), result));
        QCOMPARE(result.ToText(QStringLiteral("|")), QStringLiteral("CalibrationID: 1|CalibrationValue: -1200|CalibrationID: 2|CalibrationValue: -3|"
                                                                    "MeasurementID: 1|MeasurementValue: 3300|MeasurementID: 2|MeasurementValue: 220"));

        // The channel's RSSI is measured only while the receive test listens.
        result.clear();
        QVERIFY(!m_pts->GetMeasurementValue(Params({{"MeasurementID", "3"}}), result));
        QCOMPARE(m_pts->ResultText(), QStringLiteral("wrong device mode"));
        QVERIFY(m_pts->SetRadioTestMode(Radio("3")));
        QVERIFY(m_pts->GetMeasurementValue(Params({{"MeasurementID", "3"}}), result));
        QCOMPARE(result.ToText(QStringLiteral("|")), QStringLiteral("MeasurementID: 3|MeasurementValue: -98"));
        QVERIFY(!m_pts->GetMeasurementValue(Params({{"MeasurementID", "9"}}), result));
        QCOMPARE(m_pts->ResultText(), QStringLiteral("value not available"));
        QVERIFY(!m_pts->GetCalibrationValue(Params({{"CalibrationID", "9"}}), result));
        QCOMPARE(m_pts->ResultText(), QStringLiteral("value not available"));
        QVERIFY(!m_pts->SetFrequencyOffset(Params({{"FrequencyOffset", "30000"}})));
        QCOMPARE(m_pts->ResultText(), QStringLiteral("wrong parameter"));

        QVERIFY(m_pts->FactoryReset());
        result.clear();
        QVERIFY(m_pts->GetCalibrationValue(Params({{"CalibrationID", "1"}}), result));
        QCOMPARE(result.Value("CalibrationValue"), QStringLiteral("0"));
        QCOMPARE(Sim().TestMode(), quint8(0));
    }

    void deviceId_isReportedByDeviceManagement()
    {
        TVeltoLRDeviceMgmt dm;
        dm.AttachLink(m_link.get());
        QVERIFY(m_pts->SetDeviceID(Params({{"DeviceID", "0x12345678"}})));
        TKeyValueList info;
        QVERIFY(dm.GetDeviceInfo(info));
        QCOMPARE(info.Value("DeviceID"), QStringLiteral("12345678"));
    }

    void gpioAndClock_stateAndLimits()
    {
        QVERIFY(m_pts->SetGPIOPorts(Params({{"OutputMask", "0x0003"}, {"OutputLevels", "0x0001"}})));
        QVERIFY(m_pts->SetGPIOPorts(Params({{"OutputMask", "0x0002"}, {"OutputLevels", "0x0002"}})));
        QCOMPARE(Sim().GpioOutputs(), quint16(0x0003));
        QCOMPARE(Sim().GpioLevels(), quint16(0x0003));
        // The pins read back through the measurement of their levels.
        TKeyValueList levels;
        QVERIFY(m_pts->GetMeasurementValue(Params({{"MeasurementID", "4"}}), levels));
        QCOMPARE(levels.ToText(QStringLiteral("|")), QStringLiteral("MeasurementID: 4|MeasurementValue: 3"));
        QVERIFY(!m_pts->SetGPIOPorts(Params({{"OutputMask", "0x1000"}, {"OutputLevels", "0x0000"}})));
        QCOMPARE(m_pts->ResultText(), QStringLiteral("wrong parameter"));
        QVERIFY(!m_pts->SetGPIOPorts(Params({{"OutputMask", "0x0001"}, {"OutputLevels", "0x0002"}})));

        QVERIFY(m_pts->SetClockOutput(Params({{"ClockOutput", "1"}, {"ClockSource", "1"}, {"Prescaler", "4"}, {"Duration", "0"}})));
        QVERIFY(Sim().ClockOutputOn());
        QVERIFY(!m_pts->SetClockOutput(Params({{"ClockOutput", "1"}, {"ClockSource", "1"}, {"Prescaler", "3"}, {"Duration", "0"}})));
        QVERIFY(Sim().ClockOutputOn());
        QVERIFY(m_pts->SetClockOutput(Params({{"ClockOutput", "0"}, {"ClockSource", "0"}, {"Prescaler", "1"}, {"Duration", "0"}})));
        QVERIFY(!Sim().ClockOutputOn());
    }

    void radioTests_packetEvents()
    {
        QSignalSpy events(m_pts.get(), &TProductionSupportSAP::EvProductionSupport_TestPacketEvent);
        // The test message's air time is the one the module calculates for the same settings.
        TKeyValueList airtime;
        QVERIFY(m_pts->GetAirtime(Params({{"Modulation", "0"}, {"Bandwidth", "0"}, {"Spreading", "7"}, {"ErrorCoding", "1"}, {"FSKDataRate", "0"},
                                          {"PayloadSize", "3"}}), airtime));
        QCOMPARE(airtime.ToText(), QStringLiteral("Airtime: 31"));
        QVERIFY(m_pts->SendTestMessage(TestMessage("01 02 03")));
        QVERIFY(events.wait(kTimeoutMs));
        QCOMPARE(EventText(events, 0), QStringLiteral("EvType: Tx Test Packet|PacketCounter: 1|PowerLevel: 14|Frequency: 14245888|Airtime: 31"));
        airtime.clear();
        QVERIFY(m_pts->GetAirtime(Params({{"Modulation", "1"}, {"Bandwidth", "0"}, {"Spreading", "7"}, {"ErrorCoding", "1"}, {"FSKDataRate", "0"},
                                          {"PayloadSize", "64"}}), airtime));
        QCOMPARE(airtime.ToText(), QStringLiteral("Airtime: 12"));

        // Back-to-back test packets, until the test stops; a test message must wait for that.
        QVERIFY(m_pts->SetRadioTestMode(Radio("2")));
        QTRY_VERIFY_WITH_TIMEOUT(events.size() >= 3, kTimeoutMs);
        QCOMPARE(EventText(events, 1), QStringLiteral("EvType: Tx Test Packet|PacketCounter: 2|PowerLevel: 14|Frequency: 14245888|Airtime: 52"));
        QVERIFY(!m_pts->SendTestMessage(TestMessage("01")));
        QCOMPARE(m_pts->ResultText(), QStringLiteral("wrong device mode"));
        QVERIFY(m_pts->SetRadioTestMode(Radio("0")));
        // A packet sent before the answer is in by the next answer; none may follow.
        TKeyValueList airtimeAgain;
        auto query = [&] { return m_pts->GetAirtime(Params({{"Modulation", "0"}, {"Bandwidth", "0"}, {"Spreading", "7"}, {"ErrorCoding", "1"},
                                                            {"FSKDataRate", "0"}, {"PayloadSize", "3"}}), airtimeAgain); };
        SettleAfter(*m_link, query);
        const int count = events.size();
        SettleAfter(*m_link, query);
        QCOMPARE(events.size(), count);

        QVERIFY(!Sim().ReceiveTestPacket(7, Bytes("CA FE")));
        QVERIFY(m_pts->SetRadioTestMode(Radio("3")));
        QVERIFY(Sim().ReceiveTestPacket(7, Bytes("CA FE")));
        QTRY_VERIFY_WITH_TIMEOUT(events.size() > count, kTimeoutMs);
        QCOMPARE(EventText(events, count), QStringLiteral("EvType: Rx Test Packet|PacketCounter: 7|RSSI: -95|SNR: 7|Payload: CA FE"));

        TKeyValueList wrongBand = Radio("1");
        wrongBand.Set(QStringLiteral("Frequency"), QStringLiteral("1000"));
        QVERIFY(!m_pts->SetRadioTestMode(wrongBand));
        QCOMPARE(m_pts->ResultText(), QStringLiteral("wrong parameter"));
    }

    void testModes_steadyPacketsWithScriptedLoss()
    {
        QSignalSpy events(m_pts.get(), &TProductionSupportSAP::EvProductionSupport_TestPacketEvent);
        TSimCounters& counters = *TSimDeviceMgmt::CountersOf(*m_sim);
        auto field = [&events](int i, const char* key) { return events.at(i).first().value<TKeyValueList>().Value(QLatin1String(key)); };
        // One packet in four is lost: the fourth, the eighth, ...
        Sim().SetTestPacketLoss(25);
        QVERIFY(m_pts->SetRadioTestMode(Radio("2")));
        QTRY_VERIFY_WITH_TIMEOUT(events.size() >= 6, kTimeoutMs);
        QVERIFY(m_pts->SetRadioTestMode(Radio("0")));
        QStringList numbers;
        for (int i = 0; i < 6; ++i)
            numbers << field(i, "PacketCounter");
        QCOMPARE(numbers, (QStringList{"1", "2", "3", "5", "6", "7"}));
        // Every packet slot either went out or counts as a transmit error.
        QTRY_COMPARE_WITH_TIMEOUT(quint32(events.size()), counters.radioTxPackets, kTimeoutMs);
        QCOMPARE(counters.radioTxErrors, quint32(Sim().TxPacketCounter() - events.size()));
        QVERIFY(counters.radioTxErrors >= 1);

        // The receive test hears a virtual transmitter; its signal varies from packet to packet.
        events.clear();
        Sim().SetTestPacketLoss(20);
        QVERIFY(m_pts->SetRadioTestMode(Radio("3")));
        QTRY_VERIFY_WITH_TIMEOUT(events.size() >= 8, kTimeoutMs);
        QVERIFY(m_pts->SetRadioTestMode(Radio("0")));
        QCOMPARE(EventText(events, 0), QStringLiteral("EvType: Rx Test Packet|PacketCounter: 1|RSSI: -95|SNR: 7|"
                                                      "Payload: 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F"));
        QStringList received;
        for (int i = 0; i < 8; ++i)
            received << field(i, "PacketCounter") + QLatin1Char('/') + field(i, "RSSI") + QLatin1Char('/') + field(i, "SNR");
        QCOMPARE(received, (QStringList{"1/-95/7", "2/-98/6", "3/-93/8", "4/-96/7", "6/-95/7", "7/-98/6", "8/-93/8", "9/-96/7"}));
        QTRY_COMPARE_WITH_TIMEOUT(quint32(events.size()), counters.radioRxPackets, kTimeoutMs);
        QVERIFY(counters.radioRxCRCErrors >= 1);
    }

    void restart_endsTheTestAndKeepsTheCalibration()
    {
        TVeltoLRDeviceMgmt dm;
        dm.AttachLink(m_link.get());
        QSignalSpy powerUps(&dm, &TVeltoLRDeviceMgmt::EvDeviceMgmt_PowerUpEvent);
        QVERIFY(m_pts->SetCalibrationValue(Params({{"CalibrationID", "3"}, {"CalibrationValue", "-7"}})));
        QVERIFY(m_pts->SetGPIOPorts(Params({{"OutputMask", "0x0005"}, {"OutputLevels", "0x0004"}})));
        QVERIFY(m_pts->SetClockOutput(Params({{"ClockOutput", "1"}, {"ClockSource", "0"}, {"Prescaler", "1"}, {"Duration", "0"}})));
        QVERIFY(m_pts->SetRadioTestMode(Radio("2")));
        QVERIFY(dm.ResetDevice());
        QVERIFY(powerUps.wait(kTimeoutMs));
        QCOMPARE(Sim().TestMode(), quint8(0));
        QVERIFY(!Sim().ClockOutputOn());
        TKeyValueList result;
        QVERIFY(m_pts->GetMeasurementValue(Params({{"MeasurementID", "4"}}), result));
        QVERIFY(m_pts->GetCalibrationValue(Params({{"CalibrationID", "3"}}), result));
        QCOMPARE(result.ToText(QStringLiteral("|")), QStringLiteral("MeasurementID: 4|MeasurementValue: 0|CalibrationID: 3|CalibrationValue: -7"));
    }

    void statusTexts()
    {
        m_sim->ForceStatus(0xA1, 0x05, 6);
        QVERIFY(!m_pts->FactoryReset());
        QCOMPARE(m_pts->ResultText(), QStringLiteral("media busy"));
        m_sim->ForceStatus(0xA1, 0x0D, 5);
        TKeyValueList result;
        QVERIFY(!m_pts->GetCalibrationValue(Params({{"CalibrationID", "1"}}), result));
        QCOMPARE(m_pts->ResultText(), QStringLiteral("value not available"));
        m_sim->ForceStatus(0xA1, 0x0F, 7);
        QVERIFY(!m_pts->GetMeasurementValue(Params({{"MeasurementID", "1"}}), result));
        QCOMPARE(m_pts->ResultText(), QStringLiteral("Unsupported ID(7)"));
        m_sim->ForceStatus(0xA1, 0x13, 0);
        QVERIFY(!m_pts->GetAirtime(Params({{"Modulation", "0"}, {"Bandwidth", "0"}, {"Spreading", "7"}, {"ErrorCoding", "1"}, {"FSKDataRate", "0"},
                                           {"PayloadSize", "3"}}), result));
        QCOMPARE(m_pts->ResultText(), QStringLiteral("error - response too short (1 bytes)"));
        QVERIFY(result.isEmpty());
    }

    void parameterErrors_nothingSent_data()
    {
        QTest::addColumn<QByteArray>("command");
        QTest::addColumn<TKeyValueList>("params");
        QTest::addColumn<QString>("error");
        QTest::newRow("test payload of 256 bytes") << QByteArray("SendTestMessage") << TestMessage(QString(QByteArray(256, '\xA5').toHex()))
                                                   << "error - too many bytes for Payload: 256 (at most 255)";
        QTest::newRow("test payload not hex") << QByteArray("SendTestMessage") << TestMessage("01 02 0") << "error - invalid hex byte list for Payload: \"01 02 0\"";
        TKeyValueList noFrequency = TestMessage("01");
        noFrequency.remove(2);
        QTest::newRow("frequency missing") << QByteArray("SendTestMessage") << noFrequency << "error - parameter missing: Frequency";
        TKeyValueList tooHigh = Radio("1");
        tooHigh.Set(QStringLiteral("Frequency"), QStringLiteral("16777216"));
        QTest::newRow("frequency over 24 bits") << QByteArray("SetRadioTestMode") << tooHigh << "error - invalid value for Frequency: \"16777216\" (0..16777215)";
        QTest::newRow("test mode missing") << QByteArray("SetRadioTestMode") << Radio() << "error - parameter missing: TestMode";
        QTest::newRow("offset out of range") << QByteArray("SetFrequencyOffset") << Params({{"FrequencyOffset", "-32769"}})
                                             << "error - invalid value for FrequencyOffset: \"-32769\" (-32768..32767)";
        QTest::newRow("device ID over 32 bits") << QByteArray("SetDeviceID") << Params({{"DeviceID", "0x123456789"}})
                                                << "error - invalid value for DeviceID: \"0x123456789\" (0..4294967295)";
        QTest::newRow("duration missing") << QByteArray("SetClockOutput") << Params({{"ClockOutput", "1"}, {"ClockSource", "0"}, {"Prescaler", "1"}})
                                          << "error - parameter missing: Duration";
    }
    void parameterErrors_nothingSent()
    {
        QFETCH(QByteArray, command);
        QFETCH(TKeyValueList, params);
        QFETCH(QString, error);
        CheckRefusedBeforeSending(*m_pts, [&] { return Invoke(m_pts.get(), command.constData(), params); }, error);
    }

    void queries_withMissingIdentifier_nothingSent()
    {
        TKeyValueList result;
        CheckRefusedBeforeSending(*m_pts, [&] { return m_pts->GetCalibrationValue(TKeyValueList(), result); },
                                  QStringLiteral("error - parameter missing: CalibrationID"));
        CheckRefusedBeforeSending(*m_pts, [&] { return m_pts->GetMeasurementValue(Params({{"MeasurementID", "65536"}}), result); },
                                  QStringLiteral("error - invalid value for MeasurementID: \"65536\" (0..65535)"));
    }

    void everyPrefix_neverReadsPastThePayload_data()
    {
        QTest::addColumn<quint8>("msgId");
        QTest::addColumn<bool>("event");
        QTest::addColumn<QByteArray>("payload");
        QTest::newRow("calibration value") << quint8(0x0E) << false << Bytes("00 01 00 50 FB");
        QTest::newRow("measurement value") << quint8(0x10) << false << Bytes("00 03 00 9E FF");
        QTest::newRow("air time") << quint8(0x14) << false << Bytes("00 1A 00 00 00");
        QTest::newRow("plain response") << quint8(0x06) << false << Bytes("00");
        QTest::newRow("rx test packet") << quint8(0x17) << true << Bytes("07 00 A1 FF 07 CA FE");
        QTest::newRow("tx test packet") << quint8(0x18) << true << Bytes("02 00 0E 00 60 D9 39 00 00 00");
    }
    void everyPrefix_neverReadsPastThePayload()
    {
        QFETCH(quint8, msgId);
        QFETCH(bool, event);
        QFETCH(QByteArray, payload);
        // The bytes behind the payload differ between two runs: a decoder that reads them shows it.
        CheckEveryPrefix(payload, 0xA1, msgId, [&](const HCIMessage& message, TKeyValueList& record) {
            if (!event)
                return m_pts->DecodeResponse(msgId, message.Payload, message.Length, record);
            QSignalSpy events(m_pts.get(), &TProductionSupportSAP::EvProductionSupport_TestPacketEvent);
            return m_pts->ProcessHCIMessage(message, record) && events.size() == 1;
        });
        HCIMessage response;
        response.MsgID = 0x02;
        TKeyValueList record;
        QVERIFY(!m_pts->ProcessHCIMessage(response, record));
    }
};

TESSERA_TEST_MAIN(TestProductionSupport)
#include "tst_productionsupport.moc"

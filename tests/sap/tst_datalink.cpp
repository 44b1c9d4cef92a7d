#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include "ServiceFixture.h"
#include "TestEnvironment.h"
#include "hci/TVeltoLRHCI.h"
#include "sap/TDataLinkSAP.h"
#include "sap/TRadioMsgConfig.h"
#include "sap/TVeltoLRDeviceMgmt.h"
#include "settings/TSettings.h"
#include "tools/sim/TSimDataLink.h"
#include "tools/sim/TSimModule.h"

namespace {
const char* const kExampleKey = "3A-7F-C2-19-5B-E0-44-9D-81-6C-2F-B3-D7-08-A5-6E";
// 2026-03-14 15:09:26 in the module's packed clock format.
const char* const kRtcBytes = "5A 32 CF 69";

/// SF7, 125 kHz, 4/5, receiver always on, trailer on, AES on.
TKeyValueList RadioConfig()
{
    return Params({{"NVM", "1"}, {"RadioMode", "0"}, {"RxGroupAddress", "0x10"}, {"RxDeviceAddress", "0x1234"}, {"Modulation", "0"},
                   {"Frequency", "14245888"}, {"Bandwidth", "0"}, {"Spreading", "7"}, {"ErrorCoding", "1"}, {"PowerLevel", "-2"},
                   {"RxCtrl", "0x01"}, {"RxWindow", "500"}, {"ExtraOptions", "0x03"}, {"FSKDataRate", "2"}});
}

bool NearNow(const QString& time)
{
    const QDateTime t = QDateTime::fromString(time, QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    return t.isValid() && qAbs(t.secsTo(QDateTime::currentDateTime())) <= 5;
}
}

class TestDataLink : public QObject
{
    Q_OBJECT

    std::unique_ptr<TSimModule> m_sim;
    std::unique_ptr<TVeltoLRHCI> m_link;
    std::unique_ptr<TDataLinkSAP> m_dl;

    TSimDataLink& Sim() { return *dynamic_cast<TSimDataLink*>(m_sim->Service(TSimDataLink::kSapId)); }

private slots:
    void init()
    {
        QVERIFY(OpenServiceOverPty(m_sim, m_link, m_dl, kTimeoutMs));
    }
    void cleanup() { CloseServiceOverPty(m_sim, m_link, m_dl); }

    void commands_areInvokableSlots()
    {
        QVERIFY(!m_dl->CommandNames().isEmpty());
        QCOMPARE(CommandsWithoutSlot(*m_dl), QStringList());
    }

    void requestBytes_data()
    {
        QTest::addColumn<QByteArray>("command");
        QTest::addColumn<TKeyValueList>("params");
        QTest::addColumn<quint8>("msgId");
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("unconfirmed, hex addresses") << QByteArray("SendURadioMessage")
            << Params({{"DstGroupAddress", "0x10"}, {"DstDeviceAddress", "0x1234"}, {"Payload", "0x01 0x02 0x03 0x04"}}) << quint8(0x01) << Bytes("10 34 12 01 02 03 04");
        QTest::newRow("confirmed, decimal addresses, no data") << QByteArray("SendCRadioMessage")
            << Params({{"DstGroupAddress", "32"}, {"DstDeviceAddress", "48879"}, {"Payload", ""}}) << quint8(0x09) << Bytes("20 EF BE");
        QTest::newRow("240 bytes") << QByteArray("SendURadioMessage")
            << Params({{"DstGroupAddress", "0xFF"}, {"DstDeviceAddress", "0xFFFF"}, {"Payload", QString(QByteArray(240, '\x5A').toHex(' '))}})
            << quint8(0x01) << Bytes("FF FF FF") + QByteArray(240, '\x5A');
        QTest::newRow("ack data") << QByteArray("SetAckData") << Params({{"AckMode", "1"}, {"Payload", "AA-BB-CC"}}) << quint8(0x15) << Bytes("01 AA BB CC");
        QTest::newRow("radio configuration") << QByteArray("SetRadioConfig") << RadioConfig() << quint8(0x17)
            << Bytes("01 00 10 00 34 12 00 00 00 00 60 D9 00 07 01 FE 00 01 F4 01 00 03 02 00 00 00");
        QTest::newRow("AES key") << QByteArray("SetAESKey") << Params({{"AES-Key", kExampleKey}}) << quint8(0x21)
            << Bytes("3A 7F C2 19 5B E0 44 9D 81 6C 2F B3 D7 08 A5 6E");
    }
    void requestBytes()
    {
        QFETCH(QByteArray, command);
        QFETCH(TKeyValueList, params);
        QFETCH(quint8, msgId);
        QFETCH(QByteArray, bytes);
        QSignalSpy requests(m_sim.get(), &TSimModule::RequestReceived);
        QVERIFY2(Invoke(m_dl.get(), command.constData(), params), qPrintable(m_dl->ResultText()));
        QCOMPARE(requests.size(), 1);
        QCOMPARE(requests.first().at(0).value<quint8>(), quint8(0x03));
        QCOMPARE(requests.first().at(1).value<quint8>(), msgId);
        QCOMPARE(requests.first().at(2).toByteArray().toHex(' '), bytes.toHex(' '));
    }

    void radioConfiguration_readsBackAndResets()
    {
        QSignalSpy changes(m_dl.get(), &TDataLinkSAP::EvDataLink_ConfigChanged);
        QVERIFY(m_dl->SetRadioConfig(RadioConfig()));
        TKeyValueList result;
        QVERIFY(m_dl->GetRadioConfig(result));
        QCOMPARE(result.ToText(QStringLiteral("|")),
                 QStringLiteral("RadioMode: 0|RxGroupAddress: 0x10|RxDeviceAddress: 0x1234|Modulation: 0|Frequency: 14245888|Bandwidth: 0|"
                                "Spreading: 7|ErrorCoding: 1|PowerLevel: -2|RxCtrl: 0x01|RxWindow: 500|ExtraOptions: 0x03|FSKDataRate: 2|"
                                "AutoPowerSaving: 0|LBTThreshold: -85"));

        TKeyValueList bad = RadioConfig();
        bad.Set(QStringLiteral("Spreading"), QStringLiteral("13"));
        QVERIFY(!m_dl->SetRadioConfig(bad));
        QCOMPARE(m_dl->ResultText(), QStringLiteral("wrong parameter"));
        bad = RadioConfig();
        bad.Set(QStringLiteral("Frequency"), QStringLiteral("100"));
        QVERIFY(!m_dl->SetRadioConfig(bad));

        QVERIFY(m_dl->ResetRadioConfig());
        result.clear();
        QVERIFY(m_dl->GetRadioConfig(result));
        QCOMPARE(result.Value("RxDeviceAddress"), QStringLiteral("0x1F3A"));
        QCOMPARE(result.Value("Spreading"), QStringLiteral("11"));
        QCOMPARE(changes.size(), 2);
    }

    void radioConfiguration_nonVolatileOverRestart()
    {
        TVeltoLRDeviceMgmt dm;
        dm.AttachLink(m_link.get());
        QSignalSpy powerUps(&dm, &TVeltoLRDeviceMgmt::EvDeviceMgmt_PowerUpEvent);
        auto restart = [&] {
            const int before = powerUps.size();
            QVERIFY(dm.ResetDevice());
            QTRY_COMPARE_WITH_TIMEOUT(powerUps.size(), before + 1, kTimeoutMs);
        };
        auto spreading = [&] {
            TKeyValueList result;
            return m_dl->GetRadioConfig(result) ? result.Value("Spreading") : m_dl->ResultText();
        };
        TKeyValueList ramOnly = RadioConfig();
        ramOnly.Set(QStringLiteral("NVM"), QStringLiteral("0"));
        ramOnly.Set(QStringLiteral("Spreading"), QStringLiteral("9"));

        QVERIFY(m_dl->SetRadioConfig(ramOnly));
        QCOMPARE(spreading(), QStringLiteral("9"));
        restart();
        QCOMPARE(spreading(), QStringLiteral("11"));
        QVERIFY(m_dl->SetRadioConfig(RadioConfig()));   // SF7, stored
        QVERIFY(m_dl->SetRadioConfig(ramOnly));
        QVERIFY(m_dl->SetAESKey(Params({{"AES-Key", kExampleKey}})));
        QVERIFY(m_dl->SendURadioMessage(Params({{"DstGroupAddress", "1"}, {"DstDeviceAddress", "2"}, {"Payload", ""}})));
        QTRY_COMPARE_WITH_TIMEOUT(Sim().PacketCounter(), quint16(1), kTimeoutMs);
        restart();
        QCOMPARE(spreading(), QStringLiteral("7"));
        QCOMPARE(Sim().PacketCounter(), quint16(0));
        TKeyValueList key;
        QVERIFY(m_dl->GetAESKey(key));
        QCOMPARE(key.Value("AES-Key"), QString::fromLatin1(kExampleKey));
        // A reset goes back to the factory settings, stored as well.
        QVERIFY(m_dl->ResetRadioConfig());
        restart();
        QCOMPARE(spreading(), QStringLiteral("11"));
    }

    void aesKey_readsBack()
    {
        TKeyValueList result;
        QVERIFY(m_dl->GetAESKey(result));
        QCOMPARE(result.ToText(), QStringLiteral("AES-Key: 00-00-00-00-00-00-00-00-00-00-00-00-00-00-00-00"));
        QVERIFY(m_dl->SetAESKey(Params({{"AES-Key", "3a7fc2195be0449d816c2fb3d708a56e"}})));
        result.clear();
        QVERIFY(m_dl->GetAESKey(result));
        QCOMPARE(result.ToText(), QStringLiteral("AES-Key: ") + kExampleKey);
    }

    void statusTexts()
    {
        TDataLinkSAP alone;
        TKeyValueList none;
        QVERIFY(!alone.GetAESKey(none));
        QCOMPARE(alone.ResultText(), QStringLiteral("no radio interface"));
        const TKeyValueList message = Params({{"DstGroupAddress", "1"}, {"DstDeviceAddress", "2"}, {"Payload", "01"}});
        m_sim->ForceStatus(0x03, 0x01, 7);
        QVERIFY(!m_dl->SendURadioMessage(message));
        QCOMPARE(m_dl->ResultText(), QStringLiteral("tx-queue full -> request rejected"));
        m_sim->ForceStatus(0x03, 0x09, 5);
        QVERIFY(!m_dl->SendCRadioMessage(message));
        QCOMPARE(m_dl->ResultText(), QStringLiteral("media busy"));
        m_sim->ForceStatus(0x03, 0x23, 9);
        TKeyValueList result;
        QVERIFY(!m_dl->GetAESKey(result));
        QCOMPARE(m_dl->ResultText(), QStringLiteral("Unsupported ID(9)"));
        QVERIFY(result.isEmpty());
        // A key response cut short yields no key.
        m_sim->ForceStatus(0x03, 0x23, 0);
        QVERIFY(!m_dl->GetAESKey(result));
        QCOMPARE(m_dl->ResultText(), QStringLiteral("error - response too short (1 bytes)"));
        QVERIFY(result.isEmpty());
    }

    void send_transmitAndAcknowledgementEvents()
    {
        QSignalSpy events(m_dl.get(), &TDataLinkSAP::EvDataLink_MessageEvent);
        QVERIFY(m_dl->SetRadioConfig(RadioConfig()));
        const TKeyValueList message = Params({{"DstGroupAddress", "0x20"}, {"DstDeviceAddress", "0xBEEF"}, {"Payload", "01 02 03 04"}});
        QVERIFY(m_dl->SendURadioMessage(message));
        QVERIFY(events.wait(kTimeoutMs));
        // 16 bytes at SF7/125 kHz/4/5: 8 + 4.25 + 38 symbols of 1.024 ms.
        QCOMPARE(EventText(events, 0), QStringLiteral("EvType: Tx U-Msg|Time: HOST|Info: Status:OK  Packet:1  AirTime:52 ms"));

        QVERIFY(m_dl->SendCRadioMessage(message));
        QTRY_COMPARE_WITH_TIMEOUT(events.size(), 3, kTimeoutMs);
        QCOMPARE(EventText(events, 1), QStringLiteral("EvType: Tx C-Msg|Time: HOST|Info: Status:OK  Packet:2  AirTime:52 ms"));
        QVERIFY(EventText(events, 2).startsWith(QStringLiteral("EvType: Rx Ack-Msg|DstAddress: 10:1234|SrcAddress: 20:BEEF|Payload: |RSSI: -72 dBm|SNR: 8 dB|Time: ")));
        QVERIFY(NearNow(events.at(2).first().value<TKeyValueList>().Value("Time")));

        // Nobody answers: the module reports the missing acknowledgement.
        Sim().SetPeerAcknowledges(false);
        QVERIFY(m_dl->SendCRadioMessage(message));
        QTRY_COMPARE_WITH_TIMEOUT(events.size(), 5, kTimeoutMs);
        QCOMPARE(EventText(events, 4), QStringLiteral("EvType: Ack Timeout|Time: HOST"));

        // The module refuses what its radio frame cannot carry; in sniffer mode it sends nothing.
        TKeyValueList sniffer = RadioConfig();
        sniffer.Set(QStringLiteral("RadioMode"), QStringLiteral("1"));
        QVERIFY(m_dl->SetRadioConfig(sniffer));
        QVERIFY(!m_dl->SendURadioMessage(message));
        QCOMPARE(m_dl->ResultText(), QStringLiteral("wrong device mode"));
        QCOMPARE(Sim().PacketCounter(), quint16(3));
    }

    void receive_eventsFollowTheRadioConfiguration()
    {
        QSignalSpy events(m_dl.get(), &TDataLinkSAP::EvDataLink_MessageEvent);
        QVERIFY(m_dl->SetRadioConfig(RadioConfig()));
        QVERIFY(m_dl->SetAckData(Params({{"AckMode", "1"}, {"Payload", "AA BB CC DD EE FF 00 11 22 33 44 55 66 77 88 99"}})));

        QVERIFY(Sim().ReceiveMessage(0x30, 0x0042, Bytes("CA FE"), true));
        QTRY_COMPARE_WITH_TIMEOUT(events.size(), 2, kTimeoutMs);
        const TKeyValueList rx = events.at(0).first().value<TKeyValueList>();
        QVERIFY(EventText(events, 0).startsWith(QStringLiteral("EvType: Rx C-Msg|DstAddress: 10:1234|SrcAddress: 30:0042|Payload: CA FE|RSSI: -72 dBm|SNR: 8 dB|Time: ")));
        QVERIFY(NearNow(rx.Value("Time")));
        // The acknowledgement carries the 16 bytes of ack data once, then none.
        QCOMPARE(EventText(events, 1), QStringLiteral("EvType: Tx Ack-Msg|Time: HOST|Info: Status:OK  Packet:1  AirTime:67 ms"));
        QVERIFY(Sim().ReceiveMessage(0x30, 0x0042, Bytes("CA FE"), true));
        QTRY_COMPARE_WITH_TIMEOUT(events.size(), 4, kTimeoutMs);
        QCOMPARE(EventText(events, 3), QStringLiteral("EvType: Tx Ack-Msg|Time: HOST|Info: Status:OK  Packet:2  AirTime:42 ms"));

        TKeyValueList plain = RadioConfig();
        plain.Set(QStringLiteral("ExtraOptions"), QStringLiteral("0x00"));
        QVERIFY(m_dl->SetRadioConfig(plain));
        QVERIFY(Sim().ReceiveMessage(0x30, 0x0042, Bytes("01 02 03 04 05 06 07 08"), false));
        QTRY_COMPARE_WITH_TIMEOUT(events.size(), 5, kTimeoutMs);
        QCOMPARE(EventText(events, 4), QStringLiteral("EvType: Rx U-Msg|DstAddress: 10:1234|SrcAddress: 30:0042|Payload: 01 02 03 04 05 06 07 08"));

        plain.Set(QStringLiteral("RadioMode"), QStringLiteral("1"));
        QVERIFY(m_dl->SetRadioConfig(plain));
        QVERIFY(Sim().ReceiveMessage(0x30, 0x0042, Bytes("CA FE"), false));
        QTRY_COMPARE_WITH_TIMEOUT(events.size(), 6, kTimeoutMs);
        QVERIFY(EventText(events, 5).startsWith(QStringLiteral("EvType: RxRawMessage|RadioMsg: 40 10 34 12 30 42 00 CA FE|Length: 9|RSSI: -72 dBm|SNR: 8 dB|Time: ")));

        plain.Set(QStringLiteral("RxCtrl"), QStringLiteral("0"));
        QVERIFY(m_dl->SetRadioConfig(plain));
        QVERIFY(!Sim().ReceiveMessage(0x30, 0x0042, Bytes("CA FE"), false));
    }

    void events_decodedRecords_data()
    {
        QTest::addColumn<quint8>("msgId");
        QTest::addColumn<QByteArray>("payload");
        QTest::addColumn<QString>("record");
        const QByteArray trailer = Bytes("B8 FF 07") + Bytes(kRtcBytes);
        QTest::newRow("U-Msg without trailer") << quint8(0x04) << Bytes("00 10 34 12 20 EF BE 01 02 03")
                                               << "EvType: Rx U-Msg|DstAddress: 10:1234|SrcAddress: 20:BEEF|Payload: 01 02 03";
        QTest::newRow("U-Msg without trailer, trailer-sized data") << quint8(0x04) << Bytes("00 10 34 12 20 EF BE") + trailer
                                               << "EvType: Rx U-Msg|DstAddress: 10:1234|SrcAddress: 20:BEEF|Payload: B8 FF 07 5A 32 CF 69";
        QTest::newRow("C-Msg with trailer") << quint8(0x0C) << Bytes("01 10 34 12 20 EF BE AA BB") + trailer
                                            << "EvType: Rx C-Msg|DstAddress: 10:1234|SrcAddress: 20:BEEF|Payload: AA BB|RSSI: -72 dBm|SNR: 7 dB|Time: 2026-03-14 15:09:26";
        QTest::newRow("Ack-Msg with trailer, no data") << quint8(0x10) << Bytes("01 FF FF FF 00 01 00 F6 FF F6") + Bytes(kRtcBytes)
                                                       << "EvType: Rx Ack-Msg|DstAddress: FF:FFFF|SrcAddress: 00:0001|Payload: |RSSI: -10 dBm|SNR: -10 dB|Time: 2026-03-14 15:09:26";
        QTest::newRow("trailer announced but cut") << quint8(0x04) << Bytes("01 10 34 12 20 EF BE B8 FF 07")
                                                   << "EvType: Rx U-Msg|DstAddress: 10:1234|SrcAddress: 20:BEEF|Payload: ";
        QTest::newRow("Tx U-Msg") << quint8(0x06) << Bytes("00 2A 00 E8 03 00 00") << "EvType: Tx U-Msg|Time: HOST|Info: Status:OK  Packet:42  AirTime:1000 ms";
        QTest::newRow("Tx C-Msg without air time") << quint8(0x0E) << Bytes("07 05 00")
                                                   << "EvType: Tx C-Msg|Time: HOST|Info: Status:tx-queue full -> request rejected  Packet:5";
        QTest::newRow("Tx Ack-Msg unknown status") << quint8(0x14) << Bytes("0C FF FF") << "EvType: Tx Ack-Msg|Time: HOST|Info: Status:Unsupported ID(12)  Packet:65535";
        QTest::newRow("ack timeout") << quint8(0x12) << QByteArray() << "EvType: Ack Timeout|Time: HOST";
        QTest::newRow("raw frame") << quint8(0x08) << Bytes("40 10 34 12 20 EF BE 01") + trailer
                                   << "EvType: RxRawMessage|RadioMsg: 40 10 34 12 20 EF BE 01|Length: 8|RSSI: -72 dBm|SNR: 7 dB|Time: 2026-03-14 15:09:26";
        QTest::newRow("raw frame too short for its trailer") << quint8(0x08) << Bytes("40 10") << "EvType: RxRawMessage|RadioMsg: 40 10|Length: 2";
    }
    void events_decodedRecords()
    {
        QFETCH(quint8, msgId);
        QFETCH(QByteArray, payload);
        QFETCH(QString, record);
        QSignalSpy events(m_dl.get(), &TDataLinkSAP::EvDataLink_MessageEvent);
        m_sim->SendMessage(0x03, msgId, payload);
        QVERIFY(events.wait(kTimeoutMs));
        QCOMPARE(EventText(events, 0), record);
    }

    void parameterErrors_nothingSent_data()
    {
        QTest::addColumn<QByteArray>("command");
        QTest::addColumn<TKeyValueList>("params");
        QTest::addColumn<QString>("error");
        QTest::newRow("payload over its limit") << QByteArray("SendURadioMessage")
            << Params({{"DstGroupAddress", "1"}, {"DstDeviceAddress", "2"}, {"Payload", QString(QByteArray(241, 'x').toHex())}})
            << "error - too many bytes for Payload: 241 (at most 240)";
        QTest::newRow("payload not hex") << QByteArray("SendCRadioMessage") << Params({{"DstGroupAddress", "1"}, {"DstDeviceAddress", "2"}, {"Payload", "0x01 0xZZ"}})
                                         << "error - invalid hex byte list for Payload: \"0x01 0xZZ\"";
        QTest::newRow("device address out of range") << QByteArray("SendURadioMessage")
            << Params({{"DstGroupAddress", "1"}, {"DstDeviceAddress", "0x10000"}, {"Payload", "01"}}) << "error - invalid value for DstDeviceAddress: \"0x10000\" (0..65535)";
        QTest::newRow("group address missing") << QByteArray("SendURadioMessage") << Params({{"DstDeviceAddress", "2"}, {"Payload", "01"}})
                                               << "error - parameter missing: DstGroupAddress";
        QTest::newRow("negative address") << QByteArray("SendURadioMessage") << Params({{"DstGroupAddress", "-1"}, {"DstDeviceAddress", "2"}, {"Payload", "01"}})
                                          << "error - invalid value for DstGroupAddress: \"-1\" (0..255)";
        QTest::newRow("ack data over its limit") << QByteArray("SetAckData") << Params({{"AckMode", "1"}, {"Payload", QString(QByteArray(65, 'x').toHex())}})
                                                 << "error - too many bytes for Payload: 65 (at most 64)";
        QTest::newRow("key too short") << QByteArray("SetAESKey") << Params({{"AES-Key", "3A-7F-C2-19-5B-E0-44-9D-81-6C-2F-B3-D7-08-A5"}})
                                       << "error - AES-Key needs exactly 16 bytes, got 15";
        QTest::newRow("key too long") << QByteArray("SetAESKey") << Params({{"AES-Key", QString(kExampleKey) + "-01"}})
                                      << "error - too many bytes for AES-Key: 17 (at most 16)";
        QTest::newRow("key missing") << QByteArray("SetAESKey") << TKeyValueList() << "error - parameter missing: AES-Key";
        QTest::newRow("key not hex") << QByteArray("SetAESKey") << Params({{"AES-Key", "3A-7F-C2-19-5B-E0-44-9D-81-6C-2F-B3-D7-08-A5-6X"}})
                                     << "error - invalid hex byte list for AES-Key: \"3A-7F-C2-19-5B-E0-44-9D-81-6C-2F-B3-D7-08-A5-6X\"";
        TKeyValueList power = RadioConfig();
        power.Set(QStringLiteral("PowerLevel"), QStringLiteral("128"));
        QTest::newRow("power out of range") << QByteArray("SetRadioConfig") << power << "error - invalid value for PowerLevel: \"128\" (-128..127)";
        TKeyValueList frequency = RadioConfig();
        frequency.remove(5);
        QTest::newRow("frequency missing") << QByteArray("SetRadioConfig") << frequency << "error - parameter missing: Frequency";
    }
    void parameterErrors_nothingSent()
    {
        QFETCH(QByteArray, command);
        QFETCH(TKeyValueList, params);
        QFETCH(QString, error);
        CheckRefusedBeforeSending(*m_dl, [&] { return Invoke(m_dl.get(), command.constData(), params); }, error);
    }

    void everyPrefix_neverReadsPastThePayload_data()
    {
        QTest::addColumn<quint8>("msgId");
        QTest::addColumn<bool>("event");
        QTest::addColumn<QByteArray>("payload");
        const QByteArray trailer = Bytes("B8 FF 07") + Bytes(kRtcBytes);
        QTest::newRow("radio configuration") << quint8(0x1A) << false << Bytes("00 00 10 00 34 12 00 00 00 00 60 D9 00 07 01 FE 00 01 F4 01 00 03 02 00 AB FF");
        QTest::newRow("AES key") << quint8(0x24) << false << Bytes("00 3A 7F C2 19 5B E0 44 9D 81 6C 2F B3 D7 08 A5 6E");
        QTest::newRow("send response") << quint8(0x02) << false << Bytes("00");
        QTest::newRow("rx U-Msg") << quint8(0x04) << true << Bytes("00 10 34 12 20 EF BE 01 02 03");
        QTest::newRow("rx C-Msg with trailer") << quint8(0x0C) << true << Bytes("01 10 34 12 20 EF BE AA BB") + trailer;
        QTest::newRow("rx ack with trailer") << quint8(0x10) << true << Bytes("01 10 34 12 20 EF BE") + trailer;
        QTest::newRow("tx U-Msg") << quint8(0x06) << true << Bytes("00 2A 00 E8 03 00 00");
        QTest::newRow("tx C-Msg") << quint8(0x0E) << true << Bytes("00 2A 00 E8 03 00 00");
        QTest::newRow("tx ack") << quint8(0x14) << true << Bytes("00 2A 00 E8 03 00 00");
        QTest::newRow("ack timeout") << quint8(0x12) << true << QByteArray();
        QTest::newRow("raw frame") << quint8(0x08) << true << Bytes("40 10 34 12 20 EF BE 01") + trailer;
    }
    void everyPrefix_neverReadsPastThePayload()
    {
        QFETCH(quint8, msgId);
        QFETCH(bool, event);
        QFETCH(QByteArray, payload);
        // The bytes behind the payload differ between two runs: a decoder that reads them shows it.
        CheckEveryPrefix(payload, 0x03, msgId, [&](const HCIMessage& message, TKeyValueList& record) {
            if (!event)
                return m_dl->DecodeResponse(msgId, message.Payload, message.Length, record);
            QSignalSpy events(m_dl.get(), &TDataLinkSAP::EvDataLink_MessageEvent);
            return m_dl->ProcessHCIMessage(message, record) && events.size() == 1;
        });
        HCIMessage response;
        response.MsgID = 0x02;
        TKeyValueList record;
        QVERIFY(!m_dl->ProcessHCIMessage(response, record));
    }

    void radioMessageFile_listsWhatCanBeSent()
    {
        TRadioMsgConfig config;
        const QString mixed = QStringLiteral(TESSERA_TEST_DATA "/radiomsg_mixed.cfg");
        QVERIFY(config.Load(mixed));
        QStringList names;
        for (const TRadioMsgConfig::Entry& entry : config.Entries())
            names << entry.name;
        QCOMPARE(names, QStringList({"Good", "Decimal"}));
        // Comments and lines without a name pass quietly; every broken line is named.
        QCOMPARE(config.Warnings(), QStringList({
            "warning - message \"Bad Hex\" in line 5 skipped: error - invalid hex byte list for Payload: \"0x0G\"",
            "warning - message \"Address Too Large\" in line 6 skipped: error - invalid value for DstDeviceAddress: \"0x10000\" (0..65535)",
            "warning - message \"No Payload\" in line 7 skipped: error - parameter missing: Payload",
            "warning - line 8 skipped: \"Name:\" is empty",
            "warning - line 9 skipped: not UTF-8 text"}));
        QCOMPARE(config.StatusText(), QStringLiteral("warning - 2 radio message(s) loaded from ") + mixed + QStringLiteral("; lines skipped: 5, 6, 7, 8, 9"));

        // Choosing an entry fills the send parameters, which go out as they stand in the file.
        QSignalSpy requests(m_sim.get(), &TSimModule::RequestReceived);
        for (const TRadioMsgConfig::Entry& entry : config.Entries())
            QVERIFY2(m_dl->SendURadioMessage(TRadioMsgConfig::Parameters(entry.line)), qPrintable(m_dl->ResultText()));
        QCOMPARE(requests.size(), 2);
        QCOMPARE(requests.at(0).at(2).toByteArray(), Bytes("10 34 12 01 02"));
        QCOMPARE(requests.at(1).at(2).toByteArray(), Bytes("20 EF BE"));

        // The field lookup of the descriptors: the first field that contains the key.
        QCOMPARE(TRadioMsgConfig::FieldValue(QStringLiteral("GuiName:X;Name:Y"), QStringLiteral("Name:")), QStringLiteral("X"));
        QVERIFY(TRadioMsgConfig::FieldValue(QStringLiteral("Payload:01"), QStringLiteral("Name:")).isNull());

        // What the studio ships: every line sends, to the addresses and with the bytes it says.
        const QString shipped = QStringLiteral(TESSERA_TEST_DATA "/../../../resources/config/Velto_LR_RadioMsg.cfg");
        QVERIFY(config.Load(shipped));
        QCOMPARE(config.Warnings(), QStringList());
        QCOMPARE(config.StatusText(), QStringLiteral("info - 7 radio message(s) loaded from ") + shipped);
        requests.clear();
        for (const TRadioMsgConfig::Entry& entry : config.Entries())
            QVERIFY2(m_dl->SendURadioMessage(TRadioMsgConfig::Parameters(entry.line)), qPrintable(entry.name + ": " + m_dl->ResultText()));
        QStringList sent;
        for (const QList<QVariant>& request : qAsConst(requests))
            sent << request.at(2).toByteArray().toHex(' ').toUpper();
        QCOMPARE(sent, QStringList({"10 34 12 01 02 03 04", "FF FF FF 48 65 6C 6C 6F", "10 FF FF 42", "10 01 00 07 00 E4 0C D7 00 2D 40 01",
                                    "10 01 00 4C 01", "10 01 00 4C 00", "10 34 12"}));

        QTemporaryDir dir;
        const QString longLine = dir.filePath(QStringLiteral("long.cfg"));
        QFile file(longLine);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("Name:Long;DstGroupAddress:1;DstDeviceAddress:2;Payload:" + QByteArray(4100, '1') + "\r\nName:Short;DstGroupAddress:1;DstDeviceAddress:2;Payload:\r\n");
        file.close();
        QVERIFY(config.Load(longLine));
        QCOMPARE(config.Warnings(), QStringList{"warning - line 1 skipped: longer than 4096 bytes"});
        QCOMPARE(config.Entries().size(), 1);
        QCOMPARE(config.Entries().first().line, QStringLiteral("Name:Short;DstGroupAddress:1;DstDeviceAddress:2;Payload:"));

        const QString binary = QStringLiteral(TESSERA_TEST_DATA "/radiomsg_binary.cfg");
        QVERIFY(!config.Load(binary));
        QCOMPARE(config.ErrorText(), QStringLiteral("error - radio message configuration file is not a text file (NUL byte in line 4): ") + binary);
        QCOMPARE(config.StatusText(), config.ErrorText());
        QVERIFY(config.Entries().isEmpty() && config.Warnings().isEmpty());

        const QString missing = QStringLiteral(TESSERA_TEST_DATA "/no-such.cfg");
        QVERIFY(!config.Load(missing));
        QCOMPARE(config.ErrorText(), QStringLiteral("error - radio message configuration file not found: ") + missing);
        QVERIFY(config.Entries().isEmpty());
        QVERIFY(!config.Load(QStringLiteral(TESSERA_TEST_DATA)));
        QVERIFY(config.ErrorText().startsWith(QStringLiteral("error - couldn't open radio message configuration file: ")));
        QVERIFY(TRadioMsgConfig::DefaultPath().endsWith(QStringLiteral("/Velto_LoRaWAN_Tessera/Velto_LR_RadioMsg.cfg")));
    }
};

TESSERA_TEST_MAIN(TestDataLink)
#include "tst_datalink.moc"

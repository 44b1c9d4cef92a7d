#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

#include "TestEnvironment.h"
#include "sap/LoRaWANLayouts.h"
#include "sap/TLoRaWANConfig.h"
#include "tools/sim/TSimLoRaWAN.h"
#include "tools/sim/TSimModule.h"

namespace {
const QString kShipped = QStringLiteral(TESSERA_TEST_DATA "/../../../resources/config/Velto_LoRaWAN_Config.json");

QJsonObject ShippedObject()
{
    QFile file(kShipped);
    if (!file.open(QIODevice::ReadOnly))
        return QJsonObject();
    return QJsonDocument::fromJson(file.readAll()).object();
}

/// `value` put at `path` ("SupportedBands/1/UpLink/DataRates"); an undefined value removes the member.
QJsonValue Patched(const QJsonValue& node, QStringList path, const QJsonValue& value)
{
    if (path.isEmpty())
        return value;
    const QString step = path.takeFirst();
    if (node.isArray()) {
        QJsonArray array = node.toArray();
        const int index = step.toInt();
        if (path.isEmpty() && value.isUndefined())
            array.removeAt(index);
        else
            array[index] = Patched(array.at(index), path, value);
        return array;
    }
    QJsonObject object = node.toObject();
    if (path.isEmpty() && value.isUndefined())
        object.remove(step);
    else
        object[step] = Patched(object.value(step), path, value);
    return object;
}

QString DataRateTexts(const QVector<TLoRaWANConfig::DataRate>& rates)
{
    QStringList texts;
    for (const TLoRaWANConfig::DataRate& rate : rates)
        texts << QStringLiteral("%1:%2").arg(rate.Text()).arg(rate.maxPayload);
    return texts.join(QLatin1Char('|'));
}

QString Numbers(const QVector<int>& numbers)
{
    QStringList texts;
    for (int n : numbers)
        texts << QString::number(n);
    return texts.join(QLatin1Char(','));
}
}

class TestLoRaWANConfig : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    QString Write(const QString& name, const QByteArray& content)
    {
        const QString path = m_dir.filePath(name);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            return QString();
        file.write(content);
        return path;
    }

private slots:
    void shippedFile_answersThePagesQuestions()
    {
        TLoRaWANConfig config;
        QVERIFY2(config.Load(kShipped), qPrintable(config.ErrorText()));
        QVERIFY(config.IsAvailable());
        QCOMPARE(config.ErrorText(), QString());
        QCOMPARE(config.FileVersion(), QStringLiteral("1.0"));

        QStringList bands;
        for (const TLoRaWANConfig::Band& band : config.Bands())
            bands << QStringLiteral("%1 %2").arg(band.id).arg(band.name);
        QCOMPARE(bands, (QStringList{"1 EU868", "2 US915", "3 AU915", "4 CN470", "5 KR920", "6 IN865", "7 AS923-1", "8 RU864",
                                     "9 EU433", "10 AS923-2", "11 AS923-3", "12 AS923-4"}));
        QCOMPARE(config.BandName(2), QStringLiteral("US915"));
        QCOMPARE(config.BandName(13), QStringLiteral("n.a."));

        QCOMPARE(DataRateTexts(config.DataRates(1)), QStringLiteral("DR0 (SF12BW125):51|DR1 (SF11BW125):51|DR2 (SF10BW125):51|DR3 (SF9BW125):115|"
                                                                    "DR4 (SF8BW125):222|DR5 (SF7BW125):222|DR6 (SF7BW250):222|DR7 (FSK50):222"));
        QCOMPARE(DataRateTexts(config.DownlinkDataRates(1)), DataRateTexts(config.DataRates(1)));
        QCOMPARE(DataRateTexts(config.DataRates(2)), QStringLiteral("DR0 (SF10BW125):11|DR1 (SF9BW125):53|DR2 (SF8BW125):125|DR3 (SF7BW125):242|DR4 (SF8BW500):242"));
        QCOMPARE(DataRateTexts(config.DownlinkDataRates(2)), QStringLiteral("DR8 (SF12BW500):33|DR9 (SF11BW500):109|DR10 (SF10BW500):222|"
                                                                            "DR11 (SF9BW500):222|DR12 (SF8BW500):222|DR13 (SF7BW500):222"));
        QCOMPARE(config.DataRates(6).last().Text(), QStringLiteral("DR7 (FSK50)"));
        QCOMPARE(config.DataRates(6).last().bitRate, 50000);
        QCOMPARE(config.DataRates(13).size(), 0);
        QCOMPARE(config.MaxPayload(2, 0), 11);
        QCOMPARE(config.MaxPayload(2, 5), -1);
        QCOMPARE(config.MaxPayload(13, 0), -1);

        QCOMPARE(Numbers(config.PowerLevels(1)), QStringLiteral("16,14,12,10,8,6,4,2"));
        QCOMPARE(Numbers(config.PowerLevels(2)), QStringLiteral("30,28,26,24,22,20,18,16,14,12,10,8,6,4,2"));
        QCOMPARE(Numbers(config.PowerLevels(5)), QStringLiteral("14,12,10,8,6,4,2,0"));

        QVERIFY(!config.HasSubBandMasks(1));
        QVERIFY(config.HasSubBandMasks(2));
        QCOMPARE(config.FindBand(2)->SubBandMaskFields(), 1);
        QCOMPARE(config.SubBandCount(4), 12);
        QCOMPARE(config.FindBand(4)->SubBandMaskFields(), 2);

        const TLoRaWANConfig::Band* us = config.FindBand(2);
        QCOMPARE(us->uplinkChannels.size(), 2);
        QCOMPARE(us->uplinkChannels.at(1).first, qint64(903000000));
        QCOMPARE(us->uplinkChannels.at(1).step, qint64(1600000));
        QCOMPARE(us->downlinkChannels.size(), 1);
        QCOMPARE(us->rx2Frequency, qint64(923300000));
        QCOMPARE(us->rx2DataRate, 8);
        QVERIFY(config.FindBand(1)->downlinkChannels.isEmpty());

        QCOMPARE(config.Regions().size(), 9);
        QCOMPARE(config.RegionName(7), QStringLiteral("AS923"));
        QCOMPARE(config.RegionName(0), QStringLiteral("n.a."));
        QCOMPARE(config.FindRegion(7)->bandIds, (QVector<int>{7, 10, 11, 12}));
        QCOMPARE(config.FindRegion(9)->MaskBit(), quint32(0x200));
        QCOMPARE(config.RegionNames(0x86), (QStringList{"EU868", "US915", "AS923"}));
        QCOMPARE(config.RegionNames(0x80000001), QStringList());

        QStringList options;
        for (const TLoRaWANConfig::Option& option : config.Options())
            options << QStringLiteral("%1 %2").arg(option.bit).arg(option.name);
        QCOMPARE(options, (QStringList{"0 Adaptive Data Rate", "1 Duty Cycle Control", "2 Class C", "7 Public Network"}));
        QCOMPARE(config.DefaultBandId(), 1);
        QCOMPARE(config.DefaultDataRate(), 5);
        QCOMPARE(config.DefaultPowerLevel(), 14);
    }

    void shippedFile_describesWhatTheVirtualModuleOffers()
    {
        TLoRaWANConfig config;
        QVERIFY(config.Load(kShipped));
        TSimModule module;
        auto* lw = dynamic_cast<TSimLoRaWAN*>(module.Service(TSimLoRaWAN::kSapId));
        QVERIFY(lw);
        const TSimReply bands = lw->HandleRequest(LoRaWANMsgIds::kGetSupportedBandsReq, QByteArray());
        QCOMPARE(bands.status, TSimReply::kOk);
        QCOMPARE(bands.data.size() % 2, 0);
        QVERIFY(!bands.data.isEmpty());
        const QByteArray defaults = lw->HandleRequest(LoRaWANMsgIds::kGetConfigReq, QByteArray()).data;
        QCOMPARE(int(quint8(defaults.at(0))), config.DefaultDataRate());
        QCOMPARE(int(quint8(defaults.at(1))), config.DefaultPowerLevel());
        QCOMPARE(int(quint8(defaults.at(5))), config.DefaultBandId());

        const QByteArray activation = QByteArray::fromHex("3A1F0126") + QByteArray(32, '\x11');
        QCOMPARE(lw->HandleRequest(LoRaWANMsgIds::kActivateDeviceReq, activation).status, TSimReply::kOk);
        for (int i = 0; i < bands.data.size(); i += 2) {
            const TLoRaWANConfig::Band* band = config.FindBand(quint8(bands.data.at(i)));
            QVERIFY2(band, qPrintable(QString::number(quint8(bands.data.at(i)))));
            QCOMPARE(band->maxEIRP, int(quint8(bands.data.at(i + 1))));
            // Every data rate and power level the file offers the module takes, and carries as much payload.
            for (const TLoRaWANConfig::DataRate& rate : band->uplink) {
                for (int level : band->powerLevels) {
                    // DataRate, PowerLevel, Options, AutoPowerSaving, Retransmissions, BandID, HeaderMacCmdCap
                    const QByteArray request = QByteArray(1, char(rate.index)) + char(level) + QByteArray::fromHex("000107") + char(band->id) + '\0';
                    QCOMPARE(lw->HandleRequest(LoRaWANMsgIds::kSetConfigReq, request).status, TSimReply::kOk);
                }
                const QByteArray status = lw->HandleRequest(LoRaWANMsgIds::kGetNwkStatusReq, QByteArray()).data;
                QCOMPARE(status.size(), 8);
                QCOMPARE(int(quint8(status.at(7))), rate.maxPayload);
            }
            const QByteArray tooStrong = QByteArray(1, char(band->uplink.first().index)) + char(band->maxEIRP + 1) + QByteArray::fromHex("000107") + char(band->id) + '\0';
            QCOMPARE(lw->HandleRequest(LoRaWANMsgIds::kSetConfigReq, tooStrong).status, TSimReply::kWrongParameter);
        }
    }

    void documentedExample_loads()
    {
        QFile doc(QStringLiteral(TESSERA_TEST_DATA "/../../../docs/lorawan-config.md"));
        QVERIFY(doc.open(QIODevice::ReadOnly));
        const QByteArray text = doc.readAll();
        const int start = text.indexOf("```json\n") + 8;
        QVERIFY(start >= 8);
        const QString path = Write(QStringLiteral("example.json"), text.mid(start, text.indexOf("```", start) - start));
        TLoRaWANConfig config;
        QVERIFY2(config.Load(path), qPrintable(config.ErrorText()));
        QCOMPARE(DataRateTexts(config.DownlinkDataRates(1)), QStringLiteral("DR5 (SF7BW125):222|DR7 (FSK50):222"));
        QCOMPARE(config.RegionNames(0x2), QStringList{QStringLiteral("EU868")});
    }

    void loadErrors_oneReasonAndNothingKept_data()
    {
        QTest::addColumn<QString>("patchPath");
        QTest::addColumn<QJsonValue>("value");
        QTest::addColumn<QString>("reason");
        const QJsonValue remove = QJsonValue(QJsonValue::Undefined);
        QTest::newRow("band without data rates") << "SupportedBands/1/UpLink/DataRates" << QJsonValue(QJsonArray())
                                                 << "SupportedBands[1].UpLink.DataRates: at least one entry is expected";
        QTest::newRow("region mask bit out of range") << "Regions/0/RegionID" << QJsonValue(32) << "Regions[0].RegionID: 32 is out of range 0..31";
        QTest::newRow("region ID twice") << "Regions/3/RegionID" << QJsonValue(1) << "Regions[3].RegionID: RegionID 1 appears twice";
        QTest::newRow("region of an unknown band") << "Regions/6/BandIDs/1" << QJsonValue(13) << "Regions[6].BandIDs[1]: no band with BandID 13";
        QTest::newRow("unknown data rate name") << "SupportedBands/0/UpLink/DataRates/3/DataRate" << QJsonValue("SF13BW125")
                                                << "SupportedBands[0].UpLink.DataRates[3].DataRate: no data rate \"SF13BW125\" in DataRates";
        QTest::newRow("DR twice") << "SupportedBands/0/UpLink/DataRates/1/DR" << QJsonValue(0) << "SupportedBands[0].UpLink.DataRates[1].DR: DR 0 appears twice";
        QTest::newRow("BandID twice") << "SupportedBands/2/BandID" << QJsonValue(1) << "SupportedBands[2].BandID: BandID 1 appears twice";
        QTest::newRow("band name twice") << "SupportedBands/2/Name" << QJsonValue("eu868") << "SupportedBands[2].Name: \"eu868\" appears twice";
        QTest::newRow("power levels rising") << "SupportedBands/0/PowerLevels/2" << QJsonValue(14)
                                             << "SupportedBands[0].PowerLevels[2]: 14 dBm is not below the level before it (14 dBm)";
        QTest::newRow("power above MaxEIRP") << "SupportedBands/0/PowerLevels/0" << QJsonValue(20) << "SupportedBands[0].PowerLevels[0]: 20 is out of range 0..16";
        QTest::newRow("too many sub-bands") << "SupportedBands/1/SubBands" << QJsonValue(25) << "SupportedBands[1].SubBands: 25 is out of range 0..24";
        QTest::newRow("RX2 not a downlink rate") << "SupportedBands/1/DownLink/RX2DataRate" << QJsonValue(0)
                                                 << "SupportedBands[1].DownLink.RX2DataRate: DR 0 is not among the band's downlink data rates";
        QTest::newRow("number as text") << "SupportedBands/0/MaxEIRP" << QJsonValue("16") << "SupportedBands[0].MaxEIRP: a whole number is expected";
        QTest::newRow("empty name") << "SupportedBands/4/Name" << QJsonValue(" ") << "SupportedBands[4].Name: a text is expected";
        QTest::newRow("channels without step") << "SupportedBands/0/UpLink/Channels/0/Step" << remove << "SupportedBands[0].UpLink.Channels[0].Step: missing";
        QTest::newRow("band not an object") << "SupportedBands/5" << QJsonValue(6) << "SupportedBands[5]: an object is expected";
        QTest::newRow("no bands") << "SupportedBands" << remove << "SupportedBands: missing";
        QTest::newRow("unknown modulation") << "DataRates/FSK50/Modulation" << QJsonValue("GFSK") << "DataRates.FSK50.Modulation: \"GFSK\" is neither LoRa nor FSK";
        QTest::newRow("empty catalogue") << "DataRates" << QJsonValue(QJsonObject()) << "DataRates: at least one data rate is expected";
        QTest::newRow("default band unknown") << "EndNode/DefaultBandID" << QJsonValue(13) << "EndNode.DefaultBandID: no band with BandID 13";
        QTest::newRow("default data rate") << "EndNode/DefaultDataRate" << QJsonValue(8) << "EndNode.DefaultDataRate: DR 8 is not among the uplink data rates of EU868";
        QTest::newRow("default power") << "EndNode/DefaultPowerLevel" << QJsonValue(15) << "EndNode.DefaultPowerLevel: 15 dBm is not among the power levels of EU868";
        QTest::newRow("option bit twice") << "EndNode/Options/1/Bit" << QJsonValue(0) << "EndNode.Options[1].Bit: bit 0 appears twice";
        QTest::newRow("file version") << "FileVersion" << QJsonValue("one") << "FileVersion: \"one\" is not a version such as 1.0";
    }
    void loadErrors_oneReasonAndNothingKept()
    {
        QFETCH(QString, patchPath);
        QFETCH(QJsonValue, value);
        QFETCH(QString, reason);
        const QJsonValue patched = Patched(ShippedObject(), patchPath.split(QLatin1Char('/')), value);
        const QString path = Write(QStringLiteral("patched.json"), QJsonDocument(patched.toObject()).toJson());
        TLoRaWANConfig config;
        QVERIFY(config.Load(kShipped));
        QVERIFY(!config.Load(path));
        QCOMPARE(config.ErrorText(), reason);
        QCOMPARE(config.Path(), path);
        QVERIFY(!config.IsAvailable());
        QVERIFY(config.Bands().isEmpty());
        QVERIFY(config.Regions().isEmpty());
        QVERIFY(config.Options().isEmpty());
        QCOMPARE(config.BandName(1), QStringLiteral("n.a."));
        QVERIFY(config.DataRates(1).isEmpty());
        QCOMPARE(config.DefaultBandId(), -1);
    }

    void unreadableFiles_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("reason");
        QTest::newRow("missing") << QByteArray() << "file not found";
        QTest::newRow("empty") << QByteArray(" \n") << "the file is empty";
        QTest::newRow("missing comma") << QByteArray("{\n    \"FileVersion\": \"1.0\",\n    \"EndNode\": {\"DefaultBandID\": 1 \"DefaultDataRate\": 5}\n}\n")
                                       << "JSON syntax error at line 3, column 36: unterminated object";
        QTest::newRow("cut short") << QByteArray("{\n  \"FileVersion\": \"1.0\",\n  \"SupportedBands\": [\n")
                                   << "JSON syntax error at line 3, column 22: unterminated array";
        QTest::newRow("umlaut before the error") << QByteArray("{\"Name\": \"Kl\xC3\xA4ger\", x}") << "JSON syntax error at line 1, column 20: unterminated object";
        QTest::newRow("bad literal on line 2") << QByteArray("{\n\"a\": tru}") << "JSON syntax error at line 2, column 6: illegal value";
        QTest::newRow("array at the top") << QByteArray("[1, 2]") << "the top level is not a JSON object";
    }
    void unreadableFiles()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, reason);
        const QString path = content.isNull() ? m_dir.filePath(QStringLiteral("none.json")) : Write(QStringLiteral("broken.json"), content);
        TLoRaWANConfig config;
        QVERIFY(!config.Load(path));
        QCOMPARE(config.ErrorText(), reason);
        QVERIFY(!config.IsAvailable());
        QCOMPARE(config.FileVersion(), QString());
    }
};

TESSERA_TEST_MAIN(TestLoRaWANConfig)
#include "tst_lorawanconfig.moc"

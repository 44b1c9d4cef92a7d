#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QtTest>

#include "TestEnvironment.h"
#include "devices/TConfigTemplate.h"
#include "devices/TExtLoRaWANEndNode.h"
#include "devices/TLoRaWANEndNode.h"
#include "tools/sim/TSimDataLink.h"
#include "tools/sim/TSimModule.h"

namespace {
const char* const kAppKey = "2B-7E-15-16-28-AE-D2-A6-AB-F7-15-88-09-CF-4F-3C";
const char* const kAesKey = "3A-7F-C2-19-5B-E0-44-9D-81-6C-2F-B3-D7-08-A5-6E";

/// Runs "SAP/Command Key=Value ..." as tessera-cli exec does.
bool Exec(TRadioController& node, const QString& line, TKeyValueList* result = nullptr)
{
    const QStringList words = line.split(QLatin1Char(' '));
    TKeyValueList params;
    for (const QString& pair : words.mid(1))
        params.Append(pair.section(QLatin1Char('='), 0, 0), pair.section(QLatin1Char('='), 1));
    TKeyValueList unused;
    const bool ok = node.ExecuteAny(words.first(), params, result ? *result : unused);
    if (!ok)
        qWarning("%s: %s", qPrintable(line), qPrintable(node.LastError()));
    return ok;
}

QJsonObject Settings(const TConfigTemplate& configTemplate)
{
    return QJsonDocument::fromJson(configTemplate.ToJson()).object().value(QStringLiteral("Settings")).toObject();
}

QStringList Lines(const QList<TConfigTemplate::Difference>& differences)
{
    QStringList lines;
    for (const TConfigTemplate::Difference& d : differences)
        lines << QStringLiteral("%1|%2|%3|%4").arg(d.setting, d.field, d.templateValue, d.moduleValue);
    return lines;
}

const QStringList kConfiguration = {
    "DeviceMgmt/SetRadioStack", "DeviceMgmt/SetDeviceConfig", "LoRaWAN/SetRegionConfig", "LoRaWAN/SetActiveRegion",
    "LoRaWAN/SetNodeConfig", "LoRaWAN/SetCustomConfig", "LoRaWAN/SetTxPowerLimitConfig", "LoRaWAN/SetLinkADRRequestConfig",
    "DataLink/SetRadioConfig", "DeviceMgmt/SetOperationMode"};
}

class TestConfigTemplate : public QObject
{
    Q_OBJECT

    std::unique_ptr<TSimModule> m_simA;
    std::unique_ptr<TSimModule> m_simB;
    std::unique_ptr<TExtLoRaWANEndNode> m_a;
    std::unique_ptr<TExtLoRaWANEndNode> m_b;
    QTemporaryDir m_dir;
    QString m_portB;   ///< links: pseudo-terminal numbers are reused at once

    bool OpenBoth()
    {
        for (auto* sim : {&m_simA, &m_simB}) {
            *sim = std::make_unique<TSimModule>();
            (*sim)->Identity().firmwareName = QStringLiteral("Caravel_LoRaWAN");
            if (!(*sim)->Open() || !(*sim)->CreateLink(m_dir.filePath(sim == &m_simA ? QStringLiteral("a") : QStringLiteral("b"))))
                return false;
        }
        m_portB = m_dir.filePath(QStringLiteral("b"));
        m_simB->Identity().deviceId = 0x00B0B0B0;
        m_a = std::make_unique<TExtLoRaWANEndNode>();
        m_b = std::make_unique<TExtLoRaWANEndNode>();
        return m_a->Open(m_dir.filePath(QStringLiteral("a")), QStringLiteral("115200")) && m_b->Open(m_portB, QStringLiteral("115200"))
            && m_a->ReadDeviceInfo() && m_b->ReadDeviceInfo();
    }

    /// Module A gets a configuration of its own; B keeps its defaults but has identities of its own.
    bool ConfigureA()
    {
        TExtLoRaWANEndNode& a = *m_a;
        return Exec(a, "DeviceMgmt/SetRadioStack RadioStack=1") && Exec(a, "DeviceMgmt/SetDeviceConfig PowerSaving=0 ExtraOptions=5")
            && Exec(a, "LoRaWAN/SetRegionConfig DefaultRegion=3 RegionMask=0x0000008E") && Exec(a, "LoRaWAN/SetActiveRegion ActiveRegion=3")
            && Exec(a, "LoRaWAN/SetNodeConfig DataRate=3 PowerLevel=10 Options=0x04 AutoPowerSaving=0 Retransmissions=2 BandID=7 HeaderMacCmdCap=1")
            && Exec(a, "LoRaWAN/SetCustomConfig TxPowerOffset=-3") && Exec(a, "LoRaWAN/SetTxPowerLimitConfig SubBandIndex=2 ActiveFlag=1 Limit=10")
            && Exec(a, "LoRaWAN/SetLinkADRRequestConfig HandlingMode=2")
            && Exec(a, "DataLink/SetRadioConfig NVM=0 RadioMode=0 RxGroupAddress=0x20 RxDeviceAddress=0x0A0A Modulation=0 Frequency=14245888 "
                       "Bandwidth=1 Spreading=9 ErrorCoding=2 PowerLevel=10 RxCtrl=0x02 RxWindow=500 ExtraOptions=0x03 FSKDataRate=0")
            && Exec(a, QStringLiteral("DataLink/SetAESKey AES-Key=") + QLatin1String(kAesKey))
            && Exec(a, QStringLiteral("LoRaWAN/SetJoinParameters JoinEUI=70-B3-D5-7E-D0-00-00-0A AppKey=") + QLatin1String(kAppKey))
            && Exec(a, "LoRaWAN/SetDeviceEUI DeviceEUI=70-B3-D5-7E-00-00-00-0A") && Exec(a, "DeviceMgmt/SetOperationMode OperationMode=1")
            && Exec(*m_b, "LoRaWAN/SetDeviceEUI DeviceEUI=70-B3-D5-7E-00-00-00-0B")
            && Exec(*m_b, "LoRaWAN/SetJoinParameters JoinEUI=70-B3-D5-7E-D0-00-00-0B AppKey=00-00-00-00-00-00-00-00-00-00-00-00-00-00-00-0B");
    }

    QString Value(TRadioController& node, const QString& getCommand, const QString& key)
    {
        TKeyValueList result;
        return Exec(node, getCommand, &result) ? result.Value(key) : QStringLiteral("failed");
    }

private slots:
    void initTestCase() { TVeltoLRHCI::SetDefaultResponseTimeout(5000); }
    void init() { QVERIFY(OpenBoth()); QVERIFY(ConfigureA()); }
    void cleanup()
    {
        m_a.reset();
        m_b.reset();
        m_simA.reset();
        m_simB.reset();
    }

    void exportApply_secondModuleTakesTheConfigurationButKeepsItsIdentity()
    {
        TConfigTemplate exported;
        QVERIFY2(exported.Export(*m_a), qPrintable(exported.ErrorText()));
        QCOMPARE(exported.Settings(), kConfiguration);
        QVERIFY(exported.Skipped().isEmpty());
        const QByteArray json = exported.ToJson();
        for (const char* secret : {"AppKey", "AES-Key", "DeviceEUI", "JoinEUI", "RxDeviceAddress", "RxGroupAddress", "DeviceID", "Nonce"})
            QVERIFY2(!json.contains(secret), secret);
        const QJsonObject root = QJsonDocument::fromJson(json).object();
        QCOMPARE(root.value("FormatVersion").toInt(), 1);
        QCOMPARE(root.value("Source").toObject(), (QJsonObject{{"DeviceType", "Velto LR USB Stick"}, {"FWName", "Caravel_LoRaWAN"}, {"FWVersion", "V2.4"}}));
        const QJsonObject settings = root.value("Settings").toObject();
        QCOMPARE(settings.value("DeviceMgmt/SetDeviceConfig").toObject(), (QJsonObject{{"PowerSaving", "0"}, {"ExtraOptions", "5"}}));
        QCOMPARE(settings.value("LoRaWAN/SetTxPowerLimitConfig").toArray().at(2).toObject(),
                 (QJsonObject{{"SubBandIndex", "2"}, {"ActiveFlag", "1"}, {"Limit", "10"}}));

        QSignalSpy requests(m_simB.get(), &TSimModule::RequestReceived);
        TConfigTemplate loaded;
        QVERIFY(loaded.FromJson(json));
        QVERIFY2(loaded.Apply(*m_b), qPrintable(loaded.ErrorText()));
        QCOMPARE(loaded.Sent(), kConfiguration);
        QVERIFY(loaded.Differences().isEmpty());
        // The radio configuration went out completed with B's own addresses, and to be kept (NVM 1).
        QByteArrayList radioConfigs;
        for (const QList<QVariant>& request : requests)
            if (request.at(0).value<quint8>() == 0x03 && request.at(1).value<quint8>() == 0x17)
                radioConfigs << request.at(2).toByteArray().toHex(' ');
        QCOMPARE(radioConfigs, QByteArrayList{"01 00 10 00 3a 1f 00 00 00 00 60 d9 01 09 02 0a 00 02 f4 01 00 03 00 00 00 00"});

        TConfigTemplate again;
        QVERIFY(again.Export(*m_b));
        QCOMPARE(Settings(again), Settings(exported));
        QCOMPARE(Value(*m_b, "LoRaWAN/GetDeviceEUI", "DeviceEUI"), QStringLiteral("70 B3 D5 7E 00 00 00 0B"));
        QCOMPARE(Value(*m_b, "LoRaWAN/GetJoinParameters", "AppKey"), QStringLiteral("00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 0B"));
        QCOMPARE(Value(*m_b, "DeviceMgmt/GetDeviceInfo", "DeviceID"), QStringLiteral("00B0B0B0"));
        QCOMPARE(Value(*m_b, "DataLink/GetRadioConfig", "RxDeviceAddress"), QStringLiteral("0x1F3A"));
    }

    void keys_andDeviceValues_onlyWhenAsked()
    {
        TConfigTemplate withKeys;
        QVERIFY(withKeys.Export(*m_a, TConfigTemplate::WithKeys));
        QCOMPARE(withKeys.Settings(), (QStringList(kConfiguration.mid(0, 9)) << "DataLink/SetAESKey"
                                                                               << "LoRaWAN/SetJoinParameters" << "DeviceMgmt/SetOperationMode"));
        QCOMPARE(withKeys.Entries("LoRaWAN/SetJoinParameters").first().ToText(), QStringLiteral("AppKey: 2B 7E 15 16 28 AE D2 A6 AB F7 15 88 09 CF 4F 3C"));
        QVERIFY(!withKeys.ToJson().contains("JoinEUI"));
        QVERIFY(withKeys.Apply(*m_b));
        // The key arrives; the JoinEUI sent with it is B's own.
        QCOMPARE(Value(*m_b, "LoRaWAN/GetJoinParameters", "AppKey"), QStringLiteral("2B 7E 15 16 28 AE D2 A6 AB F7 15 88 09 CF 4F 3C"));
        QCOMPARE(Value(*m_b, "LoRaWAN/GetJoinParameters", "JoinEUI"), QStringLiteral("70 B3 D5 7E D0 00 00 0B"));
        QCOMPARE(Value(*m_b, "DataLink/GetAESKey", "AES-Key"), QStringLiteral("3A-7F-C2-19-5B-E0-44-9D-81-6C-2F-B3-D7-08-A5-6E"));

        // A session of an activated module travels only as a whole: keys and address together.
        QVERIFY(Exec(*m_a, "DeviceMgmt/SetOperationMode OperationMode=0"));
        QVERIFY(Exec(*m_a, "LoRaWAN/ActivateDevice DeviceAddress=0x26012345 NwkSessionKey=01-02-03-04-05-06-07-08-09-0A-0B-0C-0D-0E-0F-10 "
                           "AppSessionKey=11-12-13-14-15-16-17-18-19-1A-1B-1C-1D-1E-1F-20"));
        TConfigTemplate keysOnly;
        QVERIFY(keysOnly.Export(*m_a, TConfigTemplate::WithKeys));
        QVERIFY(!keysOnly.Settings().contains("LoRaWAN/ActivateDevice"));
        TConfigTemplate everything;
        QVERIFY(everything.Export(*m_a, TConfigTemplate::WithKeys | TConfigTemplate::WithDeviceValues));
        QCOMPARE(everything.Settings(), (QStringList(kConfiguration.mid(0, 9)) << "DataLink/SetAESKey" << "LoRaWAN/SetDeviceEUI"
                                                                                 << "LoRaWAN/SetJoinParameters" << "LoRaWAN/ActivateDevice"
                                                                                 << "LoRaWAN/SetDevNonce" << "LoRaWAN/SetJoinNonce"
                                                                                 << "PTS/SetDeviceID" << "DeviceMgmt/SetOperationMode"));
        QCOMPARE(everything.Source().Value("DeviceID"), QStringLiteral("0042A1C7"));
        QVERIFY2(everything.Apply(*m_b), qPrintable(everything.ErrorText()));
        QCOMPARE(Value(*m_b, "DeviceMgmt/GetDeviceInfo", "DeviceID"), QStringLiteral("0042A1C7"));
        QCOMPARE(Value(*m_b, "LoRaWAN/GetNwkStatus", "NetworkStatusText"), QStringLiteral("active (ABP)"));
        TConfigTemplate clone;
        QVERIFY(clone.Export(*m_b, TConfigTemplate::WithKeys | TConfigTemplate::WithDeviceValues));
        QCOMPARE(Settings(clone), Settings(everything));
    }

    void apply_stopsAtTheFirstRefusedSettingAndChecksTheReadBack()
    {
        TConfigTemplate exported;
        QVERIFY(exported.Export(*m_a));
        m_simB->ForceStatus(0x10, 0x19, 0x03);   // LoRaWAN SetConfigReq: "wrong parameter"
        QSignalSpy requests(m_simB.get(), &TSimModule::RequestReceived);
        QVERIFY(!exported.Apply(*m_b));
        QCOMPARE(exported.RefusedSetting(), QStringLiteral("LoRaWAN/SetNodeConfig"));
        QCOMPARE(exported.ErrorText(), QStringLiteral("error - setting refused: LoRaWAN/SetNodeConfig (wrong parameter)"));
        QCOMPARE(exported.Sent(), kConfiguration.mid(0, 4));
        QCOMPARE(requests.last().at(0).value<quint8>(), quint8(0x10));
        QCOMPARE(requests.last().at(1).value<quint8>(), quint8(0x19));

        // A module that says OK and keeps its old value is caught by the read-back.
        m_simB->ClearForcedStatus();
        m_simB->ForceStatus(0x10, 0x31, 0x00);   // LoRaWAN SetCustomConfigReq answered, not stored
        QVERIFY(!exported.Apply(*m_b));
        QVERIFY(exported.RefusedSetting().isEmpty());
        QCOMPARE(exported.Sent(), kConfiguration);
        QCOMPARE(Lines(exported.Differences()), QStringList{"LoRaWAN/SetCustomConfig|TxPowerOffset|-3|0"});
        QCOMPARE(exported.ErrorText(), QStringLiteral("error - after applying, the module differs from the template in 1 value"));

        // A template with the dual-stack settings cannot go to a module without them.
        m_simB->ClearForcedStatus();
        m_b->Close();
        TLoRaWANEndNode plain;
        QVERIFY(plain.Open(m_portB, QStringLiteral("115200")));
        requests.clear();
        QVERIFY(!exported.Apply(plain));
        QCOMPARE(exported.ErrorText(), QStringLiteral("error - setting refused: DeviceMgmt/SetRadioStack (the module does not have this setting)"));
        QVERIFY(exported.Sent().isEmpty());
        QVERIFY(requests.isEmpty());
    }

    void compare_listsWhatDiffersAsTheModuleTakesIt()
    {
        // Numbers and octets are compared by value; a missing entry reads "n.a.".
        TConfigTemplate configTemplate;
        QVERIFY(configTemplate.FromJson(R"({"FileType": "Tessera configuration template", "FormatVersion": 1, "Settings": {
            "LoRaWAN/SetRegionConfig": {"RegionMask": "0x86", "DefaultRegion": 2},
            "LoRaWAN/SetTxPowerLimitConfig": [{"SubBandIndex": "5", "ActiveFlag": "0", "Limit": "14"},
                                              {"SubBandIndex": "2", "ActiveFlag": "1", "Limit": "14"},
                                              {"SubBandIndex": "9", "ActiveFlag": "0", "Limit": "14"}],
            "DataLink/SetAESKey": {"AES-Key": "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"}}})"));
        QList<TConfigTemplate::Difference> differences;
        QVERIFY(configTemplate.Compare(*m_b, differences));
        QCOMPARE(Lines(differences), (QStringList{"LoRaWAN/SetRegionConfig|DefaultRegion|2|1",
                                                  "LoRaWAN/SetTxPowerLimitConfig|ActiveFlag (SubBandIndex 2)|1|0",
                                                  "LoRaWAN/SetTxPowerLimitConfig|SubBandIndex (SubBandIndex 9)|9|n.a.",
                                                  "LoRaWAN/SetTxPowerLimitConfig|ActiveFlag (SubBandIndex 9)|0|n.a.",
                                                  "LoRaWAN/SetTxPowerLimitConfig|Limit (SubBandIndex 9)|14|n.a."}));
        // Fields a template leaves out are completed from the module when it is applied.
        QVERIFY(configTemplate.FromJson(R"({"FileType": "Tessera configuration template", "FormatVersion": 1, "Settings": {
            "LoRaWAN/SetNodeConfig": {"DataRate": "2"}}})"));
        QVERIFY2(configTemplate.Apply(*m_b), qPrintable(configTemplate.ErrorText()));
        QCOMPARE(Value(*m_b, "LoRaWAN/GetNodeConfig", "DataRate"), QStringLiteral("2"));
        QCOMPARE(Value(*m_b, "LoRaWAN/GetNodeConfig", "Retransmissions"), QStringLiteral("7"));
    }

    void fromJson_refusesWhatIsNotATemplate_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("error");
        const QByteArray head = R"({"FileType": "Tessera configuration template", "FormatVersion": 1, )";
        QTest::newRow("not JSON") << QByteArray("{\"FileType\": ") << "error - template is not valid JSON: unterminated object at offset 13";
        QTest::newRow("other file") << QByteArray(R"({"FileVersion": "1.0"})")
                                    << "error - not a configuration template (\"FileType\" is not \"Tessera configuration template\")";
        QTest::newRow("newer format") << QByteArray(R"({"FileType": "Tessera configuration template", "FormatVersion": 2, "Settings": {}})")
                                      << "error - template format version 2 is not supported (this program reads 1)";
        QTest::newRow("unknown setting") << head + R"("Settings": {"DeviceMgmt/SetBootLoaderMode": {}}})"
                                         << "error - unknown setting in template: DeviceMgmt/SetBootLoaderMode";
        QTest::newRow("unknown field") << head + R"("Settings": {"LoRaWAN/SetCustomConfig": {"TxPower": "1"}}})"
                                       << "error - LoRaWAN/SetCustomConfig: unknown field \"TxPower\"";
        QTest::newRow("reserved is no field") << head + R"("Settings": {"DeviceMgmt/SetDeviceConfig": {"Reserved": "1"}}})"
                                              << "error - DeviceMgmt/SetDeviceConfig: unknown field \"Reserved\"";
        QTest::newRow("boolean value") << head + R"("Settings": {"LoRaWAN/SetCustomConfig": {"TxPowerOffset": true}}})"
                                       << "error - LoRaWAN/SetCustomConfig: TxPowerOffset is neither text nor a whole number";
        QTest::newRow("object for a list") << head + R"("Settings": {"LoRaWAN/SetTxPowerLimitConfig": {"SubBandIndex": "1"}}})"
                                           << "error - LoRaWAN/SetTxPowerLimitConfig: expected a list of objects";
        QTest::newRow("incomplete entry") << head + R"("Settings": {"LoRaWAN/SetTxPowerLimitConfig": [{"SubBandIndex": "1", "Limit": "3"}]}})"
                                          << "error - LoRaWAN/SetTxPowerLimitConfig: entry 1 lacks ActiveFlag";
    }
    void fromJson_refusesWhatIsNotATemplate()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, error);
        TConfigTemplate configTemplate;
        QVERIFY(configTemplate.Export(*m_a));
        QVERIFY(!configTemplate.FromJson(json));
        QCOMPARE(configTemplate.ErrorText(), error);
        QCOMPARE(configTemplate.Settings(), kConfiguration);   // the content stays as it was
        QVERIFY(!configTemplate.Load(QStringLiteral("/nonexistent/unit.json")));
        QCOMPARE(configTemplate.ErrorText(), QStringLiteral("error - couldn't read template file: /nonexistent/unit.json (No such file or directory)"));
    }
};

TESSERA_TEST_MAIN(TestConfigTemplate)
#include "tst_configtemplate.moc"

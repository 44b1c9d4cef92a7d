#include <QtTest>

#include "TestEnvironment.h"
#include "settings/TSettings.h"

namespace {
QString FileText()
{
    QFile file(TSettings::Instance().SettingsFilePath());
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}
}

class TestSettingsStore : public QObject
{
    Q_OBJECT

    QString m_home;

private slots:
    void initTestCase() { m_home = QDir::homePath(); }
    void init() { QFile::remove(TSettings::Instance().SettingsFilePath()); }

    void locations_fromTheProgramName()
    {
        const TSettings& s = TSettings::Instance();
        // DataLocation minus its last component, then the maker and the program.
        QCOMPARE(s.DataDirectory(), m_home + QStringLiteral("/.local/share/Haldor/Velto_LoRaWAN_Tessera/"));
        QCOMPARE(s.SettingsFilePath(), s.DataDirectory() + QStringLiteral("Velto_LoRaWAN_Tessera.ini"));
        QCOMPARE(s.EndDeviceFilePath(), s.DataDirectory() + QStringLiteral("Velto_LoRaWAN_Tessera_EndDevices.json"));
    }

    void defaults_whenTheFileIsMissing()
    {
        const TSettings& s = TSettings::Instance();
        QCOMPARE(s.StatusBoxLocation(), 2);
        QCOMPARE(s.MainTheme(), QStringLiteral("Manhattan"));
        QCOMPARE(s.NumWakeupChars(), 50);
        QCOMPARE(s.ServerPort(), 51000);
        QCOMPARE(s.GatewayPort(), 51000);
        QVERIFY(!s.ServerSupport());
        QVERIFY(!s.BonjourSupport());
        QVERIFY(!s.ApprovalTest());
        QVERIFY(!s.SensorApp());
        QVERIFY(s.FirmwareCompatibilityCheck());
        QCOMPARE(s.LoRaWANConfigPath(), s.DataDirectory() + QStringLiteral("Velto_LoRaWAN_Config.json"));
        QCOMPARE(s.DeviceConfigPath(), QStringLiteral(":/Config/DeviceConfig.json"));
        QCOMPARE(s.FirmwareVersionsPath(), QStringLiteral(":/Config/FirmwareVersions.json"));
        QCOMPARE(s.ReadValue(QStringLiteral("Special"), QStringLiteral("DeveloperPWD")), QString());
        QVERIFY(s.ReadList(QStringLiteral("ComPorts"), QStringLiteral("Used")).isEmpty());
        QVERIFY(!QFile::exists(s.SettingsFilePath()));   // reading never creates the file
    }

    void booleans_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("value");
        for (const char* t : {"yes", "Yes", "YES", "on", "ON", "1", " yes "})
            QTest::newRow(t) << QString::fromLatin1(t) << true;
        for (const char* t : {"true", "no", "0", "", "y", "2"})
            QTest::newRow(*t ? t : "empty") << QString::fromLatin1(t) << false;
    }
    void booleans()
    {
        QFETCH(QString, text);
        QFETCH(bool, value);
        QCOMPARE(TSettings::TextToBool(text), value);
        TSettings::Instance().WriteValue(QStringLiteral("Special"), QStringLiteral("SensorApp"), text);
        QCOMPARE(TSettings::Instance().SensorApp(), value);
    }

    void writes_areOnDiskAtOnce()
    {
        TSettings& s = TSettings::Instance();
        s.SetFirmwareCompatibilityCheck(false);
        QVERIFY(FileText().contains(QStringLiteral("[FirmwareSupport]\nFirmwareCompatibilityCheck=NO")));
        s.SetGatewayPort(52001);
        QVERIFY(FileText().contains(QStringLiteral("GatewayPort=52001")));
        s.WriteBool(QStringLiteral("Special"), QStringLiteral("ApprovalTest"), true);
        QVERIFY(FileText().contains(QStringLiteral("ApprovalTest=YES")));
        s.SetStatusBoxLocation(8);
        QCOMPARE(QSettings(s.SettingsFilePath(), QSettings::IniFormat).value(QStringLiteral("GUI/StatusBoxLocation")).toString(), QStringLiteral("8"));
    }

    void lists_addToFrontAndRemove()
    {
        TSettings& s = TSettings::Instance();
        const QString g = QStringLiteral("ComPorts"), k = QStringLiteral("Used");
        s.AddToList(g, k, QStringLiteral("/dev/ttyUSB0"));
        QCOMPARE(s.ReadList(g, k), QStringList{"/dev/ttyUSB0"});
        s.AddToList(g, k, QStringLiteral("/dev/ttyUSB1"));
        s.AddToList(g, k, QStringLiteral("COM3"));
        s.AddToList(g, k, QStringLiteral("/dev/ttyUSB0"));
        QCOMPARE(s.ReadList(g, k), (QStringList{"/dev/ttyUSB0", "COM3", "/dev/ttyUSB1"}));
        QVERIFY(s.RemoveFromList(g, k, QStringLiteral("COM3")));
        QVERIFY(!s.RemoveFromList(g, k, QStringLiteral("COM3")));
        QVERIFY(s.RemoveFromList(g, k, QStringLiteral("/dev/ttyUSB0")));
        QVERIFY(s.RemoveFromList(g, k, QStringLiteral("/dev/ttyUSB1")));
        QVERIFY(s.ReadList(g, k).isEmpty());
        s.WriteList(g, k, {QStringLiteral("a,b"), QStringLiteral("c")});
        QCOMPARE(s.ReadList(g, k), (QStringList{"a,b", "c"}));
    }

    void groups_roundTrip()
    {
        TSettings& s = TSettings::Instance();
        TKeyValueList items;
        items.Append(QStringLiteral("Alpha"), QStringLiteral("1"));
        items.Append(QStringLiteral("Beta"), QStringLiteral("two words"));
        s.WriteGroup(QStringLiteral("Custom"), items);
        const TKeyValueList read = s.ReadGroup(QStringLiteral("Custom"));
        QCOMPARE(read.Value("Alpha"), QStringLiteral("1"));
        QCOMPARE(read.Value("Beta"), QStringLiteral("two words"));
        QCOMPARE(read.size(), 2);
    }

    void specialModes_withTheAccessCode()
    {
        TSettings& s = TSettings::Instance();
        const QString code = QStringLiteral("Vallee-des-Lumieres");
        s.WriteValue(QStringLiteral("Special"), QStringLiteral("ApprovalTest"), QStringLiteral("yes"));
        s.LoadSpecialSwitches(code);
        QVERIFY(!s.DeveloperMode());   // empty password
        QCOMPARE(s.SpecialFeatures(), QStringList{"ApprovalTest"});
        s.WriteValue(QStringLiteral("Special"), QStringLiteral("DeveloperPWD"), QStringLiteral("guess"));
        s.LoadSpecialSwitches(code);
        QVERIFY(!s.DeveloperMode());
        s.WriteValue(QStringLiteral("Special"), QStringLiteral("DeveloperPWD"), code);
        s.WriteValue(QStringLiteral("Special"), QStringLiteral("SensorApp"), QStringLiteral("ON"));
        s.WriteValue(QStringLiteral("Logfile"), QStringLiteral("ShowSingleLineKVList"), QStringLiteral("no"));
        s.WriteValue(QStringLiteral("Formats"), QStringLiteral("ISOFormat"), QStringLiteral("no"));
        s.LoadSpecialSwitches(code);
        QVERIFY(s.DeveloperMode());
        QCOMPARE(s.SpecialFeatures(), (QStringList{"DeveloperMode", "ApprovalTest", "SensorApp"}));
        QVERIFY(!s.ShowSingleLineKVList());
        QVERIFY(s.ShowUnits());
        QVERIFY(!s.IsoFormat());
        QCOMPARE(s.DateFormat(), QStringLiteral("dd.MM.yyyy"));
        s.SetIsoFormat(true);
        QVERIFY(FileText().contains(QStringLiteral("ISOFormat=YES")));
    }
};

TESSERA_TEST_MAIN(TestSettingsStore)
#include "tst_settingsstore.moc"

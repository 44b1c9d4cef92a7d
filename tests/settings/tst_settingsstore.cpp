#include <QtTest>

#include "TestEnvironment.h"
#include "settings/TSettings.h"

namespace {
QString FileText()
{
    QFile file(TSettings::Instance().SettingsFilePath());
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// QSettings keeps what this process wrote in memory; a changed file size makes it parse the file again,
// as a restarted studio would.
void ForceReparse()
{
    QFile file(TSettings::Instance().SettingsFilePath());
    QVERIFY(file.open(QIODevice::Append));
    file.write("\n");
}
}

class TestSettingsStore : public QObject
{
    Q_OBJECT

    QString m_home;
    QStringList m_warnings;

    static void WriteFile(const QByteArray& text)
    {
        QDir().mkpath(TSettings::Instance().DataDirectory());
        QFile file(TSettings::Instance().SettingsFilePath());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text);
    }

private slots:
    void initTestCase()
    {
        m_home = QDir::homePath();
        TSettings::Instance().SetWarningSink([this](const QString& text) { m_warnings << text; });
    }
    void init()
    {
        QFile::remove(TSettings::Instance().SettingsFilePath());
        m_warnings.clear();
    }

    void invalidValues_readAsTheDefaultWithOneWarningEach()
    {
        TSettings& s = TSettings::Instance();
        WriteFile("[GUI]\nStatusBoxLocation=16\nMainTheme=Paris\n"
                  "[HCI-Parameter]\nDiscoveryBaudrates=57600, zz\nNumWakeupChars=-3\n"
                  "[GatewaySupport]\nGatewayPort=70000\nServerPort=51001\n");
        for (int round = 0; round < 2; ++round) {
            QCOMPARE(s.StatusBoxLocation(), 2);
            QCOMPARE(s.MainTheme(), QStringLiteral("Manhattan"));
            QCOMPARE(s.DiscoveryBaudrates(), (QStringList{"57600", "115200"}));
            QCOMPARE(s.NumWakeupChars(), 50);
            QCOMPARE(s.GatewayPort(), 51000);
            QCOMPARE(s.ServerPort(), 51001);
        }
        const QString file = s.SettingsFilePath();
        QCOMPARE(m_warnings, (QStringList{
            QStringLiteral("warning - invalid value \"16\" of GUI/StatusBoxLocation in the settings file %1: using the default \"2\"").arg(file),
            QStringLiteral("warning - invalid value \"Paris\" of GUI/MainTheme in the settings file %1: using the default \"Manhattan\"").arg(file),
            QStringLiteral("warning - invalid value \"zz\" of HCI-Parameter/DiscoveryBaudrates in the settings file %1: using the default \"57600,115200\"").arg(file),
            QStringLiteral("warning - invalid value \"-3\" of HCI-Parameter/NumWakeupChars in the settings file %1: using the default \"50\"").arg(file),
            QStringLiteral("warning - invalid value \"70000\" of GatewaySupport/GatewayPort in the settings file %1: using the default \"51000\"").arg(file)}));

        // Values within what a key allows pass as they are.
        WriteFile("[GUI]\nStatusBoxLocation=8\nMainTheme=Montreal\n[HCI-Parameter]\nDiscoveryBaudrates=9600, 460800\n");
        m_warnings.clear();
        QCOMPARE(s.StatusBoxLocation(), 8);
        QCOMPARE(s.MainTheme(), QStringLiteral("Montreal"));
        QCOMPARE(s.DiscoveryBaudrates(), (QStringList{"9600", "460800"}));
        QVERIFY(m_warnings.isEmpty());
    }

    void file_parsedOnce_andAgainOnlyWhenChangedOnDisk()
    {
        TSettings& s = TSettings::Instance();
        s.SetMainTheme(QStringLiteral("Berlin"));
        const int parses = s.Parses();
        for (int i = 0; i < 100; ++i) {
            QCOMPARE(s.MainTheme(), QStringLiteral("Berlin"));
            QVERIFY(s.ReadList(QStringLiteral("ComPorts"), QStringLiteral("Used")).isEmpty());
        }
        s.SetMainTheme(QStringLiteral("Montreal"));
        QVERIFY(FileText().contains(QStringLiteral("[GUI]\nMainTheme=Montreal\n")));   // on disk at once
        QCOMPARE(s.Parses(), parses);
        // Another program (a second studio, tessera-cli, an editor) changed the file.
        WriteFile("; kept by hand\n[GUI]\nMainTheme=Manhattan\n");
        QCOMPARE(s.MainTheme(), QStringLiteral("Manhattan"));
        QCOMPARE(s.MainTheme(), QStringLiteral("Manhattan"));
        QCOMPARE(s.Parses(), parses + 1);
        // Writing what is stored already leaves the file as it is (a rewrite would drop the comment).
        s.SetMainTheme(QStringLiteral("Manhattan"));
        QCOMPARE(FileText(), QStringLiteral("; kept by hand\n[GUI]\nMainTheme=Manhattan\n"));
        s.WriteList(QStringLiteral("GUI"), QStringLiteral("Ports"), QStringList{"COM3", "COM4"});
        QCOMPARE(FileText(), QStringLiteral("[GUI]\nMainTheme=Manhattan\nPorts=COM3, COM4\n"));
        WriteFile("; again\n[GUI]\nMainTheme=Manhattan\nPorts=COM3, COM4\n");
        s.WriteList(QStringLiteral("GUI"), QStringLiteral("Ports"), QStringList{"COM3", "COM4"});
        QCOMPARE(FileText(), QStringLiteral("; again\n[GUI]\nMainTheme=Manhattan\nPorts=COM3, COM4\n"));
        QCOMPARE(s.Parses(), parses + 2);
    }

    void locations_fromTheProgramName()
    {
        const TSettings& s = TSettings::Instance();
        // DataLocation minus its last component, then the maker and the program.
        QCOMPARE(s.DataDirectory(), m_home + QStringLiteral("/.local/share/Haldor/Velto_LoRaWAN_Tessera/"));
        QCOMPARE(s.SettingsFilePath(), s.DataDirectory() + QStringLiteral("Velto_LoRaWAN_Tessera.ini"));
        QCOMPARE(s.EndDeviceFilePath(), s.DataDirectory() + QStringLiteral("Velto_LoRaWAN_Tessera_EndDevices.json"));
        QCOMPARE(s.DocumentsDirectory(), m_home + QStringLiteral("/Documents"));
    }

    void defaults_whenTheFileIsMissing()
    {
        TSettings& s = TSettings::Instance();
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
        for (const char* key : {"Used", "Blocked", "Extra", "VID_PIDS"})
            QVERIFY(s.ReadList(QStringLiteral("ComPorts"), QString::fromLatin1(key)).isEmpty());

        s.SetIsoFormat(false);   // proves that the switches below are read again, not left over
        QFile::remove(s.SettingsFilePath());
        s.LoadSpecialSwitches(QStringLiteral("Vallee-des-Lumieres"));
        QVERIFY(s.ShowISOFormat() && s.ShowLines() && s.ShowUnits() && s.ShowSingleLineKVList() && s.ShowHREvents());
        QVERIFY(s.IsoFormat());
        QVERIFY(!s.DeveloperMode());
        QVERIFY(s.SpecialFeatures().isEmpty());
        QVERIFY(!QFile::exists(s.SettingsFilePath()));   // reading never creates the file
    }

    void numbers_garbageGivesTheDefault()
    {
        TSettings& s = TSettings::Instance();
        s.WriteValue(QStringLiteral("GatewaySupport"), QStringLiteral("ServerPort"), QStringLiteral("port"));
        s.WriteValue(QStringLiteral("GatewaySupport"), QStringLiteral("GatewayPort"), QStringLiteral(" 52000 "));
        s.WriteValue(QStringLiteral("GUI"), QStringLiteral("StatusBoxLocation"), QString());
        QCOMPARE(s.ServerPort(), 51000);
        QCOMPARE(s.GatewayPort(), 52000);
        QCOMPARE(s.StatusBoxLocation(), 2);
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
        ForceReparse();
        QCOMPARE(TSettings::Instance().SensorApp(), value);
    }

    void writes_areOnDiskAtOnce()
    {
        TSettings& s = TSettings::Instance();
        s.SetFirmwareCompatibilityCheck(false);
        QVERIFY(FileText().contains(QStringLiteral("[FirmwareSupport]\nFirmwareCompatibilityCheck=NO\n")));
        s.SetFirmwareCompatibilityCheck(true);
        QVERIFY(FileText().contains(QStringLiteral("[FirmwareSupport]\nFirmwareCompatibilityCheck=YES\n")));
        s.SetGatewayPort(52001);
        QVERIFY(FileText().contains(QStringLiteral("GatewayPort=52001\n")));
        s.SetMainTheme(QStringLiteral("Berlin"));
        QVERIFY(FileText().contains(QStringLiteral("[GUI]\nMainTheme=Berlin\n")));
        s.WriteBool(QStringLiteral("Special"), QStringLiteral("ApprovalTest"), true);
        QVERIFY(FileText().contains(QStringLiteral("ApprovalTest=YES\n")));
        s.SetStatusBoxLocation(8);
        QCOMPARE(QSettings(s.SettingsFilePath(), QSettings::IniFormat).value(QStringLiteral("GUI/StatusBoxLocation")).toString(), QStringLiteral("8"));
        QVERIFY(s.ErrorText().isEmpty());
    }

    void writes_failureIsTold()
    {
        TSettings& s = TSettings::Instance();
        QVERIFY(QDir().mkpath(s.SettingsFilePath()));   // a directory where the file belongs
        s.WriteValue(QStringLiteral("GUI"), QStringLiteral("MainTheme"), QStringLiteral("Berlin"));
        QCOMPARE(s.ErrorText(), QStringLiteral("error - couldn't write settings file: ") + s.SettingsFilePath());
        QVERIFY(QDir().rmdir(s.SettingsFilePath()));
        s.WriteValue(QStringLiteral("GUI"), QStringLiteral("MainTheme"), QStringLiteral("Berlin"));
        QVERIFY(s.ErrorText().isEmpty());
        QCOMPARE(s.MainTheme(), QStringLiteral("Berlin"));
    }

    void lists_roundTrip_data()
    {
        QTest::addColumn<QStringList>("list");
        QTest::addColumn<QString>("line");
        QTest::addColumn<QStringList>("readBack");
        QTest::newRow("empty") << QStringList() << "Used=@Invalid()" << QStringList();
        QTest::newRow("one") << QStringList{"COM3"} << "Used=COM3" << QStringList{"COM3"};
        QTest::newRow("one with comma") << QStringList{"a,b"} << "Used=\"a,b\"" << QStringList{"a,b"};
        QTest::newRow("one with @") << QStringList{"@Invalid()"} << "Used=@@Invalid()" << QStringList{"@Invalid()"};
        QTest::newRow("lone empty text") << QStringList{""} << "Used=@Invalid()" << QStringList();
        QTest::newRow("many") << QStringList{"COM3", "", "a b", "c,d"} << "Used=COM3, , a b, \"c,d\""
                              << QStringList{"COM3", "", "a b", "c,d"};
    }
    void lists_roundTrip()
    {
        QFETCH(QStringList, list);
        QFETCH(QString, line);
        QFETCH(QStringList, readBack);
        TSettings& s = TSettings::Instance();
        s.WriteList(QStringLiteral("ComPorts"), QStringLiteral("Used"), list);
        QVERIFY(FileText().contains(QStringLiteral("[ComPorts]\n") + line + QLatin1Char('\n')));
        QCOMPARE(s.ReadList(QStringLiteral("ComPorts"), QStringLiteral("Used")), readBack);
        ForceReparse();
        QCOMPARE(s.ReadList(QStringLiteral("ComPorts"), QStringLiteral("Used")), readBack);
    }

    void lists_addToFrontAndRemove()
    {
        TSettings& s = TSettings::Instance();
        const QString g = QStringLiteral("ComPorts"), k = QStringLiteral("Used");
        s.AddToList(g, k, QStringLiteral("/dev/ttyUSB0"));
        ForceReparse();
        QCOMPARE(s.ReadList(g, k), QStringList{"/dev/ttyUSB0"});
        s.AddToList(g, k, QStringLiteral("/dev/ttyUSB1"));
        s.AddToList(g, k, QStringLiteral("COM3"));
        s.AddToList(g, k, QStringLiteral("/dev/ttyUSB0"));
        ForceReparse();
        QCOMPARE(s.ReadList(g, k), (QStringList{"/dev/ttyUSB0", "COM3", "/dev/ttyUSB1"}));
        QVERIFY(s.RemoveFromList(g, k, QStringLiteral("COM3")));
        QVERIFY(!s.RemoveFromList(g, k, QStringLiteral("COM3")));
        QCOMPARE(s.ReadList(g, k), (QStringList{"/dev/ttyUSB0", "/dev/ttyUSB1"}));
        QVERIFY(s.RemoveFromList(g, k, QStringLiteral("/dev/ttyUSB0")));
        QVERIFY(s.RemoveFromList(g, k, QStringLiteral("/dev/ttyUSB1")));
        ForceReparse();
        QVERIFY(s.ReadList(g, k).isEmpty());
        // A hand-edited list with a duplicate loses every copy.
        QFile file(s.SettingsFilePath());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[ComPorts]\nUsed=COM1, COM2, COM1\n");
        file.close();
        QVERIFY(s.RemoveFromList(g, k, QStringLiteral("COM1")));
        QCOMPARE(s.ReadList(g, k), QStringList{"COM2"});
    }

    void groups_roundTrip()
    {
        TSettings& s = TSettings::Instance();
        TKeyValueList items;
        items.Append(QStringLiteral("Alpha"), QStringLiteral("1"));
        items.Append(QStringLiteral("Beta"), QStringLiteral("two words, comma"));
        s.WriteGroup(QStringLiteral("Custom"), items);
        QVERIFY(FileText().contains(QStringLiteral("[Custom]\nAlpha=1\nBeta=\"two words, comma\"\n")));
        ForceReparse();
        TKeyValueList read = s.ReadGroup(QStringLiteral("Custom"));
        QCOMPARE(read, items);
        QVERIFY(s.ReadGroup(QStringLiteral("Missing")).isEmpty());
    }

    void specialModes_withTheAccessCode()
    {
        TSettings& s = TSettings::Instance();
        const QString code = QStringLiteral("Vallee-des-Lumieres");
        s.WriteValue(QStringLiteral("Special"), QStringLiteral("ApprovalTest"), QStringLiteral("yes"));
        s.LoadSpecialSwitches(code);
        QVERIFY(!s.DeveloperMode());   // empty password
        QCOMPARE(s.SpecialFeatures(), QStringList{"ApprovalTest"});
        s.LoadSpecialSwitches(QString());   // an empty code does not match an empty password either
        QVERIFY(!s.DeveloperMode());
        s.WriteValue(QStringLiteral("Special"), QStringLiteral("DeveloperPWD"), QStringLiteral("vallee-des-lumieres"));
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
        QVERIFY(s.IsoFormat());
        QVERIFY(FileText().contains(QStringLiteral("[Formats]\nISOFormat=YES\n")));
        s.WriteValue(QStringLiteral("Special"), QStringLiteral("ApprovalTest"), QStringLiteral("true"));
        s.LoadSpecialSwitches(code);
        QCOMPARE(s.SpecialFeatures(), (QStringList{"DeveloperMode", "SensorApp"}));
    }
};

TESSERA_TEST_MAIN(TestSettingsStore)
#include "tst_settingsstore.moc"

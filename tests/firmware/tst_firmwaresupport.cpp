#include <QTemporaryDir>
#include <QtTest>

#include "TestEnvironment.h"
#include "devices/TControllerPrototypes.h"
#include "firmware/TFirmwareSupport.h"

namespace {
TKeyValueList Device(const QString& name, const QString& version, const QString& build = QStringLiteral("200"))
{
    TKeyValueList info;
    info.Append(QStringLiteral("DeviceType"), QStringLiteral("Velto LR USB Stick"));
    info.Append(QStringLiteral("Port"), QStringLiteral("/dev/ttyUSB3"));
    info.Append(QStringLiteral("FWName"), name);
    info.Append(QStringLiteral("FWVersion"), version);
    info.Append(QStringLiteral("BuildCount"), build);
    return info;
}
}

class TestFirmwareSupport : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        TControllerPrototypes::RegisterAll();
        QCOMPARE(TFirmwareSupport::Instance().Versions().size(), 5);
    }

    void versions_data()
    {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<bool>("newer");
        QTest::newRow("V2.0 vs 2.0 equal") << "V2.0" << "2.0" << false;
        QTest::newRow("2.1 vs v2.0") << "2.1" << "v2.0" << true;
        QTest::newRow("minor compares as a number") << "2.10" << "2.9" << true;
        QTest::newRow("major wins") << "3.0" << "2.99" << true;
        QTest::newRow("older") << "1.9" << "2.0" << false;
        QTest::newRow("three parts unusable") << "2.0.1" << "1.0" << false;
        QTest::newRow("empty unusable") << "" << "1.0" << false;
        QTest::newRow("empty parts dropped") << "2..1" << "2.0" << true;
        QTest::newRow("letters unusable") << "2.x" << "1.0" << false;
    }
    void versions()
    {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QFETCH(bool, newer);
        QCOMPARE(TFirmwareSupport::IsNewer(a, b), newer);
    }

    void nameMatching_data()
    {
        QTest::addColumn<QString>("device");
        QTest::addColumn<QString>("entry");
        QTest::newRow("exact") << "Velto_LoRaWAN" << "Velto_LoRaWAN";
        QTest::newRow("beta") << "Velto_LoRaWAN_Beta" << "Velto_LoRaWAN";
        QTest::newRow("debug prefix") << "Debug_Velto_LoRaWAN" << "Velto_LoRaWAN";
        QTest::newRow("test inside") << "X_Velto_LoRaWAN_Test_2" << "Velto_LoRaWAN";
        QTest::newRow("suffix without marker") << "Velto_LoRaWANX" << "";
        QTest::newRow("case matters") << "velto_lorawan" << "";
        QTest::newRow("caravel") << "Caravel_LoRaWAN_Debug" << "Caravel_LoRaWAN";
    }
    void nameMatching()
    {
        QFETCH(QString, device);
        QFETCH(QString, entry);
        QJsonObject found;
        QCOMPARE(TFirmwareSupport::Instance().FindEntry(device, found), !entry.isEmpty());
        QCOMPARE(found.value(QStringLiteral("FirmwareName")).toString(), entry);
    }

    void deviceCheck_threeWarnings()
    {
        const TFirmwareSupport& fw = TFirmwareSupport::Instance();
        QCOMPARE(fw.CheckDevice(Device(QStringLiteral("Velto_LoRaWAN"), QStringLiteral("V1.9"))),
                 QStringLiteral("The firmware Velto_LoRaWAN in device Velto LR USB Stick on /dev/ttyUSB3 is outdated.\n\n"
                                "This Studio requires a firmware version 2.0 (or later)!\n\n"
                                "Please update the firmware (see Menu/File/Firmware Update)!\n"));
        QCOMPARE(fw.CheckDevice(Device(QStringLiteral("Velto_LoRaWAN"), QStringLiteral("V2.0"), QStringLiteral("111"))),
                 QStringLiteral("The firmware Velto_LoRaWAN in device Velto LR USB Stick on /dev/ttyUSB3 is outdated.\n\n"
                                "This Studio requires a firmware version 2.0 with buildcount 112 (or later)!\n\n"
                                "Please update the firmware (see Menu/File/Firmware Update)!\n"));
        QCOMPARE(fw.CheckDevice(Device(QStringLiteral("Mystery_FW"), QStringLiteral("V9.9"))),
                 QStringLiteral("The firmware \"Mystery_FW\" in device Velto LR USB Stick on /dev/ttyUSB3 is incompatible.\n\n"
                                "This Studio requires a firmware version 2.0 (or later) of type Velto_LoRaWAN...!\n\n"
                                "Please update the firmware (see Menu/File/Firmware Update)!\n"));
        QCOMPARE(fw.CheckDevice(Device(QStringLiteral("Velto_LoRaWAN"), QStringLiteral("V2.0"), QStringLiteral("112"))), QString());
        QCOMPARE(fw.CheckDevice(Device(QStringLiteral("Velto_LoRaWAN"), QStringLiteral("V2.1"), QStringLiteral("1"))), QString());
        QCOMPARE(fw.CheckDevice(Device(QStringLiteral("Velto_LoRaWAN"), QStringLiteral("2.0.1"))), QString());
        QCOMPARE(fw.CheckDevice(Device(QStringLiteral("Caravel_LoRaWAN"), QStringLiteral("V1.0"), QStringLiteral("0"))), QString());

        QVERIFY(fw.AcceptsHCIBootloaderMsg(Device(QStringLiteral("Velto_LoRaWAN"), QStringLiteral("V1.11"))));
        QVERIFY(!fw.AcceptsHCIBootloaderMsg(Device(QStringLiteral("Velto_LoRaWAN"), QStringLiteral("V1.10"))));
        QVERIFY(fw.AcceptsHCIBootloaderMsg(Device(QStringLiteral("Velto_Wavelet24"), QStringLiteral("V0.0"))));
    }

    void versionVerdict_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("version");
        QTest::addColumn<QString>("build");
        QTest::addColumn<int>("verdict");
        QTest::addColumn<QString>("available");
        QTest::newRow("older version") << "Velto_LoRaWAN" << "V1.9" << "300" << int(TFirmwareSupport::NewerAvailable) << "2.0 build 112";
        QTest::newRow("same version, older build") << "Velto_LoRaWAN" << "V2.0" << "111" << int(TFirmwareSupport::NewerAvailable) << "2.0 build 112";
        QTest::newRow("same version and build") << "Velto_LoRaWAN_Beta" << "V2.0" << "112" << int(TFirmwareSupport::UpToDate) << "2.0 build 112";
        QTest::newRow("same version, later build") << "Velto_LoRaWAN" << "V2.0" << "113" << int(TFirmwareSupport::DeviceIsNewer) << "2.0 build 112";
        QTest::newRow("later version") << "Velto_LoRaWAN" << "V2.4" << "1" << int(TFirmwareSupport::DeviceIsNewer) << "2.0 build 112";
        QTest::newRow("any build counts the same") << "Caravel_LoRaWAN" << "V1.0" << "0" << int(TFirmwareSupport::UpToDate) << "1.0";
        QTest::newRow("three-part version") << "Velto_LoRaWAN" << "2.0.1" << "1" << int(TFirmwareSupport::Unidentified) << "2.0 build 112";
        QTest::newRow("no entry") << "Mystery_FW" << "V2.0" << "1" << int(TFirmwareSupport::NoVersionKnown) << "";
    }
    void versionVerdict()
    {
        QFETCH(QString, name);
        QFETCH(QString, version);
        QFETCH(QString, build);
        QFETCH(int, verdict);
        QFETCH(QString, available);
        const TFirmwareSupport& fw = TFirmwareSupport::Instance();
        QCOMPARE(int(fw.VersionVerdict(Device(name, version, build))), verdict);
        QCOMPARE(fw.AvailableVersion(Device(name, version, build)), available);
    }

    void deviceTypes_firmwareNameAndBootloaderPins()
    {
        TFirmwareSupport& fw = TFirmwareSupport::Instance();
        QVERIFY(fw.LoadDeviceTypes(QStringLiteral(":/Config/DeviceConfig.json")));
        QCOMPARE(fw.FirmwareNameForType(QStringLiteral("Velto LR USB Stick")), QStringLiteral("Velto_LoRaWAN"));
        QCOMPARE(fw.FirmwareNameForType(QStringLiteral("Caravel Dual Stack Module")), QStringLiteral("Caravel_LoRaWAN"));
        QCOMPARE(fw.FirmwareNameForType(QStringLiteral("Toaster")), QString());
        QCOMPARE(fw.BootloaderPinsForType(QStringLiteral("Velto LR USB Stick")), TFirmwareSupport::PinsBootReset);
        QCOMPARE(fw.BootloaderPinsForType(QStringLiteral("Velto LR Module")), TFirmwareSupport::PinsNone);
        QCOMPARE(fw.BootloaderPinsForType(QStringLiteral("Toaster")), TFirmwareSupport::PinsNone);

        QTemporaryDir dir;
        QFile file(dir.filePath(QStringLiteral("types.json")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(R"({ "DeviceTypes": [ { "DeviceType": "RM411A-XL", "FirmwareName": "Velto_LoRaWAN", "BootloaderPins": "FTDI boot pin" } ] })");
        file.close();
        QVERIFY(fw.LoadDeviceTypes(file.fileName()));
        QCOMPARE(fw.BootloaderPinsForType(QStringLiteral("RM411A-XL")), TFirmwareSupport::PinsBootOnly);
        QCOMPARE(fw.FirmwareNameForType(QStringLiteral("Velto LR USB Stick")), QString());
        QString error;
        QVERIFY(!fw.LoadDeviceTypes(dir.filePath(QStringLiteral("missing.json")), &error));
        QCOMPARE(error, QStringLiteral("error - couldn't open device configuration file: ") + dir.filePath(QStringLiteral("missing.json")));
        QCOMPARE(fw.BootloaderPinsForType(QStringLiteral("RM411A-XL")), TFirmwareSupport::PinsBootOnly);   // the last good file stays
    }

    void load_brokenFiles()
    {
        TFirmwareSupport& fw = TFirmwareSupport::Instance();
        const QJsonArray saved = fw.Versions();
        QTemporaryDir dir;
        QString error;
        QVERIFY(!fw.Load(dir.filePath(QStringLiteral("missing.json")), &error));
        QCOMPARE(error, QStringLiteral("error - couldn't open firmware versions file: ") + dir.filePath(QStringLiteral("missing.json")));
        QFile broken(dir.filePath(QStringLiteral("broken.json")));
        QVERIFY(broken.open(QIODevice::WriteOnly));
        broken.write("{ \"LoRaWAN_Versions\": [ ");
        broken.close();
        QVERIFY(!fw.Load(broken.fileName(), &error));
        QVERIFY(error.startsWith(QStringLiteral("error - firmware versions file ")));
        QCOMPARE(fw.Versions(), saved);
    }
};

TESSERA_TEST_MAIN(TestFirmwareSupport)
#include "tst_firmwaresupport.moc"

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

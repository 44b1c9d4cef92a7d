#include <QSignalSpy>
#include <QtTest>

#include "TestEnvironment.h"
#include "SimPort.h"
#include "devices/TDiscoveryRates.h"
#include "devices/TControllerPrototypes.h"
#include "devices/TDeviceManager.h"
#include "devices/TRadioController.h"
#include "settings/TSettings.h"
#include "status/TStatusLog.h"
#include "tools/sim/TSimModule.h"

namespace {
std::unique_ptr<TSimModule> StartSim(const QString& firmwareName)
{
    auto sim = std::make_unique<TSimModule>();
    sim->Identity().firmwareName = firmwareName;
    return sim->Open() ? std::move(sim) : nullptr;
}

/// A stable name for the module's port: pseudo-terminal numbers are reused at once by other
/// processes, so a closed module's /dev/pts path may reappear; this link vanishes with the module.
QString LinkedPort(TSimModule& sim, const QTemporaryDir& dir)
{
    const QString path = dir.filePath(QStringLiteral("module"));
    return sim.CreateLink(path) ? path : QString();
}

QStringList StatusTexts(const QSignalSpy& lines)
{
    QStringList texts;
    for (const auto& args : lines)
        texts << args.at(0).toString().section(QLatin1Char(';'), 2);
    return texts;
}
}

class TestDeviceManager : public QObject
{
    Q_OBJECT

    TDeviceManager& m = TDeviceManager::Instance();

private slots:
    void initTestCase()
    {
        TControllerPrototypes::RegisterAll();
        m.SetDefaultPatterns(TDeviceManager::DefaultPatterns());
    }
    void cleanup()
    {
        TVeltoLRHCI::SetDefaultResponseTimeout(TVeltoLRHCI::kResponseTimeoutMs);
        m.ResetBlockedPorts(true);
        for (const QString& port : m.ExtraPorts())
            m.RemoveExtraPort(port);
    }

    void found_announcedWithTheControllerItsFirmwareCallsFor_data()
    {
        QTest::addColumn<QString>("firmware");
        QTest::addColumn<QString>("className");
        QTest::newRow("Velto_LoRaWAN") << "Velto_LoRaWAN" << "TLoRaWANEndNode";
        QTest::newRow("Caravel_LoRaWAN") << "Caravel_LoRaWAN" << "TExtLoRaWANEndNode";
        QTest::newRow("unknown firmware") << "Acme_Modem" << "TRadioController";
    }
    void found_announcedWithTheControllerItsFirmwareCallsFor()
    {
        QFETCH(QString, firmware);
        QFETCH(QString, className);
        auto sim = StartSim(firmware);
        QVERIFY(sim);
        const QString port = NamedPort(sim->Wire());
        QSignalSpy added(&m, &TDeviceManager::EvLocalDeviceAdded);
        QSignalSpy selected(&m, &TDeviceManager::EvDeviceSelectionChanged);
        QSignalSpy lines(&TStatusLog::Instance(), &TStatusLog::EvLine);
        QVERIFY(m.AddExtraPort(port));
        QVERIFY(!m.AddExtraPort(port));
        m.DiscoveryTick();
        QCOMPARE(added.count(), 1);
        QCOMPARE(added.at(0).at(0).toString(), port);
        QCOMPARE(selected.count(), 1);
        TRadioController* device = m.DeviceByPort(port);
        QVERIFY(device);
        QCOMPARE(QString::fromLatin1(device->metaObject()->className()), className);
        QCOMPARE(m.SelectedDevice(), device);
        QVERIFY(device->Link()->IsOpen());
        QCOMPARE(m.DeviceInfoByPort(port).Value("FWName"), firmware);
        QVERIFY(StatusTexts(lines).contains(QStringLiteral("DeviceMgmt:new radio detected on: ") + port));
        QCOMPARE(m.UsedPorts().first(), port);
        QCOMPARE(TSettings::Instance().ReadList("ComPorts", "Used").first(), port);
        QCOMPARE(TSettings::Instance().ReadList("ComPorts", "Extra"), QStringList{port});

        TKeyValueList result;
        QVERIFY(device->Execute(QStringLiteral("DeviceMgmt/GetFirmwareInfo"), result));
        m.DiscoveryTick();
        QCOMPARE(added.count(), 1);
    }

    void unplugged_removedOnTheThirdTick()
    {
        auto sim = StartSim(QStringLiteral("Velto_LoRaWAN"));
        QTemporaryDir dir;
        const QString port = LinkedPort(*sim, dir);
        QVERIFY(!port.isEmpty());
        m.AddExtraPort(port);
        m.DiscoveryTick();
        TRadioController* device = m.DeviceByPort(port);
        QVERIFY(device);
        QSignalSpy removed(&m, &TDeviceManager::EvLocalDeviceRemoved);
        QSignalSpy changed(&m, &TDeviceManager::EvDeviceConfigChanged);
        sim->Close();
        QVERIFY(!QFileInfo::exists(port));
        m.DiscoveryTick();
        m.DiscoveryTick();
        QCOMPARE(m.DeviceByPort(port), device);
        QCOMPARE(removed.count(), 0);
        m.DiscoveryTick();
        QCOMPARE(removed.count(), 1);
        QCOMPARE(removed.at(0).at(0).toString(), port);
        QCOMPARE(changed.count(), 1);
        QVERIFY(!m.HasDevices());
        QVERIFY(!m.SelectedDevice());
    }

    void silentPort_retriedOverTheDiscoveryRatesThenBlocked()
    {
        auto sim = StartSim(QStringLiteral("Velto_LoRaWAN"));
        sim->SetFault(TSimModule::FaultNoAnswer);
        TVeltoLRHCI::SetDefaultResponseTimeout(200);   // these requests are meant to go unanswered
        const QString port = NamedPort(sim->Wire());
        m.AddExtraPort(port);
        QSignalSpy lines(&TStatusLog::Instance(), &TStatusLog::EvLine);
        const int attempts = 3 * TDiscoveryRates::Count() + 1;
        for (int tick = 0; tick < attempts; ++tick)
            m.DiscoveryTick();
        const QStringList texts = StatusTexts(lines);
        const QString retry = QStringLiteral("DeviceMgmt:error - couldn't open device on com port %1, -> retry outstanding !").arg(port);
        const QString blocked = QStringLiteral("DeviceMgmt:error - couldn't open device on com port %1, -> saved in blocked list !").arg(port);
        QCOMPARE(texts.count(retry), attempts - 1);
        QCOMPARE(texts.count(blocked), 1);
        QCOMPARE(m.BlockedPorts(), QStringList{port});
        QVERIFY(m.PendingPorts().isEmpty());
        QCOMPARE(sim->RequestsHandled(), quint32(2 * attempts));   // device and firmware information per attempt

        // Blocked ports are left alone, and "Discover Devices" lets them be probed again
        // without disturbing the devices already found.
        TVeltoLRHCI::SetDefaultResponseTimeout(TVeltoLRHCI::kResponseTimeoutMs);
        auto other = StartSim(QStringLiteral("Velto_LoRaWAN"));
        const QString otherPort = NamedPort(other->Wire());
        m.AddExtraPort(otherPort);
        m.DiscoveryTick();
        TRadioController* active = m.DeviceByPort(otherPort);
        QVERIFY(active);
        QCOMPARE(sim->RequestsHandled(), quint32(2 * attempts));
        sim->SetFault(TSimModule::FaultNone);
        m.ResetBlockedPorts();
        QVERIFY(m.BlockedPorts().isEmpty());
        m.DiscoveryTick();
        QVERIFY(m.DeviceByPort(port));
        QCOMPARE(m.DeviceByPort(otherPort), active);
        QCOMPARE(m.DeviceCount(), 2);
    }

    void parked_keepsItsPortUntilItVanishes()
    {
        auto sim = StartSim(QStringLiteral("Velto_LoRaWAN"));
        QTemporaryDir dir;
        const QString port = LinkedPort(*sim, dir);
        QVERIFY(!port.isEmpty());
        m.AddExtraPort(port);
        m.DiscoveryTick();
        m.ParkDevice(port);
        QVERIFY(!m.DeviceByPort(port));
        QCOMPARE(m.ParkedDevices().size(), 1);
        QVERIFY(!m.ParkedDevices().first()->Link());
        m.DiscoveryTick();
        QVERIFY(!m.DeviceByPort(port));
        sim->Close();
        for (int i = 0; i < 3; ++i)
            m.DiscoveryTick();
        QVERIFY(m.ParkedDevices().isEmpty());
        m.ParkDevice(-1);
        m.ParkDevice(5);
    }

    void patterns_andPortMatching()
    {
        QVERIFY(!m.AddVidPidPattern(QStringLiteral("VID_0403.PID_6001.*")));
        QVERIFY(m.AddVidPidPattern(QStringLiteral("VID_1234.PID_5678")));
        QVERIFY(!m.AddVidPidPattern(QStringLiteral("VID_1234.PID_5678")));
        QCOMPARE(TSettings::Instance().ReadList("ComPorts", "VID_PIDS"), QStringList{"VID_1234.PID_5678"});
        QVERIFY(m.RemoveVidPidPattern(QStringLiteral("VID_1234.PID_5678")));
        QVERIFY(!m.RemoveVidPidPattern(QStringLiteral("VID_1234.PID_5678")));
        QVERIFY(TSettings::Instance().ReadList("ComPorts", "VID_PIDS").isEmpty());
        QVERIFY(!m.SelectDevice(QStringLiteral("/dev/none")));
        QVERIFY(!m.DeviceAt(0));
        QVERIFY(m.DeviceInfoByPort(QStringLiteral("/dev/none")).isEmpty());
    }

    void sixteenModules_allFoundAndAnswering()
    {
        std::vector<std::unique_ptr<TSimModule>> sims;
        QStringList ports;
        for (int i = 0; i < 16; ++i) {
            sims.push_back(StartSim(i % 2 ? QStringLiteral("Caravel_LoRaWAN") : QStringLiteral("Velto_LoRaWAN")));
            QVERIFY(sims.back());
            sims.back()->Identity().deviceId = quint32(0x1000 + i);
            ports << NamedPort(sims.back()->Wire());
            m.AddExtraPort(ports.last());
        }
        QSignalSpy added(&m, &TDeviceManager::EvLocalDeviceAdded);
        m.DiscoveryTick();
        QCOMPARE(added.count(), 16);
        for (int i = 0; i < 16; ++i) {
            TRadioController* device = m.DeviceByPort(ports.at(i));
            QVERIFY(device);
            TKeyValueList result;
            QVERIFY(device->Execute(QStringLiteral("DeviceMgmt/GetDeviceInfo"), result));
            QCOMPARE(result.Value("DeviceID"), QStringLiteral("%1").arg(0x1000 + i, 8, 16, QLatin1Char('0')).toUpper());
        }
    }
};

TESSERA_TEST_MAIN(TestDeviceManager)
#include "tst_devicemanager.moc"

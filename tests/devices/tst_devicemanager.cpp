#include <QPointer>
#include <QRegularExpression>
#include <QScopeGuard>
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

/// The system's port list as the test sets it, counting how often it is read; paths are looked at for real.
class TTestPortSource : public TPortSource
{
public:
    Ports Enumerate() const override
    {
        ++enumerations;
        return ports;
    }
    PathKind Classify(const QString& path) const override { return m_system->Classify(path); }

    Ports ports;
    mutable int enumerations = 0;

private:
    std::unique_ptr<TPortSource> m_system = TPortSource::CreateSystemSource();
};

/// Stands for udev: the test says when ports came or went.
class TTestPortMonitor : public TPortMonitor
{
public:
    bool Watching() const override { return true; }
    void Report() { emit EvPortsChanged(); }
};

/// The states announced for one port, in order.
QList<TDeviceManager::DeviceState> StatesOf(const QSignalSpy& spy, const QString& port)
{
    QList<TDeviceManager::DeviceState> states;
    for (const auto& args : spy)
        if (args.at(0).toString() == port)
            states << args.at(1).value<TDeviceManager::DeviceState>();
    return states;
}
}

class TestDeviceManager : public QObject
{
    Q_OBJECT

    TDeviceManager& m = TDeviceManager::Instance();
    TTestPortSource* m_ports = nullptr;
    TTestPortMonitor* m_monitor = nullptr;

private slots:
    void initTestCase()
    {
        qRegisterMetaType<TDeviceManager::DeviceState>();
        TControllerPrototypes::RegisterAll();
        m.SetDefaultPatterns(TDeviceManager::DefaultPatterns());
        m_ports = new TTestPortSource;
        m.SetPortSource(std::unique_ptr<TPortSource>(m_ports));
        m_monitor = new TTestPortMonitor;
        m.SetPortMonitor(std::unique_ptr<TPortMonitor>(m_monitor));
    }
    void cleanup()
    {
        m.Stop();
        m_ports->ports = {};
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

    void silentPort_triesEveryEnabledRateThenBlocks_discoverDevicesSaysWhatItFound()
    {
        QSignalSpy summary(&m, &TDeviceManager::EvDiscoverySummary);
        m.ResetBlockedPorts();
        m.DiscoveryTick();
        QCOMPARE(summary.count(), 1);
        QCOMPARE(summary.at(0).at(0).toString(), QStringLiteral("info - discovery found no module"));

        // The slowest, a middle and the fastest rate: a walk that skips either end at its wrap shows here.
        QVERIFY(TDiscoveryRates::SetFlag(QStringLiteral("9600"), true));
        QVERIFY(TDiscoveryRates::SetFlag(QStringLiteral("115200"), false));
        QVERIFY(TDiscoveryRates::SetFlag(QStringLiteral("460800"), true));
        auto restoreRates = qScopeGuard([] {
            TDiscoveryRates::SetFlag(QStringLiteral("9600"), false);
            TDiscoveryRates::SetFlag(QStringLiteral("115200"), true);
            TDiscoveryRates::SetFlag(QStringLiteral("460800"), false);
        });
        auto sim = StartSim(QStringLiteral("Velto_LoRaWAN"));
        sim->SetFault(TSimModule::FaultNoAnswer);
        TVeltoLRHCI::SetDefaultResponseTimeout(200);   // these requests are meant to go unanswered
        const QString port = NamedPort(sim->Wire());
        m.AddExtraPort(port);
        QSignalSpy lines(&TStatusLog::Instance(), &TStatusLog::EvLine);
        const QList<int> rates{460800, 57600, 9600, 460800, 57600, 9600, 460800, 57600, 9600, 460800};
        for (int tick = 0; tick < rates.size(); ++tick)
            m.DiscoveryTick();
        const QStringList texts = StatusTexts(lines);
        QList<int> opened;
        const QRegularExpression openedAt(QStringLiteral("ComPort %1 opened with (\\d+) bps").arg(QRegularExpression::escape(port)));
        for (const QString& text : texts) {
            const auto match = openedAt.match(text);
            if (match.hasMatch())
                opened << match.captured(1).toInt();
        }
        QCOMPARE(opened, rates);
        const QString retry = QStringLiteral("DeviceMgmt:error - couldn't open device on com port %1, -> retry outstanding !").arg(port);
        const QString blocked = QStringLiteral("DeviceMgmt:error - couldn't open device on com port %1, -> saved in blocked list !").arg(port);
        QCOMPARE(texts.count(retry), rates.size() - 1);
        QCOMPARE(texts.count(blocked), 1);
        QCOMPARE(m.BlockedPorts(), QStringList{port});
        QVERIFY(m.PendingPorts().isEmpty());
        QCOMPARE(sim->RequestsHandled(), quint32(2 * rates.size()));   // device and firmware information per attempt

        // Blocked ports are left alone until their back-off has passed, and "Discover Devices" lets them
        // be probed again at once without disturbing the devices already found, then says what is there.
        TVeltoLRHCI::SetDefaultResponseTimeout(TVeltoLRHCI::kResponseTimeoutMs);
        auto other = StartSim(QStringLiteral("Velto_LoRaWAN"));
        const QString otherPort = NamedPort(other->Wire());
        m.AddExtraPort(otherPort);
        m.DiscoveryTick();
        TRadioController* active = m.DeviceByPort(otherPort);
        QVERIFY(active);
        QCOMPARE(sim->RequestsHandled(), quint32(2 * rates.size()));
        sim->SetFault(TSimModule::FaultNone);
        m.ResetBlockedPorts();
        QVERIFY(m.BlockedPorts().isEmpty());
        m.DiscoveryTick();
        QVERIFY(m.DeviceByPort(port));
        QCOMPARE(m.DeviceByPort(otherPort), active);
        QCOMPARE(m.DeviceCount(), 2);
        const QString found = QStringLiteral("info - discovery found 2 modules: %1 (Velto_LoRaWAN V2.4), %2 (Velto_LoRaWAN V2.4)").arg(otherPort, port);
        QCOMPARE(summary.count(), 2);
        QCOMPARE(summary.at(1).at(0).toString(), found);
        QCOMPARE(m.DiscoverySummary(), found);
        QCOMPARE(StatusTexts(lines).count(QStringLiteral("DeviceMgmt:") + found), 1);
    }

    void hotplug_oneEnumerationPerBurstOfPortEvents_idleBetween()
    {
        auto sim = StartSim(QStringLiteral("Velto_LoRaWAN"));
        const QString simPort = NamedPort(sim->Wire());
        QVERIFY(sim);
        QSignalSpy added(&m, &TDeviceManager::EvLocalDeviceAdded);
        QSignalSpy removed(&m, &TDeviceManager::EvLocalDeviceRemoved);
        const int before = m_ports->enumerations;
        m.Start();
        QTRY_COMPARE(m_ports->enumerations, before + 1);   // the port list is read at start ...
        QTRY_VERIFY(!m.IsTicking());                          // ... then nothing ticks: no port, nothing to retry

        // A USB bridge appears; the system reports it in a burst: one enumeration finds the module.
        m_ports->ports.present << simPort;
        m_ports->ports.devices << TPortSource::DevicePort(QStringLiteral("VID_0403&PID_6001\\SIM00001"), simPort);
        m_monitor->Report();
        m_monitor->Report();
        m_monitor->Report();
        QTRY_COMPARE(added.count(), 1);
        QCOMPARE(added.at(0).at(0).toString(), simPort);
        QCOMPARE(m_ports->enumerations, before + 2);
        QTRY_VERIFY(!m.IsTicking());

        // It goes: one more enumeration; the device counts down by ticks, goes, and all is still again.
        m_ports->ports = {};
        m_monitor->Report();
        m_monitor->Report();
        QTRY_COMPARE(removed.count(), 1);
        QCOMPARE(m_ports->enumerations, before + 3);
        QTRY_VERIFY(!m.IsTicking());
        QCOMPARE(m_ports->enumerations, before + 3);
        QVERIFY(!m.HasDevices());
    }

    void reconnect_sameHandAddedPath_foundAndSelectedAgain()
    {
        QTemporaryDir dir;
        auto first = StartSim(QStringLiteral("Velto_LoRaWAN"));
        const QString port = LinkedPort(*first, dir);
        QVERIFY(!port.isEmpty());
        auto other = StartSim(QStringLiteral("Velto_LoRaWAN"));
        const QString otherPort = NamedPort(other->Wire());
        m.AddExtraPort(port);
        m.DiscoveryTick();
        m.AddExtraPort(otherPort);
        m.DiscoveryTick();
        QCOMPARE(m.DeviceCount(), 2);
        QCOMPARE(m.SelectedDevice(), m.DeviceByPort(port));

        QSignalSpy states(&m, &TDeviceManager::EvDeviceStateChanged);
        QSignalSpy added(&m, &TDeviceManager::EvLocalDeviceAdded);
        QSignalSpy removed(&m, &TDeviceManager::EvLocalDeviceRemoved);
        m.Start();
        first.reset();   // unplugged: its link goes with it
        QTRY_COMPARE_WITH_TIMEOUT(removed.count(), 1, 10000);
        QVERIFY(!m.SelectedDevice());
        auto second = StartSim(QStringLiteral("Velto_LoRaWAN"));
        QVERIFY(second->CreateLink(port));
        QTRY_VERIFY_WITH_TIMEOUT(m.SelectedDevice() && m.SelectedDevice()->PortName() == port, 10000);
        QCOMPARE(added.count(), 1);
        using S = TDeviceManager;
        QCOMPARE(StatesOf(states, port), (QList<S::DeviceState>{S::StateLost, S::StateNone, S::StateReconnecting, S::StateConnected}));
        QVERIFY(StatesOf(states, otherPort).isEmpty());
        QCOMPARE(m.StateOf(port), S::StateConnected);

        // Back before it was counted out: the old link died with its port, so the device is replaced.
        states.clear();
        second.reset();
        auto third = StartSim(QStringLiteral("Velto_LoRaWAN"));
        QVERIFY(third->CreateLink(port));
        QTRY_COMPARE_WITH_TIMEOUT(added.count(), 2, 10000);
        QCOMPARE(removed.count(), 2);
        QCOMPARE(m.SelectedDevice(), m.DeviceByPort(port));
        const QList<S::DeviceState> seen = StatesOf(states, port);
        QVERIFY(seen.contains(S::StateLost));
        QCOMPARE(seen.mid(seen.size() - 2), (QList<S::DeviceState>{S::StateReconnecting, S::StateConnected}));
        TKeyValueList result;
        QVERIFY(m.SelectedDevice()->Execute(QStringLiteral("DeviceMgmt/GetDeviceInfo"), result));
    }

    void unpluggedWhileACommandWaits_commandReturnsThenTheDeviceGoes()
    {
        QTemporaryDir dir;
        auto sim = StartSim(QStringLiteral("Velto_LoRaWAN"));
        const QString port = LinkedPort(*sim, dir);
        QVERIFY(!port.isEmpty());
        m.AddExtraPort(port);
        m.DiscoveryTick();
        QPointer<TRadioController> device = m.DeviceByPort(port);
        QVERIFY(device);
        QSignalSpy states(&m, &TDeviceManager::EvDeviceStateChanged);
        QSignalSpy removed(&m, &TDeviceManager::EvLocalDeviceRemoved);
        m.Start();

        // Its path goes while a request waits for an answer that never comes: the ticks during the
        // wait neither count the busy device down nor remove it.
        QVERIFY(m.IsTicking());
        const quint32 ticks = m.Ticks();
        device->Link()->SetResponseTimeout(2000);
        sim->SetFault(TSimModule::FaultNoAnswer);
        connect(sim.get(), &TSimModule::RequestReceived, this, [port] { QFile::remove(port); });
        TKeyValueList result;
        QVERIFY(!device->Execute(QStringLiteral("DeviceMgmt/GetDeviceInfo"), result));
        QVERIFY(m.Ticks() > ticks);
        QVERIFY(device);
        QCOMPARE(m.DeviceByPort(port), device.data());
        QCOMPARE(device->LastError(), QStringLiteral("no response"));
        QTRY_COMPARE_WITH_TIMEOUT(removed.count(), 1, 10000);
        QTRY_VERIFY(!device);   // deleted once it was idle
        using S = TDeviceManager;
        QCOMPARE(StatesOf(states, port), (QList<S::DeviceState>{S::StateBusy, S::StateConnected, S::StateLost, S::StateNone}));

        // A module that goes while a command waits: the command returns at once with the disconnect.
        const QString port2 = dir.filePath(QStringLiteral("module2"));
        auto sim2 = StartSim(QStringLiteral("Velto_LoRaWAN"));
        QVERIFY(sim2->CreateLink(port2));
        m.AddExtraPort(port2);
        QTRY_VERIFY_WITH_TIMEOUT(m.DeviceByPort(port2), 10000);
        QPointer<TRadioController> device2 = m.DeviceByPort(port2);
        device2->Link()->SetResponseTimeout(60000);   // only the disconnect can end this wait
        sim2->SetFault(TSimModule::FaultNoAnswer);
        connect(sim2.get(), &TSimModule::RequestReceived, this, [&sim2] { QTimer::singleShot(0, sim2.get(), &TSimModule::Close); });
        QVERIFY(!device2->Execute(QStringLiteral("DeviceMgmt/GetDeviceInfo"), result));
        QCOMPARE(device2->LastError(), QStringLiteral("error - the module was disconnected (port %1 lost)").arg(port2));
        QTRY_COMPARE_WITH_TIMEOUT(removed.count(), 2, 10000);
        QCOMPARE(removed.at(1).at(0).toString(), port2);
        QTRY_VERIFY(!device2);
    }

    void handAddedPaths_onlySerialPortsAndPseudoTerminalsProbed_temporaryNeverStored()
    {
        QTemporaryDir dir;
        const QString file = dir.filePath(QStringLiteral("notes.txt"));
        {
            QFile f(file);
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write("keep me\n");
        }
        const QString stale = QStringLiteral("/dev/pts/987654");   // a pseudo-terminal of an earlier run, long gone
        QVERIFY(!QFileInfo::exists(stale));
        auto sim = StartSim(QStringLiteral("Velto_LoRaWAN"));
        const QString simPort = NamedPort(sim->Wire());
        QSignalSpy lines(&TStatusLog::Instance(), &TStatusLog::EvLine);
        const QStringList refused{file, dir.path(), QStringLiteral("/dev/null")};
        for (const QString& path : refused + QStringList{stale})
            QVERIFY(m.AddExtraPort(path));
        m.AddTemporaryPort(simPort);
        m.DiscoveryTick();
        m.DiscoveryTick();
        const QStringList texts = StatusTexts(lines);
        for (const QString& path : refused) {
            QCOMPARE(texts.count(QStringLiteral("DeviceMgmt:warning - extra port %1 is neither a serial port nor a pseudo-terminal: not probed").arg(path)), 1);
            QVERIFY2(texts.filter(QStringLiteral("ComPort %1 ").arg(path)).isEmpty(), qPrintable(path));
            QVERIFY2(texts.filter(QStringLiteral("com port %1,").arg(path)).isEmpty(), qPrintable(path));
        }
        QFile f(file);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(f.readAll(), QByteArray("keep me\n"));

        QCOMPARE(texts.count(QStringLiteral("DeviceMgmt:info - pseudo-terminal %1 is gone: taken off the extra ports").arg(stale)), 1);
        QStringList stored = TSettings::Instance().ReadList("ComPorts", "Extra");
        stored.sort();
        QStringList expected = refused;
        expected.sort();
        QCOMPARE(stored, expected);
        QVERIFY(!m.ExtraPorts().contains(stale));

        QVERIFY(m.DeviceByPort(simPort));
        QVERIFY(!m.ExtraPorts().contains(simPort));
        m.RemoveTemporaryPort(simPort);
    }

    void released_portLeftFreeUntilResumed_thenFoundAndSelectedAgain()
    {
        auto sim = StartSim(QStringLiteral("Velto_LoRaWAN"));
        auto other = StartSim(QStringLiteral("Velto_LoRaWAN"));
        const QString otherPort = NamedPort(other->Wire());
        const QString port = NamedPort(sim->Wire());
        m.AddExtraPort(port);
        m.DiscoveryTick();
        m.AddExtraPort(otherPort);
        m.DiscoveryTick();
        QCOMPARE(m.SelectedDevice(), m.DeviceByPort(port));
        QSignalSpy states(&m, &TDeviceManager::EvDeviceStateChanged);

        m.ReleasePort(port);
        QVERIFY(!m.DeviceByPort(port));
        const quint32 requests = sim->RequestsHandled();
        m.DiscoveryTick();
        QCOMPARE(sim->RequestsHandled(), requests);   // left alone ...
        TVeltoLRHCI borrower;
        QVERIFY(borrower.Open(port, QStringLiteral("115200")));   // ... and free for whoever borrowed it
        borrower.Close();

        m.ResumePort(port);
        m.DiscoveryTick();
        QVERIFY(m.DeviceByPort(port));
        QCOMPARE(m.SelectedDevice(), m.DeviceByPort(port));
        using S = TDeviceManager;
        QCOMPARE(StatesOf(states, port), (QList<S::DeviceState>{S::StateReleased, S::StateNone, S::StateReconnecting, S::StateConnected}));
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

#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QSignalSpy>
#include <QtTest>

#include <unistd.h>

#include "CliProcess.h"
#include "SimPort.h"
#include "TestEnvironment.h"
#include "sap/LoRaWANLayouts.h"
#include "sap/TVeltoLRLoRaWAN.h"
#include "devices/TRegTable.h"
#include "tools/sim/TSimDeviceMgmt.h"
#include "tools/sim/TSimLoRaWAN.h"
#include "tools/sim/TSimModule.h"
#include "tools/sim/TSimStm32Bootloader.h"

using CliProcess::Cli;
using CliProcess::Finish;
using CliProcess::Run;
using CliProcess::Start;

namespace {
/// Requests of one service the module has received.
int RequestsOf(const QSignalSpy& requests, quint8 sapId)
{
    int count = 0;
    for (const QList<QVariant>& request : requests)
        count += request.at(0).value<quint8>() == sapId ? 1 : 0;
    return count;
}
}

class TestCli : public QObject
{
    Q_OBJECT

    std::unique_ptr<TSimModule> m_sim;
    QString m_port;

private slots:
    void init()
    {
        m_sim = std::make_unique<TSimModule>();
        QVERIFY(m_sim->Open());
        m_port = NamedPort(m_sim->Wire());
    }
    void cleanup() { m_sim.reset(); }

    void exec_textAndJson()
    {
        Run run = Cli({QStringLiteral("exec"), QStringLiteral("--port"), m_port, QStringLiteral("DeviceMgmt/GetDeviceInfo")});
        CHECK_EXIT(run, 0);
        QCOMPARE(run.out, QStringLiteral("DeviceType: Velto LR USB Stick\nDeviceAddress: 26011F3A\nDeviceID: 0042A1C7\n"));

        run = Cli({QStringLiteral("--json"), QStringLiteral("exec"), QStringLiteral("DeviceMgmt/GetFirmwareInfo"), QStringLiteral("--port"), m_port});
        CHECK_EXIT(run, 0);
        const QJsonArray pairs = QJsonDocument::fromJson(run.out.toUtf8()).array();
        QVERIFY(!pairs.isEmpty());
        QCOMPARE(pairs.at(0).toArray(), (QJsonArray{QStringLiteral("FWVersion"), QStringLiteral("V2.4")}));
        QVERIFY(pairs.contains(QJsonArray{QStringLiteral("FWName"), QStringLiteral("Velto_LoRaWAN")}));

        run = Cli({QStringLiteral("exec"), QStringLiteral("--port"), m_port, QStringLiteral("DeviceMgmt/SetRTC"),
                   QStringLiteral("DateTime=2031-02-03 04:05:06")});
        CHECK_EXIT(run, 0);
        // Opening a module sets its clock (as the studio does), so the set time is checked on the module itself.
        const QDateTime moduleTime = static_cast<TSimDeviceMgmt*>(m_sim->Service(TSimDeviceMgmt::kSapId))->Now();
        QVERIFY2(qAbs(moduleTime.secsTo(QDateTime(QDate(2031, 2, 3), QTime(4, 5, 6)))) < 5, qPrintable(moduleTime.toString()));
        run = Cli({QStringLiteral("exec"), QStringLiteral("--port"), m_port, QStringLiteral("DeviceMgmt/GetRTC")});
        CHECK_EXIT(run, 0);
        QVERIFY2(run.out.startsWith(QStringLiteral("DateTime: ") + QDate::currentDate().toString(QStringLiteral("yyyy-MM-dd"))), qPrintable(run.out));
    }

    void exec_failuresAndExitCodes()
    {
        m_sim->ForceStatus(0x01, 0x0F, 0x03);
        Run run = Cli({QStringLiteral("exec"), QStringLiteral("--port"), m_port, QStringLiteral("DeviceMgmt/GetRTC")});
        CHECK_EXIT(run, 1);
        QCOMPARE(run.err, QStringLiteral("DeviceMgmt/GetRTC: wrong parameter\n"));
        QVERIFY(run.out.isEmpty());
        m_sim->ClearForcedStatus();
        run = Cli({QStringLiteral("exec"), QStringLiteral("--port"), m_port, QStringLiteral("DeviceMgmt/Fly")});
        CHECK_EXIT(run, 1);
        QCOMPARE(run.err, QStringLiteral("DeviceMgmt/Fly: error - command not found : Fly\n"));

        run = Cli({QStringLiteral("exec"), QStringLiteral("--port"), m_port, QStringLiteral("Nope/Fly")});
        CHECK_EXIT(run, 1);
        QCOMPARE(run.err, QStringLiteral("Nope/Fly: error - SAP not known: Nope/Fly\n"));


        run = Cli({QStringLiteral("exec"), QStringLiteral("--port"), m_port, QStringLiteral("DeviceMgmt/SetRTC"), QStringLiteral("DateTime")});
        CHECK_EXIT(run, 2);
        QVERIFY(run.err.contains(QStringLiteral("\"DateTime\" is not Key=Value")));
        run = Cli({QStringLiteral("exec"), QStringLiteral("--port"), m_port, QStringLiteral("LoRaWAN/SendUData"),
                   QStringLiteral("LoRaPort=0x0A"), QStringLiteral("Payload=01 0G")});
        CHECK_EXIT(run, 1);
        QCOMPARE(run.err, QStringLiteral("LoRaWAN/SendUData: error - invalid hex byte list for Payload: \"01 0G\"\n"));
        run = Cli({QStringLiteral("exec"), QStringLiteral("--port"), m_port, QStringLiteral("GetRTC")});
        CHECK_EXIT(run, 2);
        run = Cli({QStringLiteral("exec"), QStringLiteral("DeviceMgmt/GetRTC")});
        CHECK_EXIT(run, 2);
        run = Cli({QStringLiteral("fly")});
        CHECK_EXIT(run, 2);
        run = Cli({QStringLiteral("exec"), QStringLiteral("--baud"), QStringLiteral("1234"), QStringLiteral("--port"), m_port, QStringLiteral("DeviceMgmt/GetRTC")});
        CHECK_EXIT(run, 2);
        run = Cli({QStringLiteral("--version")});
        CHECK_EXIT(run, 0);
        QVERIFY(run.out.startsWith(QStringLiteral("tessera-cli ")));
    }

    void exec_parameterNamesAreChecked_nothingSent()
    {
        QSignalSpy requests(m_sim.get(), &TSimModule::RequestReceived);
        const QStringList config{QStringLiteral("DataRate=3"), QStringLiteral("PowerLevel=14"), QStringLiteral("Options=0"),
                                 QStringLiteral("AutoPowerSaving=0"), QStringLiteral("BandID=1"), QStringLiteral("HeaderMacCmdCap=0")};
        const QStringList exec{QStringLiteral("exec"), QStringLiteral("--port"), m_port, QStringLiteral("LoRaWAN/SetNodeConfig")};
        Run run = Cli(exec + config + QStringList{QStringLiteral("Retransmisions=1")});
        CHECK_EXIT(run, 1);
        QCOMPARE(run.err, QStringLiteral("LoRaWAN/SetNodeConfig: error - unknown parameter \"Retransmisions\" of SetNodeConfig; valid parameters: "
                                         "DataRate, PowerLevel, Options, AutoPowerSaving, Retransmissions, BandID, HeaderMacCmdCap, "
                                         "SubBandMask1, SubBandMask2, SubBandMask3\n"));
        run = Cli(exec + config + QStringList{QStringLiteral("Retransmissions=1"), QStringLiteral("DataRate=5")});
        CHECK_EXIT(run, 1);
        QCOMPARE(run.err, QStringLiteral("LoRaWAN/SetNodeConfig: error - parameter \"DataRate\" given more than once\n"));
        QCOMPARE(RequestsOf(requests, 0x10), 0);

        run = Cli(exec + config + QStringList{QStringLiteral("Retransmissions=2")});
        CHECK_EXIT(run, 0);
        QCOMPARE(RequestsOf(requests, 0x10), 1);
        QCOMPARE(requests.last().at(2).toByteArray(), QByteArray::fromHex("030E0000020100"));
    }

    void exec_onlyTheCommandTableIsReachable()
    {
        QSignalSpy requests(m_sim.get(), &TSimModule::RequestReceived);
        for (const char* method : {"deleteLater", "SetProductionMode", "EvDeviceMgmt_ConfigChanged", "destroyed"}) {
            const Run run = Cli({QStringLiteral("exec"), QStringLiteral("--port"), m_port, QStringLiteral("DeviceMgmt/") + QLatin1String(method)});
            CHECK_EXIT(run, 1);
            QCOMPARE(run.err, QStringLiteral("DeviceMgmt/%1: error - command not found : %1\n").arg(QLatin1String(method)));
            QVERIFY(run.out.isEmpty());
        }
        // The production mode request (MsgID 0x09) never left: only the opening requests did.
        for (const QList<QVariant>& request : qAsConst(requests))
            QVERIFY(request.at(1).value<quint8>() != 0x09);
    }

    void portErrors_sayWhatTheSystemSaid_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("reason");
        QTest::newRow("missing path") << "missing" << "No such file or directory\n";
        QTest::newRow("directory") << "directory" << "Is a directory\n";
        QTest::newRow("/dev/null") << "null" << "not a serial port (a character device that is no terminal)\n";
        QTest::newRow("regular file") << "file" << "not a serial port (a regular file)\n";
        QTest::newRow("permission denied") << "denied"
                                           << "Permission denied\ninfo - join the group dialout (sudo usermod -aG dialout $USER, then log in "
                                              "again) or install a udev rule that gives you the port\n";
    }
    void portErrors_sayWhatTheSystemSaid()
    {
        QFETCH(QString, kind);
        QFETCH(QString, reason);
        QTemporaryDir dir;
        QString port = dir.filePath(QStringLiteral("port"));
        QProcess process;
        if (kind == QLatin1String("directory"))
            QVERIFY(QDir().mkdir(port));
        if (kind == QLatin1String("file")) {
            QFile file(port);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("notes");
        }
        if (kind == QLatin1String("null"))
            port = QStringLiteral("/dev/null");
        if (kind == QLatin1String("denied")) {
            port = m_port;
            if (::geteuid() == 0) {
                // Root opens any port: the tool runs as nobody, with a home it may use.
                QTemporaryDir home;
                QFile::setPermissions(home.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner | QFileDevice::ReadOther
                                                       | QFileDevice::WriteOther | QFileDevice::ExeOther);
                QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
                for (const char* variable : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME"})
                    env.insert(QLatin1String(variable), home.path());
                env.remove(QStringLiteral("XDG_RUNTIME_DIR"));
                process.setProcessEnvironment(env);
                process.setProgram(QStringLiteral("setpriv"));
                process.setArguments({QStringLiteral("--reuid=65534"), QStringLiteral("--regid=65534"), QStringLiteral("--clear-groups"), QStringLiteral("--"),
                                      QStringLiteral(TESSERA_BIN_DIR "/tessera-cli"), QStringLiteral("exec"), QStringLiteral("--port"), port,
                                      QStringLiteral("DeviceMgmt/GetRTC")});
                process.start();
                const Run run = Finish(process);
                CHECK_EXIT(run, 3);
                QCOMPARE(run.err, QStringLiteral("error - couldn't open port %1: ").arg(port) + reason);
                return;
            }
            QVERIFY(QFile::setPermissions(port, QFileDevice::Permissions()));
        }
        const Run run = Cli({QStringLiteral("exec"), QStringLiteral("--port"), port, QStringLiteral("DeviceMgmt/GetRTC")});
        if (kind == QLatin1String("denied"))
            QFile::setPermissions(port, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::WriteGroup);
        CHECK_EXIT(run, 3);
        QCOMPARE(run.err, QStringLiteral("error - couldn't open port %1: ").arg(port) + reason);
        QVERIFY(run.out.isEmpty());
        if (kind == QLatin1String("file")) {
            QFile file(port);
            QVERIFY(file.open(QIODevice::ReadOnly));
            QCOMPARE(file.readAll(), QByteArray("notes"));
        }
    }

    void silentModule_noModuleAnswers_exit3()
    {
        m_sim->SetFault(TSimModule::FaultNoAnswer);
        // The requests are meant to go unanswered: a short time-out.
        const Run run = Cli({QStringLiteral("exec"), QStringLiteral("--timeout"), QStringLiteral("300"), QStringLiteral("--port"), m_port,
                             QStringLiteral("DeviceMgmt/GetRTC")});
        CHECK_EXIT(run, 3);
        QCOMPARE(run.err, QStringLiteral("error - no module answers on %1 (no response)\n").arg(m_port));
    }

    void monitor_printsEvents_endsWhenThePortVanishes()
    {
        // Opening a module ends with setting its clock: from then on the monitor listens.
        QSignalSpy requests(m_sim.get(), &TSimModule::RequestReceived);
        auto clockSet = [&requests] {
            for (const QList<QVariant>& request : qAsConst(requests))
                if (request.at(0).value<quint8>() == 0x01 && request.at(1).value<quint8>() == 0x0D)
                    return true;
            return false;
        };
        QProcess monitor;
        Start(monitor, {QStringLiteral("monitor"), QStringLiteral("--port"), m_port, QStringLiteral("--seconds"), QStringLiteral("2")});
        QTRY_VERIFY_WITH_TIMEOUT(clockSet(), 30000);
        m_sim->SendPowerUpEvent();
        Run run = Finish(monitor);
        CHECK_EXIT(run, 0);
        QVERIFY2(run.out.startsWith(QStringLiteral("HostTime: ")), qPrintable(run.out));
        QVERIFY2(run.out.contains(QStringLiteral("; Port: ") + m_port + QStringLiteral("; EvType: Power-Up Event; FWVersion: V2.4;")), qPrintable(run.out));
        QCOMPARE(run.out.count(QLatin1Char('\n')), 1);

        // Without --seconds it would run for ever; the module going away ends it.
        requests.clear();
        QProcess endless;
        Start(endless, {QStringLiteral("monitor"), QStringLiteral("--port"), m_port});
        QTRY_VERIFY_WITH_TIMEOUT(clockSet(), 30000);
        const QString port = m_port;
        m_sim.reset();
        run = Finish(endless);
        CHECK_EXIT(run, 3);
        QCOMPARE(run.err, QStringLiteral("error - module disconnected: port %1 is gone\n").arg(port));
        QVERIFY(run.out.isEmpty());
    }

    void discover_unopenablePort_saysWhyAndExits3()
    {
        const Run run = Cli({QStringLiteral("discover"), QStringLiteral("--port"), QStringLiteral("/dev/tessera-no-such-port"), QStringLiteral("--port"),
                             m_port, QStringLiteral("--seconds"), QStringLiteral("1")});
        CHECK_EXIT(run, 3);
        QCOMPARE(run.err, QStringLiteral("error - couldn't open port /dev/tessera-no-such-port: No such file or directory\n"));
        QVERIFY2(run.out.startsWith(QStringLiteral("Port: ") + m_port + QStringLiteral("; ")), qPrintable(run.out));
    }

    void discover_findsTwoModules()
    {
        TSimModule second;
        second.Identity().firmwareName = QStringLiteral("Caravel_LoRaWAN");
        QVERIFY(second.Open());
        const Run run = Cli({QStringLiteral("discover"), QStringLiteral("--port"), m_port, QStringLiteral("--port"), NamedPort(second.Wire()),
                             QStringLiteral("--seconds"), QStringLiteral("1")});
        CHECK_EXIT(run, 0);
        const QStringList lines = run.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 2);
        QVERIFY(lines.at(0).startsWith(QStringLiteral("Port: ") + m_port + QStringLiteral("; Baudrate: ")));
        QVERIFY(lines.at(1).contains(QStringLiteral("FWName: Caravel_LoRaWAN")));
    }

    void commands_listEveryService()
    {
        const Run run = Cli({QStringLiteral("commands")});
        CHECK_EXIT(run, 0);
        const QStringList lines = run.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QVERIFY(lines.contains(QStringLiteral("DeviceMgmt/GetDeviceInfo\tGet Device Info")));
        QVERIFY(lines.contains(QStringLiteral("LoRaWAN/GetDevNonce\tGet DevNonce")));
        for (const char* prefix : {"DataLink/", "PTS/", "SensorApp/"})
            QVERIFY2(!lines.filter(QRegularExpression(QStringLiteral("^") + QLatin1String(prefix))).isEmpty(), prefix);
    }

    void lorawan_everyPageCommandRunsAsExec()
    {
        // The opened module offers every LoRaWAN command with the service's own description.
        Run run = Cli({QStringLiteral("commands"), QStringLiteral("--port"), m_port});
        QCOMPARE(run.exitCode, 0);
        const QStringList lines = run.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        TVeltoLRLoRaWAN service;
        const QStringList names = service.CommandNames();
        QCOMPARE(lines.filter(QRegularExpression(QStringLiteral("^LoRaWAN/"))).size(), names.size());
        for (const QString& name : names)
            QVERIFY2(lines.contains(QStringLiteral("LoRaWAN/") + name + QLatin1Char('\t') + service.CommandDescription(name)), qPrintable(name));

        const QString port = m_port;
        auto exec = [&port](const QStringList& command) { return Cli(QStringList{QStringLiteral("exec"), QStringLiteral("--port"), port} + command); };
        run = exec({QStringLiteral("LoRaWAN/SetNodeConfig"), QStringLiteral("DataRate=3"), QStringLiteral("PowerLevel=10"), QStringLiteral("Options=0x81"),
                    QStringLiteral("AutoPowerSaving=0"), QStringLiteral("Retransmissions=3"), QStringLiteral("BandID=2"), QStringLiteral("HeaderMacCmdCap=1"),
                    QStringLiteral("SubBandMask1=255")});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out, QString());
        run = exec({QStringLiteral("LoRaWAN/GetNodeConfig")});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out, QStringLiteral("DataRate: 3\nPowerLevel: 10\nOptions: 0x81\nAutoPowerSaving: 0\nRetransmissions: 3\nBandID: 2\n"
                                         "HeaderMacCmdCap: 1\nSubBandMask1: 255\nSubBandMask2: 0\nSubBandMask3: 0\n"));

        const QString key = QStringLiteral("NwkSessionKey=00112233445566778899AABBCCDDEEFF");
        run = exec({QStringLiteral("LoRaWAN/SetMulticastConfig"), QStringLiteral("Index=2"), QStringLiteral("DeviceAddress=0x01020304"), key,
                    QStringLiteral("AppSessionKey=FF-EE-DD-CC-BB-AA-99-88-77-66-55-44-33-22-11-00")});
        QCOMPARE(run.exitCode, 0);
        run = exec({QStringLiteral("LoRaWAN/GetMulticastConfig"), QStringLiteral("Index=2")});
        QCOMPARE(run.out, QStringLiteral("Index: 2\nConfigStatus: 1\nDeviceAddress: 0x01020304\nNwkSessionKey: 00 11 22 33 44 55 66 77 88 99 AA BB CC DD EE FF\n"
                                         "AppSessionKey: FF EE DD CC BB AA 99 88 77 66 55 44 33 22 11 00\n"));

        run = exec({QStringLiteral("LoRaWAN/SendCData"), QStringLiteral("LoRaPort=0x0A"), QStringLiteral("Payload=01 02")});
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.err, QStringLiteral("LoRaWAN/SendCData: device not activated\n"));
        run = exec({QStringLiteral("LoRaWAN/ActivateDevice"), QStringLiteral("DeviceAddress=0x26011F3A"), key, QStringLiteral("AppSessionKey=00112233445566778899AABBCCDDEEFF")});
        QCOMPARE(run.exitCode, 0);
        run = exec({QStringLiteral("LoRaWAN/SendCData"), QStringLiteral("LoRaPort=0x0A"), QStringLiteral("Payload=01 02")});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out, QString());
        run = exec({QStringLiteral("LoRaWAN/GetNwkStatus")});
        QCOMPARE(run.out, QStringLiteral("NetworkStatus: 1\nDeviceAddress: 0x26011F3A\nDataRate: 3\nPowerLevel: 10\nMaxPayloadSize: 242\nNetworkStatusText: active (ABP)\n"));
    }

    void lorawan_monitorShowsJoinAndConfirmedDataEvents()
    {
        auto* lw = dynamic_cast<TSimLoRaWAN*>(m_sim->Service(TSimLoRaWAN::kSapId));
        QVERIFY(lw);
        QSignalSpy requests(m_sim.get(), &TSimModule::RequestReceived);
        QProcess monitor;
        monitor.start(QStringLiteral(TESSERA_BIN_DIR "/tessera-cli"),
                      {QStringLiteral("monitor"), QStringLiteral("--port"), m_port, QStringLiteral("--seconds"), QStringLiteral("60")});
        // Opening ends with the clock sync; what the module sends after it reaches the monitor.
        auto clockSynced = [&requests] {
            for (const QList<QVariant>& request : requests)
                if (request.at(0).value<quint8>() == 0x01 && request.at(1).value<quint8>() == 0x0D)
                    return true;
            return false;
        };
        QTRY_VERIFY_WITH_TIMEOUT(clockSynced(), 20000);

        // The network side of a join and of a confirmed uplink, as the studio would have asked for them.
        QCOMPARE(lw->HandleRequest(LoRaWANMsgIds::kJoinNwkReq, QByteArray()).status, TSimReply::kOk);
        QString out;
        QTRY_VERIFY_WITH_TIMEOUT((out += QString::fromUtf8(monitor.readAllStandardOutput())).count(QLatin1Char('\n')) >= 2, 10000);
        QCOMPARE(lw->HandleRequest(LoRaWANMsgIds::kSendCDataReq, QByteArray::fromHex("0A0102")).status, TSimReply::kOk);
        QTRY_VERIFY_WITH_TIMEOUT((out += QString::fromUtf8(monitor.readAllStandardOutput())).count(QLatin1Char('\n')) >= 4, 10000);
        monitor.terminate();
        QVERIFY(monitor.waitForFinished(10000));

        const QString prefix = QStringLiteral("; Port: ") + m_port + QStringLiteral("; ");
        QStringList events;
        for (const QString& line : out.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
            QVERIFY2(line.startsWith(QStringLiteral("HostTime: ")) && line.contains(prefix), qPrintable(line));
            events << line.section(prefix, 1);
        }
        QCOMPARE(events, (QStringList{
            "EvType: Tx Join Request; ChannelIndex: 0; DataRate: 5; PowerLevel: 14; Airtime: 62; DevNonce: 0",
            "EvType: Join Accepted; DeviceAddress: 0x260B0001; ChannelIndex: 0; DataRate: 5; RSSI: -57; SNR: 9; RxSlot: 1",
            "EvType: Tx C-Data; ChannelIndex: 0; DataRate: 5; PowerLevel: 14; NumTxPackets: 1; Airtime: 47; FrameCounter: 0",
            "EvType: Rx ACK; FrameCounter: 0; RSSI: -57; SNR: 9; RxSlot: 1; ChannelIndex: 0; DataRate: 5",
        }));
    }

    void flash_viaHciThenTheNewFirmwareAnswers()
    {
        QTemporaryDir dir;
        QByteArray image(3000, 0);
        for (int i = 0; i < image.size(); ++i)
            image[i] = char(i * 7);
        const QByteArray tag("VELTOFW:Velto_LoRaWAN;3.1;140");
        image.replace(512, tag.size() + 1, tag + '\0');
        const QString bin = dir.filePath(QStringLiteral("fw.bin"));
        QFile binFile(bin);
        QVERIFY(binFile.open(QIODevice::WriteOnly));
        binFile.write(image);
        binFile.close();
        const QString hexPath = dir.filePath(QStringLiteral("Velto_LoRaWAN_V3.1.hex"));
        QProcess srec;
        srec.start(QStringLiteral("srec_cat"), {bin, QStringLiteral("-binary"), QStringLiteral("-offset"), QStringLiteral("0x08000000"),
                                                QStringLiteral("-o"), hexPath, QStringLiteral("-intel")});
        if (!srec.waitForFinished(10000) || srec.exitCode() != 0)
            QSKIP("srec_cat is not available");

        Run run = Cli({QStringLiteral("hex"), hexPath});
        CHECK_EXIT(run, 0);
        QCOMPARE(run.out, QStringLiteral("Valid: yes\nLowest: 0x00000000\nHighest: 0x00000BB7\nBase: 0x08000000\n"));
        CHECK_EXIT(Cli({QStringLiteral("hex"), dir.filePath(QStringLiteral("missing.hex"))}), 1);

        run = Cli({QStringLiteral("flash"), QStringLiteral("--port"), m_port, QStringLiteral("--image"), hexPath,
                   QStringLiteral("--via-hci"), QStringLiteral("--verify")}, 60000);
        CHECK_EXIT(run, 0);
        QCOMPARE(run.out, QStringLiteral("Success\ninfo - the module runs Velto_LoRaWAN V3.1 build 140\n"));
        QCOMPARE(m_sim->Bootloader().Flash().left(image.size()), image);
        QVERIFY(!m_sim->InBootloader());
        run = Cli({QStringLiteral("exec"), QStringLiteral("--port"), m_port, QStringLiteral("DeviceMgmt/GetFirmwareInfo")});
        QVERIFY2(run.out.startsWith(QStringLiteral("FWVersion: V3.1\nBuildCount: 140\n")), qPrintable(run.out));

        run = Cli({QStringLiteral("flash"), QStringLiteral("--port"), m_port, QStringLiteral("--image"), dir.filePath(QStringLiteral("none.hex"))});
        CHECK_EXIT(run, 2);
        run = Cli({QStringLiteral("flash"), QStringLiteral("--port"), m_port, QStringLiteral("--image"), hexPath, QStringLiteral("--pins"), QStringLiteral("up")});
        CHECK_EXIT(run, 2);
    }

    void regtable_againstTheDataSheets()
    {
        const TRegTable sx1276(TRegTable::SX1276);
        QCOMPARE(sx1276.Frequency(868.1e6).value, quint32(0xD90666));
        QCOMPARE(sx1276.Frequency(915e6).value, quint32(0xE4C000));
        QCOMPARE(sx1276.Frequency(433.175e6).value, quint32(0x6C4B33));
        QVERIFY(!sx1276.Frequency(100e6).error.isEmpty());
        // 4800 b/s: 32 MHz / 4800 = 6666.67 -> 0x1A0A with fraction 11/16.
        const TRegTable::Entry rate = sx1276.BitRate(4800);
        QCOMPARE(rate.value, quint32(0x1A0A0B));
        QVERIFY(qAbs(rate.reached - 4800.0) < 0.1);
        QCOMPARE(sx1276.FrequencyDeviation(5000).value, quint32(0x52));   // 5000 / 61.035 = 81.9
        QCOMPARE(sx1276.RxBandwidth(10400).value, quint32(0x15));          // mantissa 24, exponent 5: 10.4 kHz
        QCOMPARE(TRegTable(TRegTable::SX1280).Frequency(2.4e9).value, quint32(0xB89D8A));

        const Run run = Cli({QStringLiteral("regtable"), QStringLiteral("--chip"), QStringLiteral("sx1276"), QStringLiteral("--freq"),
                             QStringLiteral("868100000"), QStringLiteral("--freq"), QStringLiteral("868300000")});
        CHECK_EXIT(run, 0);
        QVERIFY(run.out.contains(QStringLiteral("static const uint8_t SX1276_Frequency[2][3] = {")));
        QVERIFY(run.out.contains(QStringLiteral("{ 0xD9, 0x06, 0x66 }, /* 868100000 Hz -> 868099975.586 Hz */")));
        CHECK_EXIT(Cli({QStringLiteral("regtable"), QStringLiteral("--chip"), QStringLiteral("SX9999"), QStringLiteral("--freq"), QStringLiteral("1")}), 2);
        CHECK_EXIT(Cli({QStringLiteral("regtable"), QStringLiteral("--chip"), QStringLiteral("SX1276"), QStringLiteral("--freq"), QStringLiteral("abc")}), 2);
        CHECK_EXIT(Cli({QStringLiteral("regtable"), QStringLiteral("--chip"), QStringLiteral("SX1276"), QStringLiteral("--freq"), QStringLiteral("2e9")}), 1);
    }
};

TESSERA_TEST_MAIN(TestCli)
#include "tst_cli.moc"

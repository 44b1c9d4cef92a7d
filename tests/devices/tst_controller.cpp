#include <QSignalSpy>
#include <QtTest>

#include "TestEnvironment.h"
#include "SimPort.h"
#include "devices/TControllerFactory.h"
#include "devices/TControllerPrototypes.h"
#include "devices/TExtLoRaWANEndNode.h"
#include "devices/TLoRaWANEndNode.h"
#include "sap/TVeltoLRDeviceMgmt.h"
#include "status/TStatusLog.h"
#include "tools/sim/TSimModule.h"

namespace {
TKeyValueList Device(const QString& firmwareName)
{
    TKeyValueList info;
    info.Append(QStringLiteral("FWName"), firmwareName);
    info.Append(QStringLiteral("FWVersion"), QStringLiteral("V2.0"));
    return info;
}

QStringList Texts(const QSignalSpy& lines)
{
    QStringList texts;
    for (const auto& args : lines)
        texts << args.at(0).toString().section(QLatin1Char(';'), 2);
    return texts;
}
}

class TestController : public QObject
{
    Q_OBJECT

    std::unique_ptr<TSimModule> m_sim;
    QString m_port;

private slots:
    void initTestCase() { TControllerPrototypes::RegisterAll(); }
    void init()
    {
        m_sim = std::make_unique<TSimModule>();
        QVERIFY(m_sim->Open());
        m_port = NamedPort(m_sim->Wire());
    }
    void cleanup() { m_sim.reset(); }

    void controllerFactory_byFirmwareName_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("className");
        QTest::newRow("Velto_LoRaWAN") << "Velto_LoRaWAN" << "TLoRaWANEndNode";
        QTest::newRow("beta build") << "Velto_LoRaWAN_Beta" << "TLoRaWANEndNode";
        QTest::newRow("Wavelet24") << "Velto_Wavelet24" << "TLoRaWANEndNode";
        QTest::newRow("Caravel_LoRaWAN") << "Caravel_LoRaWAN" << "TExtLoRaWANEndNode";
        QTest::newRow("entry without prototype") << "Velto_LR_PTest" << "TRadioController";
        QTest::newRow("unknown") << "Something_Else" << "TRadioController";
    }
    void controllerFactory_byFirmwareName()
    {
        QFETCH(QString, name);
        QFETCH(QString, className);
        std::unique_ptr<TRadioController> controller(TControllerFactory::Instance().CreateController(Device(name)));
        QVERIFY(controller);
        QCOMPARE(QString::fromLatin1(controller->metaObject()->className()), className);
    }

    void probe_readsTheDeviceInformation()
    {
        TRadioController probe;
        QVERIFY(probe.ProbeOpen(m_port));
        QVERIFY(!probe.Link()->IsOpen());
        const TKeyValueList& info = probe.DeviceInfo();
        // A new probe starts at the fastest enabled discovery rate; a pseudo-terminal answers at any rate.
        QCOMPARE(info.at(0), qMakePair(QStringLiteral("Baudrate"), QStringLiteral("115200 bps")));
        QCOMPARE(info.Value("Port"), m_port);
        QCOMPARE(info.Value("FWName"), QStringLiteral("Velto_LoRaWAN"));
        QCOMPARE(info.Value("FWVersion"), QStringLiteral("V2.4"));
        QCOMPARE(info.Value("DeviceAddress"), QStringLiteral("26011F3A"));

        TRadioController nothing;
        QVERIFY(!nothing.ProbeOpen(QStringLiteral("/dev/tessera-no-such-port")));
        QCOMPARE(nothing.DiscoveryIndex(), 4);
        QVERIFY(nothing.RetryOutstanding());
        QCOMPARE(nothing.DiscoveryIndex(), 3);
        TRadioController linkless;
        QVERIFY(!linkless.RetryOutstanding());
    }

    void execute_errorTexts_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("error");
        QTest::newRow("no slash") << "DeviceMgmt" << "error - Cmd missing or incomplete: DeviceMgmt";
        QTest::newRow("no service") << "/GetRTC" << "error - SAP missing: /GetRTC";
        QTest::newRow("unknown service") << "Nope/GetRTC" << "error - SAP not known: Nope/GetRTC";
        QTest::newRow("LoRaWAN on a plain controller") << "LoRaWAN/GetDevNonce" << "error - SAP not known: LoRaWAN/GetDevNonce";
        QTest::newRow("no command") << "DeviceMgmt/" << "error - command missing:DeviceMgmt/";
        QTest::newRow("unknown command") << "DeviceMgmt/Fly" << "error - command not found : Fly";
    }
    void execute_errorTexts()
    {
        QFETCH(QString, command);
        QFETCH(QString, error);
        TRadioController controller;
        QVERIFY(controller.Open(m_port, QStringLiteral("115200")));
        QSignalSpy lines(&TStatusLog::Instance(), &TStatusLog::EvLine);
        TKeyValueList result;
        QVERIFY(!controller.Execute(command, result));
        QCOMPARE(controller.LastError(), error);
        QVERIFY(result.isEmpty());
        const QStringList texts = Texts(lines);
        QCOMPARE(texts.first(), QString(160, QLatin1Char('-')));
        QVERIFY2(texts.last().endsWith(error), qPrintable(texts.last()));
    }

    void execute_successAndStatusTexts()
    {
        TLoRaWANEndNode node;
        QVERIFY(node.Open(m_port, QStringLiteral("115200")));
        QCOMPARE(node.DisplayName(), m_port + QStringLiteral(":LoRaWANEndNode"));
        QVERIFY(node.HasFeature(QStringLiteral("LoRaWANDeviceMgmt")));
        QCOMPARE(node.SAPNames(), (QStringList{"DeviceMgmt", "LoRaWAN", "PTS", "SensorApp", "VTTrace"}));

        QSignalSpy lines(&TStatusLog::Instance(), &TStatusLog::EvLine);
        TKeyValueList result;
        QVERIFY(node.Execute(QStringLiteral("DeviceMgmt/GetDeviceInfo"), result));
        QCOMPARE(result.Value("DeviceID"), QStringLiteral("0042A1C7"));
        const QString source = node.DisplayName() + QStringLiteral(":DeviceMgmt:");
        QStringList texts = Texts(lines);
        QVERIFY(texts.contains(source + QStringLiteral("Command:Get Device Info")));
        QVERIFY(texts.contains(source + QStringLiteral("Result: OK")));

        lines.clear();
        QVERIFY(node.Execute(QStringLiteral("DeviceMgmt/ResetDevice")));
        texts = Texts(lines);
        QCOMPARE(texts.last(), source + QStringLiteral("Result: OK"));

        m_sim->ForceStatus(0x01, 0x03, 0x03);
        result.clear();
        QVERIFY(!node.Execute(QStringLiteral("DeviceMgmt/GetDeviceInfo"), result));
        QCOMPARE(node.LastError(), QStringLiteral("wrong parameter"));
        QCOMPARE(Texts(lines).last(), source + QStringLiteral("Result: ERROR - wrong parameter"));
        QVERIFY(result.isEmpty());
    }

    void execute_parametersReachTheService()
    {
        TLoRaWANEndNode node;
        QVERIFY(node.Open(m_port, QStringLiteral("115200")));
        TKeyValueList params;
        params.Append(QStringLiteral("DateTime"), QStringLiteral("2030-06-15 08:09:10"));
        QVERIFY2(node.Execute(QStringLiteral("DeviceMgmt/SetRTC"), qAsConst(params)), qPrintable(node.LastError()));
        TKeyValueList unused;
        QVERIFY(!node.ExecuteAny(QStringLiteral("DeviceMgmt/ResetDevice"), params, unused));
        QCOMPARE(node.LastError(), QStringLiteral("error - DeviceMgmt/ResetDevice takes no parameters"));
        TKeyValueList result;
        QVERIFY(node.Execute(QStringLiteral("DeviceMgmt/GetRTC"), result));
        QVERIFY2(result.Value("DateTime").startsWith(QStringLiteral("2030-06-15 08:09:1")), qPrintable(result.Value("DateTime")));
    }

    void execute_onlyTableCommandsWithTheirParameterNames_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<TKeyValueList>("params");
        QTest::addColumn<QString>("error");
        auto params = [](std::initializer_list<std::pair<const char*, const char*>> items) {
            TKeyValueList list;
            for (const auto& item : items)
                list.Append(QLatin1String(item.first), QLatin1String(item.second));
            return list;
        };
        QTest::newRow("QObject method") << "DeviceMgmt/deleteLater" << TKeyValueList() << "error - command not found : deleteLater";
        QTest::newRow("slot outside the table") << "DeviceMgmt/SetProductionMode" << TKeyValueList() << "error - command not found : SetProductionMode";
        QTest::newRow("signal") << "DeviceMgmt/EvDeviceMgmt_ConfigChanged" << TKeyValueList() << "error - command not found : EvDeviceMgmt_ConfigChanged";
        QTest::newRow("QObject method with parameters") << "LoRaWAN/setObjectName" << params({{"name", "x"}}) << "error - command not found : setObjectName";
        QTest::newRow("misspelled name") << "LoRaWAN/SetNodeConfig"
                                         << params({{"DataRate", "3"}, {"PowerLevel", "14"}, {"Options", "0"}, {"AutoPowerSaving", "0"},
                                                    {"Retransmisions", "1"}, {"BandID", "1"}, {"HeaderMacCmdCap", "0"}})
                                         << "error - unknown parameter \"Retransmisions\" of SetNodeConfig; valid parameters: DataRate, PowerLevel, "
                                            "Options, AutoPowerSaving, Retransmissions, BandID, HeaderMacCmdCap, SubBandMask1, SubBandMask2, SubBandMask3";
        QTest::newRow("repeated name") << "DeviceMgmt/SetRTC" << params({{"DateTime", "2030-06-15 08:09:10"}, {"DateTime", "2031-01-01 00:00:00"}})
                                       << "error - parameter \"DateTime\" given more than once";
        QTest::newRow("declared names") << "DeviceMgmt/SetRTCAlarm" << params({{"NewAlarm", "12:00:00"}, {"Option", "1"}})
                                        << "error - unknown parameter \"Option\" of SetRTCAlarm; valid parameters: NewAlarm, Options";
        QTest::newRow("name of another command") << "LoRaWAN/SendUData" << params({{"LoRaPort", "0x0A"}, {"Payload", "01"}, {"MACCmdID", "2"}})
                                                 << "error - unknown parameter \"MACCmdID\" of SendUData; valid parameters: LoRaPort, Payload";
    }
    void execute_onlyTableCommandsWithTheirParameterNames()
    {
        QFETCH(QString, command);
        QFETCH(TKeyValueList, params);
        QFETCH(QString, error);
        TLoRaWANEndNode node;
        QVERIFY(node.Open(m_port, QStringLiteral("115200")));
        QPointer<TVeltoLRSAP> dm = node.SAP(QStringLiteral("DeviceMgmt"));
        QSignalSpy changes(qobject_cast<TVeltoLRDeviceMgmt*>(dm.data()), &TVeltoLRDeviceMgmt::EvDeviceMgmt_ConfigChanged);
        const quint32 sent = node.Link()->FramesSent();
        TKeyValueList result;
        QVERIFY(!node.ExecuteAny(command, params, result));
        QCOMPARE(node.LastError(), error);
        QVERIFY(!node.Execute(command, qAsConst(params)));
        QCOMPARE(node.LastError(), error);
        QCOMPARE(node.Link()->FramesSent(), sent);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(dm);
        QCOMPARE(changes.count(), 0);
        QVERIFY(node.SAP(QStringLiteral("LoRaWAN"))->objectName().isEmpty());
    }

    void extendedNode_addsDataLink()
    {
        m_sim->Identity().firmwareName = QStringLiteral("Caravel_LoRaWAN");
        TExtLoRaWANEndNode node;
        QVERIFY(node.Open(m_port, QStringLiteral("115200")));
        QCOMPARE(node.Features(), (QStringList{"LoRaWANDeviceMgmt", "OspreyDeviceMgmt", "DualRadioStack"}));
        QVERIFY(node.SAP(QStringLiteral("DataLink")));
        QVERIFY(node.ReadDeviceInfo());
        QCOMPARE(node.DeviceInfo().Value("FWName"), QStringLiteral("Caravel_LoRaWAN"));
    }

    void close_keepsOrDropsTheLink()
    {
        TRadioController controller;
        QVERIFY(controller.Open(m_port, QStringLiteral("57600")));
        controller.SetPresence(1);
        controller.Close(false);
        QVERIFY(controller.Link());
        QVERIFY(!controller.Link()->IsOpen());
        QCOMPARE(controller.Presence(), 3);
        controller.Close(true);
        QVERIFY(!controller.Link());
        TKeyValueList result;
        QVERIFY(!controller.Execute(QStringLiteral("DeviceMgmt/GetDeviceInfo"), result));
        QCOMPARE(controller.LastError(), QStringLiteral("no radio interface"));
        QVERIFY(!controller.ReadDeviceInfo());
    }
};

TESSERA_TEST_MAIN(TestController)
#include "tst_controller.moc"

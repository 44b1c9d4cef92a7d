#include <QSignalSpy>
#include <QtTest>

#include "TestEnvironment.h"
#include "UdpTestPort.h"
#include "gateway/TGatewayCaller.h"
#include "gateway/TGatewayProtocol.h"
#include "settings/TSettings.h"
#include "tools/sim/TSimGateway.h"

class TestGatewayCaller : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QFile::remove(TSettings::Instance().SettingsFilePath());
    }

    void call_datagramAndPortFromSettings_data()
    {
        QTest::addColumn<bool>("defaults");
        QTest::newRow("defaults") << true;
        QTest::newRow("changed settings") << false;
    }
    void call_datagramAndPortFromSettings()
    {
        QFETCH(bool, defaults);
        // The only test that takes the real default port; with changed settings any free port does.
        QUdpSocket gateway;
        QVERIFY2(gateway.bind(QHostAddress::LocalHost, quint16(defaults ? TGatewayProtocol::kDefaultPort : 0)), qPrintable(gateway.errorString()));
        const int serverPort = defaults ? 51000 : 40123;
        if (!defaults) {
            TSettings::Instance().SetServerPort(serverPort);
            TSettings::Instance().SetGatewayPort(gateway.localPort());
        }
        TGatewayCaller caller;
        QCOMPARE(caller.ServerPort(), serverPort);
        QCOMPARE(caller.GatewayPort(), int(gateway.localPort()));
        QSignalSpy lines(&caller, &TGatewayCaller::EvStatusLine);
        QCOMPARE(caller.Call({QStringLiteral(" 127.0.0.1 ")}), 1);
        QCOMPARE(UdpTestPort::NextDatagram(gateway).data(), QByteArray("MarlinOne::") + QByteArray::number(serverPort));
        QCOMPARE(lines.size(), 1);
        QCOMPARE(lines.at(0).at(0).toString(), QStringLiteral("calling gateway:127.0.0.1::%1").arg(gateway.localPort()));
        QCOMPARE(caller.CallsSent(), 1);
    }

    void answers_showAsStatusLines_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("status") << QStringLiteral("status")
                                << QStringList{QStringLiteral("OnStatus: Status(E000) - Call received (from 127.0.0.1)"),
                                               QStringLiteral("OnStatus: Status(E001) - Calling the studio back (from 127.0.0.1)"),
                                               QStringLiteral("OnStatus: Status(E002) - Connected to the studio (from 127.0.0.1)")};
        QTest::newRow("unknown code") << QStringLiteral("13,999")
                                      << QStringList{QStringLiteral("OnStatus: Status(E013) - Gateway busy with another studio (from 127.0.0.1)"),
                                                     QStringLiteral("OnStatus: Status(E999) - Unexpected Status Code! (from 127.0.0.1)")};
        QTest::newRow("garbage") << QStringLiteral("garbage")
                                 << QStringList{QStringLiteral("warning - unreadable gateway answer from 127.0.0.1: no \"MarlinOne::Status::\" in front"),
                                                QStringLiteral("warning - unreadable gateway answer from 127.0.0.1: status code \"1234\" is not a number from 0 to 999")};
    }
    void answers_showAsStatusLines()
    {
        QFETCH(QString, mode);
        QFETCH(QStringList, expected);
        TSimGateway gateway;
        QVERIFY(gateway.Listen(0));
        QVERIFY(gateway.SetAnswerMode(mode));
        TGatewayCaller caller;
        caller.SetPorts(UdpTestPort::FreePort(), gateway.Port());
        QVERIFY(caller.Listen());
        QSignalSpy lines(&caller, &TGatewayCaller::EvStatusLine);
        QSignalSpy answers(&caller, &TGatewayCaller::EvStatus);
        QCOMPARE(caller.Call({QStringLiteral("127.0.0.1")}), 1);
        QTRY_COMPARE(lines.size(), 1 + expected.size());
        QStringList shown;
        for (const QList<QVariant>& line : qAsConst(lines))
            shown << line.at(0).toString();
        QCOMPARE(shown, QStringList{QStringLiteral("calling gateway:127.0.0.1::%1").arg(gateway.Port())} + expected);
        QCOMPARE(answers.size(), mode == QLatin1String("garbage") ? 0 : expected.size());
        if (!answers.isEmpty())
            QCOMPARE(answers.last(), (QList<QVariant>{QStringLiteral("127.0.0.1"), mode == QLatin1String("status") ? 2 : 999, QString()}));
    }

    void failedCall_toldAndNextGatewayCalled_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("reason");
        QTest::newRow("not an address") << QStringLiteral("999.1.1.1") << QStringLiteral("not an IP-Address");
        QTest::newRow("host name") << QStringLiteral("gateway.local") << QStringLiteral("not an IP-Address");
        QTest::newRow("empty") << QString() << QStringLiteral("not an IP-Address");
    }
    void failedCall_toldAndNextGatewayCalled()
    {
        QFETCH(QString, address);
        QFETCH(QString, reason);
        QUdpSocket gateway;
        QVERIFY(gateway.bind(QHostAddress(QHostAddress::LocalHost)));
        TGatewayCaller caller;
        caller.SetPorts(40124, gateway.localPort());
        QSignalSpy lines(&caller, &TGatewayCaller::EvStatusLine);
        QSignalSpy failed(&caller, &TGatewayCaller::EvCallFailed);
        QCOMPARE(caller.Call({address, QStringLiteral("127.0.0.1")}), 1);
        QCOMPARE(UdpTestPort::NextDatagram(gateway).data(), QByteArray("MarlinOne::40124"));
        const QString port = QString::number(gateway.localPort());
        QStringList shown;
        for (const QList<QVariant>& line : qAsConst(lines))
            shown << line.at(0).toString();
        QCOMPARE(shown, (QStringList{QStringLiteral("calling gateway:") + address + QStringLiteral("::") + port,
                                     QStringLiteral("UDP socket error: ") + address + QStringLiteral(" - ") + reason,
                                     QStringLiteral("calling gateway:127.0.0.1::") + port}));
        QCOMPARE(failed.size(), 1);
        QCOMPARE(failed.at(0), (QList<QVariant>{address, reason}));
    }

    void badPorts_toldAndNothingSent()
    {
        TGatewayCaller caller;
        QSignalSpy problems(&caller, &TGatewayCaller::EvProblem);
        caller.SetPorts(0, 51000);
        QVERIFY(!caller.Listen());
        caller.SetPorts(51000, 70000);
        QCOMPARE(caller.Call({QStringLiteral("127.0.0.1")}), 0);
        QCOMPARE(caller.CallsSent(), 0);
        QCOMPARE(problems.size(), 2);
        QCOMPARE(problems.at(0).at(0).toString(), QStringLiteral("error - the server port 0 is not a UDP port (1 to 65535)"));
        QCOMPARE(problems.at(1).at(0).toString(), QStringLiteral("error - the gateway port 70000 is not a UDP port (1 to 65535)"));

        // A server port that another socket holds is told, and calls still leave.
        QUdpSocket holder;
        QVERIFY(holder.bind(QHostAddress(QHostAddress::Any)));
        caller.SetPorts(holder.localPort(), holder.localPort());
        QVERIFY(!caller.Listen());
        QVERIFY2(problems.last().at(0).toString().startsWith(QStringLiteral("error - couldn't listen for gateway answers on UDP port %1: ").arg(holder.localPort())),
                 qPrintable(problems.last().at(0).toString()));
        QCOMPARE(caller.Call({QStringLiteral("127.0.0.1")}), 1);
        QCOMPARE(UdpTestPort::NextDatagram(holder).data(), QByteArray("MarlinOne::") + QByteArray::number(holder.localPort()));
    }
};

TESSERA_TEST_MAIN(TestGatewayCaller)
#include "tst_gatewaycaller.moc"

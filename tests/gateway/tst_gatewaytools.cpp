#include <QProcess>
#include <QSignalSpy>
#include <QtTest>

#include "CliProcess.h"
#include "TestEnvironment.h"
#include "UdpTestPort.h"
#include "gateway/TGatewayCaller.h"
#include "settings/TSettings.h"
#include "tools/sim/TSimGateway.h"

using CliProcess::Cli;
using CliProcess::Run;

class TestGatewayTools : public QObject
{
    Q_OBJECT

    std::unique_ptr<TSimGateway> m_gateway;
    QString m_gatewayPort;
    QString m_serverPort;

private slots:
    void init()
    {
        m_gateway = std::make_unique<TSimGateway>();
        QVERIFY(m_gateway->Listen(0));
        m_gatewayPort = QString::number(m_gateway->Port());
        m_serverPort = QString::number(UdpTestPort::FreePort());
    }
    void cleanup() { m_gateway.reset(); }

    void cliCall_printsAnswersWithExitCodes_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<QStringList>("extraArgs");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("out");
        QTest::addColumn<QString>("err");
        QTest::newRow("answers") << QStringLiteral("status") << QStringList() << 0
                                 << QStringLiteral("Address: 127.0.0.1; Code: 000; Status: Status(E000) - Call received\n"
                                                   "Address: 127.0.0.1; Code: 001; Status: Status(E001) - Calling the studio back\n"
                                                   "Address: 127.0.0.1; Code: 002; Status: Status(E002) - Connected to the studio\n")
                                 << QString();
        QTest::newRow("json, unknown code") << QStringLiteral("999") << QStringList{QStringLiteral("--json")} << 0
                                            << QStringLiteral("[[\"Address\",\"127.0.0.1\"],[\"Code\",\"999\"],[\"Status\",\"Status(E999) - Unexpected Status Code!\"]]\n")
                                            << QString();
        QTest::newRow("no answer") << QStringLiteral("none") << QStringList() << 3 << QString()
                                   << QStringLiteral("error - no answer from 127.0.0.1 within 0.5 s\n");
        QTest::newRow("garbage") << QStringLiteral("garbage") << QStringList() << 3 << QString()
                                 << QStringLiteral("warning - unreadable gateway answer from 127.0.0.1: no \"MarlinOne::Status::\" in front\n"
                                                   "warning - unreadable gateway answer from 127.0.0.1: status code \"1234\" is not a number from 0 to 999\n"
                                                   "error - no answer from 127.0.0.1 within 0.5 s\n");
        QTest::newRow("bad address first") << QStringLiteral("0") << QStringList{QStringLiteral("999.1.1.1")} << 1
                                           << QStringLiteral("Address: 127.0.0.1; Code: 000; Status: Status(E000) - Call received\n")
                                           << QStringLiteral("UDP socket error: 999.1.1.1 - not an IP-Address\n");
    }
    void cliCall_printsAnswersWithExitCodes()
    {
        QFETCH(QString, answer);
        QFETCH(QStringList, extraArgs);
        QVERIFY(m_gateway->SetAnswerMode(answer));
        QStringList args{QStringLiteral("gateways"), QStringLiteral("call")};
        QStringList addresses{QStringLiteral("127.0.0.1")};
        for (const QString& extra : extraArgs)
            (extra.startsWith(QLatin1String("--")) ? args : addresses).prepend(extra);
        args << addresses << QStringLiteral("--wait") << QStringLiteral("0.5") << QStringLiteral("--server-port") << m_serverPort
             << QStringLiteral("--gateway-port") << m_gatewayPort;
        const Run run = Cli(args);
        QTEST(run.err, "err");
        QTEST(run.out, "out");
        QTEST(run.exitCode, "exitCode");
        QCOMPARE(m_gateway->DatagramsReceived(), 1);
        QCOMPARE(m_gateway->LastDatagram(), QByteArray("MarlinOne::") + m_serverPort.toLatin1());
    }

    void cliUsageAndList()
    {
        const QStringList bad[] = {
            {QStringLiteral("gateways")},
            {QStringLiteral("gateways"), QStringLiteral("call")},
            {QStringLiteral("gateways"), QStringLiteral("ring"), QStringLiteral("127.0.0.1")},
            {QStringLiteral("gateways"), QStringLiteral("call"), QStringLiteral("127.0.0.1"), QStringLiteral("--wait"), QStringLiteral("-1")},
            {QStringLiteral("gateways"), QStringLiteral("call"), QStringLiteral("127.0.0.1"), QStringLiteral("--gateway-port"), QStringLiteral("65536")},
            {QStringLiteral("gateways"), QStringLiteral("list"), QStringLiteral("127.0.0.1")},
        };
        for (const QStringList& args : bad) {
            const Run run = Cli(args);
            QVERIFY2(run.exitCode == 2 && run.err.startsWith(QStringLiteral("error - ")), qPrintable(args.join(QLatin1Char(' ')) + QStringLiteral(": ") + run.err));
        }
        QCOMPARE(m_gateway->DatagramsReceived(), 0);
        // --wait 0 sends and ends at once, whatever comes back.
        const Run sendOnly = Cli({QStringLiteral("gateways"), QStringLiteral("call"), QStringLiteral("127.0.0.1"), QStringLiteral("--wait"), QStringLiteral("0"),
                                  QStringLiteral("--gateway-port"), m_gatewayPort});
        QCOMPARE(sendOnly.exitCode, 0);
        QCOMPARE(sendOnly.out + sendOnly.err, QString());
        QTRY_COMPARE(m_gateway->DatagramsReceived(), 1);
        QCOMPARE(m_gateway->LastDatagram(), QByteArray("MarlinOne::51000"));

        TSettings::Instance().SetGateways({QStringLiteral("10.0.0.1"), QStringLiteral("fd00::7")});
        Run run = Cli({QStringLiteral("gateways"), QStringLiteral("list")});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out, QStringLiteral("10.0.0.1\nfd00::7\n"));
        run = Cli({QStringLiteral("--json"), QStringLiteral("gateways"), QStringLiteral("list")});
        QCOMPARE(run.out, QStringLiteral("[\"10.0.0.1\",\"fd00::7\"]\n"));
        TSettings::Instance().SetGateways({});
        QCOMPARE(Cli({QStringLiteral("--json"), QStringLiteral("gateways"), QStringLiteral("list")}).out, QStringLiteral("[]\n"));
    }

    void simGateway_answersCallsAndRefusesBadOptions()
    {
        QProcess sim;
        sim.start(QStringLiteral(TESSERA_BIN_DIR "/tessera-sim"), {QStringLiteral("--gateway"), QStringLiteral("0"), QStringLiteral("--gateway-answer"), QStringLiteral("0,999")});
        QVERIFY(sim.waitForStarted(5000));
        QStringList lines;
        while (lines.size() < 2 && sim.waitForReadyRead(5000))
            lines = QString::fromUtf8(sim.peek(4096)).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 2);
        QVERIFY2(lines.at(0).startsWith(QStringLiteral("/dev/pts/")), qPrintable(lines.at(0)));
        QVERIFY2(lines.at(1).startsWith(QStringLiteral("gateway port ")), qPrintable(lines.at(1)));
        const int port = lines.at(1).mid(13).toInt();
        QVERIFY(port > 0);

        TGatewayCaller caller;
        caller.SetPorts(m_serverPort.toInt(), port);
        QVERIFY(caller.Listen());
        QSignalSpy answers(&caller, &TGatewayCaller::EvStatus);
        QCOMPARE(caller.Call({QStringLiteral("127.0.0.1")}), 1);
        QTRY_COMPARE(answers.size(), 2);
        QCOMPARE(answers.at(0).at(1).toInt(), 0);
        QCOMPARE(answers.at(1).at(1).toInt(), 999);
        sim.terminate();
        QVERIFY(sim.waitForFinished(5000));

        const QStringList bad[] = {
            {QStringLiteral("--gateway"), QStringLiteral("0"), QStringLiteral("--gateway-answer"), QStringLiteral("loud")},
            {QStringLiteral("--gateway"), QStringLiteral("70000")},
            {QStringLiteral("--gateway-answer"), QStringLiteral("none")},
        };
        for (const QStringList& args : bad) {
            QProcess refused;
            refused.start(QStringLiteral(TESSERA_BIN_DIR "/tessera-sim"), args);
            QVERIFY(refused.waitForFinished(5000));
            QCOMPARE(refused.exitCode(), 2);
            QVERIFY2(refused.readAllStandardError().startsWith("error - --gateway"), qPrintable(args.join(QLatin1Char(' '))));
        }
    }
};

TESSERA_TEST_MAIN(TestGatewayTools)
#include "tst_gatewaytools.moc"

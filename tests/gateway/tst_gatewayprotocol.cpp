#include <QSet>
#include <QtTest>

#include "TestEnvironment.h"
#include "gateway/TGatewayProtocol.h"

class TestGatewayProtocol : public QObject
{
    Q_OBJECT
private slots:
    void call_textAndReading_data()
    {
        QTest::addColumn<QByteArray>("datagram");
        QTest::addColumn<bool>("isCall");
        QTest::addColumn<int>("port");
        QTest::newRow("default") << QByteArray("MarlinOne::51000") << true << 51000;
        QTest::newRow("line end") << QByteArray("MarlinOne::1\r\n") << true << 1;
        QTest::newRow("highest") << QByteArray("MarlinOne::65535") << true << 65535;
        QTest::newRow("port 0") << QByteArray("MarlinOne::0") << false << 0;
        QTest::newRow("above 65535") << QByteArray("MarlinOne::65536") << false << 0;
        QTest::newRow("six digits") << QByteArray("MarlinOne::051000") << false << 0;
        QTest::newRow("no port") << QByteArray("MarlinOne::") << false << 0;
        QTest::newRow("other prefix") << QByteArray("marlinone::51000") << false << 0;
    }
    void call_textAndReading()
    {
        QFETCH(QByteArray, datagram);
        QFETCH(bool, isCall);
        QFETCH(int, port);
        quint16 read = 0;
        QCOMPARE(TGatewayProtocol::ParseCall(datagram, read), isCall);
        QCOMPARE(int(read), port);
        if (isCall && !datagram.endsWith('\n'))
            QCOMPARE(TGatewayProtocol::CallDatagram(quint16(port)), datagram);
    }

    void status_reading_data()
    {
        QTest::addColumn<QByteArray>("datagram");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("detail");
        QTest::addColumn<QString>("error");
        QTest::newRow("code") << QByteArray("MarlinOne::Status::2") << true << 2 << QString() << QString();
        QTest::newRow("three digits") << QByteArray("MarlinOne::Status::013") << true << 13 << QString() << QString();
        QTest::newRow("detail") << QByteArray("MarlinOne::Status::12::connection refused\n") << true << 12
                                << QStringLiteral("connection refused") << QString();
        QTest::newRow("detail with separator and tab") << QByteArray("MarlinOne::Status::0::gw\t7::a") << true << 0
                                                       << QStringLiteral("gw 7::a") << QString();
        QTest::newRow("utf-8 detail") << QByteArray("MarlinOne::Status::1::Gr\xC3\xBC\xC3\x9F" "e") << true << 1
                                      << QStringLiteral("Gr\u00FC\u00DFe") << QString();
        QTest::newRow("four digits") << QByteArray("MarlinOne::Status::1234") << false << 0 << QString()
                                     << QStringLiteral("status code \"1234\" is not a number from 0 to 999");
        QTest::newRow("negative") << QByteArray("MarlinOne::Status::-1") << false << 0 << QString()
                                  << QStringLiteral("status code \"-1\" is not a number from 0 to 999");
        QTest::newRow("binary") << QByteArray("\x00\xffMarlinOne\x01", 12) << false << 0 << QString()
                                << QStringLiteral("no \"MarlinOne::Status::\" in front");
        QTest::newRow("not utf-8") << QByteArray("MarlinOne::Status::1::\xff\xfe") << false << 0 << QString()
                                   << QStringLiteral("detail is not UTF-8 text");
        QTest::newRow("too long") << QByteArray("MarlinOne::Status::1::") + QByteArray(491, 'x') << false << 0 << QString()
                                  << QStringLiteral("longer than 512 bytes");
        QTest::newRow("longest") << QByteArray("MarlinOne::Status::1::") + QByteArray(490, 'x') << true << 1
                                 << QString(490, QLatin1Char('x')) << QString();
    }
    void status_reading()
    {
        QFETCH(QByteArray, datagram);
        QFETCH(bool, ok);
        int code = -1;
        QString detail;
        QString error;
        QCOMPARE(TGatewayProtocol::ParseStatus(datagram, code, detail, error), ok);
        QTEST(error, "error");
        if (!ok)
            return;
        QTEST(code, "code");
        QTEST(detail, "detail");
        QCOMPARE(TGatewayProtocol::ParseStatus(TGatewayProtocol::StatusDatagram(code, detail), code, detail, error), true);
        QTEST(code, "code");
        QTEST(detail, "detail");
    }

    void statusText_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("detail");
        QTest::addColumn<QString>("text");
        QTest::newRow("zero") << 0 << QString() << QStringLiteral("Status(E000) - Call received");
        QTest::newRow("two digits") << 12 << QStringLiteral("connection refused")
                                    << QStringLiteral("Status(E012) - Studio not reachable on the server port: connection refused");
        QTest::newRow("unknown") << 999 << QString() << QStringLiteral("Status(E999) - Unexpected Status Code!");
        QTest::newRow("unknown between known") << 4 << QStringLiteral("x") << QStringLiteral("Status(E004) - Unexpected Status Code!: x");
    }
    void statusText()
    {
        QFETCH(int, code);
        QFETCH(QString, detail);
        QTEST(TGatewayProtocol::StatusText(code, detail), "text");
    }

    void table_shapeAndWebAddress()
    {
        QSet<quint32> codes;
        int rows = 0;
        for (const TCodeTableEntry* row = TGatewayProtocol::StatusTable(); row->text; ++row, ++rows) {
            QVERIFY2(!codes.contains(row->code), qPrintable(QString::number(row->code)));
            codes.insert(row->code);
            QVERIFY(int(row->code) <= TGatewayProtocol::kMaxCode);
            QVERIFY(qstrlen(row->text) > 0);
            QVERIFY(TGatewayProtocol::IsKnown(int(row->code)));
        }
        QVERIFY(rows > 0);
        QVERIFY(!TGatewayProtocol::IsKnown(TGatewayProtocol::kMaxCode));
        QCOMPARE(TGatewayProtocol::WebAddress(QStringLiteral("192.168.1.20")), QStringLiteral("http://192.168.1.20:8080"));
        QCOMPARE(TGatewayProtocol::WebAddress(QStringLiteral("fd00::7")), QStringLiteral("http://[fd00::7]:8080"));
    }
};

TESSERA_TEST_MAIN(TestGatewayProtocol)
#include "tst_gatewayprotocol.moc"

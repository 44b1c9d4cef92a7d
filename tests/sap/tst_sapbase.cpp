#include <QSignalSpy>
#include <QtTest>

#include "TestEnvironment.h"
#include "hci/TVeltoLRHCI.h"
#include "sap/TVeltoLRSAP.h"
#include "tools/sim/TSimModule.h"

namespace {
// code  text
const TCodeTableEntry kStatus[] = {
    {0x00, "OK"},
    {0x01, "operation failed"},
    {0x03, "wrong parameter"},
    {0, nullptr},
};
// name     description
const TCommandTableEntry kCommands[] = {
    {"Ping", "Ping the module"},
    {"Ping", "Ping again"},
    {"GetX", "Get X"},
    {nullptr, nullptr},
};
// MsgID  name
const TCodeTableEntry kNames[] = {
    {0x01, "PingReq"},
    {0xAB, "OddRsp"},
    {0, nullptr},
};

class ProbeSAP : public TVeltoLRSAP
{
public:
    explicit ProbeSAP(const TCodeTableEntry* status = kStatus)
        : TVeltoLRSAP(0x01, status, QStringLiteral("Probe"))
    {
        RegisterCommandTable(kCommands);
        RegisterCommandTable(kCommands);
        RegisterMessageNameTable(kNames);
    }
};
}

class TestSapBase : public QObject
{
    Q_OBJECT
private slots:
    void withoutLink()
    {
        ProbeSAP sap;
        QVERIFY(!sap.Request(0x01, QByteArray()));
        QCOMPARE(sap.ResultText(), QStringLiteral("no radio interface"));
        QCOMPARE(sap.PortName(), QStringLiteral("NO RadioIF"));
        QCOMPARE(sap.BaudrateText(), QStringLiteral("unknown"));
        QVERIFY(!sap.SetBaudrate(QStringLiteral("115200")));
        QVERIFY(!sap.Send(0x01, nullptr, 0));
    }

    void tables()
    {
        ProbeSAP sap;
        QCOMPARE(sap.CommandNames(), (QStringList{"GetX", "Ping"}));
        QCOMPARE(sap.CommandDescription(QStringLiteral("Ping")), QStringLiteral("Ping again"));
        QCOMPARE(sap.CommandDescription(QStringLiteral("Nope")), QStringLiteral("error - command not found : Nope"));
        QCOMPARE(sap.LastDescription(), QStringLiteral("error - command not found : Nope"));
        QCOMPARE(sap.MessageName(0xAB), QStringLiteral("OddRsp"));
        QCOMPARE(sap.MessageName(0x02), QString());
        QCOMPARE(TVeltoLRSAP::CodeLookup(kStatus, 3), QStringLiteral("wrong parameter"));
        QCOMPARE(TVeltoLRSAP::CodeLookup(kStatus, 9), QStringLiteral("Unsupported ID(9)"));
        QCOMPARE(TVeltoLRSAP::CodeLookup(nullptr, 0), QStringLiteral("Unsupported table"));
    }

    void statusBytesOverALink()
    {
        TSimModule sim;
        QVERIFY(sim.Open());
        TVeltoLRHCI link;
        link.SetResponseTimeout(300);
        QVERIFY(link.Open(sim.PortName(), QStringLiteral("115200")));
        ProbeSAP sap;
        ProbeSAP untabled(nullptr);
        sap.AttachLink(&link);
        QCOMPARE(link.RegisteredSAP(0x01), &sap);
        QCOMPARE(sap.PortName(), sim.PortName());

        QVERIFY(sap.Request(0x01, QByteArray()));
        QCOMPARE(sap.ResultText(), QStringLiteral("OK"));
        QCOMPARE(sap.ResponsePayload(), QByteArray(1, '\0'));

        sim.ForceStatus(0x01, 0x01, 0x03);
        QVERIFY(!sap.Request(0x01, QByteArray()));
        QVERIFY(sap.StatusValid());
        QCOMPARE(sap.ResultText(), QStringLiteral("wrong parameter"));
        sim.ForceStatus(0x01, 0x01, 0x09);
        QVERIFY(!sap.Request(0x01, QByteArray()));
        QCOMPARE(sap.ResultText(), QStringLiteral("Unsupported ID(9)"));
        untabled.AttachLink(&link);
        QVERIFY(!untabled.Request(0x01, QByteArray()));
        QCOMPARE(untabled.ResultText(), QStringLiteral("Unsupported table"));
        // An unknown request gets "command not supported" from the module, never a made-up success.
        QVERIFY(!untabled.Request(0x7C, QByteArray()));
        QCOMPARE(untabled.StatusByte(), quint8(0x02));

        sim.SetFault(TSimModule::FaultNoAnswer);
        QVERIFY(!sap.Request(0x01, QByteArray()));
        QVERIFY(!sap.StatusValid());
        QCOMPARE(sap.ResultText(), QStringLiteral("no response"));
        QVERIFY(!sap.Request(0x01, QByteArray(501, 'x')));
        QCOMPARE(sap.ResultText(), QStringLiteral("payload length error"));
        sap.SetErrorText(QStringLiteral("error - bad"));
        QCOMPARE(sap.ResultText(), QStringLiteral("error - bad"));
    }
};

TESSERA_TEST_MAIN(TestSapBase)
#include "tst_sapbase.moc"

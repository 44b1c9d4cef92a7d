#include <QSignalSpy>
#include <QtTest>

#include "TestEnvironment.h"
#include "SimPort.h"
#include "hci/TVeltoLRHCI.h"
#include "sap/TDataLinkSAP.h"
#include "sap/TProductionSupportSAP.h"
#include "sap/TSensorSAP.h"
#include "sap/TTraceSAP.h"
#include "sap/TVeltoLRDeviceMgmt.h"
#include "sap/TVeltoLRLoRaWAN.h"
#include "tools/sim/TSimModule.h"

namespace {
// code  text
const TCodeTableEntry kStatus[] = {
    {0x00, "OK"},
    {0x01, "operation failed"},
    {0x03, "wrong parameter"},
    {0, nullptr},
};
// name      type
const TFieldLayoutEntry kXLayout[] = {
    {"Reserved", "U8d"},
    {"Rate", "U8d"},
    {"Reserved", "U16d"},
    {"Optional:Mask", "U8h"},
    {nullptr, nullptr},
};
// name     description     layout / parameters
const TCommandTableEntry kCommands[] = {
    {"Ping", "Ping the module"},
    {"Ping", "Ping again"},
    {"GetX", "Get X"},
    {"SetX", "Set X",       kXLayout},
    {"SetY", "Set Y",       nullptr, "Alarm,Options"},
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
        QCOMPARE(sap.CommandNames(), (QStringList{"GetX", "Ping", "SetX", "SetY"}));
        QCOMPARE(sap.CommandDescription(QStringLiteral("Ping")), QStringLiteral("Ping again"));
        QCOMPARE(sap.CommandDescription(QStringLiteral("Nope")), QStringLiteral("error - command not found : Nope"));
        QCOMPARE(sap.LastDescription(), QStringLiteral("error - command not found : Nope"));
        QCOMPARE(sap.MessageName(0xAB), QStringLiteral("OddRsp"));
        QCOMPARE(sap.MessageName(0x02), QString());
        QCOMPARE(TVeltoLRSAP::CodeLookup(kStatus, 3), QStringLiteral("wrong parameter"));
        QCOMPARE(TVeltoLRSAP::CodeLookup(kStatus, 9), QStringLiteral("Unsupported ID(9)"));
        QCOMPARE(TVeltoLRSAP::CodeLookup(nullptr, 0), QStringLiteral("Unsupported table"));
    }

    void parameterNames_fromTheLayoutOrTheTable()
    {
        ProbeSAP sap;
        QVERIFY(sap.HasCommand(QStringLiteral("SetX")));
        QVERIFY(!sap.HasCommand(QStringLiteral("deleteLater")));
        QCOMPARE(sap.ParameterNames(QStringLiteral("SetX")), (QStringList{"Rate", "Mask", "Reserved", "Reserved"}));
        QCOMPARE(sap.ParameterNames(QStringLiteral("SetY")), (QStringList{"Alarm", "Options"}));
        QVERIFY(sap.ParameterNames(QStringLiteral("Ping")).isEmpty());

        auto check = [&sap](const char* command, std::initializer_list<const char*> names) {
            TKeyValueList params;
            for (const char* name : names)
                params.Append(QLatin1String(name), QStringLiteral("1"));
            QString error;
            return sap.CheckParameters(QLatin1String(command), params, error) ? QStringLiteral("ok") : error;
        };
        QCOMPARE(check("SetX", {"Rate", "Mask"}), QStringLiteral("ok"));
        QCOMPARE(check("SetX", {}), QStringLiteral("ok"));   // what is missing is the packing's to say
        // reserved fields go back as they were read, one value each and no more
        QCOMPARE(check("SetX", {"Reserved", "Rate", "Reserved"}), QStringLiteral("ok"));
        QCOMPARE(check("SetX", {"Reserved", "Reserved", "Reserved"}), QStringLiteral("error - parameter \"Reserved\" given more than once"));
        QCOMPARE(check("SetY", {"Reserved"}), QStringLiteral("error - unknown parameter \"Reserved\" of SetY; valid parameters: Alarm, Options"));
        QCOMPARE(check("SetX", {"rate"}), QStringLiteral("error - unknown parameter \"rate\" of SetX; valid parameters: Rate, Mask, Reserved"));
        QCOMPARE(check("SetY", {"Alarm", "Options", "Alarm"}), QStringLiteral("error - parameter \"Alarm\" given more than once"));
        QCOMPARE(check("Ping", {"Rate"}), QStringLiteral("error - Ping takes no parameters, got \"Rate\""));
        QCOMPARE(check("Ping", {}), QStringLiteral("ok"));
    }

    void everyService_declaresTheParametersOfItsParameterSlots()
    {
        TVeltoLRDeviceMgmt dm;
        TVeltoLRLoRaWAN lw;
        TDataLinkSAP dl;
        TSensorSAP sensor;
        TTraceSAP trace;
        TProductionSupportSAP pts;
        for (const TVeltoLRSAP* sap : std::initializer_list<const TVeltoLRSAP*>{&dm, &lw, &dl, &sensor, &trace, &pts}) {
            const QMetaObject* meta = sap->metaObject();
            for (const QString& command : sap->CommandNames()) {
                const bool takesParameters = meta->indexOfSlot(qPrintable(command + QStringLiteral("(TKeyValueList)"))) >= 0
                    || meta->indexOfSlot(qPrintable(command + QStringLiteral("(TKeyValueList,TKeyValueList&)"))) >= 0;
                QVERIFY2(takesParameters == !sap->ParameterNames(command).isEmpty(), qPrintable(sap->Name() + QLatin1Char('/') + command));
            }
        }
    }

    void statusBytesOverALink()
    {
        TSimModule sim;
        QVERIFY(sim.Open());
        TVeltoLRHCI link;
        const QString port = NamedPort(sim.Wire());
        QVERIFY(link.Open(port, QStringLiteral("115200")));
        ProbeSAP sap;
        ProbeSAP untabled(nullptr);
        sap.AttachLink(&link);
        QCOMPARE(link.RegisteredSAP(0x01), &sap);
        QCOMPARE(sap.PortName(), port);

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
        link.SetResponseTimeout(300);   // meant to go unanswered
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

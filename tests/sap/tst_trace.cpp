#include <QSignalSpy>
#include <QtTest>

#include "ServiceFixture.h"
#include "TestEnvironment.h"
#include "hci/TVeltoLRHCI.h"
#include "sap/TTraceEventConfig.h"
#include "sap/TTraceSAP.h"
#include "settings/TSettings.h"
#include "status/TStatusLog.h"
#include "tools/sim/TSimModule.h"
#include "tools/sim/TSimTrace.h"

namespace {
QString Data(const char* name)
{
    return QStringLiteral(TESSERA_TEST_DATA "/") + QLatin1String(name);
}

/// Status log lines without their date and time fields.
QStringList Lines(const QSignalSpy& spy)
{
    QStringList lines;
    for (const QList<QVariant>& line : spy)
        lines << line.first().toString().section(QLatin1Char(';'), 2);
    return lines;
}
}

class TestTrace : public QObject
{
    Q_OBJECT

    std::unique_ptr<TSimModule> m_sim;
    std::unique_ptr<TVeltoLRHCI> m_link;
    std::unique_ptr<TTraceSAP> m_trace;

    TSimTrace& Sim() { return *dynamic_cast<TSimTrace*>(m_sim->Service(TSimTrace::kSapId)); }

private slots:
    void init()
    {
        TTraceEventConfig::Instance().Clear();
        QVERIFY(OpenServiceOverPty(m_sim, m_link, m_trace, kTimeoutMs));
    }
    void cleanup() { CloseServiceOverPty(m_sim, m_link, m_trace); }

    void configuration_loading_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("loaded");
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<QString>("events");
        const QString two = Data("trace_two.json");
        QTest::newRow("two entries") << two << true
            << QStringList({"VTTrace:open file:" + two, "VTTrace:load event: RADIO_TX_DONE (0x12)", "VTTrace:load event: WATCHDOG (0xFA)"})
            << "18=RADIO_TX_DONE 250=WATCHDOG";
        const QString missing = Data("no-such-trace.json");
        QTest::newRow("missing file") << missing << false << QStringList({"VTTrace:info - no configuration file: " + missing + " found!"}) << "";
        const QString broken = Data("trace_broken.json");
        QTest::newRow("not JSON") << broken << false
            << QStringList({"VTTrace:open file:" + broken, "VTTrace:error - trace event configuration " + broken + " is not valid JSON: *"})
            << "";
        const QString noEvents = Data("trace_no_events.json");
        QTest::newRow("no Events array") << noEvents << false
            << QStringList({"VTTrace:open file:" + noEvents, "VTTrace:error - trace event configuration " + noEvents + " has no \"Events\" array"}) << "";
        const QString bad = Data("trace_bad_entries.json");
        QTest::newRow("bad entries skipped") << bad << true
            << QStringList({"VTTrace:open file:" + bad,
                            "VTTrace:warning - event 1 skipped: needs a \"Name\" and a \"Value\" of 0..255",
                            "VTTrace:warning - event 2 skipped: needs a \"Name\" and a \"Value\" of 0..255",
                            "VTTrace:warning - event 3 skipped: needs a \"Name\" and a \"Value\" of 0..255",
                            "VTTrace:warning - event 4 skipped: needs a \"Name\" and a \"Value\" of 0..255",
                            "VTTrace:warning - event 5 skipped: needs a \"Name\" and a \"Value\" of 0..255",
                            "VTTrace:load event: OCTAL (0x08)", "VTTrace:load event: DECIMAL (0x21)"})
            << "8=OCTAL 33=DECIMAL";
    }
    void configuration_loading()
    {
        QFETCH(QString, path);
        QFETCH(bool, loaded);
        QFETCH(QStringList, lines);
        QFETCH(QString, events);
        // A failed load leaves the table empty, whatever was there before.
        QVERIFY(m_trace->LoadEventConfiguration(Data("trace_two.json")));
        QSignalSpy log(&TStatusLog::Instance(), &TStatusLog::EvLine);
        QCOMPARE(m_trace->LoadEventConfiguration(path), loaded);
        // A line ending in "*" only fixes the start (the parser words its own errors).
        const QStringList written = Lines(log);
        QCOMPARE(written.size(), lines.size());
        for (int i = 0; i < lines.size(); ++i) {
            if (lines.at(i).endsWith(QLatin1Char('*')))
                QVERIFY2(written.at(i).startsWith(lines.at(i).chopped(1)) && written.at(i).size() > lines.at(i).size(), qPrintable(written.at(i)));
            else
                QCOMPARE(written.at(i), lines.at(i));
        }
        QStringList table;
        const QMap<quint8, QString>& map = TTraceEventConfig::Instance().Events();
        for (auto it = map.constBegin(); it != map.constEnd(); ++it)
            table << QStringLiteral("%1=%2").arg(it.key()).arg(it.value());
        QCOMPARE(table.join(QLatin1Char(' ')), events);
    }

    void configuration_shippedSample()
    {
        QSignalSpy log(&TStatusLog::Instance(), &TStatusLog::EvLine);
        QVERIFY(m_trace->LoadEventConfiguration(QStringLiteral(TESSERA_TEST_DATA "/../../../resources/config/Velto_LR_TraceEvents.json")));
        QCOMPARE(TTraceEventConfig::Instance().Events().size(), 19);
        QCOMPARE(Lines(log).filter(QStringLiteral("load event: ")).size(), 19);
        QCOMPARE(m_trace->MessageName(0xFF), QStringLiteral("ASSERT_FAILED"));
    }

    void events_lines_data()
    {
        QTest::addColumn<quint8>("id");
        QTest::addColumn<QByteArray>("payload");
        QTest::addColumn<QString>("line");
        QTest::newRow("named, extreme parameters") << quint8(0x12) << QByteArray::fromHex("01000000FFFFFFFF")
                                                   << "RADIO_TX_DONE P1:1(0x00000001);P2:4294967295(0xFFFFFFFF)";
        QTest::newRow("no name") << quint8(0x33) << QByteArray::fromHex("EFBEADDE00000000") << "0x33 P1:3735928559(0xDEADBEEF);P2:0(0x00000000)";
        QTest::newRow("too short for parameters") << quint8(0x12) << QByteArray::fromHex("01000000FFFFFF") << "RADIO_TX_DONE";
        QTest::newRow("no payload") << quint8(0xFA) << QByteArray() << "WATCHDOG";
        QTest::newRow("longer payload") << quint8(0xFA) << QByteArray::fromHex("0A000000140000001E000000") << "WATCHDOG P1:10(0x0000000A);P2:20(0x00000014)";
    }
    void events_lines()
    {
        QFETCH(quint8, id);
        QFETCH(QByteArray, payload);
        QFETCH(QString, line);
        QVERIFY(m_trace->LoadEventConfiguration(Data("trace_two.json")));
        QSignalSpy events(m_trace.get(), &TTraceSAP::EvTrace_Event);
        QSignalSpy log(&TStatusLog::Instance(), &TStatusLog::EvLine);
        Sim().EmitRawEvent(id, payload);
        QVERIFY(events.wait(kTimeoutMs));
        const QString hex = QStringLiteral("%1").arg(id, 2, 16, QLatin1Char('0')).toUpper();
        QCOMPARE(EventText(events, 0), QStringLiteral("EvType: Trace Event|EventID: 0x%1|Trace: %2").arg(hex, line));
        QCOMPARE(Lines(log), QStringList({QStringLiteral("VTTrace:") + line}));
    }

    void events_fromTheVirtualModule()
    {
        QVERIFY(m_trace->LoadEventConfiguration(Data("trace_two.json")));
        QSignalSpy events(m_trace.get(), &TTraceSAP::EvTrace_Event);
        Sim().EmitEvent(0x12, 1, 4294967295u);
        QVERIFY(events.wait(kTimeoutMs));
        QCOMPARE(events.first().first().value<TKeyValueList>().Value("Trace"), QStringLiteral("RADIO_TX_DONE P1:1(0x00000001);P2:4294967295(0xFFFFFFFF)"));
        QCOMPARE(m_trace->MessageName(0x12), QStringLiteral("RADIO_TX_DONE"));
    }

    void requests_haveNoStatusTable()
    {
        // The service has no requests; the module says so, and there is no status text for it.
        QVERIFY(!m_trace->Request(0x01, QByteArray()));
        QCOMPARE(m_trace->StatusByte(), quint8(0x02));
        QCOMPARE(m_trace->ResultText(), QStringLiteral("Unsupported table"));
        QVERIFY(m_trace->CommandNames().isEmpty());
    }

    void everyPrefix_neverReadsPastThePayload()
    {
        QVERIFY(m_trace->LoadEventConfiguration(Data("trace_two.json")));
        const QByteArray payload = QByteArray::fromHex("01000000FFFFFFFF");
        auto decode = [&](int length, char fill, TKeyValueList& record) {
            HCIMessage message;
            memset(message.Payload, fill, sizeof message.Payload);
            memcpy(message.Payload, payload.constData(), size_t(length));
            message.Length = quint16(length);
            message.SapID = 0xA0;
            message.MsgID = 0x12;
            QSignalSpy events(m_trace.get(), &TTraceSAP::EvTrace_Event);
            return m_trace->ProcessHCIMessage(message, record) && events.size() == 1;
        };
        for (int length = 0; length <= payload.size(); ++length) {
            TKeyValueList zeros;
            TKeyValueList ones;
            QVERIFY(decode(length, '\0', zeros));
            QVERIFY(decode(length, '\xFF', ones));
            QCOMPARE(ones, zeros);
        }
    }
};

TESSERA_TEST_MAIN(TestTrace)
#include "tst_trace.moc"

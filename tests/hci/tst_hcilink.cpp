#include <QSignalSpy>
#include <QtTest>

#include "TestEnvironment.h"
#include "SimPort.h"
#include "base/THexText.h"
#include "hci/TVeltoLRHCI.h"
#include "sap/TVeltoLRSAP.h"
#include "tools/sim/TPseudoTerminal.h"
#include "tools/sim/TSimModule.h"

namespace {
/// Only for requests that are meant to go unanswered: an answer never races it.
constexpr int kShortTimeoutMs = 300;

/// Records the events the link hands to it; can refuse them.
class RecordingSAP : public TVeltoLRSAP
{
public:
    explicit RecordingSAP(quint8 sapId, bool accept = true)
        : TVeltoLRSAP(sapId, nullptr, QStringLiteral("Test"))
        , m_accept(accept)
    {
    }
    bool ProcessHCIMessage(const HCIMessage& message, TKeyValueList& record) override
    {
        msgIds << message.MsgID;
        payloads << QByteArray(reinterpret_cast<const char*>(message.Payload), message.Length);
        records << record;
        return m_accept;
    }
    QList<quint8> msgIds;
    QList<QByteArray> payloads;
    QList<TKeyValueList> records;

private:
    bool m_accept;
};

QStringList Texts(const QSignalSpy& spy)
{
    QStringList texts;
    for (const QList<QVariant>& args : spy)
        texts << args.at(1).toString();
    return texts;
}

}

class TestHciLink : public QObject
{
    Q_OBJECT

    std::unique_ptr<TSimModule> m_sim;
    QString m_port;
    std::unique_ptr<TVeltoLRHCI> m_link;

    QSignalSpy* TextSpy()
    {
        return new QSignalSpy(m_link.get(), qOverload<const QString&, const QString&>(&TVeltoLRHCI::EvShowMessage));
    }
    HCIResult Ping() { return m_link->SendRequest(0x01, 0x01, 0x02, nullptr, 0); }

private slots:
    void init()
    {
        m_sim = std::make_unique<TSimModule>();
        QVERIFY(m_sim->Open());
        m_port = NamedPort(m_sim->Wire());
        m_link = std::make_unique<TVeltoLRHCI>();
        QVERIFY(m_link->Open(m_port, QStringLiteral("115200")));
    }
    void cleanup()
    {
        TVeltoLRHCI::DisableLogging();
        m_link.reset();
        m_sim.reset();
    }

    void open_baudrateTextsAndWakeupCounts()
    {
        m_link->Close();
        QScopedPointer<QSignalSpy> texts(TextSpy());
        QVERIFY(m_link->Open(m_port, QStringLiteral("230400 bps")));
        QCOMPARE(m_link->NumWakeupChars(), 75);
        QCOMPARE(m_link->BaudrateText(), QStringLiteral("230400 bps"));
        QCOMPARE(Texts(*texts), QStringList{QStringLiteral("ComPort %1 opened with 230400 bps, 75 wakeup chars").arg(m_port)});
        QVERIFY2(!m_link->Open(m_port, QStringLiteral("115200")), "a second open needs a Close first");
        m_link->Close();
        QCOMPARE(m_link->BaudrateText(), QStringLiteral("closed : 0 bps"));
        QVERIFY(m_link->Open(m_port, QStringLiteral("12345")));
        QCOMPARE(m_link->BaudrateText(), QStringLiteral("115200 bps"));
        QCOMPARE(m_link->NumWakeupChars(), 40);
        const QList<int> rates{9600, 19200, 38400, 57600, 115200, 230400, 460800};
        const QList<int> counts{8, 11, 17, 23, 40, 75, 144};
        for (int i = 0; i < rates.size(); ++i)
            QCOMPARE(TVeltoLRHCI::WakeupCharsForBaudrate(rates[i]), counts[i]);
        QVERIFY(!m_link->SetBaudrate(QStringLiteral("1234")));
        QVERIFY(m_link->SetBaudrate(QStringLiteral("57600 bps")));
        QCOMPARE(m_link->BaudrateText(), QStringLiteral("57600 bps"));

        m_link->Close();
        TVeltoLRHCI nowhere;
        QVERIFY(!nowhere.Open(QStringLiteral("/dev/tessera-no-such-port"), QStringLiteral("115200")));
        QVERIFY2(!nowhere.Open(m_port, QStringLiteral("115200")), "a failed open keeps the port object");
        nowhere.Close();
        QVERIFY(nowhere.Open(m_port, QStringLiteral("115200")));
    }

    void open_refusesWhatIsNoSerialPort_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("reason");
        QTest::newRow("missing path") << "missing" << "No such file or directory";
        QTest::newRow("directory") << "directory" << "Is a directory";
        QTest::newRow("regular file") << "file" << "not a serial port (a regular file)";
        QTest::newRow("/dev/null") << "null" << "not a serial port (a character device that is no terminal)";
    }
    void open_refusesWhatIsNoSerialPort()
    {
        QFETCH(QString, kind);
        QFETCH(QString, reason);
        QTemporaryDir dir;
        QString path = dir.filePath(QStringLiteral("port"));
        if (kind == QLatin1String("directory"))
            QVERIFY(QDir().mkdir(path));
        if (kind == QLatin1String("file")) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("someone's notes\n");
        }
        if (kind == QLatin1String("null"))
            path = QStringLiteral("/dev/null");
        TVeltoLRHCI link;
        QVERIFY(!link.Open(path, QStringLiteral("115200")));
        QCOMPARE(link.OpenError(), reason);
        QVERIFY(!link.IsOpen());
        QCOMPARE(link.SendMessage(0x01, 0x01, nullptr, 0), HCIResult_TransmitError);
        QCOMPARE(link.FramesSent(), quint32(0));
        if (kind == QLatin1String("file")) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadOnly));
            QCOMPARE(file.readAll(), QByteArray("someone's notes\n"));
        }
        // The port that opens afterwards clears the reason.
        link.Close();
        m_link->Close();
        QVERIFY(link.Open(m_port, QStringLiteral("115200")));
        QVERIFY(link.OpenError().isEmpty());
    }

    void request_getsItsResponse()
    {
        QSignalSpy requests(m_sim.get(), &TSimModule::RequestReceived);
        QCOMPARE(Ping(), HCIResult_OK);
        QCOMPARE(m_link->Response().SapID, quint8(0x01));
        QCOMPARE(m_link->Response().MsgID, quint8(0x02));
        QCOMPARE(m_link->Response().Length, quint16(1));
        QCOMPARE(m_link->Response().Payload[0], quint8(0x00));
        QCOMPARE(requests.count(), 1);
        QCOMPARE(m_link->SendRequest(0x01, 0x03, 0x04, nullptr, 0), HCIResult_OK);
        QCOMPARE(m_link->Response().Length, quint16(10));   // status, type, address, id
    }

    void request_onlyItsOwnSapIdAndMsgIdEndTheWait()
    {
        RecordingSAP sap(0x01);
        m_link->RegisterSAP(0x01, &sap);
        m_sim->SetFault(TSimModule::FaultWrongMsgIdFirst);
        QCOMPARE(Ping(), HCIResult_OK);
        QCOMPARE(m_link->Response().MsgID, quint8(0x02));
        // The stray 0x04 was queued and reaches the service as an unsolicited message afterwards.
        QTRY_COMPARE(sap.msgIds, QList<quint8>{0x04});
        m_sim->SetFault(TSimModule::FaultNone);

        // Another service's message with the awaited MsgID comes first: it is that service's event.
        RecordingSAP other(0x10);
        m_link->RegisterSAP(0x10, &other);
        m_sim->SetResponseDelay(50);
        connect(m_sim.get(), &TSimModule::RequestReceived, this, [this] { m_sim->SendMessage(0x10, 0x02, QByteArray::fromHex("AA55")); });
        QCOMPARE(Ping(), HCIResult_OK);
        QCOMPARE(m_link->Response().SapID, quint8(0x01));
        QCOMPARE(m_link->Response().MsgID, quint8(0x02));
        QCOMPARE(QByteArray(reinterpret_cast<const char*>(m_link->Response().Payload), m_link->Response().Length), QByteArray(1, '\0'));
        QTRY_COMPARE(other.msgIds, QList<quint8>{0x02});
        QCOMPARE(other.payloads, QList<QByteArray>{QByteArray::fromHex("AA55")});
        QCOMPARE(sap.msgIds, QList<quint8>{0x04});
    }

    void request_missingResponseTimesOutAndLinkStaysUsable()
    {
        m_link->SetResponseTimeout(kShortTimeoutMs);
        m_sim->SetFault(TSimModule::FaultNoAnswer);
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(Ping(), HCIResult_NoResponse);
        QVERIFY(timer.elapsed() >= kShortTimeoutMs);
        QCOMPARE(TVeltoLRHCI::ResultText(HCIResult_NoResponse), QStringLiteral("no response"));
        m_sim->SetFault(TSimModule::FaultNone);
        QCOMPARE(Ping(), HCIResult_OK);
        QCOMPARE(TVeltoLRHCI().ResponseTimeout(), 5000);
    }

    void request_whileAnotherWaits_isRefusedAndBothGetTheirOwnAnswers()
    {
        m_sim->SetResponseDelay(100);
        HCIResult second = HCIResult_OK;
        quint32 sentBefore = 0, sentAfter = 0;
        // A second click, a timer or a discovery tick while the first request waits.
        QTimer::singleShot(10, this, [&] {
            sentBefore = m_link->FramesSent();
            second = m_link->SendRequest(0x01, 0x03, 0x04, nullptr, 0);
            sentAfter = m_link->FramesSent();
        });
        QCOMPARE(Ping(), HCIResult_OK);
        QCOMPARE(second, HCIResult_JobBusy);
        QCOMPARE(sentAfter, sentBefore);
        QCOMPARE(TVeltoLRHCI::ResultText(second), QStringLiteral("job busy -> message not sent!"));
        QCOMPARE(m_link->Response().MsgID, quint8(0x02));
        QCOMPARE(m_link->Response().Length, quint16(1));
        QCOMPARE(m_link->QueuedMessages(), 0);
        QCOMPARE(m_link->SendRequest(0x01, 0x03, 0x04, nullptr, 0), HCIResult_OK);
        QCOMPARE(m_link->Response().MsgID, quint8(0x04));
        QCOMPARE(m_link->Response().Length, quint16(10));
    }

    void request_portGoneDuringTheWait_endsTheWaitWithTheDisconnect()
    {
        constexpr int kLongTimeoutMs = 60000;
        m_link->SetResponseTimeout(kLongTimeoutMs);
        m_sim->SetFault(TSimModule::FaultNoAnswer);
        QSignalSpy lost(m_link.get(), &TVeltoLRHCI::EvPortLost);
        QTimer::singleShot(20, this, [this] { m_sim->Close(); });
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(Ping(), HCIResult_NoResponse);
        QVERIFY2(timer.elapsed() < kLongTimeoutMs, "the wait ends with the port, not with the time-out");
        QVERIFY(m_link->PortLost());
        QCOMPARE(lost.count(), 1);
        QVERIFY(!m_link->IsWaiting());
        QVERIFY(m_sim->Open());   // cleanup closes it again
    }

    void events_duringAWaitAreDispatchedAfterItInOrder()
    {
        RecordingSAP sap(0x10);
        m_link->RegisterSAP(0x10, &sap);
        m_sim->SetResponseDelay(150);
        QList<int> dispatchedDuringWait;
        connect(m_sim.get(), &TSimModule::RequestReceived, this, [this] {
            m_sim->SendMessage(0x10, 0x31, QByteArray("\x01", 1));
            m_sim->SendMessage(0x10, 0x33, QByteArray("\x02\x03", 2));
        });
        QCOMPARE(Ping(), HCIResult_OK);
        QVERIFY2(sap.msgIds.isEmpty(), "dispatch never runs while a wait is in progress");
        QCOMPARE(m_link->QueuedMessages(), 2);
        QTRY_COMPARE(sap.msgIds, (QList<quint8>{0x31, 0x33}));
        QVERIFY2(!m_link->DispatchTimerRunning(), "an empty queue leaves no timer waking the process");
        QCOMPARE(sap.payloads.at(1), QByteArray("\x02\x03", 2));
        QCOMPARE(sap.records.at(0).at(0).first, QStringLiteral("HostTime"));
        QCOMPARE(sap.records.at(0).at(1), qMakePair(QStringLiteral("Port"), m_port));
        QVERIFY(QRegularExpression(QStringLiteral("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}$")).match(sap.records.at(0).Value("HostTime")).hasMatch());
    }

    void crcError_isCountedReportedAndReachesNobody()
    {
        RecordingSAP sap(0x01);
        m_link->RegisterSAP(0x01, &sap);
        QScopedPointer<QSignalSpy> texts(TextSpy());
        m_sim->SendRaw(TSimModule::Frame(0x01, 0x20, QByteArray("abc"), true));
        QTRY_COMPARE(m_link->CrcErrors(), quint32(1));
        QCOMPARE(Texts(*texts), QStringList{QStringLiteral("CRC Error")});
        m_link->SetResponseTimeout(kShortTimeoutMs);
        m_sim->SetFault(TSimModule::FaultCorruptCrc);
        QCOMPARE(Ping(), HCIResult_NoResponse);
        QCOMPARE(m_link->CrcErrors(), quint32(2));
        QCOMPARE(m_link->QueuedMessages(), 0);
        QVERIFY(!m_link->DispatchTimerRunning());
        QVERIFY(sap.msgIds.isEmpty());
    }

    void payloadLimits()
    {
        QSignalSpy requests(m_sim.get(), &TSimModule::RequestReceived);
        QByteArray big(500, '\xC0');
        QCOMPARE(m_link->SendMessage(0x01, 0x7E, reinterpret_cast<const quint8*>(big.constData()), 500), HCIResult_OK);
        QTRY_COMPARE(requests.count(), 1);
        QCOMPARE(requests.at(0).at(2).toByteArray(), big);
        big.append('x');
        QCOMPARE(m_link->SendMessage(0x01, 0x7E, reinterpret_cast<const quint8*>(big.constData()), 501), HCIResult_PayloadLengthError);
        QCOMPARE(m_link->SendMessage(0x01, 0x7E, nullptr, 3), HCIResult_PayloadPointerError);
        QCOMPARE(m_link->FramesSent(), quint32(1));
        m_link->Close();
        QCOMPARE(m_link->SendMessage(0x01, 0x01, nullptr, 0), HCIResult_TransmitError);
    }

    void hostileLine_neverBreaksTheLink()
    {
        RecordingSAP sap(0x01);
        m_link->RegisterSAP(0x01, &sap);
        QByteArray junk;
        for (int i = 0; i < 4096; ++i)
            junk.append(char((i * 73 + 11) & 0xFF));
        m_sim->SendRaw(junk);
        m_sim->SendRaw(QByteArray("\xC0", 1) + QByteArray(20000, 'A'));   // a frame that never ends
        m_sim->SendRaw(QByteArray::fromHex("C00102DB55C0"));              // bad escape
        m_sim->SendRaw(QByteArray::fromHex("C00102C0"));                  // too short to carry a CRC
        m_sim->SetFault(TSimModule::FaultSplitWrites);
        QCOMPARE(Ping(), HCIResult_OK);
        m_sim->SetFault(TSimModule::FaultNone);
        QCOMPARE(Ping(), HCIResult_OK);
    }

    void unexpectedMessages_areReported()
    {
        QScopedPointer<QSignalSpy> texts(TextSpy());
        m_sim->SendMessage(0x07, 0x21, QByteArray::fromHex("01020A"));
        QTRY_COMPARE(Texts(*texts).size(), 2);
        QCOMPARE(Texts(*texts), (QStringList{QStringLiteral("warning - unsupported message received"),
                                             QStringLiteral("RxMsg:SapID:07;MsgID:21;Length:3;Payload:01 02 0A ")}));
        RecordingSAP refusing(0x07, false);
        m_link->RegisterSAP(0x07, &refusing);
        texts->clear();
        m_sim->SendMessage(0x07, 0xAB, QByteArray());
        QTRY_COMPARE(Texts(*texts).size(), 2);
        QCOMPARE(Texts(*texts), (QStringList{QStringLiteral("warning - unexpected or unsupported message received"),
                                             QStringLiteral("RxMsg:SapID:07;MsgID:AB;Length:0;Payload:")}));
    }

    void logRecords_txAndRx()
    {
        RecordingSAP sap(0x01);
        m_link->RegisterSAP(0x01, &sap);
        QSignalSpy logs(m_link.get(), &TVeltoLRHCI::EvLogHCIMessage);
        QCOMPARE(Ping(), HCIResult_OK);
        QCOMPARE(logs.count(), 0);
        TVeltoLRHCI::EnableLogging();
        QCOMPARE(Ping(), HCIResult_OK);
        QCOMPARE(logs.count(), 2);
        const auto tx = logs.at(0).at(0).value<TKeyValueList>();
        QStringList keys;
        for (const auto& item : tx)
            keys << item.first;
        QCOMPARE(keys, (QStringList{"EvType", "HostTime", "Port", "SLIP-Msg", "HCI-SapID", "HCI-MsgID", "HCI-PLen", "HCI-Payload", "HCI-CRC"}));
        QCOMPARE(tx.Value("EvType"), QStringLiteral("Tx Event"));
        QCOMPARE(tx.Value("Port"), m_port);
        QCOMPARE(tx.Value("SLIP-Msg"), QStringLiteral("C0 ").repeated(40) + QStringLiteral("C0 01 01 16 07 C0 "));
        QCOMPARE(tx.Value("HCI-SapID"), QStringLiteral("01 (Test)"));
        QCOMPARE(tx.Value("HCI-MsgID"), QStringLiteral("01"));
        QCOMPARE(tx.Value("HCI-PLen"), QStringLiteral("0"));
        QCOMPARE(tx.Value("HCI-Payload"), QString());
        QCOMPARE(tx.Value("HCI-CRC"), QStringLiteral("16 07"));
        const auto rx = logs.at(1).at(0).value<TKeyValueList>();
        QCOMPARE(rx.Value("EvType"), QStringLiteral("Rx Event"));
        const QByteArray wire = TSimModule::Frame(0x01, 0x02, QByteArray(1, '\0'));
        QCOMPARE(rx.Value("SLIP-Msg"), THexText::Bytes(reinterpret_cast<const quint8*>(wire.constData()), wire.size()));
        QCOMPARE(rx.Value("HCI-MsgID"), QStringLiteral("02"));
        QCOMPARE(rx.Value("HCI-PLen"), QStringLiteral("1"));
        QCOMPARE(rx.Value("HCI-Payload"), QStringLiteral("00 "));
    }

    void vanishedPort_isReportedOnceAndNeverHangs()
    {
        QScopedPointer<QSignalSpy> texts(TextSpy());
        m_sim->Close();
        QTRY_VERIFY(!m_link->IsOpen());
        // A closed link refuses at once: it never waits for an answer that cannot come.
        const quint32 sent = m_link->FramesSent();
        QCOMPARE(Ping(), HCIResult_TransmitError);
        QCOMPARE(m_link->FramesSent(), sent);
        QCOMPARE(Texts(*texts).filter(QStringLiteral("lost")).size(), 1);
        QVERIFY(m_link->Close());
    }
};

TESSERA_TEST_MAIN(TestHciLink)
#include "tst_hcilink.moc"

#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QtTest>

#include <memory>

#include "TestEnvironment.h"
#include "SimPort.h"
#include "firmware/TSTM32Bootloader.h"
#include "tools/sim/TSimStm32Port.h"

// TSTM32Bootloader against the emulated system bootloader over a real pseudo-terminal.
namespace {
constexpr int kPatientTimeoutMs = 2000;   // for commands that should succeed
constexpr int kShortTimeoutMs = 100;      // for commands that are meant to fail
constexpr int kWaitMs = 10000;
constexpr quint32 kFlashStart = 0x08000000;
using Fault = TSimStm32Bootloader::Fault;

QStringList g_traces;
void CaptureTrace(QtMsgType, const QMessageLogContext&, const QString& text)
{
    g_traces << text;
}

QByteArray RandomBytes(int size, quint32 seed)
{
    QRandomGenerator random(seed);
    QByteArray bytes(size, 0);
    for (char& byte : bytes)
        byte = char(random.bounded(256));
    return bytes;
}

/// "first-last" per erase request, comma-separated.
QString Chunks(const QList<TSimStm32Bootloader::EraseRequest>& requests)
{
    QStringList chunks;
    for (const auto& request : requests)
        chunks << (request.massErase ? QStringLiteral("mass")
                                     : QStringLiteral("%1-%2").arg(request.pages.first()).arg(request.pages.last()));
    return chunks.join(QLatin1Char(','));
}
}

class TestStm32Bootloader : public QObject
{
    Q_OBJECT

    std::unique_ptr<TSimStm32Port> m_sim;
    QString m_port;
    std::unique_ptr<TSTM32Bootloader> m_boot;

    TSimStm32Bootloader& Sim() { return m_sim->Bootloader(); }

    bool Connect(quint16 productId, bool extended)
    {
        Sim().SetDevice(productId);
        Sim().SetExtendedErase(extended);
        if (!m_boot->Open(m_port))
            return false;
        QSignalSpy initialized(m_boot.get(), &TBootloaderIF::DeviceInitialized);
        m_boot->Init();
        const bool ok = initialized.wait(kWaitMs);
        Sim().ClearLog();
        return ok;
    }

private slots:
    void init()
    {
        g_traces.clear();
        m_sim = std::make_unique<TSimStm32Port>();
        QVERIFY(m_sim->Open());
        m_port = NamedPort(m_sim->Wire());
        m_boot = std::make_unique<TSTM32Bootloader>();
        m_boot->SetCommandTimeout(kPatientTimeoutMs);
    }
    void cleanup()
    {
        qInstallMessageHandler(nullptr);
        m_boot.reset();
        m_sim.reset();
    }

    void init_identifiesDevice_data()
    {
        QTest::addColumn<int>("productId");
        QTest::addColumn<bool>("extended");
        QTest::addColumn<int>("splitMs");
        QTest::addColumn<bool>("paced");
        QTest::addColumn<int>("fault");
        QTest::addColumn<quint32>("flashSize");
        QTest::addColumn<int>("pageSize");
        QTest::newRow("0x447 with extended erase") << 0x447 << true << 0 << false << int(Fault::FaultNone) << 0x30000u << 128;
        QTest::newRow("0x416 without extended erase") << 0x416 << false << 0 << false << int(Fault::FaultNone) << 0x20000u << 256;
        QTest::newRow("answers in two pieces") << 0x416 << true << 50 << false << int(Fault::FaultNone) << 0x20000u << 256;
        QTest::newRow("paced at 115200 8E1") << 0x447 << false << 0 << true << int(Fault::FaultNone) << 0x30000u << 128;
        QTest::newRow("each command NACKed once") << 0x447 << true << 0 << false << int(Fault::FaultNackFirstTry) << 0x30000u << 128;
        QTest::newRow("unknown product id") << 0x999 << true << 0 << false << int(Fault::FaultNone) << 0u << 0;
    }
    void init_identifiesDevice()
    {
        QFETCH(int, productId);
        QFETCH(bool, extended);
        QFETCH(int, splitMs);
        QFETCH(bool, paced);
        QFETCH(int, fault);
        QFETCH(quint32, flashSize);
        QFETCH(int, pageSize);
        Sim().SetDevice(quint16(productId));
        Sim().SetExtendedErase(extended);
        Sim().SetFault(Fault(fault));
        m_sim->SetSplitAnswers(splitMs);
        m_sim->SetPacing(paced);
        if (fault != Fault::FaultNone)
            m_boot->SetCommandTimeout(kShortTimeoutMs * 3);
        quint32 size = 1;
        QVERIFY(!m_boot->GetFlashSize(size));
        QCOMPARE(m_boot->GetPageSize(), quint16(0));

        QVERIFY(m_boot->Open(m_port));
        QVERIFY(m_boot->IsOpen());
        QSignalSpy initialized(m_boot.get(), &TBootloaderIF::DeviceInitialized);
        QSignalSpy timeouts(m_boot.get(), &TBootloaderIF::Timeout);
        m_boot->Init();
        QVERIFY(initialized.wait(kWaitMs));
        QVERIFY(m_boot->GetFlashSize(size));
        QCOMPARE(size, flashSize);
        QCOMPARE(int(m_boot->GetPageSize()), pageSize);
        QCOMPARE(m_boot->HasExtendedErase(), extended);
        QCOMPARE(Sim().AcceptedCommands(), (QList<quint8>{0x7F, 0x00, 0x02}));
        QCOMPARE(timeouts.count(), 0);
    }

    void writeAndRead_roundTrip_data()
    {
        QTest::addColumn<int>("productId");
        QTest::addColumn<bool>("paced");
        QTest::addColumn<int>("fault");
        QTest::newRow("0x447, 128-byte pages") << 0x447 << false << int(Fault::FaultNone);
        QTest::newRow("0x416, 256-byte pages, paced") << 0x416 << true << int(Fault::FaultNone);
        QTest::newRow("0x416, each command NACKed once") << 0x416 << false << int(Fault::FaultNackFirstTry);
    }
    void writeAndRead_roundTrip()
    {
        QFETCH(int, productId);
        QFETCH(bool, paced);
        QFETCH(int, fault);
        m_sim->SetPacing(paced);
        QVERIFY(Connect(quint16(productId), true));
        Sim().SetFault(Fault(fault));
        if (fault != Fault::FaultNone)
            m_boot->SetCommandTimeout(kShortTimeoutMs * 3);
        const int pageSize = m_boot->GetPageSize();
        QSignalSpy written(m_boot.get(), &TBootloaderIF::PageWritten);
        QSignalSpy read(m_boot.get(), &TBootloaderIF::PageRead);
        QSignalSpy timeouts(m_boot.get(), &TBootloaderIF::Timeout);
        const QList<int> pages{0, 1, 7};
        for (int page : pages) {
            const QByteArray data = RandomBytes(pageSize, quint32(page + 1));
            m_boot->WritePage(kFlashStart + quint32(page * pageSize), reinterpret_cast<const quint8*>(data.constData()));
            QVERIFY(written.wait(kWaitMs));
            QCOMPARE(Sim().Flash().mid(page * pageSize, pageSize).toHex(), data.toHex());
        }
        QCOMPARE(Sim().Flash().mid(2 * pageSize, pageSize), QByteArray(pageSize, char(0xFF)));
        for (int page : pages) {
            const quint32 address = kFlashStart + quint32(page * pageSize);
            m_boot->ReadPage(address);
            QVERIFY(read.wait(kWaitMs));
            QCOMPARE(read.last().at(0).toUInt(), address);
            QCOMPARE(read.last().at(1).toByteArray().toHex(), RandomBytes(pageSize, quint32(page + 1)).toHex());
        }
        QCOMPARE(written.count(), 3);
        QCOMPARE(timeouts.count(), 0);
    }

    void extendedErase_pageLists_data()
    {
        QTest::addColumn<int>("firstPage");
        QTest::addColumn<int>("pageCount");
        QTest::addColumn<QString>("chunks");
        QTest::addColumn<QByteArray>("wire");   // empty: not checked
        QTest::newRow("250 pages: chunks of 100, 100, 49 overlapping at 100 and 200")
            << 0 << 250 << "0-100,100-200,200-249" << QByteArray();
        QTest::newRow("5 pages from 10") << 10 << 5 << "10-14" << QByteArray::fromHex("44bb 0004 000a000b000c000d000e 0a");
        QTest::newRow("101 pages fit one chunk") << 0 << 101 << "0-100" << QByteArray();
        QTest::newRow("102 pages") << 3 << 102 << "3-103,103-104" << QByteArray();
        QTest::newRow("an offset above 255 keeps its low byte") << 300 << 3 << "44-46" << QByteArray();
    }
    void extendedErase_pageLists()
    {
        QFETCH(int, firstPage);
        QFETCH(int, pageCount);
        QFETCH(QString, chunks);
        QFETCH(QByteArray, wire);
        QVERIFY(Connect(0x416, true));
        const int pageSize = 256;
        Sim().LoadFlash(QByteArray(Sim().Flash().size(), char(0x00)));
        QSignalSpy erased(m_boot.get(), &TBootloaderIF::DeviceErased);
        m_boot->Erase(kFlashStart + quint32(firstPage * pageSize), kFlashStart + quint32((firstPage + pageCount) * pageSize));
        QVERIFY(erased.wait(kWaitMs));
        QCOMPARE(Chunks(Sim().EraseRequests()), chunks);
        if (!wire.isEmpty())
            QCOMPARE(Sim().Received().toHex(' '), wire.toHex(' '));
        // The flash matches the chunks: erased inside them, untouched around them.
        QByteArray expected(Sim().Flash().size(), char(0x00));
        for (const QString& chunk : chunks.split(QLatin1Char(','))) {
            const int first = chunk.section(QLatin1Char('-'), 0, 0).toInt();
            const int last = chunk.section(QLatin1Char('-'), 1, 1).toInt();
            expected.replace(first * pageSize, (last - first + 1) * pageSize, QByteArray((last - first + 1) * pageSize, char(0xFF)));
        }
        QVERIFY(Sim().Flash() == expected);
    }

    void standardErase_sendsPageListFromOffsetPlusOne_data()
    {
        QTest::addColumn<int>("firstPage");
        QTest::addColumn<int>("pageCount");
        QTest::addColumn<QByteArray>("wire");
        QTest::newRow("5 pages from 2") << 2 << 5 << QByteArray::fromHex("43bc 04 03040506 04");
        QTest::newRow("1 page from 0") << 0 << 1 << QByteArray::fromHex("43bc 00 00");
    }
    void standardErase_sendsPageListFromOffsetPlusOne()
    {
        QFETCH(int, firstPage);
        QFETCH(int, pageCount);
        QFETCH(QByteArray, wire);
        QVERIFY(Connect(0x416, false));
        m_boot->SetCommandTimeout(kShortTimeoutMs);
        QSignalSpy erased(m_boot.get(), &TBootloaderIF::DeviceErased);
        QSignalSpy timeouts(m_boot.get(), &TBootloaderIF::Timeout);
        m_boot->Erase(kFlashStart + quint32(firstPage * 256), kFlashStart + quint32((firstPage + pageCount) * 256));
        QTRY_VERIFY_WITH_TIMEOUT(Sim().Received().size() >= wire.size(), kWaitMs);
        QCOMPARE(Sim().Received().left(wire.size()).toHex(' '), wire.toHex(' '));
        // The list is one page byte short of what it announces: the device keeps waiting, the
        // host retries and gives up.
        QVERIFY(timeouts.wait(kWaitMs));
        QCOMPARE(erased.count(), 0);
        QVERIFY(Sim().EraseRequests().isEmpty());
    }

    void erase_withNothingToSend_endsInTimeout_data()
    {
        QTest::addColumn<bool>("extended");
        QTest::addColumn<int>("pageCount");
        QTest::newRow("0x43, end == start") << false << 0;
        QTest::newRow("0x44, a single page") << true << 1;
    }
    void erase_withNothingToSend_endsInTimeout()
    {
        QFETCH(bool, extended);
        QFETCH(int, pageCount);
        QVERIFY(Connect(0x416, extended));
        m_boot->SetCommandTimeout(kShortTimeoutMs);
        QSignalSpy erased(m_boot.get(), &TBootloaderIF::DeviceErased);
        QSignalSpy timeouts(m_boot.get(), &TBootloaderIF::Timeout);
        m_boot->Erase(kFlashStart + 0x400, kFlashStart + 0x400 + quint32(pageCount * 256));
        QVERIFY(timeouts.wait(kWaitMs));
        QCOMPARE(Sim().Received(), QByteArray());
        QCOMPARE(erased.count(), 0);
    }

    void readU32_data()
    {
        QTest::addColumn<QByteArray>("memory");
        QTest::addColumn<quint32>("value");
        QTest::newRow("little-endian word") << QByteArray::fromHex("78563412") << 0x12345678u;
        QTest::newRow("last byte is not ACK-like") << QByteArray::fromHex("01020304") << 0x04030201u;
        QTest::newRow("last byte equals ACK") << QByteArray::fromHex("00000079") << 0x79000000u;
    }
    void readU32()
    {
        QFETCH(QByteArray, memory);
        QFETCH(quint32, value);
        QVERIFY(Connect(0x447, true));
        Sim().LoadFlash(memory, 0x10);
        QSignalSpy read(m_boot.get(), &TBootloaderIF::U32Read);
        m_boot->ReadU32(kFlashStart + 0x10);
        QVERIFY(read.wait(kWaitMs));
        QCOMPARE(read.last().at(0).toUInt(), kFlashStart + 0x10);
        QCOMPARE(read.last().at(1).toUInt(), value);
        QCOMPARE(Sim().Received().toHex(' '), QByteArray::fromHex("11ee 08000010 18 03fc").toHex(' '));
    }

    void goToAddress_data()
    {
        QTest::addColumn<quint32>("address");
        QTest::addColumn<bool>("gone");
        QTest::newRow("flash start") << kFlashStart << true;
        QTest::newRow("RAM") << 0x20002000u << true;
        QTest::newRow("unmapped address") << 0x00000000u << false;
    }
    void goToAddress()
    {
        QFETCH(quint32, address);
        QFETCH(bool, gone);
        QVERIFY(Connect(0x447, true));
        m_boot->SetCommandTimeout(kShortTimeoutMs);
        QSignalSpy goneSpy(m_boot.get(), &TBootloaderIF::Gone);
        QSignalSpy timeouts(m_boot.get(), &TBootloaderIF::Timeout);
        QSignalSpy started(&Sim(), &TSimStm32Bootloader::EvApplicationStarted);
        m_boot->GoToAddress(address);
        QVERIFY((gone ? goneSpy : timeouts).wait(kWaitMs));
        QCOMPARE(goneSpy.count(), gone ? 1 : 0);
        QCOMPARE(started.count(), gone ? 1 : 0);
        if (gone)
            QCOMPARE(started.first().at(0).toUInt(), address);
    }

    void failures_endInTimeoutAfterSixSends_data()
    {
        QTest::addColumn<int>("fault");
        QTest::newRow("NACK everything") << int(Fault::FaultNackAll);
        QTest::newRow("no answer") << int(Fault::FaultNoAnswer);
    }
    void failures_endInTimeoutAfterSixSends()
    {
        QFETCH(int, fault);
        Sim().SetFault(Fault(fault));
        m_boot->SetCommandTimeout(kShortTimeoutMs);
        QVERIFY(m_boot->Open(m_port));
        QSignalSpy timeouts(m_boot.get(), &TBootloaderIF::Timeout);
        qInstallMessageHandler(CaptureTrace);
        m_boot->Init();
        QVERIFY(timeouts.wait(kWaitMs));
        QTest::qWait(kShortTimeoutMs * 3);   // nothing follows the Timeout()
        qInstallMessageHandler(nullptr);
        QCOMPARE(timeouts.count(), 1);
        QCOMPARE(Sim().Received(), QByteArray(6, char(0x7F)));
        const QRegularExpression sendTrace(QStringLiteral("^send data 7f \\d\\d\\.\\d\\d\\.\\d{4}_\\d\\d:\\d\\d:\\d\\d:\\d{3}$"));
        QCOMPARE(g_traces.filter(sendTrace).size(), 6);
        QCOMPARE(g_traces.filter(QRegularExpression(QStringLiteral("^on timeout "))).size(), 6);
        QCOMPARE(g_traces.size() - 12, fault == Fault::FaultNackAll ? 6 : 0);   // "invalid frame received" per NACK
    }

    void unprotect_leavesDeviceToBeInitialisedAgain()
    {
        QVERIFY(Connect(0x447, true));
        QSignalSpy changed(m_boot.get(), &TBootloaderIF::DeviceWriteProtectionChange);
        m_boot->Unprotect();
        QVERIFY(changed.wait(kWaitMs));
        QCOMPARE(changed.first().at(0).toBool(), false);
        QVERIFY(!Sim().IsInitialized());
        QSignalSpy initialized(m_boot.get(), &TBootloaderIF::DeviceInitialized);
        m_boot->Init();
        QVERIFY(initialized.wait(kWaitMs));
    }

    void port_failures()
    {
        QVERIFY(!m_boot->Open(QStringLiteral("/dev/tessera-no-such-port")));
        QVERIFY(m_boot->ErrorText().startsWith(QStringLiteral("error - couldn't open /dev/tessera-no-such-port")));
        QVERIFY(!m_boot->IsOpen());

        // Close stops the running command: no time-out afterwards.
        QVERIFY(Connect(0x447, true));
        m_boot->SetCommandTimeout(kShortTimeoutMs);
        QSignalSpy timeouts(m_boot.get(), &TBootloaderIF::Timeout);
        Sim().SetFault(Fault::FaultNoAnswer);
        m_boot->ReadPage(kFlashStart);
        m_boot->Close();
        QVERIFY(!m_boot->IsOpen());
        QTest::qWait(kShortTimeoutMs * 3);
        QCOMPARE(timeouts.count(), 0);

        // The line vanishing mid-command ends in Timeout(), once.
        QVERIFY(m_boot->Open(m_port));
        m_boot->ReadPage(kFlashStart);
        m_sim->Close();
        QVERIFY(timeouts.wait(kWaitMs));
        QTest::qWait(kShortTimeoutMs * 3);
        QCOMPARE(timeouts.count(), 1);
    }
};

TESSERA_TEST_MAIN(TestStm32Bootloader)
#include "tst_stm32bootloader.moc"

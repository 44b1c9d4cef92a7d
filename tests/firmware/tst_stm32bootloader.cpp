#include <QRegularExpression>
#include <QSignalSpy>
#include <QtTest>

#include <memory>

#include "HexImage.h"
#include "TestEnvironment.h"
#include "firmware/TSTM32Bootloader.h"
#include "tools/sim/TSimDeviceMgmt.h"
#include "tools/sim/TSimModule.h"
#include "tools/sim/TSimStm32Port.h"

// TSTM32Bootloader against the emulated system bootloader over a real pseudo-terminal.
namespace {
constexpr int kPatientTimeoutMs = 2000;   // for commands that should succeed
constexpr int kShortTimeoutMs = 100;      // for commands that are meant to fail
constexpr int kWaitMs = 10000;
constexpr quint32 kFlashStart = 0x08000000;
using Fault = TSimStm32Bootloader::Fault;
using HexImage::RandomBytes;

QStringList g_traces;
void CaptureTrace(QtMsgType, const QMessageLogContext&, const QString& text)
{
    g_traces << text;
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
    std::unique_ptr<TSTM32Bootloader> m_boot;

    TSimStm32Bootloader& Sim() { return m_sim->Bootloader(); }

    bool Connect(quint16 productId, bool extended)
    {
        Sim().SetDevice(productId);
        Sim().SetExtendedErase(extended);
        if (!m_boot->Open(m_sim->PortName()))
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

        QVERIFY(m_boot->Open(m_sim->PortName()));
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
        QTest::newRow("0x447: a 256-byte block spans two 128-byte pages") << 0x447 << false << int(Fault::FaultNone);
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
        constexpr int kBlock = 256;
        QSignalSpy written(m_boot.get(), &TBootloaderIF::PageWritten);
        QSignalSpy read(m_boot.get(), &TBootloaderIF::PageRead);
        QSignalSpy timeouts(m_boot.get(), &TBootloaderIF::Timeout);
        const QList<int> blocks{0, 1, 7};
        for (int block : blocks) {
            const QByteArray data = RandomBytes(kBlock, quint32(block + 1));
            m_boot->WritePage(kFlashStart + quint32(block * kBlock), data);
            QVERIFY(written.wait(kWaitMs));
            QCOMPARE(Sim().Flash().mid(block * kBlock, kBlock).toHex(), data.toHex());
        }
        QCOMPARE(Sim().Flash().mid(2 * kBlock, kBlock), QByteArray(kBlock, char(0xFF)));
        for (int block : blocks) {
            const quint32 address = kFlashStart + quint32(block * kBlock);
            m_boot->ReadPage(address, kBlock);
            QVERIFY(read.wait(kWaitMs));
            QCOMPARE(read.last().at(0).toUInt(), address);
            QCOMPARE(read.last().at(1).toByteArray().toHex(), RandomBytes(kBlock, quint32(block + 1)).toHex());
        }
        // A short last block: the count byte says how many.
        m_boot->WritePage(kFlashStart + 0x1000, QByteArray::fromHex("0102030405060708"));
        QVERIFY(written.wait(kWaitMs));
        m_boot->ReadPage(kFlashStart + 0x1000, 8);
        QVERIFY(read.wait(kWaitMs));
        QCOMPARE(read.last().at(1).toByteArray(), QByteArray::fromHex("0102030405060708"));
        QCOMPARE(written.count(), 4);
        QCOMPARE(timeouts.count(), 0);
    }

    void erase_pageLists_data()
    {
        QTest::addColumn<bool>("extended");
        QTest::addColumn<int>("firstPage");
        QTest::addColumn<int>("pageCount");   // 0: erase all
        QTest::addColumn<QString>("chunks");
        QTest::addColumn<QByteArray>("wire");   // empty: not checked
        QTest::newRow("0x44, 5 pages from 10") << true << 10 << 5 << "10-14" << QByteArray::fromHex("44bb 0004 000a000b000c000d000e 0a");
        QTest::newRow("0x44, one page") << true << 7 << 1 << "7-7" << QByteArray::fromHex("44bb 0000 0007 07");
        QTest::newRow("0x44, from page 300: page numbers are 16-bit") << true << 300 << 3 << "300-302"
                                                                   << QByteArray::fromHex("44bb 0002 012c012d012e 2c");
        QTest::newRow("0x44, 250 pages in one group") << true << 0 << 250 << "0-249" << QByteArray();
        QTest::newRow("0x44, 300 pages in groups of 255") << true << 100 << 300 << "100-354,355-399" << QByteArray();
        QTest::newRow("0x44, erase all") << true << 0 << 0 << "mass" << QByteArray::fromHex("44bb ffff00");
        QTest::newRow("0x43, 5 pages from 2: checksum over count and pages") << false << 2 << 5 << "2-6"
                                                                            << QByteArray::fromHex("43bc 04 0203040506 02");
        QTest::newRow("0x43, one page") << false << 7 << 1 << "7-7" << QByteArray::fromHex("43bc 00 07 07");
        QTest::newRow("0x43, 256 pages: 255 and 1, never the count 0xFF") << false << 0 << 256 << "0-254,255-255" << QByteArray();
        QTest::newRow("0x43, erase all") << false << 0 << 0 << "mass" << QByteArray::fromHex("43bc ff00");
    }
    void erase_pageLists()
    {
        QFETCH(bool, extended);
        QFETCH(int, firstPage);
        QFETCH(int, pageCount);
        QFETCH(QString, chunks);
        QFETCH(QByteArray, wire);
        QVERIFY(Connect(0x416, extended));
        const int pageSize = 256;
        Sim().LoadFlash(QByteArray(Sim().Flash().size(), char(0x00)));
        QSignalSpy erased(m_boot.get(), &TBootloaderIF::DeviceErased);
        if (pageCount == 0)
            m_boot->EraseAll();
        else
            QVERIFY(m_boot->Erase(kFlashStart + quint32(firstPage * pageSize), kFlashStart + quint32((firstPage + pageCount) * pageSize) - 1));
        QVERIFY(erased.wait(kWaitMs));
        QCOMPARE(Chunks(Sim().EraseRequests()), chunks);
        if (!wire.isEmpty())
            QCOMPARE(Sim().Received().toHex(' '), wire.toHex(' '));
        // Erased exactly the pages asked for, untouched around them.
        QByteArray expected(Sim().Flash().size(), char(0x00));
        if (pageCount == 0)
            expected.fill(char(0xFF));
        else
            expected.replace(firstPage * pageSize, pageCount * pageSize, QByteArray(pageCount * pageSize, char(0xFF)));
        QVERIFY(Sim().Flash() == expected);
    }

    void erase_refusedWhenThePagesCannotBeNamed_data()
    {
        QTest::addColumn<bool>("extended");
        QTest::addColumn<quint32>("start");
        QTest::addColumn<quint32>("end");
        QTest::newRow("0x43, page 256") << false << kFlashStart + 256 * 256 << kFlashStart + 256 * 256;
        QTest::newRow("below the flash") << true << kFlashStart - 1 << kFlashStart + 10;
        QTest::newRow("past the flash end") << true << kFlashStart << kFlashStart + 0x20000;
        QTest::newRow("end before start") << true << kFlashStart + 0x200 << kFlashStart + 0x1FF;
    }
    void erase_refusedWhenThePagesCannotBeNamed()
    {
        QFETCH(bool, extended);
        QFETCH(quint32, start);
        QFETCH(quint32, end);
        QVERIFY(Connect(0x416, extended));
        QVERIFY(!m_boot->Erase(start, end));
        QCOMPARE(Sim().Received(), QByteArray());
        QVERIFY(!m_boot->IsWaiting());
    }

    void init_ofABootloaderInitialisedBefore()
    {
        // An earlier run left the bootloader between two commands: the first 0x7F goes unanswered,
        // the second completes a pair that it refuses, and that NACK says it listens.
        QVERIFY(Connect(0x447, true));
        m_boot->Close();
        m_boot->SetCommandTimeout(kShortTimeoutMs);
        QVERIFY(m_boot->Open(m_sim->PortName()));
        QSignalSpy initialized(m_boot.get(), &TBootloaderIF::DeviceInitialized);
        m_boot->Init();
        QVERIFY(initialized.wait(kWaitMs));
        QCOMPARE(Sim().Received(), QByteArray::fromHex("7f 7f 00ff 02fd"));
        QCOMPARE(Sim().AcceptedCommands(), (QList<quint8>{0x00, 0x02}));
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

    void goAnswer_sharingAReadWithTheApplication()
    {
        // The application starts as the ACK leaves: its power-up frame follows in the same burst.
        TSimModule module;
        QVERIFY(module.Open());
        module.EnterBootloader();
        TSTM32Bootloader boot;
        QVERIFY(boot.Open(module.PortName()));
        QSignalSpy initialized(&boot, &TBootloaderIF::DeviceInitialized);
        boot.Init();
        QVERIFY(initialized.wait(kWaitMs));
        QSignalSpy gone(&boot, &TBootloaderIF::Gone);
        QSignalSpy timeouts(&boot, &TBootloaderIF::Timeout);
        boot.GoToAddress(kFlashStart);
        QVERIFY(gone.wait(kWaitMs));
        const auto* deviceMgmt = static_cast<TSimDeviceMgmt*>(module.Service(TSimDeviceMgmt::kSapId));
        const QByteArray powerUp = TSimModule::Frame(TSimDeviceMgmt::kSapId, TSimDeviceMgmt::kPowerUpEvent, deviceMgmt->FirmwareInfo());
        QByteArray trailing;
        QTRY_COMPARE((trailing += boot.TakeTrailingBytes()).toHex(' '), powerUp.toHex(' '));
        QCOMPARE(module.Bootloader().AcceptedCommands(), (QList<quint8>{0x7F, 0x00, 0x02, 0x21}));
        QVERIFY(!module.InBootloader());
        QCOMPARE(gone.count(), 1);
        QCOMPARE(timeouts.count(), 0);
        QVERIFY(!boot.IsWaiting());
    }

    void failures_endInTimeoutAfterSixSends_data()
    {
        QTest::addColumn<int>("fault");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("lastFrame");
        // A NACK to 0x7F means "initialised before": the next command is the one refused six times.
        QTest::newRow("NACK everything") << int(Fault::FaultNackAll) << QByteArray::fromHex("7f 00ff 00ff 00ff 00ff 00ff 00ff") << "00 ff";
        QTest::newRow("no answer") << int(Fault::FaultNoAnswer) << QByteArray(6, char(0x7F)) << "7f";
    }
    void failures_endInTimeoutAfterSixSends()
    {
        QFETCH(int, fault);
        QFETCH(QByteArray, bytes);
        QFETCH(QString, lastFrame);
        Sim().SetFault(Fault(fault));
        m_boot->SetCommandTimeout(kShortTimeoutMs);
        QVERIFY(m_boot->Open(m_sim->PortName()));
        QSignalSpy timeouts(m_boot.get(), &TBootloaderIF::Timeout);
        qInstallMessageHandler(CaptureTrace);
        m_boot->Init();
        QVERIFY(timeouts.wait(kWaitMs));
        QTest::qWait(kShortTimeoutMs * 3);   // nothing follows the Timeout()
        qInstallMessageHandler(nullptr);
        QCOMPARE(timeouts.count(), 1);
        QCOMPARE(Sim().Received(), bytes);
        const QRegularExpression sendTrace(QStringLiteral("^send data %1 \\d\\d\\.\\d\\d\\.\\d{4}_\\d\\d:\\d\\d:\\d\\d:\\d{3}$").arg(lastFrame));
        QCOMPARE(g_traces.filter(sendTrace).size(), 6);
        QCOMPARE(g_traces.filter(QRegularExpression(QStringLiteral("^on timeout "))).size(), 6);
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
        m_boot->ReadPage(kFlashStart, 256);
        m_boot->Close();
        QVERIFY(!m_boot->IsOpen());
        QTest::qWait(kShortTimeoutMs * 3);
        QCOMPARE(timeouts.count(), 0);

        // The line vanishing mid-command is said at once, with its own text, and never as a time-out:
        // the command's time-out is far longer than the wait here.
        m_boot->SetCommandTimeout(60000);
        QVERIFY(m_boot->Open(m_sim->PortName()));
        QSignalSpy lost(m_boot.get(), &TBootloaderIF::Lost);
        m_boot->ReadPage(kFlashStart, 256);
        const QString port = m_sim->PortName();
        m_sim->Close();
        QVERIFY(lost.wait(kWaitMs));
        QVERIFY2(lost.first().at(0).toString().startsWith(QStringLiteral("error - port %1 vanished: ").arg(port)), qPrintable(lost.first().at(0).toString()));
        QVERIFY(!m_boot->IsOpen());
        QVERIFY(!m_boot->IsWaiting());
        QCOMPARE(timeouts.count(), 0);
        QCOMPARE(lost.count(), 1);
    }
};

TESSERA_TEST_MAIN(TestStm32Bootloader)
#include "tst_stm32bootloader.moc"

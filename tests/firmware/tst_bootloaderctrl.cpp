#include <QSignalSpy>
#include <QtTest>

#include "HexImage.h"
#include "SimPort.h"
#include "TestEnvironment.h"
#include "firmware/TBootloaderCtrl.h"
#include "firmware/TSTM32Bootloader.h"
#include "tools/sim/TSimModule.h"
#include "tools/sim/TSimStm32Bootloader.h"
#include "tools/sim/TSimStm32Port.h"

// The whole update sequence over pseudo-terminals, against the virtual module (with its HCI) or the
// bare emulated part.
namespace {
constexpr quint32 kFlash = 0x08000000;
constexpr int kRunMs = 60000;

using HexImage::Firmware;
using HexImage::RandomBytes;

QString WriteFile(QTemporaryDir& dir, const QString& name, const QByteArray& text)
{
    return HexImage::Write(dir.filePath(name), text);
}

/// "first-last" per erase request, comma-separated; "mass" for an erase of everything.
QString Chunks(const QList<TSimStm32Bootloader::EraseRequest>& requests)
{
    QStringList chunks;
    for (const auto& request : requests)
        chunks << (request.massErase ? QStringLiteral("mass") : QStringLiteral("%1-%2").arg(request.pages.first()).arg(request.pages.last()));
    return chunks.join(QLatin1Char(','));
}

struct Run {
    TBootloaderCtrl ctrl;
    QSignalSpy device{&ctrl, &TBootloaderCtrl::onDeviceStatus};
    QSignalSpy firmware{&ctrl, &TBootloaderCtrl::onFirmwareStatus};
    QSignalSpy update{&ctrl, &TBootloaderCtrl::onUpdateStatus};
    QSignalSpy started{&ctrl, &TBootloaderCtrl::onApplicationStarted};
    QSignalSpy steps{&ctrl, &TBootloaderCtrl::EvStep};
    QSignalSpy messages{&ctrl, &TBootloaderCtrl::EvMessage};
    QSignalSpy finished{&ctrl, &TBootloaderCtrl::EvFinished};
    QSignalSpy timeouts{ctrl.Bootloader(), &TBootloaderIF::Timeout};

    bool Go(const TBootloaderCtrl::Request& request)
    {
        finished.clear();
        ctrl.Run(request);
        return finished.wait(kRunMs);
    }
    int Status() const { return finished.isEmpty() ? -1 : finished.last().at(0).value<TBootloaderCtrl::StatusCode>(); }
    QString Text() const { return finished.isEmpty() ? QStringLiteral("<not finished>") : finished.last().at(1).toString(); }
    static int Code(const QSignalSpy& spy) { return spy.isEmpty() ? -1 : spy.last().at(0).value<TBootloaderCtrl::StatusCode>(); }
    QList<int> Steps() const
    {
        QList<int> list;
        for (const QList<QVariant>& step : steps)
            list << step.at(0).value<TBootloaderCtrl::Step>();
        return list;
    }
    void SetCommandTimeout(int ms) { static_cast<TSTM32Bootloader*>(ctrl.Bootloader())->SetCommandTimeout(ms); }
};

TBootloaderCtrl::Request Request(const QString& port, const QString& image, quint32 flags = TBootloaderCtrl::OptVerify)
{
    TBootloaderCtrl::Request request;
    request.port = port;
    request.imagePath = image;
    request.flags = flags;
    request.confirmIdentity = false;
    return request;
}

/// As the studio updates a module it found: into the bootloader through the HCI, the identity read at the end.
TBootloaderCtrl::Request HciRequest(const QString& port, const QString& image)
{
    TBootloaderCtrl::Request request = Request(port, image);
    request.viaHci = true;
    request.confirmIdentity = true;
    return request;
}
}

class TestBootloaderCtrl : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

private slots:
    void update_overProgrammedFlash_data()
    {
        QTest::addColumn<int>("productId");
        QTest::addColumn<bool>("extended");
        QTest::addColumn<uint>("bootBytes");   // a boot loader of the module's own below the application
        QTest::addColumn<uint>("oldBytes");    // the old application after it
        QTest::addColumn<uint>("offset");      // where the new image starts in the flash
        QTest::addColumn<int>("size");
        QTest::addColumn<bool>("eraseAll");
        QTest::addColumn<QString>("chunks");
        QTest::newRow("boot loader below, image smaller than the old one") << 0x447 << true << 0x2000u << 0x8000u << 0x2000u << 0x3025 << false << "64-160";
        QTest::newRow("one-page image") << 0x447 << true << 0x2000u << 0x8000u << 0x2000u << 100 << false << "64-64";
        QTest::newRow("across one page boundary") << 0x447 << true << 0x2000u << 0x8000u << 0x2040u << 0x80 << false << "64-65";
        QTest::newRow("last byte at the start of a page") << 0x447 << true << 0x2000u << 0x8000u << 0x2000u << 2 * 128 + 1 << false << "64-66";
        QTest::newRow("image starting above page 255") << 0x416 << true << 0x2000u << 0x12000u << 300u * 256 << 3 * 256 - 10 << false << "300-302";
        QTest::newRow("0x43 part, 256 pages: groups of 255 and 1") << 0x416 << false << 0u << 0x18000u << 0u << 256 * 256 << false << "0-254,255-255";
        QTest::newRow("0x43 part, 300 pages after erase all") << 0x416 << false << 0x2000u << 0x18000u << 0x2000u << 300 * 256 << true << "mass";
    }
    void update_overProgrammedFlash()
    {
        QFETCH(int, productId);
        QFETCH(bool, extended);
        QFETCH(uint, bootBytes);
        QFETCH(uint, oldBytes);
        QFETCH(uint, offset);
        QFETCH(int, size);
        QFETCH(bool, eraseAll);
        QFETCH(QString, chunks);
        TSimStm32Port sim(quint16(productId), extended);
        QVERIFY(sim.Open());
        const QString port = NamedPort(sim.Wire());
        sim.Bootloader().PreFill(bootBytes, oldBytes);
        const QByteArray image = RandomBytes(size, quint32(size));
        const QString path = WriteFile(m_dir, QStringLiteral("image.hex"), HexImage::File(kFlash + offset, image));

        // What the flash must hold afterwards: the erased pages erased, the image written over them.
        const int pageSize = sim.Bootloader().Device().pageSize;
        QByteArray expected = sim.Bootloader().Flash();
        if (eraseAll) {
            expected.fill(char(0xFF));
        } else {
            const int first = int(offset) / pageSize;
            const int last = (int(offset) + size - 1) / pageSize;
            expected.replace(first * pageSize, (last - first + 1) * pageSize, QByteArray((last - first + 1) * pageSize, char(0xFF)));
        }
        expected.replace(int(offset), size, image);

        Run run;
        QVERIFY(run.Go(Request(port, path, TBootloaderCtrl::OptVerify | (eraseAll ? TBootloaderCtrl::OptEraseAll : 0u))));
        QCOMPARE(run.Text(), QString());
        QCOMPARE(run.Status(), int(TBootloaderCtrl::Success));
        QCOMPARE(Chunks(sim.Bootloader().EraseRequests()), chunks);
        QVERIFY(sim.Bootloader().Flash() == expected);
        QCOMPARE(sim.Bootloader().Flash().left(int(bootBytes)), eraseAll ? QByteArray(int(bootBytes), char(0xFF)) : TSimStm32Bootloader::BootRegionPattern(int(bootBytes)));
        const TBootloaderCtrl::Outcome& outcome = run.ctrl.Result();
        QVERIFY(outcome.verified);
        QCOMPARE(outcome.bytesVerified, quint64(run.ctrl.Plan().LastPage() - run.ctrl.Plan().FirstPage() + 1) * quint64(pageSize));
        QCOMPARE(run.started.count(), 1);
        QVERIFY(sim.Bootloader().IsRunningApplication());
        QCOMPARE(run.timeouts.count(), 0);
    }

    void eraseAllNeeded_refusedBeforeTheFlashIsTouched()
    {
        TSimStm32Port sim(0x416, false);
        QVERIFY(sim.Open());
        const QString port = NamedPort(sim.Wire());
        sim.Bootloader().PreFill(0x2000, 0x18000);
        const QByteArray before = sim.Bootloader().Flash();
        const QString path = WriteFile(m_dir, QStringLiteral("big.hex"), HexImage::File(kFlash + 0x2000, RandomBytes(300 * 256, 3)));
        Run run;
        QVERIFY(run.Go(Request(port, path)));
        QCOMPARE(run.Status(), int(TBootloaderCtrl::EraseAllNeeded));
        QCOMPARE(run.Text(), QStringLiteral("error - the image reaches page 331, but this part erases with 0x43, whose page numbers end at 255: "
                                            "only \"erase all\" (which wipes the whole flash) can make room for it"));
        QCOMPARE(TBootloaderCtrl::StatusText(run.Status()), QStringLiteral("Erase All needed"));
        QVERIFY(sim.Bootloader().Flash() == before);
        // Connected, nothing erased or written, and the old firmware started again.
        QCOMPARE(sim.Bootloader().AcceptedCommands(), (QList<quint8>{0x7F, 0x00, 0x02, 0x21}));
        QVERIFY(sim.Bootloader().IsRunningApplication());
        QCOMPARE(Run::Code(run.device), int(TBootloaderCtrl::Success));
    }

    void imageFaults_failBeforeTheModuleIsTouched_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("text");   // empty: no file at all
        QTest::addColumn<QString>("expectName");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("error");
        const QByteArray badLine(":020000040800F2\n:0400000001020304F2\n:02002000010200\n:00000001FF\n");
        QTest::newRow("a bad HEX line") << "bad.hex" << badLine << QString() << int(TBootloaderCtrl::ImageNotLoaded)
                                        << "error - line 3: checksum 0x00 does not match the record (0xDB expected) (bad.hex)";
        QTest::newRow("no data") << "empty.hex" << QByteArray(":00000001FF\n") << QString() << int(TBootloaderCtrl::FirmwareFileEmpty)
                                 << "error - empty.hex holds no data";
        QTest::newRow("no file") << "missing.hex" << QByteArray() << QString() << int(TBootloaderCtrl::ImageNotLoaded)
                                 << "error - no firmware image file %2";
        QTest::newRow("wrong image for the module") << "Velto_LoRaWAN_V3.1.hex" << HexImage::File(kFlash, RandomBytes(64, 2)) << "Caravel_LoRaWAN"
                                                    << int(TBootloaderCtrl::ImageNotLoaded)
                                                    << "error - Wrong image selected! The file name of %2 does not name Caravel_LoRaWAN";
    }
    void imageFaults_failBeforeTheModuleIsTouched()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, text);
        QFETCH(QString, expectName);
        QFETCH(int, status);
        QFETCH(QString, error);
        TSimModule module;
        QVERIFY(module.Open());
        const QString port = NamedPort(module.Wire());
        const QString path = text.isEmpty() ? m_dir.filePath(name) : WriteFile(m_dir, name, text);
        error.replace(QLatin1String("%2"), path);
        TBootloaderCtrl::Request request = HciRequest(port, path);
        request.confirmIdentity = false;
        request.expectName = expectName;
        Run run;
        QVERIFY(run.Go(request));
        QCOMPARE(run.Status(), status);
        QCOMPARE(run.Text(), error);
        QCOMPARE(Run::Code(run.firmware), status);
        QVERIFY(run.device.isEmpty());
        // Not a single byte reached the module: it still runs its firmware.
        QCOMPARE(module.RequestsHandled(), 0u);
        QVERIFY(!module.InBootloader());
        QVERIFY(module.Bootloader().Received().isEmpty());
    }

    void viaHci_update_startsOnceAndConfirmsTheNewIdentity()
    {
        TSimModule module;
        QVERIFY(module.Open());
        const QString port = NamedPort(module.Wire());
        module.Bootloader().PreFill(0, 0x4000);
        const QByteArray image = Firmware(3000, "Velto_LoRaWAN;3.1;140");
        const QString path = WriteFile(m_dir, QStringLiteral("Velto_LoRaWAN_V3.1.hex"), HexImage::File(kFlash, image));
        TBootloaderCtrl::Request request = HciRequest(port, path);
        request.expectName = QStringLiteral("Velto_LoRaWAN");
        Run run;
        QVERIFY(run.Go(request));
        QCOMPARE(run.Text(), QString());
        QCOMPARE(run.Status(), int(TBootloaderCtrl::Success));
        QCOMPARE(module.Bootloader().Flash().left(image.size()), image);
        // Go was sent once: its answer and the application's power-up frame came in one read.
        QCOMPARE(module.Bootloader().AcceptedCommands().count(0x21), 1);
        QCOMPARE(run.timeouts.count(), 0);
        QVERIFY(!module.InBootloader());
        const TBootloaderCtrl::Outcome& outcome = run.ctrl.Result();
        QCOMPARE(outcome.oldFirmware.Value(QStringLiteral("FWVersion")), QStringLiteral("V2.4"));
        QCOMPARE(outcome.powerUp.Value(QStringLiteral("FWVersion")), QStringLiteral("V3.1"));
        QCOMPARE(outcome.newFirmware.Value(QStringLiteral("FWVersion")), QStringLiteral("V3.1"));
        QCOMPARE(outcome.newFirmware.Value(QStringLiteral("BuildCount")), QStringLiteral("140"));
        QCOMPARE(outcome.image.Text(), QStringLiteral("Velto_LoRaWAN V3.1 build 140"));
        QVERIFY(outcome.verified);
        QCOMPARE(outcome.bytesWritten, quint64(3072));
        QCOMPARE(run.Steps(), (QList<int>{TBootloaderCtrl::StepCheckImage, TBootloaderCtrl::StepEnterBootloader, TBootloaderCtrl::StepConnect,
                                          TBootloaderCtrl::StepErase, TBootloaderCtrl::StepWrite, TBootloaderCtrl::StepVerify,
                                          TBootloaderCtrl::StepStart, TBootloaderCtrl::StepConfirm, TBootloaderCtrl::StepIdle}));
        QStringList messages;
        for (const QList<QVariant>& message : qAsConst(run.messages))
            messages << message.at(0).toString();
        QVERIFY2(messages.contains(QStringLiteral("info - %1 has no latency timer to lower (no FTDI USB serial port)").arg(port)),
                 qPrintable(messages.join(QLatin1Char('\n'))));
        QVERIFY(messages.contains(QStringLiteral("info - erasing pages 0..23 (0x08000000..0x08000BFF)")));
        QVERIFY(messages.contains(QStringLiteral("info - the module runs Velto_LoRaWAN V3.1 build 140")));
        // The old application beyond the new image's last page stays where it was.
        QCOMPARE(module.Bootloader().Flash().mid(0xC00, 0x3400), TSimStm32Bootloader::OldImagePattern(0x4000).mid(0xC00));
    }

    void identityMismatch_saidWithBothIdentities()
    {
        TSimModule module;
        QVERIFY(module.Open());
        const QString port = NamedPort(module.Wire());
        // No identity inside: the file name says 3.2, the module goes on reporting what it was.
        const QString path = WriteFile(m_dir, QStringLiteral("Velto_LoRaWAN_V3.2.hex"), HexImage::File(kFlash, RandomBytes(600, 9)));
        TBootloaderCtrl::Request request = HciRequest(port, path);
        Run run;
        QVERIFY(run.Go(request));
        QCOMPARE(run.Status(), int(TBootloaderCtrl::IdentityMismatch));
        QCOMPARE(run.Text(), QStringLiteral("error - the module runs Velto_LoRaWAN V2.4 build 117, the image holds Velto_LoRaWAN V3.2"));
        QCOMPARE(Run::Code(run.update), int(TBootloaderCtrl::Success));
    }

    void cancelMidWrite_thenASecondRunSucceeds()
    {
        TSimModule module;
        QVERIFY(module.Open());
        const QString port = NamedPort(module.Wire());
        module.Bootloader().PreFill(0x1000, 0x6000);
        const QByteArray image = Firmware(0x3000, "Velto_LoRaWAN;3.3;150");
        const QString path = WriteFile(m_dir, QStringLiteral("Velto_LoRaWAN_V3.3.hex"), HexImage::File(kFlash + 0x1000, image));
        TBootloaderCtrl::Request request = HciRequest(port, path);
        Run run;
        connect(&run.ctrl, &TBootloaderCtrl::EvBytes, this, [&run](quint64 done) {
            if (done >= 0x1000)
                run.ctrl.Cancel();
        });
        QVERIFY(run.Go(request));
        QCOMPARE(run.Status(), int(TBootloaderCtrl::Cancelled));
        QCOMPARE(run.Text(), QStringLiteral("info - the update was cancelled"));
        // Stopped between two commands: the first blocks are written, the rest still erased.
        QCOMPARE(module.Bootloader().Flash().mid(0x1000, 0x1000), image.left(0x1000));
        QCOMPARE(module.Bootloader().Flash().mid(0x3000, 0x1000), QByteArray(0x1000, char(0xFF)));
        QVERIFY(module.InBootloader());
        QCOMPARE(run.timeouts.count(), 0);

        // The same request again: the module does not answer on the HCI now, its bootloader does.
        run.ctrl.disconnect(this);
        QVERIFY(run.Go(request));
        QCOMPARE(run.Text(), QString());
        QCOMPARE(run.Status(), int(TBootloaderCtrl::Success));
        QCOMPARE(module.Bootloader().Flash().mid(0x1000, image.size()), image);
        QCOMPARE(module.Bootloader().Flash().left(0x1000), TSimStm32Bootloader::BootRegionPattern(0x1000));
        QCOMPARE(run.ctrl.Result().newFirmware.Value(QStringLiteral("FWVersion")), QStringLiteral("V3.3"));
        QVERIFY(!module.InBootloader());
    }

    void portVanishedMidWrite_saidAtOnce()
    {
        TSimStm32Port sim;
        QVERIFY(sim.Open());
        const QString port = NamedPort(sim.Wire());
        const QString path = WriteFile(m_dir, QStringLiteral("a.hex"), HexImage::File(kFlash, RandomBytes(0x2000, 4)));
        Run run;
        // Far longer than the wait: only the vanished port itself can end the run in time.
        run.SetCommandTimeout(kRunMs * 2);
        connect(&run.ctrl, &TBootloaderCtrl::EvBytes, this, [&sim](quint64 done) {
            if (done >= 0x800)
                sim.Close();
        });
        QVERIFY(run.Go(Request(port, path)));
        QCOMPARE(run.Status(), int(TBootloaderCtrl::PortVanished));
        QVERIFY2(run.Text().startsWith(QStringLiteral("error - port %1 vanished: ").arg(port)), qPrintable(run.Text()));
        QCOMPARE(TBootloaderCtrl::StatusText(run.Status()), QStringLiteral("Port vanished"));
        QCOMPARE(Run::Code(run.update), int(TBootloaderCtrl::PortVanished));
        QCOMPARE(run.timeouts.count(), 0);
    }

    void verifyMismatch_namesTheFirstDifferentByte()
    {
        TSimStm32Port sim;
        QVERIFY(sim.Open());
        const QString port = NamedPort(sim.Wire());
        QByteArray image = RandomBytes(1000, 5);
        image[0x10] = 0x42;
        const QString path = WriteFile(m_dir, QStringLiteral("a.hex"), HexImage::File(kFlash, image));
        Run run;
        // Something changes the flash behind our back right after the first block was written.
        connect(run.ctrl.Bootloader(), &TBootloaderIF::PageWritten, this, [&sim] { sim.Bootloader().LoadFlash(QByteArray(1, '\x00'), 0x10); },
                Qt::DirectConnection);
        QVERIFY(run.Go(Request(port, path)));
        QCOMPARE(run.Status(), int(TBootloaderCtrl::VerifyFailed));
        QCOMPARE(run.Text(), QStringLiteral("error - verify failed at 0x08000010: read 0x00, the image has 0x42"));
        QCOMPARE(Run::Code(run.update), int(TBootloaderCtrl::VerifyFailed));
        QVERIFY(!run.ctrl.Result().verified);
    }

    void connectFailures_data()
    {
        QTest::addColumn<int>("productId");
        QTest::addColumn<int>("fault");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("error");
        QTest::addColumn<QByteArray>("received");
        QTest::newRow("a part this studio does not know") << 0x999 << int(TSimStm32Bootloader::FaultNone) << int(TBootloaderCtrl::CouldntConnect)
                                                          << "error - the bootloader names a part this studio does not know"
                                                          << QByteArray::fromHex("7f 00ff 02fd");
        QTest::newRow("a part that refuses every command") << 0x447 << int(TSimStm32Bootloader::FaultNackAll) << int(TBootloaderCtrl::OperationTimeout)
                                                           << "error - the bootloader on %1 does not answer"
                                                           << QByteArray::fromHex("7f 00ff 00ff 00ff 00ff 00ff 00ff");
    }
    void connectFailures()
    {
        QFETCH(int, productId);
        QFETCH(int, fault);
        QFETCH(int, status);
        QFETCH(QString, error);
        QFETCH(QByteArray, received);
        TSimStm32Port sim{quint16(productId)};
        QVERIFY(sim.Open());
        const QString port = NamedPort(sim.Wire());
        sim.Bootloader().SetFault(TSimStm32Bootloader::Fault(fault));
        const QString path = WriteFile(m_dir, QStringLiteral("a.hex"), HexImage::File(kFlash, RandomBytes(100, 6)));
        Run run;
        if (fault != TSimStm32Bootloader::FaultNone)
            run.SetCommandTimeout(100);   // every command here is meant to go unanswered
        QVERIFY(run.Go(Request(port, path)));
        QCOMPARE(run.Status(), status);
        QCOMPARE(run.Text(), error.arg(port));
        QCOMPARE(Run::Code(run.device), status);
        QCOMPARE(sim.Bootloader().Received(), received);
    }

    void ftdiMissing_saidBeforeThePortOpens()
    {
        TSimStm32Port sim;
        QVERIFY(sim.Open());
        const QString port = NamedPort(sim.Wire());
        TFtdiPins pins;
        if (pins.CountDevices() > 0)
            QSKIP("an FTDI device is attached; this test never drives real pins");
        const QString path = WriteFile(m_dir, QStringLiteral("a.hex"), HexImage::File(kFlash, RandomBytes(100, 7)));
        Run run;
        QVERIFY(run.Go(Request(port, path, TBootloaderCtrl::OptVerify | TBootloaderCtrl::OptFtdiBootReset)));
        QCOMPARE(run.Status(), int(TBootloaderCtrl::FtdiError));
        QVERIFY(run.Text().startsWith(QStringLiteral("error - ")));
        QVERIFY(sim.Bootloader().Received().isEmpty());
        QCOMPARE(TBootloaderCtrl::StatusText(42), QStringLiteral("Unexpected Status Code!"));
    }
};

TESSERA_TEST_MAIN(TestBootloaderCtrl)
#include "tst_bootloaderctrl.moc"

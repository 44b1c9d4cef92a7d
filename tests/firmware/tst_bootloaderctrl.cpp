#include <QRandomGenerator>
#include <QSignalSpy>
#include <QtTest>

#include "TestEnvironment.h"
#include "SimPort.h"
#include "firmware/TBootloaderCtrl.h"
#include "firmware/TSTM32Bootloader.h"
#include "tools/sim/TPseudoTerminal.h"
#include "tools/sim/TSimStm32Bootloader.h"
#include "tools/sim/TSimStm32Port.h"

namespace {
constexpr quint32 kFlash = 0x08000000;

/// Intel HEX text for `data` at `address`, 16 bytes a line, with extended linear address records.
QByteArray HexFile(quint32 address, const QByteArray& data)
{
    QByteArray out;
    auto line = [&out](quint8 type, quint16 offset, const QByteArray& bytes) {
        QByteArray record;
        record.append(char(bytes.size())).append(char(offset >> 8)).append(char(offset & 0xFF)).append(char(type)).append(bytes);
        quint8 sum = 0;
        for (char c : record)
            sum = quint8(sum + quint8(c));
        record.append(char(quint8(0x100 - sum)));
        out += ':' + record.toHex().toUpper() + '\n';
    };
    quint32 upper = 0xFFFFFFFF;
    for (int i = 0; i < data.size(); i += 16) {
        const quint32 at = address + quint32(i);
        if ((at >> 16) != upper) {
            upper = at >> 16;
            line(0x04, 0, QByteArray().append(char(upper >> 8)).append(char(upper & 0xFF)));
        }
        line(0x00, quint16(at & 0xFFFF), data.mid(i, 16));
    }
    line(0x01, 0, QByteArray());
    return out;
}

QString WriteHex(QTemporaryDir& dir, const QString& name, quint32 address, const QByteArray& data)
{
    QFile file(dir.filePath(name));
    file.open(QIODevice::WriteOnly);
    file.write(HexFile(address, data));
    return file.fileName();
}

QByteArray RandomBytes(int size)
{
    QByteArray bytes(size, 0);
    for (char& c : bytes)
        c = char(QRandomGenerator::global()->bounded(256));
    return bytes;
}

struct Run {
    TBootloaderCtrl ctrl;
    QSignalSpy device{&ctrl, &TBootloaderCtrl::onDeviceStatus};
    QSignalSpy firmware{&ctrl, &TBootloaderCtrl::onFirmwareStatus};
    QSignalSpy update{&ctrl, &TBootloaderCtrl::onUpdateStatus};
    QSignalSpy progress{&ctrl, &TBootloaderCtrl::onUpdateProgress};
    QSignalSpy started{&ctrl, &TBootloaderCtrl::onApplicationStarted};

    explicit Run(int commandTimeoutMs = 5000)
    {
        static_cast<TSTM32Bootloader*>(ctrl.FirstBootloader())->SetCommandTimeout(commandTimeoutMs);
    }
    int Code(const QSignalSpy& spy) const { return spy.isEmpty() ? -1 : spy.last().at(0).value<TBootloaderCtrl::StatusCode>(); }
};
}

class TestBootloaderCtrl : public QObject
{
    Q_OBJECT
private slots:
    void fullUpdate_data()
    {
        QTest::addColumn<int>("productId");
        QTest::addColumn<bool>("extendedErase");
        QTest::addColumn<int>("pageSize");
        QTest::newRow("0x447, 128-byte pages") << 0x447 << true << 128;
        QTest::newRow("0x416, 256-byte pages") << 0x416 << true << 256;
    }
    void fullUpdate()
    {
        QFETCH(int, productId);
        QFETCH(bool, extendedErase);
        QFETCH(int, pageSize);
        TSimStm32Port sim(quint16(productId), extendedErase);
        QVERIFY(sim.Open());
        QTemporaryDir dir;
        const QByteArray image = RandomBytes(10 * pageSize + 37);
        const QString path = WriteHex(dir, QStringLiteral("Velto_LoRaWAN_V3.1.hex"), kFlash, image);

        Run run;
        run.ctrl.Connect(NamedPort(sim.Wire()), TBootloaderCtrl::OptVerify);
        QTRY_COMPARE(run.Code(run.device), int(TBootloaderCtrl::Success));
        QCOMPARE(run.ctrl.PageSize(), quint32(pageSize));
        run.ctrl.LoadFirmwareImage(path);
        QCOMPARE(run.Code(run.firmware), int(TBootloaderCtrl::Success));
        QCOMPARE(run.ctrl.ImageInfo().base, kFlash);
        QCOMPARE(run.ctrl.ImageInfo().lowest, 0u);
        QCOMPARE(run.ctrl.ImageInfo().highest, quint32(image.size() - 1));
        run.ctrl.StartUpdate();
        QTRY_COMPARE_WITH_TIMEOUT(run.Code(run.update), int(TBootloaderCtrl::Success), 20000);
        QCOMPARE(sim.Bootloader().Flash().left(image.size()), image);
        QCOMPARE(run.progress.first().at(0).toUInt(), 0u);
        QCOMPARE(run.progress.last().at(0).toUInt(), uint(quint64(11 * pageSize) * 100 / quint32(image.size() - 1)));

        run.ctrl.StartApplication();
        QTRY_COMPARE(run.started.count(), 1);
        QVERIFY(sim.Bootloader().IsRunningApplication());
        run.ctrl.Disconnect();
        QVERIFY(!run.ctrl.Bootloader()->IsOpen());
    }

    void startApplication_applicationSpeaksWithTheAck()
    {
        TSimStm32Port sim;
        QVERIFY(sim.Open());
        // The started application announces itself in the same breath as the bootloader's last ACK.
        connect(&sim.Bootloader(), &TSimStm32Bootloader::EvApplicationStarted, this,
                [&sim] { sim.Wire().Write(QByteArray::fromHex("C001200B017500C0")); });
        Run run;
        run.ctrl.Connect(NamedPort(sim.Wire()), 0);
        QTRY_COMPARE(run.Code(run.device), int(TBootloaderCtrl::Success));
        run.ctrl.StartApplication();
        QTRY_COMPARE(run.started.count(), 1);
        QVERIFY(sim.Bootloader().IsRunningApplication());
        QCOMPARE(run.update.count(), 0);   // no "Operation Timeout" after it
        run.ctrl.Disconnect();
    }

    void nackingBootloader_endsInOperationTimeout()
    {
        TSimStm32Port sim;
        QVERIFY(sim.Open());
        sim.Bootloader().SetFault(TSimStm32Bootloader::FaultNackAll);
        Run run(50);
        run.ctrl.Connect(NamedPort(sim.Wire()), 3);
        QTRY_COMPARE(run.Code(run.update), int(TBootloaderCtrl::OperationTimeout));
        QCOMPARE(run.device.count(), 0);
        QCOMPARE(TBootloaderCtrl::StatusText(run.Code(run.update)), QStringLiteral("Operation Timeout"));
        QCOMPARE(sim.Bootloader().Received().count(char(0x7F)), 6);   // first try and five retries
    }

    void verifyMismatch_code7()
    {
        TSimStm32Port sim;
        QVERIFY(sim.Open());
        QTemporaryDir dir;
        const QString path = WriteHex(dir, QStringLiteral("a.hex"), kFlash, RandomBytes(1000));
        Run run;
        // Something changes the flash behind our back right after the first page was written.
        connect(run.ctrl.FirstBootloader(), &TBootloaderIF::PageWritten, this,
                [&sim] { sim.Bootloader().LoadFlash(QByteArray(4, '\x00'), 0); }, Qt::DirectConnection);
        run.ctrl.Connect(NamedPort(sim.Wire()), TBootloaderCtrl::OptVerify);
        QTRY_COMPARE(run.Code(run.device), 0);
        run.ctrl.LoadFirmwareImage(path);
        run.ctrl.StartUpdate();
        QTRY_COMPARE(run.Code(run.update), int(TBootloaderCtrl::VerifyFailed));
        QCOMPARE(run.update.count(), 1);
    }

    void missingImage_forgetsTheController()
    {
        TSimStm32Port sim;
        QVERIFY(sim.Open());
        Run run;
        run.ctrl.Connect(NamedPort(sim.Wire()), 3);
        QTRY_COMPARE(run.Code(run.device), 0);
        run.ctrl.LoadFirmwareImage(QStringLiteral("/nonexistent/image.hex"));
        QCOMPARE(run.Code(run.firmware), int(TBootloaderCtrl::CouldntConnect));
        QVERIFY(!run.ctrl.IsConnected());
        QVERIFY(!run.ctrl.Bootloader());
        run.ctrl.StartUpdate();
        QCOMPARE(run.Code(run.update), int(TBootloaderCtrl::CouldntConnect));
        run.ctrl.StartApplication();
        QCOMPARE(run.Code(run.update), int(TBootloaderCtrl::NoBootloader));
    }

    void imageOnlyAtOffsetZero_noDivisionByZero()
    {
        TSimStm32Port sim;
        QVERIFY(sim.Open());
        QTemporaryDir dir;
        const QString path = WriteHex(dir, QStringLiteral("one.hex"), kFlash, QByteArray(1, '\x42'));
        Run run;
        run.ctrl.Connect(NamedPort(sim.Wire()), 3);
        QTRY_COMPARE(run.Code(run.device), 0);
        run.ctrl.LoadFirmwareImage(path);
        QCOMPARE(run.ctrl.ImageInfo().highest, 0u);
        run.ctrl.StartUpdate();
        QTRY_COMPARE(run.Code(run.update), 0);
        // The page that begins at the highest used offset is not written: the byte stays erased.
        QCOMPARE(quint8(sim.Bootloader().Flash().at(0)), quint8(0xFF));
        QCOMPARE(run.progress.last().at(0).toUInt(), 100u);
    }

    void ftdiMissing_code10BeforeThePortOpens()
    {
        TSimStm32Port sim;
        QVERIFY(sim.Open());
        TFtdiPins pins;
        if (pins.CountDevices() > 0)
            QSKIP("an FTDI device is attached; this test never drives real pins");
        Run run;
        run.ctrl.Connect(NamedPort(sim.Wire()), 7);
        QCOMPARE(run.Code(run.device), int(TBootloaderCtrl::FtdiError));
        QVERIFY(!run.ctrl.FirstBootloader()->IsOpen());
        QVERIFY(!run.ctrl.FtdiErrorText().isEmpty());
        QCOMPARE(TBootloaderCtrl::StatusText(42), QStringLiteral("Unexpected Status Code!"));
    }
};

TESSERA_TEST_MAIN(TestBootloaderCtrl)
#include "tst_bootloaderctrl.moc"

#include <QProcess>
#include <QSignalSpy>
#include <QRandomGenerator>
#include <QEventLoop>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include "TestEnvironment.h"
#include "firmware/TBootloaderCtrl.h"
#include "tools/sim/TPseudoTerminal.h"
#include "tools/sim/TSimStm32Bootloader.h"
#include "tools/sim/TSimStm32Port.h"

// The independent stm32flash tool against the emulated system bootloader: if both agree, the
// emulator speaks AN3155 and not just our own dialect of it.
namespace {
constexpr int kToolTimeoutMs = 120000;
constexpr quint32 kFlashStart = 0x08000000;
}

class TestStm32FlashPeer : public QObject
{
    Q_OBJECT

    QString m_tool;

    /// Runs stm32flash against the emulator, which answers from this event loop: the wait runs it,
    /// never blocks it. Pseudo-terminals refuse even parity: 8N1 on the line. False (with the
    /// tool's last output) when it fails.
    bool RunTool(const QStringList& args, QString& output)
    {
        QProcess tool;
        tool.setProcessChannelMode(QProcess::MergedChannels);
        tool.start(m_tool, QStringList{QStringLiteral("-m"), QStringLiteral("8n1"), QStringLiteral("-b"), QStringLiteral("115200")} + args);
        if (!tool.waitForStarted())
            return false;
        QEventLoop loop;
        connect(&tool, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), &loop, &QEventLoop::quit);
        QTimer::singleShot(kToolTimeoutMs, &loop, &QEventLoop::quit);
        if (tool.state() != QProcess::NotRunning)
            loop.exec();
        output = QString::fromLocal8Bit(tool.readAll()).right(2000);
        return tool.state() == QProcess::NotRunning && tool.exitStatus() == QProcess::NormalExit && tool.exitCode() == 0;
    }

private slots:
    void initTestCase()
    {
        m_tool = QStandardPaths::findExecutable(QStringLiteral("stm32flash"));
        if (m_tool.isEmpty())
            QSKIP("stm32flash is not on PATH (Debian package \"stm32flash\"): the peer test needs it");
    }

    void writeAndVerify_data()
    {
        QTest::addColumn<int>("productId");
        QTest::addColumn<bool>("extended");
        QTest::addColumn<int>("imageSize");
        // stm32flash 0.7 sends the count 0xFF (global erase) for 256 or more pages with 0x43,
        // so the 0x43-only image stays below 256 pages.
        QTest::newRow("0x447, extended erase, 101 pages") << 0x447 << true << 100 * 128 + 37;
        QTest::newRow("0x416, plain erase, 200 pages") << 0x416 << false << 199 * 256 + 3;
        QTest::newRow("0x416, extended erase, 301 pages") << 0x416 << true << 300 * 256 + 6;
    }
    void writeAndVerify()
    {
        QFETCH(int, productId);
        QFETCH(bool, extended);
        QFETCH(int, imageSize);
        TSimStm32Port sim(quint16(productId), extended);
        QVERIFY(sim.Open());
        const int pageSize = sim.Bootloader().Device().pageSize;
        const int flashSize = sim.Bootloader().Flash().size();
        // Programmed flash all over: only what stm32flash erases can be written again.
        sim.Bootloader().LoadFlash(QByteArray(flashSize, char(0x00)));

        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        QByteArray image(imageSize, 0);
        QRandomGenerator random(quint32(productId) + quint32(imageSize));
        for (char& byte : image)
            byte = char(random.bounded(256));
        QFile file(dir.filePath(QStringLiteral("image.bin")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(image), qint64(image.size()));
        file.close();

        QString output;
        QVERIFY2(RunTool({QStringLiteral("-w"), file.fileName(), QStringLiteral("-v"), QStringLiteral("-S"),
                          QStringLiteral("0x%1").arg(kFlashStart, 8, 16, QLatin1Char('0')), sim.PortName()},
                         output),
                 qPrintable(output));

        const QByteArray& flash = sim.Bootloader().Flash();
        QVERIFY2(flash.left(imageSize) == image, qPrintable(output));
        // Only the pages the image needs were erased.
        const int usedPages = (imageSize + pageSize - 1) / pageSize;
        QCOMPARE(flash.mid(imageSize, usedPages * pageSize - imageSize), QByteArray(usedPages * pageSize - imageSize, char(0xFF)));
        QCOMPARE(flash.at(usedPages * pageSize), char(0x00));
        QCOMPARE(sim.Bootloader().AcceptedCommands().first(), quint8(0x7F));
        QVERIFY(sim.Bootloader().AcceptedCommands().contains(quint8(extended ? 0x44 : 0x43)));
    }

    void ourUpdate_readBackByThePeer()
    {
        // Our update over a module with a boot loader of its own; stm32flash then reads the flash back.
        TSimStm32Port sim(0x447, true);
        QVERIFY(sim.Open());
        sim.Bootloader().PreFill(0x2000, 0x8000);
        QTemporaryDir dir;
        const QString port = dir.filePath(QStringLiteral("port"));
        QVERIFY(sim.Wire().CreateLink(port));
        QByteArray expected = sim.Bootloader().Flash().left(0x10000);
        QByteArray image(0x3025, 0);
        QRandomGenerator random(0x3025);
        for (char& byte : image)
            byte = char(random.bounded(256));
        expected.replace(0x2000, 0x3080, QByteArray(0x3080, char(0xFF)));   // the image's pages, erased
        expected.replace(0x2000, image.size(), image);
        QFile bin(dir.filePath(QStringLiteral("image.bin")));
        QVERIFY(bin.open(QIODevice::WriteOnly));
        bin.write(image);
        bin.close();
        const QString hex = dir.filePath(QStringLiteral("image.hex"));
        QCOMPARE(QProcess::execute(QStringLiteral("srec_cat"), {bin.fileName(), QStringLiteral("-binary"), QStringLiteral("-offset"),
                                                                QStringLiteral("0x08002000"), QStringLiteral("-o"), hex, QStringLiteral("-intel")}),
                 0);
        TBootloaderCtrl ctrl;
        QSignalSpy finished(&ctrl, &TBootloaderCtrl::EvFinished);
        TBootloaderCtrl::Request request;
        request.port = port;
        request.imagePath = hex;
        request.confirmIdentity = false;
        ctrl.Run(request);
        QVERIFY(finished.wait(kToolTimeoutMs));
        QCOMPARE(ctrl.Result().status, TBootloaderCtrl::Success);

        sim.Bootloader().Reset();   // the boot pin again: back in the bootloader
        const QString readBack = dir.filePath(QStringLiteral("read.bin"));
        QString output;
        QVERIFY2(RunTool({QStringLiteral("-r"), readBack, QStringLiteral("-S"), QStringLiteral("0x08000000:0x10000"), port}, output), qPrintable(output));
        QFile read(readBack);
        QVERIFY(read.open(QIODevice::ReadOnly));
        const QByteArray flash = read.readAll();
        QCOMPARE(flash.size(), expected.size());
        QVERIFY(flash.left(0x2000) == TSimStm32Bootloader::BootRegionPattern(0x2000));
        QVERIFY(flash == expected);
    }
};

TESSERA_TEST_MAIN(TestStm32FlashPeer)
#include "tst_stm32flash_peer.moc"

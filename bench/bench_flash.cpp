// Prints the time to flash a 192 KiB image through the emulated STM32 bootloader pacing its answers
// at 115200 baud (8E1), for our controller and for stm32flash on the same emulator, beside the
// wire-time limit (bytes on the line x 11 / baud).
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTextStream>

#include "firmware/TBootloaderCtrl.h"
#include "firmware/TIntelHex.h"
#include "tools/sim/TSimStm32Bootloader.h"
#include "tools/sim/TSimStm32Port.h"

namespace {
constexpr quint32 kImageBytes = 192 * 1024;
constexpr double kBaud = 115200;
constexpr double kBitsPerByte = 11;

/// Bytes both ways for writing `pages` pages of `pageSize` (command, address and data frames with their ACKs).
double WireSeconds(quint32 pages, quint32 pageSize, bool verify)
{
    double bytes = pages * ((2 + 1) + (5 + 1) + (1 + pageSize + 1 + 1));
    if (verify)
        bytes += pages * ((2 + 1) + (5 + 1) + (2 + 1 + pageSize));
    return bytes * kBitsPerByte / kBaud;
}

double OurFlash(const QString& hexPath, bool verify, QString& status)
{
    TSimStm32Port sim(0x447, true);
    sim.Open();
    sim.SetPacing(true);
    TBootloaderCtrl ctrl;
    bool done = false;
    QEventLoop loop;
    auto finish = [&](TBootloaderCtrl::StatusCode c) {
        status = TBootloaderCtrl::StatusText(c);
        done = true;
        loop.quit();
    };
    QObject::connect(&ctrl, &TBootloaderCtrl::onDeviceStatus, [&](TBootloaderCtrl::StatusCode c) {
        if (c) finish(c); else ctrl.LoadFirmwareImage(hexPath); });
    QObject::connect(&ctrl, &TBootloaderCtrl::onFirmwareStatus, [&](TBootloaderCtrl::StatusCode c) {
        if (c) finish(c); else ctrl.StartUpdate(); });
    QObject::connect(&ctrl, &TBootloaderCtrl::onUpdateStatus, finish);
    QElapsedTimer timer;
    timer.start();
    ctrl.Connect(sim.PortName(), verify ? quint32(TBootloaderCtrl::OptVerify) : 0u);
    if (!done)
        loop.exec();
    const double secs = timer.nsecsElapsed() / 1e9;
    ctrl.Disconnect();
    return secs;
}

double Stm32Flash(const QString& binPath, QString& status)
{
    TSimStm32Port sim(0x447, true);
    sim.Open();
    sim.SetPacing(true);
    QProcess process;
    QElapsedTimer timer;
    timer.start();
    process.start(QStringLiteral("stm32flash"), {QStringLiteral("-m"), QStringLiteral("8n1"), QStringLiteral("-b"), QStringLiteral("115200"),
                                                  QStringLiteral("-w"), binPath, QStringLiteral("-S"), QStringLiteral("0x08000000"), sim.PortName()});
    if (!process.waitForStarted(3000)) {
        status = QStringLiteral("stm32flash not found");
        return 0;
    }
    QEventLoop loop;
    QObject::connect(&process, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), &loop, &QEventLoop::quit);
    if (process.state() != QProcess::NotRunning)
        loop.exec();
    status = process.exitCode() == 0 ? QStringLiteral("Success") : QStringLiteral("exit %1").arg(process.exitCode());
    return timer.nsecsElapsed() / 1e9;
}
}

int main(int argc, char** argv)
{
    // The bootloader's debug traces would drown the figures.
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
        if (type != QtDebugMsg)
            fprintf(stderr, "%s\n", qPrintable(text));
    });
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    QTemporaryDir dir;
    std::vector<quint8> image(kImageBytes);
    for (quint8& b : image)
        b = quint8(QRandomGenerator::global()->bounded(255));
    const QString binPath = dir.filePath(QStringLiteral("image.bin"));
    QFile bin(binPath);
    bin.open(QIODevice::WriteOnly);
    bin.write(reinterpret_cast<const char*>(image.data()), int(image.size()));
    bin.close();
    // The writer puts the image at offset 0; srec_cat moves it to the flash base.
    const QString rawHex = dir.filePath(QStringLiteral("raw.hex"));
    TIntelHex().WriteFile(rawHex.toLocal8Bit(), image.data(), kImageBytes, true);
    const QString hexPath = dir.filePath(QStringLiteral("image.hex"));
    QProcess::execute(QStringLiteral("srec_cat"), {rawHex, QStringLiteral("-intel"), QStringLiteral("-offset"), QStringLiteral("0x08000000"),
                                                   QStringLiteral("-o"), hexPath, QStringLiteral("-intel")});

    const quint32 pages = kImageBytes / 128;
    out << QStringLiteral("192 KiB image, STM32L07x (0x447, 128-byte pages), bootloader answers paced at 115200 baud 8E1\n");
    out << QStringLiteral("wire-time limit: write %1 s, write + verify %2 s\n").arg(WireSeconds(pages, 128, false), 0, 'f', 1).arg(WireSeconds(pages, 128, true), 0, 'f', 1);
    out.flush();
    QString status;
    double secs = OurFlash(hexPath, false, status);
    out << QStringLiteral("TBootloaderCtrl write: %1 s (%2)\n").arg(secs, 0, 'f', 1).arg(status);
    out.flush();
    secs = OurFlash(hexPath, true, status);
    out << QStringLiteral("TBootloaderCtrl write + verify: %1 s (%2)\n").arg(secs, 0, 'f', 1).arg(status);
    out.flush();
    secs = Stm32Flash(binPath, status);
    out << QStringLiteral("stm32flash write (256-byte blocks): %1 s (%2)\n").arg(secs, 0, 'f', 1).arg(status);
    return 0;
}

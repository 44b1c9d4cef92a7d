// Prints the time a 192 KiB write + verify takes through the emulated STM32 bootloader paced at
// 115200 baud 8E1 (11 bits a byte, both ways), running in a tessera-sim process of its own: for the
// studio's update sequence, for stm32flash on the same emulator, and the wire-time limit of the
// bytes the protocol must move. The bytes each tool moved are counted on an unpaced run in-process.
// Usage: bench_flash [runs]   (default 3; the best and the median are printed)
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>
#include <QVector>

#include <algorithm>

#include "firmware/TBootloaderCtrl.h"
#include "firmware/TFlashPlan.h"
#include "firmware/TIntelHex.h"
#include "tools/sim/TSimStm32Bootloader.h"
#include "tools/sim/TSimStm32Port.h"

namespace {
constexpr quint32 kImageBytes = 192 * 1024;
constexpr quint32 kFlashStart = 0x08000000;
constexpr quint16 kProductId = 0x447;   // STM32L07x: 192 KiB of 128-byte pages, Extended Erase
constexpr double kSecondsPerByte = 11.0 / 115200.0;

struct Figures
{
    double seconds = 0;
    qint64 hostBytes = 0;
    qint64 partBytes = 0;
    QString status;
    QVector<qint64> turnaroundsNs;   ///< from each answer of the part to its next one
};

/// Bytes both ways that a write + verify of `imageBytes` needs at the least: connect (0x7F, Get,
/// Get ID), the Extended Erase lists of the image's pages in groups of 255, per 256-byte block a
/// Write Memory (command, address, data, three ACKs) and a Read Memory (command, address, count,
/// three ACKs and the data), and Go.
qint64 ProtocolBytes(quint32 imageBytes, quint32 pageSize, int getAnswerBytes)
{
    qint64 bytes = (1 + 1) + (2 + getAnswerBytes) + (2 + 5);
    for (quint32 pages = imageBytes / pageSize; pages > 0;) {
        const quint32 group = qMin<quint32>(pages, 255);
        bytes += 2 + 1 + (2 + 2 * group + 1) + 1;
        pages -= group;
    }
    for (quint32 done = 0; done < imageBytes; done += TFlashPlan::kBlockBytes) {
        const qint64 n = qMin<quint32>(TFlashPlan::kBlockBytes, imageBytes - done);
        bytes += (2 + 1) + (5 + 1) + (1 + n + 1 + 1);   // Write Memory
        bytes += (2 + 1) + (5 + 1) + (2 + 1 + n);       // Read Memory
    }
    return bytes + (2 + 1) + (5 + 1);
}

enum class Tool { Ours, Stm32Flash };

/// Runs one tool against the part on `port`: the seconds it took and how it ended.
Figures RunTool(Tool tool, const QString& image, const QString& port)
{
    Figures figures;
    QElapsedTimer clock;
    QEventLoop loop;
    if (tool == Tool::Ours) {
        TBootloaderCtrl ctrl;
        QObject::connect(&ctrl, &TBootloaderCtrl::EvFinished, &loop, &QEventLoop::quit);
        TBootloaderCtrl::Request request;
        request.port = port;
        request.imagePath = image;
        request.flags = TBootloaderCtrl::OptVerify;
        request.confirmIdentity = false;   // the bare emulated part has no firmware to ask
        clock.start();
        ctrl.Run(request);
        loop.exec();
        figures.seconds = clock.nsecsElapsed() / 1e9;
        figures.status = TBootloaderCtrl::StatusText(ctrl.Result().status) + (ctrl.Result().verified ? QStringLiteral(", verified") : QString());
        return figures;
    }
    QProcess process;
    QObject::connect(&process, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), &loop, &QEventLoop::quit);
    QObject::connect(&process, &QProcess::errorOccurred, &loop, &QEventLoop::quit);
    clock.start();
    // Pseudo-terminals refuse even parity: 8N1 on the line, paced as 8E1 by the emulator.
    process.start(QStringLiteral("stm32flash"), {QStringLiteral("-m"), QStringLiteral("8n1"), QStringLiteral("-b"), QStringLiteral("115200"),
                                                  QStringLiteral("-w"), image, QStringLiteral("-v"), QStringLiteral("-g"),
                                                  QStringLiteral("0x08000000"), QStringLiteral("-S"), QStringLiteral("0x08000000"), port});
    loop.exec();
    figures.seconds = clock.nsecsElapsed() / 1e9;
    figures.status = process.error() == QProcess::FailedToStart ? QStringLiteral("stm32flash not found")
                     : process.exitCode() == 0                  ? QStringLiteral("Success, verified")
                                                                : QStringLiteral("exit %1").arg(process.exitCode());
    return figures;
}

/// The paced part in a tessera-sim process of its own, as a module meets a tool: neither tool
/// shares its event loop with the part.
Figures Timed(Tool tool, const QString& image, const QString& link)
{
    QProcess sim;
    QEventLoop loop;
    QObject::connect(&sim, &QProcess::readyReadStandardOutput, &loop, &QEventLoop::quit);   // it prints its port when it listens
    QObject::connect(&sim, &QProcess::errorOccurred, &loop, &QEventLoop::quit);
    QTimer::singleShot(10000, &loop, &QEventLoop::quit);
    sim.start(QCoreApplication::applicationDirPath() + QStringLiteral("/tessera-sim"),
              {QStringLiteral("--bootloader"), QStringLiteral("--pacing"), QStringLiteral("--product-id"), QStringLiteral("0x%1").arg(kProductId, 0, 16),
               QStringLiteral("--link"), link});
    loop.exec();
    Figures figures;
    if (QFileInfo::exists(link))
        figures = RunTool(tool, image, link);
    else
        figures.status = QStringLiteral("tessera-sim did not start");
    sim.terminate();
    sim.waitForFinished(5000);
    return figures;
}

/// The part unpaced in this process: the bytes each way and the time between its answers.
Figures Counted(Tool tool, const QString& image)
{
    TSimStm32Port sim(kProductId, true);
    sim.Open();
    Figures counts;
    QElapsedTimer sinceAnswer;
    QObject::connect(&sim.Bootloader(), &TSimStm32Bootloader::EvSend, [&](const QByteArray& bytes) {
        counts.partBytes += bytes.size();
        if (sinceAnswer.isValid())
            counts.turnaroundsNs << sinceAnswer.nsecsElapsed();
        sinceAnswer.start();
    });
    const Figures run = RunTool(tool, image, sim.PortName());
    counts.status = run.status;
    counts.hostBytes = sim.Bootloader().Received().size();
    return counts;
}

/// The best and the median of the runs (other work on the machine only ever adds time), and the
/// bytes the tool moved.
QString Line(const QString& name, QList<Figures> runs, const Figures& counts, double limit)
{
    std::sort(runs.begin(), runs.end(), [](const Figures& a, const Figures& b) { return a.seconds < b.seconds; });
    const Figures& best = runs.first();
    const Figures& median = runs.at(runs.size() / 2);
    const qint64 bytes = counts.hostBytes + counts.partBytes;
    return QStringLiteral("%1 %2 s  %3x the limit  (median of %4: %5 s, %6x; %7 bytes moved, %8 s on the wire; %9)\n")
        .arg(name.leftJustified(34))
        .arg(best.seconds, 6, 'f', 2)
        .arg(best.seconds / limit, 0, 'f', 3)
        .arg(runs.size())
        .arg(median.seconds, 0, 'f', 2)
        .arg(median.seconds / limit, 0, 'f', 3)
        .arg(bytes)
        .arg(bytes * kSecondsPerByte, 0, 'f', 2)
        .arg(best.status);
}
}

int main(int argc, char** argv)
{
    // The bootloader's debug traces would drown the figures; off, they are not even formatted.
    QLoggingCategory::setFilterRules(QStringLiteral("tessera.stm32.debug=false"));
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
        if (type != QtDebugMsg)
            fprintf(stderr, "%s\n", qPrintable(text));
    });
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    const int runs = argc > 1 ? qMax(1, QByteArray(argv[1]).toInt()) : 3;
    QTemporaryDir dir;
    QByteArray image(int(kImageBytes), 0);
    QRandomGenerator random(15);
    for (char& byte : image)
        byte = char(random.bounded(255));   // never 0xFF: every block is written
    const QString binPath = dir.filePath(QStringLiteral("image.bin"));
    QFile bin(binPath);
    bin.open(QIODevice::WriteOnly);
    bin.write(image);
    bin.close();
    // The writer puts the image at offset 0; srec_cat moves it to the flash base.
    const QString rawHex = dir.filePath(QStringLiteral("raw.hex"));
    TIntelHex().WriteFile(rawHex.toLocal8Bit(), reinterpret_cast<const quint8*>(image.constData()), kImageBytes, true);
    const QString hexPath = dir.filePath(QStringLiteral("image.hex"));
    if (QProcess::execute(QStringLiteral("srec_cat"), {rawHex, QStringLiteral("-intel"), QStringLiteral("-offset"), QStringLiteral("0x08000000"),
                                                       QStringLiteral("-o"), hexPath, QStringLiteral("-intel")}) != 0) {
        out << "error - srec_cat (Debian package srecord) is needed to place the image at 0x08000000\n";
        return 1;
    }

    const TSimStm32Bootloader part(kProductId, true);
    const qint64 protocolBytes = ProtocolBytes(kImageBytes, part.Device().pageSize, 15);
    const double limit = protocolBytes * kSecondsPerByte;
    out << QStringLiteral("192 KiB write + verify, %1 (0x%2, %3-byte pages), paced at 115200 baud 8E1\n")
               .arg(QLatin1String(part.Device().name))
               .arg(kProductId, 0, 16)
               .arg(part.Device().pageSize);
    out << QStringLiteral("%1 %2 s  (%3 bytes the protocol must move)\n").arg(QStringLiteral("wire-time limit").leftJustified(34)).arg(limit, 6, 'f', 2).arg(protocolBytes);
    out.flush();
    const QString link = dir.filePath(QStringLiteral("part"));
    QList<Figures> ours;
    for (int i = 0; i < runs; ++i)
        ours << Timed(Tool::Ours, hexPath, link);
    const Figures ourCounts = Counted(Tool::Ours, hexPath);
    out << Line(QStringLiteral("TBootloaderCtrl (256-byte blocks)"), ours, ourCounts, limit);
    // Unpaced, what is left between two answers of the part is the host's turnaround (with the
    // pseudo-terminal both ways and the emulator's own work).
    QVector<qint64> turnarounds = ourCounts.turnaroundsNs;
    std::sort(turnarounds.begin(), turnarounds.end());
    if (!turnarounds.isEmpty())
        out << QStringLiteral("answer to next answer, unpaced       median %1 us, 99th percentile %2 us, max %3 us (%4 answers; the host's turnaround plus both ways through the pseudo-terminal)\n")
                   .arg(turnarounds.at(turnarounds.size() / 2) / 1000)
                   .arg(turnarounds.at(turnarounds.size() * 99 / 100) / 1000)
                   .arg(turnarounds.last() / 1000)
                   .arg(turnarounds.size());
    out.flush();
    if (QStandardPaths::findExecutable(QStringLiteral("stm32flash")).isEmpty()) {
        out << "stm32flash is not on PATH (Debian package stm32flash)\n";
        return 0;
    }
    QList<Figures> peer;
    for (int i = 0; i < runs; ++i)
        peer << Timed(Tool::Stm32Flash, binPath, link);
    out << Line(QStringLiteral("stm32flash -w -v (256-byte blocks)"), peer, Counted(Tool::Stm32Flash, binPath), limit);
    return 0;
}

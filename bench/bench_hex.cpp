// Prints how fast an Intel HEX file of a 1 MiB image is read, by TIntelHex and by srec_cat.
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>
#include <vector>

#include "firmware/TIntelHex.h"

namespace {
constexpr quint32 kImageBytes = 0x100000;
constexpr int kRuns = 7;

// The end-of-file record of every run would print a trace line.
void DropDebug(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type != QtDebugMsg)
        QTextStream(stderr) << text << "\n";
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double MegabytesPerSecond(qint64 bytes, double seconds)
{
    return double(bytes) / seconds / 1e6;
}
} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    qInstallMessageHandler(DropDebug);

    QTemporaryDir dir;
    if (!dir.isValid()) {
        out << "error - cannot create a temporary directory\n";
        return 1;
    }
    // Random firmware with one erased 32 KiB block, as real images have gaps.
    std::vector<quint8> image(kImageBytes);
    QRandomGenerator rng(11);
    for (quint8& b : image)
        b = quint8(rng.bounded(256));
    std::fill(image.begin() + 0x40000, image.begin() + 0x48000, quint8(0xFF));

    const QString path = dir.filePath(QStringLiteral("image.hex"));
    TIntelHex hex;
    if (!hex.WriteFile(QFile::encodeName(path), image.data(), kImageBytes, true)) {
        out << "error - cannot write " << path << "\n";
        return 1;
    }
    const qint64 fileBytes = QFileInfo(path).size();
    out << QStringLiteral("HEX file: %1 bytes for a %2 byte image, median of %3 runs\n")
               .arg(fileBytes)
               .arg(kImageBytes)
               .arg(kRuns);

    std::vector<quint8> buffer(kImageBytes);
    std::vector<double> ours;
    for (int run = 0; run < kRuns; ++run) {
        QElapsedTimer timer;
        timer.start();
        hex.ReadFile(path, buffer.data(), kImageBytes, true);
        ours.push_back(timer.nsecsElapsed() / 1e9);
    }
    if (buffer != image)
        out << "warning - the image read back differs\n";
    out << QStringLiteral("TIntelHex::ReadFile: %1 MB/s of HEX text (%2 ms)\n")
               .arg(MegabytesPerSecond(fileBytes, Median(ours)), 0, 'f', 1)
               .arg(Median(ours) * 1e3, 0, 'f', 2);

    if (QStandardPaths::findExecutable(QStringLiteral("srec_cat")).isEmpty()) {
        out << "srec_cat: not on PATH, skipped\n";
        return 0;
    }
    std::vector<double> peer;
    for (int run = 0; run < kRuns; ++run) {
        QProcess srec;
        QElapsedTimer timer;
        timer.start();
        srec.start(QStringLiteral("srec_cat"),
                   {path, QStringLiteral("-intel"), QStringLiteral("-o"), QStringLiteral("/dev/null"),
                    QStringLiteral("-binary")});
        if (!srec.waitForFinished(60000) || srec.exitCode() != 0) {
            out << "srec_cat: failed: " << srec.readAllStandardError() << "\n";
            return 1;
        }
        peer.push_back(timer.nsecsElapsed() / 1e9);
    }
    out << QStringLiteral("srec_cat -intel -o /dev/null -binary: %1 MB/s of HEX text (%2 ms, process start included)\n")
               .arg(MegabytesPerSecond(fileBytes, Median(peer)), 0, 'f', 1)
               .arg(Median(peer) * 1e3, 0, 'f', 2);
    return 0;
}

// Prints SLIP+CRC throughput and the request round trip over a pseudo-terminal against the
// virtual module, both in-process and as a separate tessera-sim process.
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QRandomGenerator>
#include <QTextStream>

#include <algorithm>
#include <vector>

#include "hci/Crc16.h"
#include "hci/TComSlip.h"
#include "hci/TComSlipClient.h"
#include "hci/TVeltoLRHCI.h"
#include "tools/sim/TSimModule.h"

namespace {
struct Counter : TComSlipClient {
    qint64 bytes = 0;
    void ProcessRxFrame(const QByteArray& frame) override
    {
        if (Crc16::Check(reinterpret_cast<const quint8*>(frame.constData()), quint16(frame.size())))
            bytes += frame.size();
    }
};

void SlipThroughput(QTextStream& out)
{
    QRandomGenerator rng(7);
    QList<QByteArray> messages;
    for (int i = 0; i < 256; ++i) {
        QByteArray m(int(rng.bounded(2, 500)), 0);
        for (char& c : m)
            c = char(rng.bounded(256));
        const quint16 crc = quint16(~Crc16::Compute(reinterpret_cast<const quint8*>(m.constData()), quint16(m.size())));
        m.append(char(crc & 0xFF));
        m.append(char(crc >> 8));
        messages << m;
    }
    qint64 total = 0;
    for (const QByteArray& m : messages)
        total += m.size();

    TComSlip slip;
    Counter counter;
    slip.AttachClient(&counter);
    const int rounds = 200;
    QElapsedTimer timer;
    timer.start();
    for (int r = 0; r < rounds; ++r)
        for (const QByteArray& m : messages)
            slip.Decode(TComSlip::Encode(m));
    const double secs = timer.nsecsElapsed() / 1e9;
    out << QStringLiteral("SLIP encode + decode + CRC check: %1 MB/s (%2 MB of messages)\n")
               .arg(double(total) * rounds / secs / 1e6, 0, 'f', 1)
               .arg(double(total) * rounds / 1e6, 0, 'f', 1);
    if (counter.bytes != total * rounds)
        out << "  warning - decoded byte count differs\n";
}

void RoundTrips(QTextStream& out, const QString& label, const QString& port, int count)
{
    TVeltoLRHCI link;
    if (!link.Open(port, QStringLiteral("115200"))) {
        out << "error - couldn't open " << port << "\n";
        return;
    }
    std::vector<double> ms;
    ms.reserve(size_t(count));
    int failures = 0;
    for (int i = 0; i < count; ++i) {
        QElapsedTimer t;
        t.start();
        if (link.SendRequest(0x01, 0x03, 0x04, nullptr, 0) != HCIResult_OK)
            ++failures;
        ms.push_back(t.nsecsElapsed() / 1e6);
    }
    std::sort(ms.begin(), ms.end());
    out << QStringLiteral("%1: %2 requests, median %3 ms, p99 %4 ms, max %5 ms, failures %6\n")
               .arg(label)
               .arg(count)
               .arg(ms[ms.size() / 2], 0, 'f', 3)
               .arg(ms[size_t(double(ms.size()) * 0.99)], 0, 'f', 3)
               .arg(ms.back(), 0, 'f', 3)
               .arg(failures);
}
}

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    SlipThroughput(out);

    {
        TSimModule sim;
        if (sim.Open())
            RoundTrips(out, QStringLiteral("GetDeviceInfo round trip, module in-process"), sim.PortName(), 2000);
    }

    QProcess sim;
    sim.start(QCoreApplication::applicationDirPath() + QStringLiteral("/tessera-sim"), QStringList());
    if (sim.waitForStarted(3000) && sim.waitForReadyRead(3000)) {
        const QString port = QString::fromLocal8Bit(sim.readLine()).trimmed();
        RoundTrips(out, QStringLiteral("GetDeviceInfo round trip, tessera-sim process"), port, 2000);
        sim.terminate();
        sim.waitForFinished(3000);
    } else {
        out << "tessera-sim not started; build it first\n";
    }
    return 0;
}

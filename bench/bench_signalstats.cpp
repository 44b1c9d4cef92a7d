// Prints what the signal statistics cost at 1000 received frames per second for ten minutes (the
// default window full): adding records with their host time, taking every series out for a
// redraw, and writing the CSV export.
#include <QCoreApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QTextStream>

#include "sap/TSignalStats.h"

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    constexpr int kFrames = 600000;
    const QStringList sources = {"10:0101", "10:0102", "20:0A0B", "10:0104"};
    const QDateTime start = QDateTime::currentDateTime();

    QVector<TKeyValueList> records;
    records.reserve(kFrames);
    for (int i = 0; i < kFrames; ++i) {
        TKeyValueList r;
        r.Append(QStringLiteral("HostTime"), start.addMSecs(i).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz")));
        r.Append(QStringLiteral("Port"), QStringLiteral("/dev/pts/3"));
        r.SetEventType(QStringLiteral("Rx U-Msg"));
        r.Append(QStringLiteral("DstAddress"), QStringLiteral("10:1F3A"));
        r.Append(QStringLiteral("SrcAddress"), sources.at(i % sources.size()));
        r.Append(QStringLiteral("Payload"), QStringLiteral("01 00 00"));
        r.Append(QStringLiteral("RSSI"), QStringLiteral("%1 dBm").arg(-60 - i % 40));
        r.Append(QStringLiteral("SNR"), QStringLiteral("%1 dB").arg(i % 20 - 10));
        records.append(r);
    }

    TSignalStats stats;
    QElapsedTimer timer;
    timer.start();
    for (const TKeyValueList& r : qAsConst(records))
        stats.Add(r);
    const qint64 addMs = timer.elapsed();

    timer.restart();
    qint64 points = 0;
    for (const QString& source : sources)
        points += stats.RssiSeries(source).size() + stats.SnrSeries(source).size();
    const qint64 seriesMs = timer.elapsed();

    timer.restart();
    const int csvBytes = stats.Csv().toUtf8().size();
    const qint64 csvMs = timer.elapsed();

    out << QStringLiteral("signal stats: %1 records added in %2 ms (%3 us each), %4 points kept\n")
               .arg(kFrames).arg(addMs).arg(double(addMs) * 1000.0 / kFrames, 0, 'f', 2).arg(stats.PointCount());
    out << QStringLiteral("every RSSI and SNR series taken out (%1 points) in %2 ms\n").arg(points).arg(seriesMs);
    out << QStringLiteral("CSV of the kept points (%1 bytes) in %2 ms\n").arg(csvBytes).arg(csvMs);
    return 0;
}

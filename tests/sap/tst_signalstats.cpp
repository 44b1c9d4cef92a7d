#include <QDateTime>
#include <QTemporaryDir>
#include <QtTest>

#include "TestEnvironment.h"
#include "sap/TPacketLoss.h"
#include "sap/TSignalStats.h"

namespace {
TKeyValueList Rec(std::initializer_list<std::pair<const char*, const char*>> items)
{
    TKeyValueList record;
    for (const auto& item : items)
        record.Append(QLatin1String(item.first), QString::fromUtf8(item.second));
    return record;
}

TKeyValueList Rx(const char* source, const char* rssi, const char* snr)
{
    return Rec({{"EvType", "Rx U-Msg"}, {"DstAddress", "10:1F3A"}, {"SrcAddress", source}, {"Payload", "01"}, {"RSSI", rssi}, {"SNR", snr},
                {"Time", "2026-03-14 15:09:26"}});
}

/// received/transmitted/failed/acknowledged/timeouts/air time
QString CounterText(const TLinkCounters& c)
{
    return QStringLiteral("%1/%2/%3/%4/%5/%6").arg(c.received).arg(c.transmitted).arg(c.transmitFailed).arg(c.acknowledged).arg(c.ackTimeouts).arg(c.airTimeMs);
}

/// count/measured rssi min/mean/max snr min/mean/max
QString SourceText(const TSourceSignal& s)
{
    return QStringLiteral("%1 %2/%3 %4/%5/%6 %7/%8/%9")
        .arg(s.source).arg(s.packets).arg(s.measured)
        .arg(s.rssiMin).arg(s.rssiMean, 0, 'f', 2).arg(s.rssiMax)
        .arg(s.snrMin).arg(s.snrMean, 0, 'f', 2).arg(s.snrMax);
}

qint64 At(int hour, int minute, int second, int ms = 0)
{
    return QDateTime(QDate(2026, 3, 14), QTime(hour, minute, second, ms)).toMSecsSinceEpoch();
}

QString Xs(const QVector<QPointF>& points)
{
    QStringList xs;
    for (const QPointF& p : points)
        xs << QString::number(qint64(p.x()) - At(15, 0, 0)) + QLatin1Char('=') + QString::number(p.y());
    return xs.join(QLatin1Char(' '));
}
}

class TestSignalStats : public QObject
{
    Q_OBJECT
private slots:
    void records_countedByKind_data()
    {
        QTest::addColumn<TKeyValueList>("record");
        QTest::addColumn<QString>("counters");
        QTest::addColumn<bool>("point");
        QTest::addColumn<QString>("source");   // the source's statistics afterwards; empty: none

        QTest::newRow("Rx U-Msg with trailer") << Rx("10:1234", "-87 dBm", "7 dB") << "1/0/0/0/0/0" << true << "10:1234 1/1 -87/-87.00/-87 7/7.00/7";
        QTest::newRow("Rx C-Msg without trailer")
            << Rec({{"EvType", "Rx C-Msg"}, {"DstAddress", "10:1F3A"}, {"SrcAddress", "10:1234"}, {"Payload", "01"}}) << "1/0/0/0/0/0" << false
            << "10:1234 1/0 0/0.00/0 0/0.00/0";
        QTest::newRow("Rx Ack-Msg") << Rec({{"EvType", "Rx Ack-Msg"}, {"SrcAddress", "10:1234"}, {"Payload", ""}, {"RSSI", "-72 dBm"}, {"SNR", "-3 dB"}})
                                    << "1/0/0/1/0/0" << true << "10:1234 1/1 -72/-72.00/-72 -3/-3.00/-3";
        QTest::newRow("raw frame") << Rec({{"EvType", "RxRawMessage"}, {"RadioMsg", "40 10"}, {"Length", "2"}, {"RSSI", "-100 dBm"}, {"SNR", "-12 dB"}})
                                   << "1/0/0/0/0/0" << true << "n.a. 1/1 -100/-100.00/-100 -12/-12.00/-12";
        QTest::newRow("test packet, plain numbers") << Rec({{"EvType", "Rx Test Packet"}, {"PacketCounter", "5"}, {"RSSI", "-95"}, {"SNR", "7"}})
                                                    << "1/0/0/0/0/0" << true << "n.a. 1/1 -95/-95.00/-95 7/7.00/7";
        QTest::newRow("sensor telegram received")
            << Rec({{"EventType", "SensorData"}, {"SrcAddress", "10:0102"}, {"Counter", "1"}, {"RSSI", "-84 dBm"}, {"SNR", "5 dB"}})
            << "1/0/0/0/0/0" << true << "10:0102 1/1 -84/-84.00/-84 5/5.00/5";
        QTest::newRow("own sensor telegram") << Rec({{"EventType", "SensorData"}, {"SrcAddress", "10:1F3A"}, {"Counter", "1"}}) << "0/1/0/0/0/0" << false << "";
        QTest::newRow("receiver's acknowledgement") << Rec({{"EventType", "ReceiverAck"}, {"SrcAddress", "10:0001"}, {"RSSI", "-60 dBm"}, {"SNR", "9 dB"}})
                                                    << "1/0/0/1/0/0" << true << "10:0001 1/1 -60/-60.00/-60 9/9.00/9";
        QTest::newRow("Tx U-Msg") << Rec({{"EvType", "Tx U-Msg"}, {"Time", "x"}, {"Info", "Status:OK  Packet:42  AirTime:1000 ms"}}) << "0/1/0/0/0/1000" << false << "";
        QTest::newRow("Tx Ack-Msg without air time") << Rec({{"EvType", "Tx Ack-Msg"}, {"Info", "Status:OK  Packet:3"}}) << "0/1/0/0/0/0" << false << "";
        QTest::newRow("Tx C-Msg, media busy") << Rec({{"EvType", "Tx C-Msg"}, {"Info", "Status:media busy  Packet:0"}}) << "0/0/1/0/0/0" << false << "";
        QTest::newRow("Tx status like OK") << Rec({{"EvType", "Tx U-Msg"}, {"Info", "Status:OKAY  Packet:1  AirTime:5 ms"}}) << "0/0/1/0/0/0" << false << "";
        QTest::newRow("test packet sent") << Rec({{"EvType", "Tx Test Packet"}, {"PacketCounter", "1"}, {"Airtime", "41"}}) << "0/1/0/0/0/41" << false << "";
        QTest::newRow("ack timeout") << Rec({{"EvType", "Ack Timeout"}, {"Time", "x"}}) << "0/0/0/0/1/0" << false << "";
        QTest::newRow("other event") << Rec({{"EvType", "Power-Up Event"}, {"RSSI", "-1 dBm"}, {"SNR", "1 dB"}}) << "0/0/0/0/0/0" << false << "";
        QTest::newRow("signal not a number") << Rx("10:1234", "n.a.", "7 dB") << "1/0/0/0/0/0" << false << "10:1234 1/0 0/0.00/0 0/0.00/0";
    }
    void records_countedByKind()
    {
        QFETCH(TKeyValueList, record);
        QFETCH(QString, counters);
        QFETCH(bool, point);
        QFETCH(QString, source);
        TSignalStats stats;
        stats.SetOwnAddress(QStringLiteral("10:1F3A"));
        QCOMPARE(stats.Add(record, At(15, 0, 0)), point);
        QCOMPARE(CounterText(stats.Counters()), counters);
        QCOMPARE(stats.PointCount(), point ? 1 : 0);
        QCOMPARE(stats.Sources().size(), source.isEmpty() ? 0 : 1);
        if (!source.isEmpty())
            QCOMPARE(SourceText(stats.Sources().first()), source);
    }

    void sources_minMeanMax()
    {
        TSignalStats stats;
        stats.Add(Rx("20:0A0B", "-101 dBm", "-2 dB"), At(15, 0, 0));
        stats.Add(Rx("10:1234", "-80 dBm", "5 dB"), At(15, 0, 1));
        stats.Add(Rx("10:1234", "-91 dBm", "3 dB"), At(15, 0, 2));
        stats.Add(Rec({{"EvType", "Rx C-Msg"}, {"SrcAddress", "10:1234"}, {"Payload", ""}}), At(15, 0, 3));
        stats.Add(Rx("10:1234", "-85 dBm", "10 dB"), At(15, 0, 4));
        QStringList texts;
        for (const TSourceSignal& s : stats.Sources())
            texts << SourceText(s);
        QCOMPARE(texts, QStringList({"10:1234 4/3 -91/-85.33/-80 3/6.00/10", "20:0A0B 1/1 -101/-101.00/-101 -2/-2.00/-2"}));
        QCOMPARE(SourceText(stats.Source(QStringLiteral("30:0001"))), QStringLiteral("30:0001 0/0 0/0.00/0 0/0.00/0"));
        QCOMPARE(CounterText(stats.Counters()), QStringLiteral("5/0/0/0/0/0"));
        QCOMPARE(stats.SeriesSources(), QStringList({"10:1234", "20:0A0B"}));
        QCOMPARE(Xs(stats.RssiSeries(QStringLiteral("10:1234"))), QStringLiteral("1000=-80 2000=-91 4000=-85"));
        QCOMPARE(Xs(stats.SnrSeries(QStringLiteral("10:1234"))), QStringLiteral("1000=5 2000=3 4000=10"));
        QVERIFY(stats.RssiSeries(QStringLiteral("30:0001")).isEmpty());

        stats.Clear();
        QCOMPARE(CounterText(stats.Counters()), QStringLiteral("0/0/0/0/0/0"));
        QVERIFY(stats.Sources().isEmpty());
        QCOMPARE(stats.PointCount(), 0);
    }

    void window_dropsWhatLeftIt()
    {
        TSignalStats stats;
        QCOMPARE(stats.WindowMinutes(), TSignalStats::kDefaultWindowMinutes);
        stats.SetWindowMinutes(1);
        const quint64 start = stats.Revision();
        QVERIFY(stats.Add(Rx("10:0001", "-60 dBm", "1 dB"), At(15, 0, 0)));
        QVERIFY(stats.Add(Rx("10:0002", "-61 dBm", "2 dB"), At(15, 0, 30)));
        QVERIFY(stats.Add(Rx("10:0001", "-62 dBm", "3 dB"), At(15, 1, 0)));
        QCOMPARE(stats.PointCount(), 3);
        QVERIFY(stats.Revision() > start);
        // A minute and a millisecond after the first: it leaves.
        QVERIFY(stats.Add(Rx("10:0001", "-63 dBm", "4 dB"), At(15, 1, 0, 1)));
        QCOMPARE(Xs(stats.RssiSeries(QStringLiteral("10:0001"))), QStringLiteral("60000=-62 60001=-63"));
        QCOMPARE(stats.PointCount(), 3);
        // A point older than the window comes in late: counted, never plotted.
        QVERIFY(!stats.Add(Rx("10:0003", "-70 dBm", "0 dB"), At(14, 59, 59)));
        QCOMPARE(stats.Source(QStringLiteral("10:0003")).measured, quint64(1));
        QCOMPARE(stats.SeriesSources(), QStringList({"10:0001", "10:0002"}));
        // Time goes on without traffic: the view trims, and a source without points goes.
        const quint64 before = stats.Revision();
        stats.Trim(At(15, 1, 45));
        QCOMPARE(stats.SeriesSources(), QStringList({"10:0001"}));
        QCOMPARE(stats.PointCount(), 2);
        QVERIFY(stats.Revision() > before);
        stats.Trim(At(15, 1, 45));
        QCOMPARE(stats.PointCount(), 2);
        // Counters and statistics are not windowed.
        QCOMPARE(stats.Counters().received, quint64(5));
        QCOMPARE(stats.Source(QStringLiteral("10:0002")).packets, quint64(1));
        stats.SetWindowMinutes(0);
        QCOMPARE(stats.WindowMinutes(), 1);
        stats.SetWindowMinutes(100000);
        QCOMPARE(stats.WindowMinutes(), TSignalStats::kMaxWindowMinutes);
    }

    void maxPoints_dropsTheOldestOfAnySource()
    {
        TSignalStats stats;
        stats.SetMaxPoints(3);
        stats.Add(Rx("10:0002", "-1", "1"), At(15, 0, 1));
        stats.Add(Rx("10:0001", "-2", "2"), At(15, 0, 2));
        stats.Add(Rx("10:0001", "-3", "3"), At(15, 0, 3));
        stats.Add(Rx("10:0002", "-4", "4"), At(15, 0, 4));
        QCOMPARE(stats.PointCount(), 3);
        QCOMPARE(Xs(stats.RssiSeries(QStringLiteral("10:0002"))), QStringLiteral("4000=-4"));
        stats.SetMaxPoints(1);
        QCOMPARE(stats.SeriesSources(), QStringList({"10:0002"}));
        QCOMPARE(stats.PointCount(), 1);
    }

    void pause_countsButKeepsThePlot()
    {
        TSignalStats stats;
        stats.SetWindowMinutes(1);
        stats.Add(Rx("10:0001", "-60 dBm", "1 dB"), At(15, 0, 0));
        stats.SetPaused(true);
        const quint64 revision = stats.Revision();
        QVERIFY(!stats.Add(Rx("10:0001", "-70 dBm", "2 dB"), At(15, 5, 0)));
        stats.Trim(At(15, 10, 0));
        QCOMPARE(stats.Revision(), revision);
        QCOMPARE(Xs(stats.RssiSeries(QStringLiteral("10:0001"))), QStringLiteral("0=-60"));
        QCOMPARE(SourceText(stats.Source(QStringLiteral("10:0001"))), QStringLiteral("10:0001 2/2 -70/-65.00/-60 1/1.50/2"));
        stats.SetPaused(false);
        QVERIFY(stats.Add(Rx("10:0001", "-80 dBm", "3 dB"), At(15, 10, 0)));
        QCOMPARE(Xs(stats.RssiSeries(QStringLiteral("10:0001"))), QStringLiteral("600000=-80"));
    }

    void csv_exactText()
    {
        TSignalStats stats;
        QCOMPARE(stats.Csv(), QStringLiteral("Time,Source,RSSI (dBm),SNR (dB)\n"));
        stats.Add(Rx("10:1234", "-87 dBm", "7 dB"), At(15, 9, 26, 123));
        stats.Add(Rec({{"EvType", "Rx Test Packet"}, {"RSSI", "-95"}, {"SNR", "-7"}}), At(15, 9, 26, 5));
        stats.Add(Rx("10:0001", "-60 dBm", "12 dB"), At(15, 9, 27));
        stats.Add(Rx("10:1234", "-88 dBm", "6 dB"), At(15, 9, 28, 999));
        const QString expected = QStringLiteral("Time,Source,RSSI (dBm),SNR (dB)\n"
                                                "2026-03-14 15:09:26.123,10:1234,-87,7\n"
                                                "2026-03-14 15:09:26.005,n.a.,-95,-7\n"
                                                "2026-03-14 15:09:27.000,10:0001,-60,12\n"
                                                "2026-03-14 15:09:28.999,10:1234,-88,6\n");
        QCOMPARE(stats.Csv(), expected);
        QTemporaryDir dir;
        QString error;
        const QString path = dir.filePath(QStringLiteral("signal.csv"));
        QVERIFY(stats.ExportCsv(path, error));
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(file.readAll()), expected);
        const QString blocked = dir.filePath(QStringLiteral("missing/signal.csv"));
        QVERIFY(!stats.ExportCsv(blocked, error));
        QVERIFY2(error.startsWith(QStringLiteral("error - couldn't write CSV file: ") + blocked + QStringLiteral(" (")), qPrintable(error));
    }

    void hostTime_fromTheRecord()
    {
        TSignalStats stats;
        TKeyValueList iso = Rx("10:0001", "-1", "1");
        iso.prepend({QStringLiteral("HostTime"), QStringLiteral("2026-03-14 15:00:01.250")});
        TKeyValueList other = Rx("10:0001", "-2", "2");
        other.prepend({QStringLiteral("HostTime"), QStringLiteral("14.03.2026 15:00:02.500")});
        QVERIFY(stats.Add(iso));
        QVERIFY(stats.Add(other));
        QCOMPARE(Xs(stats.RssiSeries(QStringLiteral("10:0001"))), QStringLiteral("1250=-1 2500=-2"));
        // Without a readable host time the point is taken now.
        TKeyValueList none = Rx("10:0002", "-3", "3");
        const qint64 before = QDateTime::currentMSecsSinceEpoch();
        QVERIFY(stats.Add(none));
        const qint64 x = qint64(stats.RssiSeries(QStringLiteral("10:0002")).first().x());
        QVERIFY(x >= before && x <= QDateTime::currentMSecsSinceEpoch());
    }

    void hostTimes_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<qint64>("ms");   // after 2026-03-14 15:00:00 local time
        QTest::newRow("ISO") << "2026-03-14 15:00:01.250" << true << qint64(1250);
        QTest::newRow("other date format") << "14.03.2026 15:00:01.250" << true << qint64(1250);
        QTest::newRow("last ms of the hour") << "2026-03-14 15:59:59.999" << true << qint64(3599999);
        QTest::newRow("next hour") << "2026-03-14 16:00:00.000" << true << qint64(3600000);
        QTest::newRow("next day") << "15.03.2026 15:00:00.000" << true << QDateTime(QDate(2026, 3, 15), QTime(15, 0)).toMSecsSinceEpoch() - At(15, 0, 0);
        QTest::newRow("no milliseconds") << "2026-03-14 15:00:01" << false << qint64(0);
        QTest::newRow("T separator") << "2026-03-14T15:00:01.250" << false << qint64(0);
        QTest::newRow("month 13") << "2026-13-14 15:00:01.250" << false << qint64(0);
        QTest::newRow("hour 24") << "2026-03-14 24:00:01.250" << false << qint64(0);
        QTest::newRow("letters") << "2026-03-1x 15:00:01.250" << false << qint64(0);
        QTest::newRow("mixed separators") << "2026.03-14 15:00:01.250" << false << qint64(0);
    }
    void hostTimes()
    {
        QFETCH(QString, text);
        QFETCH(bool, ok);
        QFETCH(qint64, ms);
        qint64 parsed = 0;
        QCOMPARE(TSignalStats::ParseHostTime(text, parsed), ok);
        if (ok)
            QCOMPARE(parsed - At(15, 0, 0), ms);
    }

    void levels_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<int>("value");
        QTest::newRow("dBm") << "-87 dBm" << true << -87;
        QTest::newRow("dB") << "7 dB" << true << 7;
        QTest::newRow("plain") << "-95" << true << -95;
        QTest::newRow("blanks") << " 3 dB " << true << 3;
        QTest::newRow("n.a.") << "n.a." << false << 0;
        QTest::newRow("empty") << "" << false << 0;
        QTest::newRow("fraction") << "-87.5 dBm" << false << 0;
        QTest::newRow("other unit") << "7 mV" << false << 0;
    }
    void levels()
    {
        QFETCH(QString, text);
        QFETCH(bool, ok);
        QFETCH(int, value);
        int parsed = 0;
        QCOMPARE(TSignalStats::ParseLevel(text, parsed), ok);
        QCOMPARE(parsed, value);
    }

    void packetLoss_data()
    {
        QTest::addColumn<QList<int>>("counters");
        QTest::addColumn<QString>("result");   // received/expected/duplicates loss%
        QTest::newRow("none") << QList<int>{} << "0/0/0 0.0";
        QTest::newRow("all") << QList<int>{7, 8, 9} << "3/3/0 0.0";
        QTest::newRow("gaps") << QList<int>{1, 2, 5, 6, 10} << "5/10/0 50.0";
        QTest::newRow("over the wrap") << QList<int>{65534, 65535, 1} << "3/4/0 25.0";
        QTest::newRow("duplicate") << QList<int>{1, 1, 2} << "2/2/1 0.0";
        QTest::newRow("sender started again") << QList<int>{100, 101, 1, 3} << "4/5/0 20.0";
    }
    void packetLoss()
    {
        QFETCH(QList<int>, counters);
        QFETCH(QString, result);
        TPacketLoss loss;
        for (int counter : counters)
            loss.Add(quint16(counter));
        QCOMPARE(QStringLiteral("%1/%2/%3 %4").arg(loss.Received()).arg(loss.Expected()).arg(loss.Duplicates()).arg(loss.LossPercent(), 0, 'f', 1), result);
        loss.Clear();
        QCOMPARE(loss.Expected(), quint64(0));
        QCOMPARE(TPacketLoss::LossPercent(90, 100), 10.0);
        QCOMPARE(TPacketLoss::LossPercent(5, 0), 0.0);
    }
};

TESSERA_TEST_MAIN(TestSignalStats)
#include "tst_signalstats.moc"

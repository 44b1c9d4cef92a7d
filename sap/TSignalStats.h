#pragma once
#include <QMap>
#include <QPointF>
#include <QString>
#include <QStringList>
#include <QVector>

#include <deque>

#include "base/TKeyValueList.h"

/// Counters of a radio link, as a radio engineer reads them.
struct TLinkCounters
{
    quint64 received = 0;        ///< frames received: messages, acknowledgements, raw frames, sensor telegrams, test packets
    quint64 transmitted = 0;     ///< transmit events with status OK (messages, acknowledgements, test packets)
    quint64 transmitFailed = 0;  ///< transmit events with any other status
    quint64 acknowledged = 0;    ///< acknowledgements received (Rx Ack-Msg, sensor ReceiverAck)
    quint64 ackTimeouts = 0;
    quint64 airTimeMs = 0;       ///< sum of the air times the transmit events report
};

/// Signal of the frames received from one source address.
struct TSourceSignal
{
    QString source;        ///< "10:1234"; "n.a." for records without "SrcAddress"
    quint64 packets = 0;   ///< frames received from it
    quint64 measured = 0;  ///< of those, with RSSI and SNR; min, mean and max are valid only when > 0
    int rssiMin = 0;
    int rssiMax = 0;
    double rssiMean = 0;
    int snrMin = 0;
    int snrMax = 0;
    double snrMean = 0;
};

/// One received frame's signal, as plotted.
struct TSignalPoint
{
    qint64 timeMs = 0;   ///< host time of reception, ms since the epoch
    QString source;
    int rssiDbm = 0;
    int snrDb = 0;
};

/// Link counters, per-source signal statistics and a windowed series of RSSI/SNR points, fed
/// with the decoded event records of the DataLink, sensor and production support services. No
/// widgets: the radio pages plot Series() and show Counters() and Sources().
///
/// - Counters and per-source statistics cover everything added since Clear().
/// - Points keep the last WindowMinutes() of host time, measured back from the newest point (or
///   from Trim(now)), and at most the number set by SetMaxPoints(); older ones are dropped from the front.
/// - Paused: records still count, but no point is appended and none is dropped, so the plot
///   stays as it was until Resume.
class TSignalStats
{
public:
    static constexpr int kDefaultWindowMinutes = 10;
    static constexpr int kMaxWindowMinutes = 24 * 60;
    /// Ten minutes of 1000 frames per second.
    static constexpr int kDefaultMaxPoints = 600000;
    static constexpr const char* kNoSource = "n.a.";
    /// First line of Csv().
    static constexpr const char* kCsvHeader = "Time,Source,RSSI (dBm),SNR (dB)";

    /// Counts a decoded event record and, when it carries "RSSI" and "SNR" and the plot is not
    /// paused, appends a point at the record's "HostTime" (the current time when it has none).
    /// Returns whether a point was appended. Records of other kinds are ignored.
    bool Add(const TKeyValueList& record);
    /// The same with the point's time given (ms since the epoch).
    bool Add(const TKeyValueList& record, qint64 timeMs);

    const TLinkCounters& Counters() const { return m_counters; }
    /// Every source that sent a frame, ordered by address.
    QVector<TSourceSignal> Sources() const;
    TSourceSignal Source(const QString& source) const;

    /// Sensor telegrams whose source is this address are the module's own ("10:1F3A"): counted as
    /// transmitted, not received.
    void SetOwnAddress(const QString& address) { m_ownAddress = address; }

    void SetWindowMinutes(int minutes);
    int WindowMinutes() const { return m_windowMinutes; }
    void SetMaxPoints(int points);
    /// Drops the points that left the window at `nowMs` (unless paused).
    void Trim(qint64 nowMs);
    void SetPaused(bool paused) { m_paused = paused; }

    int PointCount() const { return m_pointCount; }
    /// Sources that have kept points, ordered by address.
    QStringList SeriesSources() const;
    /// Kept points of one source as (time ms since the epoch, RSSI dBm) or (time, SNR dB).
    QVector<QPointF> RssiSeries(const QString& source) const;
    QVector<QPointF> SnrSeries(const QString& source) const;
    /// Every kept point in the order of arrival.
    QVector<TSignalPoint> Points() const;
    /// Grows whenever the kept points change, so a view redraws only then.
    quint64 Revision() const { return m_revision; }

    /// Kept points as CSV: kCsvHeader, then per point in the order of arrival
    /// "yyyy-MM-dd hh:mm:ss.zzz" (local time),source,RSSI,SNR; lines end with "\n".
    QString Csv() const;
    /// Writes Csv() to `path`; false with an "error - ..." text.
    bool ExportCsv(const QString& path, QString& error) const;

    /// Forgets counters, statistics and points; window, limit, pause and own address stay.
    void Clear();

    /// "-87 dBm", "7 dB" or "-87" as a whole number; false when it is none.
    static bool ParseLevel(const QString& text, int& value);
    /// "2026-03-14 15:09:26.123" or "14.03.2026 15:09:26.123" (local time) as ms since the epoch; false when it is neither.
    static bool ParseHostTime(const QString& text, qint64& timeMs);

private:
    struct Kept {
        qint64 timeMs;
        quint64 sequence;   ///< order of arrival across sources
        qint16 rssiDbm;
        qint8 snrDb;
    };
    struct Sums {
        TSourceSignal signal;
        qint64 rssiSum = 0;
        qint64 snrSum = 0;
    };
    enum class Kind { Ignored, Received, Acknowledgement, Transmitted, AckTimeout };

    Kind Classify(const TKeyValueList& record) const;
    void Measure(const QString& source, bool hasSignal, int rssi, int snr);
    bool Append(const QString& source, qint64 timeMs, int rssi, int snr);
    void DropOldest();
    template <class Value>
    QVector<QPointF> Series(const QString& source, Value value) const;

    TLinkCounters m_counters;
    QMap<QString, Sums> m_sources;
    QMap<QString, std::deque<Kept>> m_series;
    int m_pointCount = 0;
    quint64 m_sequence = 0;
    quint64 m_revision = 0;
    qint64 m_newestMs = 0;
    int m_windowMinutes = kDefaultWindowMinutes;
    int m_maxPoints = kDefaultMaxPoints;
    bool m_paused = false;
    QString m_ownAddress;
};

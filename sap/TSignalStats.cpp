#include "sap/TSignalStats.h"

#include <QDateTime>
#include <QFile>
#include <QRegularExpression>

#include <algorithm>

namespace {
const QString kStatusOk = QStringLiteral("Status:OK");
const char* const kCsvTimeFormat = "yyyy-MM-dd hh:mm:ss.zzz";
// Host time stamps of the link: ISO date or the other date format, always with milliseconds.
const char* const kHostTimeFormats[] = {"yyyy-MM-dd hh:mm:ss.zzz", "dd.MM.yyyy hh:mm:ss.zzz"};
constexpr qint64 kMsPerMinute = 60 * 1000;

quint64 AirTimeOf(const TKeyValueList& record)
{
    static const QRegularExpression airTime(QStringLiteral("AirTime:(\\d+) ms"));
    const QRegularExpressionMatch match = airTime.match(record.Value(QStringLiteral("Info")));
    if (match.hasMatch())
        return match.captured(1).toULongLong();
    return record.Value(QStringLiteral("Airtime")).toULongLong();   // test packets
}
}

TSignalStats::Kind TSignalStats::Classify(const TKeyValueList& record) const
{
    struct Row {
        const char* type;
        Kind kind;
    };
    // EvType (DataLink, production support) or EventType (sensor)   kind
    static const Row kKinds[] = {
        {"Rx U-Msg",        Kind::Received},
        {"Rx C-Msg",        Kind::Received},
        {"RxRawMessage",    Kind::Received},
        {"Rx Test Packet",  Kind::Received},
        {"SensorData",      Kind::Received},
        {"Rx Ack-Msg",      Kind::Acknowledgement},
        {"ReceiverAck",     Kind::Acknowledgement},
        {"Tx U-Msg",        Kind::Transmitted},
        {"Tx C-Msg",        Kind::Transmitted},
        {"Tx Ack-Msg",      Kind::Transmitted},
        {"Tx Test Packet",  Kind::Transmitted},
        {"Ack Timeout",     Kind::AckTimeout},
    };
    const QString evType = record.Value(QStringLiteral("EvType"));
    const QString type = evType.isEmpty() ? record.Value(QStringLiteral("EventType")) : evType;
    for (const Row& row : kKinds) {
        if (type != QLatin1String(row.type))
            continue;
        // A sensor node reports the telegrams it sends as its own.
        if (row.kind == Kind::Received && type == QLatin1String("SensorData") && !m_ownAddress.isEmpty()
            && record.Value(QStringLiteral("SrcAddress")) == m_ownAddress)
            return Kind::Transmitted;
        return row.kind;
    }
    return Kind::Ignored;
}

bool TSignalStats::Add(const TKeyValueList& record)
{
    qint64 timeMs = 0;
    if (!ParseHostTime(record.Value(QStringLiteral("HostTime")), timeMs))
        timeMs = QDateTime::currentMSecsSinceEpoch();
    return Add(record, timeMs);
}

bool TSignalStats::Add(const TKeyValueList& record, qint64 timeMs)
{
    switch (Classify(record)) {
    case Kind::Ignored:
        return false;
    case Kind::Transmitted: {
        const QString info = record.Value(QStringLiteral("Info"), kStatusOk);
        const bool ok = info == kStatusOk || info.startsWith(kStatusOk + QLatin1Char(' '));
        ++(ok ? m_counters.transmitted : m_counters.transmitFailed);
        if (ok)
            m_counters.airTimeMs += AirTimeOf(record);
        return false;
    }
    case Kind::AckTimeout:
        ++m_counters.ackTimeouts;
        return false;
    case Kind::Acknowledgement:
        ++m_counters.acknowledged;
        break;
    case Kind::Received:
        break;
    }
    ++m_counters.received;
    const QString source = record.Value(QStringLiteral("SrcAddress"), QLatin1String(kNoSource));
    int rssi = 0, snr = 0;
    const bool hasSignal = ParseLevel(record.Value(QStringLiteral("RSSI")), rssi) && ParseLevel(record.Value(QStringLiteral("SNR")), snr);
    Measure(source, hasSignal, rssi, snr);
    if (!hasSignal || m_paused)
        return false;
    return Append(source, timeMs, rssi, snr);
}

void TSignalStats::Measure(const QString& source, bool hasSignal, int rssi, int snr)
{
    Sums& sums = m_sources[source];
    TSourceSignal& s = sums.signal;
    s.source = source;
    ++s.packets;
    if (!hasSignal)
        return;
    if (s.measured == 0) {
        s.rssiMin = s.rssiMax = rssi;
        s.snrMin = s.snrMax = snr;
    }
    ++s.measured;
    s.rssiMin = qMin(s.rssiMin, rssi);
    s.rssiMax = qMax(s.rssiMax, rssi);
    s.snrMin = qMin(s.snrMin, snr);
    s.snrMax = qMax(s.snrMax, snr);
    sums.rssiSum += rssi;
    sums.snrSum += snr;
    s.rssiMean = double(sums.rssiSum) / double(s.measured);
    s.snrMean = double(sums.snrSum) / double(s.measured);
}

bool TSignalStats::Append(const QString& source, qint64 timeMs, int rssi, int snr)
{
    if (timeMs < m_newestMs - qint64(m_windowMinutes) * kMsPerMinute)
        return false;   // came in late, already outside the window
    m_series[source].push_back(Kept{timeMs, m_sequence++, qint16(qBound(-32768, rssi, 32767)), qint8(qBound(-128, snr, 127))});
    ++m_pointCount;
    ++m_revision;
    m_newestMs = qMax(m_newestMs, timeMs);
    while (m_pointCount > m_maxPoints)
        DropOldest();
    Trim(m_newestMs);
    return true;
}

void TSignalStats::DropOldest()
{
    auto oldest = m_series.end();
    for (auto it = m_series.begin(); it != m_series.end(); ++it)
        if (!it->empty() && (oldest == m_series.end() || it->front().sequence < oldest->front().sequence))
            oldest = it;
    if (oldest == m_series.end())
        return;
    oldest->pop_front();
    --m_pointCount;
    ++m_revision;
    if (oldest->empty())
        m_series.erase(oldest);
}

void TSignalStats::Trim(qint64 nowMs)
{
    if (m_paused)
        return;
    const qint64 oldestKept = nowMs - qint64(m_windowMinutes) * kMsPerMinute;
    for (auto it = m_series.begin(); it != m_series.end();) {
        std::deque<Kept>& points = it.value();
        while (!points.empty() && points.front().timeMs < oldestKept) {
            points.pop_front();
            --m_pointCount;
            ++m_revision;
        }
        if (points.empty())
            it = m_series.erase(it);
        else
            ++it;
    }
}

void TSignalStats::SetWindowMinutes(int minutes)
{
    m_windowMinutes = qBound(1, minutes, kMaxWindowMinutes);
    Trim(m_newestMs);
}

void TSignalStats::SetMaxPoints(int points)
{
    m_maxPoints = qMax(1, points);
    while (m_pointCount > m_maxPoints)
        DropOldest();
}

QVector<TSourceSignal> TSignalStats::Sources() const
{
    QVector<TSourceSignal> sources;
    sources.reserve(m_sources.size());
    for (const Sums& sums : m_sources)
        sources.append(sums.signal);
    return sources;
}

TSourceSignal TSignalStats::Source(const QString& source) const
{
    TSourceSignal none;
    none.source = source;
    return m_sources.contains(source) ? m_sources.value(source).signal : none;
}

QStringList TSignalStats::SeriesSources() const
{
    return m_series.keys();
}

template <class Value>
QVector<QPointF> TSignalStats::Series(const QString& source, Value value) const
{
    QVector<QPointF> points;
    const auto it = m_series.constFind(source);
    if (it == m_series.constEnd())
        return points;
    points.reserve(int(it->size()));
    for (const Kept& kept : *it)
        points.append(QPointF(double(kept.timeMs), double(value(kept))));
    return points;
}

QVector<QPointF> TSignalStats::RssiSeries(const QString& source) const
{
    return Series(source, [](const Kept& kept) { return kept.rssiDbm; });
}

QVector<QPointF> TSignalStats::SnrSeries(const QString& source) const
{
    return Series(source, [](const Kept& kept) { return kept.snrDb; });
}

QVector<TSignalPoint> TSignalStats::Points() const
{
    struct Ordered {
        quint64 sequence;
        TSignalPoint point;
    };
    std::vector<Ordered> all;
    all.reserve(size_t(m_pointCount));
    for (auto it = m_series.constBegin(); it != m_series.constEnd(); ++it)
        for (const Kept& kept : it.value())
            all.push_back(Ordered{kept.sequence, TSignalPoint{kept.timeMs, it.key(), kept.rssiDbm, kept.snrDb}});
    std::sort(all.begin(), all.end(), [](const Ordered& a, const Ordered& b) { return a.sequence < b.sequence; });
    QVector<TSignalPoint> points;
    points.reserve(int(all.size()));
    for (const Ordered& o : all)
        points.append(o.point);
    return points;
}

QString TSignalStats::Csv() const
{
    QString csv = QLatin1String(kCsvHeader) + QLatin1Char('\n');
    for (const TSignalPoint& p : Points())
        csv += QStringLiteral("%1,%2,%3,%4\n")
                   .arg(QDateTime::fromMSecsSinceEpoch(p.timeMs).toString(QLatin1String(kCsvTimeFormat)), p.source)
                   .arg(p.rssiDbm)
                   .arg(p.snrDb);
    return csv;
}

bool TSignalStats::ExportCsv(const QString& path, QString& error) const
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        error = QStringLiteral("error - couldn't write CSV file: %1 (%2)").arg(path, file.errorString());
        return false;
    }
    const QByteArray bytes = Csv().toUtf8();
    if (file.write(bytes) != bytes.size() || !file.flush()) {
        error = QStringLiteral("error - couldn't write CSV file: %1 (%2)").arg(path, file.errorString());
        return false;
    }
    return true;
}

void TSignalStats::Clear()
{
    m_counters = TLinkCounters();
    m_sources.clear();
    m_series.clear();
    m_pointCount = 0;
    m_newestMs = 0;
    ++m_revision;
}

bool TSignalStats::ParseLevel(const QString& text, int& value)
{
    static const QRegularExpression level(QStringLiteral("^\\s*(-?\\d{1,6})\\s*(dBm|dB)?\\s*$"));
    const QRegularExpressionMatch match = level.match(text);
    if (!match.hasMatch())
        return false;
    value = match.captured(1).toInt();
    return true;
}

bool TSignalStats::ParseHostTime(const QString& text, qint64& timeMs)
{
    for (const char* format : kHostTimeFormats) {
        const QDateTime time = QDateTime::fromString(text, QLatin1String(format));
        if (time.isValid()) {
            timeMs = time.toMSecsSinceEpoch();
            return true;
        }
    }
    return false;
}

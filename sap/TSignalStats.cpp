#include "sap/TSignalStats.h"

#include <QDateTime>
#include <QFile>
#include <QRegularExpression>

#include <algorithm>
#include <limits>

namespace {
const QString kStatusOk = QStringLiteral("Status:OK");
const char* const kCsvSecondFormat = "yyyy-MM-dd hh:mm:ss";
constexpr qint64 kMsPerMinute = 60 * 1000;

/// Digits [at, at + count) of `text` as a number, -1 unless they are all digits.
int Digits(const QString& text, int at, int count)
{
    int value = 0;
    for (int i = at; i < at + count; ++i) {
        const QChar c = text.at(i);
        if (c < QLatin1Char('0') || c > QLatin1Char('9'))
            return -1;
        value = value * 10 + (c.unicode() - '0');
    }
    return value;
}

bool Is(const QString& text, int at, char c)
{
    return text.at(at) == QLatin1Char(c);
}

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
    const QVector<TSignalPoint> points = Points();
    QString csv = QLatin1String(kCsvHeader) + QLatin1Char('\n');
    csv.reserve(csv.size() + points.size() * 44);
    // Formatting a date is slow; points come many to a second, so the second is formatted once.
    qint64 second = std::numeric_limits<qint64>::min();
    QString secondText;
    for (const TSignalPoint& p : points) {
        const qint64 pointSecond = p.timeMs >= 0 ? p.timeMs / 1000 : (p.timeMs - 999) / 1000;
        if (pointSecond != second) {
            second = pointSecond;
            secondText = QDateTime::fromMSecsSinceEpoch(second * 1000).toString(QLatin1String(kCsvSecondFormat));
        }
        csv += secondText;
        csv += QLatin1Char('.');
        csv += QString::number(p.timeMs - second * 1000).rightJustified(3, QLatin1Char('0'));
        csv += QLatin1Char(',');
        csv += p.source;
        csv += QLatin1Char(',');
        csv += QString::number(p.rssiDbm);
        csv += QLatin1Char(',');
        csv += QString::number(p.snrDb);
        csv += QLatin1Char('\n');
    }
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
    // "yyyy-MM-dd hh:mm:ss.zzz" or "dd.MM.yyyy hh:mm:ss.zzz", read by hand: a record arrives every
    // millisecond in a flood, and the general date parser takes tens of microseconds.
    if (text.size() != 23 || !Is(text, 10, ' ') || !Is(text, 13, ':') || !Is(text, 16, ':') || !Is(text, 19, '.'))
        return false;
    const bool iso = Is(text, 4, '-') && Is(text, 7, '-');
    if (!iso && !(Is(text, 2, '.') && Is(text, 5, '.')))
        return false;
    const int year = iso ? Digits(text, 0, 4) : Digits(text, 6, 4);
    const int month = Digits(text, iso ? 5 : 3, 2);
    const int day = Digits(text, iso ? 8 : 0, 2);
    const int hour = Digits(text, 11, 2), minute = Digits(text, 14, 2), second = Digits(text, 17, 2), ms = Digits(text, 20, 3);
    if (year < 0 || month < 0 || day < 0 || hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59 || ms < 0)
        return false;
    // The local hour's start is looked up once per hour; the rest is arithmetic.
    static qint64 cachedKey = -1;
    static qint64 cachedHourMs = 0;
    const qint64 key = ((qint64(year) * 13 + month) * 32 + day) * 24 + hour;
    if (key != cachedKey) {
        const QDateTime start(QDate(year, month, day), QTime(hour, 0));
        if (!start.isValid())
            return false;
        cachedKey = key;
        cachedHourMs = start.toMSecsSinceEpoch();
    }
    timeMs = cachedHourMs + minute * kMsPerMinute + second * 1000 + ms;
    return true;
}

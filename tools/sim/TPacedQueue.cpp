#include "tools/sim/TPacedQueue.h"

void TPacedQueue::Push(const QByteArray& bytes, qint64 nowNs)
{
    if (bytes.isEmpty())
        return;
    const qint64 start = qMax(nowNs, m_lineFreeNs);
    m_segments.append({bytes, start, 0});
    m_lineFreeNs = start + bytes.size() * m_byteNs;
}

QByteArray TPacedQueue::TakeDue(qint64 nowNs)
{
    QByteArray due;
    while (!m_segments.isEmpty()) {
        Segment& segment = m_segments.first();
        const qint64 through = m_byteNs > 0 ? (nowNs - segment.startNs) / m_byteNs : segment.bytes.size();
        const int upTo = int(qBound<qint64>(segment.taken, through, segment.bytes.size()));
        due += segment.bytes.mid(segment.taken, upTo - segment.taken);
        segment.taken = upTo;
        if (upTo < segment.bytes.size())
            break;
        m_segments.removeFirst();
    }
    return due;
}

QByteArray TPacedQueue::TakeAll()
{
    QByteArray all;
    for (const Segment& segment : qAsConst(m_segments))
        all += segment.bytes.mid(segment.taken);
    m_segments.clear();
    m_lineFreeNs = 0;
    return all;
}

qint64 TPacedQueue::NextDueNs() const
{
    if (m_segments.isEmpty())
        return -1;
    const Segment& segment = m_segments.first();
    const int upTo = qMin(segment.bytes.size(), segment.taken + kChunkBytes);
    return segment.startNs + upTo * m_byteNs;
}

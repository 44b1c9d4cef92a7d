#pragma once
#include <QByteArray>
#include <QList>

/// One direction of a paced serial line: bytes enter at some time and come out once the line could
/// have carried them, each byte taking `byteNs` after the one before it (and none before the line
/// is free). A pure clock-in, bytes-out class: the caller passes the time.
class TPacedQueue
{
public:
    /// Bytes handed out per wake-up of a long burst; the last byte of a burst leaves exactly on time.
    static constexpr int kChunkBytes = 32;

    void SetByteNs(qint64 ns) { m_byteNs = ns; }
    qint64 ByteNs() const { return m_byteNs; }
    void Push(const QByteArray& bytes, qint64 nowNs);
    /// The bytes whose last bit has gone over the line by `nowNs`.
    QByteArray TakeDue(qint64 nowNs);
    /// Everything still queued, at once (pacing turned off).
    QByteArray TakeAll();
    /// When the next chunk is through; -1 when nothing waits.
    qint64 NextDueNs() const;

private:
    struct Segment
    {
        QByteArray bytes;
        qint64 startNs;
        int taken;
    };
    QList<Segment> m_segments;
    qint64 m_byteNs = 0;
    qint64 m_lineFreeNs = 0;
};

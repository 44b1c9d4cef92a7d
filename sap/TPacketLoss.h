#pragma once
#include <QtGlobal>

/// Received against expected packets, from the sender's 16-bit packet counter as the test packets
/// carry it: the span of counters seen is what was sent. The same counter again is a duplicate and
/// not counted again; a counter that jumps back by half the range or more means the sender
/// started again, and a new run begins there.
class TPacketLoss
{
public:
    void Add(quint16 counter);
    void Clear() { *this = TPacketLoss(); }

    quint64 Received() const { return m_received; }
    quint64 Expected() const { return m_expected; }
    quint64 Duplicates() const { return m_duplicates; }
    double LossPercent() const { return LossPercent(m_received, m_expected); }

    /// Share of the expected packets that did not arrive, in percent; 0 when none were expected.
    static double LossPercent(quint64 received, quint64 expected);

private:
    bool m_started = false;
    quint16 m_last = 0;
    quint64 m_received = 0;
    quint64 m_expected = 0;
    quint64 m_duplicates = 0;
};

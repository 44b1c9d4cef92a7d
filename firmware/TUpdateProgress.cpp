#include "firmware/TUpdateProgress.h"

void TUpdateProgress::Reset()
{
    m_clock.invalidate();
    m_start = m_done = m_total = 0;
}

void TUpdateProgress::Update(quint64 done, quint64 total)
{
    if (!m_clock.isValid() && done > 0) {
        m_clock.start();
        m_start = done;
    }
    m_done = done;
    m_total = total;
}

int TUpdateProgress::Percent() const
{
    return m_total ? int(m_done * 100 / m_total) : 0;
}

double TUpdateProgress::KBPerSecond() const
{
    const qint64 ns = m_clock.isValid() ? m_clock.nsecsElapsed() : 0;
    return ns > 0 ? double(m_done - m_start) * 1e9 / 1024.0 / double(ns) : 0.0;
}

int TUpdateProgress::SecondsLeft() const
{
    if (m_total > 0 && m_done >= m_total)
        return 0;
    const double rate = KBPerSecond() * 1024.0;
    return rate > 0 ? int(double(m_total - m_done) / rate + 0.5) : -1;
}

QString TUpdateProgress::Text() const
{
    const int left = SecondsLeft();
    return QStringLiteral("%1 / %2 bytes - %3 KB/s - %4 left")
        .arg(m_done)
        .arg(m_total)
        .arg(KBPerSecond(), 0, 'f', 1)
        .arg(left < 0 ? QStringLiteral("n.a.") : QStringLiteral("%1:%2").arg(left / 60).arg(left % 60, 2, 10, QLatin1Char('0')));
}

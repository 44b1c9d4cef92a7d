#pragma once
#include <QElapsedTimer>
#include <QString>

/// Bytes moved so far, the speed and the time left of an update, as the dialog and the command line
/// show them. The clock starts with the first bytes, so connecting and erasing do not count.
class TUpdateProgress
{
public:
    void Reset();
    void Update(quint64 done, quint64 total);

    quint64 Done() const { return m_done; }
    quint64 Total() const { return m_total; }
    int Percent() const;
    /// KB (1024 bytes) per second since the first bytes; 0 before.
    double KBPerSecond() const;
    /// Seconds left at the speed so far; -1 while unknown.
    int SecondsLeft() const;
    /// "90112 / 393216 bytes - 10.6 KB/s - 0:29 left".
    QString Text() const;

private:
    QElapsedTimer m_clock;
    quint64 m_start = 0;   ///< bytes done when the clock started
    quint64 m_done = 0;
    quint64 m_total = 0;
};

#pragma once
#include <QString>

/// The latency timer of a USB serial bridge (FTDI): how long the bridge holds back a few received
/// bytes before it sends them on (16 ms out of the box). Each bootloader answer is a byte or two,
/// so an update lowers it to 1 ms while it runs and puts the old value back after. One
/// implementation per platform.
class TLatencyTimer
{
public:
    enum Result {
        Lowered,        ///< set; Restore() puts the old value back
        NotApplicable,  ///< the port has no latency timer (a pseudo-terminal, a bridge without one)
        Failed,         ///< it has one, but it could not be set (usually a permission)
    };
    static constexpr int kUpdateLatencyMs = 1;

    /// `systemRoot` is where the platform keeps its device attributes ("/sys" on Linux).
    explicit TLatencyTimer(const QString& systemRoot = QString());
    ~TLatencyTimer();
    TLatencyTimer(const TLatencyTimer&) = delete;
    TLatencyTimer& operator=(const TLatencyTimer&) = delete;

    /// Lowers the timer of the port's bridge to `ms`; Text() says what happened.
    Result Lower(const QString& portName, int ms = kUpdateLatencyMs);
    /// Puts back what Lower() found (nothing when it lowered nothing); Text() says when it can't.
    bool Restore();
    /// "info - ..." or "warning - ..." for the last step; empty when there is nothing to say.
    QString Text() const { return m_text; }

private:
    QString m_root;
    QString m_attribute;   ///< where the lowered value was written
    QString m_previous;    ///< the value found there
    QString m_text;
};

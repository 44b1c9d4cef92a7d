#include "firmware/TLatencyTimer.h"

// Where the platform keeps the latency timer in its driver's port settings, the studio leaves it.
TLatencyTimer::TLatencyTimer(const QString& systemRoot)
    : m_root(systemRoot)
{
}

TLatencyTimer::~TLatencyTimer() = default;

TLatencyTimer::Result TLatencyTimer::Lower(const QString& portName, int ms)
{
    m_text = QStringLiteral("info - the latency timer of %1 is not set by the studio here: set it to %2 ms in the driver's port settings for faster updates")
                 .arg(portName)
                 .arg(ms);
    return NotApplicable;
}

bool TLatencyTimer::Restore()
{
    return true;
}

#include "sap/TPacketLoss.h"

namespace {
constexpr quint16 kHalfRange = 0x8000;
}

void TPacketLoss::Add(quint16 counter)
{
    const quint16 step = quint16(counter - m_last);
    if (m_started && step == 0) {
        ++m_duplicates;
        return;
    }
    // The first packet, or a sender that started again, opens a run of one expected packet.
    m_expected += !m_started || step >= kHalfRange ? 1 : step;
    ++m_received;
    m_started = true;
    m_last = counter;
}

double TPacketLoss::LossPercent(quint64 received, quint64 expected)
{
    if (expected == 0 || received >= expected)
        return 0.0;
    return 100.0 * double(expected - received) / double(expected);
}

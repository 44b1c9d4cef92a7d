#include "tools/sim/TSimPeriodicDownlink.h"

TSimPeriodicDownlink::TSimPeriodicDownlink(int intervalMs, quint8 port, const QList<QByteArray>& payloads, bool confirmed, Send send)
    : m_port(port)
    , m_payloads(payloads.isEmpty() ? QList<QByteArray>{QByteArray()} : payloads)
    , m_confirmed(confirmed)
    , m_send(std::move(send))
{
    m_timer.setInterval(intervalMs);
    QObject::connect(&m_timer, &QTimer::timeout, [this] {
        m_send(m_port, m_payloads.at(m_sent % m_payloads.size()), m_confirmed);
        ++m_sent;
    });
}

void TSimPeriodicDownlink::SetNodeActive(bool active)
{
    if (!active)
        m_timer.stop();
    else if (!m_timer.isActive())
        m_timer.start();
}

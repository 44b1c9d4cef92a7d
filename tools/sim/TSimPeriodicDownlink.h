#pragma once
#include <QByteArray>
#include <QList>
#include <QTimer>

#include <functional>

/// A network that sends the node a downlink every interval while the node is joined or activated,
/// cycling through its payloads, so that a demo shows received rows without anyone scripting them.
class TSimPeriodicDownlink
{
public:
    using Send = std::function<void(quint8 port, const QByteArray& payload, bool confirmed)>;

    TSimPeriodicDownlink(int intervalMs, quint8 port, const QList<QByteArray>& payloads, bool confirmed, Send send);
    /// The timer runs only while the node is active: an inactive node costs nothing.
    void SetNodeActive(bool active);
    bool IsRunning() const { return m_timer.isActive(); }
    int Sent() const { return m_sent; }

private:
    QTimer m_timer;
    quint8 m_port;
    QList<QByteArray> m_payloads;
    bool m_confirmed;
    Send m_send;
    int m_sent = 0;
};

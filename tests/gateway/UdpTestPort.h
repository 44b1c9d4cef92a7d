#pragma once
// Plain UDP sockets on this machine that stand for a gateway or a studio in the gateway tests.
#include <QNetworkDatagram>
#include <QSignalSpy>
#include <QUdpSocket>

namespace UdpTestPort {
/// A port nobody listens on right now (bound and released at once).
inline quint16 FreePort()
{
    QUdpSocket probe;
    probe.bind(QHostAddress(QHostAddress::Any));
    return probe.localPort();
}

/// The next datagram on `socket`; empty when none came within the default time-out.
inline QNetworkDatagram NextDatagram(QUdpSocket& socket)
{
    if (!socket.hasPendingDatagrams()) {
        QSignalSpy ready(&socket, &QUdpSocket::readyRead);
        if (!ready.wait(5000))
            return QNetworkDatagram();
    }
    return socket.receiveDatagram();
}
}

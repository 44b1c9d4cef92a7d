#include "gateway/TGatewayCaller.h"

#include <QHostAddress>
#include <QNetworkDatagram>
#include <QUdpSocket>

#include "gateway/TGatewayProtocol.h"
#include "settings/TSettings.h"
#include "status/TStatusLog.h"

namespace {
const char* const kSource = "Gateway";
}

TGatewayCaller::TGatewayCaller(QObject* parent)
    : QObject(parent)
    , m_serverPort(TSettings::Instance().ServerPort())
    , m_gatewayPort(TSettings::Instance().GatewayPort())
{
}

TGatewayCaller::~TGatewayCaller() = default;

void TGatewayCaller::SetPorts(int serverPort, int gatewayPort)
{
    const bool listening = IsListening();
    StopListening();
    m_serverPort = serverPort;
    m_gatewayPort = gatewayPort;
    if (listening)
        Listen();
}

bool TGatewayCaller::Listen()
{
    StopListening();
    if (!IsPort(m_serverPort)) {
        Problem(QStringLiteral("error - the server port %1 is not a UDP port (1 to 65535)").arg(m_serverPort));
        return false;
    }
    auto* socket = new QUdpSocket(this);
    if (!socket->bind(QHostAddress::Any, quint16(m_serverPort))) {
        Problem(QStringLiteral("error - couldn't listen for gateway answers on UDP port %1: %2").arg(m_serverPort).arg(socket->errorString()));
        delete socket;
        return false;
    }
    connect(socket, &QUdpSocket::readyRead, this, &TGatewayCaller::OnReadyRead);
    m_listener = socket;
    return true;
}

void TGatewayCaller::StopListening()
{
    delete m_listener;
    m_listener = nullptr;
}

int TGatewayCaller::Call(const QStringList& addresses)
{
    if (!IsPort(m_gatewayPort)) {
        Problem(QStringLiteral("error - the gateway port %1 is not a UDP port (1 to 65535)").arg(m_gatewayPort));
        return 0;
    }
    const QByteArray request = TGatewayProtocol::CallDatagram(quint16(m_serverPort));
    int sent = 0;
    for (const QString& entry : addresses) {
        const QString address = entry.trimmed();
        Report(QStringLiteral("calling gateway:") + address + QStringLiteral("::") + QString::number(m_gatewayPort));
        QHostAddress host;
        QString reason;
        if (!host.setAddress(address)) {
            reason = QStringLiteral("not an IP-Address");
        } else {
            QUdpSocket socket;
            if (socket.writeDatagram(request, host, quint16(m_gatewayPort)) != request.size())
                reason = socket.errorString();
        }
        if (!reason.isEmpty()) {
            Problem(QStringLiteral("UDP socket error: ") + address + QStringLiteral(" - ") + reason);
            emit EvCallFailed(address, reason);
            continue;
        }
        ++sent;
    }
    m_callsSent += sent;
    return sent;
}

QString TGatewayCaller::AddressText(const QHostAddress& address)
{
    bool v4 = false;
    const quint32 ipv4 = address.toIPv4Address(&v4);
    return v4 ? QHostAddress(ipv4).toString() : address.toString();
}

void TGatewayCaller::OnReadyRead()
{
    while (m_listener && m_listener->hasPendingDatagrams()) {
        const QNetworkDatagram datagram = m_listener->receiveDatagram();
        const QString from = AddressText(datagram.senderAddress());
        int code = 0;
        QString detail;
        QString error;
        if (!TGatewayProtocol::ParseStatus(datagram.data(), code, detail, error)) {
            Problem(QStringLiteral("warning - unreadable gateway answer from ") + from + QStringLiteral(": ") + error);
            continue;
        }
        Report(QStringLiteral("OnStatus: ") + TGatewayProtocol::StatusText(code, detail) + QStringLiteral(" (from ") + from + QLatin1Char(')'));
        emit EvStatus(from, code, detail);
    }
}

void TGatewayCaller::Report(const QString& text)
{
    TStatusLog::Instance().AddStatusMessage(QLatin1String(kSource), text);
    emit EvStatusLine(text);
}

void TGatewayCaller::Problem(const QString& text)
{
    Report(text);
    emit EvProblem(text);
}

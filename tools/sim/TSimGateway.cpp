#include "tools/sim/TSimGateway.h"

#include <QNetworkDatagram>
#include <QUdpSocket>

#include "gateway/TGatewayCaller.h"
#include "gateway/TGatewayProtocol.h"

namespace {
// A gateway answers a request it cannot read with this code, to the port the request came from.
constexpr int kNotUnderstood = 10;
}

TSimGateway::TSimGateway(QObject* parent)
    : QObject(parent)
    , m_socket(new QUdpSocket(this))
{
    connect(m_socket, &QUdpSocket::readyRead, this, &TSimGateway::OnReadyRead);
}

TSimGateway::~TSimGateway() = default;

bool TSimGateway::Listen(quint16 port, QString* error)
{
    if (m_socket->bind(QHostAddress::Any, port))
        return true;
    if (error)
        *error = QStringLiteral("error - couldn't listen on UDP port %1: %2").arg(port).arg(m_socket->errorString());
    return false;
}

quint16 TSimGateway::Port() const
{
    return m_socket->localPort();
}

bool TSimGateway::SetAnswerMode(const QString& mode)
{
    if (mode == QLatin1String("status") || mode == QLatin1String("none") || mode == QLatin1String("garbage")) {
        m_answer = mode == QLatin1String("status") ? AnswerStatus : mode == QLatin1String("none") ? AnswerNone : AnswerGarbage;
        return true;
    }
    QList<int> codes;
    for (const QString& part : mode.split(QLatin1Char(','))) {
        bool ok = false;
        const int code = part.trimmed().toInt(&ok);
        if (!ok || code < 0 || code > TGatewayProtocol::kMaxCode)
            return false;
        codes << code;
    }
    m_answer = AnswerStatus;
    m_codes = codes;
    return true;
}

QList<QByteArray> TSimGateway::GarbageDatagrams()
{
    return {QByteArray("\x00\xffMarlinOne\x01", 12), QByteArray("MarlinOne::Status::1234")};
}

void TSimGateway::OnReadyRead()
{
    while (m_socket->hasPendingDatagrams()) {
        const QNetworkDatagram datagram = m_socket->receiveDatagram();
        ++m_received;
        m_last = datagram.data();
        emit EvDatagram(m_last, TGatewayCaller::AddressText(datagram.senderAddress()));
        Reply(m_last, datagram.senderAddress(), quint16(datagram.senderPort()));
    }
}

void TSimGateway::Reply(const QByteArray& request, const QHostAddress& from, quint16 fromPort)
{
    if (m_answer == AnswerNone)
        return;
    quint16 serverPort = 0;
    if (!TGatewayProtocol::ParseCall(request, serverPort)) {
        m_socket->writeDatagram(TGatewayProtocol::StatusDatagram(kNotUnderstood), from, fromPort);
        return;
    }
    if (m_answer == AnswerGarbage) {
        for (const QByteArray& junk : GarbageDatagrams())
            m_socket->writeDatagram(junk, from, serverPort);
        return;
    }
    for (int code : qAsConst(m_codes))
        m_socket->writeDatagram(TGatewayProtocol::StatusDatagram(code), from, serverPort);
}

#include "firmware/Stm32CommandGoToAddress.h"

#include <QDebug>
#include <QVariantMap>

Stm32CommandGoToAddress::Stm32CommandGoToAddress(QObject* parent)
    : Stm32CommandBase(0x21, 1, parent)
{
}

void Stm32CommandGoToAddress::send(QSerialPort* port, const QVariant& parameters)
{
    m_port = port;
    m_address = parameters.toMap().value(QStringLiteral("StartAddress")).toUInt();
    qCDebug(lcStm32).noquote() << "command: go :" << QStringLiteral("0x%1").arg(m_address, 8, 16, QLatin1Char('0'));
    sendCommandFrame();
}

bool Stm32CommandGoToAddress::checkFrame(const QByteArray& frame)
{
    if (frame.isEmpty() || quint8(frame.at(0)) != Ack)
        return false;
    StopTimer();
    return true;
}

void Stm32CommandGoToAddress::parse(const QByteArray& data)
{
    if (!accept(data))
        return;
    switch (m_subState) {
    case 0:
        m_subState = 1;
        sendBytes(AddressFrame(m_address));
        break;
    case 1:
        qCDebug(lcStm32).noquote() << "emit result Ready";
        m_subState = 2;
        emit resultReady(data.mid(1));
        break;
    default:
        qCDebug(lcStm32).noquote() << "unexpected state";
        break;
    }
}

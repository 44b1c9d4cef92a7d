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
    qDebug().noquote() << "command: go :" << QStringLiteral("0x%1").arg(m_address, 8, 16, QLatin1Char('0'));
    sendCommandFrame();
}

void Stm32CommandGoToAddress::parse(const QByteArray& data)
{
    // The address's ACK starts the application, which may speak at once (a power-up event): its
    // bytes can arrive in the same read as the ACK and belong to it, not to the bootloader.
    const bool started = m_subState == 1 && !data.isEmpty() && quint8(data.at(0)) == Ack;
    if (!accept(started ? data.left(1) : data))
        return;
    switch (m_subState) {
    case 0:
        m_subState = 1;
        sendBytes(AddressFrame(m_address));
        break;
    case 1:
        qDebug().noquote() << "emit result Ready";
        m_subState = 2;
        emit resultReady(m_address);
        break;
    default:
        qDebug().noquote() << "unexpected state";
        break;
    }
}

#include "firmware/Stm32CommandReadU32.h"

#include <QDebug>
#include <QVariantMap>

namespace {
constexpr int kWordBytes = 4;
}

Stm32CommandReadU32::Stm32CommandReadU32(QObject* parent)
    : Stm32CommandBase(0x1011, 1, parent)
{
}

void Stm32CommandReadU32::send(QSerialPort* port, const QVariant& parameters)
{
    m_port = port;
    m_address = parameters.toMap().value(QStringLiteral("StartAddress")).toUInt();
    m_expectedBytes = 1;
    qCDebug(lcStm32).noquote() << "SendCommand:ReadU32: " << QStringLiteral("0x%1").arg(m_address, 8, 16, QLatin1Char('0'));
    sendCommandFrame();
}

bool Stm32CommandReadU32::checkFrame(const QByteArray& frame)
{
    if (frame.isEmpty() || quint8(frame.at(0)) != Ack)
        return false;
    StopTimer();
    return true;
}

void Stm32CommandReadU32::parse(const QByteArray& data)
{
    if ((m_subState == 2 && data.size() < 1 + kWordBytes) || !accept(data))
        return;
    switch (m_subState) {
    case 0:
        qCDebug(lcStm32).noquote() << "ReadU32:ReceiveCommandAck:ok";
        qCDebug(lcStm32).noquote() << "ReadU32:SendAddress";
        m_subState = 1;
        sendBytes(AddressFrame(m_address));
        break;
    case 1:
        qCDebug(lcStm32).noquote() << "ReadU32:ReceiveAddressAck:ok";
        qCDebug(lcStm32).noquote() << "ReadU32:SendNumOfBytes:" << kWordBytes;
        m_subState = 2;
        m_expectedBytes = 1 + kWordBytes;
        sendBytes(CountFrame(kWordBytes));
        break;
    case 2: {
        qCDebug(lcStm32).noquote() << "ReadU32:ReceiveNumberOfBytesAck:ok";
        m_subState = 3;
        m_expectedBytes = 1;
        quint32 value = 0;
        for (int i = kWordBytes; i >= 1; --i)
            value = (value << 8) | quint8(data.at(i));
        qCDebug(lcStm32).noquote() << "ReadU32:ReceiveData:" << Hex(data.mid(1, kWordBytes));
        QVariantMap result;
        result.insert(QStringLiteral("Address"), m_address);
        result.insert(QStringLiteral("Value"), value);
        emit resultReady(result);
        break;
    }
    default:
        qCDebug(lcStm32).noquote() << "unexpected state parse read u32";
        break;
    }
}

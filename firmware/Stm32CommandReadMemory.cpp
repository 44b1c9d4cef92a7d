#include "firmware/Stm32CommandReadMemory.h"

#include <QDebug>
#include <QVariantMap>

Stm32CommandReadMemory::Stm32CommandReadMemory(QObject* parent)
    : Stm32CommandBase(0x11, 1, parent)
{
}

void Stm32CommandReadMemory::send(QSerialPort* port, const QVariant& parameters)
{
    const QVariantMap map = parameters.toMap();
    m_port = port;
    m_address = map.value(QStringLiteral("StartAddress")).toUInt();
    m_count = map.value(QStringLiteral("NumberOfBytes")).toInt();
    m_expectedBytes = 1;
    if (m_count <= 0) {
        waitWithoutSending("read of 0 bytes");
        return;
    }
    sendCommandFrame();
}

void Stm32CommandReadMemory::parse(const QByteArray& data)
{
    if ((m_subState == 2 && data.size() < 1 + m_count) || !accept(data))
        return;
    switch (m_subState) {
    case 0:
        m_subState = 1;
        sendBytes(AddressFrame(m_address));
        break;
    case 1: {
        qCDebug(lcStm32).noquote() << "Read Num Bytes:" << m_count;
        m_subState = 2;
        m_expectedBytes = 1 + m_count;
        sendBytes(CountFrame(m_count));
        break;
    }
    case 2: {
        m_subState = 3;
        m_expectedBytes = 1;
        const QByteArray bytes = data.mid(1, m_count);
        qCDebug(lcStm32).noquote() << "data received:" << Hex(bytes);
        QVariantMap result;
        result.insert(QStringLiteral("StartAddress"), m_address);
        result.insert(QStringLiteral("Data"), bytes);
        emit resultReady(result);
        break;
    }
    default:
        qCDebug(lcStm32).noquote() << "unexpected state parse read";
        break;
    }
}

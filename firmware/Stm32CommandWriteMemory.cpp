#include "firmware/Stm32CommandWriteMemory.h"

#include <QDebug>
#include <QVariantMap>

Stm32CommandWriteMemory::Stm32CommandWriteMemory(QObject* parent)
    : Stm32CommandBase(0x31, 1, parent)
{
}

void Stm32CommandWriteMemory::send(QSerialPort* port, const QVariant& parameters)
{
    const QVariantMap map = parameters.toMap();
    m_port = port;
    m_address = map.value(QStringLiteral("StartAddress")).toUInt();
    const int count = qMax(0, map.value(QStringLiteral("NumberOfBytes")).toInt());
    m_data = map.value(QStringLiteral("PageData")).toByteArray().left(count);
    if (m_data.size() < count)
        m_data.append(QByteArray(count - m_data.size(), char(0xFF)));   // short page data: erased value
    qCDebug(lcStm32).noquote() << "command: write:" << QStringLiteral("0x%1").arg(m_address, 8, 16, QLatin1Char('0'))
                       << "   numBytes:" << count;
    if (count == 0) {
        waitWithoutSending("write of 0 bytes");
        return;
    }
    sendCommandFrame();
}

void Stm32CommandWriteMemory::parse(const QByteArray& data)
{
    if (!accept(data))
        return;
    switch (m_subState) {
    case 0:
        qCDebug(lcStm32).noquote() << "send address:" << QStringLiteral("0x%1").arg(m_address, 0, 16);
        m_subState = 1;
        sendBytes(AddressFrame(m_address));
        break;
    case 1:
        qCDebug(lcStm32).noquote() << "send page data";
        m_subState = 2;
        sendBytes(DataFrame(m_data));
        break;
    case 2:
        qCDebug(lcStm32).noquote() << "emit result Ready";
        m_subState = 3;
        emit resultReady(data);
        break;
    default:
        qCDebug(lcStm32).noquote() << "unexpected state";
        break;
    }
}

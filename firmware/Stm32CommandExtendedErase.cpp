#include "firmware/Stm32CommandExtendedErase.h"

#include <QDebug>
#include <QVariantMap>

Stm32CommandExtendedErase::Stm32CommandExtendedErase(QObject* parent)
    : Stm32CommandBase(0x44, 1, parent)
{
}

void Stm32CommandExtendedErase::send(QSerialPort* port, const QVariant& parameters)
{
    const QVariantMap map = parameters.toMap();
    m_port = port;
    m_remaining = map.isEmpty() ? kMassErase : quint16(map.value(QStringLiteral("PageNumber")).toInt() - 1);
    m_done = 0;
    m_offset = quint8(map.value(QStringLiteral("PageOffset")).toInt());
    qDebug().noquote() << "sendCommand extended erase";
    qDebug().noquote() << QStringLiteral("pagesToErase %1 pageOffset %2").arg(m_remaining).arg(m_offset);
    if (m_remaining == 0) {
        waitWithoutSending("extended erase of a single page");
        return;
    }
    sendCommandFrame();
    m_subState = 1;
}

QByteArray Stm32CommandExtendedErase::NextChunk()
{
    if (m_remaining == kMassErase) {
        m_remaining = 0;   // one mass erase finishes the command
        return QByteArray::fromHex("ffff00");
    }
    const quint16 k = m_remaining >= kChunkPages ? quint16(kChunkPages) : m_remaining;
    m_remaining = quint16(m_remaining - k);
    QByteArray chunk;
    chunk.append(char(0x00)).append(char(k));
    char check = char(k);
    for (int i = 0; i <= k; ++i) {
        const quint16 page = quint16(m_offset + m_done + i);
        chunk.append(char(page >> 8)).append(char(page));
        check ^= char(page >> 8) ^ char(page);
    }
    chunk.append(check);
    m_done = quint16(m_done + k);
    return chunk;
}

void Stm32CommandExtendedErase::parse(const QByteArray& data)
{
    qDebug().noquote() << "parse ext erase:" << Hex(data);
    if (!accept(data))
        return;
    switch (m_subState) {
    case 0:
        m_subState = 1;
        sendBytes(CommandFrame(m_code));
        break;
    case 1: {
        const QByteArray chunk = NextChunk();
        m_subState = m_remaining == 0 ? 2 : 0;
        sendBytes(chunk);
        break;
    }
    case 2:
        m_subState = 3;
        emit resultReady(true);
        break;
    default:
        qDebug().noquote() << "unexpected state";
        break;
    }
}

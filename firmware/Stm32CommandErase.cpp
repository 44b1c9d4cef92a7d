#include "firmware/Stm32CommandErase.h"

#include <QDebug>
#include <QVariantMap>

Stm32CommandErase::Stm32CommandErase(QObject* parent)
    : Stm32CommandBase(0x43, 1, parent)
{
}

void Stm32CommandErase::send(QSerialPort* port, const QVariant& parameters)
{
    const QVariantMap map = parameters.toMap();
    m_port = port;
    m_pageCount = map.isEmpty() ? kGlobalErase : map.value(QStringLiteral("PageNumber")).toInt();
    m_pageOffset = map.value(QStringLiteral("PageOffset")).toInt();
    if (m_pageCount == 0) {
        waitWithoutSending("erase of 0 pages");
        return;
    }
    sendCommandFrame();
}

QByteArray Stm32CommandErase::PageList(int pageCount, int pageOffset)
{
    if (pageCount == kGlobalErase)
        return QByteArray::fromHex("ff00");
    QByteArray list(1, char(pageCount - 1));
    char check = 0;
    for (int page = pageOffset + 1; page <= pageOffset + pageCount - 1; ++page) {
        list.append(char(page));
        check ^= char(page);
    }
    list.append(check);
    return list;
}

void Stm32CommandErase::parse(const QByteArray& data)
{
    qDebug().noquote() << "parse erase:" << Hex(data);
    if (!accept(data))
        return;
    switch (m_subState) {
    case 0:
        m_subState = 1;
        sendBytes(PageList(m_pageCount, m_pageOffset));
        break;
    case 1:
        m_subState = 2;
        emit resultReady(true);
        break;
    default:
        qDebug().noquote() << "unexpected state";
        break;
    }
}

#include "firmware/Stm32CommandErase.h"

#include <QDebug>
#include <QVariantMap>

Stm32CommandErase::Stm32CommandErase(QObject* parent)
    : Stm32CommandErase(0x43, parent)
{
}

Stm32CommandErase::Stm32CommandErase(int code, QObject* parent)
    : Stm32CommandBase(code, 1, parent)
{
}

void Stm32CommandErase::send(QSerialPort* port, const QVariant& parameters)
{
    const QVariantMap map = parameters.toMap();
    m_port = port;
    m_massErase = map.isEmpty();
    m_nextPage = map.value(QStringLiteral("FirstPage")).toInt();
    m_pagesLeft = map.value(QStringLiteral("PageCount")).toInt();
    qCDebug(lcStm32).noquote() << "sendCommand erase" << (m_massErase ? QStringLiteral("all") : QStringLiteral("pages %1 +%2").arg(m_nextPage).arg(m_pagesLeft));
    if (!m_massErase && (m_pagesLeft <= 0 || m_nextPage < 0 || m_nextPage + m_pagesLeft - 1 > HighestPage())) {
        waitWithoutSending("no pages this command can name");
        return;
    }
    sendCommandFrame();
}

QByteArray Stm32CommandErase::ListFrame(int firstPage, int count) const
{
    QByteArray pages;
    for (int page = firstPage; page < firstPage + count; ++page)
        pages.append(char(page));
    return DataFrame(pages);
}

QByteArray Stm32CommandErase::MassEraseFrame() const
{
    return QByteArray::fromHex("ff00");
}

void Stm32CommandErase::SendList()
{
    m_subState = 1;
    if (m_massErase) {
        m_pagesLeft = 0;
        sendBytes(MassEraseFrame(), kGroupPages * kPageEraseMs);
        return;
    }
    const int count = qMin(m_pagesLeft, int(kGroupPages));
    const QByteArray list = ListFrame(m_nextPage, count);
    m_nextPage += count;
    m_pagesLeft -= count;
    sendBytes(list, count * kPageEraseMs);
}

void Stm32CommandErase::parse(const QByteArray& data)
{
    qCDebug(lcStm32).noquote() << "parse erase:" << Hex(data);
    if (!accept(data))
        return;
    switch (m_subState) {
    case 0:
        SendList();
        break;
    case 1:
        if (m_pagesLeft > 0) {
            sendCommandFrame();   // the next group is a command of its own
            break;
        }
        m_subState = 2;
        emit resultReady(true);
        break;
    default:
        qCDebug(lcStm32).noquote() << "unexpected state";
        break;
    }
}

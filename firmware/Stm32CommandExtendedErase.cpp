#include "firmware/Stm32CommandExtendedErase.h"

Stm32CommandExtendedErase::Stm32CommandExtendedErase(QObject* parent)
    : Stm32CommandErase(0x44, parent)
{
}

QByteArray Stm32CommandExtendedErase::ListFrame(int firstPage, int count) const
{
    QByteArray list;
    const quint16 n = quint16(count - 1);
    list.append(char(n >> 8)).append(char(n));
    for (int page = firstPage; page < firstPage + count; ++page)
        list.append(char(page >> 8)).append(char(page));
    char check = 0;
    for (char byte : qAsConst(list))
        check ^= byte;
    return list + check;
}

QByteArray Stm32CommandExtendedErase::MassEraseFrame() const
{
    return QByteArray::fromHex("ffff00");
}

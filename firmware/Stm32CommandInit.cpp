#include "firmware/Stm32CommandInit.h"

Stm32CommandInit::Stm32CommandInit(QObject* parent)
    : Stm32CommandBase(0x7F, 1, parent)
{
}

void Stm32CommandInit::parse(const QByteArray& data)
{
    if (accept(data))
        emit resultReady(QVariant());
}

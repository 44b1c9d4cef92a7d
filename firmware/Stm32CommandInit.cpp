#include "firmware/Stm32CommandInit.h"

#include <QDebug>

Stm32CommandInit::Stm32CommandInit(QObject* parent)
    : Stm32CommandBase(0x7F, 1, parent)
{
}

bool Stm32CommandInit::checkFrame(const QByteArray& frame)
{
    if (!frame.isEmpty() && quint8(frame.at(0)) == Nack) {
        qCDebug(lcStm32).noquote() << "init answered by NACK: the bootloader was initialised before";
        StopTimer();
        return true;
    }
    return Stm32CommandBase::checkFrame(frame);
}

void Stm32CommandInit::parse(const QByteArray& data)
{
    if (accept(data))
        emit resultReady(QVariant());
}

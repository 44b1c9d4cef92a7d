#include "firmware/Stm32CommandNull.h"

#include <QDebug>

Stm32CommandNull::Stm32CommandNull(QObject* parent)
    : Stm32CommandBase(0xFF, 0, parent)
{
}

void Stm32CommandNull::send(QSerialPort* port, const QVariant& parameters)
{
    Q_UNUSED(port)
    Q_UNUSED(parameters)
    qCDebug(lcStm32).noquote() << "Error!!!! Sending command form null device!";
}

void Stm32CommandNull::parse(const QByteArray& data)
{
    Q_UNUSED(data)
    qCDebug(lcStm32).noquote() << "parse result NULL";
}

#pragma once
#include "firmware/Stm32CommandBase.h"

/// Get (0x00): bootloader version and the command codes it supports. The answer's own count
/// decides its length; a longer list than the usual eleven codes is waited for.
class Stm32CommandGet : public Stm32CommandBase
{
    Q_OBJECT
public:
    explicit Stm32CommandGet(QObject* parent = nullptr);

    void send(QSerialPort* port, const QVariant& parameters) override;
    void parse(const QByteArray& data) override;

private:
    QByteArray m_partial;
};

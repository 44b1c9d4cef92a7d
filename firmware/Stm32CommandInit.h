#pragma once
#include "firmware/Stm32CommandBase.h"

/// Init (0x7F): the single byte that lets the bootloader measure the baud rate; answered by ACK.
class Stm32CommandInit : public Stm32CommandBase
{
    Q_OBJECT
public:
    explicit Stm32CommandInit(QObject* parent = nullptr);

    void parse(const QByteArray& data) override;
};

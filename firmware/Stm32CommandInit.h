#pragma once
#include "firmware/Stm32CommandBase.h"

/// Init (0x7F): the single byte that lets the bootloader measure the baud rate; answered by ACK.
/// A bootloader that was initialised before (an update cancelled between two commands) takes the
/// byte as the start of a command and, with the next 0x7F, refuses that pair: its NACK also means
/// that it listens.
class Stm32CommandInit : public Stm32CommandBase
{
    Q_OBJECT
public:
    explicit Stm32CommandInit(QObject* parent = nullptr);

    bool checkFrame(const QByteArray& frame) override;
    void parse(const QByteArray& data) override;
};

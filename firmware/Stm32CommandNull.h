#pragma once
#include "firmware/Stm32CommandBase.h"

/// The command that is current when none runs: sends nothing and swallows stray bytes.
class Stm32CommandNull : public Stm32CommandBase
{
    Q_OBJECT
public:
    explicit Stm32CommandNull(QObject* parent = nullptr);

    void send(QSerialPort* port, const QVariant& parameters) override;
    void parse(const QByteArray& data) override;
};

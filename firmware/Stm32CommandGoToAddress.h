#pragma once
#include "firmware/Stm32CommandBase.h"

/// Go (0x21): command, address frame; the second ACK means the device jumps to the address.
/// Parameter "StartAddress"; the result is that address.
class Stm32CommandGoToAddress : public Stm32CommandBase
{
    Q_OBJECT
public:
    explicit Stm32CommandGoToAddress(QObject* parent = nullptr);

    void send(QSerialPort* port, const QVariant& parameters) override;
    void parse(const QByteArray& data) override;

private:
    quint32 m_address = 0;
};

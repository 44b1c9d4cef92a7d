#pragma once
#include "firmware/Stm32CommandBase.h"

/// Go (0x21): command, address frame; the second ACK means the device jumps to the address.
/// Parameter "StartAddress". The started application may speak at once, so its first bytes can share
/// a read with that ACK: the result is those bytes, for whoever talks to it next.
class Stm32CommandGoToAddress : public Stm32CommandBase
{
    Q_OBJECT
public:
    explicit Stm32CommandGoToAddress(QObject* parent = nullptr);

    void send(QSerialPort* port, const QVariant& parameters) override;
    /// Any frame that starts with ACK.
    bool checkFrame(const QByteArray& frame) override;
    void parse(const QByteArray& data) override;

private:
    quint32 m_address = 0;
};

#pragma once
#include "firmware/Stm32CommandBase.h"

/// A four-byte Read Memory. Its own code 0x1011 keeps it apart from Read Memory in the command map;
/// the wire sees 0x11. Parameter "StartAddress"; result map "Address", "Value" (little-endian, as the
/// microcontroller stores a word).
class Stm32CommandReadU32 : public Stm32CommandBase
{
    Q_OBJECT
public:
    explicit Stm32CommandReadU32(QObject* parent = nullptr);

    void send(QSerialPort* port, const QVariant& parameters) override;
    /// Any frame that starts with ACK: the data's last byte is no second ACK.
    bool checkFrame(const QByteArray& frame) override;
    void parse(const QByteArray& data) override;

private:
    quint32 m_address = 0;
};

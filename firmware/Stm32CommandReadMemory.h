#pragma once
#include "firmware/Stm32CommandBase.h"

/// Read Memory (0x11): command, address frame, count frame; the answer is ACK and N bytes.
/// Parameters "StartAddress", "NumberOfBytes" (1..256); result map "StartAddress", "Data".
class Stm32CommandReadMemory : public Stm32CommandBase
{
    Q_OBJECT
public:
    explicit Stm32CommandReadMemory(QObject* parent = nullptr);

    void send(QSerialPort* port, const QVariant& parameters) override;
    void parse(const QByteArray& data) override;

private:
    quint32 m_address = 0;
    int m_count = 0;
};

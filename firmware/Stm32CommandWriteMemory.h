#pragma once
#include "firmware/Stm32CommandBase.h"

/// Write Memory (0x31): command, address frame, data frame, each acknowledged. Parameters
/// "StartAddress", "NumberOfBytes", "PageData"; the result is the last received frame.
class Stm32CommandWriteMemory : public Stm32CommandBase
{
    Q_OBJECT
public:
    explicit Stm32CommandWriteMemory(QObject* parent = nullptr);

    void send(QSerialPort* port, const QVariant& parameters) override;
    void parse(const QByteArray& data) override;

private:
    quint32 m_address = 0;
    QByteArray m_data;
};

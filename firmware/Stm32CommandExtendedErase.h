#pragma once
#include "firmware/Stm32CommandBase.h"

/// Extended Erase (0x44) with two-byte page numbers, in chunks of at most 101 pages. Parameters
/// "PageNumber" and "PageOffset" (8-bit); without parameters a mass erase. Each chunk of K + 1
/// pages advances by K, so the last page of a chunk is erased again as the first of the next.
class Stm32CommandExtendedErase : public Stm32CommandBase
{
    Q_OBJECT
public:
    static constexpr int kChunkPages = 100;
    static constexpr quint16 kMassErase = 0xFFFF;

    explicit Stm32CommandExtendedErase(QObject* parent = nullptr);

    void send(QSerialPort* port, const QVariant& parameters) override;
    void parse(const QByteArray& data) override;

private:
    QByteArray NextChunk();

    quint16 m_remaining = kMassErase;
    quint16 m_done = 0;
    quint8 m_offset = 0;
};

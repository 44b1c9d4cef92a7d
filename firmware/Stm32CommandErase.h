#pragma once
#include "firmware/Stm32CommandBase.h"

/// Erase (0x43) with one-byte page numbers. Parameters "PageNumber" (count C) and "PageOffset"
/// (first page O); without parameters a global erase. The page list names C - 1 pages from O + 1
/// and its checksum leaves the count byte out; C = 0 sends nothing.
class Stm32CommandErase : public Stm32CommandBase
{
    Q_OBJECT
public:
    static constexpr int kGlobalErase = 0xFFFF;

    explicit Stm32CommandErase(QObject* parent = nullptr);

    void send(QSerialPort* port, const QVariant& parameters) override;
    void parse(const QByteArray& data) override;

    static QByteArray PageList(int pageCount, int pageOffset);

private:
    int m_pageCount = kGlobalErase;
    int m_pageOffset = 0;
};

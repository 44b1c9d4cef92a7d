#pragma once
#include "firmware/Stm32CommandBase.h"

/// Erase (0x43): one-byte page numbers, in groups of at most 255 pages, since the count byte 0xFF
/// means "erase all". Parameters "FirstPage" and "PageCount"; without parameters the global erase.
/// Each group is a command of its own: code, ACK, list (N - 1, the N pages, XOR of N - 1 and the
/// pages), ACK once the pages are erased.
class Stm32CommandErase : public Stm32CommandBase
{
    Q_OBJECT
public:
    static constexpr int kGroupPages = 255;
    /// Erasing takes the part time before it answers: the slowest page erase of the known parts.
    static constexpr int kPageEraseMs = 40;

    explicit Stm32CommandErase(QObject* parent = nullptr);

    void send(QSerialPort* port, const QVariant& parameters) override;
    void parse(const QByteArray& data) override;

    /// The page list of one group.
    virtual QByteArray ListFrame(int firstPage, int count) const;
    /// The list that erases every page.
    virtual QByteArray MassEraseFrame() const;
    /// The highest page number the list can carry.
    virtual int HighestPage() const { return 0xFF; }

protected:
    Stm32CommandErase(int code, QObject* parent);

private:
    void SendList();

    bool m_massErase = true;
    int m_nextPage = 0;
    int m_pagesLeft = 0;
};

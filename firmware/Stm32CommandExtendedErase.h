#pragma once
#include "firmware/Stm32CommandErase.h"

/// Extended Erase (0x44): the same groups with two-byte page numbers. A list is N - 1 as two bytes,
/// the N pages as two bytes each (most significant first), and the XOR of all these bytes; the
/// mass erase is FF FF 00.
class Stm32CommandExtendedErase : public Stm32CommandErase
{
    Q_OBJECT
public:
    explicit Stm32CommandExtendedErase(QObject* parent = nullptr);

    QByteArray ListFrame(int firstPage, int count) const override;
    QByteArray MassEraseFrame() const override;
    /// Codes from 0xFFF0 on are special erases, not pages.
    int HighestPage() const override { return 0xFFEF; }
};

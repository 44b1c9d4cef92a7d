#pragma once
#include "firmware/Stm32CommandBase.h"

/// Write Unprotect (0x73): ACK for the command, a second ACK once the protection is removed; the
/// device then resets and must be initialised again.
class Stm32CommandUnprotect : public Stm32CommandBase
{
    Q_OBJECT
public:
    explicit Stm32CommandUnprotect(QObject* parent = nullptr);

    void parse(const QByteArray& data) override;
};

#pragma once
#include "firmware/Stm32CommandBase.h"

/// Get ID (0x02): ACK, count, product id high, low, ACK; the result is the product id.
class Stm32CommandGetId : public Stm32CommandBase
{
    Q_OBJECT
public:
    explicit Stm32CommandGetId(QObject* parent = nullptr);

    void parse(const QByteArray& data) override;
};

#include "firmware/Stm32CommandGetId.h"

namespace {
constexpr int kAnswerBytes = 5;   // ACK, count, id high, id low, ACK
}

Stm32CommandGetId::Stm32CommandGetId(QObject* parent)
    : Stm32CommandBase(0x02, kAnswerBytes, parent)
{
}

void Stm32CommandGetId::parse(const QByteArray& data)
{
    if (data.size() < kAnswerBytes || !accept(data))
        return;
    emit resultReady(int((quint8(data.at(2)) << 8) + quint8(data.at(3))));
}

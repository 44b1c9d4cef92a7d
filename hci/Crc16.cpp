#include "hci/Crc16.h"

#include <array>

namespace {
constexpr std::array<quint16, 256> MakeTable()
{
    std::array<quint16, 256> table{};
    for (unsigned i = 0; i < 256; ++i) {
        quint16 reg = quint16(i);
        for (int bit = 0; bit < 8; ++bit)
            reg = (reg & 1) ? quint16((reg >> 1) ^ 0x8408) : quint16(reg >> 1);
        table[i] = reg;
    }
    return table;
}
constexpr std::array<quint16, 256> kTable = MakeTable();
static_assert(kTable[1] == 0x1189 && kTable[7] == 0x74BF, "reflected CRC-16 table");
}

namespace Crc16 {

quint16 Compute(const quint8* data, quint16 length, quint16 init)
{
    quint16 reg = init;
    for (quint16 i = 0; i < length; ++i)
        reg = quint16((reg >> 8) ^ kTable[(reg ^ data[i]) & 0xFF]);
    return reg;
}

bool Check(const quint8* data, quint16 length, quint16 init)
{
    return Compute(data, length, init) == kResidue;
}

}

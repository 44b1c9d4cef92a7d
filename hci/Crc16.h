#pragma once
#include <QtGlobal>

/// CRC-16/X-25 (reflected 0x1021, init 0xFFFF); the link complements the register and sends it LSB first.
namespace Crc16 {
constexpr quint16 kInit = 0xFFFF;
constexpr quint16 kResidue = 0xF0B8;   ///< register after data plus its own complemented CRC

/// Register value after `length` bytes, not complemented; length 0 returns `init`.
quint16 Compute(const quint8* data, quint16 length, quint16 init = kInit);
/// True when the register over data including its two CRC bytes equals the residue.
bool Check(const quint8* data, quint16 length, quint16 init = kInit);
}

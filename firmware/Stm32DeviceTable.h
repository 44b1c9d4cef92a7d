#pragma once
#include <QtGlobal>

/// One STM32 part as its system bootloader reports it (Get ID). Addresses are absolute; end
/// addresses of RAM and flash are exclusive.
struct Stm32DeviceInfo
{
    quint16 productId;
    const char* name;
    quint32 ramStart;
    quint32 ramEnd;
    quint32 flashStart;
    quint32 flashEnd;
    quint16 pagesPerSector;
    quint16 pageSize;
    quint32 optionBytesStart;
    quint32 optionBytesEnd;
    quint32 systemMemoryStart;
    quint32 systemMemoryEnd;
    quint32 flags;

    quint32 FlashSize() const { return flashEnd - flashStart; }
};

/// The known parts, ended by an all-zero row.
extern const Stm32DeviceInfo kStm32DeviceTable[];
constexpr int kStm32DeviceCount = 13;

/// The row of a product id, or the terminator row (flash size 0, page size 0) when it is unknown.
const Stm32DeviceInfo& FindStm32Device(quint16 productId);

#include "firmware/Stm32DeviceTable.h"

// clang-format off
const Stm32DeviceInfo kStm32DeviceTable[kStm32DeviceCount + 1] = {
//   id     name                   RAM start   RAM end     flash start flash end   pg/sec page   option start option end  system start system end  flags
    {0x412, "Low-density",          0x20000200, 0x20002800, 0x08000000, 0x08008000,  4,  1024, 0x1FFFF800, 0x1FFFF80F, 0x1FFFF000, 0x1FFFF800, 0},
    {0x410, "Medium-density",       0x20000200, 0x20005000, 0x08000000, 0x08020000,  4,  1024, 0x1FFFF800, 0x1FFFF80F, 0x1FFFF000, 0x1FFFF800, 0},
    {0x411, "STM32F2xx",            0x20002000, 0x20020000, 0x08000000, 0x08100000,  4, 16384, 0x1FFFC000, 0x1FFFC00F, 0x1FFF0000, 0x1FFF77DF, 0},
    {0x413, "STM32F4xx",            0x20002000, 0x20020000, 0x08000000, 0x08100000,  4, 16384, 0x1FFFC000, 0x1FFFC00F, 0x1FFF0000, 0x1FFF77DF, 0},
    {0x414, "High-density",         0x20000200, 0x20010000, 0x08000000, 0x08080000,  2,  2048, 0x1FFFF800, 0x1FFFF80F, 0x1FFFF000, 0x1FFFF800, 0},
    {0x416, "Medium-density ULP",   0x20000800, 0x20004000, 0x08000000, 0x08020000, 16,   256, 0x1FF80000, 0x1FF8000F, 0x1FF00000, 0x1FF01000, 0},
    {0x417, "STM32L05xxx/06xxx",    0x20001000, 0x20002000, 0x08000000, 0x08010000, 32,   128, 0x1FF80000, 0x1FF8001F, 0x1FF00000, 0x1FF01000, 0},
    {0x418, "Connectivity line",    0x20001000, 0x20010000, 0x08000000, 0x08040000,  2,  2048, 0x1FFFF800, 0x1FFFF80F, 0x1FFFB000, 0x1FFFF800, 0},
    {0x420, "Medium-density VL",    0x20000200, 0x20002000, 0x08000000, 0x08020000,  4,  1024, 0x1FFFF800, 0x1FFFF80F, 0x1FFFF000, 0x1FFFF800, 0},
    {0x429, "STM32L1xxx6(8/B)A",    0x20001000, 0x20008000, 0x08000000, 0x08020000, 16,   256, 0x1FF80000, 0x1FF8001F, 0x1FF00000, 0x1FF01000, 0},
    {0x428, "High-density VL",      0x20000200, 0x20008000, 0x08000000, 0x08080000,  2,  2048, 0x1FFFF800, 0x1FFFF80F, 0x1FFFF000, 0x1FFFF800, 0},
    {0x430, "XL-density",           0x20000800, 0x20018000, 0x08000000, 0x08100000,  2,  2048, 0x1FFFF800, 0x1FFFF80F, 0x1FFFE000, 0x1FFFF800, 0},
    {0x447, "STM32L07xxx/08xxx",    0x20002000, 0x20005000, 0x08000000, 0x08030000, 32,   128, 0x1FF80000, 0x1FF8001F, 0x1FF00000, 0x1FF02000, 0},
    {0,     "",                     0,          0,          0,          0,           0,     0, 0,          0,          0,          0,          0},
};
// clang-format on

const Stm32DeviceInfo& FindStm32Device(quint16 productId)
{
    int i = 0;
    while (i < kStm32DeviceCount && kStm32DeviceTable[i].productId != productId)
        ++i;
    return kStm32DeviceTable[i];
}

// The Intel HEX reader on arbitrary text, into an image buffer of exactly the size it is given
// (1 byte to 1 MiB, from the input): a record that writes outside it stops the run. Properties: the
// image information stays inside the buffer once the image is valid.
#include <vector>

#include "FuzzSupport.h"
#include "firmware/TIntelHex.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 3)
        return 0;
    // First two bytes: the buffer size as a power of two (1 byte .. 1 MiB) plus an offset.
    const quint32 bufferSize = qMin<quint32>((1u << (data[0] % 21)) + data[1], 1u << 20);
    const QString path = FuzzSupport::AsFile(data + 2, size - 2, "image.hex");
    std::unique_ptr<quint8[]> buffer(new quint8[bufferSize]);
    TIntelHex hex;
    FUZZ_CHECK(hex.ReadFile(path, buffer.get(), bufferSize, true));
    TImageInfo info;
    hex.GetImageInfo(info);
    if (hex.IsValid())
        FUZZ_CHECK(info.lowest <= info.highest && info.highest < bufferSize);
    return 0;
}

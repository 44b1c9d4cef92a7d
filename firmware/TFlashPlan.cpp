#include "firmware/TFlashPlan.h"

#include <algorithm>

#include "base/THexText.h"

bool TFlashPlan::Make(const TImageInfo& info, const TFlashLayout& layout, const QByteArray& flashImage, bool eraseAll)
{
    m_layout = layout;
    m_refusal = None;
    m_error.clear();
    m_eraseAll = eraseAll;
    m_blocks.clear();
    m_firstPage = 0;
    m_lastPage = -1;

    const quint64 first = quint64(info.base) + info.lowest;
    const quint64 last = quint64(info.base) + info.highest;
    if (layout.pageSize == 0 || info.lowest > info.highest || first < layout.flashStart || last >= layout.flashEnd
        || quint64(flashImage.size()) < quint64(layout.flashEnd - layout.flashStart)) {
        m_refusal = OutsideFlash;
        m_error = QStringLiteral("error - the image (%1..%2) does not fit the part's flash (%3..%4)")
                      .arg(THexText::Prefixed(first, 8), THexText::Prefixed(last, 8), THexText::Prefixed(layout.flashStart, 8),
                           THexText::Prefixed(layout.flashEnd - 1, 8));
        return false;
    }
    m_firstPage = int((first - layout.flashStart) / layout.pageSize);
    m_lastPage = int((last - layout.flashStart) / layout.pageSize);
    if (!layout.extendedErase && m_lastPage > kHighestPlainErasePage && !eraseAll) {
        m_refusal = NeedsEraseAll;
        m_error = QStringLiteral("error - the image reaches page %1, but this part erases with 0x43, whose page numbers end at %2: "
                                 "only \"erase all\" (which wipes the whole flash) can make room for it")
                      .arg(m_lastPage)
                      .arg(kHighestPlainErasePage);
        return false;
    }

    const quint32 end = LastAddress() + 1;
    for (quint32 address = FirstAddress(); address < end; address += kBlockBytes) {
        const quint32 length = std::min(kBlockBytes, end - address);
        const char* bytes = flashImage.constData() + (address - layout.flashStart);
        const bool erased = std::all_of(bytes, bytes + length, [](char b) { return quint8(b) == 0xFF; });
        m_blocks.append({address, length, erased});
    }
    return true;
}

quint32 TFlashPlan::FirstAddress() const
{
    return m_layout.flashStart + quint32(m_firstPage) * m_layout.pageSize;
}

quint32 TFlashPlan::LastAddress() const
{
    return m_layout.flashStart + quint32(m_lastPage + 1) * m_layout.pageSize - 1;
}

quint64 TFlashPlan::BytesToWrite() const
{
    quint64 bytes = 0;
    for (const Block& block : m_blocks)
        bytes += block.erased ? 0 : block.length;
    return bytes;
}

quint64 TFlashPlan::BytesToVerify() const
{
    quint64 bytes = 0;
    for (const Block& block : m_blocks)
        bytes += block.length;
    return bytes;
}

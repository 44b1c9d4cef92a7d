#pragma once
#include <QString>
#include <QVector>

#include "firmware/TFileReaderIF.h"

/// The flash of the part an update talks to, as its bootloader reports it.
struct TFlashLayout
{
    quint32 flashStart = 0;
    quint32 flashEnd = 0;        ///< exclusive
    quint32 pageSize = 0;
    bool extendedErase = false;  ///< 0x44 with two-byte page numbers; else 0x43 with one byte
};

/// What an update erases, writes and reads back, worked out before a byte goes on the line: the
/// pages from the image's lowest to its highest used page (the partial last one included), never
/// the pages around them, in blocks of the protocol's 256 bytes whatever the page size.
class TFlashPlan
{
public:
    static constexpr quint32 kBlockBytes = 256;       ///< Write/Read Memory carry at most 256 bytes
    static constexpr int kHighestPlainErasePage = 255; ///< 0x43 names pages with one byte

    /// One Write Memory / Read Memory: `length` bytes at `address`, taken from the flash image at
    /// `address - flashStart`. `erased`: every byte is 0xFF, so the erase already wrote it.
    struct Block
    {
        quint32 address;
        quint32 length;
        bool erased;
    };

    enum Refusal { None, OutsideFlash, NeedsEraseAll };

    /// Plans for an image (offsets within `info.base`'s span) whose bytes `flashImage` holds at
    /// their place in the flash. False, with Refusal() and ErrorText() set, when the image does
    /// not fit the flash, or when the part has only 0x43, the image reaches above page 255 and
    /// erase all was not chosen.
    bool Make(const TImageInfo& info, const TFlashLayout& layout, const QByteArray& flashImage, bool eraseAll);

    Refusal RefusalReason() const { return m_refusal; }
    QString ErrorText() const { return m_error; }
    bool EraseAll() const { return m_eraseAll; }
    int FirstPage() const { return m_firstPage; }
    int LastPage() const { return m_lastPage; }
    quint32 FirstAddress() const;
    /// The last byte of the last page (inclusive).
    quint32 LastAddress() const;
    const QVector<Block>& Blocks() const { return m_blocks; }
    /// Bytes of the blocks that are written (erased blocks are skipped).
    quint64 BytesToWrite() const;
    /// Bytes of every block: what a read-back compares.
    quint64 BytesToVerify() const;

private:
    TFlashLayout m_layout;
    Refusal m_refusal = None;
    QString m_error;
    bool m_eraseAll = false;
    int m_firstPage = 0;
    int m_lastPage = -1;
    QVector<Block> m_blocks;
};

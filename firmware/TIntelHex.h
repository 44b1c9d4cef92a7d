#pragma once
#include <QByteArray>
#include <QString>

#include "firmware/TFileReaderIF.h"

/// Reads Intel HEX text into a 1 MiB memory image and writes an image back as Intel HEX. The reader
/// refuses what it cannot read: the first bad line ends the read with ErrorText() naming it, and
/// the image is then not valid.
class TIntelHex final : public TFileReaderIF
{
public:
    static constexpr quint32 kSpanBytes = 0x100000;    ///< one image covers at most 1 MiB
    static constexpr quint32 kSpanMask = 0xFFFFF;      ///< buffer offsets cover 1 MiB
    static constexpr quint32 kBaseMask = 0xFFF00000;   ///< address bits that give the span base
    static constexpr int kRecordBytes = 512;           ///< any count (0..255) plus header and checksum fits
    static constexpr quint32 kWriteLineBytes = 16;     ///< data bytes per written line
    static constexpr quint32 kWriteBlockBytes = 0x8000; ///< all-0xFF blocks of this size are not written

    enum RecordType : quint8 {
        Data = 0x00,
        EndOfFile = 0x01,
        ExtendedSegmentAddress = 0x02,
        StartSegmentAddress = 0x03,
        ExtendedLinearAddress = 0x04,
        StartLinearAddress = 0x05,
    };

    /// False only when the file cannot be opened. A file that opens but does not read cleanly
    /// leaves IsValid() false and ErrorText() set.
    bool ReadFile(const QString& path, quint8* buffer, quint32 size, bool fill) override;
    /// True when the last read stored at least one byte other than 0xFF and found no bad line.
    bool IsValid() const override { return m_valid && m_error.isEmpty(); }
    void GetImageInfo(TImageInfo& info) const override;
    /// "error - line 7: ..." for the line that stopped the last read; empty when it read cleanly.
    QString ErrorText() const { return m_error; }
    /// The line that stopped the last read (counting from 1); 0 when it read cleanly.
    int ErrorLine() const { return m_errorLine; }

    /// Writes `size` bytes of `buffer` as 16-byte data lines. With `segment`, 32 KiB blocks that
    /// are all 0xFF are left out and each written block starts with an extended linear address.
    bool WriteFile(const QByteArray& path, const quint8* buffer, quint32 size, bool segment) const;

private:
    /// False (with the error set) when the line cannot be read.
    bool ParseLine(QByteArray line, int lineNumber);
    bool DecodeRecord(const QByteArray& line, int lineNumber);
    bool StoreData(quint16 address, quint8 count, const quint8* data, int lineNumber);
    bool Fail(int lineNumber, const QString& what);

    bool m_valid = false;
    quint8* m_buffer = nullptr;
    quint32 m_size = 0;
    quint32 m_lowest = 0;
    quint32 m_highest = 0;
    quint32 m_extendedAddress = 0;
    quint32 m_base = 0;
    bool m_haveBase = false;
    bool m_lastWasEndOfFile = false;
    QString m_error;
    int m_errorLine = 0;
    // Byte 0 count, bytes 1-2 address (high first), byte 3 type, then data, then checksum.
    quint8 m_record[kRecordBytes] = {};
};

#pragma once
#include <QByteArray>

#include "firmware/TFileReaderIF.h"

/// Reads Intel HEX text into a 1 MiB memory image and writes an image back as Intel HEX.
class TIntelHex : public TFileReaderIF
{
public:
    static constexpr quint32 kSpanMask = 0xFFFFF;      ///< buffer offsets cover 1 MiB
    static constexpr quint32 kBaseMask = 0xFFF00000;   ///< extended address bits that give the span base
    static constexpr int kMaxDataBytes = 32;           ///< longer data records are dropped
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

    bool ReadFile(const QString& path, quint8* buffer, quint32 size, bool fill) override;
    bool IsValid() const override { return m_valid; }
    void GetImageInfo(TImageInfo& info) const override;

    /// Writes `size` bytes of `buffer` as 16-byte data lines. With `segment`, 32 KiB blocks that
    /// are all 0xFF are left out and each written block starts with an extended linear address.
    bool WriteFile(const QByteArray& path, const quint8* buffer, quint32 size, bool segment) const;

private:
    void ParseLine(QByteArray line, int lineNumber);
    bool DecodeRecord(const QByteArray& line);
    void StoreData(quint32 offset, quint16 count, const quint8* data, int lineNumber);

    bool m_valid = false;
    quint8* m_buffer = nullptr;
    quint32 m_size = 0;
    quint32 m_lowest = 0;
    quint32 m_highest = 0;
    quint32 m_extendedAddress = 0;
    // Byte 0 count, bytes 1-2 address (high first), byte 3 type, then data, then checksum.
    quint8 m_record[kRecordBytes] = {};
};

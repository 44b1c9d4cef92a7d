#include "firmware/TIntelHex.h"

#include <QDebug>
#include <QFile>

#include <algorithm>
#include <cstring>

namespace {
constexpr int kHeaderBytes = 4;    // count, address high, address low, type
constexpr int kEnvelopeBytes = 5;  // header plus checksum
const char kUpperHex[] = "0123456789ABCDEF";
const QByteArray kEndOfFileLine(":00000001FF\n");

int HexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    const char lower = char(c | 0x20);
    if (lower >= 'a' && lower <= 'f')
        return lower - 'a' + 10;
    return -1;
}

// -1 when either character is not a hexadecimal digit.
int HexByte(const char* text)
{
    const int high = HexDigit(text[0]);
    const int low = HexDigit(text[1]);
    return (high < 0 || low < 0) ? -1 : (high << 4) | low;
}

void AppendHex(QByteArray& out, quint32 value, int digits)
{
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4)
        out.append(kUpperHex[(value >> shift) & 0xF]);
}

bool BlockIsErased(const quint8* buffer, quint64 size, quint64 offset, quint64 blockBytes)
{
    // Bytes past the buffer end count as erased.
    const quint8* begin = buffer + offset;
    const quint8* end = buffer + std::min(size, offset + blockBytes);
    return std::all_of(begin, end, [](quint8 b) { return b == 0xFF; });
}
} // namespace

bool TIntelHex::ReadFile(const QString& path, quint8* buffer, quint32 size, bool fill)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return false;

    m_buffer = buffer;
    m_size = buffer ? size : 0;
    if (fill && m_buffer)
        std::memset(m_buffer, 0xFF, m_size);
    m_valid = false;
    m_lowest = m_size;
    m_highest = 0;
    m_extendedAddress = 0;

    // Every line is read, also after an end-of-file record.
    int lineNumber = 0;
    while (!file.atEnd()) {
        const QByteArray line = file.readLine();
        if (line.isEmpty())  // read error: atEnd() would never become true
            break;
        ParseLine(line, ++lineNumber);
    }
    return true;
}

void TIntelHex::GetImageInfo(TImageInfo& info) const
{
    info.lowest = m_lowest;
    info.highest = m_highest;
    info.base = m_extendedAddress & kBaseMask;
}

void TIntelHex::ParseLine(QByteArray line, int lineNumber)
{
    const int nul = line.indexOf('\0');
    if (nul >= 0)
        line.truncate(nul);
    if (!line.startsWith(':') || !DecodeRecord(line))
        return;

    const quint8 count = m_record[0];
    const quint16 address = quint16((m_record[1] << 8) | m_record[2]);
    const quint8 type = m_record[3];
    const quint8* data = m_record + kHeaderBytes;

    switch (type) {
    case Data:
        if (count <= kMaxDataBytes)
            StoreData((address + m_extendedAddress) & kSpanMask, count, data, lineNumber);
        break;
    case ExtendedSegmentAddress:
        if (count == 2 && address == 0)
            m_extendedAddress = ((quint32(data[0]) << 8) | data[1]) * 16;
        break;
    case ExtendedLinearAddress:
        if (count == 2 && address == 0)
            m_extendedAddress = ((quint32(data[0]) << 8) | data[1]) << 16;
        break;
    default:
        qDebug().noquote() << "IntelHex: unexpected record type: Line:" << lineNumber << "    Buffer:"
                           << QStringLiteral("%1 %2 %3 %4")
                                  .arg(m_record[0], 2, 16, QLatin1Char('0'))
                                  .arg(m_record[1], 2, 16, QLatin1Char('0'))
                                  .arg(m_record[2], 2, 16, QLatin1Char('0'))
                                  .arg(m_record[3], 2, 16, QLatin1Char('0'));
        break;
    }
}

bool TIntelHex::DecodeRecord(const QByteArray& line)
{
    // Never reads past the line: a record shorter than its count says is dropped like a bad checksum.
    const char* text = line.constData();
    if (line.size() < 3)
        return false;
    const int count = HexByte(text + 1);
    if (count < 0 || line.size() < 1 + 2 * (count + kEnvelopeBytes))
        return false;
    quint8 sum = 0;
    for (int i = 0; i < count + kEnvelopeBytes; ++i) {
        const int value = HexByte(text + 1 + 2 * i);
        if (value < 0)
            return false;
        m_record[i] = quint8(value);
        sum = quint8(sum + value);
    }
    return sum == 0;
}

void TIntelHex::StoreData(quint32 offset, quint16 count, const quint8* data, int lineNumber)
{
    // Bytes past the caller's buffer are dropped; the used range covers only the bytes stored.
    const quint32 stored = offset < m_size ? std::min<quint32>(count, m_size - offset) : 0;
    if (stored < count)
        qDebug().noquote() << "IntelHex: data past the buffer end dropped: Line:" << lineNumber;
    if (stored == 0)
        return;
    std::memcpy(m_buffer + offset, data, stored);
    if (std::all_of(data, data + stored, [](quint8 b) { return b == 0xFF; }))
        return;
    m_valid = true;
    m_lowest = std::min(m_lowest, offset);
    m_highest = std::max(m_highest, offset + stored - 1);
}

bool TIntelHex::WriteFile(const QByteArray& path, const quint8* buffer, quint32 size, bool segment) const
{
    QFile file(QFile::decodeName(path));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text))
        return false;
    const quint64 total = buffer ? size : 0;

    QByteArray line;
    for (quint64 offset = 0; offset < total; offset += kWriteLineBytes) {
        if (segment && offset % kWriteBlockBytes == 0) {
            if (BlockIsErased(buffer, total, offset, kWriteBlockBytes)) {
                offset += kWriteBlockBytes - kWriteLineBytes;
                continue;
            }
            // Written again for the second half of a 64 KiB segment; harmless, and kept that way.
            const quint32 upper = quint32(offset >> 16) & 0xFFFF;
            line = ":02000004";
            AppendHex(line, upper, 4);
            AppendHex(line, quint8(-(6 + (upper >> 8) + (upper & 0xFF))), 2);
            line.append('\n');
            file.write(line);  // a failure here shows up at the next data line
        }

        const quint32 address = quint32(offset) & 0xFFFF;
        quint32 sum = kWriteLineBytes + (address >> 8) + (address & 0xFF);
        line = ":";
        AppendHex(line, kWriteLineBytes, 2);
        AppendHex(line, address, 4);
        line.append("00");
        for (quint64 i = offset; i < offset + kWriteLineBytes; ++i) {
            const quint8 value = i < total ? buffer[i] : 0xFF;
            AppendHex(line, value, 2);
            sum += value;
        }
        AppendHex(line, quint8(-sum), 2);
        line.append('\n');
        if (file.write(line) != line.size())
            return false;
    }
    return file.write(kEndOfFileLine) == kEndOfFileLine.size() && file.flush();
}

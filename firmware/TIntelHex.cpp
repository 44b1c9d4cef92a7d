#include "firmware/TIntelHex.h"

#include <QDebug>
#include <QFile>

#include <algorithm>
#include <cstring>

#include "base/THexText.h"

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
    m_base = 0;
    m_haveBase = false;
    m_lastWasEndOfFile = false;
    m_error.clear();
    m_errorLine = 0;

    // Records after an end-of-file record are read too; the file must still end with one.
    int lineNumber = 0;
    while (!file.atEnd()) {
        const QByteArray line = file.readLine();
        if (line.isEmpty())  // read error: atEnd() would never become true
            break;
        if (!ParseLine(line, ++lineNumber))
            return true;
    }
    if (!m_lastWasEndOfFile)
        Fail(qMax(lineNumber, 1), QStringLiteral("the file ends without an end-of-file record (cut off?)"));
    return true;
}

void TIntelHex::GetImageInfo(TImageInfo& info) const
{
    info.lowest = m_lowest;
    info.highest = m_highest;
    info.base = m_haveBase ? m_base : m_extendedAddress & kBaseMask;
}

bool TIntelHex::Fail(int lineNumber, const QString& what)
{
    m_errorLine = lineNumber;
    m_error = QStringLiteral("error - line %1: %2").arg(lineNumber).arg(what);
    return false;
}

bool TIntelHex::ParseLine(QByteArray line, int lineNumber)
{
    while (line.endsWith('\n') || line.endsWith('\r'))
        line.chop(1);
    if (line.isEmpty())
        return true;   // a blank line carries nothing
    if (!line.startsWith(':'))
        return Fail(lineNumber, QStringLiteral("no ':' at the start of the record"));
    if (!DecodeRecord(line, lineNumber))
        return false;

    const quint8 count = m_record[0];
    const quint16 address = quint16((m_record[1] << 8) | m_record[2]);
    const quint8 type = m_record[3];
    const quint8* data = m_record + kHeaderBytes;
    m_lastWasEndOfFile = type == EndOfFile;

    switch (type) {
    case Data:
        return StoreData(address, count, data, lineNumber);
    case ExtendedSegmentAddress:
    case ExtendedLinearAddress:
        if (count != 2 || address != 0)
            return Fail(lineNumber, QStringLiteral("an extended address record needs 2 data bytes at address 0000"));
        m_extendedAddress = (quint32(data[0]) << 8) | data[1];
        m_extendedAddress = type == ExtendedSegmentAddress ? m_extendedAddress * 16 : m_extendedAddress << 16;
        return true;
    case EndOfFile:
    case StartSegmentAddress:
    case StartLinearAddress:
        if (count != (type == EndOfFile ? 0 : 4))
            return Fail(lineNumber, QStringLiteral("record type %1 with %2 data bytes").arg(THexText::Prefixed(type, 2)).arg(count));
        // Known, but nothing the image needs: a start address is not kept.
        qDebug().noquote() << "IntelHex: unexpected record type: Line:" << lineNumber << "    Buffer:"
                           << QStringLiteral("%1 %2 %3 %4")
                                  .arg(m_record[0], 2, 16, QLatin1Char('0'))
                                  .arg(m_record[1], 2, 16, QLatin1Char('0'))
                                  .arg(m_record[2], 2, 16, QLatin1Char('0'))
                                  .arg(m_record[3], 2, 16, QLatin1Char('0'));
        return true;
    default:
        return Fail(lineNumber, QStringLiteral("unknown record type %1").arg(THexText::Prefixed(type, 2)));
    }
}

bool TIntelHex::DecodeRecord(const QByteArray& line, int lineNumber)
{
    const char* text = line.constData();
    for (int i = 1; i < line.size(); ++i) {
        if (HexDigit(text[i]) < 0)
            return Fail(lineNumber, QStringLiteral("character %1 at column %2 is not a hexadecimal digit")
                                        .arg(THexText::Prefixed(quint8(text[i]), 2))
                                        .arg(i + 1));
    }
    const int count = line.size() >= 3 ? HexByte(text + 1) : -1;
    const int digits = line.size() - 1;
    if (count < 0 || digits != 2 * (count + kEnvelopeBytes))
        return Fail(lineNumber, count < 0 ? QStringLiteral("record too short for its byte count")
                                          : QStringLiteral("%1 hexadecimal digits where the byte count %2 needs %3")
                                                .arg(digits)
                                                .arg(THexText::Prefixed(quint8(count), 2))
                                                .arg(2 * (count + kEnvelopeBytes)));
    quint8 sum = 0;
    for (int i = 0; i < count + kEnvelopeBytes; ++i) {
        m_record[i] = quint8(HexByte(text + 1 + 2 * i));
        sum = quint8(sum + m_record[i]);
    }
    if (sum != 0) {
        const quint8 stated = m_record[count + kEnvelopeBytes - 1];
        return Fail(lineNumber, QStringLiteral("checksum %1 does not match the record (%2 expected)")
                                    .arg(THexText::Prefixed(stated, 2), THexText::Prefixed(quint8(stated - sum), 2)));
    }
    return true;
}

bool TIntelHex::StoreData(quint16 address, quint8 count, const quint8* data, int lineNumber)
{
    const quint64 first = quint64(m_extendedAddress) + address;
    if (count == 0)
        return true;
    const quint64 last = first + count - 1;
    if (last > 0xFFFFFFFFull)
        return Fail(lineNumber, QStringLiteral("data at %1 runs past the end of the 4 GiB address space").arg(THexText::Prefixed(quint32(first), 8)));
    if (!m_haveBase) {
        // The first data decides which 1 MiB the image covers.
        m_base = quint32(first) & kBaseMask;
        m_haveBase = true;
    }
    if (first < m_base || last >= quint64(m_base) + kSpanBytes)
        return Fail(lineNumber, QStringLiteral("data at %1 lies outside the 1 MiB image from %2 (regions too far apart for one image)")
                                    .arg(THexText::Prefixed(quint32(first), 8), THexText::Prefixed(m_base, 8)));
    const quint32 offset = quint32(first - m_base);
    if (quint64(offset) + count > m_size)
        return Fail(lineNumber, QStringLiteral("data at %1 runs past the image buffer of %2 bytes")
                                    .arg(THexText::Prefixed(quint32(first), 8))
                                    .arg(m_size));
    std::memcpy(m_buffer + offset, data, count);
    if (std::all_of(data, data + count, [](quint8 b) { return b == 0xFF; }))
        return true;
    m_valid = true;
    m_lowest = std::min(m_lowest, offset);
    m_highest = std::max(m_highest, offset + count - 1);
    return true;
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

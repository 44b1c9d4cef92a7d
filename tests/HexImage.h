#pragma once
// Intel HEX texts and firmware images for tests, written out record by record here so that they
// share no code with the reader under test.
#include <QByteArray>
#include <QFile>
#include <QRandomGenerator>
#include <QString>

namespace HexImage {
/// One record with its checksum, upper-case, ended by a newline.
inline QByteArray Record(quint8 type, quint16 address, const QByteArray& data)
{
    QByteArray bytes;
    bytes.append(char(data.size())).append(char(address >> 8)).append(char(address & 0xFF)).append(char(type)).append(data);
    quint8 sum = 0;
    for (char c : bytes)
        sum = quint8(sum + quint8(c));
    return ':' + (bytes + char(quint8(-sum))).toHex().toUpper() + '\n';
}

/// `data` at `address`, `lineBytes` a data record, an extended linear address record wherever the
/// upper 16 address bits change, and the end-of-file record.
inline QByteArray File(quint32 address, const QByteArray& data, int lineBytes = 16)
{
    QByteArray out;
    quint32 upper = 0xFFFFFFFF;
    for (int i = 0; i < data.size(); i += lineBytes) {
        const quint32 at = address + quint32(i);
        if ((at >> 16) != upper) {
            upper = at >> 16;
            out += Record(0x04, 0, QByteArray().append(char(upper >> 8)).append(char(upper & 0xFF)));
        }
        out += Record(0x00, quint16(at & 0xFFFF), data.mid(i, lineBytes));
    }
    return out + Record(0x01, 0, QByteArray());
}

inline QByteArray RandomBytes(int size, quint32 seed)
{
    QRandomGenerator random(seed);
    QByteArray bytes(size, 0);
    for (char& c : bytes)
        c = char(random.bounded(256));
    return bytes;
}

/// A firmware that names itself ("VELTOFW:<name>;<major>.<minor>;<build>" at 0x40), as the virtual
/// module reads it when its application starts.
inline QByteArray Firmware(int size, const QByteArray& identity)
{
    QByteArray image = RandomBytes(size, quint32(size));
    const QByteArray tag = "VELTOFW:" + identity + '\0';
    image.replace(0x40, tag.size(), tag);
    return image;
}

/// Writes `text` to `path` and gives the path back.
inline QString Write(const QString& path, const QByteArray& text)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
        return QString();
    return path;
}
}

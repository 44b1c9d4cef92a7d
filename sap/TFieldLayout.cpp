#include "sap/TFieldLayout.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QStringList>

#include "sap/TDeviceTypes.h"
#include "sap/TRtcTime.h"
#include "settings/TSettings.h"
#include "base/THexText.h"

namespace {

enum class Kind { Unsigned, Signed, RtcTime, BattLevel, DeviceType, Octets, Invalid };

/// Octet sequences up to this size are identifiers and keys, given in full; longer ones are data.
constexpr int kMaxFixedOctets = 16;

struct FieldType {
    Kind kind = Kind::Invalid;
    int size = 0;
    bool hex = false;
};

FieldType ParseType(const char* code)
{
    const QString type = QString::fromLatin1(code);
    // code     kind            bytes  hex
    static const struct { const char* code; Kind kind; int size; bool hex; } kTypes[] = {
        {"U8d", Kind::Unsigned, 1, false},  {"I8d", Kind::Signed, 1, false},   {"U8h", Kind::Unsigned, 1, true},
        {"U16d", Kind::Unsigned, 2, false}, {"U16h", Kind::Unsigned, 2, true}, {"I16d", Kind::Signed, 2, false},
        {"U24d", Kind::Unsigned, 3, false}, {"U24h", Kind::Unsigned, 3, true}, {"U32d", Kind::Unsigned, 4, false},
        {"U32h", Kind::Unsigned, 4, true},  {"RTCTIME", Kind::RtcTime, 4, false}, {"BATTLEVEL", Kind::BattLevel, 2, false},
        {"DEVICETYPE", Kind::DeviceType, 1, false},
    };
    for (const auto& row : kTypes)
        if (type == QLatin1String(row.code))
            return {row.kind, row.size, row.hex};
    if (type.startsWith(QLatin1String("OctetSeq")) && type.size() > 9) {
        bool ok = false;
        const int n = type.mid(9).toInt(&ok);
        if (ok && n > 0)
            return {Kind::Octets, n, true};
    }
    return {};
}

quint64 ReadLE(const quint8* p, int size)
{
    quint64 v = 0;
    for (int i = size - 1; i >= 0; --i)
        v = (v << 8) | p[i];
    return v;
}

void WriteLE(QByteArray& out, quint64 value, int size)
{
    for (int i = 0; i < size; ++i)
        out.append(char((value >> (8 * i)) & 0xFF));
}

bool ParseDateTime(const QString& text, QDateTime& time)
{
    for (const char* format : {"yyyy-MM-dd hh:mm:ss", "dd.MM.yyyy hh:mm:ss"}) {
        time = QDateTime::fromString(text.trimmed(), QLatin1String(format));
        if (time.isValid())
            return true;
    }
    return false;
}

}

namespace TFieldLayout {

int RequiredFields(const TFieldLayoutEntry* layout)
{
    int required = 0;
    for (int i = 0; layout && layout[i].name; ++i)
        if (!QLatin1String(layout[i].name).contains(QLatin1String("Optional:")))
            required = i + 1;
    return required;
}

QString FieldName(const char* name)
{
    QString field = QString::fromLatin1(name);
    if (field.contains(QLatin1String("Optional:")))
        field.remove(0, 9);
    return field;
}

QStringList ParameterNames(const TFieldLayoutEntry* layout)
{
    QStringList names;
    for (; layout && layout->name; ++layout) {
        const QString name = FieldName(layout->name);
        if (name != QLatin1String("Reserved") && !names.contains(name))
            names << name;
    }
    return names;
}

int ReservedFields(const TFieldLayoutEntry* layout)
{
    int count = 0;
    for (; layout && layout->name; ++layout)
        count += FieldName(layout->name) == QLatin1String("Reserved") ? 1 : 0;
    return count;
}

QString HexOctets(const QByteArray& bytes)
{
    return QString::fromLatin1(bytes.toHex(' ').toUpper());
}

bool ParseUnsigned(const QString& text, bool hexDefault, quint64 maximum, quint64& value)
{
    QString t = text.trimmed();
    bool hex = hexDefault;
    if (t.startsWith(QLatin1String("0x"), Qt::CaseInsensitive)) {
        t = t.mid(2);
        hex = true;
    }
    if (t.isEmpty() || t.startsWith(QLatin1Char('+')) || t.startsWith(QLatin1Char('-')))
        return false;
    bool ok = false;
    value = t.toULongLong(&ok, hex ? 16 : 10);
    return ok && value <= maximum;
}

bool ParseHexBytes(const QString& text, QByteArray& bytes)
{
    QString t = text.trimmed();
    // Each byte may carry its own prefix ("0x01 0x02 0x03"); a single digit after one is one byte.
    static const QRegularExpression singleDigit(QStringLiteral("(?<=^|[\\s:,-])0[xX]([0-9A-Fa-f])(?![0-9A-Fa-f])"));
    static const QRegularExpression prefix(QStringLiteral("(?<=^|[\\s:,-])0[xX]"));
    t.replace(singleDigit, QStringLiteral("0\\1"));
    t.remove(prefix);
    static const QRegularExpression separators(QStringLiteral("[\\s:,-]"));
    t.remove(separators);
    static const QRegularExpression hexOnly(QStringLiteral("^[0-9A-Fa-f]*$"));
    if (t.size() % 2 != 0 || !hexOnly.match(t).hasMatch())
        return false;
    bytes = QByteArray::fromHex(t.toLatin1());
    return true;
}

int Decode(const TFieldLayoutEntry* layout, const QByteArray& payload, int offset, TKeyValueList& record)
{
    return Decode(layout, reinterpret_cast<const quint8*>(payload.constData()), payload.size(), offset, record);
}

int Decode(const TFieldLayoutEntry* layout, const quint8* payload, int length, int offset, TKeyValueList& record)
{
    for (; layout && layout->name && offset <= length; ++layout) {
        const FieldType type = ParseType(layout->type);
        const QString name = FieldName(layout->name);
        if (offset == length) {
            // Data of variable length that the payload leaves empty is there, only empty: the
            // record then packs into the same bytes again.
            if (type.kind == Kind::Octets && type.size > kMaxFixedOctets && !QLatin1String(layout->name).contains(QLatin1String("Optional:")))
                record.Append(name, QString());
            break;
        }
        const int left = length - offset;
        const quint8* p = payload + offset;
        if (type.kind == Kind::Invalid)
            break;
        if (type.kind == Kind::Octets) {
            const int n = qMin(type.size, left);
            record.Append(name, HexOctets(QByteArray(reinterpret_cast<const char*>(p), n)));
            offset += n;
            continue;
        }
        if (left < type.size)
            break;
        const quint64 raw = ReadLE(p, type.size);
        QString text;
        switch (type.kind) {
        case Kind::Unsigned:
            text = type.hex ? THexText::Prefixed(raw, type.size * 2) : QString::number(raw);
            break;
        case Kind::Signed:
            text = QString::number(type.size == 1 ? qint64(qint8(raw)) : qint64(qint16(raw)));
            break;
        case Kind::RtcTime:
            text = TRtcTime::ToText(quint32(raw), TSettings::Instance().IsoFormat());
            break;
        case Kind::BattLevel:
            text = QStringLiteral("%1 mV").arg(raw);
            break;
        case Kind::DeviceType:
            text = TDeviceTypes::Name(quint8(raw));
            break;
        default:
            break;
        }
        record.Append(name, text);
        offset += type.size;
    }
    return offset;
}

bool Pack(const TFieldLayoutEntry* layout, const TKeyValueList& params, QByteArray& payload, QString& error)
{
    QByteArray out;
    // Reserved fields go back as they were read: the nth "Reserved" parameter fills the nth one.
    QStringList reserved;
    for (const TKeyValueList::Item& item : params)
        if (item.first == QLatin1String("Reserved"))
            reserved << item.second;
    int reservedUsed = 0;
    for (; layout && layout->name; ++layout) {
        const FieldType type = ParseType(layout->type);
        const QString name = FieldName(layout->name);
        if (type.kind == Kind::Invalid) {
            error = QStringLiteral("error - unknown field type %1 of %2").arg(QLatin1String(layout->type), name);
            return false;
        }
        QString value;
        if (name == QLatin1String("Reserved")) {
            if (reservedUsed >= reserved.size()) {
                out.append(QByteArray(type.size, '\0'));
                continue;
            }
            value = reserved.at(reservedUsed++);
        } else if (!params.Contains(name)) {
            if (QLatin1String(layout->name).contains(QLatin1String("Optional:")))
                break;
            error = QStringLiteral("error - parameter missing: %1").arg(name);
            return false;
        } else {
            value = params.Value(name);
        }
        const QString invalid = QStringLiteral("error - invalid value for %1: \"%2\"").arg(name, value);
        switch (type.kind) {
        case Kind::Octets: {
            QByteArray bytes;
            if (!ParseHexBytes(value, bytes)) {
                error = QStringLiteral("error - invalid hex byte list for %1: \"%2\"").arg(name, value);
                return false;
            }
            if (bytes.size() > type.size) {
                error = QStringLiteral("error - too many bytes for %1: %2 (at most %3)").arg(name).arg(bytes.size()).arg(type.size);
                return false;
            }
            if (type.size <= kMaxFixedOctets && bytes.size() != type.size) {
                error = QStringLiteral("error - %1 needs exactly %2 bytes, got %3").arg(name).arg(type.size).arg(bytes.size());
                return false;
            }
            out.append(bytes);
            break;
        }
        case Kind::Unsigned: {
            const quint64 maximum = (quint64(1) << (8 * type.size)) - 1;
            quint64 v = 0;
            if (!ParseUnsigned(value, type.hex, maximum, v)) {
                error = QStringLiteral("error - invalid value for %1: \"%2\" (0..%3)").arg(name, value).arg(maximum);
                return false;
            }
            WriteLE(out, v, type.size);
            break;
        }
        case Kind::Signed: {
            bool ok = false;
            const qint64 v = value.trimmed().toLongLong(&ok);
            const qint64 limit = qint64(1) << (8 * type.size - 1);
            if (!ok || v < -limit || v >= limit) {
                error = QStringLiteral("error - invalid value for %1: \"%2\" (%3..%4)").arg(name, value).arg(-limit).arg(limit - 1);
                return false;
            }
            WriteLE(out, quint64(v), type.size);
            break;
        }
        case Kind::RtcTime: {
            QDateTime time;
            if (!ParseDateTime(value, time) || time.date().year() < 2000 || time.date().year() > 2063) {
                error = invalid;
                return false;
            }
            WriteLE(out, TRtcTime::Pack(time), 4);
            break;
        }
        case Kind::BattLevel: {
            QString t = value.trimmed();
            if (t.endsWith(QLatin1String("mV")))
                t = t.left(t.size() - 2).trimmed();
            quint64 v = 0;
            if (!ParseUnsigned(t, false, 0xFFFF, v)) {
                error = invalid;
                return false;
            }
            WriteLE(out, v, 2);
            break;
        }
        case Kind::DeviceType: {
            quint8 number = 0;
            quint64 v = 0;
            if (TDeviceTypes::Number(value, number))
                v = number;
            else if (!ParseUnsigned(value, false, 0xFF, v)) {
                error = invalid;
                return false;
            }
            WriteLE(out, v, 1);
            break;
        }
        case Kind::Invalid:
            break;
        }
    }
    payload = out;
    return true;
}

}

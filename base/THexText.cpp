#include "base/THexText.h"

namespace THexText {

QString Digits(quint64 value, int digits)
{
    return QStringLiteral("%1").arg(value, digits, 16, QLatin1Char('0')).toUpper();
}

QString Prefixed(quint64 value, int digits)
{
    return QStringLiteral("0x") + Digits(value, digits);
}

QString Bytes(const quint8* data, int length)
{
    static const char kDigits[] = "0123456789ABCDEF";
    QString text;
    text.reserve(length * 3);
    for (int i = 0; i < length; ++i) {
        text += QLatin1Char(kDigits[data[i] >> 4]);
        text += QLatin1Char(kDigits[data[i] & 0x0F]);
        text += QLatin1Char(' ');
    }
    return text;
}

}

#include "sap/TRtcTime.h"

namespace {
struct Fields {
    int year, month, day, hour, minute, second;
};

Fields Split(quint32 v)
{
    return {int(v >> 26) + 2000, int((v >> 12) & 0x0F), int((v >> 21) & 0x1F),
            int((v >> 16) & 0x1F), int((v >> 6) & 0x3F), int(v & 0x3F)};
}

QString Two(int value)
{
    return QStringLiteral("%1").arg(value, 2, 10, QLatin1Char('0'));
}
}

namespace TRtcTime {

quint32 Pack(const QDateTime& time)
{
    const QDate d = time.date();
    const QTime t = time.time();
    const quint32 year = quint32(qBound(0, d.year() - 2000, 63));
    return (year << 26) | (quint32(d.day()) << 21) | (quint32(t.hour()) << 16) | (quint32(d.month()) << 12)
        | (quint32(t.minute()) << 6) | quint32(t.second());
}

QDateTime Unpack(quint32 value)
{
    const Fields f = Split(value);
    return QDateTime(QDate(f.year, f.month, f.day), QTime(f.hour, f.minute, f.second));
}

QString ToText(quint32 value, bool iso)
{
    const Fields f = Split(value);
    if (iso)
        return QStringLiteral("%1-%2-%3 %4:%5:%6").arg(f.year).arg(Two(f.month), Two(f.day), Two(f.hour), Two(f.minute), Two(f.second));
    return QStringLiteral("%1.%2.%3 %4:%5:%6").arg(Two(f.day), Two(f.month)).arg(f.year).arg(Two(f.hour), Two(f.minute), Two(f.second));
}

}

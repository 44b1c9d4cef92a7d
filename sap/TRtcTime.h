#pragma once
#include <QDateTime>
#include <QString>

/// The module's packed clock: bits 0-5 second, 6-11 minute, 12-15 month, 16-20 hour, 21-25 day,
/// 26-31 year - 2000 (month sits below hour and day on purpose).
namespace TRtcTime {
quint32 Pack(const QDateTime& time);
QDateTime Unpack(quint32 value);
/// "%1-%2-%3 %4:%5:%6" (ISO) or "%1.%2.%3 %4:%5:%6"; fields come straight from the bits, so an
/// impossible date (month 15) is still shown as the module sent it.
QString ToText(quint32 value, bool iso);
}

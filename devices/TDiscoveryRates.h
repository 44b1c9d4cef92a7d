#pragma once
#include <QString>
#include <QStringList>

/// Which of the link's baud rates discovery tries (process-wide, kept under
/// "HCI-Parameter"/"DiscoveryBaudrates") and the baud rate last used ("HCI-Parameter"/"Baudrate").
/// Indexes are places in the link's list of supported rates.
namespace TDiscoveryRates {
/// Re-reads the flags from the settings and writes the enabled list back (done on first use).
void Load();
bool SetFlag(const QString& baudrateText, bool on);
bool Flag(int baudrate);
/// Number of enabled rates.
int Count();
/// Every supported rate as "index : rate bps".
QStringList RateTexts();
/// The rates a module's own HCI may be set to (9600 to 115200), as "index : rate bps".
QStringList SelectableTexts();
/// Where a new probe starts: the fastest enabled rate (115200 when none is enabled).
int FirstIndex();
/// The next lower enabled rate, wrapping from the slowest to the fastest; `index` itself when it is the only one.
int PreviousIndex(int index);
int RateAt(int index);
/// The discovery flag of every supported rate, in the link's order.
QList<bool> Flags();
/// The same walk over a given set of flags (the discovery policy works on a copy).
int FirstIndex(const QList<bool>& flags);
int PreviousIndex(const QList<bool>& flags, int index);
int Count(const QList<bool>& flags);

QString LoadLastBaudrate();
void SaveLastBaudrate(const QString& baudrateText);
}

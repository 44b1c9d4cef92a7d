#include "devices/TDiscoveryRates.h"

#include "hci/TVeltoLRHCI.h"
#include "settings/TSettings.h"

namespace {
const char* const kGroup = "HCI-Parameter";
const char* const kDiscoveryKey = "DiscoveryBaudrates";
const char* const kBaudrateKey = "Baudrate";
constexpr int kMinSelectableBaud = 9600;
constexpr int kMaxSelectableBaud = 115200;

struct RateFlags {
    QList<bool> on;
    bool loaded = false;
};

RateFlags& State()
{
    static RateFlags flags;
    return flags;
}

const QList<int>& Rates()
{
    return TVeltoLRHCI::SupportedBaudrates();
}

RateFlags& Loaded()
{
    RateFlags& f = State();
    if (!f.loaded)
        TDiscoveryRates::Load();
    return f;
}

QStringList EnabledTexts()
{
    QStringList list;
    const RateFlags& f = State();
    for (int i = 0; i < Rates().size(); ++i)
        if (f.on.value(i))
            list << QString::number(Rates()[i]);
    return list;
}

QString WithoutBps(const QString& text)
{
    const int cut = text.indexOf(QStringLiteral(" bps"));
    return cut >= 0 ? text.left(cut) : text;
}
}

namespace TDiscoveryRates {

void Load()
{
    RateFlags& f = State();
    f.loaded = true;
    f.on.clear();
    // An invalid or empty stored list reads as the default (with a warning), never as "no rate at all".
    const QStringList stored = TSettings::Instance().DiscoveryBaudrates();
    for (int rate : Rates())
        f.on << stored.contains(QString::number(rate));
    TSettings::Instance().WriteList(QString::fromLatin1(kGroup), QString::fromLatin1(kDiscoveryKey), EnabledTexts());
}

bool SetFlag(const QString& baudrateText, bool on)
{
    RateFlags& f = Loaded();
    const int index = Rates().indexOf(TVeltoLRHCI::ParseBaudrate(baudrateText));
    if (index < 0)
        return false;
    f.on[index] = on;
    TSettings::Instance().WriteList(QString::fromLatin1(kGroup), QString::fromLatin1(kDiscoveryKey), EnabledTexts());
    return true;
}

bool Flag(int baudrate)
{
    const int index = Rates().indexOf(baudrate);
    return index >= 0 && Loaded().on.value(index);
}

int Count()
{
    return Count(Loaded().on);
}

QStringList RateTexts()
{
    QStringList list;
    for (int i = 0; i < Rates().size(); ++i)
        list << QStringLiteral("%1 : %2 bps").arg(i).arg(Rates()[i]);
    return list;
}

QStringList SelectableTexts()
{
    QStringList list;
    for (int i = 0; i < Rates().size(); ++i)
        if (Rates()[i] >= kMinSelectableBaud && Rates()[i] <= kMaxSelectableBaud)
            list << QStringLiteral("%1 : %2 bps").arg(i).arg(Rates()[i]);
    return list;
}

int FirstIndex()
{
    return FirstIndex(Loaded().on);
}

int PreviousIndex(int index)
{
    return PreviousIndex(Loaded().on, index);
}

QList<bool> Flags()
{
    return Loaded().on;
}

int FirstIndex(const QList<bool>& flags)
{
    for (int i = Rates().size() - 1; i >= 0; --i)
        if (flags.value(i))
            return i;
    return Rates().indexOf(TVeltoLRHCI::kDefaultBaudrate);
}

int PreviousIndex(const QList<bool>& flags, int index)
{
    const int count = Rates().size();
    if (index < 0 || index >= count)
        index = 0;
    const int start = index;
    do {
        index = index > 0 ? index - 1 : count - 1;
    } while (index != start && !flags.value(index));
    return index;
}

int Count(const QList<bool>& flags)
{
    return int(flags.count(true));
}

int RateAt(int index)
{
    return Rates().value(index, TVeltoLRHCI::kDefaultBaudrate);
}

QString LoadLastBaudrate()
{
    return TSettings::Instance().ReadValue(QString::fromLatin1(kGroup), QString::fromLatin1(kBaudrateKey), QStringLiteral("115200"));
}

void SaveLastBaudrate(const QString& baudrateText)
{
    TSettings::Instance().WriteValue(QString::fromLatin1(kGroup), QString::fromLatin1(kBaudrateKey), WithoutBps(baudrateText));
}

}

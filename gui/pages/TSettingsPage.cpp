#include "gui/pages/TSettingsPage.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include "devices/TDeviceManager.h"
#include "devices/TDiscoveryRates.h"
#include "gui/TGuiItemList.h"
#include "hci/TVeltoLRHCI.h"
#include "settings/TSettings.h"

const QList<TSettingsPage::Switch>& TSettingsPage::Switches()
{
    // group             key                            label                                       default
    static const QList<Switch> switches = {
        {"Formats", "ISOFormat", "Dates in ISO format (yyyy-MM-dd)", true},
        {"Logfile", "ShowSingleLineKVList", "Records on one line", true},
        {"FirmwareSupport", "FirmwareCompatibilityCheck", "Firmware compatibility check", true},
        {"SectionControl", "DynamicFeatureControl", "Offer only the sections the device supports", false},
        {"SectionControl", "AutomaticPageRefresh", "Refresh the page when the device changes", false},
    };
    return switches;
}

namespace {
QGroupBox* Box(const QString& title, QWidget* parent, QVBoxLayout*& layout)
{
    auto* box = new QGroupBox(title, parent);
    layout = new QVBoxLayout(box);
    return box;
}

/// A list of the group's entries, named after the group, and a field with its label to type a new one.
QListWidget* EntryList(QGroupBox* box, QVBoxLayout* layout, QLineEdit* edit, const QString& label, QHBoxLayout*& row)
{
    auto* list = new QListWidget(box);
    list->setAccessibleName(box->title());
    list->setMaximumHeight(list->fontMetrics().height() * 6);
    layout->addWidget(list);
    row = new QHBoxLayout;
    auto* caption = new QLabel(label, box);
    caption->setBuddy(edit);
    edit->setAccessibleName(QString(label).remove(QLatin1Char('&')).remove(QLatin1Char(':')));
    row->addWidget(caption);
    row->addWidget(edit, 1);
    layout->addLayout(row);
    return list;
}
}

TSettingsPage::TSettingsPage(const QString& title, QWidget* parent)
    : TFormPage(title, parent)
{
    QStringList rateItems;
    const QList<int>& rates = TVeltoLRHCI::SupportedBaudrates();
    for (int i = 0; i < rates.size(); ++i)
        rateItems << QStringLiteral("%1:%2 bps").arg(1 << i).arg(rates[i]);
    AddGroup(QStringLiteral("Discovery Baud Rates"),
             {QStringLiteral("GuiName:Probe at;GuiType:CheckButtonBox;Key:DiscoveryRates;Value:0;ValueList:") + rateItems.join(QLatin1Char(','))});
    AddButton(QStringLiteral("Apply Baud Rates"), QStringLiteral("use the checked rates for discovery"), [this] { ApplyDiscoveryRates(); });

    QWidget* area = Body()->parentWidget();
    QVBoxLayout* layout = nullptr;
    QGroupBox* box = Box(QStringLiteral("VID/PID Patterns"), area, layout);
    Body()->addWidget(box);
    m_patternEdit = new QLineEdit(area);
    m_patternEdit->setPlaceholderText(QStringLiteral("e.g. VID_0403.PID_6015"));
    QHBoxLayout* patternRow = nullptr;
    m_patterns = EntryList(box, layout, m_patternEdit, QStringLiteral("Pattern:"), patternRow);
    auto* addPattern = new QPushButton(QStringLiteral("Add"), area);
    auto* removePattern = new QPushButton(QStringLiteral("Remove"), area);
    patternRow->addWidget(addPattern);
    patternRow->addWidget(removePattern);
    connect(addPattern, &QPushButton::clicked, this, [this] { AddPattern(m_patternEdit->text().trimmed()); });
    connect(removePattern, &QPushButton::clicked, this, [this] {
        if (QListWidgetItem* item = m_patterns->currentItem())
            TDeviceManager::Instance().RemoveVidPidPattern(item->text());
        RefreshPage();
    });

    box = Box(QStringLiteral("Extra Ports"), area, layout);
    Body()->addWidget(box);
    m_portEdit = new QLineEdit(area);
    m_portEdit->setPlaceholderText(QStringLiteral("e.g. /dev/ttyACM0 or /dev/pts/7"));
    QHBoxLayout* portRow = nullptr;
    m_extraPorts = EntryList(box, layout, m_portEdit, QStringLiteral("Port:"), portRow);
    auto* addPort = new QPushButton(QStringLiteral("Add"), area);
    auto* removePort = new QPushButton(QStringLiteral("Remove"), area);
    portRow->addWidget(addPort);
    portRow->addWidget(removePort);
    connect(addPort, &QPushButton::clicked, this, [this] { AddExtraPort(m_portEdit->text().trimmed()); });
    connect(removePort, &QPushButton::clicked, this, [this] {
        if (QListWidgetItem* item = m_extraPorts->currentItem())
            TDeviceManager::Instance().RemoveExtraPort(item->text());
        RefreshPage();
    });

    box = Box(QStringLiteral("Blocked Ports"), area, layout);
    Body()->addWidget(box);
    m_blocked = new QListWidget(area);
    m_blocked->setAccessibleName(box->title());
    m_blocked->setMaximumHeight(m_blocked->fontMetrics().height() * 6);
    layout->addWidget(m_blocked);
    auto* discover = new QPushButton(QStringLiteral("Discover Devices"), area);
    discover->setToolTip(QStringLiteral("probe the blocked ports again"));
    layout->addWidget(discover, 0, Qt::AlignRight);
    connect(discover, &QPushButton::clicked, this, &TSettingsPage::DiscoverDevices);

    Body()->addWidget(Box(QStringLiteral("Log and Formats"), area, layout));
    for (const Switch& s : Switches()) {
        auto* box = new QCheckBox(QString::fromLatin1(s.label), area);
        box->setChecked(TSettings::Instance().ReadBool(QString::fromLatin1(s.group), QString::fromLatin1(s.key), s.on));
        connect(box, &QCheckBox::toggled, this, [s](bool on) {
            if (qstrcmp(s.group, "Formats") == 0)
                TSettings::Instance().SetIsoFormat(on);
            else
                TSettings::Instance().WriteBool(QString::fromLatin1(s.group), QString::fromLatin1(s.key), on);
        });
        layout->addWidget(box);
    }
    Finish();
    RefreshPage();
    // What "Discover Devices" found is the outcome of that button.
    connect(&TDeviceManager::Instance(), &TDeviceManager::EvDiscoverySummary, this,
            [this](const QString& text) { ShowOutcome(TCommandOutcome(TCommandOutcome::None, text)); });
}

bool TSettingsPage::AddPattern(const QString& pattern)
{
    const bool added = !pattern.isEmpty() && TDeviceManager::Instance().AddVidPidPattern(pattern);
    RefreshPage();
    return added;
}

bool TSettingsPage::AddExtraPort(const QString& port)
{
    const bool added = !port.isEmpty() && TDeviceManager::Instance().AddExtraPort(port);
    RefreshPage();
    return added;
}

void TSettingsPage::DiscoverDevices()
{
    TDeviceManager::Instance().ResetBlockedPorts(false);
    RefreshPage();
}

void TSettingsPage::ApplyDiscoveryRates()
{
    const int mask = Group(QStringLiteral("Discovery Baud Rates"))->ReadKeyValues().Value(QStringLiteral("DiscoveryRates")).toInt();
    const QList<int>& rates = TVeltoLRHCI::SupportedBaudrates();
    for (int i = 0; i < rates.size(); ++i)
        TDiscoveryRates::SetFlag(QString::number(rates[i]), (mask >> i) & 1);
    RefreshPage();
}

void TSettingsPage::RefreshPage()
{
    int mask = 0;
    const QList<int>& rates = TVeltoLRHCI::SupportedBaudrates();
    for (int i = 0; i < rates.size(); ++i)
        if (TDiscoveryRates::Flag(rates[i]))
            mask |= 1 << i;
    TKeyValueList flags;
    flags.Append(QStringLiteral("DiscoveryRates"), qint64(mask));
    Group(QStringLiteral("Discovery Baud Rates"))->SetItems(flags, false);

    const TDeviceManager& manager = TDeviceManager::Instance();
    m_patterns->clear();
    for (const QString& p : manager.DefaultPatternList())
        m_patterns->addItem(p + QStringLiteral("  (default)"));
    m_patterns->addItems(manager.ExtraPatterns());
    m_extraPorts->clear();
    m_extraPorts->addItems(manager.ExtraPorts());
    m_blocked->clear();
    m_blocked->addItems(manager.BlockedPorts());
}

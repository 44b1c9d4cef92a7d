#include "gui/pages/TNodeConfigPage.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalBlocker>
#include <QTableWidget>

#include "devices/TDeviceManager.h"
#include "devices/TRadioController.h"
#include "gui/TCheckButtonBox.h"
#include "gui/TGuiItemList.h"
#include "gui/pages/TLayoutParams.h"
#include "sap/LoRaWANLayouts.h"
#include "sap/TLoRaWANConfig.h"

namespace L = LoRaWANLayouts;

namespace {
const QString kNodeConfig = QStringLiteral("Node Configuration");
const QString kIndex = QStringLiteral("Index");
const QString kConfigStatus = QStringLiteral("ConfigStatus");
const QStringList kMaskKeys = {QStringLiteral("SubBandMask1"), QStringLiteral("SubBandMask2"), QStringLiteral("SubBandMask3")};

// value  meaning
const char* const kHandlingModes[] = {
    "0:as the network requests",
    "1:keep the data rate",
    "2:keep data rate and power",
    nullptr,
};

QStringList BandChoices()
{
    QStringList choices;
    for (const TLoRaWANConfig::Band& band : TLoRaWANConfig::Instance().Bands())
        choices << QStringLiteral("%1:%2").arg(band.id).arg(band.name);
    return choices;
}

QList<QPair<int, QString>> DataRateItems(int bandId)
{
    QList<QPair<int, QString>> items;
    for (const TLoRaWANConfig::DataRate& rate : TLoRaWANConfig::Instance().DataRates(bandId))
        items << qMakePair(rate.index, rate.Text());
    return items;
}

QList<QPair<int, QString>> PowerItems(int bandId)
{
    QList<QPair<int, QString>> items;
    for (int dBm : TLoRaWANConfig::Instance().PowerLevels(bandId))
        items << qMakePair(dBm, QStringLiteral("%1 dBm").arg(dBm));
    return items;
}

QStringList Choices(const QList<QPair<int, QString>>& items)
{
    QStringList choices;
    for (const auto& item : items)
        choices << QStringLiteral("%1:%2").arg(item.first).arg(item.second);
    return choices;
}

QString CheckBoxesRow(const QString& name, const QStringList& items, const QString& orientation)
{
    return QStringLiteral("GuiName:%1;GuiType:CheckButtonBox;Key:%1;Value:0;ValueList:%2;GuiFlags:%3").arg(name, items.join(QLatin1Char(',')), orientation);
}

/// Fills a choice with another list, keeping the chosen identifier where the new list has it.
void Refill(QComboBox* combo, const QList<QPair<int, QString>>& items)
{
    const QVariant chosen = combo->currentData();
    const QSignalBlocker blocker(combo);
    combo->clear();
    for (const auto& item : items)
        combo->addItem(item.second, item.first);
    combo->setCurrentIndex(chosen.isValid() ? combo->findData(chosen) : -1);
    if (combo->currentIndex() < 0)
        combo->setPlaceholderText(TGuiItemList::kNotAvailable);
}

int RowIndex(const TGuiItemList& rows, const QString& key)
{
    for (int i = 0; i < rows.Count(); ++i)
        if (TGuiItemList::Field(rows.Descriptor(i), QStringLiteral("Key:")) == key)
            return i;
    return -1;
}

QTableWidget* MakeTable(const QString& name, const QStringList& columns, int rows)
{
    auto* table = new QTableWidget(0, columns.size());
    table->setHorizontalHeaderLabels(columns);
    table->setAccessibleName(name);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setSelectionMode(QAbstractItemView::SingleSelection);
    table->verticalHeader()->hide();
    table->horizontalHeader()->setStretchLastSection(true);
    table->setMinimumHeight(table->horizontalHeader()->sizeHint().height() + rows * table->verticalHeader()->defaultSectionSize()
                            + 2 * table->frameWidth());
    return table;
}

void SetRow(QTableWidget* table, int row, const QStringList& cells)
{
    if (table->rowCount() <= row)
        table->setRowCount(row + 1);
    for (int column = 0; column < cells.size() && column < table->columnCount(); ++column)
        table->setItem(row, column, new QTableWidgetItem(cells.at(column)));
}

/// The entries of a repeated record: a new entry starts where its first key comes again.
QList<TKeyValueList> Entries(const TKeyValueList& record, const QString& firstKey)
{
    QList<TKeyValueList> entries;
    for (const TKeyValueList::Item& item : record) {
        if (item.first == firstKey)
            entries.append(TKeyValueList());
        if (!entries.isEmpty())
            entries.last().append(item);
    }
    return entries;
}
}

QString TNodeConfigPage::ConfigStatusText(const QString& status)
{
    if (status == QLatin1String("1"))
        return QStringLiteral("1 (in use)");
    if (status == QLatin1String("0"))
        return QStringLiteral("0 (free)");
    return status;
}

TNodeConfigPage::TNodeConfigPage(const QString& title, QWidget* parent)
    : TLoRaWANPage(title, parent)
    , m_choices(TLoRaWANConfig::Instance().IsAvailable())
{
    AddButton(QStringLiteral("Get"), QStringLiteral("read the LoRaWAN configuration"), [this] { ReadSections(QString()); });
    if (!m_choices) {
        const TLoRaWANConfig& config = TLoRaWANConfig::Instance();
        AddNote(QStringLiteral("warning - the band and region file %1 could not be used (%2): bands, data rates, power levels and "
                               "regions are entered as numbers.").arg(config.Path(), config.ErrorText()));
    }

    AddReadGroup(QStringLiteral("Device EUI"), {OctetsRow(QStringLiteral("DeviceEUI"), 8)}, QStringLiteral("Device EUI"),
                 QStringLiteral("DeviceEUI"), L::kDeviceEUI);
    TGuiItemList& join = AddReadGroup(QStringLiteral("Join Parameters"),
                                      {OctetsRow(QStringLiteral("JoinEUI"), 8), OctetsRow(QStringLiteral("AppKey"), 16), ShowKeysRow()},
                                      QStringLiteral("Join Parameters"), QStringLiteral("JoinParameters"), L::kJoinParams);
    HideKeys(join, {QStringLiteral("AppKey")});
    AddNodeConfig();
    AddReadGroup(QStringLiteral("Custom Configuration"), {NumberRow(QStringLiteral("TxPowerOffset"), -128, 127, QStringLiteral("dB"))},
                 QStringLiteral("Custom Config"), QStringLiteral("CustomConfig"), L::kCustomConfig);

    // Transmit power limits: the module reports one entry per sub-band, a set changes one.
    m_powerLimits = MakeTable(QStringLiteral("Tx Power Limits"), {QStringLiteral("SubBandIndex"), QStringLiteral("ActiveFlag"), QStringLiteral("Limit")}, 6);
    m_limitsRead = &AddGroup(QStringLiteral("Tx Power Limits"), {}, m_powerLimits);
    AddButton(QStringLiteral("Get Tx Power Limits"), QStringLiteral("read the transmit power limits"), [this] { ReadPowerLimits(); });
    m_sections.append({m_limitsRead, [this] { return ReadPowerLimits(); }});
    TGuiItemList& limit = AddGroup(QStringLiteral("Tx Power Limit"), {
        NumberRow(QStringLiteral("SubBandIndex"), 0, 255),
        QStringLiteral("GuiName:ActiveFlag;GuiType:CheckBox;Key:ActiveFlag;Value:0;GuiFlags:Enabled"),
        NumberRow(QStringLiteral("Limit"), 0, 255, QStringLiteral("dBm")),
    });
    AddButton(QStringLiteral("Set Tx Power Limit"), QStringLiteral("write the sub-band's transmit power limit"), [this, &limit] {
        if (RunSetCommand(QStringLiteral("LoRaWAN/SetTxPowerLimitConfig"), limit, Fields(L::kTxPowerLimit)))
            ReadPowerLimits();
    });
    connect(m_powerLimits, &QTableWidget::cellClicked, this, [this, &limit](int row) {
        TKeyValueList entry;
        for (int column = 0; column < m_powerLimits->columnCount(); ++column)
            if (QTableWidgetItem* item = m_powerLimits->item(row, column))
                entry.Append(m_powerLimits->horizontalHeaderItem(column)->text(), item->text());
        limit.SetItems(entry, false);
    });

    AddRegions();
    AddReadGroup(QStringLiteral("LinkADRRequest Configuration"), {ChoiceRow(QStringLiteral("HandlingMode"), Texts(kHandlingModes), TGuiItemList::kNotAvailable)},
                 QStringLiteral("ADR Handling"), QStringLiteral("LinkADRRequestConfig"), L::kLinkADRConfig);
    AddReadGroup(QStringLiteral("DevNonce"), {NumberRow(QStringLiteral("DevNonce"), 0, 0xFFFF)}, QStringLiteral("DevNonce"),
                 QStringLiteral("DevNonce"), L::kDevNonce);
    AddReadGroup(QStringLiteral("JoinNonce"), {NumberRow(QStringLiteral("JoinNonce"), 0, 0xFFFFFF)}, QStringLiteral("JoinNonce"),
                 QStringLiteral("JoinNonce"), L::kJoinNonce);

    m_bands = MakeTable(QStringLiteral("Supported Bands"), {QStringLiteral("BandIndex"), QStringLiteral("Band"), QStringLiteral("MaxEIRP")}, 3);
    m_bandsRead = &AddGroup(QStringLiteral("Supported Bands"), {}, m_bands);
    AddButton(QStringLiteral("Get Supported Bands"), QStringLiteral("read the bands the module supports"), [this] { ReadSupportedBands(); });
    m_sections.append({m_bandsRead, [this] { return ReadSupportedBands(); }});

    AddMulticast();

    AddGroup(QStringLiteral("Factory Reset"), {});
    AddButton(QStringLiteral("Factory Reset"), QStringLiteral("ask before resetting the LoRaWAN settings"), [this] { ConfirmFactoryReset(); });
    Finish();
}

TGuiItemList& TNodeConfigPage::AddReadGroup(const QString& title, const QStringList& descriptors, const QString& noun,
                                            const QString& command, const TFieldLayoutEntry* layout)
{
    TGuiItemList& rows = AddGroup(title, descriptors);
    const QString get = QStringLiteral("LoRaWAN/Get") + command;
    const QString set = QStringLiteral("LoRaWAN/Set") + command;
    auto read = [this, &rows, get] { return RunGetCommand(get, rows); };
    AddButton(QStringLiteral("Get ") + noun, QStringLiteral("read the ") + noun, [read] { read(); });
    AddButton(QStringLiteral("Set ") + noun, QStringLiteral("write the ") + noun,
              [this, &rows, set, layout] { RunSetCommand(set, rows, Fields(layout)); });
    m_sections.append({&rows, read});
    return rows;
}

void TNodeConfigPage::AddNodeConfig()
{
    const TLoRaWANConfig& config = TLoRaWANConfig::Instance();
    QStringList rows;
    if (m_choices) {
        // The band first: it decides which data rates, power levels and sub-band masks there are.
        const int band = config.DefaultBandId();
        rows << ChoiceRow(QStringLiteral("BandID"), BandChoices(), QString::number(band))
             << ChoiceRow(QStringLiteral("DataRate"), Choices(DataRateItems(band)), QString::number(config.DefaultDataRate()))
             << ChoiceRow(QStringLiteral("PowerLevel"), Choices(PowerItems(band)), QString::number(config.DefaultPowerLevel()));
        QStringList options;
        for (const TLoRaWANConfig::Option& option : config.Options())
            options << QStringLiteral("%1:%2").arg(1 << option.bit).arg(option.name);
        rows << (options.isEmpty() ? NumberRow(QStringLiteral("Options"), 0, 0xFF, QString(), QStringLiteral("HEX2"))
                                   : CheckBoxesRow(QStringLiteral("Options"), options, QStringLiteral("Vertical")));
    } else {
        rows << NumberRow(QStringLiteral("BandID"), 0, 0xFF) << NumberRow(QStringLiteral("DataRate"), 0, TLoRaWANConfig::kMaxDataRateIndex)
             << NumberRow(QStringLiteral("PowerLevel"), 0, 0xFF, QStringLiteral("dBm"))
             << NumberRow(QStringLiteral("Options"), 0, 0xFF, QString(), QStringLiteral("HEX2"));
    }
    rows << QStringLiteral("GuiName:AutoPowerSaving;GuiType:CheckBox;Key:AutoPowerSaving;Value:0;GuiFlags:Enabled")
         << NumberRow(QStringLiteral("Retransmissions"), 0, 0xFF) << NumberRow(QStringLiteral("HeaderMacCmdCap"), 0, 0xFF);
    for (int mask = 0; mask < kMaskKeys.size(); ++mask) {
        if (!m_choices) {
            // Without the file nobody knows whether the band has masks: a mask is sent when ticked.
            rows << NumberRow(kMaskKeys.at(mask), 0, 0xFF, QString(), QStringLiteral("Checkable"));
            continue;
        }
        QStringList subBands;
        for (int bit = 0; bit < kSubBandsPerMask; ++bit) {
            const int subBand = mask * kSubBandsPerMask + bit;
            subBands << QStringLiteral("%1:Sub-band %2 (channels %3-%4)").arg(1 << bit).arg(subBand + 1).arg(subBand * kChannelsPerSubBand)
                            .arg((subBand + 1) * kChannelsPerSubBand - 1);
        }
        rows << CheckBoxesRow(kMaskKeys.at(mask), subBands, QStringLiteral("Vertical"));
    }
    m_node = &AddGroup(kNodeConfig, rows);
    AddButton(QStringLiteral("Get Node Config"), QStringLiteral("read the node configuration"), [this] { ReadNodeConfig(); });
    AddButton(QStringLiteral("Set Node Config"), QStringLiteral("write the node configuration"), [this] {
        RunSetCommand(QStringLiteral("LoRaWAN/SetNodeConfig"), *m_node, [this](const TGuiItemList& rows) {
            return TLayoutParams::FromRows(rows, L::kRadioStackConfig, SubBandMaskFields());
        });
    });
    m_sections.append({m_node, [this] { return ReadNodeConfig(); }});
    if (m_choices) {
        m_band = qobject_cast<QComboBox*>(m_node->FindItem(QStringLiteral("BandID")));
        connect(m_band, QOverload<int>::of(&QComboBox::currentIndexChanged), this, &TNodeConfigPage::ShowBand);
        ShowBand();
    }
}

int TNodeConfigPage::SubBandMaskFields() const
{
    if (!m_choices)
        return -1;   // those ticked
    const TLoRaWANConfig::Band* band = TLoRaWANConfig::Instance().FindBand(m_band->currentData().toInt());
    return band && m_band->currentIndex() >= 0 ? band->SubBandMaskFields() : 0;
}

void TNodeConfigPage::ShowBand()
{
    const int bandId = m_band->currentIndex() >= 0 ? m_band->currentData().toInt() : -1;
    Refill(qobject_cast<QComboBox*>(m_node->FindItem(QStringLiteral("DataRate"))), DataRateItems(bandId));
    Refill(qobject_cast<QComboBox*>(m_node->FindItem(QStringLiteral("PowerLevel"))), PowerItems(bandId));
    const int subBands = TLoRaWANConfig::Instance().SubBandCount(bandId);
    for (int mask = 0; mask < kMaskKeys.size(); ++mask) {
        const int row = RowIndex(*m_node, kMaskKeys.at(mask));
        const bool shown = mask * kSubBandsPerMask < subBands;
        m_node->Label(row)->setVisible(shown);
        m_node->Editor(row)->setVisible(shown);
        if (auto* box = qobject_cast<TCheckButtonBox*>(m_node->Editor(row)))
            for (int bit = 0; bit < box->Count(); ++bit)
                box->Button(bit)->setVisible(mask * kSubBandsPerMask + bit < subBands);
    }
}

bool TNodeConfigPage::ReadNodeConfig()
{
    TKeyValueList result;
    if (!RunGetCommand(QStringLiteral("LoRaWAN/GetNodeConfig"), *m_node, TKeyValueList(), &result))
        return false;
    // Without the band file: a mask the module reports is ticked, so that a set sends it back.
    for (const QString& key : kMaskKeys)
        if (auto* tick = qobject_cast<QCheckBox*>(m_node->Label(RowIndex(*m_node, key))))
            tick->setChecked(result.Contains(key));
    return true;
}

void TNodeConfigPage::AddRegions()
{
    const TLoRaWANConfig& config = TLoRaWANConfig::Instance();
    QStringList regions;
    QStringList bits;
    for (const TLoRaWANConfig::Region& region : config.Regions()) {
        regions << QStringLiteral("%1:%2").arg(region.id).arg(region.name);
        bits << QStringLiteral("%1:%2").arg(int(region.MaskBit())).arg(region.name);   // bit 31 as the int's sign
    }
    const QString none = TGuiItemList::kNotAvailable;
    AddReadGroup(QStringLiteral("Active Region"),
                 {m_choices ? ChoiceRow(QStringLiteral("ActiveRegion"), regions, none) : NumberRow(QStringLiteral("ActiveRegion"), 0, TLoRaWANConfig::kMaxRegionId)},
                 QStringLiteral("Active Region"), QStringLiteral("ActiveRegion"), L::kActiveRegion);
    QStringList rows;
    if (m_choices)
        rows << ChoiceRow(QStringLiteral("DefaultRegion"), regions, none) << CheckBoxesRow(QStringLiteral("RegionMask"), bits, QStringLiteral("Vertical"));
    else
        rows << NumberRow(QStringLiteral("DefaultRegion"), 0, TLoRaWANConfig::kMaxRegionId)
             << NumberRow(QStringLiteral("RegionMask"), 0, 0xFFFFFFFFLL, QString(), QStringLiteral("HEX8"));
    AddReadGroup(QStringLiteral("Region Configuration"), rows, QStringLiteral("Region Config"), QStringLiteral("RegionConfig"), L::kRegion);
}

void TNodeConfigPage::AddMulticast()
{
    m_multicast = MakeTable(QStringLiteral("Multicast Groups"), {kIndex, kConfigStatus, QStringLiteral("DeviceAddress")}, kMulticastGroups);
    m_groupsRead = &AddGroup(QStringLiteral("Multicast Groups"), {}, m_multicast);
    AddButton(QStringLiteral("Get Multicast Groups"), QStringLiteral("read every multicast group"), [this] { ReadMulticastGroups(); });
    m_sections.append({m_groupsRead, [this] { return ReadMulticastGroups(); }});

    QStringList indexes;
    for (int index = 0; index < kMulticastGroups; ++index)
        indexes << QStringLiteral("%1:%1").arg(index);
    m_group = &AddGroup(QStringLiteral("Multicast Group"), {
        ChoiceRow(kIndex, indexes, QStringLiteral("0")),
        ShowRow(kConfigStatus, kConfigStatus),
        AddressRow(QStringLiteral("DeviceAddress")),
        OctetsRow(QStringLiteral("NwkSessionKey"), 16),
        OctetsRow(QStringLiteral("AppSessionKey"), 16),
        ShowKeysRow(),
    });
    HideKeys(*m_group, {QStringLiteral("NwkSessionKey"), QStringLiteral("AppSessionKey")});
    AddButton(QStringLiteral("Get Group"), QStringLiteral("read the multicast group"), [this] { ReadMulticastGroup(); });
    AddButton(QStringLiteral("Set Group"), QStringLiteral("write the multicast group"), [this] {
        if (RunSetCommand(QStringLiteral("LoRaWAN/SetMulticastConfig"), *m_group, Fields(L::kMulticastSet)))
            ReadMulticastGroup();
    });
    AddButton(QStringLiteral("Remove Group"), QStringLiteral("remove the multicast group"), [this] {
        if (RunCommand(QStringLiteral("LoRaWAN/RemoveMulticastConfig"), Fields(L::kMulticastIndex)(*m_group)))
            ReadMulticastGroup();
    });
    m_sections.append({m_group, [this] { return ReadMulticastGroup(); }});
    // Choosing a group in the table makes it the one the buttons act on.
    connect(m_multicast, &QTableWidget::cellClicked, this, [this](int row) {
        if (QTableWidgetItem* index = m_multicast->item(row, 0)) {
            TKeyValueList chosen;
            chosen.Append(kIndex, index->text());
            m_group->SetItems(chosen, false);
        }
    });
}

void TNodeConfigPage::ShowMulticast(const TKeyValueList& group)
{
    bool ok = false;
    const int index = group.Value(kIndex).toInt(&ok);
    if (!ok || index < 0 || index >= kMulticastGroups)
        return;
    SetRow(m_multicast, index, {group.Value(kIndex), ConfigStatusText(group.Value(kConfigStatus)), group.Value(QStringLiteral("DeviceAddress"))});
}

bool TNodeConfigPage::ReadMulticastGroup()
{
    TKeyValueList result;
    if (!RunGetCommand(QStringLiteral("LoRaWAN/GetMulticastConfig"), *m_group, Fields(L::kMulticastIndex)(*m_group), &result))
        return false;
    if (QLineEdit* status = LineEdit(*m_group, kConfigStatus))
        status->setText(ConfigStatusText(result.Value(kConfigStatus)));
    ShowMulticast(result);
    return true;
}

bool TNodeConfigPage::ReadMulticastGroups()
{
    for (int index = 0; index < kMulticastGroups; ++index) {
        TKeyValueList which;
        which.Append(kIndex, QString::number(index));
        TKeyValueList result;
        if (!RunGetCommand(QStringLiteral("LoRaWAN/GetMulticastConfig"), *m_groupsRead, which, &result))
            return false;
        ShowMulticast(result);
    }
    return true;
}

bool TNodeConfigPage::ReadTable(const QString& command, TGuiItemList& rows, QTableWidget* table, const QString& firstKey,
                                const std::function<QStringList(const TKeyValueList&)>& cells)
{
    TKeyValueList result;
    if (!RunGetCommand(command, rows, TKeyValueList(), &result))
        return false;
    table->setRowCount(0);
    const QList<TKeyValueList> entries = Entries(result, firstKey);
    for (int row = 0; row < entries.size(); ++row)
        SetRow(table, row, cells(entries.at(row)));
    return true;
}

bool TNodeConfigPage::ReadPowerLimits()
{
    return ReadTable(QStringLiteral("LoRaWAN/GetTxPowerLimitConfig"), *m_limitsRead, m_powerLimits, QStringLiteral("SubBandIndex"),
                     [](const TKeyValueList& entry) {
                         return QStringList{entry.Value(QStringLiteral("SubBandIndex")), entry.Value(QStringLiteral("ActiveFlag")),
                                            entry.Value(QStringLiteral("Limit"))};
                     });
}

bool TNodeConfigPage::ReadSupportedBands()
{
    return ReadTable(QStringLiteral("LoRaWAN/GetSupportedBands"), *m_bandsRead, m_bands, QStringLiteral("BandIndex"), [](const TKeyValueList& entry) {
        const QString id = entry.Value(QStringLiteral("BandIndex"));
        return QStringList{id, TLoRaWANConfig::Instance().BandName(id.toInt()), entry.Value(QStringLiteral("MaxEIRP")) + QStringLiteral(" dBm")};
    });
}

void TNodeConfigPage::ConfirmFactoryReset()
{
    TRadioController* device = GetSelectedDevice();
    if (!device)
        return;
    auto* box = new QMessageBox(QMessageBox::Warning, QStringLiteral("Factory Reset"),
                                QStringLiteral("Reset the LoRaWAN settings of the module on %1 to their factory values? Its keys, EUIs, "
                                               "activation, node configuration and multicast groups are lost.").arg(device->PortName()),
                                QMessageBox::Yes | QMessageBox::Cancel, this);
    box->setDefaultButton(QMessageBox::Cancel);
    box->setAttribute(Qt::WA_DeleteOnClose);
    const QString port = device->PortName();
    connect(box, &QMessageBox::finished, this, [this, port](int answer) {
        if (answer != QMessageBox::Yes)
            return;
        RunAction(Button(QStringLiteral("Factory Reset")), QStringLiteral("reset the LoRaWAN settings to their factory values"), [this, port] {
            if (RunCommand(QStringLiteral("LoRaWAN/FactoryReset")))
                ReadSections(port);   // what the page shows of the module is not true any more
        });
    });
    box->open();
}

void TNodeConfigPage::ReadSections(const QString& port)
{
    for (const Section& section : qAsConst(m_sections))
        if (port.isEmpty() || (section.rows->ReadTime().isValid() && section.rows->ReadFrom() == port))
            if (!section.read())
                return;
}

void TNodeConfigPage::RefreshPage()
{
    if (QPushButton* get = Button(QStringLiteral("Get")))
        get->click();
}

void TNodeConfigPage::RefreshAfterChange()
{
    const QString port = TDeviceManager::Instance().SelectedDevice() ? TDeviceManager::Instance().SelectedDevice()->PortName() : QString();
    if (port.isEmpty())
        return;
    RunAction(nullptr, QStringLiteral("read again what the module changed"), [this, port] { ReadSections(port); });
}

#pragma once
#include <functional>

#include "gui/pages/TLoRaWANPage.h"

class QComboBox;
class QTableWidget;

/// LoRaWAN configuration of the selected module: device EUI, join parameters, node and custom
/// configuration, transmit power limits, regions, LinkADRRequest handling, nonces, supported bands,
/// multicast groups and the factory reset. Bands, data rates, power levels, regions and option names
/// are choices from the band and region file (TLoRaWANConfig); without a usable file the page offers
/// plain numeric fields.
class TNodeConfigPage : public TLoRaWANPage
{
    Q_OBJECT
public:
    /// Multicast groups of a LoRaWAN end device (McGroupID 0..3).
    static constexpr int kMulticastGroups = 4;
    static constexpr int kSubBandsPerMask = 8;
    static constexpr int kChannelsPerSubBand = 8;

    explicit TNodeConfigPage(const QString& title, QWidget* parent = nullptr);

    /// True when the band file gave the choices, false when the page shows numeric fields.
    bool HasChoices() const { return m_choices; }
    QTableWidget* PowerLimitTable() const { return m_powerLimits; }
    QTableWidget* BandTable() const { return m_bands; }
    QTableWidget* MulticastTable() const { return m_multicast; }
    /// "1 (in use)", "0 (free)": a multicast group's ConfigStatus as shown.
    static QString ConfigStatusText(const QString& status);

public slots:
    void RefreshPage() override;

protected:
    void RefreshAfterChange() override;

private:
    /// A group and how it is read ("Get" reads them all; a reported change those read before).
    struct Section {
        TGuiItemList* rows;
        std::function<bool()> read;
    };

    void AddNodeConfig();
    void AddRegions();
    void AddMulticast();
    /// A group with "Get <noun>" and "Set <noun>", which run LoRaWAN/Get<command> and LoRaWAN/Set<command>.
    TGuiItemList& AddReadGroup(const QString& title, const QStringList& descriptors, const QString& noun,
                               const QString& command, const TFieldLayoutEntry* layout);
    void ShowBand();
    int SubBandMaskFields() const;
    bool ReadNodeConfig();
    /// Reads a list of entries (each starting with `firstKey`) into a table, one row per entry.
    bool ReadTable(const QString& command, TGuiItemList& rows, QTableWidget* table, const QString& firstKey,
                   const std::function<QStringList(const TKeyValueList&)>& cells);
    bool ReadPowerLimits();
    bool ReadSupportedBands();
    bool ReadMulticastGroup();
    bool ReadMulticastGroups();
    void ShowMulticast(const TKeyValueList& group);
    void ConfirmFactoryReset();
    /// Reads every section that was read from `port` (all of them when `port` is empty), up to the
    /// first that fails.
    void ReadSections(const QString& port);

    bool m_choices;
    QList<Section> m_sections;
    TGuiItemList* m_node = nullptr;
    TGuiItemList* m_limitsRead = nullptr;
    TGuiItemList* m_bandsRead = nullptr;
    TGuiItemList* m_groupsRead = nullptr;
    TGuiItemList* m_group = nullptr;
    QComboBox* m_band = nullptr;
    QTableWidget* m_powerLimits;
    QTableWidget* m_bands;
    QTableWidget* m_multicast;
};

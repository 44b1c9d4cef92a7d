#pragma once
#include <QString>
#include <QStringList>
#include <QVector>

/// The LoRaWAN band and region description ("Velto_LoRaWAN_Config.json", format in
/// docs/lorawan-config.md): which bands exist, their data rates and power levels, whether they have
/// sub-band masks, the regions and their RegionMask bits, and the end node's defaults and option
/// names. A file that is missing, not JSON or not valid leaves the description "not available"
/// with one reason; the pages then fall back to plain numeric fields.
class TLoRaWANConfig
{
public:
    static constexpr int kMaxSubBands = 24;        ///< three mask fields of eight bits
    static constexpr int kSubBandsPerMask = 8;
    static constexpr int kMaxRegionId = 31;        ///< a region is bit RegionID of the 32-bit RegionMask
    static constexpr int kMaxDataRateIndex = 15;   ///< four bits in LinkADRReq

    struct DataRate {
        int index = 0;           ///< DR number, as the node configuration's DataRate
        QString name;            ///< key of the "DataRates" catalogue, e.g. "SF7BW125"
        QString modulation;      ///< "LoRa" or "FSK"
        int spreadingFactor = 0; ///< LoRa only
        int bandwidthKHz = 0;    ///< LoRa only
        int bitRate = 0;         ///< FSK only, bit/s
        int maxPayload = 0;      ///< application payload bytes at this data rate
        /// "DR5 (SF7BW125)", the text a choice shows.
        QString Text() const;
    };

    /// Channels First, First + Step, ... (Count of them), frequencies in Hz.
    struct Channels {
        qint64 first = 0;
        qint64 step = 0;
        int count = 0;
    };

    struct Band {
        int id = 0;
        QString name;
        int maxEIRP = 0;              ///< dBm
        QVector<int> powerLevels;     ///< dBm, position = TXPower index
        int subBands = 0;             ///< 0: the band has no sub-band masks
        QVector<DataRate> uplink;
        QVector<DataRate> downlink;   ///< the uplink ones when the file gives none
        QVector<Channels> uplinkChannels;
        QVector<Channels> downlinkChannels;   ///< empty: RX1 answers on the uplink frequency
        qint64 rx2Frequency = 0;
        int rx2DataRate = 0;
        /// How many of SubBandMask1..3 the band uses (0..3).
        int SubBandMaskFields() const { return (subBands + kSubBandsPerMask - 1) / kSubBandsPerMask; }
    };

    struct Region {
        int id = 0;                   ///< ActiveRegion/DefaultRegion value and RegionMask bit
        QString name;
        QVector<int> bandIds;
        quint32 MaskBit() const { return quint32(1) << id; }
    };

    /// One named bit of the node configuration's Options byte.
    struct Option {
        int bit = 0;
        QString name;
    };

    /// The description the studio loaded at start (pages ask this one).
    static TLoRaWANConfig& Instance();

    /// Reads and validates the file; on failure nothing of it is kept and ErrorText says why
    /// (JSON syntax errors with line and column, validation errors with the member's path).
    bool Load(const QString& path);
    bool IsAvailable() const { return m_available; }
    QString Path() const { return m_path; }
    QString ErrorText() const { return m_error; }
    QString FileVersion() const { return m_fileVersion; }

    // The pages' questions; empty answers (and "n.a." names) while not available.
    const QVector<Band>& Bands() const { return m_bands; }
    const Band* FindBand(int bandId) const;
    QString BandName(int bandId) const;
    /// Data rates the node configuration may choose (uplink) and those the network answers with.
    QVector<DataRate> DataRates(int bandId) const;
    QVector<DataRate> DownlinkDataRates(int bandId) const;
    /// Application payload bytes at this uplink data rate; -1 when band or data rate is unknown.
    int MaxPayload(int bandId, int dataRate) const;
    QVector<int> PowerLevels(int bandId) const;
    bool HasSubBandMasks(int bandId) const { return SubBandCount(bandId) > 0; }
    int SubBandCount(int bandId) const;

    const QVector<Region>& Regions() const { return m_regions; }
    const Region* FindRegion(int regionId) const;
    QString RegionName(int regionId) const;
    /// Names of the described regions whose bits are set, in file order.
    QStringList RegionNames(quint32 regionMask) const;

    const QVector<Option>& Options() const { return m_options; }
    int DefaultBandId() const { return m_defaultBandId; }
    int DefaultDataRate() const { return m_defaultDataRate; }
    int DefaultPowerLevel() const { return m_defaultPowerLevel; }

private:
    void Clear();

    bool m_available = false;
    QString m_path;
    QString m_error;
    QString m_fileVersion;
    QVector<Band> m_bands;
    QVector<Region> m_regions;
    QVector<Option> m_options;
    int m_defaultBandId = -1;
    int m_defaultDataRate = -1;
    int m_defaultPowerLevel = -1;
};

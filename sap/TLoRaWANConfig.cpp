#include "sap/TLoRaWANConfig.h"

#include <QFile>
#include <QHash>
#include <QRegularExpression>
#include <QSet>

#include "base/TJsonReader.h"

namespace {
using DataRate = TLoRaWANConfig::DataRate;
using Band = TLoRaWANConfig::Band;
using Region = TLoRaWANConfig::Region;
using Option = TLoRaWANConfig::Option;
using Catalogue = QHash<QString, DataRate>;

// Limits of the file's numbers, with their units.
constexpr qint64 kMaxFrequencyHz = 6000000000;
constexpr int kMaxChannelsPerBlock = 255;
constexpr int kMaxEIRPdBm = 36;
constexpr int kMaxBandId = 255;
constexpr int kMaxPayloadBytes = 255;
constexpr int kMaxLoRaBandwidthKHz = 1625;
constexpr int kMaxFskBitRate = 300000;
constexpr int kMaxOptionBit = 7;

const QString kTop;

bool ReadCatalogue(TJsonReader& reader, const QJsonObject& root, Catalogue& catalogue)
{
    const QString path = QStringLiteral("DataRates");
    QJsonObject rates;
    if (!reader.Object(root, kTop, "DataRates", rates))
        return false;
    if (rates.isEmpty())
        return reader.Fail(path, QStringLiteral("at least one data rate is expected"));
    for (auto it = rates.begin(); it != rates.end(); ++it) {
        const QString own = TJsonReader::MemberPath(path, it.key());
        QJsonObject entry;
        DataRate rate;
        rate.name = it.key();
        if (!reader.Object(it.value(), own, entry) || !reader.Text(entry, own, "Modulation", rate.modulation))
            return false;
        if (rate.modulation == QLatin1String("LoRa")) {
            if (!reader.Integer(entry, own, "SpreadingFactor", 5, 12, rate.spreadingFactor)
                || !reader.Integer(entry, own, "Bandwidth", 1, kMaxLoRaBandwidthKHz, rate.bandwidthKHz))
                return false;
        } else if (rate.modulation == QLatin1String("FSK")) {
            if (!reader.Integer(entry, own, "BitRate", 1, kMaxFskBitRate, rate.bitRate))
                return false;
        } else {
            return reader.Fail(TJsonReader::MemberPath(own, QStringLiteral("Modulation")),
                               QStringLiteral("\"%1\" is neither LoRa nor FSK").arg(rate.modulation));
        }
        catalogue.insert(rate.name, rate);
    }
    return true;
}

bool ReadDataRates(TJsonReader& reader, const QJsonObject& direction, const QString& path, const Catalogue& catalogue, QVector<DataRate>& rates)
{
    return reader.Elements(direction, path, "DataRates", true, [&](const QJsonValue& element, const QString& own) {
        QJsonObject entry;
        int index = 0;
        int maxPayload = 0;
        QString name;
        if (!reader.Object(element, own, entry) || !reader.Integer(entry, own, "DR", 0, TLoRaWANConfig::kMaxDataRateIndex, index)
            || !reader.Text(entry, own, "DataRate", name) || !reader.Integer(entry, own, "MaxPayload", 1, kMaxPayloadBytes, maxPayload))
            return false;
        if (!catalogue.contains(name))
            return reader.Fail(TJsonReader::MemberPath(own, QStringLiteral("DataRate")), QStringLiteral("no data rate \"%1\" in DataRates").arg(name));
        for (const DataRate& earlier : qAsConst(rates))
            if (earlier.index == index)
                return reader.Fail(TJsonReader::MemberPath(own, QStringLiteral("DR")), QStringLiteral("DR %1 appears twice").arg(index));
        DataRate rate = catalogue.value(name);
        rate.index = index;
        rate.maxPayload = maxPayload;
        rates << rate;
        return true;
    });
}

bool ReadChannels(TJsonReader& reader, const QJsonObject& direction, const QString& path, QVector<TLoRaWANConfig::Channels>& blocks)
{
    return reader.Elements(direction, path, "Channels", true, [&](const QJsonValue& element, const QString& own) {
        QJsonObject entry;
        TLoRaWANConfig::Channels block;
        if (!reader.Object(element, own, entry) || !reader.Integer(entry, own, "First", 1, kMaxFrequencyHz, block.first)
            || !reader.Integer(entry, own, "Count", 1, kMaxChannelsPerBlock, block.count))
            return false;
        // A single channel needs no step.
        if ((block.count > 1 || entry.contains(QStringLiteral("Step"))) && !reader.Integer(entry, own, "Step", 1, kMaxFrequencyHz, block.step))
            return false;
        blocks << block;
        return true;
    });
}

bool ReadPowerLevels(TJsonReader& reader, const QJsonObject& entry, const QString& path, Band& band)
{
    return reader.Elements(entry, path, "PowerLevels", true, [&](const QJsonValue& element, const QString& own) {
        qint64 level = 0;
        if (!reader.Integer(element, own, 0, band.maxEIRP, level))
            return false;
        // Position is the TXPower index: each step lowers the power.
        if (!band.powerLevels.isEmpty() && level >= band.powerLevels.last())
            return reader.Fail(own, QStringLiteral("%1 dBm is not below the level before it (%2 dBm)").arg(level).arg(band.powerLevels.last()));
        band.powerLevels << int(level);
        return true;
    });
}

bool ReadBand(TJsonReader& reader, const QJsonValue& value, const QString& path, const Catalogue& catalogue, Band& band)
{
    QJsonObject entry;
    QJsonObject up;
    QJsonObject down;
    if (!reader.Object(value, path, entry) || !reader.Integer(entry, path, "BandID", 0, kMaxBandId, band.id) || !reader.Text(entry, path, "Name", band.name)
        || !reader.Integer(entry, path, "MaxEIRP", 0, kMaxEIRPdBm, band.maxEIRP) || !ReadPowerLevels(reader, entry, path, band)
        || !reader.Integer(entry, path, "SubBands", 0, TLoRaWANConfig::kMaxSubBands, band.subBands))
        return false;
    const QString upPath = TJsonReader::MemberPath(path, QStringLiteral("UpLink"));
    const QString downPath = TJsonReader::MemberPath(path, QStringLiteral("DownLink"));
    if (!reader.Object(entry, path, "UpLink", up) || !ReadChannels(reader, up, upPath, band.uplinkChannels)
        || !ReadDataRates(reader, up, upPath, catalogue, band.uplink) || !reader.Object(entry, path, "DownLink", down))
        return false;
    // Downlink channels and data rates default to the uplink's.
    if (down.contains(QStringLiteral("Channels")) && !ReadChannels(reader, down, downPath, band.downlinkChannels))
        return false;
    if (!down.contains(QStringLiteral("DataRates")))
        band.downlink = band.uplink;
    else if (!ReadDataRates(reader, down, downPath, catalogue, band.downlink))
        return false;
    if (!reader.Integer(down, downPath, "RX2Frequency", 1, kMaxFrequencyHz, band.rx2Frequency)
        || !reader.Integer(down, downPath, "RX2DataRate", 0, TLoRaWANConfig::kMaxDataRateIndex, band.rx2DataRate))
        return false;
    for (const DataRate& rate : qAsConst(band.downlink))
        if (rate.index == band.rx2DataRate)
            return true;
    return reader.Fail(TJsonReader::MemberPath(downPath, QStringLiteral("RX2DataRate")),
                       QStringLiteral("DR %1 is not among the band's downlink data rates").arg(band.rx2DataRate));
}

bool ReadBands(TJsonReader& reader, const QJsonObject& root, const Catalogue& catalogue, QVector<Band>& bands)
{
    return reader.Elements(root, kTop, "SupportedBands", true, [&](const QJsonValue& element, const QString& own) {
        Band band;
        if (!ReadBand(reader, element, own, catalogue, band))
            return false;
        for (const Band& earlier : qAsConst(bands)) {
            if (earlier.id == band.id)
                return reader.Fail(TJsonReader::MemberPath(own, QStringLiteral("BandID")), QStringLiteral("BandID %1 appears twice").arg(band.id));
            if (earlier.name.compare(band.name, Qt::CaseInsensitive) == 0)
                return reader.Fail(TJsonReader::MemberPath(own, QStringLiteral("Name")), QStringLiteral("\"%1\" appears twice").arg(band.name));
        }
        bands << band;
        return true;
    });
}

const Band* Find(const QVector<Band>& bands, int id)
{
    for (const Band& band : bands)
        if (band.id == id)
            return &band;
    return nullptr;
}

bool ReadRegions(TJsonReader& reader, const QJsonObject& root, const QVector<Band>& bands, QVector<Region>& regions)
{
    return reader.Elements(root, kTop, "Regions", true, [&](const QJsonValue& element, const QString& own) {
        QJsonObject entry;
        Region region;
        if (!reader.Object(element, own, entry) || !reader.Integer(entry, own, "RegionID", 0, TLoRaWANConfig::kMaxRegionId, region.id)
            || !reader.Text(entry, own, "Name", region.name))
            return false;
        for (const Region& earlier : qAsConst(regions))
            if (earlier.id == region.id)
                return reader.Fail(TJsonReader::MemberPath(own, QStringLiteral("RegionID")), QStringLiteral("RegionID %1 appears twice").arg(region.id));
        const bool read = reader.Elements(entry, own, "BandIDs", true, [&](const QJsonValue& bandElement, const QString& bandPath) {
            qint64 id = 0;
            if (!reader.Integer(bandElement, bandPath, 0, kMaxBandId, id))
                return false;
            if (!Find(bands, int(id)))
                return reader.Fail(bandPath, QStringLiteral("no band with BandID %1").arg(id));
            region.bandIds << int(id);
            return true;
        });
        regions << region;
        return read;
    });
}

struct EndNode {
    int bandId = -1;
    int dataRate = -1;
    int powerLevel = -1;
    QVector<Option> options;
};

bool ReadEndNode(TJsonReader& reader, const QJsonObject& root, const QVector<Band>& bands, EndNode& node)
{
    const QString path = QStringLiteral("EndNode");
    QJsonObject entry;
    if (!reader.Object(root, kTop, "EndNode", entry) || !reader.Integer(entry, path, "DefaultBandID", 0, kMaxBandId, node.bandId))
        return false;
    const Band* band = Find(bands, node.bandId);
    if (!band)
        return reader.Fail(TJsonReader::MemberPath(path, QStringLiteral("DefaultBandID")), QStringLiteral("no band with BandID %1").arg(node.bandId));
    if (!reader.Integer(entry, path, "DefaultDataRate", 0, TLoRaWANConfig::kMaxDataRateIndex, node.dataRate))
        return false;
    bool known = false;
    for (const DataRate& rate : band->uplink)
        known = known || rate.index == node.dataRate;
    if (!known)
        return reader.Fail(TJsonReader::MemberPath(path, QStringLiteral("DefaultDataRate")),
                           QStringLiteral("DR %1 is not among the uplink data rates of %2").arg(node.dataRate).arg(band->name));
    if (!reader.Integer(entry, path, "DefaultPowerLevel", 0, kMaxEIRPdBm, node.powerLevel))
        return false;
    if (!band->powerLevels.contains(node.powerLevel))
        return reader.Fail(TJsonReader::MemberPath(path, QStringLiteral("DefaultPowerLevel")),
                           QStringLiteral("%1 dBm is not among the power levels of %2").arg(node.powerLevel).arg(band->name));
    return reader.Elements(entry, path, "Options", false, [&](const QJsonValue& element, const QString& own) {
        QJsonObject item;
        Option option;
        if (!reader.Object(element, own, item) || !reader.Integer(item, own, "Bit", 0, kMaxOptionBit, option.bit)
            || !reader.Text(item, own, "Name", option.name))
            return false;
        for (const Option& earlier : qAsConst(node.options))
            if (earlier.bit == option.bit)
                return reader.Fail(TJsonReader::MemberPath(own, QStringLiteral("Bit")), QStringLiteral("bit %1 appears twice").arg(option.bit));
        node.options << option;
        return true;
    });
}
}

QString TLoRaWANConfig::DataRate::Text() const
{
    return QStringLiteral("DR%1 (%2)").arg(index).arg(name);
}

TLoRaWANConfig& TLoRaWANConfig::Instance()
{
    static TLoRaWANConfig instance;
    return instance;
}

void TLoRaWANConfig::Clear()
{
    *this = TLoRaWANConfig();
}

bool TLoRaWANConfig::Load(const QString& path)
{
    Clear();
    m_path = path;
    QFile file(path);
    if (!file.exists()) {
        m_error = QStringLiteral("file not found");
        return false;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        m_error = QStringLiteral("couldn't open the file: ") + file.errorString();
        return false;
    }
    const QByteArray data = file.readAll();
    if (data.trimmed().isEmpty()) {
        m_error = QStringLiteral("the file is empty");
        return false;
    }
    QJsonObject root;
    if (!TJsonReader::ParseObject(data, root, &m_error))
        return false;

    TJsonReader reader;
    QString version;
    Catalogue catalogue;
    QVector<Band> bands;
    QVector<Region> regions;
    EndNode node;
    if (reader.Text(root, kTop, "FileVersion", version) && !QRegularExpression(QStringLiteral("^\\d+(\\.\\d+)*$")).match(version).hasMatch())
        reader.Fail(QStringLiteral("FileVersion"), QStringLiteral("\"%1\" is not a version such as 1.0").arg(version));
    if (!ReadCatalogue(reader, root, catalogue) || !ReadBands(reader, root, catalogue, bands) || !ReadRegions(reader, root, bands, regions)
        || !ReadEndNode(reader, root, bands, node) || reader.Failed()) {
        m_error = reader.Error();
        return false;
    }
    m_available = true;
    m_fileVersion = version;
    m_bands = bands;
    m_regions = regions;
    m_options = node.options;
    m_defaultBandId = node.bandId;
    m_defaultDataRate = node.dataRate;
    m_defaultPowerLevel = node.powerLevel;
    return true;
}

const TLoRaWANConfig::Band* TLoRaWANConfig::FindBand(int bandId) const
{
    return Find(m_bands, bandId);
}

QString TLoRaWANConfig::BandName(int bandId) const
{
    const Band* band = FindBand(bandId);
    return band ? band->name : QStringLiteral("n.a.");
}

QVector<TLoRaWANConfig::DataRate> TLoRaWANConfig::DataRates(int bandId) const
{
    const Band* band = FindBand(bandId);
    return band ? band->uplink : QVector<DataRate>();
}

QVector<TLoRaWANConfig::DataRate> TLoRaWANConfig::DownlinkDataRates(int bandId) const
{
    const Band* band = FindBand(bandId);
    return band ? band->downlink : QVector<DataRate>();
}

int TLoRaWANConfig::MaxPayload(int bandId, int dataRate) const
{
    for (const DataRate& rate : DataRates(bandId))
        if (rate.index == dataRate)
            return rate.maxPayload;
    return -1;
}

QVector<int> TLoRaWANConfig::PowerLevels(int bandId) const
{
    const Band* band = FindBand(bandId);
    return band ? band->powerLevels : QVector<int>();
}

int TLoRaWANConfig::SubBandCount(int bandId) const
{
    const Band* band = FindBand(bandId);
    return band ? band->subBands : 0;
}

const TLoRaWANConfig::Region* TLoRaWANConfig::FindRegion(int regionId) const
{
    for (const Region& region : m_regions)
        if (region.id == regionId)
            return &region;
    return nullptr;
}

QString TLoRaWANConfig::RegionName(int regionId) const
{
    const Region* region = FindRegion(regionId);
    return region ? region->name : QStringLiteral("n.a.");
}

QStringList TLoRaWANConfig::RegionNames(quint32 regionMask) const
{
    QStringList names;
    for (const Region& region : m_regions)
        if (regionMask & region.MaskBit())
            names << region.name;
    return names;
}

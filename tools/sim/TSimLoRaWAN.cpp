#include "tools/sim/TSimLoRaWAN.h"

#include <QDateTime>
#include <QTimer>
#include <QtEndian>

#include <cmath>

#include "sap/LoRaWANLayouts.h"
#include "sap/TFieldLayout.h"
#include "tools/sim/TSimDeviceMgmt.h"
#include "tools/sim/TSimModule.h"
#include "base/THexText.h"

namespace L = LoRaWANLayouts;

namespace {
constexpr quint8 kDeviceNotActivated = 0x05;
constexpr quint8 kDeviceBusy = 0x06;
constexpr quint8 kWrongDeviceMode = 0x04;
constexpr quint8 kLinkCheckReq = 0x02;
constexpr quint8 kDeviceTimeReq = 0x0D;
constexpr quint8 kLinkCheckMarginDb = 20;
constexpr quint8 kErrorCodeFollows = 0x02;   // flag of the invalid-data event
constexpr int kJoinRequestBytes = 23;
constexpr int kFrameOverheadBytes = 13;   // MHDR, FHDR without options, FPort, MIC
constexpr int kChannels = 3;
constexpr qint64 kGpsEpochSecsSinceUnix = 315964800;   // 1980-01-06 00:00:00 UTC
constexpr int kGpsLeapSeconds = 18;

/// Bands the module's radio supports: band index, its highest EIRP, and the application payload
/// each uplink data rate carries (0: the band has no such data rate). The band index 0 ends it.
struct SimBand {
    quint8 id;
    quint8 maxEIRPdBm;
    quint8 maxPayload[TSimLoRaWAN::kDataRates];
};
// band  EIRP  DR0  DR1  DR2  DR3  DR4  DR5  DR6  DR7
const SimBand kBands[] = {
    {1,    16,  {51,  51,  51, 115, 222, 222, 222, 222}},   // EU868
    {2,    30,  {11,  53, 125, 242, 242,   0,   0,   0}},   // US915
    {7,    16,  {51,  51, 115, 222, 222, 222, 222, 222}},   // AS923-1
    {0,     0,  {}},
};

QString Zeros(int bytes)
{
    return TFieldLayout::HexOctets(QByteArray(bytes, '\0'));
}

TKeyValueList Record(std::initializer_list<std::pair<const char*, QString>> items)
{
    TKeyValueList record;
    for (const auto& item : items)
        record.Append(QLatin1String(item.first), item.second);
    return record;
}

const SimBand* FindBand(qint64 id)
{
    for (const SimBand* band = kBands; band->id; ++band)
        if (band->id == id)
            return band;
    return nullptr;
}

/// LoRa time on air (coding rate 4/5, 8 preamble symbols, explicit header, CRC on).
quint32 AirtimeMs(quint8 dataRate, int frameBytes)
{
    const int sf = dataRate <= 5 ? 12 - dataRate : 7;
    const double bandwidth = dataRate == 6 ? 250000.0 : 125000.0;
    const double symbolMs = double(1 << sf) / bandwidth * 1000.0;
    const int lowRate = sf >= 11 ? 1 : 0;
    const double payloadSymbols = 8 + qMax(std::ceil((8.0 * frameBytes - 4 * sf + 28 + 16) / (4.0 * (sf - 2 * lowRate))) * 5, 0.0);
    return quint32(std::ceil((12.25 + payloadSymbols) * symbolMs));
}

TSimReply Wrong()
{
    return TSimReply::Status(TSimReply::kWrongParameter);
}
}

TSimLoRaWAN::TSimLoRaWAN(TSimModule& module)
    : TSimService(module)
{
    FactoryDefaults();
}

void TSimLoRaWAN::FactoryDefaults()
{
    SetStatus(Inactive);
    m_lastActivation = Inactive;
    QByteArray eui = QByteArray::fromHex("70B3D57E");
    QByteArray id(4, 0);
    qToBigEndian(m_module.Identity().deviceId, id.data());
    m_deviceEUI = Record({{"DeviceEUI", TFieldLayout::HexOctets(eui + id)}});
    m_joinParams = Record({{"JoinEUI", Zeros(8)}, {"AppKey", Zeros(16)}});
    m_activation = Record({{"DeviceAddress", THexText::Prefixed(0, 8)}, {"NwkSessionKey", Zeros(16)}, {"AppSessionKey", Zeros(16)}});
    m_nodeConfig = Record({{"DataRate", "5"}, {"PowerLevel", "14"}, {"Options", "0x00"}, {"AutoPowerSaving", "1"},
                           {"Retransmissions", "7"}, {"BandID", "1"}, {"HeaderMacCmdCap", "0"},
                           {"SubBandMask1", "0"}, {"SubBandMask2", "0"}, {"SubBandMask3", "0"}});
    m_customConfig = Record({{"TxPowerOffset", "0"}});
    m_regionConfig = Record({{"DefaultRegion", "1"}, {"RegionMask", THexText::Prefixed(0x86, 8)}});
    m_activeRegion = 1;
    m_linkADRMode = 0;
    m_batteryLevel = 255;
    m_devNonce = 0;
    m_joinNonce = 0;
    m_uplinkCounter = 0;
    m_downlinkCounter = 0;
    m_downlinks.clear();
    m_multicast.clear();
    for (int i = 0; i < kMulticastGroups; ++i)
        m_multicast << Record({{"Index", QString::number(i)}, {"ConfigStatus", "0"}, {"DeviceAddress", THexText::Prefixed(0, 8)}});
    m_txPowerLimits.clear();
    for (int i = 0; i < kSubBands; ++i)
        m_txPowerLimits << Record({{"SubBandIndex", QString::number(i)}, {"ActiveFlag", "0"}, {"Limit", "14"}});
}

// ---- helpers ----

void TSimLoRaWAN::Later(int ms, std::function<void()> action)
{
    QTimer::singleShot(ms, &m_context, std::move(action));
}

TSimCounters* TSimLoRaWAN::Counters() const
{
    return TSimDeviceMgmt::CountersOf(m_module);
}

quint32 TSimLoRaWAN::GpsSeconds()
{
    return quint32(QDateTime::currentSecsSinceEpoch() - kGpsEpochSecsSinceUnix + kGpsLeapSeconds);
}

quint8 TSimLoRaWAN::DataRate() const
{
    return quint8(TSimLayout::Number(m_nodeConfig, "DataRate"));
}

quint8 TSimLoRaWAN::PowerLevel() const
{
    return quint8(TSimLayout::Number(m_nodeConfig, "PowerLevel"));
}

int TSimLoRaWAN::MaxPayloadSize() const
{
    const SimBand* band = FindBand(TSimLayout::Number(m_nodeConfig, "BandID"));
    return band && DataRate() < kDataRates ? band->maxPayload[DataRate()] : 0;
}

QString TSimLoRaWAN::DeviceAddress() const
{
    return m_activation.Value(QStringLiteral("DeviceAddress"));
}

void TSimLoRaWAN::SetStatus(NetworkStatus status)
{
    m_status = status;
    if (m_periodic)
        m_periodic->SetNodeActive(Active());
}

void TSimLoRaWAN::SetPeriodicDownlink(int intervalMs, quint8 port, const QList<QByteArray>& payloads, bool confirmed)
{
    m_periodic.reset();
    if (intervalMs <= 0)
        return;
    m_periodic = std::make_unique<TSimPeriodicDownlink>(intervalMs, port, payloads, confirmed,
                                                        [this](quint8 p, const QByteArray& data, bool c) { InjectRxData(p, data, c); });
    m_periodic->SetNodeActive(Active());
}

TSimReply TSimLoRaWAN::SetRecord(const TFieldLayoutEntry* layout, const QByteArray& payload, TKeyValueList& target)
{
    TKeyValueList record;
    if (!TSimLayout::Parse(layout, payload, record))
        return Wrong();
    target = record;
    return TSimReply::Ok();
}

TSimReply TSimLoRaWAN::SetNumber(const TFieldLayoutEntry* layout, const QByteArray& payload, qint64 maximum, quint32& value)
{
    TKeyValueList record;
    if (!TSimLayout::Parse(layout, payload, record) || TSimLayout::Number(record, layout[0].name) > maximum)
        return Wrong();
    value = quint32(TSimLayout::Number(record, layout[0].name));
    return TSimReply::Ok();
}

TSimReply TSimLoRaWAN::GetNumber(const TFieldLayoutEntry* layout, quint32 value) const
{
    return TSimReply::Ok(TSimLayout::Pack(layout, Record({{layout[0].name, QString::number(value)}})));
}

// ---- events ----

void TSimLoRaWAN::SendRxEvent(quint8 msgId, const TFieldLayoutEntry* layout, TKeyValueList fields)
{
    if (TSimCounters* c = Counters()) {
        ++c->radioRxPackets;
        ++c->radioRxAddressOk;
    }
    m_module.SendMessage(kSapId, msgId, TSimLayout::Pack(layout, fields));
}

void TSimLoRaWAN::Transmit(quint8 txEvent, int payloadSize, bool confirmed, const QByteArray& macAnswer)
{
    if (TSimCounters* c = Counters()) {
        ++(confirmed ? c->txCData : c->txUData);
        ++c->radioTxPackets;
    }
    const quint8 channel = m_channel;
    m_channel = quint8((m_channel + 1) % kChannels);
    m_module.SendMessage(kSapId, txEvent, TSimLayout::Pack(L::kTxDataEvent, Record({
        {"ChannelIndex", QString::number(channel)}, {"DataRate", QString::number(DataRate())},
        {"PowerLevel", QString::number(PowerLevel())}, {"NumTxPackets", "1"},
        {"Airtime", QString::number(AirtimeMs(DataRate(), payloadSize + kFrameOverheadBytes))},
        {"FrameCounter", QString::number(m_uplinkCounter++)}})));

    Later(kRxWindowDelayMs, [this, confirmed, channel, macAnswer] {
        if (!macAnswer.isEmpty())
            InjectMacCommand(macAnswer);
        if (!m_downlinks.isEmpty()) {
            SendRxData(m_downlinks.takeFirst(), confirmed, channel);
        } else if (confirmed) {
            SendRxEvent(kRxAckEvent, L::kRxAckEvent, Record({
                {"FrameCounter", QString::number(m_downlinkCounter++)}, {"RSSI", QString::number(kRssiDbm)},
                {"SNR", QString::number(kSnrDb)}, {"RxSlot", "1"}, {"ChannelIndex", QString::number(channel)},
                {"DataRate", QString::number(DataRate())}}));
        }
    });
}

void TSimLoRaWAN::SendRxData(const Downlink& downlink, bool ack, quint8 channel)
{
    if (TSimCounters* c = Counters())
        ++(downlink.confirmed ? c->rx1CData : c->rx1UData);
    SendRxEvent(downlink.confirmed ? kRxCDataEvent : kRxUDataEvent, L::kRxDataEvent, Record({
        {"FrameCounter", QString::number(m_downlinkCounter++)}, {"RSSI", QString::number(kRssiDbm)},
        {"SNR", QString::number(kSnrDb)}, {"RxSlot", "1"}, {"ChannelIndex", QString::number(channel)},
        {"DataRate", QString::number(DataRate())}, {"ACK", ack ? "1" : "0"},
        {"FramePending", m_downlinks.isEmpty() ? "0" : "1"}, {"LoRaPort", THexText::Prefixed(downlink.port, 2)},
        {"Payload", TFieldLayout::HexOctets(downlink.payload)}}));
}

void TSimLoRaWAN::QueueDownlink(quint8 port, const QByteArray& payload, bool confirmed)
{
    m_downlinks << Downlink{port, payload, confirmed};
}

void TSimLoRaWAN::InjectRxData(quint8 port, const QByteArray& payload, bool confirmed)
{
    SendRxData(Downlink{port, payload, confirmed}, false, m_channel);
}

void TSimLoRaWAN::InjectMulticastData(int group, quint8 port, const QByteArray& payload)
{
    const QString address = group >= 0 && group < kMulticastGroups ? m_multicast.at(group).Value(QStringLiteral("DeviceAddress")) : THexText::Prefixed(0, 8);
    SendRxEvent(kRxMulticastDataEvent, L::kRxMulticastEvent, Record({
        {"DeviceAddress", address}, {"FrameCounter", QString::number(m_downlinkCounter++)},
        {"RSSI", QString::number(kRssiDbm)}, {"SNR", QString::number(kSnrDb)}, {"LoRaPort", THexText::Prefixed(port, 2)},
        {"Payload", TFieldLayout::HexOctets(payload)}}));
}

void TSimLoRaWAN::InjectMacCommand(const QByteArray& command)
{
    SendRxEvent(kRxMacCmdEvent, L::kRxMacCmdEvent, Record({
        {"FrameCounter", QString::number(m_downlinkCounter++)}, {"RSSI", QString::number(kRssiDbm)},
        {"SNR", QString::number(kSnrDb)}, {"RxSlot", "1"}, {"MACCommand", TFieldLayout::HexOctets(command)}}));
}

void TSimLoRaWAN::InjectInvalidData(quint8 errorCode)
{
    m_module.SendMessage(kSapId, kRxNoDataEvent, TSimLayout::Pack(L::kRxInvalidEvent, Record({
        {"Flags", THexText::Prefixed(kErrorCodeFollows, 2)}, {"ErrorCode", THexText::Prefixed(errorCode, 2)}})));
}

void TSimLoRaWAN::InjectLinkDisconnect(quint8 reason)
{
    SetStatus(Inactive);
    m_module.SendMessage(kSapId, kLinkDisconnectEvent, TSimLayout::Pack(L::kLinkDisconnectEvent, Record({{"Reason", QString::number(reason)}})));
}

// ---- requests ----

TSimReply TSimLoRaWAN::Activate(const QByteArray& payload)
{
    TKeyValueList activation;
    if (!TSimLayout::Parse(L::kActivation, payload, activation) || TSimLayout::Number(activation, "DeviceAddress") == 0)
        return Wrong();
    m_activation = activation;
    m_lastActivation = ActiveABP;
    SetStatus(ActiveABP);
    m_uplinkCounter = m_downlinkCounter = 0;
    return TSimReply::Ok();
}

TSimReply TSimLoRaWAN::Join()
{
    if (m_status == Joining)
        return TSimReply::Status(kDeviceBusy);
    SetStatus(Joining);
    Later(kTxEventDelayMs, [this] {
        if (TSimCounters* c = Counters()) {
            ++c->txJoin;
            ++c->radioTxPackets;
        }
        m_module.SendMessage(kSapId, kTxJoinEvent, TSimLayout::Pack(L::kTxJoinEvent, Record({
            {"ChannelIndex", QString::number(m_channel)}, {"DataRate", QString::number(DataRate())},
            {"PowerLevel", QString::number(PowerLevel())}, {"Airtime", QString::number(AirtimeMs(DataRate(), kJoinRequestBytes))},
            {"DevNonce", QString::number(m_devNonce)}})));
        m_devNonce = (m_devNonce + 1) & 0xFFFF;
        Later(kJoinAcceptDelayMs, [this] {
            if (m_status != Joining)
                return;   // reset or deactivated meanwhile
            if (!m_joinAccepted) {
                SetStatus(Inactive);
                return;
            }
            m_joinNonce = (m_joinNonce + 1) & 0xFFFFFF;
            const QString address = THexText::Prefixed(0x260B0000u + m_joinNonce, 8);
            m_activation.Set(QStringLiteral("DeviceAddress"), address);
            m_lastActivation = ActiveOTAA;
            SetStatus(ActiveOTAA);
            m_uplinkCounter = m_downlinkCounter = 0;
            if (TSimCounters* c = Counters())
                ++c->rxAccept;
            SendRxEvent(kJoinNwkEvent, L::kJoinEvent, Record({
                {"DeviceAddress", address}, {"ChannelIndex", QString::number(m_channel)},
                {"DataRate", QString::number(DataRate())}, {"RSSI", QString::number(kRssiDbm)},
                {"SNR", QString::number(kSnrDb)}, {"RxSlot", "1"}}));
        });
    });
    return TSimReply::Ok();
}

TSimReply TSimLoRaWAN::Reactivate()
{
    if (m_lastActivation == Inactive)
        return TSimReply::Status(kDeviceNotActivated);
    SetStatus(m_lastActivation);
    return TSimReply::Ok();
}

TSimReply TSimLoRaWAN::SetNodeConfig(const QByteArray& payload)
{
    TKeyValueList config;
    if (!TSimLayout::Parse(L::kRadioStackConfig, payload, config))
        return Wrong();
    // The band decides which data rates exist and how much power is allowed.
    const SimBand* band = FindBand(TSimLayout::Number(config, "BandID"));
    const qint64 dataRate = TSimLayout::Number(config, "DataRate");
    if (!band || dataRate >= kDataRates || band->maxPayload[dataRate] == 0 || TSimLayout::Number(config, "PowerLevel") > band->maxEIRPdBm
        || TSimLayout::Number(config, "AutoPowerSaving") > 1)
        return Wrong();
    // Sub-band masks left out keep their values.
    for (const TKeyValueList::Item& item : config)
        m_nodeConfig.Set(item.first, item.second);
    return TSimReply::Ok();
}

TSimReply TSimLoRaWAN::SetCustomConfig(const QByteArray& payload)
{
    TKeyValueList config;
    if (!TSimLayout::Parse(L::kCustomConfig, payload, config) || qAbs(TSimLayout::Number(config, "TxPowerOffset")) > kMaxTxPowerOffset)
        return Wrong();
    m_customConfig = config;
    return TSimReply::Ok();
}

TSimReply TSimLoRaWAN::SetTxPowerLimit(const QByteArray& payload)
{
    TKeyValueList entry;
    if (!TSimLayout::Parse(L::kTxPowerLimit, payload, entry))
        return Wrong();
    const qint64 index = TSimLayout::Number(entry, "SubBandIndex");
    if (index >= kSubBands || TSimLayout::Number(entry, "ActiveFlag") > 1 || TSimLayout::Number(entry, "Limit") > kMaxLimitDbm)
        return Wrong();
    m_txPowerLimits[int(index)] = entry;
    return TSimReply::Ok();
}

TSimReply TSimLoRaWAN::SetActiveRegion(const QByteArray& payload)
{
    TKeyValueList region;
    if (!TSimLayout::Parse(L::kActiveRegion, payload, region))
        return Wrong();
    const qint64 id = TSimLayout::Number(region, "ActiveRegion");
    if (id > 31 || !(TSimLayout::Number(m_regionConfig, "RegionMask") & (qint64(1) << id)))
        return Wrong();
    if (Active())
        return TSimReply::Status(kWrongDeviceMode);
    m_activeRegion = quint32(id);
    return TSimReply::Ok();
}

TSimReply TSimLoRaWAN::SetRegionConfig(const QByteArray& payload)
{
    TKeyValueList config;
    if (!TSimLayout::Parse(L::kRegion, payload, config))
        return Wrong();
    const qint64 defaultRegion = TSimLayout::Number(config, "DefaultRegion");
    if (defaultRegion > 31 || !(TSimLayout::Number(config, "RegionMask") & (qint64(1) << defaultRegion)))
        return Wrong();
    m_regionConfig = config;
    return TSimReply::Ok();
}

TSimReply TSimLoRaWAN::SetLinkADRConfig(const QByteArray& payload)
{
    return SetNumber(L::kLinkADRConfig, payload, kMaxHandlingMode, m_linkADRMode);
}

TSimReply TSimLoRaWAN::SetMulticast(const QByteArray& payload)
{
    TKeyValueList group;
    if (!TSimLayout::Parse(L::kMulticastSet, payload, group) || TSimLayout::Number(group, "Index") >= kMulticastGroups)
        return Wrong();
    const int index = int(TSimLayout::Number(group, "Index"));
    m_multicast[index] = Record({{"Index", QString::number(index)}, {"ConfigStatus", "1"},
                                 {"DeviceAddress", group.Value(QStringLiteral("DeviceAddress"))},
                                 {"NwkSessionKey", group.Value(QStringLiteral("NwkSessionKey"))},
                                 {"AppSessionKey", group.Value(QStringLiteral("AppSessionKey"))}});
    return TSimReply::Ok();
}

TSimReply TSimLoRaWAN::GetMulticast(const QByteArray& payload) const
{
    TKeyValueList request;
    if (!TSimLayout::Parse(L::kMulticastIndex, payload, request) || TSimLayout::Number(request, "Index") >= kMulticastGroups)
        return Wrong();
    return TSimReply::Ok(TSimLayout::Pack(L::kMulticastGet, m_multicast.at(int(TSimLayout::Number(request, "Index")))));
}

TSimReply TSimLoRaWAN::RemoveMulticast(const QByteArray& payload)
{
    TKeyValueList request;
    if (!TSimLayout::Parse(L::kMulticastIndex, payload, request) || TSimLayout::Number(request, "Index") >= kMulticastGroups)
        return Wrong();
    const int index = int(TSimLayout::Number(request, "Index"));
    m_multicast[index] = Record({{"Index", QString::number(index)}, {"ConfigStatus", "0"}, {"DeviceAddress", THexText::Prefixed(0, 8)}});
    return TSimReply::Ok();
}

TSimReply TSimLoRaWAN::SendData(const QByteArray& payload, bool confirmed)
{
    // Read by hand: an empty application payload is valid and leaves the octet field out.
    if (payload.isEmpty() || payload.size() > 1 + 255)
        return Wrong();
    const quint8 port = quint8(payload.at(0));
    const int size = payload.size() - 1;
    if (port == 0 || port > kMaxLoRaPort)
        return Wrong();
    if (!Active())
        return TSimReply::Status(kDeviceNotActivated);
    if (size > MaxPayloadSize())
        return Wrong();
    Later(kTxEventDelayMs, [this, size, confirmed] { Transmit(confirmed ? kTxCDataEvent : kTxUDataEvent, size, confirmed); });
    return TSimReply::Ok();
}

TSimReply TSimLoRaWAN::SendMacCommand(const QByteArray& payload)
{
    TKeyValueList command;
    if (!TSimLayout::Parse(L::kMacCommand, payload, command) || TSimLayout::Number(command, "Service") > 1)
        return Wrong();
    const bool confirmed = TSimLayout::Number(command, "Service") == 1;
    QByteArray answer(1, char(TSimLayout::Number(command, "MACCmdID")));
    if (quint8(answer.at(0)) == kLinkCheckReq) {
        answer.append(char(kLinkCheckMarginDb));
        answer.append(char(1));   // gateways that heard us
    } else if (quint8(answer.at(0)) == kDeviceTimeReq) {
        QByteArray time(4, 0);
        qToLittleEndian(GpsSeconds(), time.data());
        answer.append(time);
        answer.append(char(0));
    } else {
        return Wrong();
    }
    if (!Active())
        return TSimReply::Status(kDeviceNotActivated);
    Later(kTxEventDelayMs, [this, confirmed, answer] { Transmit(confirmed ? kTxCDataEvent : kTxUDataEvent, 0, confirmed, answer); });
    return TSimReply::Ok();
}

TSimReply TSimLoRaWAN::SendNetworkTime()
{
    if (!Active())
        return TSimReply::Status(kDeviceNotActivated);
    Later(kTxEventDelayMs, [this] {
        Transmit(kTxUDataEvent, 0, false);
        Later(kRxWindowDelayMs, [this] {
            SendRxEvent(kNetworkTimeResponseEvent, L::kNetworkTimeEvent, Record({
                {"GPSTime", QString::number(GpsSeconds())}, {"FractionalSecond", "0"}}));
        });
    });
    return TSimReply::Ok();
}

QByteArray TSimLoRaWAN::NwkStatus() const
{
    TKeyValueList status = Record({{"NetworkStatus", QString::number(m_status)}});
    if (Active()) {
        status.Append(QStringLiteral("DeviceAddress"), m_activation.Value(QStringLiteral("DeviceAddress")));
        status.Append(QStringLiteral("DataRate"), QString::number(DataRate()));
        status.Append(QStringLiteral("PowerLevel"), QString::number(PowerLevel()));
        status.Append(QStringLiteral("MaxPayloadSize"), QString::number(MaxPayloadSize()));
    }
    return TSimLayout::Pack(L::kNwkStatus, status);
}

QByteArray TSimLoRaWAN::TxPowerLimits() const
{
    QByteArray data;
    for (const TKeyValueList& entry : m_txPowerLimits)
        data.append(TSimLayout::Pack(L::kTxPowerLimit, entry));
    return data;
}

QByteArray TSimLoRaWAN::SupportedBands() const
{
    QByteArray data;
    for (const SimBand* band = kBands; band->id; ++band)
        data.append(TSimLayout::Pack(L::kSupportedBand, Record({{"BandIndex", QString::number(band->id)}, {"MaxEIRP", QString::number(band->maxEIRPdBm)}})));
    return data;
}

TSimReply TSimLoRaWAN::HandleRequest(quint8 msgId, const QByteArray& payload)
{
    switch (msgId) {
    case kActivateDeviceReq:
        return Activate(payload);
    case kGetActivationParamsReq:
        return TSimReply::Ok(TSimLayout::Pack(L::kActivation, m_activation));
    case kSetJoinParamsReq:
        return SetRecord(L::kJoinParams, payload, m_joinParams);
    case kGetJoinParamsReq:
        return TSimReply::Ok(TSimLayout::Pack(L::kJoinParams, m_joinParams));
    case kJoinNwkReq:
        return Join();
    case kSendUDataReq:
        return SendData(payload, false);
    case kSendCDataReq:
        return SendData(payload, true);
    case kSetConfigReq:
        return SetNodeConfig(payload);
    case kGetConfigReq:
        return TSimReply::Ok(TSimLayout::Pack(L::kRadioStackConfig, m_nodeConfig));
    case kReactivateDeviceReq:
        return Reactivate();
    case kDeactivateReq:
        SetStatus(Inactive);
        return TSimReply::Ok();
    case kFactoryResetReq:
        FactoryDefaults();
        Later(kTxEventDelayMs, [this] {
            m_module.SendMessage(kSapId, kDevNonceResetEvent, TSimLayout::Pack(L::kDevNonceResetEvent, Record({{"DevNonce", QString::number(m_devNonce)}})));
        });
        return TSimReply::Ok();
    case kSetDeviceEUIReq:
        return SetRecord(L::kDeviceEUI, payload, m_deviceEUI);
    case kGetDeviceEUIReq:
        return TSimReply::Ok(TSimLayout::Pack(L::kDeviceEUI, m_deviceEUI));
    case kGetNwkStatusReq:
        return TSimReply::Ok(NwkStatus());
    case kSendMacCmdReq:
        return SendMacCommand(payload);
    case kSetBatteryLevelReq:
        return SetNumber(L::kBatteryLevel, payload, 255, m_batteryLevel);
    case kSetCustomConfigReq:
        return SetCustomConfig(payload);
    case kGetCustomConfigReq:
        return TSimReply::Ok(TSimLayout::Pack(L::kCustomConfig, m_customConfig));
    case kGetSupportedBandsReq:
        return TSimReply::Ok(SupportedBands());
    case kSetTxPowerLimitConfigReq:
        return SetTxPowerLimit(payload);
    case kGetTxPowerLimitConfigReq:
        return TSimReply::Ok(TxPowerLimits());
    case kSetLinkADRRequestConfigReq:
        return SetLinkADRConfig(payload);
    case kGetLinkADRRequestConfigReq:
        return GetNumber(L::kLinkADRConfig, m_linkADRMode);
    case kSetMulticastConfigReq:
        return SetMulticast(payload);
    case kGetMulticastConfigReq:
        return GetMulticast(payload);
    case kRemoveMulticastConfigReq:
        return RemoveMulticast(payload);
    case kSetActiveRegionReq:
        return SetActiveRegion(payload);
    case kGetActiveRegionReq:
        return GetNumber(L::kActiveRegion, m_activeRegion);
    case kSetRegionConfigReq:
        return SetRegionConfig(payload);
    case kGetRegionConfigReq:
        return TSimReply::Ok(TSimLayout::Pack(L::kRegion, m_regionConfig));
    case kSetDevNonceReq:
        return SetNumber(L::kDevNonce, payload, 0xFFFF, m_devNonce);
    case kGetDevNonceReq:
        return GetNumber(L::kDevNonce, m_devNonce);
    case kSetJoinNonceReq:
        return SetNumber(L::kJoinNonce, payload, 0xFFFFFF, m_joinNonce);
    case kGetJoinNonceReq:
        return GetNumber(L::kJoinNonce, m_joinNonce);
    case kSendNetworkTimeReq:
        return SendNetworkTime();
    default:
        return TSimReply::Unknown();
    }
}

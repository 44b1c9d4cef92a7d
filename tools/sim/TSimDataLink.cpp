#include "tools/sim/TSimDataLink.h"

#include <QTimer>

#include <cmath>

#include "sap/DataLinkLayouts.h"
#include "sap/TFieldLayout.h"
#include "tools/sim/TSimDeviceMgmt.h"
#include "tools/sim/TSimModule.h"
#include "base/THexText.h"

namespace D = DataLinkLayouts;
using Ids = DataLinkMsgIds;

namespace {
constexpr int kLoRaPreambleSymbols = 8;
constexpr int kFskOverheadBytes = 5 + 3 + 1 + 2;   // preamble, sync word, length, CRC
constexpr quint8 kMaxRxCtrl = D::kRxWindowAfterTx;
constexpr quint8 kMaxFskDataRate = 2;

// FSKDataRate  bit/s
const int kFskBitRates[] = {50000, 100000, 250000};
// Bandwidth    Hz
const int kLoRaBandwidths[] = {125000, 250000, 500000};

TKeyValueList Record(std::initializer_list<std::pair<const char*, QString>> items)
{
    TKeyValueList record;
    for (const auto& item : items)
        record.Append(QLatin1String(item.first), item.second);
    return record;
}

TSimReply Wrong()
{
    return TSimReply::Status(TSimReply::kWrongParameter);
}

bool InRange(qint64 value, qint64 low, qint64 high)
{
    return value >= low && value <= high;
}
}

TSimDataLink::TSimDataLink(TSimModule& module)
    : TSimService(module)
{
    Defaults();
    m_ackTimer.setSingleShot(true);
    QObject::connect(&m_ackTimer, &QTimer::timeout, &m_context, [this] {
        m_module.SendMessage(kSapId, Ids::kAckTimeoutEvent, QByteArray());
    });
}

TSimDataLink::~TSimDataLink()
{
    if (m_air)
        m_air->Leave(this);
}

void TSimDataLink::SetAir(TSimAir* air)
{
    // A frame on the air left behind never ends.
    m_air = air;
    m_transmitting = false;
    m_ackTimer.stop();
}

void TSimDataLink::Restarted()
{
    m_config = m_storedConfig;
    m_ackMode = D::kAckPlain;
    m_ackData.clear();
    m_packetCounter = 0;
    m_ackTimer.stop();
}

void TSimDataLink::Defaults()
{
    const quint32 frequency = quint32(std::lround(869.5e6 / kFrequencyStepHz));
    m_config = Record({{"RadioMode", "0"}, {"RxGroupAddress", THexText::Prefixed(0x10, 2)},
                       {"RxDeviceAddress", THexText::Prefixed(m_module.Identity().deviceAddress & 0xFFFF, 4)}, {"Modulation", "0"},
                       {"Frequency", QString::number(frequency)}, {"Bandwidth", "0"}, {"Spreading", "11"}, {"ErrorCoding", "1"},
                       {"PowerLevel", "14"}, {"RxCtrl", THexText::Prefixed(D::kRxAlwaysOn, 2)}, {"RxWindow", "3000"},
                       {"ExtraOptions", THexText::Prefixed(D::kOptionRxTrailer, 2)}, {"FSKDataRate", "0"}, {"AutoPowerSaving", "0"},
                       {"LBTThreshold", "-85"}});
    m_storedConfig = m_config;
    if (m_aesKey.isEmpty())
        m_aesKey = QByteArray(D::kAESKeyBytes, '\0');
}

void TSimDataLink::Later(int ms, std::function<void()> action)
{
    QTimer::singleShot(ms, &m_context, std::move(action));
}

TSimCounters* TSimDataLink::Counters() const
{
    return TSimDeviceMgmt::CountersOf(m_module);
}

QDateTime TSimDataLink::ModuleTime() const
{
    auto* dm = m_module.ServiceOf<TSimDeviceMgmt>();
    return dm ? dm->Now() : QDateTime::currentDateTime();
}

quint8 TSimDataLink::GroupAddress() const
{
    return quint8(TSimLayout::Number(m_config, "RxGroupAddress"));
}

quint16 TSimDataLink::DeviceAddress() const
{
    return quint16(TSimLayout::Number(m_config, "RxDeviceAddress"));
}

bool TSimDataLink::ReceiverOn() const
{
    return TSimLayout::Number(m_config, "RxCtrl") != D::kRxOff;
}

bool TSimDataLink::TrailerOn() const
{
    return TSimLayout::Number(m_config, "ExtraOptions") & D::kOptionRxTrailer;
}

bool TSimDataLink::AesOn() const
{
    return TSimLayout::Number(m_config, "ExtraOptions") & D::kOptionAES;
}

bool TSimDataLink::Listening() const
{
    switch (TSimLayout::Number(m_config, "RxCtrl")) {
    case D::kRxAlwaysOn:
        return true;
    case D::kRxWindowAfterTx:
        return m_lastTxEndMs >= 0 && m_module.Uptime() - m_lastTxEndMs <= TSimLayout::Number(m_config, "RxWindow");
    default:
        return false;
    }
}

TSimChannel TSimDataLink::Channel() const
{
    TSimChannel channel;
    channel.modulation = quint8(TSimLayout::Number(m_config, "Modulation"));
    channel.frequency = quint32(TSimLayout::Number(m_config, "Frequency"));
    channel.bandwidth = quint8(TSimLayout::Number(m_config, "Bandwidth"));
    channel.spreading = quint8(TSimLayout::Number(m_config, "Spreading"));
    channel.fskDataRate = quint8(TSimLayout::Number(m_config, "FSKDataRate"));
    return channel;
}

int TSimDataLink::PowerLevel() const
{
    return int(TSimLayout::Number(m_config, "PowerLevel"));
}

int TSimDataLink::LbtThreshold() const
{
    return int(TSimLayout::Number(m_config, "LBTThreshold"));
}

quint32 TSimDataLink::AirtimeMs(const TKeyValueList& radio, int frameBytes)
{
    if (TSimLayout::Number(radio, "Modulation") == D::kModulationFSK) {
        const int rate = kFskBitRates[qBound<qint64>(0, TSimLayout::Number(radio, "FSKDataRate"), kMaxFskDataRate)];
        return quint32(std::ceil((frameBytes + kFskOverheadBytes) * 8 * 1000.0 / rate));
    }
    const int sf = int(qBound<qint64>(7, TSimLayout::Number(radio, "Spreading"), 12));
    const double bandwidth = kLoRaBandwidths[qBound<qint64>(0, TSimLayout::Number(radio, "Bandwidth"), 2)];
    const int codingRate = int(qBound<qint64>(1, TSimLayout::Number(radio, "ErrorCoding"), 4));
    const double symbolMs = double(1 << sf) / bandwidth * 1000.0;
    const int lowRate = symbolMs > 16.0 ? 1 : 0;
    const double payloadSymbols = 8 + qMax(std::ceil((8.0 * frameBytes - 4 * sf + 28 + 16) / (4.0 * (sf - 2 * lowRate))) * (codingRate + 4), 0.0);
    return quint32(std::ceil((kLoRaPreambleSymbols + 4.25 + payloadSymbols) * symbolMs));
}

QByteArray TSimDataLink::RxTrailer(qint16 rssiDbm, qint8 snrDb) const
{
    return TSimLayout::Pack(D::kRxTrailer, Record({{"RSSI", QString::number(rssiDbm)}, {"SNR", QString::number(snrDb)},
                                                   {"Time", ModuleTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"))}}));
}

// ---- events ----

void TSimDataLink::SendTxEvent(quint8 msgId, int dataBytes)
{
    SendTxEvent(msgId, TSimReply::kOk, AirtimeMs(m_config, dataBytes + kFrameOverheadBytes));
}

void TSimDataLink::SendTxEvent(quint8 msgId, quint8 status, qint64 airTimeMs)
{
    TKeyValueList event = Record({{"Status", QString::number(status)}, {"Packet", QString::number(m_packetCounter)}});
    TSimCounters* c = Counters();
    if (status == TSimReply::kOk) {
        ++m_packetCounter;
        event = Record({{"Status", "0"}, {"Packet", QString::number(m_packetCounter)}, {"AirTime", QString::number(airTimeMs)}});
        if (c)
            ++c->radioTxPackets;
    } else if (c) {
        ++(status == kMediaBusy ? c->radioTxMediaBusy : c->radioTxErrors);
    }
    m_module.SendMessage(kSapId, msgId, TSimLayout::Pack(D::kTxEvent, event));
}

void TSimDataLink::SendRxEvent(quint8 msgId, const TSimRadioFrame& frame, qint16 rssiDbm, qint8 snrDb)
{
    const bool trailer = TrailerOn();
    QByteArray payload = TSimLayout::Pack(D::kRxHeader, Record({
        {"Format", THexText::Prefixed(trailer ? D::kFormatTrailer : 0, 2)}, {"DstGroupAddress", THexText::Prefixed(frame.dstGroup, 2)},
        {"DstDeviceAddress", THexText::Prefixed(frame.dstDevice, 4)}, {"SrcGroupAddress", THexText::Prefixed(frame.srcGroup, 2)},
        {"SrcDeviceAddress", THexText::Prefixed(frame.srcDevice, 4)}}));
    payload.append(frame.data);
    if (trailer)
        payload.append(RxTrailer(rssiDbm, snrDb));
    m_module.SendMessage(kSapId, msgId, payload);
}

TSimRadioFrame TSimDataLink::Frame(TSimRadioFrame::Kind kind, quint8 dstGroup, quint16 dstDevice, const QByteArray& data) const
{
    TSimRadioFrame frame;
    frame.kind = kind;
    frame.dstGroup = dstGroup;
    frame.dstDevice = dstDevice;
    frame.srcGroup = GroupAddress();
    frame.srcDevice = DeviceAddress();
    frame.data = data;
    if (AesOn())
        frame.aesKey = m_aesKey;
    return frame;
}

bool TSimDataLink::ReceiveMessage(quint8 srcGroup, quint16 srcDevice, const QByteArray& data, bool confirmed)
{
    if (data.size() > D::kMaxUserData)
        return false;
    TSimRadioFrame frame = Frame(confirmed ? TSimRadioFrame::Confirmed : TSimRadioFrame::Unconfirmed, GroupAddress(), DeviceAddress(), data);
    frame.srcGroup = srcGroup;
    frame.srcDevice = srcDevice;
    return Hear(frame, kRssiDbm, kSnrDb);
}

bool TSimDataLink::Hear(const TSimRadioFrame& frame, qint16 rssiDbm, qint8 snrDb)
{
    if (!Listening())
        return false;
    TSimCounters* c = Counters();
    if (c)
        ++c->radioRxPackets;
    // A sniffer shows every frame as it came off the air.
    if (TSimLayout::Number(m_config, "RadioMode") == D::kRadioModeSniffer) {
        m_module.SendMessage(kSapId, Ids::kRxRawDataEvent, frame.Bytes() + RxTrailer(rssiDbm, snrDb));
        return true;
    }
    if (frame.aesKey != (AesOn() ? m_aesKey : QByteArray())) {
        if (c)
            ++c->radioRxCRCErrors;   // the integrity code does not check out
        return false;
    }
    const bool forUs = (frame.dstGroup == GroupAddress() || frame.dstGroup == D::kBroadcastGroup)
                       && (frame.dstDevice == DeviceAddress() || frame.dstDevice == D::kBroadcastDevice);
    if (!forUs)
        return false;
    if (c)
        ++c->radioRxAddressOk;
    if (frame.kind == TSimRadioFrame::Ack) {
        // Only the acknowledgement that is awaited, from the module that was asked, counts.
        if (!m_ackTimer.isActive() || frame.srcGroup != m_awaitGroup || frame.srcDevice != m_awaitDevice)
            return false;
        m_ackTimer.stop();
        SendRxEvent(Ids::kRxAckEvent, frame, rssiDbm, snrDb);
        return true;
    }
    SendRxEvent(frame.kind == TSimRadioFrame::Confirmed ? Ids::kRxCDataEvent : Ids::kRxUDataEvent, frame, rssiDbm, snrDb);
    if (frame.kind == TSimRadioFrame::Confirmed && !frame.Broadcast())
        Acknowledge(frame);
    return true;
}

void TSimDataLink::Acknowledge(const TSimRadioFrame& frame)
{
    const QByteArray ackData = m_ackMode == D::kAckPlain ? QByteArray() : m_ackData;
    if (m_ackMode == D::kAckDataOnce)
        m_ackMode = D::kAckPlain;
    if (!m_air) {
        Later(kTxEventDelayMs, [this, ackData] { SendTxEvent(Ids::kTxAckEvent, ackData.size()); });
        return;
    }
    TSimRadioFrame ack = Frame(TSimRadioFrame::Ack, frame.srcGroup, frame.srcDevice, ackData);
    Later(kAckTurnaroundMs, [this, ack] {
        if (m_air)
            m_air->Transmit(this, ack, AirtimeMs(m_config, ack.data.size() + kFrameOverheadBytes));
    });
}

void TSimDataLink::TransmissionEnded(const TSimRadioFrame& frame, quint32 airTimeMs)
{
    m_transmitting = false;
    m_lastTxEndMs = m_module.Uptime();
    switch (frame.kind) {
    case TSimRadioFrame::Unconfirmed:
        SendTxEvent(Ids::kTxUDataEvent, TSimReply::kOk, airTimeMs);
        break;
    case TSimRadioFrame::Confirmed: {
        SendTxEvent(Ids::kTxCDataEvent, TSimReply::kOk, airTimeMs);
        m_awaitGroup = frame.dstGroup;
        m_awaitDevice = frame.dstDevice;
        // Long enough for the answer with the most ack data to come back.
        m_ackTimer.start(kAckTurnaroundMs + int(AirtimeMs(m_config, D::kMaxAckData + kFrameOverheadBytes)) + kAckMarginMs);
        break;
    }
    case TSimRadioFrame::Ack:
        SendTxEvent(Ids::kTxAckEvent, TSimReply::kOk, airTimeMs);
        break;
    }
}

// ---- requests ----

TSimReply TSimDataLink::Send(const QByteArray& payload, bool confirmed)
{
    if (payload.size() < 3)
        return Wrong();
    if (payload.size() - 3 > D::kMaxUserData)
        return TSimReply::Status(kMessageLengthError);
    TKeyValueList message;
    TFieldLayout::Decode(D::kSendData, payload, 0, message);
    if (payload.size() == 3)
        message.Append(QStringLiteral("Payload"), QString());   // a message may carry no user data
    QByteArray again;
    QString error;
    if (!TFieldLayout::Pack(D::kSendData, message, again, error) || again != payload)
        return Wrong();
    if (TSimLayout::Number(m_config, "RadioMode") == D::kRadioModeSniffer)
        return TSimReply::Status(kWrongDeviceMode);
    const TSimRadioFrame frame = Frame(confirmed ? TSimRadioFrame::Confirmed : TSimRadioFrame::Unconfirmed,
                                       quint8(TSimLayout::Number(message, "DstGroupAddress")),
                                       quint16(TSimLayout::Number(message, "DstDeviceAddress")), payload.mid(3));
    if (m_air)
        return SendOnAir(frame);
    Later(kTxEventDelayMs, [this, frame] {
        SendTxEvent(frame.kind == TSimRadioFrame::Confirmed ? Ids::kTxCDataEvent : Ids::kTxUDataEvent, frame.data.size());
        if (frame.kind != TSimRadioFrame::Confirmed)
            return;
        // Nobody acknowledges a broadcast, and a module whose receiver is off never hears an ack.
        if (m_peerAcks && !frame.Broadcast() && ReceiverOn()) {
            TSimRadioFrame ack = Frame(TSimRadioFrame::Ack, GroupAddress(), DeviceAddress(), m_peerAckData);
            ack.srcGroup = frame.dstGroup;
            ack.srcDevice = frame.dstDevice;
            Later(kAckDelayMs, [this, ack] { SendRxEvent(Ids::kRxAckEvent, ack, kRssiDbm, kSnrDb); });
        } else {
            Later(kAckTimeoutMs, [this] { m_module.SendMessage(kSapId, Ids::kAckTimeoutEvent, QByteArray()); });
        }
    });
    return TSimReply::Ok();
}

TSimReply TSimDataLink::SendOnAir(const TSimRadioFrame& frame)
{
    // One frame at a time: the module queues nothing behind the one on air.
    if (m_transmitting)
        return TSimReply::Status(kTxQueueFull);
    const quint8 txEvent = frame.kind == TSimRadioFrame::Confirmed ? Ids::kTxCDataEvent : Ids::kTxUDataEvent;
    if (m_air->ChannelBusy(this)) {
        Later(kTxEventDelayMs, [this, txEvent] { SendTxEvent(txEvent, kMediaBusy, 0); });
        return TSimReply::Ok();
    }
    m_transmitting = true;
    m_ackTimer.stop();
    m_air->Transmit(this, frame, AirtimeMs(m_config, frame.data.size() + kFrameOverheadBytes));
    return TSimReply::Ok();
}

TSimReply TSimDataLink::SetAckData(const QByteArray& payload)
{
    if (payload.isEmpty() || payload.size() - 1 > D::kMaxAckData)
        return Wrong();
    const quint8 mode = quint8(payload.at(0));
    if (mode > D::kAckDataAlways)
        return Wrong();
    m_ackMode = mode;
    m_ackData = payload.mid(1);
    return TSimReply::Ok();
}

TSimReply TSimDataLink::SetRadioConfig(const QByteArray& payload)
{
    TKeyValueList config;
    if (!TSimLayout::Parse(D::kRadioConfig, payload, config))
        return Wrong();
    const double frequencyHz = TSimLayout::Number(config, "Frequency") * kFrequencyStepHz;
    if (TSimLayout::Number(config, "NVM") > 1 || TSimLayout::Number(config, "RadioMode") > D::kRadioModeSniffer
        || TSimLayout::Number(config, "Modulation") > D::kModulationFSK || frequencyHz < kMinFrequencyHz || frequencyHz > kMaxFrequencyHz
        || TSimLayout::Number(config, "Bandwidth") > 2 || !InRange(TSimLayout::Number(config, "Spreading"), 7, 12)
        || !InRange(TSimLayout::Number(config, "ErrorCoding"), 1, 4) || !InRange(TSimLayout::Number(config, "PowerLevel"), kMinPowerDbm, kMaxPowerDbm)
        || TSimLayout::Number(config, "RxCtrl") > kMaxRxCtrl || TSimLayout::Number(config, "FSKDataRate") > kMaxFskDataRate)
        return Wrong();
    // The module ignores the reserved bytes: power saving and LBT threshold keep their values.
    for (const TKeyValueList::Item& item : qAsConst(config))
        if (item.first != QLatin1String("NVM") && item.first != QLatin1String("Reserved"))
            m_config.Set(item.first, item.second);
    if (TSimLayout::Number(config, "NVM") == 1)
        m_storedConfig = m_config;
    return TSimReply::Ok();
}

TSimReply TSimDataLink::SetAESKey(const QByteArray& payload)
{
    if (payload.size() != D::kAESKeyBytes)
        return Wrong();
    m_aesKey = payload;
    return TSimReply::Ok();
}

TSimReply TSimDataLink::HandleRequest(quint8 msgId, const QByteArray& payload)
{
    switch (msgId) {
    case Ids::kSendUDataReq:
        return Send(payload, false);
    case Ids::kSendCDataReq:
        return Send(payload, true);
    case Ids::kSetAckDataReq:
        return SetAckData(payload);
    case Ids::kSetRadioConfigReq:
        return SetRadioConfig(payload);
    case Ids::kGetRadioConfigReq:
        return payload.isEmpty() ? TSimReply::Ok(TSimLayout::Pack(D::kRadioConfigRsp, m_config)) : Wrong();
    case Ids::kResetRadioConfigReq:
        if (!payload.isEmpty())
            return Wrong();
        Defaults();
        return TSimReply::Ok();
    case Ids::kSetAESKeyReq:
        return SetAESKey(payload);
    case Ids::kGetAESKeyReq:
        return payload.isEmpty() ? TSimReply::Ok(m_aesKey) : Wrong();
    default:
        return TSimReply::Unknown();
    }
}

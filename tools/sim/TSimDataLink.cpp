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
constexpr quint8 kBroadcastGroup = 0xFF;
constexpr quint16 kBroadcastDevice = 0xFFFF;
constexpr quint8 kControlUnconfirmed = 0x40;   // first byte of a radio frame
constexpr quint8 kControlConfirmed = 0x41;

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

QByteArray Le16(quint16 value)
{
    return QByteArray(1, char(value & 0xFF)) + QByteArray(1, char(value >> 8));
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
    if (m_aesKey.isEmpty())
        m_aesKey = QByteArray(D::kAESKeyBytes, '\0');
}

void TSimDataLink::Later(int ms, std::function<void()> action)
{
    QTimer::singleShot(ms, &m_context, std::move(action));
}

TSimCounters* TSimDataLink::Counters() const
{
    auto* dm = dynamic_cast<TSimDeviceMgmt*>(m_module.Service(TSimDeviceMgmt::kSapId));
    return dm ? &dm->Counters() : nullptr;
}

QDateTime TSimDataLink::ModuleTime() const
{
    auto* dm = dynamic_cast<TSimDeviceMgmt*>(m_module.Service(TSimDeviceMgmt::kSapId));
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

QByteArray TSimDataLink::RxTrailer() const
{
    return TSimLayout::Pack(D::kRxTrailer, Record({{"RSSI", QString::number(kRssiDbm)}, {"SNR", QString::number(kSnrDb)},
                                                   {"Time", ModuleTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"))}}));
}

// ---- events ----

void TSimDataLink::SendTxEvent(quint8 msgId, int dataBytes)
{
    ++m_packetCounter;
    if (TSimCounters* c = Counters())
        ++c->radioTxPackets;
    m_module.SendMessage(kSapId, msgId, TSimLayout::Pack(D::kTxEvent, Record({
        {"Status", "0"}, {"Packet", QString::number(m_packetCounter)},
        {"AirTime", QString::number(AirtimeMs(m_config, dataBytes + kFrameOverheadBytes))}})));
}

void TSimDataLink::SendRxEvent(quint8 msgId, quint8 dstGroup, quint16 dstDevice, quint8 srcGroup, quint16 srcDevice, const QByteArray& data)
{
    if (TSimCounters* c = Counters()) {
        ++c->radioRxPackets;
        ++c->radioRxAddressOk;
    }
    const bool trailer = TrailerOn();
    QByteArray payload = TSimLayout::Pack(D::kRxHeader, Record({
        {"Format", THexText::Prefixed(trailer ? D::kFormatTrailer : 0, 2)}, {"DstGroupAddress", THexText::Prefixed(dstGroup, 2)}, {"DstDeviceAddress", THexText::Prefixed(dstDevice, 4)},
        {"SrcGroupAddress", THexText::Prefixed(srcGroup, 2)}, {"SrcDeviceAddress", THexText::Prefixed(srcDevice, 4)}}));
    payload.append(data);
    if (trailer)
        payload.append(RxTrailer());
    m_module.SendMessage(kSapId, msgId, payload);
}

bool TSimDataLink::ReceiveMessage(quint8 srcGroup, quint16 srcDevice, const QByteArray& data, bool confirmed)
{
    if (!ReceiverOn() || data.size() > D::kMaxUserData)
        return false;
    if (TSimLayout::Number(m_config, "RadioMode") == D::kRadioModeSniffer) {
        // A sniffer shows the frame as it came off the air: control byte, addresses, user data.
        QByteArray frame(1, char(confirmed ? kControlConfirmed : kControlUnconfirmed));
        frame.append(char(GroupAddress()));
        frame.append(Le16(DeviceAddress()));
        frame.append(char(srcGroup));
        frame.append(Le16(srcDevice));
        frame.append(data);
        m_module.SendMessage(kSapId, Ids::kRxRawDataEvent, frame + RxTrailer());
        return true;
    }
    SendRxEvent(confirmed ? Ids::kRxCDataEvent : Ids::kRxUDataEvent, GroupAddress(), DeviceAddress(), srcGroup, srcDevice, data);
    if (confirmed) {
        const int ackBytes = m_ackMode == D::kAckPlain ? 0 : m_ackData.size();
        if (m_ackMode == D::kAckDataOnce)
            m_ackMode = D::kAckPlain;
        Later(kTxEventDelayMs, [this, ackBytes] { SendTxEvent(Ids::kTxAckEvent, ackBytes); });
    }
    return true;
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
    const int dataBytes = payload.size() - 3;
    const quint8 dstGroup = quint8(TSimLayout::Number(message, "DstGroupAddress"));
    const quint16 dstDevice = quint16(TSimLayout::Number(message, "DstDeviceAddress"));
    Later(kTxEventDelayMs, [this, confirmed, dataBytes, dstGroup, dstDevice] {
        SendTxEvent(confirmed ? Ids::kTxCDataEvent : Ids::kTxUDataEvent, dataBytes);
        if (!confirmed)
            return;
        // Nobody acknowledges a broadcast, and a module whose receiver is off never hears an ack.
        const bool broadcast = dstGroup == kBroadcastGroup || dstDevice == kBroadcastDevice;
        if (m_peerAcks && !broadcast && ReceiverOn()) {
            const QByteArray ackData = m_peerAckData;
            Later(kAckDelayMs, [this, dstGroup, dstDevice, ackData] {
                SendRxEvent(Ids::kRxAckEvent, GroupAddress(), DeviceAddress(), dstGroup, dstDevice, ackData);
            });
        } else {
            Later(kAckTimeoutMs, [this] { m_module.SendMessage(kSapId, Ids::kAckTimeoutEvent, QByteArray()); });
        }
    });
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

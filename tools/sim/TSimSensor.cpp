#include "tools/sim/TSimSensor.h"

#include <limits>

#include "sap/DataLinkLayouts.h"
#include "sap/SensorLayouts.h"
#include "sap/TFieldLayout.h"
#include "tools/sim/TSimDataLink.h"
#include "tools/sim/TSimDeviceMgmt.h"
#include "tools/sim/TSimModule.h"
#include "base/THexText.h"

namespace S = SensorLayouts;
using Ids = SensorMsgIds;

namespace {
constexpr quint8 kKnownOptions = S::kOptionAckRequest | S::kOptionLed;

TKeyValueList Record(std::initializer_list<std::pair<const char*, QString>> items)
{
    TKeyValueList record;
    for (const auto& item : items)
        record.Append(QLatin1String(item.first), item.second);
    return record;
}
}

TSimSensor::TSimSensor(TSimModule& module)
    : TSimService(module)
{
    m_config = Record({{"Mode", "0"}, {"Options", THexText::Prefixed(0, 2)}, {"TxPeriod", "10000"}, {"RxTimeout", "2000"}});
    QObject::connect(&m_timer, &QTimer::timeout, &m_context, [this] { Transmit(); });
}

quint8 TSimSensor::Mode() const
{
    return quint8(TSimLayout::Number(m_config, "Mode"));
}

TSimDataLink* TSimSensor::DataLink() const
{
    return m_module.ServiceOf<TSimDataLink>();
}

QByteArray TSimSensor::Header(bool trailer, quint8 dstGroup, quint16 dstDevice, quint8 srcGroup, quint16 srcDevice) const
{
    return TSimLayout::Pack(DataLinkLayouts::kRxHeader, Record({
        {"Format", THexText::Prefixed(trailer ? DataLinkLayouts::kFormatTrailer : 0, 2)}, {"DstGroupAddress", THexText::Prefixed(dstGroup, 2)},
        {"DstDeviceAddress", THexText::Prefixed(dstDevice, 4)}, {"SrcGroupAddress", THexText::Prefixed(srcGroup, 2)}, {"SrcDeviceAddress", THexText::Prefixed(srcDevice, 4)}}));
}

QByteArray TSimSensor::TelegramValues(quint16 counter)
{
    // The room warms by a tenth of a degree per telegram and cools again, so values move visibly.
    const int drift = counter % 10;
    return TSimLayout::Pack(S::kSensorValues, Record({
        {"Counter", QString::number(counter)}, {"Battery", QString::number(TSimDeviceMgmt::kBatteryMv)},
        {"Temperature", QString::number(kTemperatureTenthC + (drift < 5 ? drift : 10 - drift))},
        {"Humidity", QString::number(kHumidityPercent)}, {"Light", QString::number(kLightLux)}}));
}

void TSimSensor::Transmit()
{
    TSimDataLink* link = DataLink();
    if (!link || Mode() != S::kModeTransmitter)
        return;
    const quint16 counter = ++m_counter;
    // What the node sends is reported as sent: nothing was received, so no trailer.
    m_module.SendMessage(kSapId, Ids::kSensorDataEvent,
                         Header(false, kReceiverGroup, kReceiverDevice, link->GroupAddress(), link->DeviceAddress()) + TelegramValues(counter));
    if (!(TSimLayout::Number(m_config, "Options") & S::kOptionAckRequest) || !link->ReceiverOn())
        return;
    QTimer::singleShot(kAckDelayMs, &m_context, [this, counter] {
        TSimDataLink* link = DataLink();
        if (!link || Mode() != S::kModeTransmitter)
            return;
        const bool trailer = link->TrailerOn();
        QByteArray payload = Header(trailer, link->GroupAddress(), link->DeviceAddress(), kReceiverGroup, kReceiverDevice);
        payload.append(TSimLayout::Pack(S::kReceiverAckValues, Record({{"Counter", QString::number(counter)},
                                                                        {"Battery", QString::number(TSimDeviceMgmt::kBatteryMv)}})));
        if (trailer)
            payload.append(link->RxTrailer());
        m_module.SendMessage(kSapId, Ids::kReceiverAckEvent, payload);
    });
}

bool TSimSensor::ReceiveTelegram(quint8 srcGroup, quint16 srcDevice, quint16 counter, qint16 rssiDbm, qint8 snrDb)
{
    TSimDataLink* link = DataLink();
    if (!link || Mode() != S::kModeReceiver || !link->ReceiverOn())
        return false;
    const bool trailer = link->TrailerOn();
    QByteArray payload = Header(trailer, link->GroupAddress(), link->DeviceAddress(), srcGroup, srcDevice) + TelegramValues(counter);
    if (trailer)
        payload.append(link->RxTrailer(rssiDbm, snrDb));
    m_module.SendMessage(kSapId, Ids::kSensorDataEvent, payload);
    return true;
}

TSimReply TSimSensor::SetConfig(const QByteArray& payload)
{
    TKeyValueList config;
    if (!TSimLayout::Parse(S::kConfig, payload, config))
        return TSimReply::Status(TSimReply::kWrongParameter);
    const qint64 mode = TSimLayout::Number(config, "Mode");
    const qint64 period = TSimLayout::Number(config, "TxPeriod");
    if (mode > S::kModeReceiver || (TSimLayout::Number(config, "Options") & ~qint64(kKnownOptions))
        || (mode == S::kModeTransmitter && period < kMinTxPeriodMs))
        return TSimReply::Status(TSimReply::kWrongParameter);
    m_config = config;
    m_timer.stop();
    if (mode == S::kModeTransmitter)
        m_timer.start(int(qMin<qint64>(period, std::numeric_limits<int>::max())));
    return TSimReply::Ok();
}

TSimReply TSimSensor::HandleRequest(quint8 msgId, const QByteArray& payload)
{
    switch (msgId) {
    case Ids::kSetConfigReq:
        return SetConfig(payload);
    case Ids::kGetConfigReq:
        return payload.isEmpty() ? TSimReply::Ok(TSimLayout::Pack(S::kConfig, m_config)) : TSimReply::Status(TSimReply::kWrongParameter);
    default:
        return TSimReply::Unknown();
    }
}

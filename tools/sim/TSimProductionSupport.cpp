#include "tools/sim/TSimProductionSupport.h"

#include "sap/ProductionSupportLayouts.h"
#include "sap/TFieldLayout.h"
#include "tools/sim/TSimDataLink.h"
#include "tools/sim/TSimDeviceMgmt.h"
#include "tools/sim/TSimModule.h"

namespace P = ProductionSupportLayouts;
using Ids = ProductionSupportMsgIds;

namespace {
constexpr quint8 kMaxClockSource = 3;
constexpr quint8 kMaxFskDataRate = 2;
constexpr int kTestMessageHeaderBytes = 8;   // radio settings before the test message's data
constexpr int kTestPacketBytes = 16;         // data of the packets of the transmit test
// The calibration items the module keeps, with their factory values.
// id                          factory value
const QMap<quint16, qint16> kFactoryCalibration = {
    {P::kCalFrequencyOffset,    0},
    {P::kCalRssiOffset,         0},
    {P::kCalTxPowerOffset,      0},
    {P::kCalTemperatureOffset,  0},
};

TKeyValueList Record(std::initializer_list<std::pair<const char*, QString>> items)
{
    TKeyValueList record;
    for (const auto& item : items)
        record.Append(QLatin1String(item.first), item.second);
    return record;
}

bool InRange(qint64 value, qint64 low, qint64 high)
{
    return value >= low && value <= high;
}

TSimReply Wrong()
{
    return TSimReply::Status(TSimReply::kWrongParameter);
}
}

TSimProductionSupport::TSimProductionSupport(TSimModule& module)
    : TSimService(module)
{
    QObject::connect(&m_testTimer, &QTimer::timeout, &m_context, [this] { SendTxTestPacket(m_testRadio, kTestPacketBytes); });
    FactoryDefaults();
}

void TSimProductionSupport::FactoryDefaults()
{
    m_testTimer.stop();
    m_testMode = P::kTestOff;
    m_testRadio.clear();
    m_calibration = kFactoryCalibration;
    m_gpioOutputs = m_gpioLevels = 0;
    m_clockOn = false;
    m_clock.clear();
}

bool TSimProductionSupport::RadioValid(const TKeyValueList& radio)
{
    const double frequencyHz = TSimLayout::Number(radio, "Frequency") * TSimDataLink::kFrequencyStepHz;
    return InRange(TSimLayout::Number(radio, "PowerLevel"), TSimDataLink::kMinPowerDbm, TSimDataLink::kMaxPowerDbm)
        && TSimLayout::Number(radio, "Modulation") <= 1 && frequencyHz >= TSimDataLink::kMinFrequencyHz
        && frequencyHz <= TSimDataLink::kMaxFrequencyHz && TSimLayout::Number(radio, "Bandwidth") <= 2
        && InRange(TSimLayout::Number(radio, "Spreading"), 7, 12) && InRange(TSimLayout::Number(radio, "ErrorCoding"), 1, 4);
}

void TSimProductionSupport::SendTxTestPacket(const TKeyValueList& radio, int payloadBytes)
{
    ++m_txCounter;
    m_module.SendMessage(kSapId, Ids::kTxTestPacketEvent, TSimLayout::Pack(P::kTxTestPacketEvent, Record({
        {"PacketCounter", QString::number(m_txCounter)}, {"PowerLevel", radio.Value(QStringLiteral("PowerLevel"))},
        {"Frequency", radio.Value(QStringLiteral("Frequency"))},
        {"Airtime", QString::number(TSimDataLink::AirtimeMs(radio, payloadBytes))}})));
}

bool TSimProductionSupport::ReceiveTestPacket(quint16 counter, const QByteArray& data)
{
    if (m_testMode != P::kTestRxPackets || data.size() > P::kMaxTestPayload)
        return false;
    m_module.SendMessage(kSapId, Ids::kRxTestPacketEvent, TSimLayout::Pack(P::kRxTestPacketEvent, Record({
        {"PacketCounter", QString::number(counter)},
        {"RSSI", QString::number(kTestRssiDbm + m_calibration.value(P::kCalRssiOffset))},
        {"SNR", QString::number(kTestSnrDb)}, {"Payload", TFieldLayout::HexOctets(data)}})));
    return true;
}

// ---- requests ----

TSimReply TSimProductionSupport::SetRadioTestMode(const QByteArray& payload)
{
    TKeyValueList radio;
    if (!TSimLayout::Parse(P::kRadioTestMode, payload, radio) || TSimLayout::Number(radio, "TestMode") > P::kTestRxPackets || !RadioValid(radio))
        return Wrong();
    m_testTimer.stop();
    m_testMode = quint8(TSimLayout::Number(radio, "TestMode"));
    m_testRadio = radio;
    if (m_testMode == P::kTestTxPackets)
        m_testTimer.start(kTestPacketPeriodMs);
    return TSimReply::Ok();
}

TSimReply TSimProductionSupport::SetDeviceID(const QByteArray& payload)
{
    TKeyValueList id;
    if (!TSimLayout::Parse(P::kDeviceID, payload, id))
        return Wrong();
    // Device management reports the new identifier from now on.
    m_module.Identity().deviceId = quint32(TSimLayout::Number(id, "DeviceID"));
    return TSimReply::Ok();
}

TSimReply TSimProductionSupport::SetGPIOPorts(const QByteArray& payload)
{
    TKeyValueList ports;
    if (!TSimLayout::Parse(P::kGPIOPorts, payload, ports))
        return Wrong();
    const quint16 mask = quint16(TSimLayout::Number(ports, "OutputMask"));
    const quint16 levels = quint16(TSimLayout::Number(ports, "OutputLevels"));
    if ((mask & ~kAvailablePins) || (levels & ~mask))
        return Wrong();
    m_gpioOutputs |= mask;
    m_gpioLevels = quint16((m_gpioLevels & ~mask) | levels);
    return TSimReply::Ok();
}

TSimReply TSimProductionSupport::SetFrequencyOffset(const QByteArray& payload)
{
    TKeyValueList offset;
    if (!TSimLayout::Parse(P::kFrequencyOffset, payload, offset))
        return Wrong();
    const qint64 hz = TSimLayout::Number(offset, "FrequencyOffset");
    if (!InRange(hz, -kMaxFrequencyOffsetHz, kMaxFrequencyOffsetHz))
        return Wrong();
    m_calibration[P::kCalFrequencyOffset] = qint16(hz);
    return TSimReply::Ok();
}

TSimReply TSimProductionSupport::SetCalibrationValue(const QByteArray& payload)
{
    TKeyValueList value;
    if (!TSimLayout::Parse(P::kCalibrationValue, payload, value))
        return Wrong();
    const quint16 id = quint16(TSimLayout::Number(value, "CalibrationID"));
    const qint64 number = TSimLayout::Number(value, "CalibrationValue");
    if (!m_calibration.contains(id) || (id == P::kCalFrequencyOffset && !InRange(number, -kMaxFrequencyOffsetHz, kMaxFrequencyOffsetHz)))
        return Wrong();
    m_calibration[id] = qint16(number);
    return TSimReply::Ok();
}

TSimReply TSimProductionSupport::GetCalibrationValue(const QByteArray& payload) const
{
    TKeyValueList request;
    if (!TSimLayout::Parse(P::kCalibrationID, payload, request))
        return Wrong();
    const quint16 id = quint16(TSimLayout::Number(request, "CalibrationID"));
    if (!m_calibration.contains(id))
        return TSimReply::Status(kValueNotAvailable);
    return TSimReply::Ok(TSimLayout::Pack(P::kCalibrationValue, Record({
        {"CalibrationID", QString::number(id)}, {"CalibrationValue", QString::number(m_calibration.value(id))}})));
}

TSimReply TSimProductionSupport::GetMeasurementValue(const QByteArray& payload) const
{
    TKeyValueList request;
    if (!TSimLayout::Parse(P::kMeasurementID, payload, request))
        return Wrong();
    const quint16 id = quint16(TSimLayout::Number(request, "MeasurementID"));
    qint64 value = 0;
    switch (id) {
    case P::kMeasSupplyVoltage:
        value = TSimDeviceMgmt::kBatteryMv;
        break;
    case P::kMeasTemperature:
        value = kTemperatureTenthC + m_calibration.value(P::kCalTemperatureOffset);
        break;
    case P::kMeasRssi:
        // The channel is only listened to while the receive test runs.
        if (m_testMode != P::kTestRxPackets)
            return TSimReply::Status(kWrongDeviceMode);
        value = kTestRssiDbm + m_calibration.value(P::kCalRssiOffset);
        break;
    default:
        return TSimReply::Status(kValueNotAvailable);
    }
    return TSimReply::Ok(TSimLayout::Pack(P::kMeasurementValue, Record({
        {"MeasurementID", QString::number(id)}, {"MeasurementValue", QString::number(value)}})));
}

TSimReply TSimProductionSupport::SetClockOutput(const QByteArray& payload)
{
    TKeyValueList clock;
    if (!TSimLayout::Parse(P::kClockOutput, payload, clock))
        return Wrong();
    const qint64 prescaler = TSimLayout::Number(clock, "Prescaler");
    if (TSimLayout::Number(clock, "ClockOutput") > 1 || TSimLayout::Number(clock, "ClockSource") > kMaxClockSource
        || prescaler < 1 || prescaler > 16 || (prescaler & (prescaler - 1)))
        return Wrong();
    m_clockOn = TSimLayout::Number(clock, "ClockOutput") == 1;
    m_clock = clock;
    return TSimReply::Ok();
}

TSimReply TSimProductionSupport::GetAirtime(const QByteArray& payload) const
{
    TKeyValueList request;
    if (!TSimLayout::Parse(P::kAirtimeRequest, payload, request) || TSimLayout::Number(request, "Modulation") > 1
        || TSimLayout::Number(request, "Bandwidth") > 2 || !InRange(TSimLayout::Number(request, "Spreading"), 7, 12)
        || !InRange(TSimLayout::Number(request, "ErrorCoding"), 1, 4) || TSimLayout::Number(request, "FSKDataRate") > kMaxFskDataRate)
        return Wrong();
    const int bytes = int(TSimLayout::Number(request, "PayloadSize"));
    return TSimReply::Ok(TSimLayout::Pack(P::kAirtime, Record({{"Airtime", QString::number(TSimDataLink::AirtimeMs(request, bytes))}})));
}

TSimReply TSimProductionSupport::SendTestMessage(const QByteArray& payload)
{
    TKeyValueList message;
    if (payload.size() < kTestMessageHeaderBytes || payload.size() > kTestMessageHeaderBytes + P::kMaxTestPayload)
        return Wrong();
    TFieldLayout::Decode(P::kTestMessage, payload, 0, message);
    if (payload.size() == kTestMessageHeaderBytes)
        message.Append(QStringLiteral("Payload"), QString());   // a test message may carry no data
    QByteArray again;
    QString error;
    if (!TFieldLayout::Pack(P::kTestMessage, message, again, error) || again != payload || !RadioValid(message))
        return Wrong();
    if (m_testMode != P::kTestOff)
        return TSimReply::Status(kWrongDeviceMode);
    const int bytes = payload.size() - kTestMessageHeaderBytes;
    QTimer::singleShot(kTxEventDelayMs, &m_context, [this, message, bytes] { SendTxTestPacket(message, bytes); });
    return TSimReply::Ok();
}

TSimReply TSimProductionSupport::HandleRequest(quint8 msgId, const QByteArray& payload)
{
    switch (msgId) {
    case Ids::kSetRadioTestModeReq:
        return SetRadioTestMode(payload);
    case Ids::kSetDeviceIDReq:
        return SetDeviceID(payload);
    case Ids::kFactoryResetReq:
        if (!payload.isEmpty())
            return Wrong();
        FactoryDefaults();
        return TSimReply::Ok();
    case Ids::kSetGPIOPortsReq:
        return SetGPIOPorts(payload);
    case Ids::kSetFrequencyOffsetReq:
        return SetFrequencyOffset(payload);
    case Ids::kSetCalibrationValueReq:
        return SetCalibrationValue(payload);
    case Ids::kGetCalibrationValueReq:
        return GetCalibrationValue(payload);
    case Ids::kGetMeasurementValueReq:
        return GetMeasurementValue(payload);
    case Ids::kSetClockOutputReq:
        return SetClockOutput(payload);
    case Ids::kGetAirtimeReq:
        return GetAirtime(payload);
    case Ids::kSendTestMsgReq:
        return SendTestMessage(payload);
    default:
        return TSimReply::Unknown();
    }
}

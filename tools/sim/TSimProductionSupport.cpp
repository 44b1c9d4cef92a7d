#include "tools/sim/TSimProductionSupport.h"

#include <iterator>

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
// The calibration items the module keeps, with their factory values.
// id                          factory value
const QMap<quint16, qint16> kFactoryCalibration = {
    {P::kCalFrequencyOffset,    0},
    {P::kCalRssiOffset,         0},
    {P::kCalTxPowerOffset,      0},
    {P::kCalTemperatureOffset,  0},
};

/// Signal of the virtual test transmitter, packet after packet (repeating): offsets from the
/// nominal RSSI and SNR, so that the statistics of a receive test have something to show.
// RSSI dB  SNR dB
const struct { int rssi; int snr; } kSignalVariation[] = {
    {0,  0},
    {-3, -1},
    {2,  1},
    {-1, 0},
    {2,  0},
};

/// Data of the packets of test modes 2 and 3: 00 01 02 ... 0F.
QByteArray TestPattern()
{
    QByteArray data(TSimProductionSupport::kTestPacketBytes, 0);
    for (int i = 0; i < data.size(); ++i)
        data[i] = char(i);
    return data;
}

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
    QObject::connect(&m_testTimer, &QTimer::timeout, &m_context, [this] { TestPacketSlot(); });
    FactoryDefaults();
}

void TSimProductionSupport::Restarted()
{
    m_testTimer.stop();
    m_testMode = P::kTestOff;
    m_testRadio.clear();
    m_gpioOutputs = m_gpioLevels = 0;
    m_clockOn = false;
    m_clock.clear();
}

void TSimProductionSupport::FactoryDefaults()
{
    Restarted();
    m_calibration = kFactoryCalibration;
}

TSimCounters* TSimProductionSupport::Counters() const
{
    return TSimDeviceMgmt::CountersOf(m_module);
}

TSimReply TSimProductionSupport::MediaBusy()
{
    if (TSimCounters* counters = Counters())
        ++counters->radioTxMediaBusy;
    return TSimReply::Status(kMediaBusy);
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
    if (TSimCounters* counters = Counters())
        ++counters->radioTxPackets;
    m_module.SendMessage(kSapId, Ids::kTxTestPacketEvent, TSimLayout::Pack(P::kTxTestPacketEvent, Record({
        {"PacketCounter", QString::number(m_txCounter)}, {"PowerLevel", radio.Value(QStringLiteral("PowerLevel"))},
        {"Frequency", radio.Value(QStringLiteral("Frequency"))},
        {"Airtime", QString::number(TSimDataLink::AirtimeMs(radio, payloadBytes))}})));
}

bool TSimProductionSupport::ReceiveTestPacket(quint16 counter, const QByteArray& data)
{
    if (m_testMode != P::kTestRxPackets || data.size() > P::kMaxTestPayload)
        return false;
    SendRxTestPacket(counter, data, 0);
    return true;
}

void TSimProductionSupport::SendRxTestPacket(quint16 counter, const QByteArray& data, int variation)
{
    const auto& signal = kSignalVariation[variation % int(std::size(kSignalVariation))];
    if (TSimCounters* counters = Counters())
        ++counters->radioRxPackets;
    m_module.SendMessage(kSapId, Ids::kRxTestPacketEvent, TSimLayout::Pack(P::kRxTestPacketEvent, Record({
        {"PacketCounter", QString::number(counter)},
        {"RSSI", QString::number(kTestRssiDbm + m_calibration.value(P::kCalRssiOffset) + signal.rssi)},
        {"SNR", QString::number(kTestSnrDb + signal.snr)}, {"Payload", TFieldLayout::HexOctets(data)}})));
}

void TSimProductionSupport::TestPacketSlot()
{
    ++m_slots;
    // A lost packet completes another whole share of `m_lossPercent` per hundred slots.
    const bool lost = m_slots * quint64(m_lossPercent) / 100 > (m_slots - 1) * quint64(m_lossPercent) / 100;
    TSimCounters* counters = Counters();
    if (m_testMode == P::kTestTxPackets) {
        if (!lost) {
            SendTxTestPacket(m_testRadio, kTestPacketBytes);
            return;
        }
        ++m_txCounter;   // the packet's number is used up all the same
        if (counters)
            ++counters->radioTxErrors;
        return;
    }
    ++m_peerCounter;
    if (!lost)
        SendRxTestPacket(m_peerCounter, TestPattern(), int(m_slots - 1));
    else if (counters)
        ++counters->radioRxCRCErrors;
}

// ---- requests ----

TSimReply TSimProductionSupport::SetRadioTestMode(const QByteArray& payload)
{
    TKeyValueList radio;
    if (!TSimLayout::Parse(P::kRadioTestMode, payload, radio) || TSimLayout::Number(radio, "TestMode") > P::kTestRxPackets || !RadioValid(radio))
        return Wrong();
    const quint8 mode = quint8(TSimLayout::Number(radio, "TestMode"));
    if (m_channelBusy && (mode == P::kTestCarrier || mode == P::kTestTxPackets))
        return MediaBusy();
    m_testTimer.stop();
    m_testMode = mode;
    m_testRadio = radio;
    m_slots = 0;
    m_peerCounter = 0;
    if (m_testMode == P::kTestTxPackets || m_testMode == P::kTestRxPackets)
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
    case P::kMeasGpioLevels:
        value = m_gpioLevels;   // the pins that are not driven are pulled low
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
    if (m_channelBusy)
        return MediaBusy();
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

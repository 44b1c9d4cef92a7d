#include "sap/TVeltoLRDeviceMgmt.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QStringList>

#include "hci/TVeltoLRHCI.h"
#include "sap/DeviceMgmtLayouts.h"
#include "sap/TDeviceTypes.h"
#include "sap/TFieldLayout.h"
#include "sap/TRtcTime.h"
#include "settings/TSettings.h"
#include "base/THexText.h"

using namespace DeviceMgmtLayouts;

namespace {
// code  text
const TCodeTableEntry kStatusTable[] = {
    {0x00, "OK"},
    {0x01, "operation failed"},
    {0x02, "command not supported"},
    {0x03, "wrong parameter"},
    {0x04, "wrong device mode"},
    {0, nullptr},
};

// Parameter names: the fields of the layout a command packs, else the listed names.
// name                    description                                     layout / parameters
const TCommandTableEntry kCommandTable[] = {
    {"GetDeviceInfo",           "Get Device Info"},
    {"GetFirmwareInfo",         "Get Firmware Info"},
    {"GetCPUID",                "get CPU ID"},
    {"GetRTC",                  "Get RTC"},
    {"SyncRTC",                 "Sync RTC"},
    {"SetRTC",                  "Set RTC",                                      kRtc},
    {"SetRTCAlarm",             "Set RTC Alarm",                                nullptr, "NewAlarm,Options"},
    {"ClearRTCAlarm",           "Clear RTC Alarm"},
    {"GetRTCAlarm",             "Get RTC Alarm"},
    {"SetHCIConfig",            "set HCI configuration",                        kHciConfig},
    {"GetHCIConfig",            "get HCI configuration"},
    {"GetOperationMode",        "Get Operation Mode"},
    {"SetOperationMode",        "Set Operation Mode",                           kOperationMode},
    {"ResetDevice",             "Reset Device"},
    {"SetBootLoaderMode",       "Set Bootloader Mode"},
    {"GetSystemStatus",         "Get System Status"},
    {"SendTestCommand",         "Send Test Command",                            nullptr, "SapID,MsgID,MsgPayload"},
    {"GetRadioStack",           "Get Radio Stack"},
    {"SetRadioStack",           "Set Radio Stack",                              kRadioStack},
    {"SetDeviceConfig",         "Set Device Configuration",                     kDeviceConfig},
    {"GetDeviceConfig",         "Get Device Configuration"},
    {"ResetDeviceConfig",       "Restore Factory Settings"},
    {"SetLocalBaudrate",        "set local baudrate",                           nullptr, "Baudrate"},
    {"GetLocalBaudrate",        "get local baudrate"},
    {nullptr, nullptr},
};

// MsgID  name
const TCodeTableEntry kMessageNameTable[] = {
    {0x01, "PingReq"},
    {0x02, "PingRsp"},
    {0x03, "GetDeviceInfoReq"},
    {0x04, "GetDeviceInfoRsp"},
    {0x05, "GetFirmwareInfoReq"},
    {0x06, "GetFirmwareInfoRsp"},
    {0x07, "ResetReq"},
    {0x08, "ResetRsp"},
    {0x09, "SetOperationModeReq"},
    {0x0A, "SetOperationModeRsp"},
    {0x0B, "GetOperationModeReq"},
    {0x0C, "GetOperationModeRsp"},
    {0x0D, "SetRTCReq"},
    {0x0E, "SetRTCRsp"},
    {0x0F, "GetRTCReq"},
    {0x10, "GetRTCRsp"},
    {0x17, "GetDeviceStatusReq"},
    {0x18, "GetDeviceStatusRsp"},
    {0x19, "SetRadioModeReq"},
    {0x1A, "SetRadioModeRsp"},
    {0x25, "SetDeviceConfigReq"},
    {0x26, "SetDeviceConfigRsp"},
    {0x27, "GetDeviceConfigReq"},
    {0x28, "GetDeviceConfigRsp"},
    {0x29, "ResetDeviceConfigReq"},
    {0x2A, "ResetDeviceConfigRsp"},
    {0x31, "SetRTCAlarmReq"},
    {0x32, "SetRTCAlarmRsp"},
    {0x33, "ClearRTCAlarmReq"},
    {0x34, "ClearRTCAlarmRsp"},
    {0x35, "GetRTCAlarmReq"},
    {0x36, "GetRTCAlarmRsp"},
    {0x38, "EvRTCAlarm"},
    {0x39, "SetRadioStackReq"},
    {0x3A, "SetRadioStackRsp"},
    {0x3B, "GetRadioStackReq"},
    {0x3C, "GetRadioStackRsp"},
    {0x41, "SetHCIConfigReq"},
    {0x42, "SetHCIConfigRsp"},
    {0x43, "GetHCIConfigReq"},
    {0x44, "GetHCIConfigRsp"},
    {0xF4, "GetCPUIDReq"},
    {0xF5, "GetCPUIDRsp"},
    {0xF6, "SetBootloaderModeReq"},
    {0xF7, "SetBootloaderModeRsp"},
    {0, nullptr},
};

constexpr int kDeviceInfoSize = 10;          // status, type, address, ID
constexpr int kFirmwareVersionEnd = 3;       // status, minor, major
constexpr int kFirmwareBuildCountEnd = 5;
constexpr int kFirmwareBuildDateEnd = 15;
constexpr int kBuildDateSize = 10;

quint32 ReadU32(const quint8* p)
{
    return quint32(p[0]) | quint32(p[1]) << 8 | quint32(p[2]) << 16 | quint32(p[3]) << 24;
}

QString Two(const QString& number)
{
    return number.rightJustified(2, QLatin1Char('0'));
}

/// Text of a fixed-size field: up to the first NUL, without trailing blanks.
QString Text(const quint8* p, int size)
{
    int n = 0;
    while (n < size && p[n] != 0)
        ++n;
    QString text = QString::fromLatin1(reinterpret_cast<const char*>(p), n);
    while (text.endsWith(QLatin1Char(' ')))
        text.chop(1);
    return text;
}

/// Firmware fields after the status byte, as far as the payload holds them.
void DecodeFirmwareFields(const quint8* payload, int length, TKeyValueList& record)
{
    if (length < kFirmwareVersionEnd)
        return;
    record.Append(QStringLiteral("FWVersion"), QStringLiteral("V%1.%2").arg(payload[2]).arg(payload[1]));
    if (length < kFirmwareBuildCountEnd)
        return;
    record.Append(QStringLiteral("BuildCount"), qint64(payload[3] | payload[4] << 8));
    if (length < kFirmwareBuildDateEnd)
        return;
    record.Append(QStringLiteral("BuildDate"), Text(payload + kFirmwareBuildCountEnd, kBuildDateSize));
    if (length <= kFirmwareBuildDateEnd)
        return;
    const QString text = Text(payload + kFirmwareBuildDateEnd, length - kFirmwareBuildDateEnd);
    if (!text.contains(QLatin1Char(';'))) {
        record.Append(QStringLiteral("FWName"), text);
        return;
    }
    // Missing parts read "n.a."; anything after a fourth part stays with the application name.
    const QStringList parts = text.split(QLatin1Char(';'));
    const char* const keys[] = {"FWName", "RadioStack", "Band", "AppName"};
    for (int i = 0; i < 4; ++i) {
        QString value = i < parts.size() ? parts.at(i) : QStringLiteral("n.a.");
        if (i == 3 && parts.size() > 4)
            value = parts.mid(3).join(QLatin1Char(';'));
        record.Append(QLatin1String(keys[i]), value);
    }
}
}

TVeltoLRDeviceMgmt::TVeltoLRDeviceMgmt(QObject* parent)
    : TVeltoLRSAP(kSapId, kStatusTable, QStringLiteral("DeviceMgmt"), parent)
{
    RegisterCommandTable(kCommandTable);
    RegisterMessageNameTable(kMessageNameTable);
}

// ---- decoding ----

bool TVeltoLRDeviceMgmt::DecodeDeviceInfo(const quint8* payload, int length, TKeyValueList& record)
{
    if (length < 1)
        return TooShort(length);
    if (payload[0] != 0) {
        SetErrorText(CodeLookup(m_statusTable, payload[0]));
        return false;
    }
    if (length < kDeviceInfoSize)
        return TooShort(length);
    record.Append(QStringLiteral("DeviceType"), TDeviceTypes::Name(payload[1]));
    record.Append(QStringLiteral("DeviceAddress"), THexText::Digits(ReadU32(payload + 2), 8));
    record.Append(QStringLiteral("DeviceID"), THexText::Digits(ReadU32(payload + 6), 8));
    return true;
}

bool TVeltoLRDeviceMgmt::DecodeFirmwareInfo(const quint8* payload, int length, TKeyValueList& record)
{
    if (length < kFirmwareVersionEnd)
        return TooShort(length);
    DecodeFirmwareFields(payload, length, record);
    m_fwMinor = payload[1];
    m_fwMajor = payload[2];
    m_fwVersionKnown = true;
    return true;
}

bool TVeltoLRDeviceMgmt::DecodeDeviceStatus(const quint8* payload, int length, TKeyValueList& record)
{
    TKeyValueList all;
    if (!DecodeFixed(DeviceMgmtLayouts::kDeviceStatus, payload, length, all))
        return false;
    if (m_developerDecoding) {
        record += all;
        return true;
    }
    for (const TCommandTableEntry* row = DeviceMgmtLayouts::kSystemStatusSummary; row->name; ++row)
        record.Append(QLatin1String(row->name), all.Value(QLatin1String(row->name)));
    return true;
}

bool TVeltoLRDeviceMgmt::DecodeRtcAlarm(const quint8* payload, int length, TKeyValueList& record)
{
    TKeyValueList fields;
    if (!DecodeFixed(DeviceMgmtLayouts::kRtcAlarmGet, payload, length, fields))
        return false;
    record.Append(QStringLiteral("Status"), fields.Value(QStringLiteral("Status")) != QLatin1String("0") ? "Active" : "Inactive");
    record.Append(QStringLiteral("Options"), fields.Value(QStringLiteral("Options")));
    record.Append(QStringLiteral("CurrentAlarm"), QStringLiteral("%1:%2:%3")
                      .arg(Two(fields.Value(QStringLiteral("Hour"))), Two(fields.Value(QStringLiteral("Minute"))),
                           Two(fields.Value(QStringLiteral("Second")))));
    return true;
}

bool TVeltoLRDeviceMgmt::DecodeResponse(quint8 rspMsgId, const quint8* payload, int length, TKeyValueList& record)
{
    switch (quint8(rspMsgId - 1)) {
    case kGetDeviceInfoReq:
        return DecodeDeviceInfo(payload, length, record);
    case kGetFirmwareInfoReq:
        return DecodeFirmwareInfo(payload, length, record);
    case kGetCPUIDReq:
        return DecodeFixed(DeviceMgmtLayouts::kCpuId, payload, length, record);
    case kGetDeviceStatusReq:
        return DecodeDeviceStatus(payload, length, record);
    case kGetRTCReq:
        return DecodeFixed(DeviceMgmtLayouts::kRtc, payload, length, record);
    case kGetRTCAlarmReq:
        return DecodeRtcAlarm(payload, length, record);
    case kGetHCIConfigReq:
        return DecodeFixed(DeviceMgmtLayouts::kHciConfig, payload, length, record);
    case kGetOperationModeReq:
        return DecodeFixed(DeviceMgmtLayouts::kOperationMode, payload, length, record);
    case kGetRadioStackReq:
        return DecodeFixed(DeviceMgmtLayouts::kRadioStack, payload, length, record);
    case kGetDeviceConfigReq:
        return DecodeFixed(DeviceMgmtLayouts::kDeviceConfig, payload, length, record);
    default:
        // Responses that carry nothing but the status.
        return length >= 1 || TooShort(length);
    }
}

bool TVeltoLRDeviceMgmt::ProcessHCIMessage(const HCIMessage& message, TKeyValueList& record)
{
    const int length = qMin<int>(message.Length, HCIMessage::kMaxPayload);
    switch (message.MsgID) {
    case kPowerUpEvent:
        // The module announces itself with its firmware information (status byte first).
        record.SetEventType(QStringLiteral("Power-Up Event"));
        DecodeFirmwareFields(message.Payload, length, record);
        if (length >= kFirmwareVersionEnd) {
            m_fwMinor = message.Payload[1];
            m_fwMajor = message.Payload[2];
            m_fwVersionKnown = true;
        }
        emit EvDeviceMgmt_PowerUpEvent(record);
        return true;
    case kRTCAlarmEvent:
        record.SetEventType(QStringLiteral("RTC Alarm"));
        TFieldLayout::Decode(DeviceMgmtLayouts::kRtc, message.Payload, length, 0, record);
        emit EvDeviceMgmt_RTCAlarmEvent(record);
        return true;
    default:
        return false;
    }
}

// ---- requests ----

bool TVeltoLRDeviceMgmt::Query(quint8 reqMsgId, TKeyValueList& resultList)
{
    if (!Request(reqMsgId, QByteArray()))
        return false;
    TKeyValueList decoded;
    if (!DecodeResponse(quint8(reqMsgId + 1), m_response.Payload, m_response.Length, decoded))
        return false;
    resultList += decoded;
    return true;
}

bool TVeltoLRDeviceMgmt::SetLayout(quint8 reqMsgId, const TFieldLayoutEntry* layout, const TKeyValueList& params)
{
    QByteArray payload;
    QString error;
    if (!TFieldLayout::Pack(layout, params, payload, error)) {
        SetErrorText(error);
        return false;
    }
    if (!Request(reqMsgId, payload))
        return false;
    emit EvDeviceMgmt_ConfigChanged();
    return true;
}

bool TVeltoLRDeviceMgmt::SetLocalBaudrate(const TKeyValueList& inputList)
{
    if (!m_link) {
        SetErrorText(TVeltoLRHCI::ResultText(HCIResult_NoRadioInterface));
        return false;
    }
    if (!inputList.Contains(QStringLiteral("Baudrate"))) {
        SetErrorText(QStringLiteral("error - parameter missing: Baudrate"));
        return false;
    }
    const QString baudrate = inputList.Value(QStringLiteral("Baudrate"));
    if (!SetBaudrate(baudrate)) {
        SetErrorText(QStringLiteral("error - unsupported baud rate: \"%1\"").arg(baudrate));
        return false;
    }
    SetErrorText(QString());
    return true;
}

bool TVeltoLRDeviceMgmt::GetLocalBaudrate(TKeyValueList& resultList)
{
    if (!m_link) {
        SetErrorText(TVeltoLRHCI::ResultText(HCIResult_NoRadioInterface));
        return false;
    }
    resultList.Append(QStringLiteral("Baudrate"), BaudrateText());
    return true;
}

bool TVeltoLRDeviceMgmt::GetDeviceInfo(TKeyValueList& resultList)
{
    return Query(kGetDeviceInfoReq, resultList);
}

bool TVeltoLRDeviceMgmt::GetFirmwareInfo(TKeyValueList& resultList)
{
    return Query(kGetFirmwareInfoReq, resultList);
}

bool TVeltoLRDeviceMgmt::GetCPUID(TKeyValueList& resultList)
{
    return Query(kGetCPUIDReq, resultList);
}

bool TVeltoLRDeviceMgmt::GetSystemStatus(TKeyValueList& resultList)
{
    return Query(kGetDeviceStatusReq, resultList);
}

bool TVeltoLRDeviceMgmt::SyncRTC()
{
    TKeyValueList ignored;
    return SyncRTC(ignored);
}

bool TVeltoLRDeviceMgmt::SyncRTC(TKeyValueList& resultList)
{
    const quint32 now = TRtcTime::Pack(QDateTime::currentDateTime());
    const QString target = TRtcTime::ToText(now, TSettings::Instance().IsoFormat());
    QByteArray payload;
    for (int i = 0; i < 4; ++i)
        payload.append(char(now >> (8 * i) & 0xFF));
    if (!Request(kSetRTCReq, payload))
        return false;
    resultList.Append(QStringLiteral("TargetTime"), target);
    return true;
}

bool TVeltoLRDeviceMgmt::SetRTC(const TKeyValueList& inputList)
{
    QByteArray payload;
    QString error;
    if (!TFieldLayout::Pack(DeviceMgmtLayouts::kRtc, inputList, payload, error)) {
        SetErrorText(error);
        return false;
    }
    return Request(kSetRTCReq, payload);
}

bool TVeltoLRDeviceMgmt::GetRTC(TKeyValueList& resultList)
{
    return Query(kGetRTCReq, resultList);
}

bool TVeltoLRDeviceMgmt::SetRTCAlarm(const TKeyValueList& inputList)
{
    if (!inputList.Contains(QStringLiteral("NewAlarm"))) {
        SetErrorText(QStringLiteral("error - parameter missing: NewAlarm"));
        return false;
    }
    const QString alarm = inputList.Value(QStringLiteral("NewAlarm"));
    static const QRegularExpression timeOfDay(QStringLiteral("^\\s*(\\d{1,2}):(\\d{1,2}):(\\d{1,2})\\s*$"));
    const QRegularExpressionMatch match = timeOfDay.match(alarm);
    if (!match.hasMatch() || match.captured(1).toInt() > 23 || match.captured(2).toInt() > 59 || match.captured(3).toInt() > 59) {
        SetErrorText(QStringLiteral("error - invalid value for NewAlarm: \"%1\" (hh:mm:ss)").arg(alarm));
        return false;
    }
    TKeyValueList params;
    params.Append(QStringLiteral("Options"), inputList.Value(QStringLiteral("Options"), QStringLiteral("0x00")));
    params.Append(QStringLiteral("Hour"), match.captured(1));
    params.Append(QStringLiteral("Minute"), match.captured(2));
    params.Append(QStringLiteral("Second"), match.captured(3));
    QByteArray payload;
    QString error;
    if (!TFieldLayout::Pack(DeviceMgmtLayouts::kRtcAlarmSet, params, payload, error)) {
        SetErrorText(error);
        return false;
    }
    return Request(kSetRTCAlarmReq, payload);
}

bool TVeltoLRDeviceMgmt::ClearRTCAlarm()
{
    return Request(kClearRTCAlarmReq, QByteArray());
}

bool TVeltoLRDeviceMgmt::GetRTCAlarm(TKeyValueList& resultList)
{
    return Query(kGetRTCAlarmReq, resultList);
}

bool TVeltoLRDeviceMgmt::SetHCIConfig(const TKeyValueList& inputList)
{
    return SetLayout(kSetHCIConfigReq, DeviceMgmtLayouts::kHciConfig, inputList);
}

bool TVeltoLRDeviceMgmt::GetHCIConfig(TKeyValueList& resultList)
{
    return Query(kGetHCIConfigReq, resultList);
}

bool TVeltoLRDeviceMgmt::SetOperationMode(const TKeyValueList& inputList)
{
    return SetLayout(kSetOperationModeReq, DeviceMgmtLayouts::kOperationMode, inputList);
}

bool TVeltoLRDeviceMgmt::GetOperationMode(TKeyValueList& resultList)
{
    return Query(kGetOperationModeReq, resultList);
}

bool TVeltoLRDeviceMgmt::ResetDevice()
{
    return Request(kResetReq, QByteArray());
}

bool TVeltoLRDeviceMgmt::SetProductionMode()
{
    TKeyValueList params;
    params.Append(QStringLiteral("OperationMode"), qint64(kOperationModeProduction));
    return SetOperationMode(params);
}

bool TVeltoLRDeviceMgmt::SetBootLoaderMode()
{
    return Request(kSetBootloaderModeReq, QByteArray());
}

bool TVeltoLRDeviceMgmt::SendTestCommand(const TKeyValueList& inputList)
{
    TKeyValueList ignored;
    return SendTestCommand(inputList, ignored);
}

bool TVeltoLRDeviceMgmt::SendTestCommand(const TKeyValueList& inputList, TKeyValueList& resultList)
{
    quint64 sapId = 0;
    quint64 msgId = 0;
    QByteArray payload;
    const QString sapText = inputList.Value(QStringLiteral("SapID"));
    const QString msgText = inputList.Value(QStringLiteral("MsgID"));
    const QString payloadText = inputList.Value(QStringLiteral("MsgPayload"));
    if (!TFieldLayout::ParseUnsigned(sapText, false, 0xFF, sapId)) {
        SetErrorText(QStringLiteral("error - invalid value for SapID: \"%1\" (0..255)").arg(sapText));
        return false;
    }
    // The response is MsgID + 1, so 255 has none.
    if (!TFieldLayout::ParseUnsigned(msgText, false, 0xFE, msgId)) {
        SetErrorText(QStringLiteral("error - invalid value for MsgID: \"%1\" (0..254)").arg(msgText));
        return false;
    }
    if (!TFieldLayout::ParseHexBytes(payloadText, payload)) {
        SetErrorText(QStringLiteral("error - invalid hex byte list for MsgPayload: \"%1\"").arg(payloadText));
        return false;
    }
    if (payload.size() > HCIMessage::kMaxPayload) {
        SetErrorText(QStringLiteral("error - too many bytes for MsgPayload: %1 (at most %2)").arg(payload.size()).arg(HCIMessage::kMaxPayload));
        return false;
    }
    SetErrorText(QString());
    m_statusValid = false;
    if (!m_link) {
        m_hciResult = HCIResult_NoRadioInterface;
        return false;
    }
    const HCIResult result = m_link->SendRequest(quint8(sapId), quint8(msgId), quint8(msgId + 1),
                                                 reinterpret_cast<const quint8*>(payload.constData()), quint16(payload.size()));
    m_hciResult = result;
    if (result != HCIResult_OK)
        return false;
    m_response = m_link->Response();
    m_status = m_response.Length > 0 ? m_response.Payload[0] : 0xFF;
    m_statusValid = true;
    resultList.Append(QStringLiteral("SapID"), THexText::Prefixed(m_response.SapID, 2));
    resultList.Append(QStringLiteral("MsgID"), THexText::Prefixed(m_response.MsgID, 2));
    resultList.Append(QStringLiteral("MsgPayload"), TFieldLayout::HexOctets(ResponsePayload()));
    return m_status == 0;
}

bool TVeltoLRDeviceMgmt::GetFWVersion()
{
    TKeyValueList info;
    return Query(kGetFirmwareInfoReq, info);
}

bool TVeltoLRDeviceMgmt::HasNewerFWVersionThan(quint8 major, quint8 minor)
{
    if (!m_fwVersionKnown && !GetFWVersion())
        return false;
    return m_fwMajor > major || (m_fwMajor == major && m_fwMinor > minor);
}

bool TVeltoLRDeviceMgmt::SetRadioStack(const TKeyValueList& itemList)
{
    return SetLayout(kSetRadioStackReq, DeviceMgmtLayouts::kRadioStack, itemList);
}

bool TVeltoLRDeviceMgmt::GetRadioStack(TKeyValueList& itemList)
{
    return Query(kGetRadioStackReq, itemList);
}

bool TVeltoLRDeviceMgmt::SetDeviceConfig(const TKeyValueList& itemList)
{
    return SetLayout(kSetDeviceConfigReq, DeviceMgmtLayouts::kDeviceConfig, itemList);
}

bool TVeltoLRDeviceMgmt::GetDeviceConfig(TKeyValueList& itemList)
{
    return Query(kGetDeviceConfigReq, itemList);
}

bool TVeltoLRDeviceMgmt::ResetDeviceConfig()
{
    if (!Request(kResetDeviceConfigReq, QByteArray()))
        return false;
    emit EvDeviceMgmt_ConfigChanged();
    return true;
}

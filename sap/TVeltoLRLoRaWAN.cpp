#include "sap/TVeltoLRLoRaWAN.h"

#include <QDateTime>

#include "sap/LoRaWANLayouts.h"
#include "sap/TFieldLayout.h"
#include "settings/TSettings.h"

using namespace LoRaWANLayouts;

namespace {
// code  text
const TCodeTableEntry kStatusTable[] = {
    {0x00, "OK"},
    {0x01, "operation failed"},
    {0x02, "command not supported"},
    {0x03, "wrong parameter"},
    {0x04, "wrong device mode"},
    {0x05, "device not activated"},
    {0x06, "device busy - command rejected"},
    {0x07, "message queue full - command rejected"},
    {0x08, "HCI message length error"},
    {0x09, "no factory settings available"},
    {0x0A, "error: channel blocked due to duty cycle, please try later again"},
    {0x0B, "error: channel not available"},
    {0, nullptr},
};

// code  text
const TCodeTableEntry kRxErrorTable[] = {
    {0x01, "MType Error"},
    {0x02, "Device Adress Error"},
    {0x04, "MIC Error"},
    {0x08, "Frame Counter Error"},
    {0x10, "MAC Command Error"},
    {0x20, "Frame Error"},
    {0x40, "Server Error: expected ACK from server missing"},
    {0, nullptr},
};

// Parameter names: the fields of the layout a command packs, else the listed names.
// name                    description                                     layout / parameters
const TCommandTableEntry kCommandTable[] = {
    {"GetDeviceEUI",            "Get 64-Bit Device EUI"},
    {"SetDeviceEUI",            "Set 64-Bit Device EUI",                        kDeviceEUI},
    {"GetNwkStatus",            "Get Network Status"},
    {"GetJoinParameters",       "Get Join Parameters"},
    {"SetJoinParameters",       "Set Join Parameters",                          kJoinParams},
    {"JoinNetwork",             "Join Network"},
    {"ActivateDevice",          "Activate Device",                              kActivation},
    {"GetDeviceActParameters",  "Get Device Activation Parameters"},
    {"DeactivateDevice",        "Deactivate Device"},
    {"ReactivateDevice",        "Reactivate Device"},
    {"FactoryReset",            "Factory Reset"},
    {"SetNodeConfig",           "Set Configuration",                            kRadioStackConfig},
    {"GetNodeConfig",           "Get Configuration"},
    {"SendUData",               "Send U-Data",                                  kRadioData},
    {"SendCData",               "Send C-Data",                                  kRadioData},
    {"SendUMACCommand",         "Send U-MAC Command",                           nullptr, "MACCmdID"},
    {"SendCMACCommand",         "Send C-MAC Command",                           nullptr, "MACCmdID"},
    {"SetBatteryLevel",         "Set Battery Level",                            kBatteryLevel},
    {"GetCustomConfig",         "Get Customer Radio Configuration"},
    {"SetCustomConfig",         "Set Customer Radio Configuration",             kCustomConfig},
    {"GetSupportedBands",       "Get Supported Radio Bands"},
    {"GetMulticastConfig",      "Get Multicast Configuration",                  kMulticastIndex},
    {"SetMulticastConfig",      "Set Multicast Configuration",                  kMulticastSet},
    {"RemoveMulticastConfig",   "Remove Multicast Configuration",               kMulticastIndex},
    {"SetTxPowerLimitConfig",   "Set Tx Power Limit Configuration",             kTxPowerLimit},
    {"GetTxPowerLimitConfig",   "Get Tx Power Limit Configuration"},
    {"SetActiveRegion",         "Set Active Region",                            kActiveRegion},
    {"GetActiveRegion",         "Get Active Region"},
    {"SetRegionConfig",         "Set Region Configuration",                     kRegion},
    {"GetRegionConfig",         "Get Region Configuration"},
    {"SetLinkADRRequestConfig", "Set LinkADRRequest Handling Configuration",    kLinkADRConfig},
    {"GetLinkADRRequestConfig", "Get LinkADRRequest Handling Configuration"},
    {"SendNetworkTimeRequest",  "Send Network Time Request"},
    {"SetDevNonce",             "Set DevNonce",                                 kDevNonce},
    {"GetDevNonce",             "Get DevNonce"},
    {"SetJoinNonce",            "Set JoinNonce",                                kJoinNonce},
    {"GetJoinNonce",            "Get JoinNonce"},
    {nullptr, nullptr},
};

// MsgID  name
const TCodeTableEntry kMessageNameTable[] = {
    {0x01, "ActivationDeviceReq"},
    {0x02, "ActivationDeviceRsp"},
    {0x03, "GetActivationParamsReq"},
    {0x04, "GetActivationParamsRsp"},
    {0x05, "SetJoinParamsReq"},
    {0x06, "SetJoinParamsRsp"},
    {0x07, "GetJoinParamsReq"},
    {0x08, "GetJoinParamsRsp"},
    {0x09, "JoinNwkReq"},
    {0x0A, "JoinNwkRsp"},
    {0x0B, "EvTxJoin"},
    {0x0C, "EvJoinNwk"},
    {0x0D, "SendUDataReq"},
    {0x0E, "SendUDataRsp"},
    {0x0F, "EvTxUData"},
    {0x10, "EvRxUData"},
    {0x11, "SendCDataReq"},
    {0x12, "SendCDataRsp"},
    {0x13, "EvTxCData"},
    {0x14, "EvRxCData"},
    {0x15, "EvRxAck"},
    {0x16, "EvRxNoData"},
    {0x17, "GetStatusReq"},
    {0x18, "GetStatusRsp"},
    {0x19, "SetConfigReq"},
    {0x1A, "SetConfigRsp"},
    {0x1B, "GetConfigReq"},
    {0x1C, "GetConfigRsp"},
    {0x1D, "ReactivationDeviceReq"},
    {0x1E, "ReactivationDeviceRsp"},
    {0x21, "DeactivateReq"},
    {0x22, "DeactivateRsp"},
    {0x23, "FactoryResetReq"},
    {0x24, "FactoryResetRsp"},
    {0x25, "SetDeviceEUIReq"},
    {0x26, "SetDeviceEUIRsp"},
    {0x27, "GetDeviceEUIReq"},
    {0x28, "GetDeviceEUIRsp"},
    {0x29, "GetNwkStatusReq"},
    {0x2A, "GetNwkStatusRsp"},
    {0x2B, "SendMacCmdReq"},
    {0x2C, "SendMacCmdRsp"},
    {0x2D, "EvRxMacCmd"},
    {0x2E, "SetBatteryLevelReq"},
    {0x2F, "SetBatteryLevelRsp"},
    {0x31, "SetCustomConfigReq"},
    {0x32, "SetCustomConfigRsp"},
    {0x33, "GetCustomConfigReq"},
    {0x34, "GetCustomConfigRsp"},
    {0x35, "GetSupportedBandsReq"},
    {0x36, "GetSupportedBandsRsp"},
    {0x37, "SetTxPowerLimitConfigReq"},
    {0x38, "SetTxPowerLimitConfigRsp"},
    {0x39, "GetTxPowerLimitConfigReq"},
    {0x3A, "GetTxPowerLimitConfigRsp"},
    {0x3B, "SetLinkADRRequestConfigReq"},
    {0x3C, "SetLinkADRRequestConfigRsp"},
    {0x3D, "GetLinkADRRequestConfigReq"},
    {0x3E, "GetLinkADRRequestConfigRsp"},
    {0x40, "EvLinkDisconnect"},
    {0x41, "SetMulticastConfigReq"},
    {0x42, "SetMulticastConfigRsp"},
    {0x43, "GetMulticastConfigReq"},
    {0x44, "GetMulticastConfigRsp"},
    {0x45, "RemoveMulticastConfigReq"},
    {0x46, "RemoveMulticastConfigRsp"},
    {0x51, "SetActiveRegionReq"},
    {0x52, "SetActiveRegionRsp"},
    {0x53, "GetActiveRegionReq"},
    {0x54, "GetActiveRegionRsp"},
    {0x55, "SetRegionConfigReq"},
    {0x56, "SetRegionConfigRsp"},
    {0x57, "GetRegionConfigReq"},
    {0x58, "GetRegionConfigRsp"},
    {0x60, "EvDevNonceReset"},
    {0x61, "SetDevNonceReq"},
    {0x62, "SetDevNonceRsp"},
    {0x63, "GetDevNonceReq"},
    {0x64, "GetDevNonceRsp"},
    {0x65, "SetJoinNonceReq"},
    {0x66, "SetJoinNonceRsp"},
    {0x67, "GetJoinNonceReq"},
    {0x68, "GetJoinNonceRsp"},
    {0x71, "SendNetworkTimeReq"},
    {0x72, "SendNetworkTimeRsp"},
    {0x74, "EvNetworkTimeResponse"},
    {0, nullptr},
};

/// Events decoded straight through a layout: MsgID, event type, layout, transmit side.
struct TEventEntry {
    quint8 msgId;
    const char* type;
    const TFieldLayoutEntry* layout;
    bool transmit;
};
// MsgID  event type             layout                 transmit
const TEventEntry kEventTable[] = {
    {0x0B, "Tx Join Request",      kTxJoinEvent,          true},
    {0x0C, "Join Accepted",        kJoinEvent,            false},
    {0x0F, "Tx U-Data",            kTxDataEvent,          true},
    {0x10, "Rx U-Data",            kRxDataEvent,          false},
    {0x13, "Tx C-Data",            kTxDataEvent,          true},
    {0x14, "Rx C-Data",            kRxDataEvent,          false},
    {0x15, "Rx ACK",               kRxAckEvent,           false},
    {0x2D, "Rx MAC Command",       kRxMacCmdEvent,        false},
    {0x40, "Link Disconnect",      kLinkDisconnectEvent,  false},
    {0x48, "Rx Multicast Data",    kRxMulticastEvent,     false},
    {0x60, "DevNonce Reset",       kDevNonceResetEvent,   false},
    {0, nullptr, nullptr, false},
};

constexpr int kMulticastAddressOffset = 2;
constexpr qint64 kGpsEpochSecsSinceUnix = 315964800;   // 1980-01-06 00:00:00 UTC

/// Optional fields are sent in order: one may only be given when those before it are.
QString OptionalGap(const TFieldLayoutEntry* layout, const TKeyValueList& params)
{
    QString missing;
    for (; layout->name; ++layout) {
        if (!QLatin1String(layout->name).contains(QLatin1String("Optional:")))
            continue;
        const QString name = TFieldLayout::FieldName(layout->name);
        if (!params.Contains(name) && missing.isEmpty())
            missing = name;
        else if (params.Contains(name) && !missing.isEmpty())
            return QStringLiteral("error - parameter missing: %1 (needed before %2)").arg(missing, name);
    }
    return QString();
}
}

TVeltoLRLoRaWAN::TVeltoLRLoRaWAN(QObject* parent)
    : TVeltoLRSAP(kSapId, kStatusTable, QStringLiteral("LoRaWAN"), parent)
{
    RegisterCommandTable(kCommandTable);
    RegisterMessageNameTable(kMessageNameTable);
}

// ---- decoding ----

bool TVeltoLRLoRaWAN::DecodeRepeated(const TFieldLayoutEntry* layout, const quint8* payload, int length, TKeyValueList& record)
{
    TKeyValueList entries;
    for (int offset = 1; offset < length;) {
        TKeyValueList entry;
        offset = TFieldLayout::Decode(layout, payload, length, offset, entry);
        if (entry.size() < TFieldLayout::RequiredFields(layout))
            return TooShort(length);
        entries += entry;
    }
    if (length < 1)
        return TooShort(length);
    record += entries;
    return true;
}

bool TVeltoLRLoRaWAN::DecodeResponse(quint8 rspMsgId, const quint8* payload, int length, TKeyValueList& record)
{
    switch (quint8(rspMsgId - 1)) {
    case kGetActivationParamsReq:
        return DecodeFixed(kActivation, payload, length, record);
    case kGetJoinParamsReq:
        return DecodeFixed(kJoinParams, payload, length, record);
    case kGetDeviceEUIReq:
        return DecodeFixed(kDeviceEUI, payload, length, record);
    case kGetNwkStatusReq: {
        TKeyValueList fields;
        if (!DecodeFixed(kNwkStatus, payload, length, fields))
            return false;
        record += fields;
        record.Append(QStringLiteral("NetworkStatusText"), CodeLookup(kNetworkStatusTexts, payload[1]));
        return true;
    }
    case kGetConfigReq:
        return DecodeFixed(kRadioStackConfig, payload, length, record);
    case kGetCustomConfigReq:
        return DecodeFixed(kCustomConfig, payload, length, record);
    case kGetSupportedBandsReq:
        return DecodeRepeated(kSupportedBand, payload, length, record);
    case kGetTxPowerLimitConfigReq:
        return DecodeRepeated(kTxPowerLimit, payload, length, record);
    case kGetLinkADRRequestConfigReq:
        return DecodeFixed(kLinkADRConfig, payload, length, record);
    case kGetMulticastConfigReq:
        return DecodeFixed(kMulticastGet, payload, length, record);
    case kGetActiveRegionReq:
        return DecodeFixed(kActiveRegion, payload, length, record);
    case kGetRegionConfigReq:
        return DecodeFixed(kRegion, payload, length, record);
    case kGetDevNonceReq:
        return DecodeFixed(kDevNonce, payload, length, record);
    case kGetJoinNonceReq:
        return DecodeFixed(kJoinNonce, payload, length, record);
    default:
        // Responses that carry nothing but the status.
        return length >= 1 || TooShort(length);
    }
}

void TVeltoLRLoRaWAN::DecodeInvalidData(const quint8* payload, int length, bool multicast, TKeyValueList& record)
{
    const QString invalid = multicast ? QStringLiteral("Rx Invalid Multicast Event") : QStringLiteral("Rx Invalid Data");
    if (length == 0)
        record.SetEventType(multicast ? invalid : QStringLiteral("Rx No Valid Data"));
    else if (!(payload[0] & kRxErrorCodePresent))
        record.SetEventType(multicast ? QStringLiteral("Rx Invalid Mulicast Event") : QStringLiteral("Rx No Data"));
    else if (length < 2)
        record.SetEventType(invalid);
    else
        record.SetEventType(invalid + QStringLiteral(": ") + CodeLookup(kRxErrorTable, payload[1]));
    if (multicast && length >= kMulticastAddressOffset + 4) {
        const quint8* p = payload + kMulticastAddressOffset;
        const quint32 address = quint32(p[0]) | quint32(p[1]) << 8 | quint32(p[2]) << 16 | quint32(p[3]) << 24;
        record.Append(QStringLiteral("DeviceAddress"), QStringLiteral("0x") + QStringLiteral("%1").arg(address, 8, 16, QLatin1Char('0')).toUpper());
    }
}

void TVeltoLRLoRaWAN::DecodeNetworkTime(const quint8* payload, int length, TKeyValueList& record)
{
    record.SetEventType(QStringLiteral("Network Time"));
    TKeyValueList fields;
    TFieldLayout::Decode(kNetworkTimeEvent, payload, length, 0, fields);
    record += fields;
    if (!fields.Contains(QStringLiteral("GPSTime")))
        return;
    const qint64 gps = fields.Value(QStringLiteral("GPSTime")).toLongLong();
    const QDateTime utc = QDateTime::fromSecsSinceEpoch(kGpsEpochSecsSinceUnix + gps - kGpsLeapSeconds, Qt::UTC);
    record.Append(QStringLiteral("UTCTime"), utc.toString(TSettings::Instance().DateFormat() + QStringLiteral(" hh:mm:ss")));
}

bool TVeltoLRLoRaWAN::ProcessHCIMessage(const HCIMessage& message, TKeyValueList& record)
{
    const int length = qMin<int>(message.Length, HCIMessage::kMaxPayload);
    switch (message.MsgID) {
    case kRxNoDataEvent:
    case kRxInvalidMulticastEvent:
        DecodeInvalidData(message.Payload, length, message.MsgID == kRxInvalidMulticastEvent, record);
        emit EvLoRaWAN_RxEvent(record);
        return true;
    case kNetworkTimeResponseEvent:
        DecodeNetworkTime(message.Payload, length, record);
        emit EvLoRaWAN_RxEvent(record);
        return true;
    default:
        break;
    }
    for (const TEventEntry* event = kEventTable; event->type; ++event) {
        if (event->msgId != message.MsgID)
            continue;
        record.SetEventType(QLatin1String(event->type));
        TFieldLayout::Decode(event->layout, message.Payload, length, 0, record);
        if (event->transmit)
            emit EvLoRaWAN_SendMsgEvent(record);
        else
            emit EvLoRaWAN_RxEvent(record);
        // Joining and losing the link change what the module reports as its network status.
        if (message.MsgID == kJoinNwkEvent || message.MsgID == kLinkDisconnectEvent)
            emit EvLoRaWAN_ConfigChanged();
        return true;
    }
    return false;
}

// ---- requests ----

bool TVeltoLRLoRaWAN::Command(quint8 reqMsgId, bool configChange)
{
    if (!Request(reqMsgId, QByteArray()))
        return false;
    if (configChange)
        emit EvLoRaWAN_ConfigChanged();
    return true;
}

bool TVeltoLRLoRaWAN::SendLayout(quint8 reqMsgId, const TFieldLayoutEntry* layout, const TKeyValueList& params, bool configChange)
{
    QByteArray payload;
    QString error = OptionalGap(layout, params);
    if (!error.isEmpty() || !TFieldLayout::Pack(layout, params, payload, error)) {
        SetErrorText(error);
        return false;
    }
    if (!Request(reqMsgId, payload))
        return false;
    if (configChange)
        emit EvLoRaWAN_ConfigChanged();
    return true;
}

bool TVeltoLRLoRaWAN::Query(quint8 reqMsgId, TKeyValueList& resultList, const QByteArray& payload)
{
    if (!Request(reqMsgId, payload))
        return false;
    TKeyValueList decoded;
    if (!DecodeResponse(quint8(reqMsgId + 1), m_response.Payload, m_response.Length, decoded))
        return false;
    resultList += decoded;
    return true;
}

bool TVeltoLRLoRaWAN::SetJoinParameters(const TKeyValueList& itemList)
{
    return SendLayout(kSetJoinParamsReq, kJoinParams, itemList, true);
}

bool TVeltoLRLoRaWAN::GetJoinParameters(TKeyValueList& itemList)
{
    return Query(kGetJoinParamsReq, itemList);
}

bool TVeltoLRLoRaWAN::JoinNetwork()
{
    return Command(kJoinNwkReq, false);
}

bool TVeltoLRLoRaWAN::ActivateDevice(const TKeyValueList& itemList)
{
    return SendLayout(kActivateDeviceReq, kActivation, itemList, true);
}

bool TVeltoLRLoRaWAN::GetDeviceActParameters(TKeyValueList& itemList)
{
    return Query(kGetActivationParamsReq, itemList);
}

bool TVeltoLRLoRaWAN::DeactivateDevice()
{
    return Command(kDeactivateReq, true);
}

bool TVeltoLRLoRaWAN::ReactivateDevice()
{
    return Command(kReactivateDeviceReq, true);
}

bool TVeltoLRLoRaWAN::FactoryReset()
{
    return Command(kFactoryResetReq, true);
}

bool TVeltoLRLoRaWAN::SetDeviceEUI(const TKeyValueList& itemList)
{
    return SendLayout(kSetDeviceEUIReq, kDeviceEUI, itemList, true);
}

bool TVeltoLRLoRaWAN::GetDeviceEUI(TKeyValueList& itemList)
{
    return Query(kGetDeviceEUIReq, itemList);
}

bool TVeltoLRLoRaWAN::GetNwkStatus(TKeyValueList& itemList)
{
    return Query(kGetNwkStatusReq, itemList);
}

bool TVeltoLRLoRaWAN::SetNodeConfig(const TKeyValueList& itemList)
{
    return SendLayout(kSetConfigReq, kRadioStackConfig, itemList, true);
}

bool TVeltoLRLoRaWAN::GetNodeConfig(TKeyValueList& itemList)
{
    return Query(kGetConfigReq, itemList);
}

bool TVeltoLRLoRaWAN::SetCustomConfig(const TKeyValueList& itemList)
{
    return SendLayout(kSetCustomConfigReq, kCustomConfig, itemList, true);
}

bool TVeltoLRLoRaWAN::GetCustomConfig(TKeyValueList& itemList)
{
    return Query(kGetCustomConfigReq, itemList);
}

bool TVeltoLRLoRaWAN::GetSupportedBands(TKeyValueList& itemList)
{
    return Query(kGetSupportedBandsReq, itemList);
}

bool TVeltoLRLoRaWAN::SetTxPowerLimitConfig(const TKeyValueList& itemList)
{
    return SendLayout(kSetTxPowerLimitConfigReq, kTxPowerLimit, itemList, true);
}

bool TVeltoLRLoRaWAN::GetTxPowerLimitConfig(TKeyValueList& itemList)
{
    return Query(kGetTxPowerLimitConfigReq, itemList);
}

bool TVeltoLRLoRaWAN::SetActiveRegion(const TKeyValueList& itemList)
{
    return SendLayout(kSetActiveRegionReq, kActiveRegion, itemList, true);
}

bool TVeltoLRLoRaWAN::GetActiveRegion(TKeyValueList& resultList)
{
    return Query(kGetActiveRegionReq, resultList);
}

bool TVeltoLRLoRaWAN::SetRegionConfig(const TKeyValueList& itemList)
{
    return SendLayout(kSetRegionConfigReq, kRegion, itemList, true);
}

bool TVeltoLRLoRaWAN::GetRegionConfig(TKeyValueList& resultList)
{
    return Query(kGetRegionConfigReq, resultList);
}

bool TVeltoLRLoRaWAN::SetLinkADRRequestConfig(const TKeyValueList& itemList)
{
    return SendLayout(kSetLinkADRRequestConfigReq, kLinkADRConfig, itemList, true);
}

bool TVeltoLRLoRaWAN::GetLinkADRRequestConfig(TKeyValueList& resultList)
{
    return Query(kGetLinkADRRequestConfigReq, resultList);
}

bool TVeltoLRLoRaWAN::SetMulticastConfig(const TKeyValueList& itemList)
{
    return SendLayout(kSetMulticastConfigReq, kMulticastSet, itemList, true);
}

bool TVeltoLRLoRaWAN::GetMulticastConfig(const TKeyValueList& itemList, TKeyValueList& resultList)
{
    QByteArray payload;
    QString error;
    if (!TFieldLayout::Pack(kMulticastIndex, itemList, payload, error)) {
        SetErrorText(error);
        return false;
    }
    return Query(kGetMulticastConfigReq, resultList, payload);
}

bool TVeltoLRLoRaWAN::RemoveMulticastConfig(const TKeyValueList& itemList)
{
    return SendLayout(kRemoveMulticastConfigReq, kMulticastIndex, itemList, true);
}

bool TVeltoLRLoRaWAN::SendUData(const TKeyValueList& itemList)
{
    return SendLayout(kSendUDataReq, kRadioData, itemList, false);
}

bool TVeltoLRLoRaWAN::SendCData(const TKeyValueList& itemList)
{
    return SendLayout(kSendCDataReq, kRadioData, itemList, false);
}

bool TVeltoLRLoRaWAN::SendMacCommand(const TKeyValueList& itemList, const char* service)
{
    TKeyValueList params = itemList;
    params.Set(QStringLiteral("Service"), QLatin1String(service));
    return SendLayout(kSendMacCmdReq, kMacCommand, params, false);
}

bool TVeltoLRLoRaWAN::SendUMACCommand(const TKeyValueList& itemList)
{
    return SendMacCommand(itemList, "0x00");
}

bool TVeltoLRLoRaWAN::SendCMACCommand(const TKeyValueList& itemList)
{
    return SendMacCommand(itemList, "0x01");
}

bool TVeltoLRLoRaWAN::SetBatteryLevel(const TKeyValueList& itemList)
{
    return SendLayout(kSetBatteryLevelReq, kBatteryLevel, itemList, false);
}

bool TVeltoLRLoRaWAN::SendNetworkTimeRequest()
{
    return Command(kSendNetworkTimeReq, false);
}

bool TVeltoLRLoRaWAN::SetDevNonce(const TKeyValueList& itemList)
{
    return SendLayout(kSetDevNonceReq, kDevNonce, itemList, true);
}

bool TVeltoLRLoRaWAN::GetDevNonce(TKeyValueList& itemList)
{
    return Query(kGetDevNonceReq, itemList);
}

bool TVeltoLRLoRaWAN::SetJoinNonce(const TKeyValueList& itemList)
{
    return SendLayout(kSetJoinNonceReq, kJoinNonce, itemList, true);
}

bool TVeltoLRLoRaWAN::GetJoinNonce(TKeyValueList& itemList)
{
    return Query(kGetJoinNonceReq, itemList);
}

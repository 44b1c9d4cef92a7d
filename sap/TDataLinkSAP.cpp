#include "sap/TDataLinkSAP.h"

#include "sap/DataLinkLayouts.h"
#include "sap/TFieldLayout.h"

using namespace DataLinkLayouts;
using Ids = DataLinkMsgIds;

namespace {
// code  text
const TCodeTableEntry kStatusTable[] = {
    {0, "OK"},
    {1, "operation failed"},
    {2, "command not supported"},
    {3, "wrong parameter"},
    {4, "wrong device mode"},
    {5, "media busy"},
    {6, "reserved"},
    {7, "tx-queue full -> request rejected"},
    {8, "message length error"},
    {0, nullptr},
};

// Parameter names: the fields of the layout a command packs, else the listed names.
// name                    description                                     layout / parameters
const TCommandTableEntry kCommandTable[] = {
    {"SendURadioMessage",       "send unconfirmed radio message",               kSendData},
    {"SendCRadioMessage",       "send confirmed radio message",                 kSendData},
    {"SetAckData",              "set ack data",                                 kAckData},
    {"GetRadioConfig",          "get radio configuration"},
    {"SetRadioConfig",          "set radio configuration",                      kRadioConfig},
    {"ResetRadioConfig",        "reset radio configuration"},
    {"SetAESKey",               "set AES encryption key",                       kAESKey},
    {"GetAESKey",               "get AES encryption key"},
    {nullptr, nullptr},
};

// MsgID  name
const TCodeTableEntry kMessageNameTable[] = {
    {0x01, "SendUDataReq"},
    {0x02, "SendUDataRsp"},
    {0x04, "EvRxUData"},
    {0x06, "EvTxUData"},
    {0x08, "EvRxRawData"},
    {0x09, "SendCDataReq"},
    {0x0A, "SendCDataRsp"},
    {0x0C, "EvRxCData"},
    {0x0E, "EvTxCData"},
    {0x10, "EvRxAck"},
    {0x12, "EvAckTimeout"},
    {0x14, "EvTxAck"},
    {0x15, "SetAckDataReq"},
    {0x16, "SetAckDataRsp"},
    {0x17, "SetRadioConfigReq"},
    {0x18, "SetRadioConfigRsp"},
    {0x19, "GetRadioConfigReq"},
    {0x1A, "GetRadioConfigRsp"},
    {0x1B, "ResetRadioConfigReq"},
    {0x1C, "ResetRadioConfigRsp"},
    {0x21, "SetAESKeyReq"},
    {0x22, "SetAESKeyRsp"},
    {0x23, "GetAESKeyReq"},
    {0x24, "GetAESKeyRsp"},
    {0, nullptr},
};

const QString kHostTime = QStringLiteral("HostTime");
const QString kTime = QStringLiteral("Time");

/// A decoded "0x.." field without its prefix.
QString Digits(const TKeyValueList& fields, const char* key)
{
    return fields.Value(QLatin1String(key)).mid(2);
}
}

TDataLinkSAP::TDataLinkSAP(QObject* parent)
    : TVeltoLRSAP(kSapId, kStatusTable, QStringLiteral("DataLink"), parent)
{
    RegisterCommandTable(kCommandTable);
    RegisterMessageNameTable(kMessageNameTable);
}

QString TDataLinkSAP::AddressText(quint8 group, quint16 device)
{
    return QStringLiteral("%1:%2").arg(group, 2, 16, QLatin1Char('0')).arg(device, 4, 16, QLatin1Char('0')).toUpper();
}

// ---- events ----

int TDataLinkSAP::DecodeAddressBlock(const quint8* payload, int length, TKeyValueList& record)
{
    TKeyValueList fields;
    TFieldLayout::Decode(kRxHeader, payload, length, 0, fields);
    if (fields.Contains(QStringLiteral("DstDeviceAddress")))
        record.Append(QStringLiteral("DstAddress"), Digits(fields, "DstGroupAddress") + QLatin1Char(':') + Digits(fields, "DstDeviceAddress"));
    if (fields.Contains(QStringLiteral("SrcDeviceAddress")))
        record.Append(QStringLiteral("SrcAddress"), Digits(fields, "SrcGroupAddress") + QLatin1Char(':') + Digits(fields, "SrcDeviceAddress"));
    // A trailer that does not fit leaves no user data: those bytes are a cut-off trailer.
    const bool trailer = length > 0 && payload[0] != 0;
    const int end = trailer ? length - kRxTrailerBytes : length;
    return qMax(end, qMin(length, kRxHeaderBytes));
}

void TDataLinkSAP::DecodeRxTrailer(const quint8* payload, int length, TKeyValueList& record)
{
    if (length > 0 && payload[0] != 0 && length >= kRxHeaderBytes + kRxTrailerBytes)
        AppendTrailer(payload, length, length - kRxTrailerBytes, record);
}

void TDataLinkSAP::AppendTrailer(const quint8* payload, int length, int offset, TKeyValueList& record)
{
    TKeyValueList fields;
    TFieldLayout::Decode(kRxTrailer, payload, length, offset, fields);
    if (fields.Contains(QStringLiteral("RSSI")))
        record.Append(QStringLiteral("RSSI"), fields.Value(QStringLiteral("RSSI")) + QStringLiteral(" dBm"));
    if (fields.Contains(QStringLiteral("SNR")))
        record.Append(QStringLiteral("SNR"), fields.Value(QStringLiteral("SNR")) + QStringLiteral(" dB"));
    if (fields.Contains(kTime))
        record.Append(kTime, fields.Value(kTime));
}

void TDataLinkSAP::DecodeRxEvent(const char* type, const quint8* payload, int length, TKeyValueList& record)
{
    record.SetEventType(QLatin1String(type));
    const int dataEnd = DecodeAddressBlock(payload, length, record);
    if (length >= kRxHeaderBytes)
        record.Append(QStringLiteral("Payload"), TFieldLayout::HexOctets(QByteArray(reinterpret_cast<const char*>(payload) + kRxHeaderBytes, dataEnd - kRxHeaderBytes)));
    DecodeRxTrailer(payload, length, record);
}

void TDataLinkSAP::DecodeTxEvent(const char* type, const quint8* payload, int length, TKeyValueList& record)
{
    record.SetEventType(QLatin1String(type));
    record.Append(kTime, record.Value(kHostTime));
    TKeyValueList fields;
    TFieldLayout::Decode(kTxEvent, payload, length, 0, fields);
    if (!fields.Contains(QStringLiteral("Status")))
        return;
    QString text = QStringLiteral("Status:%1").arg(CodeLookup(kStatusTable, payload[0]));
    if (fields.Contains(QStringLiteral("Packet")))
        text += QStringLiteral("  Packet:%1").arg(fields.Value(QStringLiteral("Packet")));
    if (fields.Contains(QStringLiteral("AirTime")))
        text += QStringLiteral("  AirTime:%1 ms").arg(fields.Value(QStringLiteral("AirTime")));
    record.Append(QStringLiteral("Info"), text);
}

void TDataLinkSAP::DecodeRawFrame(const quint8* payload, int length, TKeyValueList& record)
{
    record.SetEventType(QStringLiteral("RxRawMessage"));
    // The trailer is always there; a message too short for it is shown as frame bytes only.
    const int frameBytes = length >= kRxTrailerBytes ? length - kRxTrailerBytes : length;
    record.Append(QStringLiteral("RadioMsg"), TFieldLayout::HexOctets(QByteArray(reinterpret_cast<const char*>(payload), frameBytes)));
    record.Append(QStringLiteral("Length"), frameBytes);
    if (length >= kRxTrailerBytes)
        AppendTrailer(payload, length, frameBytes, record);
}

bool TDataLinkSAP::ProcessHCIMessage(const HCIMessage& message, TKeyValueList& record)
{
    const int length = qMin<int>(message.Length, HCIMessage::kMaxPayload);
    const quint8* p = message.Payload;
    switch (message.MsgID) {
    case Ids::kRxUDataEvent:
        DecodeRxEvent("Rx U-Msg", p, length, record);
        break;
    case Ids::kRxCDataEvent:
        DecodeRxEvent("Rx C-Msg", p, length, record);
        break;
    case Ids::kRxAckEvent:
        DecodeRxEvent("Rx Ack-Msg", p, length, record);
        break;
    case Ids::kTxUDataEvent:
        DecodeTxEvent("Tx U-Msg", p, length, record);
        break;
    case Ids::kTxCDataEvent:
        DecodeTxEvent("Tx C-Msg", p, length, record);
        break;
    case Ids::kTxAckEvent:
        DecodeTxEvent("Tx Ack-Msg", p, length, record);
        break;
    case Ids::kAckTimeoutEvent:
        record.SetEventType(QStringLiteral("Ack Timeout"));
        record.Append(kTime, record.Value(kHostTime));
        break;
    case Ids::kRxRawDataEvent:
        DecodeRawFrame(p, length, record);
        break;
    default:
        return false;
    }
    emit EvDataLink_MessageEvent(record);
    return true;
}

// ---- responses ----

bool TDataLinkSAP::DecodeResponse(quint8 rspMsgId, const quint8* payload, int length, TKeyValueList& record)
{
    if (length < 1)
        return TooShort(length);
    switch (quint8(rspMsgId - 1)) {
    case Ids::kGetRadioConfigReq: {
        TKeyValueList fields;
        if (TFieldLayout::Decode(kRadioConfigRsp, payload, length, 1, fields) < 1 + kRadioConfigRspBytes)
            return TooShort(length);
        for (const TKeyValueList::Item& item : qAsConst(fields))
            if (item.first != QLatin1String("Reserved"))
                record.append(item);
        return true;
    }
    case Ids::kGetAESKeyReq:
        if (length < 1 + kAESKeyBytes)
            return TooShort(length);
        record.Append(QStringLiteral("AES-Key"), TFieldLayout::HexOctets(QByteArray(reinterpret_cast<const char*>(payload) + 1, kAESKeyBytes)).replace(QLatin1Char(' '), QLatin1Char('-')));
        return true;
    default:
        // Responses that carry nothing but the status.
        return true;
    }
}

// ---- requests ----

bool TDataLinkSAP::SendLayout(quint8 reqMsgId, const TFieldLayoutEntry* layout, const TKeyValueList& params, bool configChange)
{
    QByteArray payload;
    QString error;
    if (!TFieldLayout::Pack(layout, params, payload, error)) {
        SetErrorText(error);
        return false;
    }
    if (!Request(reqMsgId, payload))
        return false;
    if (configChange)
        emit EvDataLink_ConfigChanged();
    return true;
}

bool TDataLinkSAP::Query(quint8 reqMsgId, TKeyValueList& resultList)
{
    if (!Request(reqMsgId, QByteArray()))
        return false;
    TKeyValueList decoded;
    if (!DecodeResponse(quint8(reqMsgId + 1), m_response.Payload, m_response.Length, decoded))
        return false;
    resultList += decoded;
    return true;
}

bool TDataLinkSAP::SendURadioMessage(const TKeyValueList& itemList)
{
    return SendLayout(Ids::kSendUDataReq, kSendData, itemList, false);
}

bool TDataLinkSAP::SendCRadioMessage(const TKeyValueList& itemList)
{
    return SendLayout(Ids::kSendCDataReq, kSendData, itemList, false);
}

bool TDataLinkSAP::SetAckData(const TKeyValueList& itemList)
{
    return SendLayout(Ids::kSetAckDataReq, kAckData, itemList, false);
}

bool TDataLinkSAP::GetRadioConfig(TKeyValueList& resultList)
{
    return Query(Ids::kGetRadioConfigReq, resultList);
}

bool TDataLinkSAP::SetRadioConfig(const TKeyValueList& itemList)
{
    return SendLayout(Ids::kSetRadioConfigReq, kRadioConfig, itemList, true);
}

bool TDataLinkSAP::ResetRadioConfig()
{
    if (!Request(Ids::kResetRadioConfigReq, QByteArray()))
        return false;
    emit EvDataLink_ConfigChanged();
    return true;
}

bool TDataLinkSAP::SetAESKey(const TKeyValueList& itemList)
{
    return SendLayout(Ids::kSetAESKeyReq, kAESKey, itemList, true);
}

bool TDataLinkSAP::GetAESKey(TKeyValueList& resultList)
{
    return Query(Ids::kGetAESKeyReq, resultList);
}

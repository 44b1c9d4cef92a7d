#include "sap/TSensorSAP.h"

#include "sap/DataLinkLayouts.h"
#include "sap/SensorLayouts.h"
#include "sap/TDataLinkSAP.h"
#include "sap/TFieldLayout.h"

using namespace SensorLayouts;
using Ids = SensorMsgIds;

namespace {
// code  text
const TCodeTableEntry kStatusTable[] = {
    {0, "OK"},
    {1, "operation failed"},
    {2, "command not supported"},
    {3, "wrong parameter"},
    {0, nullptr},
};

// Parameter names: the fields of the layout a command packs, else the listed names.
// name                    description                                     layout / parameters
const TCommandTableEntry kCommandTable[] = {
    {"SetSensorConfig",         "set sensor app configuration",                 kConfig},
    {"GetSensorConfig",         "get sensor app configuration"},
    {nullptr, nullptr},
};

// MsgID  name
const TCodeTableEntry kMessageNameTable[] = {
    {0x06, "EvSensorData"},
    {0x09, "SetConfigReq"},
    {0x0A, "SetConfigRsp"},
    {0x0B, "GetConfigReq"},
    {0x0C, "GetConfigRsp"},
    {0, nullptr},
};

/// How a raw sensor value is shown: divided by `divisor` (with one decimal when above 1) and unit.
struct TSensorUnit {
    const char* key;
    int divisor;
    const char* unit;
};
// key            divisor  unit
const TSensorUnit kSensorUnits[] = {
    {"Temperature",   10,      "\u00B0C"},
    {"Humidity",      1,       "%"},
    {"Light",         1,       "lx"},
    {nullptr, 0, nullptr},
};

QString WithUnit(const QString& key, const QString& raw)
{
    for (const TSensorUnit* row = kSensorUnits; row->key; ++row) {
        if (key != QLatin1String(row->key))
            continue;
        const QString value = row->divisor > 1 ? QString::number(raw.toDouble() / row->divisor, 'f', 1) : raw;
        return value + QLatin1Char(' ') + QString::fromUtf8(row->unit);
    }
    return raw;
}
}

TSensorSAP::TSensorSAP(QObject* parent)
    : TVeltoLRSAP(kSapId, kStatusTable, QStringLiteral("SensorApp"), parent)
{
    RegisterCommandTable(kCommandTable);
    RegisterMessageNameTable(kMessageNameTable);
}

void TSensorSAP::DecodeEvent(const char* type, const TFieldLayoutEntry* values, const quint8* payload, int length, TKeyValueList& record)
{
    record.Append(QStringLiteral("EventType"), QLatin1String(type));
    const int dataEnd = TDataLinkSAP::DecodeAddressBlock(payload, length, record);
    // The values end where the trailer starts; the decoder is never shown the trailer's bytes.
    TKeyValueList fields;
    TFieldLayout::Decode(values, payload, dataEnd, DataLinkLayouts::kRxHeaderBytes, fields);
    for (const TKeyValueList::Item& item : qAsConst(fields))
        record.Append(item.first, WithUnit(item.first, item.second));
    TDataLinkSAP::DecodeRxTrailer(payload, length, record);
}

bool TSensorSAP::ProcessHCIMessage(const HCIMessage& message, TKeyValueList& record)
{
    const int length = qMin<int>(message.Length, HCIMessage::kMaxPayload);
    switch (message.MsgID) {
    case Ids::kSensorDataEvent:
        DecodeEvent("SensorData", kSensorValues, message.Payload, length, record);
        break;
    case Ids::kReceiverAckEvent:
        DecodeEvent("ReceiverAck", kReceiverAckValues, message.Payload, length, record);
        break;
    default:
        return false;
    }
    emit EvSensorApp_DataEvent(record);
    return true;
}

bool TSensorSAP::DecodeResponse(quint8 rspMsgId, const quint8* payload, int length, TKeyValueList& record)
{
    if (length >= 1 && quint8(rspMsgId - 1) != Ids::kGetConfigReq)
        return true;
    TKeyValueList fields;
    TFieldLayout::Decode(kConfig, payload, length, 1, fields);
    if (length < 1 || fields.size() < 4) {
        SetErrorText(QStringLiteral("error - response too short (%1 bytes)").arg(length));
        return false;
    }
    record += fields;
    return true;
}

bool TSensorSAP::SetSensorConfig(const TKeyValueList& itemList)
{
    QByteArray payload;
    QString error;
    if (!TFieldLayout::Pack(kConfig, itemList, payload, error)) {
        SetErrorText(error);
        return false;
    }
    return Request(Ids::kSetConfigReq, payload);
}

bool TSensorSAP::GetSensorConfig(TKeyValueList& resultList)
{
    if (!Request(Ids::kGetConfigReq, QByteArray()))
        return false;
    return DecodeResponse(Ids::kGetConfigReq + 1, m_response.Payload, m_response.Length, resultList);
}

#include "sap/TProductionSupportSAP.h"

#include "sap/ProductionSupportLayouts.h"
#include "sap/TFieldLayout.h"

using namespace ProductionSupportLayouts;
using Ids = ProductionSupportMsgIds;

namespace {
// code  text
const TCodeTableEntry kStatusTable[] = {
    {0, "OK"},
    {1, "operation failed"},
    {2, "command not supported"},
    {3, "wrong parameter"},
    {4, "wrong device mode"},
    {5, "value not available"},
    {6, "media busy"},
    {0, nullptr},
};

// Parameter names: the fields of the layout a command packs, else the listed names.
// name                    description                                     layout / parameters
const TCommandTableEntry kCommandTable[] = {
    {"SetRadioTestMode",        "set radio test mode",                          kRadioTestMode},
    {"SetDeviceID",             "set device ID",                                kDeviceID},
    {"FactoryReset",            "restore factory settings"},
    {"SetFrequencyOffset",      "set frequency offset",                         kFrequencyOffset},
    {"SetCalibrationValue",     "set caliration value",                         kCalibrationValue},
    {"GetCalibrationValue",     "get caliration value",                         kCalibrationID},
    {"GetMeasurementValue",     "get measurement value",                        kMeasurementID},
    {"SetClockOutput",          "set clock output",                             kClockOutput},
    {"SetGPIOPorts",            "set GPIO ports",                               kGPIOPorts},
    {"SendTestMessage",         "send test message",                            kTestMessage},
    {"GetAirtime",              "calculate air time",                           kAirtimeRequest},
    {nullptr, nullptr},
};

// MsgID  name
const TCodeTableEntry kMessageNameTable[] = {
    {0x01, "SetRadioTestModeReq"},
    {0x02, "SetRadioTestModeRsp"},
    {0x03, "SetDeviceIDReq"},
    {0x04, "SetDeviceIDRsp"},
    {0x05, "FactoryResetReq"},
    {0x06, "FactoryResetRsp"},
    {0x07, "SetGPIOPortsReq"},
    {0x08, "SetGPIOPortsRsp"},
    {0x09, "SetFrequencyOffsetReq"},
    {0x0A, "SetFrequencyOffsetRsp"},
    {0x0B, "SetCalibrationValueReq"},
    {0x0C, "SetCalibrationValueRsp"},
    {0x0D, "GetCalibrationValueReq"},
    {0x0E, "GetCalibrationValueRsp"},
    {0x0F, "GetMeasurementValueReq"},
    {0x10, "GetMeasurementValueRsp"},
    {0x11, "SetClockOutputReq"},
    {0x12, "SetClockOutputRsp"},
    {0x13, "GetAirtimeReq"},
    {0x14, "GetAirtimeRsp"},
    {0x15, "SendTestMsgReq"},
    {0x16, "SendTestMsgRsp"},
    {0x17, "EvRxTestPacket"},
    {0x18, "EvTxTestPacket"},
    {0, nullptr},
};

/// Number of fields a layout has.
int FieldCount(const TFieldLayoutEntry* layout)
{
    int count = 0;
    while (layout[count].name)
        ++count;
    return count;
}
}

TProductionSupportSAP::TProductionSupportSAP(QObject* parent)
    : TVeltoLRSAP(kSapId, kStatusTable, QStringLiteral("PTS"), parent)
{
    RegisterCommandTable(kCommandTable);
    RegisterMessageNameTable(kMessageNameTable);
}

bool TProductionSupportSAP::ProcessHCIMessage(const HCIMessage& message, TKeyValueList& record)
{
    const int length = qMin<int>(message.Length, HCIMessage::kMaxPayload);
    switch (message.MsgID) {
    case Ids::kRxTestPacketEvent:
        record.SetEventType(QStringLiteral("Rx Test Packet"));
        TFieldLayout::Decode(kRxTestPacketEvent, message.Payload, length, 0, record);
        break;
    case Ids::kTxTestPacketEvent:
        record.SetEventType(QStringLiteral("Tx Test Packet"));
        TFieldLayout::Decode(kTxTestPacketEvent, message.Payload, length, 0, record);
        break;
    default:
        return false;
    }
    emit EvProductionSupport_TestPacketEvent(record);
    return true;
}

bool TProductionSupportSAP::DecodeResponse(quint8 rspMsgId, const quint8* payload, int length, TKeyValueList& record)
{
    const TFieldLayoutEntry* layout = nullptr;
    switch (quint8(rspMsgId - 1)) {
    case Ids::kGetCalibrationValueReq:
        layout = kCalibrationValue;
        break;
    case Ids::kGetMeasurementValueReq:
        layout = kMeasurementValue;
        break;
    case Ids::kGetAirtimeReq:
        layout = kAirtime;
        break;
    default:
        break;
    }
    TKeyValueList fields;
    if (layout)
        TFieldLayout::Decode(layout, payload, length, 1, fields);
    if (length < 1 || (layout && fields.size() < FieldCount(layout))) {
        SetErrorText(QStringLiteral("error - response too short (%1 bytes)").arg(length));
        return false;
    }
    record += fields;
    return true;
}

bool TProductionSupportSAP::Pack(const TFieldLayoutEntry* layout, const TKeyValueList& params, QByteArray& payload)
{
    QString error;
    if (TFieldLayout::Pack(layout, params, payload, error))
        return true;
    SetErrorText(error);
    return false;
}

bool TProductionSupportSAP::SendLayout(quint8 reqMsgId, const TFieldLayoutEntry* layout, const TKeyValueList& params)
{
    QByteArray payload;
    return Pack(layout, params, payload) && Request(reqMsgId, payload);
}

bool TProductionSupportSAP::Query(quint8 reqMsgId, const TFieldLayoutEntry* requestLayout, const TKeyValueList& params, TKeyValueList& resultList)
{
    QByteArray payload;
    if (!Pack(requestLayout, params, payload) || !Request(reqMsgId, payload))
        return false;
    return DecodeResponse(quint8(reqMsgId + 1), m_response.Payload, m_response.Length, resultList);
}

bool TProductionSupportSAP::SetRadioTestMode(const TKeyValueList& itemList)
{
    return SendLayout(Ids::kSetRadioTestModeReq, kRadioTestMode, itemList);
}

bool TProductionSupportSAP::SetDeviceID(const TKeyValueList& itemList)
{
    return SendLayout(Ids::kSetDeviceIDReq, kDeviceID, itemList);
}

bool TProductionSupportSAP::FactoryReset()
{
    return Request(Ids::kFactoryResetReq, QByteArray());
}

bool TProductionSupportSAP::SetFrequencyOffset(const TKeyValueList& itemList)
{
    return SendLayout(Ids::kSetFrequencyOffsetReq, kFrequencyOffset, itemList);
}

bool TProductionSupportSAP::SetCalibrationValue(const TKeyValueList& itemList)
{
    return SendLayout(Ids::kSetCalibrationValueReq, kCalibrationValue, itemList);
}

bool TProductionSupportSAP::GetCalibrationValue(const TKeyValueList& itemList, TKeyValueList& resultList)
{
    return Query(Ids::kGetCalibrationValueReq, kCalibrationID, itemList, resultList);
}

bool TProductionSupportSAP::GetMeasurementValue(const TKeyValueList& itemList, TKeyValueList& resultList)
{
    return Query(Ids::kGetMeasurementValueReq, kMeasurementID, itemList, resultList);
}

bool TProductionSupportSAP::SetClockOutput(const TKeyValueList& itemList)
{
    return SendLayout(Ids::kSetClockOutputReq, kClockOutput, itemList);
}

bool TProductionSupportSAP::SetGPIOPorts(const TKeyValueList& itemList)
{
    return SendLayout(Ids::kSetGPIOPortsReq, kGPIOPorts, itemList);
}

bool TProductionSupportSAP::SendTestMessage(const TKeyValueList& itemList)
{
    return SendLayout(Ids::kSendTestMsgReq, kTestMessage, itemList);
}

bool TProductionSupportSAP::GetAirtime(const TKeyValueList& itemList, TKeyValueList& resultList)
{
    return Query(Ids::kGetAirtimeReq, kAirtimeRequest, itemList, resultList);
}

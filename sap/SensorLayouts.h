#pragma once
#include <QtGlobal>
// Payload layouts of the sensor application service (SapID 0x05), shared by the host service and
// the virtual module. Both events start with the addressing block of the DataLink receive events
// and end with its receive trailer when the format byte announces it (sap/DataLinkLayouts.h).
#include "base/TCodeTables.h"

/// Message identifiers of the sensor application service.
struct SensorMsgIds
{
    static constexpr quint8 kSapId = 0x05;
    enum : quint8 {
        kSensorDataEvent = 0x06,
        kReceiverAckEvent = 0x08,
        kSetConfigReq = 0x09,
        kGetConfigReq = 0x0B,
    };
};

namespace SensorLayouts {

/// "Mode": the application idles, transmits its sensor values every "TxPeriod" ms to the
/// receiver, or receives the values of transmitters.
enum Mode : quint8 { kModeOff = 0, kModeTransmitter = 1, kModeReceiver = 2 };
/// "Options" bits: the transmitter asks the receiver for an acknowledgement of each telegram
/// (answered by a "ReceiverAck" event, or missed after "RxTimeout" ms); the board's LED flashes
/// on every telegram.
enum Option : quint8 { kOptionAckRequest = 0x01, kOptionLed = 0x02 };

/// SetConfigReq, and GetConfigRsp after its status byte. TxPeriod and RxTimeout in ms.
// name                         type
inline constexpr TFieldLayoutEntry kConfig[] = {
    {"Mode",                     "U8d"},
    {"Options",                  "U8h"},
    {"TxPeriod",                 "U32d"},
    {"RxTimeout",                "U32d"},
    {nullptr, nullptr},
};

/// Sensor values of a "SensorData" event, between addressing block and trailer: telegram
/// counter, supply voltage, temperature in 0.1 °C, relative humidity in %, illuminance in lx.
inline constexpr TFieldLayoutEntry kSensorValues[] = {
    {"Counter",                  "U16d"},
    {"Battery",                  "BATTLEVEL"},
    {"Temperature",              "I16d"},
    {"Humidity",                 "U8d"},
    {"Light",                    "U16d"},
    {nullptr, nullptr},
};

/// Values of a "ReceiverAck" event: the telegram acknowledged and the receiver's supply voltage.
inline constexpr TFieldLayoutEntry kReceiverAckValues[] = {
    {"Counter",                  "U16d"},
    {"Battery",                  "BATTLEVEL"},
    {nullptr, nullptr},
};

}

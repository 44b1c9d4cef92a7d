#pragma once
// Payload layouts of the device management service (SapID 0x01), shared by the host service and
// the virtual module so that both sides pack and read the same bytes. Offsets start after the
// status byte in responses.
#include <QtGlobal>

#include "base/TCodeTables.h"

/// Message identifiers of the device management service, shared by the studio and the virtual module.
struct DeviceMgmtMsgIds
{
    static constexpr quint8 kSapId = 0x01;
    enum : quint8 {
        kPingReq = 0x01,
        kGetDeviceInfoReq = 0x03,
        kGetFirmwareInfoReq = 0x05,
        kResetReq = 0x07,
        kSetOperationModeReq = 0x09,
        kGetOperationModeReq = 0x0B,
        kSetRTCReq = 0x0D,
        kGetRTCReq = 0x0F,
        kGetDeviceStatusReq = 0x17,
        kSetRadioModeReq = 0x19,
        kPowerUpEvent = 0x20,
        kSetDeviceConfigReq = 0x25,
        kGetDeviceConfigReq = 0x27,
        kResetDeviceConfigReq = 0x29,
        kSetRTCAlarmReq = 0x31,
        kClearRTCAlarmReq = 0x33,
        kGetRTCAlarmReq = 0x35,
        kRTCAlarmEvent = 0x38,
        kSetRadioStackReq = 0x39,
        kGetRadioStackReq = 0x3B,
        kSetHCIConfigReq = 0x41,
        kGetHCIConfigReq = 0x43,
        kGetCPUIDReq = 0xF4,
        kSetBootloaderModeReq = 0xF6,
    };
};

namespace DeviceMgmtLayouts {

// name                         type
inline constexpr TFieldLayoutEntry kDeviceStatus[] = {
    {"SystemTickRes",            "U8d"},
    {"SystemTick",               "U32d"},
    {"RTCTime",                  "RTCTIME"},
    {"NVMStatus",                "U16h"},
    {"BatteryLevel",             "BATTLEVEL"},
    {"ExtraStatus",              "U16h"},
    {"TxUData",                  "U32d"},
    {"TxCData",                  "U32d"},
    {"TxError",                  "U32d"},
    {"Rx1UData",                 "U32d"},
    {"Rx1CData",                 "U32d"},
    {"Rx1MICError",              "U32d"},
    {"Rx2UData",                 "U32d"},
    {"Rx2CData",                 "U32d"},
    {"Rx2MICError",              "U32d"},
    {"TxJoin",                   "U32d"},
    {"RxAccept",                 "U32d"},
    {"RadioNumRxPackest",        "U32d"},
    {"RadioNumRxAddressOk",      "U32d"},
    {"RadioNumRxCRCErrors",      "U32d"},
    {"RadioNumTxPackets",        "U32d"},
    {"RadioNumTxErrors",         "U32d"},
    {"RadioNumTxMediaBusy",      "U32d"},
    {nullptr, nullptr},
};

// name                         type
inline constexpr TFieldLayoutEntry kHciConfig[] = {
    {"NVM",                      "U8d"},
    {"BaudrateID",               "U8d"},
    {"NumWakeupChars",           "U16d"},
    {"TxTimeout",                "U8d"},
    {"RxTimeout",                "U8d"},
    {nullptr, nullptr},
};

// name                         type
inline constexpr TFieldLayoutEntry kDeviceConfig[] = {
    {"Reserved",                 "U8d"},
    {"PowerSaving",              "U8d"},
    {"Reserved",                 "U8d"},
    {"ExtraOptions",             "U8d"},
    {nullptr, nullptr},
};

/// Set request and get response; 0 standard operation, 1 production test.
inline constexpr TFieldLayoutEntry kOperationMode[] = {
    {"OperationMode",            "U8d"},
    {nullptr, nullptr},
};

/// Set request and get response; 0 LoRaWAN, 1 proprietary point-to-point stack.
inline constexpr TFieldLayoutEntry kRadioStack[] = {
    {"RadioStack",               "U8d"},
    {nullptr, nullptr},
};

/// Clock value of the set request, the get response and the alarm event.
inline constexpr TFieldLayoutEntry kRtc[] = {
    {"DateTime",                 "RTCTIME"},
    {nullptr, nullptr},
};

/// Set alarm request; Options bit 0 repeats the alarm daily.
inline constexpr TFieldLayoutEntry kRtcAlarmSet[] = {
    {"Options",                  "U8h"},
    {"Hour",                     "U8d"},
    {"Minute",                   "U8d"},
    {"Second",                   "U8d"},
    {nullptr, nullptr},
};

/// Get alarm response; Status 1 = active.
inline constexpr TFieldLayoutEntry kRtcAlarmGet[] = {
    {"Status",                   "U8d"},
    {"Options",                  "U8h"},
    {"Hour",                     "U8d"},
    {"Minute",                   "U8d"},
    {"Second",                   "U8d"},
    {nullptr, nullptr},
};

/// Core identification register and the 96-bit unique device identifier of the module's MCU.
inline constexpr TFieldLayoutEntry kCpuId[] = {
    {"CPUID",                    "U32h"},
    {"UniqueID",                 "OctetSeq-12"},
    {nullptr, nullptr},
};

/// What the studio shows of the device status outside developer mode (key, label).
// key                          label
inline constexpr TCommandTableEntry kSystemStatusSummary[] = {
    {"SystemTickRes",            "System Tick Res"},
    {"TxUData",                  "Tx U-Data"},
    {"TxCData",                  "Tx C-Data"},
    {"TxError",                  "Tx Error"},
    {"RadioNumRxPackest",        "Rx Packets"},
    {"RadioNumRxAddressOk",      "Rx Address Valid"},
    {"RadioNumRxCRCErrors",      "Rx CRC Error"},
    {nullptr, nullptr},
};

/// Module baud rates by the "BaudrateID" of the HCI configuration.
// id  baud rate
inline constexpr TCodeTableEntry kBaudrateIds[] = {
    {0, "9600"},
    {1, "19200"},
    {2, "38400"},
    {3, "57600"},
    {4, "115200"},
    {5, "230400"},
    {6, "460800"},
    {0, nullptr},
};

}

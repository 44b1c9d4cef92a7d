#pragma once
// Payload layouts of the LoRaWAN service (SapID 0x10), shared by the host service and the virtual
// module so that both sides pack and read the same bytes. Offsets start after the status byte in
// responses. RSSI in dBm, SNR in dB, air time in ms.
#include <QtGlobal>

#include "base/TCodeTables.h"

/// Message identifiers of the LoRaWAN service, shared by the studio and the virtual module.
struct LoRaWANMsgIds
{
    static constexpr quint8 kSapId = 0x10;
    enum : quint8 {
        kActivateDeviceReq = 0x01,
        kGetActivationParamsReq = 0x03,
        kSetJoinParamsReq = 0x05,
        kGetJoinParamsReq = 0x07,
        kJoinNwkReq = 0x09,
        kTxJoinEvent = 0x0B,
        kJoinNwkEvent = 0x0C,
        kSendUDataReq = 0x0D,
        kTxUDataEvent = 0x0F,
        kRxUDataEvent = 0x10,
        kSendCDataReq = 0x11,
        kTxCDataEvent = 0x13,
        kRxCDataEvent = 0x14,
        kRxAckEvent = 0x15,
        kRxNoDataEvent = 0x16,
        kGetStatusReq = 0x17,
        kSetConfigReq = 0x19,
        kGetConfigReq = 0x1B,
        kReactivateDeviceReq = 0x1D,
        kDeactivateReq = 0x21,
        kFactoryResetReq = 0x23,
        kSetDeviceEUIReq = 0x25,
        kGetDeviceEUIReq = 0x27,
        kGetNwkStatusReq = 0x29,
        kSendMacCmdReq = 0x2B,
        kRxMacCmdEvent = 0x2D,
        kSetBatteryLevelReq = 0x2E,
        kSetCustomConfigReq = 0x31,
        kGetCustomConfigReq = 0x33,
        kGetSupportedBandsReq = 0x35,
        kSetTxPowerLimitConfigReq = 0x37,
        kGetTxPowerLimitConfigReq = 0x39,
        kSetLinkADRRequestConfigReq = 0x3B,
        kGetLinkADRRequestConfigReq = 0x3D,
        kLinkDisconnectEvent = 0x40,
        kSetMulticastConfigReq = 0x41,
        kGetMulticastConfigReq = 0x43,
        kRemoveMulticastConfigReq = 0x45,
        kRxMulticastDataEvent = 0x48,
        kRxInvalidMulticastEvent = 0x4A,
        kSetActiveRegionReq = 0x51,
        kGetActiveRegionReq = 0x53,
        kSetRegionConfigReq = 0x55,
        kGetRegionConfigReq = 0x57,
        kDevNonceResetEvent = 0x60,
        kSetDevNonceReq = 0x61,
        kGetDevNonceReq = 0x63,
        kSetJoinNonceReq = 0x65,
        kGetJoinNonceReq = 0x67,
        kSendNetworkTimeReq = 0x71,
        kNetworkTimeResponseEvent = 0x74,
    };
};

namespace LoRaWANLayouts {

// ---- requests and responses ----

// name                         type
inline constexpr TFieldLayoutEntry kJoinParams[] = {
    {"JoinEUI",                  "OctetSeq-8"},
    {"AppKey",                   "OctetSeq-16"},
    {nullptr, nullptr},
};

inline constexpr TFieldLayoutEntry kActivation[] = {
    {"DeviceAddress",            "U32h"},
    {"NwkSessionKey",            "OctetSeq-16"},
    {"AppSessionKey",            "OctetSeq-16"},
    {nullptr, nullptr},
};

inline constexpr TFieldLayoutEntry kDeviceEUI[] = {
    {"DeviceEUI",                "OctetSeq-8"},
    {nullptr, nullptr},
};

/// NetworkStatus in words ("NetworkStatusText").
// code  text
inline constexpr TCodeTableEntry kNetworkStatusTexts[] = {
    {0, "inactive"},
    {1, "active (ABP)"},
    {2, "active (OTAA)"},
    {3, "joining"},
    {0, nullptr},
};

/// NetworkStatus 0 inactive, 1 active by personalisation, 2 active by join, 3 joining; the rest
/// only while active.
inline constexpr TFieldLayoutEntry kNwkStatus[] = {
    {"NetworkStatus",            "U8d"},
    {"Optional:DeviceAddress",   "U32h"},
    {"Optional:DataRate",        "U8d"},
    {"Optional:PowerLevel",      "U8d"},
    {"Optional:MaxPayloadSize",  "U8d"},
    {nullptr, nullptr},
};

inline constexpr TFieldLayoutEntry kRadioStackConfig[] = {
    {"DataRate",                 "U8d"},
    {"PowerLevel",               "U8d"},
    {"Options",                  "U8h"},
    {"AutoPowerSaving",          "U8d"},
    {"Retransmissions",          "U8d"},
    {"BandID",                   "U8d"},
    {"HeaderMacCmdCap",          "U8d"},
    {"Optional:SubBandMask1",    "U8d"},
    {"Optional:SubBandMask2",    "U8d"},
    {"Optional:SubBandMask3",    "U8d"},
    {nullptr, nullptr},
};

/// Customer radio configuration: offset added to the module's transmit power.
inline constexpr TFieldLayoutEntry kCustomConfig[] = {
    {"TxPowerOffset",            "I8d"},
    {nullptr, nullptr},
};

/// One entry of the supported bands response (repeated): band and its highest EIRP in dBm.
inline constexpr TFieldLayoutEntry kSupportedBand[] = {
    {"BandIndex",                "U8d"},
    {"MaxEIRP",                  "U8d"},
    {nullptr, nullptr},
};

/// Set request (one entry) and get response (one entry per sub-band); Limit in dBm.
inline constexpr TFieldLayoutEntry kTxPowerLimit[] = {
    {"SubBandIndex",             "U8d"},
    {"ActiveFlag",               "U8d"},
    {"Limit",                    "U8d"},
    {nullptr, nullptr},
};

inline constexpr TFieldLayoutEntry kActiveRegion[] = {
    {"ActiveRegion",             "U8d"},
    {nullptr, nullptr},
};

/// Region configuration: the region used after a factory reset and the regions that may be activated.
inline constexpr TFieldLayoutEntry kRegion[] = {
    {"DefaultRegion",            "U8d"},
    {"RegionMask",               "U32h"},
    {nullptr, nullptr},
};

/// LinkADRRequest handling: 0 as the network requests, 1 keep the data rate, 2 keep data rate and power.
inline constexpr TFieldLayoutEntry kLinkADRConfig[] = {
    {"HandlingMode",             "U8d"},
    {nullptr, nullptr},
};

inline constexpr TFieldLayoutEntry kMulticastSet[] = {
    {"Index",                    "U8d"},
    {"DeviceAddress",            "U32h"},
    {"NwkSessionKey",            "OctetSeq-16"},
    {"AppSessionKey",            "OctetSeq-16"},
    {nullptr, nullptr},
};

/// Get response; ConfigStatus 1 = group in use (then the keys follow).
inline constexpr TFieldLayoutEntry kMulticastGet[] = {
    {"Index",                    "U8d"},
    {"ConfigStatus",             "U8d"},
    {"DeviceAddress",            "U32h"},
    {"Optional:NwkSessionKey",   "OctetSeq-16"},
    {"Optional:AppSessionKey",   "OctetSeq-16"},
    {nullptr, nullptr},
};

/// Get and remove multicast requests.
inline constexpr TFieldLayoutEntry kMulticastIndex[] = {
    {"Index",                    "U8d"},
    {nullptr, nullptr},
};

inline constexpr TFieldLayoutEntry kRadioData[] = {
    {"LoRaPort",                 "U8h"},
    {"Payload",                  "OctetSeq-255"},
    {nullptr, nullptr},
};

/// Service 0x00 sends the command unconfirmed, 0x01 confirmed.
inline constexpr TFieldLayoutEntry kMacCommand[] = {
    {"Service",                  "U8h"},
    {"MACCmdID",                 "U8h"},
    {nullptr, nullptr},
};

/// 0 external power, 1..254 battery level, 255 unknown (as the network asks for it).
inline constexpr TFieldLayoutEntry kBatteryLevel[] = {
    {"BatteryLevel",             "U8d"},
    {nullptr, nullptr},
};

inline constexpr TFieldLayoutEntry kDevNonce[] = {
    {"DevNonce",                 "U16d"},
    {nullptr, nullptr},
};

inline constexpr TFieldLayoutEntry kJoinNonce[] = {
    {"JoinNonce",                "U24d"},
    {nullptr, nullptr},
};

// ---- events ----

/// Join request sent (0x0B).
inline constexpr TFieldLayoutEntry kTxJoinEvent[] = {
    {"ChannelIndex",             "U8d"},
    {"DataRate",                 "U8d"},
    {"PowerLevel",               "U8d"},
    {"Airtime",                  "U32d"},
    {"DevNonce",                 "U16d"},
    {nullptr, nullptr},
};

/// Join accepted (0x0C).
inline constexpr TFieldLayoutEntry kJoinEvent[] = {
    {"DeviceAddress",            "U32h"},
    {"ChannelIndex",             "U8d"},
    {"DataRate",                 "U8d"},
    {"RSSI",                     "I16d"},
    {"SNR",                      "I8d"},
    {"RxSlot",                   "U8d"},
    {nullptr, nullptr},
};

/// U-Data and C-Data sent (0x0F, 0x13); NumTxPackets counts the retransmissions too.
inline constexpr TFieldLayoutEntry kTxDataEvent[] = {
    {"ChannelIndex",             "U8d"},
    {"DataRate",                 "U8d"},
    {"PowerLevel",               "U8d"},
    {"NumTxPackets",             "U8d"},
    {"Airtime",                  "U32d"},
    {"FrameCounter",             "U32d"},
    {nullptr, nullptr},
};

/// U-Data and C-Data received (0x10, 0x14); ACK 1 when the frame acknowledges our confirmed uplink.
inline constexpr TFieldLayoutEntry kRxDataEvent[] = {
    {"FrameCounter",             "U32d"},
    {"RSSI",                     "I16d"},
    {"SNR",                      "I8d"},
    {"RxSlot",                   "U8d"},
    {"ChannelIndex",             "U8d"},
    {"DataRate",                 "U8d"},
    {"ACK",                      "U8d"},
    {"FramePending",             "U8d"},
    {"LoRaPort",                 "U8h"},
    {"Payload",                  "OctetSeq-255"},
    {nullptr, nullptr},
};

/// Acknowledgement without data (0x15).
inline constexpr TFieldLayoutEntry kRxAckEvent[] = {
    {"FrameCounter",             "U32d"},
    {"RSSI",                     "I16d"},
    {"SNR",                      "I8d"},
    {"RxSlot",                   "U8d"},
    {"ChannelIndex",             "U8d"},
    {"DataRate",                 "U8d"},
    {nullptr, nullptr},
};

/// MAC command received (0x2D): the command bytes as the network sent them (CID first).
inline constexpr TFieldLayoutEntry kRxMacCmdEvent[] = {
    {"FrameCounter",             "U32d"},
    {"RSSI",                     "I16d"},
    {"SNR",                      "I8d"},
    {"RxSlot",                   "U8d"},
    {"MACCommand",               "OctetSeq-255"},
    {nullptr, nullptr},
};

/// Link lost (0x40); Reason 0 link check failed, 1 ADR acknowledgement limit reached.
inline constexpr TFieldLayoutEntry kLinkDisconnectEvent[] = {
    {"Reason",                   "U8d"},
    {nullptr, nullptr},
};

/// DevNonce reset (0x60): the value the next join will use.
inline constexpr TFieldLayoutEntry kDevNonceResetEvent[] = {
    {"DevNonce",                 "U16d"},
    {nullptr, nullptr},
};

/// Network time (0x74): GPS seconds since 1980-01-06 and 1/256 s.
inline constexpr TFieldLayoutEntry kNetworkTimeEvent[] = {
    {"GPSTime",                  "U32d"},
    {"FractionalSecond",         "U8d"},
    {nullptr, nullptr},
};

/// Multicast data received (0x48).
inline constexpr TFieldLayoutEntry kRxMulticastEvent[] = {
    {"DeviceAddress",            "U32h"},
    {"FrameCounter",             "U32d"},
    {"RSSI",                     "I16d"},
    {"SNR",                      "I8d"},
    {"LoRaPort",                 "U8h"},
    {"Payload",                  "OctetSeq-255"},
    {nullptr, nullptr},
};

/// Invalid data (0x16) and invalid multicast (0x4A): flags (bit 1: an error code follows), the
/// error code, and for multicast the group's address.
inline constexpr TFieldLayoutEntry kRxInvalidEvent[] = {
    {"Flags",                    "U8h"},
    {"ErrorCode",                "U8h"},
    {"Optional:DeviceAddress",   "U32h"},
    {nullptr, nullptr},
};

}

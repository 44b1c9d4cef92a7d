#pragma once
#include <QtGlobal>
// Payload layouts of the DataLink service (SapID 0x03), the point-to-point radio stack, shared by
// the host service and the virtual module so that both sides pack and read the same bytes.
// Offsets start after the status byte in responses. Multi-byte values are little-endian.
#include "base/TCodeTables.h"

/// Message identifiers of the DataLink service, shared by the studio and the virtual module.
struct DataLinkMsgIds
{
    static constexpr quint8 kSapId = 0x03;
    enum : quint8 {
        kSendUDataReq = 0x01,
        kRxUDataEvent = 0x04,
        kTxUDataEvent = 0x06,
        kRxRawDataEvent = 0x08,
        kSendCDataReq = 0x09,
        kRxCDataEvent = 0x0C,
        kTxCDataEvent = 0x0E,
        kRxAckEvent = 0x10,
        kAckTimeoutEvent = 0x12,
        kTxAckEvent = 0x14,
        kSetAckDataReq = 0x15,
        kSetRadioConfigReq = 0x17,
        kGetRadioConfigReq = 0x19,
        kResetRadioConfigReq = 0x1B,
        kSetAESKeyReq = 0x21,
        kGetAESKeyReq = 0x23,
    };
};

namespace DataLinkLayouts {

/// Most user data one radio message carries: a 255-byte radio frame less the link header
/// (control, addresses, packet counter) and the integrity code of encrypted frames.
constexpr int kMaxUserData = 240;
/// Most user data an acknowledgement carries back.
constexpr int kMaxAckData = 64;
constexpr int kAESKeyBytes = 16;
/// Bytes of the radio configuration after the status byte of GetRadioConfigRsp.
constexpr int kRadioConfigRspBytes = 25;
/// One step of the radio's synthesiser, the unit of "Frequency": 32 MHz / 2^19 (61.035 Hz).
constexpr double kFrequencyStepHz = 32e6 / 524288.0;

/// Broadcast addresses: a message to group 0xFF or to device 0xFFFF of a group is for everyone
/// there, and nobody acknowledges it.
constexpr quint8 kBroadcastGroup = 0xFF;
constexpr quint16 kBroadcastDevice = 0xFFFF;

/// Format byte of the receive events: bit 0 set when the receive trailer (RSSI, SNR, time) follows.
constexpr quint8 kFormatTrailer = 0x01;
/// Bytes of the addressing block and of the receive trailer.
constexpr int kRxHeaderBytes = 7;
constexpr int kRxTrailerBytes = 7;

/// RadioMode values: normal point-to-point operation, or sniffer (every frame as a raw event).
enum RadioMode : quint8 { kRadioModeStandard = 0, kRadioModeSniffer = 1 };
/// Modulation values.
enum Modulation : quint8 { kModulationLoRa = 0, kModulationFSK = 1 };
/// RxCtrl values: receiver off, always on, or open for "RxWindow" ms after each transmission.
enum RxCtrl : quint8 { kRxOff = 0, kRxAlwaysOn = 1, kRxWindowAfterTx = 2 };
/// ExtraOptions bits ("Miscellaneous Options" of the radio settings).
enum ExtraOption : quint8 { kOptionRxTrailer = 0x01, kOptionAES = 0x02 };

// ---- requests and responses ----

/// Send payload of SendUDataReq and SendCDataReq; addresses are numbers with automatic base
/// ("0x1234" or "4660").
// name                         type
inline constexpr TFieldLayoutEntry kSendData[] = {
    {"DstGroupAddress",          "U8d"},
    {"DstDeviceAddress",         "U16d"},
    {"Payload",                  "OctetSeq-240"},
    {nullptr, nullptr},
};

/// SetAckDataReq: AckMode 0 plain acknowledgements (no data), 1 the data goes with the next
/// acknowledgement only, 2 with every acknowledgement until changed.
inline constexpr TFieldLayoutEntry kAckData[] = {
    {"AckMode",                  "U8d"},
    {"Payload",                  "OctetSeq-64"},
    {nullptr, nullptr},
};
enum AckMode : quint8 { kAckPlain = 0, kAckDataOnce = 1, kAckDataAlways = 2 };

/// SetRadioConfigReq. Frequency is the synthesiser word in steps of 32 MHz / 2^19 (61.035 Hz),
/// Bandwidth 0/1/2 = 125/250/500 kHz, Spreading 7..12, ErrorCoding 1..4 = 4/5..4/8, PowerLevel dBm,
/// RxWindow ms, FSKDataRate 0/1/2 = 50/100/250 kbps.
inline constexpr TFieldLayoutEntry kRadioConfig[] = {
    {"NVM",                      "U8d"},
    {"RadioMode",                "U8d"},
    {"RxGroupAddress",           "U8h"},
    {"Reserved",                 "U8h"},
    {"RxDeviceAddress",          "U16h"},
    {"Reserved",                 "U16h"},
    {"Modulation",               "U8d"},
    {"Frequency",                "U24d"},
    {"Bandwidth",                "U8d"},
    {"Spreading",                "U8d"},
    {"ErrorCoding",              "U8d"},
    {"PowerLevel",               "I8d"},
    {"Reserved",                 "U8h"},
    {"RxCtrl",                   "U8h"},
    {"RxWindow",                 "U16d"},
    {"Reserved",                 "U8d"},
    {"ExtraOptions",             "U8h"},
    {"FSKDataRate",              "U8d"},
    {"Reserved",                 "U8d"},
    {"Reserved",                 "I16d"},
    {nullptr, nullptr},
};

/// GetRadioConfigRsp after the status byte: the set layout without "NVM"; the module reports its
/// automatic power saving (0 off, 1 on) and listen-before-talk threshold (dBm) in the last bytes,
/// which a set request leaves untouched. "Reserved" items are dropped from the shown record.
inline constexpr TFieldLayoutEntry kRadioConfigRsp[] = {
    {"RadioMode",                "U8d"},
    {"RxGroupAddress",           "U8h"},
    {"Reserved",                 "U8h"},
    {"RxDeviceAddress",          "U16h"},
    {"Reserved",                 "U16h"},
    {"Modulation",               "U8d"},
    {"Frequency",                "U24d"},
    {"Bandwidth",                "U8d"},
    {"Spreading",                "U8d"},
    {"ErrorCoding",              "U8d"},
    {"PowerLevel",               "I8d"},
    {"Reserved",                 "U8h"},
    {"RxCtrl",                   "U8h"},
    {"RxWindow",                 "U16d"},
    {"Reserved",                 "U8d"},
    {"ExtraOptions",             "U8h"},
    {"FSKDataRate",              "U8d"},
    {"AutoPowerSaving",          "U8d"},
    {"LBTThreshold",             "I16d"},
    {nullptr, nullptr},
};

/// SetAESKeyReq and GetAESKeyRsp.
inline constexpr TFieldLayoutEntry kAESKey[] = {
    {"AES-Key",                  "OctetSeq-16"},
    {nullptr, nullptr},
};

// ---- events ----

/// Addressing block that starts the receive events (and the sensor events).
inline constexpr TFieldLayoutEntry kRxHeader[] = {
    {"Format",                   "U8h"},
    {"DstGroupAddress",          "U8h"},
    {"DstDeviceAddress",         "U16h"},
    {"SrcGroupAddress",          "U8h"},
    {"SrcDeviceAddress",         "U16h"},
    {nullptr, nullptr},
};

/// Receive trailer at the end of receive events whose format byte has kFormatTrailer set, and of
/// every raw frame event: RSSI dBm, SNR dB, receive time in the module's packed clock format.
inline constexpr TFieldLayoutEntry kRxTrailer[] = {
    {"RSSI",                     "I16d"},
    {"SNR",                      "I8d"},
    {"Time",                     "RTCTIME"},
    {nullptr, nullptr},
};

/// Transmit events: status byte, packet counter, air time in ms (left out by older firmware).
inline constexpr TFieldLayoutEntry kTxEvent[] = {
    {"Status",                   "U8d"},
    {"Packet",                   "U16d"},
    {"Optional:AirTime",         "U32d"},
    {nullptr, nullptr},
};

}

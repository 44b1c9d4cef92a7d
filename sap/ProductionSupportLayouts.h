#pragma once
#include <QtGlobal>
// Payload layouts of the production support service (SapID 0xA1), shared by the host service and
// the virtual module. Radio fields as in the DataLink radio configuration: Frequency is the
// synthesiser word (steps of 32 MHz / 2^19), Bandwidth 0/1/2 = 125/250/500 kHz, Spreading 7..12,
// ErrorCoding 1..4 = 4/5..4/8, Modulation 0 LoRa / 1 FSK, PowerLevel dBm.
#include "base/TCodeTables.h"

struct ProductionSupportMsgIds
{
    static constexpr quint8 kSapId = 0xA1;
    enum : quint8 {
        kSetRadioTestModeReq = 0x01,
        kSetDeviceIDReq = 0x03,
        kFactoryResetReq = 0x05,
        kSetGPIOPortsReq = 0x07,
        kSetFrequencyOffsetReq = 0x09,
        kSetCalibrationValueReq = 0x0B,
        kGetCalibrationValueReq = 0x0D,
        kGetMeasurementValueReq = 0x0F,
        kSetClockOutputReq = 0x11,
        kGetAirtimeReq = 0x13,
        kSendTestMsgReq = 0x15,
        kRxTestPacketEvent = 0x17,
        kTxTestPacketEvent = 0x18,
    };
};

namespace ProductionSupportLayouts {

constexpr int kMaxTestPayload = 255;

/// "TestMode": 0 radio test off, 1 unmodulated carrier (CW), 2 test packets sent back to back
/// (EvTxTestPacket each), 3 receiver on, counting test packets (EvRxTestPacket each).
enum TestMode : quint8 { kTestOff = 0, kTestCarrier = 1, kTestTxPackets = 2, kTestRxPackets = 3 };

/// "CalibrationID" values: crystal frequency offset (Hz; SetFrequencyOffset writes it too), RSSI
/// offset (dB), transmit power offset (0.1 dB), temperature sensor offset (0.1 °C).
enum CalibrationId : quint16 { kCalFrequencyOffset = 1, kCalRssiOffset = 2, kCalTxPowerOffset = 3, kCalTemperatureOffset = 4 };
/// "MeasurementID" values: supply voltage (mV), temperature (0.1 °C), RSSI on the test
/// frequency (dBm, only while the receive test runs), levels of the GPIO test pins (bit n = pin n,
/// read back from the pins; there is no other way to read what SetGPIOPorts drives).
enum MeasurementId : quint16 { kMeasSupplyVoltage = 1, kMeasTemperature = 2, kMeasRssi = 3, kMeasGpioLevels = 4 };

// ---- requests and responses ----

// name                         type
inline constexpr TFieldLayoutEntry kRadioTestMode[] = {
    {"TestMode",                 "U8d"},
    {"PowerLevel",               "I8d"},
    {"Modulation",               "U8d"},
    {"Frequency",                "U24d"},
    {"Bandwidth",                "U8d"},
    {"Spreading",                "U8d"},
    {"ErrorCoding",              "U8d"},
    {nullptr, nullptr},
};

/// The module's 32-bit device identifier (as device management reports it).
inline constexpr TFieldLayoutEntry kDeviceID[] = {
    {"DeviceID",                 "U32h"},
    {nullptr, nullptr},
};

/// GPIO test: the pins in OutputMask become outputs driven to their bit in OutputLevels; the
/// other pins are left as they are.
inline constexpr TFieldLayoutEntry kGPIOPorts[] = {
    {"OutputMask",               "U16h"},
    {"OutputLevels",             "U16h"},
    {nullptr, nullptr},
};

/// Crystal frequency offset in Hz.
inline constexpr TFieldLayoutEntry kFrequencyOffset[] = {
    {"FrequencyOffset",          "I16d"},
    {nullptr, nullptr},
};

/// SetCalibrationValueReq, and GetCalibrationValueRsp after the status byte.
inline constexpr TFieldLayoutEntry kCalibrationValue[] = {
    {"CalibrationID",            "U16d"},
    {"CalibrationValue",         "I16d"},
    {nullptr, nullptr},
};

/// GetCalibrationValueReq (2 bytes).
inline constexpr TFieldLayoutEntry kCalibrationID[] = {
    {"CalibrationID",            "U16d"},
    {nullptr, nullptr},
};

/// GetMeasurementValueReq (2 bytes).
inline constexpr TFieldLayoutEntry kMeasurementID[] = {
    {"MeasurementID",            "U16d"},
    {nullptr, nullptr},
};

/// GetMeasurementValueRsp after the status byte.
inline constexpr TFieldLayoutEntry kMeasurementValue[] = {
    {"MeasurementID",            "U16d"},
    {"MeasurementValue",         "I16d"},
    {nullptr, nullptr},
};

/// SetClockOutputReq (6 bytes): ClockOutput 0 off / 1 on; ClockSource 0 LSE 32.768 kHz, 1 HSE
/// 32 MHz, 2 HSI 16 MHz, 3 system clock; Prescaler 1, 2, 4, 8 or 16; Duration in s (0 = until
/// switched off).
inline constexpr TFieldLayoutEntry kClockOutput[] = {
    {"ClockOutput",              "U8d"},
    {"ClockSource",              "U8d"},
    {"Prescaler",                "U8d"},
    {"Reserved",                 "U8h"},
    {"Duration",                 "U16d"},
    {nullptr, nullptr},
};

/// GetAirtimeReq: radio settings and the number of user data bytes; FSKDataRate 0/1/2 =
/// 50/100/250 kbps.
inline constexpr TFieldLayoutEntry kAirtimeRequest[] = {
    {"Modulation",               "U8d"},
    {"Bandwidth",                "U8d"},
    {"Spreading",                "U8d"},
    {"ErrorCoding",              "U8d"},
    {"FSKDataRate",              "U8d"},
    {"PayloadSize",              "U8d"},
    {nullptr, nullptr},
};

/// GetAirtimeRsp after the status byte: time on air in ms.
inline constexpr TFieldLayoutEntry kAirtime[] = {
    {"Airtime",                  "U32d"},
    {nullptr, nullptr},
};

inline constexpr TFieldLayoutEntry kTestMessage[] = {
    {"PowerLevel",               "I8d"},
    {"Modulation",               "U8d"},
    {"Frequency",                "U24d"},
    {"Bandwidth",                "U8d"},
    {"Spreading",                "U8d"},
    {"ErrorCoding",              "U8d"},
    {"Payload",                  "OctetSeq-255"},
    {nullptr, nullptr},
};

// ---- events ----

/// Test packet sent: packet counter, power, frequency, time on air in ms.
inline constexpr TFieldLayoutEntry kTxTestPacketEvent[] = {
    {"PacketCounter",            "U16d"},
    {"PowerLevel",               "I8d"},
    {"Frequency",                "U24d"},
    {"Airtime",                  "U32d"},
    {nullptr, nullptr},
};

/// Test packet received: the sender's packet counter, RSSI dBm, SNR dB, the packet's data.
inline constexpr TFieldLayoutEntry kRxTestPacketEvent[] = {
    {"PacketCounter",            "U16d"},
    {"RSSI",                     "I16d"},
    {"SNR",                      "I8d"},
    {"Payload",                  "OctetSeq-255"},
    {nullptr, nullptr},
};

}

#pragma once
#include <QDateTime>
#include <QObject>
#include <QTimer>

#include <functional>

#include "base/TKeyValueList.h"
#include "base/TCodeTables.h"
#include "sap/DeviceMgmtLayouts.h"
#include "tools/sim/TSimService.h"

/// The virtual module reads requests and writes answers through the host's own layout tables.
namespace TSimLayout {
/// Packs a record the module made itself; a failure is a fault of the virtual module and is logged.
QByteArray Pack(const TFieldLayoutEntry* layout, const TKeyValueList& record);
/// Reads a request: false unless it holds every required field and nothing more.
bool Parse(const TFieldLayoutEntry* layout, const QByteArray& payload, TKeyValueList& record);
/// Value of a decoded number field ("12", "0x0C", "-3").
qint64 Number(const TKeyValueList& record, const char* key);
}

/// Traffic counters of the device status; the LoRaWAN service of the virtual module moves them.
struct TSimCounters
{
    quint32 txUData = 0;
    quint32 txCData = 0;
    quint32 txError = 0;
    quint32 rx1UData = 0;
    quint32 rx1CData = 0;
    quint32 rx1MICError = 0;
    quint32 rx2UData = 0;
    quint32 rx2CData = 0;
    quint32 rx2MICError = 0;
    quint32 txJoin = 0;
    quint32 rxAccept = 0;
    quint32 radioRxPackets = 0;
    quint32 radioRxAddressOk = 0;
    quint32 radioRxCRCErrors = 0;
    quint32 radioTxPackets = 0;
    quint32 radioTxErrors = 0;
    quint32 radioTxMediaBusy = 0;
};

/// Device management of the virtual module: identity, firmware, clock and alarm, operation mode,
/// HCI and device configuration, radio stack, status counters, reset and bootloader entry.
class TSimDeviceMgmt : public TSimService, public DeviceMgmtMsgIds
{
public:
    /// A module restarts this long after it answered a reset request.
    static constexpr int kResetDelayMs = 50;
    static constexpr quint32 kCpuIdRegister = 0x410FC241;   // Cortex-M4 r0p1
    static constexpr quint16 kBatteryMv = 3300;
    static constexpr quint8 kMaxOperationMode = 1;
    static constexpr quint8 kMaxRadioStack = 1;
    static constexpr quint8 kAlarmDaily = 0x01;

    explicit TSimDeviceMgmt(TSimModule& module);
    quint8 SapID() const override { return kSapId; }
    TSimReply HandleRequest(quint8 msgId, const QByteArray& payload) override;

    /// Firmware information with its leading status byte; the power-up event carries the same bytes.
    QByteArray FirmwareInfo() const;
    QByteArray DeviceInfo() const;
    QDateTime Now() const;

    TSimCounters& Counters() { return m_counters; }
    /// The counters of a module's device management; null when it has none.
    static TSimCounters* CountersOf(const TSimModule& module);
    quint8 OperationMode() const { return m_operationMode; }
    bool AlarmActive() const { return m_alarmActive; }
    /// Sends the alarm event now, as when the module clock reaches the alarm time.
    void FireRtcAlarm();

    /// Called (on the next event-loop turn, after the answer) when the host asks for the bootloader;
    /// the owner switches the wire to the emulated STM32 bootloader.
    std::function<void()> EnterBootloaderRequested;

private:
    TSimReply SetRtc(const QByteArray& payload);
    TSimReply SetRtcAlarm(const QByteArray& payload);
    TSimReply GetRtcAlarm() const;
    TSimReply SetHciConfig(const QByteArray& payload);
    TSimReply SetDeviceConfig(const QByteArray& payload);
    TSimReply SetSingleValue(const QByteArray& payload, quint8 maximum, quint8& value);
    QByteArray DeviceStatus() const;
    QByteArray CpuId() const;
    void ScheduleAlarm();
    void ResetDeviceConfig();
    void Restart();

    QObject m_context;   ///< owns the delayed actions, so none outlives this service
    QTimer m_alarmTimer;
    qint64 m_clockOffsetMs = 0;   ///< module clock minus host clock
    quint8 m_operationMode = 0;
    quint8 m_radioStack = 0;
    bool m_alarmActive = false;
    quint8 m_alarmOptions = 0;
    QTime m_alarmTime;
    QDateTime m_nextAlarm;
    TKeyValueList m_hciConfig;
    QByteArray m_deviceConfig;   ///< as last set, reserved bytes included
    TSimCounters m_counters;
};

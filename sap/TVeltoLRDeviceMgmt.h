#pragma once
#include "sap/DeviceMgmtLayouts.h"
#include "sap/TVeltoLRSAP.h"

/// Host side of the module's device management: identity, firmware, clock and alarm, operation
/// mode, HCI and device configuration, radio stack, reset and bootloader entry.
class TVeltoLRDeviceMgmt : public TVeltoLRSAP, public DeviceMgmtMsgIds
{
    Q_OBJECT
public:
    static constexpr quint8 kOperationModeProduction = 1;

    explicit TVeltoLRDeviceMgmt(QObject* parent = nullptr);

    /// Developer mode shows the whole device status; otherwise only the summary counters.
    void SetDeveloperDecoding(bool on) { m_developerDecoding = on; }
    bool DeveloperDecoding() const { return m_developerDecoding; }

    /// Version seen in the last firmware information (0.0 before the first).
    quint8 FWVersionMajor() const { return m_fwMajor; }
    quint8 FWVersionMinor() const { return m_fwMinor; }

    /// Decodes a response's payload (status byte first) as the slots do; false with ResultText
    /// when the data is too short. Never reads past `length`.
    bool DecodeResponse(quint8 rspMsgId, const quint8* payload, int length, TKeyValueList& record);

    bool ProcessHCIMessage(const HCIMessage& message, TKeyValueList& record) override;

signals:
    void EvDeviceMgmt_PowerUpEvent(const TKeyValueList& itemList);
    void EvDeviceMgmt_RTCAlarmEvent(const TKeyValueList& itemList);
    void EvDeviceMgmt_ConfigChanged();

public slots:
    bool SetLocalBaudrate(const TKeyValueList& inputList);
    bool GetLocalBaudrate(TKeyValueList& resultList);
    bool GetDeviceInfo(TKeyValueList& resultList);
    bool GetFirmwareInfo(TKeyValueList& resultList);
    bool GetCPUID(TKeyValueList& resultList);
    bool GetSystemStatus(TKeyValueList& resultList);
    bool SyncRTC();
    /// As SyncRTC, telling the time it set as "TargetTime".
    bool SyncRTC(TKeyValueList& resultList);
    bool SetRTC(const TKeyValueList& inputList);
    bool GetRTC(TKeyValueList& resultList);
    /// "NewAlarm" as "hh:mm:ss", optional "Options" (bit 0: daily).
    bool SetRTCAlarm(const TKeyValueList& inputList);
    bool ClearRTCAlarm();
    bool GetRTCAlarm(TKeyValueList& resultList);
    bool SetHCIConfig(const TKeyValueList& inputList);
    bool GetHCIConfig(TKeyValueList& resultList);
    bool SetOperationMode(const TKeyValueList& inputList);
    bool GetOperationMode(TKeyValueList& resultList);
    bool ResetDevice();
    bool SetProductionMode();
    bool SetBootLoaderMode();
    /// Sends "MsgPayload" (hex octets) as message "MsgID" to service "SapID" and waits for MsgID + 1.
    bool SendTestCommand(const TKeyValueList& inputList);
    /// As above, returning the response's "SapID", "MsgID" and "MsgPayload".
    bool SendTestCommand(const TKeyValueList& inputList, TKeyValueList& resultList);
    /// Reads the firmware information and keeps its version.
    bool GetFWVersion();
    /// True when the module's firmware is newer than major.minor (reads the version once if needed).
    bool HasNewerFWVersionThan(quint8 major, quint8 minor);
    bool SetRadioStack(const TKeyValueList& itemList);
    bool GetRadioStack(TKeyValueList& itemList);
    bool SetDeviceConfig(const TKeyValueList& itemList);
    bool GetDeviceConfig(TKeyValueList& itemList);
    bool ResetDeviceConfig();

private:
    bool Query(quint8 reqMsgId, TKeyValueList& resultList);
    bool SetLayout(quint8 reqMsgId, const TFieldLayoutEntry* layout, const TKeyValueList& params);
    bool DecodeDeviceInfo(const quint8* payload, int length, TKeyValueList& record);
    bool DecodeFirmwareInfo(const quint8* payload, int length, TKeyValueList& record);
    bool DecodeDeviceStatus(const quint8* payload, int length, TKeyValueList& record);
    bool DecodeRtcAlarm(const quint8* payload, int length, TKeyValueList& record);

    bool m_developerDecoding = false;
    bool m_fwVersionKnown = false;
    quint8 m_fwMajor = 0;
    quint8 m_fwMinor = 0;
};

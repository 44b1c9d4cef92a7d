#pragma once
#include "sap/TVeltoLRSAP.h"

/// Host side of the module's LoRaWAN end-node service: activation and join, keys and EUIs, radio
/// configuration, regions, multicast, data and MAC commands; transmit and receive events as records.
class TVeltoLRLoRaWAN : public TVeltoLRSAP
{
    Q_OBJECT
public:
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
    /// Flag of the invalid-data events: an error code follows.
    static constexpr quint8 kRxErrorCodePresent = 0x02;
    /// GPS time runs ahead of UTC by the leap seconds since 1980 (18 since 2017).
    static constexpr int kGpsLeapSeconds = 18;

    explicit TVeltoLRLoRaWAN(QObject* parent = nullptr);

    /// Decodes a response's payload (status byte first) as the slots do; false with ResultText
    /// when the data is too short. Never reads past `length`.
    bool DecodeResponse(quint8 rspMsgId, const quint8* payload, int length, TKeyValueList& record);

    bool ProcessHCIMessage(const HCIMessage& message, TKeyValueList& record) override;

signals:
    void EvLoRaWAN_SendMsgEvent(const TKeyValueList& itemList);
    void EvLoRaWAN_RxEvent(const TKeyValueList& itemList);
    void EvLoRaWAN_ConfigChanged();

public slots:
    bool SetJoinParameters(const TKeyValueList& itemList);
    bool GetJoinParameters(TKeyValueList& itemList);
    bool JoinNetwork();
    bool ActivateDevice(const TKeyValueList& itemList);
    bool GetDeviceActParameters(TKeyValueList& itemList);
    bool DeactivateDevice();
    bool ReactivateDevice();
    bool FactoryReset();
    bool SetDeviceEUI(const TKeyValueList& itemList);
    bool GetDeviceEUI(TKeyValueList& itemList);
    bool GetNwkStatus(TKeyValueList& itemList);
    bool SetNodeConfig(const TKeyValueList& itemList);
    bool GetNodeConfig(TKeyValueList& itemList);
    bool SetCustomConfig(const TKeyValueList& itemList);
    bool GetCustomConfig(TKeyValueList& itemList);
    bool GetSupportedBands(TKeyValueList& itemList);
    bool SetTxPowerLimitConfig(const TKeyValueList& itemList);
    bool GetTxPowerLimitConfig(TKeyValueList& itemList);
    bool SetActiveRegion(const TKeyValueList& itemList);
    bool GetActiveRegion(TKeyValueList& resultList);
    bool SetRegionConfig(const TKeyValueList& itemList);
    bool GetRegionConfig(TKeyValueList& resultList);
    bool SetLinkADRRequestConfig(const TKeyValueList& itemList);
    bool GetLinkADRRequestConfig(TKeyValueList& resultList);
    bool SetMulticastConfig(const TKeyValueList& itemList);
    bool GetMulticastConfig(const TKeyValueList& itemList, TKeyValueList& resultList);
    bool RemoveMulticastConfig(const TKeyValueList& itemList);
    bool SendUData(const TKeyValueList& itemList);
    bool SendCData(const TKeyValueList& itemList);
    bool SendUMACCommand(const TKeyValueList& itemList);
    bool SendCMACCommand(const TKeyValueList& itemList);
    bool SetBatteryLevel(const TKeyValueList& itemList);
    bool SendNetworkTimeRequest();
    bool SetDevNonce(const TKeyValueList& itemList);
    bool GetDevNonce(TKeyValueList& itemList);
    bool SetJoinNonce(const TKeyValueList& itemList);
    bool GetJoinNonce(TKeyValueList& itemList);

private:
    bool SendLayout(quint8 reqMsgId, const TFieldLayoutEntry* layout, const TKeyValueList& params, bool configChange);
    bool Command(quint8 reqMsgId, bool configChange);
    bool Query(quint8 reqMsgId, TKeyValueList& resultList, const QByteArray& payload = QByteArray());
    bool SendMacCommand(const TKeyValueList& itemList, const char* service);
    bool DecodeFixed(const TFieldLayoutEntry* layout, const quint8* payload, int length, TKeyValueList& record);
    bool DecodeRepeated(const TFieldLayoutEntry* layout, const quint8* payload, int length, TKeyValueList& record);
    bool TooShort(int length);
    static void DecodeInvalidData(const quint8* payload, int length, bool multicast, TKeyValueList& record);
    static void DecodeNetworkTime(const quint8* payload, int length, TKeyValueList& record);
};

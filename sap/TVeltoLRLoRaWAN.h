#pragma once
#include "sap/LoRaWANLayouts.h"
#include "sap/TVeltoLRSAP.h"

/// Host side of the module's LoRaWAN end-node service: activation and join, keys and EUIs, radio
/// configuration, regions, multicast, data and MAC commands; transmit and receive events as records.
class TVeltoLRLoRaWAN : public TVeltoLRSAP, public LoRaWANMsgIds
{
    Q_OBJECT
public:
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
    bool DecodeRepeated(const TFieldLayoutEntry* layout, const quint8* payload, int length, TKeyValueList& record);
    static void DecodeInvalidData(const quint8* payload, int length, bool multicast, TKeyValueList& record);
    static void DecodeNetworkTime(const quint8* payload, int length, TKeyValueList& record);
};

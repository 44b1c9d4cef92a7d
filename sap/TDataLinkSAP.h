#pragma once
#include "sap/TVeltoLRSAP.h"

/// Host side of the point-to-point radio stack: sends and receives plain radio messages, reads
/// and writes the radio configuration and manages the AES-128 key of the radio packets.
class TDataLinkSAP : public TVeltoLRSAP
{
    Q_OBJECT
public:
    static constexpr quint8 kSapId = 0x03;

    explicit TDataLinkSAP(QObject* parent = nullptr);

    /// Decodes a response's payload (status byte first) as the slots do; false with ResultText
    /// when the data is too short. Never reads past `length`.
    bool DecodeResponse(quint8 rspMsgId, const quint8* payload, int length, TKeyValueList& record);

    bool ProcessHCIMessage(const HCIMessage& message, TKeyValueList& record) override;

    /// "%1:%2": group as two, device as four upper-case hex digits (group 0x10, device 0x1234 → 10:1234).
    static QString AddressText(quint8 group, quint16 device);
    /// Appends "DstAddress" and "SrcAddress" from the addressing block that starts the receive
    /// events (and the sensor events) and returns where the user data ends: before the receive
    /// trailer when the format byte announces one. Shared with the sensor service.
    static int DecodeAddressBlock(const quint8* payload, int length, TKeyValueList& record);
    /// Appends "RSSI" ("%1 dBm"), "SNR" ("%1 dB") and "Time" when the format byte announces the
    /// receive trailer and the payload holds it.
    static void DecodeRxTrailer(const quint8* payload, int length, TKeyValueList& record);

signals:
    void EvDataLink_MessageEvent(const TKeyValueList& radioMsg);
    void EvDataLink_ConfigChanged();

public slots:
    bool SendURadioMessage(const TKeyValueList& itemList);
    bool SendCRadioMessage(const TKeyValueList& itemList);
    bool SetAckData(const TKeyValueList& itemList);
    bool GetRadioConfig(TKeyValueList& resultList);
    bool SetRadioConfig(const TKeyValueList& itemList);
    bool ResetRadioConfig();
    bool SetAESKey(const TKeyValueList& itemList);
    bool GetAESKey(TKeyValueList& resultList);

private:
    bool SendLayout(quint8 reqMsgId, const TFieldLayoutEntry* layout, const TKeyValueList& params, bool configChange);
    bool Query(quint8 reqMsgId, TKeyValueList& resultList);
    static void DecodeRxEvent(const char* type, const quint8* payload, int length, TKeyValueList& record);
    static void DecodeTxEvent(const char* type, const quint8* payload, int length, TKeyValueList& record);
    static void AppendTrailer(const quint8* payload, int length, int offset, TKeyValueList& record);
    static void DecodeRawFrame(const quint8* payload, int length, TKeyValueList& record);
};

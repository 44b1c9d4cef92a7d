#pragma once
#include "sap/TVeltoLRSAP.h"

/// Host side of the demonstration sensor application: its configuration (transmitter or receiver
/// role, period, time-out) and the sensor data and receiver acknowledgements it reports.
class TSensorSAP : public TVeltoLRSAP
{
    Q_OBJECT
public:
    static constexpr quint8 kSapId = 0x05;

    explicit TSensorSAP(QObject* parent = nullptr);

    /// Decodes a response's payload (status byte first) as the slots do; false with ResultText
    /// when the data is too short. Never reads past `length`.
    bool DecodeResponse(quint8 rspMsgId, const quint8* payload, int length, TKeyValueList& record);

    bool ProcessHCIMessage(const HCIMessage& message, TKeyValueList& record) override;

signals:
    void EvSensorApp_DataEvent(const TKeyValueList& itemList);

public slots:
    bool SetSensorConfig(const TKeyValueList& itemList);
    bool GetSensorConfig(TKeyValueList& resultList);

private:
    static void DecodeEvent(const char* type, const TFieldLayoutEntry* values, const quint8* payload, int length, TKeyValueList& record);
};

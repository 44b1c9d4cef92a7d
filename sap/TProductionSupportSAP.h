#pragma once
#include "sap/TVeltoLRSAP.h"

/// Host side of the module's production functions for the factory and node test pages: radio
/// test modes, device identifier, factory reset, GPIO, frequency offset and calibration values,
/// measurements, clock output, air-time calculation and test messages.
class TProductionSupportSAP : public TVeltoLRSAP
{
    Q_OBJECT
public:
    static constexpr quint8 kSapId = 0xA1;

    explicit TProductionSupportSAP(QObject* parent = nullptr);

    /// Decodes a response's payload (status byte first) as the slots do; false with ResultText
    /// when the data is too short. Never reads past `length`.
    bool DecodeResponse(quint8 rspMsgId, const quint8* payload, int length, TKeyValueList& record);

    bool ProcessHCIMessage(const HCIMessage& message, TKeyValueList& record) override;

signals:
    /// Test packets received and sent ("Rx Test Packet", "Tx Test Packet").
    void EvProductionSupport_TestPacketEvent(const TKeyValueList& itemList);

public slots:
    bool SetRadioTestMode(const TKeyValueList& itemList);
    bool SetDeviceID(const TKeyValueList& itemList);
    bool FactoryReset();
    bool SetFrequencyOffset(const TKeyValueList& itemList);
    bool SetCalibrationValue(const TKeyValueList& itemList);
    bool GetCalibrationValue(const TKeyValueList& itemList, TKeyValueList& resultList);
    bool GetMeasurementValue(const TKeyValueList& itemList, TKeyValueList& resultList);
    bool SetClockOutput(const TKeyValueList& itemList);
    bool SetGPIOPorts(const TKeyValueList& itemList);
    bool SendTestMessage(const TKeyValueList& itemList);
    bool GetAirtime(const TKeyValueList& itemList, TKeyValueList& resultList);

private:
    bool Pack(const TFieldLayoutEntry* layout, const TKeyValueList& params, QByteArray& payload);
    bool SendLayout(quint8 reqMsgId, const TFieldLayoutEntry* layout, const TKeyValueList& params);
    bool Query(quint8 reqMsgId, const TFieldLayoutEntry* requestLayout, const TKeyValueList& params, TKeyValueList& resultList);
};

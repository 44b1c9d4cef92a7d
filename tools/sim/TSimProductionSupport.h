#pragma once
#include <QMap>
#include <QObject>
#include <QTimer>

#include "base/TKeyValueList.h"
#include "tools/sim/TSimService.h"

/// Production functions of the virtual module: radio test modes (test packets sent back to back,
/// or counted on receive), device identifier, calibration values, measurements, GPIO, clock
/// output, air-time calculation and test messages.
class TSimProductionSupport : public TSimService
{
public:
    static constexpr quint8 kSapId = 0xA1;
    static constexpr quint8 kWrongDeviceMode = 0x04;
    static constexpr quint8 kValueNotAvailable = 0x05;

    static constexpr int kTxEventDelayMs = 20;         ///< request answered → test packet sent
    static constexpr int kTestPacketPeriodMs = 100;    ///< back-to-back test packets in test mode 2
    static constexpr quint16 kAvailablePins = 0x0FFF;  ///< GPIOs that the test may drive
    static constexpr qint16 kMaxFrequencyOffsetHz = 20000;
    static constexpr qint16 kTemperatureTenthC = 235;
    static constexpr qint16 kTestRssiDbm = -95;
    static constexpr qint8 kTestSnrDb = 7;

    explicit TSimProductionSupport(TSimModule& module);
    quint8 SapID() const override { return kSapId; }
    TSimReply HandleRequest(quint8 msgId, const QByteArray& payload) override;

    /// A test packet arrives while the receive test (test mode 3) runs; false in any other mode.
    bool ReceiveTestPacket(quint16 counter, const QByteArray& data);

    quint8 TestMode() const { return m_testMode; }
    qint16 Calibration(quint16 id) const { return m_calibration.value(id); }
    quint16 GpioLevels() const { return m_gpioLevels; }
    quint16 GpioOutputs() const { return m_gpioOutputs; }
    bool ClockOutputOn() const { return m_clockOn; }
    quint16 TxPacketCounter() const { return m_txCounter; }

private:
    TSimReply SetRadioTestMode(const QByteArray& payload);
    TSimReply SetDeviceID(const QByteArray& payload);
    TSimReply SetGPIOPorts(const QByteArray& payload);
    TSimReply SetFrequencyOffset(const QByteArray& payload);
    TSimReply SetCalibrationValue(const QByteArray& payload);
    TSimReply GetCalibrationValue(const QByteArray& payload) const;
    TSimReply GetMeasurementValue(const QByteArray& payload) const;
    TSimReply SetClockOutput(const QByteArray& payload);
    TSimReply GetAirtime(const QByteArray& payload) const;
    TSimReply SendTestMessage(const QByteArray& payload);
    void SendTxTestPacket(const TKeyValueList& radio, int payloadBytes);
    void FactoryDefaults();
    static bool RadioValid(const TKeyValueList& radio);

    QObject m_context;   ///< owns the delayed actions, so none outlives this service
    QTimer m_testTimer;
    quint8 m_testMode = 0;
    TKeyValueList m_testRadio;
    QMap<quint16, qint16> m_calibration;
    quint16 m_gpioOutputs = 0;
    quint16 m_gpioLevels = 0;
    bool m_clockOn = false;
    TKeyValueList m_clock;
    quint16 m_txCounter = 0;
};

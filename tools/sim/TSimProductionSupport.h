#pragma once
#include <QMap>
#include <QObject>
#include <QTimer>

#include "base/TKeyValueList.h"
#include "tools/sim/TSimService.h"

struct TSimCounters;

/// Production functions of the virtual module: radio test modes (test packets sent back to back,
/// or received from a virtual test transmitter), device identifier, calibration values,
/// measurements, GPIO, clock output, air-time calculation and test messages. Scripted faults: a
/// share of the test packets is lost, and a busy channel refuses transmissions with "media busy".
class TSimProductionSupport : public TSimService
{
public:
    static constexpr quint8 kSapId = 0xA1;
    static constexpr quint8 kWrongDeviceMode = 0x04;
    static constexpr quint8 kValueNotAvailable = 0x05;
    static constexpr quint8 kMediaBusy = 0x06;

    static constexpr int kTxEventDelayMs = 20;         ///< request answered → test packet sent
    static constexpr int kTestPacketPeriodMs = 100;    ///< test packets of test modes 2 and 3
    static constexpr int kTestPacketBytes = 16;        ///< data of the packets of test modes 2 and 3
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
    /// Scripted loss: of every 100 test packets of test modes 2 and 3, this many never arrive
    /// (spread evenly, the same packets every run); their packet counters leave gaps.
    void SetTestPacketLoss(int percent) { m_lossPercent = qBound(0, percent, 100); }
    /// Scripted busy channel: test messages and the transmitting test modes answer "media busy".
    void SetChannelBusy(bool busy) { m_channelBusy = busy; }
    /// What a restart of the module ends: the radio test, GPIO outputs and clock output (the
    /// calibration values are kept in non-volatile memory).
    void Restarted() override;

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
    /// One packet slot of test mode 2 or 3.
    void TestPacketSlot();
    void SendRxTestPacket(quint16 counter, const QByteArray& data, int variation);
    TSimCounters* Counters() const;
    /// Refuses a transmission on the busy channel and counts it.
    TSimReply MediaBusy();
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
    quint16 m_peerCounter = 0;   ///< packet counter of the virtual test transmitter
    quint32 m_slots = 0;         ///< packet slots since the test mode started
    int m_lossPercent = 0;
    bool m_channelBusy = false;
};

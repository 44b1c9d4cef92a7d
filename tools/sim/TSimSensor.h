#pragma once
#include <QObject>
#include <QTimer>

#include "base/TKeyValueList.h"
#include "tools/sim/TSimDataLink.h"
#include "tools/sim/TSimService.h"

/// Sensor application of the virtual module: as transmitter it reports each telegram it sends
/// every "TxPeriod" ms (and the receiver's acknowledgement when asked for); as receiver it reports
/// the telegrams injected by the owner; off, it is silent.
class TSimSensor : public TSimService
{
public:
    static constexpr quint8 kSapId = 0x05;
    static constexpr quint32 kMinTxPeriodMs = 50;
    static constexpr int kAckDelayMs = 15;   ///< telegram sent → receiver's acknowledgement
    /// Address of the sensor access point the transmitter sends to.
    static constexpr quint8 kReceiverGroup = 0x10;
    static constexpr quint16 kReceiverDevice = 0x0001;
    static constexpr qint16 kTemperatureTenthC = 215;
    static constexpr quint8 kHumidityPercent = 45;
    static constexpr quint16 kLightLux = 320;

    explicit TSimSensor(TSimModule& module);
    quint8 SapID() const override { return kSapId; }
    TSimReply HandleRequest(quint8 msgId, const QByteArray& payload) override;

    /// A transmitter's telegram arrives at this receiver with this signal; false (nothing sent) in
    /// any other role.
    bool ReceiveTelegram(quint8 srcGroup, quint16 srcDevice, quint16 counter, qint16 rssiDbm = TSimDataLink::kRssiDbm,
                         qint8 snrDb = TSimDataLink::kSnrDb);
    /// Sensor values of telegram `counter`, as they travel in a telegram.
    static QByteArray TelegramValues(quint16 counter);
    quint8 Mode() const;
    bool Transmitting() const { return m_timer.isActive(); }
    quint16 Counter() const { return m_counter; }

private:
    TSimReply SetConfig(const QByteArray& payload);
    void Transmit();
    QByteArray Header(bool trailer, quint8 dstGroup, quint16 dstDevice, quint8 srcGroup, quint16 srcDevice) const;
    TSimDataLink* DataLink() const;

    QObject m_context;   ///< owns the delayed actions, so none outlives this service
    QTimer m_timer;
    TKeyValueList m_config;
    quint16 m_counter = 0;
};

#pragma once
#include <QByteArray>
#include <QDateTime>
#include <QObject>

#include <functional>

#include "base/TKeyValueList.h"
#include "tools/sim/TSimService.h"

struct TSimCounters;

/// Point-to-point radio stack of the virtual module: radio configuration, AES key, ack data, and a
/// radio peer that acknowledges confirmed messages. Received messages are injected by the owner.
class TSimDataLink : public TSimService
{
public:
    static constexpr quint8 kSapId = 0x03;
    static constexpr quint8 kMessageLengthError = 0x08;
    static constexpr quint8 kWrongDeviceMode = 0x04;

    static constexpr int kTxEventDelayMs = 20;   ///< request answered → packet on air
    static constexpr int kAckDelayMs = 30;       ///< packet sent → peer's acknowledgement
    static constexpr int kAckTimeoutMs = 60;     ///< packet sent → no acknowledgement reported
    static constexpr qint16 kRssiDbm = -72;
    static constexpr qint8 kSnrDb = 8;
    /// Synthesiser step of the radio: 32 MHz / 2^19.
    static constexpr double kFrequencyStepHz = 32e6 / 524288.0;
    static constexpr double kMinFrequencyHz = 137e6;
    static constexpr double kMaxFrequencyHz = 1020e6;
    static constexpr qint8 kMinPowerDbm = -4;
    static constexpr qint8 kMaxPowerDbm = 20;
    /// Link header (control, addresses, packet counter) and integrity code around the user data.
    static constexpr int kFrameOverheadBytes = 12;

    explicit TSimDataLink(TSimModule& module);
    quint8 SapID() const override { return kSapId; }
    TSimReply HandleRequest(quint8 msgId, const QByteArray& payload) override;

    /// A radio message from (srcGroup, srcDevice) to this module arrives: a receive event (with the
    /// trailer when the "ExtraOptions" ask for it), in sniffer mode a raw frame event instead; a
    /// confirmed one is acknowledged (EvTxAck) with the ack data set. False when the receiver is off.
    bool ReceiveMessage(quint8 srcGroup, quint16 srcDevice, const QByteArray& data, bool confirmed);
    /// Whether the peer acknowledges confirmed messages, and the data its acknowledgements carry.
    void SetPeerAcknowledges(bool on) { m_peerAcks = on; }
    void SetPeerAckData(const QByteArray& data) { m_peerAckData = data; }

    /// Current radio configuration as GetRadioConfigRsp shows it (without "Reserved" fields).
    const TKeyValueList& RadioConfig() const { return m_config; }
    QByteArray AESKey() const { return m_aesKey; }
    quint16 PacketCounter() const { return m_packetCounter; }
    /// Address block of this module and of a peer, as the receive events carry them.
    quint8 GroupAddress() const;
    quint16 DeviceAddress() const;
    bool ReceiverOn() const;
    bool TrailerOn() const;
    /// Receive trailer for a packet received now (RSSI, SNR, module clock).
    QByteArray RxTrailer() const;
    /// Time on air in ms of a frame of `frameBytes` bytes with the radio settings in `radio`
    /// ("Modulation", "Bandwidth", "Spreading", "ErrorCoding", "FSKDataRate").
    static quint32 AirtimeMs(const TKeyValueList& radio, int frameBytes);

private:
    TSimReply SetRadioConfig(const QByteArray& payload);
    TSimReply SetAckData(const QByteArray& payload);
    TSimReply SetAESKey(const QByteArray& payload);
    TSimReply Send(const QByteArray& payload, bool confirmed);
    void SendTxEvent(quint8 msgId, int dataBytes);
    void SendRxEvent(quint8 msgId, quint8 dstGroup, quint16 dstDevice, quint8 srcGroup, quint16 srcDevice, const QByteArray& data);
    void Later(int ms, std::function<void()> action);
    TSimCounters* Counters() const;
    QDateTime ModuleTime() const;
    void Defaults();

    QObject m_context;   ///< owns the delayed actions, so none outlives this service
    TKeyValueList m_config;
    QByteArray m_aesKey;
    quint8 m_ackMode = 0;
    QByteArray m_ackData;
    quint16 m_packetCounter = 0;
    bool m_peerAcks = true;
    QByteArray m_peerAckData;
};

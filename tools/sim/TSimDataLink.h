#pragma once
#include <QByteArray>
#include <QDateTime>
#include <QObject>

#include <QTimer>

#include <functional>

#include "base/TKeyValueList.h"
#include "sap/DataLinkLayouts.h"
#include "tools/sim/TSimAir.h"
#include "tools/sim/TSimService.h"

struct TSimCounters;

/// Point-to-point radio stack of the virtual module: radio configuration (kept in RAM and, when
/// asked, in non-volatile memory), AES key, ack data. On a shared air (TSimAir) it talks to the
/// other modules there; alone, an imaginary peer acknowledges confirmed messages and received
/// messages are injected by the owner.
class TSimDataLink : public TSimService
{
public:
    static constexpr quint8 kSapId = 0x03;
    static constexpr quint8 kMessageLengthError = 0x08;
    static constexpr quint8 kWrongDeviceMode = 0x04;

    static constexpr int kTxEventDelayMs = 20;   ///< request answered → packet on air
    static constexpr int kAckDelayMs = 30;       ///< packet sent → peer's acknowledgement
    static constexpr int kAckTimeoutMs = 60;     ///< packet sent → no acknowledgement reported
    /// On a shared air: a receiver answers a confirmed message this long after it arrived, and the
    /// sender gives up this long after the longest acknowledgement could have ended.
    static constexpr int kAckTurnaroundMs = 30;
    static constexpr int kAckMarginMs = 50;
    static constexpr quint8 kMediaBusy = 0x05;
    static constexpr quint8 kTxQueueFull = 0x07;
    static constexpr qint16 kRssiDbm = -72;
    static constexpr qint8 kSnrDb = 8;
    /// Synthesiser step of the radio: 32 MHz / 2^19.
    static constexpr double kFrequencyStepHz = DataLinkLayouts::kFrequencyStepHz;
    static constexpr double kMinFrequencyHz = 137e6;
    static constexpr double kMaxFrequencyHz = 1020e6;
    static constexpr qint8 kMinPowerDbm = -4;
    static constexpr qint8 kMaxPowerDbm = 20;
    /// Link header (control, addresses, packet counter) and integrity code around the user data.
    static constexpr int kFrameOverheadBytes = 12;

    explicit TSimDataLink(TSimModule& module);
    ~TSimDataLink() override;
    quint8 SapID() const override { return kSapId; }
    TSimReply HandleRequest(quint8 msgId, const QByteArray& payload) override;
    /// A restart reloads the radio configuration from non-volatile memory and forgets the ack data.
    void Restarted() override;

    /// A radio message from (srcGroup, srcDevice) to this module arrives: a receive event (with the
    /// trailer when the "ExtraOptions" ask for it), in sniffer mode a raw frame event instead; a
    /// confirmed one is acknowledged (EvTxAck) with the ack data set. False when the receiver is off.
    bool ReceiveMessage(quint8 srcGroup, quint16 srcDevice, const QByteArray& data, bool confirmed);
    /// A frame arrives with this signal: nothing while the receiver is closed, a raw frame event in
    /// sniffer mode, else (when addressed to this module and its AES setting and key fit) the receive
    /// event, the acknowledgement of a confirmed message, or the end of the wait for one. False
    /// when the module did not take the frame.
    bool Hear(const TSimRadioFrame& frame, qint16 rssiDbm, qint8 snrDb);

    /// The shared air this radio is on (null: alone); TSimAir::Join sets it.
    void SetAir(TSimAir* air);
    /// The air reports the end of this module's transmission: the transmit event, and for a
    /// confirmed message the start of the wait for its acknowledgement.
    void TransmissionEnded(const TSimRadioFrame& frame, quint32 airTimeMs);
    TSimChannel Channel() const;
    int PowerLevel() const;
    int LbtThreshold() const;
    /// Receiver open now: always on, or within "RxWindow" ms after the last transmission.
    bool Listening() const;
    /// Whether the peer acknowledges confirmed messages, and the data its acknowledgements carry.
    void SetPeerAcknowledges(bool on) { m_peerAcks = on; }
    void SetPeerAckData(const QByteArray& data) { m_peerAckData = data; }

    /// Factory radio configuration, in RAM and non-volatile memory (the device address follows the
    /// module's identity), as ResetRadioConfigReq does.
    void ResetRadioConfig() { Defaults(); }
    /// Current radio configuration as GetRadioConfigRsp shows it (without "Reserved" fields).
    const TKeyValueList& RadioConfig() const { return m_config; }
    QByteArray AESKey() const { return m_aesKey; }
    quint16 PacketCounter() const { return m_packetCounter; }
    /// Address block of this module and of a peer, as the receive events carry them.
    quint8 GroupAddress() const;
    quint16 DeviceAddress() const;
    bool ReceiverOn() const;
    bool TrailerOn() const;
    /// Radio packets encrypted with the AES key ("ExtraOptions" bit 1).
    bool AesOn() const;
    /// Receive trailer for a packet received now (RSSI, SNR, module clock).
    QByteArray RxTrailer(qint16 rssiDbm = kRssiDbm, qint8 snrDb = kSnrDb) const;
    /// Time on air in ms of a frame of `frameBytes` bytes with the radio settings in `radio`
    /// ("Modulation", "Bandwidth", "Spreading", "ErrorCoding", "FSKDataRate").
    static quint32 AirtimeMs(const TKeyValueList& radio, int frameBytes);

private:
    TSimReply SetRadioConfig(const QByteArray& payload);
    TSimReply SetAckData(const QByteArray& payload);
    TSimReply SetAESKey(const QByteArray& payload);
    TSimReply Send(const QByteArray& payload, bool confirmed);
    TSimReply SendOnAir(const TSimRadioFrame& frame);
    void SendTxEvent(quint8 msgId, int dataBytes);
    void SendTxEvent(quint8 msgId, quint8 status, qint64 airTimeMs);
    void SendRxEvent(quint8 msgId, const TSimRadioFrame& frame, qint16 rssiDbm, qint8 snrDb);
    void Acknowledge(const TSimRadioFrame& frame);
    TSimRadioFrame Frame(TSimRadioFrame::Kind kind, quint8 dstGroup, quint16 dstDevice, const QByteArray& data) const;
    void Later(int ms, std::function<void()> action);
    TSimCounters* Counters() const;
    QDateTime ModuleTime() const;
    void Defaults();

    QObject m_context;   ///< owns the delayed actions, so none outlives this service
    TKeyValueList m_config;
    TKeyValueList m_storedConfig;   ///< what a restart reloads
    QByteArray m_aesKey;
    quint8 m_ackMode = 0;
    QByteArray m_ackData;
    quint16 m_packetCounter = 0;
    bool m_peerAcks = true;
    QByteArray m_peerAckData;
    TSimAir* m_air = nullptr;
    bool m_transmitting = false;
    qint64 m_lastTxEndMs = -1;      ///< module uptime when the last transmission ended
    QTimer m_ackTimer;              ///< waiting for the acknowledgement of a confirmed message
    quint8 m_awaitGroup = 0;        ///< who must acknowledge it
    quint16 m_awaitDevice = 0;
};

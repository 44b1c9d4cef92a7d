#pragma once
#include <QByteArray>
#include <QList>
#include <QObject>
#include <QVector>

#include <functional>
#include <memory>

#include "sap/LoRaWANLayouts.h"
#include "base/TKeyValueList.h"
#include "base/TCodeTables.h"
#include "tools/sim/TSimPeriodicDownlink.h"
#include "tools/sim/TSimService.h"

struct TSimCounters;

/// LoRaWAN end node of the virtual module: keys and EUIs, activation and join, radio and region
/// configuration, multicast groups, nonces, and a network that answers uplinks with events.
class TSimLoRaWAN : public TSimService, public LoRaWANMsgIds
{
public:
    enum NetworkStatus : quint8 { Inactive = 0, ActiveABP = 1, ActiveOTAA = 2, Joining = 3 };

    static constexpr int kTxEventDelayMs = 20;    ///< request answered → radio packet sent
    static constexpr int kRxWindowDelayMs = 40;   ///< packet sent → downlink in the receive window
    static constexpr int kJoinAcceptDelayMs = 60;
    static constexpr int kMulticastGroups = 4;
    static constexpr int kSubBands = 6;
    static constexpr quint8 kMaxLoRaPort = 223;
    static constexpr int kDataRates = 8;           ///< DR0..DR7 in the module's band tables
    static constexpr quint8 kMaxLimitDbm = 30;     ///< highest sub-band transmit power limit
    static constexpr quint8 kMaxHandlingMode = 2;
    static constexpr qint8 kMaxTxPowerOffset = 20;  // dB either way
    static constexpr qint16 kRssiDbm = -57;
    static constexpr qint8 kSnrDb = 9;

    explicit TSimLoRaWAN(TSimModule& module);
    quint8 SapID() const override { return kSapId; }
    TSimReply HandleRequest(quint8 msgId, const QByteArray& payload) override;

    // Scripted network behaviour.
    /// When false, join requests go out but no join accept comes back.
    void SetJoinAccepted(bool accepted) { m_joinAccepted = accepted; }
    /// The network answers the next uplink with this downlink (one per uplink, in order).
    void QueueDownlink(quint8 port, const QByteArray& payload, bool confirmed = false);
    /// A downlink arrives now, outside any uplink.
    void InjectRxData(quint8 port, const QByteArray& payload, bool confirmed = false);
    void InjectMulticastData(int group, quint8 port, const QByteArray& payload);
    /// A MAC command from the network (CID first) arrives now.
    void InjectMacCommand(const QByteArray& command);
    /// A frame that failed its checks: the invalid-data event with this error code (e.g. 0x04 MIC).
    void InjectInvalidData(quint8 errorCode);
    void InjectLinkDisconnect(quint8 reason);
    /// Every intervalMs while the node is joined or activated a downlink arrives, the payloads
    /// taken in turn; 0 switches it off.
    void SetPeriodicDownlink(int intervalMs, quint8 port, const QList<QByteArray>& payloads, bool confirmed = false);
    const TSimPeriodicDownlink* PeriodicDownlink() const { return m_periodic.get(); }

    NetworkStatus Status() const { return m_status; }
    bool Active() const { return m_status == ActiveABP || m_status == ActiveOTAA; }
    QString DeviceAddress() const;
    int QueuedDownlinks() const { return m_downlinks.size(); }
    quint16 DevNonce() const { return m_devNonce; }
    quint32 UplinkCounter() const { return m_uplinkCounter; }

private:
    struct Downlink {
        quint8 port;
        QByteArray payload;
        bool confirmed;
    };

    TSimReply SetRecord(const TFieldLayoutEntry* layout, const QByteArray& payload, TKeyValueList& target);
    TSimReply Activate(const QByteArray& payload);
    TSimReply Join();
    TSimReply Reactivate();
    TSimReply SetNodeConfig(const QByteArray& payload);
    TSimReply SetCustomConfig(const QByteArray& payload);
    TSimReply SetTxPowerLimit(const QByteArray& payload);
    TSimReply SetActiveRegion(const QByteArray& payload);
    TSimReply SetRegionConfig(const QByteArray& payload);
    TSimReply SetLinkADRConfig(const QByteArray& payload);
    TSimReply SetMulticast(const QByteArray& payload);
    TSimReply GetMulticast(const QByteArray& payload) const;
    TSimReply RemoveMulticast(const QByteArray& payload);
    TSimReply SendData(const QByteArray& payload, bool confirmed);
    TSimReply SendMacCommand(const QByteArray& payload);
    TSimReply SendNetworkTime();
    TSimReply SetNumber(const TFieldLayoutEntry* layout, const QByteArray& payload, qint64 maximum, quint32& value);
    TSimReply GetNumber(const TFieldLayoutEntry* layout, quint32 value) const;
    QByteArray NwkStatus() const;
    QByteArray TxPowerLimits() const;
    QByteArray SupportedBands() const;

    void SetStatus(NetworkStatus status);
    quint8 DataRate() const;
    /// Application payload the current band and data rate carry.
    int MaxPayloadSize() const;
    quint8 PowerLevel() const;
    /// Sends the transmit event now and schedules what the network answers in the receive window.
    void Transmit(quint8 txEvent, int payloadSize, bool confirmed, const QByteArray& macAnswer = QByteArray());
    void SendRxData(const Downlink& downlink, bool ack, quint8 channel);
    void SendRxEvent(quint8 msgId, const TFieldLayoutEntry* layout, TKeyValueList fields);
    void Later(int ms, std::function<void()> action);
    TSimCounters* Counters() const;
    void FactoryDefaults();
    static quint32 GpsSeconds();

    QObject m_context;   ///< owns the delayed actions, so none outlives this service
    NetworkStatus m_status = Inactive;
    NetworkStatus m_lastActivation = Inactive;
    bool m_joinAccepted = true;
    TKeyValueList m_deviceEUI;
    TKeyValueList m_joinParams;
    TKeyValueList m_activation;
    TKeyValueList m_nodeConfig;
    TKeyValueList m_customConfig;
    TKeyValueList m_regionConfig;
    QVector<TKeyValueList> m_multicast;
    QVector<TKeyValueList> m_txPowerLimits;
    quint32 m_activeRegion = 1;
    quint32 m_linkADRMode = 0;
    quint32 m_batteryLevel = 255;
    quint32 m_devNonce = 0;
    quint32 m_joinNonce = 0;
    quint32 m_uplinkCounter = 0;
    quint32 m_downlinkCounter = 0;
    quint8 m_channel = 0;
    QList<Downlink> m_downlinks;
    std::unique_ptr<TSimPeriodicDownlink> m_periodic;
};

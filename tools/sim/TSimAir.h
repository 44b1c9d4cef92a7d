#pragma once
#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QPair>
#include <QVector>

class TSimDataLink;
class TSimModule;

/// One frame of the point-to-point radio as it travels between virtual modules.
struct TSimRadioFrame
{
    /// First byte of the frame on air; a sniffer shows it as the frame's first byte.
    enum Kind : quint8 { Unconfirmed = 0x40, Confirmed = 0x41, Ack = 0x42 };

    Kind kind = Unconfirmed;
    quint8 dstGroup = 0;
    quint16 dstDevice = 0;
    quint8 srcGroup = 0;
    quint16 srcDevice = 0;
    QByteArray data;
    QByteArray aesKey;   ///< key the sender encrypted with; empty when sent in clear

    bool Broadcast() const;
    /// Control byte, destination group and device, source group and device (little-endian), data.
    QByteArray Bytes() const;
};

/// What a receiver must be tuned to in order to hear a sender.
struct TSimChannel
{
    quint8 modulation = 0;
    quint32 frequency = 0;   ///< synthesiser word
    quint8 bandwidth = 0;    ///< LoRa only
    quint8 spreading = 0;    ///< LoRa only
    quint8 fskDataRate = 0;  ///< FSK only

    /// Same modulation and frequency, and the same bandwidth and spreading (LoRa) or data rate (FSK).
    bool Hears(const TSimChannel& other) const;
    /// Thermal noise in the receive bandwidth plus a 6 dB noise figure.
    double NoiseFloorDbm() const;
    /// Lowest SNR at which a frame is still demodulated: -7.5 dB at SF7 down to -20 dB at SF12 for
    /// LoRa; FSK needs a clean signal.
    double DemodulationLimitDb() const;
};

/// The radio channel that virtual modules of one process share. A frame sent by one module arrives,
/// when its transmission ends, at every other module tuned to the same channel whose signal is
/// strong enough: RSSI is the sender's power less the path loss between the two, SNR the RSSI above
/// the receiver's noise floor. Nothing runs while nobody transmits.
class TSimAir : public QObject
{
    Q_OBJECT
public:
    static constexpr int kDefaultPathLossDb = 90;
    /// A radio reports SNR up to this value however strong the signal.
    static constexpr int kMaxReportedSnrDb = 12;

    explicit TSimAir(QObject* parent = nullptr);
    ~TSimAir() override;

    /// Puts the module's radio on this air; false when it has no DataLink service.
    bool Join(TSimModule& module);
    void Leave(TSimDataLink* station);
    int Stations() const { return m_stations.size(); }

    void SetDefaultPathLoss(int dB) { m_defaultPathLossDb = dB; }
    /// Path loss between two modules, the same both ways; false unless both have joined.
    bool SetPathLoss(TSimModule& a, TSimModule& b, int dB);
    int PathLoss(const TSimDataLink* a, const TSimDataLink* b) const;

    /// Sends `frame` with the sender's current radio settings; it is on air for `airTimeMs`.
    void Transmit(TSimDataLink* sender, const TSimRadioFrame& frame, quint32 airTimeMs);
    /// Whether another module is transmitting on this module's channel above its listen-before-talk threshold.
    bool ChannelBusy(const TSimDataLink* station) const;

    /// RSSI (dBm) and SNR (dB) at `receiver` of a frame sent with `powerDbm` on `channel`.
    static void Signal(int powerDbm, int pathLossDb, const TSimChannel& channel, int& rssiDbm, int& snrDb);

signals:
    /// A transmission of the module at (group, device) ended; `receivers` modules took the frame.
    void EvTransmissionEnded(quint8 srcGroup, quint16 srcDevice, int receivers);

private:
    struct Transmission {
        quint64 id;
        TSimDataLink* sender;
        TSimChannel channel;
        int powerDbm;
        TSimRadioFrame frame;
        quint32 airTimeMs;
    };
    void End(quint64 id);
    static QPair<const TSimDataLink*, const TSimDataLink*> Pair(const TSimDataLink* a, const TSimDataLink* b);

    QVector<TSimDataLink*> m_stations;
    QVector<Transmission> m_onAir;
    QHash<QPair<const TSimDataLink*, const TSimDataLink*>, int> m_pathLossDb;
    int m_defaultPathLossDb = kDefaultPathLossDb;
    quint64 m_nextId = 1;
};

#pragma once
#include <QElapsedTimer>
#include <QObject>
#include <QRandomGenerator>
#include <QTimer>
#include <QVector>

class TSimModule;

/// Radio traffic that a module receives from a few nodes around it, at a steady rate, with RSSI and
/// SNR that wander slowly, so that signal plots move. Messages go through the module's radio as if
/// they came off the air (receiver, sniffer and trailer settings apply); telegrams of the sensor
/// nodes reach the sensor application when it is the receiver, else they arrive as plain messages.
class TSimTraffic : public QObject
{
    Q_OBJECT
public:
    static constexpr double kMaxRate = 10000.0;   ///< messages per second
    /// Most messages sent in one go after the event loop was held up.
    static constexpr int kMaxBurst = 500;

    struct Source {
        quint8 group;
        quint16 device;
        int rssiDbm;   ///< middle of its RSSI walk
        int snrDb;     ///< middle of its SNR walk
        bool sensor;   ///< a sensor node: its data are sensor telegrams
    };
    /// The nodes the traffic comes from.
    static const QVector<Source>& Sources();
    /// How far RSSI and SNR wander from their middle, in dB.
    static constexpr int kRssiSpanDb = 10;
    static constexpr int kSnrSpanDb = 4;

    explicit TSimTraffic(TSimModule& module, QObject* parent = nullptr);

    /// Starts (or changes) the traffic at `perSecond` messages per second; false unless
    /// 0 < perSecond <= kMaxRate.
    bool Start(double perSecond);
    void Stop();
    bool Running() const { return m_timer.isActive(); }
    /// Messages offered to the module so far (taken or not, e.g. with the receiver off).
    quint64 Emitted() const { return m_emitted; }

signals:
    void EvEmitted(quint64 total);

private:
    void OnTick();
    void EmitOne();

    TSimModule& m_module;
    QTimer m_timer;
    QElapsedTimer m_clock;
    QRandomGenerator m_random;
    double m_rate = 0;
    quint64 m_emitted = 0;
    quint64 m_emittedAtStart = 0;
    QVector<int> m_rssi;
    QVector<int> m_snr;
    QVector<quint16> m_counters;
};

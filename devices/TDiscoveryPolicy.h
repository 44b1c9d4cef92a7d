#pragma once
#include <QList>
#include <QMap>
#include <QSet>
#include <QStringList>

#include "devices/TPortSource.h"

/// What discovery does, as a function of what it did before, the ports present now and a clock:
/// which ports to probe and at which rate, which devices count down, go or come back, which ports
/// are blocked and when they are tried again. No port, no timer, no settings: the device manager
/// takes the snapshots, opens the ports and applies the decisions.
class TDiscoveryPolicy
{
public:
    static constexpr int kTickMs = 500;
    /// Ticks a device's port may be missing before the device goes.
    static constexpr int kPresenceTicks = 3;
    /// Failed probes per enabled discovery rate before a port is blocked.
    static constexpr int kRetriesPerRate = 3;

    /// A module the manager holds (active or parked).
    struct Device {
        QString port;
        int presence = kPresenceTicks;
        bool busy = false;       ///< a request waits on its link: neither counted nor removed
        bool linkLost = false;   ///< its link saw the port go away
        bool selected = false;
        bool parked = false;
    };
    /// A port the user added by hand (or a temporary one of this run) and what is at its path now.
    struct HandAdded {
        QString port;
        TPortSource::PathKind kind = TPortSource::PathMissing;
    };
    struct Snapshot {
        TPortSource::Ports system;   ///< the last enumeration
        QStringList defaultPatterns;
        QStringList extraPatterns;
        QList<HandAdded> handAdded;  ///< extra ports, then temporary ones
        QList<Device> devices;
        QStringList released;        ///< ports lent to someone else: left alone
        QList<bool> rateFlags;       ///< discovery flag per supported rate
    };

    struct Decision {
        enum Kind {
            Probe,        ///< value: baud rate; reconnect: a module that went is expected back
            Presence,     ///< value: the device's new presence count
            Remove,       ///< the device's port has been gone for kPresenceTicks ticks (or its link died)
            DropParked,   ///< a parked device's port is gone
            DropPath,     ///< a hand-added pseudo-terminal is gone: take it off the list
            RefusePath,   ///< a hand-added path is no serial port: never probed (said once)
            Retry,        ///< after a failed probe: value: the next rate
            Block,        ///< after a failed probe: value: ms until it is tried again; again: not the first time
        };
        Kind kind = Probe;
        QString port;
        int value = 0;
        bool reconnect = false;
        bool again = false;
    };

    TDiscoveryPolicy();

    /// One discovery tick over the ports present now.
    QList<Decision> Tick(const Snapshot& now, qint64 clockMs);
    /// The probe of a port failed: Retry (pending) or Block (until the back-off has passed).
    Decision ProbeFailed(const QString& port, qint64 clockMs);
    /// The probe found a module; true when it is the one that was selected when it went.
    bool ProbeSucceeded(const QString& port);

    /// Blocked until Reset (the settings' list, a device the user removed with blocking).
    void Block(const QString& port);
    /// The module on this port went on purpose (its port was lent out): when it is found there
    /// again it counts as the same one, selected again if it was.
    void Remember(const QString& port, bool selected);
    /// Forgets all about a port (a device the user removed).
    void Forget(const QString& port);
    /// Every blocked or pending port starts afresh.
    void Reset();

    QStringList Pending() const;
    QStringList Blocked() const;
    /// A module that went is being probed on its port again.
    bool Reconnecting(const QString& port) const;
    /// When the next tick is wanted: kTickMs while something changes by ticks, the time to the
    /// next back-off retry, or -1 when only a change of the ports can give work.
    int NextWakeMs(qint64 clockMs) const;

    /// Ports of the enumeration whose USB identity matches a VID/PID pattern, in present-port order.
    static QStringList Matching(const TPortSource::Ports& ports, const QString& pattern);
    /// Ports that are probed when new, in order (may repeat).
    static QStringList Candidates(const Snapshot& now);
    /// A pseudo-terminal's own path (its number is reused once it is gone).
    static bool IsPseudoTerminalPath(const QString& port);

private:
    enum class Phase { Idle, Probing, Pending, Blocked, Connected, Gone };
    struct Record {
        Phase phase = Phase::Idle;
        int attempts = 0;
        int rateIndex = -1;
        int blocks = 0;
        qint64 retryAt = 0;
        bool permanent = false;
        bool remembered = false;   ///< a module was connected here and went
        bool selected = false;     ///< ... while it was the selected one
        QString identity;
    };

    QString IdentityOf(const QString& port) const;
    QStringList PortsIn(Phase phase) const;
    void DropVanished(const QStringList& candidates);
    int BackoffMs(int blocks) const;

    QMap<QString, Record> m_records;
    QSet<QString> m_refused;
    Snapshot m_now;
    bool m_unsettled = false;
};

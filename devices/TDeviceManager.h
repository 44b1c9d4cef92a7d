#pragma once
#include <QElapsedTimer>
#include <QHash>
#include <QList>
#include <QObject>
#include <QStringList>
#include <QTimer>

#include <memory>

#include "devices/TDiscoveryPolicy.h"
#include "devices/TPortMonitor.h"
#include "devices/TPortSource.h"
#include "base/TKeyValueList.h"

class TRadioController;

/// Finds modules on the serial ports, keeps one controller per module that answered, notices
/// unplugged ones, finds them again when they come back, and announces all of it. Never asks the
/// user anything. The port list is read at start and when the port monitor reports a change; a
/// 500 ms tick runs only while something changes by ticks (retries, back-off, devices counting
/// down, hand-added paths). What to do is the discovery policy's; this is the shell around it.
class TDeviceManager : public QObject
{
    Q_OBJECT
public:
    static constexpr int kTickMs = TDiscoveryPolicy::kTickMs;
    /// Port changes that arrive within this time are read with one enumeration.
    static constexpr int kCoalesceMs = 200;

    /// What the studio shows for a module on a port.
    enum DeviceState {
        StateNone,          ///< no module known on this port
        StateConnected,     ///< open and idle
        StateBusy,          ///< a request waits for the module
        StateLost,          ///< its port went away; removed after a few ticks unless it returns
        StateReconnecting,  ///< its port is back and is being probed again
        StateReleased,      ///< handed to someone else (a firmware update) until resumed
    };
    Q_ENUM(DeviceState)
    static QString StateText(DeviceState state);
    static const QStringList& DefaultPatterns();

    static TDeviceManager& Instance();
    ~TDeviceManager() override;

    /// Reads the port list, starts watching for port changes and ticking.
    void Start();
    void Stop();
    bool IsRunning() const { return m_running; }
    /// True while the tick timer is set (it stops when nothing changes by ticks).
    bool IsTicking() const { return m_tickTimer.isActive(); }
    /// One discovery tick (the timer calls it; tests and the command-line tool may too).
    void DiscoveryTick();
    /// Discovery ticks so far.
    quint32 Ticks() const { return m_ticks; }

    /// Empties the blocked list ("Discover Devices"); once the ports have been probed,
    /// EvDiscoverySummary says what was found. With deleteAll it also drops every active device.
    void ResetBlockedPorts(bool deleteAll = false);
    /// The last text EvDiscoverySummary gave (empty before the first).
    QString DiscoverySummary() const { return m_summary; }
    bool SelectDevice(const QString& port);
    bool IsSelected(const QString& port) const;
    void ClearSelection();
    TRadioController* SelectedDevice() const { return m_selected; }
    bool HasDevices() const { return !m_active.isEmpty(); }
    int DeviceCount() const { return m_active.size(); }
    TRadioController* DeviceAt(int index) const;
    TRadioController* DeviceByPort(const QString& port) const;
    TKeyValueList DeviceInfoByPort(const QString& port) const;
    DeviceState StateOf(const QString& port) const;

    /// Gives the port to someone else (the firmware update): its device is taken out of service and
    /// the port is neither probed nor opened until ResumePort.
    void ReleasePort(const QString& port);
    /// Hands a released port back to discovery, which finds the module on it again.
    void ResumePort(const QString& port);
    QStringList ReleasedPorts() const { return m_released; }
    QList<TRadioController*> Devices() const { return m_active; }

    void ParkDevice(TRadioController* controller);
    void ParkDevice(const QString& port);
    void ParkDevice(int index);
    QList<TRadioController*> ParkedDevices() const { return m_parked; }
    void RemoveDevice(TRadioController* controller, bool block);

    void SetDefaultPatterns(const QStringList& patterns) { m_defaultPatterns = patterns; }
    QStringList DefaultPatternList() const { return m_defaultPatterns; }
    bool AddVidPidPattern(const QString& pattern);
    bool RemoveVidPidPattern(const QString& pattern);
    QStringList ExtraPatterns() const { return m_extraPatterns; }
    bool AddExtraPort(const QString& port);
    bool RemoveExtraPort(const QString& port);
    QStringList ExtraPorts() const { return m_extraPorts; }
    /// A port probed for this run only (a demo module, a command-line --port); never stored.
    void AddTemporaryPort(const QString& port);
    void RemoveTemporaryPort(const QString& port) { m_temporaryPorts.removeAll(port); }
    QStringList BlockedPorts() const { return m_policy.Blocked(); }
    QStringList UsedPorts() const { return m_used; }
    QStringList PendingPorts() const { return m_policy.Pending(); }

    /// Present ports: the last enumeration's, plus hand-added ports that exist (pseudo-terminals are never listed by the system).
    QStringList PresentPorts() const;
    /// Ports whose USB identity matches the pattern (reads the port list afresh).
    QStringList PortsMatching(const QString& pattern) const;
    static QStringList AvailablePorts();
    void SetPortSource(std::unique_ptr<TPortSource> source);
    const TPortSource& PortSource() const { return *m_source; }
    /// Replaces the port monitor (Start makes the system's when none is set).
    void SetPortMonitor(std::unique_ptr<TPortMonitor> monitor);

signals:
    void EvLocalDeviceAdded(const QString& comPort);
    void EvLocalDeviceRemoved(const QString& comPort);
    void EvDeviceConfigChanged();
    void EvUpdateGatewayList();
    void EvDeviceSelectionChanged(const QString& comPort);
    /// The state of the module on this port changed (see DeviceState).
    void EvDeviceStateChanged(const QString& comPort, TDeviceManager::DeviceState state);
    /// "Discover Devices" has probed the ports: "info - discovery found 2 modules: ..." or "info - discovery found no module".
    void EvDiscoverySummary(const QString& text);

private:
    TDeviceManager();
    bool IsNew(const QString& port) const;
    TDiscoveryPolicy::Snapshot TakeSnapshot() const;
    void Apply(const QList<TDiscoveryPolicy::Decision>& decisions);
    void TryOpen(const QString& port, int baudrate, bool reconnect);
    void Watch(TRadioController* controller);
    void Drop(TRadioController* controller);
    void Detach(TRadioController* controller);
    void SetPresence(const QString& port, int ticks);
    void SetState(const QString& port, DeviceState state);
    void RefreshStates();
    void Enumerate();
    void RequestEnumeration();
    void Wake(int ms);
    void ScheduleNext();
    bool Watching() const { return m_monitor && m_monitor->Watching(); }
    void ReportSummary();
    void Report(const QString& text);

    std::unique_ptr<TPortSource> m_source;
    std::unique_ptr<TPortMonitor> m_monitor;
    TDiscoveryPolicy m_policy;
    TPortSource::Ports m_ports;
    QList<TRadioController*> m_active;
    QList<TRadioController*> m_parked;
    TRadioController* m_selected = nullptr;
    QStringList m_used;
    QStringList m_extraPorts;
    QStringList m_temporaryPorts;
    QStringList m_released;
    QStringList m_extraPatterns;
    QStringList m_defaultPatterns;
    QHash<QString, DeviceState> m_states;
    QTimer m_tickTimer;
    QTimer m_enumerateTimer;
    QElapsedTimer m_clock;
    QString m_summary;
    quint32 m_ticks = 0;
    bool m_running = false;
    bool m_inTick = false;
    bool m_tickAgain = false;
    bool m_enumerationWanted = true;
    bool m_summaryWanted = false;
};

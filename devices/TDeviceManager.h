#pragma once
#include <QList>
#include <QObject>
#include <QStringList>

#include <memory>

#include "devices/TPortSource.h"
#include "base/TKeyValueList.h"

class TRadioController;

/// Finds modules on the serial ports every 500 ms, keeps one controller per module that answered,
/// notices unplugged ones, and announces both. Never asks the user anything.
class TDeviceManager : public QObject
{
    Q_OBJECT
public:
    static constexpr int kTickMs = 500;

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

    void Start();
    void Stop();
    bool IsRunning() const { return m_timerId != 0; }
    /// One discovery tick (the timer calls it every 500 ms).
    void DiscoveryTick();

    /// Empties the blocked list; with deleteAll also drops every active device.
    void ResetBlockedPorts(bool deleteAll = false);
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
    QStringList BlockedPorts() const { return m_blocked; }
    QStringList UsedPorts() const { return m_used; }
    QStringList PendingPorts() const;

    /// Present ports: the system's, plus hand-added ports that exist (pseudo-terminals are never listed by the system).
    QStringList PresentPorts() const;
    QStringList PortsMatching(const QString& pattern) const;
    static QStringList AvailablePorts();
    void SetPortSource(std::unique_ptr<TPortSource> source);
    const TPortSource& PortSource() const { return *m_source; }

signals:
    void EvLocalDeviceAdded(const QString& comPort);
    void EvLocalDeviceRemoved(const QString& comPort);
    void EvDeviceConfigChanged();
    void EvUpdateGatewayList();
    void EvDeviceSelectionChanged(const QString& comPort);
    /// The state of the module on this port changed (see DeviceState).
    void EvDeviceStateChanged(const QString& comPort, TDeviceManager::DeviceState state);

protected:
    void timerEvent(QTimerEvent* event) override;

private:
    TDeviceManager();
    bool IsNew(const QString& port) const;
    void TryOpen(const QString& port);
    void Detach(TRadioController* controller);
    void Report(const QString& text);
    static bool Present(const QStringList& present, const QString& port);

    std::unique_ptr<TPortSource> m_source;
    QList<TRadioController*> m_active;
    QList<TRadioController*> m_parked;
    QList<TRadioController*> m_pending;
    TRadioController* m_selected = nullptr;
    QStringList m_blocked;
    QStringList m_used;
    QStringList m_extraPorts;
    QStringList m_temporaryPorts;
    QStringList m_released;
    QStringList m_extraPatterns;
    QStringList m_defaultPatterns;
    int m_timerId = 0;
    bool m_inTick = false;
};

#include "devices/TDeviceManager.h"

#include <QMap>
#include <QSerialPortInfo>

#include <memory>

#include "devices/TDiscoveryRates.h"
#include "devices/TModuleOpener.h"
#include "devices/TRadioController.h"
#include "settings/TSettings.h"
#include "status/TStatusLog.h"

namespace {
const char* const kGroup = "ComPorts";
const char* const kSource = "DeviceMgmt";

// Default VID/PID patterns: the USB-UART bridges on the modules, sticks and demo boards.
// pattern                  bridge
const char* const kDefaultPatterns[][2] = {
    {"VID_0403.PID_6001.*", "FTDI FT232R"},
    {"VID_0403.PID_6010.*", "FTDI FT2232"},
    {"VID_0403.PID_6011.*", "FTDI FT4232"},
    {"VID_10C4.PID_EA60", "Silicon Labs CP210x"},
};

using Decision = TDiscoveryPolicy::Decision;
}

const QStringList& TDeviceManager::DefaultPatterns()
{
    static const QStringList patterns = [] {
        QStringList list;
        for (const auto& row : kDefaultPatterns)
            list << QString::fromLatin1(row[0]);
        return list;
    }();
    return patterns;
}

TDeviceManager& TDeviceManager::Instance()
{
    static TDeviceManager* manager = new TDeviceManager;   // lives until exit
    return *manager;
}

TDeviceManager::TDeviceManager()
    : m_source(TPortSource::CreateSystemSource())
{
    TSettings& settings = TSettings::Instance();
    m_used = settings.ReadList(kGroup, QStringLiteral("Used"));
    for (const QString& port : settings.ReadList(kGroup, QStringLiteral("Blocked")))
        m_policy.Block(port);
    m_extraPorts = settings.ReadList(kGroup, QStringLiteral("Extra"));
    m_extraPatterns = settings.ReadList(kGroup, QStringLiteral("VID_PIDS"));
    m_clock.start();
    m_tickTimer.setSingleShot(true);
    m_tickTimer.setTimerType(Qt::CoarseTimer);
    connect(&m_tickTimer, &QTimer::timeout, this, &TDeviceManager::DiscoveryTick);
    m_enumerateTimer.setSingleShot(true);
    connect(&m_enumerateTimer, &QTimer::timeout, this, &TDeviceManager::DiscoveryTick);
}

TDeviceManager::~TDeviceManager()
{
    Stop();
}

void TDeviceManager::Start()
{
    if (!m_monitor)
        SetPortMonitor(TPortMonitor::CreateSystemMonitor());
    m_running = true;
    m_enumerationWanted = true;
    m_tickTimer.start(kTickMs);
}

void TDeviceManager::Stop()
{
    m_running = false;
    m_tickTimer.stop();
    m_enumerateTimer.stop();
}

void TDeviceManager::SetPortSource(std::unique_ptr<TPortSource> source)
{
    if (!source)
        return;
    m_source = std::move(source);
    m_enumerationWanted = true;
}

void TDeviceManager::SetPortMonitor(std::unique_ptr<TPortMonitor> monitor)
{
    if (!monitor)
        return;
    m_monitor = std::move(monitor);
    connect(m_monitor.get(), &TPortMonitor::EvPortsChanged, this, &TDeviceManager::RequestEnumeration);
}

QStringList TDeviceManager::AvailablePorts()
{
    QStringList ports;
    const auto infos = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo& info : infos)
        ports << info.portName();
    return ports;
}

QStringList TDeviceManager::PresentPorts() const
{
    QStringList present = m_ports.present;
    for (const QString& port : m_extraPorts + m_temporaryPorts) {
        const TPortSource::PathKind kind = m_source->Classify(port);
        if (!present.contains(port) && (kind == TPortSource::PathSerial || kind == TPortSource::PathPseudoTerminal))
            present << port;
    }
    return present;
}

QStringList TDeviceManager::PortsMatching(const QString& pattern) const
{
    return TDiscoveryPolicy::Matching(m_source->Enumerate(), pattern);
}

// ---------------------------------------------------------------- the shell around the policy

void TDeviceManager::Enumerate()
{
    m_ports = m_source->Enumerate();
    m_enumerationWanted = false;
}

void TDeviceManager::RequestEnumeration()
{
    m_enumerationWanted = true;
    if (m_running && !m_enumerateTimer.isActive())
        m_enumerateTimer.start(kCoalesceMs);
}

void TDeviceManager::Wake(int ms)
{
    if (m_running && (!m_tickTimer.isActive() || m_tickTimer.remainingTime() > ms))
        m_tickTimer.start(ms);
}

void TDeviceManager::ScheduleNext()
{
    if (!m_running)
        return;
    int ms = Watching() ? m_policy.NextWakeMs(m_clock.elapsed()) : kTickMs;
    if (m_tickAgain || (m_enumerationWanted && !m_enumerateTimer.isActive()))
        ms = 0;
    if (ms < 0)
        m_tickTimer.stop();
    else
        m_tickTimer.start(ms);
}

TDiscoveryPolicy::Snapshot TDeviceManager::TakeSnapshot() const
{
    TDiscoveryPolicy::Snapshot now;
    now.system = m_ports;
    now.defaultPatterns = m_defaultPatterns;
    now.extraPatterns = m_extraPatterns;
    for (const QString& port : m_extraPorts + m_temporaryPorts)
        now.handAdded << TDiscoveryPolicy::HandAdded{port, m_source->Classify(port)};
    for (const QList<TRadioController*>* list : {&m_active, &m_parked}) {
        for (const TRadioController* c : *list) {
            TDiscoveryPolicy::Device device;
            device.port = c->PortName();
            device.presence = c->Presence();
            device.busy = c->IsBusy();
            device.linkLost = c->Link() && c->Link()->PortLost();
            device.selected = c == m_selected;
            device.parked = list == &m_parked;
            now.devices << device;
        }
    }
    now.released = m_released;
    now.rateFlags = TDiscoveryRates::Flags();
    return now;
}

void TDeviceManager::DiscoveryTick()
{
    if (m_inTick) {
        m_tickAgain = true;   // a probe's wait re-enters the event loop; never start a second tick inside it
        return;
    }
    m_inTick = true;
    m_tickAgain = false;
    ++m_ticks;
    m_enumerateTimer.stop();
    if (m_enumerationWanted || !Watching())
        Enumerate();
    Apply(m_policy.Tick(TakeSnapshot(), m_clock.elapsed()));
    RefreshStates();
    m_inTick = false;
    if (m_summaryWanted && !m_tickAgain && m_policy.Pending().isEmpty())
        ReportSummary();
    ScheduleNext();
}

void TDeviceManager::Apply(const QList<Decision>& decisions)
{
    bool removed = false;
    for (const Decision& d : decisions) {
        switch (d.kind) {
        case Decision::Presence:
            SetPresence(d.port, d.value);
            break;
        case Decision::Remove:
            if (TRadioController* c = DeviceByPort(d.port)) {
                Drop(c);
                removed = true;
            }
            break;
        case Decision::DropParked:
            for (TRadioController* c : qAsConst(m_parked)) {
                if (c->PortName() == d.port) {
                    m_parked.removeAll(c);
                    c->DeleteWhenIdle();
                    break;
                }
            }
            break;
        case Decision::DropPath:
            Report(QStringLiteral("info - pseudo-terminal %1 is gone: taken off the extra ports").arg(d.port));
            RemoveExtraPort(d.port);
            RemoveTemporaryPort(d.port);
            m_policy.Forget(d.port);
            break;
        case Decision::RefusePath:
            Report(QStringLiteral("warning - extra port %1 is neither a serial port nor a pseudo-terminal: not probed").arg(d.port));
            break;
        case Decision::Probe:
            if (IsNew(d.port))
                TryOpen(d.port, d.value, d.reconnect);
            break;
        case Decision::Retry:
        case Decision::Block:
            break;
        }
    }
    if (removed)
        emit EvDeviceConfigChanged();
}

bool TDeviceManager::IsNew(const QString& port) const
{
    if (m_released.contains(port) || DeviceByPort(port))
        return false;
    for (const TRadioController* c : m_parked)
        if (c->PortName() == port)
            return false;
    return true;
}

void TDeviceManager::TryOpen(const QString& port, int baudrate, bool reconnect)
{
    if (reconnect)
        SetState(port, StateReconnecting);
    auto failed = [this, &port] {
        const Decision next = m_policy.ProbeFailed(port, m_clock.elapsed());
        if (next.kind == Decision::Retry)
            Report(QStringLiteral("error - couldn't open device on com port %1, -> retry outstanding !").arg(port));
        else if (!next.again)
            Report(QStringLiteral("error - couldn't open device on com port %1, -> saved in blocked list !").arg(port));
        else
            Report(QStringLiteral("info - still no module on %1: next try in %2 s").arg(port).arg(next.value / 1000));
        SetState(port, StateOf(port));
    };
    TRadioController probe;
    if (!probe.ProbeOpen(port, QString::number(baudrate))) {
        failed();
        return;
    }
    QString error;
    TRadioController* controller = TModuleOpener::Open(probe, &error);
    if (!controller) {
        Report(QStringLiteral("error - couldn't open device on com port %1: %2").arg(port, error));
        failed();
        return;
    }
    const bool reselect = m_policy.ProbeSucceeded(port);
    m_active << controller;
    Watch(controller);
    if (m_active.size() == 1 || (reselect && !m_selected))
        SelectDevice(port);
    if (!m_used.contains(port)) {
        m_used.prepend(port);
        TSettings::Instance().AddToList(kGroup, QStringLiteral("Used"), port);
    }
    Report(QStringLiteral("new radio detected on: %1").arg(port));
    emit EvLocalDeviceAdded(port);
    SetState(port, StateOf(port));
}

void TDeviceManager::Watch(TRadioController* controller)
{
    const QString port = controller->PortName();
    connect(controller, &TRadioController::EvBusyChanged, this, [this, controller, port] {
        if (m_active.contains(controller))
            SetState(port, StateOf(port));
    });
    if (TVeltoLRHCI* link = controller->Link()) {
        connect(link, &TVeltoLRHCI::EvPortLost, this, [this, controller, port] {
            if (!m_active.contains(controller))
                return;
            SetState(port, StateLost);
            RequestEnumeration();   // without port events from the system this is the only hint
            Wake(kTickMs);
        });
    }
}

void TDeviceManager::SetPresence(const QString& port, int ticks)
{
    for (const QList<TRadioController*>* list : {&m_active, &m_parked})
        for (TRadioController* c : *list)
            if (c->PortName() == port)
                c->SetPresence(ticks);
    if (DeviceByPort(port))
        SetState(port, StateOf(port));
}

void TDeviceManager::SetState(const QString& port, DeviceState state)
{
    if (m_states.value(port, StateNone) == state)
        return;
    if (state == StateNone)
        m_states.remove(port);
    else
        m_states.insert(port, state);
    emit EvDeviceStateChanged(port, state);
}

void TDeviceManager::RefreshStates()
{
    QStringList ports = m_states.keys();
    for (const TRadioController* c : qAsConst(m_active))
        ports << c->PortName();
    for (const QString& port : qAsConst(ports))
        SetState(port, StateOf(port));
}

void TDeviceManager::Detach(TRadioController* controller)
{
    m_active.removeAll(controller);
    if (m_selected == controller)
        m_selected = nullptr;
}

void TDeviceManager::Drop(TRadioController* controller)
{
    const QString port = controller->PortName();
    Report(QStringLiteral("radio disconnected on: ") + port);
    Detach(controller);
    emit EvLocalDeviceRemoved(port);
    SetState(port, StateOf(port));
    controller->DeleteWhenIdle();
}

void TDeviceManager::RemoveDevice(TRadioController* controller, bool block)
{
    if (!controller || !m_active.contains(controller))
        return;
    const QString port = controller->PortName();
    if (block) {
        Report(QStringLiteral("ComPort saved in BlackList: ") + port);
        m_policy.Block(port);
    } else {
        m_policy.Forget(port);
        Wake(kTickMs);
    }
    Drop(controller);
}

void TDeviceManager::ReportSummary()
{
    m_summaryWanted = false;
    QStringList found;
    for (const TRadioController* c : qAsConst(m_active)) {
        const TKeyValueList& info = c->DeviceInfo();
        const QString name = info.Value(QStringLiteral("FWName"));
        const QString version = info.Value(QStringLiteral("FWVersion"));
        found << QStringLiteral("%1 (%2 %3)").arg(c->PortName(), name.isEmpty() ? QStringLiteral("n.a.") : name,
                                                  version.isEmpty() ? QStringLiteral("n.a.") : version);
    }
    if (found.isEmpty())
        m_summary = QStringLiteral("info - discovery found no module");
    else
        m_summary = QStringLiteral("info - discovery found %1 %2: %3")
                        .arg(found.size())
                        .arg(found.size() == 1 ? QStringLiteral("module") : QStringLiteral("modules"), found.join(QStringLiteral(", ")));
    Report(m_summary);
    emit EvDiscoverySummary(m_summary);
}

void TDeviceManager::ParkDevice(TRadioController* controller)
{
    if (!controller || !m_active.contains(controller))
        return;
    const QString port = controller->PortName();
    Report(QStringLiteral("radio disconnected on: ") + port);
    Detach(controller);
    emit EvLocalDeviceRemoved(port);
    controller->Close(true);
    m_parked << controller;
    SetState(port, StateOf(port));
}

void TDeviceManager::ParkDevice(const QString& port)
{
    ParkDevice(DeviceByPort(port));
}

void TDeviceManager::ParkDevice(int index)
{
    ParkDevice(DeviceAt(index));
}

void TDeviceManager::ResetBlockedPorts(bool deleteAll)
{
    m_policy.Reset();
    if (!deleteAll) {
        // "Discover Devices": read the ports afresh too (the system may not report changes), probe, then say what is there.
        m_summaryWanted = true;
        m_enumerationWanted = true;
        Wake(0);
        return;
    }
    m_selected = nullptr;
    const QList<TRadioController*> active = m_active;
    m_active.clear();
    for (TRadioController* c : active) {
        m_policy.Forget(c->PortName());
        SetState(c->PortName(), StateOf(c->PortName()));
        c->DeleteWhenIdle();
    }
    emit EvDeviceConfigChanged();
}

bool TDeviceManager::SelectDevice(const QString& port)
{
    TRadioController* controller = DeviceByPort(port);
    if (!controller)
        return false;
    m_selected = controller;
    emit EvDeviceSelectionChanged(port);
    return true;
}

bool TDeviceManager::IsSelected(const QString& port) const
{
    return m_selected && m_selected->PortName() == port;
}

void TDeviceManager::ClearSelection()
{
    m_selected = nullptr;
}

TRadioController* TDeviceManager::DeviceAt(int index) const
{
    return index >= 0 && index < m_active.size() ? m_active.at(index) : nullptr;
}

TRadioController* TDeviceManager::DeviceByPort(const QString& port) const
{
    for (TRadioController* c : m_active)
        if (c->PortName() == port)
            return c;
    return nullptr;
}

QString TDeviceManager::StateText(DeviceState state)
{
    // state              text
    static const QMap<DeviceState, QString> kTexts = {
        {StateNone, QStringLiteral("not connected")},
        {StateConnected, QStringLiteral("connected")},
        {StateBusy, QStringLiteral("busy")},
        {StateLost, QStringLiteral("lost")},
        {StateReconnecting, QStringLiteral("reconnecting")},
        {StateReleased, QStringLiteral("released")},
    };
    return kTexts.value(state);
}

TDeviceManager::DeviceState TDeviceManager::StateOf(const QString& port) const
{
    if (m_released.contains(port))
        return StateReleased;
    if (const TRadioController* c = DeviceByPort(port)) {
        if (c->IsBusy())
            return StateBusy;
        if (c->Presence() < TRadioController::kPresenceTicks || (c->Link() && c->Link()->PortLost()))
            return StateLost;
        return StateConnected;
    }
    return m_policy.Reconnecting(port) ? StateReconnecting : StateNone;
}

void TDeviceManager::ReleasePort(const QString& port)
{
    if (!m_released.contains(port))
        m_released << port;
    if (TRadioController* c = DeviceByPort(port)) {
        if (!c->IsBusy())
            c->Close();   // the port is free at once, not when the controller goes
        m_policy.Remember(port, c == m_selected);
        Drop(c);
    }
    SetState(port, StateReleased);
}

void TDeviceManager::ResumePort(const QString& port)
{
    if (m_released.removeAll(port) == 0)
        return;
    SetState(port, StateOf(port));
    Wake(kTickMs);
}

TKeyValueList TDeviceManager::DeviceInfoByPort(const QString& port) const
{
    const TRadioController* c = DeviceByPort(port);
    return c ? c->DeviceInfo() : TKeyValueList();
}

bool TDeviceManager::AddVidPidPattern(const QString& pattern)
{
    if (m_extraPatterns.contains(pattern) || m_defaultPatterns.contains(pattern))
        return false;
    m_extraPatterns << pattern;
    TSettings::Instance().AddToList(kGroup, QStringLiteral("VID_PIDS"), pattern);
    Wake(kTickMs);
    return true;
}

bool TDeviceManager::RemoveVidPidPattern(const QString& pattern)
{
    if (!m_extraPatterns.contains(pattern))
        return false;
    m_extraPatterns.removeAll(pattern);
    TSettings::Instance().RemoveFromList(kGroup, QStringLiteral("VID_PIDS"), pattern);
    return true;
}

void TDeviceManager::AddTemporaryPort(const QString& port)
{
    if (!m_temporaryPorts.contains(port) && !m_extraPorts.contains(port))
        m_temporaryPorts << port;
    Wake(kTickMs);
}

bool TDeviceManager::AddExtraPort(const QString& port)
{
    if (m_extraPorts.contains(port))
        return false;
    m_extraPorts << port;
    TSettings::Instance().AddToList(kGroup, QStringLiteral("Extra"), port);
    Wake(kTickMs);
    return true;
}

bool TDeviceManager::RemoveExtraPort(const QString& port)
{
    if (!m_extraPorts.contains(port))
        return false;
    m_extraPorts.removeAll(port);
    TSettings::Instance().RemoveFromList(kGroup, QStringLiteral("Extra"), port);
    m_policy.Forget(port);
    return true;
}

void TDeviceManager::Report(const QString& text)
{
    TStatusLog::Instance().AddStatusMessage(QString::fromLatin1(kSource), text);
}

#include "devices/TDeviceManager.h"

#include <QFileInfo>
#include <QMap>
#include <QRegExp>
#include <QSerialPortInfo>
#include <QTimerEvent>

#include "devices/TModuleOpener.h"
#include "devices/TRadioController.h"
#include "settings/TSettings.h"
#include "status/TStatusLog.h"

namespace {
const char* const kGroup = "ComPorts";
const char* const kSource = "DeviceMgmt";
}

const QStringList& TDeviceManager::DefaultPatterns()
{
    static const QStringList patterns{QStringLiteral("VID_0403.PID_6001.*"), QStringLiteral("VID_0403.PID_6010.*"),
                                      QStringLiteral("VID_0403.PID_6011.*"), QStringLiteral("VID_10C4.PID_EA60")};
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
    m_blocked = settings.ReadList(kGroup, QStringLiteral("Blocked"));
    m_extraPorts = settings.ReadList(kGroup, QStringLiteral("Extra"));
    m_extraPatterns = settings.ReadList(kGroup, QStringLiteral("VID_PIDS"));
}

TDeviceManager::~TDeviceManager()
{
    Stop();
}

void TDeviceManager::Start()
{
    Stop();
    m_timerId = startTimer(kTickMs, Qt::CoarseTimer);
}

void TDeviceManager::Stop()
{
    if (m_timerId)
        killTimer(m_timerId);
    m_timerId = 0;
}

void TDeviceManager::timerEvent(QTimerEvent* event)
{
    if (event->timerId() == m_timerId && m_timerId != 0)
        DiscoveryTick();
    else
        QObject::timerEvent(event);
}

void TDeviceManager::SetPortSource(std::unique_ptr<TPortSource> source)
{
    if (source)
        m_source = std::move(source);
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
    QStringList present = m_source->PresentPorts();
    for (const QString& port : m_extraPorts + m_temporaryPorts)
        if (!present.contains(port) && port.startsWith(QLatin1Char('/')) && QFileInfo::exists(port))
            present << port;
    return present;
}

QStringList TDeviceManager::PortsMatching(const QString& pattern) const
{
    const QStringList present = m_source->PresentPorts();
    if (present.isEmpty())
        return {};
    const QRegExp expression(pattern, Qt::CaseInsensitive, QRegExp::RegExp);
    QStringList named;
    const auto devices = m_source->DevicePorts();
    for (const TPortSource::DevicePort& device : devices)
        if (expression.indexIn(device.first) >= 0)
            named << device.second;
    QStringList result;
    for (const QString& port : present)
        if (named.contains(port))
            result << port;
    return result;
}

bool TDeviceManager::Present(const QStringList& present, const QString& port)
{
    return present.contains(port);
}

bool TDeviceManager::IsNew(const QString& port) const
{
    if (m_blocked.contains(port) || m_released.contains(port))
        return false;
    for (const TRadioController* c : m_active)
        if (c->PortName() == port)
            return false;
    for (const TRadioController* c : m_parked)
        if (c->PortName() == port)
            return false;
    return true;
}

void TDeviceManager::DiscoveryTick()
{
    if (m_inTick)
        return;   // a probe's wait re-enters the event loop; never start a second tick inside it
    m_inTick = true;

    QStringList candidates;
    for (const QString& pattern : qAsConst(m_defaultPatterns))
        candidates << PortsMatching(pattern);
    if (!m_defaultPatterns.isEmpty())
        for (const QString& pattern : qAsConst(m_extraPatterns))
            candidates << PortsMatching(pattern);
    if (m_defaultPatterns.isEmpty() && m_extraPatterns.isEmpty())
        candidates = m_source->PresentPorts();
    candidates << m_extraPorts << m_temporaryPorts;

    for (const QString& port : qAsConst(candidates))
        if (IsNew(port))
            TryOpen(port);

    QList<TRadioController*> marked;
    for (TRadioController* c : qAsConst(m_active)) {
        if (c->IsBusy())
            continue;   // its request is still waiting: judged on a later tick
        if (Present(PresentPorts(), c->PortName())) {
            c->SetPresence(TRadioController::kPresenceTicks);
        } else if (c->Presence() > 0) {
            c->SetPresence(c->Presence() - 1);
            if (c->Presence() == 0)
                marked << c;
        } else {
            marked << c;
        }
    }
    for (TRadioController* c : qAsConst(marked))
        RemoveDevice(c, false);
    if (!marked.isEmpty())
        emit EvDeviceConfigChanged();

    QList<TRadioController*> gone;
    for (TRadioController* c : qAsConst(m_parked)) {
        if (Present(PresentPorts(), c->PortName())) {
            c->SetPresence(TRadioController::kPresenceTicks);
        } else if (c->Presence() > 0) {
            c->SetPresence(c->Presence() - 1);
            if (c->Presence() == 0)
                gone << c;
        } else {
            gone << c;
        }
    }
    for (TRadioController* c : qAsConst(gone)) {
        m_parked.removeAll(c);
        c->DeleteWhenIdle();
    }
    m_inTick = false;
}

void TDeviceManager::TryOpen(const QString& port)
{
    TRadioController* probe = nullptr;
    for (TRadioController* c : qAsConst(m_pending)) {
        if (c->PortName() == port) {
            probe = c;
            m_pending.removeAll(c);
            break;
        }
    }
    if (!probe)
        probe = new TRadioController;

    if (!probe->ProbeOpen(port)) {
        if (probe->RetryOutstanding()) {
            Report(QStringLiteral("error - couldn't open device on com port %1, -> retry outstanding !").arg(port));
            if (!m_pending.contains(probe))
                m_pending << probe;
        } else {
            Report(QStringLiteral("error - couldn't open device on com port %1, -> saved in blocked list !").arg(port));
            m_blocked << port;
            delete probe;
        }
        return;
    }

    QString error;
    TRadioController* controller = TModuleOpener::Open(*probe, &error);
    delete probe;
    if (!controller) {
        Report(QStringLiteral("error - couldn't open device on com port %1: %2").arg(port, error));
        return;
    }
    m_active << controller;
    if (m_active.size() == 1)
        SelectDevice(port);
    if (!m_used.contains(port)) {
        m_used.prepend(port);
        TSettings::Instance().AddToList(kGroup, QStringLiteral("Used"), port);
    }
    Report(QStringLiteral("new radio detected on: %1").arg(port));
    emit EvLocalDeviceAdded(port);
}

void TDeviceManager::Detach(TRadioController* controller)
{
    m_active.removeAll(controller);
    if (m_selected == controller)
        m_selected = nullptr;
}

void TDeviceManager::RemoveDevice(TRadioController* controller, bool block)
{
    if (!controller)
        return;
    const QString port = controller->PortName();
    if (block) {
        Report(QStringLiteral("ComPort saved in BlackList: ") + port);
        if (!m_blocked.contains(port))
            m_blocked << port;
    }
    Report(QStringLiteral("radio disconnected on: ") + port);
    Detach(controller);
    emit EvLocalDeviceRemoved(port);
    controller->DeleteWhenIdle();
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
    m_blocked.clear();
    if (!deleteAll)
        return;
    m_selected = nullptr;
    for (TRadioController* c : qAsConst(m_active))
        c->DeleteWhenIdle();
    m_active.clear();
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
    const TRadioController* c = DeviceByPort(port);
    if (!c)
        return StateNone;
    if (c->IsBusy())
        return StateBusy;
    if (c->Presence() < TRadioController::kPresenceTicks)
        return StateLost;
    return StateConnected;
}

void TDeviceManager::ReleasePort(const QString& port)
{
    if (!m_released.contains(port))
        m_released << port;
    for (TRadioController* c : m_pending)
        if (c->PortName() == port) {
            m_pending.removeAll(c);
            c->DeleteWhenIdle();
            break;
        }
    if (TRadioController* c = DeviceByPort(port)) {
        if (!c->IsBusy())
            c->Close();   // the port is free at once, not when the controller goes
        RemoveDevice(c, false);
    }
    emit EvDeviceStateChanged(port, StateReleased);
}

void TDeviceManager::ResumePort(const QString& port)
{
    if (m_released.removeAll(port) > 0)
        emit EvDeviceStateChanged(port, StateNone);
}

TKeyValueList TDeviceManager::DeviceInfoByPort(const QString& port) const
{
    const TRadioController* c = DeviceByPort(port);
    return c ? c->DeviceInfo() : TKeyValueList();
}

QStringList TDeviceManager::PendingPorts() const
{
    QStringList ports;
    for (const TRadioController* c : m_pending)
        ports << c->PortName();
    return ports;
}

bool TDeviceManager::AddVidPidPattern(const QString& pattern)
{
    if (m_extraPatterns.contains(pattern) || m_defaultPatterns.contains(pattern))
        return false;
    m_extraPatterns << pattern;
    TSettings::Instance().AddToList(kGroup, QStringLiteral("VID_PIDS"), pattern);
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
}

bool TDeviceManager::AddExtraPort(const QString& port)
{
    if (m_extraPorts.contains(port))
        return false;
    m_extraPorts << port;
    TSettings::Instance().AddToList(kGroup, QStringLiteral("Extra"), port);
    return true;
}

bool TDeviceManager::RemoveExtraPort(const QString& port)
{
    if (!m_extraPorts.contains(port))
        return false;
    m_extraPorts.removeAll(port);
    TSettings::Instance().RemoveFromList(kGroup, QStringLiteral("Extra"), port);
    return true;
}

void TDeviceManager::Report(const QString& text)
{
    TStatusLog::Instance().AddStatusMessage(QString::fromLatin1(kSource), text);
}

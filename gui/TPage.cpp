#include "gui/TPage.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QDateTime>
#include <QLabel>
#include <QMessageBox>
#include <QPointer>
#include <QSet>
#include <QTimerEvent>

#include <memory>

#include "devices/TDeviceManager.h"
#include "devices/TRadioController.h"
#include "gui/TGuiItemList.h"
#include "gui/TStyleProperty.h"
#include "status/TStatusLog.h"

namespace {
// A scope in which the page counts as refreshing itself; restores the previous state when left.
class SilentScope
{
public:
    explicit SilentScope(bool& flag) : m_flag(flag), m_previous(flag) { m_flag = true; }
    ~SilentScope() { m_flag = m_previous; }
    SilentScope(const SilentScope&) = delete;
    SilentScope& operator=(const SilentScope&) = delete;

private:
    bool& m_flag;
    bool m_previous;
};

const QChar kEllipsis(0x2026);

// why values are marked stale
const char* const kOtherModule = "another module is selected";
const char* const kDisconnected = "the module was disconnected";
const char* const kReleased = "the port was handed over for a firmware update";
}

/// One user action while it runs.
struct TPage::Action
{
    QPointer<QAbstractButton> button;
    QString buttonText;     ///< the button's text before it said it was busy
    QString busyText;
    bool buttonEnabled = true;
    QString what;
    TCommandOutcome failure;
    TCommandOutcome ending;    ///< set by the action: shown instead of "OK - <what>"
    bool ownEnding = false;
    int commands = 0;
    QString port;
    bool waiting = false;   ///< a command is inside the module's wait (events are being handled)
};

TPage::TPage(const QString& name, QWidget* parent)
    : QWidget(parent)
    , m_name(name)
    , m_resultLine(new QLabel(this))
{
    m_resultLine->setObjectName(QStringLiteral("ResultLine"));
    m_resultLine->setWordWrap(true);
    m_resultLine->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_resultLine->hide();   // shown where the page's layout puts it

    TDeviceManager& devices = TDeviceManager::Instance();
    connect(&devices, &TDeviceManager::EvDeviceSelectionChanged, this, [this](const QString& port) {
        for (TGuiItemList* items : qAsConst(m_values))
            if (items->ReadFrom() != port)
                items->MarkStale(QString::fromLatin1(kOtherModule));
    });
    connect(&devices, &TDeviceManager::EvLocalDeviceRemoved, this,
            [this](const QString& port) { MarkValuesStale(port, QString::fromLatin1(kDisconnected)); });
    connect(&devices, &TDeviceManager::EvDeviceStateChanged, this, [this](const QString& port, TDeviceManager::DeviceState state) {
        if (state == TDeviceManager::StateLost)
            MarkValuesStale(port, QString::fromLatin1(kDisconnected));
        else if (state == TDeviceManager::StateReleased)
            MarkValuesStale(port, QString::fromLatin1(kReleased));
    });
}

void TPage::StartRefreshTimer(int intervalMs)
{
    StopRefreshTimer();
    m_refreshTimerId = startTimer(intervalMs);
}

void TPage::StopRefreshTimer()
{
    if (m_refreshTimerId != 0)
        killTimer(m_refreshTimerId);
    m_refreshTimerId = 0;
}

TRadioController* TPage::GetSelectedDevice()
{
    TRadioController* device = TDeviceManager::Instance().SelectedDevice();
    if (!device) {
        ReportMissing(QStringLiteral("error - no local device selected"), QStringLiteral("Error - no local device selected"),
                      QStringLiteral("Please select a local device from the device tree first!"));
    }
    return device;
}

QString TPage::GetSelectedGateway()
{
    ReportMissing(QStringLiteral("error - no gateway selected"), QStringLiteral("Error - no gateway selected"),
                  QStringLiteral("Please select a gateway from the device tree first!"));
    return QString();
}

QString TPage::CurrentDeviceName() const
{
    const TRadioController* device = TDeviceManager::Instance().SelectedDevice();
    return device ? device->DisplayName() : QStringLiteral("n.a.");
}

QString TPage::BusyText(const QString& text)
{
    return text + QLatin1Char(' ') + kEllipsis;
}

bool TPage::RunGet()
{
    RefreshPage();
    return true;
}

void TPage::RefreshSilent()
{
    SilentScope silent(m_silent);
    RefreshPage();
}

void TPage::timerEvent(QTimerEvent* event)
{
    if (m_refreshTimerId == 0 || event->timerId() != m_refreshTimerId) {
        QWidget::timerEvent(event);
        return;
    }
    SilentScope silent(m_silent);
    UpdatePage();
}

void TPage::ShowError(const QString& title, const QString& text)
{
    auto* box = new QMessageBox(QMessageBox::Critical, title, text, QMessageBox::Ok, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

bool TPage::RunAction(QAbstractButton* button, const QString& what, const std::function<void()>& action)
{
    if (m_action) {
        const QString running = m_action->buttonText.isEmpty() ? m_action->what : QLatin1Char('"') + m_action->buttonText + QLatin1Char('"');
        Refuse(TCommandOutcome::Refused(TCommandOutcome::Busy, QStringLiteral("%1 is still running").arg(running)));
        return false;
    }
    Action state;
    state.button = button;
    state.what = what;
    if (button) {
        state.buttonText = button->text();
        state.buttonEnabled = button->isEnabled();
        state.busyText = BusyText(state.buttonText);
        button->setText(state.busyText);
        button->setEnabled(false);
    }
    m_action = &state;
    action();
    m_action = nullptr;

    if (state.button) {
        if (state.button->text() == state.busyText)   // unless the action gave the button a new text
            state.button->setText(state.buttonText);
        state.button->setEnabled(state.buttonEnabled);
    }
    unsetCursor();
    if (state.failure.IsFailure())
        ShowOutcome(state.failure);
    else if (state.ownEnding)
        ShowOutcome(state.ending);
    else if (state.commands > 0)
        ShowOutcome(TCommandOutcome::Success(what, TCommandOutcome::Now()));
    if (!state.port.isEmpty())
        emit EvCommandRunning(state.port, false);
    return !state.failure.IsFailure();
}

bool TPage::RunCommand(const QString& command, const TKeyValueList& parameters, TKeyValueList& result)
{
    if (!m_action || m_action->waiting) {
        // A command of its own: a direct call, or one that comes in while another waits (and is refused).
        bool ok = false;
        RunAction(nullptr, command, [&] { ok = RunCommand(command, parameters, result); });
        return ok;
    }
    return RunOnDevice([&](TRadioController& device, QString& error) {
        const bool ok = device.ExecuteAny(command, parameters, result);
        if (!ok)
            error = device.LastError();
        return ok;
    });
}

bool TPage::RunCommand(const QString& command, const TKeyValueList& parameters)
{
    TKeyValueList ignored;
    return RunCommand(command, parameters, ignored);
}

bool TPage::RunOnDevice(const std::function<bool(TRadioController&, QString&)>& work)
{
    if (!m_action || m_action->waiting) {
        bool ok = false;
        RunAction(nullptr, QStringLiteral("talk to the module"), [&] { ok = RunOnDevice(work); });
        return ok;
    }
    Action& action = *m_action;
    TRadioController* device = GetSelectedDevice();
    if (!device) {
        Fail(TCommandOutcome::Refused(TCommandOutcome::NoDevice, QStringLiteral("no module selected")));
        return false;
    }
    if (device->IsBusy()) {
        Refuse(TCommandOutcome::Refused(TCommandOutcome::Busy, QStringLiteral("the module is busy with another request")));
        return false;
    }
    m_lastPort = device->PortName();
    if (action.commands++ == 0) {
        action.port = m_lastPort;
        setCursor(Qt::BusyCursor);
        ShowOutcome(TCommandOutcome::Started(action.what));
        emit EvCommandRunning(action.port, true);
    }
    QPointer<TRadioController> alive(device);
    action.waiting = true;
    QString error;
    const bool ok = work(*device, error);
    action.waiting = false;
    if (ok) {
        m_lastCommand = TCommandOutcome(TCommandOutcome::Ok, QString());
        return true;
    }
    const TVeltoLRHCI* link = alive ? alive->Link() : nullptr;
    const int timeoutMs = link ? link->ResponseTimeout() : TVeltoLRHCI::DefaultResponseTimeout();
    const bool portLost = !alive || (link && link->PortLost());
    Fail(TCommandOutcome::Failure(alive ? error : QString(), timeoutMs, portLost));
    if (m_lastCommand.Type() == TCommandOutcome::Lost)
        MarkValuesStale(m_lastPort, QString::fromLatin1(kDisconnected));
    return false;
}

bool TPage::RunGetCommand(const QString& command, TGuiItemList& items, const TKeyValueList& parameters, TKeyValueList* answer)
{
    TKeyValueList result;
    m_lastCommand = TCommandOutcome();
    if (!RunCommand(command, parameters, result)) {
        // A read that reached the module and failed leaves the shown values in doubt; a refusal does not.
        const TCommandOutcome::Kind kind = m_lastCommand.Type();
        if (kind == TCommandOutcome::Busy || kind == TCommandOutcome::NoDevice || kind == TCommandOutcome::None)
            return false;
        const QString why = QStringLiteral("the last read failed (%1)").arg(m_lastCommand.Text());
        items.MarkStale(why);
        // No answer at all: whatever else was read from this module is in doubt as well.
        if (m_lastCommand.LeavesValuesInDoubt())
            MarkValuesStale(m_lastPort, why);
        return false;
    }
    if (!result.isEmpty())
        items.SetItems(result);
    items.MarkRead(m_lastPort, QDateTime::currentDateTime());
    if (answer)
        *answer = result;
    return true;
}

bool TPage::CheckInput(TGuiItemList& items, const QStringList& keys)
{
    QString problem;
    QWidget* field = nullptr;
    if (items.Validate(&problem, &field, keys))
        return true;
    Refuse(TCommandOutcome::Refused(TCommandOutcome::Invalid, problem));
    if (field)
        field->setFocus();
    return false;
}

void TPage::SetActionOutcome(const TCommandOutcome& outcome)
{
    if (!m_action)
        ShowOutcome(outcome);
    else if (outcome.IsFailure())
        Fail(outcome);
    else {
        m_action->ending = outcome;
        m_action->ownEnding = true;
    }
}

bool TPage::RunSetCommand(const QString& command, TGuiItemList& items, const QStringList& keys)
{
    if (!CheckInput(items, keys))
        return false;
    return SendSetCommand(command, items, keys.isEmpty() ? items.ReadKeyValues() : items.ReadKeyValues(keys));
}

bool TPage::RunSetCommand(const QString& command, TGuiItemList& items,
                          const std::function<TKeyValueList(const TGuiItemList&)>& parameters)
{
    if (!CheckInput(items, QStringList()))
        return false;
    return SendSetCommand(command, items, parameters(items));
}

bool TPage::SendSetCommand(const QString& command, TGuiItemList& items, const TKeyValueList& parameters)
{
    TKeyValueList result;
    if (!RunCommand(command, parameters, result))
        return false;
    // The rows the user filled in stay; only what the module answered is shown in their place.
    if (!result.isEmpty())
        items.SetItems(result, false);
    items.MarkRead(m_lastPort, QDateTime::currentDateTime());
    return true;
}

void TPage::Refuse(const TCommandOutcome& outcome)
{
    TStatusLog::Instance().AddStatusMessage(m_name, QStringLiteral("warning - ") + outcome.Text().toLower().left(1) + outcome.Text().mid(1));
    if (m_action && !m_action->waiting) {
        Fail(outcome);
        return;
    }
    m_lastCommand = outcome;
    ShowOutcome(outcome);
}

void TPage::Fail(const TCommandOutcome& outcome)
{
    m_lastCommand = outcome;
    if (m_action && !m_action->failure.IsFailure())
        m_action->failure = outcome;
}

void TPage::ShowOutcome(const TCommandOutcome& outcome)
{
    m_outcome = outcome;
    m_resultLine->setText(outcome.Text());
    TStyleProperty::Set(m_resultLine, "outcome", outcome.StyleClass());
    QAccessibleEvent changed(m_resultLine, QAccessible::NameChanged);
    QAccessible::updateAccessibility(&changed);
}

void TPage::FollowModules(const std::function<void(TRadioController*)>& attach)
{
    auto followed = std::make_shared<QSet<TRadioController*>>();
    auto follow = [this, attach, followed](const QString& port) {
        TRadioController* device = TDeviceManager::Instance().DeviceByPort(port);
        if (!device || followed->contains(device))
            return;
        followed->insert(device);
        connect(device, &QObject::destroyed, this, [followed, device] { followed->remove(device); });
        attach(device);
    };
    TDeviceManager& devices = TDeviceManager::Instance();
    connect(&devices, &TDeviceManager::EvLocalDeviceAdded, this, follow);
    for (TRadioController* device : devices.Devices())
        follow(device->PortName());
}

void TPage::WatchValues(TGuiItemList& items)
{
    if (!m_values.contains(&items))
        m_values.append(&items);
}

void TPage::MarkValuesStale(const QString& port, const QString& why)
{
    for (TGuiItemList* items : qAsConst(m_values))
        if (port.isEmpty() || items->ReadFrom() == port)
            items->MarkStale(why);
}

void TPage::ReportMissing(const QString& statusText, const QString& title, const QString& text)
{
    TStatusLog::Instance().AddStatusMessage(m_name, statusText);
    if (!m_silent)
        ShowError(title, text);
}

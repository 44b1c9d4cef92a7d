#pragma once
#include <QList>
#include <QString>
#include <QWidget>

#include <functional>

#include "base/TKeyValueList.h"
#include "gui/TCommandOutcome.h"

class QAbstractButton;
class QLabel;
class TGuiItemList;
class TRadioController;

/// Base of every page in the page stack: its name for status lines, the silent flag held during an
/// automatic refresh, its refresh timer, and the virtual operations the left panel and the main window call.
///
/// It also tells the user what its commands do, once for every page: an action (a button's work) runs
/// alone, its button says it is busy, a result line says how it ended, and values read earlier are
/// marked stale when they may no longer be true (another module selected, the module gone, a read failed).
class TPage : public QWidget
{
    Q_OBJECT
public:
    explicit TPage(const QString& name, QWidget* parent = nullptr);

    QString PageName() const { return m_name; }
    bool IsSilent() const { return m_silent; }
    int RefreshTimerId() const { return m_refreshTimerId; }
    /// (Re)starts the page's refresh timer; each tick calls UpdatePage silently.
    void StartRefreshTimer(int intervalMs);
    void StopRefreshTimer();

    /// Controller of the selected local device, or null after a status line and (unless silent) a message box.
    TRadioController* GetSelectedDevice();
    /// Gateways are not selectable yet: always reports that none is selected and returns an empty address.
    QString GetSelectedGateway();
    /// Display name of the selected device, "n.a." without one (asks silently).
    QString CurrentDeviceName() const;

    /// The line that says how the page's last action ended (the page's layout places it).
    QLabel* ResultLine() const { return m_resultLine; }
    TCommandOutcome LastOutcome() const { return m_outcome; }
    /// True while an action of this page runs (its commands may be waiting for the module).
    bool IsCommandRunning() const { return m_action != nullptr; }
    /// What a button says while its action runs: its text followed by " …".
    static QString BusyText(const QString& text);
    /// F5: runs the page's "Get"; a page without one refreshes itself. False when nothing ran.
    virtual bool RunGet();

signals:
    /// An action of this page started talking to the module on `port` (true) or ended (false).
    void EvCommandRunning(const QString& port, bool running);

public slots:
    /// Called on each tick of the page's refresh timer.
    virtual void UpdatePage() {}
    /// Called when the page is selected or the device selection changes.
    virtual void RefreshPage() {}
    /// Called when no device is selected any more, so that stale values can go.
    virtual void ClearPage() {}
    /// Called when the page becomes the current one.
    virtual void PageShown() {}
    /// Called when another page replaces it.
    virtual void PageHidden() {}
    /// Called after the studio settings changed.
    virtual void ApplySettings() {}
    /// Called when the selected device reports a changed configuration.
    virtual void DeviceConfigChanged() {}
    /// Called with the selected device's type whenever it differs from the previous one ("" without device).
    virtual void DeviceTypeChanged(const QString& deviceType) { Q_UNUSED(deviceType); }

    /// RefreshPage with the silent flag set, so that a missing device raises no message box.
    void RefreshSilent();

protected:
    void timerEvent(QTimerEvent* event) override;
    /// Shows an error box without blocking (the box deletes itself when closed).
    virtual void ShowError(const QString& title, const QString& text);

    /// Runs one user action (the work of `button`, described by `what`, e.g. "read the HCI configuration").
    /// While another action of the page runs it is refused and nothing is sent. While it runs, `button`
    /// is disabled and its text ends in "…". When it ends, the result line shows the first failure of
    /// its commands, or "OK - " + `what` when they all succeeded; an action that sent no command leaves
    /// the line alone. False when refused or a command failed.
    bool RunAction(QAbstractButton* button, const QString& what, const std::function<void()>& action);
    /// Follows these values for stale marking (the form page does this for each of its groups).
    void WatchValues(TGuiItemList& items);
    /// Marks every watched group that was read from `port` stale (all groups when `port` is empty).
    void MarkValuesStale(const QString& port, const QString& why);

    /// The "Get" flow: runs `command` (with `parameters`, e.g. which entry to read); on success fills
    /// `items` (rows missing from the result show "n.a."), marks them read and hands the whole result
    /// to `result` when given (for what rows cannot show, such as a table); when the read fails, marks
    /// them stale.
    bool RunGetCommand(const QString& command, TGuiItemList& items, const TKeyValueList& parameters = TKeyValueList(),
                       TKeyValueList* result = nullptr);
    /// The "Set" flow: refuses invalid input at its field (nothing is sent), else runs `command` with
    /// the rows' ReadKeyValues(); on success fills the rows the result names and marks the group read.
    /// With `keys`, only those rows are checked and sent (a command that takes part of a group).
    bool RunSetCommand(const QString& command, TGuiItemList& items, const QStringList& keys = QStringList());
    /// The same with the parameters that `parameters` makes of the checked rows: for a command that
    /// reads a number in another way than it is typed.
    bool RunSetCommand(const QString& command, TGuiItemList& items,
                       const std::function<TKeyValueList(const TGuiItemList&)>& parameters);
    /// Runs `command` on the selected device as part of the running action (or as an action of its
    /// own). Refused without a device or while the module waits for another request; false when
    /// refused or when the command fails.
    bool RunCommand(const QString& command, const TKeyValueList& parameters, TKeyValueList& result);
    /// The same for a command whose answer the page does not need.
    bool RunCommand(const QString& command, const TKeyValueList& parameters = TKeyValueList());
    /// Like RunCommand for work that talks to the selected module's controller itself (a configuration
    /// template): refused the same way, counted as a command of the action, and when `work` returns
    /// false its `error` text ("error - ...", a status text) ends the action as a command failure would.
    bool RunOnDevice(const std::function<bool(TRadioController& device, QString& error)>& work);
    /// Checks the input rules of the rows (only those of `keys` when given); a refused value refuses
    /// the running action (nothing is sent) and gets the focus. False when refused.
    bool CheckInput(TGuiItemList& items, const QStringList& keys = QStringList());
    /// How the running action ends when its commands all succeed (e.g. "The module restarted" once a
    /// reset module has announced itself); a failure outcome fails the action (the first failure wins).
    void SetActionOutcome(const TCommandOutcome& outcome);
    /// Calls `attach` once for every module there is now and for each one found later (a module
    /// found again gets a new controller and is attached again), e.g. to follow its events.
    void FollowModules(const std::function<void(TRadioController*)>& attach);
    /// Refuses the running action (or shows the refusal at once when none runs); nothing is sent.
    void Refuse(const TCommandOutcome& outcome);
    void ShowOutcome(const TCommandOutcome& outcome);

private:
    /// The common end of both set flows: send, show what the module answered, mark the rows read.
    bool SendSetCommand(const QString& command, TGuiItemList& items, const TKeyValueList& parameters);
    struct Action;
    void ReportMissing(const QString& statusText, const QString& title, const QString& text);
    void Fail(const TCommandOutcome& outcome);

    QString m_name;
    bool m_silent = false;
    int m_refreshTimerId = 0;
    QLabel* m_resultLine;
    TCommandOutcome m_outcome;
    Action* m_action = nullptr;
    QString m_lastPort;
    TCommandOutcome m_lastCommand;
    QList<TGuiItemList*> m_values;
};

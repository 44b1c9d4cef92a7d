#pragma once
#include <QString>
#include <QWidget>

#include "base/TKeyValueList.h"

class TGuiItemList;
class TRadioController;

/// Base of every page in the page stack: its name for status lines, the silent flag held during an
/// automatic refresh, its refresh timer, and the virtual operations the left panel and the main window call.
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

    /// The "Get" flow: runs `command` on the selected device without parameters and fills `items` from a non-empty result.
    bool RunGetCommand(const QString& command, TGuiItemList& items);
    /// The "Set" flow: runs `command` with the rows' ReadKeyValues() and fills `items` from a non-empty result.
    bool RunSetCommand(const QString& command, TGuiItemList& items);
    /// Runs `command` on the selected device; false without a device (nothing sent) or when the command fails.
    bool RunCommand(const QString& command, const TKeyValueList& parameters, TKeyValueList& result);

private:
    void ReportMissing(const QString& statusText, const QString& title, const QString& text);

    QString m_name;
    bool m_silent = false;
    int m_refreshTimerId = 0;
};

#include "gui/TPage.h"

#include <QMessageBox>
#include <QTimerEvent>

#include "devices/TDeviceManager.h"
#include "devices/TRadioController.h"
#include "gui/TGuiItemList.h"
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
}

TPage::TPage(const QString& name, QWidget* parent)
    : QWidget(parent)
    , m_name(name)
{
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

bool TPage::RunGetCommand(const QString& command, TGuiItemList& items)
{
    TKeyValueList result;
    if (!RunCommand(command, TKeyValueList(), result))
        return false;
    if (!result.isEmpty())
        items.SetItems(result);
    return true;
}

bool TPage::RunSetCommand(const QString& command, TGuiItemList& items)
{
    TKeyValueList result;
    if (!RunCommand(command, items.ReadKeyValues(), result))
        return false;
    if (!result.isEmpty())
        items.SetItems(result);
    return true;
}

bool TPage::RunCommand(const QString& command, const TKeyValueList& parameters, TKeyValueList& result)
{
    TRadioController* device = GetSelectedDevice();
    if (!device)
        return false;
    return device->ExecuteAny(command, parameters, result);
}

void TPage::ReportMissing(const QString& statusText, const QString& title, const QString& text)
{
    TStatusLog::Instance().AddStatusMessage(m_name, statusText);
    if (!m_silent)
        ShowError(title, text);
}

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QRegularExpression>
#include <QTimer>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QVBoxLayout>
#include <QtTest>

#include <memory>

#include "TestEnvironment.h"
#include "SimPort.h"
#include "devices/TControllerPrototypes.h"
#include "devices/TDeviceManager.h"
#include "devices/TRadioController.h"
#include "gui/TCommandOutcome.h"
#include "gui/TFieldCheck.h"
#include "gui/TGuiItemList.h"
#include "gui/TPage.h"
#include "gui/TRadioButtonBox.h"
#include "gui/TSectionCtrl.h"
#include "gui/pages/THCIConfigPage.h"
#include "gui/pages/TRTCPage.h"
#include "hci/TVeltoLRHCI.h"
#include "settings/TSettings.h"
#include "status/TStatusLog.h"
#include "tools/sim/TSimModule.h"

namespace {
// A page that behaves like the real ones: refreshing asks for the selected device.
class TRecordingPage : public TPage
{
    Q_OBJECT
public:
    using TPage::RunGetCommand;
    using TPage::RunSetCommand;
    using TPage::TPage;

    QList<bool> refreshSilent;
    QList<bool> updateSilent;
    TRadioController* refreshedWith = nullptr;
    int shown = 0;
    int hidden = 0;
    int cleared = 0;
    int foreignTicks = 0;
    QStringList deviceTypes;

    void RefreshPage() override
    {
        refreshSilent << IsSilent();
        refreshedWith = GetSelectedDevice();
    }
    void UpdatePage() override
    {
        updateSilent << IsSilent();
        GetSelectedDevice();
    }
    void ClearPage() override { ++cleared; }
    void PageShown() override { ++shown; }
    void PageHidden() override { ++hidden; }
    void DeviceTypeChanged(const QString& type) override { deviceTypes << type; }

protected:
    void timerEvent(QTimerEvent* event) override
    {
        if (event->timerId() != RefreshTimerId())
            ++foreignTicks;
        TPage::timerEvent(event);
    }
};

class TPageCreator : public QObject
{
    Q_OBJECT
public:
    QStringList calls;

public slots:
    TPage* CreateNodeServicePage(const QString& title) { return Make("CreateNodeServicePage", title); }
    TPage* CreateNodeConfigPage(const QString& title) { return Make("CreateNodeConfigPage", title); }
    TPage* CreateOspreyDataLinkPage(const QString& title) { return Make("CreateOspreyDataLinkPage", title); }
    TPage* CreateDeviceInfoPage(const QString& title) { return Make("CreateDeviceInfoPage", title); }
    TPage* CreateSettingsPage(const QString& title) { return Make("CreateSettingsPage", title); }
    TPage* CreateNodeTestPage(const QString& title) { return Make("CreateNodeTestPage", title); }

private:
    TPage* Make(const char* slot, const QString& title)
    {
        calls << QString::fromLatin1(slot) + QLatin1Char(':') + title;
        return new TRecordingPage(title);
    }
};

// title                         creator
constexpr TSectionPageEntry kLoRaWANPages[] = {
    {"LoRaWAN Services",         "CreateNodeServicePage"},
    {"LoRaWAN Configuration",    "CreateNodeConfigPage"},
    {nullptr, nullptr},
};
constexpr TSectionPageEntry kOspreyPages[] = {
    {"Osprey Data Link",         "CreateOspreyDataLinkPage"},
    {"", ""},
};
constexpr TSectionPageEntry kManagementPages[] = {
    {"Device Information",       "CreateDeviceInfoPage"},
    {"Ghost",                    "CreateGhostPage"},
    {"Studio Settings",          "CreateSettingsPage"},
    {nullptr, nullptr},
};
constexpr TSectionPageEntry kExtrasPages[] = {
    {"Radio Tests",              "CreateNodeTestPage"},
    {nullptr, nullptr},
};
// title                 icon                    features              pages
constexpr TSectionEntry kSections[] = {
    {"LoRaWAN Services",  ":/img/Device",        "LoRaWANDeviceMgmt",  kLoRaWANPages},
    {"Osprey Services",   ":/img/Device",        "OspreyDeviceMgmt",   kOspreyPages},
    {"Device Management", ":/img/Settings",      "",                   kManagementPages},
    {"Extras",            ":/img/HardwareTest",  nullptr,              kExtrasPages},
    {nullptr, nullptr, nullptr, nullptr},
};

QStringList Texts(const QSignalSpy& lines)
{
    QStringList texts;
    for (const auto& args : lines)
        texts << args.at(0).toString().section(QLatin1Char(';'), 2);
    return texts;
}

TRecordingPage* Recording(TPage* page)
{
    return static_cast<TRecordingPage*>(page);
}

QString Shown(TFormPage& page, const char* group, const char* key)
{
    QWidget* editor = page.Group(QString::fromLatin1(group))->FindItem(QString::fromLatin1(key));
    if (auto* edit = qobject_cast<QLineEdit*>(editor))
        return edit->text();
    if (auto* combo = qobject_cast<QComboBox*>(editor))
        return combo->currentText();
    return QStringLiteral("<no row>");
}

void SetSwitches(bool dynamicFeatures, bool automaticRefresh)
{
    TSettings::Instance().WriteBool("SectionControl", "DynamicFeatureControl", dynamicFeatures);
    TSettings::Instance().WriteBool("SectionControl", "AutomaticPageRefresh", automaticRefresh);
}
}

class TestPage : public QObject
{
    Q_OBJECT

    TDeviceManager& m = TDeviceManager::Instance();
    std::unique_ptr<TSimModule> m_sim;
    QString m_port;

    TRadioController* Discover(const QString& firmware)
    {
        m_sim = std::make_unique<TSimModule>();
        m_sim->Identity().firmwareName = firmware;
        if (!m_sim->Open() || !m.AddExtraPort(m_port = NamedPort(m_sim->Wire())))
            return nullptr;
        m.DiscoveryTick();
        return m.SelectedDevice();
    }

    enum Fault { NoAnswer, ModuleStatus, Vanished };

private slots:
    void initTestCase()
    {
        TControllerPrototypes::RegisterAll();
        // Only the virtual modules: a serial port of the machine would be probed and never answer.
        m.SetDefaultPatterns(TDeviceManager::DefaultPatterns());
    }
    void cleanup()
    {
        m.ResetBlockedPorts(true);
        for (const QString& port : m.ExtraPorts())
            m.RemoveExtraPort(port);
        m.ClearSelection();
        m_sim.reset();
        SetSwitches(false, false);
    }

    void noDevice_statusLineAndBoxUnlessSilent()
    {
        TRecordingPage page(QStringLiteral("Device Information"));
        QSignalSpy lines(&TStatusLog::Instance(), &TStatusLog::EvLine);
        QVERIFY(!page.GetSelectedDevice());
        QCOMPARE(Texts(lines), QStringList{"Device Information:error - no local device selected"});
        auto boxes = page.findChildren<QMessageBox*>();
        QCOMPARE(boxes.size(), 1);
        QCOMPARE(boxes.at(0)->windowTitle(), QStringLiteral("Error - no local device selected"));
        QCOMPARE(boxes.at(0)->text(), QStringLiteral("Please select a local device from the device tree first!"));
        QVERIFY(boxes.at(0)->isVisible());
        QCOMPARE(page.CurrentDeviceName(), QStringLiteral("n.a."));
        boxes.at(0)->accept();

        QVERIFY(page.GetSelectedGateway().isEmpty());
        QCOMPARE(Texts(lines).last(), QStringLiteral("Device Information:error - no gateway selected"));
        QMessageBox* gateway = nullptr;
        for (QMessageBox* box : page.findChildren<QMessageBox*>())
            if (box->windowTitle() == QStringLiteral("Error - no gateway selected"))
                gateway = box;
        QVERIFY(gateway);
        QCOMPARE(gateway->text(), QStringLiteral("Please select a gateway from the device tree first!"));
        gateway->accept();
        QTRY_VERIFY(page.findChildren<QMessageBox*>().isEmpty());

        page.RefreshSilent();
        QCOMPARE(page.refreshSilent, QList<bool>{true});
        QVERIFY(!page.IsSilent());
        QCOMPARE(Texts(lines).size(), 3);
        QCOMPARE(Texts(lines).last(), QStringLiteral("Device Information:error - no local device selected"));
        QVERIFY(page.findChildren<QMessageBox*>().isEmpty());
    }

    void refreshTimer_onlyItsOwnTicksUpdateSilently()
    {
        TRecordingPage page(QStringLiteral("Real Time Clock"));
        QSignalSpy lines(&TStatusLog::Instance(), &TStatusLog::EvLine);
        page.StartRefreshTimer(5);
        QVERIFY(page.RefreshTimerId() != 0);
        QTRY_VERIFY(page.updateSilent.size() >= 2);
        page.StopRefreshTimer();
        QVERIFY(!page.updateSilent.contains(false));
        QVERIFY(Texts(lines).contains("Real Time Clock:error - no local device selected"));
        QVERIFY(page.findChildren<QMessageBox*>().isEmpty());

        const int updates = page.updateSilent.size();
        const int foreign = page.startTimer(5);
        QTRY_VERIFY(page.foreignTicks >= 3);
        page.killTimer(foreign);
        QCOMPARE(page.updateSilent.size(), updates);
        QVERIFY(page.refreshSilent.isEmpty());
    }

    void commands_getAndSetThroughTheSelectedDevice()
    {
        TRadioController* device = Discover(QStringLiteral("Velto_LoRaWAN"));
        QVERIFY(device);
        TRecordingPage page(QStringLiteral("Device Information"));
        auto* layout = new QVBoxLayout(&page);
        TGuiItemList info;
        info.BuildItems({"GuiName:Firmware;GuiType:LineEdit;Key:FWName;GuiFlags:RO",
                         "GuiName:Build;GuiType:LineEdit;Key:BuildCount;GuiFlags:RO",
                         "GuiName:Stale;GuiType:LineEdit;Key:NotInRecord;Value:old"},
                        layout, 100, 100);
        QVERIFY(page.RunGetCommand(QStringLiteral("DeviceMgmt/GetFirmwareInfo"), info));
        QCOMPARE(qobject_cast<QLineEdit*>(info.FindItem("FWName"))->text(), QStringLiteral("Velto_LoRaWAN"));
        QCOMPARE(qobject_cast<QLineEdit*>(info.FindItem("BuildCount"))->text(), QStringLiteral("117"));
        QCOMPARE(qobject_cast<QLineEdit*>(info.FindItem("NotInRecord"))->text(), QStringLiteral("n.a."));
        QCOMPARE(page.CurrentDeviceName(), device->DisplayName());

        TGuiItemList mode;
        mode.BuildItems({"GuiName:Mode;GuiType:RadioButtonBox;Key:OperationMode;Value:0;ValueList:0:Standard,1:Customer"},
                        layout, 100, 100);
        auto* box = qobject_cast<TRadioButtonBox*>(mode.FindItem("OperationMode"));
        box->SetValue(1);
        QVERIFY(page.RunSetCommand(QStringLiteral("DeviceMgmt/SetOperationMode"), mode));
        box->SetValue(0);
        QVERIFY(page.RunGetCommand(QStringLiteral("DeviceMgmt/GetOperationMode"), mode));
        QCOMPARE(box->Value(), 1);

        QVERIFY(!page.RunGetCommand(QStringLiteral("DeviceMgmt/NoSuchCommand"), mode));
        QVERIFY(page.findChildren<QMessageBox*>().isEmpty());

        m.ClearSelection();
        const quint32 sent = device->Link()->FramesSent();
        QVERIFY(!page.RunSetCommand(QStringLiteral("DeviceMgmt/SetOperationMode"), mode));
        QCOMPARE(device->Link()->FramesSent(), sent);
        QCOMPARE(page.findChildren<QMessageBox*>().size(), 1);
    }

    void outcome_plainWordsForEachFailure_data()
    {
        QTest::addColumn<QString>("lastError");
        QTest::addColumn<bool>("portLost");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("text");
        QTest::newRow("time-out") << "no response" << false << int(TCommandOutcome::Timeout) << "No answer from the module within 5 s";
        QTest::newRow("port lost") << "error - the module was disconnected (port COM3 lost)" << false << int(TCommandOutcome::Lost)
                                   << "The module was disconnected";
        QTest::newRow("closed port") << "transmit error" << true << int(TCommandOutcome::Lost) << "The module was disconnected";
        QTest::newRow("link busy") << "job busy -> message not sent!" << false << int(TCommandOutcome::Busy)
                                   << "Not sent: the module is busy with another request";
        QTest::newRow("transmit") << "transmit error" << false << int(TCommandOutcome::LocalError)
                                  << "error - the request was not sent: transmit error";
        QTest::newRow("module status") << "wrong device mode" << false << int(TCommandOutcome::ModuleError)
                                       << "The module answered: wrong device mode";
        QTest::newRow("unknown status") << "Unsupported ID(9)" << false << int(TCommandOutcome::ModuleError)
                                        << "The module answered: Unsupported ID(9)";
        QTest::newRow("studio") << "error - invalid value for NewAlarm: \"25:00:00\" (hh:mm:ss)" << false << int(TCommandOutcome::LocalError)
                                << "error - invalid value for NewAlarm: \"25:00:00\" (hh:mm:ss)";
    }
    void outcome_plainWordsForEachFailure()
    {
        QFETCH(QString, lastError);
        QFETCH(bool, portLost);
        QFETCH(int, kind);
        QFETCH(QString, text);
        const TCommandOutcome outcome = TCommandOutcome::Failure(lastError, 5000, portLost);
        QCOMPARE(int(outcome.Type()), kind);
        QCOMPARE(outcome.Text(), text);
        QVERIFY(outcome.IsFailure());
        QCOMPARE(outcome.StyleClass(), QStringLiteral("error"));
        QCOMPARE(outcome.LeavesValuesInDoubt(), kind == TCommandOutcome::Timeout || kind == TCommandOutcome::Lost);
        QCOMPARE(TCommandOutcome::Failure(QStringLiteral("no response"), 250).Text(), QStringLiteral("No answer from the module within 0.25 s"));
        QCOMPARE(TCommandOutcome::Success(QStringLiteral("read the clock"), QStringLiteral("12:00:03")).Text(),
                 QStringLiteral("OK - read the clock (12:00:03)"));
    }

    void action_secondCommandWhileOneRunsSendsNothing()
    {
        TRadioController* device = Discover(QStringLiteral("Velto_LoRaWAN"));
        QVERIFY(device);
        THCIConfigPage page(QStringLiteral("Device HCI Settings"));
        TRTCPage clock(QStringLiteral("Real Time Clock"));
        QPushButton* get = page.Button(QStringLiteral("Get"));
        const TVeltoLRHCI* link = device->Link();
        struct {
            bool seen = false;
            quint32 frames = 0;
            quint32 framesAfter = 0;
            QString buttonText;
            bool buttonEnabled = true;
            QString running;
            QString refused;
            QString otherPage;
            int warnings = 0;
        } during;
        QSignalSpy runs(&page, &TPage::EvCommandRunning);
        connect(m_sim.get(), &TSimModule::RequestReceived, &page, [&] {
            if (during.seen)
                return;
            during.seen = true;
            during.frames = link->FramesSent();
            during.buttonText = get->text();
            during.buttonEnabled = get->isEnabled();
            during.running = page.ResultLine()->text();
            QSignalSpy lines(&TStatusLog::Instance(), &TStatusLog::EvLine);
            get->click();                                     // disabled: nothing happens
            page.Button(QStringLiteral("Set"))->click();      // refused by the page
            QVERIFY(!page.RunGet());                          // F5: refused as well
            during.refused = page.ResultLine()->text();
            for (const QString& line : Texts(lines))
                during.warnings += line == QStringLiteral("Device HCI Settings:warning - not sent: \"Get\" is still running");
            clock.Button(QStringLiteral("Get"))->click();     // another page, same module: the module is busy
            during.otherPage = clock.ResultLine()->text();
            during.framesAfter = link->FramesSent();
        });
        const quint32 handled = m_sim->RequestsHandled();
        get->click();

        QVERIFY(during.seen);
        QCOMPARE(during.buttonText, QStringLiteral("Get ") + QChar(0x2026));
        QVERIFY(!during.buttonEnabled);
        QCOMPARE(during.running, QStringLiteral("Running: read the HCI configuration ") + QChar(0x2026));
        QCOMPARE(during.refused, QStringLiteral("Not sent: \"Get\" is still running"));
        QCOMPARE(during.warnings, 2);
        QCOMPARE(during.otherPage, QStringLiteral("Not sent: the module is busy with another request"));
        QCOMPARE(during.framesAfter, during.frames);
        QCOMPARE(link->FramesSent(), during.frames);
        QCOMPARE(m_sim->RequestsHandled(), handled + 1);

        QCOMPARE(get->text(), QStringLiteral("Get"));
        QVERIFY(get->isEnabled());
        QVERIFY2(QRegularExpression(QStringLiteral("^OK - read the HCI configuration \\(\\d\\d:\\d\\d:\\d\\d\\)$")).match(page.ResultLine()->text()).hasMatch(),
                 qPrintable(page.ResultLine()->text()));
        QCOMPARE(page.ResultLine()->property("outcome").toString(), QStringLiteral("ok"));
        QCOMPARE(clock.ResultLine()->property("outcome").toString(), QStringLiteral("error"));
        QCOMPARE(Shown(page, "HCI Configuration", "BaudrateID"), QStringLiteral("115200 bps"));
        QCOMPARE(Shown(page, "HCI Configuration", "NumWakeupChars"), QStringLiteral("40"));
        QCOMPARE(runs.count(), 2);
        QCOMPARE(runs.at(0), (QVariantList{m_port, true}));
        QCOMPARE(runs.at(1), (QVariantList{m_port, false}));
    }

    void failure_resultLineAndStaleValues_data()
    {
        QTest::addColumn<int>("fault");
        QTest::addColumn<QString>("result");
        QTest::addColumn<QString>("why");
        QTest::addColumn<bool>("othersInDoubt");
        QTest::newRow("no answer") << int(NoAnswer) << "No answer from the module within 0.3 s"
                                   << "the last read failed (No answer from the module within 0.3 s)" << true;
        QTest::newRow("module status") << int(ModuleStatus) << "The module answered: wrong parameter"
                                       << "the last read failed (The module answered: wrong parameter)" << false;
        QTest::newRow("vanished") << int(Vanished) << "The module was disconnected" << "the module was disconnected" << true;
    }
    void failure_resultLineAndStaleValues()
    {
        QFETCH(int, fault);
        QFETCH(QString, result);
        QFETCH(QString, why);
        QFETCH(bool, othersInDoubt);
        TRadioController* device = Discover(QStringLiteral("Velto_LoRaWAN"));
        QVERIFY(device);
        const QString port = m_port;
        THCIConfigPage page(QStringLiteral("Device HCI Settings"));
        TGuiItemList& hci = *page.Group(QStringLiteral("HCI Configuration"));
        TGuiItemList& local = *page.Group(QStringLiteral("Local Baud Rate"));
        page.Button(QStringLiteral("Get"))->click();
        page.Button(QStringLiteral("Get Local"))->click();
        QVERIFY(!hci.IsStale());
        QCOMPARE(hci.ReadFrom(), port);
        QCOMPARE(Shown(page, "HCI Configuration", "TxTimeout"), QStringLiteral("10"));

        switch (fault) {
        case NoAnswer:
            device->Link()->SetResponseTimeout(300);   // this request is meant to go unanswered
            m_sim->SetFault(TSimModule::FaultNoAnswer);
            break;
        case ModuleStatus:
            m_sim->ForceStatus(0x01, 0x43, 0x03);   // GetHCIConfig: "wrong parameter"
            break;
        case Vanished:
            m_sim->SetFault(TSimModule::FaultNoAnswer);
            connect(m_sim.get(), &TSimModule::RequestReceived, m_sim.get(), [this] {
                QTimer::singleShot(0, m_sim.get(), [this] { m_sim->Close(); });
            });
            break;
        }
        page.Button(QStringLiteral("Get"))->click();

        QCOMPARE(page.ResultLine()->text(), result);
        QCOMPARE(page.ResultLine()->property("outcome").toString(), QStringLiteral("error"));
        QVERIFY(hci.IsStale());
        QVERIFY2(hci.StaleText().startsWith(QStringLiteral("Read at ")), qPrintable(hci.StaleText()));
        QVERIFY2(hci.StaleText().endsWith(QStringLiteral(" from ") + port + QStringLiteral(" - out of date: ") + why), qPrintable(hci.StaleText()));
        QCOMPARE(Shown(page, "HCI Configuration", "TxTimeout"), QStringLiteral("10"));   // kept, greyed
        QVERIFY(hci.FindItem(QStringLiteral("TxTimeout"))->property("stale").toBool());
        QCOMPARE(local.IsStale(), othersInDoubt);
    }

    void stale_whenAnotherModuleIsSelectedOrItGoes()
    {
        TRadioController* first = Discover(QStringLiteral("Velto_LoRaWAN"));
        QVERIFY(first);
        TSimModule other;
        QVERIFY(other.Open());
        const QString otherPort = NamedPort(other.Wire());
        QVERIFY(m.AddExtraPort(otherPort));
        m.DiscoveryTick();
        QVERIFY(m.DeviceByPort(otherPort));
        THCIConfigPage page(QStringLiteral("Device HCI Settings"));
        TGuiItemList& hci = *page.Group(QStringLiteral("HCI Configuration"));
        page.Button(QStringLiteral("Get"))->click();
        QVERIFY(!hci.IsStale());

        QVERIFY(m.SelectDevice(otherPort));
        QVERIFY(hci.IsStale());
        QVERIFY(hci.StaleText().endsWith(QStringLiteral(" - out of date: another module is selected")));
        page.Button(QStringLiteral("Get"))->click();
        QVERIFY(!hci.IsStale());
        QCOMPARE(hci.ReadFrom(), otherPort);
        QVERIFY(m.SelectDevice(m_port));
        QVERIFY(m.SelectDevice(otherPort));   // back on the module the values came from: still current
        QVERIFY(hci.IsStale());                      // ... but they were marked when the other one was chosen

        page.Button(QStringLiteral("Get"))->click();
        m.RemoveDevice(m.DeviceByPort(otherPort), false);
        QVERIFY(hci.IsStale());
        QVERIFY(hci.StaleText().endsWith(QStringLiteral(" - out of date: the module was disconnected")));
        m.RemoveExtraPort(otherPort);
    }

    void invalidInput_refusedAtTheFieldAndNothingSent()
    {
        TRadioController* device = Discover(QStringLiteral("Velto_LoRaWAN"));
        QVERIFY(device);
        const TVeltoLRHCI* link = device->Link();
        THCIConfigPage page(QStringLiteral("Device HCI Settings"));
        page.show();
        TGuiItemList& hci = *page.Group(QStringLiteral("HCI Configuration"));
        quint32 frames = link->FramesSent();
        page.Button(QStringLiteral("Set"))->click();   // nothing read yet: the rate shows "n.a."
        QCOMPARE(page.ResultLine()->text(), QStringLiteral("Not sent: Baud Rate - choose a value"));
        QCOMPARE(link->FramesSent(), frames);

        page.Button(QStringLiteral("Get"))->click();
        frames = link->FramesSent();
        auto* wakeup = qobject_cast<QLineEdit*>(hci.FindItem(QStringLiteral("NumWakeupChars")));
        wakeup->setText(QStringLiteral("70000"));
        page.Button(QStringLiteral("Set"))->click();
        QCOMPARE(page.ResultLine()->text(), QStringLiteral("Not sent: Wake-up Chars - 70000 is outside 0 to 65535"));
        QCOMPARE(page.ResultLine()->property("outcome").toString(), QStringLiteral("error"));
        QCOMPARE(link->FramesSent(), frames);
        QCOMPARE(page.focusWidget(), static_cast<QWidget*>(wakeup));
        QLabel* reason = TFieldCheck::Of(wakeup)->ReasonLabel();
        QCOMPARE(reason->text(), QStringLiteral("70000 is outside 0 to 65535"));
        QVERIFY(reason->isVisible());
        QCOMPARE(Shown(page, "HCI Configuration", "NumWakeupChars"), QStringLiteral("70000"));   // never changed behind the user's back

        wakeup->setText(QStringLiteral("2000"));
        page.Button(QStringLiteral("Set"))->click();
        QCOMPARE(link->FramesSent(), frames + 1);
        QVERIFY(page.ResultLine()->text().startsWith(QStringLiteral("OK - write the HCI configuration (")));
        QVERIFY(reason->isHidden());
        wakeup->setText(QStringLiteral("1"));
        page.Button(QStringLiteral("Get"))->click();
        QCOMPARE(wakeup->text(), QStringLiteral("2000"));
    }

    void sectionCtrl_createsPagesByNameAndAnnouncesSelection()
    {
        TPageCreator creator;
        QSignalSpy lines(&TStatusLog::Instance(), &TStatusLog::EvLine);
        TSectionCtrl ctrl(kSections, &creator);
        QCOMPARE(creator.calls, (QStringList{"CreateNodeServicePage:LoRaWAN Services",
                                             "CreateNodeConfigPage:LoRaWAN Configuration",
                                             "CreateOspreyDataLinkPage:Osprey Data Link",
                                             "CreateDeviceInfoPage:Device Information",
                                             "CreateSettingsPage:Studio Settings", "CreateNodeTestPage:Radio Tests"}));
        QVERIFY(Texts(lines).contains("SectionCtrl:error - couldn't create page: Ghost (CreateGhostPage)"));
        QCOMPARE(ctrl.PageStack()->count(), 6);
        QStringList buttons;
        for (QPushButton* button : ctrl.findChildren<QPushButton*>("SectionCtrlButton"))
            buttons << button->text();
        QCOMPARE(buttons, ctrl.SectionTitles());
        QCOMPARE(buttons, (QStringList{"LoRaWAN Services", "Osprey Services", "Device Management", "Extras"}));

        TPage* first = ctrl.Page("LoRaWAN Services", "LoRaWAN Services");
        QCOMPARE(ctrl.CurrentPage(), first);
        QCOMPARE(ctrl.PageStack()->currentWidget(), first);
        QCOMPARE(Recording(first)->shown, 1);

        QSignalSpy selected(&ctrl, &TSectionCtrl::EvPageSelectionChanged);
        QSignalSpy hidden(&ctrl, &TSectionCtrl::EvPageHidden);
        ctrl.findChildren<QPushButton*>("SectionCtrlButton").at(2)->click();
        TPage* info = ctrl.Page("Device Management", "Device Information");
        QCOMPARE(ctrl.CurrentPage(), info);
        QCOMPARE(hidden.count(), 1);
        QCOMPARE(hidden.at(0).at(0).value<QWidget*>(), first);
        QCOMPARE(selected.count(), 1);
        QCOMPARE(selected.at(0).at(0).value<QWidget*>(), info);
        QCOMPARE(Recording(first)->hidden, 1);
        QVERIFY(Recording(info)->refreshSilent.isEmpty());

        QVERIFY(ctrl.SelectPage(QStringLiteral("Device Management/Studio Settings")));
        QCOMPARE(ctrl.CurrentPage()->PageName(), QStringLiteral("Studio Settings"));
        QVERIFY(!ctrl.SelectPage(QStringLiteral("Device Management/Ghost")));
        QVERIFY(!ctrl.SelectPage(QStringLiteral("Studio Settings")));
        QVERIFY(ctrl.SelectPage(QStringLiteral("Device Management/Studio Settings")));
        QCOMPARE(selected.count(), 2);

        ctrl.findChildren<QListWidget*>("SectionCtrlPageList").at(3)->setCurrentRow(0);
        QCOMPARE(ctrl.CurrentPage()->PageName(), QStringLiteral("Radio Tests"));
        QCOMPARE(selected.count(), 3);

        SetSwitches(false, true);
        ctrl.findChildren<QPushButton*>("SectionCtrlButton").at(0)->click();
        QCOMPARE(ctrl.CurrentPage(), first);
        QCOMPARE(Recording(first)->refreshSilent, QList<bool>{true});
        QCOMPARE(Texts(lines).last(), QStringLiteral("LoRaWAN Services:error - no local device selected"));
        QVERIFY(first->findChildren<QMessageBox*>().isEmpty());
    }

    void sectionCtrl_followsTheSelectedDevice_data()
    {
        QTest::addColumn<QString>("firmware");
        QTest::addColumn<bool>("lorawan");
        QTest::addColumn<bool>("osprey");
        QTest::newRow("Velto_LoRaWAN") << "Velto_LoRaWAN" << true << false;
        QTest::newRow("Caravel_LoRaWAN") << "Caravel_LoRaWAN" << true << true;
        QTest::newRow("unknown firmware") << "Acme_Modem" << false << false;
    }
    void sectionCtrl_followsTheSelectedDevice()
    {
        QFETCH(QString, firmware);
        QFETCH(bool, lorawan);
        QFETCH(bool, osprey);
        SetSwitches(true, true);
        TPageCreator creator;
        TSectionCtrl ctrl(kSections, &creator);
        QVERIFY(!ctrl.IsSectionOffered("LoRaWAN Services"));
        QVERIFY(!ctrl.IsSectionOffered("Osprey Services"));
        QVERIFY(ctrl.IsSectionOffered("Device Management"));
        QVERIFY(ctrl.IsSectionOffered("Extras"));
        QVERIFY(ctrl.findChildren<QPushButton*>("SectionCtrlButton").at(0)->isHidden());
        TPage* info = ctrl.Page("Device Management", "Device Information");
        QCOMPARE(ctrl.CurrentPage(), info);

        QSignalSpy types(&ctrl, &TSectionCtrl::EvDeviceTypeChanged);
        TRadioController* device = Discover(firmware);
        QVERIFY(device);
        const QString type = device->DeviceInfo().Value("DeviceType");
        QVERIFY(!type.isEmpty());
        QCOMPARE(ctrl.DeviceType(), type);
        QCOMPARE(types.count(), 1);
        QCOMPARE(Recording(ctrl.Page("Extras", "Radio Tests"))->deviceTypes, QStringList{type});
        QCOMPARE(ctrl.IsSectionOffered("LoRaWAN Services"), lorawan);
        QCOMPARE(ctrl.IsSectionOffered("Osprey Services"), osprey);
        QVERIFY(ctrl.IsSectionOffered("Device Management"));
        QCOMPARE(Recording(info)->refreshSilent, QList<bool>{true});
        QCOMPARE(Recording(info)->refreshedWith, device);

        SetSwitches(false, false);
        QVERIFY(m.SelectDevice(m_port));
        QVERIFY(ctrl.IsSectionOffered("LoRaWAN Services"));
        QVERIFY(ctrl.IsSectionOffered("Osprey Services"));
        QCOMPARE(types.count(), 1);
        QCOMPARE(Recording(info)->refreshSilent.size(), 1);

        SetSwitches(true, false);
        m.ClearSelection();
        ctrl.OnDeviceSelectionChanged(QString());
        QCOMPARE(ctrl.DeviceType(), QString());
        QCOMPARE(Recording(info)->cleared, 1);
        QVERIFY(!ctrl.IsSectionOffered("LoRaWAN Services"));
    }

    void sectionCtrl_leftPanelToggleKeepsTheWidth()
    {
        TPageCreator creator;
        TSectionCtrl ctrl(kSections, &creator);
        QAction* toggle = ctrl.ToggleAction();
        QCOMPARE(toggle->text(), QStringLiteral("Hide Left Control Panel"));
        ctrl.show();
        ctrl.resize(310, 400);
        QTRY_COMPARE(ctrl.width(), 310);
        toggle->trigger();
        QCOMPARE(toggle->text(), QStringLiteral("Show Left Control Panel"));
        QVERIFY(ctrl.isHidden());
        QCOMPARE(TSettings::Instance().ReadValue("SectionControl", "PanelWidth"), QStringLiteral("310"));
        QCOMPARE(ctrl.PanelWidth(), 310);
        ctrl.resize(120, 400);
        toggle->trigger();
        QCOMPARE(toggle->text(), QStringLiteral("Hide Left Control Panel"));
        QVERIFY(ctrl.isVisible());
        QTRY_COMPARE(ctrl.width(), 310);
        ctrl.OnLeftPanelToggled(true);
        QVERIFY(toggle->isChecked());
        QCOMPARE(toggle->text(), QStringLiteral("Show Left Control Panel"));
    }
};

TESSERA_TEST_MAIN_WITH(QApplication, TestPage)

#include "tst_page.moc"

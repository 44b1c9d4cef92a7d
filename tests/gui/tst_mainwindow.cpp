#include <QApplication>
#include <QLineEdit>
#include <QMenuBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QStackedWidget>
#include <QTreeWidget>
#include <QtTest>

#include "TestEnvironment.h"
#include "SimPort.h"
#include "app/TMainWindow.h"
#include "devices/TDiscoveryRates.h"
#include "devices/TDeviceManager.h"
#include "devices/TRadioController.h"
#include "gui/TGuiItemList.h"
#include "gui/TSectionCtrl.h"
#include "gui/pages/TDeviceInfoPage.h"
#include "gui/pages/THCILoggingPage.h"
#include "gui/pages/TRTCPage.h"
#include "gui/pages/TSettingsPage.h"
#include <QListWidget>
#include "hci/TVeltoLRHCI.h"
#include "settings/TSettings.h"
#include "status/TStatusLog.h"
#include "status/TStatusWindow.h"
#include "status/TTableCtrl.h"
#include "tools/sim/TSimModule.h"

namespace {
QStringList PageTitles(const TSectionEntry* table)
{
    QStringList titles;
    for (; table->title; ++table)
        for (const TSectionPageEntry* page = table->pages; page->title; ++page)
            titles << QString::fromLatin1(table->title) + QLatin1Char('/') + QString::fromLatin1(page->title);
    return titles;
}

QString Field(TGuiItemList* items, const char* key)
{
    auto* edit = qobject_cast<QLineEdit*>(items->FindItem(QString::fromLatin1(key)));
    return edit ? edit->text() : QStringLiteral("<no row>");
}
}

class TestMainWindow : public QObject
{
    Q_OBJECT
private slots:
    void sections_bothModesGiveEveryPage()
    {
        QCOMPARE(PageTitles(TMainWindow::SectionTable(true)), PageTitles(TMainWindow::SectionTable(false)));
        TMainWindow window;
        QCOMPARE(window.windowTitle(), QStringLiteral("Velto LoRaWAN Tessera"));
        QCOMPARE(window.Sections()->SectionTitles(),
                 (QStringList{"LoRaWAN Services", "Osprey Services", "Device Management", "Extras"}));
        QCOMPARE(window.Sections()->Pages().size(), 14);
        QCOMPARE(window.Sections()->PageStack()->count(), 14);
        for (const QString& path : PageTitles(TMainWindow::SectionTable(false)))
            QVERIFY2(window.Sections()->Page(path.section(QLatin1Char('/'), 0, 0), path.section(QLatin1Char('/'), 1)), qPrintable(path));
        QStringList menus;
        for (QAction* action : window.menuBar()->actions())
            menus << action->text();
        QCOMPARE(menus, (QStringList{"File", "Views", "Settings", "Info"}));

        window.OnLeftPanelTriggered();
        QCOMPARE(window.LeftPanelAction()->text(), QStringLiteral("Show Left Control Panel"));
        window.OnLeftPanelTriggered();
        QCOMPARE(window.LeftPanelAction()->text(), QStringLiteral("Hide Left Control Panel"));

        window.OnShowStudioSettings();
        QCOMPARE(window.Sections()->CurrentPage()->PageName(), QStringLiteral("Studio Settings"));
        QVERIFY(TMainWindow::FreeMemoryRecord().startsWith(QStringLiteral("Key:FreeMem;Value:")));
    }

    void developerMode_titles()
    {
        TSettings& s = TSettings::Instance();
        s.WriteValue(QStringLiteral("Special"), QStringLiteral("ApprovalTest"), QStringLiteral("yes"));
        {
            TMainWindow window;
            QCOMPARE(window.windowTitle(), QStringLiteral("Velto LoRaWAN Tessera"));   // never " (Approval Test)" alone
        }
        s.WriteValue(QStringLiteral("Special"), QStringLiteral("DeveloperPWD"), QString::fromLatin1(TMainWindow::kCodeName));
        {
            TMainWindow window;
            QCOMPARE(window.windowTitle(), QStringLiteral("Velto LoRaWAN Tessera (Developer Mode) (Approval Test)"));
            QCOMPARE(window.Sections()->Pages().size(), 14);
        }
        s.WriteValue(QStringLiteral("Special"), QStringLiteral("DeveloperPWD"), QString());
        s.WriteValue(QStringLiteral("Special"), QStringLiteral("ApprovalTest"), QStringLiteral("no"));
    }

    void themes_andDocuments()
    {
        TMainWindow window;
        for (const char* theme : {"Berlin", "Montreal", "Manhattan"}) {
            window.ApplyTheme(QString::fromLatin1(theme));
            QCOMPARE(window.CurrentTheme(), QString::fromLatin1(theme));
            QVERIFY(!qApp->styleSheet().isEmpty());
        }
        window.OnShowFeatureOverview();
        QVERIFY(window.LastMessageBox());
        QCOMPARE(window.LastMessageBox()->windowTitle(), QStringLiteral("Feature Overview - Error"));
        QCOMPARE(window.LastMessageBox()->text(), QStringLiteral("Sorry - the feature overview document is not available yet!"));
        window.OnShowFirmwareReleaseNotes();
        QCOMPARE(window.LastMessageBox()->windowTitle(), QStringLiteral("Firmware Release Notes - Error"));
        QCOMPARE(window.LastMessageBox()->text(),
                 QStringLiteral("Sorry - the file %1/FirmwareImages/ReleaseNotes.txt is not available yet!").arg(QCoreApplication::applicationDirPath()));
    }

    void withModule_getFillsDeviceInformation()
    {
        TSimModule sim;
        sim.Identity().firmwareName = QStringLiteral("Velto_LoRaWAN");
        sim.Identity().versionMajor = 1;   // older than required: the compatibility box comes up
        QVERIFY(sim.Open());
        const QString port = NamedPort(sim.Wire());
        TMainWindow window;
        window.show();
        TDeviceManager& manager = TDeviceManager::Instance();
        QSignalSpy added(&manager, &TDeviceManager::EvLocalDeviceAdded);
        manager.AddExtraPort(port);
        QTRY_COMPARE(added.count(), 1);
        QTRY_COMPARE(window.DeviceTree()->topLevelItemCount(), 1);
        QCOMPARE(window.DeviceTree()->topLevelItem(0)->text(1), port);
        QVERIFY(window.LastMessageBox());
        QCOMPARE(window.LastMessageBox()->windowTitle(), QStringLiteral("Compatibility Warning"));

        auto* page = qobject_cast<TDeviceInfoPage*>(window.Sections()->Page(QStringLiteral("Device Management"), QStringLiteral("Device Information")));
        QVERIFY(page);
        window.StatusWindow()->FlushPending();
        page->Button(QStringLiteral("Get"))->click();
        QCOMPARE(Field(page->Group(QStringLiteral("Device")), "DeviceAddress"), QStringLiteral("26011F3A"));
        QCOMPARE(Field(page->Group(QStringLiteral("Firmware")), "FWVersion"), QStringLiteral("V1.4"));
        QCOMPARE(Field(page->Group(QStringLiteral("System Status")), "TxUData"), QStringLiteral("0"));
        QVERIFY2(Field(page->Group(QStringLiteral("Studio")), "FreeMem").endsWith(QStringLiteral(" MiB")), qPrintable(Field(page->Group(QStringLiteral("Studio")), "FreeMem")));
        window.StatusWindow()->FlushPending();
        QVERIFY(window.StatusWindow()->Text().contains(QStringLiteral(":DeviceMgmt:Command:Get Device Info")));
        QVERIFY(window.StatusWindow()->Text().contains(QStringLiteral(":DeviceMgmt:Result: OK")));

        // The HCI logging page shows every frame while it logs.
        auto* logging = qobject_cast<THCILoggingPage*>(window.Sections()->Page(QStringLiteral("Extras"), QStringLiteral("HCI Logging")));
        QVERIFY(logging);
        logging->SetLogging(true);
        page->Button(QStringLiteral("Get"))->click();
        logging->SetLogging(false);
        logging->Table()->FlushPending();
        QVERIFY(logging->Table()->RowCount() >= 6);
        QCOMPARE(logging->Table()->Cell(0, 0), QStringLiteral("Tx Event"));
        QCOMPARE(logging->Table()->Cell(0, 3), QStringLiteral("01 (DeviceMgmt)"));
        QCOMPARE(logging->Table()->Cell(0, 5), QStringLiteral("GetDeviceInfoReq"));
        QCOMPARE(logging->Table()->Cell(1, 0), QStringLiteral("Rx Event"));
        QCOMPARE(logging->Table()->Cell(1, 5), QStringLiteral("GetDeviceInfoRsp"));

        manager.RemoveExtraPort(port);
        manager.ResetBlockedPorts(true);
    }

    void clockAndSettingsPages_workAgainstAModule()
    {
        TSimModule sim;
        QVERIFY(sim.Open());
        const QString port = NamedPort(sim.Wire());
        TMainWindow window;
        TDeviceManager& manager = TDeviceManager::Instance();
        auto* settings = qobject_cast<TSettingsPage*>(window.Sections()->Page(QStringLiteral("Device Management"), QStringLiteral("Studio Settings")));
        QVERIFY(settings);
        QVERIFY(settings->AddExtraPort(port));
        QVERIFY(!settings->AddExtraPort(port));
        QCOMPARE(settings->ExtraPortList()->count(), 1);
        QVERIFY(!settings->AddPattern(QStringLiteral("VID_0403.PID_6001.*")));   // a default pattern already
        QVERIFY(settings->AddPattern(QStringLiteral("VID_1234.PID_0001")));
        QVERIFY(settings->PatternList()->findItems(QStringLiteral("VID_1234.PID_0001"), Qt::MatchExactly).size() == 1);
        manager.RemoveVidPidPattern(QStringLiteral("VID_1234.PID_0001"));
        QTRY_VERIFY(manager.DeviceByPort(port));

        auto* rtc = qobject_cast<TRTCPage*>(window.Sections()->Page(QStringLiteral("Device Management"), QStringLiteral("Real Time Clock")));
        QVERIFY(rtc);
        auto* dateTime = qobject_cast<QLineEdit*>(rtc->Group(QStringLiteral("Clock"))->FindItem(QStringLiteral("DateTime")));
        dateTime->setText(QStringLiteral("2031-02-03 04:05:06"));
        rtc->Button(QStringLiteral("Set"))->click();
        rtc->Button(QStringLiteral("Get"))->click();
        QVERIFY2(dateTime->text().startsWith(QStringLiteral("2031-02-03 04:05:0")), qPrintable(dateTime->text()));
        rtc->Button(QStringLiteral("Sync"))->click();
        QVERIFY(Field(rtc->Group(QStringLiteral("Clock")), "TargetTime").startsWith(QDate::currentDate().toString(QStringLiteral("yyyy-MM-dd"))));
        rtc->Button(QStringLiteral("Set Alarm"))->click();
        rtc->Button(QStringLiteral("Get Alarm"))->click();
        QCOMPARE(Field(rtc->Group(QStringLiteral("Alarm State")), "Status"), QStringLiteral("Active"));
        QCOMPARE(Field(rtc->Group(QStringLiteral("Alarm State")), "CurrentAlarm"), QStringLiteral("12:00:00"));

        // A port that never answers ends up blocked; "Discover Devices" frees it for the next tick.
        manager.RemoveExtraPort(port);
        manager.ResetBlockedPorts(true);
        settings->AddExtraPort(QStringLiteral("/dev/tessera-missing"));
        for (int i = 0; i <= 3 * TDiscoveryRates::Count(); ++i)
            manager.DiscoveryTick();
        settings->RefreshPage();
        QCOMPARE(settings->BlockedPortList()->count(), 1);
        settings->DiscoverDevices();
        QCOMPARE(settings->BlockedPortList()->count(), 0);
        manager.RemoveExtraPort(QStringLiteral("/dev/tessera-missing"));
    }

    void noDevice_statusLineAndBox()
    {
        TDeviceManager::Instance().ResetBlockedPorts(true);
        TMainWindow window;
        auto* page = qobject_cast<TDeviceInfoPage*>(window.Sections()->Page(QStringLiteral("Device Management"), QStringLiteral("Device Information")));
        QSignalSpy lines(&TStatusLog::Instance(), &TStatusLog::EvLine);
        page->Button(QStringLiteral("Get"))->click();
        QVERIFY(!lines.isEmpty());
        QVERIFY(lines.first().at(0).toString().endsWith(QStringLiteral(";Device Information:error - no local device selected")));
        QCOMPARE(Field(page->Group(QStringLiteral("Device")), "DeviceAddress"), QStringLiteral("n.a."));
    }
};

int main(int argc, char** argv)
{
    TestEnvironment::IsolateUserDirectories();
    QApplication app(argc, argv);
    TestMainWindow test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_mainwindow.moc"

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QGroupBox>
#include <QHeaderView>
#include <QMenu>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QRegularExpression>
#include <QSlider>
#include <QElapsedTimer>
#include <QScopeGuard>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QSplitter>
#include <functional>
#include <memory>
#include <QLabel>
#include <QScrollArea>
#include <QScrollBar>
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
#include "app/TModuleStatus.h"
#include "gui/TGuiItemList.h"
#include "gui/TSectionCtrl.h"
#include "gui/pages/TDeviceInfoPage.h"
#include "gui/pages/TFormPage.h"
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

/// A menu text as the user reads it (the access key's "&" is not shown).
QString Shown(const QAction* action)
{
    return QString(action->text()).remove(QLatin1Char('&'));
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
    void cleanup()
    {
        // Each window starts as a first start: no saved layout, no remembered module.
        for (const char* key : {"WindowGeometry", "WindowState", "SplitterState", "SelectedPort"})
            TSettings::Instance().WriteValue(QStringLiteral("GUI"), QString::fromLatin1(key), QString());
        TSettings::Instance().WriteValue(QStringLiteral("GUI"), QStringLiteral("StatusBoxLocation"), QStringLiteral("2"));
    }

    void layout_everyPageUsableAt1024x768()
    {
        TMainWindow window;
        window.resize(1024, 768);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QCOMPARE(window.size(), QSize(1024, 768));
        TStatusWindow* dock = window.StatusWindow();
        QVERIFY(dock->isVisible());
        QCOMPARE(window.dockWidgetArea(dock), Qt::RightDockWidgetArea);
        QVERIFY2(dock->width() >= 200 && dock->width() <= 1024 * 0.35, qPrintable(QString::number(dock->width())));
        qInfo("status dock %d px wide, page area %d px", dock->width(), window.Sections()->PageStack()->width());
        QStringList report;
        for (TPage* page : window.Sections()->Pages()) {
            QVERIFY(window.Sections()->SelectPage(page));
            QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
            auto* form = qobject_cast<TFormPage*>(page);
            QVERIFY(form);
            QScrollArea* scroll = form->ScrollArea();
            // Rule: pages never scroll sideways; a page that scrolls up and down may be scrolled to a button first.
            if (scroll->horizontalScrollBar()->isVisible())
                report << page->PageName() + QStringLiteral(": scrolls sideways, content %1 px in %2 px").arg(scroll->widget()->minimumSizeHint().width()).arg(scroll->viewport()->width());
            const bool scrolls = scroll->verticalScrollBar()->isVisible();
            const QRect viewport(scroll->viewport()->mapTo(&window, QPoint(0, 0)), scroll->viewport()->size());
            QVERIFY(window.rect().contains(viewport));
            for (QAbstractButton* button : page->findChildren<QAbstractButton*>()) {
                if (!button->isVisibleTo(page))
                    continue;
                if (scrolls)
                    scroll->ensureWidgetVisible(button, 0, 0);
                const QRect at(button->mapTo(&window, QPoint(0, 0)), button->size());
                if (!viewport.contains(at))
                    report << page->PageName() + QStringLiteral(": \"%1\" at %2,%3 %4x%5 outside %6,%7 %8x%9")
                                                     .arg(button->text()).arg(at.x()).arg(at.y()).arg(at.width()).arg(at.height())
                                                     .arg(viewport.x()).arg(viewport.y()).arg(viewport.width()).arg(viewport.height());
            }
            // Labels and check boxes show their whole text.
            for (QWidget* widget : page->findChildren<QWidget*>()) {
                if (!widget->isVisibleTo(page) || !(qobject_cast<QLabel*>(widget) || qobject_cast<QAbstractButton*>(widget)))
                    continue;
                auto* label = qobject_cast<QLabel*>(widget);
                const bool cut = label && label->wordWrap() ? widget->height() < widget->heightForWidth(widget->width())
                                                           : widget->width() < widget->minimumSizeHint().width();
                if (cut)
                    report << page->PageName() + QStringLiteral(": \"%1\" cut off (%2 px of %3)")
                                                     .arg(label ? label->text() : qobject_cast<QAbstractButton*>(widget)->text())
                                                     .arg(widget->width()).arg(widget->minimumSizeHint().width());
            }
        }
        QVERIFY2(report.isEmpty(), qPrintable(report.join(QLatin1Char('\n'))));
    }

    void sections_bothModesGiveEveryPage()
    {
        QCOMPARE(PageTitles(TMainWindow::SectionTable(true)), PageTitles(TMainWindow::SectionTable(false)));
        TMainWindow window;
        QCOMPARE(window.windowTitle(), QStringLiteral("Velto LoRaWAN Tessera"));
        QCOMPARE(window.Sections()->SectionTitles(),
                 (QStringList{"LoRaWAN Services", "Osprey Services", "Device Management", "Extras"}));
        QCOMPARE(window.Sections()->Pages().size(), 15);
        QCOMPARE(window.Sections()->PageStack()->count(), 15);
        for (const QString& path : PageTitles(TMainWindow::SectionTable(false)))
            QVERIFY2(window.Sections()->Page(path.section(QLatin1Char('/'), 0, 0), path.section(QLatin1Char('/'), 1)), qPrintable(path));
        QStringList menus;
        for (QAction* action : window.menuBar()->actions())
            menus << Shown(action);
        QCOMPARE(menus, (QStringList{"File", "Views", "Settings", "Info"}));

        window.OnLeftPanelTriggered();
        QCOMPARE(Shown(window.LeftPanelAction()), QStringLiteral("Show Left Control Panel"));
        window.OnLeftPanelTriggered();
        QCOMPARE(Shown(window.LeftPanelAction()), QStringLiteral("Hide Left Control Panel"));

        window.OnShowStudioSettings();
        QCOMPARE(window.Sections()->CurrentPage()->PageName(), QStringLiteral("Studio Settings"));
        QVERIFY(TMainWindow::FreeMemoryRecord().startsWith(QStringLiteral("Key:FreeMem;Value:")));
    }

    void accessibility_everyControlNamedByItsLabel()
    {
        TSimModule sim;
        QVERIFY(sim.Open());
        const QString port = NamedPort(sim.Wire());
        TMainWindow window;
        TDeviceManager& manager = TDeviceManager::Instance();
        manager.AddExtraPort(port);
        auto forget = qScopeGuard([&] {
            manager.RemoveExtraPort(port);
            manager.ResetBlockedPorts(true);
        });
        QTRY_COMPARE(window.DeviceTree()->topLevelItemCount(), 1);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QMap<const QWidget*, QString> labels;   // control -> the text of the label that names it
        for (const QLabel* label : window.findChildren<QLabel*>())
            if (label->buddy())
                labels.insert(label->buddy(), label->text());
        const auto strip = [](QString text) {
            text.remove(QLatin1Char('&'));
            return text.endsWith(QLatin1Char(':')) ? text.left(text.size() - 1) : text;
        };
        QStringList report;
        int controls = 0;
        for (QWidget* widget : window.findChildren<QWidget*>()) {
            const bool control = qobject_cast<QAbstractButton*>(widget) || qobject_cast<QLineEdit*>(widget) || qobject_cast<QComboBox*>(widget)
                || qobject_cast<QSlider*>(widget) || qobject_cast<QPlainTextEdit*>(widget)
                || (qobject_cast<QAbstractItemView*>(widget) && !qobject_cast<QHeaderView*>(widget));
            // Qt's own parts (dock title buttons, a combo box's popup list) are named by Qt.
            if (!control || widget->objectName().startsWith(QLatin1String("qt_")) || widget->inherits("QTableCornerButton")
                || qobject_cast<QComboBox*>(widget->parentWidget())
                || (widget->parentWidget() && widget->parentWidget()->inherits("QComboBoxPrivateContainer")))
                continue;
            ++controls;
            QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(widget);
            // On Linux a combo box reports its current item as its name and its label by relation.
            const QString name = qobject_cast<QComboBox*>(widget) ? widget->accessibleName()
                                                                 : accessible ? accessible->text(QAccessible::Name) : QString();
            QString expected;
            auto* button = qobject_cast<QAbstractButton*>(widget);
            if (button && button->text().contains(QRegularExpression(QStringLiteral("[A-Za-z]"))))
                expected = strip(button->text());
            else if (labels.contains(widget))
                expected = strip(labels.value(widget));
            else if (auto* group = qobject_cast<QGroupBox*>(widget->parentWidget()); group && widget->accessibleName().isEmpty())
                expected = group->title();
            else
                expected = widget->accessibleName();   // no visible label: the name the studio gives it
            if (name.isEmpty() || name != expected)
                report << QStringLiteral("%1 \"%2\": accessible name \"%3\", label \"%4\"")
                              .arg(QString::fromLatin1(widget->metaObject()->className()), widget->objectName(), name, expected);
        }
        QVERIFY2(controls > 100, qPrintable(QString::number(controls)));
        QVERIFY2(report.isEmpty(), qPrintable(report.join(QLatin1Char('\n'))));
    }

    void keyboard_accessKeysShortcutsAndViews()
    {
        TMainWindow window;
        QStringList missing;
        std::function<void(const QList<QAction*>&)> walk = [&](const QList<QAction*>& actions) {
            for (QAction* action : actions) {
                if (action->isSeparator())
                    continue;
                if (!action->text().contains(QLatin1Char('&')))
                    missing << action->text();
                if (action->menu())
                    walk(action->menu()->actions());
            }
        };
        walk(window.menuBar()->actions());
        QVERIFY2(missing.isEmpty(), qPrintable(missing.join(QStringLiteral(", "))));
        // No two entries of one menu share their access key (also with the left panel hidden).
        std::function<void(const QList<QAction*>&)> unique = [&](const QList<QAction*>& actions) {
            QMap<QKeySequence, QString> keys;
            for (QAction* action : actions) {
                if (action->isSeparator())
                    continue;
                const QKeySequence key = QKeySequence::mnemonic(action->text());
                QVERIFY2(!keys.contains(key), qPrintable(keys.value(key) + QStringLiteral(" and ") + action->text()));
                keys.insert(key, action->text());
                if (action->menu())
                    unique(action->menu()->actions());
            }
        };
        unique(window.menuBar()->actions());
        window.OnLeftPanelTriggered();
        unique(window.menuBar()->actions());
        window.OnLeftPanelTriggered();

        QMap<QString, QKeySequence> shortcuts;
        std::function<void(const QList<QAction*>&)> collect = [&](const QList<QAction*>& actions) {
            for (QAction* action : actions) {
                shortcuts.insert(Shown(action), action->shortcut());
                if (action->menu())
                    collect(action->menu()->actions());
            }
        };
        collect(window.menuBar()->actions());
        QCOMPARE(shortcuts.value(QStringLiteral("Quit")), QKeySequence(QStringLiteral("Ctrl+Q")));
        QCOMPARE(shortcuts.value(QStringLiteral("User Guide")), QKeySequence(Qt::Key_F1));
        QCOMPARE(window.GetAction()->shortcut(), QKeySequence(Qt::Key_F5));
        QVERIFY(window.actions().contains(window.GetAction()));

        // The status dock closed with its title button comes back from the "Views" menu.
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QAction* views = window.menuBar()->actions().at(1);
        QVERIFY(views->menu()->actions().contains(window.StatusWindowAction()));
        QCOMPARE(Shown(window.StatusWindowAction()), QStringLiteral("Status Window"));
        window.StatusWindow()->close();
        QVERIFY(!window.StatusWindow()->isVisible());
        QVERIFY(!window.StatusWindowAction()->isChecked());
        window.StatusWindowAction()->trigger();
        QVERIFY(window.StatusWindow()->isVisible());

        // Ctrl+Q closes the window.
        QSignalSpy destroyed(&window, &QObject::destroyed);
        QTest::keyClick(&window, Qt::Key_Q, Qt::ControlModifier);
        QTRY_VERIFY(!window.isVisible());
    }

    void layout_restoredAtStart()
    {
        QSize size;
        {
            TMainWindow window;
            QVERIFY(!window.LayoutRestored());
            window.resize(1100, 720);
            window.show();
            QVERIFY(QTest::qWaitForWindowExposed(&window));
            window.resizeDocks({window.StatusWindow()}, {333}, Qt::Horizontal);
            QTRY_COMPARE(window.StatusWindow()->width(), 333);
            window.Splitter()->setSizes({300, 400});
            window.StatusWindow()->hide();
            size = window.size();
            window.close();
        }
        TMainWindow again;
        QVERIFY(again.LayoutRestored());
        again.show();
        QVERIFY(QTest::qWaitForWindowExposed(&again));
        QCOMPARE(again.size(), size);
        QVERIFY(!again.StatusWindow()->isVisible());
        QCOMPARE(again.Splitter()->sizes().value(0), 300);
        again.StatusWindowAction()->trigger();
        QTRY_COMPARE(again.StatusWindow()->width(), 333);
    }

    void documents_userGuideAndReleaseNotes()
    {
        TMainWindow window;
        window.OnShowUserGuide();
        QVERIFY(window.LastMessageBox());
        QCOMPARE(window.LastMessageBox()->windowTitle(), QStringLiteral("User Guide"));
        QCOMPARE(window.LastMessageBox()->icon(), QMessageBox::Information);
        QCOMPARE(window.LastMessageBox()->text(),
                 QStringLiteral("The user guide is not installed with this build. Get it from %1 and put it at %2/Documents/Velto_LoRaWAN_Tessera_UserGuide.pdf.")
                     .arg(QString::fromLatin1(TMainWindow::kWebAddress), QCoreApplication::applicationDirPath()));

        // The release notes begin with the version the About box shows.
        QFile notes(QCoreApplication::applicationDirPath() + QStringLiteral("/Documents/ReleaseNotes.txt"));
        QVERIFY(notes.open(QIODevice::ReadOnly | QIODevice::Text));
        QString firstVersion;
        while (!notes.atEnd() && firstVersion.isEmpty()) {
            const QString line = QString::fromUtf8(notes.readLine()).trimmed();
            if (QRegularExpression(QStringLiteral("^\\d+\\.\\d+\\.\\d+")).match(line).hasMatch())
                firstVersion = line.section(QLatin1Char(' '), 0, 0);
        }
        QCOMPARE(firstVersion, QString::fromLatin1(TMainWindow::kVersion));
        window.OnAbout();
        QDialog* about = nullptr;
        for (QDialog* dialog : window.findChildren<QDialog*>())
            if (dialog->windowTitle() == QStringLiteral("About"))
                about = dialog;
        QVERIFY(about);
        bool shown = false;
        for (QLabel* label : about->findChildren<QLabel*>())
            shown = shown || label->text().startsWith(QStringLiteral("Version: ") + firstVersion + QStringLiteral("    Build Date: "));
        QVERIFY(shown);
    }

    void reconnect_moduleBackOnItsPortIsSelectedAgain()
    {
        // Two modules, so that discovery's own choice of a lone module cannot do the selecting.
        QTemporaryDir dir;
        const QString pathA = dir.filePath(QStringLiteral("module-a"));
        const QString pathB = dir.filePath(QStringLiteral("module-b"));
        auto a = std::make_unique<TSimModule>();
        QVERIFY(a->Open() && a->CreateLink(pathA));
        TSimModule b;
        b.Identity().firmwareName = QStringLiteral("Caravel_LoRaWAN");
        QVERIFY(b.Open() && b.CreateLink(pathB));
        TMainWindow window;
        window.show();
        TDeviceManager& manager = TDeviceManager::Instance();
        manager.AddExtraPort(pathA);
        manager.AddExtraPort(pathB);
        auto forget = qScopeGuard([&] {
            manager.RemoveExtraPort(pathA);
            manager.RemoveExtraPort(pathB);
            manager.ResetBlockedPorts(true);
        });
        QTRY_VERIFY(manager.DeviceByPort(pathA) && manager.DeviceByPort(pathB));
        QVERIFY(manager.SelectDevice(pathA));
        QCOMPARE(window.ModuleStatus()->RememberedPort(), pathA);
        QCOMPARE(TSettings::Instance().ReadValue(QStringLiteral("GUI"), QStringLiteral("SelectedPort")), pathA);
        const QString type = manager.DeviceByPort(pathA)->DeviceInfo().Value(QStringLiteral("DeviceType"));
        const QString connected = QStringList{type, pathA, QStringLiteral("115200 bps"), QStringLiteral("Velto_LoRaWAN V2.4"), QStringLiteral("connected")}
                                      .join(QStringLiteral(" | "));
        auto* label = window.statusBar()->findChild<QLabel*>(QStringLiteral("ModuleStatus"));
        QVERIFY(label);
        QCOMPARE(label->text(), connected);
        auto row = [&window](const QString& port) -> QTreeWidgetItem* {
            for (int i = 0; i < window.DeviceTree()->topLevelItemCount(); ++i)
                if (window.DeviceTree()->topLevelItem(i)->text(1) == port)
                    return window.DeviceTree()->topLevelItem(i);
            return nullptr;
        };
        QVERIFY(row(pathA) && row(pathB));
        QCOMPARE(row(pathA)->text(3), QStringLiteral("connected"));
        QVERIFY(row(pathA)->isSelected());
        QVERIFY(!row(pathA)->icon(0).isNull());
        QCOMPARE(row(pathA)->toolTip(2), QStringLiteral("Type: %1\nPort: %2\nBaud rate: 115200 bps\nFirmware: Velto_LoRaWAN V2.4\nState: connected").arg(type, pathA));

        // Unplugged: the row stays and says so; nothing else is selected in its place.
        QSignalSpy removed(&manager, &TDeviceManager::EvLocalDeviceRemoved);
        a.reset();
        QTRY_COMPARE(removed.count(), 1);
        QCOMPARE(removed.at(0).at(0).toString(), pathA);
        QVERIFY(!manager.SelectedDevice());
        QVERIFY(row(pathA));
        QCOMPARE(row(pathA)->text(3), QStringLiteral("lost"));
        QVERIFY(!(row(pathA)->flags() & Qt::ItemIsSelectable));
        QCOMPARE(label->text(), pathA + QStringLiteral(" | lost"));

        // Plugged back in on the same port: found and selected again without anyone asking.
        a = std::make_unique<TSimModule>();
        QVERIFY(a->Open() && a->CreateLink(pathA));
        QElapsedTimer back;
        back.start();
        QTRY_VERIFY_WITH_TIMEOUT(manager.IsSelected(pathA), 15000);
        qInfo("selected again %lld ms after the module came back", back.elapsed());
        QCOMPARE(label->text(), connected);
        QCOMPARE(row(pathA)->text(3), QStringLiteral("connected"));
        QVERIFY(row(pathA)->isSelected());
        QVERIFY(manager.DeviceByPort(pathB));
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
            QCOMPARE(window.Sections()->Pages().size(), 15);
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
        // F5 runs the current page's "Get"; while it waits, the status bar says the module is busy.
        QVERIFY(window.Sections()->SelectPage(page));
        auto* label = window.statusBar()->findChild<QLabel*>(QStringLiteral("ModuleStatus"));
        QStringList duringGet;
        auto watch = connect(&sim, &TSimModule::RequestReceived, &window, [&] { duringGet << label->text().section(QStringLiteral(" | "), -1); });
        window.GetAction()->trigger();
        disconnect(watch);
        QCOMPARE(duringGet, (QStringList{"busy", "busy", "busy"}));   // device, firmware and system status
        QCOMPARE(label->text().section(QStringLiteral(" | "), -1), QStringLiteral("connected"));
        QVERIFY2(page->ResultLine()->text().startsWith(QStringLiteral("OK - read device, firmware and system status (")), qPrintable(page->ResultLine()->text()));
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
        QVERIFY(Field(rtc->Group(QStringLiteral("Synchronisation")), "TargetTime").startsWith(QDate::currentDate().toString(QStringLiteral("yyyy-MM-dd"))));
        // Get and Sync fill their own groups: neither wipes what the other read.
        QVERIFY2(dateTime->text().startsWith(QStringLiteral("2031-02-03 04:05:0")), qPrintable(dateTime->text()));
        rtc->Button(QStringLiteral("Get"))->click();
        QVERIFY(Field(rtc->Group(QStringLiteral("Synchronisation")), "TargetTime").startsWith(QDate::currentDate().toString(QStringLiteral("yyyy-MM-dd"))));
        rtc->Button(QStringLiteral("Set Alarm"))->click();
        rtc->Button(QStringLiteral("Get Alarm"))->click();
        QCOMPARE(Field(rtc->Group(QStringLiteral("Alarm State")), "Status"), QStringLiteral("Active"));
        QCOMPARE(Field(rtc->Group(QStringLiteral("Alarm State")), "CurrentAlarm"), QStringLiteral("12:00:00"));

        // A port that never answers ends up blocked; "Discover Devices" frees it for the next tick.
        manager.ResetBlockedPorts(true);
        sim.SetFault(TSimModule::FaultNoAnswer);
        TVeltoLRHCI::SetDefaultResponseTimeout(300);   // these probes are meant to go unanswered
        for (int i = 0; i <= 3 * TDiscoveryRates::Count(); ++i)
            manager.DiscoveryTick();
        TVeltoLRHCI::SetDefaultResponseTimeout(TVeltoLRHCI::kResponseTimeoutMs);
        settings->RefreshPage();
        QCOMPARE(settings->BlockedPortList()->count(), 1);
        settings->DiscoverDevices();
        QCOMPARE(settings->BlockedPortList()->count(), 0);
        manager.RemoveExtraPort(port);
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

TESSERA_TEST_MAIN_WITH(QApplication, TestMainWindow)
#include "tst_mainwindow.moc"

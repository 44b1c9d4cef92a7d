// tessera-screenshots: pictures of the studio for the README (each theme at 1600x1000, 1024x768
// with a refused input and with a module that went away, the three Osprey pages with a module that
// receives traffic), taken with virtual modules on pseudo-terminals. Usage: tessera-screenshots
// OUTPUT_DIRECTORY (run with QT_QPA_PLATFORM=offscreen).
#include <QApplication>
#include <QDir>
#include <QEventLoop>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QTimer>

#include <memory>

#include "TestEnvironment.h"
#include "app/TMainWindow.h"
#include "devices/TDeviceManager.h"
#include "gui/TGuiItemList.h"
#include "gui/TSectionCtrl.h"
#include "gui/TSignalView.h"
#include "gui/pages/TDataLinkPage.h"
#include "gui/pages/TFormPage.h"
#include "settings/TSettings.h"
#include "status/TTableCtrl.h"
#include "status/TStatusWindow.h"
#include "tools/sim/TSimModule.h"
#include "tools/sim/TSimTraffic.h"

namespace {
/// Runs the event loop until `done` holds or `ms` pass.
bool WaitFor(const std::function<bool()>& done, int ms = 10000)
{
    QEventLoop loop;
    QTimer poll;
    QTimer deadline;
    deadline.setSingleShot(true);
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (done())
            loop.quit();
    });
    QObject::connect(&deadline, &QTimer::timeout, &loop, &QEventLoop::quit);
    poll.start(20);
    deadline.start(ms);
    loop.exec();
    return done();
}

TFormPage* Page(TMainWindow& window, const char* path)
{
    window.Sections()->SelectPage(QString::fromLatin1(path));
    return qobject_cast<TFormPage*>(window.Sections()->CurrentPage());
}

/// Every picture shows a first start: no layout kept from the one before.
void ForgetLayout()
{
    for (const char* key : {"WindowGeometry", "WindowState", "SplitterState"})
        TSettings::Instance().WriteValue(QStringLiteral("GUI"), QString::fromLatin1(key), QString());
}

bool Save(TMainWindow& window, const QString& directory, const QString& name)
{
    window.StatusWindow()->FlushPending();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
    const bool saved = window.grab().save(QDir(directory).filePath(name));
    qInfo("%s %s", qPrintable(name), saved ? "written" : "NOT written");
    return saved;
}
}

int main(int argc, char** argv)
{
    TestEnvironment::IsolateUserDirectories();
    QApplication app(argc, argv);
    if (app.arguments().size() < 2) {
        qWarning("usage: tessera-screenshots OUTPUT_DIRECTORY");
        return 2;
    }
    const QString out = app.arguments().at(1);
    QDir().mkpath(out);

    auto module = std::make_unique<TSimModule>();
    QTemporaryDir links;
    const QString port = links.filePath(QStringLiteral("ttyVELTO0"));
    if (!module->Open() || !module->CreateLink(port))
        return 1;
    TDeviceManager::Instance().AddTemporaryPort(port);
    bool ok = true;

    struct Shot { const char* theme; QSize size; };
    // theme        size
    const Shot shots[] = {
        {"Manhattan", {1600, 1000}},
        {"Berlin",    {1600, 1000}},
        {"Montreal",  {1600, 1000}},
    };
    for (const Shot& shot : shots) {
        ForgetLayout();
        TMainWindow window;
        window.ApplyTheme(QString::fromLatin1(shot.theme));
        window.resize(shot.size);
        window.show();
        ok = WaitFor([] { return TDeviceManager::Instance().SelectedDevice() != nullptr; }) && ok;
        TFormPage* info = Page(window, "Device Management/Device Information");
        info->RunGet();
        const QString theme = QString::fromLatin1(shot.theme).toLower();
        ok = Save(window, out, QStringLiteral("studio-%1.png").arg(theme)) && ok;
        window.close();
    }

    // 1024x768: a refused input on the HCI settings, then the module unplugged: stale values, "lost".
    {
        ForgetLayout();
        TMainWindow window;
        window.ApplyTheme(QStringLiteral("Manhattan"));
        window.resize(1024, 768);
        window.show();
        ok = WaitFor([] { return TDeviceManager::Instance().SelectedDevice() != nullptr; }) && ok;
        TFormPage* hci = Page(window, "Device Management/Device HCI Settings");
        hci->RunGet();
        if (auto* wakeup = qobject_cast<QLineEdit*>(hci->Group(QStringLiteral("HCI Configuration"))->FindItem(QStringLiteral("NumWakeupChars")))) {
            wakeup->setText(QStringLiteral("70000"));
            hci->Button(QStringLiteral("Set"))->click();
        }
        ok = Save(window, out, QStringLiteral("studio-1024x768.png")) && ok;

        TFormPage* info = Page(window, "Device Management/Device Information");
        info->RunGet();
        module.reset();   // unplugged
        ok = WaitFor([] { return TDeviceManager::Instance().SelectedDevice() == nullptr; }) && ok;
        ok = Save(window, out, QStringLiteral("studio-lost-1024x768.png")) && ok;
        window.close();
    }

    // The Osprey pages: a dual-stack module that hears four nodes around it (rows and a moving plot).
    {
        ForgetLayout();
        TSimModule osprey;
        osprey.Identity().firmwareName = QStringLiteral("Caravel_LoRaWAN");
        osprey.Identity().deviceType = 0xB1;
        const QString ospreyPort = links.filePath(QStringLiteral("ttyVELTO1"));
        if (!osprey.Open() || !osprey.CreateLink(ospreyPort))
            return 1;
        TDeviceManager::Instance().AddTemporaryPort(ospreyPort);
        TMainWindow window;
        window.ApplyTheme(QStringLiteral("Manhattan"));
        window.resize(1600, 1200);
        window.show();
        ok = WaitFor([] { return TDeviceManager::Instance().SelectedDevice() != nullptr; }) && ok;
        Page(window, "Osprey Services/Osprey Configuration")->RunGet();
        ok = Save(window, out, QStringLiteral("osprey-config.png")) && ok;
        TFormPage* security = Page(window, "Osprey Services/Osprey Security");
        security->Button(QStringLiteral("Get AES-128 Bit Key"))->click();
        ok = Save(window, out, QStringLiteral("osprey-security.png")) && ok;

        auto* link = qobject_cast<TDataLinkPage*>(Page(window, "Osprey Services/Osprey Data Link"));
        TSimTraffic traffic(osprey);
        traffic.Start(20);
        link->Button(QStringLiteral("Send C-Message"))->click();
        const TSignalView* signal = link->SignalView();
        ok = WaitFor([signal] { return signal->Stats().Counters().received >= 300; }, 30000) && ok;
        traffic.Stop();
        ok = WaitFor([signal] { return signal->ShownRevision() == signal->Stats().Revision(); }) && ok;
        link->ScrollArea()->verticalScrollBar()->setValue(link->Table()->y());   // the rows and the plot
        ok = Save(window, out, QStringLiteral("osprey-datalink.png")) && ok;
        window.close();
    }
    return ok ? 0 : 1;
}

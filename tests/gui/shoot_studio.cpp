// tessera-screenshots: pictures of the studio for the README (each theme at 1600x1000, 1024x768
// with a refused input and with a module that went away, the two LoRaWAN pages of a joined node,
// the three Osprey pages with a module that receives traffic, the device and production pages
// with data), taken with virtual modules on pseudo-terminals. Usage: tessera-screenshots
// OUTPUT_DIRECTORY (run with QT_QPA_PLATFORM=offscreen).
#include <QApplication>
#include <QDir>
#include <QEventLoop>
#include <QComboBox>
#include <QGroupBox>
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
#include "gui/TButtonBox.h"
#include "gui/TSignalView.h"
#include "gui/pages/TDataLinkPage.h"
#include "gui/pages/TFormPage.h"
#include "gui/pages/TNodeServicePage.h"
#include "gui/pages/TNodeTestPage.h"
#include "status/TTableCtrl.h"
#include "tools/sim/TSimProductionSupport.h"
#include "settings/TSettings.h"
#include "status/TTableCtrl.h"
#include "status/TStatusWindow.h"
#include "tools/sim/TSimLoRaWAN.h"
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

void Type(TFormPage* page, const char* group, const char* key, const QString& text)
{
    if (auto* edit = qobject_cast<QLineEdit*>(page->Group(QString::fromLatin1(group))->FindItem(QString::fromLatin1(key))))
        edit->setText(text);
}

void Choose(TFormPage* page, const char* group, const char* key, int id)
{
    if (auto* combo = qobject_cast<QComboBox*>(page->Group(QString::fromLatin1(group))->FindItem(QString::fromLatin1(key))))
        combo->setCurrentIndex(combo->findData(id));
}

/// Fills rows of a page's group as the user would choose them.
void Enter(TFormPage* page, const char* group, std::initializer_list<std::pair<const char*, const char*>> values)
{
    TKeyValueList record;
    for (const auto& value : values)
        record.Append(QString::fromLatin1(value.first), QString::fromLatin1(value.second));
    page->Group(QString::fromLatin1(group))->SetItems(record, false);
}

void Click(TFormPage* page, const char* button)
{
    if (QPushButton* push = page->Button(QString::fromLatin1(button)))
        push->click();
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
    // The LoRaWAN pages of a joined node: traffic both ways, then a filled configuration.
    {
        module = std::make_unique<TSimModule>();
        if (!module->Open() || !module->CreateLink(port))
            return 1;
        auto* lorawan = dynamic_cast<TSimLoRaWAN*>(module->Service(TSimLoRaWAN::kSapId));
        ForgetLayout();
        TMainWindow window;
        window.ApplyTheme(QStringLiteral("Manhattan"));
        window.resize(1600, 1500);   // the services page from its status down to both tables
        window.show();
        ok = WaitFor([] { return TDeviceManager::Instance().SelectedDevice() != nullptr; }) && ok;
        auto* services = qobject_cast<TNodeServicePage*>(Page(window, "LoRaWAN Services/LoRaWAN Services"));
        Click(services, "Join Network");
        ok = WaitFor([services] { return services->RxTable()->RowCount() >= 1 && !services->IsCommandRunning(); }) && ok;
        Type(services, "Data", "LoRaPort", QStringLiteral("10"));
        Type(services, "Data", "Payload", QStringLiteral("01 17 2A 00 5F"));
        Click(services, "Send U-Data");
        lorawan->QueueDownlink(10, QByteArray::fromHex("0A01"), false);
        Click(services, "Send C-Data");
        Click(services, "Send U-MAC Command");
        lorawan->InjectMulticastData(0, 0x21, QByteArray::fromHex("CAFE"));
        Click(services, "Get Network Status");
        ok = WaitFor([services] { return services->RxTable()->RowCount() >= 5 && services->TxTable()->RowCount() >= 4; }) && ok;
        ok = Save(window, out, QStringLiteral("lorawan-services.png")) && ok;

        TFormPage* config = Page(window, "LoRaWAN Services/LoRaWAN Configuration");
        Choose(config, "Node Configuration", "BandID", 2);
        Choose(config, "Node Configuration", "DataRate", 3);
        Choose(config, "Node Configuration", "PowerLevel", 20);
        Type(config, "Node Configuration", "Retransmissions", QStringLiteral("3"));
        Type(config, "Node Configuration", "HeaderMacCmdCap", QStringLiteral("5"));
        if (auto* masks = qobject_cast<TButtonBox*>(config->Group(QStringLiteral("Node Configuration"))->FindItem(QStringLiteral("SubBandMask1"))))
            masks->Button(1)->setChecked(true);
        Click(config, "Set Node Config");
        Type(config, "Join Parameters", "JoinEUI", QStringLiteral("70B3D57ED0000001"));
        Type(config, "Join Parameters", "AppKey", QStringLiteral("2B7E151628AED2A6ABF7158809CF4F3C"));
        Click(config, "Set Join Parameters");
        Click(config, "Get");
        ok = Save(window, out, QStringLiteral("lorawan-configuration.png")) && ok;
        window.close();
    }

    // The device and production pages, with a dual-stack module that loses a quarter of its test packets.
    {
        auto production = std::make_unique<TSimModule>();
        production->Identity().firmwareName = QStringLiteral("Caravel_LoRaWAN");
        const QString productionPort = links.filePath(QStringLiteral("ttyVELTO1"));
        if (!production->Open() || !production->CreateLink(productionPort))
            return 1;
        static_cast<TSimProductionSupport*>(production->Service(TSimProductionSupport::kSapId))->SetTestPacketLoss(25);
        TDeviceManager::Instance().AddTemporaryPort(productionPort);
        ForgetLayout();
        TMainWindow window;
        window.ApplyTheme(QStringLiteral("Manhattan"));
        window.resize(1600, 1000);
        window.show();
        ok = WaitFor([&] { return TDeviceManager::Instance().DeviceByPort(productionPort) != nullptr; }) && ok;
        TDeviceManager::Instance().SelectDevice(productionPort);

        TFormPage* config = Page(window, "Device Management/Device Configuration");
        Enter(config, "Device Configuration", {{"PowerSaving", "0"}, {"ExtraOptions", "5"}});
        Click(config, "Set");
        Enter(config, "Radio Stack", {{"RadioStack", "1"}});
        Click(config, "Set Radio Stack");
        Click(config, "Get");
        Click(config, "Get Radio Stack");
        Click(config, "Get Operation Mode");
        ok = Save(window, out, QStringLiteral("device-configuration.png")) && ok;

        TFormPage* factory = Page(window, "Extras/Customer Settings");
        Enter(factory, "Calibration Value", {{"CalibrationID", "2"}});
        Click(factory, "Get Calibration Value");
        Enter(factory, "Measurement", {{"MeasurementID", "1"}});
        Click(factory, "Get Measurement Value");
        Enter(factory, "GPIO Ports", {{"OutputMask", "0x000F"}, {"OutputLevels", "0x0005"}});
        Click(factory, "Set GPIO Ports");
        Click(factory, "Read Pin Levels");
        ok = Save(window, out, QStringLiteral("customer-settings.png")) && ok;

        auto* radio = qobject_cast<TNodeTestPage*>(Page(window, "Extras/Radio Tests"));
        Enter(radio, "Radio Test", {{"TestMode", "3"}});
        Click(radio, "Set Radio Test Mode");
        ok = WaitFor([radio] { return radio->Table()->RowCount() >= 15; }) && ok;
        Enter(radio, "Radio Test", {{"TestMode", "0"}});
        Click(radio, "Set Radio Test Mode");
        Enter(radio, "Test Run", {{"RepeatCount", "5"}, {"RepeatInterval", "100"}});
        Click(radio, "Start Test Run");
        ok = WaitFor([radio] { return !radio->IsRunning(); }) && ok;
        ok = WaitFor([radio] { return radio->Table()->RowCount() >= 20 && radio->Group(QStringLiteral("Test Packets"))->ReadKeyValues().Value(QStringLiteral("Packets")) == QString::number(radio->Table()->RowCount()); }) && ok;
        QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
        radio->ScrollArea()->verticalScrollBar()->setValue(radio->GroupBox(QStringLiteral("Test Run"))->y() - 8);
        ok = Save(window, out, QStringLiteral("radio-tests.png")) && ok;
        window.close();
    }

    // The Osprey pages: a dual-stack module that hears four nodes around it (rows and a moving plot).
    {
        ForgetLayout();
        TSimModule osprey;
        osprey.Identity().firmwareName = QStringLiteral("Caravel_LoRaWAN");
        osprey.Identity().deviceType = 0xB1;
        const QString ospreyPort = links.filePath(QStringLiteral("ttyVELTO2"));
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

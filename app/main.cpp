// tessera: the studio. "--demo" starts a virtual module inside the studio, so that a newcomer
// sees a module appear and can use every page without hardware. "--log FILE" writes the status
// log from its first line on; "--version" needs no display.
#include <QApplication>

#include <cstdio>
#include <cstring>

#include <memory>

#include "app/TMainWindow.h"
#include "devices/TDeviceManager.h"
#include "gui/TSectionCtrl.h"
#include "status/TStatusLog.h"
#ifdef TESSERA_DEMO
#include "tools/sim/TSimLoRaWAN.h"
#include "tools/sim/TSimModule.h"
#include "tools/sim/TSimTraffic.h"
#endif

int main(int argc, char* argv[])
{
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--version") == 0) {
            std::printf("tessera %s\n", TESSERA_VERSION);
            return 0;
        }
    }
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("tessera"));
    QApplication::setApplicationVersion(QStringLiteral(TESSERA_VERSION));
    const int logAt = app.arguments().indexOf(QStringLiteral("--log"));
    if (logAt > 0 && logAt + 1 < app.arguments().size() && !TStatusLog::Instance().OpenLogFile(app.arguments().at(logAt + 1)))
        std::fprintf(stderr, "error - couldn't open log file: %s\n", qPrintable(app.arguments().at(logAt + 1)));

    auto* window = new TMainWindow;
#ifdef TESSERA_DEMO
    std::unique_ptr<TSimModule> demo;
    if (app.arguments().contains(QStringLiteral("--demo"))) {
        demo = std::make_unique<TSimModule>();
        // A dual-stack stick: the Osprey pages have a module too.
        demo->Identity().firmwareName = QStringLiteral("Caravel_LoRaWAN");
        demo->Identity().deviceType = 0xB1;
        QString error;
        if (!demo->Open(&error)) {
            error += QStringLiteral(": the demo module is not started");
            TStatusLog::Instance().AddStatusMessage(QStringLiteral("Demo"), error);
            std::fprintf(stderr, "%s\n", qPrintable(error));
            demo.reset();
        }
    }
    // Two messages a second from the nodes around it: the Osprey Data Link plot moves.
    std::unique_ptr<TSimTraffic> traffic;
    if (demo) {
        traffic = std::make_unique<TSimTraffic>(*demo);
        traffic->Start(2);
    }
    // Once joined or activated, the demo network sends a downlink now and then: the LoRaWAN pages show Rx rows.
    if (auto* lw = demo ? demo->ServiceOf<TSimLoRaWAN>() : nullptr)
        lw->SetPeriodicDownlink(15000, 10, {QByteArray("Hello"), QByteArray::fromHex("0102030405")});
    if (demo) {
        // A newcomer lands on the module's information as soon as it is found.
        const QString port = demo->PortName();
        QObject::connect(&TDeviceManager::Instance(), &TDeviceManager::EvLocalDeviceAdded, window, [window, port](const QString& added) {
            if (added != port)
                return;
            window->Sections()->SelectPage(QStringLiteral("Device Management/Device Information"));
            if (TPage* page = window->Sections()->CurrentPage())
                page->RunGet();
        });
        TDeviceManager::Instance().AddTemporaryPort(port);   // never written to the settings
    }
#endif
    if (window->LayoutRestored()) {
        window->show();   // as it was left, maximized or not
    } else {
        window->resize(1440, 900);   // the size it keeps where no window manager maximizes it
        window->showMaximized();
    }
    const int rc = app.exec();
    delete window;
    return rc;
}

// tessera: the studio. "--demo" starts a virtual module inside the studio, so that a newcomer
// sees a module appear and can use every page without hardware.
#include <QApplication>

#include <memory>

#include "app/TMainWindow.h"
#include "devices/TDeviceManager.h"
#include "gui/TSectionCtrl.h"
#ifdef TESSERA_DEMO
#include "tools/sim/TSimModule.h"
#endif

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("tessera"));
    QApplication::setApplicationVersion(QStringLiteral(TESSERA_VERSION));

    auto* window = new TMainWindow;
#ifdef TESSERA_DEMO
    std::unique_ptr<TSimModule> demo;
    if (app.arguments().contains(QStringLiteral("--demo"))) {
        demo = std::make_unique<TSimModule>();
        if (!demo->Open())
            demo.reset();
    }
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

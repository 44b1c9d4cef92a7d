// tessera: the studio. "--demo" starts a virtual module inside the studio, so that a newcomer
// sees a module appear and can use every page without hardware.
#include <QApplication>

#include <memory>

#include "app/TMainWindow.h"
#include "devices/TDeviceManager.h"
#include "tools/sim/TSimModule.h"

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("tessera"));
    QApplication::setApplicationVersion(QStringLiteral(TESSERA_VERSION));

    std::unique_ptr<TSimModule> demo;
    if (app.arguments().contains(QStringLiteral("--demo"))) {
        demo = std::make_unique<TSimModule>();
        if (!demo->Open())
            demo.reset();
    }
    auto* window = new TMainWindow;
    if (demo)
        TDeviceManager::Instance().AddExtraPort(demo->PortName());
    window->resize(1440, 900);   // the size it keeps where no window manager maximizes it
    window->showMaximized();
    const int rc = app.exec();
    if (demo)
        TDeviceManager::Instance().RemoveExtraPort(demo->PortName());   // a demo port must not outlive the run
    delete window;
    return rc;
}

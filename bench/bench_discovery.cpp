// Prints how long discovery takes to find sixteen virtual modules that appear at once, from their
// appearance to the last EvLocalDeviceAdded, with the device manager ticking every 500 ms.
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>
#include <QTemporaryDir>
#include <QTextStream>

#include <memory>
#include <vector>

#include "devices/TControllerPrototypes.h"
#include "devices/TDeviceManager.h"
#include "devices/TRadioController.h"
#include "tools/sim/TSimModule.h"

int main(int argc, char** argv)
{
    QTemporaryDir home;   // never touch the user's settings
    qputenv("HOME", home.path().toLocal8Bit());
    qputenv("XDG_DATA_HOME", (home.path() + QStringLiteral("/share")).toLocal8Bit());
    qputenv("XDG_CONFIG_HOME", (home.path() + QStringLiteral("/config")).toLocal8Bit());
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    constexpr int kModules = 16;

    TControllerPrototypes::RegisterAll();
    TDeviceManager& manager = TDeviceManager::Instance();
    manager.SetDefaultPatterns(TDeviceManager::DefaultPatterns());
    manager.Start();

    int added = 0;
    qint64 lastMs = 0;
    QElapsedTimer timer;
    QEventLoop loop;
    QObject::connect(&manager, &TDeviceManager::EvLocalDeviceAdded, [&](const QString&) {
        ++added;
        lastMs = timer.elapsed();
        if (added == kModules)
            loop.quit();
    });
    std::vector<std::unique_ptr<TSimModule>> sims;
    timer.start();
    for (int i = 0; i < kModules; ++i) {
        sims.push_back(std::make_unique<TSimModule>());
        sims.back()->Identity().firmwareName = i % 2 ? QStringLiteral("Caravel_LoRaWAN") : QStringLiteral("Velto_LoRaWAN");
        sims.back()->Open();
        manager.AddExtraPort(sims.back()->PortName());
    }
    QTimer::singleShot(30000, &loop, &QEventLoop::quit);
    if (added < kModules)
        loop.exec();
    manager.Stop();

    QElapsedTimer commands;
    commands.start();
    int answered = 0;
    for (TRadioController* device : manager.Devices()) {
        TKeyValueList result;
        answered += device->Execute(QStringLiteral("DeviceMgmt/GetDeviceInfo"), result) ? 1 : 0;
    }
    out << QStringLiteral("%1 modules found; appearance to last EvLocalDeviceAdded: %2 ms (the first discovery tick comes after %3 ms)\n")
               .arg(added).arg(lastMs).arg(TDeviceManager::kTickMs);
    out << QStringLiteral("one GetDeviceInfo on each: %1 of %2 answered in %3 ms\n").arg(answered).arg(manager.DeviceCount()).arg(commands.elapsed());
    for (const QString& port : manager.ExtraPorts())
        manager.RemoveExtraPort(port);
    manager.ResetBlockedPorts(true);
    return 0;
}

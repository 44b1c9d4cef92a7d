// tessera-sim: a virtual Velto module on a pseudo-terminal, for demos and tests.
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTextStream>

#include <csignal>
#include <unistd.h>

#include "tools/sim/TSimGateway.h"
#include "tools/sim/TSimGatewayOptions.h"
#include "tools/sim/TSimControl.h"
#include "tools/sim/TSimModule.h"
#include "tools/sim/TSimOspreyOptions.h"
#include "tools/sim/TSimProductionSupport.h"
#include "tools/sim/TSimStm32Bootloader.h"

namespace {
int g_signalPipe[2] = {-1, -1};

void OnSignal(int)
{
    const char byte = 1;
    [[maybe_unused]] ssize_t n = ::write(g_signalPipe[1], &byte, 1);
}

bool ParseHex32(const QString& text, quint32& value)
{
    bool ok = false;
    QString digits = text;
    if (digits.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
        digits = digits.mid(2);
    value = digits.toUInt(&ok, 16);
    return ok;
}
}

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tessera-sim"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TESSERA_VERSION));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Virtual Velto LoRaWAN module on a pseudo-terminal.\n"
                                                    "Prints the port path; open it like any serial port."));
    parser.addHelpOption();
    parser.addVersionOption();
    const TSimGatewayOptions gatewayOptions;
    gatewayOptions.AddTo(parser);
    const QCommandLineOption link(QStringLiteral("link"),
                                  QStringLiteral("Create a symbolic link PATH to the port (replaces only a dangling link, never a file)."),
                                  QStringLiteral("PATH"));
    const QCommandLineOption fwName(QStringLiteral("fw-name"), QStringLiteral("Firmware name (default Velto_LoRaWAN)."), QStringLiteral("NAME"));
    const QCommandLineOption fwVersion(QStringLiteral("fw-version"), QStringLiteral("Firmware version MAJOR.MINOR (default 2.4)."), QStringLiteral("VERSION"));
    const QCommandLineOption build(QStringLiteral("build"), QStringLiteral("Build count (default 117)."), QStringLiteral("N"));
    const QCommandLineOption deviceType(QStringLiteral("device-type"), QStringLiteral("Device type number (default 0x91)."), QStringLiteral("N"));
    const QCommandLineOption address(QStringLiteral("address"), QStringLiteral("Device address, hexadecimal."), QStringLiteral("HEX"));
    const QCommandLineOption deviceId(QStringLiteral("id"), QStringLiteral("Device ID, hexadecimal."), QStringLiteral("HEX"));
    const QCommandLineOption powerUp(QStringLiteral("power-up"), QStringLiteral("Send a power-up event when started."));
    const QCommandLineOption bootloader(QStringLiteral("bootloader"), QStringLiteral("Start in the STM32 system bootloader."));
    const QCommandLineOption productId(QStringLiteral("product-id"), QStringLiteral("STM32 product id of the bootloader (default 0x447)."), QStringLiteral("ID"));
    const QCommandLineOption noExtErase(QStringLiteral("no-extended-erase"), QStringLiteral("The bootloader offers Erase (0x43) instead of Extended Erase (0x44)."));
    const QCommandLineOption pacing(QStringLiteral("pacing"), QStringLiteral("Bootloader answers leave at 115200 baud, 8E1."));
    const QCommandLineOption prefill(QStringLiteral("prefill"),
                                     QStringLiteral("Start with programmed flash: a boot loader of its own in the first BOOT bytes, "
                                                    "an old application of IMAGE bytes after it (e.g. 0x2000,0x8000)."),
                                     QStringLiteral("BOOT,IMAGE"));
    parser.addOptions({link, fwName, fwVersion, build, deviceType, address, deviceId, powerUp, bootloader, productId, noExtErase, pacing, prefill});
    TSimOspreyOptions osprey;
    osprey.AddTo(parser);
    const QCommandLineOption testLoss(QStringLiteral("test-loss"), QStringLiteral("Test packets lost in radio test modes 2 and 3, per cent."), QStringLiteral("PERCENT"));
    const QCommandLineOption channelBusy(QStringLiteral("channel-busy"), QStringLiteral("Test transmissions answer \"media busy\"."));
    parser.addOptions({testLoss, channelBusy});
    parser.addOptions(TSimControl::Options());
    parser.process(app);

    QTextStream err(stderr);
    QString ospreyError;
    if (!osprey.Read(parser, ospreyError)) {
        err << ospreyError << "\n";
        return 2;
    }
    TSimModule module;
    TSimIdentity& id = module.Identity();
    if (parser.isSet(fwName))
        id.firmwareName = parser.value(fwName);
    if (parser.isSet(fwVersion)) {
        const QStringList parts = parser.value(fwVersion).split(QLatin1Char('.'));
        bool okMajor = false, okMinor = parts.size() == 2;
        const uint major = parts.value(0).toUInt(&okMajor);
        const uint minor = okMinor ? parts.value(1).toUInt(&okMinor) : 0;
        if (!okMajor || !okMinor || major > 255 || minor > 255) {
            err << "error - --fw-version wants MAJOR.MINOR, each 0..255\n";
            return 2;
        }
        id.versionMajor = quint8(major);
        id.versionMinor = quint8(minor);
    }
    if (parser.isSet(build)) {
        bool ok = false;
        const uint value = parser.value(build).toUInt(&ok);
        if (!ok || value > 0xFFFF) {
            err << "error - --build wants 0..65535\n";
            return 2;
        }
        id.buildCount = quint16(value);
    }
    if (parser.isSet(deviceType)) {
        bool ok = false;
        const uint value = parser.value(deviceType).toUInt(&ok, 0);
        if (!ok || value > 0xFF) {
            err << "error - --device-type wants 0..255\n";
            return 2;
        }
        id.deviceType = quint8(value);
    }
    if (parser.isSet(address) && !ParseHex32(parser.value(address), id.deviceAddress)) {
        err << "error - --address wants up to 8 hexadecimal digits\n";
        return 2;
    }
    if (parser.isSet(deviceId) && !ParseHex32(parser.value(deviceId), id.deviceId)) {
        err << "error - --id wants up to 8 hexadecimal digits\n";
        return 2;
    }

    if (parser.isSet(productId)) {
        bool ok = false;
        const uint value = parser.value(productId).toUInt(&ok, 0);
        if (!ok || value > 0xFFFF) {
            err << "error - --product-id wants a 16-bit number such as 0x447\n";
            return 2;
        }
        module.Bootloader().SetDevice(quint16(value));
    }
    module.Bootloader().SetExtendedErase(!parser.isSet(noExtErase));
    auto* production = module.ServiceOf<TSimProductionSupport>();
    if (parser.isSet(testLoss)) {
        bool ok = false;
        const int percent = parser.value(testLoss).toInt(&ok);
        if (!ok || percent < 0 || percent > 100) {
            err << "error - --test-loss wants 0..100\n";
            return 2;
        }
        production->SetTestPacketLoss(percent);
    }
    production->SetChannelBusy(parser.isSet(channelBusy));
    if (parser.isSet(prefill)) {
        const QStringList sizes = parser.value(prefill).split(QLatin1Char(','));
        bool okBoot = sizes.size() == 2, okImage = false;
        const uint boot = okBoot ? sizes.at(0).toUInt(&okBoot, 0) : 0;
        const uint image = okBoot ? sizes.at(1).toUInt(&okImage, 0) : 0;
        if (!okBoot || !okImage) {
            err << "error - --prefill wants BOOT,IMAGE: two byte counts such as 0x2000,0x8000\n";
            return 2;
        }
        module.Bootloader().PreFill(boot, image);
    }
    module.SetBootloaderPacing(parser.isSet(pacing));

    std::unique_ptr<TSimGateway> gateway;
    QString gatewayError;
    const TSimGatewayOptions::Result gatewayResult = gatewayOptions.Start(parser, gateway, gatewayError);
    if (gatewayResult == TSimGatewayOptions::UsageError || gatewayResult == TSimGatewayOptions::Failed) {
        err << gatewayError << "\n";
        return gatewayResult == TSimGatewayOptions::UsageError ? 2 : 1;
    }

    // The network: start options, then commands on standard input while the module runs.
    TSimControl control(module);
    // SIGINT/SIGTERM/SIGHUP end the event loop so that the link is removed on the way out (after a
    // SIGKILL the next simulator replaces the dangling link).
    if (::pipe(g_signalPipe) == 0) {
        auto* notifier = new QSocketNotifier(g_signalPipe[0], QSocketNotifier::Read, &app);
        QObject::connect(notifier, &QSocketNotifier::activated, &app, &QCoreApplication::quit);
        std::signal(SIGINT, OnSignal);
        std::signal(SIGTERM, OnSignal);
        std::signal(SIGHUP, OnSignal);
    }
    QString error;
    if (!control.ApplyOptions(parser, error)) {
        err << error << "\n";
        return 2;
    }

    if (!module.Open(&error)) {
        err << error << "\n";
        return 1;
    }
    if (parser.isSet(link) && !module.CreateLink(parser.value(link), &error)) {
        err << error << "\n";
        return 1;
    }
    if (!osprey.Start(module, error)) {
        err << error << "\n";
        return 1;
    }
    QTextStream out(stdout);
    out << module.PortName() << "\n";
    if (!osprey.PeerPortName().isEmpty())
        out << osprey.PeerPortName() << "\n";
    if (gateway)
        out << "gateway port " << gateway->Port() << "\n";
    out.flush();
    // A background job that reads its terminal would be stopped; it gets EIO instead and stops listening.
    std::signal(SIGTTIN, SIG_IGN);
    QObject::connect(&control, &TSimControl::EvReply, [&out](const QString& reply) {
        out << reply << "\n";
        out.flush();
    });
    control.Listen(STDIN_FILENO);
    if (parser.isSet(bootloader))
        module.EnterBootloader();
    else if (parser.isSet(powerUp))
        module.SendPowerUpEvent();

    const int rc = app.exec();
    module.Close();
    return rc;
}

#include "tools/cli/TCli.h"

#include <QCommandLineParser>
#include <QEventLoop>
#include <QFileInfo>
#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QRegExp>
#include <QSerialPortInfo>
#include <QTimer>

#include <memory>

#include "devices/TControllerPrototypes.h"
#include "devices/TDiscoveryRates.h"
#include "devices/TModuleOpener.h"
#include "devices/TDeviceManager.h"
#include "devices/TExtLoRaWANEndNode.h"
#include "devices/TLoRaWANEndNode.h"
#include "hci/TVeltoLRHCI.h"
#include "sap/TFieldLayout.h"
#include "sap/TDataLinkSAP.h"
#include "sap/TProductionSupportSAP.h"
#include "sap/TSensorSAP.h"
#include "sap/TTraceSAP.h"
#include "sap/TVeltoLRDeviceMgmt.h"
#include "sap/TVeltoLRLoRaWAN.h"
#include "status/TStatusLog.h"
#include "firmware/TBootloaderCtrl.h"
#include "firmware/TIntelHex.h"
#include "devices/TRegTable.h"
#include "firmware/TUpdateProgress.h"
#include "tools/cli/TCliConfig.h"

#include <unistd.h>

namespace {
// subcommand   summary
const char* const kSubcommands[][2] = {
    {"ports", "List present serial ports and whether a discovery pattern matches them."},
    {"discover", "Run device discovery and print every module found."},
    {"exec", "Execute a text command (SAP/Command Key=Value ...) on one module."},
    {"monitor", "Print every event a module sends."},
    {"commands", "List the text commands with their descriptions."},
    {"regtable", "Write SX1272/SX1276/SX1280 register tables as C header text."},
    {"flash", "Update a module's firmware from an Intel HEX image through the STM32 bootloader."},
    {"hex", "Read an Intel HEX file into a memory image and describe it (or write it back)."},
    {"gateways", "call ADDRESS... [--wait SECONDS]: call gateways over UDP and print their status answers; list: the stored addresses."},
    {"config", "Export a module's configuration as a template, apply one (export | apply FILE | diff FILE)."},
};

/// Runs the event loop for `seconds` (for ever when 0) or until `stop` quits it; sleeps while nothing happens.
void Pump(double seconds, QEventLoop* stop = nullptr)
{
    QEventLoop local;
    QEventLoop& loop = stop ? *stop : local;
    QTimer end;
    end.setSingleShot(true);
    QObject::connect(&end, &QTimer::timeout, &loop, &QEventLoop::quit);
    if (seconds > 0)
        end.start(int(seconds * 1000));
    loop.exec();
}
}

TCli::TCli(QTextStream& out, QTextStream& err)
    : m_out(out)
    , m_err(err)
{
}

int TCli::Usage(const QString& text)
{
    m_err << "error - " << text << "\n" << "Try 'tessera-cli --help'.\n";
    m_err.flush();
    return ExitUsage;
}

int TCli::Run(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Velto LoRaWAN Tessera from the command line."));
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsOptions);
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Show help for the subcommand."));
    const QCommandLineOption version(QStringLiteral("version"), QStringLiteral("Show the studio version."));
    const QCommandLineOption port(QStringLiteral("port"), QStringLiteral("Serial port (a device path or a pseudo-terminal)."), QStringLiteral("PORT"));
    const QCommandLineOption baud(QStringLiteral("baud"), QStringLiteral("Baud rate (default: the last one used, else 115200)."), QStringLiteral("RATE"));
    const QCommandLineOption json(QStringLiteral("json"), QStringLiteral("Print JSON instead of text."));
    const QCommandLineOption verbose(QStringLiteral("verbose"), QStringLiteral("Print the status log on stderr."));
    const QCommandLineOption seconds(QStringLiteral("seconds"), QStringLiteral("How long to run."), QStringLiteral("N"));
    const QCommandLineOption chip(QStringLiteral("chip"), QStringLiteral("SX1272, SX1276 or SX1280."), QStringLiteral("CHIP"));
    const QCommandLineOption freq(QStringLiteral("freq"), QStringLiteral("RF frequency in Hz (repeatable)."), QStringLiteral("HZ"));
    const QCommandLineOption bitrate(QStringLiteral("bitrate"), QStringLiteral("FSK bit rate in b/s (repeatable)."), QStringLiteral("BPS"));
    const QCommandLineOption fdev(QStringLiteral("fdev"), QStringLiteral("FSK frequency deviation in Hz (repeatable)."), QStringLiteral("HZ"));
    const QCommandLineOption rxbw(QStringLiteral("rxbw"), QStringLiteral("Receive bandwidth in Hz (repeatable)."), QStringLiteral("HZ"));
    const QCommandLineOption image(QStringLiteral("image"), QStringLiteral("Intel HEX image to flash."), QStringLiteral("FILE"));
    const QCommandLineOption verify(QStringLiteral("verify"), QStringLiteral("Read every byte of the image back and compare."));
    const QCommandLineOption eraseAll(QStringLiteral("erase-all"), QStringLiteral("Erase the whole flash, not only the image's pages."));
    const QCommandLineOption expectName(QStringLiteral("expect-name"), QStringLiteral("Refuse an image whose file name does not contain NAME."), QStringLiteral("NAME"));
    const QCommandLineOption noConfirm(QStringLiteral("no-confirm"), QStringLiteral("Do not read the started firmware's information (for images without the HCI)."));
    const QCommandLineOption pins(QStringLiteral("pins"), QStringLiteral("Drive the FTDI CBUS pins: boot | boot-reset."), QStringLiteral("MODE"));
    const QCommandLineOption viaHci(QStringLiteral("via-hci"), QStringLiteral("Start the bootloader with the HCI request SetBootLoaderMode."));
    const QCommandLineOption size(QStringLiteral("size"), QStringLiteral("Memory image size in bytes (default 1 MiB)."), QStringLiteral("BYTES"));
    const QCommandLineOption write(QStringLiteral("write"), QStringLiteral("Write the image back as Intel HEX."), QStringLiteral("OUT"));
    const QCommandLineOption timeout(QStringLiteral("timeout"), QStringLiteral("HCI response time-out in ms (default 5000)."), QStringLiteral("MS"));
    parser.addOptions({help, version, port, baud, json, verbose, seconds, chip, freq, bitrate, fdev, rxbw, image, verify, eraseAll, pins, viaHci, size, write, timeout, expectName, noConfirm});
    AddGatewayOptions(parser);
    const QCommandLineOption withKeys(QStringLiteral("with-keys"), QStringLiteral("config export: include the keys."));
    const QCommandLineOption withDeviceValues(QStringLiteral("with-device-values"), QStringLiteral("config export: include addresses, EUIs, IDs and nonces."));
    parser.addOptions({withKeys, withDeviceValues});
    parser.addPositionalArgument(QStringLiteral("subcommand"), QStringLiteral("ports | discover | exec | monitor | commands | regtable | flash | hex | gateways | config"));

    if (!parser.parse(QStringList{QStringLiteral("tessera-cli")} + arguments))
        return Usage(parser.errorText());
    if (parser.isSet(version)) {
        m_out << "tessera-cli " << TESSERA_VERSION << "\n";
        return ExitOk;
    }
    const QStringList positional = parser.positionalArguments();
    const QString sub = positional.value(0);
    if (parser.isSet(help) || sub.isEmpty()) {
        QString text = parser.helpText();
        text.replace(QLatin1String("tessera-cli [options] subcommand"), QStringLiteral("tessera-cli [options] %1").arg(sub.isEmpty() ? QStringLiteral("subcommand") : sub));
        m_out << text << "\nSubcommands:\n";
        for (const auto& row : kSubcommands)
            if (sub.isEmpty() || sub == QLatin1String(row[0]))
                m_out << "  " << QString::fromLatin1(row[0]).leftJustified(10) << row[1] << "\n";
        if (sub == QLatin1String("flash"))
            m_out << "\nExample: tessera-cli flash --port /dev/ttyUSB0 --image Velto_LoRaWAN_V3.1.hex --via-hci --verify --expect-name Velto_LoRaWAN\n"
                     "Exit status: 0 \"Success\", 1 any other status, 2 usage error or no image file.\n";
        if (sub == QLatin1String("exec"))
            m_out << "\nExample: tessera-cli exec --port /dev/ttyUSB0 LoRaWAN/SendUData LoRaPort=0x0A Payload=\"01 02 03\"\n"
                     "Exit status: 0 success, 1 the command failed, 2 usage error, 3 no port or no module.\n";
        return sub.isEmpty() && !parser.isSet(help) ? ExitUsage : ExitOk;
    }
    m_json = parser.isSet(json);
    m_verbose = parser.isSet(verbose);
    if (m_verbose)
        QObject::connect(&TStatusLog::Instance(), &TStatusLog::EvLine, [this](const QString& line) {
            m_err << line << "\n";
            m_err.flush();
        });

    double secs = 0;
    if (parser.isSet(seconds)) {
        bool ok = false;
        secs = parser.value(seconds).toDouble(&ok);
        if (!ok || secs <= 0)
            return Usage(QStringLiteral("--seconds wants a positive number, got \"%1\"").arg(parser.value(seconds)));
    }
    QString baudText = parser.value(baud);
    if (parser.isSet(baud) && !TVeltoLRHCI::SupportedBaudrates().contains(TVeltoLRHCI::ParseBaudrate(baudText)))
        return Usage(QStringLiteral("unsupported baud rate \"%1\"").arg(baudText));
    if (baudText.isEmpty())
        baudText = TDiscoveryRates::LoadLastBaudrate();

    if (parser.isSet(timeout)) {
        bool ok = false;
        const int ms = parser.value(timeout).toInt(&ok);
        if (!ok || ms <= 0)
            return Usage(QStringLiteral("--timeout wants a positive number of milliseconds"));
        TVeltoLRHCI::SetDefaultResponseTimeout(ms);
    }

    if (sub == QLatin1String("ports"))
        return Ports();
    if (sub == QLatin1String("gateways"))
        return Gateways(positional.mid(1), parser);
    if (sub == QLatin1String("hex")) {
        if (positional.size() < 2)
            return Usage(QStringLiteral("hex needs a file"));
        return Hex(positional.at(1), parser.value(size), parser.value(write));
    }
    if (sub == QLatin1String("flash")) {
        if (!parser.isSet(port) || !parser.isSet(image))
            return Usage(QStringLiteral("flash needs --port and --image"));
        const QString pinMode = parser.value(pins);
        if (parser.isSet(pins) && pinMode != QLatin1String("boot") && pinMode != QLatin1String("boot-reset"))
            return Usage(QStringLiteral("--pins wants boot or boot-reset"));
        TBootloaderCtrl::Request request;
        request.port = parser.value(port);
        request.imagePath = parser.value(image);
        request.baudrate = baudText;
        request.viaHci = parser.isSet(viaHci);
        request.confirmIdentity = !parser.isSet(noConfirm);
        request.expectName = parser.value(expectName);
        request.flags = (parser.isSet(verify) ? TBootloaderCtrl::OptVerify : 0u) | (parser.isSet(eraseAll) ? TBootloaderCtrl::OptEraseAll : 0u)
                        | (pinMode == QLatin1String("boot-reset") ? TBootloaderCtrl::OptFtdiBootReset : 0u)
                        | (pinMode == QLatin1String("boot") ? TBootloaderCtrl::OptFtdiBootOnly : 0u);
        return Flash(request);
    }
    if (sub == QLatin1String("discover"))
        return Discover(parser.values(port), parser.isSet(seconds) ? secs : 3);
    if (sub == QLatin1String("regtable"))
        return RegTable(parser.value(chip), parser.values(freq), parser.values(bitrate), parser.values(fdev), parser.values(rxbw));
    if (sub == QLatin1String("commands"))
        return Commands(parser.value(port), baudText);
    if (sub == QLatin1String("config"))
        return TCliConfig(*this).Run(positional.mid(1), parser.value(port), baudText,
                                     TConfigTemplate::Options((parser.isSet(withKeys) ? TConfigTemplate::WithKeys : 0)
                                                              | (parser.isSet(withDeviceValues) ? TConfigTemplate::WithDeviceValues : 0)));

    if (sub == QLatin1String("exec") || sub == QLatin1String("monitor")) {
        if (!parser.isSet(port))
            return Usage(QStringLiteral("%1 needs --port").arg(sub));
        if (sub == QLatin1String("monitor"))
            return Monitor(parser.value(port), baudText, secs);
        if (positional.size() < 2)
            return Usage(QStringLiteral("exec needs a command such as DeviceMgmt/GetDeviceInfo"));
        return Exec(parser.value(port), baudText, positional.at(1), positional.mid(2));
    }
    return Usage(QStringLiteral("unknown subcommand \"%1\"").arg(sub));
}

int TCli::Ports()
{
    TDeviceManager& manager = TDeviceManager::Instance();
    const QStringList patterns = TDeviceManager::DefaultPatterns() + manager.ExtraPatterns();
    const auto infos = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo& info : infos) {
        const QString vidPid = info.hasVendorIdentifier() && info.hasProductIdentifier()
            ? QStringLiteral("%1:%2").arg(info.vendorIdentifier(), 4, 16, QLatin1Char('0')).arg(info.productIdentifier(), 4, 16, QLatin1Char('0')).toUpper()
            : QStringLiteral("-");
        bool matches = false;
        for (const QString& pattern : patterns)
            matches = matches || !manager.PortsMatching(pattern).filter(QRegExp(QStringLiteral("^") + QRegExp::escape(info.systemLocation()) + QStringLiteral("$"))).isEmpty();
        const QString serial = info.serialNumber().isEmpty() ? QStringLiteral("-") : info.serialNumber();
        if (m_json)
            m_out << QJsonDocument(QJsonArray{info.systemLocation(), vidPid, serial, matches}).toJson(QJsonDocument::Compact) << "\n";
        else
            m_out << info.systemLocation() << "\t" << vidPid << "\t" << serial << "\t" << (matches ? "match" : "no-match") << "\n";
    }
    m_out.flush();
    return ExitOk;
}

void TCli::PrintRecord(const TKeyValueList& record, bool oneLine)
{
    if (m_json) {
        QJsonArray pairs;
        for (const auto& item : record)
            pairs.append(QJsonArray{item.first, item.second});
        m_out << QJsonDocument(pairs).toJson(QJsonDocument::Compact) << "\n";
    } else if (oneLine) {
        m_out << record.ToText(QStringLiteral("; ")) << "\n";
    } else {
        for (const auto& item : record)
            m_out << item.first << ": " << item.second << "\n";
    }
    m_out.flush();
}

QString TCli::OpenFailure(const QString& port, const QString& reason)
{
    QString text = QStringLiteral("error - couldn't open port %1: %2\n").arg(port, reason);
    if (reason.contains(QLatin1String("Permission denied"), Qt::CaseInsensitive))
        text += QStringLiteral("info - join the group dialout (sudo usermod -aG dialout $USER, then log in again) "
                               "or install a udev rule that gives you the port\n");
    return text;
}

TRadioController* TCli::OpenController(const QString& port, const QString& baud)
{
    TControllerPrototypes::RegisterAll();
    TRadioController probe;
    if (!probe.ProbeOpen(port, baud)) {
        // A port that did not open says why; "no module answers" is only for a port that opened.
        if (!probe.OpenError().isEmpty())
            m_err << OpenFailure(port, probe.OpenError());
        else
            m_err << QStringLiteral("error - no module answers on %1 (%2)\n").arg(port, probe.LastError());
        m_err.flush();
        return nullptr;
    }
    probe.Close(true);
    QString error;
    TRadioController* controller = TModuleOpener::Open(probe, &error);
    if (!controller) {
        m_err << OpenFailure(port, error);
        m_err.flush();
    }
    return controller;
}

int TCli::Exec(const QString& port, const QString& baud, const QString& command, const QStringList& pairs)
{
    TKeyValueList params;
    for (const QString& pair : pairs) {
        const int eq = pair.indexOf(QLatin1Char('='));
        if (eq <= 0)
            return Usage(QStringLiteral("parameter \"%1\" is not Key=Value").arg(pair));
        params.Append(pair.left(eq), pair.mid(eq + 1));
    }
    if (command.count(QLatin1Char('/')) != 1 || command.startsWith(QLatin1Char('/')) || command.endsWith(QLatin1Char('/')))
        return Usage(QStringLiteral("command \"%1\" is not SAP/Command").arg(command));
    std::unique_ptr<TRadioController> controller(OpenController(port, baud));
    if (!controller)
        return ExitNoModule;
    TKeyValueList result;
    const bool ok = controller->ExecuteAny(command, params, result);
    if (!ok) {
        m_err << command << ": " << controller->LastError() << "\n";
        m_err.flush();
        return ExitCommandFailed;
    }
    PrintRecord(result, false);
    TDiscoveryRates::SaveLastBaudrate(baud);
    return ExitOk;
}

int TCli::Monitor(const QString& port, const QString& baud, double seconds)
{
    std::unique_ptr<TRadioController> controller(OpenController(port, baud));
    if (!controller)
        return ExitNoModule;
    auto print = [this](const TKeyValueList& record) { PrintRecord(record, true); };
    TRadioController* c = controller.get();
    QObject::connect(c, &TRadioController::EvDeviceMgmt_PowerUpEvent, print);
    QObject::connect(c, &TRadioController::EvDeviceMgmt_RTCAlarmEvent, print);
    QObject::connect(c, &TRadioController::EvTrace_Event, print);
    if (auto* node = qobject_cast<TLoRaWANEndNode*>(c)) {
        QObject::connect(node, &TLoRaWANEndNode::EvLoRaWAN_RxEvent, print);
        QObject::connect(node, &TLoRaWANEndNode::EvLoRaWAN_SendMsgEvent, print);
        QObject::connect(node, &TLoRaWANEndNode::EvSensorApp_DataEvent, print);
    }
    if (auto* ext = qobject_cast<TExtLoRaWANEndNode*>(c))
        QObject::connect(ext, &TExtLoRaWANEndNode::EvDataLink_MessageEvent, print);
    // The port may vanish (module unplugged, simulator ended): say so and end instead of running on.
    QEventLoop loop;
    QObject::connect(c->Link(), &TVeltoLRHCI::EvPortLost, &loop, &QEventLoop::quit);
    if (!c->Link()->PortLost())
        Pump(seconds, &loop);
    if (c->Link()->PortLost()) {
        m_err << "error - module disconnected: port " << port << " is gone\n";
        m_err.flush();
        return ExitNoModule;
    }
    return ExitOk;
}

int TCli::Commands(const QString& port, const QString& baud)
{
    QList<QPair<QString, QString>> commands;
    std::unique_ptr<TRadioController> controller;
    if (!port.isEmpty()) {
        controller.reset(OpenController(port, baud));
        if (!controller)
            return ExitNoModule;
        commands = controller->Commands();
    } else {
        // Every service, as a controller of the richest class would offer them.
        auto add = [&commands](const QString& name, TVeltoLRSAP&& sap) {
            for (const QString& command : sap.CommandNames())
                commands << qMakePair(name + QLatin1Char('/') + command, sap.CommandDescription(command));
        };
        add(QStringLiteral("DataLink"), TDataLinkSAP());
        add(QStringLiteral("DeviceMgmt"), TVeltoLRDeviceMgmt());
        add(QStringLiteral("LoRaWAN"), TVeltoLRLoRaWAN());
        add(QStringLiteral("PTS"), TProductionSupportSAP());
        add(QStringLiteral("SensorApp"), TSensorSAP());
        add(QStringLiteral("VTTrace"), TTraceSAP());
    }
    for (const auto& command : commands)
        m_out << command.first << "\t" << command.second << "\n";
    m_out.flush();
    return ExitOk;
}

int TCli::Discover(const QStringList& extraPorts, double seconds)
{
    TControllerPrototypes::RegisterAll();
    TDeviceManager& manager = TDeviceManager::Instance();
    manager.SetDefaultPatterns(TDeviceManager::DefaultPatterns());
    // Hand-given ports count for this run only: the stored list of extra ports stays as it is. One
    // that does not open is reported with the system's reason (and the run ends with exit status 3).
    bool allOpened = true;
    for (const QString& port : extraPorts) {
        TVeltoLRHCI check;
        if (!check.Open(port, QString::number(TVeltoLRHCI::kDefaultBaudrate))) {
            m_err << OpenFailure(port, check.OpenError());
            m_err.flush();
            allOpened = false;
            continue;
        }
        check.Close();
        manager.AddTemporaryPort(port);
    }
    QStringList found;
    QObject::connect(&manager, &TDeviceManager::EvLocalDeviceAdded, [&found](const QString& port) { found << port; });
    manager.DiscoveryTick();
    manager.Start();
    Pump(seconds);
    manager.Stop();
    for (const QString& port : qAsConst(found)) {
        const TKeyValueList info = manager.DeviceInfoByPort(port);
        if (info.isEmpty())
            continue;
        TKeyValueList record;
        record.Append(QStringLiteral("Port"), port);
        record.Append(QStringLiteral("Baudrate"), info.Value(QStringLiteral("Baudrate")));
        for (const auto& item : info)
            if (item.first != QLatin1String("Port") && item.first != QLatin1String("Baudrate"))
                record.append(item);
        PrintRecord(record, true);
    }
    return allOpened ? ExitOk : ExitNoModule;
}

int TCli::RegTable(const QString& chipName, const QStringList& freqs, const QStringList& rates, const QStringList& fdevs, const QStringList& bws)
{
    TRegTable::Chip chip;
    if (!TRegTable::ParseChip(chipName, chip))
        return Usage(QStringLiteral("--chip wants SX1272, SX1276 or SX1280"));
    QList<double> f, r, d, b;
    QString bad;
    if (!TRegTable::ParseValues(freqs, f, bad) || !TRegTable::ParseValues(rates, r, bad) || !TRegTable::ParseValues(fdevs, d, bad)
        || !TRegTable::ParseValues(bws, b, bad))
        return Usage(QStringLiteral("\"%1\" is not a positive number").arg(bad));
    if (f.isEmpty() && r.isEmpty() && d.isEmpty() && b.isEmpty())
        return Usage(QStringLiteral("regtable needs at least one --freq, --bitrate, --fdev or --rxbw"));
    QString error;
    m_out << TRegTable(chip).Header(f, r, d, b, &error);
    m_out.flush();
    if (!error.isEmpty()) {
        m_err << "error - " << error << "\n";
        m_err.flush();
        return ExitCommandFailed;
    }
    return ExitOk;
}

int TCli::Flash(const TBootloaderCtrl::Request& request)
{
    if (!QFileInfo(request.imagePath).isFile()) {
        m_err << "error - image file not found: " << request.imagePath << "\n";
        m_err.flush();
        return ExitUsage;
    }
    // The protocol traces only with --verbose: off, they are not even formatted (every answer counts).
    if (!m_verbose)
        QLoggingCategory::setFilterRules(QStringLiteral("tessera.stm32.debug=false"));
    TBootloaderCtrl ctrl;
    const bool terminal = ::isatty(STDERR_FILENO) == 1;
    TUpdateProgress progress;
    QEventLoop loop;
    QObject::connect(&ctrl, &TBootloaderCtrl::EvFinished, &loop, &QEventLoop::quit);
    QObject::connect(&ctrl, &TBootloaderCtrl::EvMessage, [this](const QString& text) {
        // --verbose shows the whole status log already; warnings always reach stderr.
        if (!m_verbose && text.startsWith(QLatin1String("warning - "))) {
            m_err << text << "\n";
            m_err.flush();
        }
    });
    QObject::connect(&ctrl, &TBootloaderCtrl::EvBytes, [&](quint64 done, quint64 total) {
        progress.Update(done, total);
        if (!terminal)
            return;
        const int filled = progress.Percent() * 40 / 100;
        m_err << "\r[" << QString(filled, QLatin1Char('#')) << QString(40 - filled, QLatin1Char(' ')) << "] "
              << QString::number(progress.Percent()).rightJustified(3) << "% " << progress.Text() << "   ";
        m_err.flush();
    });
    ctrl.Run(request);
    loop.exec();
    if (terminal && progress.Total() > 0)
        m_err << "\n";

    const TBootloaderCtrl::Outcome& outcome = ctrl.Result();
    const QString status = TBootloaderCtrl::StatusText(outcome.status);
    const double kbPerSecond = outcome.seconds > 0 ? double(outcome.bytesWritten) / 1024.0 / outcome.seconds : 0.0;
    if (m_json) {
        QJsonObject firmware;
        for (const auto& item : outcome.newFirmware)
            firmware.insert(item.first, item.second);
        QJsonObject result{
            {QStringLiteral("status"), status},
            {QStringLiteral("code"), int(outcome.status)},
            {QStringLiteral("bytes"), double(outcome.bytesWritten)},
            {QStringLiteral("seconds"), qRound(outcome.seconds * 1000) / 1000.0},
            {QStringLiteral("KB/s"), qRound(kbPerSecond * 10) / 10.0},
            {QStringLiteral("verified"), outcome.verified},
            {QStringLiteral("firmware"), firmware},
        };
        if (!outcome.text.isEmpty())
            result.insert(QStringLiteral("error"), outcome.text);
        m_out << QJsonDocument(result).toJson(QJsonDocument::Compact) << "\n";
    } else if (outcome.status == TBootloaderCtrl::Success) {
        m_out << status << "\n";
        if (!outcome.newFirmware.isEmpty())
            m_out << "info - the module runs " << TFirmwareIdentity::FromFirmwareInfo(outcome.newFirmware).Text() << "\n";
    } else {
        m_err << status << (outcome.text.isEmpty() ? QString() : QStringLiteral(": ") + outcome.text) << "\n";
    }
    m_out.flush();
    m_err.flush();
    return outcome.status == TBootloaderCtrl::Success ? ExitOk : ExitCommandFailed;
}

int TCli::Hex(const QString& path, const QString& sizeText, const QString& writePath)
{
    quint64 size = 1024 * 1024;
    if (!sizeText.isEmpty() && (!TFieldLayout::ParseUnsigned(sizeText, false, 64 * 1024 * 1024, size) || size == 0))
        return Usage(QStringLiteral("--size wants a number of bytes from 1 to 67108864"));
    std::vector<quint8> buffer(size_t(size), 0xFF);
    TIntelHex hex;
    if (!hex.ReadFile(path, buffer.data(), quint32(size), true)) {
        m_err << "error - couldn't open file: " << path << "\n";
        m_err.flush();
        return ExitCommandFailed;
    }
    if (!hex.ErrorText().isEmpty()) {
        m_err << hex.ErrorText() << "\n";
        m_err.flush();
        return ExitCommandFailed;
    }
    TImageInfo info;
    hex.GetImageInfo(info);
    auto hex32 = [](quint32 v) { return QStringLiteral("0x%1").arg(v, 8, 16, QLatin1Char('0')).toUpper().replace(QLatin1String("0X"), QLatin1String("0x")); };
    m_out << "Valid: " << (hex.IsValid() ? "yes" : "no") << "\n"
          << "Lowest: " << hex32(info.lowest) << "\n"
          << "Highest: " << hex32(info.highest) << "\n"
          << "Base: " << hex32(info.base) << "\n";
    m_out.flush();
    if (!writePath.isEmpty() && !hex.WriteFile(writePath.toLocal8Bit(), buffer.data(), quint32(size), true)) {
        m_err << "error - couldn't write file: " << writePath << "\n";
        m_err.flush();
        return ExitCommandFailed;
    }
    return hex.IsValid() ? ExitOk : ExitCommandFailed;
}

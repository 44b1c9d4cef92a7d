// tessera-cli gateways: call gateways over UDP and print their status answers; list the stored addresses.
#include "tools/cli/TCli.h"

#include <QCommandLineParser>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>
#include <QTimer>

#include "gateway/TGatewayCaller.h"
#include "gateway/TGatewayList.h"
#include "gateway/TGatewayProtocol.h"

namespace {
constexpr double kDefaultWaitSeconds = 2;

// option          value name  description
const char* const kGatewayOptions[][3] = {
    {"wait", "SECONDS", "gateways call: how long to print status answers (default 2; 0 sends only)."},
    {"server-port", "PORT", "gateways call: UDP port for the answers (default GatewaySupport/ServerPort)."},
    {"gateway-port", "PORT", "gateways call: UDP port of the gateways (default GatewaySupport/GatewayPort)."},
};
}

void TCli::AddGatewayOptions(QCommandLineParser& parser)
{
    for (const auto& row : kGatewayOptions)
        parser.addOption(QCommandLineOption(QString::fromLatin1(row[0]), QString::fromLatin1(row[2]), QString::fromLatin1(row[1])));
}

int TCli::Gateways(const QStringList& arguments, const QCommandLineParser& parser)
{
    const QString action = arguments.value(0);
    if (action == QLatin1String("list")) {
        if (arguments.size() > 1)
            return Usage(QStringLiteral("gateways list takes no addresses"));
        return GatewaysList();
    }
    if (action != QLatin1String("call"))
        return Usage(action.isEmpty() ? QStringLiteral("gateways needs call or list") : QStringLiteral("unknown gateways action \"%1\"").arg(action));
    if (arguments.size() < 2)
        return Usage(QStringLiteral("gateways call needs at least one IP-Address"));

    double wait = kDefaultWaitSeconds;
    if (parser.isSet(QStringLiteral("wait"))) {
        bool ok = false;
        wait = parser.value(QStringLiteral("wait")).toDouble(&ok);
        if (!ok || wait < 0)
            return Usage(QStringLiteral("--wait wants a number of seconds, 0 or more, got \"%1\"").arg(parser.value(QStringLiteral("wait"))));
    }
    TGatewayCaller caller;
    int ports[2] = {caller.ServerPort(), caller.GatewayPort()};
    const char* const names[2] = {"server-port", "gateway-port"};
    for (int i = 0; i < 2; ++i) {
        const QString name = QString::fromLatin1(names[i]);
        if (!parser.isSet(name))
            continue;
        bool ok = false;
        ports[i] = parser.value(name).toInt(&ok);
        if (!ok || !TGatewayCaller::IsPort(ports[i]))
            return Usage(QStringLiteral("--%1 wants a UDP port 1..65535, got \"%2\"").arg(name, parser.value(name)));
    }
    caller.SetPorts(ports[0], ports[1]);
    return GatewaysCall(caller, arguments.mid(1), wait);
}

int TCli::GatewaysCall(TGatewayCaller& caller, const QStringList& addresses, double waitSeconds)
{
    bool failed = false;
    QSet<QString> answered;
    if (!m_verbose)   // --verbose shows them already, in the status log
        QObject::connect(&caller, &TGatewayCaller::EvProblem, [this](const QString& text) {
            m_err << text << "\n";
            m_err.flush();
        });
    QObject::connect(&caller, &TGatewayCaller::EvCallFailed, [&failed] { failed = true; });
    QObject::connect(&caller, &TGatewayCaller::EvStatus, [&](const QString& address, int code, const QString& detail) {
        answered.insert(address);
        TKeyValueList record;
        record.Append(QStringLiteral("Address"), address);
        record.Append(QStringLiteral("Code"), QStringLiteral("%1").arg(code, 3, 10, QLatin1Char('0')));
        record.Append(QStringLiteral("Status"), TGatewayProtocol::StatusText(code, detail));
        PrintRecord(record, true);
    });
    if (waitSeconds > 0 && !caller.Listen())
        failed = true;
    caller.Call(addresses);
    if (waitSeconds > 0) {
        QEventLoop loop;
        QTimer::singleShot(int(waitSeconds * 1000), &loop, &QEventLoop::quit);
        loop.exec();
    }
    if (failed)
        return ExitCommandFailed;
    if (waitSeconds <= 0)
        return ExitOk;
    bool silent = false;
    for (const QString& address : addresses) {
        if (answered.contains(address.trimmed()))
            continue;
        m_err << "error - no answer from " << address.trimmed() << " within " << waitSeconds << " s\n";
        silent = true;
    }
    m_err.flush();
    return silent ? ExitNoModule : ExitOk;
}

int TCli::GatewaysList()
{
    const QStringList addresses = TGatewayList::Load();
    if (m_json)
        m_out << QJsonDocument(QJsonArray::fromStringList(addresses)).toJson(QJsonDocument::Compact) << "\n";
    else
        for (const QString& address : addresses)
            m_out << address << "\n";
    m_out.flush();
    return ExitOk;
}

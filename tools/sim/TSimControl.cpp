#include "tools/sim/TSimControl.h"

#include <QCommandLineParser>
#include <QRegularExpression>
#include <QSocketNotifier>

#include <cerrno>
#include <unistd.h>

#include "base/THexText.h"
#include "sap/LoRaWANLayouts.h"
#include "sap/TFieldLayout.h"
#include "sap/TVeltoLRSAP.h"
#include "tools/sim/TSimLoRaWAN.h"
#include "tools/sim/TSimModule.h"

struct TSimControl::Command {
    const char* name;
    const char* usage;   ///< arguments, [optional ones] in brackets
    const char* help;
    int minArgs;
    int maxArgs;
    QString (TSimControl::*run)(const QStringList& args);
};

// name              usage                           help                                                        args    handler
const TSimControl::Command TSimControl::kCommands[] = {
    {"downlink",       "PORT HEX [confirmed]",         "queue a downlink for the receive window of the next uplink", 2, 3, &TSimControl::Downlink},
    {"downlink-now",   "PORT HEX [confirmed]",         "a downlink arrives at once",                                 2, 3, &TSimControl::DownlinkNow},
    {"multicast",      "GROUP PORT HEX",               "multicast data for group 0..3 arrives at once",              3, 3, &TSimControl::Multicast},
    {"mac",            "HEX",                          "a MAC command from the network (CID first) arrives",         1, 1, &TSimControl::Mac},
    {"invalid",        "CODE",                         "a frame fails its checks (0x04 MIC, 0x08 frame counter ...)", 1, 1, &TSimControl::Invalid},
    {"linkdisconnect", "[REASON]",                     "the link is lost (0 link check failed, 1 ADR ack limit)",    0, 1, &TSimControl::LinkDisconnect},
    {"joinaccept",     "on|off",                       "whether the network answers join requests",                  1, 1, &TSimControl::JoinAccept},
    {"status",         "",                             "network status of the node",                                 0, 0, &TSimControl::Status},
    {"help",           "",                             "this list",                                                  0, 0, &TSimControl::ShowHelp},
    {nullptr, nullptr, nullptr, 0, 0, nullptr},
};

namespace {
constexpr int kMaxPayloadBytes = 255;
constexpr quint8 kMaxLinkDisconnectReason = 1;
constexpr double kMinDownlinkSeconds = 0.1;
constexpr double kMaxDownlinkSeconds = 86400;
const char* const kDefaultDownlinkPort = "1";
const char* const kDefaultDownlinkPayload = "01";

QString Error(const QString& text)
{
    return QStringLiteral("error - ") + text;
}

QString Info(const QString& text)
{
    return QStringLiteral("info - ") + text;
}

bool ParseNumber(const QString& text, quint64 maximum, quint64& value)
{
    return TFieldLayout::ParseUnsigned(text, false, maximum, value);
}

/// Port 1..223 and a payload of hex octets ("CAFE", "CA-FE", "CA:FE"); false with the reason.
bool ParseData(const QString& portText, const QString& hexText, quint8& port, QByteArray& payload, QString& reason)
{
    quint64 value = 0;
    if (!ParseNumber(portText, TSimLoRaWAN::kMaxLoRaPort, value) || value == 0) {
        reason = QStringLiteral("LoRa port \"%1\" is not 1..%2").arg(portText).arg(TSimLoRaWAN::kMaxLoRaPort);
        return false;
    }
    port = quint8(value);
    if (!TFieldLayout::ParseHexBytes(hexText, payload) || payload.isEmpty()) {
        reason = QStringLiteral("\"%1\" is not a payload of hex octets").arg(hexText);
        return false;
    }
    if (payload.size() > kMaxPayloadBytes) {
        reason = QStringLiteral("payload of %1 bytes (at most %2)").arg(payload.size()).arg(kMaxPayloadBytes);
        return false;
    }
    return true;
}

/// PORT HEX [confirmed].
bool ParseDownlink(const QStringList& args, quint8& port, QByteArray& payload, bool& confirmed, QString& reason)
{
    if (!ParseData(args.at(0), args.at(1), port, payload, reason))
        return false;
    confirmed = args.size() > 2;
    if (confirmed && args.at(2) != QLatin1String("confirmed")) {
        reason = QStringLiteral("\"%1\" is not \"confirmed\"").arg(args.at(2));
        return false;
    }
    return true;
}

QString DataText(quint8 port, const QByteArray& payload, bool confirmed)
{
    return QStringLiteral("port %1, %2 bytes%3").arg(port).arg(payload.size()).arg(confirmed ? QStringLiteral(", confirmed") : QString());
}
}

TSimControl::TSimControl(TSimModule& module, QObject* parent)
    : QObject(parent)
    , m_module(module)
{
}

TSimControl::~TSimControl() = default;

QStringList TSimControl::Help()
{
    QStringList lines;
    for (const Command* c = kCommands; c->name; ++c)
        lines << (QLatin1String(c->name) + QLatin1Char(' ') + QLatin1String(c->usage)).trimmed().leftJustified(36) + QLatin1String(c->help);
    return lines;
}

QString TSimControl::Execute(const QString& line)
{
    const QStringList words = line.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts);
    if (words.isEmpty())
        return QString();
    for (const Command* c = kCommands; c->name; ++c) {
        if (words.first() != QLatin1String(c->name))
            continue;
        const QStringList args = words.mid(1);
        if (args.size() < c->minArgs || args.size() > c->maxArgs)
            return Error(QStringLiteral("usage: %1 %2").arg(QLatin1String(c->name), QLatin1String(c->usage)).trimmed());
        return (this->*(c->run))(args);
    }
    return Error(QStringLiteral("unknown command \"%1\" (help lists them)").arg(words.first()));
}

TSimLoRaWAN* TSimControl::LoRaWAN() const
{
    return m_module.ServiceOf<TSimLoRaWAN>();
}

QString TSimControl::NotActive() const
{
    const TSimLoRaWAN* lw = LoRaWAN();
    if (!lw)
        return Error(QStringLiteral("the module has no LoRaWAN service"));
    if (!lw->Active())
        return Error(QStringLiteral("the node is neither joined nor activated"));
    return QString();
}

QString TSimControl::Downlink(const QStringList& args)
{
    return SendDownlink(args, false);
}

QString TSimControl::DownlinkNow(const QStringList& args)
{
    return SendDownlink(args, true);
}

QString TSimControl::SendDownlink(const QStringList& args, bool now)
{
    quint8 port = 0;
    QByteArray payload;
    bool confirmed = false;
    QString reason;
    if (!ParseDownlink(args, port, payload, confirmed, reason))
        return Error(reason);
    TSimLoRaWAN* lw = LoRaWAN();
    // A queued downlink waits for an uplink; one that arrives now needs a node that listens.
    if (!lw || (now && !lw->Active()))
        return NotActive();
    if (now) {
        lw->InjectRxData(port, payload, confirmed);
        return Info(QStringLiteral("downlink sent (%1)").arg(DataText(port, payload, confirmed)));
    }
    lw->QueueDownlink(port, payload, confirmed);
    return Info(QStringLiteral("downlink queued for the next uplink (%1; %2 waiting)").arg(DataText(port, payload, confirmed)).arg(lw->QueuedDownlinks()));
}

QString TSimControl::Multicast(const QStringList& args)
{
    quint64 group = 0;
    if (!ParseNumber(args.at(0), TSimLoRaWAN::kMulticastGroups - 1, group))
        return Error(QStringLiteral("multicast group \"%1\" is not 0..%2").arg(args.at(0)).arg(TSimLoRaWAN::kMulticastGroups - 1));
    quint8 port = 0;
    QByteArray payload;
    QString reason;
    if (!ParseData(args.at(1), args.at(2), port, payload, reason))
        return Error(reason);
    if (const QString refusal = NotActive(); !refusal.isEmpty())
        return refusal;
    LoRaWAN()->InjectMulticastData(int(group), port, payload);
    return Info(QStringLiteral("multicast data sent to group %1 (%2)").arg(group).arg(DataText(port, payload, false)));
}

QString TSimControl::Mac(const QStringList& args)
{
    QByteArray command;
    if (!TFieldLayout::ParseHexBytes(args.at(0), command) || command.isEmpty() || command.size() > kMaxPayloadBytes)
        return Error(QStringLiteral("\"%1\" is not a MAC command of hex octets, CID first").arg(args.at(0)));
    if (const QString refusal = NotActive(); !refusal.isEmpty())
        return refusal;
    LoRaWAN()->InjectMacCommand(command);
    return Info(QStringLiteral("MAC command sent: ") + TFieldLayout::HexOctets(command));
}

QString TSimControl::Invalid(const QStringList& args)
{
    quint64 code = 0;
    if (!ParseNumber(args.at(0), 0xFF, code))
        return Error(QStringLiteral("error code \"%1\" is not 0..255").arg(args.at(0)));
    if (const QString refusal = NotActive(); !refusal.isEmpty())
        return refusal;
    LoRaWAN()->InjectInvalidData(quint8(code));
    return Info(QStringLiteral("invalid frame reported (error code %1)").arg(THexText::Prefixed(code, 2)));
}

QString TSimControl::LinkDisconnect(const QStringList& args)
{
    quint64 reason = 0;
    if (!args.isEmpty() && !ParseNumber(args.at(0), kMaxLinkDisconnectReason, reason))
        return Error(QStringLiteral("reason \"%1\" is not 0..%2").arg(args.at(0)).arg(kMaxLinkDisconnectReason));
    if (const QString refusal = NotActive(); !refusal.isEmpty())
        return refusal;
    LoRaWAN()->InjectLinkDisconnect(quint8(reason));
    return Info(QStringLiteral("link disconnected (reason %1)").arg(reason));
}

QString TSimControl::JoinAccept(const QStringList& args)
{
    const QString& value = args.at(0);
    if (value != QLatin1String("on") && value != QLatin1String("off"))
        return Error(QStringLiteral("joinaccept wants on or off, got \"%1\"").arg(value));
    TSimLoRaWAN* lw = LoRaWAN();
    if (!lw)
        return NotActive();
    const bool on = value == QLatin1String("on");
    lw->SetJoinAccepted(on);
    return Info(on ? QStringLiteral("join requests are accepted") : QStringLiteral("join requests go unanswered"));
}

QString TSimControl::Status(const QStringList&)
{
    const TSimLoRaWAN* lw = LoRaWAN();
    if (!lw)
        return NotActive();
    QString text = TVeltoLRSAP::CodeLookup(LoRaWANLayouts::kNetworkStatusTexts, lw->Status());
    if (lw->Active())
        text += QStringLiteral(", device address ") + lw->DeviceAddress();
    return Info(QStringLiteral("network status: %1; %2 downlinks queued").arg(text).arg(lw->QueuedDownlinks()));
}

QString TSimControl::ShowHelp(const QStringList&)
{
    return Info(QStringLiteral("commands:\n  ") + Help().join(QStringLiteral("\n  ")));
}

QList<QCommandLineOption> TSimControl::Options()
{
    return {
        {QStringLiteral("downlink-every"), QStringLiteral("While the node is joined or activated, a downlink arrives every SECONDS."), QStringLiteral("SECONDS")},
        {QStringLiteral("downlink-port"), QStringLiteral("LoRa port of those downlinks (default 1)."), QStringLiteral("PORT")},
        {QStringLiteral("downlink-payload"), QStringLiteral("Their payload in hex (default 01); repeat the option to send several in turn."), QStringLiteral("HEX")},
        {QStringLiteral("downlink-confirmed"), QStringLiteral("Send them as confirmed data.")},
        {QStringLiteral("no-join-accept"), QStringLiteral("The network does not answer join requests.")},
    };
}

bool TSimControl::ApplyOptions(const QCommandLineParser& parser, QString& error)
{
    TSimLoRaWAN* lw = LoRaWAN();
    if (!lw)
        return true;
    lw->SetJoinAccepted(!parser.isSet(QStringLiteral("no-join-accept")));
    if (!parser.isSet(QStringLiteral("downlink-every")))
        return true;
    bool ok = false;
    const double seconds = parser.value(QStringLiteral("downlink-every")).toDouble(&ok);
    if (!ok || seconds < kMinDownlinkSeconds || seconds > kMaxDownlinkSeconds) {
        error = Error(QStringLiteral("--downlink-every wants %1 to %2 seconds").arg(kMinDownlinkSeconds).arg(kMaxDownlinkSeconds));
        return false;
    }
    QStringList payloadTexts = parser.values(QStringLiteral("downlink-payload"));
    if (payloadTexts.isEmpty())
        payloadTexts << QLatin1String(kDefaultDownlinkPayload);
    const QString portText = parser.isSet(QStringLiteral("downlink-port")) ? parser.value(QStringLiteral("downlink-port")) : QLatin1String(kDefaultDownlinkPort);
    quint8 port = 0;
    QList<QByteArray> payloads;
    for (const QString& text : qAsConst(payloadTexts)) {
        QByteArray payload;
        QString reason;
        if (!ParseData(portText, text, port, payload, reason)) {
            error = Error(QStringLiteral("--downlink-port/--downlink-payload: ") + reason);
            return false;
        }
        payloads << payload;
    }
    lw->SetPeriodicDownlink(qRound(seconds * 1000), port, payloads, parser.isSet(QStringLiteral("downlink-confirmed")));
    return true;
}

void TSimControl::Listen(int fd)
{
    delete m_notifier;
    m_fd = fd;
    m_pending.clear();
    m_discarding = false;
    m_notifier = new QSocketNotifier(fd, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &TSimControl::OnReadable);
}

void TSimControl::OnReadable()
{
    char buffer[512];
    const ssize_t n = ::read(m_fd, buffer, sizeof buffer);
    if (n < 0 && (errno == EINTR || errno == EAGAIN))
        return;
    if (n <= 0) {
        // End of input, or a terminal that a background process may not read: stop listening.
        m_notifier->setEnabled(false);
        m_pending.clear();
        return;
    }
    m_pending.append(buffer, int(n));
    int end = 0;
    while ((end = m_pending.indexOf('\n')) >= 0) {
        const QByteArray line = m_pending.left(end);
        m_pending.remove(0, end + 1);
        if (m_discarding || line.size() > kMaxLineBytes) {
            if (!m_discarding)
                emit EvReply(Error(QStringLiteral("line longer than %1 bytes dropped").arg(kMaxLineBytes)));
            m_discarding = false;   // the over-long line ended here
            continue;
        }
        const QString reply = Execute(QString::fromUtf8(line));
        if (!reply.isEmpty())
            emit EvReply(reply);
    }
    if (m_pending.size() > kMaxLineBytes) {
        if (!m_discarding)
            emit EvReply(Error(QStringLiteral("line longer than %1 bytes dropped").arg(kMaxLineBytes)));
        m_pending.clear();
        m_discarding = true;
    }
}

#include "tools/sim/TSimGatewayOptions.h"

#include <QCommandLineParser>

#include "tools/sim/TSimGateway.h"

TSimGatewayOptions::TSimGatewayOptions()
    : m_port(QStringLiteral("gateway"),
             QStringLiteral("Also run a virtual gateway on UDP port PORT (%1 beside a studio on the same machine; 0 takes a free port).")
                 .arg(TSimGateway::kDefaultPort),
             QStringLiteral("PORT"))
    , m_answer(QStringLiteral("gateway-answer"),
               QStringLiteral("What the gateway answers a call: status (codes 0, 1, 2; default), none, garbage, or codes such as 0,1,999."),
               QStringLiteral("MODE"))
{
}

void TSimGatewayOptions::AddTo(QCommandLineParser& parser) const
{
    parser.addOption(m_port);
    parser.addOption(m_answer);
}

TSimGatewayOptions::Result TSimGatewayOptions::Start(const QCommandLineParser& parser, std::unique_ptr<TSimGateway>& gateway, QString& error) const
{
    if (!parser.isSet(m_port)) {
        if (parser.isSet(m_answer)) {
            error = QStringLiteral("error - --gateway-answer needs --gateway PORT");
            return UsageError;
        }
        return Absent;
    }
    bool ok = false;
    const uint port = parser.value(m_port).toUInt(&ok);
    if (!ok || port > 65535) {
        error = QStringLiteral("error - --gateway wants a UDP port 0..65535");
        return UsageError;
    }
    auto candidate = std::make_unique<TSimGateway>();
    if (parser.isSet(m_answer) && !candidate->SetAnswerMode(parser.value(m_answer))) {
        error = QStringLiteral("error - --gateway-answer wants status, none, garbage or codes 0..999 such as 0,1,999");
        return UsageError;
    }
    if (!candidate->Listen(quint16(port), &error))
        return Failed;
    gateway = std::move(candidate);
    return Started;
}

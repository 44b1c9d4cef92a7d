#include "gui/TCommandOutcome.h"

#include <QTime>

#include "hci/HCIMessage.h"
#include "hci/TVeltoLRHCI.h"

namespace {
QString Seconds(int ms)
{
    return QString::number(ms / 1000.0, 'g', 3);
}
}

TCommandOutcome TCommandOutcome::Started(const QString& what)
{
    return {Running, QStringLiteral("Running: %1 ").arg(what) + QChar(0x2026)};
}

QString TCommandOutcome::Now()
{
    return QTime::currentTime().toString(QStringLiteral("hh:mm:ss"));
}

TCommandOutcome TCommandOutcome::Success(const QString& what, const QString& time)
{
    return {Ok, QStringLiteral("OK - %1 (%2)").arg(what, time)};
}

TCommandOutcome TCommandOutcome::Refused(Kind kind, const QString& reason)
{
    return {kind, QStringLiteral("Not sent: ") + reason};
}

TCommandOutcome TCommandOutcome::Failure(const QString& lastError, int timeoutMs, bool portLost)
{
    if (portLost)
        return {Lost, QStringLiteral("The module was disconnected")};
    if (lastError == TVeltoLRHCI::ResultText(HCIResult_NoResponse))
        return {Timeout, QStringLiteral("No answer from the module within %1 s").arg(Seconds(timeoutMs))};
    if (lastError.startsWith(QLatin1String("error - the module was disconnected")))
        return Failure(QString(), timeoutMs, true);
    if (lastError == TVeltoLRHCI::ResultText(HCIResult_JobBusy))
        return Refused(Busy, QStringLiteral("the module is busy with another request"));
    if (lastError.startsWith(QLatin1String("error - ")))
        return {LocalError, lastError};
    // The link's own results (transmit error, payload length, ...) never reached the module.
    for (int code = HCIResult_PayloadLengthError; code <= HCIResult_JobBusy; ++code)
        if (lastError == TVeltoLRHCI::ResultText(code))
            return {LocalError, QStringLiteral("error - the request was not sent: ") + lastError};
    return {ModuleError, QStringLiteral("The module answered: ") + lastError};
}

QString TCommandOutcome::StyleClass() const
{
    switch (m_kind) {
    case Ok:
        return QStringLiteral("ok");
    case Running:
        return QStringLiteral("busy");
    case None:
        return QStringLiteral("info");
    default:
        return QStringLiteral("error");
    }
}

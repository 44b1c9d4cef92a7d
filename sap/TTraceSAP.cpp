#include "sap/TTraceSAP.h"

#include "sap/TFieldLayout.h"
#include "sap/TTraceEventConfig.h"
#include "sap/TraceLayouts.h"
#include "status/TStatusLog.h"
#include "base/THexText.h"

namespace {
QString Hex8(quint32 value)
{
    return QStringLiteral("%1").arg(value, 8, 16, QLatin1Char('0')).toUpper();
}
}

TTraceSAP::TTraceSAP(QObject* parent)
    : TVeltoLRSAP(kSapId, nullptr, QLatin1String(kSource), parent)
{
    RefreshMessageNames();
}

void TTraceSAP::RefreshMessageNames()
{
    // The message names of this service are the configured event names.
    m_messageNames.clear();
    const QMap<quint8, QString>& events = TTraceEventConfig::Instance().Events();
    for (auto it = events.constBegin(); it != events.constEnd(); ++it)
        m_messageNames.insert(THexText::Digits(it.key(), 2), it.value());
}

bool TTraceSAP::LoadEventConfiguration(const QString& path)
{
    const bool ok = TTraceEventConfig::Instance().Load(path);
    RefreshMessageNames();
    return ok;
}

QString TTraceSAP::EventText(quint8 id, const quint8* payload, int length)
{
    QString name = TTraceEventConfig::Instance().Name(id);
    if (name.isEmpty())
        name = THexText::Prefixed(id, 2);
    if (length < TraceLayouts::kParameterBytes)
        return name;
    TKeyValueList fields;
    TFieldLayout::Decode(TraceLayouts::kEventParameters, payload, length, 0, fields);
    const quint32 p1 = fields.Value(QStringLiteral("P1")).toUInt();
    const quint32 p2 = fields.Value(QStringLiteral("P2")).toUInt();
    return name + QLatin1Char(' ') + QStringLiteral("P1:%1(0x").arg(p1) + QStringLiteral("%2)").arg(Hex8(p1))
        + QStringLiteral(";P2:%3(0x").arg(p2) + QStringLiteral("%4)").arg(Hex8(p2));
}

bool TTraceSAP::ProcessHCIMessage(const HCIMessage& message, TKeyValueList& record)
{
    const int length = qMin<int>(message.Length, HCIMessage::kMaxPayload);
    const QString text = EventText(message.MsgID, message.Payload, length);
    record.SetEventType(QStringLiteral("Trace Event"));
    record.Append(QStringLiteral("EventID"), THexText::Prefixed(message.MsgID, 2));
    record.Append(QStringLiteral("Trace"), text);
    TStatusLog::Instance().AddStatusMessage(QLatin1String(kSource), text);
    emit EvTrace_Event(record);
    return true;
}

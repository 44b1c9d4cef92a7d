#include "tools/sim/TSimTrace.h"

#include "base/TKeyValueList.h"
#include "sap/TraceLayouts.h"
#include "tools/sim/TSimDeviceMgmt.h"
#include "tools/sim/TSimModule.h"

TSimReply TSimTrace::HandleRequest(quint8 msgId, const QByteArray& payload)
{
    Q_UNUSED(msgId)
    Q_UNUSED(payload)
    return TSimReply::Unknown();
}

void TSimTrace::EmitEvent(quint8 id, quint32 p1, quint32 p2)
{
    TKeyValueList parameters;
    parameters.Append(QStringLiteral("P1"), QString::number(p1));
    parameters.Append(QStringLiteral("P2"), QString::number(p2));
    EmitRawEvent(id, TSimLayout::Pack(TraceLayouts::kEventParameters, parameters));
}

void TSimTrace::EmitRawEvent(quint8 id, const QByteArray& payload)
{
    m_module.SendMessage(kSapId, id, payload);
}

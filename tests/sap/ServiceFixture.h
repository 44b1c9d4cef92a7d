#pragma once
// What every service test starts with: a virtual module on a pseudo-terminal, a link to it, and
// the service under test attached to that link.
#include <QMetaMethod>
#include <QtTest>

#include <cstring>
#include <QStringList>

#include <memory>

#include "hci/TVeltoLRHCI.h"
#include "sap/TVeltoLRSAP.h"
#include "settings/TSettings.h"
#include "tools/sim/TSimModule.h"

template <class Sap>
bool OpenServiceOverPty(std::unique_ptr<TSimModule>& sim, std::unique_ptr<TVeltoLRHCI>& link, std::unique_ptr<Sap>& sap, int timeoutMs)
{
    TSettings::Instance().SetIsoFormat(true);
    sim = std::make_unique<TSimModule>();
    if (!sim->Open())
        return false;
    link = std::make_unique<TVeltoLRHCI>();
    link->SetResponseTimeout(timeoutMs);
    if (!link->Open(sim->PortName(), QStringLiteral("115200")))
        return false;
    sap = std::make_unique<Sap>();
    sap->AttachLink(link.get());
    return true;
}

/// Table commands that are not slots of one of the four forms the controller invokes, returning bool.
inline QStringList CommandsWithoutSlot(const TVeltoLRSAP& sap)
{
    const QMetaObject* meta = sap.metaObject();
    const QStringList signatures{"%1()", "%1(TKeyValueList)", "%1(TKeyValueList&)", "%1(TKeyValueList,TKeyValueList&)"};
    QStringList missing;
    for (const QString& name : sap.CommandNames()) {
        bool found = false;
        for (const QString& signature : signatures) {
            const int index = meta->indexOfSlot(signature.arg(name).toLatin1().constData());
            found = found || (index >= 0 && meta->method(index).returnType() == QMetaType::Bool);
        }
        if (!found)
            missing << name;
    }
    return missing;
}

/// Decodes every prefix of `payload` twice, the bytes behind it set to 0x00 and then to 0xFF: a
/// decoder that reads past the payload gives two different records. The whole payload must decode.
template <class Decode>
void CheckEveryPrefix(const QByteArray& payload, quint8 sapId, quint8 msgId, Decode decode)
{
    auto run = [&](int length, char fill, TKeyValueList& record) {
        HCIMessage message;
        memset(message.Payload, fill, sizeof message.Payload);
        memcpy(message.Payload, payload.constData(), size_t(length));
        message.Length = quint16(length);
        message.SapID = sapId;
        message.MsgID = msgId;
        return decode(message, record);
    };
    for (int length = 0; length <= payload.size(); ++length) {
        TKeyValueList zeros;
        TKeyValueList ones;
        const bool okZeros = run(length, '\0', zeros);
        QCOMPARE(run(length, '\xFF', ones), okZeros);
        QCOMPARE(ones, zeros);
        if (length == payload.size())
            QVERIFY2(okZeros, qPrintable(QStringLiteral("MsgID 0x%1 does not decode in full").arg(msgId, 2, 16, QLatin1Char('0'))));
    }
}

#pragma once
// What every service test starts with: a virtual module on a pseudo-terminal, a link to it, and
// the service under test attached to that link.
#include <QMetaMethod>
#include <QSignalSpy>
#include <QtTest>

#include <cstring>
#include <QStringList>

#include <memory>

#include "SimPort.h"
#include "hci/TVeltoLRHCI.h"
#include "sap/TVeltoLRSAP.h"
#include "settings/TSettings.h"
#include "tools/sim/TSimModule.h"

/// How long a service test waits for the virtual module: generous, a loaded machine is slow.
constexpr int kTimeoutMs = 5000;

/// "01 02 AB" as bytes.
inline QByteArray Bytes(const char* hex)
{
    return QByteArray::fromHex(QByteArray(hex).replace(' ', ""));
}

inline TKeyValueList Params(std::initializer_list<std::pair<const char*, QString>> items)
{
    TKeyValueList list;
    for (const auto& item : items)
        list.Append(QLatin1String(item.first), item.second);
    return list;
}

/// Calls a command slot the way the controller does: by name, with the controller's argument types
/// (the parameter-only form, else the one that also gives a result).
inline bool Invoke(QObject* sap, const char* name, const TKeyValueList& params, TKeyValueList* result = nullptr)
{
    bool ok = false;
    TKeyValueList ignored;
    const QByteArray parametersOnly = QMetaObject::normalizedSignature((QByteArray(name) + "(TKeyValueList)").constData());
    if (!result && sap->metaObject()->indexOfMethod(parametersOnly.constData()) >= 0)
        return QMetaObject::invokeMethod(sap, name, Qt::DirectConnection, Q_RETURN_ARG(bool, ok), Q_ARG(TKeyValueList, params)) && ok;
    return QMetaObject::invokeMethod(sap, name, Qt::DirectConnection, Q_RETURN_ARG(bool, ok), Q_ARG(TKeyValueList, params),
                                     Q_ARG(TKeyValueList&, result ? *result : ignored))
        && ok;
}

/// The decoded part of an event record: without "HostTime" and "Port", and a "Time" that repeats
/// the host time shown as HOST.
inline QString EventText(const QSignalSpy& spy, int index)
{
    TKeyValueList record = spy.at(index).first().value<TKeyValueList>();
    const QString hostTime = record.Value(QStringLiteral("HostTime"));
    if (record.size() >= 2 && record.first().first == QLatin1String("HostTime"))
        record.remove(0, 2);
    for (TKeyValueList::Item& item : record)
        if (item.first == QLatin1String("Time") && item.second == hostTime)
            item.second = QStringLiteral("HOST");
    return record.ToText(QStringLiteral("|"));
}

/// A refused call: false, the expected text, and nothing was written to the link.
template <class Call>
void CheckRefusedBeforeSending(const TVeltoLRSAP& sap, Call call, const QString& error)
{
    const quint32 sent = sap.Link()->FramesSent();
    QVERIFY(!call());
    QCOMPARE(sap.ResultText(), error);
    QCOMPARE(sap.Link()->FramesSent(), sent);
}

/// Waits until every message the module sent before answering `sap`'s next request has been
/// dispatched: what has not arrived by then was never sent. `request` is any call that succeeds.
template <class Request>
void SettleAfter(TVeltoLRHCI& link, Request request)
{
    QVERIFY(request());
    QTRY_COMPARE_WITH_TIMEOUT(link.QueuedMessages(), 0, kTimeoutMs);
}

template <class Sap>
void CloseServiceOverPty(std::unique_ptr<TSimModule>& sim, std::unique_ptr<TVeltoLRHCI>& link, std::unique_ptr<Sap>& sap)
{
    sap.reset();
    link.reset();
    sim.reset();
}

template <class Sap>
bool OpenServiceOverPty(std::unique_ptr<TSimModule>& sim, std::unique_ptr<TVeltoLRHCI>& link, std::unique_ptr<Sap>& sap, int timeoutMs)
{
    TSettings::Instance().SetIsoFormat(true);
    sim = std::make_unique<TSimModule>();
    QString error;
    if (!sim->Open(&error)) {
        qWarning("%s", qPrintable(error));
        return false;
    }
    link = std::make_unique<TVeltoLRHCI>();
    link->SetResponseTimeout(timeoutMs);
    const QString port = NamedPort(sim->Wire());
    if (!link->Open(port, QStringLiteral("115200"))) {
        qWarning("couldn't open %s: %s", qPrintable(port), qPrintable(link->OpenError()));
        return false;
    }
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

#include "devices/TRadioController.h"

#include <QMetaMethod>
#include <QTimerEvent>

#include "devices/TDeviceManager.h"
#include "devices/TDiscoveryPolicy.h"
#include "devices/TDiscoveryRates.h"
#include "sap/TTraceSAP.h"
#include "sap/TVeltoLRDeviceMgmt.h"
#include "status/TStatusLog.h"

namespace {
const int kSeparatorLength = 160;
const char* const kDeviceMgmt = "DeviceMgmt";
}

TRadioController::TRadioController(QObject* parent)
    : QObject(parent)
    , m_nameText(QStringLiteral("RadioController"))
{
    TKeyValueList::RegisterMetaType();
    connect(this, &TRadioController::EvShowMessage, &TStatusLog::Instance(), &TStatusLog::AddStatusMessage);
}

TRadioController::~TRadioController()
{
    // Services go first: they point at the link.
    qDeleteAll(m_saps);
    m_saps.clear();
    delete m_link;
    m_link = nullptr;
}

void TRadioController::EnsureLink()
{
    if (m_link)
        return;
    m_link = new TVeltoLRHCI(this);
    connect(m_link, &TVeltoLRHCI::EvShowLine, this, &TRadioController::OnShowLine);
    connect(m_link, qOverload<const QString&, const QString&>(&TVeltoLRHCI::EvShowMessage), this,
            qOverload<const QString&, const QString&>(&TRadioController::OnShowMessage));
    connect(m_link, qOverload<const QString&, const TKeyValueList&>(&TVeltoLRHCI::EvShowMessage), this,
            qOverload<const QString&, const TKeyValueList&>(&TRadioController::OnShowMessage));
    connect(m_link, &TVeltoLRHCI::EvLogHCIMessage, this, &TRadioController::OnLogHCIMessage);
    connect(m_link, &TVeltoLRHCI::EvWaitStarted, this, [this] { emit EvBusyChanged(true); });
    connect(m_link, &TVeltoLRHCI::EvWaitEnded, this, [this] {
        emit EvBusyChanged(false);
        if (m_deleteWhenIdle && !IsBusy())
            deleteLater();
    });
    for (TVeltoLRSAP* sap : qAsConst(m_saps))
        sap->AttachLink(m_link);
}

bool TRadioController::AddDeviceMgmt()
{
    const bool existed = m_saps.contains(QString::fromLatin1(kDeviceMgmt));
    auto* dm = AddSAP<TVeltoLRDeviceMgmt>(QString::fromLatin1(kDeviceMgmt));
    if (!existed) {
        connect(dm, &TVeltoLRDeviceMgmt::EvDeviceMgmt_ConfigChanged, this, &TRadioController::OnDeviceMgmt_ConfigChanged);
        connect(dm, &TVeltoLRDeviceMgmt::EvDeviceMgmt_PowerUpEvent, this, &TRadioController::OnDeviceMgmt_PowerUpEvent);
        connect(dm, &TVeltoLRDeviceMgmt::EvDeviceMgmt_RTCAlarmEvent, this, &TRadioController::OnDeviceMgmt_RTCAlarmEvent);
    }
    return true;
}

void TRadioController::AddFeature(const QString& name)
{
    if (!m_features.contains(name))
        m_features << name;
}

bool TRadioController::ProbeOpen(const QString& portName, const QString& baudrateText)
{
    m_portName = portName;
    EnsureLink();
    if (m_discoveryIndex < 0)
        m_discoveryIndex = TDiscoveryRates::FirstIndex();
    const QString rate = baudrateText.isEmpty() ? QString::number(TDiscoveryRates::RateAt(m_discoveryIndex)) : baudrateText;
    const bool opened = m_link->Open(portName, rate);
    if (!opened) {
        m_link->Close();   // a failed open keeps the port object; the retry needs it gone
        return false;
    }
    AddDeviceMgmt();
    const bool ok = ReadDeviceInfo();
    m_link->Close();
    return ok;
}

bool TRadioController::Open(const QString& portName, const QString& baudrateText)
{
    m_portName = portName;
    EnsureLink();
    const bool ok = m_link->Open(portName, baudrateText);
    if (!ok)
        return false;
    m_displayName = portName + QLatin1Char(':') + m_nameText;
    AddDeviceMgmt();
    if (!m_saps.contains(QStringLiteral("VTTrace"))) {
        auto* trace = AddSAP<TTraceSAP>(QStringLiteral("VTTrace"));
        connect(trace, &TTraceSAP::EvTrace_Event, this, &TRadioController::OnTrace_Event);
    }
    SyncClock();
    return ok;
}

bool TRadioController::ReadDeviceInfo()
{
    if (!m_link) {
        Show(QString(), QStringLiteral("error - local device not available"));
        return false;
    }
    m_deviceInfo.clear();
    m_deviceInfo.Append(QStringLiteral("Baudrate"), m_link->BaudrateText());
    m_deviceInfo.Append(QStringLiteral("Port"), m_portName);
    TKeyValueList result;
    bool ok = Execute(QStringLiteral("DeviceMgmt/GetDeviceInfo"), result);
    MergeDeviceInfo(result);
    result.clear();
    ok = Execute(QStringLiteral("DeviceMgmt/GetFirmwareInfo"), result) && ok;
    MergeDeviceInfo(result);
    for (const QStringList* list : {&m_infoCommands, &m_infoCommandsExtra}) {
        for (const QString& command : *list) {
            result.clear();
            Execute(command, result);
            MergeDeviceInfo(result);
        }
    }
    return ok;
}

void TRadioController::MergeDeviceInfo(const TKeyValueList& items)
{
    // column: raw key   display value per raw value
    static const QMap<QString, QMap<QString, QString>> kDisplayForms = {
        {QStringLiteral("Modulation"), {{QStringLiteral("0"), QStringLiteral("LoRa")}, {QStringLiteral("1"), QStringLiteral("FSK")}}},
        {QStringLiteral("FSK"), {{QStringLiteral("0"), QStringLiteral("off")}, {QStringLiteral("1"), QStringLiteral("on")}}},
    };
    for (const TKeyValueList::Item& item : items) {
        QString value = item.second;
        const auto form = kDisplayForms.constFind(item.first);
        if (form != kDisplayForms.constEnd())
            value = form->value(value, value);
        else if (item.first == QLatin1String("FSKDataRate") && !value.endsWith(QLatin1String("bps")))
            value += QStringLiteral(" bps");
        else if (item.first == QLatin1String("Spreading") && !value.startsWith(QLatin1String("SF")))
            value = QStringLiteral("SF") + value;
        m_deviceInfo.Set(item.first, value);
    }
}

bool TRadioController::SyncClock()
{
    return Execute(QStringLiteral("DeviceMgmt/SyncRTC"));
}

bool TRadioController::RetryOutstanding()
{
    if (!m_link)
        return false;
    ++m_attempts;
    if (m_attempts > TDiscoveryPolicy::kRetriesPerRate * TDiscoveryRates::Count())
        return false;
    m_discoveryIndex = TDiscoveryRates::PreviousIndex(m_discoveryIndex < 0 ? TDiscoveryRates::FirstIndex() : m_discoveryIndex);
    return true;
}

void TRadioController::Close(bool destroyLink)
{
    if (m_link) {
        if (!destroyLink) {
            m_link->Close();
        } else {
            for (TVeltoLRSAP* sap : qAsConst(m_saps))
                sap->AttachLink(nullptr);
            delete m_link;
            m_link = nullptr;
        }
    }
    m_presence = kPresenceTicks;
}

QString TRadioController::MessageName(quint8 sapId, quint8 msgId) const
{
    for (const TVeltoLRSAP* sap : m_saps)
        if (sap->SapID() == sapId)
            return sap->MessageName(msgId);
    return QString();
}

bool TRadioController::IsBusy() const
{
    return m_link && m_link->IsWaiting();
}

void TRadioController::DeleteWhenIdle()
{
    m_deleteWhenIdle = true;
    if (!IsBusy())
        deleteLater();
}

bool TRadioController::Execute(const QString& command)
{
    return Invoke(nullptr, command, nullptr, nullptr);
}

bool TRadioController::Execute(const QString& command, const TKeyValueList& parameters)
{
    return Invoke(nullptr, command, &parameters, nullptr);
}

bool TRadioController::Execute(const QString& command, TKeyValueList& result)
{
    return Invoke(nullptr, command, nullptr, &result);
}

bool TRadioController::Execute(const QString& command, const TKeyValueList& parameters, TKeyValueList& result)
{
    return Invoke(nullptr, command, &parameters, &result);
}

bool TRadioController::Invoke(TVeltoLRSAP*, const QString& command, const TKeyValueList* parameters, TKeyValueList* result)
{
    m_lastError.clear();
    OnShowLine();
    const QStringList parts = command.split(QLatin1Char('/'));
    auto fail = [this](const QString& prefix, const QString& text) {
        m_lastError = text;
        Show(prefix, text);
        return false;
    };
    if (parts.size() < 2)
        return fail(QString(), QStringLiteral("error - Cmd missing or incomplete: ") + command);
    const QString sapName = parts.at(0);
    const QString name = parts.at(1);
    if (sapName.isEmpty())
        return fail(QString(), QStringLiteral("error - SAP missing: ") + command);
    TVeltoLRSAP* sap = m_saps.value(sapName, nullptr);
    if (!sap)
        return fail(QString(), QStringLiteral("error - SAP not known: ") + command);
    if (name.isEmpty())
        return fail(sapName, QStringLiteral("error - command missing:") + command);

    const QString description = sap->CommandDescription(name);
    Show(sapName, QStringLiteral("Command:") + (description.isEmpty() ? name : description));
    if (parameters)
        OnShowMessage(sapName, *parameters);

    bool ok = false;
    QString parameterError;
    // Only the command table is reachable by name: no other slot or method of the service.
    if (!sap->HasCommand(name) || sap->metaObject()->indexOfMethod(Signature(name, parameters, result)) < 0) {
        sap->SetErrorText(QStringLiteral("error - command not found : %1").arg(name));
    } else if (parameters && !sap->CheckParameters(name, *parameters, parameterError)) {
        sap->SetErrorText(parameterError);
    } else {
        TKeyValueList unusedResult;
        TKeyValueList& out = result ? *result : unusedResult;
        const QByteArray method = name.toUtf8();
        if (parameters && result)
            QMetaObject::invokeMethod(sap, method.constData(), Qt::DirectConnection, Q_RETURN_ARG(bool, ok),
                                      Q_ARG(TKeyValueList, *parameters), Q_ARG(TKeyValueList&, out));
        else if (parameters)
            QMetaObject::invokeMethod(sap, method.constData(), Qt::DirectConnection, Q_RETURN_ARG(bool, ok), Q_ARG(TKeyValueList, *parameters));
        else if (result)
            QMetaObject::invokeMethod(sap, method.constData(), Qt::DirectConnection, Q_RETURN_ARG(bool, ok), Q_ARG(TKeyValueList&, out));
        else
            QMetaObject::invokeMethod(sap, method.constData(), Qt::DirectConnection, Q_RETURN_ARG(bool, ok));
    }
    if (ok) {
        Show(sapName, QStringLiteral("Result: OK"));
        if (result && !result->isEmpty())
            OnShowMessage(sapName, *result);
        return true;
    }
    m_lastError = sap->ResultText();
    Show(sapName, QStringLiteral("Result") + QStringLiteral(": ERROR - ") + m_lastError);
    return false;
}

QByteArray TRadioController::Signature(const QString& name, bool parameters, bool result)
{
    QByteArray signature = name.toUtf8() + '(';
    if (parameters)
        signature += "TKeyValueList";
    if (parameters && result)
        signature += ',';
    if (result)
        signature += "TKeyValueList&";
    return QMetaObject::normalizedSignature((signature + ')').constData());
}

bool TRadioController::ExecuteAny(const QString& command, const TKeyValueList& parameters, TKeyValueList& result)
{
    const TVeltoLRSAP* sap = m_saps.value(command.section(QLatin1Char('/'), 0, 0), nullptr);
    const QString name = command.section(QLatin1Char('/'), 1);
    auto has = [sap, &name](bool withParameters, bool withResult) {
        return sap && sap->HasCommand(name) && sap->metaObject()->indexOfMethod(Signature(name, withParameters, withResult)) >= 0;
    };
    // form order: (parameters, result)
    const bool order[4][2] = {{true, true}, {true, false}, {false, true}, {false, false}};
    const bool noParametersFirst[4][2] = {{false, true}, {false, false}, {true, true}, {true, false}};
    const auto& forms = parameters.isEmpty() ? noParametersFirst : order;
    for (const auto& form : forms) {
        if (!has(form[0], form[1]))
            continue;
        if (!parameters.isEmpty() && !form[0]) {
            m_lastError = QStringLiteral("error - %1 takes no parameters").arg(command);
            Show(QString(), m_lastError);
            return false;
        }
        return Invoke(nullptr, command, form[0] ? &parameters : nullptr, form[1] ? &result : nullptr);
    }
    return Invoke(nullptr, command, &parameters, &result);   // reports why the command can't run
}

QList<QPair<QString, QString>> TRadioController::Commands() const
{
    QList<QPair<QString, QString>> commands;
    for (auto it = m_saps.constBegin(); it != m_saps.constEnd(); ++it)
        for (const QString& name : it.value()->CommandNames())
            commands << qMakePair(it.key() + QLatin1Char('/') + name, it.value()->CommandDescription(name));
    return commands;
}

bool TRadioController::ResetDevice()
{
    return Execute(QStringLiteral("DeviceMgmt/ResetDevice"));
}

bool TRadioController::EnterBootloader()
{
    return Execute(QStringLiteral("DeviceMgmt/SetBootLoaderMode"));
}

bool TRadioController::GetDeviceInfo(TKeyValueList& result)
{
    return Execute(QStringLiteral("DeviceMgmt/GetDeviceInfo"), result);
}

bool TRadioController::GetFirmwareInfo(TKeyValueList& result)
{
    return Execute(QStringLiteral("DeviceMgmt/GetFirmwareInfo"), result);
}

void TRadioController::Show(const QString& prefix, const QString& text)
{
    emit EvShowMessage(prefix.isEmpty() ? DisplayNameOrPort() : DisplayNameOrPort() + QLatin1Char(':') + prefix, text);
}

void TRadioController::OnShowLine()
{
    TStatusLog::Instance().AddStatusLine(QString(kSeparatorLength, QLatin1Char('-')));
}

void TRadioController::OnShowMessage(const QString& prefix, const QString& text)
{
    Show(prefix, text);
}

void TRadioController::OnShowMessage(const QString& prefix, const TKeyValueList& msgList)
{
    Show(prefix, TStatusLog::RecordText(msgList, true));
}

void TRadioController::OnDeviceMgmt_PowerUpEvent(const TKeyValueList& itemList)
{
    OnShowMessage(QString::fromLatin1(kDeviceMgmt), itemList);
    emit EvDeviceMgmt_PowerUpEvent(itemList);
}

void TRadioController::OnDeviceMgmt_RTCAlarmEvent(const TKeyValueList& itemList)
{
    OnShowMessage(QString::fromLatin1(kDeviceMgmt), itemList);
    emit EvDeviceMgmt_RTCAlarmEvent(itemList);
}

void TRadioController::OnDeviceMgmt_ConfigChanged()
{
    if (!m_timerId)
        m_timerId = startTimer(kConfigChangeDelayMs);
}

void TRadioController::OnLogHCIMessage(const TKeyValueList& record)
{
    emit EvLogHCIMessage(record);
}

void TRadioController::OnTrace_Event(const TKeyValueList& itemList)
{
    emit EvTrace_Event(itemList);
}

void TRadioController::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != m_timerId || m_timerId == 0) {
        QObject::timerEvent(event);
        return;
    }
    killTimer(m_timerId);
    m_timerId = 0;
    emit TDeviceManager::Instance().EvDeviceConfigChanged();
}

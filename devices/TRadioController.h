#pragma once
#include <QMap>
#include <QObject>
#include <QStringList>

#include "devices/TDiscoveryPolicy.h"
#include "hci/TVeltoLRHCI.h"
#include "base/TKeyValueList.h"
#include "sap/TVeltoLRSAP.h"

/// One module on one serial port: owns its HCI link and its services, and executes text commands
/// ("DeviceMgmt/GetRTC") by invoking the service's slot of that name. The probe of discovery is one too.
class TRadioController : public QObject
{
    Q_OBJECT
public:
    static constexpr int kPresenceTicks = TDiscoveryPolicy::kPresenceTicks;
    static constexpr int kConfigChangeDelayMs = 100;

    explicit TRadioController(QObject* parent = nullptr);
    ~TRadioController() override;

    virtual void MergeDeviceInfo(const TKeyValueList& items);
    virtual bool Open(const QString& portName, const QString& baudrateText);
    virtual bool ReadDeviceInfo();
    virtual bool SyncClock();

    /// Discovery's probe: open at the current discovery baud rate (or the given one), read the device
    /// information, close the port.
    bool ProbeOpen(const QString& portName, const QString& baudrateText = QString());
    /// After a failed probe: true while a retry is outstanding (the probe moved to the previous discovery rate).
    bool RetryOutstanding();
    /// The discovery rate the next probe uses (an index into the link's supported rates).
    int DiscoveryIndex() const { return m_discoveryIndex; }
    void Close(bool destroyLink = false);
    /// True while one of its requests waits for the module; nobody may delete it then.
    bool IsBusy() const;
    /// Deletes the controller once no request of it waits any more (deleteLater, never under a wait).
    void DeleteWhenIdle();
    /// What the last failed open said ("Permission denied", "No such file or directory", ...).
    QString OpenError() const { return m_link ? m_link->OpenError() : QString(); }

    bool Execute(const QString& command);
    bool Execute(const QString& command, const TKeyValueList& parameters);
    bool Execute(const QString& command, TKeyValueList& result);
    bool Execute(const QString& command, const TKeyValueList& parameters, TKeyValueList& result);
    /// Executes with whichever of the four slot forms the command has, preferring the ones that take
    /// the parameters when there are any and the ones that give a result (scripts use this).
    bool ExecuteAny(const QString& command, const TKeyValueList& parameters, TKeyValueList& result);
    /// Text of the last failed command ("error - ..." or the service's status text).
    QString LastError() const { return m_lastError; }

    bool ResetDevice();
    bool EnterBootloader();
    bool GetDeviceInfo(TKeyValueList& result);
    bool GetFirmwareInfo(TKeyValueList& result);

    QString PortName() const { return m_portName; }
    QString DisplayName() const { return m_displayName; }
    QString NameText() const { return m_nameText; }
    const TKeyValueList& DeviceInfo() const { return m_deviceInfo; }
    void SetDeviceInfo(const TKeyValueList& info) { m_deviceInfo = info; }
    QStringList Features() const { return m_features; }
    bool HasFeature(const QString& name) const { return m_features.contains(name); }
    TVeltoLRHCI* Link() const { return m_link; }
    TVeltoLRSAP* SAP(const QString& name) const { return m_saps.value(name, nullptr); }
    /// Name of a message of the service with this SapID, as the logs show it ("" when unknown).
    QString MessageName(quint8 sapId, quint8 msgId) const;
    QStringList SAPNames() const { return m_saps.keys(); }
    /// The link's baud rate as "115200 bps" ("closed : 0 bps" while closed, "n.a." without link).
    QString BaudrateText() const { return m_link ? m_link->BaudrateText() : QStringLiteral("n.a."); }
    bool IsOpen() const { return m_link && m_link->IsOpen(); }
    /// Every text command this controller offers ("SAP/Command") with its description.
    QList<QPair<QString, QString>> Commands() const;

    int Presence() const { return m_presence; }
    void SetPresence(int ticks) { m_presence = ticks; }
    int Attempts() const { return m_attempts; }

signals:
    void EvLogHCIMessage(const TKeyValueList& record);
    void EvDeviceMgmt_RTCAlarmEvent(const TKeyValueList& itemList);
    void EvTrace_Event(const TKeyValueList& itemList);
    void EvDeviceMgmt_PowerUpEvent(const TKeyValueList& itemList);
    /// What the controller shows; the status log writes it under the device's display name.
    void EvShowMessage(const QString& source, const QString& text);
    /// A request of this controller starts (true) or has returned (false) waiting for the module.
    void EvBusyChanged(bool busy);

public slots:
    void OnDeviceMgmt_PowerUpEvent(const TKeyValueList& itemList);
    void OnDeviceMgmt_RTCAlarmEvent(const TKeyValueList& itemList);
    void OnShowLine();
    void OnShowMessage(const QString& prefix, const QString& text);
    void OnShowMessage(const QString& prefix, const TKeyValueList& msgList);
    void OnDeviceMgmt_ConfigChanged();
    void OnLogHCIMessage(const TKeyValueList& record);
    void OnTrace_Event(const TKeyValueList& itemList);

protected:
    void timerEvent(QTimerEvent* event) override;
    void EnsureLink();
    /// Registers a service under `name` and attaches it to the link; an existing one is kept.
    template <class Sap> Sap* AddSAP(const QString& name);
    void AddFeature(const QString& name);
    void Show(const QString& prefix, const QString& text);
    QString DisplayNameOrPort() const { return m_displayName.isEmpty() ? m_portName : m_displayName; }

    QString m_portName;
    QString m_displayName;
    QString m_nameText;
    int m_presence = kPresenceTicks;
    int m_attempts = 0;
    TKeyValueList m_deviceInfo;
    QStringList m_features;
    TVeltoLRHCI* m_link = nullptr;
    QMap<QString, TVeltoLRSAP*> m_saps;
    QStringList m_infoCommands;
    QStringList m_infoCommandsExtra;
    int m_timerId = 0;
    QString m_lastError;
    int m_discoveryIndex = -1;
    bool m_deleteWhenIdle = false;

private:
    bool Invoke(TVeltoLRSAP* sap, const QString& command, const TKeyValueList* parameters, TKeyValueList* result);
    static QByteArray Signature(const QString& name, bool parameters, bool result);
    bool AddDeviceMgmt();
};

template <class Sap> Sap* TRadioController::AddSAP(const QString& name)
{
    if (auto* existing = qobject_cast<Sap*>(m_saps.value(name, nullptr))) {
        existing->AttachLink(m_link);
        return existing;
    }
    auto* sap = new Sap(this);
    sap->AttachLink(m_link);
    m_saps.insert(name, sap);
    return sap;
}

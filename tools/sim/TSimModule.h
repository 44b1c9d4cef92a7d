#pragma once
#include <QByteArray>
#include <QElapsedTimer>
#include <QHash>
#include <QMap>
#include <QObject>
#include <QString>

#include <memory>
#include <vector>

#include "hci/TComSlip.h"
#include "hci/TComSlipClient.h"
#include "tools/sim/TSimIdentity.h"
#include "tools/sim/TSimService.h"

class TPseudoTerminal;
class TSimStm32Bootloader;

/// The virtual module: a pseudo-terminal whose far end answers HCI requests as a real module does.
/// Tests, the studio's demo mode and tessera-sim all use this class.
class TSimModule : public QObject, public TComSlipClient
{
    Q_OBJECT
public:
    /// Scripted faults of the wire, set per run.
    enum Fault {
        FaultNone,
        FaultNoAnswer,         ///< requests are read but never answered
        FaultCorruptCrc,       ///< answers carry a wrong CRC
        FaultWrongMsgIdFirst,  ///< each answer is preceded by one with MsgID + 2
        FaultSplitWrites,      ///< answers leave one byte at a time
    };

    explicit TSimModule(QObject* parent = nullptr);
    ~TSimModule() override;

    bool Open(QString* error = nullptr);
    void Close();
    bool IsOpen() const;
    QString PortName() const;
    bool CreateLink(const QString& path, QString* error = nullptr);
    TPseudoTerminal& Wire() { return *m_pty; }

    TSimIdentity& Identity() { return m_identity; }
    void AddService(std::unique_ptr<TSimService> service);
    TSimService* Service(quint8 sapId) const;
    /// The service of that class, if the module has it.
    template <class T>
    T* ServiceOf() const { return dynamic_cast<T*>(Service(T::kSapId)); }
    /// Tells every service that the module restarted (reset, or the application started again).
    void RestartServices();

    void SetFault(Fault fault) { m_fault = fault; }
    Fault CurrentFault() const { return m_fault; }
    /// Every request (sapId, msgId) is answered with this status and no data until cleared.
    void ForceStatus(quint8 sapId, quint8 msgId, quint8 status);
    void ClearForcedStatus() { m_forced.clear(); }
    /// Answers are sent this much later (ms); events are not delayed.
    void SetResponseDelay(int ms) { m_responseDelayMs = ms; }

    /// Sends an unsolicited message (event) framed and checked like any answer.
    void SendMessage(quint8 sapId, quint8 msgId, const QByteArray& payload);
    void SendPowerUpEvent();
    /// Puts bytes on the wire as they are (tests inject noise and broken frames).
    void SendRaw(const QByteArray& bytes);
    static QByteArray Frame(quint8 sapId, quint8 msgId, const QByteArray& payload, bool corruptCrc = false);

    /// The emulated STM32 system bootloader that takes over the line after "SetBootLoaderMode";
    /// Go hands the line back to the application, which then reports the image's firmware.
    TSimStm32Bootloader& Bootloader() { return *m_bootloader; }
    void EnterBootloader();
    bool InBootloader() const { return m_inBootloader; }
    /// Bootloader answers leave at 115200 baud, 11 bits per byte (8E1), as from a real part.
    void SetBootloaderPacing(bool on) { m_bootloaderPacing = on; }
    /// Reads the firmware identity tag "VELTOFW:name;major.minor;build" from the emulated flash.
    bool TakeIdentityFromFlash();

    quint32 CrcErrors() const { return m_crcErrors; }
    quint32 RequestsHandled() const { return m_requests; }
    /// Milliseconds since the module was created (its system tick).
    qint64 Uptime() const { return m_uptime.elapsed(); }

signals:
    void RequestReceived(quint8 sapId, quint8 msgId, const QByteArray& payload);
    void EvBootloaderEntered();
    void EvApplicationStarted();

private:
    void OnBytes(const QByteArray& bytes);
    void ProcessRxFrame(const QByteArray& frame) override;
    void Answer(quint8 sapId, quint8 msgId, const QByteArray& payload);
    void LeaveBootloader();
    QByteArray PowerUpFrame() const;

    TPseudoTerminal* m_pty;
    TComSlip m_slip;
    TSimIdentity m_identity;
    std::vector<std::unique_ptr<TSimService>> m_services;
    QHash<quint16, quint8> m_forced;
    Fault m_fault = FaultNone;
    int m_responseDelayMs = 0;
    quint32 m_crcErrors = 0;
    quint32 m_requests = 0;
    QElapsedTimer m_uptime;
    std::unique_ptr<TSimStm32Bootloader> m_bootloader;
    bool m_inBootloader = false;
    bool m_bootloaderPacing = false;
    QByteArray m_bootloaderOut;
};

#pragma once
#include <QList>
#include <QMap>
#include <QObject>
#include <QSerialPort>
#include <QStringList>

#include <memory>

#include "hci/HCIMessage.h"
#include "hci/TComSlip.h"
#include "hci/TComSlipClient.h"
#include "hci/THCIReceiver.h"

class QEventLoop;

/// Host side of one module's HCI: owns the serial port, frames messages, waits for responses and
/// queues everything else for the receiver registered under the message's SapID. One request at a
/// time: a request while another waits is refused with HCIResult_JobBusy and nothing is written.
class TVeltoLRHCI : public QObject, public TComSlipClient
{
    Q_OBJECT
public:
    static constexpr int kResponseTimeoutMs = 5000;
    static constexpr int kDispatchIntervalMs = 5;
    static constexpr int kDefaultBaudrate = 115200;

    explicit TVeltoLRHCI(QObject* parent = nullptr);
    ~TVeltoLRHCI() override;

    // Port.
    bool Open(const QString& portName, const QString& baudrateText);
    bool Close();
    bool IsOpen() const;
    /// The port went away while open (unplugged module); cleared by the next Open.
    bool PortLost() const { return m_portLost; }
    /// What the system said when the last Open failed ("Permission denied", ...), or why the path
    /// is no serial port (a directory, a regular file, /dev/null).
    QString OpenError() const { return m_openError; }
    QString PortName() const { return m_portName; }
    int NumWakeupChars() const { return m_numWakeupChars; }
    static int WakeupCharsForBaudrate(int baudrate);
    /// Cuts the text at " bps" and parses it; 0 when it is not a number.
    static int ParseBaudrate(const QString& text);

    // Baud rates.
    bool SetBaudrate(const QString& baudrateText);
    QString BaudrateText() const;
    /// 9600 ... 460800, in this order.
    static const QList<int>& SupportedBaudrates();

    // Logging (process-wide).
    static bool EnableLogging();
    static bool DisableLogging();
    static bool LoggingEnabled();

    // Messages.
    void RegisterSAP(quint8 sapId, THCIReceiver* receiver);
    THCIReceiver* RegisteredSAP(quint8 sapId) const { return m_saps.value(sapId, nullptr); }
    HCIResult SendMessage(quint8 sapId, quint8 msgId, const quint8* payload, quint16 length);
    HCIResult SendRequest(quint8 sapId, quint8 msgId, quint8 rspMsgId, const quint8* payload, quint16 length);
    /// Re-enters the event loop until the response arrives, the time-out passes or the port goes away.
    bool WaitForResponse(quint8 sapId, quint8 msgId);
    /// True while a request waits for its response; timers and discovery ask before they touch the link.
    bool IsWaiting() const { return m_waiting; }
    const HCIMessage& Response() const { return m_response; }
    /// Takes bytes that reached the port before this link opened it (the first bytes of a firmware
    /// that a bootloader read along with its last answer) as if the port had delivered them.
    void FeedReceived(const QByteArray& bytes);
    /// Frames written to the port since construction.
    quint32 FramesSent() const { return m_framesSent; }

    quint32 CrcErrors() const { return m_crcErrors; }
    int ResponseTimeout() const { return m_responseTimeoutMs; }
    /// Tests shorten the time-out; users always get 5000 ms.
    void SetResponseTimeout(int ms) { m_responseTimeoutMs = ms; }
    /// Time-out of links created from now on (tests of discovery, where links are made inside).
    static void SetDefaultResponseTimeout(int ms);
    static int DefaultResponseTimeout();
    int QueuedMessages() const { return m_rxQueue.size(); }
    bool DispatchTimerRunning() const { return m_dispatchTimerId != 0; }

    static QString ResultText(int result);

    enum FrameResult { FrameOk, FrameCrcError, FrameTooShort };
    /// One received SLIP frame (SapID, MsgID, payload, CRC) as a message: the CRC is checked over
    /// the whole frame, frames of 3 bytes or less carry none, at most 500 payload bytes are kept.
    static FrameResult ParseFrame(const QByteArray& frame, HCIMessage& message);

signals:
    void EvShowLine();
    void EvShowMessage(const QString& source, const QString& text);
    void EvShowMessage(const QString& source, const TKeyValueList& record);
    void EvLogHCIMessage(const TKeyValueList& record);
    /// A request has been sent and its wait begins.
    void EvWaitStarted();
    /// A wait has ended (answered, timed out or port lost).
    void EvWaitEnded();
    /// The port went away while open.
    void EvPortLost();

public slots:
    void OnReadyRead();
    void OnError(QSerialPort::SerialPortError error);

protected:
    void ProcessRxFrame(const QByteArray& frame) override;
    void ProcessRxRawData(const QByteArray& raw, const QByteArray& frame) override;
    void timerEvent(QTimerEvent* event) override;

private:
    struct QueuedMessage {
        QString hostTime;
        HCIMessage message;
    };

    HCIResult Transmit(const QByteArray& message);
    void Dispatch();
    void UpdateDispatchTimer();
    void ShowText(const QString& text);
    void ReportUnexpected(const QString& warning, const HCIMessage& message);
    TKeyValueList LogRecord(const QString& evType, const QByteArray& slipBytes, const QByteArray& message) const;
    QString HostTime() const;

    TComSlip m_slip;
    quint32 m_crcErrors = 0;
    int m_responseTimeoutMs;
    bool m_waiting = false;
    bool m_responseReceived = false;
    quint8 m_expectedSapId = 0;
    quint8 m_expectedMsgId = 0;
    HCIMessage m_response;
    QMap<quint8, THCIReceiver*> m_saps;
    QString m_portName;
    QSerialPort* m_port = nullptr;
    QList<QueuedMessage*> m_rxQueue;
    int m_numWakeupChars = 50;
    int m_dispatchTimerId = 0;
    quint32 m_framesSent = 0;
    bool m_portLost = false;
    QString m_openError;
    QEventLoop* m_waitLoop = nullptr;
};

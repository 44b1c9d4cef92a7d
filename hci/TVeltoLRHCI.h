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
#include "sap/TKeyValueList.h"

class TVeltoLRSAP;

/// Host side of one module's HCI: owns the serial port, frames messages, waits for responses and
/// queues everything else for the service registered under the message's SapID.
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
    bool OpenForDiscovery(const QString& portName);
    bool Close();
    bool IsOpen() const;
    QString PortName() const { return m_portName; }
    int NumWakeupChars() const { return m_numWakeupChars; }
    static int WakeupCharsForBaudrate(int baudrate);
    /// Cuts the text at " bps" and parses it; 0 when it is not a number.
    static int ParseBaudrate(const QString& text);

    // Baud rates.
    bool SetBaudrate(const QString& baudrateText);
    QString BaudrateText() const;
    static QString LoadLastBaudrate();
    static void SaveLastBaudrate(const QString& baudrateText);
    static const QList<int>& SupportedBaudrates();

    // Discovery baud rates (process-wide, kept in the settings).
    void SelectPreviousDiscoveryRate();
    int DiscoveryIndex() const { return m_discoveryIndex; }
    static bool SetDiscoveryFlag(const QString& baudrateText, bool on);
    static bool DiscoveryFlag(int baudrate);
    static int NumDiscoveryRates();
    static QStringList DiscoveryRateTexts();
    static QStringList SelectableRateTexts();
    /// Re-reads the discovery flags from the settings (done once by the first instance).
    static void LoadDiscoveryFlags();

    // Logging (process-wide).
    static bool EnableLogging();
    static bool DisableLogging();
    static bool LoggingEnabled();

    // Messages.
    void RegisterSAP(quint8 sapId, TVeltoLRSAP* sap);
    TVeltoLRSAP* RegisteredSAP(quint8 sapId) const { return m_saps.value(sapId, nullptr); }
    HCIResult SendMessage(quint8 sapId, quint8 msgId, const quint8* payload, quint16 length);
    HCIResult SendRequest(quint8 sapId, quint8 msgId, quint8 rspMsgId, const quint8* payload, quint16 length);
    /// Re-enters the event loop until the response arrives or the time-out passes; callers serialise their requests.
    bool WaitForResponse(quint8 sapId, quint8 msgId);
    const HCIMessage& Response() const { return m_response; }

    quint32 CrcErrors() const { return m_crcErrors; }
    int ResponseTimeout() const { return m_responseTimeoutMs; }
    /// Tests shorten the time-out; users always get 5000 ms.
    void SetResponseTimeout(int ms) { m_responseTimeoutMs = ms; }
    /// Time-out of links created from now on (tests of discovery, where links are made inside).
    static void SetDefaultResponseTimeout(int ms);
    static int DefaultResponseTimeout();
    int QueuedMessages() const { return m_rxQueue.size(); }

    static QString ResultText(int result);
    static QString HexBytes(const quint8* data, int length);

signals:
    void EvShowLine();
    void EvShowMessage(const QString& source, const QString& text);
    void EvShowMessage(const QString& source, const TKeyValueList& record);
    void EvLogHCIMessage(const TKeyValueList& record);

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
    void StartDispatchTimer();
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
    QMap<quint8, TVeltoLRSAP*> m_saps;
    QString m_portName;
    QSerialPort* m_port = nullptr;
    QList<QueuedMessage*> m_rxQueue;
    int m_numWakeupChars = 50;
    int m_dispatchTimerId = 0;
    int m_discoveryIndex = -1;
};

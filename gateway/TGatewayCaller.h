#pragma once
#include <QObject>
#include <QStringList>

class QHostAddress;
class QUdpSocket;

/// Calls gateways over UDP and hears their status answers on the server port. Every call has its own
/// socket, so a gateway that cannot be called never keeps the next one from its call.
class TGatewayCaller : public QObject
{
    Q_OBJECT
public:
    /// Takes "GatewaySupport/ServerPort" and "GatewayPort" from the settings store.
    explicit TGatewayCaller(QObject* parent = nullptr);
    ~TGatewayCaller() override;

    /// Ports for this caller only (a command line's overrides); a listening caller listens anew.
    void SetPorts(int serverPort, int gatewayPort);
    int ServerPort() const { return m_serverPort; }
    int GatewayPort() const { return m_gatewayPort; }

    /// Hears answers on the server port; false, with the reason told as a status line, when it can't.
    bool Listen();
    bool IsListening() const { return m_listener != nullptr; }
    void StopListening();

    /// Sends "MarlinOne::<server port>" to each address on the gateway port. Returns how many calls
    /// left; each failure is told for its gateway. Answers arrive while the caller listens.
    int Call(const QStringList& addresses);
    /// Calls that left since this caller was made.
    int CallsSent() const { return m_callsSent; }

    /// An address as the studio writes it: IPv4-mapped IPv6 addresses as plain IPv4.
    static QString AddressText(const QHostAddress& address);
    /// True for a port number 1..65535.
    static bool IsPort(int port) { return port > 0 && port <= 65535; }

signals:
    /// Every line for the status box, in order: calls, socket errors, answers, warnings.
    void EvStatusLine(const QString& text);
    /// A readable status answer.
    void EvStatus(const QString& address, int code, const QString& detail);
    /// The failures and warnings among the status lines (socket errors, unreadable answers).
    void EvProblem(const QString& text);
    /// A call that did not leave (not an IP-Address, a socket error).
    void EvCallFailed(const QString& address, const QString& reason);

private slots:
    void OnReadyRead();

private:
    void Report(const QString& text);
    void Problem(const QString& text);

    int m_serverPort;
    int m_gatewayPort;
    QUdpSocket* m_listener = nullptr;
    int m_callsSent = 0;
};

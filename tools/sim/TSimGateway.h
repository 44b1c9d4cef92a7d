#pragma once
#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>

class QHostAddress;
class QUdpSocket;

/// A virtual gateway on a UDP port: a call "MarlinOne::<port>" is answered with status datagrams
/// sent to the caller's address on the port the call names, so the whole path runs on one machine.
class TSimGateway : public QObject
{
    Q_OBJECT
public:
    /// What a call gets, set per run.
    enum Answer {
        AnswerStatus,    ///< the status codes (default 0, 1, 2)
        AnswerNone,      ///< calls are read and counted but never answered
        AnswerGarbage,   ///< bytes that are no status answer, and a status code out of range
    };
    static constexpr quint16 kDefaultPort = 51001;   ///< beside the studio's 51000 on one machine

    explicit TSimGateway(QObject* parent = nullptr);
    ~TSimGateway() override;

    /// Listens on every address; port 0 takes a free one (see Port()).
    bool Listen(quint16 port, QString* error = nullptr);
    quint16 Port() const;

    /// "status", "none", "garbage" or a list of codes such as "0,1,999"; false for anything else.
    bool SetAnswerMode(const QString& mode);

    /// Every datagram that arrived, calls or not.
    int DatagramsReceived() const { return m_received; }
    QByteArray LastDatagram() const { return m_last; }

    /// The garbage answers, for whoever checks that they are refused.
    static QList<QByteArray> GarbageDatagrams();

signals:
    void EvDatagram(const QByteArray& datagram, const QString& from);

private slots:
    void OnReadyRead();

private:
    void Reply(const QByteArray& request, const QHostAddress& from, quint16 fromPort);

    QUdpSocket* m_socket;
    Answer m_answer = AnswerStatus;
    QList<int> m_codes = {0, 1, 2};
    int m_received = 0;
    QByteArray m_last;
};

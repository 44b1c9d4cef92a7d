#pragma once
#include <QByteArray>
#include <QObject>
#include <QString>

class QSocketNotifier;
class QTimer;

/// The master side of a Linux pseudo-terminal: the virtual module's wire. The slave path is what a
/// serial port opens. The master keeps its own slave descriptor open so that a client closing the
/// port never turns the master into an endless hang-up.
class TPseudoTerminal : public QObject
{
    Q_OBJECT
public:
    explicit TPseudoTerminal(QObject* parent = nullptr);
    ~TPseudoTerminal() override;

    bool Open(QString* error = nullptr);
    void Close();
    bool IsOpen() const { return m_master >= 0; }
    QString SlavePath() const { return m_slavePath; }
    /// Creates a symbolic link to the slave path, removed again on Close. Replaces only a link of its
    /// own or a dangling one (left by a killed simulator); refuses any other file at that path.
    bool CreateLink(const QString& linkPath, QString* error = nullptr);

    /// Queues bytes for the line; with pacing on they leave at the given line rate.
    void Write(const QByteArray& bytes);
    /// bitsPerByte 10 for 8N1, 11 for 8E1; baud 0 turns pacing off. Pacing works both ways: what the
    /// port writes also arrives no faster than the line could carry it.
    void SetPacing(int baud, int bitsPerByte);
    qint64 PendingOutput() const { return m_out.size(); }

signals:
    void DataReceived(const QByteArray& bytes);

private:
    void OnReadable();
    void FlushOutput();
    void DrainInput();
    void RemoveOwnLink();

    int m_master = -1;
    int m_slaveHold = -1;
    QString m_slavePath;
    QString m_linkPath;
    QSocketNotifier* m_readNotifier = nullptr;
    QSocketNotifier* m_writeNotifier = nullptr;
    QTimer* m_paceTimer = nullptr;
    QByteArray m_out;
    int m_paceBaud = 0;
    int m_paceBits = 10;
    qint64 m_paceStartNs = 0;
    qint64 m_paceSent = 0;
    QByteArray m_in;
    QTimer* m_inTimer = nullptr;
    qint64 m_inStartNs = 0;
    qint64 m_inTaken = 0;
};

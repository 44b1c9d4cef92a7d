#pragma once
#include <QByteArray>
#include <QObject>
#include <QString>

#include "tools/sim/TPacedQueue.h"

class QSocketNotifier;

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
    /// port writes also arrives no faster than the line could carry it. Bytes are handed on in chunks
    /// of up to 32, each when its last bit is through, to the microsecond (a timerfd, not a millisecond timer), so that a
    /// paced exchange of short frames takes its wire time and not a timer tick per frame.
    void SetPacing(int baud, int bitsPerByte);

signals:
    void DataReceived(const QByteArray& bytes);

private:
    void OnReadable();
    void FlushOutput();
    void PumpOut();
    void PumpIn();
    bool Paced() const { return m_outQueue.ByteNs() > 0; }
    void RemoveOwnLink();

    int m_master = -1;
    int m_slaveHold = -1;
    QString m_slavePath;
    QString m_linkPath;
    QSocketNotifier* m_readNotifier = nullptr;
    QSocketNotifier* m_writeNotifier = nullptr;
    QByteArray m_out;            ///< due for the line, waiting for the master to take it
    TPacedQueue m_outQueue;      ///< written by the module, not yet through the line
    TPacedQueue m_inQueue;       ///< written by the port, not yet through the line
    int m_outTimer = -1;         ///< timerfd: the next output bytes are through
    int m_inTimer = -1;          ///< timerfd: the next input bytes are through
    QSocketNotifier* m_outTimerNotifier = nullptr;
    QSocketNotifier* m_inTimerNotifier = nullptr;
};

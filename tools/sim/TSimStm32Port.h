#pragma once
#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>

#include "tools/sim/TSimStm32Bootloader.h"

class QTimer;
class TPseudoTerminal;

/// The emulated STM32 system bootloader behind a pseudo-terminal: what a serial port writes to
/// the slave path reaches the bootloader, its answers come back on the line.
class TSimStm32Port : public QObject
{
    Q_OBJECT
public:
    static constexpr int kLineBaud = 115200;
    static constexpr int kBitsPerByte8E1 = 11;

    explicit TSimStm32Port(quint16 productId = 0x447, bool extendedErase = true, QObject* parent = nullptr);
    ~TSimStm32Port() override;

    bool Open(QString* error = nullptr);
    void Close();
    QString PortName() const;
    TSimStm32Bootloader& Bootloader() { return m_bootloader; }
    TPseudoTerminal& Wire() { return *m_pty; }

    /// Answers leave at 115200 baud with 11 bits per byte (8E1), as from a real part.
    void SetPacing(bool on);
    /// Each answer of two or more bytes leaves in two pieces, the second `delayMs` later; 0 = off.
    void SetSplitAnswers(int delayMs) { m_splitDelayMs = delayMs; }

private:
    void OnAnswer(const QByteArray& bytes);
    void Drain();

    TPseudoTerminal* m_pty;
    TSimStm32Bootloader m_bootloader;
    int m_splitDelayMs = 0;
    /// Pieces still to send; a piece with a delay waits that long after the one before it.
    QList<QPair<QByteArray, int>> m_queue;
    QTimer* m_splitTimer;
};

#pragma once
#include <QByteArray>
#include <QLoggingCategory>
#include <QObject>
#include <QPointer>
#include <QSerialPort>
#include <QTimer>
#include <QVariant>

/// The protocol traces ("send data 31 ce ..."); off, they cost nothing (tessera.stm32.debug=false).
Q_DECLARE_LOGGING_CATEGORY(lcStm32)

/// One command of the STM32 USART bootloader (AN3155): owns its response timer, builds its frames
/// and parses the answers. Multi-step commands send their later frames themselves.
class Stm32CommandBase : public QObject
{
    Q_OBJECT
public:
    static constexpr int kResponseTimeoutMs = 5000;
    enum : quint8 { Ack = 0x79, Nack = 0x1F };

    Stm32CommandBase(int code, int expectedBytes, QObject* parent = nullptr);

    int Code() const { return m_code; }
    /// Bytes that must be waiting before parse() is called; multi-step commands change it per step.
    int ExpectedBytes() const { return m_expectedBytes; }
    int ResponseTimeout() const { return m_responseTimeoutMs; }
    void SetResponseTimeout(int ms) { m_responseTimeoutMs = ms; }
    void StopTimer() { m_timer.stop(); }
    bool IsWaiting() const { return m_timer.isActive(); }

    /// Base: the command frame alone; sub-state 0.
    virtual void send(QSerialPort* port, const QVariant& parameters);
    /// Accepts a frame that starts with ACK and, except for 0x11 and 0x7F, also ends with ACK; stops the timer then.
    virtual bool checkFrame(const QByteArray& frame);
    virtual void parse(const QByteArray& data);

    static QByteArray CommandFrame(int code);
    static QByteArray AddressFrame(quint32 address);
    static QByteArray CountFrame(int count);
    /// N - 1 as one byte (truncated above 256), the N bytes, XOR of all.
    static QByteArray DataFrame(const QByteArray& data);
    static QString Hex(const QByteArray& bytes);
    static QString TimeStamp();

signals:
    void resultReady(QVariant data);
    void timeout();

public slots:
    virtual void onTimeout();

protected:
    /// Drops waiting input, starts the timer (the response time-out plus `extraMs` for answers that
    /// take the part longer, such as an erase), traces and writes.
    void sendBytes(const QByteArray& bytes, int extraMs = 0);
    void sendCommandFrame();
    /// Nothing goes on the wire, but the timer runs, so the caller still ends in a time-out.
    void waitWithoutSending(const char* reason);
    /// Frame check with the "invalid frame received" trace.
    bool accept(const QByteArray& frame);
    void restartTimer() { m_timer.start(m_responseTimeoutMs); }

    QPointer<QSerialPort> m_port;
    int m_code;
    int m_expectedBytes;
    int m_subState = 0;

private:
    QTimer m_timer;
    int m_responseTimeoutMs = kResponseTimeoutMs;
};

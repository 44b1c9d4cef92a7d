#include "firmware/Stm32CommandBase.h"

#include <QDateTime>
#include <QDebug>
#include <QSerialPort>

Q_LOGGING_CATEGORY(lcStm32, "tessera.stm32")

Stm32CommandBase::Stm32CommandBase(int code, int expectedBytes, QObject* parent)
    : QObject(parent)
    , m_code(code)
    , m_expectedBytes(expectedBytes)
{
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &Stm32CommandBase::onTimeout);
}

void Stm32CommandBase::send(QSerialPort* port, const QVariant& parameters)
{
    Q_UNUSED(parameters)
    m_port = port;
    sendCommandFrame();
}

bool Stm32CommandBase::checkFrame(const QByteArray& frame)
{
    if (frame.isEmpty() || quint8(frame.at(0)) != Ack)
        return false;
    if (m_code != 0x11 && m_code != 0x7F && quint8(frame.at(frame.size() - 1)) != Ack)
        return false;
    m_timer.stop();
    return true;
}

void Stm32CommandBase::parse(const QByteArray& data)
{
    Q_UNUSED(data)
}

void Stm32CommandBase::onTimeout()
{
    emit timeout();
}

QByteArray Stm32CommandBase::CommandFrame(int code)
{
    const char byte = char(code & 0xFF);
    if (quint8(byte) == 0x7F)
        return QByteArray(1, byte);
    return QByteArray(1, byte) + char(~byte);
}

QByteArray Stm32CommandBase::AddressFrame(quint32 address)
{
    QByteArray frame;
    char check = 0;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const char byte = char(address >> shift);
        frame.append(byte);
        check ^= byte;
    }
    frame.append(check);
    return frame;
}

QByteArray Stm32CommandBase::CountFrame(int count)
{
    const char n = char(count - 1);
    return QByteArray(1, n) + char(~n);
}

QByteArray Stm32CommandBase::DataFrame(const QByteArray& data)
{
    const char n = char(data.size() - 1);
    char check = n;
    for (char byte : data)
        check ^= byte;
    return QByteArray(1, n) + data + check;
}

QString Stm32CommandBase::Hex(const QByteArray& bytes)
{
    return QString::fromLatin1(bytes.toHex(' '));
}

QString Stm32CommandBase::TimeStamp()
{
    const QDateTime now = QDateTime::currentDateTime();
    return now.toString(QStringLiteral("dd.MM.yyyy")) + now.toString(QStringLiteral("_hh:mm:ss:zzz"));
}

void Stm32CommandBase::sendBytes(const QByteArray& bytes, int extraMs)
{
    if (m_port && m_port->isOpen())
        m_port->readAll();
    m_timer.start(m_responseTimeoutMs + extraMs);
    qCDebug(lcStm32).noquote() << QStringLiteral("send data %1 %2").arg(Hex(bytes), TimeStamp());
    if (!m_port || !m_port->isOpen()) {
        qCDebug(lcStm32).noquote() << "no open port: nothing sent";
        return;
    }
    if (m_port->write(bytes) != bytes.size())
        qCDebug(lcStm32).noquote() << "write failed:" << m_port->errorString();
    // Out now, not on the next turn of the event loop: each answer waits for this frame.
    m_port->flush();
}

void Stm32CommandBase::sendCommandFrame()
{
    m_subState = 0;
    sendBytes(CommandFrame(m_code));
}

void Stm32CommandBase::waitWithoutSending(const char* reason)
{
    m_timer.start(m_responseTimeoutMs);
    qCDebug(lcStm32).noquote() << QStringLiteral("nothing sent (%1) %2").arg(QLatin1String(reason), TimeStamp());
}

bool Stm32CommandBase::accept(const QByteArray& frame)
{
    if (checkFrame(frame))
        return true;
    qCDebug(lcStm32).noquote() << "invalid frame received";
    return false;
}

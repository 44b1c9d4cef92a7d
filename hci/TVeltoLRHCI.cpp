#include "hci/TVeltoLRHCI.h"

#include <QDateTime>
#include <QEventLoop>
#include <QTimer>
#include <QTimerEvent>

#include <cmath>

#include "base/THexText.h"
#include "hci/Crc16.h"
#include "hci/TSerialDevice.h"
#include "settings/TSettings.h"

namespace {

const char* const kSource = "VeltoLRHCI";

struct ResultRow {
    int code;
    const char* text;
};
// code  text
const ResultRow kResultTexts[] = {
    {0, "OK"},
    {1, "payload length error"},
    {2, "payload pointer error"},
    {3, "transmit error"},
    {4, "SLIP encoder error"},
    {5, "no response"},
    {6, "no radio interface"},
    {7, "HCI parameter error -> message not sent!"},
    {8, "job busy -> message not sent!"},
    {0, nullptr},
};

struct LinkTables {
    QList<int> rates{9600, 19200, 38400, 57600, 115200, 230400, 460800};
    bool eventLogging = false;
    int defaultTimeoutMs = TVeltoLRHCI::kResponseTimeoutMs;
};

LinkTables& Tables()
{
    static LinkTables tables;
    return tables;
}

QString Hex2(quint8 value)
{
    return THexText::Digits(value, 2);
}

}

TVeltoLRHCI::TVeltoLRHCI(QObject* parent)
    : QObject(parent)
    , m_responseTimeoutMs(Tables().defaultTimeoutMs)
{
    TKeyValueList::RegisterMetaType();
    m_slip.AttachClient(this);
}

TVeltoLRHCI::~TVeltoLRHCI()
{
    Close();
}

// ---------------------------------------------------------------- tables

const QList<int>& TVeltoLRHCI::SupportedBaudrates()
{
    return Tables().rates;
}

int TVeltoLRHCI::ParseBaudrate(const QString& text)
{
    const int cut = text.indexOf(QStringLiteral(" bps"));
    bool ok = false;
    const int value = (cut >= 0 ? text.left(cut) : text).trimmed().toInt(&ok, 10);
    return ok ? value : 0;
}

int TVeltoLRHCI::WakeupCharsForBaudrate(int baudrate)
{
    return int(std::ceil(baudrate * 0.0003)) + 5;
}

void TVeltoLRHCI::SetDefaultResponseTimeout(int ms)
{
    Tables().defaultTimeoutMs = ms > 0 ? ms : kResponseTimeoutMs;
}

int TVeltoLRHCI::DefaultResponseTimeout()
{
    return Tables().defaultTimeoutMs;
}

bool TVeltoLRHCI::EnableLogging()
{
    Tables().eventLogging = true;
    TComSlip::SetRawCapture(true);
    return true;
}

bool TVeltoLRHCI::DisableLogging()
{
    Tables().eventLogging = false;
    TComSlip::SetRawCapture(false);
    return true;
}

bool TVeltoLRHCI::LoggingEnabled()
{
    return Tables().eventLogging;
}

QString TVeltoLRHCI::ResultText(int result)
{
    for (const ResultRow* row = kResultTexts; row->text; ++row)
        if (row->code == result)
            return QString::fromLatin1(row->text);
    return QStringLiteral("Unsupported ID(%1)").arg(result);
}

// ---------------------------------------------------------------- port

bool TVeltoLRHCI::Open(const QString& portName, const QString& baudrateText)
{
    if (m_port)
        return false;
    int baud = ParseBaudrate(baudrateText);
    if (!Tables().rates.contains(baud))
        baud = kDefaultBaudrate;

    m_port = new QSerialPort(portName, this);
    m_openError = TSerialDevice::RefusalBeforeOpen(portName);
    if (!m_openError.isEmpty())
        return false;   // the port object stays: a later Open fails until Close
    if (!m_port->open(QIODevice::ReadWrite)) {
        m_openError = m_port->errorString();
        return false;
    }
    m_openError.clear();
    m_portLost = false;
    // Pseudo-terminals refuse some settings; the port works with what it accepts.
    m_port->setDataBits(QSerialPort::Data8);
    m_port->setBaudRate(baud, QSerialPort::AllDirections);
    m_port->setParity(QSerialPort::NoParity);
    m_port->setStopBits(QSerialPort::OneStop);
    m_port->setFlowControl(QSerialPort::NoFlowControl);
    m_port->clearError();
    connect(m_port, &QSerialPort::readyRead, this, &TVeltoLRHCI::OnReadyRead);
    connect(m_port, &QSerialPort::errorOccurred, this, &TVeltoLRHCI::OnError);

    m_portName = portName;
    m_waiting = false;
    m_numWakeupChars = WakeupCharsForBaudrate(baud);
    emit EvShowLine();
    ShowText(QStringLiteral("ComPort %1 opened with %2 bps, %3 wakeup chars").arg(portName).arg(baud).arg(m_numWakeupChars));
    if (LoggingEnabled())
        EnableLogging();
    return true;
}

bool TVeltoLRHCI::Close()
{
    if (m_waitLoop)
        m_waitLoop->quit();
    if (m_dispatchTimerId) {
        killTimer(m_dispatchTimerId);
        m_dispatchTimerId = 0;
    }
    qDeleteAll(m_rxQueue);
    m_rxQueue.clear();
    if (m_port) {
        if (m_port->isOpen()) {
            m_port->flush();
            m_port->close();
        }
        delete m_port;
        m_port = nullptr;
    }
    return true;
}

bool TVeltoLRHCI::IsOpen() const
{
    return m_port && m_port->isOpen();
}

bool TVeltoLRHCI::SetBaudrate(const QString& baudrateText)
{
    const int baud = ParseBaudrate(baudrateText);
    if (!m_port || !Tables().rates.contains(baud))
        return false;
    return m_port->setBaudRate(baud, QSerialPort::AllDirections);
}

QString TVeltoLRHCI::BaudrateText() const
{
    if (!m_port)
        return QStringLiteral("closed : 0 bps");
    return QStringLiteral("%1 bps").arg(m_port->baudRate());
}

void TVeltoLRHCI::OnError(QSerialPort::SerialPortError error)
{
    if (error == QSerialPort::NoError || !m_port || !m_port->isOpen())
        return;
    if (error == QSerialPort::ResourceError || error == QSerialPort::ReadError) {
        // The device vanished (a pseudo-terminal's far end reports it as a read error, over and over):
        // say it once and stop reading; Close() releases the port object.
        ShowText(QStringLiteral("error - ComPort %1 lost: the device is gone").arg(m_portName));
        m_port->close();
        m_portLost = true;
        if (m_waitLoop)
            m_waitLoop->quit();
        emit EvPortLost();
    } else if (error != QSerialPort::TimeoutError) {
        ShowText(QStringLiteral("error - ComPort %1: %2").arg(m_portName, m_port->errorString()));
    }
    m_port->clearError();
}

// ---------------------------------------------------------------- sending

void TVeltoLRHCI::RegisterSAP(quint8 sapId, THCIReceiver* receiver)
{
    m_saps.insert(sapId, receiver);
}

HCIResult TVeltoLRHCI::SendMessage(quint8 sapId, quint8 msgId, const quint8* payload, quint16 length)
{
    if (length > HCIMessage::kMaxPayload)
        return HCIResult_PayloadLengthError;
    if (!payload && length > 0)
        return HCIResult_PayloadPointerError;
    QByteArray message;
    message.reserve(length + 4);
    message.append(char(sapId));
    message.append(char(msgId));
    if (length > 0)
        message.append(reinterpret_cast<const char*>(payload), length);
    const quint16 crc = quint16(~Crc16::Compute(reinterpret_cast<const quint8*>(message.constData()), quint16(length + 2), Crc16::kInit));
    message.append(char(crc & 0xFF));
    message.append(char(crc >> 8));
    return Transmit(message);
}

HCIResult TVeltoLRHCI::Transmit(const QByteArray& message)
{
    QByteArray bytes(m_numWakeupChars, char(TComSlip::END));
    bytes.append(TComSlip::Encode(message));
    if (bytes.size() <= m_numWakeupChars)
        return HCIResult_SlipEncoderError;
    if (LoggingEnabled())
        emit EvLogHCIMessage(LogRecord(QStringLiteral("Tx Event"), bytes, message));
    if (!m_port || !m_port->isOpen())
        return HCIResult_TransmitError;
    if (m_port->write(bytes) < bytes.size())
        return HCIResult_TransmitError;
    ++m_framesSent;
    return HCIResult_OK;
}

HCIResult TVeltoLRHCI::SendRequest(quint8 sapId, quint8 msgId, quint8 rspMsgId, const quint8* payload, quint16 length)
{
    // A second request while one waits would take the first one's answer as its own.
    if (m_waiting)
        return HCIResult_JobBusy;
    const HCIResult result = SendMessage(sapId, msgId, payload, length);
    if (result != HCIResult_OK)
        return result;
    return WaitForResponse(sapId, rspMsgId) ? HCIResult_OK : HCIResult_NoResponse;
}

bool TVeltoLRHCI::WaitForResponse(quint8 sapId, quint8 msgId)
{
    if (m_waiting)
        return false;
    m_waiting = true;
    m_responseReceived = false;
    m_expectedSapId = sapId;
    m_expectedMsgId = msgId;
    emit EvWaitStarted();

    if (IsOpen()) {
        QEventLoop loop;
        QTimer deadline;
        deadline.setSingleShot(true);
        deadline.setTimerType(Qt::PreciseTimer);
        connect(&deadline, &QTimer::timeout, &loop, &QEventLoop::quit);
        deadline.start(m_responseTimeoutMs);
        m_waitLoop = &loop;
        loop.exec();
        m_waitLoop = nullptr;
    }

    m_waiting = false;
    UpdateDispatchTimer();
    emit EvWaitEnded();
    return m_responseReceived;
}

// ---------------------------------------------------------------- receiving

void TVeltoLRHCI::OnReadyRead()
{
    if (m_port)
        FeedReceived(m_port->readAll());
}

void TVeltoLRHCI::FeedReceived(const QByteArray& bytes)
{
    if (!bytes.isEmpty())
        m_slip.Decode(bytes);
}

TVeltoLRHCI::FrameResult TVeltoLRHCI::ParseFrame(const QByteArray& frame, HCIMessage& message)
{
    const auto* data = reinterpret_cast<const quint8*>(frame.constData());
    if (frame.size() > 0xFFFF || !Crc16::Check(data, quint16(frame.size()), Crc16::kInit))
        return FrameCrcError;
    if (frame.size() <= 3)
        return FrameTooShort;
    message.SapID = data[0];
    message.MsgID = data[1];
    message.Length = quint16(qMin(frame.size() - 4, int(HCIMessage::kMaxPayload)));
    std::memcpy(message.Payload, data + 2, message.Length);
    message.CRC16 = 0;
    return FrameOk;
}

void TVeltoLRHCI::ProcessRxFrame(const QByteArray& frame)
{
    HCIMessage message;
    const FrameResult parsed = ParseFrame(frame, message);
    if (parsed == FrameCrcError) {
        ++m_crcErrors;
        ShowText(QStringLiteral("CRC Error"));
        return;
    }
    if (parsed == FrameTooShort)
        return;

    if (m_waiting && message.SapID == m_expectedSapId && message.MsgID == m_expectedMsgId) {
        m_response = message;
        m_responseReceived = true;
        if (m_waitLoop)
            m_waitLoop->quit();
        return;
    }
    m_rxQueue.append(new QueuedMessage{HostTime(), message});
    UpdateDispatchTimer();
}

void TVeltoLRHCI::ProcessRxRawData(const QByteArray& raw, const QByteArray& frame)
{
    if (LoggingEnabled())
        emit EvLogHCIMessage(LogRecord(QStringLiteral("Rx Event"), raw, frame));
}

void TVeltoLRHCI::UpdateDispatchTimer()
{
    // Runs only while something waits to be dispatched, so an idle link never wakes the process.
    const bool wanted = !m_rxQueue.isEmpty() && !m_waiting;
    if (wanted && !m_dispatchTimerId) {
        m_dispatchTimerId = startTimer(kDispatchIntervalMs, Qt::CoarseTimer);
    } else if (!wanted && m_dispatchTimerId) {
        killTimer(m_dispatchTimerId);
        m_dispatchTimerId = 0;
    }
}

void TVeltoLRHCI::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != m_dispatchTimerId || m_dispatchTimerId == 0) {
        QObject::timerEvent(event);
        return;
    }
    if (!m_waiting)
        Dispatch();
    UpdateDispatchTimer();
}

void TVeltoLRHCI::Dispatch()
{
    const int count = m_rxQueue.size();
    for (int i = 0; i < count && !m_rxQueue.isEmpty(); ++i) {
        std::unique_ptr<QueuedMessage> entry(m_rxQueue.takeFirst());
        TKeyValueList record;
        record.Append(QStringLiteral("HostTime"), entry->hostTime);
        record.Append(QStringLiteral("Port"), m_portName);
        THCIReceiver* sap = m_saps.value(entry->message.SapID, nullptr);
        if (!sap)
            ReportUnexpected(QStringLiteral("warning - unsupported message received"), entry->message);
        else if (!sap->ProcessHCIMessage(entry->message, record))
            ReportUnexpected(QStringLiteral("warning - unexpected or unsupported message received"), entry->message);
    }
}

void TVeltoLRHCI::ReportUnexpected(const QString& warning, const HCIMessage& message)
{
    ShowText(warning);
    ShowText(QStringLiteral("RxMsg:SapID:%1;MsgID:%2;Length:%3;Payload:%4")
                 .arg(Hex2(message.SapID), Hex2(message.MsgID))
                 .arg(message.Length)
                 .arg(THexText::Bytes(message.Payload, message.Length)));
}

void TVeltoLRHCI::ShowText(const QString& text)
{
    emit EvShowMessage(QString::fromLatin1(kSource), text);
}

QString TVeltoLRHCI::HostTime() const
{
    const QDateTime now = QDateTime::currentDateTime();
    return now.toString(TSettings::Instance().DateFormat()) + QLatin1Char(' ') + now.toString(QStringLiteral("hh:mm:ss.zzz"));
}

TKeyValueList TVeltoLRHCI::LogRecord(const QString& evType, const QByteArray& slipBytes, const QByteArray& message) const
{
    const auto* data = reinterpret_cast<const quint8*>(message.constData());
    const int size = message.size();
    TKeyValueList record;
    record.SetEventType(evType);
    record.Append(QStringLiteral("HostTime"), HostTime());
    record.Append(QStringLiteral("Port"), m_portName);
    record.Append(QStringLiteral("SLIP-Msg"), THexText::Bytes(reinterpret_cast<const quint8*>(slipBytes.constData()), slipBytes.size()));
    QString sapText = size > 0 ? Hex2(data[0]) : QString();
    if (size > 0) {
        if (const THCIReceiver* sap = m_saps.value(data[0], nullptr))
            sapText += QStringLiteral(" (") + sap->ReceiverName() + QLatin1Char(')');
    }
    record.Append(QStringLiteral("HCI-SapID"), sapText);
    record.Append(QStringLiteral("HCI-MsgID"), size > 1 ? Hex2(data[1]) : QString());
    const int payloadLength = qMax(0, size - 4);
    record.Append(QStringLiteral("HCI-PLen"), qint64(payloadLength));
    record.Append(QStringLiteral("HCI-Payload"), THexText::Bytes(data + qMin(size, 2), payloadLength));
    record.Append(QStringLiteral("HCI-CRC"), size >= 4 ? THexText::Bytes(data + size - 2, 2).trimmed() : QString());
    return record;
}

#include "firmware/TSTM32Bootloader.h"

#include <QDebug>
#include <QSerialPort>
#include <QVariantMap>

#include "firmware/Stm32CommandErase.h"
#include "firmware/Stm32CommandExtendedErase.h"
#include "firmware/Stm32CommandGet.h"
#include "firmware/Stm32CommandGetId.h"
#include "firmware/Stm32CommandGoToAddress.h"
#include "firmware/Stm32CommandInit.h"
#include "firmware/Stm32CommandNull.h"
#include "firmware/Stm32CommandReadMemory.h"
#include "firmware/Stm32CommandReadU32.h"
#include "firmware/Stm32CommandUnprotect.h"
#include "firmware/Stm32CommandWriteMemory.h"
#include "firmware/Stm32DeviceTable.h"

namespace {
enum : int {
    CmdGet = 0x00,
    CmdGetId = 0x02,
    CmdReadMemory = 0x11,
    CmdGo = 0x21,
    CmdWriteMemory = 0x31,
    CmdErase = 0x43,
    CmdExtendedErase = 0x44,
    CmdWriteUnprotect = 0x73,
    CmdInit = 0x7F,
    CmdNull = 0xFF,
    CmdReadU32 = 0x1011,
};
constexpr int kU32Bytes = 4;

QVariantMap Address(quint32 address)
{
    return {{QStringLiteral("StartAddress"), address}};
}
}

TSTM32Bootloader::TSTM32Bootloader(QObject* parent)
    : TBootloaderIF(parent)
{
    AddCommand(new Stm32CommandInit(this), SLOT(onInitResultReady(QVariant)));
    AddCommand(new Stm32CommandGet(this), SLOT(onGetResultReady(QVariant)));
    AddCommand(new Stm32CommandGetId(this), SLOT(onGetIdResultReady(QVariant)));
    AddCommand(new Stm32CommandReadMemory(this), SLOT(onReadMemoryResultReady(QVariant)));
    AddCommand(new Stm32CommandWriteMemory(this), SLOT(onWriteMemoryResultReady(QVariant)));
    AddCommand(new Stm32CommandErase(this), SLOT(OnEraseResultReady(QVariant)));
    AddCommand(new Stm32CommandExtendedErase(this), SLOT(OnEraseResultReady(QVariant)));
    AddCommand(new Stm32CommandUnprotect(this), SLOT(OnUnprotectResultReady(QVariant)));
    AddCommand(new Stm32CommandGoToAddress(this), SLOT(OnGoToAddressResultReady(QVariant)));
    AddCommand(new Stm32CommandReadU32(this), SLOT(OnReadU32ResultReady(QVariant)));
    AddCommand(new Stm32CommandNull(this), nullptr);
    m_current = m_commands.value(CmdNull);
}

TSTM32Bootloader::~TSTM32Bootloader()
{
    Close();
}

void TSTM32Bootloader::AddCommand(Stm32CommandBase* command, const char* resultSlot)
{
    m_commands.insert(command->Code(), command);
    if (resultSlot)
        connect(command, SIGNAL(resultReady(QVariant)), this, resultSlot);
    connect(command, &Stm32CommandBase::timeout, this, &TSTM32Bootloader::onCommandTimeout);
}

void TSTM32Bootloader::SetCommandTimeout(int ms)
{
    for (Stm32CommandBase* command : qAsConst(m_commands))
        command->SetResponseTimeout(ms);
}

bool TSTM32Bootloader::Open(const QString& portName)
{
    Close();
    m_errorText.clear();
    m_portName = portName;
    m_port = new QSerialPort(portName, this);
    if (!m_port->open(QIODevice::ReadWrite)) {
        m_errorText = QStringLiteral("error - couldn't open %1: %2").arg(portName, m_port->errorString());
        delete m_port;
        m_port = nullptr;
        return false;
    }
    m_port->setBaudRate(kBaudRate, QSerialPort::AllDirections);
    m_port->setDataBits(QSerialPort::Data8);
    // Pseudo-terminals refuse parity; the line works without it, so this is no reason to fail.
    if (!m_port->setParity(QSerialPort::EvenParity))
        qCDebug(lcStm32).noquote() << "even parity refused on" << portName << "-" << m_port->errorString();
    m_port->setStopBits(QSerialPort::OneStop);
    m_port->setFlowControl(QSerialPort::NoFlowControl);
    m_port->clearError();
    m_port->readAll();
    connect(m_port, &QSerialPort::readyRead, this, &TSTM32Bootloader::onReadyRead);
    connect(m_port, &QSerialPort::errorOccurred, this, [this](QSerialPort::SerialPortError error) { OnPortError(int(error)); });
    m_gone = false;
    m_trailing.clear();
    return true;
}

void TSTM32Bootloader::OnPortError(int error)
{
    // A vanished USB device reports a resource error; a pseudo-terminal whose far end closed, a read error.
    if ((error != QSerialPort::ResourceError && error != QSerialPort::ReadError) || !m_port || !m_port->isOpen())
        return;
    m_errorText = QStringLiteral("error - port %1 vanished: %2").arg(m_portName, m_port->errorString());
    qCDebug(lcStm32).noquote() << m_errorText;
    m_current->StopTimer();
    m_current = m_commands.value(CmdNull);
    m_port->close();
    emit Lost(m_errorText);
}

void TSTM32Bootloader::Close()
{
    m_current->StopTimer();
    if (!m_port)
        return;
    m_port->disconnect(this);
    m_port->close();
    // Close may run inside the port's own readyRead (a result handler); delete it later.
    m_port->deleteLater();
    m_port = nullptr;
}

bool TSTM32Bootloader::IsWaiting() const
{
    return m_current->IsWaiting();
}

bool TSTM32Bootloader::IsOpen() const
{
    return m_port && m_port->isOpen();
}

void TSTM32Bootloader::Init()
{
    executeCommand(CmdInit);
}

bool TSTM32Bootloader::GetFlashSize(quint32& size) const
{
    if (!m_device)
        return false;
    size = m_device->FlashSize();
    return true;
}

quint16 TSTM32Bootloader::GetPageSize() const
{
    return m_device ? m_device->pageSize : 0;
}

bool TSTM32Bootloader::Erase(quint32 startAddress, quint32 endAddress)
{
    const int command = m_extendedErase ? CmdExtendedErase : CmdErase;
    if (!m_device || m_device->pageSize == 0 || startAddress < m_device->flashStart || startAddress > endAddress
        || endAddress >= m_device->flashEnd) {
        qCDebug(lcStm32).noquote() << QStringLiteral("erase 0x%1..0x%2 refused: outside the flash").arg(startAddress, 0, 16).arg(endAddress, 0, 16);
        return false;
    }
    const int firstPage = int((startAddress - m_device->flashStart) / m_device->pageSize);
    const int lastPage = int((endAddress - m_device->flashStart) / m_device->pageSize);
    if (lastPage > static_cast<Stm32CommandErase*>(m_commands.value(command))->HighestPage()) {
        qCDebug(lcStm32).noquote() << QStringLiteral("erase refused: page %1 cannot be named by command 0x%2").arg(lastPage).arg(command, 2, 16, QLatin1Char('0'));
        return false;
    }
    QVariantMap parameters;
    parameters.insert(QStringLiteral("FirstPage"), firstPage);
    parameters.insert(QStringLiteral("PageCount"), lastPage - firstPage + 1);
    executeCommand(command, parameters);
    return true;
}

void TSTM32Bootloader::EraseAll()
{
    executeCommand(m_extendedErase ? CmdExtendedErase : CmdErase);
}

void TSTM32Bootloader::Unprotect()
{
    executeCommand(CmdWriteUnprotect);
}

void TSTM32Bootloader::WritePage(quint32 address, const QByteArray& data)
{
    QVariantMap parameters = Address(address);
    parameters.insert(QStringLiteral("NumberOfBytes"), data.size());
    parameters.insert(QStringLiteral("PageData"), data);
    executeCommand(CmdWriteMemory, parameters);
}

void TSTM32Bootloader::ReadPage(quint32 address, int length)
{
    QVariantMap parameters = Address(address);
    parameters.insert(QStringLiteral("NumberOfBytes"), length);
    executeCommand(CmdReadMemory, parameters);
}

void TSTM32Bootloader::GoToAddress(quint32 address)
{
    executeCommand(CmdGo, Address(address));
}

QByteArray TSTM32Bootloader::TakeTrailingBytes()
{
    QByteArray bytes;
    bytes.swap(m_trailing);
    return bytes;
}

void TSTM32Bootloader::ReadU32(quint32 address)
{
    QVariantMap parameters = Address(address);
    parameters.insert(QStringLiteral("NumberOfBytes"), kU32Bytes);
    executeCommand(CmdReadU32, parameters);
}

void TSTM32Bootloader::executeCommand(int code, const QVariant& parameters)
{
    m_gone = false;
    m_triesLeft = qint8(m_maxTries);
    m_parameters = parameters;
    m_current = m_commands.value(code, m_commands.value(CmdNull));
    SendCurrent();
}

void TSTM32Bootloader::SendCurrent()
{
    --m_triesLeft;
    m_current->send(m_port, m_parameters);
}

void TSTM32Bootloader::onCommandTimeout()
{
    if (sender() != m_current)
        return;   // a replaced command's timer
    qCDebug(lcStm32).noquote() << "on timeout" << Stm32CommandBase::TimeStamp();
    if (m_triesLeft < 0) {
        m_current = m_commands.value(CmdNull);
        emit Timeout();
        return;
    }
    SendCurrent();
}

void TSTM32Bootloader::onReadyRead()
{
    if (m_port && m_gone) {
        m_trailing += m_port->readAll();
        return;
    }
    if (!m_port || m_port->bytesAvailable() < m_current->ExpectedBytes())
        return;
    m_current->parse(m_port->readAll());
}

void TSTM32Bootloader::onInitResultReady(QVariant data)
{
    Q_UNUSED(data)
    executeCommand(CmdGet);
}

void TSTM32Bootloader::onGetResultReady(QVariant data)
{
    m_extendedErase = data.toMap().value(QStringLiteral("commands")).toByteArray().contains(char(CmdExtendedErase));
    executeCommand(CmdGetId);
}

void TSTM32Bootloader::onGetIdResultReady(QVariant data)
{
    m_device = &FindStm32Device(quint16(data.toInt()));
    qCDebug(lcStm32).noquote() << QStringLiteral("device 0x%1 %2").arg(data.toInt(), 3, 16, QLatin1Char('0')).arg(QLatin1String(m_device->name));
    emit DeviceInitialized();
}

void TSTM32Bootloader::onReadMemoryResultReady(QVariant data)
{
    const QVariantMap map = data.toMap();
    emit PageRead(map.value(QStringLiteral("StartAddress")).toUInt(), map.value(QStringLiteral("Data")).toByteArray());
}

void TSTM32Bootloader::onWriteMemoryResultReady(QVariant data)
{
    Q_UNUSED(data)
    emit PageWritten();
}

void TSTM32Bootloader::OnEraseResultReady(QVariant data)
{
    Q_UNUSED(data)
    emit DeviceErased();
}

void TSTM32Bootloader::OnUnprotectResultReady(QVariant data)
{
    Q_UNUSED(data)
    emit DeviceWriteProtectionChange(false);
}

void TSTM32Bootloader::OnGoToAddressResultReady(QVariant data)
{
    m_gone = true;
    m_trailing = data.toByteArray();
    m_current = m_commands.value(CmdNull);
    emit Gone();
}

void TSTM32Bootloader::OnReadU32ResultReady(QVariant data)
{
    const QVariantMap map = data.toMap();
    emit U32Read(map.value(QStringLiteral("Address")).toUInt(), map.value(QStringLiteral("Value")).toUInt());
}

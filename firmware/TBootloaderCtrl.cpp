#include "firmware/TBootloaderCtrl.h"

#include <QDebug>
#include <QFileInfo>

#include <cstring>

#include "firmware/TBootloaderIF.h"
#include "firmware/TIntelHex.h"
#include "firmware/TSTM32Bootloader.h"

namespace {
struct StatusRow {
    int code;
    const char* text;
};
// code  text
const StatusRow kStatusTexts[] = {
    {0, "Success"},
    {1, "Couldn't open port to Bootloader"},
    {2, "Couldn't connect to Bootloader"},
    {3, "No File Reader found"},
    {4, "No Bootloader found"},
    {5, "Firmware File Empty"},
    {6, "Image not loaded"},
    {7, "Verify failed"},
    {8, "Operation Timeout"},
    {9, "too many FTDI Devices"},
    {10, "FTDI Error"},
};

// FTDI CBUS patterns: CBUS3 drives the boot pin, CBUS2 the reset line (low = reset).
constexpr quint8 kBootHighResetLow = 0xC8;
constexpr quint8 kBootHighResetHigh = 0xCC;
constexpr quint8 kBootLowResetLow = 0xC0;
constexpr quint8 kBootLowResetHigh = 0xC4;
}

QString TBootloaderCtrl::StatusText(int code)
{
    for (const StatusRow& row : kStatusTexts)
        if (row.code == code)
            return QString::fromLatin1(row.text);
    return QStringLiteral("Unexpected Status Code!");
}

void TBootloaderCtrl::RegisterMetaTypes()
{
    static const bool done = [] {
        qRegisterMetaType<TBootloaderCtrl::StatusCode>("StatusCode");
        qRegisterMetaType<TBootloaderCtrl::StatusCode>("TBootloaderCtrl::StatusCode");
        return true;
    }();
    Q_UNUSED(done)
}

TBootloaderCtrl::TBootloaderCtrl(QObject* parent)
    : QObject(parent)
{
    RegisterMetaTypes();
    m_hex = std::make_unique<TIntelHex>();
    m_readers << m_hex.get();
    auto* stm32 = new TSTM32Bootloader(this);
    connect(stm32, &TBootloaderIF::Timeout, this, &TBootloaderCtrl::OnTimeout);
    connect(stm32, &TBootloaderIF::DeviceInitialized, this, &TBootloaderCtrl::OnDeviceInitialized);
    connect(stm32, &TBootloaderIF::DeviceWriteProtectionChange, this, &TBootloaderCtrl::OnDeviceUnprotected);
    connect(stm32, &TBootloaderIF::DeviceErased, this, &TBootloaderCtrl::OnDeviceErased);
    connect(stm32, &TBootloaderIF::PageWritten, this, &TBootloaderCtrl::OnPageWritten);
    connect(stm32, &TBootloaderIF::PageRead, this, &TBootloaderCtrl::OnPageRead);
    connect(stm32, &TBootloaderIF::Gone, this, &TBootloaderCtrl::OnGone);
    connect(stm32, &TBootloaderIF::U32Read, this, &TBootloaderCtrl::OnU32Read);
    m_bootloaders << stm32;
}

TBootloaderCtrl::~TBootloaderCtrl()
{
    for (TBootloaderIF* bootloader : qAsConst(m_bootloaders))
        if (bootloader->IsOpen())
            bootloader->Close();
}

TBootloaderIF* TBootloaderCtrl::FirstBootloader() const
{
    return m_bootloaders.isEmpty() ? nullptr : m_bootloaders.first();
}

void TBootloaderCtrl::Connect(const QString& portName, quint32 flags)
{
    m_bootloader = FirstBootloader();
    m_flags = flags;
    if (m_flags & OptFtdiBootReset) {
        const int first = m_pins.SetPins(kBootHighResetLow);
        const int second = first == TFtdiPins::Ok ? m_pins.SetPins(kBootHighResetHigh) : first;
        if (first != TFtdiPins::Ok || second != TFtdiPins::Ok) {
            emit onDeviceStatus(FtdiError);
            return;
        }
    } else if (m_flags & OptFtdiBootOnly) {
        m_pins.SetPins(kBootHighResetLow);
    }
    if (m_flags & (OptFtdiBootReset | OptFtdiBootOnly))
        TFtdiPins::WaitForPort(portName);   // the kernel re-attaches its serial driver after the pins
    if (!m_bootloader || !m_bootloader->Open(portName)) {
        emit onDeviceStatus(CouldntOpenPort);
        return;
    }
    m_bootloader->Init();
}

void TBootloaderCtrl::OnDeviceInitialized()
{
    if (!m_bootloader)
        return;
    m_connected = true;
    quint32 flashSize = 0;
    if (m_bootloader->GetFlashSize(flashSize) && flashSize > 0) {
        m_image.reset(new quint8[flashSize]);
        std::memset(m_image.get(), 0xFF, flashSize);
        m_imageSize = flashSize;
    } else {
        m_connected = false;
    }
    m_pageSize = m_bootloader->GetPageSize();
    if (m_pageSize == 0)
        m_connected = false;
    if (m_connected)
        emit onDeviceStatus(Success);
    else if (m_flags & OptRetryInit)
        m_bootloader->Init();
    else
        emit onDeviceStatus(CouldntConnect);
}

void TBootloaderCtrl::OnTimeout()
{
    if (m_connected || !(m_flags & OptRetryInit))
        emit onUpdateStatus(OperationTimeout);
    else if (m_bootloader)
        m_bootloader->Init();
}

void TBootloaderCtrl::Forget()
{
    m_bootloader = nullptr;
    m_imageInfo = TImageInfo();
    m_flags = 0;
    m_connected = false;
    m_pageSize = 0;
    m_pageIndex = 0;
    m_image.reset();
    m_imageSize = 0;
}

void TBootloaderCtrl::LoadFirmwareImage(const QString& path)
{
    if (!m_connected) {
        emit onFirmwareStatus(CouldntConnect);
        return;
    }
    if (QFileInfo::exists(path) && m_image) {
        for (TFileReaderIF* reader : qAsConst(m_readers)) {
            if (!reader->ReadFile(path, m_image.get(), m_imageSize, true))
                continue;
            if (reader->IsValid()) {
                reader->GetImageInfo(m_imageInfo);
                emit onFirmwareStatus(Success);
                return;
            }
            break;
        }
    }
    // On purpose: after a failed load only closing the dialog helps.
    Forget();
    emit onFirmwareStatus(CouldntConnect);
}

void TBootloaderCtrl::StartUpdate()
{
    if (!m_connected) {
        emit onUpdateStatus(CouldntConnect);
        return;
    }
    if (!m_image) {
        emit onUpdateStatus(ImageNotLoaded);
        return;
    }
    if (!m_bootloader) {
        emit onUpdateStatus(NoBootloader);
        return;
    }
    m_pageIndex = 0;
    Erase();
}

void TBootloaderCtrl::Erase()
{
    if (m_flags & OptEraseAll)
        m_bootloader->EraseAll();
    else
        m_bootloader->Erase(m_imageInfo.base + m_imageInfo.lowest, m_imageInfo.base + m_imageInfo.highest);
}

void TBootloaderCtrl::OnDeviceUnprotected(bool flag)
{
    Q_UNUSED(flag)
    if (m_bootloader)
        Erase();
}

void TBootloaderCtrl::OnDeviceErased()
{
    WriteStep(false);
}

void TBootloaderCtrl::WriteStep(bool advance)
{
    if (advance)
        ++m_pageIndex;
    const quint32 offset = m_pageIndex * m_pageSize;
    // An image whose only data is at offset 0 has nothing to divide by: it is done at once.
    const uint progress = m_imageInfo.highest > 0 ? uint(quint64(offset) * 100 / m_imageInfo.highest) : 100u;
    emit onUpdateProgress(progress);
    if (m_bootloader && offset < m_imageInfo.highest && offset + m_pageSize <= m_imageSize) {
        m_bootloader->WritePage(m_imageInfo.base + offset, m_image.get() + offset);
        return;
    }
    emit onUpdateStatus(m_bootloader ? Success : NoBootloader);
}

void TBootloaderCtrl::OnPageWritten()
{
    if (!m_bootloader) {
        emit onUpdateStatus(NoBootloader);
        return;
    }
    if (m_flags & OptVerify)
        m_bootloader->ReadPage(m_pageIndex * m_pageSize + m_imageInfo.base);
    else
        WriteStep(true);
}

void TBootloaderCtrl::OnPageRead(quint32 memoryAddr, QByteArray data)
{
    const quint32 offset = memoryAddr - m_imageInfo.base;
    for (int i = 0; i < data.size(); ++i) {
        if (!m_image || offset + quint32(i) >= m_imageSize || quint8(data.at(i)) != m_image[offset + quint32(i)]) {
            emit onUpdateStatus(VerifyFailed);
            return;
        }
    }
    WriteStep(true);
}

void TBootloaderCtrl::StartApplication()
{
    GotoAddress(kApplicationAddress);
}

void TBootloaderCtrl::GotoAddress(quint32 address)
{
    if (!m_bootloader) {
        emit onUpdateStatus(NoBootloader);
        return;
    }
    qDebug().noquote() << QStringLiteral("Goto Address: 0x%1").arg(address, 8, 16, QLatin1Char('0'));
    m_bootloader->GoToAddress(address);
}

void TBootloaderCtrl::OnGone()
{
    emit onApplicationStarted();
}

void TBootloaderCtrl::OnU32Read(quint32 address, quint32 value)
{
    Q_UNUSED(address)
    Q_UNUSED(value)
}

void TBootloaderCtrl::Disconnect()
{
    if (m_bootloader && m_bootloader->IsOpen())
        m_bootloader->Close();
    if (m_flags & OptFtdiBootReset) {
        if (m_pins.SetPins(kBootLowResetLow) == TFtdiPins::Ok)
            m_pins.SetPins(kBootLowResetHigh);
    } else if (m_flags & OptFtdiBootOnly) {
        m_pins.SetPins(kBootLowResetLow);
    }
}

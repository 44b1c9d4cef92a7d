#include "firmware/TBootloaderCtrl.h"

#include <QDebug>
#include <QEventLoop>
#include <QTimer>

#include "base/THexText.h"
#include "firmware/TBootloaderIF.h"
#include "firmware/TSTM32Bootloader.h"
#include "firmware/Stm32DeviceTable.h"
#include "hci/TVeltoLRHCI.h"
#include "sap/TVeltoLRDeviceMgmt.h"
#include "status/TStatusLog.h"

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
    {11, "Port vanished"},
    {12, "Erase All needed"},
    {13, "Cancelled"},
    {14, "Identity mismatch"},
};

// FTDI CBUS patterns: CBUS3 drives the boot pin, CBUS2 the reset line (low = reset).
constexpr quint8 kBootHighResetLow = 0xC8;
constexpr quint8 kBootHighResetHigh = 0xCC;
constexpr quint8 kBootLowResetLow = 0xC0;
constexpr quint8 kBootLowResetHigh = 0xC4;

constexpr int kConfirmTries = 2;
const char* const kSource = "Bootloader";
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
        qRegisterMetaType<TBootloaderCtrl::Step>("TBootloaderCtrl::Step");
        return true;
    }();
    Q_UNUSED(done)
}

TBootloaderCtrl::TBootloaderCtrl(QObject* parent)
    : QObject(parent)
{
    RegisterMetaTypes();
    auto* stm32 = new TSTM32Bootloader(this);
    connect(stm32, &TBootloaderIF::Timeout, this, &TBootloaderCtrl::OnTimeout);
    connect(stm32, &TBootloaderIF::DeviceInitialized, this, &TBootloaderCtrl::OnDeviceInitialized);
    connect(stm32, &TBootloaderIF::DeviceErased, this, &TBootloaderCtrl::OnDeviceErased);
    connect(stm32, &TBootloaderIF::PageWritten, this, &TBootloaderCtrl::OnPageWritten);
    connect(stm32, &TBootloaderIF::PageRead, this, &TBootloaderCtrl::OnPageRead);
    connect(stm32, &TBootloaderIF::Gone, this, &TBootloaderCtrl::OnGone);
    connect(stm32, &TBootloaderIF::Lost, this, &TBootloaderCtrl::OnLost);
    m_bootloader = stm32;
}

TBootloaderCtrl::~TBootloaderCtrl()
{
    m_running = false;
    if (m_wait)
        m_wait->quit();
    if (m_bootloader->IsOpen())
        m_bootloader->Close();
}

void TBootloaderCtrl::SetStep(Step step)
{
    emit EvStep(step);
}

void TBootloaderCtrl::Say(const QString& text)
{
    if (text.isEmpty())
        return;
    TStatusLog::Instance().AddStatusMessage(QString::fromLatin1(kSource), text);
    emit EvMessage(text);
}

void TBootloaderCtrl::Run(const Request& request)
{
    if (m_running)
        return;
    m_request = request;
    m_outcome = Outcome();
    m_running = true;
    m_cancel = m_connected = m_erased = m_restoring = m_pinsSet = false;
    m_total = 0;
    m_trailing.clear();
    m_clock.start();
    // Every step runs from the event loop, never inside the caller.
    QTimer::singleShot(0, this, &TBootloaderCtrl::Start);
}

void TBootloaderCtrl::Cancel()
{
    if (!m_running || m_cancel)
        return;
    m_cancel = true;
    Say(QStringLiteral("info - update cancelled: stopping after the command on the line"));
    if (m_link)
        m_link->Close();   // ends a request that waits
    if (m_wait)
        m_wait->quit();
    m_bootloader->StopRetrying();
}

bool TBootloaderCtrl::CancelRequested()
{
    if (!m_cancel)
        return false;
    Stop(Cancelled, QStringLiteral("info - the update was cancelled"));
    return true;
}

void TBootloaderCtrl::Start()
{
    if (!m_running)
        return;
    SetStep(StepCheckImage);
    if (!TFirmwareImage::NameFits(m_request.imagePath, m_request.expectName)) {
        emit onFirmwareStatus(ImageNotLoaded);
        Finish(ImageNotLoaded, QStringLiteral("error - Wrong image selected! The file name of %1 does not name %2").arg(m_request.imagePath, m_request.expectName));
        return;
    }
    const TFirmwareImage::LoadResult loaded = m_image.Load(m_request.imagePath);
    if (loaded != TFirmwareImage::Loaded) {
        const StatusCode code = loaded == TFirmwareImage::Empty ? FirmwareFileEmpty : ImageNotLoaded;
        emit onFirmwareStatus(code);
        Finish(code, m_image.ErrorText());
        return;
    }
    m_outcome.image = m_image.Identity();
    Say(QStringLiteral("info - image %1: %2..%3, firmware %4")
            .arg(m_request.imagePath, THexText::Prefixed(m_image.FirstAddress(), 8), THexText::Prefixed(m_image.LastAddress(), 8),
                 m_image.Identity().Text()));
    emit onFirmwareStatus(Success);
    if (CancelRequested())
        return;

    if (m_request.viaHci && !EnterViaHci())
        return;
    if (CancelRequested())
        return;
    m_latency.Lower(m_request.port);
    Say(m_latency.Text());
    Connect();
}

std::unique_ptr<TVeltoLRHCI> TBootloaderCtrl::OpenLink(QString& error)
{
    auto link = std::make_unique<TVeltoLRHCI>();
    connect(link.get(), qOverload<const QString&, const QString&>(&TVeltoLRHCI::EvShowMessage), &TStatusLog::Instance(),
            &TStatusLog::AddStatusMessage);
    if (!link->Open(m_request.port, m_request.baudrate.isEmpty() ? QString::number(TVeltoLRHCI::kDefaultBaudrate) : m_request.baudrate)) {
        error = QStringLiteral("error - couldn't open port %1: %2").arg(m_request.port, link->OpenError());
        return nullptr;
    }
    m_link = link.get();
    return link;
}

bool TBootloaderCtrl::EnterViaHci()
{
    SetStep(StepEnterBootloader);
    QString error;
    std::unique_ptr<TVeltoLRHCI> link = OpenLink(error);
    if (!link) {
        emit onDeviceStatus(CouldntOpenPort);
        Finish(CouldntOpenPort, error);
        return false;
    }
    TVeltoLRDeviceMgmt deviceMgmt;
    deviceMgmt.AttachLink(link.get());
    TKeyValueList info;
    if (deviceMgmt.GetFirmwareInfo(info)) {
        m_outcome.oldFirmware = info;
        Say(QStringLiteral("info - running firmware: %1").arg(TFirmwareIdentity::FromFirmwareInfo(info).Text()));
        if (!deviceMgmt.SetBootLoaderMode())
            Say(QStringLiteral("warning - DeviceMgmt/SetBootLoaderMode: %1; trying the bootloader anyway").arg(deviceMgmt.ResultText()));
    } else if (link->PortLost()) {
        emit onDeviceStatus(PortVanished);
        Finish(PortVanished, QStringLiteral("error - port %1 vanished").arg(m_request.port));
        return false;
    } else if (!m_cancel) {
        // A module left in its bootloader by an earlier run does not answer here: go on to it.
        Say(QStringLiteral("info - no answer on the HCI (%1): the module may be in its bootloader already").arg(deviceMgmt.ResultText()));
    }
    link->Close();
    return true;
}

void TBootloaderCtrl::Connect()
{
    SetStep(StepConnect);
    const quint32 flags = m_request.flags;
    if (flags & OptFtdiBootReset) {
        const int first = m_pins.SetPins(kBootHighResetLow);
        const int second = first == TFtdiPins::Ok ? m_pins.SetPins(kBootHighResetHigh) : first;
        if (first != TFtdiPins::Ok || second != TFtdiPins::Ok) {
            const StatusCode code = first == TFtdiPins::TooManyDevices ? TooManyFtdiDevices : FtdiError;
            emit onDeviceStatus(code);
            Finish(code, m_pins.ErrorText());
            return;
        }
        m_pinsSet = true;
    } else if (flags & OptFtdiBootOnly) {
        m_pinsSet = m_pins.SetPins(kBootHighResetLow) == TFtdiPins::Ok;
    }
    if (flags & (OptFtdiBootReset | OptFtdiBootOnly))
        TFtdiPins::WaitForPort(m_request.port);   // the kernel re-attaches its serial driver after the pins
    if (!m_bootloader->Open(m_request.port)) {
        emit onDeviceStatus(CouldntOpenPort);
        Finish(CouldntOpenPort, static_cast<TSTM32Bootloader*>(m_bootloader)->ErrorText());
        return;
    }
    m_bootloader->Init();
}

void TBootloaderCtrl::OnDeviceInitialized()
{
    if (!m_running)
        return;
    quint32 flashSize = 0;
    const quint16 pageSize = m_bootloader->GetPageSize();
    const auto* device = static_cast<TSTM32Bootloader*>(m_bootloader)->Device();
    if (!m_bootloader->GetFlashSize(flashSize) || flashSize == 0 || pageSize == 0 || !device) {
        if (m_request.flags & OptRetryInit) {
            m_bootloader->Init();
            return;
        }
        emit onDeviceStatus(CouldntConnect);
        Finish(CouldntConnect, QStringLiteral("error - the bootloader names a part this studio does not know"));
        return;
    }
    m_flashStart = device->flashStart;
    m_connected = true;
    emit onDeviceStatus(Success);
    Say(QStringLiteral("info - bootloader of %1: flash %2..%3, %4-byte pages, erase command 0x%5")
            .arg(QLatin1String(device->name), THexText::Prefixed(device->flashStart, 8), THexText::Prefixed(device->flashEnd - 1, 8))
            .arg(pageSize)
            .arg(static_cast<TSTM32Bootloader*>(m_bootloader)->HasExtendedErase() ? 44 : 43));
    if (CancelRequested())
        return;

    TFlashLayout layout;
    layout.flashStart = device->flashStart;
    layout.flashEnd = device->flashEnd;
    layout.pageSize = pageSize;
    layout.extendedErase = static_cast<TSTM32Bootloader*>(m_bootloader)->HasExtendedErase();
    m_flash = m_image.FlashImage(layout.flashStart, flashSize);
    if (!m_plan.Make(m_image.Info(), layout, m_flash, m_request.flags & OptEraseAll)) {
        Stop(m_plan.RefusalReason() == TFlashPlan::NeedsEraseAll ? EraseAllNeeded : ImageNotLoaded, m_plan.ErrorText());
        return;
    }
    m_total = m_plan.BytesToWrite() + ((m_request.flags & OptVerify) ? m_plan.BytesToVerify() : 0);
    StartErase();
}

void TBootloaderCtrl::StartErase()
{
    SetStep(StepErase);
    Progress();
    m_erased = true;
    if (m_plan.EraseAll()) {
        Say(QStringLiteral("info - erasing the whole flash"));
        m_bootloader->EraseAll();
        return;
    }
    Say(QStringLiteral("info - erasing pages %1..%2 (%3..%4)")
            .arg(m_plan.FirstPage())
            .arg(m_plan.LastPage())
            .arg(THexText::Prefixed(m_plan.FirstAddress(), 8), THexText::Prefixed(m_plan.LastAddress(), 8)));
    if (!m_bootloader->Erase(m_plan.FirstAddress(), m_plan.LastAddress())) {
        m_erased = false;
        Stop(EraseAllNeeded, QStringLiteral("error - the bootloader cannot name pages %1..%2").arg(m_plan.FirstPage()).arg(m_plan.LastPage()));
    }
}

void TBootloaderCtrl::OnDeviceErased()
{
    if (!m_running || CancelRequested())
        return;
    SetStep(StepWrite);
    m_block = 0;
    WriteNext();
}

void TBootloaderCtrl::WriteNext()
{
    const QVector<TFlashPlan::Block>& blocks = m_plan.Blocks();
    while (m_block < blocks.size() && blocks.at(m_block).erased)
        ++m_block;   // all 0xFF: the erase wrote it already
    if (m_block < blocks.size()) {
        const TFlashPlan::Block& block = blocks.at(m_block);
        m_bootloader->WritePage(block.address, m_flash.mid(int(block.address - m_flashStart), int(block.length)));
        return;
    }
    if (m_request.flags & OptVerify) {
        SetStep(StepVerify);
        m_block = 0;
        ReadNext();
        return;
    }
    emit onUpdateStatus(Success);
    StartApplication();
}

void TBootloaderCtrl::OnPageWritten()
{
    if (!m_running)
        return;
    const quint32 length = m_plan.Blocks().at(m_block).length;
    m_outcome.bytesWritten += length;
    Progress();
    ++m_block;
    if (!CancelRequested())
        WriteNext();
}

void TBootloaderCtrl::ReadNext()
{
    const QVector<TFlashPlan::Block>& blocks = m_plan.Blocks();
    if (m_block < blocks.size()) {
        m_bootloader->ReadPage(blocks.at(m_block).address, int(blocks.at(m_block).length));
        return;
    }
    m_outcome.verified = true;
    Say(QStringLiteral("info - verified: %1 bytes read back match").arg(m_outcome.bytesVerified));
    emit onUpdateStatus(Success);
    StartApplication();
}

void TBootloaderCtrl::OnPageRead(quint32 memoryAddr, QByteArray data)
{
    if (!m_running)
        return;
    const TFlashPlan::Block& block = m_plan.Blocks().at(m_block);
    const QByteArray expected = m_flash.mid(int(block.address - m_flashStart), int(block.length));
    if (memoryAddr != block.address || data != expected) {
        int at = 0;
        while (at < data.size() && at < expected.size() && data.at(at) == expected.at(at))
            ++at;
        emit onUpdateStatus(VerifyFailed);
        Finish(VerifyFailed, QStringLiteral("error - verify failed at %1: read %2, the image has %3")
                                 .arg(THexText::Prefixed(block.address + quint32(at), 8))
                                 .arg(at < data.size() ? THexText::Prefixed(quint8(data.at(at)), 2) : QStringLiteral("nothing"))
                                 .arg(THexText::Prefixed(quint8(expected.at(qMin(at, expected.size() - 1))), 2)));
        return;
    }
    m_outcome.bytesVerified += block.length;
    Progress();
    ++m_block;
    if (!CancelRequested())
        ReadNext();
}

void TBootloaderCtrl::Progress()
{
    const quint64 done = m_outcome.bytesWritten + m_outcome.bytesVerified;
    emit EvBytes(done, m_total);
    emit onUpdateProgress(m_total ? uint(done * 100 / m_total) : 0u);
}

void TBootloaderCtrl::StartApplication()
{
    SetStep(StepStart);
    if (m_request.flags & OptFtdiBootReset) {
        // Boot pin low and a reset: the module starts its application by itself.
        Disconnect();
        ApplicationStarted();
        return;
    }
    m_bootloader->GoToAddress(m_flashStart);
}

void TBootloaderCtrl::OnGone()
{
    m_trailing = m_bootloader->TakeTrailingBytes();
    if (!m_running)
        return;
    if (m_restoring) {
        Say(QStringLiteral("info - the old firmware runs again"));
        Finish(m_pendingCode, m_pendingText);
        return;
    }
    Disconnect();
    ApplicationStarted();
}

void TBootloaderCtrl::ApplicationStarted()
{
    emit onApplicationStarted();
    if (!m_request.confirmIdentity) {
        Finish(Success, QString());
        return;
    }
    // Out of the bootloader's own signal, so that its port is gone before the link opens.
    QTimer::singleShot(0, this, &TBootloaderCtrl::Confirm);
}

void TBootloaderCtrl::ConfirmIdentity()
{
    if (m_running)
        return;
    m_running = true;
    m_cancel = false;
    QTimer::singleShot(0, this, &TBootloaderCtrl::Confirm);
}

void TBootloaderCtrl::Confirm()
{
    if (!m_running || CancelRequested())
        return;
    SetStep(StepConfirm);
    QString error;
    std::unique_ptr<TVeltoLRHCI> link = OpenLink(error);
    if (!link) {
        Finish(CouldntOpenPort, error);
        return;
    }
    TVeltoLRDeviceMgmt deviceMgmt;
    deviceMgmt.AttachLink(link.get());
    QEventLoop wait;
    connect(&deviceMgmt, &TVeltoLRDeviceMgmt::EvDeviceMgmt_PowerUpEvent, &wait, [this, &wait](const TKeyValueList& record) {
        m_outcome.powerUp = record;
        wait.quit();
    });
    link->FeedReceived(m_trailing);
    m_trailing.clear();
    if (m_outcome.powerUp.isEmpty()) {
        // The application says when it is ready; a quiet one is asked after a while anyway.
        QTimer::singleShot(kApplicationStartMs, &wait, &QEventLoop::quit);
        m_wait = &wait;
        wait.exec();
        m_wait = nullptr;
    }
    if (!m_running || CancelRequested())
        return;
    TKeyValueList info;
    bool answered = false;
    for (int i = 0; i < kConfirmTries && !answered && !m_cancel && link->IsOpen(); ++i)
        answered = deviceMgmt.GetFirmwareInfo(info);
    const bool lost = link->PortLost();
    link->Close();
    if (CancelRequested())
        return;
    if (lost) {
        Finish(PortVanished, QStringLiteral("error - port %1 vanished").arg(m_request.port));
        return;
    }
    if (!answered) {
        Finish(OperationTimeout, QStringLiteral("error - the started firmware does not answer on the HCI (%1)").arg(deviceMgmt.ResultText()));
        return;
    }
    m_outcome.newFirmware = info;
    const TFirmwareIdentity running = TFirmwareIdentity::FromFirmwareInfo(info);
    Say(QStringLiteral("info - the module runs %1").arg(running.Text()));
    if (!m_image.Identity().IsRunBy(info)) {
        Finish(IdentityMismatch, QStringLiteral("error - the module runs %1, the image holds %2").arg(running.Text(), m_image.Identity().Text()));
        return;
    }
    Finish(Success, QString());
}

void TBootloaderCtrl::OnTimeout()
{
    if (!m_running)
        return;
    if (m_restoring) {
        Finish(m_pendingCode, m_pendingText);
        return;
    }
    if (!m_connected && (m_request.flags & OptRetryInit) && !m_cancel) {
        m_bootloader->Init();
        return;
    }
    if (CancelRequested())
        return;
    const QString text = QStringLiteral("error - the bootloader on %1 does not answer").arg(m_request.port);
    if (m_connected)
        emit onUpdateStatus(OperationTimeout);
    else
        emit onDeviceStatus(OperationTimeout);
    Finish(OperationTimeout, text);
}

void TBootloaderCtrl::OnLost(const QString& text)
{
    if (!m_running)
        return;
    if (m_restoring) {
        Finish(PortVanished, text);
        return;
    }
    if (m_connected)
        emit onUpdateStatus(PortVanished);
    else
        emit onDeviceStatus(PortVanished);
    Finish(PortVanished, text);
}

void TBootloaderCtrl::Stop(StatusCode code, const QString& text)
{
    // Nothing erased yet: the old firmware is whole, so it runs again rather than a bootloader.
    if (m_connected && !m_erased && !(m_request.flags & OptFtdiBootReset) && m_bootloader->IsOpen()) {
        m_restoring = true;
        m_pendingCode = code;
        m_pendingText = text;
        m_bootloader->GoToAddress(m_flashStart);
        return;
    }
    Finish(code, text);
}

void TBootloaderCtrl::Finish(StatusCode code, const QString& text)
{
    m_running = false;
    m_restoring = false;
    Disconnect();
    if (!m_latency.Restore())
        Say(m_latency.Text());
    m_outcome.status = code;
    m_outcome.text = text;
    m_outcome.seconds = m_clock.isValid() ? m_clock.nsecsElapsed() / 1e9 : 0;
    Say(text);
    SetStep(StepIdle);
    emit EvFinished(code, text);
}

void TBootloaderCtrl::Disconnect()
{
    if (m_bootloader->IsOpen())
        m_bootloader->Close();
    if (!m_pinsSet)
        return;
    m_pinsSet = false;
    if (m_request.flags & OptFtdiBootReset) {
        if (m_pins.SetPins(kBootLowResetLow) == TFtdiPins::Ok)
            m_pins.SetPins(kBootLowResetHigh);
    } else if (m_request.flags & OptFtdiBootOnly) {
        m_pins.SetPins(kBootLowResetLow);
    }
    if (!m_pins.ErrorText().isEmpty())
        Say(QStringLiteral("warning - ") + m_pins.ErrorText().mid(QStringLiteral("error - ").size()));
}

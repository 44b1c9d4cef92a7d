#include "tools/sim/TSimModule.h"

#include <QTimer>

#include "hci/Crc16.h"
#include "tools/sim/TPseudoTerminal.h"
#include "tools/sim/TSimDeviceMgmt.h"
#include "tools/sim/TSimStm32Bootloader.h"
#include "tools/sim/TSimStm32Port.h"
#include "tools/sim/TSimLoRaWAN.h"
#include "tools/sim/TSimDataLink.h"
#include "tools/sim/TSimSensor.h"
#include "tools/sim/TSimTrace.h"
#include "tools/sim/TSimProductionSupport.h"

TSimModule::TSimModule(QObject* parent)
    : QObject(parent)
    , m_pty(new TPseudoTerminal(this))
{
    m_uptime.start();
    m_slip.AttachClient(this);
    connect(m_pty, &TPseudoTerminal::DataReceived, this, &TSimModule::OnBytes);
    m_bootloader = std::make_unique<TSimStm32Bootloader>();
    connect(m_bootloader.get(), &TSimStm32Bootloader::EvSend, this, [this](const QByteArray& bytes) { m_bootloaderOut += bytes; });
    connect(m_bootloader.get(), &TSimStm32Bootloader::EvApplicationStarted, this, [this] { LeaveBootloader(); });
    AddService(std::make_unique<TSimDeviceMgmt>(*this));
    AddService(std::make_unique<TSimDataLink>(*this));
    AddService(std::make_unique<TSimSensor>(*this));
    AddService(std::make_unique<TSimTrace>(*this));
    AddService(std::make_unique<TSimProductionSupport>(*this));
    AddService(std::make_unique<TSimLoRaWAN>(*this));
    static_cast<TSimDeviceMgmt*>(Service(TSimDeviceMgmt::kSapId))->EnterBootloaderRequested = [this] { EnterBootloader(); };
}

TSimModule::~TSimModule() = default;

void TSimModule::EnterBootloader()
{
    m_inBootloader = true;
    m_bootloader->Reset();
    if (m_bootloaderPacing)
        m_pty->SetPacing(TSimStm32Port::kLineBaud, TSimStm32Port::kBitsPerByte8E1);
    emit EvBootloaderEntered();
}

void TSimModule::LeaveBootloader()
{
    m_inBootloader = false;
    m_pty->SetPacing(0, 10);
    TakeIdentityFromFlash();
    RestartServices();
    emit EvApplicationStarted();
    // A freshly started application announces itself at once: its power-up frame follows the
    // answer to Go in the same burst, as a USB bridge delivers both in one packet.
    m_bootloaderOut += PowerUpFrame();
}

QByteArray TSimModule::PowerUpFrame() const
{
    auto* dm = static_cast<TSimDeviceMgmt*>(Service(TSimDeviceMgmt::kSapId));
    return dm ? Frame(TSimDeviceMgmt::kSapId, TSimDeviceMgmt::kPowerUpEvent, dm->FirmwareInfo()) : QByteArray();
}

bool TSimModule::TakeIdentityFromFlash()
{
    static const QByteArray kTag("VELTOFW:");
    const QByteArray& flash = m_bootloader->Flash();
    const int at = flash.indexOf(kTag);
    if (at < 0)
        return false;
    const int end = flash.indexOf('\0', at);
    const QStringList fields = QString::fromLatin1(flash.mid(at + kTag.size(), qMin(end < 0 ? 64 : end - at - kTag.size(), 64))).split(QLatin1Char(';'));
    const QStringList version = fields.value(1).split(QLatin1Char('.'));
    bool okMajor = false, okMinor = false, okBuild = false;
    const uint major = version.value(0).toUInt(&okMajor);
    const uint minor = version.value(1).toUInt(&okMinor);
    const uint build = fields.value(2).toUInt(&okBuild);
    if (fields.value(0).isEmpty() || !okMajor || !okMinor || major > 255 || minor > 255)
        return false;
    m_identity.firmwareName = fields.value(0);
    m_identity.versionMajor = quint8(major);
    m_identity.versionMinor = quint8(minor);
    if (okBuild && build <= 0xFFFF)
        m_identity.buildCount = quint16(build);
    return true;
}

bool TSimModule::Open(QString* error)
{
    return m_pty->Open(error);
}

void TSimModule::Close()
{
    m_pty->Close();
}

bool TSimModule::IsOpen() const
{
    return m_pty->IsOpen();
}

QString TSimModule::PortName() const
{
    return m_pty->SlavePath();
}

bool TSimModule::CreateLink(const QString& path, QString* error)
{
    return m_pty->CreateLink(path, error);
}

void TSimModule::AddService(std::unique_ptr<TSimService> service)
{
    for (auto& existing : m_services) {
        if (existing->SapID() == service->SapID()) {
            existing = std::move(service);
            return;
        }
    }
    m_services.push_back(std::move(service));
}

TSimService* TSimModule::Service(quint8 sapId) const
{
    for (const auto& service : m_services)
        if (service->SapID() == sapId)
            return service.get();
    return nullptr;
}

void TSimModule::RestartServices()
{
    for (const auto& service : m_services)
        service->Restarted();
}

void TSimModule::ForceStatus(quint8 sapId, quint8 msgId, quint8 status)
{
    m_forced.insert(quint16(sapId << 8 | msgId), status);
}

QByteArray TSimModule::Frame(quint8 sapId, quint8 msgId, const QByteArray& payload, bool corruptCrc)
{
    QByteArray message;
    message.append(char(sapId));
    message.append(char(msgId));
    message.append(payload);
    quint16 crc = quint16(~Crc16::Compute(reinterpret_cast<const quint8*>(message.constData()), quint16(message.size())));
    if (corruptCrc)
        crc ^= 0x0100;
    message.append(char(crc & 0xFF));
    message.append(char(crc >> 8));
    return TComSlip::Encode(message);
}

void TSimModule::SendMessage(quint8 sapId, quint8 msgId, const QByteArray& payload)
{
    m_pty->Write(Frame(sapId, msgId, payload));
}

void TSimModule::SendPowerUpEvent()
{
    m_pty->Write(PowerUpFrame());
}

void TSimModule::SendRaw(const QByteArray& bytes)
{
    m_pty->Write(bytes);
}

void TSimModule::OnBytes(const QByteArray& bytes)
{
    if (!m_inBootloader) {
        m_slip.Decode(bytes);
        return;
    }
    // Everything the bootloader (and an application it starts) answers to these bytes leaves as one write.
    m_bootloader->Feed(bytes);
    QByteArray out;
    out.swap(m_bootloaderOut);
    m_pty->Write(out);
}

void TSimModule::ProcessRxFrame(const QByteArray& frame)
{
    const auto* data = reinterpret_cast<const quint8*>(frame.constData());
    if (frame.size() < 4 || frame.size() > 0xFFFF || !Crc16::Check(data, quint16(frame.size()))) {
        ++m_crcErrors;   // a real module drops what it cannot check
        return;
    }
    const quint8 sapId = data[0];
    const quint8 msgId = data[1];
    const QByteArray payload = frame.mid(2, frame.size() - 4);
    ++m_requests;
    emit RequestReceived(sapId, msgId, payload);
    if (m_fault == FaultNoAnswer)
        return;

    QByteArray response;
    const auto forced = m_forced.constFind(quint16(sapId << 8 | msgId));
    if (forced != m_forced.constEnd()) {
        response.append(char(forced.value()));
    } else {
        TSimService* service = Service(sapId);
        const TSimReply reply = service ? service->HandleRequest(msgId, payload) : TSimReply::Unknown();
        response.append(char(reply.known ? reply.status : TSimReply::kNotSupported));
        if (reply.known)
            response.append(reply.data);
    }
    const quint8 rspId = quint8(msgId + 1);
    if (m_responseDelayMs > 0) {
        QTimer::singleShot(m_responseDelayMs, this, [this, sapId, rspId, response] { Answer(sapId, rspId, response); });
    } else {
        Answer(sapId, rspId, response);
    }
}

void TSimModule::Answer(quint8 sapId, quint8 msgId, const QByteArray& payload)
{
    if (!m_pty->IsOpen())
        return;
    switch (m_fault) {
    case FaultCorruptCrc:
        m_pty->Write(Frame(sapId, msgId, payload, true));
        break;
    case FaultWrongMsgIdFirst:
        m_pty->Write(Frame(sapId, quint8(msgId + 2), payload));
        m_pty->Write(Frame(sapId, msgId, payload));
        break;
    case FaultSplitWrites: {
        const QByteArray bytes = Frame(sapId, msgId, payload);
        for (int i = 0; i < bytes.size(); ++i)
            QTimer::singleShot(i, this, [this, b = bytes.mid(i, 1)] { m_pty->Write(b); });
        break;
    }
    default:
        m_pty->Write(Frame(sapId, msgId, payload));
        break;
    }
}

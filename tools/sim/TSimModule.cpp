#include "tools/sim/TSimModule.h"

#include <QTimer>

#include "hci/Crc16.h"
#include "tools/sim/TPseudoTerminal.h"
#include "tools/sim/TSimDeviceMgmt.h"
#include "tools/sim/TSimLoRaWAN.h"

TSimModule::TSimModule(QObject* parent)
    : QObject(parent)
    , m_pty(new TPseudoTerminal(this))
{
    m_uptime.start();
    m_slip.AttachClient(this);
    connect(m_pty, &TPseudoTerminal::DataReceived, this, &TSimModule::OnBytes);
    AddService(std::make_unique<TSimDeviceMgmt>(*this));
    AddService(std::make_unique<TSimLoRaWAN>(*this));
}

TSimModule::~TSimModule() = default;

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
    if (auto* dm = static_cast<TSimDeviceMgmt*>(Service(TSimDeviceMgmt::kSapId)))
        SendMessage(TSimDeviceMgmt::kSapId, TSimDeviceMgmt::kPowerUpEvent, dm->FirmwareInfo());
}

void TSimModule::SendRaw(const QByteArray& bytes)
{
    m_pty->Write(bytes);
}

void TSimModule::OnBytes(const QByteArray& bytes)
{
    m_slip.Decode(bytes);
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

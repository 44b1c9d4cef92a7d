#include "tools/sim/TSimOspreyOptions.h"

#include <QCommandLineParser>

#include "tools/sim/TSimAir.h"
#include "tools/sim/TSimDataLink.h"
#include "tools/sim/TSimModule.h"
#include "tools/sim/TSimTraffic.h"

TSimOspreyOptions::TSimOspreyOptions()
    : m_peerLinkOption(QStringLiteral("peer-link"),
                       QStringLiteral("A second module on its own port, with a symbolic link PATH to it, sharing the radio air "
                                      "with the first (its radio address is 10:1234)."),
                       QStringLiteral("PATH"))
    , m_pathLossOption(QStringLiteral("path-loss"),
                       QStringLiteral("Path loss between the two modules in dB (default %1).").arg(TSimAir::kDefaultPathLossDb),
                       QStringLiteral("DB"))
    , m_trafficOption(QStringLiteral("traffic"),
                      QStringLiteral("Receive RATE radio messages per second from four nodes with wandering RSSI and SNR "
                                     "(sensor telegrams when the sensor app receives)."),
                      QStringLiteral("RATE"))
{
}

TSimOspreyOptions::~TSimOspreyOptions()
{
    // The traffic and the peer go before the air they use.
    m_traffic.reset();
    m_peer.reset();
    m_air.reset();
}

void TSimOspreyOptions::AddTo(QCommandLineParser& parser) const
{
    parser.addOptions({m_peerLinkOption, m_pathLossOption, m_trafficOption});
}

bool TSimOspreyOptions::Read(const QCommandLineParser& parser, QString& error)
{
    m_peerLink = parser.value(m_peerLinkOption);
    if (parser.isSet(m_pathLossOption)) {
        bool ok = false;
        m_pathLossDb = parser.value(m_pathLossOption).toInt(&ok);
        if (!ok || m_pathLossDb < 0 || m_pathLossDb > kMaxPathLossDb) {
            error = QStringLiteral("error - --path-loss wants dB, 0..%1").arg(kMaxPathLossDb);
            return false;
        }
        if (m_peerLink.isEmpty()) {
            error = QStringLiteral("error - --path-loss needs --peer-link");
            return false;
        }
    }
    if (parser.isSet(m_trafficOption)) {
        bool ok = false;
        m_trafficRate = parser.value(m_trafficOption).toDouble(&ok);
        if (!ok || !(m_trafficRate > 0 && m_trafficRate <= TSimTraffic::kMaxRate)) {
            error = QStringLiteral("error - --traffic wants messages per second, more than 0 and at most %1").arg(TSimTraffic::kMaxRate);
            return false;
        }
    }
    return true;
}

namespace {
/// The identity is set after the module was made: its radio's factory address follows it.
void ResetRadio(TSimModule& module)
{
    if (auto* link = module.ServiceOf<TSimDataLink>())
        link->ResetRadioConfig();
}
}

bool TSimOspreyOptions::Start(TSimModule& module, QString& error)
{
    ResetRadio(module);
    if (!m_peerLink.isEmpty()) {
        m_air = std::make_unique<TSimAir>();
        m_peer = std::make_unique<TSimModule>();
        TSimIdentity& peer = m_peer->Identity();
        peer = module.Identity();
        const quint16 device = quint16(module.Identity().deviceAddress) == kPeerDevice ? kPeerDevice + 1 : kPeerDevice;
        peer.deviceAddress = (module.Identity().deviceAddress & 0xFFFF0000u) | device;
        peer.deviceId = module.Identity().deviceId + 1;
        ResetRadio(*m_peer);
        if (!m_peer->Open(&error) || !m_peer->CreateLink(m_peerLink, &error))
            return false;
        m_air->Join(module);
        m_air->Join(*m_peer);
        if (m_pathLossDb >= 0)
            m_air->SetDefaultPathLoss(m_pathLossDb);
    }
    if (m_trafficRate > 0) {
        m_traffic = std::make_unique<TSimTraffic>(module);
        m_traffic->Start(m_trafficRate);
    }
    return true;
}

QString TSimOspreyOptions::PeerPortName() const
{
    return m_peer ? m_peer->PortName() : QString();
}

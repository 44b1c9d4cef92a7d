#include "tools/sim/TSimAir.h"

#include <QTimer>

#include <cmath>

#include "sap/DataLinkLayouts.h"
#include "tools/sim/TSimDataLink.h"
#include "tools/sim/TSimModule.h"

namespace {
constexpr double kThermalNoiseDbmPerHz = -174.0;
constexpr double kNoiseFigureDb = 6.0;
constexpr double kFskLimitDb = 9.0;
// Bandwidth    Hz
const double kLoRaBandwidthsHz[] = {125e3, 250e3, 500e3};
// FSKDataRate  receive bandwidth Hz (twice the bit rate)
const double kFskBandwidthsHz[] = {100e3, 200e3, 500e3};

void AppendLe16(QByteArray& bytes, quint16 value)
{
    bytes.append(char(value & 0xFF));
    bytes.append(char(value >> 8));
}
}

// ---- frame and channel ----

bool TSimRadioFrame::Broadcast() const
{
    return dstGroup == DataLinkLayouts::kBroadcastGroup || dstDevice == DataLinkLayouts::kBroadcastDevice;
}

QByteArray TSimRadioFrame::Bytes() const
{
    QByteArray bytes(1, char(kind));
    bytes.append(char(dstGroup));
    AppendLe16(bytes, dstDevice);
    bytes.append(char(srcGroup));
    AppendLe16(bytes, srcDevice);
    return bytes + data;
}

bool TSimChannel::Hears(const TSimChannel& other) const
{
    if (modulation != other.modulation || frequency != other.frequency)
        return false;
    if (modulation == DataLinkLayouts::kModulationFSK)
        return fskDataRate == other.fskDataRate;
    return bandwidth == other.bandwidth && spreading == other.spreading;
}

double TSimChannel::NoiseFloorDbm() const
{
    const double bandwidthHz = modulation == DataLinkLayouts::kModulationFSK ? kFskBandwidthsHz[qMin<int>(fskDataRate, 2)]
                                                                               : kLoRaBandwidthsHz[qMin<int>(bandwidth, 2)];
    return kThermalNoiseDbmPerHz + 10.0 * std::log10(bandwidthHz) + kNoiseFigureDb;
}

double TSimChannel::DemodulationLimitDb() const
{
    if (modulation == DataLinkLayouts::kModulationFSK)
        return kFskLimitDb;
    return -7.5 - 2.5 * (qBound(7, int(spreading), 12) - 7);
}

// ---- air ----

TSimAir::TSimAir(QObject* parent)
    : QObject(parent)
{
}

TSimAir::~TSimAir()
{
    for (TSimDataLink* station : qAsConst(m_stations))
        station->SetAir(nullptr);
}

bool TSimAir::Join(TSimModule& module)
{
    auto* station = module.ServiceOf<TSimDataLink>();
    if (!station)
        return false;
    if (!m_stations.contains(station)) {
        m_stations.append(station);
        station->SetAir(this);
    }
    return true;
}

void TSimAir::Leave(TSimDataLink* station)
{
    m_stations.removeAll(station);
    for (auto it = m_pathLossDb.begin(); it != m_pathLossDb.end();) {
        if (it.key().first == station || it.key().second == station)
            it = m_pathLossDb.erase(it);
        else
            ++it;
    }
    // A frame whose sender went away is never finished.
    for (int i = m_onAir.size() - 1; i >= 0; --i)
        if (m_onAir.at(i).sender == station)
            m_onAir.remove(i);
}

QPair<const TSimDataLink*, const TSimDataLink*> TSimAir::Pair(const TSimDataLink* a, const TSimDataLink* b)
{
    return a < b ? qMakePair(a, b) : qMakePair(b, a);
}

bool TSimAir::SetPathLoss(TSimModule& a, TSimModule& b, int dB)
{
    auto* sa = a.ServiceOf<TSimDataLink>();
    auto* sb = b.ServiceOf<TSimDataLink>();
    if (!m_stations.contains(sa) || !m_stations.contains(sb))
        return false;
    m_pathLossDb.insert(Pair(sa, sb), dB);
    return true;
}

int TSimAir::PathLoss(const TSimDataLink* a, const TSimDataLink* b) const
{
    return m_pathLossDb.value(Pair(a, b), m_defaultPathLossDb);
}

void TSimAir::Signal(int powerDbm, int pathLossDb, const TSimChannel& channel, int& rssiDbm, int& snrDb)
{
    rssiDbm = powerDbm - pathLossDb;
    snrDb = qMin(int(std::lround(rssiDbm - channel.NoiseFloorDbm())), kMaxReportedSnrDb);
}

void TSimAir::Transmit(TSimDataLink* sender, const TSimRadioFrame& frame, quint32 airTimeMs)
{
    const quint64 id = m_nextId++;
    m_onAir.append(Transmission{id, sender, sender->Channel(), sender->PowerLevel(), frame, airTimeMs});
    QTimer::singleShot(int(airTimeMs), this, [this, id] { End(id); });
}

bool TSimAir::ChannelBusy(const TSimDataLink* station) const
{
    const TSimChannel channel = station->Channel();
    for (const Transmission& t : m_onAir) {
        if (t.sender == station || !channel.Hears(t.channel))
            continue;
        int rssi = 0, snr = 0;
        Signal(t.powerDbm, PathLoss(t.sender, station), t.channel, rssi, snr);
        if (rssi >= station->LbtThreshold())
            return true;
    }
    return false;
}

void TSimAir::End(quint64 id)
{
    int index = -1;
    for (int i = 0; i < m_onAir.size() && index < 0; ++i)
        if (m_onAir.at(i).id == id)
            index = i;
    if (index < 0)
        return;
    const Transmission t = m_onAir.takeAt(index);
    t.sender->TransmissionEnded(t.frame, t.airTimeMs);
    int receivers = 0;
    // A receiver may answer (an acknowledgement) but never joins or leaves while it hears.
    const QVector<TSimDataLink*> stations = m_stations;
    for (TSimDataLink* station : stations) {
        if (station == t.sender || !station->Channel().Hears(t.channel))
            continue;
        int rssi = 0, snr = 0;
        Signal(t.powerDbm, PathLoss(t.sender, station), t.channel, rssi, snr);
        if (snr < t.channel.DemodulationLimitDb())
            continue;
        if (station->Hear(t.frame, qint16(rssi), qint8(snr)))
            ++receivers;
    }
    emit EvTransmissionEnded(t.frame.srcGroup, t.frame.srcDevice, receivers);
}

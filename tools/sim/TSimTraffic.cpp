#include "tools/sim/TSimTraffic.h"

#include <cmath>

#include "sap/SensorLayouts.h"
#include "tools/sim/TSimAir.h"
#include "tools/sim/TSimDataLink.h"
#include "tools/sim/TSimModule.h"
#include "tools/sim/TSimSensor.h"

namespace {
// A fixed seed: every demo run shows the same walk.
constexpr quint32 kSeed = 0x7E55E7A;
}

const QVector<TSimTraffic::Source>& TSimTraffic::Sources()
{
    // group  device   RSSI dBm  SNR dB  sensor
    static const QVector<Source> sources = {
        {0x10, 0x0101,  -62,      9,      false},
        {0x10, 0x0102,  -84,      5,      true},
        {0x20, 0x0A0B,  -101,     -2,     false},
        {0x10, 0x0104,  -114,     -9,     true},
    };
    return sources;
}

TSimTraffic::TSimTraffic(TSimModule& module, QObject* parent)
    : QObject(parent)
    , m_module(module)
    , m_random(kSeed)
{
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &TSimTraffic::OnTick);
    for (const Source& source : Sources()) {
        m_rssi.append(source.rssiDbm);
        m_snr.append(source.snrDb);
        m_counters.append(0);
    }
}

bool TSimTraffic::Start(double perSecond)
{
    if (!(perSecond > 0 && perSecond <= kMaxRate))
        return false;
    m_rate = perSecond;
    m_emittedAtStart = m_emitted;
    m_clock.start();
    // One tick per message, or per millisecond at high rates (OnTick then sends what is due).
    m_timer.start(qMax(1, int(std::lround(1000.0 / perSecond))));
    return true;
}

void TSimTraffic::Stop()
{
    m_timer.stop();
}

void TSimTraffic::OnTick()
{
    // What is due since the start; a tick that came late catches up, up to a burst.
    const quint64 due = quint64(double(m_clock.elapsed()) * m_rate / 1000.0);
    int burst = 0;
    while (m_emitted - m_emittedAtStart < due && burst++ < kMaxBurst)
        EmitOne();
    emit EvEmitted(m_emitted);
}

void TSimTraffic::EmitOne()
{
    const int index = int(m_emitted % quint64(Sources().size()));
    const Source& source = Sources().at(index);
    ++m_emitted;
    // A slow walk around the node's middle value, a step of at most 2 dB (SNR 1 dB) at a time.
    m_rssi[index] = qBound(source.rssiDbm - kRssiSpanDb, m_rssi[index] + m_random.bounded(-2, 3), source.rssiDbm + kRssiSpanDb);
    m_snr[index] = qBound(source.snrDb - kSnrSpanDb, m_snr[index] + m_random.bounded(-1, 2), source.snrDb + kSnrSpanDb);
    const quint16 counter = ++m_counters[index];

    auto* link = m_module.ServiceOf<TSimDataLink>();
    auto* sensor = m_module.ServiceOf<TSimSensor>();
    if (!link)
        return;
    if (source.sensor && sensor && sensor->Mode() == SensorLayouts::kModeReceiver) {
        sensor->ReceiveTelegram(source.group, source.device, counter, qint16(m_rssi[index]), qint8(m_snr[index]));
        return;
    }
    TSimRadioFrame frame;
    frame.dstGroup = link->GroupAddress();
    frame.dstDevice = link->DeviceAddress();
    frame.srcGroup = source.group;
    frame.srcDevice = source.device;
    if (source.sensor) {
        frame.data = TSimSensor::TelegramValues(counter);
    } else {
        frame.data.append(char(counter & 0xFF));
        frame.data.append(char(counter >> 8));
        frame.data.append(char(index));
    }
    if (link->AesOn())
        frame.aesKey = link->AESKey();   // the nodes share the module's key
    link->Hear(frame, qint16(m_rssi[index]), qint8(m_snr[index]));
}

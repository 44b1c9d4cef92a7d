#include "devices/TRegTable.h"

#include <QStringList>

#include <cmath>

#include "base/THexText.h"

namespace {
// Data sheet constants.
constexpr double kSx127xCrystalHz = 32e6;             // FXOSC
constexpr double kSx127xStepHz = kSx127xCrystalHz / (1 << 19);   // Fstep, about 61.035 Hz
constexpr double kSx1280CrystalHz = 52e6;
constexpr double kSx1280StepHz = kSx1280CrystalHz / (1 << 18);   // PLL step, about 198.36 Hz

// chip     Frf MSB  Bitrate MSB  Frac  Fdev MSB  RxBw
struct Sx127xRegisters {
    int frf, bitrate, bitrateFrac, fdev, rxBw;
    double minHz, maxHz;
};
const Sx127xRegisters kSx1272 = {0x06, 0x02, 0x70, 0x04, 0x12, 860e6, 1020e6};
const Sx127xRegisters kSx1276 = {0x06, 0x02, 0x5D, 0x04, 0x12, 137e6, 1020e6};

// SX1280 GFSK: fixed bit rate / bandwidth pairs of the SetModulationParams command.
// bit rate (b/s)  bandwidth (Hz)  code
struct Sx1280Rate {
    double bitRate, bandwidth;
    quint8 code;
};
const Sx1280Rate kSx1280Rates[] = {
    {2000000, 2400000, 0x04}, {1600000, 2400000, 0x28}, {1000000, 2400000, 0x4C}, {1000000, 1200000, 0x45},
    {800000, 2400000, 0x70},  {800000, 1200000, 0x69},  {500000, 1200000, 0x8D},  {500000, 600000, 0x86},
    {400000, 1200000, 0xB1},  {400000, 600000, 0xAA},   {250000, 600000, 0xCE},   {250000, 300000, 0xC7},
    {125000, 300000, 0xEF},
};
// SX1280 GFSK modulation index codes 0x00..0x0F: 0.35, then 0.5 to 4.0 in steps of 0.25.
double Sx1280ModIndex(int code)
{
    return code == 0 ? 0.35 : 0.25 * (code + 1);
}

const char* ChipName(TRegTable::Chip chip)
{
    switch (chip) {
    case TRegTable::SX1272: return "SX1272";
    case TRegTable::SX1276: return "SX1276";
    case TRegTable::SX1280: return "SX1280";
    }
    return "";
}

QString HexValue(quint32 value, int bytes)
{
    QStringList parts;
    for (int i = bytes - 1; i >= 0; --i)
        parts << THexText::Prefixed((value >> (8 * i)) & 0xFF, 2);
    return parts.join(QStringLiteral(", "));
}

QString Number(double v)
{
    return QString::number(v, 'f', v == std::floor(v) ? 0 : 3);
}
}

bool TRegTable::ParseChip(const QString& name, Chip& chip)
{
    const QString n = name.trimmed().toUpper();
    if (n == QLatin1String("SX1272")) chip = SX1272;
    else if (n == QLatin1String("SX1276")) chip = SX1276;
    else if (n == QLatin1String("SX1280")) chip = SX1280;
    else return false;
    return true;
}

bool TRegTable::ParseValues(const QStringList& texts, QList<double>& values, QString& bad)
{
    for (const QString& text : texts) {
        bool ok = false;
        const double value = text.toDouble(&ok);
        if (!ok || value <= 0) {
            bad = text;
            return false;
        }
        values << value;
    }
    return true;
}

TRegTable::Entry TRegTable::Frequency(double hz) const
{
    Entry e;
    e.requested = hz;
    e.bytes = 3;
    if (m_chip == SX1280) {
        if (hz < 2.4e9 || hz > 2.5e9) {
            e.error = QStringLiteral("frequency %1 Hz is outside 2400..2500 MHz").arg(Number(hz));
            return e;
        }
        e.value = quint32(std::llround(hz / kSx1280StepHz));
        e.reached = e.value * kSx1280StepHz;
        return e;
    }
    const Sx127xRegisters& r = m_chip == SX1272 ? kSx1272 : kSx1276;
    if (hz < r.minHz || hz > r.maxHz) {
        e.error = QStringLiteral("frequency %1 Hz is outside %2..%3 MHz").arg(Number(hz)).arg(r.minHz / 1e6).arg(r.maxHz / 1e6);
        return e;
    }
    e.value = quint32(std::llround(hz / kSx127xStepHz)) & 0xFFFFFF;
    e.reached = e.value * kSx127xStepHz;
    return e;
}

TRegTable::Entry TRegTable::BitRate(double bps) const
{
    Entry e;
    e.requested = bps;
    if (m_chip == SX1280) {
        e.bytes = 1;
        const Sx1280Rate* best = nullptr;
        for (const Sx1280Rate& rate : kSx1280Rates)
            if (!best || std::fabs(rate.bitRate - bps) < std::fabs(best->bitRate - bps))
                best = &rate;
        e.value = best->code;
        e.reached = best->bitRate;
        return e;
    }
    // BitRate = FXOSC / (BitRate(15:0) + BitRateFrac / 16); three bytes: MSB, LSB, Frac.
    if (bps < 500 || bps > 300000) {
        e.error = QStringLiteral("bit rate %1 b/s is outside 500..300000 b/s").arg(Number(bps));
        return e;
    }
    const double divider = kSx127xCrystalHz / bps;
    const quint32 sixteenths = quint32(std::llround(divider * 16));
    const quint32 integer = qMin<quint32>(sixteenths / 16, 0xFFFF);
    const quint32 frac = sixteenths % 16;
    e.bytes = 3;
    e.value = (integer << 8) | frac;
    e.reached = kSx127xCrystalHz / (integer + frac / 16.0);
    return e;
}

TRegTable::Entry TRegTable::FrequencyDeviation(double hz, double bitRate) const
{
    Entry e;
    e.requested = hz;
    if (m_chip == SX1280) {
        // The SX1280 sets a modulation index: fdev = index * bit rate / 2.
        e.bytes = 1;
        const double rate = bitRate > 0 ? bitRate : 1000000;
        int best = 0;
        for (int code = 0; code < 16; ++code)
            if (std::fabs(Sx1280ModIndex(code) * rate / 2 - hz) < std::fabs(Sx1280ModIndex(best) * rate / 2 - hz))
                best = code;
        e.value = quint32(best);
        e.reached = Sx1280ModIndex(best) * rate / 2;
        return e;
    }
    e.bytes = 2;
    const quint32 steps = quint32(std::llround(hz / kSx127xStepHz));
    if (hz < 0 || steps > 0x3FFF) {
        e.error = QStringLiteral("frequency deviation %1 Hz is outside 0..%2 Hz").arg(Number(hz)).arg(Number(0x3FFF * kSx127xStepHz));
        return e;
    }
    e.value = steps;
    e.reached = steps * kSx127xStepHz;
    return e;
}

TRegTable::Entry TRegTable::RxBandwidth(double hz) const
{
    Entry e;
    e.requested = hz;
    e.bytes = 1;
    if (m_chip == SX1280) {
        const Sx1280Rate* best = nullptr;
        for (const Sx1280Rate& rate : kSx1280Rates)
            if (!best || std::fabs(rate.bandwidth - hz) < std::fabs(best->bandwidth - hz))
                best = &rate;
        e.value = best->code;
        e.reached = best->bandwidth;
        return e;
    }
    // RxBw = FXOSC / (RxBwMant * 2^(RxBwExp + 2)); mantissa 16, 20, 24 coded 0, 1, 2 in bits 4..3.
    const int mantissas[] = {16, 20, 24};
    double bestBw = 0;
    for (int m = 0; m < 3; ++m) {
        for (int exp = 1; exp <= 7; ++exp) {
            const double bw = kSx127xCrystalHz / (mantissas[m] * double(1 << (exp + 2)));
            if (bestBw == 0 || std::fabs(bw - hz) < std::fabs(bestBw - hz)) {
                bestBw = bw;
                e.value = quint32((m << 3) | exp);
            }
        }
    }
    e.reached = bestBw;
    return e;
}

QString TRegTable::Header(const QList<double>& frequencies, const QList<double>& bitRates, const QList<double>& deviations,
                          const QList<double>& bandwidths, QString* error) const
{
    const QString chip = QString::fromLatin1(ChipName(m_chip));
    const bool sx1280 = m_chip == SX1280;
    const Sx127xRegisters& r = m_chip == SX1272 ? kSx1272 : kSx1276;
    QStringList errors;
    QString out;
    out += QStringLiteral("/* Register tables for the %1, written by tessera-cli regtable. */\n").arg(chip);
    out += QStringLiteral("#pragma once\n#include <stdint.h>\n\n");
    if (sx1280)
        out += QStringLiteral("/* Crystal 52 MHz; RF frequency step 52 MHz / 2^18 (SetRfFrequency 0x86, 24 bit); GFSK rates from SetModulationParams 0x8B. */\n\n");
    else
        out += QStringLiteral("/* Crystal 32 MHz; Fstep 32 MHz / 2^19. RegFrfMsb %1, RegBitrateMsb %2, RegBitRateFrac %3, RegFdevMsb %4, RegRxBw %5. */\n\n")
                   .arg(HexValue(quint32(r.frf), 1), HexValue(quint32(r.bitrate), 1), HexValue(quint32(r.bitrateFrac), 1),
                        HexValue(quint32(r.fdev), 1), HexValue(quint32(r.rxBw), 1));

    auto table = [&](const QString& name, const QString& unit, const QList<double>& values, int width, auto compute) {
        if (values.isEmpty())
            return;
        out += QStringLiteral("static const uint8_t %1_%2[%3][%4] = {\n").arg(chip, name).arg(values.size()).arg(width);
        for (double v : values) {
            const Entry e = compute(v);
            if (!e.error.isEmpty()) {
                errors << e.error;
                continue;
            }
            out += QStringLiteral("    { %1 }, /* %2 %3 -> %4 %3 */\n").arg(HexValue(e.value, e.bytes), Number(e.requested), unit, Number(e.reached));
        }
        out += QStringLiteral("};\n\n");
    };
    table(QStringLiteral("Frequency"), QStringLiteral("Hz"), frequencies, 3, [this](double v) { return Frequency(v); });
    table(QStringLiteral("BitRate"), QStringLiteral("b/s"), bitRates, sx1280 ? 1 : 3, [this](double v) { return BitRate(v); });
    const double rate = bitRates.isEmpty() ? 0 : BitRate(bitRates.first()).reached;
    table(QStringLiteral("FrequencyDeviation"), QStringLiteral("Hz"), deviations, sx1280 ? 1 : 2, [this, rate](double v) { return FrequencyDeviation(v, rate); });
    table(QStringLiteral("RxBandwidth"), QStringLiteral("Hz"), bandwidths, 1, [this](double v) { return RxBandwidth(v); });
    if (error)
        *error = errors.join(QLatin1Char('\n'));
    return out;
}

#pragma once
#include <QList>
#include <QString>
#include <QStringList>

/// Writes radio register tables of Semtech transceivers as C header text: for each requested
/// value the register bytes that come closest, commented with the value asked for and the value reached.
class TRegTable
{
public:
    enum Chip { SX1272, SX1276, SX1280 };

    /// "SX1272", "SX1276" or "SX1280" (any case); false for anything else.
    static bool ParseChip(const QString& name, Chip& chip);

    /// The values of a list of texts, each a positive number ("868100000", "868.1e6"); false with the
    /// first text that is not one in `bad`.
    static bool ParseValues(const QStringList& texts, QList<double>& values, QString& bad);

    explicit TRegTable(Chip chip) : m_chip(chip) {}

    struct Entry {
        double requested = 0;
        double reached = 0;
        quint32 value = 0;   ///< register contents, most significant first over `bytes` bytes
        int bytes = 0;
        QString error;       ///< set when the value is out of the chip's range
    };

    Entry Frequency(double hz) const;
    Entry BitRate(double bps) const;
    Entry FrequencyDeviation(double hz, double bitRate = 0) const;
    Entry RxBandwidth(double hz) const;

    /// The whole header; lists may be empty. `error` collects out-of-range values.
    QString Header(const QList<double>& frequencies, const QList<double>& bitRates, const QList<double>& deviations,
                   const QList<double>& bandwidths, QString* error = nullptr) const;

private:
    Chip m_chip;
};

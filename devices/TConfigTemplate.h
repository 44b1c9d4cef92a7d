#pragma once
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include "base/TKeyValueList.h"

class TRadioController;
struct TConfigSetting;

/// A module's whole configuration as one JSON file (docs/config-templates.md), exported from one
/// module and applied to others. Every setting travels as the text command `tessera-cli exec`
/// would send, through the controller. Device-specific values and keys stay out unless asked.
class TConfigTemplate
{
public:
    enum Option { NoOptions = 0x0, WithKeys = 0x1, WithDeviceValues = 0x2 };
    Q_DECLARE_FLAGS(Options, Option)

    static constexpr int kFormatVersion = 1;

    /// One value in which a module differs from the template. A field of a repeated setting names
    /// its entry: "Limit (SubBandIndex 2)". A value the module does not have reads "n.a.".
    struct Difference {
        QString setting;   ///< the set command
        QString field;
        QString templateValue;
        QString moduleValue;
    };

    /// Reads every setting the module has; false with ErrorText at the first read that fails (a
    /// setting whose read the module does not support is left out and listed in Skipped()).
    bool Export(TRadioController& controller, Options options = NoOptions);
    /// Sends the settings in their fixed order, each completed with the module's own values for
    /// the fields the template leaves out; stops at the first refused one (RefusedSetting()).
    /// Then reads everything back: true only when the module matches (else Differences()).
    bool Apply(TRadioController& controller);
    /// What differs between the template and the module now; false with ErrorText when the
    /// module does not answer.
    bool Compare(TRadioController& controller, QList<Difference>& differences);

    QByteArray ToJson() const;
    /// Replaces the content; false with ErrorText (and the content unchanged) for a file that is
    /// not a template of a known format, an unknown setting or field, or a value that is not text.
    bool FromJson(const QByteArray& json);
    bool Load(const QString& path);
    bool Save(const QString& path);

    /// Set commands held, in the order Apply sends them.
    QStringList Settings() const;
    /// The parameter records of a setting (several for a repeated one).
    QList<TKeyValueList> Entries(const QString& setCommand) const { return m_settings.value(setCommand); }
    /// Where the template came from: "DeviceType", "FWName", "FWVersion" (and "DeviceID" with device values).
    TKeyValueList Source() const { return m_source; }

    QString ErrorText() const { return m_error; }
    QString RefusedSetting() const { return m_refused; }
    QStringList Sent() const { return m_sent; }
    QStringList Skipped() const { return m_skipped; }
    QList<Difference> Differences() const { return m_differences; }

private:
    enum class ReadResult { Ok, NotSupported, Refused, Failed };

    bool Fail(const QString& text);
    /// The setting's entries as the module has them now; Failed (with ErrorText) when it did not answer.
    ReadResult Read(TRadioController& controller, const TConfigSetting& setting, QList<TKeyValueList>& entries);
    void CompareSetting(const TConfigSetting& setting, const QList<TKeyValueList>& module, QList<Difference>& differences) const;

    QMap<QString, QList<TKeyValueList>> m_settings;
    Options m_options = NoOptions;
    TKeyValueList m_source;
    QString m_created;
    QString m_error;
    QString m_refused;
    QStringList m_sent;
    QStringList m_skipped;
    QList<Difference> m_differences;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(TConfigTemplate::Options)

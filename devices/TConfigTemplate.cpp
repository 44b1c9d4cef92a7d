#include "devices/TConfigTemplate.h"

#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include "devices/TConfigSettings.h"
#include "devices/TRadioController.h"
#include "sap/TVeltoLRSAP.h"

namespace {
const char* const kFileType = "Tessera configuration template";
const char* const kNotAvailable = "n.a.";
/// Status byte of every service for a request the module does not know.
constexpr quint8 kCommandNotSupported = 0x02;
// Device information copied into a template's "Source".
const char* const kSourceKeys[] = {"DeviceType", "FWName", "FWVersion"};

QString Service(const char* command)
{
    return QString::fromLatin1(command).section(QLatin1Char('/'), 0, 0);
}

/// Whether the controller has what the setting needs: both services and, for the radio stack, the feature.
bool HasSetting(const TRadioController& controller, const TConfigSetting& setting)
{
    if (!controller.SAP(Service(setting.setCommand)) || !controller.SAP(Service(setting.getCommand)))
        return false;
    return setting.condition != TConfigSetting::DualRadioStack || controller.HasFeature(QStringLiteral("DualRadioStack"));
}

bool Wanted(const QString& field, TConfigTemplate::Options options)
{
    switch (TConfigSettings::ClassOf(field)) {
    case TConfigSettings::FieldClass::Key:
        return options.testFlag(TConfigTemplate::WithKeys);
    case TConfigSettings::FieldClass::DeviceSpecific:
        return options.testFlag(TConfigTemplate::WithDeviceValues);
    default:
        return true;
    }
}

/// The entry's values in layout order, as the request takes them.
TKeyValueList Ordered(const TConfigSetting& setting, const TKeyValueList& entry)
{
    TKeyValueList ordered;
    for (const QString& field : TConfigSettings::Fields(setting))
        if (entry.Contains(field))
            ordered.Append(field, entry.Value(field));
    return ordered;
}

QJsonObject ToObject(const TKeyValueList& entry)
{
    QJsonObject object;
    for (const TKeyValueList::Item& item : entry)
        object.insert(item.first, item.second);
    return object;
}
}

bool TConfigTemplate::Fail(const QString& text)
{
    m_error = text;
    return false;
}

TConfigTemplate::ReadResult TConfigTemplate::Read(TRadioController& controller, const TConfigSetting& setting, QList<TKeyValueList>& entries)
{
    const QString command = QLatin1String(setting.getCommand);
    TKeyValueList result;
    if (controller.ExecuteAny(command, TKeyValueList(), result)) {
        entries = TConfigSettings::Entries(setting, result);
        return ReadResult::Ok;
    }
    const TVeltoLRSAP* sap = controller.SAP(Service(setting.getCommand));
    m_error = QStringLiteral("error - %1: %2").arg(command, controller.LastError());
    if (!sap || !sap->StatusValid())
        return ReadResult::Failed;
    return sap->StatusByte() == kCommandNotSupported ? ReadResult::NotSupported : ReadResult::Refused;
}

bool TConfigTemplate::Export(TRadioController& controller, Options options)
{
    m_error.clear();
    m_skipped.clear();
    QMap<QString, QList<TKeyValueList>> settings;
    for (const TConfigSetting* setting = TConfigSettings::Table(); setting->setCommand; ++setting) {
        const QStringList all = TConfigSettings::Fields(*setting);
        QStringList fields;
        for (const QString& field : all)
            if (Wanted(field, options))
                fields << field;
        if (fields.isEmpty() || (setting->whole && fields != all) || !HasSetting(controller, *setting))
            continue;
        if (setting->condition == TConfigSetting::ActiveABP) {
            TKeyValueList status;
            if (!controller.ExecuteAny(QStringLiteral("LoRaWAN/GetNwkStatus"), TKeyValueList(), status))
                return Fail(QStringLiteral("error - LoRaWAN/GetNwkStatus: %1").arg(controller.LastError()));
            if (status.Value(QStringLiteral("NetworkStatus")) != QLatin1String("1"))
                continue;
        }
        QList<TKeyValueList> entries;
        const ReadResult read = Read(controller, *setting, entries);
        if (read == ReadResult::NotSupported) {
            m_skipped << QLatin1String(setting->setCommand);
            continue;
        }
        if (read != ReadResult::Ok)
            return false;
        QList<TKeyValueList> kept;
        for (const TKeyValueList& entry : qAsConst(entries)) {
            TKeyValueList values;
            for (const TKeyValueList::Item& item : entry)
                if (fields.contains(item.first))
                    values.append(item);
            if (!values.isEmpty())
                kept << values;
        }
        if (!kept.isEmpty())
            settings.insert(QLatin1String(setting->setCommand), kept);
    }
    m_error.clear();
    m_settings = settings;
    m_options = options;
    m_created = QDateTime::currentDateTime().toString(Qt::ISODate);
    m_source.clear();
    QStringList sourceKeys;
    for (const char* key : kSourceKeys)
        sourceKeys << QLatin1String(key);
    if (options.testFlag(WithDeviceValues))
        sourceKeys << QStringLiteral("DeviceID");
    for (const QString& key : qAsConst(sourceKeys))
        m_source.Append(key, controller.DeviceInfo().Value(key, QLatin1String(kNotAvailable)));
    return true;
}

bool TConfigTemplate::Apply(TRadioController& controller)
{
    m_error.clear();
    m_refused.clear();
    m_sent.clear();
    m_differences.clear();
    for (const TConfigSetting* setting = TConfigSettings::Table(); setting->setCommand; ++setting) {
        const QString command = QLatin1String(setting->setCommand);
        if (!m_settings.contains(command))
            continue;
        if (!HasSetting(controller, *setting)) {
            m_refused = command;
            return Fail(QStringLiteral("error - setting refused: %1 (the module does not have this setting)").arg(command));
        }
        QList<TKeyValueList> entries = m_settings.value(command);
        // Fields the template leaves out keep the module's own values.
        const QStringList required = TConfigSettings::RequiredFields(*setting);
        bool complete = true;
        for (const QString& field : required)
            complete = complete && entries.first().Contains(field);
        if (!setting->repeated && !complete) {
            QList<TKeyValueList> current;
            if (Read(controller, *setting, current) != ReadResult::Ok) {
                m_refused = command;
                return Fail(QStringLiteral("error - setting refused: %1 (%2)").arg(command, m_error));
            }
            for (const QString& field : required)
                if (!entries.first().Contains(field) && !current.isEmpty() && current.first().Contains(field))
                    entries.first().Append(field, current.first().Value(field));
        }
        for (const TKeyValueList& entry : qAsConst(entries)) {
            TKeyValueList parameters = Ordered(*setting, entry);
            if (setting->fixedParameter) {
                const QString fixed = QLatin1String(setting->fixedParameter);
                parameters.Append(fixed.section(QLatin1Char('='), 0, 0), fixed.section(QLatin1Char('='), 1));
            }
            TKeyValueList unused;
            if (!controller.ExecuteAny(command, parameters, unused)) {
                m_refused = command;
                return Fail(QStringLiteral("error - setting refused: %1 (%2)").arg(command, controller.LastError()));
            }
        }
        m_sent << command;
    }
    if (!Compare(controller, m_differences))
        return false;
    if (!m_differences.isEmpty())
        return Fail(QStringLiteral("error - after applying, the module differs from the template in %1 %2")
                        .arg(m_differences.size())
                        .arg(m_differences.size() == 1 ? QStringLiteral("value") : QStringLiteral("values")));
    return true;
}

bool TConfigTemplate::Compare(TRadioController& controller, QList<Difference>& differences)
{
    differences.clear();
    m_error.clear();
    for (const TConfigSetting* setting = TConfigSettings::Table(); setting->setCommand; ++setting) {
        if (!m_settings.contains(QLatin1String(setting->setCommand)))
            continue;
        QList<TKeyValueList> module;
        if (HasSetting(controller, *setting) && Read(controller, *setting, module) == ReadResult::Failed)
            return false;
        CompareSetting(*setting, module, differences);
    }
    m_error.clear();
    return true;
}

void TConfigTemplate::CompareSetting(const TConfigSetting& setting, const QList<TKeyValueList>& module, QList<Difference>& differences) const
{
    const QString command = QLatin1String(setting.setCommand);
    const QString key = TConfigSettings::Fields(setting).first();
    for (const TKeyValueList& entry : m_settings.value(command)) {
        TKeyValueList current = module.value(0);
        QString label;
        if (setting.repeated) {
            // Entries are matched by their first field (the sub-band of a power limit).
            current.clear();
            for (const TKeyValueList& candidate : module)
                if (TConfigSettings::SameValue(setting, key, candidate.Value(key), entry.Value(key)))
                    current = candidate;
            label = QStringLiteral(" (%1 %2)").arg(key, entry.Value(key));
        }
        for (const TKeyValueList::Item& item : Ordered(setting, entry)) {
            if (setting.repeated && item.first == key && !current.isEmpty())
                continue;
            const bool present = current.Contains(item.first);
            const QString moduleValue = present ? current.Value(item.first) : QLatin1String(kNotAvailable);
            if (!present || !TConfigSettings::SameValue(setting, item.first, item.second, moduleValue))
                differences << Difference{command, item.first + label, item.second, moduleValue};
        }
    }
}

QStringList TConfigTemplate::Settings() const
{
    QStringList settings;
    for (const TConfigSetting* setting = TConfigSettings::Table(); setting->setCommand; ++setting)
        if (m_settings.contains(QLatin1String(setting->setCommand)))
            settings << QLatin1String(setting->setCommand);
    return settings;
}

QByteArray TConfigTemplate::ToJson() const
{
    QJsonObject settings;
    for (const QString& command : Settings()) {
        const TConfigSetting* setting = TConfigSettings::Find(command);
        const QList<TKeyValueList> entries = m_settings.value(command);
        if (setting->repeated) {
            QJsonArray list;
            for (const TKeyValueList& entry : entries)
                list.append(ToObject(entry));
            settings.insert(command, list);
        } else {
            settings.insert(command, ToObject(entries.first()));
        }
    }
    QJsonObject root;
    root.insert(QStringLiteral("FileType"), QLatin1String(kFileType));
    root.insert(QStringLiteral("FormatVersion"), kFormatVersion);
    root.insert(QStringLiteral("Created"), m_created);
    root.insert(QStringLiteral("Source"), ToObject(m_source));
    root.insert(QStringLiteral("WithKeys"), m_options.testFlag(WithKeys));
    root.insert(QStringLiteral("WithDeviceValues"), m_options.testFlag(WithDeviceValues));
    root.insert(QStringLiteral("Settings"), settings);
    return QJsonDocument(root).toJson(QJsonDocument::Indented);
}

bool TConfigTemplate::FromJson(const QByteArray& json)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return Fail(QStringLiteral("error - template is not valid JSON: %1 at offset %2").arg(parseError.errorString()).arg(parseError.offset));
    const QJsonObject root = document.object();
    if (root.value(QStringLiteral("FileType")).toString() != QLatin1String(kFileType))
        return Fail(QStringLiteral("error - not a configuration template (\"FileType\" is not \"%1\")").arg(QLatin1String(kFileType)));
    const QJsonValue version = root.value(QStringLiteral("FormatVersion"));
    if (version.toInt(-1) != kFormatVersion)
        return Fail(QStringLiteral("error - template format version %1 is not supported (this program reads %2)")
                        .arg(version.isDouble() ? QString::number(version.toDouble()) : QStringLiteral("n.a.")).arg(kFormatVersion));
    if (!root.value(QStringLiteral("Settings")).isObject())
        return Fail(QStringLiteral("error - template has no \"Settings\" object"));

    QMap<QString, QList<TKeyValueList>> settings;
    const QJsonObject items = root.value(QStringLiteral("Settings")).toObject();
    for (auto it = items.constBegin(); it != items.constEnd(); ++it) {
        const TConfigSetting* setting = TConfigSettings::Find(it.key());
        if (!setting)
            return Fail(QStringLiteral("error - unknown setting in template: %1").arg(it.key()));
        QJsonArray objects;
        if (setting->repeated && it.value().isArray())
            objects = it.value().toArray();
        else if (!setting->repeated && it.value().isObject())
            objects.append(it.value());
        else
            return Fail(QStringLiteral("error - %1: expected %2").arg(it.key(), setting->repeated ? QStringLiteral("a list of objects") : QStringLiteral("an object")));
        const QStringList fields = TConfigSettings::Fields(*setting);
        QList<TKeyValueList> entries;
        for (const QJsonValue& value : qAsConst(objects)) {
            const QJsonObject object = value.toObject();
            if (!value.isObject() || object.isEmpty())
                return Fail(QStringLiteral("error - %1: entry %2 holds no fields").arg(it.key()).arg(entries.size() + 1));
            TKeyValueList entry;
            for (auto field = object.constBegin(); field != object.constEnd(); ++field) {
                if (!fields.contains(field.key()))
                    return Fail(QStringLiteral("error - %1: unknown field \"%2\"").arg(it.key(), field.key()));
                const QJsonValue v = field.value();
                // Hand-edited templates may give numbers as numbers; anything else must be text.
                if (v.isString())
                    entry.Append(field.key(), v.toString());
                else if (v.isDouble() && v.toDouble() == double(qint64(v.toDouble())))
                    entry.Append(field.key(), qint64(v.toDouble()));
                else
                    return Fail(QStringLiteral("error - %1: %2 is neither text nor a whole number").arg(it.key(), field.key()));
            }
            if (setting->repeated)
                for (const QString& field : TConfigSettings::RequiredFields(*setting))
                    if (!entry.Contains(field))
                        return Fail(QStringLiteral("error - %1: entry %2 lacks %3").arg(it.key()).arg(entries.size() + 1).arg(field));
            entries << entry;
        }
        if (entries.isEmpty())
            return Fail(QStringLiteral("error - %1: entry 1 holds no fields").arg(it.key()));
        settings.insert(it.key(), entries);
    }

    m_settings = settings;
    m_options = NoOptions;
    if (root.value(QStringLiteral("WithKeys")).toBool())
        m_options |= WithKeys;
    if (root.value(QStringLiteral("WithDeviceValues")).toBool())
        m_options |= WithDeviceValues;
    m_created = root.value(QStringLiteral("Created")).toString();
    m_source.clear();
    const QJsonObject source = root.value(QStringLiteral("Source")).toObject();
    for (auto it = source.constBegin(); it != source.constEnd(); ++it)
        m_source.Append(it.key(), it.value().toString());
    m_error.clear();
    return true;
}

bool TConfigTemplate::Load(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return Fail(QStringLiteral("error - couldn't read template file: %1 (%2)").arg(path, file.errorString()));
    return FromJson(file.readAll());
}

bool TConfigTemplate::Save(const QString& path)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(ToJson()) < 0 || !file.commit())
        return Fail(QStringLiteral("error - couldn't write template file: %1 (%2)").arg(path, file.errorString()));
    m_error.clear();
    return true;
}

#include "settings/TSettings.h"

#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>

namespace {
struct KeyDefault {
    const char* group;
    const char* key;
    const char* defaultValue;
    /// What a stored value may be: "a|b|c" (one of these; each entry of a list), "min..max" (a whole
    /// number in range), or null (any text; booleans read anything but "1", "ON", "YES" as false).
    const char* allowed;
};

// Keys with a fixed default. "LoRaWANConfig"/"Configuration" depends on the data directory and the
// "ComPorts" lists start empty, so neither is listed here.
// group                key                             default                            allowed
const KeyDefault kDefaults[] = {
    {"GUI",              "StatusBoxLocation",           "2",                               "1|2|4|8"},
    {"GUI",              "MainTheme",                   "Manhattan",                       "Berlin|Manhattan|Montreal"},
    {"HCI-Parameter",    "NumWakeupChars",              "50",                              "0..1000"},
    {"HCI-Parameter",    "DiscoveryBaudrates",          "57600,115200",                    "9600|19200|38400|57600|115200|230400|460800"},
    {"GatewaySupport",   "ServerPort",                  "51000",                           "1..65535"},
    {"GatewaySupport",   "GatewayPort",                 "51000",                           "1..65535"},
    {"GatewaySupport",   "ServerSupport",               "no",                              nullptr},
    {"Special",          "BonjourSupport",              "no",                              nullptr},
    {"Logfile",          "ShowISOFormat",               "yes",                             nullptr},
    {"Logfile",          "ShowLines",                   "yes",                             nullptr},
    {"Logfile",          "ShowUnits",                   "yes",                             nullptr},
    {"Logfile",          "ShowSingleLineKVList",        "yes",                             nullptr},
    {"Logfile",          "ShowHREvents",                "yes",                             nullptr},
    {"Special",          "DeveloperPWD",                "",                                nullptr},
    {"Special",          "ApprovalTest",                "no",                              nullptr},
    {"Special",          "SensorApp",                   "no",                              nullptr},
    {"DeviceConfig",     "Configuration",               ":/Config/DeviceConfig.json",      nullptr},
    {"FirmwareVersions", "Configuration",               ":/Config/FirmwareVersions.json",  nullptr},
    {"FirmwareSupport",  "FirmwareCompatibilityCheck",  "yes",                             nullptr},
    {"Formats",          "ISOFormat",                   "yes",                             nullptr},
    {"Radio",            "TestMode",                    "0",                               nullptr},
    {"Radio",            "PowerLevel",                  "14",                              nullptr},
    {"Radio",            "Modulation",                  "0",                               nullptr},
    {"Radio",            "Frequency",                   "14245888",                        nullptr},   // 869.5 MHz
    {"Radio",            "Bandwidth",                   "0",                               nullptr},
    {"Radio",            "Spreading",                   "7",                               nullptr},
    {"Radio",            "ErrorCoding",                 "1",                               nullptr},
    {"Radio",            "Payload",                     "01 02 03 04 05 06 07 08",         nullptr},
    {"Radio",            "RepeatCount",                 "100",                             nullptr},
    {"Radio",            "RepeatInterval",              "1000",                            nullptr},   // ms
};

const KeyDefault* Row(const char* group, const char* key)
{
    for (const KeyDefault& row : kDefaults)
        if (qstrcmp(row.group, group) == 0 && qstrcmp(row.key, key) == 0)
            return &row;
    return nullptr;
}

QString Default(const char* group, const char* key)
{
    const KeyDefault* row = Row(group, key);
    return row ? QString::fromLatin1(row->defaultValue) : QString();
}

bool Allowed(const char* allowed, const QString& value)
{
    if (!allowed)
        return true;
    const QString rule = QString::fromLatin1(allowed);
    const int dots = rule.indexOf(QLatin1String(".."));
    if (dots < 0)
        return rule.split(QLatin1Char('|')).contains(value.trimmed());
    bool ok = false;
    const qint64 number = value.trimmed().toLongLong(&ok);
    return ok && number >= rule.left(dots).toLongLong() && number <= rule.mid(dots + 2).toLongLong();
}

// A hand-edited value holding commas parses as a list; as text it is what was written.
QString AsText(const QVariant& value)
{
    return value.type() == QVariant::StringList ? value.toStringList().join(QLatin1Char(',')) : value.toString();
}
}

TSettings& TSettings::Instance()
{
    static TSettings* settings = new TSettings;   // kept for the life of the process
    return *settings;
}

TSettings::TSettings()
{
    ReloadLocations();
}

TSettings::~TSettings() = default;

void TSettings::ReloadLocations()
{
    QStringList parts = QStandardPaths::writableLocation(QStandardPaths::DataLocation).split(QLatin1Char('/'));
    if (!parts.isEmpty())
        parts.removeLast();
    const QString name = QString::fromLatin1(kProgramName);
    m_dataDir = parts.join(QLatin1Char('/')) + QStringLiteral("/Haldor/") + name + QLatin1Char('/');
    m_docDir = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    m_settingsFile = m_dataDir + name + QStringLiteral(".ini");
    m_endDeviceFile = m_dataDir + name + QStringLiteral("_EndDevices.json");
    m_file.reset();
    m_isoFormat = TableBool("Formats", "ISOFormat");
}

QSettings& TSettings::File() const
{
    // A stat per read: the file is parsed again only when someone else changed it.
    if (!m_file) {
        m_file = std::make_unique<QSettings>(m_settingsFile, QSettings::IniFormat);
        ++m_parses;
        RememberFileState();
    } else if (RememberFileState()) {
        m_file->sync();
        ++m_parses;
    }
    return *m_file;
}

bool TSettings::RememberFileState() const
{
    const QFileInfo info(m_settingsFile);
    const qint64 size = info.exists() ? info.size() : -1;
    const QDateTime time = info.exists() ? info.lastModified() : QDateTime();
    const bool changed = size != m_fileSize || time != m_fileTime;
    m_fileSize = size;
    m_fileTime = time;
    return changed;
}

void TSettings::SetWarningSink(std::function<void(const QString&)> sink)
{
    m_warningSink = std::move(sink);
    if (!m_warningSink)
        return;
    const QStringList pending = m_pendingWarnings;
    m_pendingWarnings.clear();
    for (const QString& text : pending)
        m_warningSink(text);
}

void TSettings::Warn(const QString& text) const
{
    if (m_warningSink)
        m_warningSink(text);
    else
        m_pendingWarnings << text;
}

QString TSettings::Checked(const char* group, const char* key, const QString& value) const
{
    const KeyDefault* row = Row(group, key);
    if (!row || !row->allowed)
        return value;
    // What passed the rule trimmed is what the reader gets: a theme name followed by a no-break space is that theme.
    if (Allowed(row->allowed, value))
        return value.trimmed();
    const QString path = QLatin1String(group) + QLatin1Char('/') + QLatin1String(key);
    if (!m_warned.contains(path)) {
        m_warned.insert(path);
        Warn(QStringLiteral("warning - invalid value \"%1\" of %2 in the settings file %3: using the default \"%4\"")
                 .arg(value, path, m_settingsFile, QLatin1String(row->defaultValue)));
    }
    return QString::fromLatin1(row->defaultValue);
}

bool TSettings::TextToBool(const QString& text)
{
    const QString t = text.trimmed().toUpper();
    return t == QLatin1String("1") || t == QLatin1String("ON") || t == QLatin1String("YES");
}

QString TSettings::ReadValue(const QString& group, const QString& key, const QString& defaultValue) const
{
    QSettings& file = File();
    file.beginGroup(group);
    const QVariant value = file.value(key);
    file.endGroup();
    return value.isValid() ? AsText(value) : defaultValue;
}

void TSettings::WriteValue(const QString& group, const QString& key, const QString& value)
{
    // A value that is on disk already is not written again: a rewrite of a large file costs
    // seconds, and it would drop the comments of a hand-edited one.
    QSettings& file = File();
    const QString path = group + QLatin1Char('/') + key;
    if (file.contains(path) && AsText(file.value(path)) == value) {
        m_errorText.clear();
        return;
    }
    file.beginGroup(group);
    file.setValue(key, value);
    FinishWrite(file);
}

QStringList TSettings::ReadList(const QString& group, const QString& key) const
{
    QSettings& file = File();
    file.beginGroup(group);
    const QVariant value = file.value(key);
    file.endGroup();
    // On disk an empty list is "@Invalid()" (no value), one element is plain text, more are a list.
    if (value.type() == QVariant::StringList)
        return value.toStringList();
    const QString text = value.toString();
    return text.isEmpty() ? QStringList() : QStringList{text};
}

void TSettings::WriteList(const QString& group, const QString& key, const QStringList& list)
{
    // A lone empty text would be stored as an empty value, which reads back as no list at all.
    const QStringList stored = list == QStringList{QString()} ? QStringList() : list;
    QSettings& file = File();
    if (file.contains(group + QLatin1Char('/') + key) && ReadList(group, key) == stored) {
        m_errorText.clear();
        return;
    }
    file.beginGroup(group);
    file.setValue(key, stored);
    FinishWrite(file);
}

void TSettings::AddToList(const QString& group, const QString& key, const QString& value)
{
    QStringList list = ReadList(group, key);
    list.removeAll(value);
    list.prepend(value);
    WriteList(group, key, list);
}

bool TSettings::RemoveFromList(const QString& group, const QString& key, const QString& value)
{
    QStringList list = ReadList(group, key);
    const bool removed = list.removeAll(value) > 0;
    WriteList(group, key, list);
    return removed;
}

TKeyValueList TSettings::ReadGroup(const QString& group) const
{
    QSettings& file = File();
    file.beginGroup(group);
    TKeyValueList items;
    const QStringList keys = file.childKeys();
    for (const QString& key : keys)
        items.Append(key, AsText(file.value(key)));
    file.endGroup();
    return items;
}

void TSettings::WriteGroup(const QString& group, const TKeyValueList& items)
{
    QSettings& file = File();
    file.beginGroup(group);
    for (const auto& item : items)
        file.setValue(item.first, item.second);
    FinishWrite(file);
}

void TSettings::FinishWrite(QSettings& file)
{
    file.endGroup();
    file.sync();
    RememberFileState();
    m_errorText = file.status() == QSettings::NoError
                      ? QString()
                      : QStringLiteral("error - couldn't write settings file: ") + m_settingsFile;
    // QSettings keeps its first error for good: the next access starts afresh from the file.
    if (!m_errorText.isEmpty())
        m_file.reset();
}

bool TSettings::ReadBool(const QString& group, const QString& key, bool defaultValue) const
{
    return TextToBool(ReadValue(group, key, BoolToText(defaultValue)));
}

void TSettings::WriteBool(const QString& group, const QString& key, bool value)
{
    WriteValue(group, key, BoolToText(value));
}

QString TSettings::TableValue(const char* group, const char* key) const
{
    return Checked(group, key, ReadValue(QString::fromLatin1(group), QString::fromLatin1(key), Default(group, key)));
}

bool TSettings::TableBool(const char* group, const char* key) const
{
    return TextToBool(TableValue(group, key));
}

int TSettings::TableInt(const char* group, const char* key) const
{
    bool ok = false;
    const int value = TableValue(group, key).trimmed().toInt(&ok);
    return ok ? value : Default(group, key).toInt();
}

int TSettings::StatusBoxLocation() const
{
    return TableInt("GUI", "StatusBoxLocation");
}

void TSettings::SetStatusBoxLocation(int area)
{
    WriteValue(QStringLiteral("GUI"), QStringLiteral("StatusBoxLocation"), QString::number(area));
}

QString TSettings::MainTheme() const
{
    return TableValue("GUI", "MainTheme");
}

void TSettings::SetMainTheme(const QString& theme)
{
    WriteValue(QStringLiteral("GUI"), QStringLiteral("MainTheme"), theme);
}

int TSettings::NumWakeupChars() const
{
    return TableInt("HCI-Parameter", "NumWakeupChars");
}

int TSettings::ServerPort() const
{
    return TableInt("GatewaySupport", "ServerPort");
}

void TSettings::SetServerPort(int port)
{
    WriteValue(QStringLiteral("GatewaySupport"), QStringLiteral("ServerPort"), QString::number(port));
}

int TSettings::GatewayPort() const
{
    return TableInt("GatewaySupport", "GatewayPort");
}

void TSettings::SetGatewayPort(int port)
{
    WriteValue(QStringLiteral("GatewaySupport"), QStringLiteral("GatewayPort"), QString::number(port));
}

QStringList TSettings::Gateways() const
{
    return ReadList(QStringLiteral("GatewaySupport"), QStringLiteral("Gateways"));
}

void TSettings::SetGateways(const QStringList& addresses)
{
    WriteList(QStringLiteral("GatewaySupport"), QStringLiteral("Gateways"), addresses);
}

bool TSettings::ServerSupport() const
{
    return TableBool("GatewaySupport", "ServerSupport");
}

bool TSettings::BonjourSupport() const
{
    return TableBool("Special", "BonjourSupport");
}

bool TSettings::ApprovalTest() const
{
    return TableBool("Special", "ApprovalTest");
}

bool TSettings::SensorApp() const
{
    return TableBool("Special", "SensorApp");
}

bool TSettings::FirmwareCompatibilityCheck() const
{
    return TableBool("FirmwareSupport", "FirmwareCompatibilityCheck");
}

void TSettings::SetFirmwareCompatibilityCheck(bool on)
{
    WriteBool(QStringLiteral("FirmwareSupport"), QStringLiteral("FirmwareCompatibilityCheck"), on);
}

QString TSettings::LoRaWANConfigPath() const
{
    return ReadValue(QStringLiteral("LoRaWANConfig"), QStringLiteral("Configuration"), m_dataDir + QStringLiteral("Velto_LoRaWAN_Config.json"));
}

QStringList TSettings::DiscoveryBaudrates() const
{
    const char* group = "HCI-Parameter";
    const char* key = "DiscoveryBaudrates";
    const QStringList fallback = Default(group, key).split(QLatin1Char(','));
    const QStringList stored = ReadList(QString::fromLatin1(group), QString::fromLatin1(key));
    for (const QString& rate : stored)
        if (Checked(group, key, rate) != rate)
            return fallback;
    return stored.isEmpty() ? fallback : stored;
}

QString TSettings::DeviceConfigPath() const
{
    return TableValue("DeviceConfig", "Configuration");
}

QString TSettings::FirmwareVersionsPath() const
{
    return TableValue("FirmwareVersions", "Configuration");
}

void TSettings::SetIsoFormat(bool on)
{
    m_isoFormat = on;
    WriteBool(QStringLiteral("Formats"), QStringLiteral("ISOFormat"), on);
}

void TSettings::LoadSpecialSwitches(const QString& accessCode)
{
    m_showIsoFormat = TableBool("Logfile", "ShowISOFormat");
    m_showLines = TableBool("Logfile", "ShowLines");
    m_showUnits = TableBool("Logfile", "ShowUnits");
    m_showSingleLineKVList = TableBool("Logfile", "ShowSingleLineKVList");
    m_showHREvents = TableBool("Logfile", "ShowHREvents");
    m_isoFormat = TableBool("Formats", "ISOFormat");

    m_specialFeatures.clear();
    // An empty password never opens developer mode, whatever code the caller holds.
    const QString password = TableValue("Special", "DeveloperPWD");
    m_developerMode = !password.isEmpty() && password == accessCode;
    if (m_developerMode)
        m_specialFeatures << QStringLiteral("DeveloperMode");
    if (TableBool("Special", "ApprovalTest"))
        m_specialFeatures << QStringLiteral("ApprovalTest");
    if (TableBool("Special", "SensorApp"))
        m_specialFeatures << QStringLiteral("SensorApp");
}

TRadioTestSettings TSettings::RadioTest() const
{
    TRadioTestSettings radio;
    for (const TRadioTestSettings::IntField& field : TRadioTestSettings::kIntFields)
        radio.*field.member = TableInt("Radio", field.key);
    radio.payload = TableValue("Radio", TRadioTestSettings::kPayloadKey);
    return radio;
}

void TSettings::SetRadioTest(const TRadioTestSettings& radio)
{
    TKeyValueList items;
    for (const TRadioTestSettings::IntField& field : TRadioTestSettings::kIntFields)
        items.Append(QLatin1String(field.key), radio.*field.member);
    items.Append(QLatin1String(TRadioTestSettings::kPayloadKey), radio.payload);
    WriteGroup(QStringLiteral("Radio"), items);
}

#include "settings/TSettings.h"

#include <QSettings>
#include <QStandardPaths>

namespace {
struct KeyDefault {
    const char* group;
    const char* key;
    const char* defaultValue;
};
// group             key                            default
const KeyDefault kDefaults[] = {
    {"GUI", "StatusBoxLocation", "2"},
    {"GUI", "MainTheme", "Manhattan"},
    {"HCI-Parameter", "NumWakeupChars", "50"},
    {"GatewaySupport", "ServerPort", "51000"},
    {"GatewaySupport", "GatewayPort", "51000"},
    {"GatewaySupport", "ServerSupport", "no"},
    {"Special", "BonjourSupport", "no"},
    {"Logfile", "ShowISOFormat", "yes"},
    {"Logfile", "ShowLines", "yes"},
    {"Logfile", "ShowUnits", "yes"},
    {"Logfile", "ShowSingleLineKVList", "yes"},
    {"Logfile", "ShowHREvents", "yes"},
    {"Special", "DeveloperPWD", ""},
    {"Special", "ApprovalTest", "no"},
    {"Special", "SensorApp", "no"},
    {"DeviceConfig", "Configuration", ":/Config/DeviceConfig.json"},
    {"FirmwareVersions", "Configuration", ":/Config/FirmwareVersions.json"},
    {"FirmwareSupport", "FirmwareCompatibilityCheck", "yes"},
    {"Formats", "ISOFormat", "yes"},
};

QString Default(const char* group, const char* key)
{
    for (const KeyDefault& row : kDefaults)
        if (qstrcmp(row.group, group) == 0 && qstrcmp(row.key, key) == 0)
            return QString::fromLatin1(row.defaultValue);
    return QString();
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
    m_isoFormat = TextToBool(ReadValue(QStringLiteral("Formats"), QStringLiteral("ISOFormat"), Default("Formats", "ISOFormat")));
}

bool TSettings::TextToBool(const QString& text)
{
    const QString t = text.trimmed().toUpper();
    return t == QLatin1String("1") || t == QLatin1String("ON") || t == QLatin1String("YES");
}

QString TSettings::ReadValue(const QString& group, const QString& key, const QString& defaultValue) const
{
    QSettings file(m_settingsFile, QSettings::IniFormat);
    file.beginGroup(group);
    const QVariant value = file.value(key);
    file.endGroup();
    if (!value.isValid())
        return defaultValue;
    // A value holding commas comes back as a list; as text it is what was written.
    return value.type() == QVariant::StringList ? value.toStringList().join(QLatin1Char(',')) : value.toString();
}

void TSettings::WriteValue(const QString& group, const QString& key, const QString& value)
{
    QSettings file(m_settingsFile, QSettings::IniFormat);
    file.beginGroup(group);
    file.setValue(key, value);
    file.endGroup();
    file.sync();
}

QStringList TSettings::ReadList(const QString& group, const QString& key) const
{
    QSettings file(m_settingsFile, QSettings::IniFormat);
    file.beginGroup(group);
    const QVariant value = file.value(key);
    file.endGroup();
    if (!value.isValid())
        return {};
    QStringList list = value.toStringList();
    list.removeAll(QString());
    return list;
}

void TSettings::WriteList(const QString& group, const QString& key, const QStringList& list)
{
    QSettings file(m_settingsFile, QSettings::IniFormat);
    file.beginGroup(group);
    // Stored always as a list so that one entry and many read back the same way.
    file.setValue(key, QVariant(list.isEmpty() ? QStringList{QString()} : list));
    file.endGroup();
    file.sync();
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
    QSettings file(m_settingsFile, QSettings::IniFormat);
    file.beginGroup(group);
    TKeyValueList items;
    const QStringList keys = file.childKeys();
    for (const QString& key : keys) {
        const QVariant value = file.value(key);
        items.Append(key, value.type() == QVariant::StringList ? value.toStringList().join(QLatin1Char(',')) : value.toString());
    }
    file.endGroup();
    return items;
}

void TSettings::WriteGroup(const QString& group, const TKeyValueList& items)
{
    QSettings file(m_settingsFile, QSettings::IniFormat);
    file.beginGroup(group);
    for (const auto& item : items)
        file.setValue(item.first, item.second);
    file.endGroup();
    file.sync();
}

bool TSettings::ReadBool(const QString& group, const QString& key, bool defaultValue) const
{
    return TextToBool(ReadValue(group, key, BoolToText(defaultValue)));
}

void TSettings::WriteBool(const QString& group, const QString& key, bool value)
{
    WriteValue(group, key, BoolToText(value));
}

int TSettings::StatusBoxLocation() const
{
    return ReadValue(QStringLiteral("GUI"), QStringLiteral("StatusBoxLocation"), Default("GUI", "StatusBoxLocation")).toInt();
}

void TSettings::SetStatusBoxLocation(int area)
{
    WriteValue(QStringLiteral("GUI"), QStringLiteral("StatusBoxLocation"), QString::number(area));
}

QString TSettings::MainTheme() const
{
    return ReadValue(QStringLiteral("GUI"), QStringLiteral("MainTheme"), Default("GUI", "MainTheme"));
}

void TSettings::SetMainTheme(const QString& theme)
{
    WriteValue(QStringLiteral("GUI"), QStringLiteral("MainTheme"), theme);
}

int TSettings::NumWakeupChars() const
{
    return ReadValue(QStringLiteral("HCI-Parameter"), QStringLiteral("NumWakeupChars"), Default("HCI-Parameter", "NumWakeupChars")).toInt();
}

int TSettings::ServerPort() const
{
    return ReadValue(QStringLiteral("GatewaySupport"), QStringLiteral("ServerPort"), Default("GatewaySupport", "ServerPort")).toInt();
}

int TSettings::GatewayPort() const
{
    return ReadValue(QStringLiteral("GatewaySupport"), QStringLiteral("GatewayPort"), Default("GatewaySupport", "GatewayPort")).toInt();
}

void TSettings::SetGatewayPort(int port)
{
    WriteValue(QStringLiteral("GatewaySupport"), QStringLiteral("GatewayPort"), QString::number(port));
}

bool TSettings::ServerSupport() const
{
    return TextToBool(ReadValue(QStringLiteral("GatewaySupport"), QStringLiteral("ServerSupport"), Default("GatewaySupport", "ServerSupport")));
}

bool TSettings::BonjourSupport() const
{
    return TextToBool(ReadValue(QStringLiteral("Special"), QStringLiteral("BonjourSupport"), Default("Special", "BonjourSupport")));
}

bool TSettings::ApprovalTest() const
{
    return TextToBool(ReadValue(QStringLiteral("Special"), QStringLiteral("ApprovalTest"), Default("Special", "ApprovalTest")));
}

bool TSettings::SensorApp() const
{
    return TextToBool(ReadValue(QStringLiteral("Special"), QStringLiteral("SensorApp"), Default("Special", "SensorApp")));
}

bool TSettings::FirmwareCompatibilityCheck() const
{
    return TextToBool(ReadValue(QStringLiteral("FirmwareSupport"), QStringLiteral("FirmwareCompatibilityCheck"),
                                Default("FirmwareSupport", "FirmwareCompatibilityCheck")));
}

void TSettings::SetFirmwareCompatibilityCheck(bool on)
{
    WriteBool(QStringLiteral("FirmwareSupport"), QStringLiteral("FirmwareCompatibilityCheck"), on);
}

QString TSettings::LoRaWANConfigPath() const
{
    return ReadValue(QStringLiteral("LoRaWANConfig"), QStringLiteral("Configuration"), m_dataDir + QStringLiteral("Velto_LoRaWAN_Config.json"));
}

QString TSettings::DeviceConfigPath() const
{
    return ReadValue(QStringLiteral("DeviceConfig"), QStringLiteral("Configuration"), Default("DeviceConfig", "Configuration"));
}

QString TSettings::FirmwareVersionsPath() const
{
    return ReadValue(QStringLiteral("FirmwareVersions"), QStringLiteral("Configuration"), Default("FirmwareVersions", "Configuration"));
}

void TSettings::SetIsoFormat(bool on)
{
    m_isoFormat = on;
    WriteBool(QStringLiteral("Formats"), QStringLiteral("ISOFormat"), on);
}

void TSettings::LoadSpecialSwitches(const QString& accessCode)
{
    auto flag = [this](const char* group, const char* key) {
        return TextToBool(ReadValue(QString::fromLatin1(group), QString::fromLatin1(key), Default(group, key)));
    };
    m_showIsoFormat = flag("Logfile", "ShowISOFormat");
    m_showLines = flag("Logfile", "ShowLines");
    m_showUnits = flag("Logfile", "ShowUnits");
    m_showSingleLineKVList = flag("Logfile", "ShowSingleLineKVList");
    m_showHREvents = flag("Logfile", "ShowHREvents");
    m_isoFormat = flag("Formats", "ISOFormat");

    m_specialFeatures.clear();
    const QString password = ReadValue(QStringLiteral("Special"), QStringLiteral("DeveloperPWD"));
    m_developerMode = !password.isEmpty() && password == accessCode;
    if (m_developerMode)
        m_specialFeatures << QStringLiteral("DeveloperMode");
    if (flag("Special", "ApprovalTest"))
        m_specialFeatures << QStringLiteral("ApprovalTest");
    if (flag("Special", "SensorApp"))
        m_specialFeatures << QStringLiteral("SensorApp");
}

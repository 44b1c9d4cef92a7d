#pragma once
#include <QDateTime>
#include <QSet>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

#include "base/TKeyValueList.h"
#include "settings/TRadioTestSettings.h"

class QSettings;

/// The per-user settings store. The INI file is parsed once and again only when it changed on disk
/// (another program, a hand edit); every write goes through to the file at once. One instance per
/// process (Instance()).
class TSettings
{
public:
    static constexpr const char* kProgramName = "Velto_LoRaWAN_Tessera";

    static TSettings& Instance();

    // Locations, computed once from the program name.
    QString DataDirectory() const { return m_dataDir; }        ///< ends with "/"
    QString DocumentsDirectory() const { return m_docDir; }
    QString SettingsFilePath() const { return m_settingsFile; }
    QString EndDeviceFilePath() const { return m_endDeviceFile; }

    // Raw access.
    QString ReadValue(const QString& group, const QString& key, const QString& defaultValue = QString()) const;
    void WriteValue(const QString& group, const QString& key, const QString& value);
    /// Empty, one-element and longer lists read back as written (a list of one empty text reads back empty).
    QStringList ReadList(const QString& group, const QString& key) const;
    void WriteList(const QString& group, const QString& key, const QStringList& list);
    /// Removes every copy of `value`, then puts it first.
    void AddToList(const QString& group, const QString& key, const QString& value);
    /// Removes every copy; false when there was none.
    bool RemoveFromList(const QString& group, const QString& key, const QString& value);
    TKeyValueList ReadGroup(const QString& group) const;
    void WriteGroup(const QString& group, const TKeyValueList& items);

    bool ReadBool(const QString& group, const QString& key, bool defaultValue) const;
    void WriteBool(const QString& group, const QString& key, bool value);
    /// "1", "ON", "YES" in any case are true; everything else is false.
    static bool TextToBool(const QString& text);
    static QString BoolToText(bool value) { return value ? QStringLiteral("YES") : QStringLiteral("NO"); }

    // Typed accessors of the known keys. A stored value outside what the key allows reads as the
    // default and is reported once as a warning.
    int StatusBoxLocation() const;
    void SetStatusBoxLocation(int area);
    QString MainTheme() const;
    void SetMainTheme(const QString& theme);
    int NumWakeupChars() const;
    int ServerPort() const;
    void SetServerPort(int port);
    int GatewayPort() const;
    void SetGatewayPort(int port);
    /// Gateway IP-Addresses ("GatewaySupport"/"Gateways").
    QStringList Gateways() const;
    void SetGateways(const QStringList& addresses);
    bool ServerSupport() const;
    bool BonjourSupport() const;
    bool ApprovalTest() const;
    bool SensorApp() const;
    bool FirmwareCompatibilityCheck() const;
    void SetFirmwareCompatibilityCheck(bool on);
    QString LoRaWANConfigPath() const;
    QString DeviceConfigPath() const;
    QString FirmwareVersionsPath() const;
    /// The node test page's radio fields; a missing or non-numeric value reads as its default.
    TRadioTestSettings RadioTest() const;
    void SetRadioTest(const TRadioTestSettings& radio);
    /// "HCI-Parameter"/"DiscoveryBaudrates": the baud rates discovery tries, as decimal texts.
    QStringList DiscoveryBaudrates() const;

    /// Date format of shown time stamps ("Formats"/"ISOFormat"); cached, refreshed by LoadSpecialSwitches.
    bool IsoFormat() const { return m_isoFormat; }
    void SetIsoFormat(bool on);
    QString DateFormat() const { return m_isoFormat ? QStringLiteral("yyyy-MM-dd") : QStringLiteral("dd.MM.yyyy"); }

    // Log display switches, read by LoadSpecialSwitches.
    bool ShowISOFormat() const { return m_showIsoFormat; }
    bool ShowLines() const { return m_showLines; }
    bool ShowUnits() const { return m_showUnits; }
    bool ShowSingleLineKVList() const { return m_showSingleLineKVList; }
    bool ShowHREvents() const { return m_showHREvents; }

    /// Reads the log switches and the special modes; developer mode is on when "Special"/"DeveloperPWD" equals `accessCode`.
    void LoadSpecialSwitches(const QString& accessCode);
    bool DeveloperMode() const { return m_developerMode; }
    QStringList SpecialFeatures() const { return m_specialFeatures; }

    /// Re-computes the locations from the current environment (tests change HOME / XDG variables).
    void ReloadLocations();
    /// Why the last write did not reach the file ("error - ..."); empty after a successful write.
    QString ErrorText() const { return m_errorText; }
    /// How often the file has been parsed in this process.
    int Parses() const { return m_parses; }
    /// Where warnings about invalid stored values go (the status log installs itself); warnings
    /// given before there is a sink wait for it.
    void SetWarningSink(std::function<void(const QString&)> sink);

private:
    TSettings();
    ~TSettings();
    /// The parsed file, parsed again when it changed on disk since it was last read or written.
    QSettings& File() const;
    /// Notes the file's size and time; true when they differ from what was noted before.
    bool RememberFileState() const;
    /// The stored value, or the default with a warning (once per key) when it is not allowed.
    QString Checked(const char* group, const char* key, const QString& value) const;
    void Warn(const QString& text) const;
    /// Reads a key of the default table as text, as boolean, or as a number (a non-number gives the default).
    QString TableValue(const char* group, const char* key) const;
    bool TableBool(const char* group, const char* key) const;
    int TableInt(const char* group, const char* key) const;
    /// Leaves the group, writes the file through and records whether that worked.
    void FinishWrite(QSettings& file);

    QString m_dataDir;
    QString m_docDir;
    QString m_settingsFile;
    QString m_endDeviceFile;
    QString m_errorText;
    mutable std::unique_ptr<QSettings> m_file;
    mutable qint64 m_fileSize = -1;
    mutable QDateTime m_fileTime;
    mutable int m_parses = 0;
    mutable QSet<QString> m_warned;
    mutable QStringList m_pendingWarnings;
    std::function<void(const QString&)> m_warningSink;
    bool m_developerMode = false;
    QStringList m_specialFeatures;
    bool m_isoFormat = true;
    bool m_showIsoFormat = true;
    bool m_showLines = true;
    bool m_showUnits = true;
    bool m_showSingleLineKVList = true;
    bool m_showHREvents = true;
};

#pragma once
#include <QJsonArray>
#include <QJsonObject>
#include <QMap>
#include <QObject>
#include <QPointer>

#include "base/TKeyValueList.h"

/// Which firmware each module should run and from which version on: the entries of the firmware
/// versions file, their name matching and the version comparisons.
class TFirmwareSupport : public QObject
{
    Q_OBJECT
public:
    static TFirmwareSupport& Instance();

    /// Reads "LoRaWAN_Versions" from a firmware versions file; false with `error` set when it can't.
    bool Load(const QString& path, QString* error = nullptr);
    void SetVersions(const QJsonArray& versions) { m_versions = versions; }
    const QJsonArray& Versions() const { return m_versions; }

    bool FindEntry(const QString& deviceFirmwareName, QJsonObject& entry) const;
    QJsonObject FirstEntry() const;
    static bool NameMatches(const QString& entryName, const QString& deviceName);
    /// "V2.1" / "2.1": true when a is a later major.minor than b; false when either is not usable.
    static bool IsNewer(const QString& a, const QString& b);
    static bool IsGreaterBuildCount(const QString& a, const QString& b);
    /// The warning the device record ("FWName", "FWVersion", "BuildCount", "DeviceType", "Port") calls for; empty when none.
    QString CheckDevice(const TKeyValueList& deviceInfo) const;
    /// Whether the firmware accepts the HCI message that starts its bootloader ("HCIBootloaderMsg").
    bool AcceptsHCIBootloaderMsg(const TKeyValueList& deviceInfo) const;

signals:
    void EvCompatibilityWarning(const QString& title, const QString& text);

private:
    TFirmwareSupport() = default;
    QJsonArray m_versions;
};

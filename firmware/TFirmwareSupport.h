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

    /// How a device's firmware ("FWName", "FWVersion", "BuildCount") compares with the version the
    /// versions file names for it.
    enum Verdict {
        NoVersionKnown,     ///< no entry for the firmware, or the entry names no usable version
        NewerAvailable,     ///< the entry's version (or build count) is later than the device's
        UpToDate,
        DeviceIsNewer,      ///< writing the available version would go back
        Unidentified,       ///< the device's version is not a usable major.minor
    };
    Verdict VersionVerdict(const TKeyValueList& deviceInfo) const;
    /// The entry's version for the device's firmware ("2.0", "2.0 build 112"); empty when there is none.
    QString AvailableVersion(const TKeyValueList& deviceInfo) const;

    /// The module types of the device configuration file ("DeviceTypes": "DeviceType", "FirmwareName",
    /// "BootloaderPins"); false with `error` set when it can't be read.
    bool LoadDeviceTypes(const QString& path, QString* error = nullptr);
    /// The firmware name registered for a device type; empty when the type is not known.
    QString FirmwareNameForType(const QString& deviceType) const;
    /// How the update reaches the bootloader of a device type through the USB bridge's pins.
    enum BootloaderPins {
        PinsNone,        ///< "none" (or unknown): the HCI request or the user
        PinsBootReset,   ///< "FTDI": boot pin and reset line
        PinsBootOnly,    ///< "FTDI boot pin": the boot pin alone
    };
    BootloaderPins BootloaderPinsForType(const QString& deviceType) const;

signals:
    void EvCompatibilityWarning(const QString& title, const QString& text);

private:
    TFirmwareSupport() = default;
    QJsonObject TypeEntry(const QString& deviceType) const;

    QJsonArray m_versions;
    QJsonArray m_deviceTypes;
};

#include "firmware/TFirmwareSupport.h"

#include <QFile>
#include <QJsonDocument>


namespace {
bool SplitVersion(const QString& text, int& major, int& minor)
{
    QString v = text.trimmed();
    if (v.isEmpty())
        return false;
    if (v.startsWith(QLatin1Char('V')) || v.startsWith(QLatin1Char('v')))
        v = v.mid(1);
    const QStringList parts = v.split(QLatin1Char('.'), Qt::SkipEmptyParts);
    if (parts.size() != 2)
        return false;
    bool okMajor = false, okMinor = false;
    major = parts[0].toInt(&okMajor);
    minor = parts[1].toInt(&okMinor);
    return okMajor && okMinor;
}

const char* const kOutdated =
    "The firmware %3 in device %1 on %2 is outdated.\n\nThis Studio requires a firmware version %4 (or later)!\n\n"
    "Please update the firmware (see Menu/File/Firmware Update)!\n";
const char* const kOutdatedBuild =
    "The firmware %3 in device %1 on %2 is outdated.\n\nThis Studio requires a firmware version %4 with buildcount %5 (or later)!\n\n"
    "Please update the firmware (see Menu/File/Firmware Update)!\n";
const char* const kIncompatible =
    "The firmware \"%3\" in device %1 on %2 is incompatible.\n\nThis Studio requires a firmware version %4 (or later) of type %5...!\n\n"
    "Please update the firmware (see Menu/File/Firmware Update)!\n";
}

namespace {
/// The array `key` of a JSON file's object; `array` stays as it was when the file can't be read.
bool ReadArray(const QString& path, const QString& key, const QString& what, QJsonArray& array, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = QStringLiteral("error - couldn't open %1: %2").arg(what, path);
        return false;
    }
    QJsonParseError parseError;
    const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &parseError);
    if (!doc.isObject() || !doc.object().value(key).isArray()) {
        if (error)
            *error = QStringLiteral("error - %1 %2 is not valid: %3")
                         .arg(what, path, parseError.error != QJsonParseError::NoError ? parseError.errorString() : QStringLiteral("no \"%1\" array").arg(key));
        return false;
    }
    array = doc.object().value(key).toArray();
    return true;
}
}

TFirmwareSupport& TFirmwareSupport::Instance()
{
    static TFirmwareSupport* support = new TFirmwareSupport;
    return *support;
}

bool TFirmwareSupport::Load(const QString& path, QString* error)
{
    return ReadArray(path, QStringLiteral("LoRaWAN_Versions"), QStringLiteral("firmware versions file"), m_versions, error);
}

bool TFirmwareSupport::NameMatches(const QString& n, const QString& d)
{
    return d == n || d.contains(n + QStringLiteral("_Beta")) || d.contains(n + QStringLiteral("_Test"))
        || d.contains(n + QStringLiteral("_Debug")) || d.contains(QStringLiteral("Debug_") + n);
}

bool TFirmwareSupport::FindEntry(const QString& deviceFirmwareName, QJsonObject& entry) const
{
    for (const QJsonValue& value : m_versions) {
        const QJsonObject object = value.toObject();
        const QString name = object.value(QStringLiteral("FirmwareName")).toString();
        if (!name.isEmpty() && NameMatches(name, deviceFirmwareName)) {
            entry = object;
            return true;
        }
    }
    return false;
}

QJsonObject TFirmwareSupport::FirstEntry() const
{
    return m_versions.isEmpty() ? QJsonObject() : m_versions.first().toObject();
}

bool TFirmwareSupport::IsNewer(const QString& a, const QString& b)
{
    int aMajor = 0, aMinor = 0, bMajor = 0, bMinor = 0;
    if (!SplitVersion(a, aMajor, aMinor) || !SplitVersion(b, bMajor, bMinor))
        return false;
    return aMajor > bMajor || (aMajor == bMajor && aMinor > bMinor);
}

bool TFirmwareSupport::IsGreaterBuildCount(const QString& a, const QString& b)
{
    return a.trimmed().toUInt() > b.trimmed().toUInt();
}

QString TFirmwareSupport::CheckDevice(const TKeyValueList& info) const
{
    const QString name = info.Value(QStringLiteral("FWName"));
    const QString version = info.Value(QStringLiteral("FWVersion"));
    const QString type = info.Value(QStringLiteral("DeviceType"));
    const QString port = info.Value(QStringLiteral("Port"));
    QJsonObject entry;
    if (!FindEntry(name, entry)) {
        const QJsonObject first = FirstEntry();
        return QString::fromLatin1(kIncompatible)
            .arg(type, port, name, first.value(QStringLiteral("Version")).toString(), first.value(QStringLiteral("FirmwareName")).toString());
    }
    const QString required = entry.value(QStringLiteral("Version")).toString();
    if (IsNewer(required, version))
        return QString::fromLatin1(kOutdated).arg(type, port, name, required);
    const QString build = entry.value(QStringLiteral("BuildCount")).toString();
    int major = 0, minor = 0;
    const bool equal = SplitVersion(version, major, minor) && SplitVersion(required, major, minor) && !IsNewer(version, required);
    if (equal && build != QLatin1String("*") && info.Contains(QStringLiteral("BuildCount"))
        && IsGreaterBuildCount(build, info.Value(QStringLiteral("BuildCount"))))
        return QString::fromLatin1(kOutdatedBuild).arg(type, port, name, required, build);
    return QString();
}

bool TFirmwareSupport::AcceptsHCIBootloaderMsg(const TKeyValueList& info) const
{
    QJsonObject entry;
    if (!FindEntry(info.Value(QStringLiteral("FWName")), entry))
        return false;
    const QString from = entry.value(QStringLiteral("HCIBootloaderMsg")).toString();
    if (from == QLatin1String("*"))
        return true;
    // Accepted from that version on: the device's version must not be older.
    return !IsNewer(from, info.Value(QStringLiteral("FWVersion")));
}

TFirmwareSupport::Verdict TFirmwareSupport::VersionVerdict(const TKeyValueList& info) const
{
    QJsonObject entry;
    int major = 0, minor = 0;
    if (!FindEntry(info.Value(QStringLiteral("FWName")), entry) || !SplitVersion(entry.value(QStringLiteral("Version")).toString(), major, minor))
        return NoVersionKnown;
    const QString device = info.Value(QStringLiteral("FWVersion"));
    if (!SplitVersion(device, major, minor))
        return Unidentified;
    const QString available = entry.value(QStringLiteral("Version")).toString();
    if (IsNewer(available, device))
        return NewerAvailable;
    if (IsNewer(device, available))
        return DeviceIsNewer;
    const QString build = entry.value(QStringLiteral("BuildCount")).toString();
    const QString deviceBuild = info.Value(QStringLiteral("BuildCount"));
    if (build == QLatin1String("*") || deviceBuild.isEmpty())
        return UpToDate;
    if (IsGreaterBuildCount(build, deviceBuild))
        return NewerAvailable;
    return IsGreaterBuildCount(deviceBuild, build) ? DeviceIsNewer : UpToDate;
}

QString TFirmwareSupport::AvailableVersion(const TKeyValueList& info) const
{
    QJsonObject entry;
    if (!FindEntry(info.Value(QStringLiteral("FWName")), entry))
        return QString();
    const QString version = entry.value(QStringLiteral("Version")).toString();
    const QString build = entry.value(QStringLiteral("BuildCount")).toString();
    return build.isEmpty() || build == QLatin1String("*") ? version : version + QStringLiteral(" build ") + build;
}

bool TFirmwareSupport::LoadDeviceTypes(const QString& path, QString* error)
{
    return ReadArray(path, QStringLiteral("DeviceTypes"), QStringLiteral("device configuration file"), m_deviceTypes, error);
}

QJsonObject TFirmwareSupport::TypeEntry(const QString& deviceType) const
{
    for (const QJsonValue& value : m_deviceTypes) {
        const QJsonObject object = value.toObject();
        if (!deviceType.isEmpty() && object.value(QStringLiteral("DeviceType")).toString() == deviceType)
            return object;
    }
    return QJsonObject();
}

QString TFirmwareSupport::FirmwareNameForType(const QString& deviceType) const
{
    return TypeEntry(deviceType).value(QStringLiteral("FirmwareName")).toString();
}

TFirmwareSupport::BootloaderPins TFirmwareSupport::BootloaderPinsForType(const QString& deviceType) const
{
    const QString pins = TypeEntry(deviceType).value(QStringLiteral("BootloaderPins")).toString();
    if (pins == QLatin1String("FTDI"))
        return PinsBootReset;
    if (pins == QLatin1String("FTDI boot pin"))
        return PinsBootOnly;
    return PinsNone;
}

#include "settings/TConfigInstaller.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>

#include "settings/TSettings.h"

namespace {
const char* const kDefaultVersion = "default";
// The version line stands near the top of a .cfg file; nobody reads a whole large file for it.
constexpr int kMaxCfgVersionLines = 100;
constexpr qint64 kMaxCfgLineBytes = 4096;
}

QStringList TConfigInstaller::ShippedFiles(const QString& programDirectory)
{
    QStringList files = QDir(programDirectory).entryList({QStringLiteral("Velto_LoRaWAN_Config*.json")}, QDir::Files, QDir::Name);
    files << QString::fromLatin1(TSettings::kProgramName) + QStringLiteral(".ini");
    for (const char* name : {kTraceEventsFile, kRadioMsgFile})
        if (QFileInfo::exists(QDir(programDirectory).filePath(QLatin1String(name))))
            files << QLatin1String(name);
    return files;
}

QString TConfigInstaller::FileVersion(const QString& path)
{
    const QString fallback = QString::fromLatin1(kDefaultVersion);
    if (path.endsWith(QLatin1String(".json"), Qt::CaseInsensitive)) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            emit EvShowMessage(QStringLiteral("Couldn't open file:") + path);
            return fallback;
        }
        QJsonParseError error;
        const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &error);
        if (!doc.isObject()) {
            emit EvShowMessage(QStringLiteral("warning - %1 is not a JSON object (%2): its version reads as default")
                                   .arg(path, error.error == QJsonParseError::NoError ? QStringLiteral("no object") : error.errorString()));
            return fallback;
        }
        const QJsonValue version = doc.object().value(QStringLiteral("FileVersion"));
        // Written by hand as 2 or "2.1"; both mean the same.
        const QString text = version.isDouble() ? version.toVariant().toString() : version.toString();
        return text.isEmpty() ? fallback : text;
    }
    if (path.endsWith(QLatin1String(".cfg"), Qt::CaseInsensitive)) {
        // Line files: a line "FileVersion:1.2" among the entries, which readers skip.
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
            emit EvShowMessage(QStringLiteral("Couldn't open file:") + path);
            return fallback;
        }
        static const QByteArray key("FileVersion:");
        for (int lines = 0; !file.atEnd() && lines < kMaxCfgVersionLines; ++lines) {
            const QByteArray line = file.readLine(kMaxCfgLineBytes).trimmed();
            if (line.startsWith(key)) {
                const QString text = QString::fromUtf8(line.mid(key.size())).trimmed();
                return text.isEmpty() ? fallback : text;
            }
        }
        return fallback;
    }
    if (path.endsWith(QLatin1String(".ini"), Qt::CaseInsensitive)) {
        QSettings file(path, QSettings::IniFormat);
        const QString text = file.value(QStringLiteral("FileVersion/Version")).toString();
        return text.isEmpty() ? fallback : text;
    }
    return fallback;
}

bool TConfigInstaller::IsNewer(const QString& a, const QString& b)
{
    const bool aDefault = a == QLatin1String(kDefaultVersion);
    const bool bDefault = b == QLatin1String(kDefaultVersion);
    if (aDefault || bDefault)
        return !aDefault && bDefault;
    const QStringList pa = a.split(QLatin1Char('.'));
    const QStringList pb = b.split(QLatin1Char('.'));
    for (int i = 0; i < qMax(pa.size(), pb.size()); ++i) {
        const int x = pa.value(i).trimmed().toInt();
        const int y = pb.value(i).trimmed().toInt();
        if (x != y)
            return x > y;
    }
    return false;
}

bool TConfigInstaller::Install(const QString& programDirectory, const QStringList& fileNames, const QString& dataDirectory)
{
    const QString dataPath = dataDirectory.isEmpty() ? TSettings::Instance().DataDirectory() : dataDirectory;
    const QDir target(dataPath);
    if (!target.exists()) {
        emit EvShowMessage(QStringLiteral("creating directory:") + dataPath);
        if (!QDir().mkpath(dataPath)) {
            emit EvShowMessage(QStringLiteral("error - couldn't create directory:") + dataPath);
            return false;
        }
    }
    bool ok = true;
    for (const QString& name : fileNames) {
        const QString source = QDir(programDirectory).filePath(name);
        const QString copy = target.filePath(name);
        if (!QFile::exists(source)) {
            emit EvShowMessage(QStringLiteral("warning - shipped file not found:") + source);
            continue;
        }
        if (!QFile::exists(copy)) {
            emit EvShowMessage(QStringLiteral("installation of config files:"));
            ok = CopyIn(source, copy) && ok;
            continue;
        }
        if (!IsNewer(FileVersion(source), FileVersion(copy)))
            continue;
        // The user's copy is kept beside the new one; an older "_old" makes room first.
        const QString old = copy + QStringLiteral("_old");
        if (QFile::exists(old)) {
            emit EvShowMessage(QStringLiteral("remove file:") + old);
            if (!QFile::remove(old)) {
                emit EvShowMessage(QStringLiteral("error - couldn't remove file:") + old);
                ok = false;
                continue;
            }
        }
        emit EvShowMessage(QStringLiteral("rename file:") + copy + QStringLiteral("  to  ") + old);
        if (!QFile::rename(copy, old)) {
            emit EvShowMessage(QStringLiteral("error - couldn't rename file:") + copy);
            ok = false;
            continue;
        }
        ok = CopyIn(source, copy) && ok;
    }
    return ok;
}

bool TConfigInstaller::CopyIn(const QString& source, const QString& target)
{
    emit EvShowMessage(QStringLiteral("copy file:") + source + QStringLiteral("  to user directory ") + target);
    if (!QFile::copy(source, target)) {
        emit EvShowMessage(QStringLiteral("error - couldn't copy file:") + source);
        return false;
    }
    // Windows keeps the read-only flag of an installed file on copy; the user's copy must take the studio's writes.
    QFile::setPermissions(target, QFile::permissions(target) | QFile::ReadOwner | QFile::WriteOwner);
    return true;
}

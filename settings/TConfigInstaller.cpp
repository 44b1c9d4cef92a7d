#include "settings/TConfigInstaller.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>

namespace {
const char* const kDefaultVersion = "default";
}

QStringList TConfigInstaller::ShippedFiles(const QString& programDirectory)
{
    QStringList files = QDir(programDirectory).entryList({QStringLiteral("Velto_LoRaWAN_Config*.json")}, QDir::Files, QDir::Name);
    files << QStringLiteral("Velto_LoRaWAN_Tessera.ini");
    return files;
}

QString TConfigInstaller::FileVersion(const QString& path)
{
    if (path.endsWith(QLatin1String(".json"), Qt::CaseInsensitive)) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            emit EvShowMessage(QStringLiteral("Couldn't open file: ") + path);
            return QString::fromLatin1(kDefaultVersion);
        }
        QJsonParseError error;
        const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &error);
        if (!doc.isObject()) {
            emit EvShowMessage(QStringLiteral("warning - %1 is not valid JSON (%2): its version reads as default").arg(path, error.errorString()));
            return QString::fromLatin1(kDefaultVersion);
        }
        const QJsonValue version = doc.object().value(QStringLiteral("FileVersion"));
        return version.isString() && !version.toString().isEmpty() ? version.toString() : QString::fromLatin1(kDefaultVersion);
    }
    if (path.endsWith(QLatin1String(".ini"), Qt::CaseInsensitive)) {
        QSettings file(path, QSettings::IniFormat);
        return file.value(QStringLiteral("FileVersion/Version"), QString::fromLatin1(kDefaultVersion)).toString();
    }
    return QString::fromLatin1(kDefaultVersion);
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
        const int x = pa.value(i).toInt();
        const int y = pb.value(i).toInt();
        if (x != y)
            return x > y;
    }
    return false;
}

void TConfigInstaller::Install(const QString& programDirectory, const QStringList& fileNames, const QString& dataDirectory)
{
    QDir target(dataDirectory);
    if (!target.exists()) {
        emit EvShowMessage(QStringLiteral("creating directory:") + dataDirectory);
        QDir().mkpath(dataDirectory);
    }
    for (const QString& name : fileNames) {
        const QString source = QDir(programDirectory).filePath(name);
        const QString copy = target.filePath(name);
        if (!QFile::exists(source))
            continue;
        if (!QFile::exists(copy)) {
            emit EvShowMessage(QStringLiteral("installation of config files:"));
            emit EvShowMessage(QStringLiteral("copy file:") + source + QStringLiteral("  to user directory ") + copy);
            QFile::copy(source, copy);
            continue;
        }
        if (!IsNewer(FileVersion(source), FileVersion(copy)))
            continue;
        // The user's copy is kept beside the new one; an older "_old" makes room first.
        const QString old = copy + QStringLiteral("_old");
        if (QFile::exists(old)) {
            emit EvShowMessage(QStringLiteral("remove file:") + old);
            QFile::remove(old);
        }
        emit EvShowMessage(QStringLiteral("rename file:") + copy + QStringLiteral("  to  ") + old);
        QFile::rename(copy, old);
        emit EvShowMessage(QStringLiteral("copy file:") + source + QStringLiteral("  to user directory ") + copy);
        QFile::copy(source, copy);
    }
}

#include "settings/TShippedFiles.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace {
QString WithSlash(const QString& path)
{
    return path.endsWith(QLatin1Char('/')) ? path : path + QLatin1Char('/');
}

bool HoldsShippedFiles(const QString& directory)
{
    return QFileInfo::exists(QDir(directory).filePath(QLatin1String(TShippedFiles::kMarkerFile)));
}
}

QString TShippedFiles::Directory()
{
    return DirectoryFor(QCoreApplication::applicationDirPath());
}

QString TShippedFiles::DirectoryFor(const QString& programDirectory)
{
    if (HoldsShippedFiles(programDirectory))
        return WithSlash(programDirectory);
    // Relative to the program first, so that a package unpacked below another root finds its own files.
    const QString besidePrefix = QDir::cleanPath(programDirectory + QStringLiteral("/../share/") + QLatin1String(kInstalledFolder));
    if (HoldsShippedFiles(besidePrefix))
        return WithSlash(besidePrefix);
    const QStringList dataDirectories = QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation);
    for (const QString& data : dataDirectories) {
        const QString candidate = QDir(data).filePath(QLatin1String(kInstalledFolder));
        if (HoldsShippedFiles(candidate))
            return WithSlash(candidate);
    }
    return WithSlash(programDirectory);
}

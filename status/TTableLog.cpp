#include "status/TTableLog.h"

QString TTableLog::FileName(const QString& directory, const QString& title, const QDateTime& when, const QString& suffix)
{
    QString name = title + QLatin1Char('_') + when.toString(QStringLiteral("yyyy-MM-dd")) + when.toString(QStringLiteral("_hh-mm-ss"));
    if (!suffix.isEmpty())
        name += QLatin1Char('_') + suffix;
    return directory + QStringLiteral("//") + name + QStringLiteral(".log");
}

bool TTableLog::Open(const QString& path)
{
    m_file.close();
    m_file.setFileName(path);
    return m_file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text);
}

void TTableLog::WriteRow(const QStringList& cells)
{
    if (!m_file.isOpen())
        return;
    m_file.write(cells.join(QLatin1Char(';')).toUtf8());
    m_file.write("\n", 1);
    m_file.flush();
}

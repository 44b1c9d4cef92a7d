#include "status/TStatusLog.h"

#include <QDir>

#include "settings/TSettings.h"

TStatusLog& TStatusLog::Instance()
{
    static TStatusLog* log = [] {
        auto* created = new TStatusLog;   // kept until exit: every part may write while shutting down
        // Settings warnings found before the event loop runs wait until the windows that show them exist.
        QMetaObject::invokeMethod(
            created,
            [created] {
                TSettings::Instance().SetWarningSink([created](const QString& text) { created->AddStatusMessage(QStringLiteral("Settings"), text); });
            },
            Qt::QueuedConnection);
        return created;
    }();
    return *log;
}

QString TStatusLog::FormatLine(const QString& text, const QDateTime& when, bool iso)
{
    return when.toString(iso ? QStringLiteral("yyyy-MM-dd") : QStringLiteral("dd.MM.yyyy")) + QLatin1Char(';')
        + when.toString(QStringLiteral("hh:mm:ss.zzz")) + QLatin1Char(';') + text;
}

QString TStatusLog::FormatDuration(qint64 seconds)
{
    const qint64 days = seconds / 86400;
    const qint64 hours = (seconds / 3600) % 24;
    const qint64 minutes = (seconds / 60) % 60;
    const qint64 secs = seconds % 60;
    if (days > 0)
        return QStringLiteral("%1 day(s) %2 hour(s) %3 minute(s) %4 second(s)").arg(days).arg(hours).arg(minutes).arg(secs);
    if (hours > 0)
        return QStringLiteral("%1 hour(s) %2 minute(s) %3 second(s)").arg(hours).arg(minutes).arg(secs);
    return QStringLiteral("%1 minute(s) %2 second(s)").arg(minutes).arg(secs);
}

QString TStatusLog::RecordText(const TKeyValueList& records, bool singleLine)
{
    return records.ToText(singleLine ? QStringLiteral("; ") : QStringLiteral("\n"));
}

QString TStatusLog::LogFileName(const QDateTime& when, const QString& suffix)
{
    QString name = QString::fromLatin1(kLogBaseName) + when.toString(QStringLiteral("_ddMMyyyy")) + when.toString(QStringLiteral("_hhmmss"));
    if (!suffix.isEmpty())
        name += QLatin1Char('_') + suffix;
    return name + QStringLiteral(".log");
}

bool TStatusLog::IsSeparator(const QString& text)
{
    static const int kMinimumDashes = 3;
    if (text.size() < kMinimumDashes)
        return false;
    for (const QChar c : text)
        if (c != QLatin1Char('-'))
            return false;
    return true;
}

void TStatusLog::AddStatusLine(const QString& text)
{
    const QString line = FormatLine(text, QDateTime::currentDateTime(), TSettings::Instance().IsoFormat());
    if (!IsSeparator(text)) {
        if (m_lines >= kMaxLines) {
            m_lines = 0;
            emit EvCleared();
        }
        ++m_lines;
    }
    emit EvLine(line);
    if (m_file.isOpen()) {
        m_file.write(line.toUtf8());
        m_file.write("\n", 1);
        m_file.flush();
    }
}

void TStatusLog::AddStatusMessage(const QString& source, const QString& text)
{
    AddStatusLine(source.isEmpty() ? text : source + QLatin1Char(':') + text);
}

void TStatusLog::AddStatusRecords(const QString& source, const TKeyValueList& records)
{
    AddStatusMessage(source, RecordText(records, TSettings::Instance().ShowSingleLineKVList()));
}

void TStatusLog::AddRawMessage(const QString& source, const QString& text)
{
    AddStatusLine(source + QStringLiteral(":<<<") + text + QStringLiteral(">>>"));
}

void TStatusLog::Clear()
{
    m_lines = 0;
    emit EvCleared();
}

bool TStatusLog::OpenLogFile(const QString& path)
{
    CloseLogFile();
    m_file.setFileName(path);
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text)) {
        AddStatusLine(QStringLiteral("error - couldn't open log file: ") + path);
        return false;
    }
    AddStatusLine(QStringLiteral("log file opened: ") + path);
    emit EvLogFileChanged(path);
    return true;
}

bool TStatusLog::OpenAutoLogFile(const QString& directory, const QString& suffix)
{
    return OpenLogFile(QDir(directory).filePath(LogFileName(QDateTime::currentDateTime(), suffix)));
}

void TStatusLog::CloseLogFile()
{
    if (!m_file.isOpen())
        return;
    m_file.close();
    emit EvLogFileChanged(QStringLiteral("n.a."));
}

QString TStatusLog::LogDirectory()
{
    const QString configured = TSettings::Instance().ReadValue(QStringLiteral("Logfile"), QStringLiteral("Directory"));
    return configured.isEmpty() ? TSettings::Instance().DocumentsDirectory() : configured;
}

#pragma once
#include <QDateTime>
#include <QFile>
#include <QObject>
#include <QString>

#include "base/TKeyValueList.h"

/// The status log that every part writes to: time-stamped lines, counted against the window's
/// limit, and written to the open log file with a flush per line. The status window shows EvLine.
class TStatusLog : public QObject
{
    Q_OBJECT
public:
    static constexpr int kMaxLines = 100000;
    static constexpr const char* kLogBaseName = "Velto_LoRaWAN_Tessera";

    static TStatusLog& Instance();

    /// "date;time;text" with the date as "yyyy-MM-dd" (ISO) or "dd.MM.yyyy" and the time "hh:mm:ss.zzz".
    static QString FormatLine(const QString& text, const QDateTime& when, bool iso);
    /// "%1 day(s) %2 hour(s) ..." shortened below a day and below an hour.
    static QString FormatDuration(qint64 seconds);
    /// A record as text: one line, or one "key: value" line per pair.
    static QString RecordText(const TKeyValueList& records, bool singleLine);
    /// A text of dashes only: the mark the controllers put between commands. It goes to the log file
    /// like any line but does not count as one (the window draws it as a rule, not as a line).
    static bool IsSeparator(const QString& text);
    /// Proposed file names: "Velto_LoRaWAN_Tessera_ddMMyyyy_hhmmss[_suffix].log".
    static QString LogFileName(const QDateTime& when, const QString& suffix = QString());

    void AddStatusLine(const QString& text);
    void AddStatusMessage(const QString& source, const QString& text);
    void AddStatusRecords(const QString& source, const TKeyValueList& records);
    /// Source, ":<<<", message, ">>>" (developer trace of raw messages).
    void AddRawMessage(const QString& source, const QString& text);
    void Clear();
    int LineCount() const { return m_lines; }

    /// Replaces any previous content; false with "error - couldn't open log file: " + path written.
    bool OpenLogFile(const QString& path);
    /// Opens a log file under the standard name with `suffix` in `directory` (logging that starts by itself).
    bool OpenAutoLogFile(const QString& directory, const QString& suffix);
    void CloseLogFile();
    bool IsLogFileOpen() const { return m_file.isOpen(); }
    QString LogFilePath() const { return m_file.isOpen() ? m_file.fileName() : QString(); }
    /// Log directory: the user's documents directory when no other is configured.
    static QString LogDirectory();

signals:
    void EvLine(const QString& line);
    void EvCleared();
    void EvLogFileChanged(const QString& pathOrNa);

private:
    TStatusLog() = default;
    QFile m_file;
    int m_lines = 0;
};

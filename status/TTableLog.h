#pragma once
#include <QDateTime>
#include <QFile>
#include <QStringList>

/// The log file of one message table: one line per row, cells joined by ";".
class TTableLog
{
public:
    /// directory + "//" + title + "_yyyy-MM-dd_hh-mm-ss[_suffix].log" (the doubled separator is kept).
    static QString FileName(const QString& directory, const QString& title, const QDateTime& when, const QString& suffix = QString());

    bool Open(const QString& path);
    void Close() { m_file.close(); }
    bool IsOpen() const { return m_file.isOpen(); }
    QString Path() const { return m_file.fileName(); }
    void WriteRow(const QStringList& cells);

private:
    QFile m_file;
};

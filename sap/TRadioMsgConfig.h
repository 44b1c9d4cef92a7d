#pragma once
#include <QString>
#include <QStringList>
#include <QVector>

#include "base/TKeyValueList.h"
#include "settings/TConfigInstaller.h"

/// The radio link page's list of prepared messages ("Velto_LR_RadioMsg.cfg"): one message per
/// line in descriptor field syntax, e.g. "Name:Ping;DstGroupAddress:0x10;DstDeviceAddress:0x1234;
/// Payload:0x01 0x02". Lines without a "Name:" field (comments, blank lines, "FileVersion:") are
/// skipped quietly; a broken line (not text, too long, an empty name, parameters that would not
/// send) is skipped with a warning that names its line, so the list only offers what can be sent.
class TRadioMsgConfig
{
public:
    static constexpr const char* kFileName = TConfigInstaller::kRadioMsgFile;
    static constexpr int kMaxLineBytes = 4096;   ///< a message line is far shorter
    static constexpr qint64 kMaxFileBytes = 1024 * 1024;

    struct Entry {
        QString name;
        QString line;   ///< the whole line, kept so that choosing the entry fills its parameters
    };

    /// The configuration directory + "/Velto_LR_RadioMsg.cfg".
    static QString DefaultPath();
    /// Value of `key` (e.g. "Name:") as the descriptor engine reads it: the first field that
    /// contains the key anywhere, after that occurrence; a null text when no field does.
    static QString FieldValue(const QString& line, const QString& key);
    /// "DstGroupAddress", "DstDeviceAddress" and "Payload" of a line, as far as it has them.
    static TKeyValueList Parameters(const QString& line);

    /// Replaces the list with the file's messages; false with ErrorText (and no messages) when it
    /// is missing, unreadable, too large or not a text file (a NUL byte).
    bool Load(const QString& path);
    const QVector<Entry>& Entries() const { return m_entries; }
    QString ErrorText() const { return m_error; }
    /// "warning - ..." texts of the lines skipped by the last load, each naming its line.
    QStringList Warnings() const { return m_warnings; }
    /// One line on the last load for the page: the error, "info - <n> radio message(s) loaded from
    /// <path>", or "warning - <n> radio message(s) loaded from <path>; lines skipped: 5, 9".
    QString StatusText() const;

private:
    void Skip(int line, const QString& warning);

    QString m_path;
    QVector<Entry> m_entries;
    QString m_error;
    QStringList m_warnings;
    QStringList m_skippedLines;
};

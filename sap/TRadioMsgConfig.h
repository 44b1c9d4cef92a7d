#pragma once
#include <QString>
#include <QStringList>
#include <QVector>

#include "base/TKeyValueList.h"

/// The radio link page's list of prepared messages ("Velto_LR_RadioMsg.cfg"): one message per
/// line in descriptor field syntax, e.g. "Name:Ping;DstGroupAddress:0x10;DstDeviceAddress:0x1234;
/// Payload:0x01 0x02". Lines without a "Name:" field are skipped; a message whose parameters
/// would not send is skipped with a warning, so the list only offers what can be sent.
class TRadioMsgConfig
{
public:
    static constexpr const char* kFileName = "Velto_LR_RadioMsg.cfg";

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

    /// Replaces the list with the file's messages; false with ErrorText when it can't be read.
    bool Load(const QString& path);
    const QVector<Entry>& Entries() const { return m_entries; }
    QString ErrorText() const { return m_error; }
    /// "warning - ..." texts of the skipped messages of the last load.
    QStringList Warnings() const { return m_warnings; }

private:
    QVector<Entry> m_entries;
    QString m_error;
    QStringList m_warnings;
};

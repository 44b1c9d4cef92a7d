#pragma once
#include <QMetaType>
#include <QPair>
#include <QString>
#include <QVector>

/// Ordered (key, value) text pairs; keys may repeat. Commands, results, events and log records travel in it.
class TKeyValueList : public QVector<QPair<QString, QString>>
{
public:
    using Item = QPair<QString, QString>;

    void Append(const QString& key, const QString& value) { append(Item(key, value)); }
    void Append(const QString& key, qint64 value) { append(Item(key, QString::number(value))); }
    void Append(const QString& key, const char* value) { append(Item(key, QString::fromUtf8(value))); }
    /// Every event record starts with its type.
    void SetEventType(const QString& type) { Append(QStringLiteral("EvType"), type); }

    /// Value of the first pair with this key, or `defaultValue`.
    QString Value(const QString& key, const QString& defaultValue = QString()) const;
    bool Contains(const QString& key) const;
    /// Replaces the first pair with this key, or appends one.
    void Set(const QString& key, const QString& value);
    void Clear() { clear(); }

    /// "Key:" + key + ";Value:" + value for one pair.
    static QString ItemText(const QString& key, const QString& value);
    /// Pairs as "key: value" joined by `separator`.
    QString ToText(const QString& separator = QStringLiteral("; ")) const;

    static void RegisterMetaType();
};

Q_DECLARE_METATYPE(TKeyValueList)

#pragma once
#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <functional>

/// Typed reads from a JSON configuration file that name the offending member when they fail, so
/// that a user can find the mistake: "SupportedBands[1].UpLink.DataRates: missing". Only the first
/// failure is kept; every read returns false after it.
class TJsonReader
{
public:
    /// Parses `data` as a JSON object. A syntax error reads "JSON syntax error at line L, column C:
    /// <what>" (counted from 1, columns in characters).
    static bool ParseObject(const QByteArray& data, QJsonObject& root, QString* error);
    /// "a.b" (or "b" at the top) and "a[3]".
    static QString MemberPath(const QString& path, const QString& key);
    static QString ElementPath(const QString& path, int index);

    bool Failed() const { return !m_error.isEmpty(); }
    QString Error() const { return m_error; }
    /// Keeps "path: text" unless a failure is already kept; returns false.
    bool Fail(const QString& path, const QString& text);

    // Members of `parent` (whose own path is `path`); a missing required member is a failure.
    bool Object(const QJsonObject& parent, const QString& path, const char* key, QJsonObject& out);
    /// `nonEmpty`: an empty array is a failure.
    bool Array(const QJsonObject& parent, const QString& path, const char* key, QJsonArray& out, bool nonEmpty = true);
    /// A text that is not empty.
    bool Text(const QJsonObject& parent, const QString& path, const char* key, QString& out);
    bool Integer(const QJsonObject& parent, const QString& path, const char* key, qint64 min, qint64 max, qint64& out);
    bool Integer(const QJsonObject& parent, const QString& path, const char* key, int min, int max, int& out);

    /// Reads each element of the array member `key` with `read(element, its path)`, in order,
    /// until one fails. `nonEmpty`: an empty array is a failure.
    bool Elements(const QJsonObject& parent, const QString& path, const char* key, bool nonEmpty,
                  const std::function<bool(const QJsonValue& element, const QString& elementPath)>& read);

    // A value whose own path is `path` (array elements).
    bool Object(const QJsonValue& value, const QString& path, QJsonObject& out);
    bool Integer(const QJsonValue& value, const QString& path, qint64 min, qint64 max, qint64& out);

private:
    bool Member(const QJsonObject& parent, const QString& path, const char* key, QJsonValue& out);

    QString m_error;
};

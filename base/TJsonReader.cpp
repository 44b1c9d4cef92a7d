#include "base/TJsonReader.h"

#include <QJsonDocument>
#include <QJsonParseError>

#include <cmath>

bool TJsonReader::ParseObject(const QByteArray& data, QJsonObject& root, QString* error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(data, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        // Qt's offset lies just behind the character that broke the document.
        const int at = qBound(0, parseError.offset - 1, data.size());
        const int lineStart = at > 0 ? data.lastIndexOf('\n', at - 1) + 1 : 0;
        const int line = data.left(lineStart).count('\n') + 1;
        const int column = QString::fromUtf8(data.mid(lineStart, at - lineStart)).size() + 1;
        if (error)
            *error = QStringLiteral("JSON syntax error at line %1, column %2: %3").arg(line).arg(column).arg(parseError.errorString());
        return false;
    }
    if (!document.isObject()) {
        if (error)
            *error = QStringLiteral("the top level is not a JSON object");
        return false;
    }
    root = document.object();
    return true;
}

QString TJsonReader::MemberPath(const QString& path, const QString& key)
{
    return path.isEmpty() ? key : path + QLatin1Char('.') + key;
}

QString TJsonReader::ElementPath(const QString& path, int index)
{
    return path + QLatin1Char('[') + QString::number(index) + QLatin1Char(']');
}

bool TJsonReader::Fail(const QString& path, const QString& text)
{
    if (m_error.isEmpty())
        m_error = path + QStringLiteral(": ") + text;
    return false;
}

bool TJsonReader::Member(const QJsonObject& parent, const QString& path, const char* key, QJsonValue& out)
{
    if (Failed())
        return false;
    const QString name = QLatin1String(key);
    if (!parent.contains(name))
        return Fail(MemberPath(path, name), QStringLiteral("missing"));
    out = parent.value(name);
    return true;
}

bool TJsonReader::Object(const QJsonValue& value, const QString& path, QJsonObject& out)
{
    if (Failed())
        return false;
    if (!value.isObject())
        return Fail(path, QStringLiteral("an object is expected"));
    out = value.toObject();
    return true;
}

bool TJsonReader::Object(const QJsonObject& parent, const QString& path, const char* key, QJsonObject& out)
{
    QJsonValue value;
    return Member(parent, path, key, value) && Object(value, MemberPath(path, QLatin1String(key)), out);
}

bool TJsonReader::Array(const QJsonObject& parent, const QString& path, const char* key, QJsonArray& out, bool nonEmpty)
{
    QJsonValue value;
    if (!Member(parent, path, key, value))
        return false;
    const QString own = MemberPath(path, QLatin1String(key));
    if (!value.isArray())
        return Fail(own, QStringLiteral("an array is expected"));
    out = value.toArray();
    if (nonEmpty && out.isEmpty())
        return Fail(own, QStringLiteral("at least one entry is expected"));
    return true;
}

bool TJsonReader::Elements(const QJsonObject& parent, const QString& path, const char* key, bool nonEmpty,
                           const std::function<bool(const QJsonValue& element, const QString& elementPath)>& read)
{
    QJsonArray list;
    if (!Array(parent, path, key, list, nonEmpty))
        return false;
    const QString listPath = MemberPath(path, QLatin1String(key));
    for (int i = 0; i < list.size(); ++i)
        if (!read(list.at(i), ElementPath(listPath, i)) || Failed())
            return false;
    return true;
}

bool TJsonReader::Text(const QJsonObject& parent, const QString& path, const char* key, QString& out)
{
    QJsonValue value;
    if (!Member(parent, path, key, value))
        return false;
    if (!value.isString() || value.toString().trimmed().isEmpty())
        return Fail(MemberPath(path, QLatin1String(key)), QStringLiteral("a text is expected"));
    out = value.toString().trimmed();
    return true;
}

bool TJsonReader::Integer(const QJsonValue& value, const QString& path, qint64 min, qint64 max, qint64& out)
{
    if (Failed())
        return false;
    const double number = value.toDouble();
    if (!value.isDouble() || std::floor(number) != number || std::fabs(number) > 1e15)
        return Fail(path, QStringLiteral("a whole number is expected"));
    if (number < double(min) || number > double(max))
        return Fail(path, QStringLiteral("%1 is out of range %2..%3").arg(qint64(number)).arg(min).arg(max));
    out = qint64(number);
    return true;
}

bool TJsonReader::Integer(const QJsonObject& parent, const QString& path, const char* key, qint64 min, qint64 max, qint64& out)
{
    QJsonValue value;
    return Member(parent, path, key, value) && Integer(value, MemberPath(path, QLatin1String(key)), min, max, out);
}

bool TJsonReader::Integer(const QJsonObject& parent, const QString& path, const char* key, int min, int max, int& out)
{
    qint64 value = 0;
    if (!Integer(parent, path, key, qint64(min), qint64(max), value))
        return false;
    out = int(value);
    return true;
}

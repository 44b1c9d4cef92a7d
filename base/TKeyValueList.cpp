#include "base/TKeyValueList.h"

#include <QStringList>

QString TKeyValueList::Value(const QString& key, const QString& defaultValue) const
{
    for (const Item& item : *this)
        if (item.first == key)
            return item.second;
    return defaultValue;
}

bool TKeyValueList::Contains(const QString& key) const
{
    for (const Item& item : *this)
        if (item.first == key)
            return true;
    return false;
}

void TKeyValueList::Set(const QString& key, const QString& value)
{
    for (Item& item : *this) {
        if (item.first == key) {
            item.second = value;
            return;
        }
    }
    Append(key, value);
}

QString TKeyValueList::ItemText(const QString& key, const QString& value)
{
    return QStringLiteral("Key:") + key + QStringLiteral(";Value:") + value;
}

QString TKeyValueList::ToText(const QString& separator) const
{
    QStringList parts;
    parts.reserve(size());
    for (const Item& item : *this)
        parts << item.first + QStringLiteral(": ") + item.second;
    return parts.join(separator);
}

void TKeyValueList::RegisterMetaType()
{
    static const int id = qRegisterMetaType<TKeyValueList>("TKeyValueList");
    Q_UNUSED(id)
}

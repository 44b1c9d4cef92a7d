#include "gui/pages/TLayoutParams.h"

#include <QRegularExpression>
#include <QSet>

#include "base/THexText.h"
#include "gui/TGuiItemList.h"
#include "sap/TFieldLayout.h"

namespace TLayoutParams {

QString Written(const QString& value, const char* type, bool hexDigits)
{
    static const QRegularExpression hexType(QStringLiteral("^U(8|16|24|32)h$"));
    const QRegularExpressionMatch match = hexType.match(QLatin1String(type));
    const QString text = value.trimmed();
    if (!match.hasMatch() || text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
        return value;
    if (hexDigits)
        return QStringLiteral("0x") + QString(text).remove(QLatin1Char(' '));
    bool ok = false;
    const qint64 number = text.toLongLong(&ok, 10);
    if (!ok)
        return value;   // the service says what is wrong with it
    const int bits = match.captured(1).toInt();
    // A check button box holds bit 31 of a mask in an int: the number's bits are what counts.
    return THexText::Prefixed(quint64(number) & ((quint64(1) << bits) - 1), bits / 4);
}

TKeyValueList FromRows(const TGuiItemList& rows, const TFieldLayoutEntry* layout, int optionalFields)
{
    const TKeyValueList values = rows.ReadTickedKeyValues();
    QSet<QString> hexDigits;
    for (int i = 0; i < rows.Count(); ++i) {
        const QString mask = TGuiItemList::Field(rows.Descriptor(i), QStringLiteral("Mask:"));
        if (mask.contains(QLatin1Char('H'), Qt::CaseInsensitive))
            hexDigits.insert(TGuiItemList::Field(rows.Descriptor(i), QStringLiteral("Key:")));
    }
    TKeyValueList params;
    int optional = 0;
    for (; layout && layout->name; ++layout) {
        const QString name = TFieldLayout::FieldName(layout->name);
        const bool isOptional = QLatin1String(layout->name).startsWith(QLatin1String("Optional:"));
        if (isOptional && optionalFields >= 0 && optional++ >= optionalFields)
            break;
        if (!values.Contains(name)) {
            if (isOptional)
                break;
            continue;   // set by the command itself (the MAC command's Service)
        }
        params.Append(name, Written(values.Value(name), layout->type, hexDigits.contains(name)));
    }
    return params;
}

}

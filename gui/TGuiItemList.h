#pragma once
#include <QList>
#include <QPointer>
#include <QStringList>
#include <QWidget>

#include "base/TKeyValueList.h"

class QBoxLayout;
class QFrame;

/// Builds rows of labels and editors from GUI item descriptors ("GuiName:..;GuiType:..;Key:..;Value:.."),
/// fills them from records and reads them back. The page owns the widgets through its layout; the
/// list only refers to them.
///
/// A field is found by the first ";"-separated part that contains the key anywhere, so "Value:" must
/// stand before "MinValue:"/"MaxValue:" in every descriptor. A "CheckBox" row is editable only with
/// the flag "Enabled"; without it the box only shows its value.
class TGuiItemList
{
public:
    static constexpr int kRowSpacingPx = 10;
    static constexpr int kLineSpacingPx = 2;
    static const QString kNotAvailable;   ///< "n.a."

    /// Looks `key` (e.g. "Value:") up in a descriptor; false when no field contains it.
    static bool ReadField(const QString& descriptor, const QString& key, QString* value);
    static QString Field(const QString& descriptor, const QString& key, const QString& defaultValue = QString());
    /// Integer with automatic base ("0x" hexadecimal, leading "0" octal); 0 when it does not parse.
    static int ToInt(const QString& text);
    /// Decimal integer; 0 when it does not parse.
    static int ToDecimal(const QString& text);
    /// A record value as a "LineEdit" row with these flags shows it ("HEX8/4/2", "F_n" with the scaler).
    static QString FormatValue(const QString& value, const QString& flags, const QString& scaler);

    /// One row per valid descriptor, added to `layout`; malformed descriptors and unknown types are skipped.
    void BuildItems(const QStringList& descriptors, QBoxLayout* layout, int labelWidth, int minEditorWidth,
                    bool separators = false);

    /// The editor of the row whose "Key:" equals `key`, or null.
    QWidget* FindItem(const QString& key) const;
    /// "Key:k;Value:v" per keyed row in order; a "Checkable" row is followed by ";State:checked"/";State:unchecked".
    QStringList ReadItems() const;
    /// The keyed rows that are not read-only, as (key, value) pairs: the parameters of a set command.
    TKeyValueList ReadKeyValues() const;
    /// Puts every "LineEdit" row to "n.a." (with `clearFirst`), then fills every keyed row found in `records`.
    void SetItems(const TKeyValueList& records, bool clearFirst = true);
    void ClearItems();

    int Count() const { return m_rows.size(); }
    QString Descriptor(int index) const { return m_rows.value(index).descriptor; }
    QWidget* Label(int index) const { return m_rows.value(index).label; }
    QWidget* Editor(int index) const { return m_rows.value(index).editor; }
    QList<QFrame*> Separators() const;

private:
    struct Row
    {
        QString descriptor;
        QString type;
        QString key;
        bool keyed = false;
        QString flags;
        QString scaler;
        QPointer<QWidget> label;
        QPointer<QWidget> editor;
    };

    static QWidget* CreateEditor(const QString& type, const QString& value, const QString& descriptor,
                                 const QString& flags);
    static QString EditorValue(const Row& row);
    static void SetEditorValue(const Row& row, const QString& value);
    static QFrame* CreateLine();
    static bool IsChecked(const Row& row);

    QList<Row> m_rows;
    QList<QPointer<QFrame>> m_separators;
};

#pragma once
#include <QDateTime>
#include <QList>
#include <QPointer>
#include <QStringList>
#include <QWidget>

#include "base/TKeyValueList.h"

class QBoxLayout;
class QFrame;
class QLabel;

/// Builds rows of labels and editors from GUI item descriptors ("GuiName:..;GuiType:..;Key:..;Value:.."),
/// fills them from records and reads them back. The page owns the widgets through its layout; the
/// list only refers to them.
///
/// A field is found by the first ";"-separated part that contains the key anywhere, so "Value:" must
/// stand before "MinValue:"/"MaxValue:" in every descriptor. A "CheckBox" row is editable only with
/// the flag "Enabled"; without it the box only shows its value.
///
/// Beyond the base format: a "LineEdit" may carry input rules ("Mask:", "MinValue:"/"MaxValue:",
/// "HexBytes:", "Format:", see TFieldCheck) whose problems show beside the field; "Unit:" puts the
/// unit after any editor; a "ComboBox" with the flag "IdList" holds "id:text" items and is filled and
/// read back by identifier; "Value:n.a." leaves a "ComboBox" with no item chosen. Every editor carries
/// its row's name as its accessible name. A group that was filled by a read knows when and from which
/// port, and can be marked stale (greyed, with that time) when its values may no longer be true.
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
    /// An unsigned 32-bit value above the int range keeps its bits (0xFFFFFFFF reads as -1).
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
    /// Only the rows whose key is in `keys` (a command that takes some of a group's rows).
    TKeyValueList ReadKeyValues(const QStringList& keys) const { return ReadKeyValues(keys, false); }
    /// As ReadKeyValues(), without the "Checkable" rows whose box is not ticked (fields left out).
    TKeyValueList ReadTickedKeyValues() const { return ReadKeyValues(QStringList(), true, true); }
    /// Puts every "LineEdit" row to "n.a." (a masked one to empty) with `clearFirst`, then fills every
    /// keyed row found in `records` (a masked one with a "0x" number without its prefix); rows that
    /// share a key take the record's values of that key in order.
    void SetItems(const TKeyValueList& records, bool clearFirst = true);
    void ClearItems();

    /// Checks every keyed row's input rule and shows each problem beside its field. False when a value
    /// is refused; `firstProblem` then reads "<row name> - <problem>" and `firstEditor` is its editor.
    /// With `keys`, only the rows of those keys are checked.
    bool Validate(QString* firstProblem = nullptr, QWidget** firstEditor = nullptr, const QStringList& keys = QStringList()) const;

    /// The values now shown came from the module on `port` at `when`: shown as current.
    void MarkRead(const QString& port, const QDateTime& when);
    /// Greys the values and says when and where they were read and why they may be wrong; a group that
    /// was never read has nothing to mark. The first reason stays until the next read.
    void MarkStale(const QString& why);
    bool IsStale() const { return m_stale; }
    QDateTime ReadTime() const { return m_readTime; }
    QString ReadFrom() const { return m_readFrom; }
    /// "Read at <date time> from <port> - out of date: <why>" while stale, else "".
    QString StaleText() const;
    /// A label that shows StaleText() while the group is stale (hidden otherwise).
    void SetStaleNote(QLabel* note);
    /// A widget that shows the group's values in another way (a table its reads fill) and is greyed
    /// with the rows while they are stale.
    void FollowStale(QWidget* widget);

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
        QString name;
        QString flags;
        QString scaler;
        bool ids = false;   ///< "ComboBox" with "IdList": items carry identifiers
        QPointer<QWidget> label;
        QPointer<QWidget> editor;
    };

    static QWidget* CreateEditor(const QString& type, const QString& value, const QString& descriptor,
                                 const QString& flags);
    /// Gives the editor (and the controls inside it) the row's name as accessible name.
    static void NameEditor(QWidget* editor, QWidget* label, const QString& name);
    static QString EditorValue(const Row& row);
    static void SetEditorValue(const Row& row, const QString& value);
    static QFrame* CreateLine();
    TKeyValueList ReadKeyValues(const QStringList& keys, bool all, bool tickedOnly = false) const;
    static bool IsChecked(const Row& row);

    void ShowStale();

    QList<Row> m_rows;
    QList<QPointer<QFrame>> m_separators;
    QDateTime m_readTime;
    QString m_readFrom;
    QString m_staleWhy;
    bool m_stale = false;
    QPointer<QLabel> m_staleNote;
    QList<QPointer<QWidget>> m_followers;
};

#pragma once
#include <QObject>
#include <QPointer>
#include <QStringList>

class QLabel;
class QWidget;

/// The input rules of one editor and the label beside it that says why a value is refused. It lives
/// as a child of the editor, so the rule goes wherever the editor goes.
///
/// Rules of a "LineEdit" come from its descriptor: "Mask:" (an input mask; every position must be
/// filled), "MinValue:"/"MaxValue:" (a whole number, decimal or "0x" hexadecimal, in that range;
/// a bound written with a decimal point, "137.0", makes it a decimal number such as "868.1"),
/// "HexBytes:" ("16", or "0-51": that many bytes of hex digits, blanks allowed between them) and
/// "Format:" (date/time formats separated by "|", e.g. "hh:mm:ss"). A "ComboBox" must have an item
/// chosen, a "SpinBox" must hold a value inside its range. A masked field with a "HexBytes:" rule
/// says how many bytes it holds rather than that it is incomplete; "HexBytes:0-n" takes an empty field.
class TFieldCheck : public QObject
{
    Q_OBJECT
public:
    /// The check of `editor`, made when its type or descriptor asks for one; null otherwise.
    static TFieldCheck* Attach(QWidget* editor, const QString& type, const QString& descriptor);
    static TFieldCheck* Of(const QWidget* editor);

    /// Why the editor's current value cannot be sent; "" when it can.
    QString Problem() const;
    /// Why `text` would be refused by the rules of a "LineEdit" other than its mask ("" when it is fine).
    QString TextProblem(const QString& text) const;
    /// Changes the "HexBytes:" rule (a limit that depends on the module, e.g. the payload a data
    /// rate carries); the field shows its problem under the new rule unless it is empty.
    void SetHexBytes(int minimum, int maximum);
    /// Shows the current problem beside the field (or hides the label); returns it.
    QString Show();
    /// Show(), except that a field holding no value yet ("n.a.", empty, no item) stays quiet.
    void ShowUnlessEmpty();
    void SetReasonLabel(QLabel* label);
    QLabel* ReasonLabel() const;

private:
    explicit TFieldCheck(QWidget* editor);
    QString RangeText() const;
    void Display(const QString& problem);

    QWidget* m_editor;
    QPointer<QLabel> m_reason;
    bool m_ranged = false;
    bool m_decimal = false;   ///< the range takes decimal numbers ("868.1")
    qint64 m_minimum = 0;
    qint64 m_maximum = 0;
    double m_minimumReal = 0;
    double m_maximumReal = 0;
    QString m_minimumText;
    QString m_maximumText;
    int m_hexMinimum = -1;   ///< -1: no "HexBytes:" rule
    int m_hexMaximum = -1;
    QStringList m_formats;
    bool m_masked = false;
};

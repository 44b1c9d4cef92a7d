#include "gui/TFieldCheck.h"

#include <QComboBox>
#include <QDateTime>
#include <QLabel>
#include <QLineEdit>

#include "gui/TGuiItemList.h"
#include "gui/TSpinControl.h"
#include "gui/TStyleProperty.h"
#include "sap/TFieldLayout.h"

namespace {
/// "0x1F" hexadecimal, otherwise decimal with an optional sign; the way people type numbers.
bool ParseNumber(const QString& text, qint64& value)
{
    const QString t = text.trimmed();
    bool ok = false;
    if (t.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
        value = t.mid(2).toLongLong(&ok, 16);
    else
        value = t.toLongLong(&ok, 10);
    return ok;
}

/// A decimal number written with a point ("868.1"), whatever the locale.
bool ParseDecimal(const QString& text, double& value)
{
    bool ok = false;
    value = text.trimmed().toDouble(&ok);
    return ok;
}

bool Absent(const QString& text)
{
    return text.trimmed().isEmpty() || text == TGuiItemList::kNotAvailable;
}
}

TFieldCheck::TFieldCheck(QWidget* editor)
    : QObject(editor)
    , m_editor(editor)
{
    setObjectName(QStringLiteral("FieldCheck"));
}

TFieldCheck* TFieldCheck::Of(const QWidget* editor)
{
    return editor ? editor->findChild<TFieldCheck*>(QStringLiteral("FieldCheck"), Qt::FindDirectChildrenOnly) : nullptr;
}

TFieldCheck* TFieldCheck::Attach(QWidget* editor, const QString& type, const QString& descriptor)
{
    if (qobject_cast<QComboBox*>(editor) || qobject_cast<TSpinControl*>(editor))
        return new TFieldCheck(editor);
    auto* edit = qobject_cast<QLineEdit*>(editor);
    if (!edit || type != QLatin1String("LineEdit") || edit->isReadOnly())
        return nullptr;

    QString mask, minimum, maximum, hex, formats;
    const bool masked = TGuiItemList::ReadField(descriptor, QStringLiteral("Mask:"), &mask) && !mask.isEmpty();
    const bool hasMinimum = TGuiItemList::ReadField(descriptor, QStringLiteral("MinValue:"), &minimum);
    const bool hasMaximum = TGuiItemList::ReadField(descriptor, QStringLiteral("MaxValue:"), &maximum);
    const bool hexed = TGuiItemList::ReadField(descriptor, QStringLiteral("HexBytes:"), &hex);
    const bool formatted = TGuiItemList::ReadField(descriptor, QStringLiteral("Format:"), &formats) && !formats.isEmpty();
    if (!masked && !hasMinimum && !hasMaximum && !hexed && !formatted)
        return nullptr;

    auto* check = new TFieldCheck(editor);
    if (masked) {
        edit->setInputMask(mask);
        check->m_masked = true;
    }
    if (hasMinimum || hasMaximum) {
        check->m_ranged = true;
        check->m_minimumText = minimum.trimmed();
        check->m_maximumText = maximum.trimmed();
        if (!ParseNumber(minimum, check->m_minimum))
            check->m_minimum = 0;
        if (!ParseNumber(maximum, check->m_maximum))
            check->m_maximum = 0;
        check->m_decimal = minimum.contains(QLatin1Char('.')) || maximum.contains(QLatin1Char('.'));
        if (check->m_decimal) {
            if (!ParseDecimal(minimum, check->m_minimumReal))
                check->m_minimumReal = 0;
            if (!ParseDecimal(maximum, check->m_maximumReal))
                check->m_maximumReal = 0;
        }
    }
    if (hexed) {
        const QStringList bounds = hex.split(QLatin1Char('-'));
        check->m_hexMinimum = qMax(0, bounds.first().trimmed().toInt());
        check->m_hexMaximum = qMax(check->m_hexMinimum, bounds.last().trimmed().toInt());
    }
    if (formatted)
        check->m_formats = formats.split(QLatin1Char('|'));
    QObject::connect(edit, &QLineEdit::textEdited, check, &TFieldCheck::Show);
    return check;
}

QString TFieldCheck::RangeText() const
{
    return QStringLiteral("%1 to %2").arg(m_minimumText.isEmpty() ? QStringLiteral("0") : m_minimumText,
                                          m_maximumText.isEmpty() ? QStringLiteral("0") : m_maximumText);
}

QString TFieldCheck::TextProblem(const QString& text) const
{
    if (m_hexMinimum == 0 && text.trimmed().isEmpty() && !m_ranged && m_formats.isEmpty())
        return QString();   // "HexBytes:0-n": no bytes at all is a value (an empty message)
    if (Absent(text)) {
        if (m_ranged)
            return QStringLiteral("enter a number from %1").arg(RangeText());
        if (m_hexMinimum >= 0)
            return m_hexMinimum == m_hexMaximum ? QStringLiteral("enter %1 hex bytes").arg(m_hexMinimum)
                                                : QStringLiteral("enter %1 to %2 hex bytes").arg(m_hexMinimum).arg(m_hexMaximum);
        if (!m_formats.isEmpty())
            return QStringLiteral("enter a value as %1").arg(m_formats.join(QStringLiteral(" or ")));
        return QStringLiteral("enter a value");
    }
    if (m_ranged) {
        qint64 value = 0;
        double real = 0;
        if (m_decimal ? !ParseDecimal(text, real) : !ParseNumber(text, value))
            return QStringLiteral("not a number: enter %1").arg(RangeText());
        if (m_decimal ? real < m_minimumReal || real > m_maximumReal : value < m_minimum || value > m_maximum)
            return QStringLiteral("%1 is outside %2").arg(text.trimmed(), RangeText());
    }
    if (m_hexMinimum >= 0) {
        QByteArray bytes;
        if (!TFieldLayout::ParseHexBytes(text, bytes))
            return QStringLiteral("not hex bytes: write them like 01 A2 FF");
        if (bytes.size() < m_hexMinimum || bytes.size() > m_hexMaximum) {
            const QString wanted = m_hexMinimum == m_hexMaximum ? QString::number(m_hexMinimum)
                                                                : QStringLiteral("%1 to %2").arg(m_hexMinimum).arg(m_hexMaximum);
            return QStringLiteral("%1 hex bytes needed, %2 given").arg(wanted).arg(bytes.size());
        }
    }
    if (!m_formats.isEmpty()) {
        bool matched = false;
        for (const QString& format : m_formats) {
            const QString t = text.trimmed();
            const bool hasDate = format.contains(QLatin1Char('y')) || format.contains(QLatin1Char('d'));
            matched = hasDate ? QDateTime::fromString(t, format).isValid() : QTime::fromString(t, format).isValid();
            if (matched)
                break;
        }
        if (!matched)
            return QStringLiteral("not in the form %1").arg(m_formats.join(QStringLiteral(" or ")));
    }
    return QString();
}

QString TFieldCheck::Problem() const
{
    if (auto* edit = qobject_cast<const QLineEdit*>(m_editor)) {
        if (m_masked && !edit->hasAcceptableInput()) {
            const QString hexProblem = m_hexMinimum >= 0 ? TextProblem(edit->text()) : QString();
            return hexProblem.isEmpty() ? QStringLiteral("incomplete: fill in every position") : hexProblem;
        }
        return TextProblem(edit->text());
    }
    if (auto* combo = qobject_cast<const QComboBox*>(m_editor))
        return combo->currentIndex() < 0 ? QStringLiteral("choose a value") : QString();
    if (auto* spin = qobject_cast<const TSpinControl*>(m_editor)) {
        if (spin->Value() < spin->Minimum() || spin->Value() > spin->Maximum())
            return QStringLiteral("%1 is outside %2 to %3").arg(spin->Value()).arg(spin->Minimum()).arg(spin->Maximum());
    }
    return QString();
}

void TFieldCheck::SetHexBytes(int minimum, int maximum)
{
    m_hexMinimum = qMax(0, minimum);
    m_hexMaximum = qMax(m_hexMinimum, maximum);
    ShowUnlessEmpty();
}

QString TFieldCheck::Show()
{
    const QString problem = Problem();
    Display(problem);
    return problem;
}

void TFieldCheck::Display(const QString& problem)
{
    TStyleProperty::Set(m_editor, "invalid", !problem.isEmpty());
    if (m_reason) {
        m_reason->setText(problem);
        m_reason->setVisible(!problem.isEmpty());
    }
}

void TFieldCheck::ShowUnlessEmpty()
{
    const auto* edit = qobject_cast<const QLineEdit*>(m_editor);
    const auto* combo = qobject_cast<const QComboBox*>(m_editor);
    const bool empty = (edit && Absent(edit->text())) || (combo && combo->currentIndex() < 0);
    Display(empty ? QString() : Problem());
}

void TFieldCheck::SetReasonLabel(QLabel* label)
{
    m_reason = label;
}

QLabel* TFieldCheck::ReasonLabel() const
{
    return m_reason;
}

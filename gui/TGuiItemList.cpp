#include "gui/TGuiItemList.h"

#include <QBoxLayout>
#include <QCheckBox>
#include <QComboBox>
#include <QFrame>
#include <QHash>
#include <QLabel>
#include <QLineEdit>
#include <QRegularExpression>

#include "gui/TCheckButtonBox.h"
#include "gui/TFieldCheck.h"
#include "gui/TRadioButtonBox.h"
#include "gui/TSlider.h"
#include "gui/TSpinControl.h"
#include "gui/TStyleProperty.h"
#include "settings/TSettings.h"

const QString TGuiItemList::kNotAvailable = QStringLiteral("n.a.");

namespace {
const QString kLabel = QStringLiteral("Label");
const QString kLineEdit = QStringLiteral("LineEdit");
const QString kComboBox = QStringLiteral("ComboBox");
const QString kSpinBox = QStringLiteral("SpinBox");
const QString kSlider = QStringLiteral("TSlider");
const QString kCheckBox = QStringLiteral("CheckBox");
const QString kRadioButtonBox = QStringLiteral("RadioButtonBox");
const QString kCheckButtonBox = QStringLiteral("CheckButtonBox");
const QString kLine = QStringLiteral("Line");

bool IsKnownType(const QString& type)
{
    static const QStringList types = {kLabel,    kLineEdit,       kComboBox,       kSpinBox, kSlider,
                                      kCheckBox, kRadioButtonBox, kCheckButtonBox, kLine};
    return types.contains(type);
}

Qt::Orientation BoxOrientation(const QString& flags)
{
    return flags.contains(QLatin1String("Horizontal")) ? Qt::Horizontal : Qt::Vertical;
}

/// A row's label (plain or check box): `width` wide, or wider when its text needs it (whatever font
/// the theme gives it), so that a long name widens its row rather than being cut off.
template <class Base>
class TRowLabel : public Base
{
public:
    TRowLabel(const QString& text, int width) : Base(text), m_width(width) {}
    QSize sizeHint() const override { return Wider(Base::sizeHint()); }
    QSize minimumSizeHint() const override { return Wider(Base::minimumSizeHint()); }

private:
    QSize Wider(QSize size) const { return QSize(qMax(size.width(), m_width), size.height()); }
    int m_width;
};

/// Selects the item that `value` names (its identifier with "IdList", else its text). "n.a." chooses
/// none; an identifier the list does not know chooses none and says so in the empty box.
void SelectComboValue(QComboBox* combo, const QString& value, bool ids)
{
    if (value == TGuiItemList::kNotAvailable) {
        combo->setCurrentIndex(-1);
        combo->setPlaceholderText(TGuiItemList::kNotAvailable);
        return;
    }
    if (!ids) {
        const int index = combo->findText(value, Qt::MatchExactly | Qt::MatchCaseSensitive);
        if (index >= 0)
            combo->setCurrentIndex(index);
        return;
    }
    bool ok = false;
    const int id = value.trimmed().toInt(&ok, 0);
    const int index = ok ? combo->findData(id) : -1;
    combo->setCurrentIndex(index);
    if (index < 0)
        combo->setPlaceholderText(QStringLiteral("unknown: %1").arg(value));
}

/// Sets a style property on a widget and the widgets inside it, so that the theme restyles them.
void SetStyleProperty(QWidget* widget, const char* name, bool on)
{
    if (!widget)
        return;
    QList<QWidget*> widgets = widget->findChildren<QWidget*>();
    widgets.prepend(widget);
    for (QWidget* w : qAsConst(widgets))
        TStyleProperty::Set(w, name, on);
}

int HexDigits(const QString& flags)
{
    if (flags.contains(QLatin1String("HEX8")))
        return 8;
    if (flags.contains(QLatin1String("HEX4")))
        return 4;
    if (flags.contains(QLatin1String("HEX2")))
        return 2;
    return 0;
}
}

bool TGuiItemList::ReadField(const QString& descriptor, const QString& key, QString* value)
{
    const QStringList fields = descriptor.split(QLatin1Char(';'));
    for (const QString& field : fields) {
        const int at = field.indexOf(key);
        if (at < 0)
            continue;
        if (value)
            *value = field.mid(at + key.size());
        return true;
    }
    return false;
}

QString TGuiItemList::Field(const QString& descriptor, const QString& key, const QString& defaultValue)
{
    QString value;
    return ReadField(descriptor, key, &value) ? value : defaultValue;
}

int TGuiItemList::ToInt(const QString& text)
{
    bool ok = false;
    const int value = text.trimmed().toInt(&ok, 0);
    if (ok)
        return value;
    // A 32-bit mask such as 0x80000001 keeps its bits (a check button box holds them in an int).
    const uint bits = text.trimmed().toUInt(&ok, 0);
    return ok ? int(bits) : 0;
}

int TGuiItemList::ToDecimal(const QString& text)
{
    bool ok = false;
    const int value = text.trimmed().toInt(&ok, 10);
    return ok ? value : 0;
}

QString TGuiItemList::FormatValue(const QString& value, const QString& flags, const QString& scaler)
{
    if (const int digits = HexDigits(flags)) {
        bool ok = false;
        qint64 number = value.trimmed().toLongLong(&ok, 0);
        if (!ok)
            number = qint64(value.trimmed().toULongLong(&ok, 0));
        if (!ok)
            return value;
        quint64 bits = quint64(number);
        if (number < 0)
            bits &= (quint64(1) << (4 * digits)) - 1;   // a negative value shows in the field's width
        return QStringLiteral("0x") + QStringLiteral("%1").arg(bits, digits, 16, QLatin1Char('0'));
    }
    const int f = flags.indexOf(QLatin1String("F_"));
    if (f >= 0) {
        const QChar digit = f + 2 < flags.size() ? flags.at(f + 2) : QChar();
        const int decimals = digit.isDigit() ? digit.digitValue() : 1;
        bool ok = false;
        const double number = value.trimmed().toDouble(&ok);
        if (!ok)
            return value;
        double factor = 1.0;
        if (!scaler.isNull()) {
            bool scalerOk = false;
            factor = scaler.trimmed().toDouble(&scalerOk);
            if (!scalerOk)
                factor = 0.0;
        }
        return QString::number(number * factor, 'f', decimals);
    }
    return value;
}

void TGuiItemList::BuildItems(const QStringList& descriptors, QBoxLayout* layout, int labelWidth, int minEditorWidth,
                              bool separators)
{
    if (!layout)
        return;
    for (int i = 0; i < descriptors.size(); ++i) {
        const QString& descriptor = descriptors.at(i);
        QString name;
        QString type;
        if (!ReadField(descriptor, QStringLiteral("GuiName:"), &name) || !ReadField(descriptor, QStringLiteral("GuiType:"), &type))
            continue;
        if (!IsKnownType(type))
            continue;
        QString value;
        if (!ReadField(descriptor, QStringLiteral("Value:"), &value)) {
            if (type == kLineEdit)
                value = kNotAvailable;
            else if (type != kLine)
                continue;
        }

        Row row;
        row.descriptor = descriptor;
        row.type = type;
        row.keyed = ReadField(descriptor, QStringLiteral("Key:"), &row.key);
        row.name = name;
        row.flags = Field(descriptor, QStringLiteral("GuiFlags:"));
        row.ids = type == kComboBox && row.flags.contains(QLatin1String("IdList"));
        ReadField(descriptor, QStringLiteral("Scaler:"), &row.scaler);

        if (type == kLine) {
            layout->addSpacing(kLineSpacingPx);
            QFrame* line = CreateLine();
            layout->addWidget(line);
            row.editor = line;
            m_rows.append(row);
            continue;
        }

        auto* rowLayout = new QHBoxLayout;
        rowLayout->setSpacing(kRowSpacingPx);
        QWidget* label = row.flags.contains(QLatin1String("Checkable")) ? static_cast<QWidget*>(new TRowLabel<QCheckBox>(name, labelWidth))
                                                                         : static_cast<QWidget*>(new TRowLabel<QLabel>(name, labelWidth));
        label->setSizePolicy(QSizePolicy::Fixed, label->sizePolicy().verticalPolicy());
        rowLayout->addWidget(label);

        QWidget* editor = CreateEditor(type, value, descriptor, row.flags);
        int minimumWidth = minEditorWidth;
        if (auto* slider = qobject_cast<TSlider*>(editor))
            minimumWidth += slider->ExtraWidth();
        editor->setMinimumWidth(minimumWidth);
        rowLayout->addWidget(editor);
        NameEditor(editor, label, name);
        QString unit;
        if (type != kSlider && ReadField(descriptor, QStringLiteral("Unit:"), &unit) && !unit.isEmpty()) {
            auto* unitLabel = new QLabel(unit);
            unitLabel->setObjectName(QStringLiteral("FieldUnit"));
            rowLayout->addWidget(unitLabel);
            editor->setAccessibleDescription(unit);
        }
        layout->addLayout(rowLayout);
        if (TFieldCheck* check = TFieldCheck::Attach(editor, type, descriptor)) {
            auto* reason = new QLabel;
            reason->setObjectName(QStringLiteral("FieldReason"));
            reason->setWordWrap(true);
            reason->hide();
            check->SetReasonLabel(reason);
            auto* reasonRow = new QHBoxLayout;
            reasonRow->setSpacing(kRowSpacingPx);
            reasonRow->addSpacing(labelWidth + kRowSpacingPx);
            reasonRow->addWidget(reason, 1);
            layout->addLayout(reasonRow);
        }
        row.label = label;
        row.editor = editor;
        m_rows.append(row);

        if (separators && i < descriptors.size() - 1) {
            QFrame* separator = CreateLine();
            layout->addWidget(separator);
            m_separators.append(separator);
        }
    }
}

QWidget* TGuiItemList::CreateEditor(const QString& type, const QString& value, const QString& descriptor,
                                    const QString& flags)
{
    if (type == kLabel)
        return new QLabel(value);
    if (type == kLineEdit) {
        auto* edit = new QLineEdit(value);
        edit->setReadOnly(flags.contains(QLatin1String("RO")));
        return edit;
    }
    if (type == kComboBox) {
        auto* combo = new QComboBox;
        const QString items = Field(descriptor, QStringLiteral("ValueList:"));
        const bool ids = flags.contains(QLatin1String("IdList"));
        if (ids) {
            for (const TButtonBox::Item& item : TButtonBox::ParseItems(items))
                combo->addItem(item.second.trimmed(), item.first);
        } else if (!items.isEmpty()) {
            combo->addItems(items.split(QLatin1Char(',')));
        }
        SelectComboValue(combo, value, ids);
        return combo;
    }
    const int minimum = ToInt(Field(descriptor, QStringLiteral("MinValue:")));
    const int maximum = ToInt(Field(descriptor, QStringLiteral("MaxValue:")));
    if (type == kSpinBox)
        return new TSpinControl(minimum, maximum, ToInt(value));
    if (type == kSlider) {
        QString extra;
        const int extraWidth = ReadField(descriptor, QStringLiteral("SliderExtraWidth:"), &extra)
                                   ? ToDecimal(extra)
                                   : TSlider::kDefaultExtraWidthPx;
        return new TSlider(minimum, maximum, ToInt(value), Field(descriptor, QStringLiteral("Unit:")), extraWidth);
    }
    if (type == kCheckBox) {
        auto* box = new QCheckBox;
        box->setChecked(ToDecimal(value) != 0);
        box->setEnabled(flags.contains(QLatin1String("Enabled")));
        return box;
    }
    const QList<TButtonBox::Item> items = TButtonBox::ParseItems(Field(descriptor, QStringLiteral("ValueList:")));
    if (type == kRadioButtonBox) {
        auto* box = new TRadioButtonBox(items, BoxOrientation(flags));
        box->SetValue(ToInt(value));
        return box;
    }
    auto* box = new TCheckButtonBox(items, BoxOrientation(flags));
    box->SetValue(ToInt(value));
    return box;
}

void TGuiItemList::NameEditor(QWidget* editor, QWidget* label, const QString& name)
{
    editor->setAccessibleName(name);
    QWidget* focus = editor;
    if (auto* slider = qobject_cast<TSlider*>(editor)) {
        slider->Slider()->setAccessibleName(name);
        focus = slider->Slider();
    }
    if (auto* text = qobject_cast<QLabel*>(label))
        text->setBuddy(focus);
}

QFrame* TGuiItemList::CreateLine()
{
    auto* line = new QFrame;
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);
    return line;
}

QString TGuiItemList::EditorValue(const Row& row)
{
    QWidget* editor = row.editor;
    if (auto* label = qobject_cast<QLabel*>(editor))
        return label->text();
    if (auto* edit = qobject_cast<QLineEdit*>(editor))
        return edit->text();
    if (auto* combo = qobject_cast<QComboBox*>(editor)) {
        if (combo->currentIndex() < 0)
            return kNotAvailable;
        return row.ids ? QString::number(combo->currentData().toInt()) : combo->currentText();
    }
    if (auto* spin = qobject_cast<TSpinControl*>(editor))
        return QString::number(spin->Value());
    if (auto* slider = qobject_cast<TSlider*>(editor))
        return QString::number(slider->Value());
    if (auto* box = qobject_cast<QCheckBox*>(editor))
        return box->isChecked() ? QStringLiteral("1") : QStringLiteral("0");
    if (auto* radio = qobject_cast<TRadioButtonBox*>(editor))
        return QString::number(radio->Value());
    if (auto* check = qobject_cast<TCheckButtonBox*>(editor))
        return QString::number(check->Value());
    return QString();
}

void TGuiItemList::SetEditorValue(const Row& row, const QString& value)
{
    QWidget* editor = row.editor;
    if (auto* label = qobject_cast<QLabel*>(editor))
        label->setText(value);
    else if (auto* edit = qobject_cast<QLineEdit*>(editor)) {
        QString text = FormatValue(value, row.flags, row.scaler);
        // A mask of hex digits takes "0x1F2E3D4C" without its prefix, which it has no place for;
        // a mask that writes the "0x" itself (\0\x...) takes it whole.
        static const QRegularExpression prefixedHex(QStringLiteral("^0[xX][0-9A-Fa-f]+$"));
        const QString mask = edit->inputMask();
        const bool maskHasPrefix = mask.startsWith(QLatin1String("\\0\\x"), Qt::CaseInsensitive);
        if (!mask.isEmpty() && !maskHasPrefix && prefixedHex.match(text.trimmed()).hasMatch())
            text = text.trimmed().mid(2);
        edit->setText(text);
        edit->setCursorPosition(0);   // a value longer than the field shows its beginning
    }
    else if (auto* combo = qobject_cast<QComboBox*>(editor))
        SelectComboValue(combo, value, row.ids);
    else if (auto* spin = qobject_cast<TSpinControl*>(editor))
        spin->SetValue(ToInt(value));
    else if (auto* slider = qobject_cast<TSlider*>(editor))
        slider->SetValue(ToInt(value));
    else if (auto* box = qobject_cast<QCheckBox*>(editor))
        box->setChecked(ToDecimal(value) != 0);
    else if (auto* radio = qobject_cast<TRadioButtonBox*>(editor))
        radio->SetValue(ToInt(value));
    else if (auto* check = qobject_cast<TCheckButtonBox*>(editor))
        check->SetValue(ToInt(value));
}

bool TGuiItemList::IsChecked(const Row& row)
{
    auto* box = qobject_cast<QCheckBox*>(row.label.data());
    return box && box->isChecked();
}

QWidget* TGuiItemList::FindItem(const QString& key) const
{
    for (const Row& row : m_rows) {
        if (row.keyed && row.key == key)
            return row.editor;
    }
    return nullptr;
}

QStringList TGuiItemList::ReadItems() const
{
    QStringList items;
    for (const Row& row : m_rows) {
        if (!row.keyed || row.type == kLine || !row.editor)
            continue;
        items.append(TKeyValueList::ItemText(row.key, EditorValue(row)));
        if (row.flags.contains(QLatin1String("Checkable")))
            items.append(IsChecked(row) ? QStringLiteral(";State:checked") : QStringLiteral(";State:unchecked"));
    }
    return items;
}

TKeyValueList TGuiItemList::ReadKeyValues() const
{
    return ReadKeyValues(QStringList(), true);
}

TKeyValueList TGuiItemList::ReadKeyValues(const QStringList& keys, bool all, bool tickedOnly) const
{
    TKeyValueList values;
    for (const Row& row : m_rows) {
        if (tickedOnly && row.flags.contains(QLatin1String("Checkable")) && !IsChecked(row))
            continue;
        // Read-only rows show results and commands refuse names they do not take; a reserved field
        // is the exception: it goes back as it was read.
        const bool sent = !row.flags.contains(QLatin1String("RO")) || row.key == QLatin1String("Reserved");
        if (row.keyed && row.type != kLine && row.editor && sent && (all || keys.contains(row.key)))
            values.Append(row.key, EditorValue(row));
    }
    return values;
}

void TGuiItemList::SetItems(const TKeyValueList& records, bool clearFirst)
{
    if (clearFirst)
        ClearItems();
    // Rows that share a key (reserved bytes) take the record's values of that key in order.
    QHash<QString, int> taken;
    for (const Row& row : m_rows) {
        if (row.keyed && row.type != kLine && row.editor && records.Contains(row.key)) {
            const int occurrence = taken[row.key]++;
            QString value = records.Value(row.key);
            for (int i = 0, seen = 0; i < records.size(); ++i)
                if (records.at(i).first == row.key && seen++ == occurrence)
                    value = records.at(i).second;
            SetEditorValue(row, value);
            // A value the module reports that its rule would refuse is pointed out at once.
            if (TFieldCheck* check = TFieldCheck::Of(row.editor))
                check->ShowUnlessEmpty();
        }
    }
}

void TGuiItemList::ClearItems()
{
    for (const Row& row : m_rows) {
        // A masked field cannot hold "n.a."; it shows its empty mask instead.
        if (auto* edit = qobject_cast<QLineEdit*>(row.editor.data()))
            edit->setText(edit->inputMask().isEmpty() ? kNotAvailable : QString());
    }
}

QList<QFrame*> TGuiItemList::Separators() const
{
    QList<QFrame*> lines;
    for (const QPointer<QFrame>& line : m_separators) {
        if (line)
            lines.append(line);
    }
    return lines;
}

bool TGuiItemList::Validate(QString* firstProblem, QWidget** firstEditor, const QStringList& keys) const
{
    bool valid = true;
    for (const Row& row : m_rows) {
        TFieldCheck* check = row.keyed && (keys.isEmpty() || keys.contains(row.key)) ? TFieldCheck::Of(row.editor) : nullptr;
        if (!check)
            continue;
        if (row.flags.contains(QLatin1String("Checkable")) && !IsChecked(row))
            continue;   // an optional value that is not asked for is not sent
        const QString problem = check->Show();
        if (problem.isEmpty() || !valid)
            continue;
        valid = false;
        if (firstProblem)
            *firstProblem = row.name + QStringLiteral(" - ") + problem;
        if (firstEditor)
            *firstEditor = row.editor;
    }
    return valid;
}

void TGuiItemList::MarkRead(const QString& port, const QDateTime& when)
{
    m_readTime = when;
    m_readFrom = port;
    m_stale = false;
    m_staleWhy.clear();
    ShowStale();
}

void TGuiItemList::MarkStale(const QString& why)
{
    if (!m_readTime.isValid() || m_stale)
        return;
    m_stale = true;
    m_staleWhy = why;
    ShowStale();
}

QString TGuiItemList::StaleText() const
{
    if (!m_stale)
        return QString();
    const QString when = m_readTime.toString(TSettings::Instance().DateFormat() + QStringLiteral(" hh:mm:ss"));
    return QStringLiteral("Read at %1 from %2 - out of date: %3").arg(when, m_readFrom, m_staleWhy);
}

void TGuiItemList::FollowStale(QWidget* widget)
{
    m_followers.append(widget);
    ShowStale();
}

void TGuiItemList::SetStaleNote(QLabel* note)
{
    m_staleNote = note;
    ShowStale();
}

void TGuiItemList::ShowStale()
{
    const QString text = StaleText();
    for (const Row& row : qAsConst(m_rows)) {
        if (row.type == kLine)
            continue;
        SetStyleProperty(row.label, "stale", m_stale);
        SetStyleProperty(row.editor, "stale", m_stale);
        if (row.editor)
            row.editor->setToolTip(text);
    }
    for (const QPointer<QWidget>& widget : qAsConst(m_followers)) {
        SetStyleProperty(widget, "stale", m_stale);
        if (widget)
            widget->setToolTip(text);
    }
    if (m_staleNote) {
        m_staleNote->setText(text);
        m_staleNote->setVisible(m_stale);
    }
}

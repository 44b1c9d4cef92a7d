#include "gui/TGuiItemList.h"

#include <QBoxLayout>
#include <QCheckBox>
#include <QComboBox>
#include <QFrame>
#include <QLabel>
#include <QLineEdit>

#include "gui/TCheckButtonBox.h"
#include "gui/TRadioButtonBox.h"
#include "gui/TSlider.h"
#include "gui/TSpinControl.h"

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
    return ok ? value : 0;
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
        row.flags = Field(descriptor, QStringLiteral("GuiFlags:"));
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
        QWidget* label = row.flags.contains(QLatin1String("Checkable")) ? static_cast<QWidget*>(new QCheckBox(name))
                                                                         : static_cast<QWidget*>(new QLabel(name));
        label->setSizePolicy(QSizePolicy::Fixed, label->sizePolicy().verticalPolicy());
        label->setFixedWidth(labelWidth);
        rowLayout->addWidget(label);

        QWidget* editor = CreateEditor(type, value, descriptor, row.flags);
        int minimumWidth = minEditorWidth;
        if (auto* slider = qobject_cast<TSlider*>(editor))
            minimumWidth += slider->ExtraWidth();
        editor->setMinimumWidth(minimumWidth);
        rowLayout->addWidget(editor);
        layout->addLayout(rowLayout);
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
        if (!items.isEmpty())
            combo->addItems(items.split(QLatin1Char(',')));
        const int index = combo->findText(value, Qt::MatchExactly | Qt::MatchCaseSensitive);
        if (index >= 0)
            combo->setCurrentIndex(index);
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
    if (auto* combo = qobject_cast<QComboBox*>(editor))
        return combo->currentText();
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
    else if (auto* edit = qobject_cast<QLineEdit*>(editor))
        edit->setText(FormatValue(value, row.flags, row.scaler));
    else if (auto* combo = qobject_cast<QComboBox*>(editor)) {
        const int index = combo->findText(value, Qt::MatchExactly | Qt::MatchCaseSensitive);
        if (index >= 0)
            combo->setCurrentIndex(index);
    } else if (auto* spin = qobject_cast<TSpinControl*>(editor))
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
    TKeyValueList values;
    for (const Row& row : m_rows) {
        // Read-only rows show results; commands refuse names they do not take.
        if (row.keyed && row.type != kLine && row.editor && !row.flags.contains(QLatin1String("RO")))
            values.Append(row.key, EditorValue(row));
    }
    return values;
}

void TGuiItemList::SetItems(const TKeyValueList& records, bool clearFirst)
{
    if (clearFirst)
        ClearItems();
    for (const Row& row : m_rows) {
        if (row.keyed && row.type != kLine && row.editor && records.Contains(row.key))
            SetEditorValue(row, records.Value(row.key));
    }
}

void TGuiItemList::ClearItems()
{
    for (const Row& row : m_rows) {
        if (auto* edit = qobject_cast<QLineEdit*>(row.editor.data()))
            edit->setText(kNotAvailable);
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

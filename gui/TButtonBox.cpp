#include "gui/TButtonBox.h"

#include <QBoxLayout>
#include <QButtonGroup>
#include <QCheckBox>
#include <QRadioButton>

QList<TButtonBox::Item> TButtonBox::ParseItems(const QString& valueList)
{
    QList<Item> items;
    if (valueList.isEmpty())
        return items;
    const QStringList texts = valueList.split(QLatin1Char(','));
    for (int i = 0; i < texts.size(); ++i) {
        const QString& text = texts.at(i);
        const int colon = text.indexOf(QLatin1Char(':'));
        if (colon < 0) {
            items.append(Item(i, text));
            continue;
        }
        bool ok = false;
        const int id = text.left(colon).trimmed().toInt(&ok, 10);
        items.append(Item(ok ? id : 0, text.mid(colon + 1)));
    }
    return items;
}

TButtonBox::TButtonBox(const QList<Item>& items, Qt::Orientation orientation, bool exclusive, QWidget* parent)
    : QWidget(parent)
    , m_group(new QButtonGroup(this))
    , m_orientation(orientation)
{
    m_group->setExclusive(exclusive);
    auto* layout = new QBoxLayout(orientation == Qt::Horizontal ? QBoxLayout::LeftToRight : QBoxLayout::TopToBottom, this);
    layout->setContentsMargins(0, 0, 0, 0);
    for (const Item& item : items) {
        QAbstractButton* button = exclusive ? static_cast<QAbstractButton*>(new QRadioButton(item.second, this))
                                            : static_cast<QAbstractButton*>(new QCheckBox(item.second, this));
        m_group->addButton(button, item.first);
        layout->addWidget(button);
        m_buttons.append(button);
    }
    if (!m_buttons.isEmpty())
        m_buttons.first()->setChecked(true);
    connect(m_group, &QButtonGroup::idClicked, this, &TButtonBox::buttonClicked);
}

int TButtonBox::ButtonId(int index) const
{
    QAbstractButton* button = Button(index);
    return button ? m_group->id(button) : -1;
}

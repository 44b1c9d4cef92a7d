#include "gui/TRadioButtonBox.h"

#include <QAbstractButton>
#include <QButtonGroup>

TRadioButtonBox::TRadioButtonBox(const QList<Item>& items, Qt::Orientation orientation, QWidget* parent)
    : TButtonBox(items, orientation, true, parent)
{
}

int TRadioButtonBox::Value() const
{
    return Group()->checkedId();
}

void TRadioButtonBox::SetValue(int id)
{
    if (QAbstractButton* button = Group()->button(id))
        button->setChecked(true);
}

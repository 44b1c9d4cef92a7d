#include "gui/TCheckButtonBox.h"

#include <QAbstractButton>

TCheckButtonBox::TCheckButtonBox(const QList<Item>& items, Qt::Orientation orientation, QWidget* parent)
    : TButtonBox(items, orientation, false, parent)
{
}

int TCheckButtonBox::Value() const
{
    int mask = 0;
    for (int i = 0; i < Count(); ++i) {
        if (Button(i)->isChecked())
            mask |= ButtonId(i);
    }
    return mask;
}

void TCheckButtonBox::SetValue(int mask)
{
    for (int i = 0; i < Count(); ++i) {
        const int id = ButtonId(i);
        Button(i)->setChecked(id != 0 && (mask & id) == id);
    }
}

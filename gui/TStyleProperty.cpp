#include "gui/TStyleProperty.h"

#include <QStyle>
#include <QWidget>

namespace TStyleProperty {

void Set(QWidget* widget, const char* name, const QVariant& value)
{
    QVariant current = widget->property(name);
    if (!current.isValid())
        current = QVariant(value.userType(), nullptr);
    if (current == value)
        return;
    widget->setProperty(name, value);
    widget->style()->unpolish(widget);
    widget->style()->polish(widget);
}

}

#pragma once
#include <QVariant>

class QWidget;

/// The dynamic properties the theme's style sheet selects on ("stale", "invalid", "outcome").
namespace TStyleProperty {
/// Sets `name` to `value` on `widget` and has the style apply its sheet again, which a changed
/// property alone does not do. A widget that already holds the value is left alone; a property
/// never set counts as its type's empty value (false, "").
void Set(QWidget* widget, const char* name, const QVariant& value);
}

#pragma once
#include "gui/TButtonBox.h"

/// Exclusive buttons; the value is the identifier of the checked one.
class TRadioButtonBox : public TButtonBox
{
    Q_OBJECT
public:
    TRadioButtonBox(const QList<Item>& items, Qt::Orientation orientation, QWidget* parent = nullptr);

    /// Identifier of the checked button, -1 with no buttons.
    int Value() const;
    /// Checks the button with this identifier; an unknown identifier changes nothing.
    void SetValue(int id);
};

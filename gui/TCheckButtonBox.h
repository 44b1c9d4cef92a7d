#pragma once
#include "gui/TButtonBox.h"

/// Independent check buttons; the value is the bitwise OR of the identifiers of the checked ones.
class TCheckButtonBox : public TButtonBox
{
    Q_OBJECT
public:
    TCheckButtonBox(const QList<Item>& items, Qt::Orientation orientation, QWidget* parent = nullptr);

    int Value() const;
    /// Checks every button whose identifier is non-zero and wholly contained in `mask`, unchecks the others.
    void SetValue(int mask);
};

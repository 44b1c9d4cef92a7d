#pragma once
#include <QList>
#include <QPair>
#include <QWidget>

class QAbstractButton;
class QButtonGroup;

/// Common part of the radio and check button boxes: one button per item, each with its identifier,
/// laid out in a row or a column. The first button starts checked.
class TButtonBox : public QWidget
{
    Q_OBJECT
public:
    using Item = QPair<int, QString>;   ///< identifier, button text

    /// Items as "identifier:text" separated by ","; an item without ":" takes its position as identifier.
    /// The text is kept as split (blanks included); an identifier that is no decimal number reads as 0.
    static QList<Item> ParseItems(const QString& valueList);

    int Count() const { return m_buttons.size(); }
    QAbstractButton* Button(int index) const { return m_buttons.value(index, nullptr); }
    int ButtonId(int index) const;
    Qt::Orientation Orientation() const { return m_orientation; }

signals:
    void buttonClicked(int id);

protected:
    TButtonBox(const QList<Item>& items, Qt::Orientation orientation, bool exclusive, QWidget* parent);
    QButtonGroup* Group() const { return m_group; }

private:
    QButtonGroup* m_group;
    QList<QAbstractButton*> m_buttons;
    Qt::Orientation m_orientation;
};

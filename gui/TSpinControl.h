#pragma once
#include <QPointer>
#include <QPushButton>

#include "gui/TOverlayEditBox.h"

/// A push button that shows an integer; a click lays a TOverlayEditBox over it to type a new value,
/// the wheel steps by one inside the range (a maximum below the minimum becomes the minimum). A typed
/// value outside the range is refused in the box with the reason; a value set from a record is shown
/// as it is, so that a value out of range is seen rather than silently changed.
class TSpinControl : public QPushButton
{
    Q_OBJECT
public:
    TSpinControl(int minimum, int maximum, int value, QWidget* parent = nullptr);

    int Value() const { return m_value; }
    void SetValue(int value);
    void SetRange(int minimum, int maximum);
    int Minimum() const { return m_minimum; }
    int Maximum() const { return m_maximum; }
    /// The overlay while it is open, else null.
    TOverlayEditBox* OverlayEditBox() const { return m_overlay; }

signals:
    void ValueChanged(int value);
    void EvSpinControl_TextChanged(const QString text);

public slots:
    /// Takes the overlay's text (any integer notation) once it is a number inside the range.
    void OnSpinOverlayOk();

protected:
    void wheelEvent(QWheelEvent* event) override;

private:
    void OpenOverlay();
    /// Why a typed text is refused ("" when it is a number inside the range).
    QString TypedProblem(const QString& text, int* value = nullptr) const;

    int m_minimum;
    int m_maximum;
    int m_value;
    QPointer<TOverlayEditBox> m_overlay;
};

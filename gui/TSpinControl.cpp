#include "gui/TSpinControl.h"

#include <QWheelEvent>

#include "gui/TOverlayEditBox.h"

TSpinControl::TSpinControl(int minimum, int maximum, int value, QWidget* parent)
    : QPushButton(parent)
    , m_minimum(minimum)
    , m_maximum(qMax(minimum, maximum))
    , m_value(qBound(m_minimum, value, m_maximum))
{
    setText(QString::number(m_value));
    connect(this, &QPushButton::clicked, this, &TSpinControl::OpenOverlay);
}

void TSpinControl::SetValue(int value)
{
    value = qBound(m_minimum, value, m_maximum);
    if (value == m_value)
        return;
    m_value = value;
    setText(QString::number(m_value));
    emit ValueChanged(m_value);
    emit EvSpinControl_TextChanged(text());
}

void TSpinControl::SetRange(int minimum, int maximum)
{
    m_minimum = minimum;
    m_maximum = qMax(minimum, maximum);
    SetValue(m_value);
}

void TSpinControl::OnSpinOverlayOk()
{
    if (!m_overlay)
        return;
    bool ok = false;
    const int value = m_overlay->Text().trimmed().toInt(&ok, 0);
    if (ok)
        SetValue(value);
}

void TSpinControl::wheelEvent(QWheelEvent* event)
{
    const int steps = event->angleDelta().y() / 120;
    if (steps == 0) {
        QPushButton::wheelEvent(event);
        return;
    }
    SetValue(int(qBound<qint64>(m_minimum, qint64(m_value) + steps, m_maximum)));
    event->accept();
}

void TSpinControl::OpenOverlay()
{
    if (m_overlay)
        return;
    m_overlay = new TOverlayEditBox(this, QString::number(m_value));
    m_overlay->setAttribute(Qt::WA_DeleteOnClose);
    connect(m_overlay, &QDialog::accepted, this, &TSpinControl::OnSpinOverlayOk);
    m_overlay->open();
}

#include "gui/TSpinControl.h"

#include <QWheelEvent>

#include "gui/TOverlayEditBox.h"

TSpinControl::TSpinControl(int minimum, int maximum, int value, QWidget* parent)
    : QPushButton(parent)
    , m_minimum(minimum)
    , m_maximum(qMax(minimum, maximum))
    , m_value(value)
{
    setText(QString::number(m_value));
    connect(this, &QPushButton::clicked, this, &TSpinControl::OpenOverlay);
}

void TSpinControl::SetValue(int value)
{
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
}

void TSpinControl::OnSpinOverlayOk()
{
    int value = 0;
    if (m_overlay && TypedProblem(m_overlay->Text(), &value).isEmpty())
        SetValue(value);
}

QString TSpinControl::TypedProblem(const QString& text, int* value) const
{
    bool ok = false;
    const qint64 typed = text.trimmed().toLongLong(&ok, 0);
    if (!ok)
        return QStringLiteral("not a number: enter %1 to %2").arg(m_minimum).arg(m_maximum);
    if (typed < m_minimum || typed > m_maximum)
        return QStringLiteral("%1 is outside %2 to %3").arg(text.trimmed()).arg(m_minimum).arg(m_maximum);
    if (value)
        *value = int(typed);
    return QString();
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
    m_overlay->SetCheck([this](const QString& text) { return TypedProblem(text); });
    connect(m_overlay, &QDialog::accepted, this, &TSpinControl::OnSpinOverlayOk);
    m_overlay->open();
}

#include "gui/TSlider.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QSlider>

namespace {
// Orange handle and filled part on a grey groove.
const char* const kSliderStyle =
    "QSlider::groove:horizontal { height: 6px; background: #9a9a9a; border-radius: 3px; }"
    "QSlider::sub-page:horizontal { background: #f28c28; border-radius: 3px; }"
    "QSlider::handle:horizontal { width: 14px; margin: -5px 0; background: #f28c28;"
    " border: 1px solid #b35f0e; border-radius: 7px; }";
}

TSlider::TSlider(int minimum, int maximum, int value, const QString& unit, int extraWidth, QWidget* parent)
    : QWidget(parent)
    , m_slider(new QSlider(Qt::Horizontal, this))
    , m_display(new QLabel(this))
    , m_unit(unit)
    , m_extraWidth(qMax(0, extraWidth))
{
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    layout->addWidget(m_slider, 1);
    layout->addWidget(m_display);
    m_slider->setStyleSheet(QString::fromLatin1(kSliderStyle));
    m_slider->setRange(minimum, maximum);
    m_slider->setValue(value);
    m_display->setFixedWidth(m_extraWidth);
    m_display->setText(DisplayText());
    connect(m_slider, &QSlider::valueChanged, this, &TSlider::OnSlider_ValueChanged);
}

int TSlider::Value() const
{
    return m_slider->value();
}

void TSlider::SetValue(int value)
{
    m_slider->setValue(value);
}

int TSlider::Minimum() const
{
    return m_slider->minimum();
}

int TSlider::Maximum() const
{
    return m_slider->maximum();
}

QString TSlider::DisplayText() const
{
    const QString number = QString::number(m_slider->value());
    return m_unit.isEmpty() ? number : number + QLatin1Char(' ') + m_unit;
}

void TSlider::OnSlider_ValueChanged(int value)
{
    m_display->setText(DisplayText());
    emit ValueChanged(value);
}

#pragma once
#include <QWidget>

class QLabel;
class QSlider;

/// Horizontal slider with its value and unit shown beside it; the display takes the extra width.
class TSlider : public QWidget
{
    Q_OBJECT
public:
    static constexpr int kDefaultExtraWidthPx = 120;

    TSlider(int minimum, int maximum, int value, const QString& unit, int extraWidth = kDefaultExtraWidthPx,
            QWidget* parent = nullptr);

    int Value() const;
    void SetValue(int value);
    int Minimum() const;
    int Maximum() const;
    QString Unit() const { return m_unit; }
    int ExtraWidth() const { return m_extraWidth; }
    /// What the display shows: the value, and the unit after a blank when there is one.
    QString DisplayText() const;
    QSlider* Slider() const { return m_slider; }

signals:
    void ValueChanged(int value);

public slots:
    void OnSlider_ValueChanged(int value);

private:
    QSlider* m_slider;
    QLabel* m_display;
    QString m_unit;
    int m_extraWidth;
};

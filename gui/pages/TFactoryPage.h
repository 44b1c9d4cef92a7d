#pragma once
#include "gui/pages/TFormPage.h"

/// Customer settings for production: device IDs, calibration values and GPIO tests.
class TFactoryPage : public TFormPage
{
    Q_OBJECT
public:
    explicit TFactoryPage(const QString& title, QWidget* parent = nullptr);
};

#pragma once
#include "gui/pages/TFormPage.h"

/// Device configuration: power saving, extra options, the radio stack and the operation mode, and restoring the factory settings.
class TDeviceConfigPage : public TFormPage
{
    Q_OBJECT
public:
    explicit TDeviceConfigPage(const QString& title, QWidget* parent = nullptr);
};

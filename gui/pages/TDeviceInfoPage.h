#pragma once
#include "gui/pages/TFormPage.h"

/// Identity, firmware and system status of the selected module, and the studio's free memory.
class TDeviceInfoPage : public TFormPage
{
    Q_OBJECT
public:
    explicit TDeviceInfoPage(const QString& title, QWidget* parent = nullptr);
    /// Reads device, firmware and system status from the module.
    void OnGet();

public slots:
    void RefreshPage() override;
};

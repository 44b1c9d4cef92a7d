#pragma once
#include "gui/pages/TFormPage.h"

class TGuiItemList;

/// Customer settings for production: the device identifier, the factory reset, the crystal
/// frequency offset, calibration values and measurements by identifier, the clock output and the
/// GPIO test pins. Every status the module answers shows on the result line.
class TFactoryPage : public TFormPage
{
    Q_OBJECT
public:
    explicit TFactoryPage(const QString& title, QWidget* parent = nullptr);

public slots:
    void RefreshPage() override;

private:
    /// The device identifier the selected module reported at discovery.
    void ShowDeviceId();
    void ReadPinLevels();

    TGuiItemList* m_id;
    TGuiItemList* m_gpio;
};

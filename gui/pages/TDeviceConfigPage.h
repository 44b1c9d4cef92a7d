#pragma once
#include "gui/pages/TFormPage.h"

class TConfigTemplate;
class TGuiItemList;

/// Device configuration: power saving and the extra options (reserved bytes sent back as read),
/// restoring the factory settings, the radio stack (modules with two), the operation mode, a reset
/// that waits for the module to announce itself again, and configuration templates for production.
class TDeviceConfigPage : public TFormPage
{
    Q_OBJECT
public:
    /// A module announces itself within a second or two of a reset.
    static constexpr int kPowerUpTimeoutMs = 5000;
    static constexpr const char* kRestarted = "The module restarted";

    explicit TDeviceConfigPage(const QString& title, QWidget* parent = nullptr);

    /// How long "Reset Device" waits for the power-up event (tests of a module that stays silent shorten it).
    void SetPowerUpTimeout(int ms) { m_powerUpTimeoutMs = ms; }
    /// The work of "Export...": the selected module's configuration as a template file at `path`.
    bool ExportTemplate(const QString& path);
    /// The work of "Apply...": reads the template at `path`, shows what differs from the selected
    /// module and, when the user chooses "Apply", applies it (stopping at the first refused setting).
    bool ApplyTemplate(const QString& path);

public slots:
    void RefreshPage() override;
    void DeviceConfigChanged() override;
    void DeviceTypeChanged(const QString& deviceType) override;

private:
    /// A group of one value the module offers as choices, with "Get <title>" and "Set <title>"
    /// (commands "DeviceMgmt/Get<key>" and "DeviceMgmt/Set<key>").
    TGuiItemList& AddChoice(const QString& title, const char* key, const char* choices, const QString& setWhat);
    void ResetDevice();
    /// Runs a template's work on the selected module as a command of the action; its error text ends it.
    bool RunTemplate(TConfigTemplate& configTemplate, const std::function<bool(TRadioController&)>& call);
    void Export(const QString& path);
    void Apply(const QString& path);
    /// Shows the radio stack only for modules that have two.
    void ShowFeatures();

    TGuiItemList* m_config;
    TGuiItemList* m_stack;
    TGuiItemList* m_mode;
    TGuiItemList* m_template;
    int m_powerUpTimeoutMs = kPowerUpTimeoutMs;
};

#pragma once
#include "gui/pages/TFormPage.h"

class QListWidget;
class QLineEdit;

/// The studio's own settings: discovery baud rates, VID/PID patterns, extra and blocked ports with
/// "Discover Devices", and the log and format switches.
class TSettingsPage : public TFormPage
{
    Q_OBJECT
public:
    /// Switches of this page: group, key, label, default.
    struct Switch { const char* group; const char* key; const char* label; bool on; };
    static const QList<Switch>& Switches();

    explicit TSettingsPage(const QString& title, QWidget* parent = nullptr);

    QListWidget* PatternList() const { return m_patterns; }
    QListWidget* ExtraPortList() const { return m_extraPorts; }
    QListWidget* BlockedPortList() const { return m_blocked; }
    bool AddPattern(const QString& pattern);
    bool AddExtraPort(const QString& port);
    void DiscoverDevices();
    /// Takes the discovery baud rates from the check boxes.
    void ApplyDiscoveryRates();

public slots:
    void RefreshPage() override;
    void PageShown() override { RefreshPage(); }

private:
    QListWidget* m_patterns;
    QListWidget* m_extraPorts;
    QListWidget* m_blocked;
    QLineEdit* m_patternEdit;
    QLineEdit* m_portEdit;
};

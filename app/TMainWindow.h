#pragma once
#include <QMainWindow>
#include <QMessageBox>
#include <QPointer>

#include "gui/TSectionEntry.h"

class QAction;
class QActionGroup;
class QMessageBox;
class QSplitter;
class QTreeWidget;
class TModuleStatus;
class TPage;
class TSectionCtrl;
class TStatusWindow;

/// The studio: settings and configuration files, status window, left panel with every page, menus,
/// themes, the "Radios" device tree, and the device manager started with the controller prototypes.
class TMainWindow : public QMainWindow
{
    Q_OBJECT
public:
    static constexpr const char* kVersion = TESSERA_VERSION;
    static constexpr const char* kBuildDate = TESSERA_BUILD_DATE;
    static constexpr const char* kTitle = "Velto LoRaWAN Tessera";
    /// Release code name; also the developer access code of the settings store.
    static constexpr const char* kCodeName = "Vallee-des-Lumieres";
    static constexpr const char* kWebAddress = "https://www.velto-radio.example/tessera";

    static const TSectionEntry* SectionTable(bool developerMode);
    /// The one main window (null before it is made).
    static TMainWindow* Instance();

    explicit TMainWindow(QWidget* parent = nullptr);
    ~TMainWindow() override;

    TSectionCtrl* Sections() const { return m_sections; }
    TStatusWindow* StatusWindow() const { return m_status; }
    QTreeWidget* DeviceTree() const { return m_tree; }
    TModuleStatus* ModuleStatus() const { return m_moduleStatus; }
    QAction* LeftPanelAction() const { return m_leftPanelAction; }
    /// The "Views" entry that shows and hides the status window.
    QAction* StatusWindowAction() const;
    /// F5: the current page's "Get".
    QAction* GetAction() const { return m_getAction; }
    /// The main splitter: left panel and page area.
    QSplitter* Splitter() const { return m_splitter; }
    /// Whether the window's geometry and dock state came from the settings at start.
    bool LayoutRestored() const { return m_layoutRestored; }
    /// Share of the window the status dock gets when no layout was saved.
    static constexpr double kDockShare = 0.26;
    QString CurrentTheme() const { return m_theme; }
    /// The last message box shown (error boxes, the compatibility warning), for whoever needs to look.
    QMessageBox* LastMessageBox() const { return m_lastBox; }
    /// The firmware update dialog while it is open.
    QDialog* UpdateDialog() const { return m_updateDialog; }
    /// "Key:FreeMem;Value:..." for a descriptor row.
    static QString FreeMemoryRecord();
    void ApplyTheme(const QString& name);

public slots:
    void OnFirmwareUpdate();
    void OnDiscoverGateways();
    void OnQuit();
    void OnLeftPanelTriggered();
    void OnSetStyle(QAction* action);
    void OnShowStudioSettings();
    void OnAbout();
    void OnAboutQt();
    void OnShowUserGuide();
    void OnShowFeatureOverview();
    void OnShowReleaseNotes();
    void OnShowFirmwareReleaseNotes();
    void OnOpenUrl();
    void OnDockLocationChanged(Qt::DockWidgetArea area);

    TPage* CreateNodeServicePage(const QString& title);
    TPage* CreateNodeConfigPage(const QString& title);
    TPage* CreateOspreyDataLinkPage(const QString& title);
    TPage* CreateOspreyConfigPage(const QString& title);
    TPage* CreateSecurityPage(const QString& title);
    TPage* CreateDeviceConfigPage(const QString& title);
    TPage* CreateDeviceInfoPage(const QString& title);
    TPage* CreateRTCPage(const QString& title);
    TPage* CreateHCIConfigPage(const QString& title);
    TPage* CreateSettingsPage(const QString& title);
    TPage* CreateInfoPage(const QString& title);
    TPage* CreateHCILoggingPage(const QString& title);
    TPage* CreateFactoryPage(const QString& title);
    TPage* CreateNodeTestPage(const QString& title);
    TPage* CreateRegTablePage(const QString& title);

protected:
    void closeEvent(QCloseEvent* event) override;
    void showEvent(QShowEvent* event) override;

private slots:
    void OnDeviceAdded(const QString& port);

private:
    /// Window geometry, dock and splitter state from the settings; false when none were saved.
    bool RestoreLayout();
    void SaveLayout();
    /// Gives the status dock its default share of the window (first show without a saved layout).
    void ShareDock();
    void InstallConfigFiles();
    void LoadConfigFiles();
    void BuildMenus();
    QWidget* BuildLeftPanel(bool developerMode);
    void ShowBox(int icon, const QString& title, const QString& text);
    void ShowTextDocument(const QString& path, const QString& title);

    TStatusWindow* m_status = nullptr;
    TSectionCtrl* m_sections = nullptr;
    QTreeWidget* m_tree = nullptr;
    QWidget* m_leftPanel = nullptr;
    QSplitter* m_splitter = nullptr;
    QAction* m_leftPanelAction = nullptr;
    QAction* m_getAction = nullptr;
    TModuleStatus* m_moduleStatus = nullptr;
    bool m_layoutRestored = false;
    bool m_dockShared = false;
    QActionGroup* m_themes = nullptr;
    QString m_theme;
    QPointer<QMessageBox> m_lastBox;
    QPointer<QDialog> m_updateDialog;
};

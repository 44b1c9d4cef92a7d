#include "app/TMainWindow.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QCommandLinkButton>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QHeaderView>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QDialog>
#include <QSplitter>
#include <QStackedWidget>
#include <QStatusBar>
#include <QTreeWidget>
#include <QUrl>
#include <QVBoxLayout>

#include "base/TSystemMemory.h"
#include "app/TModuleStatus.h"
#include "app/TThemes.h"
#include "devices/TControllerPrototypes.h"
#include "devices/TDeviceManager.h"
#include "devices/TRadioController.h"
#include "firmware/TFirmwareSupport.h"
#include "gui/TSectionCtrl.h"
#include "gui/dialogs/TDiscoverGatewayDialog.h"
#include "gui/dialogs/TFirmwareUpdateDialog.h"
#include "gui/pages/TDataLinkPage.h"
#include "gui/pages/TDeviceConfigPage.h"
#include "gui/pages/TDeviceInfoPage.h"
#include "gui/pages/TFactoryPage.h"
#include "gui/pages/THCIConfigPage.h"
#include "gui/pages/THCILoggingPage.h"
#include "gui/pages/TInfoPage.h"
#include "gui/pages/TNodeConfigPage.h"
#include "gui/pages/TNodeServicePage.h"
#include "gui/pages/TNodeTestPage.h"
#include "gui/pages/TOspreyConfigPage.h"
#include "gui/pages/TRTCPage.h"
#include "gui/pages/TRegTablePage.h"
#include "gui/pages/TSecurityPage.h"
#include "gui/pages/TSettingsPage.h"
#include "sap/TLoRaWANConfig.h"
#include "settings/TConfigInstaller.h"
#include "settings/TSettings.h"
#include "settings/TShippedFiles.h"
#include "status/TStatusLog.h"
#include "status/TStatusWindow.h"

static void InitStudioResources()
{
    Q_INIT_RESOURCE(studio);   // resources of a static library need an explicit hello
}

namespace {
TMainWindow* g_mainWindow = nullptr;

// page title                creator slot
const TSectionPageEntry kLoRaWANPages[] = {
    {"LoRaWAN Services", "CreateNodeServicePage"},
    {"LoRaWAN Configuration", "CreateNodeConfigPage"},
    {nullptr, nullptr},
};
const TSectionPageEntry kOspreyPages[] = {
    {"Osprey Data Link", "CreateOspreyDataLinkPage"},
    {"Osprey Configuration", "CreateOspreyConfigPage"},
    {"Osprey Security", "CreateSecurityPage"},
    {nullptr, nullptr},
};
const TSectionPageEntry kDevicePages[] = {
    {"Device Configuration", "CreateDeviceConfigPage"},
    {"Device Information", "CreateDeviceInfoPage"},
    {"Real Time Clock", "CreateRTCPage"},
    {"Device HCI Settings", "CreateHCIConfigPage"},
    {"Studio Settings", "CreateSettingsPage"},
    {"Info", "CreateInfoPage"},
    {nullptr, nullptr},
};
const TSectionPageEntry kExtraPages[] = {
    {"HCI Logging", "CreateHCILoggingPage"},
    {"Customer Settings", "CreateFactoryPage"},
    {"Radio Tests", "CreateNodeTestPage"},
    {"Register Tables", "CreateRegTablePage"},
    {nullptr, nullptr},
};
// The two tables are the same on purpose: developer mode may get its own sections later.
// section              icon                 features needed       pages
const TSectionEntry kSections[] = {
    {"LoRaWAN Services", ":/img/Device", "LoRaWANDeviceMgmt", kLoRaWANPages},
    {"Osprey Services", ":/img/Device", "OspreyDeviceMgmt", kOspreyPages},
    {"Device Management", ":/img/Settings", "", kDevicePages},
    {"Extras", ":/img/HardwareTest", "", kExtraPages},
    {nullptr, nullptr, nullptr, nullptr},
};
const TSectionEntry kDeveloperSections[] = {
    {"LoRaWAN Services", ":/img/Device", "LoRaWANDeviceMgmt", kLoRaWANPages},
    {"Osprey Services", ":/img/Device", "OspreyDeviceMgmt", kOspreyPages},
    {"Device Management", ":/img/Settings", "", kDevicePages},
    {"Extras", ":/img/HardwareTest", "", kExtraPages},
    {nullptr, nullptr, nullptr, nullptr},
};

const char* const kStatusSource = "Studio";

// key in the "GUI" group   what it keeps (base64 of Qt's own state blobs)
const char* const kGeometryKey = "WindowGeometry";
const char* const kStateKey = "WindowState";
const char* const kSplitterKey = "SplitterState";

QByteArray ReadBlob(const char* key)
{
    return QByteArray::fromBase64(TSettings::Instance().ReadValue(QStringLiteral("GUI"), QString::fromLatin1(key)).toLatin1());
}

void WriteBlob(const char* key, const QByteArray& blob)
{
    TSettings::Instance().WriteValue(QStringLiteral("GUI"), QString::fromLatin1(key), QString::fromLatin1(blob.toBase64()));
}
}

const TSectionEntry* TMainWindow::SectionTable(bool developerMode)
{
    return developerMode ? kDeveloperSections : kSections;
}

TMainWindow* TMainWindow::Instance()
{
    return g_mainWindow;
}

QString TMainWindow::FreeMemoryRecord()
{
    return TSystemMemory::FreeMemItem();
}

TMainWindow::TMainWindow(QWidget* parent)
    : QMainWindow(parent)
{
    g_mainWindow = this;
    InitStudioResources();
    QCoreApplication::setApplicationVersion(QString::fromLatin1(kVersion));
    m_theme = QStringLiteral("Manhattan");

    InstallConfigFiles();
    TSettings& settings = TSettings::Instance();
    settings.LoadSpecialSwitches(QString::fromLatin1(kCodeName));

    m_status = new TStatusWindow(this);
    addDockWidget(Qt::DockWidgetArea(settings.StatusBoxLocation()), m_status);
    connect(m_status, &QDockWidget::dockLocationChanged, this, &TMainWindow::OnDockLocationChanged);

    QString title = QString::fromLatin1(kTitle);
    if (settings.DeveloperMode()) {
        title += QStringLiteral(" (Developer Mode)");
        if (settings.SpecialFeatures().contains(QStringLiteral("ApprovalTest")))
            title += QStringLiteral(" (Approval Test)");
    }
    setWindowIcon(QIcon(QStringLiteral(":/img/Haldor_ProgramLogo")));
    setWindowTitle(title);

    LoadConfigFiles();
    BuildMenus();
    ApplyTheme(TThemes::Exists(settings.MainTheme()) ? settings.MainTheme() : m_theme);
    m_leftPanel = BuildLeftPanel(settings.DeveloperMode());

    m_splitter = new QSplitter(Qt::Horizontal, this);
    m_splitter->setHandleWidth(1);
    m_splitter->setStyleSheet(QStringLiteral("QSplitter::handle { background-color:white; }"));
    m_splitter->addWidget(m_leftPanel);
    m_splitter->addWidget(m_sections->PageStack());
    m_splitter->setStretchFactor(1, 1);
    m_splitter->setSizes({m_sections->PanelWidth(), 900});
    setCentralWidget(m_splitter);

    auto* moduleLabel = new QLabel(this);
    moduleLabel->setObjectName(QStringLiteral("ModuleStatus"));
    // A long port name is cut at the window's edge rather than widening the window (the tooltip has it all).
    moduleLabel->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    moduleLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    moduleLabel->setMinimumWidth(moduleLabel->fontMetrics().averageCharWidth() * 40);
    statusBar()->addPermanentWidget(moduleLabel, 1);
    m_moduleStatus = new TModuleStatus(m_tree, moduleLabel, this);
    for (TPage* page : m_sections->Pages())
        m_moduleStatus->Watch(page);

    TDeviceManager& manager = TDeviceManager::Instance();
    manager.SetDefaultPatterns(TDeviceManager::DefaultPatterns());
    connect(&manager, &TDeviceManager::EvLocalDeviceAdded, this, &TMainWindow::OnDeviceAdded);
    connect(&manager, &TDeviceManager::EvDeviceSelectionChanged, m_sections, &TSectionCtrl::OnDeviceSelectionChanged);
    connect(&manager, &TDeviceManager::EvDeviceConfigChanged, m_sections, &TSectionCtrl::OnDeviceConfigChanged);
    TControllerPrototypes::RegisterAll();
    m_layoutRestored = RestoreLayout();
    manager.Start();
    statusBar()->showMessage(QStringLiteral("Ready"));
}

TMainWindow::~TMainWindow()
{
    TDeviceManager::Instance().Stop();
    if (g_mainWindow == this)
        g_mainWindow = nullptr;
}

void TMainWindow::InstallConfigFiles()
{
    const QString shipped = TShippedFiles::Directory();
    TConfigInstaller installer;
    connect(&installer, &TConfigInstaller::EvShowMessage, &TStatusLog::Instance(), &TStatusLog::AddStatusLine);
    installer.Install(shipped, TConfigInstaller::ShippedFiles(shipped), TSettings::Instance().DataDirectory());
}

void TMainWindow::LoadConfigFiles()
{
    const TSettings& settings = TSettings::Instance();
    TStatusLog& log = TStatusLog::Instance();
    auto report = [&log](const QString& path, bool loaded, const QString& reason) {
        if (loaded)
            log.AddStatusLine(QStringLiteral("Configuration file: ") + path + QStringLiteral(" successfully loaded!"));
        else
            log.AddStatusLine(QStringLiteral("Error - couldn't load configuration file: ") + path + (reason.isEmpty() ? QString() : QStringLiteral(" - ") + reason));
    };
    // Loaded means parsed and valid: the LoRaWAN pages offer its bands and regions as choices.
    TLoRaWANConfig& lorawan = TLoRaWANConfig::Instance();
    const QString lorawanPath = settings.LoRaWANConfigPath();
    const bool lorawanLoaded = lorawan.Load(lorawanPath);
    report(lorawanPath, lorawanLoaded, lorawan.ErrorText());
    const QString device = settings.DeviceConfigPath();
    QFile file(device);
    report(device, file.open(QIODevice::ReadOnly) && !file.readAll().isEmpty(), QString());
    const QString versions = settings.FirmwareVersionsPath();
    report(versions, TFirmwareSupport::Instance().Load(versions), QString());
}

void TMainWindow::BuildMenus()
{
    // Menu texts carry access keys ("&"); Alt and the underlined letter open them.
    QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
    file->addAction(QStringLiteral("&Firmware Update"), this, &TMainWindow::OnFirmwareUpdate);
    file->addAction(QStringLiteral("Discover &Gateways"), this, &TMainWindow::OnDiscoverGateways);
    file->addAction(QStringLiteral("&Quit"), this, &TMainWindow::OnQuit, QKeySequence(QStringLiteral("Ctrl+Q")));

    QMenu* views = menuBar()->addMenu(QStringLiteral("&Views"));
    m_leftPanelAction = views->addAction(QStringLiteral("Hide &Left Control Panel"), this, &TMainWindow::OnLeftPanelTriggered);
    QAction* statusWindow = m_status->toggleViewAction();
    statusWindow->setText(QStringLiteral("&Status Window"));
    views->addAction(statusWindow);
    QMenu* styles = views->addMenu(QStringLiteral("S&tyles"));
    m_themes = new QActionGroup(this);
    m_themes->setExclusive(true);
    QString taken;   // theme names share first letters: each takes the first letter still free
    for (const QString& name : TThemes::Names()) {
        int at = 0;
        while (at < name.size() - 1 && taken.contains(name.at(at).toLower()))
            ++at;
        taken += name.at(at).toLower();
        QAction* action = styles->addAction(name.left(at) + QLatin1Char('&') + name.mid(at));
        action->setData(name);
        action->setCheckable(true);
        m_themes->addAction(action);
    }
    connect(m_themes, &QActionGroup::triggered, this, &TMainWindow::OnSetStyle);

    // F5 is the current page's "Get", wherever the focus is.
    m_getAction = new QAction(QStringLiteral("Get"), this);
    m_getAction->setShortcut(QKeySequence(Qt::Key_F5));
    m_getAction->setShortcutContext(Qt::WindowShortcut);
    connect(m_getAction, &QAction::triggered, this, [this] {
        if (TPage* page = m_sections ? m_sections->CurrentPage() : nullptr)
            page->RunGet();
    });
    addAction(m_getAction);

    QMenu* settingsMenu = menuBar()->addMenu(QStringLiteral("&Settings"));
    settingsMenu->addAction(QStringLiteral("&Studio Settings"), this, &TMainWindow::OnShowStudioSettings);
    QAction* check = settingsMenu->addAction(QStringLiteral("Firmware &Compatibility Check"));
    check->setCheckable(true);
    check->setChecked(TSettings::Instance().FirmwareCompatibilityCheck());
    connect(check, &QAction::toggled, [](bool on) { TSettings::Instance().SetFirmwareCompatibilityCheck(on); });
    QAction* iso = settingsMenu->addAction(QStringLiteral("Use &ISO Format"));
    iso->setCheckable(true);
    iso->setChecked(TSettings::Instance().IsoFormat());
    connect(iso, &QAction::toggled, [](bool on) { TSettings::Instance().SetIsoFormat(on); });

    QMenu* info = menuBar()->addMenu(QStringLiteral("&Info"));
    info->addAction(QStringLiteral("&About"), this, &TMainWindow::OnAbout);
    info->addAction(QStringLiteral("About &Qt"), this, &TMainWindow::OnAboutQt);
    info->addAction(QStringLiteral("&User Guide"), this, &TMainWindow::OnShowUserGuide, QKeySequence(Qt::Key_F1));
    info->addAction(QStringLiteral("&Firmware Overview"), this, &TMainWindow::OnShowFeatureOverview);
    QMenu* notes = info->addMenu(QStringLiteral("&Release Notes"));
    notes->addAction(QStringLiteral("&Studio Release Notes"), this, &TMainWindow::OnShowReleaseNotes);
    notes->addAction(QStringLiteral("&Firmware Release Notes"), this, &TMainWindow::OnShowFirmwareReleaseNotes);
}

QWidget* TMainWindow::BuildLeftPanel(bool developerMode)
{
    auto* panel = new QWidget(this);
    panel->setObjectName(QStringLiteral("LeftPanel"));
    panel->setAttribute(Qt::WA_StyledBackground);
    auto* layout = new QVBoxLayout(panel);
    layout->setContentsMargins(0, 0, 0, 0);
    m_sections = new TSectionCtrl(SectionTable(developerMode), this, panel);
    m_sections->SetPanelWidget(panel);
    layout->addWidget(m_sections, 3);

    auto* radios = new QLabel(QStringLiteral("Radios"), panel);
    radios->setObjectName(QStringLiteral("RadiosTitle"));
    layout->addWidget(radios);
    m_tree = new QTreeWidget(panel);
    m_tree->setObjectName(QStringLiteral("Radios"));
    m_tree->setAccessibleName(radios->text());
    radios->setBuddy(m_tree);
    m_tree->setRootIsDecorated(false);
    m_tree->header()->setStretchLastSection(true);
    layout->addWidget(m_tree, 2);

    auto* link = new QCommandLinkButton(QStringLiteral("Velto on the web"), panel);
    connect(link, &QCommandLinkButton::clicked, this, &TMainWindow::OnOpenUrl);
    layout->addWidget(link);
    return panel;
}

void TMainWindow::ApplyTheme(const QString& name)
{
    if (!TThemes::Exists(name))
        return;
    m_theme = name;
    qApp->setStyleSheet(TThemes::StyleSheet(name));
    if (m_themes)
        for (QAction* action : m_themes->actions())
            action->setChecked(action->data().toString() == name);
}

void TMainWindow::OnSetStyle(QAction* action)
{
    const QString name = action->data().toString();
    ApplyTheme(name);
    TSettings::Instance().SetMainTheme(name);
}

void TMainWindow::OnDeviceAdded(const QString& port)
{
    m_status->AddDevice(port);
    if (!TSettings::Instance().FirmwareCompatibilityCheck())
        return;
    const QString warning = TFirmwareSupport::Instance().CheckDevice(TDeviceManager::Instance().DeviceInfoByPort(port));
    if (warning.isEmpty())
        return;
    ShowBox(QMessageBox::Warning, QStringLiteral("Compatibility Warning"), warning);
    QPushButton* update = m_lastBox->addButton(QStringLiteral("Firmware Update"), QMessageBox::ActionRole);
    update->setAccessibleName(update->text());
    connect(update, &QPushButton::clicked, this, &TMainWindow::OnFirmwareUpdate);
}

void TMainWindow::ShowBox(int icon, const QString& title, const QString& text)
{
    // Never modal: a box must not stop discovery or the logs behind it.
    auto* box = new QMessageBox(QMessageBox::Icon(icon), title, text, QMessageBox::Ok, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
    m_lastBox = box;
}

void TMainWindow::ShowTextDocument(const QString& path, const QString& title)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        ShowBox(QMessageBox::Critical, title + QStringLiteral(" - Error"), QStringLiteral("Sorry - the file %1 is not available yet!").arg(path));
        return;
    }
    auto* dialog = new QDialog(this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(title);
    auto* layout = new QVBoxLayout(dialog);
    auto* text = new QPlainTextEdit(QString::fromUtf8(file.readAll()), dialog);
    text->setReadOnly(true);
    text->setFont(QFont(QStringLiteral("Courier")));
    layout->addWidget(text);
    dialog->resize(720, 480);
    dialog->open();
}

void TMainWindow::OnFirmwareUpdate()
{
    auto* dialog = new TFirmwareUpdateDialog(this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->open();
    m_updateDialog = dialog;
}

void TMainWindow::OnDiscoverGateways()
{
    // One dialog at a time: its socket holds the server port.
    auto* dialog = findChild<TDiscoverGatewayDialog*>();
    if (!dialog) {
        dialog = new TDiscoverGatewayDialog(this);
        dialog->setAttribute(Qt::WA_DeleteOnClose);
    }
    dialog->show();
    dialog->raise();
}

void TMainWindow::OnQuit()
{
    close();
}

void TMainWindow::OnLeftPanelTriggered()
{
    const bool hide = !m_leftPanel->isHidden();
    m_leftPanel->setVisible(!hide);
    m_leftPanelAction->setText(hide ? QStringLiteral("Show &Left Control Panel") : QStringLiteral("Hide &Left Control Panel"));
}

void TMainWindow::OnShowStudioSettings()
{
    m_sections->SelectPage(QStringLiteral("Device Management/Studio Settings"));
}

void TMainWindow::OnAbout()
{
    auto* dialog = new QDialog(this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(QStringLiteral("About"));
    auto* layout = new QVBoxLayout(dialog);
    auto* logo = new QLabel(dialog);
    logo->setPixmap(QIcon(QStringLiteral(":/img/Haldor_Logo64")).pixmap(64, 64));
    layout->addWidget(logo);
    layout->addWidget(new QLabel(QString::fromLatin1(kTitle), dialog));
    layout->addWidget(new QLabel(QStringLiteral("Version: ") + QString::fromLatin1(kVersion) + QStringLiteral("    Build Date: ")
                                     + QString::fromLatin1(kBuildDate),
                                 dialog));
    QFile eula(QStringLiteral(":/text/EULA_Tessera"));
    auto* text = new QPlainTextEdit(eula.open(QIODevice::ReadOnly) ? QString::fromUtf8(eula.readAll()) : QString(), dialog);
    text->setReadOnly(true);
    layout->addWidget(text);
    dialog->resize(640, 420);
    dialog->open();
}

void TMainWindow::OnAboutQt()
{
    QMessageBox::aboutQt(this);
}

void TMainWindow::OnShowUserGuide()
{
    const QString path = TShippedFiles::Directory() + QStringLiteral("Documents/Velto_LoRaWAN_Tessera_UserGuide.pdf");
    if (!QFile::exists(path)) {
        // Not an error of the user's: say where the guide comes from.
        ShowBox(QMessageBox::Information, QStringLiteral("User Guide"),
                QStringLiteral("The user guide is not installed with this build. Get it from %1 and put it at %2.")
                    .arg(QString::fromLatin1(kWebAddress), path));
        return;
    }
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(path)))
        ShowBox(QMessageBox::Critical, QStringLiteral("Show User Guide - Error"),
                QStringLiteral("Please install a pdf document viewer and check if the file %1 is available!").arg(path));
}

void TMainWindow::OnShowFeatureOverview()
{
    const QString path = TShippedFiles::Directory() + QStringLiteral("Documents/Velto_LoRaWAN_Tessera_Modem_Feature_Spec.pdf");
    if (!QFile::exists(path) || !QDesktopServices::openUrl(QUrl::fromLocalFile(path)))
        ShowBox(QMessageBox::Critical, QStringLiteral("Feature Overview - Error"), QStringLiteral("Sorry - the feature overview document is not available yet!"));
}

void TMainWindow::OnShowReleaseNotes()
{
    ShowTextDocument(TShippedFiles::Directory() + QStringLiteral("Documents/ReleaseNotes.txt"), QStringLiteral("Studio Release Notes"));
}

void TMainWindow::OnShowFirmwareReleaseNotes()
{
    ShowTextDocument(TShippedFiles::Directory() + QStringLiteral("FirmwareImages/ReleaseNotes.txt"), QStringLiteral("Firmware Release Notes"));
}

void TMainWindow::OnOpenUrl()
{
    QDesktopServices::openUrl(QUrl(QString::fromLatin1(kWebAddress)));
}

void TMainWindow::OnDockLocationChanged(Qt::DockWidgetArea area)
{
    TSettings::Instance().SetStatusBoxLocation(int(area));
}

TPage* TMainWindow::CreateNodeServicePage(const QString& title) { return new TNodeServicePage(title); }
TPage* TMainWindow::CreateNodeConfigPage(const QString& title) { return new TNodeConfigPage(title); }
TPage* TMainWindow::CreateOspreyDataLinkPage(const QString& title) { return new TDataLinkPage(title); }
TPage* TMainWindow::CreateOspreyConfigPage(const QString& title) { return new TOspreyConfigPage(title); }
TPage* TMainWindow::CreateSecurityPage(const QString& title) { return new TSecurityPage(title); }
TPage* TMainWindow::CreateDeviceConfigPage(const QString& title) { return new TDeviceConfigPage(title); }
TPage* TMainWindow::CreateDeviceInfoPage(const QString& title) { return new TDeviceInfoPage(title); }
TPage* TMainWindow::CreateRTCPage(const QString& title) { return new TRTCPage(title); }
TPage* TMainWindow::CreateHCIConfigPage(const QString& title) { return new THCIConfigPage(title); }
TPage* TMainWindow::CreateSettingsPage(const QString& title) { return new TSettingsPage(title); }
TPage* TMainWindow::CreateInfoPage(const QString& title) { return new TInfoPage(title); }
TPage* TMainWindow::CreateHCILoggingPage(const QString& title) { return new THCILoggingPage(title); }
TPage* TMainWindow::CreateFactoryPage(const QString& title) { return new TFactoryPage(title); }
TPage* TMainWindow::CreateNodeTestPage(const QString& title) { return new TNodeTestPage(title); }
TPage* TMainWindow::CreateRegTablePage(const QString& title) { return new TRegTablePage(title); }

QAction* TMainWindow::StatusWindowAction() const
{
    return m_status->toggleViewAction();
}

bool TMainWindow::RestoreLayout()
{
    const QByteArray geometry = ReadBlob(kGeometryKey);
    const QByteArray state = ReadBlob(kStateKey);
    const QByteArray splitter = ReadBlob(kSplitterKey);
    bool restored = !geometry.isEmpty() && restoreGeometry(geometry);
    restored = !state.isEmpty() && restoreState(state) && restored;
    if (!splitter.isEmpty())
        m_splitter->restoreState(splitter);
    return restored;
}

void TMainWindow::SaveLayout()
{
    WriteBlob(kGeometryKey, saveGeometry());
    WriteBlob(kStateKey, saveState());
    WriteBlob(kSplitterKey, m_splitter->saveState());
}

void TMainWindow::closeEvent(QCloseEvent* event)
{
    SaveLayout();
    QMainWindow::closeEvent(event);
}

void TMainWindow::showEvent(QShowEvent* event)
{
    QMainWindow::showEvent(event);
    if (!m_layoutRestored && !m_dockShared)
        ShareDock();
}

void TMainWindow::ShareDock()
{
    m_dockShared = true;
    const Qt::DockWidgetArea area = dockWidgetArea(m_status);
    const bool sideways = area == Qt::LeftDockWidgetArea || area == Qt::RightDockWidgetArea;
    const int whole = sideways ? width() : height();
    const int minimum = sideways ? m_status->minimumSizeHint().width() : m_status->minimumSizeHint().height();
    resizeDocks({m_status}, {qMax(minimum, int(whole * kDockShare))}, sideways ? Qt::Horizontal : Qt::Vertical);
}

#include "app/TMainWindow.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
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
#include "app/TThemes.h"
#include "devices/TControllerPrototypes.h"
#include "devices/TDeviceManager.h"
#include "devices/TRadioController.h"
#include "firmware/TFirmwareSupport.h"
#include "gui/TSectionCtrl.h"
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
#include "gui/pages/TSecurityPage.h"
#include "gui/pages/TSettingsPage.h"
#include "settings/TConfigInstaller.h"
#include "settings/TSettings.h"
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

    TDeviceManager& manager = TDeviceManager::Instance();
    manager.SetDefaultPatterns(TDeviceManager::DefaultPatterns());
    connect(&manager, &TDeviceManager::EvLocalDeviceAdded, this, &TMainWindow::OnDeviceAdded);
    connect(&manager, &TDeviceManager::EvLocalDeviceRemoved, this, &TMainWindow::RefreshDeviceTree);
    connect(&manager, &TDeviceManager::EvDeviceConfigChanged, this, &TMainWindow::RefreshDeviceTree);
    connect(&manager, &TDeviceManager::EvDeviceSelectionChanged, m_sections, &TSectionCtrl::OnDeviceSelectionChanged);
    connect(&manager, &TDeviceManager::EvDeviceConfigChanged, m_sections, &TSectionCtrl::OnDeviceConfigChanged);
    TControllerPrototypes::RegisterAll();
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
    const QString programDirectory = QCoreApplication::applicationDirPath() + QLatin1Char('/');
    TConfigInstaller installer;
    connect(&installer, &TConfigInstaller::EvShowMessage, &TStatusLog::Instance(), &TStatusLog::AddStatusLine);
    installer.Install(programDirectory, TConfigInstaller::ShippedFiles(programDirectory), TSettings::Instance().DataDirectory());
}

void TMainWindow::LoadConfigFiles()
{
    const TSettings& settings = TSettings::Instance();
    TStatusLog& log = TStatusLog::Instance();
    for (const QString& path : {settings.LoRaWANConfigPath(), settings.DeviceConfigPath()}) {
        QFile file(path);
        if (file.open(QIODevice::ReadOnly) && !file.readAll().isEmpty())
            log.AddStatusLine(QStringLiteral("Configuration file: ") + path + QStringLiteral(" successfully loaded!"));
        else
            log.AddStatusLine(QStringLiteral("Error - couldn't load configuration file: ") + path);
    }
    const QString versions = settings.FirmwareVersionsPath();
    if (TFirmwareSupport::Instance().Load(versions))
        log.AddStatusLine(QStringLiteral("Configuration file: ") + versions + QStringLiteral(" successfully loaded!"));
    else
        log.AddStatusLine(QStringLiteral("Error - couldn't load configuration file: ") + versions);
}

void TMainWindow::BuildMenus()
{
    QMenu* file = menuBar()->addMenu(QStringLiteral("File"));
    file->addAction(QStringLiteral("Firmware Update"), this, &TMainWindow::OnFirmwareUpdate);
    file->addAction(QStringLiteral("Quit"), this, &TMainWindow::OnQuit);

    QMenu* views = menuBar()->addMenu(QStringLiteral("Views"));
    m_leftPanelAction = views->addAction(QStringLiteral("Hide Left Control Panel"), this, &TMainWindow::OnLeftPanelTriggered);
    QMenu* styles = views->addMenu(QStringLiteral("Styles"));
    m_themes = new QActionGroup(this);
    m_themes->setExclusive(true);
    for (const QString& name : TThemes::Names()) {
        QAction* action = styles->addAction(name);
        action->setCheckable(true);
        m_themes->addAction(action);
    }
    connect(m_themes, &QActionGroup::triggered, this, &TMainWindow::OnSetStyle);

    QMenu* settingsMenu = menuBar()->addMenu(QStringLiteral("Settings"));
    settingsMenu->addAction(QStringLiteral("Studio Settings"), this, &TMainWindow::OnShowStudioSettings);
    QAction* check = settingsMenu->addAction(QStringLiteral("Firmware Compatibility Check"));
    check->setCheckable(true);
    check->setChecked(TSettings::Instance().FirmwareCompatibilityCheck());
    connect(check, &QAction::toggled, [](bool on) { TSettings::Instance().SetFirmwareCompatibilityCheck(on); });
    QAction* iso = settingsMenu->addAction(QStringLiteral("Use ISO Format"));
    iso->setCheckable(true);
    iso->setChecked(TSettings::Instance().IsoFormat());
    connect(iso, &QAction::toggled, [](bool on) { TSettings::Instance().SetIsoFormat(on); });

    QMenu* info = menuBar()->addMenu(QStringLiteral("Info"));
    info->addAction(QStringLiteral("About"), this, &TMainWindow::OnAbout);
    info->addAction(QStringLiteral("About Qt"), this, &TMainWindow::OnAboutQt);
    info->addAction(QStringLiteral("User Guide"), this, &TMainWindow::OnShowUserGuide);
    info->addAction(QStringLiteral("Firmware Overview"), this, &TMainWindow::OnShowFeatureOverview);
    QMenu* notes = info->addMenu(QStringLiteral("Release Notes"));
    notes->addAction(QStringLiteral("Studio Release Notes"), this, &TMainWindow::OnShowReleaseNotes);
    notes->addAction(QStringLiteral("Firmware Release Notes"), this, &TMainWindow::OnShowFirmwareReleaseNotes);
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
    m_tree->setHeaderLabels({QStringLiteral("Type"), QStringLiteral("Port"), QStringLiteral("Firmware")});
    m_tree->setRootIsDecorated(false);
    m_tree->header()->setStretchLastSection(true);
    connect(m_tree, &QTreeWidget::itemSelectionChanged, this, &TMainWindow::OnTreeSelectionChanged);
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
            action->setChecked(action->text() == name);
}

void TMainWindow::OnSetStyle(QAction* action)
{
    ApplyTheme(action->text());
    TSettings::Instance().SetMainTheme(action->text());
}

void TMainWindow::OnDeviceAdded(const QString& port)
{
    RefreshDeviceTree();
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

void TMainWindow::RefreshDeviceTree()
{
    const TDeviceManager& manager = TDeviceManager::Instance();
    const QSignalBlocker block(m_tree);
    m_tree->clear();
    for (const TRadioController* device : manager.Devices()) {
        const TKeyValueList& info = device->DeviceInfo();
        auto* item = new QTreeWidgetItem(m_tree, {info.Value(QStringLiteral("DeviceType"), QStringLiteral("n.a.")), device->PortName(),
                                                  info.Value(QStringLiteral("FWName"), QStringLiteral("n.a.")) + QLatin1Char(' ')
                                                      + info.Value(QStringLiteral("FWVersion"))});
        item->setIcon(0, QIcon(QStringLiteral(":/img/Device")));
        item->setData(0, Qt::UserRole, device->PortName());
        if (manager.IsSelected(device->PortName()))
            item->setSelected(true);
    }
    m_tree->resizeColumnToContents(0);
}

void TMainWindow::OnTreeSelectionChanged()
{
    const QList<QTreeWidgetItem*> items = m_tree->selectedItems();
    if (!items.isEmpty())
        TDeviceManager::Instance().SelectDevice(items.first()->data(0, Qt::UserRole).toString());
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

void TMainWindow::OnQuit()
{
    close();
}

void TMainWindow::OnLeftPanelTriggered()
{
    const bool hide = !m_leftPanel->isHidden();
    m_leftPanel->setVisible(!hide);
    m_leftPanelAction->setText(hide ? QStringLiteral("Show Left Control Panel") : QStringLiteral("Hide Left Control Panel"));
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
    const QString path = QCoreApplication::applicationDirPath() + QStringLiteral("/Documents/Velto_LoRaWAN_Tessera_UserGuide.pdf");
    if (!QFile::exists(path) || !QDesktopServices::openUrl(QUrl::fromLocalFile(path)))
        ShowBox(QMessageBox::Critical, QStringLiteral("Show User Guide - Error"),
                QStringLiteral("Please install a pdf document viewer and check if the file %1 is available!").arg(path));
}

void TMainWindow::OnShowFeatureOverview()
{
    const QString path = QCoreApplication::applicationDirPath() + QStringLiteral("/Documents/Velto_LoRaWAN_Tessera_Modem_Feature_Spec.pdf");
    if (!QFile::exists(path) || !QDesktopServices::openUrl(QUrl::fromLocalFile(path)))
        ShowBox(QMessageBox::Critical, QStringLiteral("Feature Overview - Error"), QStringLiteral("Sorry - the feature overview document is not available yet!"));
}

void TMainWindow::OnShowReleaseNotes()
{
    ShowTextDocument(QCoreApplication::applicationDirPath() + QStringLiteral("/Documents/ReleaseNotes.txt"), QStringLiteral("Studio Release Notes"));
}

void TMainWindow::OnShowFirmwareReleaseNotes()
{
    ShowTextDocument(QCoreApplication::applicationDirPath() + QStringLiteral("/FirmwareImages/ReleaseNotes.txt"), QStringLiteral("Firmware Release Notes"));
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

#include "gui/dialogs/TFirmwareUpdateDialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDebug>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

#include "devices/TDeviceManager.h"
#include "devices/TRadioController.h"
#include "firmware/TFirmwareImage.h"
#include "firmware/TFirmwareSupport.h"
#include "gui/dialogs/TBootloaderHelpDialog.h"
#include "hci/TVeltoLRHCI.h"
#include "settings/TSettings.h"
#include "status/TStatusLog.h"

namespace {
struct StateTexts {
    int state;
    const char* main;
    const char* sub;
};
// state  main text                                                     sub text
const StateTexts kStateTexts[] = {
    {TFirmwareUpdateDialog::StateConnectingTarget, "Connecting to Target...", "Please Wait!"},
    {TFirmwareUpdateDialog::StateSelectPort, "Please select a device from the dropdown list below!", "\nPlease press \"Continue\" when ready!"},
    {TFirmwareUpdateDialog::StateResetDevice, "Please reset the connected device and ensure that the \"Bootloader-Mode\" signal is active!",
     "\nPlease press \"Continue\" when ready!"},
    {TFirmwareUpdateDialog::StateConnectingBootloader, "Connecting to Bootloader...", "Please wait!"},
    {TFirmwareUpdateDialog::StateSelectImage, "Bootloader activated - Please select a Firmware Image for update!", ""},
    {TFirmwareUpdateDialog::StateReady, "Press \"Continue\" to start the firmware update process.", ""},
    {TFirmwareUpdateDialog::StateUpdating, "Updating Firmware Image - Please wait!", ""},
    {TFirmwareUpdateDialog::StateClosingBootloader, "Closing Bootloader - Please wait!", ""},
    {TFirmwareUpdateDialog::StateSuccess, "The Firmware Update was successful!", "Please press \"Close\" to continue!"},
};

enum Message {
    MsgNewerAvailable,
    MsgUpToDate,
    MsgOutdated,
    MsgUnidentified,
    MsgNoVersionKnown,
    MsgSingleRadio,
    MsgNoPort,
    MsgBootloaderConnected,
    MsgCouldntConnect,
    MsgWrongImage,
    MsgUnsupportedType,
    MsgCouldntLoad,
    MsgUpdateFailed,
    MsgUpdateDone,
    MsgStarting,
    MsgStartedByGo,
    MsgStartedByPins,
    MsgStartedByUser,
    MsgVerificationFailed,
    MsgCancelled,
};
// message                   main text                                                   sub text
const StateTexts kMessages[] = {
    {MsgNewerAvailable, "A new Firmware Version is available", "Press \"Continue\" to update the connected radio module."},
    {MsgUpToDate, "The Radio Firmware is up-to-date!", "Press \"Continue\" if you still like to update."},
    {MsgOutdated, "You are going to write an outdated firmware into the radio!", "Press \"Continue\" if you still like to update."},
    {MsgUnidentified, "The firmware version couldn't be identified!", "Press \"Continue\" if you still like to update."},
    {MsgNoVersionKnown, "Press \"Continue\" to start the Bootloader.", ""},
    {MsgSingleRadio, "Please connect only a single radio device for firmware update purpose!",
     "Please connect a single radio device or select a COM port manually and press \"Continue\" to proceed."},
    {MsgNoPort, "No COM Port available!", "Please select a COM Port first!"},
    {MsgBootloaderConnected, "Bootloader connected!", "Loading Firmware Image - Please wait!"},
    {MsgCouldntConnect, "Couldn't connect to Bootloader!", "Please close this dialog and try again!"},
    {MsgWrongImage, "Wrong image selected!", "Please select an %1 compatible firmware!"},
    {MsgUnsupportedType, "Unsupported device type connected!", "Continue with the update at your own risk!"},
    {MsgCouldntLoad, "Couldn't load Firmware Image!", "Please close this dialog and download & install this software again!"},
    {MsgUpdateFailed, "Firmware Update failed!", "Please close this dialog and try again!"},
    {MsgUpdateDone, "Firmware Update done!", "Verification in progress - Please wait!"},
    {MsgStarting, "Update Done! Starting Application.", "Please wait!"},
    {MsgStartedByGo, "Application started! Please press \"Continue\" to proceed!", ""},
    {MsgStartedByPins, "Update Done! Please press \"Continue\" to proceed!", ""},
    {MsgStartedByUser, "Update Done! Please reset the connected device and ensure that the\"Bootloader-Mode\" signal is inactive!",
     "\nPlease press \"Continue\" when ready."},
    {MsgVerificationFailed, "Firmware Update Verification failed!", "Please close this dialog and try again!"},
    {MsgCancelled, "Firmware Update cancelled!", "Press \"Continue\" to run the update again."},
};

const char* const kSource = "Firmware Update";
constexpr int kProgressPaintMs = 200;
const char* const kUnknown = "???";

QString Main(Message message)
{
    return QString::fromLatin1(kMessages[message].main);
}

QString Sub(Message message)
{
    return QString::fromLatin1(kMessages[message].sub);
}

void Trace(const QString& text)
{
    qDebug().noquote() << text;
}

QString VersionText(const TKeyValueList& info)
{
    const QString version = info.Value(QStringLiteral("FWVersion"));
    if (version.isEmpty())
        return QString::fromLatin1(kUnknown);
    const QString date = info.Value(QStringLiteral("BuildDate"));
    return date.isEmpty() ? version : QStringLiteral("%1 (%2)").arg(version, date);
}

/// A value label beside its caption; the caption's words are the value's accessible name.
QLabel* AddRow(QFormLayout* form, const QString& caption, QWidget* parent)
{
    auto* value = new QLabel(QString::fromLatin1(kUnknown), parent);
    value->setAccessibleName(QString(caption).remove(QLatin1Char(':')));
    value->setTextInteractionFlags(Qt::TextSelectableByMouse);
    form->addRow(caption, value);
    return value;
}

QPushButton* AddButton(QHBoxLayout* row, const QString& text, const QString& tip, QWidget* parent)
{
    auto* button = new QPushButton(text, parent);
    button->setToolTip(tip);
    button->setAccessibleName(text);
    button->setAutoDefault(false);
    row->addWidget(button);
    return button;
}
}

TFirmwareUpdateDialog::TFirmwareUpdateDialog(QWidget* parent)
    : QDialog(parent)
{
    setWindowTitle(QStringLiteral("Firmware Update"));
    TFirmwareSupport& support = TFirmwareSupport::Instance();
    const TSettings& settings = TSettings::Instance();
    if (support.Versions().isEmpty())
        support.Load(settings.FirmwareVersionsPath());
    QString error;
    if (!support.LoadDeviceTypes(settings.DeviceConfigPath(), &error))
        TStatusLog::Instance().AddStatusMessage(QString::fromLatin1(kSource), error);

    BuildWidgets();
    m_progressTimer.setSingleShot(true);
    m_progressTimer.setInterval(kProgressPaintMs);
    connect(&m_progressTimer, &QTimer::timeout, this, &TFirmwareUpdateDialog::ShowProgress);
    connect(&m_ctrl, &TBootloaderCtrl::onDeviceStatus, this, &TFirmwareUpdateDialog::OnDeviceStatus);
    connect(&m_ctrl, &TBootloaderCtrl::onFirmwareStatus, this, &TFirmwareUpdateDialog::OnFirmwareStatus);
    connect(&m_ctrl, &TBootloaderCtrl::onUpdateStatus, this, &TFirmwareUpdateDialog::OnUpdateStatus);
    connect(&m_ctrl, &TBootloaderCtrl::onApplicationStarted, this, &TFirmwareUpdateDialog::OnApplicationStarted);
    connect(&m_ctrl, &TBootloaderCtrl::EvStep, this, &TFirmwareUpdateDialog::OnStep);
    connect(&m_ctrl, &TBootloaderCtrl::EvBytes, this, &TFirmwareUpdateDialog::OnBytes);
    connect(&m_ctrl, &TBootloaderCtrl::EvFinished, this, &TFirmwareUpdateDialog::OnFinished);

    const QList<TRadioController*> devices = TDeviceManager::Instance().Devices();
    if (devices.size() == 1) {
        TRadioController* device = devices.first();
        m_deviceKnown = true;
        m_port = device->PortName();
        m_deviceInfo = device->DeviceInfo();
        m_baudrate = QString::number(TVeltoLRHCI::ParseBaudrate(device->BaudrateText()));
        ShowDevice();
        ShowVerdict();
        SetState(StateStart);
        return;
    }
    ShowDevice();
    m_ports->addItems(TDeviceManager::Instance().PresentPorts());
    m_port = m_ports->currentText();
    connect(m_ports, &QComboBox::currentTextChanged, this, [this](const QString& port) { m_port = port; });
    SetState(StateSelectPort);
    if (devices.size() > 1)
        ShowTexts(Main(MsgSingleRadio), Sub(MsgSingleRadio));
}

TFirmwareUpdateDialog::~TFirmwareUpdateDialog()
{
    m_ctrl.disconnect(this);
    HandBackPort();
}

void TFirmwareUpdateDialog::BuildWidgets()
{
    auto* layout = new QVBoxLayout(this);
    m_mainText = new QLabel(this);
    m_mainText->setObjectName(QStringLiteral("MainText"));
    m_mainText->setAccessibleName(QStringLiteral("Message"));
    m_mainText->setWordWrap(true);
    QFont bold = m_mainText->font();
    bold.setBold(true);
    m_mainText->setFont(bold);
    m_subText = new QLabel(this);
    m_subText->setAccessibleName(QStringLiteral("Instruction"));
    m_subText->setWordWrap(true);
    m_detailText = new QLabel(this);
    m_detailText->setAccessibleName(QStringLiteral("Details"));
    m_detailText->setWordWrap(true);
    m_detailText->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_detailText->hide();
    layout->addWidget(m_mainText);
    layout->addWidget(m_subText);
    layout->addWidget(m_detailText);

    auto* form = new QFormLayout;
    m_device = AddRow(form, QStringLiteral("Device:"), this);
    m_image = AddRow(form, QStringLiteral("Firmware Image:"), this);
    m_image->setText(QStringLiteral("none"));
    m_currentVersion = AddRow(form, QStringLiteral("Current Version:"), this);
    m_availableVersion = AddRow(form, QStringLiteral("Available Version:"), this);
    m_ports = new QComboBox(this);
    m_ports->setAccessibleName(QStringLiteral("COM Port"));
    m_portLabel = new QLabel(QStringLiteral("COM Port:"), this);
    m_portLabel->setBuddy(m_ports);
    form->addRow(m_portLabel, m_ports);
    layout->addLayout(form);

    m_eraseAll = new QCheckBox(QStringLiteral("Erase all (wipes the whole flash, a boot loader of the module's own included)"), this);
    m_eraseAll->setAccessibleName(m_eraseAll->text());
    layout->addWidget(m_eraseAll);
    m_progressBar = new QProgressBar(this);
    m_progressBar->setAccessibleName(QStringLiteral("Update progress"));
    m_progressBar->setRange(0, 100);
    m_progressBar->setValue(0);
    layout->addWidget(m_progressBar);
    m_progressText = new QLabel(this);
    m_progressText->setAccessibleName(QStringLiteral("Bytes, speed and time left"));
    layout->addWidget(m_progressText);

    auto* buttons = new QHBoxLayout;
    m_continue = AddButton(buttons, QStringLiteral("Continue"), QStringLiteral("start firmware update"), this);
    m_select = AddButton(buttons, QStringLiteral("Select Firmware"), QStringLiteral("select a firmware image"), this);
    m_cancel = AddButton(buttons, QStringLiteral("Cancel"), QStringLiteral("stop the update after the command on the line"), this);
    m_helpButton = AddButton(buttons, QStringLiteral("Show Help"), QStringLiteral("show additional help"), this);
    m_close = AddButton(buttons, QStringLiteral("Close"), QStringLiteral("close update dialog"), this);
    layout->addLayout(buttons);
    connect(m_continue, &QPushButton::clicked, this, &TFirmwareUpdateDialog::OnContinue);
    connect(m_select, &QPushButton::clicked, this, &TFirmwareUpdateDialog::OnSelectFirmware);
    connect(m_cancel, &QPushButton::clicked, this, &TFirmwareUpdateDialog::OnCancel);
    connect(m_helpButton, &QPushButton::clicked, this, &TFirmwareUpdateDialog::OnHelp);
    connect(m_close, &QPushButton::clicked, this, &TFirmwareUpdateDialog::OnClose);
    resize(560, 420);
}

QString TFirmwareUpdateDialog::MainText() const
{
    return m_mainText->text();
}

QString TFirmwareUpdateDialog::SubText() const
{
    return m_subText->text();
}

QString TFirmwareUpdateDialog::DetailText() const
{
    return m_detailText->text();
}

QString TFirmwareUpdateDialog::FirmwareImagesFolder()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/FirmwareImages");
}

QString TFirmwareUpdateDialog::StatusLine(int code)
{
    return QStringLiteral("Status(E%1) - ").arg(code, 3, 10, QLatin1Char('0')) + TBootloaderCtrl::StatusText(code);
}

void TFirmwareUpdateDialog::ShowDevice()
{
    if (!m_deviceKnown) {
        m_device->setText(QStringLiteral("No device connected"));
        return;
    }
    const QString type = m_deviceInfo.Value(QStringLiteral("DeviceType"), QString::fromLatin1(kUnknown));
    m_device->setText(QStringLiteral("%1 on %2").arg(type, m_port));
    m_currentVersion->setText(VersionText(m_deviceInfo));
    const QString available = TFirmwareSupport::Instance().AvailableVersion(m_deviceInfo);
    m_availableVersion->setText(available.isEmpty() ? QString::fromLatin1(kUnknown) : available);
}

void TFirmwareUpdateDialog::ShowVerdict()
{
    switch (TFirmwareSupport::Instance().VersionVerdict(m_deviceInfo)) {
    case TFirmwareSupport::NewerAvailable:
        ShowTexts(Main(MsgNewerAvailable), Sub(MsgNewerAvailable));
        break;
    case TFirmwareSupport::UpToDate:
        ShowTexts(Main(MsgUpToDate), Sub(MsgUpToDate));
        break;
    case TFirmwareSupport::DeviceIsNewer:
        ShowTexts(Main(MsgOutdated), Sub(MsgOutdated));
        break;
    case TFirmwareSupport::Unidentified:
        ShowTexts(Main(MsgUnidentified), Sub(MsgUnidentified));
        break;
    case TFirmwareSupport::NoVersionKnown:
        ShowTexts(Main(MsgNoVersionKnown), Sub(MsgNoVersionKnown));
        break;
    }
}

void TFirmwareUpdateDialog::SetState(int state)
{
    m_state = state;
    for (const StateTexts& row : kStateTexts)
        if (row.state == state)
            ShowTexts(QString::fromLatin1(row.main), QString::fromLatin1(row.sub));
    const bool choosingPort = state == StateSelectPort;
    m_portLabel->setVisible(choosingPort);
    m_ports->setVisible(choosingPort);
    UpdateButtons();
    emit EvStateChanged(state);
}

void TFirmwareUpdateDialog::ShowTexts(const QString& main, const QString& sub)
{
    m_mainText->setText(main);
    m_subText->setText(sub);
}

void TFirmwareUpdateDialog::ShowError(const QString& main, const QString& sub, int code, const QString& detail)
{
    Trace(QStringLiteral("OnStatus: %1").arg(code));
    const QString line = StatusLine(code) + (detail.isEmpty() ? QString() : QLatin1Char('\n') + detail);
    TStatusLog::Instance().AddStatusMessage(QString::fromLatin1(kSource), line);
    m_detailText->setText(line);
    m_detailText->show();
    ShowTexts(main, sub);
    SetState(StateError);
}

void TFirmwareUpdateDialog::UpdateButtons()
{
    const bool running = m_ctrl.IsRunning();
    const bool finished = m_state == StateSuccess || m_state == StateError;
    m_continue->setEnabled(!running && !finished && m_state != StateSelectImage);
    m_select->setEnabled(!running && !finished && m_state != StateStarted);
    m_eraseAll->setEnabled(!running && !finished && m_state != StateStarted);
    m_cancel->setVisible(running);
    m_close->setEnabled(!running);
}

QString TFirmwareUpdateDialog::ExpectedFirmwareName() const
{
    return TFirmwareSupport::Instance().FirmwareNameForType(m_deviceInfo.Value(QStringLiteral("DeviceType")));
}

void TFirmwareUpdateDialog::OnSelectFirmware()
{
    if (m_fileDialog)
        return;
    const QString type = m_deviceInfo.Value(QStringLiteral("DeviceType"));
    m_fileDialog = new QFileDialog(this, type.isEmpty() ? QStringLiteral("Open Firmware Image") : QStringLiteral("Open Firmware Image for ") + type,
                                   FirmwareImagesFolder(), QStringLiteral("HEX Files (*.hex)"));
    m_fileDialog->setAttribute(Qt::WA_DeleteOnClose);
    m_fileDialog->setFileMode(QFileDialog::ExistingFile);
    m_fileDialog->setOption(QFileDialog::DontUseNativeDialog);   // the same dialog everywhere, and reachable by tests
    connect(m_fileDialog, &QFileDialog::fileSelected, this, &TFirmwareUpdateDialog::SelectFirmwareFile);
    m_fileDialog->open();
}

void TFirmwareUpdateDialog::SelectFirmwareFile(const QString& path)
{
    if (m_ctrl.IsRunning())
        return;
    const QString expected = ExpectedFirmwareName();
    if (!expected.isEmpty() && !TFirmwareImage::NameFits(path, expected)) {
        ShowTexts(Main(MsgWrongImage), Sub(MsgWrongImage).arg(expected));
        return;
    }
    // Read and checked now, long before a bootloader is touched.
    TFirmwareImage image;
    const TFirmwareImage::LoadResult result = image.Load(path);
    if (result != TFirmwareImage::Loaded) {
        m_imageAccepted = false;
        ShowError(Main(MsgCouldntLoad), Sub(MsgCouldntLoad),
                  result == TFirmwareImage::Empty ? TBootloaderCtrl::FirmwareFileEmpty : TBootloaderCtrl::ImageNotLoaded, image.ErrorText());
        return;
    }
    m_imagePath = path;
    m_imageAccepted = true;
    m_image->setText(QFileInfo(path).fileName() + QStringLiteral(" (") + image.Identity().Text() + QLatin1Char(')'));
    TStatusLog::Instance().AddStatusMessage(QString::fromLatin1(kSource), QStringLiteral("info - firmware image %1 selected").arg(path));
    SetState(StateReady);
    if (expected.isEmpty())
        ShowTexts(Main(MsgUnsupportedType), Sub(MsgUnsupportedType));
}

void TFirmwareUpdateDialog::OnContinue()
{
    switch (m_state) {
    case StateStarted:
        // The new firmware runs: read its information and compare.
        m_confirming = true;
        SetState(StateConnectingTarget);
        m_progressBar->setValue(100);
        m_ctrl.ConfirmIdentity();
        UpdateButtons();
        return;
    case StateResetDevice:
        m_userReset = true;
        if (!m_imageAccepted) {
            SetState(StateSelectImage);
            return;
        }
        break;
    default:
        break;
    }
    OnStartBootLoader();
}

void TFirmwareUpdateDialog::OnStartBootLoader()
{
    Trace(QStringLiteral("OnStartBootLoader"));
    if (m_port.isEmpty()) {
        ShowTexts(Main(MsgNoPort), Sub(MsgNoPort));
        return;
    }
    TFirmwareSupport& support = TFirmwareSupport::Instance();
    const TFirmwareSupport::BootloaderPins pins =
        m_deviceKnown ? support.BootloaderPinsForType(m_deviceInfo.Value(QStringLiteral("DeviceType"))) : TFirmwareSupport::PinsNone;
    m_viaHci = m_deviceKnown && support.AcceptsHCIBootloaderMsg(m_deviceInfo);
    m_pinControl = pins != TFirmwareSupport::PinsNone;
    // Without a way of its own into the bootloader, the user puts the module there first.
    if (!m_viaHci && !m_pinControl && !m_userReset) {
        SetState(StateResetDevice);
        return;
    }
    if (!m_imageAccepted) {
        if (m_viaHci || m_pinControl)
            OnSelectFirmware();
        else
            SetState(StateSelectImage);
        return;
    }

    TBootloaderCtrl::Request request;
    request.port = m_port;
    request.imagePath = m_imagePath;
    request.viaHci = m_viaHci;
    request.baudrate = m_baudrate;
    request.expectName = ExpectedFirmwareName();
    request.confirmIdentity = false;   // after the user's "Continue"
    request.flags = TBootloaderCtrl::OptVerify | (m_eraseAll->isChecked() ? TBootloaderCtrl::OptEraseAll : 0u);
    if (!m_viaHci && pins == TFirmwareSupport::PinsBootReset)
        request.flags |= TBootloaderCtrl::OptFtdiBootReset;
    else if (!m_viaHci && pins == TFirmwareSupport::PinsBootOnly)
        request.flags |= TBootloaderCtrl::OptFtdiBootOnly;

    // The port is ours until the dialog closes: discovery leaves it alone.
    if (!m_released && TDeviceManager::Instance().StateOf(m_port) != TDeviceManager::StateNone) {
        TDeviceManager::Instance().ReleasePort(m_port);
        m_released = true;
    }
    m_connected = false;
    m_confirming = false;
    m_progress.Reset();
    m_progressText->clear();
    m_detailText->hide();
    m_detailText->clear();
    m_progressBar->setRange(0, 0);   // busy until bytes move
    m_ctrl.Run(request);
    UpdateButtons();
}

void TFirmwareUpdateDialog::OnStep(TBootloaderCtrl::Step step)
{
    switch (step) {
    case TBootloaderCtrl::StepEnterBootloader:
    case TBootloaderCtrl::StepConfirm:
        if (m_state != StateConnectingTarget)
            SetState(StateConnectingTarget);
        break;
    case TBootloaderCtrl::StepConnect:
        SetState(StateConnectingBootloader);
        break;
    case TBootloaderCtrl::StepErase:
    case TBootloaderCtrl::StepWrite:
        if (m_state != StateUpdating)
            SetState(StateUpdating);
        break;
    case TBootloaderCtrl::StepVerify:
        ShowTexts(Main(MsgUpdateDone), Sub(MsgUpdateDone));
        break;
    case TBootloaderCtrl::StepStart:
        ShowTexts(Main(MsgStarting), Sub(MsgStarting));
        break;
    default:
        break;
    }
    UpdateButtons();
}

void TFirmwareUpdateDialog::OnDeviceStatus(TBootloaderCtrl::StatusCode statusCode)
{
    Trace(QStringLiteral("OnDeviceStatus: ") + TBootloaderCtrl::StatusText(statusCode));
    m_connected = statusCode == TBootloaderCtrl::Success;
    if (m_connected)
        ShowTexts(Main(MsgBootloaderConnected), Sub(MsgBootloaderConnected));
}

void TFirmwareUpdateDialog::OnFirmwareStatus(TBootloaderCtrl::StatusCode statusCode)
{
    Trace(QStringLiteral("OnFirmwareStatus: ") + TBootloaderCtrl::StatusText(statusCode));
}

void TFirmwareUpdateDialog::OnUpdateStatus(TBootloaderCtrl::StatusCode statusCode)
{
    Trace(QStringLiteral("OnUpdateStatus: ") + TBootloaderCtrl::StatusText(statusCode));
    if (statusCode == TBootloaderCtrl::Success)
        SetState(StateClosingBootloader);
}

void TFirmwareUpdateDialog::OnBytes(quint64 done, quint64 total)
{
    m_progress.Update(done, total);
    // Painting takes longer than a bootloader's answer: the widgets follow a few times a second,
    // and at once for the last bytes.
    if (done == total)
        ShowProgress();
    else if (!m_progressTimer.isActive())
        m_progressTimer.start();
}

void TFirmwareUpdateDialog::ShowProgress()
{
    m_progressTimer.stop();
    if (m_progress.Total() > 0 && m_progressBar->maximum() == 0)
        m_progressBar->setRange(0, 100);
    m_progressBar->setValue(m_progress.Percent());
    m_progressText->setText(m_progress.Text());
}

void TFirmwareUpdateDialog::OnApplicationStarted()
{
    m_progressBar->setRange(0, 100);
    m_progressBar->setValue(100);
}

void TFirmwareUpdateDialog::OnFinished(TBootloaderCtrl::StatusCode statusCode, const QString& text)
{
    if (m_progressTimer.isActive())
        ShowProgress();
    m_progressBar->setRange(0, 100);
    if (statusCode == TBootloaderCtrl::Cancelled) {
        ShowTexts(Main(MsgCancelled), Sub(MsgCancelled));
        SetState(StateCancelled);
        return;
    }
    if (m_confirming) {
        m_confirming = false;
        if (statusCode != TBootloaderCtrl::Success) {
            ShowError(Main(MsgVerificationFailed), Sub(MsgVerificationFailed), statusCode, text);
            return;
        }
        const TKeyValueList& info = m_ctrl.Result().newFirmware;
        m_currentVersion->setText(VersionText(info));
        m_detailText->setText(QStringLiteral("info - the module runs ") + TFirmwareIdentity::FromFirmwareInfo(info).Text());
        m_detailText->show();
        TStatusLog::Instance().AddStatusMessage(QString::fromLatin1(kSource), m_detailText->text());
        SetState(StateSuccess);
        return;
    }
    if (statusCode == TBootloaderCtrl::Success) {
        // The new firmware starts: the user goes on when it has (the pins or Go started it, or the user resets it).
        const Message message = m_viaHci ? MsgStartedByGo : m_pinControl ? MsgStartedByPins : MsgStartedByUser;
        ShowTexts(Main(message), Sub(message));
        SetState(StateStarted);
        return;
    }
    if (statusCode == TBootloaderCtrl::ImageNotLoaded || statusCode == TBootloaderCtrl::FirmwareFileEmpty)
        ShowError(Main(MsgCouldntLoad), Sub(MsgCouldntLoad), statusCode, text);
    else if (!m_connected)
        ShowError(Main(MsgCouldntConnect), Sub(MsgCouldntConnect), statusCode, text);
    else
        ShowError(Main(MsgUpdateFailed), Sub(MsgUpdateFailed), statusCode, text);
}

void TFirmwareUpdateDialog::OnCancel()
{
    m_ctrl.Cancel();
}

void TFirmwareUpdateDialog::OnHelp()
{
    if (!m_help) {
        m_help = new TBootloaderHelpDialog(this);
        m_help->setAttribute(Qt::WA_DeleteOnClose);
    }
    m_help->show();
    m_help->raise();
}

void TFirmwareUpdateDialog::OnClose()
{
    if (m_ctrl.IsRunning())
        return;
    HandBackPort();
    accept();
}

void TFirmwareUpdateDialog::reject()
{
    // Escape or the window's close button: an update on the line is cancelled, never cut off.
    if (m_ctrl.IsRunning()) {
        m_ctrl.Cancel();
        return;
    }
    HandBackPort();
    QDialog::reject();
}

void TFirmwareUpdateDialog::HandBackPort()
{
    if (!m_released)
        return;
    m_released = false;
    TDeviceManager::Instance().ResumePort(m_port);
}

#include "gui/pages/TDeviceConfigPage.h"

#include <QDir>
#include <QEventLoop>
#include <QFileDialog>
#include <QFileInfo>
#include <QGroupBox>
#include <QPointer>
#include <QPushButton>
#include <QStandardPaths>
#include <QTimer>

#include "devices/TConfigTemplate.h"
#include "devices/TDeviceManager.h"
#include "devices/TRadioController.h"
#include "gui/TGuiItemList.h"
#include "gui/dialogs/TTemplatePreviewDialog.h"

namespace {
const char* const kDualRadioStack = "DualRadioStack";
const char* const kConfigChanged = "the module's configuration changed";

// The module names no bit of its extra options; each is offered by its place.
const char* const kExtraOptionBits = "1:Bit 0 (0x01),2:Bit 1 (0x02),4:Bit 2 (0x04),8:Bit 3 (0x08),"
                                     "16:Bit 4 (0x10),32:Bit 5 (0x20),64:Bit 6 (0x40),128:Bit 7 (0x80)";
}

TDeviceConfigPage::TDeviceConfigPage(const QString& title, QWidget* parent)
    : TFormPage(title, parent)
{
    // Rows in the order of the payload: the reserved bytes go back to the module as they were read.
    m_config = &AddGroup(QStringLiteral("Device Configuration"),
                         {QStringLiteral("GuiName:Reserved (Byte 0);GuiType:LineEdit;Key:Reserved;Value:0;GuiFlags:RO"),
                          QStringLiteral("GuiName:Power Saving;GuiType:CheckBox;Key:PowerSaving;Value:0;GuiFlags:Enabled"),
                          QStringLiteral("GuiName:Reserved (Byte 2);GuiType:LineEdit;Key:Reserved;Value:0;GuiFlags:RO"),
                          QStringLiteral("GuiName:Extra Options;GuiType:CheckButtonBox;Key:ExtraOptions;Value:0;GuiFlags:Vertical;ValueList:")
                              + QLatin1String(kExtraOptionBits)});
    AddButton(QStringLiteral("Get"), QStringLiteral("read the device configuration"),
              [this] { RunGetCommand(QStringLiteral("DeviceMgmt/GetDeviceConfig"), *m_config); });
    AddButton(QStringLiteral("Set"), QStringLiteral("write the device configuration"),
              [this] { RunSetCommand(QStringLiteral("DeviceMgmt/SetDeviceConfig"), *m_config); });
    AddConfirmedButton(QStringLiteral("Restore Factory Settings"), QStringLiteral("restore the factory settings"),
                       QStringLiteral("Restore the module's factory device configuration? Its own settings are lost."), [this] {
                           RunCommand(QStringLiteral("DeviceMgmt/ResetDeviceConfig"));
                       });

    m_stack = &AddChoice(QStringLiteral("Radio Stack"), "RadioStack", "0:LoRaWAN,1:Point-to-Point", QStringLiteral("choose the radio stack"));
    m_mode = &AddChoice(QStringLiteral("Operation Mode"), "OperationMode", "0:Standard,1:Production Test", QStringLiteral("set the operation mode"));

    AddGroup(QStringLiteral("Restart"), {});
    AddButton(QStringLiteral("Reset Device"), QStringLiteral("restart the module"), [this] { ResetDevice(); });

    // Options of the template file only: never sent to the module.
    m_template = &AddGroup(QStringLiteral("Configuration Template"),
                           {QStringLiteral("GuiName:Include Keys;GuiType:CheckBox;Key:WithKeys;Value:0;GuiFlags:Enabled"),
                            QStringLiteral("GuiName:Include Device Values;GuiType:CheckBox;Key:WithDeviceValues;Value:0;GuiFlags:Enabled")});
    AddButton(QStringLiteral("Export..."), QStringLiteral("export the module's configuration as a template"), [this] {
        const QString path = QFileDialog::getSaveFileName(
            this, QStringLiteral("Export Configuration Template"),
            QDir(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation)).filePath(QStringLiteral("unit.json")),
            QStringLiteral("Configuration Templates (*.json)"));
        if (!path.isEmpty())
            Export(path);
    });
    AddButton(QStringLiteral("Apply..."), QStringLiteral("apply a configuration template"), [this] {
        const QString path = QFileDialog::getOpenFileName(this, QStringLiteral("Apply Configuration Template"),
                                                          QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation),
                                                          QStringLiteral("Configuration Templates (*.json)"));
        if (!path.isEmpty())
            Apply(path);
    });
    Finish();

    connect(&TDeviceManager::Instance(), &TDeviceManager::EvDeviceSelectionChanged, this, &TDeviceConfigPage::ShowFeatures);
    ShowFeatures();
}

TGuiItemList& TDeviceConfigPage::AddChoice(const QString& title, const char* key, const char* choices, const QString& setWhat)
{
    const QString name = QLatin1String(key);
    TGuiItemList& group = AddGroup(title, {QStringLiteral("GuiName:%1;GuiType:ComboBox;Key:%2;Value:n.a.;GuiFlags:IdList;ValueList:%3")
                                               .arg(title, name, QLatin1String(choices))});
    AddButton(QStringLiteral("Get ") + title, QStringLiteral("read the ") + title.toLower(),
              [this, &group, name] { RunGetCommand(QStringLiteral("DeviceMgmt/Get") + name, group); });
    AddButton(QStringLiteral("Set ") + title, setWhat, [this, &group, name] { RunSetCommand(QStringLiteral("DeviceMgmt/Set") + name, group); });
    return group;
}

void TDeviceConfigPage::ShowFeatures()
{
    const TRadioController* device = TDeviceManager::Instance().SelectedDevice();
    GroupBox(QStringLiteral("Radio Stack"))->setVisible(device && device->HasFeature(QString::fromLatin1(kDualRadioStack)));
}

void TDeviceConfigPage::RefreshPage()
{
    ShowFeatures();
}

void TDeviceConfigPage::DeviceTypeChanged(const QString& deviceType)
{
    Q_UNUSED(deviceType);
    ShowFeatures();
}

void TDeviceConfigPage::DeviceConfigChanged()
{
    // Whatever changed the module's configuration (this page, another page, a template), the values
    // read from it are read again while the page is in view, and marked out of date otherwise.
    const TRadioController* device = TDeviceManager::Instance().SelectedDevice();
    if (!device)
        return;
    const QString port = device->PortName();
    const std::pair<TGuiItemList*, const char*> groups[] = {
        {m_config, "DeviceMgmt/GetDeviceConfig"},
        {m_stack, "DeviceMgmt/GetRadioStack"},
        {m_mode, "DeviceMgmt/GetOperationMode"},
    };
    QList<std::pair<TGuiItemList*, const char*>> again;
    for (const auto& group : groups) {
        if (!group.first->ReadTime().isValid() || group.first->ReadFrom() != port)
            continue;
        if (isVisible() && !IsCommandRunning())
            again << group;
        else
            group.first->MarkStale(QString::fromLatin1(kConfigChanged));
    }
    if (again.isEmpty())
        return;
    // A read again that succeeds leaves the result line saying how the user's last action ended.
    const TCommandOutcome before = LastOutcome();
    RunAction(nullptr, QStringLiteral("read the changed configuration"), [&] {
        bool read = true;
        for (const auto& group : again)
            read = RunGetCommand(QLatin1String(group.second), *group.first) && read;
        if (read)
            SetActionOutcome(before);
    });
}

void TDeviceConfigPage::ResetDevice()
{
    TRadioController* device = TDeviceManager::Instance().SelectedDevice();
    const QString port = device ? device->PortName() : QString();
    QPointer<TRadioController> alive(device);
    QEventLoop wait;
    int powerUps = 0;
    bool gone = false;
    QMetaObject::Connection announced;
    if (device) {
        announced = connect(device, &TRadioController::EvDeviceMgmt_PowerUpEvent, this, [&] {
            ++powerUps;
            wait.quit();
        });
        connect(device, &QObject::destroyed, &wait, &QEventLoop::quit);
        connect(&TDeviceManager::Instance(), &TDeviceManager::EvLocalDeviceRemoved, &wait, [&](const QString& removed) {
            gone = gone || removed == port;
            if (gone)
                wait.quit();
        });
    }
    const bool answered = RunCommand(QStringLiteral("DeviceMgmt/ResetDevice"));
    if (answered && powerUps == 0 && alive && !gone) {
        // The module answers first and restarts after: its power-up event says it is back.
        QTimer::singleShot(m_powerUpTimeoutMs, &wait, &QEventLoop::quit);
        wait.exec();
    }
    disconnect(announced);
    if (!answered)
        return;
    if (powerUps > 0) {
        m_mode->MarkStale(QStringLiteral("the module restarted"));
        SetActionOutcome(TCommandOutcome(TCommandOutcome::Ok, QStringLiteral("%1 (%2)").arg(QLatin1String(kRestarted), TCommandOutcome::Now())));
    } else if (!alive || gone) {
        SetActionOutcome(TCommandOutcome::Failure(QString(), m_powerUpTimeoutMs, true));
    } else {
        SetActionOutcome(TCommandOutcome(TCommandOutcome::Timeout,
                                         QStringLiteral("The module answered the reset but did not announce itself within %1 s")
                                             .arg(m_powerUpTimeoutMs / 1000.0)));
    }
}

bool TDeviceConfigPage::RunTemplate(TConfigTemplate& configTemplate, const std::function<bool(TRadioController&)>& call)
{
    return RunOnDevice([&](TRadioController& device, QString& error) {
        if (call(device))
            return true;
        error = configTemplate.ErrorText();
        return false;
    });
}

bool TDeviceConfigPage::ExportTemplate(const QString& path)
{
    return RunAction(Button(QStringLiteral("Export...")), QStringLiteral("export the module's configuration as a template"),
                     [this, &path] { Export(path); });
}

bool TDeviceConfigPage::ApplyTemplate(const QString& path)
{
    return RunAction(Button(QStringLiteral("Apply...")), QStringLiteral("apply a configuration template"), [this, &path] { Apply(path); });
}

void TDeviceConfigPage::Export(const QString& path)
{
    const TKeyValueList options = m_template->ReadKeyValues();
    TConfigTemplate::Options chosen = TConfigTemplate::NoOptions;
    if (options.Value(QStringLiteral("WithKeys")) == QLatin1String("1"))
        chosen |= TConfigTemplate::WithKeys;
    if (options.Value(QStringLiteral("WithDeviceValues")) == QLatin1String("1"))
        chosen |= TConfigTemplate::WithDeviceValues;
    TConfigTemplate configTemplate;
    if (!RunTemplate(configTemplate, [&](TRadioController& device) { return configTemplate.Export(device, chosen); }))
        return;
    if (!configTemplate.Save(path)) {
        SetActionOutcome(TCommandOutcome(TCommandOutcome::LocalError, configTemplate.ErrorText()));
        return;
    }
    SetActionOutcome(TCommandOutcome::Success(
        QStringLiteral("exported %1 settings to %2").arg(configTemplate.Settings().size()).arg(QFileInfo(path).fileName()), TCommandOutcome::Now()));
}

void TDeviceConfigPage::Apply(const QString& path)
{
    TConfigTemplate configTemplate;
    if (!configTemplate.Load(path)) {
        SetActionOutcome(TCommandOutcome(TCommandOutcome::LocalError, configTemplate.ErrorText()));
        return;
    }
    const QString name = QFileInfo(path).fileName();
    QList<TConfigTemplate::Difference> differences;
    if (!RunTemplate(configTemplate, [&](TRadioController& device) { return configTemplate.Compare(device, differences); }))
        return;
    if (differences.isEmpty()) {
        SetActionOutcome(TCommandOutcome::Success(QStringLiteral("the module already matches %1").arg(name), TCommandOutcome::Now()));
        return;
    }
    TTemplatePreviewDialog preview(name, differences, this);
    if (preview.exec() != QDialog::Accepted) {
        SetActionOutcome(TCommandOutcome(TCommandOutcome::None, QStringLiteral("info - %1 not applied: nothing was sent").arg(name)));
        return;
    }
    if (RunTemplate(configTemplate, [&](TRadioController& device) { return configTemplate.Apply(device); }))
        SetActionOutcome(TCommandOutcome::Success(
            QStringLiteral("applied %1 settings of %2; the module matches the template").arg(configTemplate.Sent().size()).arg(name), TCommandOutcome::Now()));
}

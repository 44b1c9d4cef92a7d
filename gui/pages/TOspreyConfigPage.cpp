#include "gui/pages/TOspreyConfigPage.h"

#include <QTimer>

#include <cmath>

#include "devices/TDeviceManager.h"
#include "devices/TRadioController.h"
#include "gui/TGuiItemList.h"
#include "gui/pages/TLayoutParams.h"
#include "sap/DataLinkLayouts.h"
#include "sap/TDataLinkSAP.h"

namespace {
const QString kGetCommand = QStringLiteral("DataLink/GetRadioConfig");
const QString kFrequency = QStringLiteral("Frequency");
constexpr double kHzPerMHz = 1e6;

/// The rows, under the labels the module's documentation gives them. "LBT Threshold" and
/// "Automatic Power Paving" only show what the module reports: a set request has no field for them.
QStringList Descriptors()
{
    const QString frequency = QStringLiteral("GuiName:Frequency;GuiType:LineEdit;Key:Frequency;Value:n.a.;MinValue:137.0;MaxValue:1020.0;"
                                             "Unit:MHz;GuiFlags:F_6;Scaler:%1")
                                  .arg(DataLinkLayouts::kFrequencyStepHz / kHzPerMHz, 0, 'g', 17);
    return {
        QStringLiteral("GuiName:Radio Mode;GuiType:ComboBox;Key:RadioMode;Value:n.a.;GuiFlags:IdList;ValueList:0:Standard,1:Sniffer"),
        QStringLiteral("GuiName:Group Address;GuiType:LineEdit;Key:RxGroupAddress;Value:n.a.;MinValue:0;MaxValue:0xFF"),
        QStringLiteral("GuiName:Device Address;GuiType:LineEdit;Key:RxDeviceAddress;Value:n.a.;MinValue:0;MaxValue:0xFFFF"),
        QStringLiteral("GuiName:Modulation;GuiType:ComboBox;Key:Modulation;Value:n.a.;GuiFlags:IdList;ValueList:0:LoRa,1:FSK"),
        frequency,
        QStringLiteral("GuiName:Bandwidth;GuiType:ComboBox;Key:Bandwidth;Value:n.a.;GuiFlags:IdList;ValueList:0:125 kHz,1:250 kHz,2:500 kHz"),
        QStringLiteral("GuiName:Spreading Factor;GuiType:ComboBox;Key:Spreading;Value:n.a.;GuiFlags:IdList;"
                       "ValueList:7:SF7,8:SF8,9:SF9,10:SF10,11:SF11,12:SF12"),
        QStringLiteral("GuiName:Error Coding;GuiType:ComboBox;Key:ErrorCoding;Value:n.a.;GuiFlags:IdList;ValueList:1:4/5,2:4/6,3:4/7,4:4/8"),
        QStringLiteral("GuiName:Power Level;GuiType:LineEdit;Key:PowerLevel;Value:n.a.;MinValue:-4;MaxValue:20;Unit:dBm"),
        QStringLiteral("GuiName:Rx Options;GuiType:ComboBox;Key:RxCtrl;Value:n.a.;GuiFlags:IdList;"
                       "ValueList:0:receiver off,1:receiver always on,2:receiver open for the Rx window after sending"),
        QStringLiteral("GuiName:Rx Window;GuiType:LineEdit;Key:RxWindow;Value:n.a.;MinValue:0;MaxValue:65535;Unit:ms"),
        QStringLiteral("GuiName:FSK Datarate;GuiType:ComboBox;Key:FSKDataRate;Value:n.a.;GuiFlags:IdList;ValueList:0:50 kbps,1:100 kbps,2:250 kbps"),
        QStringLiteral("GuiName:Miscellaneous Options;GuiType:CheckButtonBox;Key:ExtraOptions;Value:0;"
                       "ValueList:1:Rx Info (RSSI/SNR/Time),2:AES Encryption/Decryption"),
        QStringLiteral("GuiName:LBT Threshold;GuiType:LineEdit;Key:LBTThreshold;Value:n.a.;GuiFlags:RO;Unit:dBm"),
        QStringLiteral("GuiName:Automatic Power Paving;GuiType:CheckBox;Key:AutoPowerSaving;Value:0"),
        QStringLiteral("GuiName:NVM (store permanently);GuiType:CheckBox;Key:NVM;Value:0;GuiFlags:Enabled"),
    };
}

/// "868.1" (MHz) as synthesiser steps ("14223155"); unchanged when it is no number.
QString SynthesiserWord(const QString& megahertz)
{
    bool ok = false;
    const double mhz = megahertz.trimmed().toDouble(&ok);
    return ok ? QString::number(std::llround(mhz * kHzPerMHz / DataLinkLayouts::kFrequencyStepHz)) : megahertz;
}
}

TOspreyConfigPage::TOspreyConfigPage(const QString& title, QWidget* parent)
    : TFormPage(title, parent)
{
    m_config = &AddGroup(QString::fromLatin1(kGroup), Descriptors());
    AddButton(QStringLiteral("Get"), QStringLiteral("read the radio configuration"), [this] { RunGetCommand(kGetCommand, *m_config); });
    AddButton(QStringLiteral("Set"), QStringLiteral("write the radio configuration"), [this] { Write(); });
    AddButton(QStringLiteral("Reset"), QStringLiteral("restore the module's default radio configuration"), [this] { Reset(); });
    Finish();
    FollowModules([this](TRadioController* device) { Follow(device); });
}

TKeyValueList TOspreyConfigPage::SetParameters(const TKeyValueList& rows)
{
    TKeyValueList parameters;
    for (const TFieldLayoutEntry* field = DataLinkLayouts::kRadioConfig; field->name; ++field) {
        const QString name = QLatin1String(field->name);
        if (name == QLatin1String("Reserved") || !rows.Contains(name))
            continue;
        QString value = rows.Value(name);
        if (name == kFrequency)
            value = SynthesiserWord(value);
        else
            value = TLayoutParams::Written(value, field->type);
        parameters.Append(name, value);
    }
    return parameters;
}

void TOspreyConfigPage::Write()
{
    if (!CheckInput(*m_config))
        return;
    if (RunCommand(QStringLiteral("DataLink/SetRadioConfig"), SetParameters(m_config->ReadKeyValues())))
        RunGetCommand(kGetCommand, *m_config);   // what the module took, with what it reports besides
}

void TOspreyConfigPage::Reset()
{
    if (RunCommand(QStringLiteral("DataLink/ResetRadioConfig")))
        RunGetCommand(kGetCommand, *m_config);
}

void TOspreyConfigPage::Follow(TRadioController* device)
{
    auto* dataLink = qobject_cast<TDataLinkSAP*>(device->SAP(QStringLiteral("DataLink")));
    if (!dataLink)
        return;
    const QString port = device->PortName();
    connect(dataLink, &TDataLinkSAP::EvDataLink_ConfigChanged, this, [this, port] { OnConfigChanged(port); });
}

void TOspreyConfigPage::OnConfigChanged(const QString& port)
{
    // This page's "Set" and "Reset" read the configuration back themselves; values never read, or
    // read from another module, have nothing to refresh.
    if (IsCommandRunning() || m_refreshQueued || !m_config->ReadTime().isValid() || m_config->ReadFrom() != port)
        return;
    m_refreshQueued = true;
    // The change was reported inside another page's action: read once that has ended.
    QTimer::singleShot(0, this, [this, port] {
        m_refreshQueued = false;
        TRadioController* device = TDeviceManager::Instance().SelectedDevice();
        if (!device || device->PortName() != port)
            return;
        if (device->IsBusy() || IsCommandRunning()) {
            m_config->MarkStale(QStringLiteral("the module's radio configuration was changed"));
            return;
        }
        RunAction(nullptr, QStringLiteral("read the changed radio configuration"), [this] { RunGetCommand(kGetCommand, *m_config); });
    });
}

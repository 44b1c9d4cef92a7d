#include "gui/pages/TFactoryPage.h"

#include <QLineEdit>

#include "base/THexText.h"
#include "devices/TDeviceManager.h"
#include "devices/TRadioController.h"
#include "gui/TGuiItemList.h"
#include "sap/ProductionSupportLayouts.h"
#include "sap/TFieldLayout.h"

namespace P = ProductionSupportLayouts;

namespace {
// Hexadecimal fields are typed with their "0x", so that "100" can never mean two things.
const char* const kHex32 = "Mask:\\0\\xHHHHHHHH";
const char* const kHex16 = "Mask:\\0\\xHHHH";
constexpr int kPinLevelsRow = 2;   ///< display only: what the pins read back
}

TFactoryPage::TFactoryPage(const QString& title, QWidget* parent)
    : TFormPage(title, parent)
{
    m_id = &AddGroup(QStringLiteral("Device ID"),
                     {QStringLiteral("GuiName:Device ID;GuiType:LineEdit;Key:DeviceID;Value:0x00000000;") + QLatin1String(kHex32)});
    AddButton(QStringLiteral("Set Device ID"), QStringLiteral("set the device ID"),
              [this] { RunSetCommand(QStringLiteral("PTS/SetDeviceID"), *m_id, TFieldLayout::ParameterNames(P::kDeviceID)); });

    AddGroup(QStringLiteral("Factory Settings"), {});
    AddConfirmedButton(QStringLiteral("Factory Reset"), QStringLiteral("restore the factory settings"),
                       QStringLiteral("Restore the module's factory settings? Calibration values go back to their defaults; "
                                      "the radio test, the GPIO outputs and the clock output are switched off."),
                       [this] {
                           RunCommand(QStringLiteral("PTS/FactoryReset"));
                       });

    TGuiItemList& offset = AddGroup(QStringLiteral("Frequency Offset"),
                                    {QStringLiteral("GuiName:Frequency Offset;GuiType:LineEdit;Key:FrequencyOffset;Value:0;MinValue:-32768;MaxValue:32767;Unit:Hz")});
    AddButton(QStringLiteral("Set Frequency Offset"), QStringLiteral("set the crystal frequency offset"),
              [this, &offset] { RunSetCommand(QStringLiteral("PTS/SetFrequencyOffset"), offset, TFieldLayout::ParameterNames(P::kFrequencyOffset)); });

    TGuiItemList& calibration = AddGroup(
        QStringLiteral("Calibration Value"),
        {QStringLiteral("GuiName:Calibration ID;GuiType:LineEdit;Key:CalibrationID;Value:1;MinValue:0;MaxValue:65535"),
         QStringLiteral("GuiName:Calibration Value;GuiType:LineEdit;Key:CalibrationValue;Value:n.a.;MinValue:-32768;MaxValue:32767")});
    AddButton(QStringLiteral("Get Calibration Value"), QStringLiteral("read the calibration value"), [this, &calibration] {
        RunSetCommand(QStringLiteral("PTS/GetCalibrationValue"), calibration, TFieldLayout::ParameterNames(P::kCalibrationID));
    });
    AddButton(QStringLiteral("Set Calibration Value"), QStringLiteral("write the calibration value"), [this, &calibration] {
        RunSetCommand(QStringLiteral("PTS/SetCalibrationValue"), calibration, TFieldLayout::ParameterNames(P::kCalibrationValue));
    });
    AddNote(QStringLiteral("Calibration IDs: 1 crystal frequency offset (Hz), 2 RSSI offset (dB), 3 transmit power offset (0.1 dB), "
                           "4 temperature sensor offset (0.1 °C)."));

    TGuiItemList& measurement = AddGroup(
        QStringLiteral("Measurement"),
        {QStringLiteral("GuiName:Measurement ID;GuiType:LineEdit;Key:MeasurementID;Value:1;MinValue:0;MaxValue:65535"),
         QStringLiteral("GuiName:Measurement Value;GuiType:LineEdit;Key:MeasurementValue;Value:n.a.;GuiFlags:RO")});
    AddButton(QStringLiteral("Get Measurement Value"), QStringLiteral("read the measurement"), [this, &measurement] {
        RunSetCommand(QStringLiteral("PTS/GetMeasurementValue"), measurement, TFieldLayout::ParameterNames(P::kMeasurementID));
    });
    AddNote(QStringLiteral("Measurement IDs: 1 supply voltage (mV), 2 temperature (0.1 °C), 3 RSSI on the test frequency "
                           "(dBm, during the receive test), 4 levels of the GPIO test pins (bit n = pin n)."));

    TGuiItemList& clock = AddGroup(
        QStringLiteral("Clock Output"),
        {QStringLiteral("GuiName:Clock Output;GuiType:CheckBox;Key:ClockOutput;Value:0;GuiFlags:Enabled"),
         QStringLiteral("GuiName:Clock Source;GuiType:ComboBox;Key:ClockSource;Value:n.a.;GuiFlags:IdList;"
                        "ValueList:0:LSE 32.768 kHz,1:HSE 32 MHz,2:HSI 16 MHz,3:System Clock"),
         QStringLiteral("GuiName:Prescaler;GuiType:ComboBox;Key:Prescaler;Value:n.a.;GuiFlags:IdList;ValueList:1:1,2:2,4:4,8:8,16:16"),
         QStringLiteral("GuiName:Duration;GuiType:LineEdit;Key:Duration;Value:0;MinValue:0;MaxValue:65535;Unit:s")});
    AddButton(QStringLiteral("Set Clock Output"), QStringLiteral("set the clock output"),
              [this, &clock] { RunSetCommand(QStringLiteral("PTS/SetClockOutput"), clock, TFieldLayout::ParameterNames(P::kClockOutput)); });
    AddNote(QStringLiteral("A duration of 0 s keeps the clock output on until it is switched off."));

    m_gpio = &AddGroup(QStringLiteral("GPIO Ports"),
                       {QStringLiteral("GuiName:Output Mask;GuiType:LineEdit;Key:OutputMask;Value:0x0000;") + QLatin1String(kHex16),
                        QStringLiteral("GuiName:Output Levels;GuiType:LineEdit;Key:OutputLevels;Value:0x0000;") + QLatin1String(kHex16),
                        QStringLiteral("GuiName:Pin Levels;GuiType:LineEdit;Value:n.a.;GuiFlags:RO")});
    AddButton(QStringLiteral("Set GPIO Ports"), QStringLiteral("drive the GPIO test pins"),
              [this] { RunSetCommand(QStringLiteral("PTS/SetGPIOPorts"), *m_gpio, TFieldLayout::ParameterNames(P::kGPIOPorts)); });
    AddButton(QStringLiteral("Read Pin Levels"), QStringLiteral("read the levels of the GPIO test pins"), [this] { ReadPinLevels(); });
    Finish();

    connect(&TDeviceManager::Instance(), &TDeviceManager::EvDeviceSelectionChanged, this, &TFactoryPage::ShowDeviceId);
    ShowDeviceId();
}

void TFactoryPage::RefreshPage()
{
    ShowDeviceId();
}

void TFactoryPage::ShowDeviceId()
{
    const TRadioController* device = TDeviceManager::Instance().SelectedDevice();
    const QString id = device ? device->DeviceInfo().Value(QStringLiteral("DeviceID")) : QString();
    if (id.isEmpty())
        return;
    TKeyValueList known;
    known.Append(QStringLiteral("DeviceID"), QStringLiteral("0x") + id);
    m_id->SetItems(known, false);
}

void TFactoryPage::ReadPinLevels()
{
    // There is no request that reads the GPIO outputs: the pins' levels are a measurement.
    TKeyValueList request;
    request.Append(QStringLiteral("MeasurementID"), qint64(P::kMeasGpioLevels));
    TKeyValueList result;
    auto* levels = qobject_cast<QLineEdit*>(m_gpio->Editor(kPinLevelsRow));
    if (!RunCommand(QStringLiteral("PTS/GetMeasurementValue"), request, result)) {
        levels->setText(TGuiItemList::kNotAvailable);
        return;
    }
    const quint16 bits = quint16(result.Value(QStringLiteral("MeasurementValue")).toInt());
    levels->setText(THexText::Prefixed(bits, 4));
}

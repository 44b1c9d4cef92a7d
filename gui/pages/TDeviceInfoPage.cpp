#include "gui/pages/TDeviceInfoPage.h"

#include <QDateTime>

#include "base/TSystemMemory.h"
#include "devices/TRadioController.h"
#include "gui/TGuiItemList.h"

namespace {
QString Row(const char* name, const char* key)
{
    return QStringLiteral("GuiName:%1;GuiType:LineEdit;Key:%2;Value:n.a.;GuiFlags:RO").arg(QLatin1String(name), QLatin1String(key));
}
}

TDeviceInfoPage::TDeviceInfoPage(const QString& title, QWidget* parent)
    : TFormPage(title, parent)
{
    AddGroup(QStringLiteral("Device"), {Row("Device Type", "DeviceType"), Row("Device Address", "DeviceAddress"), Row("Device ID", "DeviceID"),
                                        Row("Port", "Port"), Row("Baud Rate", "Baudrate")});
    AddGroup(QStringLiteral("Firmware"), {Row("Firmware", "FWName"), Row("Version", "FWVersion"), Row("Build Count", "BuildCount"),
                                          Row("Build Date", "BuildDate"), Row("Radio Stack", "RadioStack"), Row("Band", "Band"),
                                          Row("Application", "AppName")});
    AddGroup(QStringLiteral("System Status"), {Row("System Tick Res", "SystemTickRes"), Row("Tx U-Data", "TxUData"), Row("Tx C-Data", "TxCData"),
                                               Row("Tx Error", "TxError"), Row("Rx Packets", "RadioNumRxPackest"),
                                               Row("Rx Address Valid", "RadioNumRxAddressOk"), Row("Rx CRC Error", "RadioNumRxCRCErrors")});
    AddGroup(QStringLiteral("Studio"), {Row("Free Memory", "FreeMem")});
    AddButton(QStringLiteral("Get"), QStringLiteral("read device, firmware and system status"), [this] { OnGet(); });
    Finish();
}

void TDeviceInfoPage::OnGet()
{
    if (RunGetCommand(QStringLiteral("DeviceMgmt/GetDeviceInfo"), *Group(QStringLiteral("Device")))) {
        TKeyValueList link;
        if (TRadioController* device = GetSelectedDevice()) {
            link.Append(QStringLiteral("Port"), device->PortName());
            link.Append(QStringLiteral("Baudrate"), device->BaudrateText());
        }
        Group(QStringLiteral("Device"))->SetItems(link, false);
        RunGetCommand(QStringLiteral("DeviceMgmt/GetFirmwareInfo"), *Group(QStringLiteral("Firmware")));
        RunGetCommand(QStringLiteral("DeviceMgmt/GetSystemStatus"), *Group(QStringLiteral("System Status")));
    }
    RefreshPage();
}

void TDeviceInfoPage::RefreshPage()
{
    // What discovery already knows is shown without asking the module again.
    TKeyValueList memory;
    memory.Append(QStringLiteral("FreeMem"), TSystemMemory::FreeMemItem().section(QStringLiteral(";Value:"), 1));
    Group(QStringLiteral("Studio"))->SetItems(memory);
    if (TRadioController* device = IsSilent() ? GetSelectedDevice() : nullptr) {
        for (const char* name : {"Device", "Firmware"}) {
            TGuiItemList* group = Group(QString::fromLatin1(name));
            group->SetItems(device->DeviceInfo(), false);
            group->MarkRead(device->PortName(), QDateTime::currentDateTime());
        }
    }
}

#include "gui/pages/THCIConfigPage.h"

#include "gui/TGuiItemList.h"
#include "hci/TVeltoLRHCI.h"

THCIConfigPage::THCIConfigPage(const QString& title, QWidget* parent)
    : TFormPage(title, parent)
{
    TGuiItemList& hci = AddGroup(QStringLiteral("HCI Configuration"),
                                 {QStringLiteral("GuiName:Store in NVM;GuiType:CheckBox;Key:NVM;Value:0;GuiFlags:Enabled"),
                                  QStringLiteral("GuiName:Baud Rate ID;GuiType:SpinBox;Key:BaudrateID;Value:4;MinValue:0;MaxValue:6"),
                                  QStringLiteral("GuiName:Wake-up Chars;GuiType:SpinBox;Key:NumWakeupChars;Value:40;MinValue:0;MaxValue:1000"),
                                  QStringLiteral("GuiName:Tx Time-out;GuiType:SpinBox;Key:TxTimeout;Value:0;MinValue:0;MaxValue:255"),
                                  QStringLiteral("GuiName:Rx Time-out;GuiType:SpinBox;Key:RxTimeout;Value:0;MinValue:0;MaxValue:255")});
    AddButton(QStringLiteral("Get"), QStringLiteral("read the HCI configuration"), [this, &hci] { RunGetCommand(QStringLiteral("DeviceMgmt/GetHCIConfig"), hci); });
    AddButton(QStringLiteral("Set"), QStringLiteral("write the HCI configuration"), [this, &hci] { RunSetCommand(QStringLiteral("DeviceMgmt/SetHCIConfig"), hci); });

    QStringList rates;
    for (int rate : TVeltoLRHCI::SupportedBaudrates())
        if (rate <= TVeltoLRHCI::kDefaultBaudrate)
            rates << QStringLiteral("%1 bps").arg(rate);
    TGuiItemList& local = AddGroup(QStringLiteral("Local Baud Rate"),
                                   {QStringLiteral("GuiName:Baud Rate;GuiType:ComboBox;Key:Baudrate;Value:115200 bps;ValueList:") + rates.join(QLatin1Char(','))});
    AddButton(QStringLiteral("Get Local"), QStringLiteral("the baud rate the studio uses on this port"),
              [this, &local] { RunGetCommand(QStringLiteral("DeviceMgmt/GetLocalBaudrate"), local); });
    AddButton(QStringLiteral("Set Local"), QStringLiteral("switch the studio's side of the link"),
              [this, &local] { RunSetCommand(QStringLiteral("DeviceMgmt/SetLocalBaudrate"), local); });
    Finish();
}

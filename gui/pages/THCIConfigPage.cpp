#include "gui/pages/THCIConfigPage.h"

#include "gui/TGuiItemList.h"
#include "hci/TVeltoLRHCI.h"

THCIConfigPage::THCIConfigPage(const QString& title, QWidget* parent)
    : TFormPage(title, parent)
{
    // The module numbers its rates in the link's order (0 is 9600 bps); the list shows them by rate.
    QStringList rates;
    const QList<int>& supported = TVeltoLRHCI::SupportedBaudrates();
    for (int id = 0; id < supported.size(); ++id)
        rates << QStringLiteral("%1:%2 bps").arg(id).arg(supported.at(id));
    TGuiItemList& hci = AddGroup(QStringLiteral("HCI Configuration"),
                                 {QStringLiteral("GuiName:Store in NVM;GuiType:CheckBox;Key:NVM;Value:0;GuiFlags:Enabled"),
                                  QStringLiteral("GuiName:Baud Rate;GuiType:ComboBox;Key:BaudrateID;Value:n.a.;GuiFlags:IdList;ValueList:") + rates.join(QLatin1Char(',')),
                                  QStringLiteral("GuiName:Wake-up Chars;GuiType:LineEdit;Key:NumWakeupChars;Value:n.a.;MinValue:0;MaxValue:65535;Unit:characters"),
                                  QStringLiteral("GuiName:Tx Time-out;GuiType:LineEdit;Key:TxTimeout;Value:n.a.;MinValue:0;MaxValue:255;Unit:ms"),
                                  QStringLiteral("GuiName:Rx Time-out;GuiType:LineEdit;Key:RxTimeout;Value:n.a.;MinValue:0;MaxValue:255;Unit:ms")});
    AddButton(QStringLiteral("Get"), QStringLiteral("read the HCI configuration"), [this, &hci] { RunGetCommand(QStringLiteral("DeviceMgmt/GetHCIConfig"), hci); });
    AddButton(QStringLiteral("Set"), QStringLiteral("write the HCI configuration"), [this, &hci] { RunSetCommand(QStringLiteral("DeviceMgmt/SetHCIConfig"), hci); });

    QStringList local;
    for (int rate : supported)
        if (rate <= TVeltoLRHCI::kDefaultBaudrate)
            local << QStringLiteral("%1 bps").arg(rate);
    TGuiItemList& link = AddGroup(QStringLiteral("Local Baud Rate"),
                                  {QStringLiteral("GuiName:Baud Rate;GuiType:ComboBox;Key:Baudrate;Value:n.a.;ValueList:") + local.join(QLatin1Char(','))});
    AddButton(QStringLiteral("Get Local"), QStringLiteral("read the baud rate the studio uses on this port"),
              [this, &link] { RunGetCommand(QStringLiteral("DeviceMgmt/GetLocalBaudrate"), link); });
    AddButton(QStringLiteral("Set Local"), QStringLiteral("switch the studio's side of the link"),
              [this, &link] { RunSetCommand(QStringLiteral("DeviceMgmt/SetLocalBaudrate"), link); });
    Finish();
}

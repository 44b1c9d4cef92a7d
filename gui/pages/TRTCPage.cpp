#include "gui/pages/TRTCPage.h"

#include <QDateTime>

#include "gui/TGuiItemList.h"
#include "settings/TSettings.h"

TRTCPage::TRTCPage(const QString& title, QWidget* parent)
    : TFormPage(title, parent)
{
    // Reading the clock and synchronising it fill different groups, so neither wipes the other's values.
    TGuiItemList& clock = AddGroup(QStringLiteral("Clock"),
                                   {QStringLiteral("GuiName:Module Time;GuiType:LineEdit;Key:DateTime;Value:n.a.;"
                                                   "Format:yyyy-MM-dd hh:mm:ss|dd.MM.yyyy hh:mm:ss")});
    AddButton(QStringLiteral("Get"), QStringLiteral("read the module's clock"), [this, &clock] { RunGetCommand(QStringLiteral("DeviceMgmt/GetRTC"), clock); });
    AddButton(QStringLiteral("Set"), QStringLiteral("set the module's clock to the time above"),
              [this, &clock] { RunSetCommand(QStringLiteral("DeviceMgmt/SetRTC"), clock); });
    AddButton(QStringLiteral("PC Time"), QStringLiteral("put the PC's time into the field"), [&clock] {
        TKeyValueList now;
        now.Append(QStringLiteral("DateTime"), QDateTime::currentDateTime().toString(TSettings::Instance().DateFormat() + QStringLiteral(" hh:mm:ss")));
        clock.SetItems(now, false);
    });

    TGuiItemList& sync = AddGroup(QStringLiteral("Synchronisation"),
                                  {QStringLiteral("GuiName:Last Sync;GuiType:LineEdit;Key:TargetTime;Value:n.a.;GuiFlags:RO")});
    AddButton(QStringLiteral("Sync"), QStringLiteral("set the module's clock to the PC's"),
              [this, &sync] { RunGetCommand(QStringLiteral("DeviceMgmt/SyncRTC"), sync); });

    TGuiItemList& alarm = AddGroup(QStringLiteral("Alarm"),
                                   {QStringLiteral("GuiName:New Alarm;GuiType:LineEdit;Key:NewAlarm;Value:12:00:00;Mask:99:99:99;Format:hh:mm:ss"),
                                    QStringLiteral("GuiName:Options;GuiType:CheckButtonBox;Key:Options;Value:0;ValueList:1:daily;GuiFlags:Horizontal")});
    AddButton(QStringLiteral("Set Alarm"), QStringLiteral("set the alarm above"), [this, &alarm] { RunSetCommand(QStringLiteral("DeviceMgmt/SetRTCAlarm"), alarm); });
    AddButton(QStringLiteral("Clear Alarm"), QStringLiteral("clear the alarm"), [this] {
        RunCommand(QStringLiteral("DeviceMgmt/ClearRTCAlarm"));
    });
    TGuiItemList& state = AddGroup(QStringLiteral("Alarm State"),
                                   {QStringLiteral("GuiName:Status;GuiType:LineEdit;Key:Status;Value:n.a.;GuiFlags:RO"),
                                    QStringLiteral("GuiName:Current Alarm;GuiType:LineEdit;Key:CurrentAlarm;Value:n.a.;GuiFlags:RO")});
    AddButton(QStringLiteral("Get Alarm"), QStringLiteral("read the alarm"), [this, &state] { RunGetCommand(QStringLiteral("DeviceMgmt/GetRTCAlarm"), state); });
    Finish();
}

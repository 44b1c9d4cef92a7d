#include "gui/pages/TInfoPage.h"

#include <QCoreApplication>

#include "base/TSystemMemory.h"
#include "gui/TGuiItemList.h"
#include "settings/TSettings.h"

namespace {
QString Row(const char* name, const char* key)
{
    // Read-only fields rather than labels: long paths scroll inside the field and can be copied.
    return QStringLiteral("GuiName:%1;GuiType:LineEdit;Key:%2;Value:n.a.;GuiFlags:RO").arg(QLatin1String(name), QLatin1String(key));
}
}

TInfoPage::TInfoPage(const QString& title, QWidget* parent)
    : TFormPage(title, parent)
{
    AddGroup(QStringLiteral("Velto LoRaWAN Tessera"), {Row("Version", "Version"), Row("Build Date", "BuildDate"), Row("Qt", "QtVersion"),
                                                      Row("Settings File", "SettingsFile"), Row("Data Directory", "DataDirectory"),
                                                      Row("Documents", "Documents"), Row("Program Directory", "ProgramDirectory"),
                                                      Row("Free Memory", "FreeMem")});
    Finish();
    RefreshPage();
}

void TInfoPage::RefreshPage()
{
    const TSettings& s = TSettings::Instance();
    TKeyValueList info;
    info.Append(QStringLiteral("Version"), QCoreApplication::applicationVersion());
    info.Append(QStringLiteral("BuildDate"), QStringLiteral(TESSERA_BUILD_DATE));
    info.Append(QStringLiteral("QtVersion"), QString::fromLatin1(qVersion()));
    info.Append(QStringLiteral("SettingsFile"), s.SettingsFilePath());
    info.Append(QStringLiteral("DataDirectory"), s.DataDirectory());
    info.Append(QStringLiteral("Documents"), s.DocumentsDirectory());
    info.Append(QStringLiteral("ProgramDirectory"), QCoreApplication::applicationDirPath());
    info.Append(QStringLiteral("FreeMem"), TSystemMemory::FreeMemItem().section(QStringLiteral(";Value:"), 1));
    Group(QStringLiteral("Velto LoRaWAN Tessera"))->SetItems(info);
}

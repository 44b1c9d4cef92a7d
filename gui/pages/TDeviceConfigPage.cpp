#include "gui/pages/TDeviceConfigPage.h"

TDeviceConfigPage::TDeviceConfigPage(const QString& title, QWidget* parent)
    : TFormPage(title, parent)
{
    AddNote(QStringLiteral("This page will offer: Device configuration: power saving, extra options, the radio stack and the operation mode, and restoring the factory settings."));
    Finish();
}

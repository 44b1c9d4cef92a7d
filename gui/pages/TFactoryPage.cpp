#include "gui/pages/TFactoryPage.h"

TFactoryPage::TFactoryPage(const QString& title, QWidget* parent)
    : TFormPage(title, parent)
{
    AddNote(QStringLiteral("This page will offer: Customer settings for production: device IDs, calibration values and GPIO tests."));
    Finish();
}

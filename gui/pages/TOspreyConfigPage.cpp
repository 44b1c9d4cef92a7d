#include "gui/pages/TOspreyConfigPage.h"

TOspreyConfigPage::TOspreyConfigPage(const QString& title, QWidget* parent)
    : TFormPage(title, parent)
{
    AddNote(QStringLiteral("This page will offer: The Osprey radio configuration: modulation, frequency, spreading factor or FSK data rate, power, addresses and the receive window."));
    Finish();
}

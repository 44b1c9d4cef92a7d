#include "gui/pages/TNodeServicePage.h"

TNodeServicePage::TNodeServicePage(const QString& title, QWidget* parent)
    : TFormPage(title, parent)
{
    AddNote(QStringLiteral("This page will offer: LoRaWAN services of the selected module: join and activation, sending unconfirmed and confirmed data and MAC commands, with tables of every transmit and receive event."));
    Finish();
}

#include "gui/pages/TNodeConfigPage.h"

TNodeConfigPage::TNodeConfigPage(const QString& title, QWidget* parent)
    : TFormPage(title, parent)
{
    AddNote(QStringLiteral("This page will offer: LoRaWAN configuration: keys and EUIs, region and band, data rate, power, retransmissions, sub-band masks, multicast groups and the LinkADRRequest handling."));
    Finish();
}

#pragma once
#include "gui/pages/TFormPage.h"

/// LoRaWAN configuration: keys and EUIs, region and band, data rate, power, retransmissions, sub-band masks, multicast groups and the LinkADRRequest handling.
class TNodeConfigPage : public TFormPage
{
    Q_OBJECT
public:
    explicit TNodeConfigPage(const QString& title, QWidget* parent = nullptr);
};

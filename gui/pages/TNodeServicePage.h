#pragma once
#include "gui/pages/TFormPage.h"

/// LoRaWAN services of the selected module: join and activation, sending unconfirmed and confirmed data and MAC commands, with tables of every transmit and receive event.
class TNodeServicePage : public TFormPage
{
    Q_OBJECT
public:
    explicit TNodeServicePage(const QString& title, QWidget* parent = nullptr);
};

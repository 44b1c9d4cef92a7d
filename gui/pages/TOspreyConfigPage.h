#pragma once
#include "gui/pages/TFormPage.h"

/// The Osprey radio configuration: modulation, frequency, spreading factor or FSK data rate, power, addresses and the receive window.
class TOspreyConfigPage : public TFormPage
{
    Q_OBJECT
public:
    explicit TOspreyConfigPage(const QString& title, QWidget* parent = nullptr);
};

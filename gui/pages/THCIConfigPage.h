#pragma once
#include "gui/pages/TFormPage.h"

/// The module's HCI configuration and the studio's baud rate on the local link.
class THCIConfigPage : public TFormPage
{
    Q_OBJECT
public:
    explicit THCIConfigPage(const QString& title, QWidget* parent = nullptr);
};

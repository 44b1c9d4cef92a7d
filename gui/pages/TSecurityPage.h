#pragma once
#include "gui/pages/TFormPage.h"

/// Osprey security: the AES key and the acknowledgement data.
class TSecurityPage : public TFormPage
{
    Q_OBJECT
public:
    explicit TSecurityPage(const QString& title, QWidget* parent = nullptr);
};

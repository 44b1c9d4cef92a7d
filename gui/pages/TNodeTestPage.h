#pragma once
#include "gui/pages/TFormPage.h"

/// Radio tests: continuous wave, test messages, receive and RSSI measurements, with their results.
class TNodeTestPage : public TFormPage
{
    Q_OBJECT
public:
    explicit TNodeTestPage(const QString& title, QWidget* parent = nullptr);
};

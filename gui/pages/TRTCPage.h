#pragma once
#include "gui/pages/TFormPage.h"

/// The module's real-time clock: read, set, synchronise with the PC, and the alarm.
class TRTCPage : public TFormPage
{
    Q_OBJECT
public:
    explicit TRTCPage(const QString& title, QWidget* parent = nullptr);
};

#pragma once
#include "gui/pages/TFormPage.h"

/// The Osprey point-to-point data link: sending messages from the radio message file, and a table of every message received and sent.
class TDataLinkPage : public TFormPage
{
    Q_OBJECT
public:
    explicit TDataLinkPage(const QString& title, QWidget* parent = nullptr);
};

#pragma once
#include "gui/pages/TFormPage.h"

class TRadioController;

/// The Osprey radio configuration: radio mode, addresses, modulation, frequency, bandwidth,
/// spreading factor or FSK data rate, error coding, power, receiver and miscellaneous options; read,
/// written (for good with NVM) and reset to the module's defaults. The values shown are read again
/// when the module reports that its configuration changed.
class TOspreyConfigPage : public TFormPage
{
    Q_OBJECT
public:
    static constexpr const char* kGroup = "Radio Configuration";

    explicit TOspreyConfigPage(const QString& title, QWidget* parent = nullptr);

    /// The parameters "Set" sends for rows read back as they are: exactly the fields of the set
    /// request in its order, the frequency in MHz turned into synthesiser steps and the fields the
    /// module reads as hexadecimal written "0x..", whatever base the user typed them in.
    static TKeyValueList SetParameters(const TKeyValueList& rows);

private:
    void Follow(TRadioController* device);
    void OnConfigChanged(const QString& port);
    void Write();
    void Reset();

    TGuiItemList* m_config;
    bool m_refreshQueued = false;
};

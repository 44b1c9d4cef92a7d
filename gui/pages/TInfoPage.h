#pragma once
#include "gui/pages/TFormPage.h"

/// About the studio: version, files and folders it uses, free memory.
class TInfoPage : public TFormPage
{
    Q_OBJECT
public:
    explicit TInfoPage(const QString& title, QWidget* parent = nullptr);

public slots:
    void RefreshPage() override;
    void PageShown() override { RefreshPage(); }
};

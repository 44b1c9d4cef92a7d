#pragma once
#include "gui/pages/TFormPage.h"

class QPlainTextEdit;
class TGuiItemList;

/// The register-table generator of tessera-cli regtable in the studio: SX1272/SX1276/SX1280
/// register values for frequencies, bit rates, deviations and receive bandwidths as a C header,
/// shown, copied or saved. Talks to no module.
class TRegTablePage : public TFormPage
{
    Q_OBJECT
public:
    explicit TRegTablePage(const QString& title, QWidget* parent = nullptr);

    QPlainTextEdit* HeaderText() const { return m_header; }
    /// The work of "Generate": the header for the values in the fields; false with the reason on the result line.
    bool Generate();
    /// The work of "Save...": writes the header shown to `path`.
    bool SaveHeader(const QString& path);

private:
    void Build();
    void Save(const QString& path);

    TGuiItemList* m_values;
    QPlainTextEdit* m_header;
};

#pragma once
#include <QDialog>
#include <QList>

#include "devices/TConfigTemplate.h"

class QPushButton;
class QTableWidget;

/// What applying a configuration template would change on the module: one row per differing value
/// (setting, field, template value, module value), then "Apply" or "Cancel".
class TTemplatePreviewDialog : public QDialog
{
    Q_OBJECT
public:
    static constexpr const char* kTitle = "Apply Configuration Template";

    TTemplatePreviewDialog(const QString& fileName, const QList<TConfigTemplate::Difference>& differences, QWidget* parent = nullptr);

    QTableWidget* Table() const { return m_table; }
    QPushButton* ApplyButton() const { return m_apply; }
    QPushButton* CancelButton() const { return m_cancel; }
    /// The rows as "setting|field|template|module", for whoever checks what was shown.
    QStringList Rows() const;

private:
    QTableWidget* m_table;
    QPushButton* m_apply;
    QPushButton* m_cancel;
};

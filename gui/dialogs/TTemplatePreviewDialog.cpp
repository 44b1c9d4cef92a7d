#include "gui/dialogs/TTemplatePreviewDialog.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

namespace {
// column header
const char* const kColumns[] = {"Setting", "Field", "Template", "Module"};
}

TTemplatePreviewDialog::TTemplatePreviewDialog(const QString& fileName, const QList<TConfigTemplate::Difference>& differences, QWidget* parent)
    : QDialog(parent)
{
    setWindowTitle(QString::fromLatin1(kTitle));
    auto* layout = new QVBoxLayout(this);
    auto* intro = new QLabel(QStringLiteral("Applying %1 changes %2 %3 of the module:")
                                 .arg(fileName)
                                 .arg(differences.size())
                                 .arg(differences.size() == 1 ? QStringLiteral("value") : QStringLiteral("values")),
                             this);
    intro->setWordWrap(true);
    layout->addWidget(intro);

    QStringList headers;
    for (const char* column : kColumns)
        headers << QString::fromLatin1(column);
    m_table = new QTableWidget(differences.size(), headers.size(), this);
    m_table->setHorizontalHeaderLabels(headers);
    m_table->setAccessibleName(QStringLiteral("Differences"));
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->verticalHeader()->hide();
    m_table->horizontalHeader()->setStretchLastSection(true);
    for (int row = 0; row < differences.size(); ++row) {
        const TConfigTemplate::Difference& d = differences.at(row);
        const QString cells[] = {d.setting, d.field, d.templateValue, d.moduleValue};
        for (int column = 0; column < headers.size(); ++column)
            m_table->setItem(row, column, new QTableWidgetItem(cells[column]));
    }
    m_table->resizeColumnsToContents();
    layout->addWidget(m_table, 1);

    auto* buttons = new QDialogButtonBox(this);
    m_apply = buttons->addButton(QStringLiteral("Apply"), QDialogButtonBox::AcceptRole);
    m_cancel = buttons->addButton(QDialogButtonBox::Cancel);
    m_cancel->setDefault(true);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
    resize(640, 360);
}

QStringList TTemplatePreviewDialog::Rows() const
{
    QStringList rows;
    for (int row = 0; row < m_table->rowCount(); ++row) {
        QStringList cells;
        for (int column = 0; column < m_table->columnCount(); ++column)
            cells << m_table->item(row, column)->text();
        rows << cells.join(QLatin1Char('|'));
    }
    return rows;
}

#include "status/TTableCtrl.h"

#include <QAction>
#include <QDateTime>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QStandardItemModel>
#include <QTableView>
#include <QTimer>
#include <QVBoxLayout>

#include "status/TLogFileDialog.h"
#include "status/TStatusLog.h"

TTableCtrl::TTableCtrl(const QString& title, const QStringList& columns, QWidget* parent)
    : QWidget(parent)
    , m_title(title)
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* titleLabel = new QLabel(title, this);
    titleLabel->setObjectName(QStringLiteral("Table_Title"));
    layout->addWidget(titleLabel);

    m_model = new QStandardItemModel(0, columns.size(), this);
    m_model->setHorizontalHeaderLabels(columns);
    m_view = new QTableView(this);
    m_view->setModel(m_model);
    m_view->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_view->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_view->setContextMenuPolicy(Qt::CustomContextMenu);
    m_view->verticalHeader()->setDefaultSectionSize(20);
    m_view->horizontalHeader()->setStretchLastSection(true);
    layout->addWidget(m_view, 1);

    m_view->setAccessibleName(title);

    auto* bottom = new QHBoxLayout;
    auto* searchLabel = new QLabel(QStringLiteral("Search"), this);
    m_search = new QLineEdit(this);
    searchLabel->setBuddy(m_search);
    m_search->setAccessibleName(searchLabel->text());
    bottom->addWidget(searchLabel);
    bottom->addWidget(m_search, 1);
    m_searchCounter = new QLabel(QStringLiteral("0 / 0"), this);
    bottom->addWidget(m_searchCounter);
    auto* previous = new QPushButton(QStringLiteral("<"), this);
    previous->setToolTip(QStringLiteral("previous search result"));
    previous->setAccessibleName(previous->toolTip());
    auto* next = new QPushButton(QStringLiteral(">"), this);
    next->setToolTip(QStringLiteral("next search result"));
    next->setAccessibleName(next->toolTip());
    bottom->addWidget(previous);
    bottom->addWidget(next);
    auto* logGroup = new QGroupBox(QStringLiteral("Log File"), this);
    auto* logLayout = new QHBoxLayout(logGroup);
    m_fileName = new QLineEdit(QStringLiteral("n.a."), logGroup);
    m_fileName->setReadOnly(true);
    m_fileName->setAccessibleName(logGroup->title());
    m_logButton = new QPushButton(QStringLiteral("Open Log File"), logGroup);
    logLayout->addWidget(m_fileName, 1);
    logLayout->addWidget(m_logButton);
    bottom->addWidget(logGroup, 2);
    layout->addLayout(bottom);

    m_batch = new QTimer(this);
    m_batch->setSingleShot(true);
    m_batch->setInterval(kBatchMs);
    connect(m_batch, &QTimer::timeout, this, &TTableCtrl::FlushPending);
    connect(m_view, &QTableView::customContextMenuRequested, this, &TTableCtrl::OnContextMenuRequested);
    connect(m_search, &QLineEdit::textEdited, this, &TTableCtrl::OnSearchFieldTextEdited);
    connect(previous, &QPushButton::clicked, this, &TTableCtrl::OnSearchPrevious);
    connect(next, &QPushButton::clicked, this, &TTableCtrl::OnSearchNext);
    connect(m_logButton, &QPushButton::clicked, this, &TTableCtrl::OnLogButton);
}

TTableCtrl::~TTableCtrl()
{
    m_log.Close();
}

void TTableCtrl::AppendRow(const QStringList& cells)
{
    ++m_counter;
    m_log.WriteRow(cells);
    m_pending << cells;
    if (!m_batch->isActive())
        m_batch->start();
}

void TTableCtrl::FlushPending()
{
    if (m_pending.isEmpty())
        return;
    for (const QStringList& cells : qAsConst(m_pending)) {
        QList<QStandardItem*> items;
        for (const QString& cell : cells)
            items << new QStandardItem(cell);
        m_model->appendRow(items);
    }
    m_pending.clear();
    if (m_autoScroll)
        m_view->scrollToBottom();
}

int TTableCtrl::RowCount() const
{
    return m_model->rowCount();
}

QString TTableCtrl::Cell(int row, int column) const
{
    const QStandardItem* item = m_model->item(row, column);
    return item ? item->text() : QString();
}

void TTableCtrl::OnClearTable()
{
    m_pending.clear();
    m_model->removeRows(0, m_model->rowCount());
}

void TTableCtrl::OnClearAndResetTable()
{
    OnClearTable();
    m_counter = 0;
}

void TTableCtrl::OnToggleColumn()
{
    auto* action = qobject_cast<QAction*>(sender());
    if (!action)
        return;
    const int column = action->data().toInt();
    m_view->setColumnHidden(column, !m_view->isColumnHidden(column));
}

bool TTableCtrl::IsColumnVisible(int column) const
{
    return !m_view->isColumnHidden(column);
}

void TTableCtrl::OnContextMenuRequested(const QPoint& pos)
{
    QMenu menu(this);
    menu.addAction(QStringLiteral("Clear Table"), this, &TTableCtrl::OnClearTable);
    menu.addAction(QStringLiteral("Clear Table and Reset Counter"), this, &TTableCtrl::OnClearAndResetTable);
    QAction* scrolling = menu.addAction(QStringLiteral("Auto Scrolling"));
    scrolling->setCheckable(true);
    scrolling->setChecked(m_autoScroll);
    connect(scrolling, &QAction::toggled, this, [this](bool on) { m_autoScroll = on; });
    QMenu* columns = menu.addMenu(QStringLiteral("Show/Hide Columns"));
    for (int c = 0; c < m_model->columnCount(); ++c) {
        QAction* action = columns->addAction(m_model->headerData(c, Qt::Horizontal).toString());
        action->setCheckable(true);
        action->setChecked(IsColumnVisible(c));
        action->setData(c);
        connect(action, &QAction::triggered, this, &TTableCtrl::OnToggleColumn);
    }
    menu.exec(m_view->viewport()->mapToGlobal(pos));
}

void TTableCtrl::OnSearchFieldTextEdited(const QString& text)
{
    FlushPending();
    m_matches.clear();
    m_current = -1;
    if (!text.isEmpty()) {
        for (int r = 0; r < m_model->rowCount(); ++r) {
            for (int c = 0; c < m_model->columnCount(); ++c) {
                if (Cell(r, c).contains(text, Qt::CaseInsensitive)) {
                    m_matches << r;
                    break;
                }
            }
        }
    }
    if (!m_matches.isEmpty())
        m_current = 0;
    SelectMatch();
}

void TTableCtrl::OnSearchPrevious()
{
    if (m_matches.isEmpty())
        return;
    m_current = (m_current - 1 + m_matches.size()) % m_matches.size();
    SelectMatch();
}

void TTableCtrl::OnSearchNext()
{
    if (m_matches.isEmpty())
        return;
    m_current = (m_current + 1) % m_matches.size();
    SelectMatch();
}

void TTableCtrl::SelectMatch()
{
    m_searchCounter->setText(QStringLiteral("%1 / %2").arg(m_matches.isEmpty() ? 0 : m_current + 1).arg(m_matches.size()));
    if (m_current >= 0) {
        m_view->selectRow(m_matches.at(m_current));
        m_view->scrollTo(m_model->index(m_matches.at(m_current), 0));
    }
}

QString TTableCtrl::SearchCounterText() const
{
    return m_searchCounter->text();
}

bool TTableCtrl::OpenLogFile(const QString& directory, const QString& suffix)
{
    const QString path = TTableLog::FileName(directory, m_title, QDateTime::currentDateTime(), suffix);
    if (!m_log.Open(path)) {
        TStatusLog::Instance().AddStatusLine(QStringLiteral("error - couldn't open log file: ") + path);
        return false;
    }
    m_fileName->setText(path);
    m_logButton->setText(QStringLiteral("Close Log File"));
    return true;
}

void TTableCtrl::CloseLogFile()
{
    m_log.Close();
    m_fileName->setText(QStringLiteral("n.a."));
    m_logButton->setText(QStringLiteral("Open Log File"));
}

QString TTableCtrl::LogButtonText() const
{
    return m_logButton->text();
}

void TTableCtrl::OnLogButton()
{
    if (m_log.IsOpen()) {
        CloseLogFile();
        return;
    }
    const QString proposal = TTableLog::FileName(TStatusLog::LogDirectory(), m_title, QDateTime::currentDateTime());
    const QString path = TLogFileDialog::Ask(this, QStringLiteral("Open Log File"), proposal);
    if (path.isEmpty())
        return;
    if (m_log.Open(path)) {
        m_fileName->setText(path);
        m_logButton->setText(QStringLiteral("Close Log File"));
    } else {
        TStatusLog::Instance().AddStatusLine(QStringLiteral("error - couldn't open log file: ") + path);
    }
}

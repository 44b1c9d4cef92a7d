#include "status/TStatusWindow.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateTime>
#include <QDir>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QTextBlock>
#include <QTimer>
#include <QVBoxLayout>

#include "status/TLogFileDialog.h"
#include "status/TStatusBox.h"
#include "status/TStatusLog.h"

namespace {
TStatusWindow* g_instance = nullptr;

QLabel* BuddyLabel(const QString& text, QWidget* buddy, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setBuddy(buddy);
    QString name = text;
    name.remove(QLatin1Char('&'));
    if (name.endsWith(QLatin1Char(':')))
        name.chop(1);
    buddy->setAccessibleName(name);
    return label;
}
}

TStatusWindow* TStatusWindow::Instance()
{
    return g_instance;
}

TStatusWindow::TStatusWindow(QWidget* parent)
    : QDockWidget(QStringLiteral("Status"), parent)
{
    g_instance = this;
    setObjectName(QStringLiteral("StatusWindow"));
    auto* body = new QWidget(this);
    auto* layout = new QVBoxLayout(body);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->setSpacing(4);

    layout->addWidget(BuildFilters(body));
    m_box = new TStatusBox(body);
    layout->addWidget(m_box, 1);

    auto* searchRow = new QHBoxLayout;
    m_search = new QLineEdit(body);
    m_search->setObjectName(QStringLiteral("Search"));
    searchRow->addWidget(BuddyLabel(QStringLiteral("&Search:"), m_search, body));
    searchRow->addWidget(m_search, 1);
    m_counter = new QLabel(QStringLiteral("0 / 0"), body);
    searchRow->addWidget(m_counter);
    auto* previous = new QPushButton(QStringLiteral("<"), body);
    previous->setToolTip(QStringLiteral("previous search result"));
    previous->setAccessibleName(previous->toolTip());
    auto* next = new QPushButton(QStringLiteral(">"), body);
    next->setToolTip(QStringLiteral("next search result"));
    next->setAccessibleName(next->toolTip());
    for (QPushButton* button : {previous, next})
        button->setMaximumWidth(button->fontMetrics().horizontalAdvance(QStringLiteral("MM")) + 16);
    searchRow->addWidget(previous);
    searchRow->addWidget(next);
    layout->addLayout(searchRow);

    auto* logGroup = new QGroupBox(QStringLiteral("Log Status"), body);
    auto* logLayout = new QHBoxLayout(logGroup);
    m_fileName = new QLineEdit(QStringLiteral("n.a."), logGroup);
    m_fileName->setReadOnly(true);
    m_fileName->setAccessibleName(logGroup->title());
    m_logButton = new QPushButton(QStringLiteral("Create Log File"), logGroup);
    logLayout->addWidget(m_fileName, 1);
    logLayout->addWidget(m_logButton);
    layout->addWidget(logGroup);
    setWidget(body);

    m_batch = new QTimer(this);
    m_batch->setSingleShot(true);
    m_batch->setInterval(kBatchMs);
    connect(m_batch, &QTimer::timeout, this, &TStatusWindow::FlushPending);
    connect(m_search, &QLineEdit::textChanged, this, &TStatusWindow::OnSearchTextChanged);
    connect(previous, &QPushButton::clicked, this, &TStatusWindow::OnSearchPrevious);
    connect(next, &QPushButton::clicked, this, &TStatusWindow::OnSearchNext);
    connect(m_logButton, &QPushButton::clicked, this, &TStatusWindow::OnLogButton);

    TStatusLog& log = TStatusLog::Instance();
    connect(&log, &TStatusLog::EvLine, this, &TStatusWindow::OnLine);
    connect(&log, &TStatusLog::EvCleared, this, &TStatusWindow::OnCleared);
    connect(&log, &TStatusLog::EvLogFileChanged, this, &TStatusWindow::OnLogFileChanged);
}

TStatusWindow::~TStatusWindow()
{
    TStatusLog::Instance().CloseLogFile();
    if (g_instance == this)
        g_instance = nullptr;
}

QWidget* TStatusWindow::BuildFilters(QWidget* parent)
{
    auto* filters = new QWidget(parent);
    auto* grid = new QGridLayout(filters);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setVerticalSpacing(2);
    for (int level = 0; level < TStatusLevel::LevelCount; ++level) {
        auto* box = new QCheckBox(TStatusLevel::Name(TStatusLevel::Level(level)), filters);
        box->setChecked(true);
        connect(box, &QCheckBox::toggled, this, &TStatusWindow::Rebuild);
        grid->addWidget(box, level / 2, level % 2);
        m_levels[level] = box;
    }
    m_device = new QComboBox(filters);
    m_device->addItem(QString::fromLatin1(kAllDevices), QString());
    m_device->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    m_device->setMinimumContentsLength(8);
    connect(m_device, qOverload<int>(&QComboBox::currentIndexChanged), this, &TStatusWindow::Rebuild);
    grid->addWidget(BuddyLabel(QStringLiteral("&Device:"), m_device, filters), 2, 0);
    grid->addWidget(m_device, 2, 1);
    grid->setColumnStretch(1, 1);
    return filters;
}

void TStatusWindow::AddStatusLine(const QString& text)
{
    TStatusLog::Instance().AddStatusLine(text);
}

void TStatusWindow::AddStatusMessage(const QString& source, const QString& text)
{
    TStatusLog::Instance().AddStatusMessage(source, text);
}

void TStatusWindow::OnLine(const QString& line)
{
    if (TStatusLog::IsSeparator(line.section(QLatin1Char(';'), 2))) {
        m_ruleNext = true;
        return;
    }
    m_pending.append({line, TStatusLevel::Of(line), m_ruleNext});
    m_ruleNext = false;
    if (!m_batch->isActive())
        m_batch->start();
}

void TStatusWindow::OnCleared()
{
    // Lines before the limit's reset that are still waiting would never have been shown together with the new ones.
    m_pending.clear();
    m_entries.clear();
    m_ruleShownNext = false;
    m_box->clear();
}

void TStatusWindow::FlushPending()
{
    if (m_pending.isEmpty())
        return;
    m_entries += m_pending;
    Show(m_pending);
    m_pending.clear();
}

bool TStatusWindow::Passes(const Entry& entry, const QString& port) const
{
    if (!m_levels[entry.level]->isChecked())
        return false;
    return port.isEmpty() || TStatusLevel::MentionsPort(entry.line, port);
}

void TStatusWindow::Show(const QVector<Entry>& entries)
{
    QStringList lines;
    QList<int> rules;
    const QString port = m_device->currentData().toString();
    for (const Entry& entry : entries) {
        const bool rule = entry.ruleAbove || m_ruleShownNext;
        if (!Passes(entry, port)) {
            m_ruleShownNext = rule;   // a command began since the last line shown: the next one says so
            continue;
        }
        m_ruleShownNext = false;
        if (rule)
            rules << lines.size();
        lines << entry.line;
    }
    if (lines.isEmpty())
        return;
    const int first = m_box->document()->isEmpty() ? 0 : m_box->blockCount();
    m_box->appendPlainText(lines.join(QLatin1Char('\n')));
    QTextBlock block = m_box->document()->findBlockByNumber(first);
    for (int i = 0, r = 0; block.isValid() && r < rules.size(); ++i, block = block.next()) {
        if (rules.at(r) == i) {
            block.setUserState(TStatusBox::kRuleAbove);
            ++r;
        }
    }
}

void TStatusWindow::Rebuild()
{
    m_entries += m_pending;   // shown below with the rest
    m_pending.clear();
    m_box->clear();
    m_ruleShownNext = false;
    Show(m_entries);
    if (!m_searchText.isEmpty())
        OnSearchTextChanged(m_searchText);
}

void TStatusWindow::SetLevelShown(TStatusLevel::Level level, bool shown)
{
    if (level >= 0 && level < TStatusLevel::LevelCount)
        m_levels[level]->setChecked(shown);
}

void TStatusWindow::AddDevice(const QString& port)
{
    if (!port.isEmpty() && m_device->findData(port) < 0)
        m_device->addItem(port, port);
}

QStringList TStatusWindow::Devices() const
{
    QStringList ports;
    for (int i = 1; i < m_device->count(); ++i)
        ports << m_device->itemData(i).toString();
    return ports;
}

void TStatusWindow::SetDeviceFilter(const QString& port)
{
    AddDevice(port);
    m_device->setCurrentIndex(qMax(0, m_device->findData(port)));
}

int TStatusWindow::VisibleLines() const
{
    return m_box->document()->isEmpty() ? 0 : m_box->blockCount();
}

QString TStatusWindow::Text() const
{
    return m_box->toPlainText();
}

void TStatusWindow::OnClearStatusTable()
{
    TStatusLog::Instance().Clear();   // its EvCleared empties the window
}

void TStatusWindow::OnSearchTextChanged(const QString& text)
{
    FlushPending();
    m_searchText = text;
    m_matches.clear();
    m_current = -1;
    if (!text.isEmpty()) {
        for (QTextBlock block = m_box->document()->begin(); block.isValid(); block = block.next())
            if (block.text().contains(text, Qt::CaseInsensitive))
                m_matches << block.blockNumber();
    }
    if (!m_matches.isEmpty())
        m_current = 0;
    SelectMatch();
}

void TStatusWindow::OnSearchPrevious()
{
    if (m_matches.isEmpty())
        return;
    m_current = (m_current - 1 + m_matches.size()) % m_matches.size();
    SelectMatch();
}

void TStatusWindow::OnSearchNext()
{
    if (m_matches.isEmpty())
        return;
    m_current = (m_current + 1) % m_matches.size();
    SelectMatch();
}

void TStatusWindow::SelectMatch()
{
    m_counter->setText(QStringLiteral("%1 / %2").arg(m_matches.isEmpty() ? 0 : m_current + 1).arg(m_matches.size()));
    if (m_current < 0)
        return;
    const QTextBlock block = m_box->document()->findBlockByNumber(m_matches.at(m_current));
    // The line goes to the top of the box, so that its time stamp is in view with as much of the line
    // as fits; the match is selected inside it. A line taller than the box keeps its time stamp in view.
    QScrollBar* bar = m_box->verticalScrollBar();
    m_box->moveCursor(QTextCursor::End);
    const QTextCursor start(block);
    m_box->setTextCursor(start);
    const int top = bar->value();
    const int at = block.text().indexOf(m_searchText, 0, Qt::CaseInsensitive);
    QTextCursor match(block);
    match.setPosition(block.position() + qMax(0, at));
    match.setPosition(block.position() + qMax(0, at) + m_searchText.size(), QTextCursor::KeepAnchor);
    m_box->setTextCursor(match);
    if (!m_box->viewport()->rect().contains(m_box->cursorRect(start)))
        bar->setValue(top);
    m_box->horizontalScrollBar()->setValue(0);
}

QString TStatusWindow::SearchCounterText() const
{
    return m_counter->text();
}

void TStatusWindow::OnLogButton()
{
    TStatusLog& log = TStatusLog::Instance();
    if (log.IsLogFileOpen()) {
        log.CloseLogFile();
        return;
    }
    const QString proposal = QDir(TStatusLog::LogDirectory()).filePath(TStatusLog::LogFileName(QDateTime::currentDateTime()));
    const QString path = TLogFileDialog::Ask(this, QStringLiteral("Create Log File"), proposal);
    if (path.isEmpty()) {
        log.AddStatusLine(QStringLiteral("no file selected"));
        return;
    }
    log.OpenLogFile(path);
}

void TStatusWindow::OnLogFileChanged(const QString& pathOrNa)
{
    m_fileName->setText(pathOrNa);
    m_logButton->setText(pathOrNa == QLatin1String("n.a.") ? QStringLiteral("Create Log File") : QStringLiteral("Close Log File"));
}

QString TStatusWindow::LogFileNameText() const
{
    return m_fileName->text();
}

QString TStatusWindow::LogButtonText() const
{
    return m_logButton->text();
}

#include "status/TStatusWindow.h"

#include <QDateTime>
#include <QDir>
#include <QFileDialog>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTextBlock>
#include <QTimer>
#include <QVBoxLayout>

#include "status/TStatusLog.h"

namespace {
TStatusWindow* g_instance = nullptr;
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

    m_box = new QPlainTextEdit(body);
    m_box->setObjectName(QStringLiteral("Event Box"));
    m_box->setReadOnly(true);
    m_box->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_box->setUndoRedoEnabled(false);
    layout->addWidget(m_box, 1);

    auto* bottom = new QHBoxLayout;
    bottom->addWidget(new QLabel(QStringLiteral("Search:"), body));
    m_search = new QLineEdit(body);
    m_search->setObjectName(QStringLiteral("Search"));
    bottom->addWidget(m_search, 1);
    m_counter = new QLabel(QStringLiteral("0 / 0"), body);
    bottom->addWidget(m_counter);
    auto* previous = new QPushButton(QStringLiteral("<"), body);
    previous->setToolTip(QStringLiteral("previous search result"));
    auto* next = new QPushButton(QStringLiteral(">"), body);
    next->setToolTip(QStringLiteral("next search result"));
    bottom->addWidget(previous);
    bottom->addWidget(next);

    auto* logGroup = new QGroupBox(QStringLiteral("Log Status"), body);
    auto* logLayout = new QHBoxLayout(logGroup);
    m_fileName = new QLineEdit(QStringLiteral("n.a."), logGroup);
    m_fileName->setReadOnly(true);
    m_logButton = new QPushButton(QStringLiteral("Create Log File"), logGroup);
    logLayout->addWidget(m_fileName, 1);
    logLayout->addWidget(m_logButton);
    bottom->addWidget(logGroup, 2);
    layout->addLayout(bottom);
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
    m_pending << line;
    if (!m_batch->isActive())
        m_batch->start();
}

void TStatusWindow::OnCleared()
{
    // Lines before the limit's reset that are still waiting would never have been shown together with the new ones.
    m_pending.clear();
    m_box->clear();
}

void TStatusWindow::FlushPending()
{
    if (m_pending.isEmpty())
        return;
    m_box->appendPlainText(m_pending.join(QLatin1Char('\n')));
    m_pending.clear();
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
    m_pending.clear();
    m_box->clear();
    TStatusLog::Instance().Clear();
}

void TStatusWindow::OnSearchTextChanged(const QString& text)
{
    FlushPending();
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
    QTextCursor cursor(block);
    cursor.movePosition(QTextCursor::EndOfBlock, QTextCursor::KeepAnchor);
    m_box->setTextCursor(cursor);
    m_box->ensureCursorVisible();
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
    const QString path = QFileDialog::getSaveFileName(this, QStringLiteral("Create Log File"), proposal, QStringLiteral("Log Files (*.log)"));
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

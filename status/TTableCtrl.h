#pragma once
#include <QStringList>
#include <QWidget>

#include "status/TTableLog.h"

class QLabel;
class QLineEdit;
class QPushButton;
class QStandardItemModel;
class QTableView;
class QTimer;

/// A message table with its own search, context menu, row counter and log file. Rows are written
/// to the log file at once and shown in batches.
class TTableCtrl : public QWidget
{
    Q_OBJECT
public:
    static constexpr int kBatchMs = 30;

    TTableCtrl(const QString& title, const QStringList& columns, QWidget* parent = nullptr);
    ~TTableCtrl() override;

    void AppendRow(const QStringList& cells);
    void FlushPending();
    int RowCount() const;
    int RowCounter() const { return m_counter; }
    QString Cell(int row, int column) const;
    QString Title() const { return m_title; }
    bool AutoScrolling() const { return m_autoScroll; }
    void SetAutoScrolling(bool on) { m_autoScroll = on; }
    bool IsColumnVisible(int column) const;
    QString SearchCounterText() const;
    /// Opens the table's log file under the standard name in `directory` (no dialog).
    bool OpenLogFile(const QString& directory, const QString& suffix = QString());
    void CloseLogFile();
    QString LogFilePath() const { return m_log.IsOpen() ? m_log.Path() : QString(); }
    QString LogButtonText() const;

public slots:
    void OnClearTable();
    void OnClearAndResetTable();
    void OnToggleColumn();
    void OnContextMenuRequested(const QPoint& pos);
    void OnSearchFieldTextEdited(const QString& text);
    void OnSearchPrevious();
    void OnSearchNext();
    void OnLogButton();

private:
    void SelectMatch();

    QString m_title;
    QStandardItemModel* m_model;
    QTableView* m_view;
    QLineEdit* m_search;
    QLabel* m_searchCounter;
    QLineEdit* m_fileName;
    QPushButton* m_logButton;
    QTimer* m_batch;
    QList<QStringList> m_pending;
    QList<int> m_matches;
    int m_current = -1;
    int m_counter = 0;
    bool m_autoScroll = true;
    TTableLog m_log;
};

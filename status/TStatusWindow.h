#pragma once
#include <QDockWidget>
#include <QStringList>

class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QTimer;

/// The dock that shows every status line. Lines arrive from the status log and are appended in
/// batches on a short timer, so that a flood of events never freezes the window.
class TStatusWindow : public QDockWidget
{
    Q_OBJECT
public:
    static constexpr int kBatchMs = 30;

    /// The one status window (made by the main window; null before).
    static TStatusWindow* Instance();
    explicit TStatusWindow(QWidget* parent = nullptr);
    ~TStatusWindow() override;

    void AddStatusLine(const QString& text);
    void AddStatusMessage(const QString& source, const QString& text);
    /// Shows what is still waiting for the next batch at once (tests, screenshots).
    void FlushPending();
    int VisibleLines() const;
    QString Text() const;
    QString SearchCounterText() const;
    QString LogFileNameText() const;
    QString LogButtonText() const;

public slots:
    void OnClearStatusTable();
    void OnSearchTextChanged(const QString& text);
    void OnSearchPrevious();
    void OnSearchNext();
    void OnLogButton();

private:
    void OnLine(const QString& line);
    void OnCleared();
    void OnLogFileChanged(const QString& pathOrNa);
    void SelectMatch();

    QPlainTextEdit* m_box;
    QLineEdit* m_search;
    QLabel* m_counter;
    QLineEdit* m_fileName;
    QPushButton* m_logButton;
    QTimer* m_batch;
    QStringList m_pending;
    QList<int> m_matches;   ///< block numbers that contain the search text
    int m_current = -1;
};

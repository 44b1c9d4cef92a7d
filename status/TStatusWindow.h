#pragma once
#include <QDockWidget>
#include <QStringList>
#include <QVector>

#include "status/TStatusLevel.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QTimer;
class TStatusBox;

/// The dock that shows every status line. Lines arrive from the status log and are appended in
/// batches on a short timer, so that a flood of events never freezes the window. It keeps the lines
/// of the box (up to the log's line limit) so that the level and device filters can show them again.
class TStatusWindow : public QDockWidget
{
    Q_OBJECT
public:
    static constexpr int kBatchMs = 30;
    static constexpr const char* kAllDevices = "All Devices";

    /// The one status window (made by the main window; null before).
    static TStatusWindow* Instance();
    explicit TStatusWindow(QWidget* parent = nullptr);
    ~TStatusWindow() override;

    void AddStatusLine(const QString& text);
    void AddStatusMessage(const QString& source, const QString& text);
    /// Shows what is still waiting for the next batch at once (tests, screenshots).
    void FlushPending();
    /// Lines shown in the box (what the filters let through).
    int VisibleLines() const;
    QString Text() const;
    QString SearchCounterText() const;
    QString LogFileNameText() const;
    QString LogButtonText() const;
    TStatusBox* Box() const { return m_box; }

    /// Shows or hides the lines of a level.
    void SetLevelShown(TStatusLevel::Level level, bool shown);
    /// Offers a port in the device filter (kept for the run, so that old lines can still be picked out).
    void AddDevice(const QString& port);
    QStringList Devices() const;
    /// Shows only the lines that mention `port`; "" shows every device's.
    void SetDeviceFilter(const QString& port);

public slots:
    void OnClearStatusTable();
    void OnSearchTextChanged(const QString& text);
    void OnSearchPrevious();
    void OnSearchNext();
    void OnLogButton();

private:
    struct Entry
    {
        QString line;
        TStatusLevel::Level level;
        bool ruleAbove;
    };

    void OnLine(const QString& line);
    void OnCleared();
    void OnLogFileChanged(const QString& pathOrNa);
    void SelectMatch();
    bool Passes(const Entry& entry, const QString& port) const;
    /// Appends entries to the box, those the filters let through.
    void Show(const QVector<Entry>& entries);
    /// Fills the box anew from the kept lines (after a filter changed).
    void Rebuild();
    QWidget* BuildFilters(QWidget* parent);

    TStatusBox* m_box;
    QCheckBox* m_levels[TStatusLevel::LevelCount];
    QComboBox* m_device;
    QLineEdit* m_search;
    QLabel* m_counter;
    QLineEdit* m_fileName;
    QPushButton* m_logButton;
    QTimer* m_batch;
    QVector<Entry> m_pending;
    QVector<Entry> m_entries;   ///< every line since the last clear, filtered or not
    bool m_ruleNext = false;    ///< a separator arrived: the next line gets the rule above it
    bool m_ruleShownNext = false;
    QString m_searchText;
    QList<int> m_matches;   ///< block numbers that contain the search text
    int m_current = -1;
};

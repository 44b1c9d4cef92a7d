#pragma once
#include <QElapsedTimer>
#include <QPointer>
#include <QTimer>

#include "gui/pages/TFormPage.h"
#include "sap/TPacketLoss.h"
#include "sap/TSignalStats.h"

class QLabel;
class QProgressBar;
class TGuiItemList;
class TProductionSupportSAP;
class TTableCtrl;

/// Radio tests: the radio test modes and test messages with their radio settings (kept in the
/// "Radio" settings), a test run of N test messages every T ms, and the test packets the module
/// reports, counted against the packet counters they carry (packet error rate) with their signal.
class TNodeTestPage : public TFormPage
{
    Q_OBJECT
public:
    static constexpr int kStatsBatchMs = 50;
    static const QStringList& Columns();

    explicit TNodeTestPage(const QString& title, QWidget* parent = nullptr);

    TTableCtrl* Table() const { return m_table; }
    QProgressBar* RunProgress() const { return m_progress; }
    /// "Test run: ..." while a run goes and after it ended.
    QString RunText() const;
    bool IsRunning() const { return m_running; }
    /// Forgets the table rows, counters and signal statistics.
    void ClearStatistics();

private:
    struct Run {
        int total = 0;
        int done = 0;
        int sent = 0;
        int failed = 0;
        QString lastFailure;
    };

    void Follow();
    void OnTestPacket(const TKeyValueList& record);
    void ShowStatistics();
    /// Sends the rows of the command with this layout, after keeping them as the "Radio" settings.
    void SendRadio(const QString& command, const TFieldLayoutEntry* layout);
    /// Keeps the values of these rows as the "Radio" settings.
    void Remember(const QStringList& keys);
    void StartRun();
    void StopRun(const QString& why);
    void RunNext();
    void ShowRun(const QString& state);
    void ShowFrequency();

    TGuiItemList* m_radio;
    TGuiItemList* m_runRows;
    TGuiItemList* m_stats;
    TTableCtrl* m_table;
    QProgressBar* m_progress;
    QLabel* m_runState;
    QPushButton* m_start;
    QPushButton* m_stop;
    QPointer<TProductionSupportSAP> m_pts;
    TPacketLoss m_rxLoss;
    TPacketLoss m_txLoss;
    TSignalStats m_signal;
    quint64 m_packets = 0;
    QTimer m_statsTimer;
    QTimer m_runTimer;
    QElapsedTimer m_sendStarted;
    bool m_running = false;
    int m_intervalMs = 0;
    Run m_run;
};

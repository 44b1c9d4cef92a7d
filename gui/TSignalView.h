#pragma once
#include <QHash>
#include <QMap>
#include <QWidget>
#include <QtCharts/qchartglobal.h>

#include "sap/TSignalStats.h"

class QBoxLayout;
class QLabel;
class QPushButton;
class QSpinBox;
class QTableWidget;
class QTimer;
QT_CHARTS_BEGIN_NAMESPACE
class QChart;
class QDateTimeAxis;
class QLineSeries;
class QValueAxis;
QT_CHARTS_END_NAMESPACE

/// RSSI and SNR of the received frames over time, one line per source address, with the link
/// counters and each source's min/mean/max beside them; a rolling window of the last N minutes,
/// pause and a CSV export of the plotted points.
///
/// Records go into the statistics at once. A single-shot timer moves the kept points into the
/// charts with QXYSeries::replace, only when they changed and only while the view is shown, so a
/// flood of frames costs one redraw per kRedrawMs however many arrive.
class TSignalView : public QWidget
{
    Q_OBJECT
public:
    static constexpr int kRedrawMs = 100;
    /// A series longer than this is thinned to the lowest and highest point of each slot.
    static constexpr int kMaxShownPoints = 800;
    /// From this width on the counters stand beside the charts; below it, under them.
    static constexpr int kBesideWidthPx = 1000;
    /// The time axis spans the kept points, at least this much and at most the window.
    static constexpr qint64 kMinSpanMs = 10 * 1000;

    /// `owner` names the view's lines in the status window (the page's name).
    explicit TSignalView(const QString& owner, QWidget* parent = nullptr);

    TSignalStats& Stats() { return m_stats; }
    const TSignalStats& Stats() const { return m_stats; }
    /// Counts the record (and keeps its point); the charts follow within kRedrawMs.
    void Add(const TKeyValueList& record);
    /// Shows the kept points, the counters and the per-source figures now.
    void Redraw();

    void SetWindowMinutes(int minutes);
    void SetPaused(bool paused);
    /// Forgets counters, figures and points.
    void Clear();
    /// Writes the plotted points as CSV to `path` and says so in the status window; false on failure.
    bool ExportCsv(const QString& path);

    /// The line of one source in each chart (null while it has no point in the window).
    QtCharts::QLineSeries* RssiSeries(const QString& source) const;
    QtCharts::QLineSeries* SnrSeries(const QString& source) const;
    QtCharts::QChart* RssiChart() const { return m_rssiChart; }
    QtCharts::QChart* SnrChart() const { return m_snrChart; }
    /// What stands beside a counter ("Received", "Ack Timeouts", ...); "" for an unknown name.
    QString CounterText(const QString& name) const;
    QTableWidget* SourceTable() const { return m_sources; }
    /// The statistics' revision that the charts show.
    quint64 ShownRevision() const { return m_shownRevision; }

signals:
    /// The charts show the kept points of this revision.
    void EvRedrawn(quint64 revision);

protected:
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    struct Lines {
        QtCharts::QLineSeries* rssi = nullptr;
        QtCharts::QLineSeries* snr = nullptr;
    };

    QtCharts::QChart* CreateChart(const QString& title, QtCharts::QDateTimeAxis*& x, QtCharts::QValueAxis*& y);
    Lines& LinesOf(const QString& source);
    void ScheduleRedraw();
    void RedrawCounters();
    void RedrawSources();
    void RedrawCharts();
    void AskExport();

    QString m_owner;
    TSignalStats m_stats;
    QTimer* m_redraw;
    quint64 m_shownRevision = 0;
    bool m_chartsDirty = false;

    QSpinBox* m_window;
    QPushButton* m_pause;
    QBoxLayout* m_split;
    QtCharts::QChart* m_rssiChart;
    QtCharts::QChart* m_snrChart;
    QtCharts::QDateTimeAxis* m_rssiTime = nullptr;
    QtCharts::QDateTimeAxis* m_snrTime = nullptr;
    QtCharts::QValueAxis* m_rssiAxis = nullptr;
    QtCharts::QValueAxis* m_snrAxis = nullptr;
    QMap<QString, Lines> m_lines;
    QHash<QString, int> m_colours;   ///< source → its line colour
    QHash<QString, QLabel*> m_counters;
    QTableWidget* m_sources;
};

#include "gui/TSignalView.h"

#include <QDateTime>
#include <QDir>
#include <QFileDialog>
#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QTimer>
#include <QVBoxLayout>
#include <QtCharts/QChart>
#include <QtCharts/QChartView>
#include <QtCharts/QDateTimeAxis>
#include <QtCharts/QLegend>
#include <QtCharts/QLineSeries>
#include <QtCharts/QValueAxis>

#include <cmath>
#include <iterator>
#include <limits>

#include "status/TStatusLog.h"

QT_CHARTS_USE_NAMESPACE

namespace {
const QString kRssiTitle = QStringLiteral("RSSI (dBm)");
const QString kSnrTitle = QStringLiteral("SNR (dB)");
const QString kPaused = QStringLiteral(" - paused");
constexpr int kChartHeightPx = 230;
constexpr int kTimeLabelPx = 110;   ///< room for one "hh:mm:ss" label of the time axis
constexpr int kMarkedPoints = 50;   ///< up to this many points a line shows each one

// Line colours of the sources in the order they first appear; dark enough for the light pages.
const QColor kLineColours[] = {
    QColor(0x1f, 0x5f, 0xbf), QColor(0xc0, 0x39, 0x2b), QColor(0x1e, 0x84, 0x49), QColor(0x8e, 0x44, 0xad),
    QColor(0xb9, 0x6a, 0x00), QColor(0x00, 0x7c, 0x89), QColor(0x6d, 0x4c, 0x41), QColor(0x45, 0x5a, 0x64),
};

// counter name        what it shows
enum Counter { Received, Transmitted, TxFailed, Acknowledged, AckTimeouts, AirTime };
const char* const kCounterNames[] = {"Received", "Transmitted", "Tx Failed", "Acknowledged", "Ack Timeouts", "Air Time"};

// Columns of the per-source table; the signal columns hold min / mean / max.
const char* const kSourceColumns[] = {"Source", "Packets", "RSSI (dBm)", "SNR (dB)"};

/// At most kMaxShownPoints points: each slot of a longer series gives its lowest and highest point,
/// in their order, so peaks and dips stay in the picture.
QVector<QPointF> Thin(const QVector<QPointF>& points)
{
    if (points.size() <= TSignalView::kMaxShownPoints)
        return points;
    const int slotCount = TSignalView::kMaxShownPoints / 2;
    QVector<QPointF> thinned;
    thinned.reserve(TSignalView::kMaxShownPoints);
    for (int slot = 0; slot < slotCount; ++slot) {
        const int begin = int(qint64(points.size()) * slot / slotCount);
        const int end = int(qint64(points.size()) * (slot + 1) / slotCount);
        int low = begin, high = begin;
        for (int i = begin + 1; i < end; ++i) {
            if (points.at(i).y() < points.at(low).y())
                low = i;
            if (points.at(i).y() > points.at(high).y())
                high = i;
        }
        thinned.append(points.at(qMin(low, high)));
        if (low != high)
            thinned.append(points.at(qMax(low, high)));
    }
    return thinned;
}

/// Widens [low, high] outward to whole steps, with room above and below the lines, and ticks at
/// multiples of the step (or of a coarser one), at most five apart.
void SetRange(QValueAxis* axis, double low, double high, double step)
{
    low = std::floor((low - step / 2) / step) * step;
    high = std::ceil((high + step / 2) / step) * step;
    double interval = step;
    for (const double coarser : {2.0, 5.0, 10.0, 20.0}) {
        if ((high - low) / interval <= 5)
            break;
        interval = step * coarser;
    }
    axis->setRange(low, high);
    axis->setTickAnchor(0);
    axis->setTickInterval(interval);
}

QString Figures(int minimum, double mean, int maximum)
{
    return QStringLiteral("%1 / %2 / %3").arg(minimum).arg(mean, 0, 'f', 1).arg(maximum);
}
}

TSignalView::TSignalView(const QString& owner, QWidget* parent)
    : QWidget(parent)
    , m_owner(owner)
    , m_redraw(new QTimer(this))
{
    m_redraw->setSingleShot(true);
    m_redraw->setInterval(kRedrawMs);
    connect(m_redraw, &QTimer::timeout, this, [this] {
        if (isVisible())
            Redraw();   // hidden: showEvent catches up
    });

    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);

    auto* controls = new QHBoxLayout;
    auto* windowLabel = new QLabel(QStringLiteral("Window"), this);
    m_window = new QSpinBox(this);
    m_window->setRange(1, TSignalStats::kMaxWindowMinutes);
    m_window->setValue(m_stats.WindowMinutes());
    m_window->setSuffix(QStringLiteral(" min"));
    m_window->setToolTip(QStringLiteral("plot the last N minutes"));
    m_window->setAccessibleName(windowLabel->text());
    windowLabel->setBuddy(m_window);
    m_pause = new QPushButton(QStringLiteral("Pause"), this);
    m_pause->setCheckable(true);
    m_pause->setToolTip(QStringLiteral("keep the plot as it is; frames are still counted"));
    auto* exportButton = new QPushButton(QStringLiteral("Export CSV..."), this);
    exportButton->setToolTip(QStringLiteral("write the plotted points to a CSV file"));
    auto* clear = new QPushButton(QStringLiteral("Clear"), this);
    clear->setToolTip(QStringLiteral("forget counters, figures and points"));
    controls->addWidget(windowLabel);
    controls->addWidget(m_window);
    controls->addWidget(m_pause);
    controls->addWidget(exportButton);
    controls->addWidget(clear);
    controls->addStretch(1);
    outer->addLayout(controls);

    auto* charts = new QVBoxLayout;
    m_rssiChart = CreateChart(kRssiTitle, m_rssiTime, m_rssiAxis);
    m_snrChart = CreateChart(kSnrTitle, m_snrTime, m_snrAxis);
    for (QChart* chart : {m_rssiChart, m_snrChart}) {
        auto* view = new QChartView(chart, this);
        view->setMinimumHeight(kChartHeightPx);
        view->setAccessibleName(chart == m_rssiChart ? kRssiTitle : kSnrTitle);
        charts->addWidget(view);
    }

    auto* figures = new QVBoxLayout;
    auto* counters = new QGridLayout;
    for (int i = 0; i < int(std::size(kCounterNames)); ++i) {
        const QString name = QString::fromLatin1(kCounterNames[i]);
        auto* label = new QLabel(name, this);
        auto* value = new QLabel(QStringLiteral("0"), this);
        value->setObjectName(QStringLiteral("SignalCounter"));
        value->setAccessibleName(name);
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        counters->addWidget(label, i / 2, (i % 2) * 2);
        counters->addWidget(value, i / 2, (i % 2) * 2 + 1);
        m_counters.insert(name, value);
    }
    counters->setColumnStretch(1, 1);
    counters->setColumnStretch(3, 1);
    figures->addLayout(counters);
    auto* sourcesLabel = new QLabel(QStringLiteral("Signal per Source (min / mean / max)"), this);
    m_sources = new QTableWidget(0, int(std::size(kSourceColumns)), this);
    QStringList headers;
    for (const char* column : kSourceColumns)
        headers << QString::fromLatin1(column);
    m_sources->setHorizontalHeaderLabels(headers);
    m_sources->verticalHeader()->hide();
    m_sources->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_sources->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_sources->setMinimumHeight(130);
    m_sources->setAccessibleName(sourcesLabel->text());
    sourcesLabel->setBuddy(m_sources);
    figures->addWidget(sourcesLabel);
    figures->addWidget(m_sources, 1);

    m_split = new QBoxLayout(QBoxLayout::TopToBottom);
    m_split->addLayout(charts, 3);
    m_split->addLayout(figures, 2);
    outer->addLayout(m_split, 1);

    connect(m_window, QOverload<int>::of(&QSpinBox::valueChanged), this, &TSignalView::SetWindowMinutes);
    connect(m_pause, &QPushButton::toggled, this, &TSignalView::SetPaused);
    connect(exportButton, &QPushButton::clicked, this, &TSignalView::AskExport);
    connect(clear, &QPushButton::clicked, this, &TSignalView::Clear);
    RedrawCharts();
}

QChart* TSignalView::CreateChart(const QString& title, QDateTimeAxis*& x, QValueAxis*& y)
{
    auto* chart = new QChart;
    chart->setBackgroundVisible(false);
    chart->setMargins(QMargins(2, 2, 2, 2));
    // Beside the plot, one source a line: whole addresses on a narrow page, and both charts keep
    // the same plot width, so their time axes line up.
    chart->legend()->setAlignment(Qt::AlignRight);
    x = new QDateTimeAxis(chart);
    x->setFormat(QStringLiteral("hh:mm:ss"));
    x->setTickCount(5);
    y = new QValueAxis(chart);
    y->setLabelFormat(QStringLiteral("%d"));
    y->setTickType(QValueAxis::TicksDynamic);
    // The page's font, not the charts' larger one: narrow pages keep room for the lines.
    y->setTitleText(title);   // beside the values rather than above them: the lines keep the height
    y->setTitleFont(font());
    chart->legend()->setFont(font());
    x->setLabelsFont(font());
    y->setLabelsFont(font());
    chart->addAxis(x, Qt::AlignBottom);
    chart->addAxis(y, Qt::AlignLeft);
    // As many time labels as the plot's width holds whole.
    connect(chart, &QChart::plotAreaChanged, x, [x](const QRectF& plot) {
        const int ticks = qBound(2, int(plot.width()) / kTimeLabelPx + 1, 6);
        if (x->tickCount() != ticks)
            x->setTickCount(ticks);
    });
    return chart;
}

TSignalView::Lines& TSignalView::LinesOf(const QString& source)
{
    auto it = m_lines.find(source);
    if (it != m_lines.end())
        return *it;
    Lines lines;
    // A source keeps its colour while the view lives (or until Clear), also when its line goes.
    const auto known = m_colours.constFind(source);
    const int index = known != m_colours.constEnd() ? *known : *m_colours.insert(source, m_colours.size());
    const QColor colour = kLineColours[index % int(std::size(kLineColours))];
    struct Target {
        QLineSeries** series;
        QChart* chart;
        QDateTimeAxis* time;
        QValueAxis* value;
    };
    const Target targets[] = {
        {&lines.rssi, m_rssiChart, m_rssiTime, m_rssiAxis},
        {&lines.snr, m_snrChart, m_snrTime, m_snrAxis},
    };
    for (const Target& target : targets) {
        auto* series = new QLineSeries;
        series->setName(source);
        QPen pen(colour, 1);
        pen.setCosmetic(true);   // drawn as plain lines, not stroked as outlines: thousands of points stay cheap
        series->setPen(pen);
        target.chart->addSeries(series);
        series->attachAxis(target.time);
        series->attachAxis(target.value);
        *target.series = series;
    }
    return *m_lines.insert(source, lines);
}

void TSignalView::Add(const TKeyValueList& record)
{
    m_stats.Add(record);
    ScheduleRedraw();
}

void TSignalView::ScheduleRedraw()
{
    if (!m_redraw->isActive())
        m_redraw->start();
}

void TSignalView::Redraw()
{
    m_redraw->stop();
    RedrawCounters();
    RedrawSources();
    if (m_stats.Revision() != m_shownRevision || m_chartsDirty)
        RedrawCharts();
}

void TSignalView::RedrawCounters()
{
    const TLinkCounters& c = m_stats.Counters();
    const quint64 values[] = {c.received, c.transmitted, c.transmitFailed, c.acknowledged, c.ackTimeouts};
    for (int i = Received; i <= AckTimeouts; ++i)
        m_counters.value(QString::fromLatin1(kCounterNames[i]))->setText(QString::number(values[i]));
    m_counters.value(QString::fromLatin1(kCounterNames[AirTime]))->setText(QStringLiteral("%1 ms").arg(c.airTimeMs));
}

void TSignalView::RedrawSources()
{
    const QVector<TSourceSignal> sources = m_stats.Sources();
    m_sources->setRowCount(sources.size());
    for (int row = 0; row < sources.size(); ++row) {
        const TSourceSignal& s = sources.at(row);
        const QString notAvailable = QStringLiteral("n.a.");
        const QString cells[] = {
            s.source,
            QString::number(s.packets),
            s.measured > 0 ? Figures(s.rssiMin, s.rssiMean, s.rssiMax) : notAvailable,
            s.measured > 0 ? Figures(s.snrMin, s.snrMean, s.snrMax) : notAvailable,
        };
        for (int column = 0; column < int(std::size(cells)); ++column) {
            QTableWidgetItem* item = m_sources->item(row, column);
            if (!item) {
                item = new QTableWidgetItem;
                m_sources->setItem(row, column, item);
            }
            if (item->text() != cells[column])
                item->setText(cells[column]);
        }
    }
}

void TSignalView::RedrawCharts()
{
    m_chartsDirty = false;
    m_shownRevision = m_stats.Revision();
    struct Kept {
        QVector<QPointF> rssi;
        QVector<QPointF> snr;
    };
    QMap<QString, Kept> kept;
    qint64 oldest = std::numeric_limits<qint64>::max();
    qint64 newest = std::numeric_limits<qint64>::min();
    double rssiLow = -120, rssiHigh = -40, snrLow = -15, snrHigh = 10;   // before the first point
    for (const QString& source : m_stats.SeriesSources()) {
        Kept lines{Thin(m_stats.RssiSeries(source)), Thin(m_stats.SnrSeries(source))};
        if (lines.rssi.isEmpty())
            continue;
        if (kept.isEmpty()) {
            rssiLow = rssiHigh = lines.rssi.first().y();
            snrLow = snrHigh = lines.snr.first().y();
        }
        oldest = qMin(oldest, qint64(lines.rssi.first().x()));
        newest = qMax(newest, qint64(lines.rssi.last().x()));
        for (const QPointF& p : qAsConst(lines.rssi)) {
            rssiLow = qMin(rssiLow, p.y());
            rssiHigh = qMax(rssiHigh, p.y());
        }
        for (const QPointF& p : qAsConst(lines.snr)) {
            snrLow = qMin(snrLow, p.y());
            snrHigh = qMax(snrHigh, p.y());
        }
        kept.insert(source, lines);
    }
    if (kept.isEmpty())
        oldest = newest = QDateTime::currentMSecsSinceEpoch();

    // Every change of a line or an axis lays the line out again: the lines are emptied before the
    // axes move, so that each is laid out once, with its new points. A source whose points all
    // left the window leaves the charts and their legends.
    for (auto it = m_lines.begin(); it != m_lines.end();) {
        if (!kept.contains(it.key())) {
            m_rssiChart->removeSeries(it->rssi);
            m_snrChart->removeSeries(it->snr);
            delete it->rssi;
            delete it->snr;
            it = m_lines.erase(it);
            continue;
        }
        if (it->rssi->count() > 0) {
            it->rssi->replace(QVector<QPointF>());
            it->snr->replace(QVector<QPointF>());
        }
        ++it;
    }
    // The time axis ends at the newest point and spans the kept ones, within its limits.
    const qint64 windowMs = qint64(m_stats.WindowMinutes()) * 60 * 1000;
    const qint64 span = qBound(kMinSpanMs, newest - oldest, qMax(kMinSpanMs, windowMs));
    const QDateTime from = QDateTime::fromMSecsSinceEpoch(newest - span);
    const QDateTime to = QDateTime::fromMSecsSinceEpoch(newest);
    m_rssiTime->setRange(from, to);
    m_snrTime->setRange(from, to);
    SetRange(m_rssiAxis, rssiLow, rssiHigh, 10);
    SetRange(m_snrAxis, snrLow, snrHigh, 5);
    for (auto it = kept.constBegin(); it != kept.constEnd(); ++it) {
        Lines& lines = LinesOf(it.key());
        // A source heard now and then shows its points (a single one makes no line), as large
        // dots: a line draws its points by its pen's width.
        const bool marked = it->rssi.size() <= kMarkedPoints;
        for (QLineSeries* series : {lines.rssi, lines.snr}) {
            if (series->pointsVisible() == marked)
                continue;
            QPen pen = series->pen();
            pen.setWidth(marked ? 3 : 1);
            series->setPen(pen);
            series->setPointsVisible(marked);
        }
        lines.rssi->replace(it->rssi);
        lines.snr->replace(it->snr);
    }
    emit EvRedrawn(m_shownRevision);
}

void TSignalView::SetWindowMinutes(int minutes)
{
    m_stats.SetWindowMinutes(minutes);
    if (m_window->value() != m_stats.WindowMinutes()) {
        const QSignalBlocker quiet(m_window);
        m_window->setValue(m_stats.WindowMinutes());
    }
    m_chartsDirty = true;   // the time axis changes even when no point left
    ScheduleRedraw();
}

void TSignalView::SetPaused(bool paused)
{
    m_stats.SetPaused(paused);
    if (m_pause->isChecked() != paused) {
        const QSignalBlocker quiet(m_pause);
        m_pause->setChecked(paused);
    }
    m_rssiAxis->setTitleText(kRssiTitle + (paused ? kPaused : QString()));
    m_snrAxis->setTitleText(kSnrTitle + (paused ? kPaused : QString()));
    ScheduleRedraw();
}

void TSignalView::Clear()
{
    m_stats.Clear();
    Redraw();   // the lines go now, before the next source could take an old colour
    m_colours.clear();
}

bool TSignalView::ExportCsv(const QString& path)
{
    QString error;
    if (!m_stats.ExportCsv(path, error)) {
        TStatusLog::Instance().AddStatusMessage(m_owner, error);
        return false;
    }
    TStatusLog::Instance().AddStatusMessage(m_owner, QStringLiteral("info - %1 signal point(s) written to %2").arg(m_stats.PointCount()).arg(path));
    return true;
}

void TSignalView::AskExport()
{
    const QString proposal = QDir(TStatusLog::LogDirectory())
                                 .filePath(QStringLiteral("Signal_%1.csv").arg(QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd_hh-mm-ss"))));
    const QString path = QFileDialog::getSaveFileName(this, QStringLiteral("Export CSV"), proposal, QStringLiteral("CSV Files (*.csv)"));
    if (!path.isEmpty())
        ExportCsv(path);
}

QLineSeries* TSignalView::RssiSeries(const QString& source) const
{
    return m_lines.value(source).rssi;
}

QLineSeries* TSignalView::SnrSeries(const QString& source) const
{
    return m_lines.value(source).snr;
}

QString TSignalView::CounterText(const QString& name) const
{
    const QLabel* label = m_counters.value(name);
    return label ? label->text() : QString();
}

void TSignalView::resizeEvent(QResizeEvent* event)
{
    const QBoxLayout::Direction direction = width() >= kBesideWidthPx ? QBoxLayout::LeftToRight : QBoxLayout::TopToBottom;
    if (m_split->direction() != direction)
        m_split->setDirection(direction);
    QWidget::resizeEvent(event);
}

void TSignalView::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    ScheduleRedraw();
}

#include "gui/pages/TNodeTestPage.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

#include "devices/TDeviceManager.h"
#include "devices/TRadioController.h"
#include "gui/TGuiItemList.h"
#include "sap/DataLinkLayouts.h"
#include "sap/ProductionSupportLayouts.h"
#include "sap/TProductionSupportSAP.h"
#include "settings/TRadioTestSettings.h"
#include "settings/TSettings.h"
#include "status/TTableCtrl.h"
#include "sap/TFieldLayout.h"

namespace P = ProductionSupportLayouts;

namespace {
constexpr int kFrequencyRow = 3;
constexpr int kRfFrequencyRow = 4;                      // display only, beside the word
constexpr int kTableMinimumHeightPx = 240;

const char* const kRxTestPacket = "Rx Test Packet";

/// "0x1F" hexadecimal, otherwise decimal: the numbers the input rules let through.
int Number(const QString& text)
{
    const QString t = text.trimmed();
    return t.startsWith(QLatin1String("0x"), Qt::CaseInsensitive) ? t.mid(2).toInt(nullptr, 16) : t.toInt();
}

QString Loss(const TPacketLoss& loss)
{
    QString text = QStringLiteral("%1 of %2 expected").arg(loss.Received()).arg(loss.Expected());
    if (loss.Duplicates() > 0)
        text += QStringLiteral(", %1 twice").arg(loss.Duplicates());
    return text;
}

QString ErrorRate(const TPacketLoss& loss)
{
    return loss.Expected() == 0 ? TGuiItemList::kNotAvailable : QStringLiteral("%1 %").arg(loss.LossPercent(), 0, 'f', 1);
}

QString Spread(quint64 measured, int minimum, double mean, int maximum, const char* unit)
{
    if (measured == 0)
        return TGuiItemList::kNotAvailable;
    return QStringLiteral("min %1 / mean %2 / max %3 %4").arg(minimum).arg(mean, 0, 'f', 1).arg(maximum).arg(QLatin1String(unit));
}
}

const QStringList& TNodeTestPage::Columns()
{
    static const QStringList columns{QStringLiteral("EvType"),        QStringLiteral("HostTime"), QStringLiteral("Port"),
                                     QStringLiteral("PacketCounter"), QStringLiteral("RSSI"),     QStringLiteral("SNR"),
                                     QStringLiteral("PowerLevel"),    QStringLiteral("Frequency"), QStringLiteral("Airtime"),
                                     QStringLiteral("Payload")};
    return columns;
}

TNodeTestPage::TNodeTestPage(const QString& title, QWidget* parent)
    : TFormPage(title, parent)
{
    m_radio = &AddGroup(
        QStringLiteral("Radio Test"),
        {QStringLiteral("GuiName:Test Mode;GuiType:ComboBox;Key:TestMode;Value:n.a.;GuiFlags:IdList;"
                        "ValueList:0:Off,1:Unmodulated Carrier,2:Test Packets (Tx),3:Receive Test (Rx)"),
         QStringLiteral("GuiName:Power Level;GuiType:LineEdit;Key:PowerLevel;Value:n.a.;MinValue:-128;MaxValue:127;Unit:dBm"),
         QStringLiteral("GuiName:Modulation;GuiType:ComboBox;Key:Modulation;Value:n.a.;GuiFlags:IdList;ValueList:0:LoRa,1:FSK"),
         QStringLiteral("GuiName:Frequency;GuiType:LineEdit;Key:Frequency;Value:n.a.;MinValue:0;MaxValue:16777215"),
         QStringLiteral("GuiName:RF Frequency;GuiType:Label;Value:n.a."),
         QStringLiteral("GuiName:Bandwidth;GuiType:ComboBox;Key:Bandwidth;Value:n.a.;GuiFlags:IdList;ValueList:0:125 kHz,1:250 kHz,2:500 kHz"),
         QStringLiteral("GuiName:Spreading Factor;GuiType:ComboBox;Key:Spreading;Value:n.a.;GuiFlags:IdList;"
                        "ValueList:7:SF7,8:SF8,9:SF9,10:SF10,11:SF11,12:SF12"),
         QStringLiteral("GuiName:Error Coding;GuiType:ComboBox;Key:ErrorCoding;Value:n.a.;GuiFlags:IdList;ValueList:1:4/5,2:4/6,3:4/7,4:4/8"),
         QStringLiteral("GuiName:Payload;GuiType:LineEdit;Key:Payload;Value:n.a.;HexBytes:0-%1").arg(P::kMaxTestPayload)});
    AddButton(QStringLiteral("Set Radio Test Mode"), QStringLiteral("set the radio test mode"),
              [this] { SendRadio(QStringLiteral("PTS/SetRadioTestMode"), P::kRadioTestMode); });
    AddButton(QStringLiteral("Send Test Message"), QStringLiteral("send a test message"),
              [this] { SendRadio(QStringLiteral("PTS/SendTestMessage"), P::kTestMessage); });
    if (auto* frequency = qobject_cast<QLineEdit*>(m_radio->Editor(kFrequencyRow)))
        connect(frequency, &QLineEdit::textChanged, this, &TNodeTestPage::ShowFrequency);

    // A test run: the test message above, N times, one every T ms. Never sent as parameters.
    m_runRows = &AddGroup(QStringLiteral("Test Run"),
                          {QStringLiteral("GuiName:Repeat;GuiType:LineEdit;Key:RepeatCount;Value:n.a.;MinValue:1;MaxValue:100000;Unit:times"),
                           QStringLiteral("GuiName:Every;GuiType:LineEdit;Key:RepeatInterval;Value:n.a.;MinValue:0;MaxValue:3600000;Unit:ms")});
    auto* progressRow = new QWidget(this);
    auto* progressLayout = new QHBoxLayout(progressRow);
    progressLayout->setContentsMargins(0, 0, 0, 0);
    progressLayout->setSpacing(TGuiItemList::kRowSpacingPx);
    auto* progressLabel = new QLabel(QStringLiteral("Progress"), progressRow);
    progressLabel->setMinimumWidth(kLabelWidthPx);
    m_progress = new QProgressBar(progressRow);
    m_progress->setRange(0, 1);
    m_progress->setValue(0);
    m_progress->setAccessibleName(progressLabel->text());
    progressLabel->setBuddy(m_progress);
    progressLayout->addWidget(progressLabel);
    progressLayout->addWidget(m_progress, 1);
    AddToGroup(progressRow);
    m_runState = new QLabel(QStringLiteral("Test run: not started"), this);
    m_runState->setWordWrap(true);
    AddToGroup(m_runState);
    m_start = AddControlButton(QStringLiteral("Start Test Run"), QStringLiteral("send the test message above N times, one every T ms"),
                               [this] { StartRun(); });
    m_stop = AddControlButton(QStringLiteral("Stop"), QStringLiteral("stop the test run"), [this] { StopRun(QStringLiteral("stopped")); });
    m_stop->setEnabled(false);
    m_runTimer.setSingleShot(true);
    connect(&m_runTimer, &QTimer::timeout, this, &TNodeTestPage::RunNext);

    m_stats = &AddGroup(QStringLiteral("Test Packets"),
                        {QStringLiteral("GuiName:Packets;GuiType:LineEdit;Key:Packets;Value:0;GuiFlags:RO"),
                         QStringLiteral("GuiName:Received;GuiType:LineEdit;Key:Received;Value:n.a.;GuiFlags:RO"),
                         QStringLiteral("GuiName:Rx Packet Error Rate;GuiType:LineEdit;Key:RxPER;Value:n.a.;GuiFlags:RO"),
                         QStringLiteral("GuiName:Sent;GuiType:LineEdit;Key:Sent;Value:n.a.;GuiFlags:RO"),
                         QStringLiteral("GuiName:Tx Packet Error Rate;GuiType:LineEdit;Key:TxPER;Value:n.a.;GuiFlags:RO"),
                         QStringLiteral("GuiName:RSSI;GuiType:LineEdit;Key:RSSI;Value:n.a.;GuiFlags:RO"),
                         QStringLiteral("GuiName:SNR;GuiType:LineEdit;Key:SNR;Value:n.a.;GuiFlags:RO")});
    AddControlButton(QStringLiteral("Clear"), QStringLiteral("forget the test packets and their statistics"), [this] { ClearStatistics(); });
    m_table = new TTableCtrl(QStringLiteral("Test_Packets"), Columns(), this);
    m_table->setMinimumHeight(kTableMinimumHeightPx);
    Body()->addWidget(m_table, 1);
    m_statsTimer.setSingleShot(true);
    m_statsTimer.setInterval(kStatsBatchMs);
    connect(&m_statsTimer, &QTimer::timeout, this, &TNodeTestPage::ShowStatistics);

    // The fields start as the user left them last time.
    const TRadioTestSettings settings = TSettings::Instance().RadioTest();
    TKeyValueList stored;
    for (const TRadioTestSettings::IntField& field : TRadioTestSettings::kIntFields)
        stored.Append(QLatin1String(field.key), qint64(settings.*field.member));
    stored.Append(QLatin1String(TRadioTestSettings::kPayloadKey), settings.payload);
    m_radio->SetItems(stored, false);
    m_runRows->SetItems(stored, false);
    ShowFrequency();

    // The controller does not relay test packets: the page listens to the selected module's service.
    connect(&TDeviceManager::Instance(), &TDeviceManager::EvDeviceSelectionChanged, this, &TNodeTestPage::Follow);
    Follow();
}

void TNodeTestPage::Follow()
{
    TRadioController* device = TDeviceManager::Instance().SelectedDevice();
    auto* pts = device ? qobject_cast<TProductionSupportSAP*>(device->SAP(QStringLiteral("PTS"))) : nullptr;
    if (pts == m_pts)
        return;
    if (m_pts)
        disconnect(m_pts, nullptr, this, nullptr);
    m_pts = pts;
    if (pts)
        connect(pts, &TProductionSupportSAP::EvProductionSupport_TestPacketEvent, this, &TNodeTestPage::OnTestPacket);
}

void TNodeTestPage::ShowFrequency()
{
    auto* rf = qobject_cast<QLabel*>(m_radio->Editor(kRfFrequencyRow));
    auto* word = qobject_cast<QLineEdit*>(m_radio->Editor(kFrequencyRow));
    if (!rf || !word)
        return;
    bool ok = false;
    const qint64 value = word->text().trimmed().toLongLong(&ok);
    rf->setText(ok ? QStringLiteral("%1 MHz").arg(value * DataLinkLayouts::kFrequencyStepHz / 1e6, 0, 'f', 3) : TGuiItemList::kNotAvailable);
}

void TNodeTestPage::SendRadio(const QString& command, const TFieldLayoutEntry* layout)
{
    // Values the module is sent are kept for the next start, whatever it answers.
    const QStringList keys = TFieldLayout::ParameterNames(layout);
    if (!CheckInput(*m_radio, keys))
        return;
    Remember(keys);
    RunSetCommand(command, *m_radio, keys);
}

void TNodeTestPage::Remember(const QStringList& keys)
{
    TKeyValueList values = m_radio->ReadKeyValues(keys);
    values += m_runRows->ReadKeyValues(keys);
    TRadioTestSettings settings = TSettings::Instance().RadioTest();
    for (const TRadioTestSettings::IntField& field : TRadioTestSettings::kIntFields)
        if (values.Contains(QLatin1String(field.key)))
            settings.*field.member = Number(values.Value(QLatin1String(field.key)));
    if (values.Contains(QLatin1String(TRadioTestSettings::kPayloadKey)))
        settings.payload = values.Value(QLatin1String(TRadioTestSettings::kPayloadKey)).trimmed();
    TSettings::Instance().SetRadioTest(settings);
}

void TNodeTestPage::OnTestPacket(const TKeyValueList& record)
{
    QStringList row;
    for (const QString& column : Columns())
        row << record.Value(column);
    m_table->AppendRow(row);
    ++m_packets;
    bool ok = false;
    const quint16 counter = record.Value(QStringLiteral("PacketCounter")).toUShort(&ok);
    if (ok)
        (record.Value(QStringLiteral("EvType")) == QLatin1String(kRxTestPacket) ? m_rxLoss : m_txLoss).Add(counter);
    m_signal.Add(record);
    if (!m_statsTimer.isActive())
        m_statsTimer.start();
}

void TNodeTestPage::ShowStatistics()
{
    const TSourceSignal signal = m_signal.Source(QString::fromLatin1(TSignalStats::kNoSource));
    TKeyValueList stats;
    stats.Append(QStringLiteral("Packets"), qint64(m_packets));
    stats.Append(QStringLiteral("Received"), Loss(m_rxLoss));
    stats.Append(QStringLiteral("RxPER"), ErrorRate(m_rxLoss));
    stats.Append(QStringLiteral("Sent"), Loss(m_txLoss));
    stats.Append(QStringLiteral("TxPER"), ErrorRate(m_txLoss));
    stats.Append(QStringLiteral("RSSI"), Spread(signal.measured, signal.rssiMin, signal.rssiMean, signal.rssiMax, "dBm"));
    stats.Append(QStringLiteral("SNR"), Spread(signal.measured, signal.snrMin, signal.snrMean, signal.snrMax, "dB"));
    m_stats->SetItems(stats);
}

void TNodeTestPage::ClearStatistics()
{
    m_table->OnClearAndResetTable();
    m_rxLoss.Clear();
    m_txLoss.Clear();
    m_signal.Clear();
    m_packets = 0;
    ShowStatistics();
}

void TNodeTestPage::StartRun()
{
    if (m_running)
        return;
    const QStringList keys = TFieldLayout::ParameterNames(P::kTestMessage);
    if (!CheckInput(*m_radio, keys) || !CheckInput(*m_runRows))
        return;
    const TKeyValueList run = m_runRows->ReadKeyValues();
    QStringList all = keys;
    for (const TKeyValueList::Item& item : run)
        all << item.first;
    Remember(all);
    m_run = Run();
    m_run.total = Number(run.Value(QStringLiteral("RepeatCount")));
    m_intervalMs = Number(run.Value(QStringLiteral("RepeatInterval")));
    m_progress->setRange(0, m_run.total);
    m_progress->setValue(0);
    m_running = true;
    m_start->setEnabled(false);
    m_stop->setEnabled(true);
    ShowRun(QStringLiteral("running"));
    m_runTimer.start(0);
}

void TNodeTestPage::StopRun(const QString& why)
{
    m_runTimer.stop();
    m_running = false;
    m_start->setEnabled(true);
    m_stop->setEnabled(false);
    ShowRun(why);
}

void TNodeTestPage::RunNext()
{
    // Without a module the run ends: the next message would only be refused again.
    if (!TDeviceManager::Instance().SelectedDevice()) {
        ++m_run.done;
        ++m_run.failed;
        m_run.lastFailure = TCommandOutcome::Refused(TCommandOutcome::NoDevice, QStringLiteral("no module selected")).Text();
        m_progress->setValue(m_run.done);
        StopRun(QStringLiteral("stopped"));
        return;
    }
    // Each message is one action of the page: refused or failed, it counts as a failure of the run.
    m_sendStarted.start();
    const bool sent = RunAction(nullptr, QStringLiteral("send test message %1 of %2").arg(m_run.done + 1).arg(m_run.total), [this] {
        RunSetCommand(QStringLiteral("PTS/SendTestMessage"), *m_radio, TFieldLayout::ParameterNames(P::kTestMessage));
    });
    ++m_run.done;
    if (sent) {
        ++m_run.sent;
    } else {
        ++m_run.failed;
        m_run.lastFailure = LastOutcome().Text();
    }
    m_progress->setValue(m_run.done);
    // Stopped while the message was on its way, or the module went away with it.
    if (!m_running || LastOutcome().Type() == TCommandOutcome::Lost) {
        StopRun(QStringLiteral("stopped"));
        return;
    }
    if (m_run.done >= m_run.total) {
        StopRun(QStringLiteral("finished"));
        return;
    }
    ShowRun(QStringLiteral("running"));
    m_runTimer.start(int(qMax<qint64>(0, m_intervalMs - m_sendStarted.elapsed())));
}

void TNodeTestPage::ShowRun(const QString& state)
{
    QString text = QStringLiteral("Test run %1: %2 of %3 done, %4 sent, %5 failed")
                       .arg(state).arg(m_run.done).arg(m_run.total).arg(m_run.sent).arg(m_run.failed);
    if (m_run.failed > 0)
        text += QStringLiteral(" - last failure: ") + m_run.lastFailure;
    m_runState->setText(text);
}

QString TNodeTestPage::RunText() const
{
    return m_runState->text();
}

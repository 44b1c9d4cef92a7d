#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QtCharts/QChart>
#include <QtCharts/QLineSeries>
#include <QtCharts/QValueAxis>
#include <QtTest>

#include <memory>

#include "TestEnvironment.h"
#include "devices/TControllerPrototypes.h"
#include "devices/TDeviceManager.h"
#include "devices/TRadioController.h"
#include "gui/TCheckButtonBox.h"
#include "gui/TSignalView.h"
#include "gui/pages/TDataLinkPage.h"
#include "gui/pages/TOspreyConfigPage.h"
#include "gui/pages/TSecurityPage.h"
#include "hci/TVeltoLRHCI.h"
#include "sap/TRtcTime.h"
#include "settings/TSettings.h"
#include "status/TStatusLog.h"
#include "status/TTableCtrl.h"
#include "tools/sim/TSimModule.h"

QT_CHARTS_USE_NAMESPACE

namespace {
constexpr quint8 kDataLink = 0x03;
constexpr quint8 kSensor = 0x05;
const QDateTime kRxTime(QDate(2026, 3, 14), QTime(15, 9, 26));

/// The control of `page` whose accessible name is `name` (its label's text).
template <class Widget>
Widget* Named(QWidget& page, const QString& name)
{
    for (Widget* widget : page.findChildren<Widget*>())
        if (widget->accessibleName() == name)
            return widget;
    return nullptr;
}

QString Shown(QWidget& page, const QString& name)
{
    if (auto* combo = Named<QComboBox>(page, name))
        return combo->currentText();
    if (auto* edit = Named<QLineEdit>(page, name))
        return edit->text();
    return QStringLiteral("<no field %1>").arg(name);
}

/// Types `value` into the field named `name`: a line's text, or the item of a list with that identifier.
void Enter(QWidget& page, const QString& name, const QString& value)
{
    if (auto* combo = Named<QComboBox>(page, name))
        combo->setCurrentIndex(combo->findData(value.toInt()));
    else if (auto* edit = Named<QLineEdit>(page, name))
        edit->setText(value);
    else
        QFAIL(qPrintable(QStringLiteral("no field %1").arg(name)));
}

/// Addressing block (to 10:1F3A), user data and, when `trailer`, RSSI, SNR and kRxTime.
QByteArray RxEvent(bool trailer, quint8 srcGroup, quint16 srcDevice, const QByteArray& data, qint16 rssi = 0, qint8 snr = 0)
{
    QByteArray p;
    p.append(char(trailer ? 1 : 0)).append(char(0x10)).append(char(0x3A)).append(char(0x1F));
    p.append(char(srcGroup)).append(char(srcDevice & 0xFF)).append(char(srcDevice >> 8));
    p.append(data);
    if (trailer) {
        const quint32 time = TRtcTime::Pack(kRxTime);
        p.append(char(rssi & 0xFF)).append(char(quint16(rssi) >> 8)).append(char(snr));
        for (int i = 0; i < 4; ++i)
            p.append(char((time >> (8 * i)) & 0xFF));
    }
    return p;
}

/// Payloads of the requests (sapId, msgId) in `spy` (a RequestReceived spy), as upper-case hex.
QStringList Requests(const QSignalSpy& spy, quint8 msgId)
{
    QStringList payloads;
    for (const QList<QVariant>& request : spy)
        if (request.at(0).toUInt() == kDataLink && request.at(1).toUInt() == msgId)
            payloads << QString::fromLatin1(request.at(2).toByteArray().toHex(' ').toUpper());
    return payloads;
}

QList<quint8> RequestIds(const QSignalSpy& spy)
{
    QList<quint8> ids;
    for (const QList<QVariant>& request : spy)
        ids << quint8(request.at(1).toUInt());
    return ids;
}

QString Cells(const TTableCtrl& table, int row)
{
    QStringList cells;
    for (const char* column : {"EvType", "DstAddress", "SrcAddress", "Payload", "RSSI", "SNR", "Time", "Info"})
        cells << table.Cell(row, TDataLinkPage::Columns().indexOf(QLatin1String(column)));
    return cells.join(QLatin1Char('|'));
}

qint64 HostTimeMs(const TTableCtrl& table, int row)
{
    qint64 ms = 0;
    TSignalStats::ParseHostTime(table.Cell(row, TDataLinkPage::Columns().indexOf(QStringLiteral("HostTime"))), ms);
    return ms;
}

bool ResultOk(const TPage& page, const QString& what)
{
    return QRegularExpression(QStringLiteral("^OK - %1 \\(\\d\\d:\\d\\d:\\d\\d\\)$").arg(QRegularExpression::escape(what)))
        .match(page.ResultLine()->text()).hasMatch();
}
}

class TestOspreyPages : public QObject
{
    Q_OBJECT

    TDeviceManager& m = TDeviceManager::Instance();
    QTemporaryDir m_links;
    std::unique_ptr<TSimModule> m_sim;
    QString m_port;
    int m_modules = 0;

    /// A dual-stack virtual module, found and selected (on a path of its own: pty numbers are reused).
    TRadioController* Discover()
    {
        m_sim = std::make_unique<TSimModule>();
        m_sim->Identity().firmwareName = QStringLiteral("Caravel_LoRaWAN");
        m_port = m_links.filePath(QStringLiteral("ttyOSPREY%1").arg(++m_modules));
        if (!m_sim->Open() || !m_sim->CreateLink(m_port) || !m.AddExtraPort(m_port))
            return nullptr;
        m.DiscoveryTick();
        return m.SelectedDevice();
    }

private slots:
    void initTestCase()
    {
        TControllerPrototypes::RegisterAll();
        m.SetDefaultPatterns(TDeviceManager::DefaultPatterns());
        TSettings::Instance().SetIsoFormat(true);
    }
    void cleanup()
    {
        m.RemoveExtraPort(m_port);
        m.ResetBlockedPorts(true);   // every controller goes: the next test finds its module alone
        m_sim.reset();
    }

    void dataLink_preparedMessageFillsTheFieldsAndSendsExactBytes_data()
    {
        QTest::addColumn<QString>("message");     // prepared message chosen
        QTest::addColumn<QStringList>("typed");   // then "field=value" typed over it
        QTest::addColumn<QStringList>("shown");   // DstGroupAddress, DstDeviceAddress, Payload before sending
        QTest::addColumn<QString>("button");
        QTest::addColumn<int>("msgId");
        QTest::addColumn<QString>("payload");     // empty: nothing may be sent
        QTest::addColumn<QString>("result");
        const QStringList ping{"0x10", "0x1234", "0x01 0x02 0x03 0x04"};
        QTest::newRow("unconfirmed") << "Ping Node 10:1234" << QStringList() << ping << "Send U-Message" << 0x01
                                     << "10 34 12 01 02 03 04" << "send the unconfirmed radio message";
        QTest::newRow("confirmed broadcast") << "Broadcast Hello" << QStringList() << QStringList{"0xFF", "0xFFFF", "48 65 6C 6C 6F"}
                                             << "Send C-Message" << 0x09 << "FF FF FF 48 65 6C 6C 6F" << "send the confirmed radio message";
        QTest::newRow("empty message") << "Empty Message to 10:1234" << QStringList() << QStringList{"0x10", "0x1234", ""}
                                       << "Send U-Message" << 0x01 << "10 34 12" << "send the unconfirmed radio message";
        QTest::newRow("typed over") << "Switch LED On" << QStringList{"DstGroupAddress=32", "Payload=4c-00"}
                                    << QStringList{"32", "0x0001", "4c-00"} << "Send U-Message" << 0x01 << "20 01 00 4C 00"
                                    << "send the unconfirmed radio message";
        QTest::newRow("ack data") << "Ping Node 10:1234" << QStringList{"Ack Mode=2", "Ack Payload=AA BB"} << ping << "Set Ack Data"
                                  << 0x15 << "02 AA BB" << "set the data the module's acknowledgements carry";
        QTest::newRow("group refused") << "Ping Node 10:1234" << QStringList{"DstGroupAddress=300"}
                                       << QStringList{"300", "0x1234", "0x01 0x02 0x03 0x04"} << "Send C-Message" << 0x09 << ""
                                       << "Not sent: DstGroupAddress - 300 is outside 0 to 0xFF";
    }
    void dataLink_preparedMessageFillsTheFieldsAndSendsExactBytes()
    {
        QFETCH(QString, message);
        QFETCH(QStringList, typed);
        QFETCH(QStringList, shown);
        QFETCH(QString, button);
        QFETCH(int, msgId);
        QFETCH(QString, payload);
        QFETCH(QString, result);
        TRadioController* device = Discover();
        QVERIFY(device);
        TDataLinkPage page(QStringLiteral("Osprey Data Link"));
        QVERIFY(page.LoadMessageFile(QStringLiteral(TESSERA_BIN_DIR "/Velto_LR_RadioMsg.cfg")));
        QComboBox* list = page.MessageList();
        QCOMPARE(list->count(), 7);
        QCOMPARE(Named<QComboBox>(page, QStringLiteral("Message")), list);
        list->setCurrentIndex(list->findText(message));
        QCOMPARE(list->currentText(), message);
        for (const QString& entry : typed)
            Enter(page, entry.section(QLatin1Char('='), 0, 0), entry.section(QLatin1Char('='), 1));
        QCOMPARE((QStringList{Shown(page, "DstGroupAddress"), Shown(page, "DstDeviceAddress"), Shown(page, "Payload")}), shown);

        QSignalSpy requests(m_sim.get(), &TSimModule::RequestReceived);
        const quint32 frames = device->Link()->FramesSent();
        page.Button(button)->click();
        if (payload.isEmpty()) {
            QCOMPARE(page.ResultLine()->text(), result);
            QCOMPARE(device->Link()->FramesSent(), frames);
            QVERIFY(requests.isEmpty());
            return;
        }
        QVERIFY2(ResultOk(page, result), qPrintable(page.ResultLine()->text()));
        QCOMPARE(Requests(requests, quint8(msgId)), QStringList{payload});
        QCOMPARE(RequestIds(requests), QList<quint8>{quint8(msgId)});
    }

    void dataLink_eventsLandAsRowsAndPlotPoints()
    {
        QVERIFY(Discover());
        TDataLinkPage page(QStringLiteral("Osprey Data Link"));
        page.resize(1024, 768);
        page.show();
        QVERIFY(QTest::qWaitForWindowExposed(&page));
        const QByteArray sensorValues = QByteArray::fromHex("0700E40CD7002D4001");
        m_sim->SendMessage(kDataLink, 0x04, RxEvent(true, 0x10, 0x0101, QByteArray::fromHex("0102"), -87, 7));
        m_sim->SendMessage(kDataLink, 0x0C, RxEvent(true, 0x20, 0x0A0B, QByteArray(), -101, -3));
        m_sim->SendMessage(kDataLink, 0x04, RxEvent(false, 0x10, 0x0101, QByteArray::fromHex("AA")));
        m_sim->SendMessage(kDataLink, 0x04, RxEvent(true, 0x10, 0x0101, QByteArray(), -90, 5));
        m_sim->SendMessage(kDataLink, 0x06, QByteArray::fromHex("002A00E8030000"));
        m_sim->SendMessage(kDataLink, 0x12, QByteArray());
        m_sim->SendMessage(kDataLink, 0x08, RxEvent(true, 0x10, 0x0104, QByteArray(), -95, -7).mid(1));
        m_sim->SendMessage(kSensor, 0x06, RxEvent(true, 0x10, 0x0102, sensorValues, -84, 5));
        m_sim->SendMessage(kSensor, 0x06, RxEvent(false, 0x10, 0x0102, sensorValues));

        TTableCtrl& table = *page.Table();
        QTRY_COMPARE(table.RowCount(), 9);
        // %1: the row's host time (transmit events and time-outs show it as their time)
        const QStringList rows{
            "Rx U-Msg|10:1F3A|10:0101|01 02|-87 dBm|7 dB|2026-03-14 15:09:26|",
            "Rx C-Msg|10:1F3A|20:0A0B||-101 dBm|-3 dB|2026-03-14 15:09:26|",
            "Rx U-Msg|10:1F3A|10:0101|AA||||",
            "Rx U-Msg|10:1F3A|10:0101||-90 dBm|5 dB|2026-03-14 15:09:26|",
            "Tx U-Msg||||||%1|Status:OK  Packet:42  AirTime:1000 ms",
            "Ack Timeout||||||%1|",
            "RxRawMessage|||10 3A 1F 10 04 01|-95 dBm|-7 dB|2026-03-14 15:09:26|Length:6",
            "SensorData|10:1F3A|10:0102||-84 dBm|5 dB|2026-03-14 15:09:26|Counter:7  Battery:3300 mV  Temperature:21.5 °C  Humidity:45 %  Light:320 lx",
            "SensorData|10:1F3A|10:0102|||||Counter:7  Battery:3300 mV  Temperature:21.5 °C  Humidity:45 %  Light:320 lx",
        };
        for (int row = 0; row < rows.size(); ++row) {
            const QString expected = rows.at(row).contains(QStringLiteral("%1")) ? rows.at(row).arg(table.Cell(row, 1)) : rows.at(row);
            QCOMPARE(Cells(table, row), expected);
        }

        TSignalView& view = *page.SignalView();
        QTRY_COMPARE(view.ShownRevision(), view.Stats().Revision());
        const QList<QPointF> rssi0101{{double(HostTimeMs(table, 0)), -87}, {double(HostTimeMs(table, 3)), -90}};
        const QList<QPointF> snr0101{{double(HostTimeMs(table, 0)), 7}, {double(HostTimeMs(table, 3)), 5}};
        QVERIFY(view.RssiSeries("10:0101"));
        QCOMPARE(view.RssiSeries("10:0101")->points(), rssi0101);   // the message without trailer adds none
        QCOMPARE(view.SnrSeries("10:0101")->points(), snr0101);
        QCOMPARE(view.RssiSeries("20:0A0B")->points(), (QList<QPointF>{{double(HostTimeMs(table, 1)), -101}}));
        QCOMPARE(view.SnrSeries("n.a.")->points(), (QList<QPointF>{{double(HostTimeMs(table, 6)), -7}}));
        QCOMPARE(view.RssiSeries("10:0102")->points(), (QList<QPointF>{{double(HostTimeMs(table, 7)), -84}}));
        QCOMPARE(view.RssiSeries("10:0102")->name(), QStringLiteral("10:0102"));
        QCOMPARE(view.RssiChart()->series().size(), 4);
        QStringList counters;
        for (const char* counter : {"Received", "Transmitted", "Tx Failed", "Acknowledged", "Ack Timeouts", "Air Time"})
            counters << view.CounterText(QLatin1String(counter));
        QCOMPARE(counters, (QStringList{"7", "1", "0", "0", "1", "1000 ms"}));
        const QTableWidget& sources = *view.SourceTable();
        QCOMPARE(sources.rowCount(), 4);
        QCOMPARE((QStringList{sources.item(0, 0)->text(), sources.item(0, 1)->text(), sources.item(0, 2)->text(), sources.item(0, 3)->text()}),
                 (QStringList{"10:0101", "3", "-90 / -88.5 / -87", "5 / 6.0 / 7"}));

        // Paused: counted and listed, not plotted; the export holds what is plotted, in order of arrival.
        view.SetPaused(true);
        QVERIFY(view.RssiChart()->axes(Qt::Vertical).first()->titleText().endsWith(QStringLiteral(" - paused")));
        m_sim->SendMessage(kDataLink, 0x04, RxEvent(true, 0x10, 0x0101, QByteArray(), -60, 9));
        QTRY_COMPARE(table.RowCount(), 10);
        QTRY_COMPARE(view.CounterText("Received"), QStringLiteral("8"));
        QCOMPARE(view.RssiSeries("10:0101")->points(), rssi0101);
        QTemporaryDir dir;
        const QString csv = dir.filePath(QStringLiteral("signal.csv"));
        QSignalSpy lines(&TStatusLog::Instance(), &TStatusLog::EvLine);
        QVERIFY(view.ExportCsv(csv));
        QVERIFY(lines.last().at(0).toString().endsWith(QStringLiteral("Osprey Data Link:info - 5 signal point(s) written to ") + csv));
        QFile file(csv);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const auto host = [&table](int row) { return table.Cell(row, TDataLinkPage::Columns().indexOf(QStringLiteral("HostTime"))); };
        QCOMPARE(QString::fromUtf8(file.readAll()),
                 QStringLiteral("Time,Source,RSSI (dBm),SNR (dB)\n%1,10:0101,-87,7\n%2,20:0A0B,-101,-3\n%3,10:0101,-90,5\n%4,n.a.,-95,-7\n%5,10:0102,-84,5\n")
                     .arg(host(0), host(1), host(3), host(6), host(7)));
        QVERIFY(!view.ExportCsv(dir.filePath(QStringLiteral("missing/signal.csv"))));
        QVERIFY(lines.last().at(0).toString().contains(QStringLiteral("Osprey Data Link:error - couldn't write CSV file: ")));

        // "Clear": the lines leave the charts and their legends, the figures start again.
        view.SetPaused(false);
        QPushButton* clear = nullptr;
        for (QPushButton* button : view.findChildren<QPushButton*>())
            clear = button->text() == QStringLiteral("Clear") ? button : clear;
        QVERIFY(clear);
        clear->click();
        QVERIFY(view.RssiChart()->series().isEmpty());
        QVERIFY(view.SnrChart()->series().isEmpty());
        QCOMPARE(view.CounterText("Received"), QStringLiteral("0"));
        QCOMPARE(view.SourceTable()->rowCount(), 0);
    }

    void config_getSetResetRoundTrip()
    {
        TRadioController* device = Discover();
        QVERIFY(device);
        TOspreyConfigPage page(QStringLiteral("Osprey Configuration"));
        const auto values = [&page] {
            QStringList shown;
            for (const char* name : {"Radio Mode", "Group Address", "Device Address", "Modulation", "Frequency", "Bandwidth",
                                     "Spreading Factor", "Error Coding", "Power Level", "Rx Options", "Rx Window", "FSK Datarate",
                                     "LBT Threshold"})
                shown << Shown(page, QLatin1String(name));
            shown << QString::number(Named<TCheckButtonBox>(page, QStringLiteral("Miscellaneous Options"))->Value());
            shown << (Named<QCheckBox>(page, QStringLiteral("Automatic Power Paving"))->isChecked() ? "on" : "off");
            return shown.join(QLatin1Char('|'));
        };
        const QString defaults = QStringLiteral(
            "Standard|0x10|0x1F3A|LoRa|869.500000|125 kHz|SF11|4/5|14|receiver always on|3000|50 kbps|-85|1|off");
        QSignalSpy requests(m_sim.get(), &TSimModule::RequestReceived);
        page.Button(QStringLiteral("Get"))->click();
        QCOMPARE(values(), defaults);
        QVERIFY2(ResultOk(page, QStringLiteral("read the radio configuration")), qPrintable(page.ResultLine()->text()));

        Enter(page, QStringLiteral("Group Address"), QStringLiteral("32"));   // decimal, sent as 0x20
        Enter(page, QStringLiteral("Device Address"), QStringLiteral("0x0042"));
        Enter(page, QStringLiteral("Frequency"), QStringLiteral("868.1"));
        Enter(page, QStringLiteral("Spreading Factor"), QStringLiteral("7"));
        Enter(page, QStringLiteral("Power Level"), QStringLiteral("10"));
        Named<TCheckButtonBox>(page, QStringLiteral("Miscellaneous Options"))->SetValue(3);
        Named<QCheckBox>(page, QStringLiteral("NVM (store permanently)"))->setChecked(true);
        requests.clear();
        page.Button(QStringLiteral("Set"))->click();
        QVERIFY2(ResultOk(page, QStringLiteral("write the radio configuration")), qPrintable(page.ResultLine()->text()));
        QCOMPARE(RequestIds(requests), (QList<quint8>{0x17, 0x19}));   // written, then read back
        QCOMPARE(Requests(requests, 0x17), QStringList{"01 00 20 00 42 00 00 00 00 66 06 D9 00 07 01 0A 00 01 B8 0B 00 03 00 00 00 00"});
        QCOMPARE(values(), QStringLiteral("Standard|0x20|0x0042|LoRa|868.099976|125 kHz|SF7|4/5|10|receiver always on|3000|50 kbps|-85|3|off"));

        // A value the module would refuse is refused at the field.
        const quint32 frames = device->Link()->FramesSent();
        Enter(page, QStringLiteral("Frequency"), QStringLiteral("1100"));
        page.Button(QStringLiteral("Set"))->click();
        QCOMPARE(page.ResultLine()->text(), QStringLiteral("Not sent: Frequency - 1100 is outside 137.0 to 1020.0"));
        QCOMPARE(device->Link()->FramesSent(), frames);

        requests.clear();
        page.Button(QStringLiteral("Reset"))->click();
        QVERIFY2(ResultOk(page, QStringLiteral("restore the module's default radio configuration")), qPrintable(page.ResultLine()->text()));
        QCOMPARE(RequestIds(requests), (QList<quint8>{0x1B, 0x19}));
        QCOMPARE(values(), defaults);

        // Another page changes the configuration (the key): the values shown are read again.
        TSecurityPage security(QStringLiteral("Osprey Security"));
        requests.clear();
        security.Button(QStringLiteral("Set AES-128 Bit Key"))->click();
        QTRY_COMPARE(RequestIds(requests), (QList<quint8>{0x21, 0x19}));
        QTRY_VERIFY2(ResultOk(page, QStringLiteral("read the changed radio configuration")), qPrintable(page.ResultLine()->text()));
    }

    void security_keyHiddenRoundTripAndShortKeySendsNothing()
    {
        TRadioController* device = Discover();
        QVERIFY(device);
        TSecurityPage page(QStringLiteral("Osprey Security"));
        QLineEdit* key = page.KeyField();
        QCOMPARE(Named<QLineEdit>(page, QStringLiteral("AES-Key")), key);
        QCOMPARE(key->text(), QStringLiteral("3A-7F-C2-19-5B-E0-44-9D-81-6C-2F-B3-D7-08-A5-6E"));
        QCOMPARE(key->inputMask(), QStringLiteral(">HH-HH-HH-HH-HH-HH-HH-HH-HH-HH-HH-HH-HH-HH-HH-HH"));
        QCOMPARE(key->echoMode(), QLineEdit::Password);
        QCheckBox* show = Named<QCheckBox>(page, QStringLiteral("Show Key"));
        show->setChecked(true);
        QCOMPARE(key->echoMode(), QLineEdit::Normal);
        show->setChecked(false);
        QCOMPARE(key->echoMode(), QLineEdit::Password);
        bool hint = false;
        for (const QLabel* label : page.findChildren<QLabel*>())
            hint = hint || label->text() == QStringLiteral("Please don't forget to enable the AES Encryption/Decryption via Radio Settings (Miscellaneous Options)");
        QVERIFY(hint);

        QSignalSpy requests(m_sim.get(), &TSimModule::RequestReceived);
        QVERIFY(page.RunGet());   // F5
        QCOMPARE(key->text(), QStringLiteral("00-00-00-00-00-00-00-00-00-00-00-00-00-00-00-00"));   // the module's factory key
        QVERIFY2(ResultOk(page, QStringLiteral("read the AES-128 key")), qPrintable(page.ResultLine()->text()));
        key->clear();
        QTest::keyClicks(key, QStringLiteral("a1b2c3d4e5f60718293a4b5c6d7e8f90"));
        QCOMPARE(key->text(), QStringLiteral("A1-B2-C3-D4-E5-F6-07-18-29-3A-4B-5C-6D-7E-8F-90"));
        page.Button(QStringLiteral("Set AES-128 Bit Key"))->click();
        QVERIFY2(ResultOk(page, QStringLiteral("write the AES-128 key")), qPrintable(page.ResultLine()->text()));
        key->clear();
        page.Button(QStringLiteral("Get AES-128 Bit Key"))->click();
        QCOMPARE(key->text(), QStringLiteral("A1-B2-C3-D4-E5-F6-07-18-29-3A-4B-5C-6D-7E-8F-90"));
        QCOMPARE(Requests(requests, 0x21), QStringList{"A1 B2 C3 D4 E5 F6 07 18 29 3A 4B 5C 6D 7E 8F 90"});

        // Fifteen octets: the mask is not filled, nothing goes out.
        key->clear();
        QTest::keyClicks(key, QStringLiteral("0102030405060708090A0B0C0D0E0F"));
        requests.clear();
        const quint32 frames = device->Link()->FramesSent();
        page.Button(QStringLiteral("Set AES-128 Bit Key"))->click();
        QCOMPARE(page.ResultLine()->text(), QStringLiteral("Not sent: AES-Key - incomplete: fill in every position"));
        QCOMPARE(device->Link()->FramesSent(), frames);
        QVERIFY(requests.isEmpty());
    }

    void dataLink_messageFileStatusOnThePage_data()
    {
        QTest::addColumn<QByteArray>("content");   // empty: no file
        QTest::addColumn<QString>("status");       // %1: the path
        QTest::addColumn<QStringList>("names");
        QTest::newRow("missing") << QByteArray() << "error - radio message configuration file not found: %1" << QStringList();
        QTest::newRow("NUL byte") << QByteArray("Name:A;DstGroupAddress:1;DstDeviceAddress:2;Payload:\nName:B") + QByteArray(1, '\0') + "x\n"
                                  << "error - radio message configuration file is not a text file (NUL byte in line 2): %1" << QStringList();
        QTest::newRow("bad line") << QByteArray("FileVersion:1.0\nName:A;DstGroupAddress:0x10;DstDeviceAddress:0x1;Payload:01\n"
                                                "Name:B;DstGroupAddress:0x100;DstDeviceAddress:1;Payload:\nName:\n")
                                  << "warning - 1 radio message(s) loaded from %1; lines skipped: 3, 4" << QStringList{"A"};
    }
    void dataLink_messageFileStatusOnThePage()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, status);
        QFETCH(QStringList, names);
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("Messages.cfg"));
        if (!content.isEmpty()) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(content);
        }
        TDataLinkPage page(QStringLiteral("Osprey Data Link"));
        QSignalSpy lines(&TStatusLog::Instance(), &TStatusLog::EvLine);
        QCOMPARE(page.LoadMessageFile(path), !names.isEmpty());
        QCOMPARE(page.MessageFileStatus(), status.arg(path));
        QCOMPARE(Named<QLabel>(page, status.arg(path))->objectName(), QStringLiteral("MessageFileStatus"));
        QCOMPARE(lines.last().at(0).toString().section(QLatin1Char(';'), 2), QStringLiteral("Osprey Data Link:") + status.arg(path));
        QStringList listed;
        for (int i = 0; i < page.MessageList()->count(); ++i)
            listed << page.MessageList()->itemText(i);
        QCOMPARE(listed, names);
        if (!names.isEmpty())
            QCOMPARE(Shown(page, QStringLiteral("DstDeviceAddress")), QStringLiteral("0x1"));
    }
};

TESSERA_TEST_MAIN_WITH(QApplication, TestOspreyPages)

#include "tst_ospreypages.moc"

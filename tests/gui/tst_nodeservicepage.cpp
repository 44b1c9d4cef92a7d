#include <QApplication>
#include <QRegularExpression>
#include <QtTest>

#include "LoRaWANPageFixture.h"
#include "TestEnvironment.h"
#include "gui/pages/TNodeServicePage.h"
#include "sap/LoRaWANLayouts.h"
#include "sap/TFieldLayout.h"
#include "status/TTableCtrl.h"

namespace {
const QString kStatus = QStringLiteral("Network Status");
const QString kAbp = QStringLiteral("Activation by Personalisation");
const QString kData = QStringLiteral("Data");
const QString kNwkKey = QStringLiteral("000102030405060708090A0B0C0D0E0F");
const QString kAppKey = QStringLiteral("A0A1A2A3A4A5A6A7A8A9AAABACADAEAF");
const QString kSpacedNwkKey = QStringLiteral("00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F");
const QString kSpacedAppKey = QStringLiteral("A0 A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB AC AD AE AF");
const QRegularExpression kHostTime(QStringLiteral("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}$"));

QStringList Names(const TFieldLayoutEntry* layout)
{
    QStringList names;
    for (; layout->name; ++layout)
        names << TFieldLayout::FieldName(layout->name);
    return names;
}
}

/// "LoRaWAN Services" against the virtual module: what each button sends, byte for byte, the
/// network status it shows, and the Tx and Rx tables the module's events fill.
class TestNodeServicePage : public QObject, public LoRaWANPageFixture
{
    Q_OBJECT

    std::unique_ptr<TNodeServicePage> m_page;

    TNodeServicePage& Page() { return *m_page; }
    QString Status(const char* key) { return Shown(Page(), kStatus, QString::fromLatin1(key)); }
    QString PayloadSize()
    {
        auto* size = qobject_cast<QLabel*>(Group(Page(), kData).Editor(2));
        return size ? size->text() : QStringLiteral("<no label>");
    }
    void Activate()
    {
        Type(Page(), kAbp, QStringLiteral("DeviceAddress"), QStringLiteral("26011f3a"));
        Type(Page(), kAbp, QStringLiteral("NwkSessionKey"), kNwkKey);
        Type(Page(), kAbp, QStringLiteral("AppSessionKey"), kAppKey);
        Click(Page(), QStringLiteral("Activate Device"));
    }
    /// The cells of the table's last row after its time stamp, which must be one, and its port.
    QStringList LastRow(TTableCtrl* table)
    {
        const int row = table->RowCount() - 1;
        QStringList cells;
        for (int column = 0; row >= 0 && column < (table == Page().TxTable() ? TNodeServicePage::TxColumns() : TNodeServicePage::RxColumns()).size(); ++column)
            cells << table->Cell(row, column);
        if (cells.size() < 2 || !kHostTime.match(cells.at(0)).hasMatch() || cells.at(1) != m_port)
            return QStringList{QStringLiteral("bad time or port: ") + cells.mid(0, 2).join(QLatin1Char('|'))};
        return cells.mid(2);
    }

private slots:
    void initTestCase() { Prepare(); }
    void init()
    {
        QVERIFY(Connect());
        m_page = std::make_unique<TNodeServicePage>(QStringLiteral("LoRaWAN Services"));
        m_page->resize(900, 1400);
        m_page->show();
    }
    void cleanup()
    {
        m_page.reset();
        Disconnect();
    }

    void activation_exactBytesStatusAndRoundTrip()
    {
        QSignalSpy requests(m_sim.get(), &TSimModule::RequestReceived);
        Activate();
        QCOMPARE(Requests(requests), (QStringList{QStringLiteral("01: 3A 1F 01 26 ") + kSpacedNwkKey + QLatin1Char(' ') + kSpacedAppKey, "29: "}));
        QVERIFY2(Page().ResultLine()->text().startsWith(QLatin1String("OK - activate the device with the address and keys above (")),
                 qPrintable(Page().ResultLine()->text()));
        QCOMPARE((QStringList{Status("NetworkStatusText"), Status("DeviceAddress"), Status("DataRate"), Status("PowerLevel"), Status("MaxPayloadSize")}),
                 (QStringList{"active (ABP)", "0x26011F3A", "5", "14", "222"}));
        QCOMPARE(Page().PayloadLimit(), 222);

        // Keys show as dots until asked for.
        QLineEdit* key = Edit(Page(), kAbp, QStringLiteral("NwkSessionKey"));
        QCOMPARE(key->echoMode(), QLineEdit::Password);
        auto* reveal = Page().findChild<QCheckBox*>();
        QVERIFY(reveal && reveal->accessibleName() == QLatin1String("Show Keys"));
        reveal->click();
        QCOMPARE(key->echoMode(), QLineEdit::Normal);

        Type(Page(), kAbp, QStringLiteral("DeviceAddress"), QStringLiteral("00000001"));
        Type(Page(), kAbp, QStringLiteral("AppSessionKey"), kNwkKey);
        requests.clear();
        Click(Page(), QStringLiteral("Get Activation Parameters"));
        QCOMPARE(Requests(requests), QStringList{"03: "});
        QCOMPARE((QStringList{Shown(Page(), kAbp, "DeviceAddress"), Shown(Page(), kAbp, "NwkSessionKey"), Shown(Page(), kAbp, "AppSessionKey")}),
                 (QStringList{"26011F3A", kSpacedNwkKey, kSpacedAppKey}));

        requests.clear();
        Click(Page(), QStringLiteral("Deactivate"));
        QCOMPARE((QStringList{Status("NetworkStatusText"), Status("DeviceAddress"), Status("MaxPayloadSize")}), (QStringList{"inactive", "n.a.", "n.a."}));
        QCOMPARE(Page().PayloadLimit(), int(TNodeServicePage::kMaxPayloadBytes));
        Click(Page(), QStringLiteral("Reactivate"));
        QCOMPARE(Requests(requests), (QStringList{"21: ", "29: ", "1D: ", "29: "}));
        QCOMPARE(Status("NetworkStatusText"), QStringLiteral("active (ABP)"));
    }

    void data_portPayloadCounterAndTables()
    {
        Activate();
        QSignalSpy requests(m_sim.get(), &TSimModule::RequestReceived);
        Type(Page(), kData, QStringLiteral("LoRaPort"), QStringLiteral("10"));
        Type(Page(), kData, QStringLiteral("Payload"), QStringLiteral("01 02 0x03"));
        QCOMPARE(PayloadSize(), QStringLiteral("3 of at most 222 bytes"));
        Click(Page(), QStringLiteral("Send U-Data"));
        QTRY_COMPARE(Page().TxTable()->RowCount(), 1);
        QCOMPARE(LastRow(Page().TxTable()), (QStringList{"Tx U-Data", "0", "5", "14", "1", "52", "0", ""}));

        // A confirmed uplink: the network's downlink acknowledges it, or an ACK without data does.
        SimLw().QueueDownlink(5, QByteArray::fromHex("CAFE"));
        Click(Page(), QStringLiteral("Send C-Data"));
        QTRY_COMPARE(Page().RxTable()->RowCount(), 1);
        QCOMPARE(LastRow(Page().TxTable()), (QStringList{"Tx C-Data", "1", "5", "14", "1", "52", "1", ""}));
        QCOMPARE(LastRow(Page().RxTable()),
                 (QStringList{"Rx U-Data", "", "0", "-57", "9", "1", "1", "5", "1", "0", "0x05", "CA FE", "", "", "", "", "", ""}));
        Click(Page(), QStringLiteral("Send C-Data"));
        QTRY_COMPARE(Page().RxTable()->RowCount(), 2);
        QCOMPARE(LastRow(Page().RxTable()), (QStringList{"Rx ACK", "", "1", "-57", "9", "1", "2", "5", "", "", "", "", "", "", "", "", "", ""}));
        QCOMPARE(Requests(requests), (QStringList{"0D: 0A 01 02 03", "11: 0A 01 02 03", "11: 0A 01 02 03"}));
    }

    void macCommandsAndNetworkTime_rows()
    {
        Activate();
        QSignalSpy requests(m_sim.get(), &TSimModule::RequestReceived);
        Click(Page(), QStringLiteral("Send U-MAC Command"));
        QTRY_COMPARE(Page().RxTable()->RowCount(), 1);
        QCOMPARE(LastRow(Page().RxTable()), (QStringList{"Rx MAC Command", "", "0", "-57", "9", "1", "", "", "", "", "", "", "02 14 01", "", "", "", "", ""}));
        Choose(Page(), QStringLiteral("MAC Commands"), QStringLiteral("MACCmdID"), 0x0D);
        Click(Page(), QStringLiteral("Send C-MAC Command"));
        QTRY_COMPARE(Page().RxTable()->RowCount(), 3);   // the answer, then the acknowledgement
        QCOMPARE(Page().RxTable()->Cell(1, 2) + QLatin1Char('|') + Page().RxTable()->Cell(1, 14).left(2), QStringLiteral("Rx MAC Command|0D"));
        QCOMPARE(LastRow(Page().RxTable()).value(0), QStringLiteral("Rx ACK"));
        Click(Page(), QStringLiteral("Network Time Request"));
        QTRY_COMPARE(Page().RxTable()->RowCount(), 4);
        const QStringList time = LastRow(Page().RxTable());
        QCOMPARE(time.value(0), QStringLiteral("Network Time"));
        QVERIFY2(QRegularExpression(QStringLiteral("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d$")).match(time.value(15)).hasMatch(), qPrintable(time.join('|')));
        QCOMPARE(Page().TxTable()->RowCount(), 3);
        QCOMPARE(Requests(requests), (QStringList{"2B: 00 02", "2B: 01 0D", "71: "}));
        requests.clear();
        Click(Page(), QStringLiteral("Set Battery Level"));
        QCOMPARE(Requests(requests), QStringList{"2E: FF"});
    }

    void networkEvents_rowsStatusAndHiddenPage()
    {
        QSignalSpy requests(m_sim.get(), &TSimModule::RequestReceived);
        Click(Page(), QStringLiteral("Join Network"));
        // The join accept changes the status: the page reads it again without being asked.
        QTRY_COMPARE(Status("NetworkStatusText"), QStringLiteral("active (OTAA)"));
        QCOMPARE(Status("DeviceAddress"), QStringLiteral("0x260B0001"));
        QCOMPARE(Requests(requests), (QStringList{"09: ", "29: ", "29: "}));
        QTRY_COMPARE(Page().RxTable()->RowCount(), 1);
        QCOMPARE(Page().TxTable()->RowCount(), 1);
        QCOMPARE(LastRow(Page().TxTable()).mid(0, 3), (QStringList{"Tx Join Request", "0", "5"}));
        QCOMPARE(LastRow(Page().TxTable()).value(7), QStringLiteral("0"));
        QCOMPARE(LastRow(Page().RxTable()), (QStringList{"Join Accepted", "0x260B0001", "", "-57", "9", "1", "0", "5", "", "", "", "", "", "", "", "", "", ""}));

        SimLw().InjectMulticastData(1, 0x21, QByteArray::fromHex("0102"));
        SimLw().InjectInvalidData(0x04);
        QTRY_COMPARE(Page().RxTable()->RowCount(), 3);
        QCOMPARE(LastRow(Page().RxTable()).value(0), QStringLiteral("Rx Invalid Data: MIC Error"));
        QCOMPARE(Page().RxTable()->Cell(1, 2), QStringLiteral("Rx Multicast Data"));
        QCOMPARE(Page().RxTable()->Cell(1, 13), QStringLiteral("01 02"));

        // Hidden, the page keeps its rows and asks nothing; shown again, it reads the status.
        m_page->hide();
        const quint32 sent = FramesSent();
        SimLw().InjectLinkDisconnect(1);
        QTRY_COMPARE(Page().RxTable()->RowCount(), 4);
        QCOMPARE(LastRow(Page().RxTable()).mid(0, 1) + LastRow(Page().RxTable()).mid(13, 1), (QStringList{"Link Disconnect", "1"}));
        QVERIFY(Page().RefreshPending());
        QCOMPARE(FramesSent(), sent);
        m_page->show();
        m_page->PageShown();
        QTRY_COMPARE(Status("NetworkStatusText"), QStringLiteral("inactive"));
        QCOMPARE(FramesSent(), sent + 1);
        QCOMPARE(Page().RxTable()->RowCount(), 4);
    }

    void refusedInput_errorOnThePageNothingSent_data()
    {
        QTest::addColumn<QString>("group");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("button");
        QTest::addColumn<QString>("reason");
        QTest::newRow("odd hex digits") << kData << "Payload" << "01 0" << "Send U-Data" << "not hex bytes: write them like 01 A2 FF";
        QTest::newRow("longer than the data rate carries") << kData << "Payload" << QString(223 * 2, QLatin1Char('A')) << "Send C-Data"
                                                           << "0 to 222 hex bytes needed, 223 given";
        QTest::newRow("key with 15 octets") << kAbp << "NwkSessionKey" << kNwkKey.left(30) << "Activate Device" << "16 hex bytes needed, 15 given";
        QTest::newRow("address of 6 digits") << kAbp << "DeviceAddress" << "26011F" << "Activate Device" << "incomplete: fill in every position";
        QTest::newRow("port 0") << kData << "LoRaPort" << "0" << "Send U-Data" << "0 is outside 1 to 223";
    }
    void refusedInput_errorOnThePageNothingSent()
    {
        QFETCH(QString, group);
        QFETCH(QString, key);
        QFETCH(QString, text);
        QFETCH(QString, button);
        QFETCH(QString, reason);
        Activate();
        Type(Page(), kData, QStringLiteral("Payload"), QStringLiteral("01"));
        Type(Page(), group, key, text);
        QCOMPARE(Reason(Page(), group, key), reason);   // as the user types
        const quint32 sent = FramesSent();
        Click(Page(), button);
        QCOMPARE(Page().ResultLine()->text(), QStringLiteral("Not sent: %1 - %2").arg(key, reason));
        QCOMPARE(FramesSent(), sent);
        if (text.size() > 400)
            QCOMPARE(PayloadSize(), QStringLiteral("223 of at most 222 bytes - too long"));
    }

    void tables_haveAColumnForEveryEventField()
    {
        namespace L = LoRaWANLayouts;
        QStringList tx = TNodeServicePage::TxColumns();
        QStringList rx = TNodeServicePage::RxColumns();
        QCOMPARE(tx.removeDuplicates() + rx.removeDuplicates(), 0);
        for (const TFieldLayoutEntry* layout : {L::kTxJoinEvent, L::kTxDataEvent})
            for (const QString& field : Names(layout))
                QVERIFY2(tx.contains(field), qPrintable(field));
        for (const TFieldLayoutEntry* layout : {L::kJoinEvent, L::kRxDataEvent, L::kRxAckEvent, L::kRxMacCmdEvent, L::kLinkDisconnectEvent,
                                                L::kRxMulticastEvent, L::kDevNonceResetEvent, L::kNetworkTimeEvent})
            for (const QString& field : Names(layout))
                QVERIFY2(rx.contains(field), qPrintable(field));
        QVERIFY(rx.contains(QStringLiteral("UTCTime")) && rx.contains(QStringLiteral("DeviceAddress")));
    }
};

int main(int argc, char** argv)
{
    TestEnvironment::IsolateUserDirectories();
    QApplication app(argc, argv);
    TestNodeServicePage test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_nodeservicepage.moc"

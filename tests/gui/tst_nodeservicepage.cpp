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
const QString kKey = QStringLiteral("000102030405060708090A0B0C0D0E0F");
const QString kSpacedKey = QStringLiteral("00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F");
const QString kAbpEntries = QStringLiteral("DeviceAddress=26011f3a|NwkSessionKey=%1|AppSessionKey=%1").arg(kKey);
}

/// "LoRaWAN Services" against the virtual module: what each button sends, byte for byte, the
/// network status it shows, and the Tx and Rx rows the module's events make.
class TestNodeServicePage : public QObject, public LoRaWANPageFixture
{
    Q_OBJECT

    std::unique_ptr<TNodeServicePage> m_page;

    TNodeServicePage& Page() { return *m_page; }
    QString Status() { return Read(Page(), kStatus, QStringLiteral("NetworkStatusText|DeviceAddress|MaxPayloadSize")); }
    /// The last row after its time stamp and port, which must be the module's.
    QStringList LastRow(TTableCtrl* table)
    {
        QStringList cells;
        for (int column = 0; column < (table == Page().TxTable() ? TNodeServicePage::TxColumns() : TNodeServicePage::RxColumns()).size(); ++column)
            cells << table->Cell(table->RowCount() - 1, column);
        static const QRegularExpression hostTime(QStringLiteral("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}$"));
        if (!hostTime.match(cells.at(0)).hasMatch() || cells.at(1) != m_port)
            return {QStringLiteral("time, port: ") + cells.mid(0, 2).join(QLatin1Char('|'))};
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

    void buttons_sendExactBytes_data()
    {
        QTest::addColumn<bool>("active");
        QTest::addColumn<QString>("group");
        QTest::addColumn<QString>("entries");
        QTest::addColumn<QString>("button");
        QTest::addColumn<QStringList>("requests");
        const QString mac = QStringLiteral("MAC Commands");
        QTest::newRow("activate") << false << kAbp << kAbpEntries << "Activate Device"
                                  << QStringList{"01: 3A 1F 01 26 " + kSpacedKey + ' ' + kSpacedKey, "29: "};
        QTest::newRow("join") << false << kData << "" << "Join Network" << QStringList{"09: ", "29: "};
        QTest::newRow("deactivate") << true << kData << "" << "Deactivate" << QStringList{"21: ", "29: "};
        QTest::newRow("reactivate") << true << kData << "" << "Reactivate" << QStringList{"1D: ", "29: "};
        QTest::newRow("U-Data") << true << kData << "LoRaPort=10|Payload=01 02 0x03" << "Send U-Data" << QStringList{"0D: 0A 01 02 03"};
        QTest::newRow("C-Data, empty") << true << kData << "LoRaPort=0xDF|Payload=" << "Send C-Data" << QStringList{"11: DF"};
        QTest::newRow("U-MAC") << true << mac << "MACCmdID=2" << "Send U-MAC Command" << QStringList{"2B: 00 02"};
        QTest::newRow("C-MAC") << true << mac << "MACCmdID=13" << "Send C-MAC Command" << QStringList{"2B: 01 0D"};
        QTest::newRow("network time") << true << mac << "" << "Network Time Request" << QStringList{"71: "};
        QTest::newRow("battery") << false << "Battery Level (0 external power, 255 unknown)" << "BatteryLevel=254" << "Set Battery Level"
                                 << QStringList{"2E: FE"};
    }
    void buttons_sendExactBytes()
    {
        QFETCH(bool, active);
        QFETCH(QString, group);
        QFETCH(QString, entries);
        QFETCH(QString, button);
        QFETCH(QStringList, requests);
        if (active) {
            // Activated by someone else: the page shows it by itself.
            QVERIFY(Execute(QStringLiteral("LoRaWAN/ActivateDevice"), kAbpEntries.split(QLatin1Char('|')).replaceInStrings("26011f3a", "0x26011F3A")));
            QTRY_COMPARE(Status(), QStringLiteral("NetworkStatusText=active (ABP)|DeviceAddress=0x26011F3A|MaxPayloadSize=222"));
        }
        Fill(Page(), group, entries);
        QSignalSpy sent(m_sim.get(), &TSimModule::RequestReceived);
        Click(Page(), button);
        QCOMPARE(Requests(sent), requests);
        QVERIFY2(Page().ResultLine()->text().startsWith(QLatin1String("OK - ")), qPrintable(Page().ResultLine()->text()));
    }

    void activation_statusPayloadLimitAndReadBack()
    {
        QCOMPARE(qobject_cast<QLineEdit*>(Editor(Page(), kAbp, "NwkSessionKey"))->echoMode(), QLineEdit::Password);
        Fill(Page(), kAbp, kAbpEntries + QStringLiteral("|Show Keys=1"));
        QCOMPARE(qobject_cast<QLineEdit*>(Editor(Page(), kAbp, "NwkSessionKey"))->echoMode(), QLineEdit::Normal);
        Click(Page(), QStringLiteral("Activate Device"));
        QCOMPARE(Status(), QStringLiteral("NetworkStatusText=active (ABP)|DeviceAddress=0x26011F3A|MaxPayloadSize=222"));
        Fill(Page(), kData, QStringLiteral("Payload=01 02 03"));
        QCOMPARE(qobject_cast<QLabel*>(Page().Group(kData)->Editor(2))->text(), QStringLiteral("3 of at most 222 bytes"));

        Fill(Page(), kAbp, QStringLiteral("DeviceAddress=00000001|AppSessionKey=") + kKey.right(2) + kKey.left(30));
        Click(Page(), QStringLiteral("Get Activation Parameters"));
        QCOMPARE(Read(Page(), kAbp, "DeviceAddress|NwkSessionKey|AppSessionKey"),
                 QStringLiteral("DeviceAddress=26011F3A|NwkSessionKey=%1|AppSessionKey=%1").arg(kSpacedKey));
        Click(Page(), QStringLiteral("Deactivate"));
        QCOMPARE(Status(), QStringLiteral("NetworkStatusText=inactive|DeviceAddress=n.a.|MaxPayloadSize=n.a."));
        QCOMPARE(qobject_cast<QLabel*>(Page().Group(kData)->Editor(2))->text(), QStringLiteral("3 of at most 255 bytes"));
    }

    void events_oneRowEachWithItsColumns()
    {
        Click(Page(), QStringLiteral("Join Network"));
        // The join accept changes the status: the page reads it again without being asked.
        QTRY_COMPARE(Status(), QStringLiteral("NetworkStatusText=active (OTAA)|DeviceAddress=0x260B0001|MaxPayloadSize=222"));
        QTRY_COMPARE(Page().RxTable()->RowCount(), 1);
        QCOMPARE(LastRow(Page().TxTable()), (QStringList{"Tx Join Request", "0", "5", "14", "", "62", "", "0"}));
        QCOMPARE(LastRow(Page().RxTable()), (QStringList{"Join Accepted", "0x260B0001", "", "-57", "9", "1", "0", "5", "", "", "", "", "", "", "", "", "", ""}));

        SimLw().QueueDownlink(5, QByteArray::fromHex("CAFE"));
        Fill(Page(), kData, QStringLiteral("LoRaPort=10|Payload=01 02 03"));
        Click(Page(), QStringLiteral("Send C-Data"));
        QTRY_COMPARE(Page().RxTable()->RowCount(), 2);
        QCOMPARE(LastRow(Page().TxTable()), (QStringList{"Tx C-Data", "0", "5", "14", "1", "52", "0", ""}));
        QCOMPARE(LastRow(Page().RxTable()), (QStringList{"Rx U-Data", "", "0", "-57", "9", "1", "0", "5", "1", "0", "0x05", "CA FE", "", "", "", "", "", ""}));
        Click(Page(), QStringLiteral("Send U-MAC Command"));
        QTRY_COMPARE(Page().RxTable()->RowCount(), 3);
        QCOMPARE(LastRow(Page().RxTable()), (QStringList{"Rx MAC Command", "", "1", "-57", "9", "1", "", "", "", "", "", "", "02 14 01", "", "", "", "", ""}));
        Click(Page(), QStringLiteral("Network Time Request"));
        SimLw().InjectInvalidData(0x04);
        QTRY_COMPARE(Page().RxTable()->RowCount(), 5);
        QCOMPARE(Page().RxTable()->Cell(3, 2), QStringLiteral("Rx Invalid Data: MIC Error"));   // at once, the time after an uplink
        QCOMPARE(LastRow(Page().RxTable()).value(0), QStringLiteral("Network Time"));
        QVERIFY(QRegularExpression(QStringLiteral("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d$")).match(LastRow(Page().RxTable()).value(15)).hasMatch());

        // Hidden, the page keeps its rows and asks nothing; shown again, it reads the status.
        m_page->hide();
        const quint32 sent = FramesSent();
        SimLw().InjectLinkDisconnect(1);
        QTRY_COMPARE(Page().RxTable()->RowCount(), 6);
        QCOMPARE(LastRow(Page().RxTable()).value(0) + LastRow(Page().RxTable()).value(13), QStringLiteral("Link Disconnect1"));
        QVERIFY(Page().RefreshPending());
        QCOMPARE(FramesSent(), sent);
        m_page->show();
        m_page->PageShown();
        QTRY_COMPARE(Status(), QStringLiteral("NetworkStatusText=inactive|DeviceAddress=n.a.|MaxPayloadSize=n.a."));
        QCOMPARE(FramesSent(), sent + 1);
    }

    void refusedInput_errorOnThePageNothingSent_data()
    {
        QTest::addColumn<QString>("group");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("button");
        QTest::addColumn<QString>("reason");
        QTest::newRow("odd hex digits") << kData << "Payload" << "01 0" << "Send U-Data" << "not hex bytes: write them like 01 A2 FF";
        QTest::newRow("more than the data rate carries") << kData << "Payload" << QString(223 * 2, QLatin1Char('A')) << "Send C-Data"
                                                         << "0 to 222 hex bytes needed, 223 given";
        QTest::newRow("key with 15 octets") << kAbp << "NwkSessionKey" << kKey.left(30) << "Activate Device" << "16 hex bytes needed, 15 given";
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
        Fill(Page(), kAbp, kAbpEntries);
        Click(Page(), QStringLiteral("Activate Device"));
        Fill(Page(), group, key + QLatin1Char('=') + text);
        QCOMPARE(Reason(Page(), group, key), reason);   // as the user types
        const quint32 sent = FramesSent();
        Click(Page(), button);
        QCOMPARE(Page().ResultLine()->text(), QStringLiteral("Not sent: %1 - %2").arg(key, reason));
        QCOMPARE(FramesSent(), sent);
    }

    void tables_haveAColumnForEveryEventField()
    {
        namespace L = LoRaWANLayouts;
        const auto missing = [](const QStringList& columns, std::initializer_list<const TFieldLayoutEntry*> layouts) {
            QStringList names;
            for (const TFieldLayoutEntry* layout : layouts)
                for (; layout->name; ++layout)
                    if (!columns.contains(TFieldLayout::FieldName(layout->name)))
                        names << TFieldLayout::FieldName(layout->name);
            return names;
        };
        QCOMPARE(missing(TNodeServicePage::TxColumns(), {L::kTxJoinEvent, L::kTxDataEvent}), QStringList());
        QCOMPARE(missing(TNodeServicePage::RxColumns(), {L::kJoinEvent, L::kRxDataEvent, L::kRxAckEvent, L::kRxMacCmdEvent, L::kLinkDisconnectEvent,
                                                         L::kRxMulticastEvent, L::kDevNonceResetEvent, L::kNetworkTimeEvent}),
                 QStringList());
        QVERIFY(TNodeServicePage::RxColumns().contains(QStringLiteral("UTCTime")));
    }
};

TESSERA_TEST_MAIN_WITH(QApplication, TestNodeServicePage)

#include "tst_nodeservicepage.moc"

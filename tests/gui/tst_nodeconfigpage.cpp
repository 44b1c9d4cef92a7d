#include <QApplication>
#include <QDir>
#include <QMessageBox>
#include <QScopeGuard>
#include <QTableWidget>
#include <QtTest>

#include "LoRaWANPageFixture.h"
#include "TestEnvironment.h"
#include "gui/pages/TLayoutParams.h"
#include "gui/pages/TNodeConfigPage.h"
#include "sap/TLoRaWANConfig.h"

namespace {
const QString kNode = QStringLiteral("Node Configuration");
const QString kGroup = QStringLiteral("Multicast Group");
const QString kShipped = QDir::cleanPath(QStringLiteral(TESSERA_TEST_DATA "/../../../resources/config/Velto_LoRaWAN_Config.json"));
const QString kKey = QStringLiteral("000102030405060708090A0B0C0D0E0F");
const QString kSpacedKey = QStringLiteral("00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F");

QStringList Rows(QTableWidget* table)
{
    QStringList rows;
    for (int row = 0; row < table->rowCount(); ++row) {
        QStringList cells;
        for (int column = 0; column < table->columnCount(); ++column)
            cells << (table->item(row, column) ? table->item(row, column)->text() : QString());
        rows << cells.join(QLatin1Char('|'));
    }
    return rows;
}
}

/// "LoRaWAN Configuration" against the virtual module: the bytes each set sends, choices from the
/// band file read back as entered, the tables, the refresh after a change made elsewhere, the
/// confirmed factory reset, and plain numeric fields without a usable band file.
class TestNodeConfigPage : public QObject, public LoRaWANPageFixture
{
    Q_OBJECT

    std::unique_ptr<TNodeConfigPage> m_page;

    TNodeConfigPage& Page() { return *m_page; }
    void NewPage()
    {
        m_page = std::make_unique<TNodeConfigPage>(QStringLiteral("LoRaWAN Configuration"));
        m_page->resize(900, 1400);
        m_page->show();
    }
    QList<bool> MasksShown()
    {
        QList<bool> shown;
        for (const char* key : {"SubBandMask1", "SubBandMask2", "SubBandMask3"})
            shown << Editor(Page(), kNode, QLatin1String(key))->isVisibleTo(&Page());
        return shown;
    }

private slots:
    void initTestCase()
    {
        Prepare();
        QVERIFY2(TLoRaWANConfig::Instance().Load(kShipped), qPrintable(TLoRaWANConfig::Instance().ErrorText()));
    }
    void init()
    {
        QVERIFY(Connect());
        NewPage();
    }
    void cleanup()
    {
        m_page.reset();
        Disconnect();
    }

    void sets_exactBytesAndReadBack_data()
    {
        QTest::addColumn<QString>("group");
        QTest::addColumn<QString>("entries");
        QTest::addColumn<QString>("noun");
        QTest::addColumn<QStringList>("requests");
        QTest::newRow("node, EU868") << kNode << "BandID=1|DataRate=3|PowerLevel=10|Options=Adaptive Data Rate+Public Network|AutoPowerSaving=1"
                                                 "|Retransmissions=3|HeaderMacCmdCap=5"
                                     << "Node Config" << QStringList{"19: 03 0A 81 01 03 01 05", "1B: "};
        QTest::newRow("node, US915 with its mask") << kNode << "BandID=2|DataRate=2|PowerLevel=20|Options=Duty Cycle Control|AutoPowerSaving=0"
                                                               "|Retransmissions=1|HeaderMacCmdCap=0|SubBandMask1=Sub-band 2 (channels 8-15)"
                                                   << "Node Config" << QStringList{"19: 02 14 02 00 01 02 00 02", "1B: "};
        QTest::newRow("device EUI") << "Device EUI" << "DeviceEUI=70B3D57E00000001" << "Device EUI" << QStringList{"25: 70 B3 D5 7E 00 00 00 01", "27: "};
        QTest::newRow("join") << "Join Parameters" << "JoinEUI=0102030405060708|AppKey=" + kKey << "Join Parameters"
                              << QStringList{"05: 01 02 03 04 05 06 07 08 " + kSpacedKey, "07: "};
        QTest::newRow("custom") << "Custom Configuration" << "TxPowerOffset=-3" << "Custom Config" << QStringList{"31: FD", "33: "};
        QTest::newRow("region") << "Region Configuration" << "DefaultRegion=1|RegionMask=EU868+US915+AS923" << "Region Config"
                                << QStringList{"55: 01 86 00 00 00", "57: "};
        QTest::newRow("active region") << "Active Region" << "ActiveRegion=2" << "Active Region" << QStringList{"51: 02", "53: "};
        QTest::newRow("ADR") << "LinkADRRequest Configuration" << "HandlingMode=2" << "ADR Handling" << QStringList{"3B: 02", "3D: "};
        QTest::newRow("DevNonce") << "DevNonce" << "DevNonce=258" << "DevNonce" << QStringList{"61: 02 01", "63: "};
        QTest::newRow("JoinNonce") << "JoinNonce" << "JoinNonce=66051" << "JoinNonce" << QStringList{"65: 03 02 01", "67: "};
    }
    void sets_exactBytesAndReadBack()
    {
        QFETCH(QString, group);
        QFETCH(QString, entries);
        QFETCH(QString, noun);
        QFETCH(QStringList, requests);
        Fill(Page(), group, entries);
        const QString entered = Read(Page(), group, entries);
        QSignalSpy sent(m_sim.get(), &TSimModule::RequestReceived);
        Click(Page(), QStringLiteral("Set ") + noun);
        QVERIFY2(Page().ResultLine()->text().startsWith(QLatin1String("OK - write the ")), qPrintable(Page().ResultLine()->text()));
        for (int i = 0; i < Page().Group(group)->Count(); ++i)
            if (auto* edit = qobject_cast<QLineEdit*>(Page().Group(group)->Editor(i)))
                edit->clear();
        Click(Page(), QStringLiteral("Get ") + noun);
        QCOMPARE(Requests(sent), requests);
        QCOMPARE(Read(Page(), group, entries), entered);
        QVERIFY(!Page().RefreshPending());   // its own change needs no second read
    }

    void nodeConfig_theBandDecidesChoicesAndMasks()
    {
        QCOMPARE(Read(Page(), kNode, "BandID|DataRate|PowerLevel"), QStringLiteral("BandID=EU868|DataRate=DR5 (SF7BW125)|PowerLevel=14 dBm"));
        QCOMPARE(MasksShown(), (QList<bool>{false, false, false}));
        Fill(Page(), kNode, QStringLiteral("DataRate=6|PowerLevel=16|Retransmissions=1|HeaderMacCmdCap=0|BandID=2"));
        QCOMPARE(MasksShown(), (QList<bool>{true, false, false}));
        QCOMPARE(Read(Page(), kNode, "DataRate|PowerLevel"), QStringLiteral("DataRate=|PowerLevel=16 dBm"));   // US915 has no DR6
        const quint32 frames = FramesSent();
        Click(Page(), QStringLiteral("Set Node Config"));
        QCOMPARE(Page().ResultLine()->text(), QStringLiteral("Not sent: DataRate - choose a value"));
        QCOMPARE(FramesSent(), frames);

        // CN470 has twelve sub-bands: two masks go out, though this module has no such band.
        QSignalSpy sent(m_sim.get(), &TSimModule::RequestReceived);
        Fill(Page(), kNode, QStringLiteral("BandID=4|DataRate=1|PowerLevel=17|SubBandMask1=Sub-band 1 (channels 0-7)|SubBandMask2=Sub-band 12 (channels 88-95)"));
        QCOMPARE(MasksShown(), (QList<bool>{true, true, false}));
        Click(Page(), QStringLiteral("Set Node Config"));
        QCOMPARE(Requests(sent), QStringList{"19: 01 11 00 00 01 04 00 01 08"});
        QCOMPARE(Page().ResultLine()->text(), QStringLiteral("The module answered: wrong parameter"));
    }

    void keys_maskedUntilRevealedAndRefusedWhenShort()
    {
        const QString join = QStringLiteral("Join Parameters");
        auto* key = qobject_cast<QLineEdit*>(Editor(Page(), join, "AppKey"));
        QCOMPARE(key->echoMode(), QLineEdit::Password);
        Fill(Page(), join, QStringLiteral("JoinEUI=0102030405060708|AppKey=%1|Show Keys=1").arg(kKey.left(30)));
        QCOMPARE(key->echoMode(), QLineEdit::Normal);
        QCOMPARE(Reason(Page(), join, "AppKey"), QStringLiteral("16 hex bytes needed, 15 given"));
        const quint32 frames = FramesSent();
        Click(Page(), QStringLiteral("Set Join Parameters"));
        QCOMPARE(Page().ResultLine()->text(), QStringLiteral("Not sent: AppKey - 16 hex bytes needed, 15 given"));
        QCOMPARE(FramesSent(), frames);
    }

    void tables_powerLimitsBandsAndMulticastGroups()
    {
        QSignalSpy sent(m_sim.get(), &TSimModule::RequestReceived);
        Fill(Page(), QStringLiteral("Tx Power Limit"), QStringLiteral("SubBandIndex=2|ActiveFlag=1|Limit=20"));
        Click(Page(), QStringLiteral("Set Tx Power Limit"));
        Click(Page(), QStringLiteral("Get Supported Bands"));
        QCOMPARE(Rows(Page().PowerLimitTable()), (QStringList{"0|0|14", "1|0|14", "2|1|20", "3|0|14", "4|0|14", "5|0|14"}));
        QCOMPARE(Rows(Page().BandTable()), (QStringList{"1|EU868|16 dBm", "2|US915|30 dBm", "7|AS923-1|16 dBm"}));
        emit Page().PowerLimitTable()->cellClicked(4, 0);   // a row fills the fields for the next set
        QCOMPARE(Read(Page(), QStringLiteral("Tx Power Limit"), "SubBandIndex|ActiveFlag"), QStringLiteral("SubBandIndex=4|ActiveFlag=0"));

        Fill(Page(), kGroup, QStringLiteral("Index=2|DeviceAddress=01020304|NwkSessionKey=%1|AppSessionKey=%1").arg(kKey));
        Click(Page(), QStringLiteral("Set Group"));
        QCOMPARE(Read(Page(), kGroup, "ConfigStatus|DeviceAddress"), QStringLiteral("ConfigStatus=1 (in use)|DeviceAddress=01020304"));
        Click(Page(), QStringLiteral("Remove Group"));
        QCOMPARE(Read(Page(), kGroup, "ConfigStatus|NwkSessionKey"), QStringLiteral("ConfigStatus=0 (free)|NwkSessionKey=") + QString(15, QLatin1Char(' ')));
        Click(Page(), QStringLiteral("Get Multicast Groups"));
        QCOMPARE(Requests(sent), (QStringList{"37: 02 01 14", "39: ", "35: ", "41: 02 04 03 02 01 " + kSpacedKey + ' ' + kSpacedKey, "43: 02",
                                              "45: 02", "43: 02", "43: 00", "43: 01", "43: 02", "43: 03"}));
        QCOMPARE(Rows(Page().MulticastTable()), (QStringList{"0|0 (free)|0x00000000", "1|0 (free)|0x00000000", "2|0 (free)|0x00000000", "3|0 (free)|0x00000000"}));
        emit Page().MulticastTable()->cellClicked(3, 1);
        QCOMPARE(Read(Page(), kGroup, "Index"), QStringLiteral("Index=3"));
    }

    void refresh_afterAChangeMadeElsewhere()
    {
        QSignalSpy sent(m_sim.get(), &TSimModule::RequestReceived);
        Click(Page(), QStringLiteral("Get"));
        QCOMPARE(Requests(sent), (QStringList{"27: ", "07: ", "1B: ", "33: ", "39: ", "53: ", "57: ", "3D: ", "63: ", "67: ", "35: ",
                                              "43: 00", "43: 01", "43: 02", "43: 03", "43: 00"}));
        // Another command on the module (the CLI, the other page): the page reads again what it showed.
        QVERIFY(Execute(QStringLiteral("LoRaWAN/SetNodeConfig"), {"DataRate=3", "PowerLevel=12", "Options=0x01", "AutoPowerSaving=1",
                                                                  "Retransmissions=2", "BandID=1", "HeaderMacCmdCap=0"}));
        QTRY_COMPARE(Read(Page(), kNode, "DataRate|Options"), QStringLiteral("DataRate=DR3 (SF9BW125)|Options=Adaptive Data Rate"));
        QTRY_COMPARE(Requests(sent).size(), 33);

        m_page->hide();
        const quint32 frames = FramesSent();
        QVERIFY(Execute(QStringLiteral("LoRaWAN/SetCustomConfig"), {"TxPowerOffset=4"}));
        QCoreApplication::processEvents();   // the page looks once the change is reported
        QVERIFY(Page().RefreshPending());
        QCOMPARE(FramesSent(), frames + 1);   // nothing read while hidden
        m_page->show();
        m_page->PageShown();
        QTRY_COMPARE(Read(Page(), QStringLiteral("Custom Configuration"), "TxPowerOffset"), QStringLiteral("TxPowerOffset=4"));
    }

    void factoryReset_onlyAfterConfirmation()
    {
        Fill(Page(), QStringLiteral("DevNonce"), QStringLiteral("DevNonce=5"));
        Click(Page(), QStringLiteral("Set DevNonce"));
        QSignalSpy sent(m_sim.get(), &TSimModule::RequestReceived);
        for (QMessageBox::StandardButton answer : {QMessageBox::Cancel, QMessageBox::Yes}) {
            Click(Page(), QStringLiteral("Factory Reset"));
            auto* box = Page().findChild<QMessageBox*>();
            QVERIFY(box && box->isVisible() && box->text().contains(m_port));
            QVERIFY(Requests(sent).isEmpty());
            box->button(answer)->click();
            QTRY_VERIFY(!Page().findChild<QMessageBox*>());
        }
        QCOMPARE(Requests(sent), (QStringList{"23: ", "63: "}));   // then what the page showed
        QCOMPARE(Read(Page(), QStringLiteral("DevNonce"), "DevNonce"), QStringLiteral("DevNonce=0"));
    }

    void withoutBandFile_plainNumbers()
    {
        QTemporaryDir dir;
        QFile broken(dir.filePath(QStringLiteral("Velto_LoRaWAN_Config.json")));
        QVERIFY(broken.open(QIODevice::WriteOnly) && broken.write("{\n  \"FileVersion\": \"1.0\",\n}\n") > 0);
        broken.close();
        auto restore = qScopeGuard([] { TLoRaWANConfig::Instance().Load(kShipped); });
        QVERIFY(!TLoRaWANConfig::Instance().Load(broken.fileName()));
        NewPage();
        QVERIFY(!Page().HasChoices());
        QStringList notes;
        for (QLabel* label : Page().findChildren<QLabel*>())
            if (label->text().startsWith(QLatin1String("warning - ")))
                notes << label->text();
        QCOMPARE(notes, QStringList{QStringLiteral("warning - the band and region file %1 could not be used (JSON syntax error at line 3, column 1: "
                                                   "object is missing after a comma): bands, data rates, power levels and regions are entered as "
                                                   "numbers.").arg(broken.fileName())});
        QCOMPARE(MasksShown(), (QList<bool>{true, true, true}));

        QSignalSpy sent(m_sim.get(), &TSimModule::RequestReceived);
        Fill(Page(), kNode, QStringLiteral("BandID=2|DataRate=3|PowerLevel=20|Options=0x85|Retransmissions=1|HeaderMacCmdCap=0|SubBandMask1=2"));
        Click(Page(), QStringLiteral("Set Node Config"));   // a mask goes out only when ticked
        auto* tick = qobject_cast<QCheckBox*>(Page().Group(kNode)->Label(7));
        tick->setChecked(true);
        Click(Page(), QStringLiteral("Set Node Config"));
        Fill(Page(), QStringLiteral("Region Configuration"), QStringLiteral("DefaultRegion=1|RegionMask=0x86"));
        Click(Page(), QStringLiteral("Set Region Config"));
        QCOMPARE(Requests(sent), (QStringList{"19: 03 14 85 00 01 02 00", "19: 03 14 85 00 01 02 00 02", "55: 01 86 00 00 00"}));
        Click(Page(), QStringLiteral("Get Node Config"));
        QCOMPARE(Read(Page(), kNode, "Options|SubBandMask2"), QStringLiteral("Options=0x85|SubBandMask2=0"));
        QVERIFY(qobject_cast<QCheckBox*>(Page().Group(kNode)->Label(8))->isChecked());   // reported, so sent back

        // Numbers chosen or typed in decimal go to the hexadecimal fields as such.
        QCOMPARE(TLayoutParams::Written(QStringLiteral("13"), "U8h"), QStringLiteral("0x0D"));
        QCOMPARE(TLayoutParams::Written(QStringLiteral("-2147483514"), "U32h"), QStringLiteral("0x80000086"));
        QCOMPARE(TLayoutParams::Written(QStringLiteral("13"), "U8d"), QStringLiteral("13"));
    }
};

TESSERA_TEST_MAIN_WITH(QApplication, TestNodeConfigPage)

#include "tst_nodeconfigpage.moc"

#include <QApplication>
#include <QDir>
#include <QMessageBox>
#include <QScopeGuard>
#include <QTableWidget>
#include <QtTest>

#include "LoRaWANPageFixture.h"
#include "TestEnvironment.h"
#include "gui/TCheckButtonBox.h"
#include "gui/pages/TLayoutParams.h"
#include "gui/pages/TNodeConfigPage.h"
#include "sap/TLoRaWANConfig.h"

namespace {
const QString kNode = QStringLiteral("Node Configuration");
const QString kGroup = QStringLiteral("Multicast Group");
const QString kShipped = QDir::cleanPath(QStringLiteral(TESSERA_TEST_DATA "/../../../resources/config/Velto_LoRaWAN_Config.json"));
const QString kKey = QStringLiteral("000102030405060708090A0B0C0D0E0F");
const QString kSpacedKey = QStringLiteral("00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F");

QStringList Row(QTableWidget* table, int row)
{
    QStringList cells;
    for (int column = 0; column < table->columnCount(); ++column)
        cells << (table->item(row, column) ? table->item(row, column)->text() : QString());
    return cells;
}
}

/// "LoRaWAN Configuration" against the virtual module: the bytes each set sends, choices from the
/// band file read back as entered, the multicast groups, the refresh after a change made elsewhere,
/// the confirmed factory reset, and plain numeric fields without a usable band file.
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
    /// "Key=value" into the group's rows: typed into a field, chosen by identifier, ticked by number
    /// or, for a box of check buttons, by the texts of those to tick ("Key=EU868+US915").
    void Fill(const QString& group, const QString& entries)
    {
        for (const QString& entry : entries.split(QLatin1Char('|'), Qt::SkipEmptyParts)) {
            const QString key = entry.section(QLatin1Char('='), 0, 0);
            const QString value = entry.section(QLatin1Char('='), 1);
            QWidget* editor = Group(Page(), group).FindItem(key);
            if (qobject_cast<QLineEdit*>(editor))
                Type(Page(), group, key, value);
            else if (qobject_cast<QComboBox*>(editor))
                Choose(Page(), group, key, value.toInt(nullptr, 0));
            else if (auto* box = qobject_cast<QCheckBox*>(editor))
                box->setChecked(value == QLatin1String("1"));
            else if (auto* buttons = qobject_cast<TCheckButtonBox*>(editor))
                for (int i = 0; i < buttons->Count(); ++i)
                    buttons->Button(i)->setChecked(value.split(QLatin1Char('+')).contains(buttons->Button(i)->text()));
            else
                QFAIL(qPrintable(QStringLiteral("no row ") + key));
        }
    }
    /// What the rows show, in the form Fill takes.
    QString Read(const QString& group, const QStringList& keys)
    {
        QStringList shown;
        for (const QString& key : keys) {
            QWidget* editor = Group(Page(), group).FindItem(key);
            QString value = Shown(Page(), group, key);
            if (auto* box = qobject_cast<QCheckBox*>(editor))
                value = box->isChecked() ? QStringLiteral("1") : QStringLiteral("0");
            if (auto* buttons = qobject_cast<TCheckButtonBox*>(editor)) {
                QStringList ticked;
                for (int i = 0; i < buttons->Count(); ++i)
                    if (buttons->Button(i)->isChecked())
                        ticked << buttons->Button(i)->text();
                value = ticked.join(QLatin1Char('+'));
            }
            shown << key + QLatin1Char('=') + value;
        }
        return shown.join(QLatin1Char('|'));
    }
    bool RowShown(const QString& group, const QString& key) { return Group(Page(), group).FindItem(key)->isVisibleTo(&Page()); }

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

    void nodeConfig_choicesSentAndReadBack_data()
    {
        QTest::addColumn<QString>("entries");
        QTest::addColumn<QString>("request");
        QTest::addColumn<QString>("outcome");
        QTest::addColumn<int>("masks");
        QTest::newRow("EU868: no sub-band masks")
            << "BandID=1|DataRate=3|PowerLevel=10|Options=Adaptive Data Rate+Public Network|AutoPowerSaving=1|Retransmissions=3|HeaderMacCmdCap=5"
            << "19: 03 0A 81 01 03 01 05" << "OK" << 0;
        QTest::newRow("US915: one mask")
            << "BandID=2|DataRate=2|PowerLevel=20|Options=Duty Cycle Control|AutoPowerSaving=0|Retransmissions=1|HeaderMacCmdCap=0"
               "|SubBandMask1=Sub-band 2 (channels 8-15)"
            << "19: 02 14 02 00 01 02 00 02" << "OK" << 1;
        QTest::newRow("CN470: two masks, a band the module lacks")
            << "BandID=4|DataRate=1|PowerLevel=17|Options=|AutoPowerSaving=0|Retransmissions=1|HeaderMacCmdCap=0"
               "|SubBandMask1=Sub-band 1 (channels 0-7)|SubBandMask2=Sub-band 12 (channels 88-95)"
            << "19: 01 11 00 00 01 04 00 01 08" << "The module answered: wrong parameter" << 2;
    }
    void nodeConfig_choicesSentAndReadBack()
    {
        QFETCH(QString, entries);
        QFETCH(QString, request);
        QFETCH(QString, outcome);
        QFETCH(int, masks);
        Fill(kNode, entries);
        QCOMPARE((QList<bool>{RowShown(kNode, "SubBandMask1"), RowShown(kNode, "SubBandMask2"), RowShown(kNode, "SubBandMask3")}),
                 (QList<bool>{masks > 0, masks > 1, false}));
        QSignalSpy requests(m_sim.get(), &TSimModule::RequestReceived);
        Click(Page(), QStringLiteral("Set Node Config"));
        QCOMPARE(Requests(requests), QStringList{request});
        QVERIFY2(Page().ResultLine()->text().startsWith(outcome), qPrintable(Page().ResultLine()->text()));
        if (outcome != QLatin1String("OK"))
            return;

        QStringList keys;
        for (const QString& entry : entries.split(QLatin1Char('|')))
            keys << entry.section(QLatin1Char('='), 0, 0);
        const QString entered = Read(kNode, keys);
        Fill(kNode, QStringLiteral("BandID=7|DataRate=0|PowerLevel=2|Options=Class C|AutoPowerSaving=1|Retransmissions=9|HeaderMacCmdCap=9"));
        Click(Page(), QStringLiteral("Get Node Config"));
        QCOMPARE(Read(kNode, keys), entered);
    }

    void nodeConfig_dataRateTheNewBandLacks_refused()
    {
        Fill(kNode, QStringLiteral("BandID=1|DataRate=6|PowerLevel=16|Retransmissions=1|HeaderMacCmdCap=0"));
        Fill(kNode, QStringLiteral("BandID=2"));   // US915 has no DR6; 16 dBm it has
        QCOMPARE(Shown(Page(), kNode, "DataRate"), QString());
        QCOMPARE(Shown(Page(), kNode, "PowerLevel"), QStringLiteral("16 dBm"));
        const quint32 sent = FramesSent();
        Click(Page(), QStringLiteral("Set Node Config"));
        QCOMPARE(Page().ResultLine()->text(), QStringLiteral("Not sent: DataRate - choose a value"));
        QCOMPARE(FramesSent(), sent);
    }

    void settings_exactBytesAndReadBack_data()
    {
        QTest::addColumn<QString>("group");
        QTest::addColumn<QString>("entries");
        QTest::addColumn<QString>("set");
        QTest::addColumn<QString>("get");
        QTest::addColumn<QStringList>("requests");
        QTest::newRow("device EUI") << "Device EUI" << "DeviceEUI=70B3D57E00000001" << "Set Device EUI" << "Get Device EUI"
                                    << QStringList{"25: 70 B3 D5 7E 00 00 00 01", "27: "};
        QTest::newRow("join parameters") << "Join Parameters" << "JoinEUI=0102030405060708|AppKey=" + kKey << "Set Join Parameters"
                                         << "Get Join Parameters" << QStringList{"05: 01 02 03 04 05 06 07 08 " + kSpacedKey, "07: "};
        QTest::newRow("custom") << "Custom Configuration" << "TxPowerOffset=-3" << "Set Custom Config" << "Get Custom Config"
                                << QStringList{"31: FD", "33: "};
        QTest::newRow("region") << "Region Configuration" << "DefaultRegion=1|RegionMask=EU868+US915+AS923" << "Set Region Config"
                                << "Get Region Config" << QStringList{"55: 01 86 00 00 00", "57: "};
        QTest::newRow("active region") << "Active Region" << "ActiveRegion=2" << "Set Active Region" << "Get Active Region"
                                       << QStringList{"51: 02", "53: "};
        QTest::newRow("ADR handling") << "LinkADRRequest Configuration" << "HandlingMode=2" << "Set ADR Handling" << "Get ADR Handling"
                                      << QStringList{"3B: 02", "3D: "};
        QTest::newRow("DevNonce") << "DevNonce" << "DevNonce=258" << "Set DevNonce" << "Get DevNonce" << QStringList{"61: 02 01", "63: "};
        QTest::newRow("JoinNonce") << "JoinNonce" << "JoinNonce=66051" << "Set JoinNonce" << "Get JoinNonce" << QStringList{"65: 03 02 01", "67: "};
    }
    void settings_exactBytesAndReadBack()
    {
        QFETCH(QString, group);
        QFETCH(QString, entries);
        QFETCH(QString, set);
        QFETCH(QString, get);
        QFETCH(QStringList, requests);
        Fill(group, entries);
        QStringList keys;
        for (const QString& entry : entries.split(QLatin1Char('|')))
            keys << entry.section(QLatin1Char('='), 0, 0);
        const QString entered = Read(group, keys);
        QSignalSpy sent(m_sim.get(), &TSimModule::RequestReceived);
        Click(Page(), set);
        QVERIFY2(Page().ResultLine()->text().startsWith(QLatin1String("OK - write the ")), qPrintable(Page().ResultLine()->text()));
        for (int i = 0; i < Group(Page(), group).Count(); ++i)
            if (auto* edit = qobject_cast<QLineEdit*>(Group(Page(), group).Editor(i)))
                edit->clear();
        Click(Page(), get);
        QCOMPARE(Requests(sent), requests);
        QCOMPARE(Read(group, keys), entered);
        QVERIFY(!Page().RefreshPending());   // the page's own change needs no second read
    }

    void keys_maskedUntilRevealed_refusedWhenShort()
    {
        QLineEdit* key = Edit(Page(), QStringLiteral("Join Parameters"), QStringLiteral("AppKey"));
        QCOMPARE(key->echoMode(), QLineEdit::Password);
        Fill(QStringLiteral("Join Parameters"), QStringLiteral("JoinEUI=0102030405060708|AppKey=") + kKey.left(30));
        QCOMPARE(Reason(Page(), QStringLiteral("Join Parameters"), QStringLiteral("AppKey")), QStringLiteral("16 hex bytes needed, 15 given"));
        const quint32 sent = FramesSent();
        Click(Page(), QStringLiteral("Set Join Parameters"));
        QCOMPARE(Page().ResultLine()->text(), QStringLiteral("Not sent: AppKey - 16 hex bytes needed, 15 given"));
        QCOMPARE(FramesSent(), sent);
        TGuiItemList& join = Group(Page(), QStringLiteral("Join Parameters"));
        auto* reveal = qobject_cast<QCheckBox*>(join.Editor(join.Count() - 1));
        QVERIFY(reveal && reveal->accessibleName() == QLatin1String(TLoRaWANPage::kShowKeys));
        reveal->click();
        QCOMPARE(key->echoMode(), QLineEdit::Normal);
        QCOMPARE(key->displayText(), kSpacedKey.left(44) + QStringLiteral("   "));
    }

    void txPowerLimitsAndBands_tables()
    {
        QSignalSpy sent(m_sim.get(), &TSimModule::RequestReceived);
        Fill(QStringLiteral("Tx Power Limit"), QStringLiteral("SubBandIndex=2|ActiveFlag=1|Limit=20"));
        Click(Page(), QStringLiteral("Set Tx Power Limit"));
        Click(Page(), QStringLiteral("Get Supported Bands"));
        QCOMPARE(Requests(sent), (QStringList{"37: 02 01 14", "39: ", "35: "}));
        QCOMPARE(Page().PowerLimitTable()->rowCount(), int(TSimLoRaWAN::kSubBands));
        QCOMPARE(Row(Page().PowerLimitTable(), 2), (QStringList{"2", "1", "20"}));
        QCOMPARE(Row(Page().PowerLimitTable(), 1), (QStringList{"1", "0", "14"}));
        QCOMPARE(Page().BandTable()->rowCount(), 3);
        QCOMPARE(Row(Page().BandTable(), 0) + Row(Page().BandTable(), 1) + Row(Page().BandTable(), 2),
                 (QStringList{"1", "EU868", "16 dBm", "2", "US915", "30 dBm", "7", "AS923-1", "16 dBm"}));
        // A row of the table fills the fields for the next set.
        emit Page().PowerLimitTable()->cellClicked(4, 0);
        QCOMPARE(Read(QStringLiteral("Tx Power Limit"), {"SubBandIndex", "ActiveFlag", "Limit"}), QStringLiteral("SubBandIndex=4|ActiveFlag=0|Limit=14"));
    }

    void multicast_setGetRemovePerIndex()
    {
        QSignalSpy sent(m_sim.get(), &TSimModule::RequestReceived);
        Fill(kGroup, QStringLiteral("Index=2|DeviceAddress=01020304|NwkSessionKey=%1|AppSessionKey=%1").arg(kKey));
        Click(Page(), QStringLiteral("Set Group"));
        QCOMPARE(Page().ResultLine()->text().left(27), QStringLiteral("OK - write the multicast gr"));
        QCOMPARE(Requests(sent), (QStringList{"41: 02 04 03 02 01 " + kSpacedKey + " " + kSpacedKey, "43: 02"}));
        QCOMPARE(Read(kGroup, {"Index", "ConfigStatus", "DeviceAddress", "NwkSessionKey"}),
                 QStringLiteral("Index=2|ConfigStatus=1 (in use)|DeviceAddress=01020304|NwkSessionKey=") + kSpacedKey);
        QCOMPARE(Row(Page().MulticastTable(), 2), (QStringList{"2", "1 (in use)", "0x01020304"}));

        sent.clear();
        Click(Page(), QStringLiteral("Remove Group"));
        QCOMPARE(Requests(sent), (QStringList{"45: 02", "43: 02"}));
        QCOMPARE(Read(kGroup, {"ConfigStatus", "DeviceAddress", "NwkSessionKey"}), QStringLiteral("ConfigStatus=0 (free)|DeviceAddress=00000000|NwkSessionKey=") + QString(15, QLatin1Char(' ')));   // the empty mask's blanks
        QCOMPARE(Row(Page().MulticastTable(), 2), (QStringList{"2", "0 (free)", "0x00000000"}));

        sent.clear();
        Click(Page(), QStringLiteral("Get Multicast Groups"));
        QCOMPARE(Requests(sent), (QStringList{"43: 00", "43: 01", "43: 02", "43: 03"}));
        QCOMPARE(Page().MulticastTable()->rowCount(), int(TNodeConfigPage::kMulticastGroups));
        emit Page().MulticastTable()->cellClicked(3, 1);
        QCOMPARE(Shown(Page(), kGroup, "Index"), QStringLiteral("3"));
    }

    void refresh_afterAChangeMadeElsewhere()
    {
        QSignalSpy sent(m_sim.get(), &TSimModule::RequestReceived);
        Click(Page(), QStringLiteral("Get"));
        QCOMPARE(Requests(sent), (QStringList{"27: ", "07: ", "1B: ", "33: ", "39: ", "53: ", "57: ", "3D: ", "63: ", "67: ", "35: ",
                                              "43: 00", "43: 01", "43: 02", "43: 03", "43: 00"}));
        QVERIFY2(Page().ResultLine()->text().startsWith(QLatin1String("OK - read the LoRaWAN configuration")), qPrintable(Page().ResultLine()->text()));
        QCOMPARE(Shown(Page(), kNode, "DataRate"), QStringLiteral("DR5 (SF7BW125)"));

        // Another command on the module (the CLI, another page) changes the node configuration.
        sent.clear();
        TKeyValueList config;
        for (const auto& pair : {std::make_pair("DataRate", "3"), {"PowerLevel", "12"}, {"Options", "0x01"}, {"AutoPowerSaving", "1"},
                                 {"Retransmissions", "2"}, {"BandID", "1"}, {"HeaderMacCmdCap", "0"}})
            config.Append(QLatin1String(pair.first), QLatin1String(pair.second));
        QVERIFY(Execute(QStringLiteral("LoRaWAN/SetNodeConfig"), config));
        QTRY_COMPARE(Shown(Page(), kNode, "DataRate"), QStringLiteral("DR3 (SF9BW125)"));
        QTRY_COMPARE(Requests(sent).size(), 17);
        QCOMPARE(Requests(sent).mid(1, 3), (QStringList{"27: ", "07: ", "1B: "}));

        // Hidden, the page waits; shown, it reads what it had shown.
        m_page->hide();
        const quint32 frames = FramesSent();
        TKeyValueList offset;
        offset.Append(QStringLiteral("TxPowerOffset"), QStringLiteral("4"));
        QVERIFY(Execute(QStringLiteral("LoRaWAN/SetCustomConfig"), offset));
        QTRY_VERIFY(Page().RefreshPending());
        QCOMPARE(FramesSent(), frames + 1);
        m_page->show();
        m_page->PageShown();
        QTRY_COMPARE(Shown(Page(), QStringLiteral("Custom Configuration"), "TxPowerOffset"), QStringLiteral("4"));
    }

    void factoryReset_onlyAfterConfirmation()
    {
        Fill(QStringLiteral("DevNonce"), QStringLiteral("DevNonce=5"));
        Click(Page(), QStringLiteral("Set DevNonce"));
        const quint32 sent = FramesSent();
        QSignalSpy requests(m_sim.get(), &TSimModule::RequestReceived);
        auto answer = [this](QMessageBox::StandardButton button) {
            Click(Page(), QStringLiteral("Factory Reset"));
            auto* box = Page().findChild<QMessageBox*>();
            QVERIFY(box && box->isVisible());
            QCOMPARE(box->windowTitle(), QStringLiteral("Factory Reset"));
            QVERIFY(box->text().contains(m_port));
            box->button(button)->click();
            QTRY_VERIFY(!Page().findChild<QMessageBox*>());
        };
        answer(QMessageBox::Cancel);
        QCOMPARE(FramesSent(), sent);
        answer(QMessageBox::Yes);
        QCOMPARE(Requests(requests), (QStringList{"23: ", "63: "}));
        QCOMPARE(Shown(Page(), QStringLiteral("DevNonce"), "DevNonce"), QStringLiteral("0"));
        QVERIFY2(Page().ResultLine()->text().startsWith(QLatin1String("OK - reset the LoRaWAN settings")), qPrintable(Page().ResultLine()->text()));
    }

    void withoutBandFile_plainNumbers()
    {
        QTemporaryDir dir;
        const QString broken = dir.filePath(QStringLiteral("Velto_LoRaWAN_Config.json"));
        QFile file(broken);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("{\n  \"FileVersion\": \"1.0\",\n}\n") > 0);
        file.close();
        auto restore = qScopeGuard([] { TLoRaWANConfig::Instance().Load(kShipped); });
        QVERIFY(!TLoRaWANConfig::Instance().Load(broken));
        NewPage();
        QVERIFY(!Page().HasChoices());
        for (const char* key : {"BandID", "DataRate", "PowerLevel", "Options", "SubBandMask1", "SubBandMask3"})
            QVERIFY2(qobject_cast<QLineEdit*>(Group(Page(), kNode).FindItem(QLatin1String(key))), key);
        QVERIFY(qobject_cast<QLineEdit*>(Group(Page(), QStringLiteral("Region Configuration")).FindItem(QStringLiteral("RegionMask"))));
        QVERIFY(RowShown(kNode, QStringLiteral("SubBandMask3")));
        QStringList notes;
        for (QLabel* label : Page().findChildren<QLabel*>())
            if (label->text().startsWith(QLatin1String("warning - ")))
                notes << label->text();
        QCOMPARE(notes, QStringList{QStringLiteral("warning - the band and region file %1 could not be used (JSON syntax error at line 3, "
                                                   "column 1: object is missing after a comma): bands, data rates, power levels and regions are entered as numbers.").arg(broken)});

        QSignalSpy sent(m_sim.get(), &TSimModule::RequestReceived);
        Fill(kNode, QStringLiteral("BandID=2|DataRate=3|PowerLevel=20|Options=0x85|Retransmissions=1|HeaderMacCmdCap=0|SubBandMask1=2"));
        Click(Page(), QStringLiteral("Set Node Config"));   // a mask is sent only when ticked
        auto* tick = qobject_cast<QCheckBox*>(Group(Page(), kNode).Label(7));
        QVERIFY(tick && tick->text() == QLatin1String("SubBandMask1"));
        tick->setChecked(true);
        Click(Page(), QStringLiteral("Set Node Config"));
        Fill(QStringLiteral("Region Configuration"), QStringLiteral("DefaultRegion=1|RegionMask=0x86"));
        Click(Page(), QStringLiteral("Set Region Config"));
        QCOMPARE(Requests(sent), (QStringList{"19: 03 14 85 00 01 02 00", "19: 03 14 85 00 01 02 00 02", "55: 01 86 00 00 00"}));
        Click(Page(), QStringLiteral("Get Node Config"));
        QCOMPARE(Read(kNode, {"Options", "SubBandMask1", "SubBandMask2"}), QStringLiteral("Options=0x85|SubBandMask1=2|SubBandMask2=0"));
        QVERIFY(qobject_cast<QCheckBox*>(Group(Page(), kNode).Label(8))->isChecked());   // reported, so sent back
    }

    void layoutParams_numbersWrittenForTheFieldType_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("written");
        QTest::newRow("decimal for a hex byte") << "13" << "U8h" << "0x0D";
        QTest::newRow("already hex") << "0x0a" << "U8h" << "0x0a";
        QTest::newRow("bit 31 held in an int") << "-2147483514" << "U32h" << "0x80000086";
        QTest::newRow("decimal type") << "13" << "U8d" << "13";
        QTest::newRow("not a number") << "x1" << "U8h" << "x1";
    }
    void layoutParams_numbersWrittenForTheFieldType()
    {
        QFETCH(QString, value);
        QFETCH(QString, type);
        QFETCH(QString, written);
        QCOMPARE(TLayoutParams::Written(value, type.toLatin1().constData()), written);
    }
};

int main(int argc, char** argv)
{
    TestEnvironment::IsolateUserDirectories();
    QApplication app(argc, argv);
    TestNodeConfigPage test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_nodeconfigpage.moc"

#include <QtTest>

#include "TestEnvironment.h"
#include "devices/TDiscoveryRates.h"
#include "settings/TSettings.h"

class TestDiscoveryRates : public QObject
{
    Q_OBJECT
private slots:
    void flagsOrderAndSettings()
    {
        QCOMPARE(TDiscoveryRates::Count(), 2);
        QCOMPARE(TSettings::Instance().ReadList("HCI-Parameter", "DiscoveryBaudrates"), (QStringList{"57600", "115200"}));
        QCOMPARE(TDiscoveryRates::RateTexts().at(4), QStringLiteral("4 : 115200 bps"));
        QCOMPARE(TDiscoveryRates::SelectableTexts().size(), 5);
        QCOMPARE(TDiscoveryRates::SelectableTexts().last(), QStringLiteral("4 : 115200 bps"));

        // A new probe starts at the fastest enabled rate and walks down, wrapping.
        QCOMPARE(TDiscoveryRates::FirstIndex(), 4);
        QCOMPARE(TDiscoveryRates::PreviousIndex(4), 3);
        QCOMPARE(TDiscoveryRates::PreviousIndex(3), 4);
        QCOMPARE(TDiscoveryRates::PreviousIndex(-1), 4);

        QVERIFY(!TDiscoveryRates::SetFlag(QStringLiteral("1234 bps"), true));
        QVERIFY(TDiscoveryRates::SetFlag(QStringLiteral("9600 bps"), true));
        QVERIFY(TDiscoveryRates::SetFlag(QStringLiteral("57600"), false));
        QCOMPARE(TSettings::Instance().ReadList("HCI-Parameter", "DiscoveryBaudrates"), (QStringList{"9600", "115200"}));
        QCOMPARE(TDiscoveryRates::PreviousIndex(4), 0);
        QCOMPARE(TDiscoveryRates::PreviousIndex(0), 4);
        QVERIFY(TDiscoveryRates::SetFlag(QStringLiteral("115200"), false));
        QCOMPARE(TDiscoveryRates::FirstIndex(), 0);
        QCOMPARE(TDiscoveryRates::PreviousIndex(0), 0);   // the only one

        // A fresh process reads the flags back.
        TDiscoveryRates::Load();
        QCOMPARE(TDiscoveryRates::Count(), 1);
        QVERIFY(TDiscoveryRates::Flag(9600));

        TDiscoveryRates::SaveLastBaudrate(QStringLiteral("57600 bps"));
        QCOMPARE(TDiscoveryRates::LoadLastBaudrate(), QStringLiteral("57600"));
    }

    void invalidStoredList_discoversAtTheDefaultRates()
    {
        for (const QStringList& stored : {QStringList{"zz"}, QStringList{"115200", "12345"}}) {
            TSettings::Instance().WriteList("HCI-Parameter", "DiscoveryBaudrates", stored);
            TDiscoveryRates::Load();
            QCOMPARE(TDiscoveryRates::Count(), 2);
            QVERIFY(TDiscoveryRates::Flag(57600) && TDiscoveryRates::Flag(115200));
            QCOMPARE(TSettings::Instance().ReadList("HCI-Parameter", "DiscoveryBaudrates"), (QStringList{"57600", "115200"}));
        }
    }
};

TESSERA_TEST_MAIN(TestDiscoveryRates)
#include "tst_discoveryrates.moc"

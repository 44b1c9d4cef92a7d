#include <QSignalSpy>
#include <QtTest>

#include "PageBench.h"
#include "gui/pages/TSettingsPage.h"

class TestSettingsPage : public QObject
{
    Q_OBJECT

    TPageBench m_bench;

private slots:
    void initTestCase() { TPageBench::Prepare(); }
    void cleanup() { m_bench.Release(); }

    void discoverDevices_summaryOnTheResultLine()
    {
        QVERIFY(m_bench.Attach(QStringLiteral("ttyVELTO1")));
        TSettingsPage page(QStringLiteral("Studio Settings"));
        QSignalSpy summaries(&TDeviceManager::Instance(), &TDeviceManager::EvDiscoverySummary);
        page.DiscoverDevices();
        TDeviceManager::Instance().DiscoveryTick();   // the studio's discovery timer
        QCOMPARE(summaries.size(), 1);
        QCOMPARE(page.ResultLine()->text(), QStringLiteral("info - discovery found 1 module: %1 (Velto_LoRaWAN V2.4)").arg(m_bench.Port()));
        QCOMPARE(page.ResultLine()->property("outcome").toString(), QStringLiteral("info"));

        m_bench.Release();
        page.DiscoverDevices();
        TDeviceManager::Instance().DiscoveryTick();
        QCOMPARE(summaries.size(), 2);
        QCOMPARE(page.ResultLine()->text(), QStringLiteral("info - discovery found no module"));
    }
};

TESSERA_PAGE_TEST_MAIN(TestSettingsPage)

#include "tst_settingspage.moc"

#include <QSignalSpy>
#include <QtTest>

#include "TestEnvironment.h"
#include "devices/TLoRaWANEndNode.h"
#include "tools/sim/TSimDeviceMgmt.h"
#include "tools/sim/TSimModule.h"
#include "tools/sim/TSimProductionSupport.h"

namespace {
TKeyValueList Params(const QString& pairs)
{
    TKeyValueList params;
    for (const QString& pair : pairs.split(QLatin1Char(' '), Qt::SkipEmptyParts))
        params.Append(pair.section(QLatin1Char('='), 0, 0), pair.section(QLatin1Char('='), 1));
    return params;
}
const char* const kRadio = "PowerLevel=14 Modulation=0 Frequency=14245888 Bandwidth=0 Spreading=7 ErrorCoding=1";
}

/// The production functions as the device and factory pages use them: through the controller.
class TestProduction : public QObject
{
    Q_OBJECT

    std::unique_ptr<TSimModule> m_sim;
    std::unique_ptr<TLoRaWANEndNode> m_node;
    QTemporaryDir m_dir;

    TSimProductionSupport& Sim() { return *dynamic_cast<TSimProductionSupport*>(m_sim->Service(TSimProductionSupport::kSapId)); }
    bool Run(const QString& command, const QString& params, TKeyValueList* result = nullptr)
    {
        TKeyValueList unused;
        return m_node->ExecuteAny(command, Params(params), result ? *result : unused);
    }

private slots:
    void init()
    {
        m_sim = std::make_unique<TSimModule>();
        QVERIFY(m_sim->Open());
        // A link names the module: pseudo-terminal numbers are reused at once.
        QVERIFY(m_sim->CreateLink(m_dir.filePath(QStringLiteral("module"))));
        m_node = std::make_unique<TLoRaWANEndNode>();
        QVERIFY(m_node->Open(m_dir.filePath(QStringLiteral("module")), QStringLiteral("115200")));
    }
    void cleanup()
    {
        m_node.reset();
        m_sim.reset();
    }

    void resetDevice_thePowerUpEventFollowsTheAnswer()
    {
        QVERIFY(Run(QStringLiteral("DeviceMgmt/SetOperationMode"), QStringLiteral("OperationMode=1")));
        QVERIFY(Run(QStringLiteral("PTS/SetRadioTestMode"), QStringLiteral("TestMode=2 ") + QLatin1String(kRadio)));
        QSignalSpy powerUps(m_node.get(), &TRadioController::EvDeviceMgmt_PowerUpEvent);
        QVERIFY(m_node->ResetDevice());
        QCOMPARE(powerUps.size(), 0);   // the answer comes first, the module restarts after it
        QVERIFY(powerUps.wait(5000));
        const TKeyValueList event = powerUps.first().first().value<TKeyValueList>();
        QCOMPARE(event.Value("EvType"), QStringLiteral("Power-Up Event"));
        QCOMPARE(event.Value("FWName"), QStringLiteral("Velto_LoRaWAN"));
        TKeyValueList result;
        QVERIFY(Run(QStringLiteral("DeviceMgmt/GetOperationMode"), QString(), &result));
        QCOMPARE(result.ToText(), QStringLiteral("OperationMode: 0"));
        QCOMPARE(Sim().TestMode(), quint8(0));
    }

    void statusTexts_reachLastError()
    {
        TKeyValueList result;
        QVERIFY(!Run(QStringLiteral("PTS/GetMeasurementValue"), QStringLiteral("MeasurementID=9"), &result));
        QCOMPARE(m_node->LastError(), QStringLiteral("value not available"));
        QVERIFY(result.isEmpty());
        // A busy channel refuses what would transmit, counts it, and still lets the receiver listen.
        Sim().SetChannelBusy(true);
        QVERIFY(!Run(QStringLiteral("PTS/SendTestMessage"), QLatin1String(kRadio) + QStringLiteral(" Payload=01")));
        QCOMPARE(m_node->LastError(), QStringLiteral("media busy"));
        QVERIFY(!Run(QStringLiteral("PTS/SetRadioTestMode"), QStringLiteral("TestMode=1 ") + QLatin1String(kRadio)));
        QCOMPARE(m_node->LastError(), QStringLiteral("media busy"));
        QCOMPARE(TSimDeviceMgmt::CountersOf(*m_sim)->radioTxMediaBusy, quint32(2));
        QVERIFY(Run(QStringLiteral("PTS/SetRadioTestMode"), QStringLiteral("TestMode=3 ") + QLatin1String(kRadio)));
    }
};

TESSERA_TEST_MAIN(TestProduction)
#include "tst_production.moc"

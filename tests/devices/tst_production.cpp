#include <QSignalSpy>
#include <QtTest>

#include "TestEnvironment.h"
#include "devices/TLoRaWANEndNode.h"
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
        m_node = std::make_unique<TLoRaWANEndNode>();
        QVERIFY(m_node->Open(m_sim->PortName(), QStringLiteral("115200")));
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

    void calibration_roundTripPerIdentifier_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<QString>("value");
        QTest::newRow("crystal offset Hz") << "1" << "-20000";
        QTest::newRow("RSSI offset dB") << "2" << "4";
        QTest::newRow("tx power offset 0.1 dB") << "3" << "-32768";
        QTest::newRow("temperature offset 0.1 C") << "4" << "32767";
    }
    void calibration_roundTripPerIdentifier()
    {
        QFETCH(QString, id);
        QFETCH(QString, value);
        QVERIFY(Run(QStringLiteral("PTS/SetCalibrationValue"), QStringLiteral("CalibrationID=%1 CalibrationValue=%2").arg(id, value)));
        TKeyValueList result;
        QVERIFY(Run(QStringLiteral("PTS/GetCalibrationValue"), QStringLiteral("CalibrationID=") + id, &result));
        QCOMPARE(result.ToText(QStringLiteral("|")), QStringLiteral("CalibrationID: %1|CalibrationValue: %2").arg(id, value));
        // The other identifiers keep their factory values.
        for (const QString other : {"1", "2", "3", "4"}) {
            result.clear();
            QVERIFY(Run(QStringLiteral("PTS/GetCalibrationValue"), QStringLiteral("CalibrationID=") + other, &result));
            QCOMPARE(result.Value("CalibrationValue"), other == id ? value : QStringLiteral("0"));
        }
    }

    void statusTexts_reachLastError()
    {
        TKeyValueList result;
        QVERIFY(!Run(QStringLiteral("PTS/GetMeasurementValue"), QStringLiteral("MeasurementID=9"), &result));
        QCOMPARE(m_node->LastError(), QStringLiteral("value not available"));
        QVERIFY(!Run(QStringLiteral("PTS/GetCalibrationValue"), QStringLiteral("CalibrationID=5"), &result));
        QCOMPARE(m_node->LastError(), QStringLiteral("value not available"));
        QVERIFY(!Run(QStringLiteral("PTS/SetCalibrationValue"), QStringLiteral("CalibrationID=5 CalibrationValue=1")));
        QCOMPARE(m_node->LastError(), QStringLiteral("wrong parameter"));
        Sim().SetChannelBusy(true);
        QVERIFY(!Run(QStringLiteral("PTS/SendTestMessage"), QLatin1String(kRadio) + QStringLiteral(" Payload=01")));
        QCOMPARE(m_node->LastError(), QStringLiteral("media busy"));
        QVERIFY(!Run(QStringLiteral("PTS/SetRadioTestMode"), QStringLiteral("TestMode=1 ") + QLatin1String(kRadio)));
        QCOMPARE(m_node->LastError(), QStringLiteral("media busy"));
        Sim().SetChannelBusy(false);
        QVERIFY(Run(QStringLiteral("PTS/SetRadioTestMode"), QStringLiteral("TestMode=2 ") + QLatin1String(kRadio)));
        QVERIFY(!Run(QStringLiteral("PTS/SendTestMessage"), QLatin1String(kRadio) + QStringLiteral(" Payload=01")));
        QCOMPARE(m_node->LastError(), QStringLiteral("wrong device mode"));
        QVERIFY(result.isEmpty());
    }
};

TESSERA_TEST_MAIN(TestProduction)
#include "tst_production.moc"

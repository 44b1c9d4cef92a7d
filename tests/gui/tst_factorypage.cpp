#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QtTest>

#include "PageBench.h"
#include "gui/pages/TFactoryPage.h"
#include "tools/sim/TSimProductionSupport.h"

namespace {
constexpr quint8 kPts = 0xA1;
}

class TestFactoryPage : public QObject
{
    Q_OBJECT

    TPageBench m_bench;

private slots:
    void initTestCase() { TPageBench::Prepare(); }
    void cleanup() { m_bench.Release(); }

    void actions_sendExactRequests_data()
    {
        TPageBench::RequestColumns();
        QTest::newRow("set device id") << "Set Device ID" << QStringList{"DeviceID=0x12345678"} << false << quint8(0x03)
                                       << TPageBench::Bytes("78 56 34 12") << "OK - set the device ID (" << "DeviceID: 0x12345678";
        QTest::newRow("factory reset") << "Factory Reset" << QStringList() << true << quint8(0x05) << QByteArray() << "OK - restore the factory settings (" << "";
        QTest::newRow("set frequency offset") << "Set Frequency Offset" << QStringList{"FrequencyOffset=-1200"} << false << quint8(0x09)
                                              << TPageBench::Bytes("50 FB") << "OK - set the crystal frequency offset (" << "FrequencyOffset: -1200";
        QTest::newRow("get calibration value") << "Get Calibration Value" << QStringList{"CalibrationID=2", "CalibrationValue=n.a."}
                                               << false << quint8(0x0D) << TPageBench::Bytes("02 00") << "OK - read the calibration value (" << "CalibrationID: 2";
        QTest::newRow("set calibration value") << "Set Calibration Value" << QStringList{"CalibrationID=3", "CalibrationValue=-15"}
                                               << false << quint8(0x0B) << TPageBench::Bytes("03 00 F1 FF") << "OK - write the calibration value (" << "CalibrationID: 3; CalibrationValue: -15";
        QTest::newRow("get measurement value") << "Get Measurement Value" << QStringList{"MeasurementID=1"} << false << quint8(0x0F)
                                               << TPageBench::Bytes("01 00") << "OK - read the measurement (" << "MeasurementID: 1";
        QTest::newRow("set clock output") << "Set Clock Output" << QStringList{"ClockOutput=1", "ClockSource=1", "Prescaler=4", "Duration=600"}
                                          << false << quint8(0x11) << TPageBench::Bytes("01 01 04 00 58 02") << "OK - set the clock output (" << "ClockOutput: 1; ClockSource: 1; Prescaler: 4; Duration: 600";
        QTest::newRow("set gpio ports") << "Set GPIO Ports" << QStringList{"OutputMask=0x0003", "OutputLevels=0x0001"} << false << quint8(0x07)
                                        << TPageBench::Bytes("03 00 01 00") << "OK - drive the GPIO test pins (" << "OutputMask: 0x0003; OutputLevels: 0x0001";
        QTest::newRow("read pin levels") << "Read Pin Levels" << QStringList() << false << quint8(0x0F) << TPageBench::Bytes("04 00")
                                         << "OK - read the levels of the GPIO test pins (" << "MeasurementID: 4";
    }
    void actions_sendExactRequests()
    {
        QVERIFY(m_bench.Attach(QStringLiteral("module")));
        TFactoryPage page(QStringLiteral("Customer Settings"));
        m_bench.CheckRequest(page, kPts);
    }

    void results_everyStatusOfTheServiceIsShown_data()
    {
        QTest::addColumn<quint8>("status");
        QTest::addColumn<QString>("text");
        QTest::newRow("1") << quint8(1) << "The module answered: operation failed";
        QTest::newRow("2") << quint8(2) << "The module answered: command not supported";
        QTest::newRow("3") << quint8(3) << "The module answered: wrong parameter";
        QTest::newRow("4") << quint8(4) << "The module answered: wrong device mode";
        QTest::newRow("5") << quint8(5) << "The module answered: value not available";
        QTest::newRow("6") << quint8(6) << "The module answered: media busy";
        QTest::newRow("7") << quint8(7) << "The module answered: Unsupported ID(7)";
    }
    void results_everyStatusOfTheServiceIsShown()
    {
        QFETCH(quint8, status);
        QFETCH(QString, text);
        QVERIFY(m_bench.Attach(QStringLiteral("module")));
        TFactoryPage page(QStringLiteral("Customer Settings"));
        m_bench.Sim().ForceStatus(kPts, 0x0F, status);
        page.Button(QStringLiteral("Get Measurement Value"))->click();
        QCOMPARE(page.ResultLine()->text(), text);
        QCOMPARE(page.LastOutcome().Type(), TCommandOutcome::ModuleError);
    }

    void values_roundTripThroughTheModule()
    {
        TRadioController* device = m_bench.Attach(QStringLiteral("module"));
        QVERIFY(device);
        TFactoryPage page(QStringLiteral("Customer Settings"));
        // The identifier discovery read is shown, typed the way the page takes it.
        QCOMPARE(TPageBench::Shown(page, QStringLiteral("DeviceID")), QStringLiteral("0x0042A1C7"));

        TPageBench::Enter(page, {"CalibrationID=3", "CalibrationValue=-15"});
        page.Button(QStringLiteral("Set Calibration Value"))->click();
        TPageBench::Enter(page, {"CalibrationValue=n.a."});
        page.Button(QStringLiteral("Get Calibration Value"))->click();
        QCOMPARE(TPageBench::Shown(page, QStringLiteral("CalibrationValue")), QStringLiteral("-15"));
        // An identifier the module does not know: its own word for it.
        TPageBench::Enter(page, {"CalibrationID=9"});
        page.Button(QStringLiteral("Get Calibration Value"))->click();
        QCOMPARE(page.ResultLine()->text(), QStringLiteral("The module answered: value not available"));

        TPageBench::Enter(page, {"MeasurementID=2"});
        page.Button(QStringLiteral("Get Measurement Value"))->click();
        QCOMPARE(TPageBench::Shown(page, QStringLiteral("MeasurementValue")), QString::number(TSimProductionSupport::kTemperatureTenthC));

        // What SetGPIOPorts drives is read back from the pins.
        TPageBench::Enter(page, {"OutputMask=0x0003", "OutputLevels=0x0002"});
        page.Button(QStringLiteral("Set GPIO Ports"))->click();
        page.Button(QStringLiteral("Read Pin Levels"))->click();
        QCOMPARE(qobject_cast<QLineEdit*>(page.Group(QStringLiteral("GPIO Ports"))->Editor(2))->text(), QStringLiteral("0x0002"));

        TPageBench::Enter(page, {"DeviceID=0x00C0FFEE"});
        page.Button(QStringLiteral("Set Device ID"))->click();
        TKeyValueList info;
        QVERIFY(TPageBench::Exec(*device, QStringLiteral("DeviceMgmt/GetDeviceInfo"), {}, &info));
        QCOMPARE(info.Value(QStringLiteral("DeviceID")), QStringLiteral("00C0FFEE"));

        // Declined, the factory reset sends nothing and the calibration stays.
        const quint32 sent = device->Link()->FramesSent();
        TPageBench::AnswerNextQuestion(QMessageBox::No);
        page.Button(QStringLiteral("Factory Reset"))->click();
        QCOMPARE(device->Link()->FramesSent(), sent);
        TPageBench::AnswerNextQuestion(QMessageBox::Yes);
        page.Button(QStringLiteral("Factory Reset"))->click();
        TPageBench::Enter(page, {"CalibrationID=3"});
        page.Button(QStringLiteral("Get Calibration Value"))->click();
        QCOMPARE(TPageBench::Shown(page, QStringLiteral("CalibrationValue")), QStringLiteral("0"));
    }

    void input_refusedBeforeAnythingIsSent_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<QStringList>("entries");
        QTest::addColumn<QString>("refusal");
        QTest::newRow("short device id") << "Set Device ID" << QStringList{"DeviceID=0x1234"}
                                         << "Not sent: Device ID - incomplete: fill in every position";
        QTest::newRow("offset too large") << "Set Frequency Offset" << QStringList{"FrequencyOffset=40000"}
                                          << "Not sent: Frequency Offset - 40000 is outside -32768 to 32767";
        QTest::newRow("calibration value missing") << "Set Calibration Value" << QStringList{"CalibrationValue=n.a."}
                                                   << "Not sent: Calibration Value - enter a number from -32768 to 32767";
        QTest::newRow("no clock source") << "Set Clock Output" << QStringList{"ClockOutput=1", "Prescaler=2"}
                                         << "Not sent: Clock Source - choose a value";
    }
    void input_refusedBeforeAnythingIsSent()
    {
        QFETCH(QString, button);
        QFETCH(QStringList, entries);
        QFETCH(QString, refusal);
        TRadioController* device = m_bench.Attach(QStringLiteral("module"));
        QVERIFY(device);
        TFactoryPage page(QStringLiteral("Customer Settings"));
        TPageBench::Enter(page, entries);
        const quint32 sent = device->Link()->FramesSent();
        page.Button(button)->click();
        QCOMPARE(page.ResultLine()->text(), refusal);
        QCOMPARE(device->Link()->FramesSent(), sent);
    }
};

TESSERA_PAGE_TEST_MAIN(TestFactoryPage)

#include "tst_factorypage.moc"

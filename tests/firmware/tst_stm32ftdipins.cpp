#include <QFile>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include "TestEnvironment.h"
#include "firmware/TFtdiPins.h"

// The FTDI pin control cannot be exercised without the hardware; what runs here is its behaviour
// when there is not exactly one device, and the wait for the serial port to come back.
class TestStm32FtdiPins : public QObject
{
    Q_OBJECT

private slots:
    void setPins_withoutSingleDevice_failsWithText()
    {
        TFtdiPins pins;
        const int count = pins.CountDevices();
        if (count == 1)
            QSKIP("one FTDI device is attached: the test would drive its pins");
        const int result = pins.SetPins(0xC8);
        const int expected = count < 0 ? TFtdiPins::ListFailed : count >= 2 ? TFtdiPins::TooManyDevices : TFtdiPins::OpenFailed;
        QCOMPARE(result, expected);
        QVERIFY2(pins.ErrorText().startsWith(QStringLiteral("error - ")), qPrintable(pins.ErrorText()));
        if (count == 0)
            QVERIFY2(pins.ErrorText().contains(QStringLiteral("no FTDI device attached")), qPrintable(pins.ErrorText()));
    }

    void waitForPort()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString path = dir.filePath(QStringLiteral("ttyUSB-test"));
        QVERIFY(!TFtdiPins::WaitForPort(path, 100));

        // The port returns while we wait: the event loop keeps running meanwhile.
        bool timerRan = false;
        QTimer::singleShot(150, [&]() {
            timerRan = true;
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
        });
        QVERIFY(TFtdiPins::WaitForPort(path, TFtdiPins::kPortReturnTimeoutMs));
        QVERIFY(timerRan);
        QVERIFY(TFtdiPins::WaitForPort(path, 0));
    }
};

TESSERA_TEST_MAIN(TestStm32FtdiPins)
#include "tst_stm32ftdipins.moc"

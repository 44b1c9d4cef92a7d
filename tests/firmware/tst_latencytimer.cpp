#include <QTemporaryDir>
#include <QtTest>

#include "TestEnvironment.h"
#include "firmware/TLatencyTimer.h"

// The latency timer of a USB serial bridge, against a stand-in for the kernel's device attributes.
class TestLatencyTimer : public QObject
{
    Q_OBJECT

    QTemporaryDir m_root;

    QString Attribute(const QString& device) const
    {
        return m_root.filePath(QStringLiteral("bus/usb-serial/devices/") + device + QStringLiteral("/latency_timer"));
    }
    bool MakeAttribute(const QString& device, const QByteArray& value)
    {
        QDir().mkpath(QFileInfo(Attribute(device)).path());
        QFile file(Attribute(device));
        return file.open(QIODevice::WriteOnly) && file.write(value) == value.size();
    }
    QByteArray Value(const QString& device) const
    {
        QFile file(Attribute(device));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<none>");
    }

private slots:
    void lowerAndRestore()
    {
        QVERIFY(MakeAttribute(QStringLiteral("ttyUSB3"), "16\n"));
        {
            TLatencyTimer timer(m_root.path());
            QCOMPARE(timer.Lower(QStringLiteral("/dev/ttyUSB3")), TLatencyTimer::Lowered);
            QCOMPARE(timer.Text(), QStringLiteral("info - latency timer of ttyUSB3 lowered from 16 ms to 1 ms for the update"));
            QCOMPARE(Value(QStringLiteral("ttyUSB3")), QByteArray("1"));
            QVERIFY(timer.Restore());
            QCOMPARE(Value(QStringLiteral("ttyUSB3")), QByteArray("16"));
            QCOMPARE(timer.Text(), QStringLiteral("info - latency timer put back to 16 ms"));

            // A port name without /dev/ names the same bridge; the destructor puts the value back.
            QCOMPARE(timer.Lower(QStringLiteral("ttyUSB3"), 2), TLatencyTimer::Lowered);
            QCOMPARE(Value(QStringLiteral("ttyUSB3")), QByteArray("2"));
        }
        QCOMPARE(Value(QStringLiteral("ttyUSB3")), QByteArray("16"));
    }

    void portsWithoutATimer_areNoError()
    {
        TLatencyTimer timer(m_root.path());
        QCOMPARE(timer.Lower(QStringLiteral("/dev/pts/7")), TLatencyTimer::NotApplicable);
        QCOMPARE(timer.Text(), QStringLiteral("info - /dev/pts/7 has no latency timer to lower (no FTDI USB serial port)"));
        QVERIFY(timer.Restore());

        QVERIFY(MakeAttribute(QStringLiteral("ttyUSB4"), "1\n"));
        QCOMPARE(timer.Lower(QStringLiteral("/dev/ttyUSB4")), TLatencyTimer::Lowered);
        QCOMPARE(timer.Text(), QStringLiteral("info - latency timer of ttyUSB4 is 1 ms already"));
    }

    void unwritableTimer_isAWarning()
    {
        // A kernel attribute that reads but refuses every write, for root as for anyone.
        QDir().mkpath(QFileInfo(Attribute(QStringLiteral("ttyUSB5"))).path());
        QVERIFY(QFile::link(QStringLiteral("/proc/version"), Attribute(QStringLiteral("ttyUSB5"))));
        const QByteArray before = Value(QStringLiteral("ttyUSB5"));
        TLatencyTimer timer(m_root.path());
        QCOMPARE(timer.Lower(QStringLiteral("/dev/ttyUSB5")), TLatencyTimer::Failed);
        QVERIFY2(timer.Text().startsWith(QStringLiteral("warning - couldn't lower the latency timer of ttyUSB5 from ")), qPrintable(timer.Text()));
        QVERIFY2(timer.Text().contains(QStringLiteral(" ms to 1 ms (") + Attribute(QStringLiteral("ttyUSB5")) + QStringLiteral(": ")),
                 qPrintable(timer.Text()));
        QVERIFY(timer.Text().endsWith(QStringLiteral("the update runs, but slower; a udev rule such as ACTION==\"add\", SUBSYSTEM==\"usb-serial\", "
                                                     "DRIVER==\"ftdi_sio\", ATTR{latency_timer}=\"1\" sets it for good")));
        QCOMPARE(Value(QStringLiteral("ttyUSB5")), before);
        QVERIFY(timer.Restore());   // nothing was lowered, nothing to put back
    }
};

TESSERA_TEST_MAIN(TestLatencyTimer)
#include "tst_latencytimer.moc"

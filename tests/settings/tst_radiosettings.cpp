#include <QtTest>

#include "TestEnvironment.h"
#include "settings/TSettings.h"

namespace {
QString Text(const TRadioTestSettings& r)
{
    return QStringLiteral("%1 %2 %3 %4 %5 %6 %7 [%8] %9 %10")
        .arg(r.testMode).arg(r.powerLevel).arg(r.modulation).arg(r.frequency).arg(r.bandwidth).arg(r.spreading).arg(r.errorCoding)
        .arg(r.payload).arg(r.repeatCount).arg(r.repeatIntervalMs);
}
}

class TestRadioSettings : public QObject
{
    Q_OBJECT

private slots:
    void radioFields_defaultsWritesAndARestart()
    {
        TSettings& s = TSettings::Instance();
        QFile::remove(s.SettingsFilePath());
        const QString defaults = QStringLiteral("0 14 0 14245888 0 7 1 [01 02 03 04 05 06 07 08] 100 1000");
        QCOMPARE(Text(s.RadioTest()), defaults);
        s.SetRadioTest({3, -2, 1, 14254080, 2, 12, 4, QStringLiteral("CA FE 00 FF"), 250, 40});
        QVERIFY(s.ErrorText().isEmpty());
        QFile file(s.SettingsFilePath());
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray text = file.readAll();
        file.close();
        QVERIFY2(text.contains("[Radio]\nBandwidth=2\nErrorCoding=4\nFrequency=14254080\nModulation=1\nPayload=CA FE 00 FF\n"
                               "PowerLevel=-2\nRepeatCount=250\nRepeatInterval=40\nSpreading=12\nTestMode=3\n"), text.constData());

        // A restarted studio reads the file afresh: the file goes, the defaults return, it comes back.
        QFile::remove(s.SettingsFilePath());
        QCOMPARE(Text(s.RadioTest()), defaults);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text);
        file.close();
        QCOMPARE(Text(s.RadioTest()), QStringLiteral("3 -2 1 14254080 2 12 4 [CA FE 00 FF] 250 40"));
        s.WriteValue(QStringLiteral("Radio"), QStringLiteral("Spreading"), QStringLiteral("SF9"));
        QCOMPARE(s.RadioTest().spreading, 7);   // not a number: the default
    }
};

TESSERA_TEST_MAIN(TestRadioSettings)
#include "tst_radiosettings.moc"

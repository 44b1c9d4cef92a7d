#include <QtTest>

#include "TestEnvironment.h"
#include "settings/TSettings.h"

namespace {
QString FileText()
{
    QFile file(TSettings::Instance().SettingsFilePath());
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

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
    void init() { QFile::remove(TSettings::Instance().SettingsFilePath()); }

    void radioFields_defaultsAndGarbage()
    {
        TSettings& s = TSettings::Instance();
        QCOMPARE(Text(s.RadioTest()), QStringLiteral("0 14 0 14245888 0 7 1 [01 02 03 04 05 06 07 08] 100 1000"));
        s.WriteValue(QStringLiteral("Radio"), QStringLiteral("Spreading"), QStringLiteral("SF9"));
        s.WriteValue(QStringLiteral("Radio"), QStringLiteral("PowerLevel"), QStringLiteral(" -3 "));
        QCOMPARE(s.RadioTest().spreading, 7);
        QCOMPARE(s.RadioTest().powerLevel, -3);
    }

    void radioFields_surviveARestart()
    {
        TSettings& s = TSettings::Instance();
        TRadioTestSettings radio;
        radio.testMode = 3;
        radio.powerLevel = -2;
        radio.modulation = 1;
        radio.frequency = 14254080;
        radio.bandwidth = 2;
        radio.spreading = 12;
        radio.errorCoding = 4;
        radio.payload = QStringLiteral("CA FE 00 FF");
        radio.repeatCount = 250;
        radio.repeatIntervalMs = 40;
        s.SetRadioTest(radio);
        QVERIFY(s.ErrorText().isEmpty());
        QVERIFY2(FileText().contains(QStringLiteral("[Radio]\nBandwidth=2\nErrorCoding=4\nFrequency=14254080\nModulation=1\nPayload=CA FE 00 FF\n"
                                                    "PowerLevel=-2\nRepeatCount=250\nRepeatInterval=40\nSpreading=12\nTestMode=3\n")),
                 qPrintable(FileText()));

        // A restarted studio reads the file afresh: the same file read by a new reader.
        const QString text = FileText();
        QFile::remove(s.SettingsFilePath());
        QCOMPARE(Text(s.RadioTest()), QStringLiteral("0 14 0 14245888 0 7 1 [01 02 03 04 05 06 07 08] 100 1000"));
        QFile file(s.SettingsFilePath());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text.toUtf8());
        file.close();
        QCOMPARE(Text(s.RadioTest()), QStringLiteral("3 -2 1 14254080 2 12 4 [CA FE 00 FF] 250 40"));
    }
};

TESSERA_TEST_MAIN(TestRadioSettings)
#include "tst_radiosettings.moc"

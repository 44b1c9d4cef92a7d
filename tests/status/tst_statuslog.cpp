#include <QSignalSpy>
#include <QtTest>

#include "TestEnvironment.h"
#include "status/TStatusLevel.h"
#include "status/TStatusLog.h"
#include "status/TTableLog.h"
#include "settings/TSettings.h"

class TestStatusLog : public QObject
{
    Q_OBJECT
private slots:
    // First: the log must not exist yet.
    void settingsWarnings_reachTheLogOnceWhenTheEventLoopRuns()
    {
        TSettings& settings = TSettings::Instance();
        settings.WriteValue(QStringLiteral("GUI"), QStringLiteral("StatusBoxLocation"), QStringLiteral("5"));
        QCOMPARE(settings.StatusBoxLocation(), 2);   // before the log exists: the warning waits
        TStatusLog& log = TStatusLog::Instance();
        QSignalSpy lines(&log, &TStatusLog::EvLine);
        QCOMPARE(settings.StatusBoxLocation(), 2);
        QCOMPARE(lines.count(), 0);
        QTRY_COMPARE(lines.count(), 1);
        QVERIFY2(lines.at(0).at(0).toString().endsWith(QStringLiteral(";Settings:warning - invalid value \"5\" of GUI/StatusBoxLocation in the "
                                                                        "settings file %1: using the default \"2\"").arg(settings.SettingsFilePath())),
                 qPrintable(lines.at(0).at(0).toString()));
        QCOMPARE(settings.StatusBoxLocation(), 2);
        QCOMPARE(lines.count(), 1);
    }

    void lineFormats()
    {
        const QDateTime when(QDate(2024, 1, 31), QTime(12, 0, 0, 7));
        QCOMPARE(TStatusLog::FormatLine(QStringLiteral("hello"), when, false), QStringLiteral("31.01.2024;12:00:00.007;hello"));
        QCOMPARE(TStatusLog::FormatLine(QStringLiteral("hello"), when, true), QStringLiteral("2024-01-31;12:00:00.007;hello"));
        QCOMPARE(TStatusLog::LogFileName(when), QStringLiteral("Velto_LoRaWAN_Tessera_31012024_120000.log"));
        QCOMPARE(TStatusLog::LogFileName(when, QStringLiteral("HCI")), QStringLiteral("Velto_LoRaWAN_Tessera_31012024_120000_HCI.log"));
        QCOMPARE(TTableLog::FileName(QStringLiteral("/logs"), QStringLiteral("RxTable"), when),
                 QStringLiteral("/logs//RxTable_2024-01-31_12-00-00.log"));
        QCOMPARE(TTableLog::FileName(QStringLiteral("/logs"), QStringLiteral("RxTable"), when, QStringLiteral("x")),
                 QStringLiteral("/logs//RxTable_2024-01-31_12-00-00_x.log"));
        QCOMPARE(TStatusLog::FormatDuration(59), QStringLiteral("0 minute(s) 59 second(s)"));
        QCOMPARE(TStatusLog::FormatDuration(3 * 3600 + 61), QStringLiteral("3 hour(s) 1 minute(s) 1 second(s)"));
        QCOMPARE(TStatusLog::FormatDuration(2 * 86400 + 3 * 3600 + 4 * 60 + 5), QStringLiteral("2 day(s) 3 hour(s) 4 minute(s) 5 second(s)"));
    }

    void sourcesAndRecords()
    {
        TStatusLog& log = TStatusLog::Instance();
        QSignalSpy lines(&log, &TStatusLog::EvLine);
        log.AddStatusMessage(QStringLiteral("Device Information"), QStringLiteral("error - no local device selected"));
        TKeyValueList record;
        record.Append(QStringLiteral("FWVersion"), QStringLiteral("V2.4"));
        record.Append(QStringLiteral("BuildCount"), qint64(117));
        log.AddStatusRecords(QStringLiteral("COM3"), record);
        log.AddRawMessage(QStringLiteral("COM3"), QStringLiteral("C0 01"));
        QCOMPARE(lines.count(), 3);
        QVERIFY(lines.at(0).at(0).toString().endsWith(QStringLiteral(";Device Information:error - no local device selected")));
        QVERIFY(lines.at(1).at(0).toString().endsWith(QStringLiteral(";COM3:FWVersion: V2.4; BuildCount: 117")));
        QVERIFY(lines.at(2).at(0).toString().endsWith(QStringLiteral(";COM3:<<<C0 01>>>")));
    }

    void limit_the100001stLineStartsAgain()
    {
        TStatusLog& log = TStatusLog::Instance();
        log.Clear();
        QSignalSpy cleared(&log, &TStatusLog::EvCleared);
        for (int i = 0; i < TStatusLog::kMaxLines; ++i)
            log.AddStatusLine(QStringLiteral("x"));
        QCOMPARE(log.LineCount(), 100000);
        QCOMPARE(cleared.count(), 0);
        log.AddStatusLine(QStringLiteral("one more"));
        QCOMPARE(cleared.count(), 1);
        QCOMPARE(log.LineCount(), 1);
    }

    void logFile_everyLineFlushed()
    {
        QTemporaryDir dir;
        TStatusLog& log = TStatusLog::Instance();
        QSignalSpy changed(&log, &TStatusLog::EvLogFileChanged);
        const QString path = dir.filePath(QStringLiteral("status.log"));
        QVERIFY(log.OpenLogFile(path));
        log.AddStatusLine(QStringLiteral("first äöü"));
        log.AddStatusLine(QStringLiteral("second"));
        // Read while the file is still open: nothing may wait in a buffer.
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QStringList content = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
        QCOMPARE(content.size(), 4);
        QVERIFY(content.at(0).endsWith(QStringLiteral(";log file opened: ") + path));
        QVERIFY(content.at(1).endsWith(QStringLiteral(";first äöü")));
        QVERIFY(content.at(2).endsWith(QStringLiteral(";second")));
        QCOMPARE(content.at(3), QString());
        log.CloseLogFile();
        QCOMPARE(changed.last().at(0).toString(), QStringLiteral("n.a."));
        QVERIFY(!log.IsLogFileOpen());

        QSignalSpy lines(&log, &TStatusLog::EvLine);
        const QString bad = dir.filePath(QStringLiteral("missing/dir/x.log"));
        QVERIFY(!log.OpenLogFile(bad));
        QVERIFY(lines.last().at(0).toString().endsWith(QStringLiteral(";error - couldn't open log file: ") + bad));
        QVERIFY(log.OpenAutoLogFile(dir.path(), QStringLiteral("auto")));
        QVERIFY(log.LogFilePath().endsWith(QStringLiteral("_auto.log")));
        log.CloseLogFile();
    }

    void separator_writtenToTheFileButNotCounted()
    {
        QTemporaryDir dir;
        TStatusLog& log = TStatusLog::Instance();
        log.Clear();
        const QString path = dir.filePath(QStringLiteral("status.log"));
        QVERIFY(log.OpenLogFile(path));
        log.AddStatusLine(QString(160, QLatin1Char('-')));
        log.AddStatusLine(QStringLiteral("COM3:DeviceMgmt:Command:Get RTC"));
        log.AddStatusLine(QStringLiteral("--"));   // too short to be the mark: a line like any other
        QCOMPARE(log.LineCount(), 3);   // "log file opened", the command, "--"
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QStringList content = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
        QCOMPARE(content.size(), 5);
        QVERIFY(content.at(1).endsWith(QLatin1Char(';') + QString(160, QLatin1Char('-'))));
        log.CloseLogFile();
        QVERIFY(TStatusLog::IsSeparator(QStringLiteral("---")));
        QVERIFY(!TStatusLog::IsSeparator(QStringLiteral("--- x")));
    }

    void level_ofEachKindOfLine_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("level");
        QTest::newRow("module error") << "COM3:RadioController:DeviceMgmt:Result: ERROR - wrong parameter" << int(TStatusLevel::Error);
        QTest::newRow("studio error") << "Device Information:error - no local device selected" << int(TStatusLevel::Error);
        QTest::newRow("config error") << "Error - couldn't load configuration file: x.json" << int(TStatusLevel::Error);
        QTest::newRow("crc") << "COM3:VeltoLRHCI:CRC Error" << int(TStatusLevel::Error);
        QTest::newRow("warning") << "Device HCI Settings:warning - not sent: Baud Rate - choose a value" << int(TStatusLevel::Warning);
        QTest::newRow("command") << "COM3:RadioController:DeviceMgmt:Command:Get RTC" << int(TStatusLevel::Protocol);
        QTest::newRow("result") << "COM3:RadioController:DeviceMgmt:Result: OK" << int(TStatusLevel::Protocol);
        QTest::newRow("record") << "COM3:RadioController:DeviceMgmt:DeviceType: Velto LR USB Stick; DeviceID: 0042A1C7" << int(TStatusLevel::Protocol);
        QTest::newRow("counter named error") << "COM3:DeviceMgmt:TxError: 0; RadioNumRxCRCErrors: 0" << int(TStatusLevel::Protocol);
        QTest::newRow("raw") << "COM3:<<<C0 01 02>>>" << int(TStatusLevel::Protocol);
        QTest::newRow("separator") << QString(160, QLatin1Char('-')) << int(TStatusLevel::Protocol);
        QTest::newRow("found") << "DeviceMgmt:new radio detected on: COM3" << int(TStatusLevel::Info);
        QTest::newRow("opened") << "COM3:VeltoLRHCI:ComPort COM3 opened with 115200 bps, 40 wakeup chars" << int(TStatusLevel::Info);
        QTest::newRow("loaded") << "Configuration file: /x/DeviceConfig.json successfully loaded!" << int(TStatusLevel::Info);
    }
    void level_ofEachKindOfLine()
    {
        QFETCH(QString, text);
        QFETCH(int, level);
        QCOMPARE(int(TStatusLevel::Of(text)), level);
        QCOMPARE(int(TStatusLevel::Of(TStatusLog::FormatLine(text, QDateTime(QDate(2024, 1, 31), QTime(12, 0)), true))), level);
    }

    void port_mentionedAsAWholeName()
    {
        QVERIFY(TStatusLevel::MentionsPort(QStringLiteral("/dev/pts/1:DeviceMgmt:Result: OK"), QStringLiteral("/dev/pts/1")));
        QVERIFY(!TStatusLevel::MentionsPort(QStringLiteral("/dev/pts/12:DeviceMgmt:Result: OK"), QStringLiteral("/dev/pts/1")));
        QVERIFY(TStatusLevel::MentionsPort(QStringLiteral("x /dev/pts/12 and /dev/pts/1"), QStringLiteral("/dev/pts/1")));
        QVERIFY(TStatusLevel::MentionsPort(QStringLiteral("radio disconnected on: COM3"), QStringLiteral("COM3")));
        QVERIFY(!TStatusLevel::MentionsPort(QStringLiteral("radio disconnected on: COM31"), QStringLiteral("COM3")));
        QVERIFY(!TStatusLevel::MentionsPort(QStringLiteral("anything"), QString()));
    }

    void tableLog_rows()
    {
        QTemporaryDir dir;
        TTableLog table;
        QVERIFY(table.Open(dir.filePath(QStringLiteral("t.log"))));
        table.WriteRow({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")});
        table.WriteRow({QStringLiteral("d")});
        QFile file(dir.filePath(QStringLiteral("t.log")));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("a;b;c\nd\n"));
    }
};

TESSERA_TEST_MAIN(TestStatusLog)
#include "tst_statuslog.moc"

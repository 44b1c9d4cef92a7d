#include <QApplication>
#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include "TestEnvironment.h"
#include "app/TMainWindow.h"
#include "sap/TLoRaWANConfig.h"
#include "settings/TSettings.h"
#include "status/TStatusLog.h"

/// The studio says a configuration file is loaded only when it is: for the LoRaWAN band file that
/// means parsed and valid, and the pages then find its bands through TLoRaWANConfig.
class TestConfigFiles : public QObject
{
    Q_OBJECT
private slots:
    void lorawanFile_statusLine_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("outcome");
        QTest::newRow("shipped") << QByteArray() << " successfully loaded!";
        QTest::newRow("missing") << QByteArray("-") << " - file not found";
        QTest::newRow("broken") << QByteArray("{\n  \"FileVersion\": \"1.0\"\n  \"SupportedBands\": []\n}\n")
                                << " - JSON syntax error at line 3, column 3: unterminated object";
        QTest::newRow("not valid") << QByteArray("{\"FileVersion\": \"1.0\", \"DataRates\": {}}") << " - DataRates: at least one data rate is expected";
    }
    void lorawanFile_statusLine()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, outcome);
        QTemporaryDir dir;
        QString path = QDir::cleanPath(QStringLiteral(TESSERA_TEST_DATA "/../../../resources/config/Velto_LoRaWAN_Config.json"));
        if (!content.isEmpty()) {
            path = dir.filePath(QStringLiteral("Velto_LoRaWAN_Config.json"));
            QFile file(path);
            if (content != "-") {
                QVERIFY(file.open(QIODevice::WriteOnly));
                file.write(content);
            }
        }
        TSettings::Instance().WriteValue(QStringLiteral("LoRaWANConfig"), QStringLiteral("Configuration"), path);
        QSignalSpy lines(&TStatusLog::Instance(), &TStatusLog::EvLine);
        TMainWindow window;
        QStringList reports;
        for (const QList<QVariant>& line : lines)
            if (line.first().toString().contains(path))
                reports << line.first().toString().section(QLatin1Char(';'), 2);
        const bool loaded = outcome.startsWith(QLatin1String(" successfully"));
        QCOMPARE(reports, QStringList{(loaded ? QStringLiteral("Configuration file: ") : QStringLiteral("Error - couldn't load configuration file: ")) + path + outcome});
        QCOMPARE(TLoRaWANConfig::Instance().IsAvailable(), loaded);
        QCOMPARE(TLoRaWANConfig::Instance().BandName(7), loaded ? QStringLiteral("AS923-1") : QStringLiteral("n.a."));
    }
};

TESSERA_TEST_MAIN_WITH(QApplication, TestConfigFiles)
#include "tst_configfiles.moc"

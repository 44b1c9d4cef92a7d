#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include "TestEnvironment.h"
#include "settings/TShippedFiles.h"

class TestShippedFiles : public QObject
{
    Q_OBJECT
private slots:
    void directory_besideInstalledOrProgram_data()
    {
        QTest::addColumn<QString>("marker");     // where the settings template lies, below the root
        QTest::addColumn<QString>("expected");   // the directory found, below the root
        QTest::newRow("build tree") << QStringLiteral("bin") << QStringLiteral("bin/");
        QTest::newRow("installed") << QStringLiteral("share/tessera") << QStringLiteral("share/tessera/");
        QTest::newRow("both: beside wins") << QStringLiteral("bin,share/tessera") << QStringLiteral("bin/");
        QTest::newRow("system data directory") << QStringLiteral("data/tessera") << QStringLiteral("data/tessera/");
        QTest::newRow("nowhere") << QString() << QStringLiteral("bin/");
    }
    void directory_besideInstalledOrProgram()
    {
        QFETCH(QString, marker);
        QFETCH(QString, expected);
        QTemporaryDir root;
        QVERIFY(QDir(root.path()).mkpath(QStringLiteral("bin")));
        for (const QString& folder : marker.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
            QVERIFY(QDir(root.path()).mkpath(folder));
            QFile file(root.filePath(folder + QStringLiteral("/Velto_LoRaWAN_Tessera.ini")));
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
        qputenv("XDG_DATA_DIRS", root.filePath(QStringLiteral("data")).toLocal8Bit());
        QCOMPARE(TShippedFiles::DirectoryFor(root.filePath(QStringLiteral("bin"))), root.path() + QLatin1Char('/') + expected);
    }
};

TESSERA_TEST_MAIN(TestShippedFiles)
#include "tst_shippedfiles.moc"

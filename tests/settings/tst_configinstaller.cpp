#include <QSignalSpy>
#include <QtTest>

#include "TestEnvironment.h"
#include "settings/TConfigInstaller.h"

namespace {
void Write(const QString& path, const QByteArray& content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
}
QByteArray Read(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
QStringList Messages(const QSignalSpy& spy)
{
    QStringList texts;
    for (const auto& args : spy)
        texts << args.at(0).toString();
    return texts;
}
}

class TestConfigInstaller : public QObject
{
    Q_OBJECT
private slots:
    void versions_data()
    {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<bool>("newer");
        QTest::newRow("minor") << "0.2" << "0.1" << true;
        QTest::newRow("numeric parts") << "0.10" << "0.9" << true;
        QTest::newRow("equal") << "1.2" << "1.2" << false;
        QTest::newRow("extra part") << "1.2.1" << "1.2" << true;
        QTest::newRow("older") << "1.1" << "1.2" << false;
        QTest::newRow("number beats default") << "0.1" << "default" << true;
        QTest::newRow("default never newer") << "default" << "0.1" << false;
        QTest::newRow("default vs default") << "default" << "default" << false;
    }
    void versions()
    {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QFETCH(bool, newer);
        QCOMPARE(TConfigInstaller::IsNewer(a, b), newer);
    }

    void install_copyReplaceKeepOld()
    {
        QTemporaryDir program, user;
        const QString data = user.filePath(QStringLiteral("Haldor/Velto_LoRaWAN_Tessera/"));
        Write(program.filePath(QStringLiteral("Velto_LoRaWAN_Config.json")), "{\"FileVersion\":\"0.2\",\"x\":1}");
        Write(program.filePath(QStringLiteral("Velto_LoRaWAN_Config_US.json")), "{\"FileVersion\":\"0.1\"}");
        Write(program.filePath(QStringLiteral("Other.json")), "{}");
        Write(program.filePath(QStringLiteral("Velto_LoRaWAN_Tessera.ini")), "[FileVersion]\nVersion=1.1\n");
        const QStringList files = TConfigInstaller::ShippedFiles(program.path());
        QCOMPARE(files, (QStringList{"Velto_LoRaWAN_Config.json", "Velto_LoRaWAN_Config_US.json", "Velto_LoRaWAN_Tessera.ini"}));

        TConfigInstaller installer;
        QSignalSpy messages(&installer, &TConfigInstaller::EvShowMessage);
        installer.Install(program.path(), files, data);
        QCOMPARE(Messages(messages).first(), QStringLiteral("creating directory:") + data);
        QVERIFY(Messages(messages).contains(QStringLiteral("copy file:") + program.filePath(QStringLiteral("Velto_LoRaWAN_Tessera.ini"))
                                            + QStringLiteral("  to user directory ") + data + QStringLiteral("Velto_LoRaWAN_Tessera.ini")));
        QCOMPARE(Read(data + QStringLiteral("Velto_LoRaWAN_Config.json")), QByteArray("{\"FileVersion\":\"0.2\",\"x\":1}"));

        // The user edits a copy; an equal or older shipped file leaves it alone.
        Write(data + QStringLiteral("Velto_LoRaWAN_Config.json"), "{\"FileVersion\":\"0.2\",\"mine\":1}");
        Write(data + QStringLiteral("Velto_LoRaWAN_Config_US.json"), "{\"FileVersion\":\"0.3\"}");
        messages.clear();
        installer.Install(program.path(), files, data);
        QVERIFY(messages.isEmpty());
        QCOMPARE(Read(data + QStringLiteral("Velto_LoRaWAN_Config.json")), QByteArray("{\"FileVersion\":\"0.2\",\"mine\":1}"));

        // A newer shipped file replaces it; the user's copy stays as "_old" (an older "_old" goes).
        Write(program.filePath(QStringLiteral("Velto_LoRaWAN_Config.json")), "{\"FileVersion\":\"0.10\"}");
        Write(data + QStringLiteral("Velto_LoRaWAN_Config.json_old"), "stale");
        Write(program.filePath(QStringLiteral("Velto_LoRaWAN_Tessera.ini")), "[FileVersion]\nVersion=1.2\n");
        installer.Install(program.path(), files, data);
        QCOMPARE(Read(data + QStringLiteral("Velto_LoRaWAN_Config.json")), QByteArray("{\"FileVersion\":\"0.10\"}"));
        QCOMPARE(Read(data + QStringLiteral("Velto_LoRaWAN_Config.json_old")), QByteArray("{\"FileVersion\":\"0.2\",\"mine\":1}"));
        QVERIFY(Messages(messages).contains(QStringLiteral("remove file:") + data + QStringLiteral("Velto_LoRaWAN_Config.json_old")));
        QVERIFY(Messages(messages).contains(QStringLiteral("rename file:") + data + QStringLiteral("Velto_LoRaWAN_Config.json  to  ") + data
                                            + QStringLiteral("Velto_LoRaWAN_Config.json_old")));
        QVERIFY(Read(data + QStringLiteral("Velto_LoRaWAN_Tessera.ini")).contains("Version=1.2"));
    }

    void fileVersion_brokenAndMissing()
    {
        QTemporaryDir dir;
        TConfigInstaller installer;
        QSignalSpy messages(&installer, &TConfigInstaller::EvShowMessage);
        QCOMPARE(installer.FileVersion(dir.filePath(QStringLiteral("none.json"))), QStringLiteral("default"));
        QCOMPARE(Messages(messages), QStringList{QStringLiteral("Couldn't open file: ") + dir.filePath(QStringLiteral("none.json"))});
        Write(dir.filePath(QStringLiteral("broken.json")), "{ \"FileVersion\": ");
        QCOMPARE(installer.FileVersion(dir.filePath(QStringLiteral("broken.json"))), QStringLiteral("default"));
        Write(dir.filePath(QStringLiteral("plain.json")), "{\"a\":1}");
        QCOMPARE(installer.FileVersion(dir.filePath(QStringLiteral("plain.json"))), QStringLiteral("default"));
        Write(dir.filePath(QStringLiteral("plain.ini")), "[Other]\nVersion=9\n");
        QCOMPARE(installer.FileVersion(dir.filePath(QStringLiteral("plain.ini"))), QStringLiteral("default"));
    }
};

TESSERA_TEST_MAIN(TestConfigInstaller)
#include "tst_configinstaller.moc"

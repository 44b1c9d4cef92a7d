#include <QSignalSpy>
#include <QtTest>

#include "TestEnvironment.h"
#include "settings/TConfigInstaller.h"
#include "settings/TSettings.h"

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
QStringList Messages(QSignalSpy& spy)
{
    QStringList texts;
    for (const auto& args : spy)
        texts << args.at(0).toString();
    spy.clear();
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
        QTest::newRow("parts are numbers, not text") << "0.10" << "0.9" << true;
        QTest::newRow("equal") << "1.2" << "1.2" << false;
        QTest::newRow("missing part is 0") << "1.2.0" << "1.2" << false;
        QTest::newRow("extra part") << "1.2.1" << "1.2" << true;
        QTest::newRow("older") << "1.1" << "1.2" << false;
        QTest::newRow("major wins") << "2.0" << "1.99" << true;
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

    void fileVersion_byExtension_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("version");
        QTest::addColumn<QString>("message");   // %1 = the file's path
        QTest::newRow("json text") << "a.json" << QByteArray("{\"FileVersion\":\"1.4.2\",\"x\":[]}") << "1.4.2" << "";
        QTest::newRow("json number") << "a.json" << QByteArray("{\"FileVersion\": 3}") << "3" << "";
        QTest::newRow("json without version") << "a.json" << QByteArray("{\"a\":1}") << "default" << "";
        QTest::newRow("json nested version only") << "a.json" << QByteArray("{\"a\":{\"FileVersion\":\"9\"}}") << "default" << "";
        QTest::newRow("json broken") << "a.json" << QByteArray("{ \"FileVersion\": ") << "default"
                                     << "warning - %1 is not a JSON object (unterminated object): its version reads as default";
        QTest::newRow("json array") << "a.json" << QByteArray("[1]") << "default"
                                    << "warning - %1 is not a JSON object (no object): its version reads as default";
        QTest::newRow("ini") << "a.ini" << QByteArray("[GUI]\nMainTheme=Berlin\n[FileVersion]\nVersion=0.7\n") << "0.7" << "";
        QTest::newRow("ini version elsewhere") << "a.ini" << QByteArray("[Other]\nVersion=9\n") << "default" << "";
        QTest::newRow("cfg") << "a.cfg" << QByteArray("FileVersion:1.0\nName:A;DstGroupAddress:1;DstDeviceAddress:2;Payload:\n") << "1.0" << "";
        QTest::newRow("cfg version below comments") << "a.cfg" << QByteArray("# note\r\n\r\n  FileVersion: 2.3 \r\nName:A\r\n") << "2.3" << "";
        QTest::newRow("cfg without version") << "a.cfg" << QByteArray("Name:A;FileVersion:9\n") << "default" << "";
        QTest::newRow("other extension") << "a.txt" << QByteArray("{\"FileVersion\":\"1\"}") << "default" << "";
    }
    void fileVersion_byExtension()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, content);
        QFETCH(QString, version);
        QFETCH(QString, message);
        QTemporaryDir dir;
        const QString path = dir.filePath(name);
        Write(path, content);
        TConfigInstaller installer;
        QSignalSpy messages(&installer, &TConfigInstaller::EvShowMessage);
        QCOMPARE(installer.FileVersion(path), version);
        QCOMPARE(Messages(messages), message.isEmpty() ? QStringList() : QStringList{message.arg(path)});
    }

    void fileVersion_unreadableJson()
    {
        QTemporaryDir dir;
        TConfigInstaller installer;
        QSignalSpy messages(&installer, &TConfigInstaller::EvShowMessage);
        const QString path = dir.filePath(QStringLiteral("none.json"));
        QCOMPARE(installer.FileVersion(path), QStringLiteral("default"));
        QCOMPARE(Messages(messages), QStringList{QStringLiteral("Couldn't open file:") + path});
    }

    void install_copyReplaceKeepOld()
    {
        QTemporaryDir program, user;
        const QString data = user.filePath(QStringLiteral("Haldor/Velto_LoRaWAN_Tessera/"));
        const QString json = QStringLiteral("Velto_LoRaWAN_Config.json"), us = QStringLiteral("Velto_LoRaWAN_Config_US.json"),
                      ini = QStringLiteral("Velto_LoRaWAN_Tessera.ini");
        Write(program.filePath(json), "{\"FileVersion\":\"0.2\",\"x\":1}");
        Write(program.filePath(us), "{\"FileVersion\":\"0.1\"}");
        Write(program.filePath(QStringLiteral("Other.json")), "{}");
        Write(program.filePath(QStringLiteral("Velto_LoRaWAN_Config.json.bak")), "{}");
        Write(program.filePath(ini), "[FileVersion]\nVersion=1.1\n");
        const QStringList files = TConfigInstaller::ShippedFiles(program.path());
        QCOMPARE(files, (QStringList{json, us, ini}));

        TConfigInstaller installer;
        QSignalSpy messages(&installer, &TConfigInstaller::EvShowMessage);
        QVERIFY(installer.Install(program.path(), files, data));
        auto copyLine = [&](const QString& name) {
            return QStringLiteral("copy file:") + program.filePath(name) + QStringLiteral("  to user directory ") + data + name;
        };
        QCOMPARE(Messages(messages), (QStringList{QStringLiteral("creating directory:") + data,
                                                  QStringLiteral("installation of config files:"), copyLine(json),
                                                  QStringLiteral("installation of config files:"), copyLine(us),
                                                  QStringLiteral("installation of config files:"), copyLine(ini)}));
        QCOMPARE(Read(data + json), QByteArray("{\"FileVersion\":\"0.2\",\"x\":1}"));
        QVERIFY(!QFile::exists(data + QStringLiteral("Other.json")));

        // The user edits the copies; an equal or older shipped file leaves them alone.
        Write(data + json, "{\"FileVersion\":\"0.2\",\"mine\":1}");
        Write(data + us, "{\"FileVersion\":\"0.3\"}");
        QVERIFY(installer.Install(program.path(), files, data));
        QCOMPARE(Messages(messages), QStringList());
        QCOMPARE(Read(data + json), QByteArray("{\"FileVersion\":\"0.2\",\"mine\":1}"));
        QCOMPARE(Read(data + us), QByteArray("{\"FileVersion\":\"0.3\"}"));

        // A newer shipped file replaces the copy, which stays as "_old"; an older "_old" goes first.
        Write(program.filePath(json), "{\"FileVersion\":\"0.10\"}");
        Write(data + json + QStringLiteral("_old"), "stale");
        Write(program.filePath(ini), "[FileVersion]\nVersion=1.2\n");
        QVERIFY(installer.Install(program.path(), files, data));
        QCOMPARE(Messages(messages), (QStringList{QStringLiteral("remove file:") + data + json + QStringLiteral("_old"),
                                                  QStringLiteral("rename file:") + data + json + QStringLiteral("  to  ") + data + json
                                                      + QStringLiteral("_old"),
                                                  copyLine(json),
                                                  QStringLiteral("rename file:") + data + ini + QStringLiteral("  to  ") + data + ini
                                                      + QStringLiteral("_old"),
                                                  copyLine(ini)}));
        QCOMPARE(Read(data + json), QByteArray("{\"FileVersion\":\"0.10\"}"));
        QCOMPARE(Read(data + json + QStringLiteral("_old")), QByteArray("{\"FileVersion\":\"0.2\",\"mine\":1}"));
        QCOMPARE(Read(data + ini), QByteArray("[FileVersion]\nVersion=1.2\n"));
        QCOMPARE(Read(data + ini + QStringLiteral("_old")), QByteArray("[FileVersion]\nVersion=1.1\n"));
    }

    void install_radioMessages_whenShipped()
    {
        QTemporaryDir program, user;
        const QString data = user.path() + QLatin1Char('/');
        const QString cfg = QString::fromLatin1(TConfigInstaller::kRadioMsgFile);
        const QString ini = QStringLiteral("Velto_LoRaWAN_Tessera.ini");
        QCOMPARE(TConfigInstaller::ShippedFiles(program.path()), QStringList{ini});
        Write(program.filePath(cfg), "FileVersion:1.0\nName:A;DstGroupAddress:1;DstDeviceAddress:2;Payload:\n");
        QCOMPARE(TConfigInstaller::ShippedFiles(program.path()), (QStringList{ini, cfg}));

        TConfigInstaller installer;
        QVERIFY(installer.Install(program.path(), {cfg}, data));
        QCOMPARE(Read(data + cfg), Read(program.filePath(cfg)));
        // The user's own messages stay until a newer list ships.
        Write(data + cfg, "FileVersion:1.0\nName:Mine;DstGroupAddress:1;DstDeviceAddress:2;Payload:\n");
        QVERIFY(installer.Install(program.path(), {cfg}, data));
        QCOMPARE(Read(data + cfg), QByteArray("FileVersion:1.0\nName:Mine;DstGroupAddress:1;DstDeviceAddress:2;Payload:\n"));
        Write(program.filePath(cfg), "FileVersion:1.1\n");
        QVERIFY(installer.Install(program.path(), {cfg}, data));
        QCOMPARE(Read(data + cfg), QByteArray("FileVersion:1.1\n"));
        QCOMPARE(Read(data + cfg + QStringLiteral("_old")), QByteArray("FileVersion:1.0\nName:Mine;DstGroupAddress:1;DstDeviceAddress:2;Payload:\n"));

        // The build puts the list beside the programs, with its version.
        QVERIFY(TConfigInstaller::ShippedFiles(QStringLiteral(TESSERA_BIN_DIR)).contains(cfg));
        QVERIFY(TConfigInstaller::IsNewer(installer.FileVersion(QStringLiteral(TESSERA_BIN_DIR "/") + cfg), QStringLiteral("default")));
    }

    void install_defaultVersions()
    {
        QTemporaryDir program, user;
        const QString data = user.path() + QLatin1Char('/');
        const QString name = QStringLiteral("Velto_LoRaWAN_Config.json");
        TConfigInstaller installer;
        QSignalSpy messages(&installer, &TConfigInstaller::EvShowMessage);

        // Neither carries a version: the user's copy stays.
        Write(program.filePath(name), "{\"shipped\":1}");
        Write(data + name, "{\"mine\":1}");
        QVERIFY(installer.Install(program.path(), {name}, data));
        QCOMPARE(Read(data + name), QByteArray("{\"mine\":1}"));
        // A broken user copy reads as "default", so any numbered shipped file replaces it.
        Write(data + name, "{ broken");
        Write(program.filePath(name), "{\"FileVersion\":\"0.1\"}");
        QVERIFY(installer.Install(program.path(), {name}, data));
        QCOMPARE(Read(data + name), QByteArray("{\"FileVersion\":\"0.1\"}"));
        QCOMPARE(Read(data + name + QStringLiteral("_old")), QByteArray("{ broken"));
        QVERIFY(Messages(messages).first().startsWith(QStringLiteral("warning - ") + data + name + QStringLiteral(" is not a JSON object")));
        // A shipped file without a version never replaces a numbered copy.
        Write(program.filePath(name), "{\"shipped\":2}");
        QVERIFY(installer.Install(program.path(), {name}, data));
        QCOMPARE(Read(data + name), QByteArray("{\"FileVersion\":\"0.1\"}"));
    }

    void install_failuresAreTold()
    {
        QTemporaryDir program, user;
        const QString name = QStringLiteral("Velto_LoRaWAN_Tessera.ini");
        TConfigInstaller installer;
        QSignalSpy messages(&installer, &TConfigInstaller::EvShowMessage);

        // A file where the directory should be.
        Write(user.filePath(QStringLiteral("blocked")), "x");
        const QString data = user.filePath(QStringLiteral("blocked/Haldor/"));
        QVERIFY(!installer.Install(program.path(), {name}, data));
        QCOMPARE(Messages(messages), (QStringList{QStringLiteral("creating directory:") + data,
                                                  QStringLiteral("error - couldn't create directory:") + data}));

        // The shipped file is missing.
        QVERIFY(installer.Install(program.path(), {name}, user.path()));
        QCOMPARE(Messages(messages), QStringList{QStringLiteral("warning - shipped file not found:") + program.filePath(name)});
        QVERIFY(!QFile::exists(user.filePath(name)));
    }

    void install_intoTheSettingsDirectory_isReadByTheStore()
    {
        QTemporaryDir program;
        Write(program.filePath(QStringLiteral("Velto_LoRaWAN_Tessera.ini")), "[FileVersion]\nVersion=1\n[GUI]\nMainTheme=Montreal\n");
        TSettings& settings = TSettings::Instance();
        QVERIFY(!QDir(settings.DataDirectory()).exists());
        TConfigInstaller installer;
        QSignalSpy messages(&installer, &TConfigInstaller::EvShowMessage);
        QVERIFY(installer.Install(program.path(), TConfigInstaller::ShippedFiles(program.path())));
        QCOMPARE(Messages(messages).first(), QStringLiteral("creating directory:") + settings.DataDirectory());
        QCOMPARE(settings.MainTheme(), QStringLiteral("Montreal"));
    }
};

TESSERA_TEST_MAIN(TestConfigInstaller)
#include "tst_configinstaller.moc"

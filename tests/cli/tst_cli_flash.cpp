#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include "HexImage.h"
#include "CliProcess.h"
#include "TestEnvironment.h"
#include "tools/sim/TPseudoTerminal.h"
#include "tools/sim/TSimModule.h"
#include "tools/sim/TSimStm32Bootloader.h"

// tessera-cli flash and hex, the binary itself against a virtual module.
namespace {
constexpr quint32 kFlash = 0x08000000;
constexpr int kRunMs = 60000;

using CliProcess::Run;
using HexImage::Firmware;

Run Cli(const QStringList& args, const QString& stderrPath = QString())
{
    return CliProcess::Cli(args, kRunMs, stderrPath);
}

QByteArray HexFile(quint32 address, const QByteArray& data)
{
    return HexImage::File(address, data, 32);
}
}

class TestCliFlash : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<TSimModule> m_module;
    QString m_port;

    QString File(const QString& name, const QByteArray& text) { return HexImage::Write(m_dir.filePath(name), text); }

private slots:
    void init()
    {
        m_module = std::make_unique<TSimModule>();
        QVERIFY(m_module->Open());
        m_port = m_dir.filePath(QStringLiteral("module"));
        QVERIFY(m_module->CreateLink(m_port));
    }
    void cleanup() { m_module.reset(); }

    void flash_json_reportsTheWholeRun()
    {
        const QByteArray image = Firmware(3000, "Velto_LoRaWAN;3.1;140");
        const QString path = File(QStringLiteral("Velto_LoRaWAN_V3.1.hex"), HexFile(kFlash, image));
        const Run run = Cli({QStringLiteral("--json"), QStringLiteral("flash"), QStringLiteral("--port"), m_port, QStringLiteral("--image"), path,
                             QStringLiteral("--via-hci"), QStringLiteral("--verify"), QStringLiteral("--expect-name"), QStringLiteral("Velto_LoRaWAN")});
        QCOMPARE(run.err, QString());
        QCOMPARE(run.exitCode, 0);
        const QJsonObject result = QJsonDocument::fromJson(run.out.toUtf8()).object();
        QCOMPARE(result.value(QStringLiteral("status")).toString(), QStringLiteral("Success"));
        QCOMPARE(result.value(QStringLiteral("code")).toInt(-1), 0);
        QCOMPARE(result.value(QStringLiteral("bytes")).toInt(), 3072);
        QCOMPARE(result.value(QStringLiteral("verified")).toBool(), true);
        QVERIFY(result.value(QStringLiteral("seconds")).toDouble() > 0);
        QVERIFY(result.value(QStringLiteral("KB/s")).isDouble());
        const QJsonObject firmware = result.value(QStringLiteral("firmware")).toObject();
        QCOMPARE(firmware.value(QStringLiteral("FWVersion")).toString(), QStringLiteral("V3.1"));
        QCOMPARE(firmware.value(QStringLiteral("BuildCount")).toString(), QStringLiteral("140"));
        QCOMPARE(firmware.value(QStringLiteral("FWName")).toString(), QStringLiteral("Velto_LoRaWAN"));
        QVERIFY(!result.contains(QStringLiteral("error")));
        QCOMPARE(m_module->Bootloader().Flash().left(image.size()), image);
    }

    void flash_failures_saidWithTheStatusText_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("err");
        QTest::newRow("image for another module") << "Velto_LoRaWAN_V3.1.hex" << HexFile(kFlash, Firmware(512, "Velto_LoRaWAN;3.1;1"))
                                                  << QStringList{"--expect-name", "Caravel_LoRaWAN"} << 1
                                                  << "Image not loaded: error - Wrong image selected! The file name of %1 does not name Caravel_LoRaWAN\n";
        QTest::newRow("a bad line") << "bad.hex" << QByteArray(":020000040800F2\n:0400000001020304F2\n:02002000010200\n:00000001FF\n")
                                    << QStringList() << 1
                                    << "Image not loaded: error - line 3: checksum 0x00 does not match the record (0xDB expected) (bad.hex)\n";
        QTest::newRow("no data") << "empty.hex" << QByteArray(":00000001FF\n") << QStringList() << 1
                                 << "Firmware File Empty: error - empty.hex holds no data\n";
        QTest::newRow("no file") << "none.hex" << QByteArray() << QStringList() << 2 << "error - image file not found: %1\n";
    }
    void flash_failures_saidWithTheStatusText()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, text);
        QFETCH(QStringList, options);
        QFETCH(int, exitCode);
        QFETCH(QString, err);
        const QString path = text.isEmpty() ? m_dir.filePath(name) : File(name, text);
        const Run run = Cli(QStringList{QStringLiteral("flash"), QStringLiteral("--port"), m_port, QStringLiteral("--image"), path,
                                        QStringLiteral("--via-hci")} + options);
        QCOMPARE(run.exitCode, exitCode);
        QCOMPARE(run.err, QString(err).replace(QLatin1String("%1"), path));
        QCOMPARE(run.out, QString());
        // Nothing reached the module.
        QCOMPARE(m_module->RequestsHandled(), 0u);
        QVERIFY(!m_module->InBootloader());
    }

    void flash_onATerminal_drawsAProgressBar()
    {
        TPseudoTerminal terminal;
        QVERIFY(terminal.Open());
        QByteArray screen;
        connect(&terminal, &TPseudoTerminal::DataReceived, this, [&screen](const QByteArray& bytes) { screen += bytes; });
        m_module->EnterBootloader();
        const QString path = File(QStringLiteral("Velto_LoRaWAN_V3.2.hex"), HexFile(kFlash, Firmware(1000, "Velto_LoRaWAN;3.2;141")));
        const Run run = Cli({QStringLiteral("flash"), QStringLiteral("--port"), m_port, QStringLiteral("--image"), path, QStringLiteral("--verify")},
                            terminal.SlavePath());
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out, QStringLiteral("Success\ninfo - the module runs Velto_LoRaWAN V3.2 build 141\n"));
        QTRY_VERIFY(screen.endsWith('\n'));
        // Redrawn in place on one line; the last drawing shows every byte written and read back.
        const QByteArray last = screen.mid(screen.lastIndexOf('\r'));
        QVERIFY2(last.startsWith("\r[" + QByteArray(40, '#') + "] 100% 2048 / 2048 bytes - "), last.constData());
        QVERIFY2(last.endsWith(" KB/s - 0:00 left   \r\n") || last.endsWith(" KB/s - 0:00 left   \n"), last.constData());
        QVERIFY(screen.count('\r') > 1);
    }

    void hex_invalidImageExits1()
    {
        Run run = Cli({QStringLiteral("hex"), File(QStringLiteral("bad.hex"), ":020000040800F2\n:0400000001020304F2\n:02002000010200\n:00000001FF\n")});
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.out, QString());
        QCOMPARE(run.err, QStringLiteral("error - line 3: checksum 0x00 does not match the record (0xDB expected)\n"));
        run = Cli({QStringLiteral("hex"), File(QStringLiteral("cut.hex"), ":020000040800F2\n:0400000001020304F2\n")});
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.err, QStringLiteral("error - line 2: the file ends without an end-of-file record (cut off?)\n"));
        run = Cli({QStringLiteral("hex"), File(QStringLiteral("empty.hex"), ":00000001FF\n")});
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.out, QStringLiteral("Valid: no\nLowest: 0x00100000\nHighest: 0x00000000\nBase: 0x00000000\n"));
        run = Cli({QStringLiteral("hex"), File(QStringLiteral("good.hex"), ":020000040800F2\n:0400000001020304F2\n:00000001FF\n")});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out, QStringLiteral("Valid: yes\nLowest: 0x00000000\nHighest: 0x00000003\nBase: 0x08000000\n"));
    }
};

TESSERA_TEST_MAIN(TestCliFlash)
#include "tst_cli_flash.moc"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

#include "TestEnvironment.h"
#include "tools/cli/TCli.h"
#include "tools/sim/TSimModule.h"

namespace {
struct Run {
    int exitCode = -1;
    QString out;
    QString err;
};

/// Runs tessera-cli's logic in this process: its waits keep the virtual modules answering.
Run Cli(const QStringList& args)
{
    Run run;
    QTextStream out(&run.out);
    QTextStream err(&run.err);
    run.exitCode = TCli(out, err).Run(args);
    out.flush();
    err.flush();
    return run;
}
}

class TestCliConfig : public QObject
{
    Q_OBJECT

    std::unique_ptr<TSimModule> m_a;
    std::unique_ptr<TSimModule> m_b;
    QTemporaryDir m_dir;
    QString m_portA;   ///< links: pseudo-terminal numbers are reused at once
    QString m_portB;

    QString File(const QString& name, const QString& text)
    {
        QFile file(m_dir.filePath(name));
        if (file.open(QIODevice::WriteOnly))
            file.write(text.toUtf8());
        return file.fileName();
    }

private slots:
    void init()
    {
        for (auto* sim : {&m_a, &m_b}) {
            *sim = std::make_unique<TSimModule>();
            (*sim)->Identity().firmwareName = QStringLiteral("Caravel_LoRaWAN");
            QVERIFY((*sim)->Open());
        }
        m_portA = m_dir.filePath(QStringLiteral("a"));
        m_portB = m_dir.filePath(QStringLiteral("b"));
        QVERIFY(m_a->CreateLink(m_portA) && m_b->CreateLink(m_portB));
        for (const char* command : {"DeviceMgmt/SetDeviceConfig PowerSaving=0 ExtraOptions=5", "LoRaWAN/SetCustomConfig TxPowerOffset=-3",
                                    "DataLink/SetAESKey AES-Key=00-11-22-33-44-55-66-77-88-99-AA-BB-CC-DD-EE-FF"}) {
            const Run run = Cli(QStringList{"exec", "--port", m_portA} + QString::fromLatin1(command).split(QLatin1Char(' ')));
            QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        }
    }
    void cleanup()
    {
        m_a.reset();
        m_b.reset();
    }

    void exportApplyDiff_endToEnd()
    {
        Run run = Cli({"config", "export", "--port", m_portA});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.err, QString());
        QVERIFY(!run.out.contains(QStringLiteral("AES-Key")));
        const QJsonObject settings = QJsonDocument::fromJson(run.out.toUtf8()).object().value("Settings").toObject();
        QCOMPARE(settings.value("LoRaWAN/SetCustomConfig").toObject(), (QJsonObject{{"TxPowerOffset", "-3"}}));
        const QString unit = File(QStringLiteral("unit.json"), run.out);

        QCOMPARE(Cli({"config", "diff", "--port", m_portB, unit}).exitCode, 1);
        run = Cli({"config", "apply", "--port", m_portB, unit});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.err, QString());
        QVERIFY2(run.out.startsWith(QStringLiteral("info - sent DeviceMgmt/SetRadioStack\ninfo - sent DeviceMgmt/SetDeviceConfig\n")), qPrintable(run.out));
        QVERIFY(run.out.endsWith(QStringLiteral("info - sent DeviceMgmt/SetOperationMode\n"
                                                "info - read back: the module matches the template (10 settings)\n")));
        run = Cli({"--json", "config", "diff", "--port", m_portB, unit});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out, QStringLiteral("[]\n"));
        run = Cli({"config", "export", "--with-keys", "--port", m_portA});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(QJsonDocument::fromJson(run.out.toUtf8()).object().value("Settings").toObject().value("DataLink/SetAESKey").toObject(),
                 (QJsonObject{{"AES-Key", "00-11-22-33-44-55-66-77-88-99-AA-BB-CC-DD-EE-FF"}}));
    }

    void apply_refusedSettingIsNamed()
    {
        const Run exported = Cli({"config", "export", "--port", m_portA});
        const QString unit = File(QStringLiteral("unit.json"), exported.out);
        m_b->ForceStatus(0x01, 0x25, 0x04);   // SetDeviceConfigReq: "wrong device mode"
        Run run = Cli({"config", "apply", "--port", m_portB, unit});
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.out, QStringLiteral("info - sent DeviceMgmt/SetRadioStack\n"));
        QCOMPARE(run.err, QStringLiteral("error - setting refused: DeviceMgmt/SetDeviceConfig (wrong device mode)\n"));

        run = Cli({"--json", "config", "apply", "--port", m_portB, unit});
        QCOMPARE(run.exitCode, 1);
        const QJsonObject report = QJsonDocument::fromJson(run.out.toUtf8()).object();
        QCOMPARE(report.value("Result").toString(), QStringLiteral("Refused"));
        QCOMPARE(report.value("Refused").toString(), QStringLiteral("DeviceMgmt/SetDeviceConfig"));
        QCOMPARE(report.value("Sent").toArray(), (QJsonArray{"DeviceMgmt/SetRadioStack"}));

        // Accepted but not kept: the read-back says where.
        m_b->ClearForcedStatus();
        m_b->ForceStatus(0x10, 0x31, 0x00);
        run = Cli({"config", "apply", "--port", m_portB, unit});
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.err, QStringLiteral("LoRaWAN/SetCustomConfig TxPowerOffset: template -3, module 0\n"
                                         "error - after applying, the module differs from the template in 1 value\n"));
    }

    void usageAndBadTemplates()
    {
        QCOMPARE(Cli({"config", "--port", m_portB}).exitCode, 2);
        QCOMPARE(Cli({"config", "apply", "--port", m_portB}).exitCode, 2);
        QCOMPARE(Cli({"config", "export"}).exitCode, 2);
        const Run run = Cli({"config", "apply", "--port", m_portB, File(QStringLiteral("broken.json"), QStringLiteral("{\"FileType\": 1}"))});
        QCOMPARE(run.exitCode, 2);
        QCOMPARE(run.err, QStringLiteral("error - not a configuration template (\"FileType\" is not \"Tessera configuration template\")\n"));
        QCOMPARE(Cli({"config", "export", "--port", QStringLiteral("/dev/tessera-no-such-port")}).exitCode, 3);
    }
};

TESSERA_TEST_MAIN(TestCliConfig)
#include "tst_cliconfig.moc"

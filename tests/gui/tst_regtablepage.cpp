#include <QApplication>
#include <QClipboard>
#include <QFile>
#include <QPlainTextEdit>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include "CliProcess.h"
#include "PageBench.h"
#include "gui/pages/TRegTablePage.h"

using CliProcess::Cli;
using CliProcess::Run;

namespace {
/// The command line that asks tessera-cli for the same tables as the page's fields.
QStringList CliArguments(const QString& chip, const QStringList& fields)
{
    static const char* const kOptions[] = {"--freq", "--bitrate", "--fdev", "--rxbw"};
    QStringList args{QStringLiteral("regtable"), QStringLiteral("--chip"), chip};
    for (int i = 0; i < 4; ++i)
        for (const QString& value : fields.at(i).split(QRegularExpression(QStringLiteral("[,\\s]+")), Qt::SkipEmptyParts))
            args << QLatin1String(kOptions[i]) << value;
    return args;
}

void Fill(TRegTablePage& page, const QString& chip, const QStringList& fields)
{
    TPageBench::Enter(page, {QStringLiteral("Chip=") + chip, QStringLiteral("Frequencies=") + fields.at(0), QStringLiteral("BitRates=") + fields.at(1),
                             QStringLiteral("Deviations=") + fields.at(2), QStringLiteral("Bandwidths=") + fields.at(3)});
}
}

class TestRegTablePage : public QObject
{
    Q_OBJECT

private slots:
    void header_equalsTheCommandLines_data()
    {
        QTest::addColumn<QString>("chip");
        QTest::addColumn<QStringList>("fields");   // frequencies, bit rates, deviations, bandwidths
        QTest::addColumn<QString>("error");
        QTest::newRow("SX1276, every table") << "SX1276" << QStringList{"868100000, 868300000, 869525000", "50000 9600", "25000", "100000, 250000"} << "";
        QTest::newRow("SX1272, frequencies") << "SX1272" << QStringList{"902300000,914900000", "", "", ""} << "";
        QTest::newRow("SX1280") << "SX1280" << QStringList{"2402000000 2480000000", "1000000", "", "1200000"} << "";
        QTest::newRow("out of range") << "SX1272" << QStringList{"433920000", "", "", ""} << "frequency 433920000 Hz is outside 860..1020 MHz";
    }
    void header_equalsTheCommandLines()
    {
        QFETCH(QString, chip);
        QFETCH(QStringList, fields);
        QFETCH(QString, error);
        TRegTablePage page(QStringLiteral("Register Tables"));
        Fill(page, chip, fields);
        const bool generated = page.Generate();
        const Run cli = Cli(CliArguments(chip, fields));
        QVERIFY(!cli.out.isEmpty());
        QCOMPARE(page.HeaderText()->toPlainText(), cli.out);
        if (error.isEmpty()) {
            QVERIFY(generated);
            QCOMPARE(cli.exitCode, 0);
            QVERIFY2(page.ResultLine()->text().startsWith(QLatin1String("OK - wrote the register tables (")), qPrintable(page.ResultLine()->text()));
        } else {
            // Out of the chip's range: the same header, and the same error as the command line's.
            QVERIFY(!generated);
            QCOMPARE(cli.exitCode, 1);
            QVERIFY(cli.err.contains(error));
            QCOMPARE(page.ResultLine()->text(), cli.err.trimmed());
        }
    }

    void header_copiedSavedAndInputRefused()
    {
        TRegTablePage page(QStringLiteral("Register Tables"));
        QVERIFY(page.Generate());
        const QString header = page.HeaderText()->toPlainText();
        QVERIFY(header.startsWith(QLatin1String("/* Register tables for the SX1276")));
        QVERIFY(header.contains(QLatin1String("/* Crystal 32 MHz; Fstep 32 MHz / 2^19. RegFrfMsb 0x06, RegBitrateMsb 0x02, RegBitRateFrac 0x5D, "
                                              "RegFdevMsb 0x04, RegRxBw 0x12. */")));
        page.Button(QStringLiteral("Copy"))->click();
        QCOMPARE(QApplication::clipboard()->text(), header);
        QVERIFY(page.ResultLine()->text().startsWith(QLatin1String("OK - copied the header to the clipboard (")));

        QTemporaryDir dir;
        QVERIFY(page.SaveHeader(dir.filePath(QStringLiteral("radio_tables.h"))));
        QVERIFY(page.ResultLine()->text().startsWith(QLatin1String("OK - saved the header as radio_tables.h (")));
        QFile file(dir.filePath(QStringLiteral("radio_tables.h")));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(file.readAll()), header);
        const QString nowhere = dir.filePath(QStringLiteral("missing/radio_tables.h"));
        QVERIFY(!page.SaveHeader(nowhere));
        QCOMPARE(page.ResultLine()->text(), QStringLiteral("error - couldn't write ") + nowhere);

        // Values that are no numbers leave the header shown alone.
        TPageBench::Enter(page, {"Frequencies=868100000, 8x8"});
        QVERIFY(!page.Generate());
        QCOMPARE(page.ResultLine()->text(), QStringLiteral("error - Frequencies: \"8x8\" is not a positive number"));
        TPageBench::Enter(page, {"Frequencies=", "BitRates=-50000"});
        QVERIFY(!page.Generate());
        QCOMPARE(page.ResultLine()->text(), QStringLiteral("error - Bit Rates: \"-50000\" is not a positive number"));
        TPageBench::Enter(page, {"BitRates=", "Deviations=", "Bandwidths="});
        QVERIFY(!page.Generate());
        QCOMPARE(page.ResultLine()->text(), QStringLiteral("error - enter at least one frequency, bit rate, deviation or bandwidth"));
        QCOMPARE(page.HeaderText()->toPlainText(), header);
    }
};

TESSERA_PAGE_TEST_MAIN(TestRegTablePage)

#include "tst_regtablepage.moc"

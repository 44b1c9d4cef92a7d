#include <QtTest>

#include "TestEnvironment.h"
#include "firmware/TFlashPlan.h"

// What an update erases, writes and reads back, for images placed where real modules have them.
namespace {
constexpr quint32 kFlash = 0x08000000;

/// "address+length" per block, with "e" for blocks left to the erase.
QString Blocks(const TFlashPlan& plan)
{
    QStringList blocks;
    for (const TFlashPlan::Block& block : plan.Blocks())
        blocks << QStringLiteral("%1+%2%3").arg(block.address - kFlash, 0, 16).arg(block.length).arg(block.erased ? "e" : "");
    return blocks.join(QLatin1Char(' '));
}
}

class TestFlashPlan : public QObject
{
    Q_OBJECT
private slots:
    void make_data()
    {
        QTest::addColumn<quint32>("pageSize");
        QTest::addColumn<quint32>("flashBytes");
        QTest::addColumn<bool>("extended");
        QTest::addColumn<bool>("eraseAll");
        QTest::addColumn<quint32>("first");      // image offset from the flash start
        QTest::addColumn<quint32>("last");       // inclusive
        QTest::addColumn<int>("firstPage");
        QTest::addColumn<int>("lastPage");
        QTest::addColumn<QString>("blocks");

        QTest::newRow("one page of 128 bytes, smaller than it") << 128u << 0x30000u << true << false << 0x2000u << 0x2063u << 64 << 64
                                                                << "2000+128";
        QTest::newRow("spanning exactly one page boundary") << 128u << 0x30000u << true << false << 0x2040u << 0x20BFu << 64 << 65
                                                            << "2000+256";
        QTest::newRow("last byte at the start of a page") << 128u << 0x30000u << true << false << 0x2000u << 0x2100u << 64 << 66
                                                          << "2000+256 2100+128";
        QTest::newRow("starting above page 255, 256-byte pages") << 256u << 0x20000u << true << false << 0x12C00u << 0x12EFFu << 300
                                                                 << 302 << "12c00+256 12d00+256 12e00+256";
        QTest::newRow("2048-byte pages go in 256-byte blocks") << 2048u << 0x80000u << false << false << 0x800u << 0x800u << 1 << 1
                                                               << "800+256 900+256e a00+256e b00+256e c00+256e d00+256e e00+256e f00+256e";
        QTest::newRow("0x43 part, the last page it can name") << 256u << 0x20000u << false << false << 0u << 0xFFFFu << 0 << 255
                                                              << QString();
        QTest::newRow("0x43 part above page 255 with erase all") << 256u << 0x20000u << false << true << 0x12C00u << 0x12C00u << 300
                                                                 << 300 << "12c00+256";
    }
    void make()
    {
        QFETCH(quint32, pageSize);
        QFETCH(quint32, flashBytes);
        QFETCH(bool, extended);
        QFETCH(bool, eraseAll);
        QFETCH(quint32, first);
        QFETCH(quint32, last);
        QFETCH(int, firstPage);
        QFETCH(int, lastPage);
        QFETCH(QString, blocks);
        // The image: programmed bytes from first to last, the rest erased.
        QByteArray flash(int(flashBytes), char(0xFF));
        flash.replace(int(first), int(last - first + 1), QByteArray(int(last - first + 1), char(0x5A)));
        TFlashPlan plan;
        QVERIFY2(plan.Make({first, last, kFlash}, {kFlash, kFlash + flashBytes, pageSize, extended}, flash, eraseAll), qPrintable(plan.ErrorText()));
        QCOMPARE(plan.RefusalReason(), TFlashPlan::None);
        QCOMPARE(plan.EraseAll(), eraseAll);
        QCOMPARE(plan.FirstPage(), firstPage);
        QCOMPARE(plan.LastPage(), lastPage);
        QCOMPARE(plan.FirstAddress(), kFlash + quint32(firstPage) * pageSize);
        QCOMPARE(plan.LastAddress(), kFlash + quint32(lastPage + 1) * pageSize - 1);
        if (!blocks.isEmpty())
            QCOMPARE(Blocks(plan), blocks);
        // Every byte from the first page to the last is read back, and only those.
        QCOMPARE(plan.BytesToVerify(), quint64(lastPage - firstPage + 1) * pageSize);
        quint64 written = 0;
        for (const TFlashPlan::Block& block : plan.Blocks())
            written += block.erased ? 0 : block.length;
        QCOMPARE(plan.BytesToWrite(), written);
    }

    void refusals_data()
    {
        QTest::addColumn<quint32>("base");
        QTest::addColumn<quint32>("lowest");
        QTest::addColumn<quint32>("highest");
        QTest::addColumn<bool>("extended");
        QTest::addColumn<int>("refusal");
        QTest::addColumn<QString>("error");
        QTest::newRow("0x43 part, image reaching page 300")
            << kFlash << 0x100u << 0x12C00u << false << int(TFlashPlan::NeedsEraseAll)
            << "error - the image reaches page 300, but this part erases with 0x43, whose page numbers end at 255: "
               "only \"erase all\" (which wipes the whole flash) can make room for it";
        QTest::newRow("past the flash end") << kFlash << 0u << 0x20000u << true << int(TFlashPlan::OutsideFlash)
                                            << "error - the image (0x08000000..0x08020000) does not fit the part's flash (0x08000000..0x0801FFFF)";
        QTest::newRow("below the flash: an image for address 0") << 0u << 0x100u << 0x1FFu << true << int(TFlashPlan::OutsideFlash)
                                                                 << "error - the image (0x00000100..0x000001FF) does not fit the part's flash (0x08000000..0x0801FFFF)";
    }
    void refusals()
    {
        QFETCH(quint32, base);
        QFETCH(quint32, lowest);
        QFETCH(quint32, highest);
        QFETCH(bool, extended);
        QFETCH(int, refusal);
        QFETCH(QString, error);
        TFlashPlan plan;
        QVERIFY(!plan.Make({lowest, highest, base}, {kFlash, kFlash + 0x20000, 256, extended}, QByteArray(0x20000, char(0x11)), false));
        QCOMPARE(int(plan.RefusalReason()), refusal);
        QCOMPARE(plan.ErrorText(), error);
        QVERIFY(plan.Blocks().isEmpty());
    }
};

TESSERA_TEST_MAIN(TestFlashPlan)
#include "tst_flashplan.moc"

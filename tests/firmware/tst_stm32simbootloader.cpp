#include <QSignalSpy>
#include <QtTest>

#include "TestEnvironment.h"
#include "tools/sim/TSimStm32Bootloader.h"

// Byte-level checks of the emulated system bootloader against the AN3155 frames, written out by
// hand so that they do not share a frame builder with the host side.
namespace {
QByteArray Hex(const char* text)
{
    return QByteArray::fromHex(text);
}

QByteArray Pattern(int size)
{
    QByteArray bytes(size, 0);
    for (int i = 0; i < size; ++i)
        bytes[i] = char(i);
    return bytes;
}
}

class TestStm32SimBootloader : public QObject
{
    Q_OBJECT

private slots:
    void answers_data()
    {
        QTest::addColumn<int>("productId");
        QTest::addColumn<bool>("extended");
        QTest::addColumn<int>("fault");
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<QByteArray>("output");
        const int none = TSimStm32Bootloader::FaultNone;
        const QByteArray get44 = Hex("79 0b 31 00 01 02 11 21 31 44 63 73 82 92 79");
        const QByteArray get43 = Hex("79 0b 31 00 01 02 11 21 31 43 63 73 82 92 79");

        QTest::newRow("init") << 0x447 << true << none << Hex("7f") << Hex("79");
        QTest::newRow("noise before init is ignored") << 0x447 << true << none << Hex("00 55 ff 7f") << Hex("79");
        QTest::newRow("second 0x7f starts a command, its pair is refused") << 0x447 << true << none << Hex("7f 7f 7f") << Hex("79 1f");
        QTest::newRow("get with extended erase") << 0x447 << true << none << Hex("7f 00ff") << Hex("79") + get44;
        QTest::newRow("get without extended erase") << 0x416 << false << none << Hex("7f 00ff") << Hex("79") + get43;
        QTest::newRow("get version") << 0x447 << true << none << Hex("7f 01fe") << Hex("79 79 31 00 00 79");
        QTest::newRow("get id") << 0x416 << true << none << Hex("7f 02fd") << Hex("79 79 01 04 16 79");
        QTest::newRow("unknown id is reported") << 0x999 << true << none << Hex("7f 02fd") << Hex("79 79 01 09 99 79");
        QTest::newRow("unknown id has no memory") << 0x999 << true << none << Hex("7f 11ee 08000000 08") << Hex("79 79 1f");
        QTest::newRow("bad complement") << 0x447 << true << none << Hex("7f 0000 02fd") << Hex("79 1f 79 01 04 47 79");
        QTest::newRow("unknown command") << 0x447 << true << none << Hex("7f 50af") << Hex("79 1f");
        QTest::newRow("0x43 refused where 0x44 is listed") << 0x447 << true << none << Hex("7f 43bc") << Hex("79 1f");
        QTest::newRow("0x44 refused where 0x43 is listed") << 0x416 << false << none << Hex("7f 44bb") << Hex("79 1f");

        QTest::newRow("read flash") << 0x447 << true << none << Hex("7f 11ee 08000000 08 03fc") << Hex("79 79 79 79 00 01 02 03");
        QTest::newRow("read address checksum wrong") << 0x447 << true << none << Hex("7f 11ee 08000000 00") << Hex("79 79 1f");
        QTest::newRow("read unmapped address") << 0x447 << true << none << Hex("7f 11ee 00000000 00") << Hex("79 79 1f");
        QTest::newRow("read count complement wrong") << 0x447 << true << none << Hex("7f 11ee 08000000 08 0300") << Hex("79 79 79 1f");
        QTest::newRow("read past the flash end") << 0x447 << true << none << Hex("7f 11ee 0802fffe 0b 03fc") << Hex("79 79 79 1f");
        QTest::newRow("read system memory") << 0x447 << true << none << Hex("7f 11ee 1ff00000 ef 01fe") << Hex("79 79 79 79 00 00");

        QTest::newRow("write RAM and read it back") << 0x447 << true << none
                                                    << Hex("7f 31ce 20002000 00 03 aabbccdd 03 11ee 20002000 00 03fc")
                                                    << Hex("79 79 79 79 79 79 79 aabbccdd");
        QTest::newRow("write data checksum wrong") << 0x447 << true << none << Hex("7f 31ce 20002000 00 03 aabbccdd 04") << Hex("79 79 79 1f");
        QTest::newRow("write over programmed flash") << 0x447 << true << none << Hex("7f 31ce 08000000 08 03 aabbccdd 03") << Hex("79 79 79 1f");
        QTest::newRow("write same bytes over programmed flash") << 0x447 << true << none << Hex("7f 31ce 08000000 08 03 00010203 03") << Hex("79 79 79 79");
        QTest::newRow("write erased flash") << 0x447 << true << none << Hex("7f 31ce 08000100 09 03 aabbccdd 03") << Hex("79 79 79 79");
        QTest::newRow("write system memory") << 0x447 << true << none << Hex("7f 31ce 1ff00000 ef") << Hex("79 79 1f");

        QTest::newRow("0x43 two pages") << 0x416 << false << none << Hex("7f 43bc 01 0102 02") << Hex("79 79 79");
        QTest::newRow("0x43 global erase") << 0x416 << false << none << Hex("7f 43bc ff00") << Hex("79 79 79");
        QTest::newRow("0x43 global erase checksum wrong") << 0x416 << false << none << Hex("7f 43bc ff01") << Hex("79 79 1f");
        QTest::newRow("0x43 list checksum wrong") << 0x416 << false << none << Hex("7f 43bc 01 0102 00") << Hex("79 79 1f");
        QTest::newRow("0x43 page beyond the flash") << 0x412 << false << none << Hex("7f 43bc 00 40 40") << Hex("79 79 1f");
        QTest::newRow("0x44 two pages") << 0x447 << true << none << Hex("7f 44bb 0001 0000 0001 00") << Hex("79 79 79");
        QTest::newRow("0x44 mass erase") << 0x447 << true << none << Hex("7f 44bb ffff 00") << Hex("79 79 79");
        QTest::newRow("0x44 mass erase checksum wrong") << 0x447 << true << none << Hex("7f 44bb ffff 01") << Hex("79 79 1f");
        QTest::newRow("0x44 reserved code") << 0x447 << true << none << Hex("7f 44bb fff0 0f") << Hex("79 79 1f");
        QTest::newRow("0x44 page beyond the flash") << 0x447 << true << none << Hex("7f 44bb 0000 0600 06") << Hex("79 79 1f");

        QTest::newRow("go to flash, then silent") << 0x447 << true << none << Hex("7f 21de 08000000 08 7f 00ff") << Hex("79 79 79");
        QTest::newRow("go to unmapped address") << 0x447 << true << none << Hex("7f 21de 00000000 00") << Hex("79 79 1f");
        QTest::newRow("write unprotect resets") << 0x447 << true << none << Hex("7f 738c 00ff 7f 02fd") << Hex("79 79 79 79 79 01 04 47 79");
        QTest::newRow("write protect resets") << 0x447 << true << none << Hex("7f 639c 00 01 01 00ff 7f") << Hex("79 79 79 79");
        QTest::newRow("readout protection refuses reads until unprotected")
            << 0x447 << true << none << Hex("7f 827d 7f 11ee 926d 7f 11ee 08000000 08 00ff")
            << Hex("79 79 79 79 1f 79 79 79 79 79 79 ff");

        QTest::newRow("fault: NACK everything") << 0x447 << true << int(TSimStm32Bootloader::FaultNackAll) << Hex("7f 7f") << Hex("1f 1f");
        QTest::newRow("fault: NACK first try") << 0x447 << true << int(TSimStm32Bootloader::FaultNackFirstTry)
                                               << Hex("7f 02fd 02fd 02fd") << Hex("79 1f 79 01 04 47 79 1f");
        QTest::newRow("fault: no answer") << 0x447 << true << int(TSimStm32Bootloader::FaultNoAnswer) << Hex("7f 00ff") << QByteArray();
    }
    void answers()
    {
        QFETCH(int, productId);
        QFETCH(bool, extended);
        QFETCH(int, fault);
        QFETCH(QByteArray, input);
        QFETCH(QByteArray, output);
        // All at once and one byte at a time: the answers must not depend on how the bytes arrive.
        for (int chunk : {input.size(), 1}) {
            TSimStm32Bootloader sim(quint16(productId), extended);
            sim.SetFault(TSimStm32Bootloader::Fault(fault));
            sim.LoadFlash(Pattern(256));
            QByteArray sent;
            connect(&sim, &TSimStm32Bootloader::EvSend, this, [&sent](const QByteArray& bytes) { sent += bytes; });
            for (int i = 0; i < input.size(); i += qMax(chunk, 1))
                sim.Feed(input.mid(i, chunk));
            QCOMPARE(sent.toHex(' '), output.toHex(' '));
            QCOMPARE(sim.Received(), input);
        }
    }

    void memoryEffects()
    {
        TSimStm32Bootloader sim(0x416, false);
        sim.LoadFlash(QByteArray(4 * 256, char(0x11)));
        QSignalSpy started(&sim, &TSimStm32Bootloader::EvApplicationStarted);
        QSignalSpy reset(&sim, &TSimStm32Bootloader::EvReset);

        sim.Feed(Hex("7f 43bc 01 0103 03"));
        QCOMPARE(sim.Flash().left(4 * 256),
                 QByteArray(256, char(0x11)) + QByteArray(256, char(0xFF)) + QByteArray(256, char(0x11)) + QByteArray(256, char(0xFF)));
        QCOMPARE(sim.ErasedPages(), (QList<int>{1, 3}));

        sim.LoadFlash(QByteArray(2, char(0x22)), quint32(sim.Flash().size() - 1));   // clipped at the flash end
        QCOMPARE(sim.Flash().right(2), Hex("ff22"));

        sim.Feed(Hex("43bc ff00"));
        QCOMPARE(sim.Flash(), QByteArray(0x20000, char(0xFF)));
        QVERIFY(sim.EraseRequests().last().massErase);

        sim.Feed(Hex("21de 08000400 0c"));
        QCOMPARE(started.count(), 1);
        QCOMPARE(started.at(0).at(0).toUInt(), 0x08000400u);
        QVERIFY(sim.IsRunningApplication());
        QCOMPARE(reset.count(), 0);

        sim.Reset();
        sim.Feed(Hex("7f 738c"));
        QCOMPARE(reset.count(), 1);
        QVERIFY(!sim.IsInitialized());
    }
};

TESSERA_TEST_MAIN(TestStm32SimBootloader)
#include "tst_stm32simbootloader.moc"

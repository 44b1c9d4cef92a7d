// Intel HEX reading and writing, with srec_cat as an independent reader and writer.
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <initializer_list>
#include <utility>

#include "HexImage.h"
#include "TestEnvironment.h"
#include "firmware/TIntelHex.h"

namespace {
constexpr uint kSpanBytes = 0x100000;
constexpr int kGuardBytes = 64;
constexpr char kGuard = char(0xAA);

// One record line with a correct checksum; `dataHex` is the data field.
QByteArray Rec(quint8 type, quint16 address, const QByteArray& dataHex)
{
    return HexImage::Record(type, address, QByteArray::fromHex(dataHex));
}

QByteArray Counting(int first, int count)
{
    QByteArray hex;
    for (int i = 0; i < count; ++i)
        hex += QByteArray::number((first + i) & 0xFF, 16).rightJustified(2, '0');
    return hex;
}

QByteArray Image(uint size, char fill, std::initializer_list<std::pair<uint, QByteArray>> patches)
{
    QByteArray image(int(size), fill);
    for (const auto& patch : patches)
        image.replace(int(patch.first), patch.second.size() / 2, QByteArray::fromHex(patch.second));
    return image;
}

using HexImage::RandomBytes;

QStringList g_traces;
void CaptureDebug(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type == QtDebugMsg)
        g_traces << text;
}
} // namespace

class TstIntelHex : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    QString WriteText(const QString& name, const QByteArray& text)
    {
        QFile file(m_dir.filePath(name));
        if (!file.open(QIODevice::WriteOnly))
            return QString();
        file.write(text);
        return file.fileName();
    }

    bool RunSrecCat(const QStringList& args)
    {
        QProcess srec;
        srec.start(QStringLiteral("srec_cat"), args);
        const bool ok = srec.waitForFinished(60000) && srec.exitStatus() == QProcess::NormalExit && srec.exitCode() == 0;
        if (!ok)
            qWarning() << "srec_cat" << args << srec.readAllStandardError();
        return ok;
    }

private slots:
    void initTestCase() { QVERIFY(m_dir.isValid()); }

    void read_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<uint>("size");
        QTest::addColumn<bool>("fill");
        QTest::addColumn<bool>("valid");
        QTest::addColumn<uint>("lowest");
        QTest::addColumn<uint>("highest");
        QTest::addColumn<uint>("base");
        QTest::addColumn<QByteArray>("image");
        const QByteArray eof = Rec(1, 0, "");

        QTest::newRow("linear 0x0800 lands at offset 0")
            << Rec(4, 0, "0800") + Rec(0, 0, "0102030405") + eof << 0x100u << true << true << 0u << 4u << 0x08000000u
            << Image(0x100, char(0xFF), {{0, "0102030405"}});
        QTest::newRow("record across 64 KiB, second linear segment")
            << Rec(4, 0, "0800") + Rec(0, 0xFFF0, Counting(0, 32)) + Rec(4, 0, "0801") + Rec(0, 0x0010, "A1A2") + eof
            << 0x20000u << true << true << 0xFFF0u << 0x10011u << 0x08000000u
            << Image(0x20000, char(0xFF), {{0xFFF0, Counting(0, 32)}, {0x10010, "A1A2"}});
        QTest::newRow("data above the first MiB has its own base")
            << Rec(4, 0, "0810") + Rec(0, 0x0020, "11") + eof << 0x100u << true << true << 0x20u << 0x20u << 0x08100000u
            << Image(0x100, char(0xFF), {{0x20, "11"}});
        QTest::newRow("extended segment addresses")
            << Rec(2, 0, "1000") + Rec(0, 0x0100, "2233") + Rec(2, 0, "0100") + Rec(0, 0x0020, "44") + eof
            << 0x20000u << true << true << 0x1020u << 0x10101u << 0u
            << Image(0x20000, char(0xFF), {{0x10100, "2233"}, {0x1020, "44"}});
        QTest::newRow("records of every legal length up to 255 bytes")
            << Rec(0, 0, Counting(0x40, 32)) + Rec(0, 0x20, Counting(0x80, 33)) + Rec(0, 0x41, Counting(0, 255)) + eof << 0x200u
            << true << true << 0u << 0x13Fu << 0u
            << Image(0x200, char(0xFF), {{0, Counting(0x40, 32)}, {0x20, Counting(0x80, 33)}, {0x41, Counting(0, 255)}});
        QTest::newRow("lower case digits and CRLF")
            << (Rec(4, 0, "08A0") + Rec(0, 0x00BC, "ABCDEF") + eof).toLower().replace('\n', "\r\n")
            << 0x100u << true << true << 0xBCu << 0xBEu << 0x08A00000u << Image(0x100, char(0xFF), {{0xBC, "ABCDEF"}});
        QTest::newRow("records after an end-of-file record are read on")
            << Rec(0, 0, "01") + eof + Rec(0, 0x10, "02") + eof << 0x100u << true << true << 0u << 0x10u << 0u
            << Image(0x100, char(0xFF), {{0, "01"}, {0x10, "02"}});
        QTest::newRow("blank lines and start addresses carry nothing")
            << Rec(0, 0x10, "03") + "\n\n" + Rec(3, 0, "00001234") + Rec(5, 0, "08000101") + eof << 0x100u << true << true
            << 0x10u << 0x10u << 0u << Image(0x100, char(0xFF), {{0x10, "03"}});
        QTest::newRow("used range spans whole records")
            << Rec(0, 0x10, "FF01FF") + eof << 0x100u << true << true << 0x10u << 0x12u << 0u
            << Image(0x100, char(0xFF), {{0x10, "FF01FF"}});
        QTest::newRow("only 0xFF data is not valid")
            << Rec(0, 0x10, "FFFF") + eof << 0x100u << true << false << 0x100u << 0u << 0u << Image(0x100, char(0xFF), {});
        QTest::newRow("without fill only records are written")
            << Rec(0, 0x10, "FFFF") + Rec(0, 0x20, "01") + eof << 0x100u << false << true << 0x20u << 0x20u << 0u
            << Image(0x100, kGuard, {{0x10, "FFFF"}, {0x20, "01"}});
        QTest::newRow("only the end-of-file record") << eof << 0x100u << true << false << 0x100u << 0u << 0u
                                                     << Image(0x100, char(0xFF), {});
    }

    void read()
    {
        QFETCH(QByteArray, text);
        QFETCH(uint, size);
        QFETCH(bool, fill);
        QFETCH(bool, valid);
        QFETCH(uint, lowest);
        QFETCH(uint, highest);
        QFETCH(uint, base);
        QFETCH(QByteArray, image);

        const QString path = WriteText(QStringLiteral("read.hex"), text);
        QByteArray buffer(int(size) + kGuardBytes, kGuard);
        TIntelHex hex;
        QVERIFY(hex.ReadFile(path, reinterpret_cast<quint8*>(buffer.data()), size, fill));
        QCOMPARE(hex.ErrorText(), QString());
        QCOMPARE(hex.IsValid(), valid);
        TImageInfo info;
        hex.GetImageInfo(info);
        QCOMPARE(info.lowest, lowest);
        QCOMPARE(info.highest, highest);
        QCOMPARE(info.base, base);
        QCOMPARE(buffer.left(int(size)), image);
        QCOMPARE(buffer.mid(int(size)), QByteArray(kGuardBytes, kGuard));
    }

    void read_refusesWhatItCannotRead_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("line");
        QTest::addColumn<QString>("error");
        const QByteArray eof = Rec(1, 0, "");
        const QByteArray good = Rec(4, 0, "0800") + Rec(0, 0, "0102");
        QByteArray badSum = Rec(0, 0x20, "0102");
        badSum.replace(badSum.size() - 3, 2, "00");

        QTest::newRow("bad checksum") << good + badSum + eof << 3 << "line 3: checksum 0x00 does not match the record (0xDB expected)";
        QTest::newRow("NUL inside a record") << good + QByteArray(":0200\0" "20000102DB\n", 16) + eof << 3
                                             << "line 3: character 0x00 at column 6 is not a hexadecimal digit";
        QTest::newRow("stray space at the end") << good + Rec(0, 0x20, "0102").replace('\n', " \n") + eof << 3
                                                << "line 3: character 0x20 at column 16 is not a hexadecimal digit";
        QTest::newRow("stray space inside") << good + QByteArray(":02 00200000102DB\n") + eof << 3
                                            << "line 3: character 0x20 at column 4 is not a hexadecimal digit";
        QTest::newRow("a byte short of its count") << good + Rec(0, 0x20, "010203").left(15) + "\n" + eof << 3
                                                   << "line 3: 14 hexadecimal digits where the byte count 0x03 needs 16";
        QTest::newRow("a byte more than its count") << good + ":0100200001FFDD\n" + eof << 3
                                                    << "line 3: 14 hexadecimal digits where the byte count 0x01 needs 12";
        QTest::newRow("no colon") << good + "garbage line\n" + eof << 3 << "line 3: no ':' at the start of the record";
        QTest::newRow("cut off without its end-of-file record") << good + Rec(0, 0x20, "0304") << 3
                                                                << "line 3: the file ends without an end-of-file record (cut off?)";
        QTest::newRow("empty file") << QByteArray() << 1 << "line 1: the file ends without an end-of-file record (cut off?)";
        QTest::newRow("data 1 MiB above the base") << good + Rec(4, 0, "0810") + Rec(0, 0x0000, "11") + eof << 4
                                                   << "line 4: data at 0x08100000 lies outside the 1 MiB image from 0x08000000 (regions too far apart for one image)";
        QTest::newRow("regions far apart: option bytes beside the flash")
            << good + Rec(4, 0, "1FF8") + Rec(0, 0x0000, "AA55") + eof << 4
            << "line 4: data at 0x1FF80000 lies outside the 1 MiB image from 0x08000000 (regions too far apart for one image)";
        QTest::newRow("regions far apart: the lower one comes second")
            << good + Rec(4, 0, "0000") + Rec(0, 0x0100, "AA55") + eof << 4
            << "line 4: data at 0x00000100 lies outside the 1 MiB image from 0x08000000 (regions too far apart for one image)";
        QTest::newRow("address wraps past 4 GiB") << Rec(4, 0, "FFFF") + Rec(0, 0xFFF8, Counting(0, 16)) + eof << 2
                                                  << "line 2: data at 0xFFFFFFF8 runs past the end of the 4 GiB address space";
        QTest::newRow("data past the image buffer") << good + Rec(0, 0x00FE, "010203") + eof << 3
                                                    << "line 3: data at 0x080000FE runs past the image buffer of 256 bytes";
        QTest::newRow("extended address with 3 bytes") << Rec(4, 0, "080000") + eof << 1
                                                       << "line 1: an extended address record needs 2 data bytes at address 0000";
        QTest::newRow("extended address not at 0000") << Rec(2, 0x0010, "1000") + eof << 1
                                                      << "line 1: an extended address record needs 2 data bytes at address 0000";
        QTest::newRow("end-of-file record with data") << good + Rec(1, 0, "00") << 3 << "line 3: record type 0x01 with 1 data bytes";
        QTest::newRow("unknown record type") << good + Rec(7, 0xABCD, "") + eof << 3 << "line 3: unknown record type 0x07";
    }
    void read_refusesWhatItCannotRead()
    {
        QFETCH(QByteArray, text);
        QFETCH(int, line);
        QFETCH(QString, error);
        const QString path = WriteText(QStringLiteral("bad.hex"), text);
        QByteArray buffer(0x100, 0);
        TIntelHex hex;
        QVERIFY(hex.ReadFile(path, reinterpret_cast<quint8*>(buffer.data()), 0x100, true));
        QCOMPARE(hex.ErrorText(), QStringLiteral("error - ") + error);
        QCOMPARE(hex.ErrorLine(), line);
        QVERIFY(!hex.IsValid());
    }

    void read_tracesStartAndEndRecords()
    {
        const QByteArray text = Rec(0, 0, "01") + ":00000001FF\n" + Rec(3, 0, "00001234") + Rec(5, 0, "08000101")
                                + Rec(0, 0x10, "02") + ":00000001FF\n";
        const QString path = WriteText(QStringLiteral("trace.hex"), text);
        QByteArray buffer(0x100, 0);
        g_traces.clear();
        const QtMessageHandler previous = qInstallMessageHandler(CaptureDebug);
        TIntelHex hex;
        const bool read = hex.ReadFile(path, reinterpret_cast<quint8*>(buffer.data()), 0x100, true);
        qInstallMessageHandler(previous);
        QVERIFY(read);
        QVERIFY(hex.IsValid());
        QCOMPARE(g_traces, QStringList({
                               "IntelHex: unexpected record type: Line: 2     Buffer: 00 00 00 01",
                               "IntelHex: unexpected record type: Line: 3     Buffer: 04 00 00 03",
                               "IntelHex: unexpected record type: Line: 4     Buffer: 04 00 00 05",
                               "IntelHex: unexpected record type: Line: 6     Buffer: 00 00 00 01",
                           }));
        QCOMPARE(buffer, Image(0x100, char(0xFF), {{0, "01"}, {0x10, "02"}}));
    }

    void read_unopenableFileChangesNothingNextFileStartsAfresh()
    {
        const QString path = WriteText(QStringLiteral("good.hex"), Rec(4, 0, "0800") + Rec(0, 0x40, "1234") + Rec(1, 0, ""));
        QByteArray buffer(0x100, 0);
        TIntelHex hex;
        QVERIFY(hex.ReadFile(path, reinterpret_cast<quint8*>(buffer.data()), 0x100, true));
        const QByteArray loaded = buffer;
        for (const QString& bad : {m_dir.filePath(QStringLiteral("missing.hex")), m_dir.path()}) {
            QVERIFY2(!hex.ReadFile(bad, reinterpret_cast<quint8*>(buffer.data()), 0x100, true), qPrintable(bad));
            QCOMPARE(buffer, loaded);
            QVERIFY(hex.IsValid());
            TImageInfo info;
            hex.GetImageInfo(info);
            QCOMPARE(info.lowest, 0x40u);
            QCOMPARE(info.highest, 0x41u);
            QCOMPARE(info.base, 0x08000000u);
        }

        // The next file starts again without an extended address.
        const QString plain = WriteText(QStringLiteral("plain.hex"), Rec(0, 0x50, "01") + Rec(1, 0, ""));
        QVERIFY(hex.ReadFile(plain, reinterpret_cast<quint8*>(buffer.data()), 0x100, true));
        QCOMPARE(buffer, Image(0x100, char(0xFF), {{0x50, "01"}}));
        TImageInfo info;
        hex.GetImageInfo(info);
        QCOMPARE(info.base, 0u);
    }

    void write_data()
    {
        QTest::addColumn<QByteArray>("image");
        QTest::addColumn<bool>("segment");
        QTest::addColumn<QByteArray>("text");

        QTest::newRow("erased image writes only the end") << QByteArray(0x10000, char(0xFF)) << true
                                                          << QByteArray(":00000001FF\n");
        QTest::newRow("two lines with extended linear address")
            << QByteArray::fromHex(Counting(0, 32)) << true
            << QByteArray(":020000040000FA\n"
                          ":10000000000102030405060708090A0B0C0D0E0F78\n"
                          ":10001000101112131415161718191A1B1C1D1E1F68\n"
                          ":00000001FF\n");
        QTest::newRow("short last line padded with 0xFF, no segment")
            << QByteArray::fromHex(Counting(0, 20)) << false
            << QByteArray(":10000000000102030405060708090A0B0C0D0E0F78\n"
                          ":1000100010111213FFFFFFFFFFFFFFFFFFFFFFFFA6\n"
                          ":00000001FF\n");
    }

    void write()
    {
        QFETCH(QByteArray, image);
        QFETCH(bool, segment);
        QFETCH(QByteArray, text);

        const QString path = m_dir.filePath(QStringLiteral("write.hex"));
        TIntelHex hex;
        QVERIFY(hex.WriteFile(QFile::encodeName(path), reinterpret_cast<const quint8*>(image.constData()),
                              uint(image.size()), segment));
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), text);
    }

    void write_blocksAndRoundTrip()
    {
        // Data in both halves of the first 64 KiB, erased blocks, and a partial last block.
        const uint size = 0x28010;
        QByteArray image(int(size), char(0xFF));
        image[0x0005] = 0x05;
        image[0x8000] = 0x00;
        image[int(size) - 1] = 0x7E;
        const QString path = m_dir.filePath(QStringLiteral("blocks.hex"));
        TIntelHex hex;
        QVERIFY(hex.WriteFile(QFile::encodeName(path), reinterpret_cast<const quint8*>(image.constData()), size, true));

        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QList<QByteArray> lines = file.readAll().split('\n');
        file.close();
        QCOMPARE(lines.size(), 1 + 0x800 + 1 + 0x800 + 1 + 1 + 1 + 1);  // the split leaves an empty tail
        QCOMPARE(lines.at(0), QByteArray(":020000040000FA"));
        QCOMPARE(lines.at(1), QByteArray(":10000000FFFFFFFFFF05FFFFFFFFFFFFFFFFFFFFFA"));
        QCOMPARE(lines.at(0x801), QByteArray(":020000040000FA"));
        QCOMPARE(lines.at(0x802), QByteArray(":1080000000FFFFFFFFFFFFFFFFFFFFFFFFFFFFFF7F"));
        QCOMPARE(lines.at(0x1002), QByteArray(":020000040002F8"));
        QCOMPARE(lines.at(0x1003), QByteArray(":10800000FFFFFFFFFFFFFFFFFFFFFFFFFFFFFF7E01"));
        QCOMPARE(lines.at(0x1004), QByteArray(":00000001FF"));

        QByteArray back(int(size), 0);
        QVERIFY(hex.ReadFile(path, reinterpret_cast<quint8*>(back.data()), size, true));
        QCOMPARE(back, image);
        TImageInfo info;
        hex.GetImageInfo(info);
        QCOMPARE(info.lowest, 0u);
        QCOMPARE(info.highest, size - 1);
        QCOMPARE(info.base, 0u);

        // Without the segment flag addresses wrap at 64 KiB and no 04 record appears.
        QVERIFY(hex.WriteFile(QFile::encodeName(path), reinterpret_cast<const quint8*>(image.constData()), 0x10010,
                              false));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray flat = file.readAll();
        file.close();
        QVERIFY(!flat.contains(":02000004"));
        QVERIFY(flat.endsWith(":10000000FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF00\n:00000001FF\n"));
        QCOMPARE(flat.count('\n'), 0x1001 + 1);
    }

    void write_failuresReturnFalse()
    {
        const QByteArray image(0x20000, 0x11);
        TIntelHex hex;
        QVERIFY(!hex.WriteFile(QFile::encodeName(m_dir.filePath(QStringLiteral("no/such/dir.hex"))),
                               reinterpret_cast<const quint8*>(image.constData()), 0x20000, true));
        if (!QFile::exists(QStringLiteral("/dev/full")))
            QSKIP("no /dev/full to make writing fail");
        QVERIFY(!hex.WriteFile("/dev/full", reinterpret_cast<const quint8*>(image.constData()), 0x20000, true));
        QVERIFY(!hex.WriteFile("/dev/full", reinterpret_cast<const quint8*>(image.constData()), 0x10, true));
    }

    void srecCat_writesWeRead_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<uint>("address");
        QTest::addColumn<uint>("base");
        QTest::newRow("flash, default records") << QStringList() << 0x08000000u << 0x08000000u;
        QTest::newRow("16-byte records") << QStringList({"-Output_Block_Size", "16"}) << 0x08000000u << 0x08000000u;
        QTest::newRow("255-byte records") << QStringList({"-Output_Block_Size", "255"}) << 0x08000000u << 0x08000000u;
        QTest::newRow("forced linear addresses") << QStringList({"-address-length=4"}) << 0x08010008u << 0x08000000u;
        QTest::newRow("segment addresses") << QStringList({"-address-length=3"}) << 0x00020004u << 0u;
    }

    void srecCat_writesWeRead()
    {
        QFETCH(QStringList, options);
        QFETCH(uint, address);
        QFETCH(uint, base);
        if (QStandardPaths::findExecutable(QStringLiteral("srec_cat")).isEmpty())
            QSKIP("srec_cat is not on PATH (Debian package srecord)");

        QByteArray binary = RandomBytes(0x30000, address);
        binary[0] = 0x00;
        binary[binary.size() - 1] = 0x00;
        const QString bin = WriteText(QStringLiteral("peer.bin"), binary);
        const QString out = m_dir.filePath(QStringLiteral("peer.hex"));
        QVERIFY(RunSrecCat(QStringList({bin, "-binary", "-offset", QString::number(address), "-o", out, "-intel"})
                           + options));

        QByteArray buffer(int(kSpanBytes), 0);
        TIntelHex hex;
        QVERIFY(hex.ReadFile(out, reinterpret_cast<quint8*>(buffer.data()), kSpanBytes, true));
        QVERIFY(hex.IsValid());
        const uint offset = address & TIntelHex::kSpanMask;
        QCOMPARE(buffer.mid(int(offset), binary.size()), binary);
        QCOMPARE(buffer.left(int(offset)), QByteArray(int(offset), char(0xFF)));
        QCOMPARE(buffer.mid(int(offset) + binary.size()),
                 QByteArray(int(kSpanBytes - offset) - binary.size(), char(0xFF)));
        TImageInfo info;
        hex.GetImageInfo(info);
        QCOMPARE(info.lowest, offset);
        QCOMPARE(info.highest, offset + uint(binary.size()) - 1);
        QCOMPARE(info.base, base);
    }

    void srecCat_readsWhatWeWrite_data()
    {
        QTest::addColumn<uint>("size");
        QTest::addColumn<bool>("segment");
        QTest::newRow("1 MiB with erased blocks") << kSpanBytes << true;
        QTest::newRow("partial last block") << 0x1800Au << true;
        QTest::newRow("below 64 KiB without segments") << 0xC005u << false;
    }

    void srecCat_readsWhatWeWrite()
    {
        QFETCH(uint, size);
        QFETCH(bool, segment);
        if (QStandardPaths::findExecutable(QStringLiteral("srec_cat")).isEmpty())
            QSKIP("srec_cat is not on PATH (Debian package srecord)");

        QByteArray image(int(size), char(0xFF));
        image.replace(0x100, 0x9000, RandomBytes(0x9000, size));
        if (size > 0xF8000)
            image.replace(0xF2345, 0x4000, RandomBytes(0x4000, size + 1));
        image[int(size) - 2] = 0x42;
        const QString ours = m_dir.filePath(QStringLiteral("ours.hex"));
        TIntelHex hex;
        QVERIFY(hex.WriteFile(QFile::encodeName(ours), reinterpret_cast<const quint8*>(image.constData()), size,
                              segment));
        const QString bin = m_dir.filePath(QStringLiteral("ours.bin"));
        QVERIFY(RunSrecCat({ours, "-intel", "-crop", "0", QString::number(size), "-fill", "0xFF", "0", QString::number(size),
                            "-o", bin, "-binary"}));
        QFile file(bin);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), image);
    }
};

TESSERA_TEST_MAIN(TstIntelHex)
#include "tst_intelhex.moc"

#include <QRandomGenerator>
#include <QtTest>

#include "hci/Crc16.h"
#include "hci/TComSlip.h"
#include "hci/TComSlipClient.h"

namespace {
QByteArray Hex(const char* text) { return QByteArray::fromHex(text); }

struct Collector : TComSlipClient {
    QList<QByteArray> frames;
    QList<QByteArray> raws;
    void ProcessRxFrame(const QByteArray& frame) override { frames << frame; }
    void ProcessRxRawData(const QByteArray& raw, const QByteArray&) override { raws << raw; }
};

quint16 Crc(const QByteArray& bytes, quint16 init = Crc16::kInit)
{
    return Crc16::Compute(reinterpret_cast<const quint8*>(bytes.constData()), quint16(bytes.size()), init);
}
bool Check(const QByteArray& bytes)
{
    return Crc16::Check(reinterpret_cast<const quint8*>(bytes.constData()), quint16(bytes.size()));
}
}

class TestSlip : public QObject
{
    Q_OBJECT
private slots:
    void crc_workedExamples()
    {
        QCOMPARE(quint16(~Crc("123456789")), quint16(0x906E));
        QCOMPARE(Crc(QByteArray(), 0x1234), quint16(0x1234));
        // SapID 1, MsgID 1, no payload: CRC bytes 16 07, and the residue over all four bytes.
        const quint16 crc = quint16(~Crc(Hex("0101")));
        QCOMPARE(crc & 0xFF, 0x16);
        QCOMPARE(crc >> 8, 0x07);
        QCOMPARE(Crc(Hex("01011607")), Crc16::kResidue);
        QVERIFY(Check(Hex("01011607")));
        QVERIFY(!Crc16::Check(nullptr, 0, 0x1234));
        QVERIFY(Crc16::Check(nullptr, 0, Crc16::kResidue));
    }

    void crc_everySingleBitFlipIsCaught()
    {
        const QByteArray good = Hex("01011607");
        for (int bit = 0; bit < good.size() * 8; ++bit) {
            QByteArray bad = good;
            bad[bit / 8] = char(bad[bit / 8] ^ (1 << (bit % 8)));
            QVERIFY2(!Check(bad), qPrintable(QStringLiteral("bit %1").arg(bit)));
        }
    }

    void encode_escapesAndFrames()
    {
        QCOMPARE(TComSlip::Encode(Hex("01011607")), Hex("C001011607C0"));
        QCOMPARE(TComSlip::Encode(QByteArray()), Hex("C0C0"));
        QCOMPARE(TComSlip::Encode(Hex("C0DB00DCDD")), Hex("C0DBDCDBDD00DCDDC0"));
    }

    void decode_data()
    {
        QTest::addColumn<QList<QByteArray>>("chunks");
        QTest::addColumn<QList<QByteArray>>("frames");
        using L = QList<QByteArray>;
        QTest::newRow("leading END bytes absorbed") << L{Hex("C0C0C001011607C0")} << L{Hex("01011607")};
        QTest::newRow("escapes restored") << L{Hex("C0DBDCDBDD01C0")} << L{Hex("C0DB01")};
        QTest::newRow("split between ESC and follower") << L{Hex("C001DB"), Hex("DC02"), Hex("C0")} << L{Hex("01C002")};
        QTest::newRow("split byte by byte") << L{Hex("C0"), Hex("AA"), Hex("DB"), Hex("DD"), Hex("C0")} << L{Hex("AADB")};
        QTest::newRow("bad escape abandons the frame only") << L{Hex("C00102DB55AAC0C00304C0")} << L{Hex("0304")};
        QTest::newRow("bytes between frames discarded") << L{Hex("C001C0FFEEC002C0")} << L{Hex("01"), Hex("02")};
        QTest::newRow("wake-up noise then frame") << L{Hex("C0C0C0C0C0C0C0C00A0BC0")} << L{Hex("0A0B")};
        QTest::newRow("frame without leading END lost") << L{Hex("0102C0"), Hex("C00304C0")} << L{Hex("0304")};
    }
    void decode()
    {
        QFETCH(QList<QByteArray>, chunks);
        QFETCH(QList<QByteArray>, frames);
        TComSlip slip;
        Collector collector;
        slip.AttachClient(&collector);
        for (const QByteArray& chunk : chunks)
            slip.Decode(chunk);
        QCOMPARE(collector.frames, frames);
    }

    void decode_withoutClientKeepsLastFrame()
    {
        TComSlip slip;
        slip.Decode(Hex("C00102C0C00304C0"));
        QCOMPARE(slip.LastFrame(), Hex("0304"));
        QCOMPARE(slip.DecoderState(), TComSlip::Idle);
    }

    void rawCapture_reportsEverythingSinceThePreviousFrame()
    {
        TComSlip slip;
        Collector collector;
        slip.AttachClient(&collector);
        TComSlip::SetRawCapture(true);
        slip.Decode(Hex("C0C0AA01C0"));
        slip.Decode(Hex("77C0DB5502C0C003C0"));
        TComSlip::SetRawCapture(false);
        slip.Decode(Hex("C004C0"));
        QCOMPARE(collector.frames, (QList<QByteArray>{Hex("AA01"), Hex("03"), Hex("04")}));
        QCOMPARE(collector.raws, (QList<QByteArray>{Hex("C0C0AA01C0"), Hex("77C0DB5502C0C003C0")}));
    }

    void hostileInput_neverBreaksTheDecoder()
    {
        TComSlip slip;
        Collector collector;
        slip.AttachClient(&collector);
        TComSlip::SetRawCapture(true);
        // An endless frame is abandoned once it outgrows any valid message.
        slip.Decode(Hex("C0") + QByteArray(TComSlip::kMaxFrameBytes * 3, 'x'));
        QVERIFY(collector.frames.isEmpty());
        // Nor may an escaped byte carry it past the limit; a frame of exactly the limit passes.
        slip.Decode(Hex("C0C0") + QByteArray(TComSlip::kMaxFrameBytes, 'x') + Hex("DBDCC0"));
        QVERIFY(collector.frames.isEmpty());
        slip.Decode(Hex("C0") + QByteArray(TComSlip::kMaxFrameBytes - 1, 'x') + Hex("DBDCC0"));
        QCOMPARE(collector.frames.size(), 1);
        QCOMPARE(collector.frames.first(), QByteArray(TComSlip::kMaxFrameBytes - 1, 'x') + Hex("C0"));
        collector.frames.clear();
        QRandomGenerator rng(1234);
        for (int round = 0; round < 200; ++round) {
            QByteArray junk(int(rng.bounded(1, 300)), 0);
            for (char& c : junk)
                c = char(rng.bounded(256));
            slip.Decode(junk);
        }
        TComSlip::SetRawCapture(false);
        collector.frames.clear();
        // The leading END may close a junk frame first; the real one still arrives intact.
        slip.Decode(Hex("C0C001011607C0"));
        QVERIFY(!collector.frames.isEmpty());
        QCOMPARE(collector.frames.last(), Hex("01011607"));
    }

    void roundTrip_randomMessages()
    {
        QRandomGenerator rng(42);
        TComSlip slip;
        Collector collector;
        slip.AttachClient(&collector);
        QList<QByteArray> sent;
        QByteArray wire;
        for (int i = 0; i < 100; ++i) {
            QByteArray message(int(rng.bounded(1, 504)), 0);
            for (char& c : message)
                c = char(rng.bounded(4) == 0 ? (rng.bounded(2) ? 0xC0 : 0xDB) : rng.bounded(256));
            sent << message;
            wire += TComSlip::Encode(message);
        }
        for (int pos = 0; pos < wire.size();) {
            const int n = int(rng.bounded(1, 64));
            slip.Decode(wire.mid(pos, n));
            pos += n;
        }
        QCOMPARE(collector.frames, sent);
    }
};

QTEST_APPLESS_MAIN(TestSlip)
#include "tst_slip.moc"

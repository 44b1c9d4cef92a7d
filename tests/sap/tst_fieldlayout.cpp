#include <QtTest>

#include "EveryLayout.h"
#include "TestEnvironment.h"
#include "sap/TFieldLayout.h"
#include "sap/TRtcTime.h"
#include "settings/TSettings.h"

namespace {
// name                     type
const TFieldLayoutEntry kEveryType[] = {
    {"A", "U8d"},
    {"B", "I8d"},
    {"C", "U8h"},
    {"D", "U16d"},
    {"E", "U16h"},
    {"F", "I16d"},
    {"G", "U24d"},
    {"H", "U24h"},
    {"I", "U32d"},
    {"J", "U32h"},
    {"K", "BATTLEVEL"},
    {"L", "DEVICETYPE"},
    {"M", "RTCTIME"},
    {"N", "OctetSeq-3"},
    {"O", "OctetSeq 2"},
    {nullptr, nullptr},
};

const TFieldLayoutEntry kWithOptional[] = {
    {"Reserved", "U8d"},
    {"Rate", "U8d"},
    {"Key", "OctetSeq-4"},
    {"Optional:Mask1", "U8d"},
    {"Optional:Mask2", "U16h"},
    {nullptr, nullptr},
};

const TFieldLayoutEntry kData[] = {
    {"Port", "U8h"},
    {"Payload", "OctetSeq-255"},
    {nullptr, nullptr},
};

TKeyValueList Params(std::initializer_list<std::pair<const char*, const char*>> pairs)
{
    TKeyValueList list;
    for (const auto& p : pairs)
        list.Append(QString::fromLatin1(p.first), QString::fromLatin1(p.second));
    return list;
}

/// Bytes a module could send for `layout`: distinct values that every type code shows and reads
/// back (a valid clock, a known device type), `dataBytes` in a data field, zeros in "Reserved".
QByteArray SampleBytes(const TFieldLayoutEntry* layout, int dataBytes, bool withOptional)
{
    // 2030-06-15 08:09:10 in the module's packed clock format.
    const quint32 rtc = (30u << 26) | (15u << 21) | (8u << 16) | (6u << 12) | (9u << 6) | 10u;
    // type         bytes
    const QMap<QString, int> sizes{{"U8d", 1}, {"I8d", 1}, {"U8h", 1}, {"U16d", 2}, {"U16h", 2}, {"I16d", 2}, {"U24d", 3},
                                   {"U24h", 3}, {"U32d", 4}, {"U32h", 4}, {"BATTLEVEL", 2}, {"DEVICETYPE", 1}, {"RTCTIME", 4}};
    QByteArray bytes;
    quint8 next = 0x11;
    for (; layout->name; ++layout) {
        const QString name = QString::fromLatin1(layout->name);
        const QString type = QString::fromLatin1(layout->type);
        if (!withOptional && name.startsWith(QLatin1String("Optional:")))
            break;
        int size = sizes.value(type, -1);
        if (type.startsWith(QLatin1String("OctetSeq"))) {
            size = type.mid(9).toInt();
            size = size > 16 ? qMin(size, dataBytes) : size;
        }
        if (name == QLatin1String("Reserved"))
            bytes.append(QByteArray(size, '\0'));
        else if (type == QLatin1String("RTCTIME"))
            for (int i = 0; i < 4; ++i)
                bytes.append(char(rtc >> (8 * i)));
        else if (type == QLatin1String("DEVICETYPE"))
            bytes.append(char(0x91));
        else
            for (int i = 0; i < size; ++i, next += 0x13)
                bytes.append(char(next));
    }
    return bytes;
}

QByteArray EveryTypePayload()
{
    // 2024-01-31 12:34:56 packed: year 24, day 31, hour 12, month 1, minute 34, second 56.
    const quint32 rtc = (24u << 26) | (31u << 21) | (12u << 16) | (1u << 12) | (34u << 6) | 56u;
    QByteArray p = QByteArray::fromHex("07" "FE" "0A" "3412" "BEBA" "FEFF" "563412" "0A0B0C" "78563412" "EFBEADDE" "E40C" "91");
    p.append(char(rtc & 0xFF)).append(char((rtc >> 8) & 0xFF)).append(char((rtc >> 16) & 0xFF)).append(char(rtc >> 24));
    p.append(QByteArray::fromHex("C0FFEE" "1234"));
    return p;
}
}

class TestFieldLayout : public QObject
{
    Q_OBJECT
private slots:
    void decode_everyTypeCode()
    {
        TSettings::Instance().SetIsoFormat(true);
        TKeyValueList record;
        const QByteArray payload = QByteArray(1, '\x55') + EveryTypePayload();
        QCOMPARE(TFieldLayout::Decode(kEveryType, payload, 1, record), payload.size());
        const QStringList expected{"7", "-2", "0x0A", "4660", "0xBABE", "-2", "1193046", "0x0C0B0A", "305419896",
                                   "0xDEADBEEF", "3300 mV", "Velto LR USB Stick", "2024-01-31 12:34:56", "C0 FF EE", "12 34"};
        QStringList values;
        for (const auto& item : record)
            values << item.second;
        QCOMPARE(values, expected);
        QCOMPARE(record.at(0).first, QStringLiteral("A"));

        TSettings::Instance().SetIsoFormat(false);
        record.clear();
        TFieldLayout::Decode(kEveryType, payload, 1, record);
        QCOMPARE(record.Value("M"), QStringLiteral("31.01.2024 12:34:56"));
        TSettings::Instance().SetIsoFormat(true);

        QByteArray unknownType = EveryTypePayload();
        unknownType[25] = char(0x42);
        record.clear();
        TFieldLayout::Decode(kEveryType, unknownType, 0, record);
        QCOMPARE(record.Value("L"), QStringLiteral("Unknown Device"));
    }

    void decode_everyPrefixStopsAtThePayloadEnd()
    {
        const QByteArray full = EveryTypePayload();
        const int sizes[] = {1, 1, 1, 2, 2, 2, 3, 3, 4, 4, 2, 1, 4, 3, 2};
        for (int length = 0; length <= full.size(); ++length) {
            // A heap copy of exactly `length` bytes: any read past it shows under a sanitizer.
            const QByteArray prefix(full.constData(), length);
            TKeyValueList record;
            const int end = TFieldLayout::Decode(kEveryType, prefix, 0, record);
            int complete = 0, used = 0;
            while (complete < 13 && used + sizes[complete] <= length)
                used += sizes[complete++];
            if (complete == 13 && used < length) {   // octet sequences take what is left
                ++complete;
                used = qMin(length, used + 3);
                if (used < length) {
                    ++complete;
                    used = length;
                }
            }
            QCOMPARE(record.size(), complete);
            QCOMPARE(end, used);
        }
    }

    void decode_optionalPrefixIsDropped()
    {
        TKeyValueList record;
        TFieldLayout::Decode(kWithOptional, QByteArray::fromHex("000501020304FF"), 0, record);
        QCOMPARE(record.size(), 4);
        QCOMPARE(record.at(3), qMakePair(QStringLiteral("Mask1"), QStringLiteral("255")));
    }

    void pack_exactBytes_data()
    {
        QTest::addColumn<TKeyValueList>("params");
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("optional fields left out") << Params({{"Rate", "5"}, {"Key", "01 02 03 04"}}) << QByteArray::fromHex("000501020304");
        QTest::newRow("one optional field") << Params({{"Rate", "0x05"}, {"Key", "01-02-03-04"}, {"Mask1", "255"}})
                                           << QByteArray::fromHex("000501020304FF");
        QTest::newRow("all optional fields") << Params({{"Key", "01020304"}, {"Rate", "5"}, {"Mask1", "1"}, {"Mask2", "0xBEEF"}})
                                             << QByteArray::fromHex("00050102030401EFBE");
        QTest::newRow("hex field without prefix") << Params({{"Rate", "5"}, {"Key", "0x01020304"}, {"Mask1", "1"}, {"Mask2", "beef"}})
                                                  << QByteArray::fromHex("00050102030401EFBE");
        QTest::newRow("reserved as read") << Params({{"Reserved", "90"}, {"Rate", "5"}, {"Key", "01020304"}}) << QByteArray::fromHex("5A0501020304");
    }
    void pack_exactBytes()
    {
        QFETCH(TKeyValueList, params);
        QFETCH(QByteArray, bytes);
        QByteArray payload;
        QString error;
        QVERIFY2(TFieldLayout::Pack(kWithOptional, params, payload, error), qPrintable(error));
        QCOMPARE(payload, bytes);
    }

    void pack_roundTripOfEveryType()
    {
        TKeyValueList record;
        const QByteArray original = EveryTypePayload();
        TFieldLayout::Decode(kEveryType, original, 0, record);
        QByteArray packed;
        QString error;
        QVERIFY2(TFieldLayout::Pack(kEveryType, record, packed, error), qPrintable(error));
        QCOMPARE(packed, original);
    }

    void everyLayout_packDecodePackGivesTheSameBytes_data()
    {
        QTest::addColumn<int>("index");
        for (int i = 0; i < int(std::size(kEveryLayout)); ++i)
            QTest::newRow(kEveryLayout[i].name) << i;
    }
    void everyLayout_packDecodePackGivesTheSameBytes()
    {
        QFETCH(int, index);
        TSettings::Instance().SetIsoFormat(true);
        const TFieldLayoutEntry* layout = kEveryLayout[index].layout;
        QStringList names;
        for (const TFieldLayoutEntry* field = layout; field->name; ++field) {
            const QString name = TFieldLayout::FieldName(field->name);
            QVERIFY2(name == QLatin1String("Reserved") || !names.contains(name), qPrintable(name + QStringLiteral(" twice")));
            names << name;
        }
        for (bool withOptional : {true, false}) {
            for (int dataBytes : {3, 0}) {
                const QByteArray original = SampleBytes(layout, dataBytes, withOptional);
                TKeyValueList first;
                QCOMPARE(TFieldLayout::Decode(layout, original, 0, first), original.size());
                QByteArray packed;
                QString error;
                QVERIFY2(TFieldLayout::Pack(layout, first, packed, error), qPrintable(error));
                QCOMPARE(packed, original);
                TKeyValueList second;
                TFieldLayout::Decode(layout, packed, 0, second);
                QCOMPARE(second, first);
                QByteArray again;
                QVERIFY2(TFieldLayout::Pack(layout, second, again, error), qPrintable(error));
                QCOMPARE(again, packed);
            }
        }
    }

    void pack_refusesBadParameters_data()
    {
        QTest::addColumn<TKeyValueList>("params");
        QTest::addColumn<QString>("error");
        QTest::newRow("missing key") << Params({{"Rate", "5"}}) << "error - parameter missing: Key";
        QTest::newRow("reserved out of range") << Params({{"Reserved", "256"}, {"Rate", "5"}, {"Key", "01020304"}})
                                               << "error - invalid value for Reserved: \"256\" (0..255)";
        QTest::newRow("number out of range") << Params({{"Rate", "256"}, {"Key", "01020304"}}) << "error - invalid value for Rate: \"256\" (0..255)";
        QTest::newRow("negative number") << Params({{"Rate", "-1"}, {"Key", "01020304"}}) << "error - invalid value for Rate: \"-1\" (0..255)";
        QTest::newRow("not a number") << Params({{"Rate", "five"}, {"Key", "01020304"}}) << "error - invalid value for Rate: \"five\" (0..255)";
        QTest::newRow("odd hex digits") << Params({{"Rate", "5"}, {"Key", "0102030"}}) << "error - invalid hex byte list for Key: \"0102030\"";
        QTest::newRow("not hex") << Params({{"Rate", "5"}, {"Key", "01 02 03 XY"}}) << "error - invalid hex byte list for Key: \"01 02 03 XY\"";
        QTest::newRow("short key") << Params({{"Rate", "5"}, {"Key", "010203"}}) << "error - Key needs exactly 4 bytes, got 3";
        QTest::newRow("long key") << Params({{"Rate", "5"}, {"Key", "0102030405"}}) << "error - too many bytes for Key: 5 (at most 4)";
        QTest::newRow("optional out of range") << Params({{"Rate", "5"}, {"Key", "01020304"}, {"Mask1", "1"}, {"Mask2", "0x10000"}})
                                               << "error - invalid value for Mask2: \"0x10000\" (0..65535)";
    }
    void pack_refusesBadParameters()
    {
        QFETCH(TKeyValueList, params);
        QFETCH(QString, error);
        QByteArray payload("untouched");
        QString text;
        QVERIFY(!TFieldLayout::Pack(kWithOptional, params, payload, text));
        QCOMPARE(text, error);
        QCOMPARE(payload, QByteArray("untouched"));
    }

    void pack_dataLimits()
    {
        QByteArray payload;
        QString error;
        QVERIFY(TFieldLayout::Pack(kData, Params({{"Port", "0x0A"}, {"Payload", ""}}), payload, error));
        QCOMPARE(payload, QByteArray::fromHex("0A"));
        TKeyValueList decoded;
        QCOMPARE(TFieldLayout::Decode(kData, payload, 0, decoded), 1);
        QCOMPARE(decoded, Params({{"Port", "0x0A"}, {"Payload", ""}}));
        TKeyValueList params = Params({{"Port", "10"}});
        params.Append(QStringLiteral("Payload"), QString::fromLatin1(QByteArray(255, '\x5A').toHex()));
        QVERIFY(TFieldLayout::Pack(kData, params, payload, error));
        QCOMPARE(payload.size(), 256);
        QCOMPARE(payload.at(0), char(0x10));
        params.Set(QStringLiteral("Payload"), QString::fromLatin1(QByteArray(256, '\x5A').toHex()));
        QVERIFY(!TFieldLayout::Pack(kData, params, payload, error));
        QCOMPARE(error, QStringLiteral("error - too many bytes for Payload: 256 (at most 255)"));
    }

    void rtcTime_packAndText()
    {
        const QDateTime t(QDate(2031, 12, 7), QTime(23, 5, 9));
        const quint32 packed = TRtcTime::Pack(t);
        QCOMPARE(packed, (31u << 26) | (7u << 21) | (23u << 16) | (12u << 12) | (5u << 6) | 9u);
        QCOMPARE(TRtcTime::Unpack(packed), t);
        QCOMPARE(TRtcTime::ToText(packed, true), QStringLiteral("2031-12-07 23:05:09"));
        QCOMPARE(TRtcTime::ToText(packed, false), QStringLiteral("07.12.2031 23:05:09"));
    }
};

TESSERA_TEST_MAIN(TestFieldLayout)
#include "tst_fieldlayout.moc"

// The field layouts of sap/*Layouts.h in both directions. Input: layout, mode, then either payload
// bytes (decode, pack what was decoded) or parameter texts separated by newlines (pack, decode,
// pack). Properties: decoding never reads past the payload, and whatever packs, packs again into
// the same bytes after a decode.
#include <QList>

#include "EveryLayout.h"
#include "FuzzSupport.h"
#include "sap/TFieldLayout.h"

namespace {
/// "Reserved" fields are packed as zeros whatever was decoded: they do not take part.
TKeyValueList WithoutReserved(const TKeyValueList& record)
{
    TKeyValueList kept;
    for (const TKeyValueList::Item& item : record)
        if (item.first != QLatin1String("Reserved"))
            kept << item;
    return kept;
}

void CheckPacksAgain(const TFieldLayoutEntry* layout, const QByteArray& packed)
{
    TKeyValueList decoded;
    FUZZ_CHECK(TFieldLayout::Decode(layout, packed, 0, decoded) == packed.size());
    QByteArray again;
    QString error;
    FUZZ_CHECK(TFieldLayout::Pack(layout, decoded, again, error));
    FUZZ_CHECK(again == packed);
}
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    const TFieldLayoutEntry* layout = kEveryLayout[data[0] % std::size(kEveryLayout)].layout;
    const bool fromBytes = (data[1] & 0x01) == 0;
    const auto rest = FuzzSupport::ExactCopy(data + 2, size - 2);
    const int length = int(size - 2);

    if (fromBytes) {
        TKeyValueList decoded;
        const int end = TFieldLayout::Decode(layout, rest.get(), length, 0, decoded);
        FUZZ_CHECK(end >= 0 && end <= length);
        QByteArray packed;
        QString error;
        if (TFieldLayout::Pack(layout, decoded, packed, error)) {
            TKeyValueList again;
            TFieldLayout::Decode(layout, packed, 0, again);
            FUZZ_CHECK(WithoutReserved(again) == WithoutReserved(decoded));
            CheckPacksAgain(layout, packed);
        }
        return 0;
    }

    const QList<QByteArray> texts = QByteArray(reinterpret_cast<const char*>(rest.get()), length).split('\n');
    const QStringList names = TFieldLayout::ParameterNames(layout);
    TKeyValueList params;
    for (int i = 0; i < names.size() && i < texts.size(); ++i)
        params.Append(names.at(i), QString::fromUtf8(texts.at(i)));
    QByteArray packed;
    QString error;
    if (TFieldLayout::Pack(layout, params, packed, error))
        CheckPacksAgain(layout, packed);
    else
        FUZZ_CHECK(error.startsWith(QLatin1String("error - ")));
    return 0;
}

// The receive path of the link: SLIP decoding of arbitrary line bytes, fed in chunks of every size,
// and the HCI frame check behind it. Properties: no frame outgrows the decoder's limit, every frame
// encodes and decodes back to itself, and a parsed message holds exactly the frame's payload.
#include <QVector>

#include "FuzzSupport.h"
#include "hci/TComSlip.h"
#include "hci/TComSlipClient.h"
#include "hci/TVeltoLRHCI.h"

namespace {
struct Collector : TComSlipClient {
    QVector<QByteArray> frames;
    void ProcessRxFrame(const QByteArray& frame) override { frames << frame; }
    void ProcessRxRawData(const QByteArray& raw, const QByteArray& frame) override
    {
        Q_UNUSED(frame)
        FUZZ_CHECK(raw.size() <= TComSlip::kMaxRawBytes);
    }
};
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    // First byte: bit 7 raw capture on, bits 0..5 the chunk size (0: all at once).
    const int chunk = data[0] & 0x3F;
    TComSlip::SetRawCapture((data[0] & 0x80) != 0);
    const auto line = FuzzSupport::ExactCopy(data + 1, size - 1);
    const qint64 length = qint64(size - 1);

    Collector collector;
    TComSlip slip;
    slip.AttachClient(&collector);
    for (qint64 offset = 0; offset < length;) {
        const qint64 n = chunk == 0 ? length : qMin<qint64>(chunk, length - offset);
        slip.Decode(reinterpret_cast<const char*>(line.get()) + offset, n);
        offset += n;
    }

    for (const QByteArray& frame : qAsConst(collector.frames)) {
        FUZZ_CHECK(frame.size() <= TComSlip::kMaxFrameBytes);
        if (!frame.isEmpty()) {
            Collector again;
            TComSlip decoder;
            decoder.AttachClient(&again);
            decoder.Decode(TComSlip::Encode(frame));
            FUZZ_CHECK(again.frames.size() == 1 && again.frames.first() == frame);
        }
        HCIMessage message;
        if (TVeltoLRHCI::ParseFrame(frame, message) == TVeltoLRHCI::FrameOk) {
            FUZZ_CHECK(frame.size() >= 4);
            FUZZ_CHECK(message.Length == qMin(frame.size() - 4, int(HCIMessage::kMaxPayload)));
            FUZZ_CHECK(message.SapID == quint8(frame.at(0)) && message.MsgID == quint8(frame.at(1)));
            FUZZ_CHECK(std::memcmp(message.Payload, frame.constData() + 2, message.Length) == 0);
        }
    }
    TComSlip::SetRawCapture(false);
    return 0;
}

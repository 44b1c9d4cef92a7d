#pragma once
#include <QByteArray>

/// Receiver of decoded SLIP frames; the decoder calls it for every complete frame.
class TComSlipClient
{
public:
    virtual ~TComSlipClient() = default;
    virtual void ProcessRxFrame(const QByteArray& frame) { Q_UNUSED(frame) }
    /// Raw bytes since the previous delivered frame (only while raw capture is on), then the frame.
    virtual void ProcessRxRawData(const QByteArray& raw, const QByteArray& frame) { Q_UNUSED(raw) Q_UNUSED(frame) }
};

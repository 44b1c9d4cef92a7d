#pragma once
#include <QByteArray>

class TComSlipClient;

/// SLIP (RFC 1055) framer: feed bytes in, complete frames leave through the client. No port inside.
class TComSlip
{
public:
    enum : quint8 { END = 0xC0, ESC = 0xDB, ESC_END = 0xDC, ESC_ESC = 0xDD };
    enum State { Idle = 1, InFrame = 2, Escape = 3 };
    /// A frame growing past this is line noise without END bytes: it is abandoned, never kept forever.
    static constexpr int kMaxFrameBytes = 4096;
    /// Raw capture keeps at most this many undecoded bytes before a frame (the newest ones).
    static constexpr int kMaxRawBytes = 8192;

    static QByteArray Encode(const QByteArray& data);
    void Decode(const QByteArray& chunk);
    void Decode(const char* data, qint64 length);

    void AttachClient(TComSlipClient* client) { m_client = client; }
    State DecoderState() const { return m_state; }
    /// Last frame completed while no client was attached.
    const QByteArray& LastFrame() const { return m_lastFrame; }

    /// Process-wide switch: keep the undecoded bytes for the Rx log.
    static void SetRawCapture(bool on);
    static bool RawCapture();

private:
    State m_state = Idle;
    QByteArray m_rxBuffer;
    QByteArray m_lastFrame;
    TComSlipClient* m_client = nullptr;
    QByteArray m_rawBuffer;
};

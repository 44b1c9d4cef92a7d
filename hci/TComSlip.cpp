#include "hci/TComSlip.h"
#include "hci/TComSlipClient.h"

namespace {
bool g_rawCapture = false;
}

void TComSlip::SetRawCapture(bool on) { g_rawCapture = on; }
bool TComSlip::RawCapture() { return g_rawCapture; }

QByteArray TComSlip::Encode(const QByteArray& data)
{
    QByteArray out;
    out.reserve(data.size() * 2 + 2);
    out.append(char(END));
    for (char c : data) {
        const quint8 b = quint8(c);
        if (b == END) {
            out.append(char(ESC));
            out.append(char(ESC_END));
        } else if (b == ESC) {
            out.append(char(ESC));
            out.append(char(ESC_ESC));
        } else {
            out.append(c);
        }
    }
    out.append(char(END));
    return out;
}

void TComSlip::Decode(const QByteArray& chunk)
{
    Decode(chunk.constData(), chunk.size());
}

void TComSlip::Decode(const char* data, qint64 length)
{
    const bool raw = g_rawCapture;
    for (qint64 i = 0; i < length; ++i) {
        const quint8 b = quint8(data[i]);
        if (raw) {
            if (m_rawBuffer.size() >= kMaxRawBytes)
                m_rawBuffer.remove(0, m_rawBuffer.size() - kMaxRawBytes / 2);
            m_rawBuffer.append(char(b));
        }
        switch (m_state) {
        case Idle:
            if (b == END) {
                m_rxBuffer.clear();
                m_state = InFrame;
            }
            break;
        case InFrame:
            if (b == END) {
                if (m_rxBuffer.isEmpty())
                    break;
                if (m_client) {
                    if (raw)
                        m_client->ProcessRxRawData(m_rawBuffer, m_rxBuffer);
                    m_client->ProcessRxFrame(m_rxBuffer);
                } else {
                    m_lastFrame = m_rxBuffer;
                }
                m_rawBuffer.clear();
                m_rxBuffer.clear();
                m_state = Idle;
            } else if (b == ESC) {
                m_state = Escape;
            } else if (m_rxBuffer.size() >= kMaxFrameBytes) {
                m_state = Idle;
            } else {
                m_rxBuffer.append(char(b));
            }
            break;
        case Escape:
            if (m_rxBuffer.size() >= kMaxFrameBytes) {
                m_state = Idle;   // an escaped byte may not carry a frame past the limit either
            } else if (b == ESC_END) {
                m_rxBuffer.append(char(END));
                m_state = InFrame;
            } else if (b == ESC_ESC) {
                m_rxBuffer.append(char(ESC));
                m_state = InFrame;
            } else {
                m_state = Idle;   // protocol error: abandon the partial frame silently
            }
            break;
        }
    }
}

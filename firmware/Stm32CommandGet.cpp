#include "firmware/Stm32CommandGet.h"

#include <QVariantMap>

namespace {
constexpr int kUsualAnswerBytes = 15;   // ACK, count, version, eleven codes, ACK
constexpr int kFramingBytes = 4;        // ACK, count, version, ACK around the codes (count = codes)
}

Stm32CommandGet::Stm32CommandGet(QObject* parent)
    : Stm32CommandBase(0x00, kUsualAnswerBytes, parent)
{
}

void Stm32CommandGet::send(QSerialPort* port, const QVariant& parameters)
{
    m_partial.clear();
    m_expectedBytes = kUsualAnswerBytes;
    Stm32CommandBase::send(port, parameters);
}

void Stm32CommandGet::parse(const QByteArray& data)
{
    const QByteArray frame = m_partial + data;
    m_partial.clear();
    m_expectedBytes = kUsualAnswerBytes;
    if (frame.size() >= 2 && quint8(frame.at(0)) == Ack) {
        const int total = quint8(frame.at(1)) + kFramingBytes;
        if (frame.size() < total) {
            m_partial = frame;
            m_expectedBytes = total - frame.size();
            return;
        }
    }
    if (!accept(frame) || frame.size() < 3)
        return;
    const int codes = quint8(frame.at(1));
    const quint8 version = quint8(frame.at(2));
    QVariantMap result;
    result.insert(QStringLiteral("versionMajor"), version >> 4);
    result.insert(QStringLiteral("versionMinor"), version & 0x0F);
    result.insert(QStringLiteral("commands"), frame.mid(3, qMin(codes, frame.size() - 4)));
    emit resultReady(result);
}

#include "tools/sim/TSimStm32Port.h"

#include <QTimer>

#include "tools/sim/TPseudoTerminal.h"

TSimStm32Port::TSimStm32Port(quint16 productId, bool extendedErase, QObject* parent)
    : QObject(parent)
    , m_pty(new TPseudoTerminal(this))
    , m_bootloader(productId, extendedErase)
    , m_splitTimer(new QTimer(this))
{
    m_splitTimer->setSingleShot(true);
    connect(m_splitTimer, &QTimer::timeout, this, [this]() {
        if (!m_queue.isEmpty())
            m_queue.first().second = 0;
        Drain();
    });
    connect(m_pty, &TPseudoTerminal::DataReceived, &m_bootloader, &TSimStm32Bootloader::Feed);
    connect(&m_bootloader, &TSimStm32Bootloader::EvSend, this, &TSimStm32Port::OnAnswer);
}

TSimStm32Port::~TSimStm32Port()
{
    m_pty->disconnect(this);
    m_bootloader.disconnect(this);
}

bool TSimStm32Port::Open(QString* error)
{
    return m_pty->Open(error);
}

void TSimStm32Port::Close()
{
    m_splitTimer->stop();
    m_queue.clear();
    m_pty->Close();
}

QString TSimStm32Port::PortName() const
{
    return m_pty->SlavePath();
}

void TSimStm32Port::SetPacing(bool on)
{
    m_pty->SetPacing(on ? kLineBaud : 0, kBitsPerByte8E1);
}

void TSimStm32Port::OnAnswer(const QByteArray& bytes)
{
    if (m_splitDelayMs > 0 && bytes.size() >= 2) {
        const int half = bytes.size() / 2;
        m_queue.append({bytes.left(half), 0});
        m_queue.append({bytes.mid(half), m_splitDelayMs});
    } else {
        m_queue.append({bytes, 0});
    }
    Drain();
}

void TSimStm32Port::Drain()
{
    while (!m_queue.isEmpty() && m_queue.first().second == 0)
        m_pty->Write(m_queue.takeFirst().first);
    if (!m_queue.isEmpty() && !m_splitTimer->isActive())
        m_splitTimer->start(m_queue.first().second);
}

#include "firmware/Stm32CommandUnprotect.h"

#include <QDebug>

Stm32CommandUnprotect::Stm32CommandUnprotect(QObject* parent)
    : Stm32CommandBase(0x73, 1, parent)
{
}

void Stm32CommandUnprotect::parse(const QByteArray& data)
{
    if (!accept(data))
        return;
    switch (m_subState) {
    case 0:
        if (data.size() < 2) {
            m_subState = 1;   // the second ACK follows once the option bytes are rewritten
            restartTimer();
            break;
        }
        Q_FALLTHROUGH();
    case 1:
        m_subState = 2;
        emit resultReady(true);
        break;
    default:
        qCDebug(lcStm32).noquote() << "unexpected state";
        break;
    }
}

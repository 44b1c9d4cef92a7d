#include "tools/sim/TPseudoTerminal.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QSocketNotifier>
#include <QTimer>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

namespace {
QElapsedTimer& Clock()
{
    static QElapsedTimer clock;
    if (!clock.isValid())
        clock.start();
    return clock;
}
}

TPseudoTerminal::TPseudoTerminal(QObject* parent)
    : QObject(parent)
{
}

TPseudoTerminal::~TPseudoTerminal()
{
    Close();
}

bool TPseudoTerminal::Open(QString* error)
{
    if (m_master >= 0)
        return true;
    // Close-on-exec: a program started by this one (a test starting tessera-cli) must not hold the
    // terminal open, or the port never goes away when the module does.
    const int fd = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0 || grantpt(fd) != 0 || unlockpt(fd) != 0) {
        if (error)
            *error = QStringLiteral("error - couldn't create pseudo-terminal: %1").arg(QString::fromLocal8Bit(strerror(errno)));
        if (fd >= 0)
            ::close(fd);
        return false;
    }
    char name[128] = {};
    if (ptsname_r(fd, name, sizeof name) != 0) {
        if (error)
            *error = QStringLiteral("error - no slave name for pseudo-terminal");
        ::close(fd);
        return false;
    }
    m_master = fd;
    m_slavePath = QString::fromLocal8Bit(name);
    m_slaveHold = ::open(name, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (m_slaveHold >= 0) {
        // Raw line: no echo, no line editing, all bytes pass as they are.
        termios tio{};
        if (tcgetattr(m_slaveHold, &tio) == 0) {
            cfmakeraw(&tio);
            tcsetattr(m_slaveHold, TCSANOW, &tio);
        }
    }
    m_readNotifier = new QSocketNotifier(m_master, QSocketNotifier::Read, this);
    connect(m_readNotifier, &QSocketNotifier::activated, this, &TPseudoTerminal::OnReadable);
    m_writeNotifier = new QSocketNotifier(m_master, QSocketNotifier::Write, this);
    m_writeNotifier->setEnabled(false);
    connect(m_writeNotifier, &QSocketNotifier::activated, this, &TPseudoTerminal::FlushOutput);
    m_paceTimer = new QTimer(this);
    m_paceTimer->setSingleShot(true);
    m_paceTimer->setTimerType(Qt::PreciseTimer);
    connect(m_paceTimer, &QTimer::timeout, this, &TPseudoTerminal::FlushOutput);
    m_inTimer = new QTimer(this);
    m_inTimer->setSingleShot(true);
    m_inTimer->setTimerType(Qt::PreciseTimer);
    connect(m_inTimer, &QTimer::timeout, this, &TPseudoTerminal::DrainInput);
    return true;
}

void TPseudoTerminal::Close()
{
    RemoveOwnLink();
    delete m_readNotifier;
    m_readNotifier = nullptr;
    delete m_writeNotifier;
    m_writeNotifier = nullptr;
    delete m_paceTimer;
    m_paceTimer = nullptr;
    delete m_inTimer;
    m_inTimer = nullptr;
    m_in.clear();
    if (m_slaveHold >= 0)
        ::close(m_slaveHold);
    m_slaveHold = -1;
    if (m_master >= 0)
        ::close(m_master);
    m_master = -1;
    m_out.clear();
}

bool TPseudoTerminal::CreateLink(const QString& linkPath, QString* error)
{
    if (m_master < 0)
        return false;
    auto fail = [error](const QString& text) {
        if (error)
            *error = text;
        return false;
    };
    // Only a link of our own or one whose terminal is gone (a killed simulator's) may be replaced:
    // anything else is someone's file or terminal.
    const QFileInfo existing(linkPath);
    const bool present = existing.isSymLink() || existing.exists();
    const bool ours = linkPath == m_linkPath || (existing.isSymLink() && existing.symLinkTarget() == m_slavePath);
    if (present && !ours) {
        if (!existing.isSymLink())
            return fail(QStringLiteral("error - %1 exists and is not a link: remove it or choose another path").arg(linkPath));
        if (existing.exists())
            return fail(QStringLiteral("error - %1 links to %2, which is in use: remove the link or choose another path")
                            .arg(linkPath, existing.symLinkTarget()));
    }
    RemoveOwnLink();
    const QFileInfo left(linkPath);
    if ((left.isSymLink() || left.exists()) && !QFile::remove(linkPath))
        return fail(QStringLiteral("error - couldn't replace the stale link %1").arg(linkPath));
    if (!QFile::link(m_slavePath, linkPath))
        return fail(QStringLiteral("error - couldn't create link %1").arg(linkPath));
    m_linkPath = linkPath;
    return true;
}

void TPseudoTerminal::RemoveOwnLink()
{
    // Someone may have put their own file in its place since.
    const QFileInfo link(m_linkPath);
    if (!m_linkPath.isEmpty() && link.isSymLink() && link.symLinkTarget() == m_slavePath)
        QFile::remove(m_linkPath);
    m_linkPath.clear();
}

void TPseudoTerminal::SetPacing(int baud, int bitsPerByte)
{
    m_paceBaud = baud > 0 ? baud : 0;
    m_paceBits = bitsPerByte > 0 ? bitsPerByte : 10;
    m_paceSent = 0;
    m_paceStartNs = Clock().nsecsElapsed();
}

void TPseudoTerminal::Write(const QByteArray& bytes)
{
    if (m_master < 0 || bytes.isEmpty())
        return;
    if (m_paceBaud > 0 && m_out.isEmpty() && !m_paceTimer->isActive()) {
        // A new burst after an idle line starts its own pacing clock.
        m_paceSent = 0;
        m_paceStartNs = Clock().nsecsElapsed();
    }
    m_out.append(bytes);
    FlushOutput();
}

void TPseudoTerminal::FlushOutput()
{
    if (m_master < 0 || m_out.isEmpty()) {
        if (m_writeNotifier)
            m_writeNotifier->setEnabled(false);
        return;
    }
    qint64 allowed = m_out.size();
    if (m_paceBaud > 0) {
        const qint64 elapsedNs = Clock().nsecsElapsed() - m_paceStartNs;
        const qint64 due = elapsedNs * m_paceBaud / (qint64(m_paceBits) * 1000000000LL) + 1;
        allowed = qMin<qint64>(allowed, qMax<qint64>(0, due - m_paceSent));
    }
    if (allowed > 0) {
        const ssize_t n = ::write(m_master, m_out.constData(), size_t(allowed));
        if (n > 0) {
            m_out.remove(0, int(n));
            m_paceSent += n;
        }
    }
    if (m_out.isEmpty()) {
        m_writeNotifier->setEnabled(false);
        return;
    }
    if (m_paceBaud > 0 && allowed < 64) {
        const qint64 nsPerByte = qint64(m_paceBits) * 1000000000LL / m_paceBaud;
        m_paceTimer->start(int(qMax<qint64>(1, nsPerByte * 16 / 1000000)));
    } else {
        m_writeNotifier->setEnabled(true);
    }
}

void TPseudoTerminal::OnReadable()
{
    char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(m_master, buffer, sizeof buffer);
        if (n > 0) {
            if (m_paceBaud == 0) {
                emit DataReceived(QByteArray(buffer, int(n)));
            } else {
                if (m_in.isEmpty() && !m_inTimer->isActive()) {
                    m_inTaken = 0;
                    m_inStartNs = Clock().nsecsElapsed();
                }
                m_in.append(buffer, int(n));
            }
            continue;
        }
        break;   // EAGAIN or nothing more; EIO cannot happen while we hold the slave open
    }
    if (!m_in.isEmpty())
        DrainInput();
}

void TPseudoTerminal::DrainInput()
{
    if (m_in.isEmpty() || !m_inTimer)
        return;
    const qint64 elapsedNs = Clock().nsecsElapsed() - m_inStartNs;
    const qint64 due = m_paceBaud > 0 ? elapsedNs * m_paceBaud / (qint64(m_paceBits) * 1000000000LL) + 1 - m_inTaken : m_in.size();
    const int take = int(qBound<qint64>(0, due, m_in.size()));
    if (take > 0) {
        const QByteArray bytes = m_in.left(take);
        m_in.remove(0, take);
        m_inTaken += take;
        emit DataReceived(bytes);
    }
    if (!m_in.isEmpty() && m_inTimer && !m_inTimer->isActive()) {
        const qint64 nsPerByte = m_paceBaud > 0 ? qint64(m_paceBits) * 1000000000LL / m_paceBaud : 0;
        m_inTimer->start(int(qMax<qint64>(1, nsPerByte * 16 / 1000000)));
    }
}

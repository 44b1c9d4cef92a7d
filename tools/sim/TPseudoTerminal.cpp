#include "tools/sim/TPseudoTerminal.h"

#include <QFile>
#include <QFileInfo>
#include <QSocketNotifier>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/timerfd.h>
#include <termios.h>
#include <unistd.h>

namespace {
qint64 NowNs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return qint64(now.tv_sec) * 1000000000LL + now.tv_nsec;
}

/// Arms a timerfd for an absolute monotonic time; a time of -1 disarms it.
void Arm(int timer, qint64 atNs)
{
    if (timer < 0)
        return;
    itimerspec spec{};
    if (atNs >= 0) {
        spec.it_value.tv_sec = time_t(atNs / 1000000000LL);
        spec.it_value.tv_nsec = long(atNs % 1000000000LL);
        if (spec.it_value.tv_sec == 0 && spec.it_value.tv_nsec == 0)
            spec.it_value.tv_nsec = 1;   // zero would disarm
    }
    timerfd_settime(timer, TFD_TIMER_ABSTIME, &spec, nullptr);
}

void Acknowledge(int timer)
{
    quint64 expirations = 0;
    [[maybe_unused]] const ssize_t n = ::read(timer, &expirations, sizeof expirations);
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
    m_outTimer = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    m_inTimer = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    if (m_outTimer >= 0) {
        m_outTimerNotifier = new QSocketNotifier(m_outTimer, QSocketNotifier::Read, this);
        connect(m_outTimerNotifier, &QSocketNotifier::activated, this, [this] {
            Acknowledge(m_outTimer);
            PumpOut();
        });
    }
    if (m_inTimer >= 0) {
        m_inTimerNotifier = new QSocketNotifier(m_inTimer, QSocketNotifier::Read, this);
        connect(m_inTimerNotifier, &QSocketNotifier::activated, this, [this] {
            Acknowledge(m_inTimer);
            PumpIn();
        });
    }
    return true;
}

void TPseudoTerminal::Close()
{
    RemoveOwnLink();
    delete m_readNotifier;
    m_readNotifier = nullptr;
    delete m_writeNotifier;
    m_writeNotifier = nullptr;
    delete m_outTimerNotifier;
    m_outTimerNotifier = nullptr;
    delete m_inTimerNotifier;
    m_inTimerNotifier = nullptr;
    for (int* timer : {&m_outTimer, &m_inTimer}) {
        if (*timer >= 0)
            ::close(*timer);
        *timer = -1;
    }
    m_inQueue.TakeAll();
    m_outQueue.TakeAll();
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
    const qint64 byteNs = baud > 0 ? qint64(bitsPerByte > 0 ? bitsPerByte : 10) * 1000000000LL / baud : 0;
    if (byteNs > 0) {
        // Wake-ups on time to the microsecond, not within the default 50 us of slack.
        prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
    } else {
        // Whatever still waits for the line goes at once.
        m_out += m_outQueue.TakeAll();
        const QByteArray in = m_inQueue.TakeAll();
        Arm(m_outTimer, -1);
        Arm(m_inTimer, -1);
        if (!in.isEmpty())
            emit DataReceived(in);
    }
    m_outQueue.SetByteNs(byteNs);
    m_inQueue.SetByteNs(byteNs);
    FlushOutput();
}

void TPseudoTerminal::Write(const QByteArray& bytes)
{
    if (m_master < 0 || bytes.isEmpty())
        return;
    if (!Paced()) {
        m_out.append(bytes);
        FlushOutput();
        return;
    }
    m_outQueue.Push(bytes, NowNs());
    PumpOut();
}

void TPseudoTerminal::PumpOut()
{
    m_out += m_outQueue.TakeDue(NowNs());
    FlushOutput();
    Arm(m_outTimer, m_outQueue.NextDueNs());
}

void TPseudoTerminal::FlushOutput()
{
    if (m_master >= 0 && !m_out.isEmpty()) {
        const ssize_t n = ::write(m_master, m_out.constData(), size_t(m_out.size()));
        if (n > 0)
            m_out.remove(0, int(n));
    }
    if (m_writeNotifier)
        m_writeNotifier->setEnabled(m_master >= 0 && !m_out.isEmpty());
}

void TPseudoTerminal::OnReadable()
{
    char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(m_master, buffer, sizeof buffer);
        if (n <= 0)
            break;   // EAGAIN or nothing more; EIO cannot happen while we hold the slave open
        if (Paced())
            m_inQueue.Push(QByteArray(buffer, int(n)), NowNs());
        else
            emit DataReceived(QByteArray(buffer, int(n)));
    }
    if (Paced())
        PumpIn();
}

void TPseudoTerminal::PumpIn()
{
    const QByteArray due = m_inQueue.TakeDue(NowNs());
    Arm(m_inTimer, m_inQueue.NextDueNs());
    if (!due.isEmpty())
        emit DataReceived(due);
}

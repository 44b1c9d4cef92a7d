#include "devices/TDiscoveryPolicy.h"

#include <QRegExp>

#include <algorithm>

#include "devices/TDiscoveryRates.h"

namespace {
// Wait before a blocked port is tried again, by how often it was blocked (the last step repeats):
// a module in its bootloader or held by another program is found within seconds, a port with
// something else behind it costs one probe every five minutes.
const int kBackoffSteps[] = {5000, 10000, 20000, 40000, 80000, 160000, 300000};
}

TDiscoveryPolicy::TDiscoveryPolicy() = default;

QStringList TDiscoveryPolicy::Matching(const TPortSource::Ports& ports, const QString& pattern)
{
    if (ports.present.isEmpty())
        return {};
    const QRegExp expression(pattern, Qt::CaseInsensitive, QRegExp::RegExp);
    QStringList named;
    for (const TPortSource::DevicePort& device : ports.devices)
        if (expression.indexIn(device.first) >= 0)
            named << device.second;
    QStringList result;
    for (const QString& port : ports.present)
        if (named.contains(port))
            result << port;
    return result;
}

QStringList TDiscoveryPolicy::Candidates(const Snapshot& now)
{
    QStringList candidates;
    for (const QString& pattern : now.defaultPatterns)
        candidates << Matching(now.system, pattern);
    for (const QString& pattern : now.extraPatterns)
        candidates << Matching(now.system, pattern);
    if (now.defaultPatterns.isEmpty() && now.extraPatterns.isEmpty())
        candidates = now.system.present;
    for (const HandAdded& path : now.handAdded)
        if (path.kind == TPortSource::PathSerial || path.kind == TPortSource::PathPseudoTerminal || path.kind == TPortSource::PathName)
            candidates << path.port;
    return candidates;
}

bool TDiscoveryPolicy::IsPseudoTerminalPath(const QString& port)
{
    return port.startsWith(QLatin1String("/dev/pts/"));
}

QString TDiscoveryPolicy::IdentityOf(const QString& port) const
{
    QStringList identities;
    for (const TPortSource::DevicePort& device : m_now.system.devices)
        if (device.second == port)
            identities << device.first;
    identities.sort();
    return identities.join(QLatin1Char(';'));
}

void TDiscoveryPolicy::Remember(const QString& port, bool selected)
{
    Record& r = m_records[port];
    r.phase = Phase::Gone;
    r.remembered = true;
    r.selected = selected;
}

QList<TDiscoveryPolicy::Decision> TDiscoveryPolicy::Tick(const Snapshot& now, qint64 clockMs)
{
    m_now = now;
    m_unsettled = false;
    QList<Decision> out;

    QSet<QString> present(now.system.present.begin(), now.system.present.end());
    for (const HandAdded& path : now.handAdded)
        if (path.kind == TPortSource::PathSerial || path.kind == TPortSource::PathPseudoTerminal)
            present << path.port;
    QSet<QString> occupied(now.released.begin(), now.released.end());

    for (const Device& d : now.devices) {
        occupied << d.port;
        if (d.busy) {
            m_unsettled = true;   // judged once its wait has returned
            continue;
        }
        const bool here = present.contains(d.port);
        if (here && !d.linkLost) {
            if (d.presence != kPresenceTicks)
                out << Decision{Decision::Presence, d.port, kPresenceTicks};
            continue;
        }
        m_unsettled = true;
        if (here && !d.parked) {
            // The port is back but the link died with the old one: a module (the same or another) is behind it.
            Remember(d.port, d.selected);
            out << Decision{Decision::Remove, d.port};
            occupied.remove(d.port);
            continue;
        }
        const int left = d.presence > 0 ? d.presence - 1 : 0;
        if (left > 0) {
            out << Decision{Decision::Presence, d.port, left};
            continue;
        }
        if (d.parked) {
            m_records.remove(d.port);
            out << Decision{Decision::DropParked, d.port};
        } else {
            Remember(d.port, d.selected);
            out << Decision{Decision::Remove, d.port};
        }
        occupied.remove(d.port);
    }

    for (const HandAdded& path : now.handAdded) {
        if (path.kind == TPortSource::PathOther && !m_refused.contains(path.port)) {
            m_refused << path.port;
            out << Decision{Decision::RefusePath, path.port};
        } else if (path.kind == TPortSource::PathMissing && IsPseudoTerminalPath(path.port) && !occupied.contains(path.port)) {
            out << Decision{Decision::DropPath, path.port};
        }
    }

    const QStringList candidates = Candidates(now);
    QSet<QString> probed;
    for (const QString& port : candidates) {
        if (occupied.contains(port) || probed.contains(port))
            continue;
        Record& r = m_records[port];
        if (r.phase == Phase::Blocked && (r.permanent || clockMs < r.retryAt))
            continue;
        if (r.remembered && !r.identity.isEmpty() && r.identity != IdentityOf(port))
            r.remembered = false;   // another module took the port
        if (r.rateIndex < 0)
            r.rateIndex = TDiscoveryRates::FirstIndex(now.rateFlags);
        if (r.phase == Phase::Idle || r.phase == Phase::Gone || r.phase == Phase::Connected)
            r.phase = Phase::Probing;   // a Connected record without its device is stale: the devices are the truth
        probed << port;
        out << Decision{Decision::Probe, port, TDiscoveryRates::RateAt(r.rateIndex), r.remembered};
    }
    DropVanished(candidates);
    return out;
}

void TDiscoveryPolicy::DropVanished(const QStringList& candidates)
{
    for (auto it = m_records.begin(); it != m_records.end();) {
        Record& r = it.value();
        const bool retrying = r.phase == Phase::Idle || r.phase == Phase::Probing || r.phase == Phase::Pending || (r.phase == Phase::Blocked && !r.permanent);
        if (!retrying || candidates.contains(it.key())) {
            ++it;
            continue;
        }
        // Its port went: when it comes back it starts afresh (a replugged module is found at once).
        if (!r.remembered) {
            it = m_records.erase(it);
            continue;
        }
        const Record kept = r;
        r = Record();
        r.phase = Phase::Gone;
        r.remembered = true;
        r.selected = kept.selected;
        r.identity = kept.identity;
        ++it;
    }
}

int TDiscoveryPolicy::BackoffMs(int blocks) const
{
    return kBackoffSteps[std::min(blocks, int(std::size(kBackoffSteps)) - 1)];
}

TDiscoveryPolicy::Decision TDiscoveryPolicy::ProbeFailed(const QString& port, qint64 clockMs)
{
    Record& r = m_records[port];
    const QList<bool>& flags = m_now.rateFlags;
    if (r.rateIndex < 0)
        r.rateIndex = TDiscoveryRates::FirstIndex(flags);
    r.rateIndex = TDiscoveryRates::PreviousIndex(flags, r.rateIndex);
    const bool backoffTry = r.phase == Phase::Blocked;
    ++r.attempts;
    if (!backoffTry && r.attempts <= kRetriesPerRate * TDiscoveryRates::Count(flags)) {
        r.phase = Phase::Pending;
        return Decision{Decision::Retry, port, TDiscoveryRates::RateAt(r.rateIndex)};
    }
    const int wait = BackoffMs(r.blocks);
    ++r.blocks;
    r.phase = Phase::Blocked;
    r.retryAt = clockMs + wait;
    return Decision{Decision::Block, port, wait, false, r.blocks > 1};
}

bool TDiscoveryPolicy::ProbeSucceeded(const QString& port)
{
    Record& r = m_records[port];
    const bool reselect = r.remembered && r.selected;
    r = Record();
    r.phase = Phase::Connected;
    r.identity = IdentityOf(port);
    return reselect;
}

void TDiscoveryPolicy::Block(const QString& port)
{
    Record& r = m_records[port];
    r.phase = Phase::Blocked;
    r.permanent = true;
}

void TDiscoveryPolicy::Forget(const QString& port)
{
    m_records.remove(port);
    m_refused.remove(port);
}

void TDiscoveryPolicy::Reset()
{
    for (auto it = m_records.begin(); it != m_records.end();) {
        Record& r = it.value();
        if (r.phase != Phase::Blocked && r.phase != Phase::Pending) {
            ++it;
        } else if (r.remembered) {
            r.phase = Phase::Gone;
            r.attempts = 0;
            r.rateIndex = -1;
            r.blocks = 0;
            r.permanent = false;
            ++it;
        } else {
            it = m_records.erase(it);
        }
    }
}

QStringList TDiscoveryPolicy::PortsIn(Phase phase) const
{
    QStringList ports;
    for (auto it = m_records.constBegin(); it != m_records.constEnd(); ++it)
        if (it->phase == phase)
            ports << it.key();
    return ports;
}

QStringList TDiscoveryPolicy::Pending() const
{
    return PortsIn(Phase::Pending);
}

QStringList TDiscoveryPolicy::Blocked() const
{
    return PortsIn(Phase::Blocked);
}

bool TDiscoveryPolicy::Reconnecting(const QString& port) const
{
    const auto it = m_records.constFind(port);
    return it != m_records.constEnd() && it->remembered && (it->phase == Phase::Probing || it->phase == Phase::Pending);
}

int TDiscoveryPolicy::NextWakeMs(qint64 clockMs) const
{
    if (m_unsettled)
        return kTickMs;
    for (const HandAdded& path : m_now.handAdded)
        if (path.kind != TPortSource::PathOther)
            return kTickMs;   // a path's presence is a stat per tick
    qint64 next = -1;
    for (const Record& r : m_records) {
        if (r.phase == Phase::Pending || r.phase == Phase::Probing)
            return kTickMs;
        if (r.phase == Phase::Blocked && !r.permanent)
            next = next < 0 ? r.retryAt : std::min(next, r.retryAt);
    }
    return next < 0 ? -1 : int(std::max<qint64>(0, next - clockMs));
}

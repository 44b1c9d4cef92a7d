#pragma once
#include <QMap>
#include <QString>

#include "settings/TConfigInstaller.h"

class QJsonValue;

/// Names of the firmware's trace events, read from the trace event configuration file (JSON:
/// {"Events": [{"Name": "...", "Value": "0x12"}, ...]}), so that new events get names without a
/// new studio. One table for the whole program; loading writes its progress to the status log.
class TTraceEventConfig
{
public:
    static constexpr const char* kSource = "VTTrace";
    /// File name used when the controller is given no other (in the configuration directory).
    static constexpr const char* kDefaultFileName = TConfigInstaller::kTraceEventsFile;

    static TTraceEventConfig& Instance();
    /// The configuration directory + "/Velto_LR_TraceEvents.json".
    static QString DefaultPath();

    /// Replaces the table with the file's events; false (table empty or partly filled, reason in
    /// LastError) when the file is missing, unreadable, not JSON or without an "Events" array.
    bool Load(const QString& path);
    void Clear() { m_events.clear(); }
    /// Event name, or an empty text when the identifier has none.
    QString Name(quint8 id) const { return m_events.value(id); }
    const QMap<quint8, QString>& Events() const { return m_events; }
    QString LastError() const { return m_lastError; }

private:
    TTraceEventConfig() = default;
    void Fail(const QString& text);
    bool ReadValue(const QJsonValue& value, quint8& id) const;

    QMap<quint8, QString> m_events;
    QString m_lastError;
};

#pragma once
#include <QObject>
#include <QStringList>

/// Installs the configuration files shipped beside the program into the user's data directory:
/// missing ones are copied, and a newer shipped file replaces the user's copy (kept as "_old").
class TConfigInstaller : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    /// The prepared radio messages of the point-to-point radio pages.
    static constexpr const char* kRadioMsgFile = "Velto_LR_RadioMsg.cfg";
    /// The names of the trace events.
    static constexpr const char* kTraceEventsFile = "Velto_LR_TraceEvents.json";

    /// Every "Velto_LoRaWAN_Config*.json" in the program's directory, "Velto_LoRaWAN_Tessera.ini",
    /// and "Velto_LR_TraceEvents.json" and "Velto_LR_RadioMsg.cfg" when they are there.
    static QStringList ShippedFiles(const QString& programDirectory);
    /// "FileVersion" of a .json file, group "FileVersion" key "Version" of an .ini file, the line
    /// "FileVersion:<version>" of a .cfg file; "default" when missing or unreadable.
    QString FileVersion(const QString& path);
    /// True when version a is later than b, compared part by part as integers; any number is later than "default".
    static bool IsNewer(const QString& a, const QString& b);

    /// Installs `fileNames` from `programDirectory` into `dataDirectory` (empty: the settings store's data directory).
    /// False when a step failed; every step and failure is told through EvShowMessage.
    bool Install(const QString& programDirectory, const QStringList& fileNames, const QString& dataDirectory = QString());

signals:
    void EvShowMessage(const QString& text);

private:
    bool CopyIn(const QString& source, const QString& target);
};

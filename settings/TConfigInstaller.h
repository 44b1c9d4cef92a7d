#pragma once
#include <QObject>
#include <QStringList>

/// Installs the configuration files shipped beside the program into the user's data directory:
/// missing ones are copied, and a newer shipped file replaces the user's copy (kept as "_old").
class TConfigInstaller : public QObject
{
    Q_OBJECT
public:
    /// Every "Velto_LoRaWAN_Config*.json" in the program's directory and "Velto_LoRaWAN_Tessera.ini".
    static QStringList ShippedFiles(const QString& programDirectory);
    /// "FileVersion" of a .json file, group "FileVersion" key "Version" of an .ini file; "default" when missing.
    QString FileVersion(const QString& path);
    /// True when version a is later than b, compared part by part as integers; any number is later than "default".
    static bool IsNewer(const QString& a, const QString& b);

    void Install(const QString& programDirectory, const QStringList& fileNames, const QString& dataDirectory);

signals:
    void EvShowMessage(const QString& text);
};

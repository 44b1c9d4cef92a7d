#pragma once
#include <QString>

/// Who the virtual module says it is.
struct TSimIdentity
{
    QString firmwareName = QStringLiteral("Velto_LoRaWAN");
    QString radioStack = QStringLiteral("LoRaWAN 1.0.3");
    QString band = QStringLiteral("EU868");
    QString appName = QStringLiteral("EndNode");
    quint8 versionMajor = 2;
    quint8 versionMinor = 4;
    quint16 buildCount = 117;
    QString buildDate = QStringLiteral("2026-11-02");   ///< exactly 10 characters on the wire
    quint8 deviceType = 0x91;
    quint32 deviceAddress = 0x26011F3A;
    quint32 deviceId = 0x0042A1C7;

    /// "FWName;RadioStack;Band;AppName", or just the name when the rest is empty.
    QString FirmwareText() const;
};

#pragma once
#include <QByteArray>
#include <QString>

#include "base/TCodeTables.h"

/// What the studio and a gateway say to each other over UDP (docs/gateway.md): the call
/// "MarlinOne::<server port>" and the status answers "MarlinOne::Status::<code>[::<detail>]".
/// Pure text in and out, so the caller, the virtual gateway and the tests share one reading.
class TGatewayProtocol
{
public:
    static constexpr quint16 kDefaultPort = 51000;      ///< server and gateway port unless set otherwise
    static constexpr quint16 kWebPort = 8080;           ///< the gateway's web interface (HTTP)
    static constexpr int kMaxDatagramBytes = 512;       ///< longer answers are not ours
    static constexpr int kMaxCode = 999;                ///< codes are shown with three digits

    /// "MarlinOne::51000" as UTF-8.
    static QByteArray CallDatagram(quint16 serverPort);
    /// The server port a call names; false for anything that is not a call with a port 1..65535.
    static bool ParseCall(const QByteArray& datagram, quint16& serverPort);

    /// "MarlinOne::Status::2" or "MarlinOne::Status::2::detail".
    static QByteArray StatusDatagram(int code, const QString& detail = QString());
    /// Code and detail of a status answer; false with `error` saying why the datagram is not one.
    static bool ParseStatus(const QByteArray& datagram, int& code, QString& detail, QString& error);

    /// True when the code is in the status table.
    static bool IsKnown(int code);
    /// The table's text, or "Unexpected Status Code!" for a code outside it.
    static QString CodeText(int code);
    /// "Status(E002) - Connected to the studio", with ": <detail>" when the gateway sent one.
    static QString StatusText(int code, const QString& detail = QString());
    /// The status table (ends with a null text); for documentation and shape checks.
    static const TCodeTableEntry* StatusTable();
    /// "http://<address>:8080".
    static QString WebAddress(const QString& address);
};

#include "gateway/TGatewayProtocol.h"

namespace {
const char* const kCallPrefix = "MarlinOne::";
const char* const kStatusPrefix = "MarlinOne::Status::";
const char* const kDetailSeparator = "::";
const char* const kUnexpected = "Unexpected Status Code!";

// What a gateway tells the studio about a call, in the order a call goes.
// code  text
const TCodeTableEntry kStatusTable[] = {
    {0, "Call received"},
    {1, "Calling the studio back"},
    {2, "Connected to the studio"},
    {3, "Connection to the studio closed"},
    {10, "Request not understood"},
    {11, "Server port out of range"},
    {12, "Studio not reachable on the server port"},
    {13, "Gateway busy with another studio"},
    {20, "Gateway restarting"},
    {21, "Gateway configuration error"},
    {0, nullptr},
};

/// Netcat and shell users end a line; the line end is not part of the message.
QByteArray WithoutLineEnd(QByteArray datagram)
{
    if (datagram.endsWith('\n'))
        datagram.chop(1);
    if (datagram.endsWith('\r'))
        datagram.chop(1);
    return datagram;
}

const TCodeTableEntry* Find(int code)
{
    for (const TCodeTableEntry* row = kStatusTable; row->text; ++row)
        if (int(row->code) == code)
            return row;
    return nullptr;
}

bool AllDigits(const QByteArray& text)
{
    for (char c : text)
        if (c < '0' || c > '9')
            return false;
    return !text.isEmpty();
}
}

QByteArray TGatewayProtocol::CallDatagram(quint16 serverPort)
{
    return QByteArray(kCallPrefix) + QByteArray::number(serverPort);
}

bool TGatewayProtocol::ParseCall(const QByteArray& datagram, quint16& serverPort)
{
    const QByteArray text = WithoutLineEnd(datagram);
    if (!text.startsWith(kCallPrefix))
        return false;
    const QByteArray digits = text.mid(int(qstrlen(kCallPrefix)));
    if (!AllDigits(digits) || digits.size() > 5)
        return false;
    const uint port = digits.toUInt();
    if (port == 0 || port > 65535)
        return false;
    serverPort = quint16(port);
    return true;
}

QByteArray TGatewayProtocol::StatusDatagram(int code, const QString& detail)
{
    QByteArray datagram = kStatusPrefix + QByteArray::number(code);
    if (!detail.isEmpty())
        datagram += kDetailSeparator + detail.toUtf8();
    return datagram;
}

bool TGatewayProtocol::ParseStatus(const QByteArray& datagram, int& code, QString& detail, QString& error)
{
    if (datagram.size() > kMaxDatagramBytes) {
        error = QStringLiteral("longer than %1 bytes").arg(kMaxDatagramBytes);
        return false;
    }
    const QByteArray text = WithoutLineEnd(datagram);
    if (!text.startsWith(kStatusPrefix)) {
        error = QStringLiteral("no \"%1\" in front").arg(QLatin1String(kStatusPrefix));
        return false;
    }
    const QByteArray rest = text.mid(int(qstrlen(kStatusPrefix)));
    const int separator = rest.indexOf(kDetailSeparator);
    const QByteArray digits = separator < 0 ? rest : rest.left(separator);
    if (!AllDigits(digits) || digits.size() > 3) {
        error = QStringLiteral("status code \"%1\" is not a number from 0 to %2").arg(QString::fromLatin1(digits.left(16).toPercentEncoding()))
                    .arg(kMaxCode);
        return false;
    }
    QString words = separator < 0 ? QString() : QString::fromUtf8(rest.mid(separator + int(qstrlen(kDetailSeparator))));
    if (words.contains(QChar::ReplacementCharacter)) {
        error = QStringLiteral("detail is not UTF-8 text");
        return false;
    }
    // A tab or a line end inside the detail would break the status box's one line per answer.
    for (QChar& c : words)
        if (c.category() == QChar::Other_Control)
            c = QLatin1Char(' ');
    code = digits.toInt();
    detail = words.trimmed();
    return true;
}

bool TGatewayProtocol::IsKnown(int code)
{
    return Find(code) != nullptr;
}

QString TGatewayProtocol::CodeText(int code)
{
    const TCodeTableEntry* row = Find(code);
    return QString::fromLatin1(row ? row->text : kUnexpected);
}

QString TGatewayProtocol::StatusText(int code, const QString& detail)
{
    QString text = QStringLiteral("Status(E%1) - ").arg(code, 3, 10, QLatin1Char('0')) + CodeText(code);
    if (!detail.isEmpty())
        text += QStringLiteral(": ") + detail;
    return text;
}

const TCodeTableEntry* TGatewayProtocol::StatusTable()
{
    return kStatusTable;
}

QString TGatewayProtocol::WebAddress(const QString& address)
{
    // An IPv6 address stands in brackets inside a URL.
    const QString host = address.contains(QLatin1Char(':')) ? QLatin1Char('[') + address + QLatin1Char(']') : address;
    return QStringLiteral("http://") + host + QLatin1Char(':') + QString::number(kWebPort);
}

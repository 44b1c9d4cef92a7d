#pragma once
#include <QMap>
#include <QObject>
#include <QString>

#include "base/TCodeTables.h"
#include "base/TKeyValueList.h"
#include "hci/HCIMessage.h"
#include "hci/THCIReceiver.h"

class TVeltoLRHCI;

/// Base of every service access point: the SapID, the attachment to a link, the synchronous
/// request with its status byte, and the texts of results, commands and messages.
class TVeltoLRSAP : public QObject, public THCIReceiver
{
    Q_OBJECT
public:
    TVeltoLRSAP(quint8 sapId, const TCodeTableEntry* statusTable, const QString& name, QObject* parent = nullptr);

    quint8 SapID() const { return m_sapId; }
    QString Name() const { return m_name; }

    /// Registers this service with the link so that its SapID's events come here; null detaches.
    void AttachLink(TVeltoLRHCI* link);
    TVeltoLRHCI* Link() const { return m_link; }

    bool Send(quint8 msgId, const quint8* payload, quint16 length);
    bool Send(quint8 sapId, quint8 msgId, const quint8* payload, quint16 length);
    /// True when the response arrived and its status byte is 0.
    bool Request(quint8 msgId, quint8 rspMsgId, const quint8* payload = nullptr, quint16 length = 0);
    bool Request(quint8 msgId, const QByteArray& payload) { return Request(msgId, quint8(msgId + 1), reinterpret_cast<const quint8*>(payload.constData()), quint16(payload.size())); }

    /// The response's payload of the last request (status byte first).
    QByteArray ResponsePayload() const;
    const HCIMessage& Response() const { return m_response; }
    int LastHCIResult() const { return m_hciResult; }
    quint8 StatusByte() const { return m_status; }
    bool StatusValid() const { return m_statusValid; }
    /// The HCI result's text when no response came, else the status byte's text.
    QString ResultText() const;
    /// Lets a service report a parameter error as its last result before anything is sent.
    void SetErrorText(const QString& text);

    static QString CodeLookup(const TCodeTableEntry* table, quint32 code);
    /// True for the commands of the service's command table: only these may be invoked by name.
    bool HasCommand(const QString& name) const { return m_commands.contains(name); }
    /// The parameter names a command accepts, in table order (empty: it takes none).
    QStringList ParameterNames(const QString& command) const { return m_parameters.value(command); }
    /// False with an "error - ..." text when a parameter name is not one of the command's or is
    /// given twice; checked before anything is sent.
    bool CheckParameters(const QString& command, const TKeyValueList& parameters, QString& error) const;
    QString CommandDescription(const QString& name);
    QString LastDescription() const { return m_lastDescription; }
    QStringList CommandNames() const { return m_commands.keys(); }
    QString MessageName(quint8 msgId) const;

    QString PortName() const;
    bool SetBaudrate(const QString& baudrateText);
    QString BaudrateText() const;

    /// Decodes an unsolicited message into `record` (which starts with "HostTime" and "Port");
    /// false when the message is not one of this service's events.
    bool ProcessHCIMessage(const HCIMessage& message, TKeyValueList& record) override;
    QString ReceiverName() const override { return m_name; }

protected:
    /// Reports a response whose data ends early; always false.
    bool TooShort(int length);
    /// Appends the fields of `layout` from a response (after its status byte); false when the
    /// response is too short for the fields that are not optional.
    bool DecodeFixed(const TFieldLayoutEntry* layout, const quint8* payload, int length, TKeyValueList& record);
    void RegisterCommandTable(const TCommandTableEntry* table);
    void RegisterMessageNameTable(const TCodeTableEntry* table);

    TVeltoLRHCI* m_link = nullptr;
    quint8 m_sapId;
    QString m_name;
    HCIMessage m_response;
    int m_hciResult = 0;
    quint8 m_status = 0;
    bool m_statusValid = false;
    const TCodeTableEntry* m_statusTable;
    QMap<QString, QString> m_commands;
    QMap<QString, QStringList> m_parameters;
    QString m_lastDescription;
    QString m_errorText;
    QMap<QString, QString> m_messageNames;
};

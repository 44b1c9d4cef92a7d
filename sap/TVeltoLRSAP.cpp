#include "sap/TVeltoLRSAP.h"

#include "hci/TVeltoLRHCI.h"
#include "sap/TFieldLayout.h"
#include "base/THexText.h"

TVeltoLRSAP::TVeltoLRSAP(quint8 sapId, const TCodeTableEntry* statusTable, const QString& name, QObject* parent)
    : QObject(parent)
    , m_sapId(sapId)
    , m_name(name)
    , m_statusTable(statusTable)
{
    TKeyValueList::RegisterMetaType();
}

void TVeltoLRSAP::AttachLink(TVeltoLRHCI* link)
{
    m_link = link;
    if (link)
        link->RegisterSAP(m_sapId, this);
}

void TVeltoLRSAP::RegisterCommandTable(const TCommandTableEntry* table)
{
    for (; table && table->name; ++table) {
        const QString name = QString::fromLatin1(table->name);
        m_commands.insert(name, QString::fromLatin1(table->description));
        QStringList parameters;
        if (table->layout) {
            parameters = TFieldLayout::ParameterNames(table->layout);
            // Reserved fields may be given back as they were read (in order), one value per field.
            for (int i = TFieldLayout::ReservedFields(table->layout); i > 0; --i)
                parameters << QStringLiteral("Reserved");
        }
        else if (table->parameters)
            parameters = QString::fromLatin1(table->parameters).split(QLatin1Char(','));
        m_parameters.insert(name, parameters);
    }
}

bool TVeltoLRSAP::CheckParameters(const QString& command, const TKeyValueList& parameters, QString& error) const
{
    const QStringList valid = m_parameters.value(command);
    QStringList unique = valid;
    unique.removeDuplicates();
    QStringList seen;
    for (const TKeyValueList::Item& item : parameters) {
        if (valid.isEmpty()) {
            error = QStringLiteral("error - %1 takes no parameters, got \"%2\"").arg(command, item.first);
            return false;
        }
        if (!valid.contains(item.first)) {
            error = QStringLiteral("error - unknown parameter \"%1\" of %2; valid parameters: %3").arg(item.first, command, unique.join(QStringLiteral(", ")));
            return false;
        }
        if (seen.count(item.first) >= valid.count(item.first)) {
            error = QStringLiteral("error - parameter \"%1\" given more than once").arg(item.first);
            return false;
        }
        seen << item.first;
    }
    return true;
}

void TVeltoLRSAP::RegisterMessageNameTable(const TCodeTableEntry* table)
{
    for (; table && table->text; ++table)
        m_messageNames.insert(THexText::Digits(table->code, 2), QString::fromLatin1(table->text));
}

bool TVeltoLRSAP::Send(quint8 msgId, const quint8* payload, quint16 length)
{
    return Send(m_sapId, msgId, payload, length);
}

bool TVeltoLRSAP::Send(quint8 sapId, quint8 msgId, const quint8* payload, quint16 length)
{
    if (!m_link)
        return false;
    return m_link->SendMessage(sapId, msgId, payload, length) == HCIResult_OK;
}

bool TVeltoLRSAP::Request(quint8 msgId, quint8 rspMsgId, const quint8* payload, quint16 length)
{
    m_errorText.clear();
    if (!m_link) {
        m_hciResult = HCIResult_NoRadioInterface;
        m_statusValid = false;
        return false;
    }
    const HCIResult result = m_link->SendRequest(m_sapId, msgId, rspMsgId, payload, length);
    if (result != HCIResult_OK) {
        m_hciResult = result;
        m_statusValid = false;
        if (m_link->PortLost())
            SetErrorText(QStringLiteral("error - the module was disconnected (port %1 lost)").arg(m_link->PortName()));
        return false;
    }
    m_hciResult = HCIResult_OK;
    m_response = m_link->Response();
    // A response without any payload carries no status: treat it as a wrong answer, never as success.
    m_status = m_response.Length > 0 ? m_response.Payload[0] : 0xFF;
    m_statusValid = true;
    return m_status == 0;
}

QByteArray TVeltoLRSAP::ResponsePayload() const
{
    return QByteArray(reinterpret_cast<const char*>(m_response.Payload), m_response.Length);
}

QString TVeltoLRSAP::ResultText() const
{
    if (!m_errorText.isEmpty())
        return m_errorText;
    if (!m_statusValid)
        return TVeltoLRHCI::ResultText(m_hciResult);
    return CodeLookup(m_statusTable, m_status);
}

bool TVeltoLRSAP::TooShort(int length)
{
    SetErrorText(QStringLiteral("error - response too short (%1 bytes)").arg(length));
    return false;
}

bool TVeltoLRSAP::DecodeFixed(const TFieldLayoutEntry* layout, const quint8* payload, int length, TKeyValueList& record)
{
    TKeyValueList fields;
    TFieldLayout::Decode(layout, payload, length, 1, fields);
    if (fields.size() < TFieldLayout::RequiredFields(layout))
        return TooShort(length);
    record += fields;
    return true;
}

void TVeltoLRSAP::SetErrorText(const QString& text)
{
    m_errorText = text;
}

QString TVeltoLRSAP::CodeLookup(const TCodeTableEntry* table, quint32 code)
{
    if (!table)
        return QStringLiteral("Unsupported table");
    for (; table->text; ++table)
        if (table->code == code)
            return QString::fromLatin1(table->text);
    return QStringLiteral("Unsupported ID(%1)").arg(code);
}

QString TVeltoLRSAP::CommandDescription(const QString& name)
{
    const auto it = m_commands.constFind(name);
    m_lastDescription = it != m_commands.constEnd() ? it.value() : QStringLiteral("error - command not found : %1").arg(name);
    return m_lastDescription;
}

QString TVeltoLRSAP::MessageName(quint8 msgId) const
{
    return m_messageNames.value(THexText::Digits(msgId, 2));
}

QString TVeltoLRSAP::PortName() const
{
    return m_link ? m_link->PortName() : QStringLiteral("NO RadioIF");
}

bool TVeltoLRSAP::SetBaudrate(const QString& baudrateText)
{
    return m_link && m_link->SetBaudrate(baudrateText);
}

QString TVeltoLRSAP::BaudrateText() const
{
    return m_link ? m_link->BaudrateText() : QStringLiteral("unknown");
}

bool TVeltoLRSAP::ProcessHCIMessage(const HCIMessage& message, TKeyValueList& record)
{
    Q_UNUSED(message)
    Q_UNUSED(record)
    return false;
}

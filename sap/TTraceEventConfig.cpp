#include "sap/TTraceEventConfig.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QJsonValue>

#include <cmath>

#include "settings/TSettings.h"
#include "status/TStatusLog.h"
#include "base/THexText.h"

TTraceEventConfig& TTraceEventConfig::Instance()
{
    static TTraceEventConfig instance;
    return instance;
}

QString TTraceEventConfig::DefaultPath()
{
    QString directory = TSettings::Instance().DataDirectory();
    while (directory.endsWith(QLatin1Char('/')))
        directory.chop(1);
    return directory + QLatin1Char('/') + QLatin1String(kDefaultFileName);
}

void TTraceEventConfig::Fail(const QString& text)
{
    m_lastError = text;
    TStatusLog::Instance().AddStatusMessage(QLatin1String(kSource), text);
}

bool TTraceEventConfig::ReadValue(const QJsonValue& value, quint8& id) const
{
    if (value.isString()) {
        bool ok = false;
        const uint number = value.toString().trimmed().toUInt(&ok, 0);   // "0x12", "18"
        if (!ok || number > 0xFF)
            return false;
        id = quint8(number);
        return true;
    }
    if (!value.isDouble())
        return false;
    const double number = value.toDouble();
    if (number < 0 || number > 0xFF || std::floor(number) != number)
        return false;
    id = quint8(number);
    return true;
}

bool TTraceEventConfig::Load(const QString& path)
{
    m_events.clear();
    m_lastError.clear();
    TStatusLog& log = TStatusLog::Instance();
    const QString source = QLatin1String(kSource);
    if (!QFile::exists(path)) {
        m_lastError = QStringLiteral("info - no configuration file: ") + path + QStringLiteral(" found!");
        log.AddStatusMessage(source, m_lastError);
        return false;
    }
    log.AddStatusMessage(source, QStringLiteral("open file:") + path);
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        Fail(QStringLiteral("error - couldn't open file: ") + path);
        return false;
    }
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        Fail(QStringLiteral("error - trace event configuration %1 is not valid JSON: %2 at offset %3")
                 .arg(path, parseError.errorString()).arg(parseError.offset));
        return false;
    }
    const QJsonValue events = document.object().value(QStringLiteral("Events"));
    if (!events.isArray()) {
        Fail(QStringLiteral("error - trace event configuration %1 has no \"Events\" array").arg(path));
        return false;
    }
    const QJsonArray list = events.toArray();
    for (int i = 0; i < list.size(); ++i) {
        const QJsonObject entry = list.at(i).toObject();
        const QString name = entry.value(QStringLiteral("Name")).toString();
        quint8 id = 0;
        if (name.isEmpty() || !ReadValue(entry.value(QStringLiteral("Value")), id)) {
            log.AddStatusMessage(source, QStringLiteral("warning - event %1 skipped: needs a \"Name\" and a \"Value\" of 0..255").arg(i + 1));
            continue;
        }
        m_events.insert(id, name);
        const QString hex = THexText::Digits(id, 2);
        log.AddStatusMessage(source, QStringLiteral("load event: %1 (0x%2)").arg(name, hex));
    }
    return true;
}

#include "sap/TRadioMsgConfig.h"

#include <QFile>
#include <QTextStream>

#include "sap/DataLinkLayouts.h"
#include "sap/TFieldLayout.h"
#include "settings/TSettings.h"

namespace {
// The send parameters a message line may fill.
const char* const kParameterKeys[] = {"DstGroupAddress", "DstDeviceAddress", "Payload"};
constexpr int kMaxLineBytes = 4096;   // a message line is far shorter; longer ones are not text
}

QString TRadioMsgConfig::DefaultPath()
{
    QString directory = TSettings::Instance().DataDirectory();
    while (directory.endsWith(QLatin1Char('/')))
        directory.chop(1);
    return directory + QLatin1Char('/') + QLatin1String(kFileName);
}

QString TRadioMsgConfig::FieldValue(const QString& line, const QString& key)
{
    const QStringList fields = line.split(QLatin1Char(';'));
    for (const QString& field : fields) {
        const int at = field.indexOf(key);
        if (at >= 0)
            return field.mid(at + key.size());
    }
    return QString();
}

TKeyValueList TRadioMsgConfig::Parameters(const QString& line)
{
    TKeyValueList params;
    for (const char* key : kParameterKeys) {
        const QString value = FieldValue(line, QLatin1String(key) + QLatin1Char(':'));
        if (!value.isNull())
            params.Append(QLatin1String(key), value.trimmed());
    }
    return params;
}

bool TRadioMsgConfig::Load(const QString& path)
{
    m_entries.clear();
    m_warnings.clear();
    m_error.clear();
    QFile file(path);
    if (!file.exists()) {
        m_error = QStringLiteral("error - radio message configuration file not found: ") + path;
        return false;
    }
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        m_error = QStringLiteral("error - couldn't open radio message configuration file: ") + path;
        return false;
    }
    QTextStream in(&file);
    in.setCodec("UTF-8");
    for (int number = 1; !in.atEnd(); ++number) {
        const QString line = in.readLine(kMaxLineBytes).trimmed();
        const QString name = FieldValue(line, QStringLiteral("Name:")).trimmed();
        if (name.isEmpty())
            continue;
        QByteArray payload;
        QString error;
        if (!TFieldLayout::Pack(DataLinkLayouts::kSendData, Parameters(line), payload, error)) {
            m_warnings << QStringLiteral("warning - message \"%1\" in line %2 skipped: %3").arg(name).arg(number).arg(error);
            continue;
        }
        m_entries.append(Entry{name, line});
    }
    return true;
}

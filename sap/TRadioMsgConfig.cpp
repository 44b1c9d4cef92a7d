#include "sap/TRadioMsgConfig.h"

#include <QFile>
#include <QTextCodec>

#include "sap/DataLinkLayouts.h"
#include "sap/TFieldLayout.h"
#include "settings/TSettings.h"

namespace {
// The send parameters a message line may fill.
const char* const kParameterKeys[] = {"DstGroupAddress", "DstDeviceAddress", "Payload"};
const char kUtf8Bom[] = "\xEF\xBB\xBF";
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

void TRadioMsgConfig::Skip(int line, const QString& warning)
{
    m_warnings << warning;
    m_skippedLines << QString::number(line);
}

bool TRadioMsgConfig::Load(const QString& path)
{
    m_path = path;
    m_entries.clear();
    m_warnings.clear();
    m_skippedLines.clear();
    m_error.clear();
    QFile file(path);
    if (!file.exists()) {
        m_error = QStringLiteral("error - radio message configuration file not found: ") + path;
        return false;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        m_error = QStringLiteral("error - couldn't open radio message configuration file: ") + path;
        return false;
    }
    if (file.size() > kMaxFileBytes) {
        m_error = QStringLiteral("error - radio message configuration file is larger than %1 bytes: %2").arg(kMaxFileBytes).arg(path);
        return false;
    }
    QByteArray content = file.readAll();
    if (content.startsWith(kUtf8Bom))
        content.remove(0, 3);
    const QList<QByteArray> lines = content.split('\n');
    QTextCodec* utf8 = QTextCodec::codecForName("UTF-8");
    for (int number = 1; number <= lines.size(); ++number) {
        const QByteArray& raw = lines.at(number - 1);
        if (raw.contains('\0')) {
            m_entries.clear();
            m_warnings.clear();
            m_skippedLines.clear();
            m_error = QStringLiteral("error - radio message configuration file is not a text file (NUL byte in line %1): %2").arg(number).arg(path);
            return false;
        }
        if (raw.size() > kMaxLineBytes) {
            Skip(number, QStringLiteral("warning - line %1 skipped: longer than %2 bytes").arg(number).arg(kMaxLineBytes));
            continue;
        }
        QTextCodec::ConverterState state;
        const QString line = utf8->toUnicode(raw.constData(), raw.size(), &state).trimmed();
        if (state.invalidChars > 0) {
            Skip(number, QStringLiteral("warning - line %1 skipped: not UTF-8 text").arg(number));
            continue;
        }
        const QString field = FieldValue(line, QStringLiteral("Name:"));
        if (field.isNull())
            continue;   // no message: a comment, a blank line or the file version
        const QString name = field.trimmed();
        if (name.isEmpty()) {
            Skip(number, QStringLiteral("warning - line %1 skipped: \"Name:\" is empty").arg(number));
            continue;
        }
        QByteArray payload;
        QString error;
        if (!TFieldLayout::Pack(DataLinkLayouts::kSendData, Parameters(line), payload, error)) {
            Skip(number, QStringLiteral("warning - message \"%1\" in line %2 skipped: %3").arg(name).arg(number).arg(error));
            continue;
        }
        m_entries.append(Entry{name, line});
    }
    return true;
}

QString TRadioMsgConfig::StatusText() const
{
    if (!m_error.isEmpty())
        return m_error;
    const QString loaded = QStringLiteral("%1 radio message(s) loaded from %2").arg(m_entries.size()).arg(m_path);
    if (m_skippedLines.isEmpty())
        return QStringLiteral("info - ") + loaded;
    return QStringLiteral("warning - ") + loaded + QStringLiteral("; lines skipped: ") + m_skippedLines.join(QStringLiteral(", "));
}

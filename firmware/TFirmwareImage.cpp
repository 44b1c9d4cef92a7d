#include "firmware/TFirmwareImage.h"

#include <QFileInfo>
#include <QRegularExpression>

#include "firmware/TIntelHex.h"

namespace {
const QByteArray kIdentityTag("VELTOFW:");
constexpr int kIdentityMaxChars = 64;

QString PlainVersion(QString version)
{
    if (version.startsWith(QLatin1Char('V')) || version.startsWith(QLatin1Char('v')))
        version.remove(0, 1);
    return version;
}
}

QString TFirmwareIdentity::Text() const
{
    if (name.isEmpty() && version.isEmpty())
        return QStringLiteral("n.a.");
    QString text = name.isEmpty() ? QStringLiteral("n.a.") : name;
    if (!version.isEmpty())
        text += QStringLiteral(" V") + version;
    if (!build.isEmpty())
        text += QStringLiteral(" build ") + build;
    return text;
}

TFirmwareIdentity TFirmwareIdentity::FromFirmwareInfo(const TKeyValueList& info)
{
    TFirmwareIdentity identity;
    identity.name = info.Value(QStringLiteral("FWName"));
    identity.version = PlainVersion(info.Value(QStringLiteral("FWVersion")));
    identity.build = info.Value(QStringLiteral("BuildCount"));
    return identity;
}

bool TFirmwareIdentity::IsRunBy(const TKeyValueList& firmwareInfo) const
{
    const TFirmwareIdentity running = FromFirmwareInfo(firmwareInfo);
    return (name.isEmpty() || name == running.name) && (version.isEmpty() || version == running.version)
        && (build.isEmpty() || build == running.build);
}

TFirmwareImage::TFirmwareImage()
    : m_hex(std::make_unique<TIntelHex>())
{
    m_readers << m_hex.get();
}

TFirmwareImage::~TFirmwareImage() = default;

TFirmwareImage::LoadResult TFirmwareImage::Load(const QString& path)
{
    m_loaded = false;
    m_info = TImageInfo();
    m_identity = TFirmwareIdentity();
    m_error.clear();
    m_span = QByteArray(int(TIntelHex::kSpanBytes), char(0xFF));
    if (!QFileInfo(path).isFile()) {
        m_error = QStringLiteral("error - no firmware image file %1").arg(path);
        return Unreadable;
    }
    for (TFileReaderIF* reader : qAsConst(m_readers)) {
        if (!reader->ReadFile(path, reinterpret_cast<quint8*>(m_span.data()), quint32(m_span.size()), true))
            continue;
        if (reader == m_hex.get() && !m_hex->ErrorText().isEmpty()) {
            m_error = m_hex->ErrorText() + QStringLiteral(" (") + QFileInfo(path).fileName() + QLatin1Char(')');
            return Unreadable;
        }
        if (!reader->IsValid()) {
            m_error = QStringLiteral("error - %1 holds no data").arg(QFileInfo(path).fileName());
            return Empty;
        }
        reader->GetImageInfo(m_info);
        m_identity = IdentityOf(m_span.mid(int(m_info.lowest), int(m_info.highest - m_info.lowest + 1)), path);
        m_loaded = true;
        return Loaded;
    }
    m_error = QStringLiteral("error - couldn't read %1").arg(path);
    return Unreadable;
}

QByteArray TFirmwareImage::FlashImage(quint32 flashStart, quint32 flashSize) const
{
    QByteArray flash(int(flashSize), char(0xFF));
    if (!m_loaded)
        return flash;
    for (quint32 offset = m_info.lowest; offset <= m_info.highest; ++offset) {
        const quint64 address = quint64(m_info.base) + offset;
        if (address >= flashStart && address < quint64(flashStart) + flashSize)
            flash[int(address - flashStart)] = m_span.at(int(offset));
    }
    return flash;
}

bool TFirmwareImage::NameFits(const QString& path, const QString& expectedName)
{
    return expectedName.isEmpty() || QFileInfo(path).fileName().contains(expectedName, Qt::CaseSensitive);
}

TFirmwareIdentity TFirmwareImage::IdentityOf(const QByteArray& image, const QString& path)
{
    TFirmwareIdentity identity;
    const int at = image.indexOf(kIdentityTag);
    if (at >= 0) {
        const int start = at + kIdentityTag.size();
        const int nul = image.indexOf('\0', start);
        const int length = qMin(nul < 0 ? image.size() - start : nul - start, kIdentityMaxChars);
        const QStringList fields = QString::fromLatin1(image.mid(start, length)).split(QLatin1Char(';'));
        static const QRegularExpression version(QStringLiteral("^\\d+\\.\\d+$"));
        if (fields.size() >= 2 && !fields.at(0).isEmpty() && version.match(fields.at(1)).hasMatch()) {
            identity.name = fields.at(0);
            identity.version = fields.at(1);
            bool isNumber = false;
            const uint build = fields.value(2).toUInt(&isNumber);
            if (isNumber)
                identity.build = QString::number(build);
            return identity;
        }
    }
    // "Velto_LoRaWAN_V3.1.hex": the name, then the version after "_V" (or "-V").
    static const QRegularExpression fileName(QStringLiteral("^(.+?)[_-][Vv](\\d+)\\.(\\d+)"));
    const QRegularExpressionMatch match = fileName.match(QFileInfo(path).fileName());
    if (match.hasMatch()) {
        identity.name = match.captured(1);
        identity.version = QString::number(match.captured(2).toUInt()) + QLatin1Char('.') + QString::number(match.captured(3).toUInt());
    }
    return identity;
}

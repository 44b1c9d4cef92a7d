#pragma once
#include <QByteArray>
#include <QList>
#include <QString>

#include <memory>

#include "base/TKeyValueList.h"
#include "firmware/TFileReaderIF.h"

class TIntelHex;

/// Which firmware an image holds, as far as it says: from the text "VELTOFW:<name>;<major>.<minor>;<build>"
/// inside the image, else from a file name such as "Velto_LoRaWAN_V3.1.hex". Empty fields are unknown.
struct TFirmwareIdentity
{
    QString name;
    QString version;   ///< "3.1"
    QString build;     ///< "140"

    /// "Velto_LoRaWAN V3.1 build 140" ("n.a." when nothing is known).
    QString Text() const;
    /// The identity a module reports in its firmware information ("FWName", "FWVersion", "BuildCount").
    static TFirmwareIdentity FromFirmwareInfo(const TKeyValueList& info);
    /// True when the module runs this firmware: every known field of ours equals the module's.
    bool IsRunBy(const TKeyValueList& firmwareInfo) const;
};

/// A firmware image loaded and checked before any bootloader is touched: the 1 MiB span the file
/// covers, where its data lies, and its identity. Asks each file reader in turn (Intel HEX is the
/// one there is).
class TFirmwareImage
{
public:
    enum LoadResult { Loaded, Unreadable, Empty };

    TFirmwareImage();
    ~TFirmwareImage();

    /// Unreadable (with ErrorText(): a missing file, or the line that does not read) or Empty
    /// (no byte other than 0xFF) leave no image.
    LoadResult Load(const QString& path);
    QString ErrorText() const { return m_error; }
    const TImageInfo& Info() const { return m_info; }
    /// Target address of the first and last byte that carries data.
    quint32 FirstAddress() const { return m_info.base + m_info.lowest; }
    quint32 LastAddress() const { return m_info.base + m_info.highest; }
    const TFirmwareIdentity& Identity() const { return m_identity; }
    /// The image's bytes placed in an erased flash of `flashSize` bytes from `flashStart`; the
    /// bytes outside the flash are left out (the plan refuses such an image).
    QByteArray FlashImage(quint32 flashStart, quint32 flashSize) const;

    /// The "Wrong image selected!" check: the expected firmware name must occur in the file name
    /// (case-sensitive). An empty name expects nothing.
    static bool NameFits(const QString& path, const QString& expectedName);
    static TFirmwareIdentity IdentityOf(const QByteArray& image, const QString& path);

private:
    std::unique_ptr<TIntelHex> m_hex;
    QList<TFileReaderIF*> m_readers;
    QByteArray m_span;
    TImageInfo m_info;
    TFirmwareIdentity m_identity;
    QString m_error;
    bool m_loaded = false;
};

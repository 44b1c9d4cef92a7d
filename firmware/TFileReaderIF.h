#pragma once
#include <QString>
#include <QtGlobal>

/// Where a firmware image sits: the used range within the buffer and the span's base address.
/// The three fields stay consecutive because the controller passes them on as one record.
struct TImageInfo
{
    quint32 lowest = 0;   ///< lowest buffer offset that carries data
    quint32 highest = 0;  ///< highest buffer offset that carries data (inclusive)
    quint32 base = 0;     ///< target address of buffer offset 0
};

/// Fills a flat memory image from a firmware file. The controller asks each reader in turn, so
/// further file formats can be added as further readers.
class TFileReaderIF
{
public:
    /// False only when the file cannot be opened; whether it held data is told by IsValid().
    virtual bool ReadFile(const QString& path, quint8* buffer, quint32 size, bool fill) = 0;
    /// True when the last read stored at least one byte other than 0xFF.
    virtual bool IsValid() const = 0;
    virtual void GetImageInfo(TImageInfo& info) const = 0;

protected:
    // Not virtual: readers are never deleted through this interface, only through their own type.
    ~TFileReaderIF() = default;
};

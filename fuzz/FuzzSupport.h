#pragma once
// What the fuzz targets share: a failed property aborts (libFuzzer keeps the input), inputs become
// exact-size heap buffers or files, and the tail of a fixed message buffer is made unreadable.
#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "hci/HCIMessage.h"

#if defined(__has_include)
#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#endif
#endif
#ifndef ASAN_POISON_MEMORY_REGION
#define ASAN_POISON_MEMORY_REGION(addr, size) ((void)(addr), (void)(size))
#define ASAN_UNPOISON_MEMORY_REGION(addr, size) ((void)(addr), (void)(size))
#endif

#define FUZZ_CHECK(condition)                                                                     \
    do {                                                                                          \
        if (!(condition)) {                                                                       \
            std::fprintf(stderr, "%s:%d: property failed: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                         \
        }                                                                                         \
    } while (false)

namespace FuzzSupport {

/// A copy of exactly `size` bytes on the heap: a read one past its end is a sanitizer report.
inline std::unique_ptr<quint8[]> ExactCopy(const quint8* data, size_t size)
{
    std::unique_ptr<quint8[]> copy(new quint8[size ? size : 1]);
    if (size)
        std::memcpy(copy.get(), data, size);
    return copy;
}

/// An HCI message whose payload bytes past `Length` may not be read (poisoned under AddressSanitizer).
class ExactMessage
{
public:
    ExactMessage(quint8 sapId, quint8 msgId, const quint8* payload, size_t length)
        : m_message(new HCIMessage)
    {
        m_message->SapID = sapId;
        m_message->MsgID = msgId;
        m_message->Length = quint16(length);
        std::memcpy(m_message->Payload, payload, length);
        ASAN_POISON_MEMORY_REGION(m_message->Payload + length, HCIMessage::kMaxPayload - length);
    }
    ~ExactMessage() { ASAN_UNPOISON_MEMORY_REGION(m_message->Payload, HCIMessage::kMaxPayload); }
    const HCIMessage& Message() const { return *m_message; }

private:
    std::unique_ptr<HCIMessage> m_message;
};

/// Writes the input to a file of its own (one per target, reused, in a folder removed at exit) and
/// returns its path.
inline QString AsFile(const quint8* data, size_t size, const char* name)
{
    static const QTemporaryDir directory(QDir::tempPath() + QStringLiteral("/tessera-fuzz-XXXXXX"));
    const QString path = directory.filePath(QLatin1String(name));
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(reinterpret_cast<const char*>(data), qint64(size));
    return path;
}

}

#include "firmware/TFtdiPins.h"

#include <windows.h>

namespace {
// The D2XX entry points, imported by export ordinal.
using FtStatus = ULONG;
using FtHandle = PVOID;
using FtListDevices = FtStatus(WINAPI*)(PVOID arg1, PVOID arg2, DWORD flags);
using FtOpen = FtStatus(WINAPI*)(int index, FtHandle* handle);
using FtSetBitMode = FtStatus(WINAPI*)(FtHandle handle, UCHAR mask, UCHAR mode);
using FtClose = FtStatus(WINAPI*)(FtHandle handle);

constexpr WORD kOrdinalListDevices = 28;
constexpr WORD kOrdinalOpen = 1;
constexpr WORD kOrdinalSetBitMode = 31;
constexpr WORD kOrdinalClose = 2;
constexpr DWORD kListNumberOnly = 0x80000000;
constexpr UCHAR kModeCbusBitBang = 0x20;
constexpr FtStatus kFtOk = 0;

/// ftd2xx.dll, loaded for one call and released on every path.
class D2xx
{
public:
    D2xx()
        : m_dll(LoadLibraryA("ftd2xx.dll"))
    {
    }
    ~D2xx()
    {
        if (m_dll)
            FreeLibrary(m_dll);
    }
    D2xx(const D2xx&) = delete;
    D2xx& operator=(const D2xx&) = delete;

    bool IsLoaded() const { return m_dll != nullptr; }
    template <typename Function>
    Function Get(WORD ordinal) const
    {
        return m_dll ? reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(m_dll, MAKEINTRESOURCEA(ordinal)))) : nullptr;
    }

private:
    HMODULE m_dll;
};
}

int TFtdiPins::CountDevices()
{
    m_errorText.clear();
    D2xx d2xx;
    const auto listDevices = d2xx.Get<FtListDevices>(kOrdinalListDevices);
    DWORD count = 0;
    if (!listDevices || listDevices(&count, nullptr, kListNumberOnly) != kFtOk) {
        m_errorText = d2xx.IsLoaded() ? QStringLiteral("error - couldn't list FTDI devices")
                                      : QStringLiteral("error - ftd2xx.dll not found: install the FTDI D2XX driver");
        return -1;
    }
    return int(count);
}

int TFtdiPins::SetPins(quint8 pattern)
{
    m_errorText.clear();
    D2xx d2xx;
    const auto listDevices = d2xx.Get<FtListDevices>(kOrdinalListDevices);
    const auto open = d2xx.Get<FtOpen>(kOrdinalOpen);
    const auto setBitMode = d2xx.Get<FtSetBitMode>(kOrdinalSetBitMode);
    const auto close = d2xx.Get<FtClose>(kOrdinalClose);
    DWORD count = 0;
    if (!listDevices || !open || !setBitMode || !close || listDevices(&count, nullptr, kListNumberOnly) != kFtOk) {
        m_errorText = d2xx.IsLoaded() ? QStringLiteral("error - couldn't list FTDI devices")
                                      : QStringLiteral("error - ftd2xx.dll not found: install the FTDI D2XX driver");
        return ListFailed;
    }
    if (count >= 2) {
        m_errorText = QStringLiteral("error - %1 FTDI devices attached: attach only the one whose pins should be set").arg(count);
        return TooManyDevices;
    }
    FtHandle handle = nullptr;
    if (open(0, &handle) != kFtOk) {
        m_errorText = count == 0 ? QStringLiteral("error - no FTDI device attached: connect the board's USB cable")
                                 : QStringLiteral("error - couldn't open the FTDI device: is another program using it?");
        return OpenFailed;
    }
    const FtStatus status = setBitMode(handle, pattern, kModeCbusBitBang);
    close(handle);
    if (status != kFtOk) {
        m_errorText = QStringLiteral("error - couldn't set the FTDI CBUS pins to 0x%1 (status %2)").arg(pattern, 2, 16, QLatin1Char('0')).arg(status);
        return int(status);
    }
    return Ok;
}

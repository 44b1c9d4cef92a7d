#include "devices/TRegistryKey.h"

#include <windows.h>

TRegistryKey::TRegistryKey()
    : m_handle(HKEY_LOCAL_MACHINE)
    , m_root(true)
{
}

TRegistryKey::TRegistryKey(void* handle)
    : m_handle(handle)
    , m_root(false)
{
}

TRegistryKey::~TRegistryKey()
{
    if (m_handle && !m_root)
        RegCloseKey(static_cast<HKEY>(m_handle));
}

std::unique_ptr<TRegistryKey> TRegistryKey::Open(const QString& subkey) const
{
    HKEY key = nullptr;
    if (!m_handle || RegOpenKeyExW(static_cast<HKEY>(m_handle), reinterpret_cast<LPCWSTR>(subkey.utf16()), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return nullptr;
    return std::unique_ptr<TRegistryKey>(new TRegistryKey(key));
}

QStringList TRegistryKey::SubkeyNames()
{
    m_subkeys.clear();
    DWORD count = 0;
    if (!m_handle || RegQueryInfoKeyW(static_cast<HKEY>(m_handle), nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr,
                                      nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
        return m_subkeys;
    for (DWORD i = 0; i < count; ++i) {
        wchar_t name[256];
        DWORD length = 256;
        if (RegEnumKeyExW(static_cast<HKEY>(m_handle), i, name, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS)
            m_subkeys << QString::fromWCharArray(name, int(length));
    }
    return m_subkeys;
}

QString TRegistryKey::Value(const QString& name)
{
    m_value.clear();
    BYTE data[256];
    DWORD size = sizeof data;
    DWORD type = 0;
    if (m_handle && RegQueryValueExW(static_cast<HKEY>(m_handle), reinterpret_cast<LPCWSTR>(name.utf16()), nullptr, &type, data, &size) == ERROR_SUCCESS
        && (type == REG_SZ || type == REG_EXPAND_SZ))
        m_value = QString::fromWCharArray(reinterpret_cast<const wchar_t*>(data), int(size / sizeof(wchar_t))).section(QChar(0), 0, 0);
    return m_value;
}

QStringList TRegistryKey::Values() const
{
    QStringList values;
    DWORD count = 0;
    if (!m_handle || RegQueryInfoKeyW(static_cast<HKEY>(m_handle), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &count,
                                      nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
        return values;
    for (DWORD i = 0; i < count; ++i) {
        wchar_t name[4096];
        DWORD length = 4096;
        if (RegEnumValueW(static_cast<HKEY>(m_handle), i, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            continue;
        BYTE data[256];
        DWORD size = sizeof data;
        DWORD type = 0;
        if (RegQueryValueExW(static_cast<HKEY>(m_handle), name, nullptr, &type, data, &size) == ERROR_SUCCESS && type == REG_SZ)
            values << QString::fromWCharArray(reinterpret_cast<const wchar_t*>(data), int(size / sizeof(wchar_t))).section(QChar(0), 0, 0);
    }
    return values;
}

#pragma once
#include <QString>
#include <QStringList>

#include <memory>

/// Read-only Windows registry key; the root stands for HKEY_LOCAL_MACHINE. Windows only.
class TRegistryKey
{
public:
    TRegistryKey();
    virtual ~TRegistryKey();
    TRegistryKey(const TRegistryKey&) = delete;
    TRegistryKey& operator=(const TRegistryKey&) = delete;

    /// Null when the subkey does not open.
    std::unique_ptr<TRegistryKey> Open(const QString& subkey) const;
    QStringList SubkeyNames();
    /// Empty when the value is missing.
    QString Value(const QString& name);
    /// String data of every value of the key.
    QStringList Values() const;

private:
    explicit TRegistryKey(void* handle);
    void* m_handle = nullptr;
    bool m_root = true;
    QStringList m_subkeys;
    QString m_value;
};

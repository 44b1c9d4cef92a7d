#pragma once
#include "gui/pages/TFormPage.h"

class QLineEdit;

/// Osprey security: the AES-128 key with which the module encrypts its radio packets, read and
/// written; the key stays hidden until "Show Key" is checked.
class TSecurityPage : public TFormPage
{
    Q_OBJECT
public:
    static constexpr const char* kGroup = "AES-128 Bit Key";
    static constexpr const char* kKeyMask = ">HH-HH-HH-HH-HH-HH-HH-HH-HH-HH-HH-HH-HH-HH-HH-HH";
    static constexpr const char* kExampleKey = "3A-7F-C2-19-5B-E0-44-9D-81-6C-2F-B3-D7-08-A5-6E";

    explicit TSecurityPage(const QString& title, QWidget* parent = nullptr);

    QLineEdit* KeyField() const { return m_key; }
    /// Shows the key (true) or hides it behind the password echo.
    void RevealKey(bool shown);
    /// F5 reads the key.
    bool RunGet() override;

private:
    QLineEdit* m_key;
};

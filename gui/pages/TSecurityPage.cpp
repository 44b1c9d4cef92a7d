#include "gui/pages/TSecurityPage.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QPushButton>

#include "gui/TGuiItemList.h"

namespace {
const QString kKey = QStringLiteral("AES-Key");
const QString kGetKey = QStringLiteral("Get AES-128 Bit Key");
}

TSecurityPage::TSecurityPage(const QString& title, QWidget* parent)
    : TFormPage(title, parent)
{
    TGuiItemList& key = AddGroup(QString::fromLatin1(kGroup), {
        QStringLiteral("GuiName:AES-Key;GuiType:LineEdit;Key:AES-Key;Value:%1;Mask:%2").arg(QLatin1String(kExampleKey), QLatin1String(kKeyMask)),
        // No key: shown, never sent.
        QStringLiteral("GuiName:Show Key;GuiType:CheckBox;Value:0;GuiFlags:Enabled"),
    });
    m_key = qobject_cast<QLineEdit*>(key.FindItem(kKey));
    if (auto* show = qobject_cast<QCheckBox*>(key.Editor(key.Count() - 1)))
        connect(show, &QCheckBox::toggled, this, &TSecurityPage::RevealKey);
    RevealKey(false);
    QPushButton* get = AddButton(kGetKey, QStringLiteral("read the AES-128 key"),
                                 [this, &key] { RunGetCommand(QStringLiteral("DataLink/GetAESKey"), key); });
    get->setToolTip(get->toolTip() + QStringLiteral(" (F5)"));
    AddButton(QStringLiteral("Set AES-128 Bit Key"), QStringLiteral("write the AES-128 key"),
              [this, &key] { RunSetCommand(QStringLiteral("DataLink/SetAESKey"), key); });
    AddNote(QStringLiteral("Please don't forget to enable the AES Encryption/Decryption via Radio Settings (Miscellaneous Options)"));
    Finish();
}

bool TSecurityPage::RunGet()
{
    if (IsCommandRunning())
        return TFormPage::RunGet();   // refused: says what still runs
    Button(kGetKey)->click();
    return true;
}

void TSecurityPage::RevealKey(bool shown)
{
    m_key->setEchoMode(shown ? QLineEdit::Normal : QLineEdit::Password);
}

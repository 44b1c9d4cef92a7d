#include "gui/pages/TSecurityPage.h"

TSecurityPage::TSecurityPage(const QString& title, QWidget* parent)
    : TFormPage(title, parent)
{
    AddNote(QStringLiteral("This page will offer: Osprey security: the AES key and the acknowledgement data."));
    Finish();
}

#include "gui/pages/TDataLinkPage.h"

TDataLinkPage::TDataLinkPage(const QString& title, QWidget* parent)
    : TFormPage(title, parent)
{
    AddNote(QStringLiteral("This page will offer: The Osprey point-to-point data link: sending messages from the radio message file, and a table of every message received and sent."));
    Finish();
}

#include "gui/pages/TNodeTestPage.h"

TNodeTestPage::TNodeTestPage(const QString& title, QWidget* parent)
    : TFormPage(title, parent)
{
    AddNote(QStringLiteral("This page will offer: Radio tests: continuous wave, test messages, receive and RSSI measurements, with their results."));
    Finish();
}

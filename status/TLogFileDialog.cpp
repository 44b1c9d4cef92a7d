#include "status/TLogFileDialog.h"

#include <QFileDialog>
#include <QFileInfo>

#include "settings/TSettings.h"

namespace TLogFileDialog {

QFileDialog* Create(QWidget* parent, const QString& title, const QString& proposedPath)
{
    const QFileInfo proposed(proposedPath);
    const QString folder = proposed.absoluteDir().exists() ? proposed.absolutePath() : TSettings::Instance().DocumentsDirectory();
    auto* dialog = new QFileDialog(parent, title, folder, QStringLiteral("Log Files (*.log)"));
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setDefaultSuffix(QStringLiteral("log"));
    dialog->selectFile(proposed.fileName());
    dialog->setLabelText(QFileDialog::Accept, QString::fromLatin1(kAcceptText));
    return dialog;
}

QString Ask(QWidget* parent, const QString& title, const QString& proposedPath)
{
    QFileDialog* dialog = Create(parent, title, proposedPath);
    const bool accepted = dialog->exec() == QDialog::Accepted;
    const QStringList files = dialog->selectedFiles();
    delete dialog;
    return accepted && !files.isEmpty() ? files.first() : QString();
}

}

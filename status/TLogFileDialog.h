#pragma once
#include <QString>

class QFileDialog;
class QWidget;

/// The save dialog of both log buttons (status window and tables): it opens in the folder of the
/// proposed file (the user's documents unless another log folder is set and exists), filters
/// "Log Files (*.log)" and its button says what it does: "Start Logging".
namespace TLogFileDialog {

constexpr const char* kAcceptText = "Start Logging";

/// The dialog, not yet shown (deleted with `parent`).
QFileDialog* Create(QWidget* parent, const QString& title, const QString& proposedPath);
/// Runs the dialog; the chosen path, or "" when cancelled.
QString Ask(QWidget* parent, const QString& title, const QString& proposedPath);

}

#pragma once
#include <QString>
#include <QStringList>

/// The studio's colour themes. Each has a dark variant (left panel, tool bars, status dock) and a
/// light variant (pages, dialogs, tables), built from one palette so that the two always match.
namespace TThemes {
QStringList Names();   ///< "Berlin", "Manhattan", "Montreal"
bool Exists(const QString& name);
/// Style sheet of the whole window for the theme; empty for an unknown name.
QString StyleSheet(const QString& name);
}

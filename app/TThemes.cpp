#include "app/TThemes.h"

namespace {
struct Palette {
    const char* name;
    const char* darkBg;      // left panel, tool bars, status dock
    const char* darkText;
    const char* lightBg;     // pages, dialogs, tables
    const char* lightText;
    const char* accent;      // selection, buttons, slider groove
    const char* accentText;
    const char* line;        // frames and separators
};
// name         dark bg    dark text  light bg   light text accent     accent text line
const Palette kPalettes[] = {
    {"Berlin",    "#23262b", "#e8e6e3", "#f4f2ef", "#202124", "#e8710a", "#ffffff", "#c9c4bd"},
    {"Manhattan", "#1f3a5f", "#eef3fa", "#ffffff", "#1b1f24", "#2f7dd1", "#ffffff", "#cfd8e3"},
    {"Montreal",  "#2e3440", "#e5e9f0", "#eceff4", "#2e3440", "#3e9e8f", "#ffffff", "#c7ccd6"},
};

const char* const kTemplate = R"(
QMainWindow, QDialog, QWidget#PageArea, QStackedWidget { background: @lightBg; color: @lightText; }
QWidget { font-size: 10pt; }
QWidget#LeftPanel QLabel { color: @darkText; font-weight: bold; padding: 4px; }
QWidget#LeftPanel, QToolBar, QStatusBar, QDockWidget, QDockWidget > QWidget { background: @darkBg; color: @darkText; }
QDockWidget::title { background: @darkBg; color: @darkText; padding: 4px; }
QPushButton#SectionCtrlButton { background: @darkBg; color: @darkText; border: none; border-left: 3px solid @darkBg; padding: 8px; text-align: left; font-weight: bold; }
QPushButton#SectionCtrlButton:hover, QPushButton#SectionCtrlButton:checked { border-left: 3px solid @accent; }
QTreeView, QListView { background: @darkBg; color: @darkText; border: none; }
QTreeView::item:selected, QListView::item:selected { background: @accent; color: @accentText; }
QPushButton { background: @accent; color: @accentText; border: 1px solid @accent; border-radius: 3px; padding: 4px 12px; }
QPushButton:disabled { background: @line; border-color: @line; }
QLineEdit, QComboBox, QSpinBox, QPlainTextEdit, QTextEdit { background: @lightBg; color: @lightText; border: 1px solid @line; border-radius: 2px; padding: 2px; selection-background-color: @accent; selection-color: @accentText; }
QDockWidget QPlainTextEdit { background: #ffffff; color: #1b1f24; font-family: monospace; }
QTableView { background: #ffffff; color: @lightText; gridline-color: @line; selection-background-color: @accent; selection-color: @accentText; }
QHeaderView::section { background: @darkBg; color: @darkText; padding: 3px; border: none; border-right: 1px solid @line; }
QGroupBox { border: 1px solid @line; border-radius: 3px; margin-top: 10px; }
QGroupBox::title { subcontrol-origin: margin; left: 8px; color: @accent; }
QSlider::groove:horizontal { height: 6px; background: @line; border-radius: 3px; }
QSlider::sub-page:horizontal { background: @accent; border-radius: 3px; }
QSlider::handle:horizontal { background: @accent; width: 14px; margin: -5px 0; border-radius: 7px; }
QMenuBar, QMenu { background: @darkBg; color: @darkText; }
QMenu::item:selected, QMenuBar::item:selected { background: @accent; color: @accentText; }
QSplitter::handle { background-color: white; }
)";
}

namespace TThemes {

QStringList Names()
{
    QStringList names;
    for (const Palette& p : kPalettes)
        names << QString::fromLatin1(p.name);
    return names;
}

bool Exists(const QString& name)
{
    return Names().contains(name);
}

QString StyleSheet(const QString& name)
{
    for (const Palette& p : kPalettes) {
        if (name != QLatin1String(p.name))
            continue;
        QString sheet = QString::fromLatin1(kTemplate);
        sheet.replace(QLatin1String("@darkBg"), QLatin1String(p.darkBg));
        sheet.replace(QLatin1String("@darkText"), QLatin1String(p.darkText));
        sheet.replace(QLatin1String("@lightBg"), QLatin1String(p.lightBg));
        sheet.replace(QLatin1String("@lightText"), QLatin1String(p.lightText));
        sheet.replace(QLatin1String("@accentText"), QLatin1String(p.accentText));
        sheet.replace(QLatin1String("@accent"), QLatin1String(p.accent));
        sheet.replace(QLatin1String("@line"), QLatin1String(p.line));
        return sheet;
    }
    return QString();
}

}

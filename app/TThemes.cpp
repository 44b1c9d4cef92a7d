#include "app/TThemes.h"

namespace {
struct Palette {
    const char* name;
    const char* darkBg;        // left panel, tool bars, status dock
    const char* darkText;
    const char* accentOnDark;  // marks on the dark parts (chosen section)
    const char* lightBg;       // pages, dialogs, tables
    const char* lightText;
    const char* accent;        // buttons, selection
    const char* accentText;
    const char* accentOnLight; // group titles
    const char* line;          // frames and separators
    const char* okText;        // result line: success
    const char* errorText;     // result line: failure; reasons beside fields
    const char* staleText;     // values that may be out of date
    const char* disabledBg;
    const char* disabledText;
};
// Every text colour is at least 4.5:1 against the background it is drawn on (WCAG AA).
// name         dark bg    dark text  on dark    light bg   light text accent     accent text on light   line       ok         error      stale      disabled bg disabled text
const Palette kPalettes[] = {
    {"Berlin",    "#23262b", "#e8e6e3", "#f28c28", "#f4f2ef", "#202124", "#b04f00", "#ffffff", "#9a4600", "#c9c4bd", "#1b6e2d", "#b3261e", "#5f5f5f", "#dcd7d0", "#4a4a4a"},
    {"Manhattan", "#1f3a5f", "#eef3fa", "#6fb1ff", "#ffffff", "#1b1f24", "#1f63b0", "#ffffff", "#1f63b0", "#cfd8e3", "#1b6e2d", "#b3261e", "#5f6368", "#dfe5ec", "#4a4f57"},
    {"Montreal",  "#2e3440", "#e5e9f0", "#63c5b5", "#eceff4", "#2e3440", "#2b7267", "#ffffff", "#2b6b61", "#c7ccd6", "#1b6e2d", "#b3261e", "#585d66", "#d8dce3", "#474c55"},
};

// Rules that set a text colour also set the background it is drawn on, so that every pair can be checked.
const char* const kTemplate = R"(
QMainWindow, QDialog, QWidget#PageArea, QStackedWidget { background: @lightBg; color: @lightText; }
QWidget { font-size: 10pt; }
QWidget#LeftPanel QLabel { color: @darkText; background: @darkBg; font-weight: bold; padding: 4px; }
QWidget#LeftPanel, QToolBar, QStatusBar, QDockWidget, QDockWidget > QWidget { background: @darkBg; color: @darkText; }
QStatusBar QLabel, QDockWidget QLabel, QDockWidget QCheckBox { background: @darkBg; color: @darkText; }
QDockWidget::title { background: @darkBg; color: @darkText; padding: 4px; }
QPushButton#SectionCtrlButton { background: @darkBg; color: @darkText; border: none; border-left: 3px solid @darkBg; padding: 8px; text-align: left; font-weight: bold; }
QPushButton#SectionCtrlButton:hover, QPushButton#SectionCtrlButton:checked { border-left: 3px solid @accentOnDark; }
QPushButton#SectionCtrlButton:focus { border: 1px solid @darkText; border-left: 3px solid @darkText; }
QTreeView, QListView { background: @darkBg; color: @darkText; border: 1px solid @darkBg; }
QTreeView:focus, QListView:focus { border: 1px solid @darkText; }
QTreeView::item:selected, QListView::item:selected { background: @accent; color: @accentText; }
QPushButton { background: @accent; color: @accentText; border: 2px solid @accent; border-radius: 3px; padding: 3px 11px; }
QPushButton:disabled { background: @disabledBg; color: @disabledText; border-color: @disabledBg; }
QPushButton:focus { border: 2px solid @lightText; }
QDockWidget QPushButton:focus { border: 2px solid @darkText; }
QLineEdit, QComboBox, QSpinBox, QPlainTextEdit, QTextEdit { background: @lightBg; color: @lightText; border: 1px solid @line; border-radius: 2px; padding: 2px; selection-background-color: @accent; selection-color: @accentText; }
QLineEdit:focus, QComboBox:focus, QPlainTextEdit:focus, QTextEdit:focus { border: 2px solid @accent; padding: 1px; }
QLineEdit[invalid="true"], QComboBox[invalid="true"] { border: 2px solid @errorText; padding: 1px; }
QCheckBox:focus, QRadioButton:focus { border: 1px solid @lightText; }
QDockWidget QCheckBox:focus { border: 1px solid @darkText; }
QDockWidget QPlainTextEdit { background: #ffffff; color: #1b1f24; font-family: monospace; }
QTableView { background: #ffffff; color: @lightText; gridline-color: @line; selection-background-color: @accent; selection-color: @accentText; }
QHeaderView::section { background: @darkBg; color: @darkText; padding: 3px; border: none; border-right: 1px solid @line; }
QGroupBox { border: 1px solid @line; border-radius: 3px; margin-top: 10px; }
QGroupBox::title { subcontrol-origin: margin; left: 8px; color: @accentOnLight; background: @lightBg; }
QDockWidget QGroupBox::title { color: @darkText; background: @darkBg; }
QSlider::groove:horizontal { height: 6px; background: @line; border-radius: 3px; }
QSlider::sub-page:horizontal { background: @accent; border-radius: 3px; }
QSlider::handle:horizontal { background: @accent; width: 14px; margin: -5px 0; border-radius: 7px; }
QMenuBar, QMenu { background: @darkBg; color: @darkText; }
QMenu::item:selected, QMenuBar::item:selected { background: @accent; color: @accentText; }
QToolTip { background: @lightBg; color: @lightText; border: 1px solid @line; }
QSplitter::handle { background-color: white; }
QLabel#ResultLine { background: @lightBg; color: @lightText; border-top: 1px solid @line; }
QLabel#ResultLine[outcome="ok"] { background: @lightBg; color: @okText; }
QLabel#ResultLine[outcome="error"] { background: @lightBg; color: @errorText; font-weight: bold; }
QLabel#ResultLine[outcome="busy"] { background: @lightBg; color: @lightText; font-style: italic; }
QLabel#FieldReason { background: @lightBg; color: @errorText; }
QLabel#StaleNote { background: @lightBg; color: @staleText; font-style: italic; }
*[stale="true"] { background: @lightBg; color: @staleText; font-style: italic; }
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
        // Longer names first, so that "@accentText" is not taken for "@accent" + "Text".
        const QList<QPair<const char*, const char*>> words = {
            {"@accentOnDark", p.accentOnDark}, {"@accentOnLight", p.accentOnLight}, {"@accentText", p.accentText},
            {"@accent", p.accent},             {"@darkBg", p.darkBg},               {"@darkText", p.darkText},
            {"@lightBg", p.lightBg},           {"@lightText", p.lightText},         {"@line", p.line},
            {"@okText", p.okText},             {"@errorText", p.errorText},         {"@staleText", p.staleText},
            {"@disabledBg", p.disabledBg},     {"@disabledText", p.disabledText},
        };
        QString sheet = QString::fromLatin1(kTemplate);
        for (const auto& word : words)
            sheet.replace(QLatin1String(word.first), QLatin1String(word.second));
        return sheet;
    }
    return QString();
}

}

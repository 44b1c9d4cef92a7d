#pragma once
#include <QPlainTextEdit>

/// The status window's text box ("Event Box"): long lines wrap, the full line shows as a tooltip and
/// can be copied from the context menu ("Copy Line"), and the mark between two commands is drawn as a
/// thin rule above the next line instead of taking a line of its own.
class TStatusBox : public QPlainTextEdit
{
    Q_OBJECT
public:
    /// Block user state of a line that has the rule above it.
    static constexpr int kRuleAbove = 1;

    explicit TStatusBox(QWidget* parent = nullptr);

    /// The whole line at a point of the viewport ("" below the last line).
    QString LineAt(const QPoint& viewportPos) const;
    /// Puts the line at a point of the viewport on the clipboard; false when there is none.
    bool CopyLineAt(const QPoint& viewportPos);
    /// Whether line number `line` (0-based) carries the rule above it.
    bool HasRuleAbove(int line) const;

protected:
    void paintEvent(QPaintEvent* event) override;
    /// A box that showed the newest line keeps showing it when its width changes the wrapping.
    void resizeEvent(QResizeEvent* event) override;
    bool viewportEvent(QEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
};

#include "status/TStatusBox.h"

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QHelpEvent>
#include <QMenu>
#include <QPainter>
#include <QScrollBar>
#include <QTextBlock>
#include <QToolTip>

TStatusBox::TStatusBox(QWidget* parent)
    : QPlainTextEdit(parent)
{
    setObjectName(QStringLiteral("Event Box"));
    setAccessibleName(QStringLiteral("Event Box"));
    setReadOnly(true);
    setUndoRedoEnabled(false);
    // Wrapped lines keep their time stamp in view; no sideways scrolling to read a long line.
    setLineWrapMode(QPlainTextEdit::WidgetWidth);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
}

QString TStatusBox::LineAt(const QPoint& viewportPos) const
{
    const QTextCursor cursor = cursorForPosition(viewportPos);
    const QTextBlock block = cursor.block();
    if (!block.isValid())
        return QString();
    const QRectF area = blockBoundingGeometry(block).translated(contentOffset());
    return area.contains(viewportPos) ? block.text() : QString();
}

bool TStatusBox::CopyLineAt(const QPoint& viewportPos)
{
    const QString line = LineAt(viewportPos);
    if (line.isEmpty())
        return false;
    QApplication::clipboard()->setText(line);
    return true;
}

bool TStatusBox::HasRuleAbove(int line) const
{
    const QTextBlock block = document()->findBlockByNumber(line);
    return block.isValid() && block.userState() == kRuleAbove;
}

void TStatusBox::paintEvent(QPaintEvent* event)
{
    QPlainTextEdit::paintEvent(event);
    QPainter painter(viewport());
    QColor rule = palette().color(QPalette::Text);
    rule.setAlpha(90);
    painter.setPen(rule);
    const int bottom = viewport()->height();
    for (QTextBlock block = firstVisibleBlock(); block.isValid(); block = block.next()) {
        const QRectF area = blockBoundingGeometry(block).translated(contentOffset());
        if (area.top() > bottom)
            break;
        if (block.userState() == kRuleAbove && block.isVisible())
            painter.drawLine(QPointF(0, area.top()), QPointF(viewport()->width(), area.top()));
    }
}

void TStatusBox::resizeEvent(QResizeEvent* event)
{
    QScrollBar* bar = verticalScrollBar();
    const bool atEnd = bar->value() == bar->maximum();
    QPlainTextEdit::resizeEvent(event);
    if (atEnd)
        bar->setValue(bar->maximum());
}

bool TStatusBox::viewportEvent(QEvent* event)
{
    if (event->type() == QEvent::ToolTip) {
        auto* help = static_cast<QHelpEvent*>(event);
        const QString line = LineAt(help->pos());
        if (line.isEmpty())
            QToolTip::hideText();
        else
            QToolTip::showText(help->globalPos(), line, viewport());
        return true;
    }
    return QPlainTextEdit::viewportEvent(event);
}

void TStatusBox::contextMenuEvent(QContextMenuEvent* event)
{
    QMenu* menu = createStandardContextMenu(event->pos());
    const QPoint at = viewport()->mapFrom(this, event->pos());
    QAction* copyLine = menu->addAction(QStringLiteral("Copy Line"));
    copyLine->setEnabled(!LineAt(at).isEmpty());
    connect(copyLine, &QAction::triggered, this, [this, at] { CopyLineAt(at); });
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->popup(event->globalPos());
}

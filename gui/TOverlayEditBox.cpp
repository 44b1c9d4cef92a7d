#include "gui/TOverlayEditBox.h"

#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>

TOverlayEditBox::TOverlayEditBox(QWidget* editor, const QString& text)
    : QDialog(editor, Qt::Dialog | Qt::FramelessWindowHint)
    , m_edit(new QLineEdit(text, this))
    , m_accept(new QPushButton(QStringLiteral("accept value"), this))
{
    setObjectName(QStringLiteral("Overlay_Dialog"));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    layout->addWidget(m_edit, 1);
    layout->addWidget(m_accept);
    m_accept->setDefault(true);
    m_edit->selectAll();
    connect(m_accept, &QPushButton::clicked, this, &QDialog::accept);

    if (editor) {
        const QPoint topLeft = editor->mapToGlobal(QPoint(0, 0));
        setGeometry(QRect(topLeft, QSize(qMax(editor->width(), minimumSizeHint().width()), editor->height())));
    }
}

QString TOverlayEditBox::Text() const
{
    return m_edit->text();
}

void TOverlayEditBox::SetText(const QString& text)
{
    m_edit->setText(text);
}

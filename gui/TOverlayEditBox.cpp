#include "gui/TOverlayEditBox.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

TOverlayEditBox::TOverlayEditBox(QWidget* editor, const QString& text)
    : QDialog(editor, Qt::Dialog | Qt::FramelessWindowHint)
    , m_edit(new QLineEdit(text, this))
    , m_accept(new QPushButton(QStringLiteral("accept value"), this))
    , m_reason(new QLabel(this))
{
    setObjectName(QStringLiteral("Overlay_Dialog"));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    layout->addWidget(m_edit, 1);
    layout->addWidget(m_accept);
    m_reason->setObjectName(QStringLiteral("FieldReason"));
    m_reason->hide();
    layout->addWidget(m_reason);
    m_edit->setAccessibleName(editor ? editor->accessibleName() : QString());
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

void TOverlayEditBox::accept()
{
    const QString problem = m_check ? m_check(m_edit->text()) : QString();
    if (!problem.isEmpty()) {
        m_reason->setText(problem);
        m_reason->show();
        adjustSize();
        m_edit->setFocus();
        return;
    }
    QDialog::accept();
}

QString TOverlayEditBox::ReasonText() const
{
    return m_reason->text();
}

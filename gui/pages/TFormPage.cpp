#include "gui/pages/TFormPage.h"

#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

#include "gui/TGuiItemList.h"

TFormPage::TFormPage(const QString& title, QWidget* parent)
    : TPage(title, parent)
{
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto* content = new QWidget(scroll);
    content->setObjectName(QStringLiteral("PageArea"));
    m_body = new QVBoxLayout(content);
    m_body->setContentsMargins(16, 12, 16, 12);
    auto* heading = new QLabel(title, content);
    heading->setObjectName(QStringLiteral("PageTitle"));
    QFont font = heading->font();
    font.setPointSizeF(font.pointSizeF() * 1.5);
    font.setBold(true);
    heading->setFont(font);
    m_body->addWidget(heading);
    scroll->setWidget(content);
    outer->addWidget(scroll);
}

TFormPage::~TFormPage() = default;

TGuiItemList& TFormPage::AddGroup(const QString& title, const QStringList& descriptors)
{
    auto* box = new QGroupBox(title, m_body->parentWidget());
    auto* layout = new QVBoxLayout(box);
    auto items = std::make_unique<TGuiItemList>();
    items->BuildItems(descriptors, layout, kLabelWidthPx, kEditorWidthPx);
    m_buttons = new QHBoxLayout;
    m_buttons->addStretch(1);
    layout->addLayout(m_buttons);
    m_body->addWidget(box);
    m_groups.emplace_back(title, std::move(items));
    return *m_groups.back().second;
}

QPushButton* TFormPage::AddButton(const QString& text, const QString& toolTip, std::function<void()> action)
{
    if (!m_buttons) {
        m_buttons = new QHBoxLayout;
        m_buttons->addStretch(1);
        m_body->addLayout(m_buttons);
    }
    auto* button = new QPushButton(text, m_body->parentWidget());
    button->setToolTip(toolTip);
    connect(button, &QPushButton::clicked, this, [action] { action(); });
    m_buttons->addWidget(button);
    m_buttonList << button;
    return button;
}

void TFormPage::AddNote(const QString& text)
{
    auto* note = new QLabel(text, m_body->parentWidget());
    note->setWordWrap(true);
    m_body->addWidget(note);
}

void TFormPage::Finish()
{
    m_body->addStretch(1);
}

TGuiItemList* TFormPage::Group(const QString& title) const
{
    for (const auto& group : m_groups)
        if (group.first == title)
            return group.second.get();
    return nullptr;
}

QPushButton* TFormPage::Button(const QString& text) const
{
    for (QPushButton* button : m_buttonList)
        if (button->text() == text)
            return button;
    return nullptr;
}

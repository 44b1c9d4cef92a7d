#include "gui/pages/TFormPage.h"

#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

#include "gui/TGuiItemList.h"

namespace {
const QString kGet = QStringLiteral("Get");
}

TFormPage::TFormPage(const QString& title, QWidget* parent)
    : TPage(title, parent)
{
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(0);
    m_scroll = new QScrollArea(this);
    m_scroll->setWidgetResizable(true);
    m_scroll->setFrameShape(QFrame::NoFrame);
    auto* content = new QWidget(m_scroll);
    content->setObjectName(QStringLiteral("PageArea"));
    m_body = new QVBoxLayout(content);
    m_body->setContentsMargins(12, 10, 12, 10);
    auto* heading = new QLabel(title, content);
    heading->setObjectName(QStringLiteral("PageTitle"));
    QFont font = heading->font();
    font.setPointSizeF(font.pointSizeF() * 1.5);
    font.setBold(true);
    heading->setFont(font);
    m_body->addWidget(heading);
    m_scroll->setWidget(content);
    outer->addWidget(m_scroll, 1);
    // Below the scrolling part, so that the outcome is in view whatever was scrolled to.
    ResultLine()->setContentsMargins(12, 4, 12, 4);
    ResultLine()->show();
    outer->addWidget(ResultLine());
}

TFormPage::~TFormPage() = default;

TGuiItemList& TFormPage::AddGroup(const QString& title, const QStringList& descriptors, QWidget* above)
{
    auto* box = new QGroupBox(title, m_body->parentWidget());
    auto* layout = new QVBoxLayout(box);
    if (above)
        layout->addWidget(above);
    auto items = std::make_unique<TGuiItemList>();
    items->BuildItems(descriptors, layout, kLabelWidthPx, kEditorWidthPx);
    auto* note = new QLabel(box);
    note->setObjectName(QStringLiteral("StaleNote"));
    note->setWordWrap(true);
    layout->addWidget(note);
    items->SetStaleNote(note);
    if (above)
        items->FollowStale(above);
    m_groupLayout = layout;
    m_groupNote = note;
    m_buttons = new QHBoxLayout;
    layout->addLayout(m_buttons);
    m_buttons->addStretch(1);
    m_body->addWidget(box);
    WatchValues(*items);
    m_groups.emplace_back(title, std::move(items));
    return *m_groups.back().second;
}

QPushButton* TFormPage::AddButton(const QString& text, const QString& toolTip, std::function<void()> action)
{
    QPushButton* button = PlaceButton(text, text == kGet ? toolTip + QStringLiteral(" (F5)") : toolTip);
    connect(button, &QPushButton::clicked, this, [this, button, toolTip, action] { RunAction(button, toolTip, action); });
    return button;
}

QPushButton* TFormPage::PlaceButton(const QString& text, const QString& toolTip)
{
    if (!m_buttons) {
        m_buttons = new QHBoxLayout;
        m_body->addLayout(m_buttons);
        m_buttons->addStretch(1);
    }
    auto* button = new QPushButton(text, m_body->parentWidget());
    button->setToolTip(toolTip);
    // Buttons line up from the left, under the fields they act on, so a narrow page never hides them.
    m_buttons->insertWidget(m_buttons->count() - 1, button);
    m_buttonList << button;
    return button;
}

QPushButton* TFormPage::AddConfirmedButton(const QString& text, const QString& toolTip, const QString& question, std::function<void()> action)
{
    return AddButton(text, toolTip, [this, text, question, action] {
        QMessageBox box(QMessageBox::Question, text, question, QMessageBox::Yes | QMessageBox::No, this);
        box.setDefaultButton(QMessageBox::No);
        if (box.exec() == QMessageBox::Yes)
            action();
    });
}

QPushButton* TFormPage::AddControlButton(const QString& text, const QString& toolTip, std::function<void()> handler)
{
    QPushButton* button = PlaceButton(text, toolTip);
    connect(button, &QPushButton::clicked, this, [handler] { handler(); });
    return button;
}

void TFormPage::AddToGroup(QWidget* widget)
{
    if (m_groupLayout)
        m_groupLayout->insertWidget(m_groupLayout->indexOf(m_groupNote), widget);
    else
        m_body->addWidget(widget);
}

QGroupBox* TFormPage::GroupBox(const QString& title) const
{
    for (QGroupBox* box : m_body->parentWidget()->findChildren<QGroupBox*>(QString(), Qt::FindDirectChildrenOnly))
        if (box->title() == title)
            return box;
    return nullptr;
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

bool TFormPage::RunGet()
{
    if (IsCommandRunning()) {
        RunAction(nullptr, QString(), [] {});   // refused: says what is still running and sends nothing
        return false;
    }
    QPushButton* get = Button(kGet);
    if (!get)
        return TPage::RunGet();
    if (!get->isEnabled())
        return false;
    get->click();
    return true;
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
        if (button->text() == text || button->text() == BusyText(text))
            return button;
    return nullptr;
}

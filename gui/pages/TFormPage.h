#pragma once
#include <QStringList>

#include <functional>
#include <memory>
#include <vector>

#include "gui/TPage.h"

class QBoxLayout;
class QHBoxLayout;
class QPushButton;
class QVBoxLayout;
class TGuiItemList;

/// A page made of titled groups of descriptor rows with buttons under each: the common shape of
/// the device pages.
class TFormPage : public TPage
{
    Q_OBJECT
public:
    explicit TFormPage(const QString& title, QWidget* parent = nullptr);
    ~TFormPage() override;

    static constexpr int kLabelWidthPx = 180;
    static constexpr int kEditorWidthPx = 260;

    /// The rows of the group with this title (null when there is none).
    TGuiItemList* Group(const QString& title) const;
    /// The button with this text (null when there is none).
    QPushButton* Button(const QString& text) const;

protected:
    QVBoxLayout* Body() const { return m_body; }
    /// A group box with one row per descriptor; buttons added afterwards go below it.
    TGuiItemList& AddGroup(const QString& title, const QStringList& descriptors);
    QPushButton* AddButton(const QString& text, const QString& toolTip, std::function<void()> action);
    void AddNote(const QString& text);
    void Finish();

private:
    QVBoxLayout* m_body;
    QHBoxLayout* m_buttons = nullptr;
    std::vector<std::pair<QString, std::unique_ptr<TGuiItemList>>> m_groups;
    QList<QPushButton*> m_buttonList;
};

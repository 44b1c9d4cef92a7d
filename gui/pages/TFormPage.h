#pragma once
#include <QStringList>

#include <functional>
#include <memory>
#include <vector>

#include "gui/TPage.h"

class QBoxLayout;
class QGroupBox;
class QLabel;
class QHBoxLayout;
class QPushButton;
class QScrollArea;
class QVBoxLayout;
class TGuiItemList;
struct TFieldLayoutEntry;

/// A page made of titled groups of descriptor rows with buttons under each: the common shape of
/// the device pages. The groups scroll; the result line stays in view below them. Every button runs
/// as one action of the page (busy while it runs, its outcome on the result line), and every group
/// is followed for stale marking, with a note under it that says when its values were read.
class TFormPage : public TPage
{
    Q_OBJECT
public:
    explicit TFormPage(const QString& title, QWidget* parent = nullptr);
    ~TFormPage() override;

    static constexpr int kLabelWidthPx = 160;
    static constexpr int kEditorWidthPx = 200;

    /// The rows of the group with this title (null when there is none).
    TGuiItemList* Group(const QString& title) const;
    /// The box of the group with this title (null when there is none), e.g. to hide what a module lacks.
    QGroupBox* GroupBox(const QString& title) const;
    /// The button with this text, also while it says it is busy (null when there is none).
    QPushButton* Button(const QString& text) const;
    QScrollArea* ScrollArea() const { return m_scroll; }
    /// Clicks "Get" when the page has one; otherwise refreshes the page.
    bool RunGet() override;

protected:
    QVBoxLayout* Body() const { return m_body; }
    /// A group box with one row per descriptor; buttons added afterwards go below it. `above` (a
    /// table the group's reads fill, say) is placed in the box above the rows and greyed with them
    /// while they are stale.
    TGuiItemList& AddGroup(const QString& title, const QStringList& descriptors, QWidget* above = nullptr);
    /// A button whose `action` runs as one action of the page; `toolTip` says what it does, in words
    /// that also make the result line ("OK - read the HCI configuration").
    QPushButton* AddButton(const QString& text, const QString& toolTip, std::function<void()> action);
    /// AddButton for what cannot be undone: `question` is asked first ("Yes"/"No", "No" is the
    /// default); only "Yes" runs the action. Declined, nothing is sent and the result line stays.
    QPushButton* AddConfirmedButton(const QString& text, const QString& toolTip, const QString& question, std::function<void()> action);
    /// A button that works on the page, not on the module ("Stop" of a test run): it is not an action,
    /// so it is never refused and works while an action runs.
    QPushButton* AddControlButton(const QString& text, const QString& toolTip, std::function<void()> handler);
    /// A widget of the page's own (a progress bar) in the last group, below its rows.
    void AddToGroup(QWidget* widget);
    void AddNote(const QString& text);
    void Finish();

private:
    QPushButton* PlaceButton(const QString& text, const QString& toolTip);

    QScrollArea* m_scroll;
    QVBoxLayout* m_body;
    QHBoxLayout* m_buttons = nullptr;
    QVBoxLayout* m_groupLayout = nullptr;
    QLabel* m_groupNote = nullptr;
    std::vector<std::pair<QString, std::unique_ptr<TGuiItemList>>> m_groups;
    QList<QPushButton*> m_buttonList;
};

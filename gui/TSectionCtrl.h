#pragma once
#include <QList>
#include <QPointer>
#include <QStackedWidget>
#include <QStringList>
#include <QWidget>

#include "gui/TPage.h"
#include "gui/TSectionEntry.h"

class QAction;
class QButtonGroup;
class QListWidget;
class QPushButton;

/// The left control panel: one button per section with the list of its pages below it, and the stack
/// of pages it switches between. Pages are created when the panel is built, by calling the creator
/// slots by name. Follows the device selection: device type, offered sections, automatic refresh.
class TSectionCtrl : public QWidget
{
    Q_OBJECT
public:
    static constexpr int kDefaultPanelWidthPx = 250;

    /// `table` ends with an empty entry; `creator` carries the creator slots.
    TSectionCtrl(const TSectionEntry* table, QObject* creator, QWidget* parent = nullptr);
    ~TSectionCtrl() override;

    /// The stack of pages, for the main window's page area (deleted with the panel while it has no parent).
    QStackedWidget* PageStack() const { return m_stack; }
    TPage* CurrentPage() const;
    TPage* Page(const QString& sectionTitle, const QString& pageTitle) const;
    QList<TPage*> Pages() const;
    QStringList SectionTitles() const;
    /// Whether the section's button is offered (not hidden by the feature control).
    bool IsSectionOffered(const QString& sectionTitle) const;
    QString DeviceType() const { return m_deviceType; }

    bool SelectPage(const QString& sectionTitle, const QString& pageTitle);
    /// "Section/Page", e.g. "Device Management/Studio Settings".
    bool SelectPage(const QString& path);
    bool SelectPage(TPage* page);

    /// Checkable action for the "Views" menu; its text follows the panel's state.
    QAction* ToggleAction() const { return m_toggleAction; }
    /// The widget that hides and shows with the toggle (default: this panel).
    void SetPanelWidget(QWidget* panel) { m_panel = panel; }
    int PanelWidth() const;
    /// Passes changed studio settings on to every page.
    void ApplySettings();

signals:
    void EvPageSelectionChanged(QWidget* page);
    void EvPageHidden(QWidget* page);
    void EvDeviceTypeChanged(const QString& deviceType);

public slots:
    void OnDeviceSelectionChanged(const QString& comPort);
    void OnDeviceConfigChanged();
    void OnLeftPanelToggled(bool hidden);

private slots:
    void OnSectionClicked(int index);
    void OnPageRowChanged(int row);

private:
    struct Section
    {
        QString title;
        QStringList features;
        QPushButton* button = nullptr;
        QListWidget* list = nullptr;
        QList<TPage*> pages;
        QString deviceType;
    };

    void BuildSection(const TSectionEntry& entry, QObject* creator);
    TPage* CreatePage(QObject* creator, const QString& title, const QString& slot);
    void Expand(int sectionIndex);
    int SectionOf(const TPage* page) const;
    void Select(TPage* page, bool refresh);
    /// With `control` shows the sections whose features the list holds and hides the others; else shows all.
    void ApplyFeatures(bool control, const QStringList& features);
    void SelectFirstOffered();
    static bool Offered(const Section& section);
    void RestorePanelWidth(QWidget* panel);

    QList<Section> m_sections;
    QPointer<QStackedWidget> m_stack;
    QButtonGroup* m_buttons;
    QAction* m_toggleAction;
    QPointer<QWidget> m_panel;
    QPointer<TPage> m_current;
    QString m_deviceType;
};

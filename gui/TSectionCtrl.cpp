#include "gui/TSectionCtrl.h"

#include <QAction>
#include <QButtonGroup>
#include <QIcon>
#include <QListWidget>
#include <QMetaObject>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSplitter>
#include <QStackedWidget>
#include <QVBoxLayout>

#include "devices/TDeviceManager.h"
#include "devices/TRadioController.h"
#include "gui/TPage.h"
#include "settings/TSettings.h"
#include "status/TStatusLog.h"

namespace {
const QString kGroup = QStringLiteral("SectionControl");
const QString kDynamicFeatureControl = QStringLiteral("DynamicFeatureControl");
const QString kAutomaticPageRefresh = QStringLiteral("AutomaticPageRefresh");
const QString kPanelWidth = QStringLiteral("PanelWidth");
const QString kHideText = QStringLiteral("Hide Left Control Panel");
const QString kShowText = QStringLiteral("Show Left Control Panel");
const QString kSource = QStringLiteral("SectionCtrl");

bool IsEnd(const char* title)
{
    return !title || !*title;
}

bool AutomaticPageRefresh()
{
    return TSettings::Instance().ReadBool(kGroup, kAutomaticPageRefresh, false);
}

QString SelectedDeviceType(const TRadioController* device)
{
    return device ? device->DeviceInfo().Value(QStringLiteral("DeviceType")) : QString();
}
}

TSectionCtrl::TSectionCtrl(const TSectionEntry* table, QObject* creator, QWidget* parent)
    : QWidget(parent)
    , m_stack(new QStackedWidget)
    , m_buttons(new QButtonGroup(this))
    , m_toggleAction(new QAction(kHideText, this))
{
    setObjectName(QStringLiteral("SectionCtrl"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    for (const TSectionEntry* entry = table; entry && !IsEnd(entry->title); ++entry)
        BuildSection(*entry, creator);
    layout->addStretch(1);
    connect(m_buttons, &QButtonGroup::idClicked, this, &TSectionCtrl::OnSectionClicked);

    m_toggleAction->setCheckable(true);
    connect(m_toggleAction, &QAction::toggled, this, &TSectionCtrl::OnLeftPanelToggled);

    TDeviceManager& devices = TDeviceManager::Instance();
    connect(&devices, &TDeviceManager::EvDeviceSelectionChanged, this, &TSectionCtrl::OnDeviceSelectionChanged);
    connect(&devices, &TDeviceManager::EvDeviceConfigChanged, this, &TSectionCtrl::OnDeviceConfigChanged);

    const TRadioController* device = devices.SelectedDevice();
    m_deviceType = SelectedDeviceType(device);
    for (Section& section : m_sections)
        section.deviceType = m_deviceType;
    if (!m_deviceType.isEmpty()) {
        for (TPage* page : Pages())
            page->DeviceTypeChanged(m_deviceType);
    }
    ApplyFeatures(TSettings::Instance().ReadBool(kGroup, kDynamicFeatureControl, false),
                  device ? device->Features() : QStringList());
    SelectFirstOffered();
    resize(PanelWidth(), height());
}

TSectionCtrl::~TSectionCtrl()
{
    if (m_stack && !m_stack->parent())
        delete m_stack;
}

void TSectionCtrl::BuildSection(const TSectionEntry& entry, QObject* creator)
{
    Section section;
    section.title = QString::fromUtf8(entry.title);
    for (const QString& feature : QString::fromUtf8(entry.features ? entry.features : "").split(QLatin1Char(',')))
        if (!feature.trimmed().isEmpty())
            section.features.append(feature.trimmed());

    section.button = new QPushButton(QIcon(QString::fromUtf8(entry.icon ? entry.icon : "")), section.title, this);
    section.button->setObjectName(QStringLiteral("SectionCtrlButton"));
    section.button->setCheckable(true);
    m_buttons->addButton(section.button, m_sections.size());
    section.list = new QListWidget(this);
    section.list->setObjectName(QStringLiteral("SectionCtrlPageList"));
    section.list->setAccessibleName(section.title);
    section.list->hide();

    for (const TSectionPageEntry* page = entry.pages; page && !IsEnd(page->title); ++page) {
        const QString title = QString::fromUtf8(page->title);
        TPage* created = CreatePage(creator, title, QString::fromUtf8(page->creator ? page->creator : ""));
        if (!created)
            continue;
        m_stack->addWidget(created);
        section.list->addItem(title);
        section.pages.append(created);
    }
    connect(section.list, &QListWidget::currentRowChanged, this, &TSectionCtrl::OnPageRowChanged);
    layout()->addWidget(section.button);
    layout()->addWidget(section.list);
    m_sections.append(section);
}

TPage* TSectionCtrl::CreatePage(QObject* creator, const QString& title, const QString& slot)
{
    TPage* page = nullptr;
    const QByteArray method = slot.toLatin1();
    const bool invoked = creator && !method.isEmpty()
        && QMetaObject::invokeMethod(creator, method.constData(), Qt::DirectConnection, Q_RETURN_ARG(TPage*, page),
                                     Q_ARG(QString, title));
    if (!invoked || !page) {
        TStatusLog::Instance().AddStatusMessage(kSource, QStringLiteral("error - couldn't create page: %1 (%2)").arg(title, slot));
        return nullptr;
    }
    return page;
}

TPage* TSectionCtrl::CurrentPage() const
{
    return m_current;
}

TPage* TSectionCtrl::Page(const QString& sectionTitle, const QString& pageTitle) const
{
    for (const Section& section : m_sections) {
        if (section.title != sectionTitle)
            continue;
        for (int row = 0; row < section.list->count(); ++row) {
            if (section.list->item(row)->text() == pageTitle)
                return section.pages.at(row);
        }
    }
    return nullptr;
}

QList<TPage*> TSectionCtrl::Pages() const
{
    QList<TPage*> pages;
    for (const Section& section : m_sections)
        pages += section.pages;
    return pages;
}

QStringList TSectionCtrl::SectionTitles() const
{
    QStringList titles;
    for (const Section& section : m_sections)
        titles.append(section.title);
    return titles;
}

bool TSectionCtrl::IsSectionOffered(const QString& sectionTitle) const
{
    for (const Section& section : m_sections) {
        if (section.title == sectionTitle)
            return Offered(section);
    }
    return false;
}

bool TSectionCtrl::SelectPage(const QString& sectionTitle, const QString& pageTitle)
{
    return SelectPage(Page(sectionTitle, pageTitle));
}

bool TSectionCtrl::SelectPage(const QString& path)
{
    const int slash = path.indexOf(QLatin1Char('/'));
    return slash > 0 && SelectPage(path.left(slash), path.mid(slash + 1));
}

bool TSectionCtrl::SelectPage(TPage* page)
{
    const int index = SectionOf(page);
    if (index < 0)
        return false;
    if (!Offered(m_sections.at(index)))
        m_sections.at(index).button->show();   // asked for by name: offer it rather than show a page without its section
    Select(page, true);
    return true;
}

int TSectionCtrl::PanelWidth() const
{
    bool ok = false;
    const int width = TSettings::Instance().ReadValue(kGroup, kPanelWidth, QString::number(kDefaultPanelWidthPx)).toInt(&ok);
    return ok && width > 0 ? width : kDefaultPanelWidthPx;
}

void TSectionCtrl::ApplySettings()
{
    for (TPage* page : Pages())
        page->ApplySettings();
}

void TSectionCtrl::OnDeviceSelectionChanged(const QString& comPort)
{
    Q_UNUSED(comPort);
    const TRadioController* device = TDeviceManager::Instance().SelectedDevice();
    const QString type = SelectedDeviceType(device);
    if (type != m_deviceType) {
        m_deviceType = type;
        for (Section& section : m_sections) {
            section.deviceType = type;
            for (TPage* page : section.pages)
                page->DeviceTypeChanged(type);
        }
        emit EvDeviceTypeChanged(type);
    }
    if (!device) {
        for (TPage* page : Pages())
            page->ClearPage();
    }
    ApplyFeatures(TSettings::Instance().ReadBool(kGroup, kDynamicFeatureControl, false),
                  device ? device->Features() : QStringList());
    if (TPage* page = CurrentPage(); page && AutomaticPageRefresh())
        page->RefreshSilent();
}

void TSectionCtrl::OnDeviceConfigChanged()
{
    for (TPage* page : Pages())
        page->DeviceConfigChanged();
}

void TSectionCtrl::OnLeftPanelToggled(bool hidden)
{
    QWidget* panel = m_panel ? m_panel.data() : this;
    {
        const QSignalBlocker blocker(m_toggleAction);
        m_toggleAction->setChecked(hidden);
    }
    if (hidden) {
        if (panel->isVisible())
            TSettings::Instance().WriteValue(kGroup, kPanelWidth, QString::number(panel->width()));
        panel->hide();
        m_toggleAction->setText(kShowText);
    } else {
        panel->show();
        RestorePanelWidth(panel);
        m_toggleAction->setText(kHideText);
    }
}

void TSectionCtrl::RestorePanelWidth(QWidget* panel)
{
    const int width = PanelWidth();
    auto* splitter = qobject_cast<QSplitter*>(panel->parentWidget());
    const int index = splitter ? splitter->indexOf(panel) : -1;
    if (index < 0) {
        panel->resize(width, panel->height());
        return;
    }
    QList<int> sizes = splitter->sizes();
    int total = 0;
    for (int size : sizes)
        total += size;
    const int others = sizes.size() - 1;
    for (int i = 0; i < sizes.size(); ++i)
        sizes[i] = i == index ? width : (others > 0 ? qMax(0, total - width) / others : 0);
    splitter->setSizes(sizes);
}

void TSectionCtrl::OnSectionClicked(int index)
{
    if (index < 0 || index >= m_sections.size())
        return;
    const Section& section = m_sections.at(index);
    if (section.pages.isEmpty()) {
        Expand(index);
        return;
    }
    const int row = qMax(0, section.list->currentRow());
    Select(section.pages.value(row, section.pages.first()), true);
}

void TSectionCtrl::OnPageRowChanged(int row)
{
    for (const Section& section : m_sections) {
        if (section.list == sender() && row >= 0 && row < section.pages.size()) {
            Select(section.pages.at(row), true);
            return;
        }
    }
}

void TSectionCtrl::Expand(int sectionIndex)
{
    for (int i = 0; i < m_sections.size(); ++i) {
        const Section& section = m_sections.at(i);
        const bool expanded = i == sectionIndex;
        section.button->setChecked(expanded);
        section.list->setVisible(expanded && Offered(section));
    }
}

int TSectionCtrl::SectionOf(const TPage* page) const
{
    if (!page)
        return -1;
    for (int i = 0; i < m_sections.size(); ++i) {
        if (m_sections.at(i).pages.contains(const_cast<TPage*>(page)))
            return i;
    }
    return -1;
}

void TSectionCtrl::Select(TPage* page, bool refresh)
{
    const int index = SectionOf(page);
    if (index < 0 || !m_stack)
        return;
    const Section& section = m_sections.at(index);
    Expand(index);
    {
        const QSignalBlocker blocker(section.list);
        section.list->setCurrentRow(section.pages.indexOf(page));
    }
    if (m_current == page)
        return;
    TPage* previous = m_current;
    m_current = page;
    m_stack->setCurrentWidget(page);
    if (previous) {
        previous->PageHidden();
        emit EvPageHidden(previous);
    }
    page->PageShown();
    emit EvPageSelectionChanged(page);
    if (refresh && AutomaticPageRefresh())
        page->RefreshSilent();
}

void TSectionCtrl::ApplyFeatures(bool control, const QStringList& features)
{
    for (Section& section : m_sections) {
        bool offered = true;
        if (control) {
            for (const QString& feature : section.features)
                offered = offered && features.contains(feature);
        }
        section.button->setHidden(!offered);
        if (!offered)
            section.list->hide();
    }
    const int current = SectionOf(CurrentPage());
    if (current >= 0 && !Offered(m_sections.at(current)))
        SelectFirstOffered();
    else if (current >= 0)
        Expand(current);
}

void TSectionCtrl::SelectFirstOffered()
{
    for (const Section& section : m_sections) {
        if (Offered(section) && !section.pages.isEmpty()) {
            Select(section.pages.first(), false);
            return;
        }
    }
}

bool TSectionCtrl::Offered(const Section& section)
{
    return !section.button->isHidden();
}

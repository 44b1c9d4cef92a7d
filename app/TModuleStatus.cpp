#include "app/TModuleStatus.h"

#include <QCoreApplication>
#include <QHash>
#include <QHeaderView>
#include <QLabel>
#include <QPainter>
#include <QPixmap>
#include <QSignalBlocker>
#include <QTreeWidget>

#include "devices/TRadioController.h"
#include "gui/TPage.h"
#include "hci/TVeltoLRHCI.h"
#include "settings/TSettings.h"

namespace {
enum class Glyph { Dot, Ring, Cross, Arc, Square, Hollow };
struct StateLook {
    TDeviceManager::DeviceState state;
    const char* colour;
    Glyph glyph;   // a shape per state, so that the colour is never the only sign
};
// state                               colour     glyph
const StateLook kLooks[] = {
    {TDeviceManager::StateNone,         "#6b6b6b", Glyph::Hollow},
    {TDeviceManager::StateConnected,    "#1e7e34", Glyph::Dot},
    {TDeviceManager::StateBusy,         "#b35c00", Glyph::Ring},
    {TDeviceManager::StateLost,         "#c62828", Glyph::Cross},
    {TDeviceManager::StateReconnecting, "#1f5fae", Glyph::Arc},
    {TDeviceManager::StateReleased,     "#6b6b6b", Glyph::Square},
};

QString Firmware(const TKeyValueList& info)
{
    const QString name = info.Value(QStringLiteral("FWName"), QStringLiteral("n.a."));
    const QString version = info.Value(QStringLiteral("FWVersion"));
    return version.isEmpty() ? name : name + QLatin1Char(' ') + version;
}
}

const QStringList& TModuleStatus::Columns()
{
    static const QStringList columns{QStringLiteral("Type"), QStringLiteral("Port"), QStringLiteral("Firmware"), QStringLiteral("State")};
    return columns;
}

QIcon TModuleStatus::StateIcon(TDeviceManager::DeviceState state)
{
    // Painted once per state: the tree asks for them on every refresh. Pixmaps go before the
    // application does.
    static QHash<int, QIcon> icons;
    if (icons.isEmpty())
        qAddPostRoutine([] { icons.clear(); });
    const auto cached = icons.constFind(state);
    if (cached != icons.constEnd())
        return cached.value();
    static const int kSize = 16;
    for (const StateLook& look : kLooks) {
        if (look.state != state)
            continue;
        QPixmap pixmap(kSize, kSize);
        pixmap.fill(Qt::transparent);
        QPainter p(&pixmap);
        p.setRenderHint(QPainter::Antialiasing);
        const QColor colour(QString::fromLatin1(look.colour));
        const QRectF box(2.5, 2.5, kSize - 5, kSize - 5);
        const bool filled = look.glyph == Glyph::Dot || look.glyph == Glyph::Square;
        p.setPen(filled ? QPen(Qt::NoPen) : QPen(colour, look.glyph == Glyph::Hollow ? 1.5 : 2.5));
        p.setBrush(filled ? QBrush(colour) : QBrush(Qt::NoBrush));
        switch (look.glyph) {
        case Glyph::Dot:
        case Glyph::Hollow:
            p.drawEllipse(box);
            break;
        case Glyph::Ring:
            p.drawEllipse(box);
            p.setBrush(colour);
            p.drawEllipse(box.center(), 2, 2);
            break;
        case Glyph::Cross:
            p.drawLine(box.topLeft(), box.bottomRight());
            p.drawLine(box.topRight(), box.bottomLeft());
            break;
        case Glyph::Arc:
            p.drawArc(box, 30 * 16, 270 * 16);
            break;
        case Glyph::Square:
            p.drawRect(box);
            break;
        }
        p.end();
        return icons[state] = QIcon(pixmap);
    }
    return QIcon();
}

TModuleStatus::TModuleStatus(QTreeWidget* tree, QLabel* statusLabel, QObject* parent)
    : QObject(parent)
    , m_tree(tree)
    , m_label(statusLabel)
    , m_remembered(TSettings::Instance().ReadValue(QString::fromLatin1(kSettingsGroup), QString::fromLatin1(kSelectedPortKey)))
{
    m_tree->setColumnCount(Columns().size());
    m_tree->setHeaderLabels(Columns());
    TDeviceManager& manager = TDeviceManager::Instance();
    connect(&manager, &TDeviceManager::EvLocalDeviceAdded, this, &TModuleStatus::OnAdded);
    connect(&manager, &TDeviceManager::EvLocalDeviceRemoved, this, &TModuleStatus::OnRemoved);
    connect(&manager, &TDeviceManager::EvDeviceSelectionChanged, this, &TModuleStatus::OnSelected);
    connect(&manager, &TDeviceManager::EvDeviceConfigChanged, this, &TModuleStatus::Refresh);
    connect(&manager, &TDeviceManager::EvDeviceStateChanged, this, &TModuleStatus::Refresh);
    connect(m_tree, &QTreeWidget::itemSelectionChanged, this, &TModuleStatus::OnTreeSelection);
    for (TRadioController* device : manager.Devices())
        OnAdded(device->PortName());
    Refresh();
}

void TModuleStatus::Watch(TPage* page)
{
    connect(page, &TPage::EvCommandRunning, this, [this](const QString& port, bool running) {
        if (running)
            m_busy.insert(port);
        else
            m_busy.remove(port);
        Refresh();
    });
}

TDeviceManager::DeviceState TModuleStatus::StateOf(const QString& port) const
{
    const TDeviceManager& manager = TDeviceManager::Instance();
    TDeviceManager::DeviceState state = manager.StateOf(port);
    const TRadioController* device = manager.DeviceByPort(port);
    if (state == TDeviceManager::StateConnected && device && device->Link() && device->Link()->PortLost())
        state = TDeviceManager::StateLost;
    if (state == TDeviceManager::StateConnected && m_busy.contains(port))
        state = TDeviceManager::StateBusy;
    if (state == TDeviceManager::StateNone && port == m_remembered && m_rememberedAway)
        state = TDeviceManager::StateLost;
    return state;
}

QString TModuleStatus::StatusText() const
{
    const TDeviceManager& manager = TDeviceManager::Instance();
    const TRadioController* device = manager.SelectedDevice();
    if (!device) {
        if (m_rememberedAway)
            return QStringLiteral("%1 | %2").arg(m_remembered, TDeviceManager::StateText(StateOf(m_remembered)));
        return QStringLiteral("No module selected");
    }
    const TKeyValueList& info = device->DeviceInfo();
    return QStringList{info.Value(QStringLiteral("DeviceType"), QStringLiteral("n.a.")), device->PortName(), device->BaudrateText(),
                       Firmware(info), TDeviceManager::StateText(StateOf(device->PortName()))}
        .join(QStringLiteral(" | "));
}

void TModuleStatus::Refresh()
{
    const TDeviceManager& manager = TDeviceManager::Instance();
    struct Row {
        QString port;
        TKeyValueList info;
        QString baudrate;
        bool present;
    };
    QList<Row> rows;
    for (const TRadioController* device : manager.Devices()) {
        if (device->PortName() == m_remembered)
            m_rememberedInfo = device->DeviceInfo();
        rows.append({device->PortName(), device->DeviceInfo(), device->BaudrateText(), true});
    }
    // The module that was chosen is away: its row stays, so the user sees it is awaited.
    if (m_rememberedAway && !manager.DeviceByPort(m_remembered))
        rows.append({m_remembered, m_rememberedInfo, QStringLiteral("n.a."), false});

    const QSignalBlocker block(m_tree);
    // The same modules as before: the rows are updated where they are, so focus and keyboard position stay.
    bool same = m_tree->topLevelItemCount() == rows.size();
    for (int i = 0; same && i < rows.size(); ++i)
        same = m_tree->topLevelItem(i)->data(0, Qt::UserRole).toString() == rows.at(i).port;
    if (!same) {
        m_tree->clear();
        for (const Row& row : qAsConst(rows)) {
            auto* item = new QTreeWidgetItem(m_tree);
            item->setData(0, Qt::UserRole, row.port);
        }
    }
    for (int i = 0; i < rows.size(); ++i) {
        const Row& row = rows.at(i);
        QTreeWidgetItem* item = m_tree->topLevelItem(i);
        const TDeviceManager::DeviceState state = StateOf(row.port);
        const QString stateText = TDeviceManager::StateText(state);
        const QStringList texts{row.info.Value(QStringLiteral("DeviceType"), QStringLiteral("n.a.")), row.port, Firmware(row.info), stateText};
        const QString tip = QStringLiteral("Type: %1\nPort: %2\nBaud rate: %3\nFirmware: %4\nState: %5")
                                .arg(texts.at(0), row.port, row.baudrate, texts.at(2), stateText);
        for (int column = 0; column < texts.size(); ++column) {
            item->setText(column, texts.at(column));
            item->setToolTip(column, tip);
        }
        item->setIcon(0, StateIcon(state));
        item->setFlags(row.present ? item->flags() | Qt::ItemIsSelectable : item->flags() & ~Qt::ItemIsSelectable);
        item->setSelected(row.present && manager.IsSelected(row.port));
    }
    for (int column = 0; column < Columns().size(); ++column)
        m_tree->resizeColumnToContents(column);
    m_label->setText(StatusText());
    m_label->setToolTip(m_label->text());
}

void TModuleStatus::OnAdded(const QString& port)
{
    TDeviceManager& manager = TDeviceManager::Instance();
    if (TRadioController* device = manager.DeviceByPort(port)) {
        if (TVeltoLRHCI* link = device->Link())
            connect(link, &TVeltoLRHCI::EvPortLost, this, &TModuleStatus::Refresh, Qt::UniqueConnection);
    }
    if (port == m_remembered) {
        m_rememberedAway = false;
        if (!manager.IsSelected(port))
            manager.SelectDevice(port);
    }
    Refresh();
}

void TModuleStatus::OnRemoved(const QString& port)
{
    m_busy.remove(port);
    if (port == m_remembered)
        m_rememberedAway = true;
    Refresh();
}

void TModuleStatus::OnSelected(const QString& port)
{
    const TDeviceManager& manager = TDeviceManager::Instance();
    // Discovery selects a module by itself when it is the only one; that must not make the studio
    // forget the module the user chose while that one is away.
    const bool automatic = m_rememberedAway && manager.DeviceCount() == 1 && port != m_remembered;
    if (manager.DeviceByPort(port) && !automatic && port != m_remembered) {
        m_remembered = port;
        m_rememberedAway = false;
        TSettings::Instance().WriteValue(QString::fromLatin1(kSettingsGroup), QString::fromLatin1(kSelectedPortKey), port);
    }
    Refresh();
}

void TModuleStatus::OnTreeSelection()
{
    const QList<QTreeWidgetItem*> items = m_tree->selectedItems();
    if (items.isEmpty())
        return;
    const QString port = items.first()->data(0, Qt::UserRole).toString();
    m_rememberedAway = false;   // the user chose: this one is the module to remember now
    TDeviceManager::Instance().SelectDevice(port);
}

#include "gui/pages/TLoRaWANPage.h"

#include <QCheckBox>
#include <QLineEdit>

#include "devices/TDeviceManager.h"
#include "devices/TLoRaWANEndNode.h"
#include "gui/TGuiItemList.h"
#include "gui/pages/TLayoutParams.h"
#include "sap/TVeltoLRLoRaWAN.h"

TLoRaWANPage::TLoRaWANPage(const QString& title, QWidget* parent)
    : TFormPage(title, parent)
{
    m_retry.setSingleShot(true);
    m_retry.setInterval(0);
    connect(&m_retry, &QTimer::timeout, this, &TLoRaWANPage::TryRefresh);
    // The page's own action changed what it shows and says so itself; anything left waits until it ends.
    connect(this, &TPage::EvCommandRunning, this, [this](const QString&, bool running) {
        if (!running && RefreshPending())
            m_retry.start();
    });
    FollowModules([this](TRadioController* device) { Follow(device); });
}

void TLoRaWANPage::Follow(TRadioController* device)
{
    auto* node = qobject_cast<TLoRaWANEndNode*>(device);
    if (!node)
        return;
    const QString port = node->PortName();
    connect(node, &TLoRaWANEndNode::EvLoRaWAN_SendMsgEvent, this, [this](const TKeyValueList& record) { OnTxEvent(record); });
    connect(node, &TLoRaWANEndNode::EvLoRaWAN_RxEvent, this, [this](const TKeyValueList& record) { OnRxEvent(record); });
    connect(node, &TRadioController::EvBusyChanged, this, [this](bool busy) {
        if (!busy && RefreshPending())
            m_retry.start();
    });
    if (auto* lorawan = qobject_cast<TVeltoLRLoRaWAN*>(node->SAP(QStringLiteral("LoRaWAN"))))
        connect(lorawan, &TVeltoLRLoRaWAN::EvLoRaWAN_ConfigChanged, this, [this, port] { OnConfigChanged(port); });
}

void TLoRaWANPage::OnConfigChanged(const QString& port)
{
    if (IsCommandRunning())
        return;   // made by this page's action, which shows what it did
    RequestRefresh(port);
}

void TLoRaWANPage::RequestRefresh(const QString& port)
{
    m_changed.insert(port);
    m_retry.start();
}

void TLoRaWANPage::PageShown()
{
    if (RefreshPending())
        m_retry.start();
}

void TLoRaWANPage::TryRefresh()
{
    if (m_changed.isEmpty() || !isVisible() || IsCommandRunning())
        return;
    TRadioController* device = TDeviceManager::Instance().SelectedDevice();
    if (!device || !m_changed.contains(device->PortName())) {
        m_changed.clear();   // values of another module are marked stale by the framework
        return;
    }
    if (device->IsBusy())
        return;   // its EvBusyChanged brings us back
    m_changed.clear();
    RefreshAfterChange();
}

QStringList TLoRaWANPage::Texts(const char* const* items)
{
    QStringList texts;
    for (; *items; ++items)
        texts << QLatin1String(*items);
    return texts;
}

std::function<TKeyValueList(const TGuiItemList&)> TLoRaWANPage::Fields(const TFieldLayoutEntry* layout, int optionalFields)
{
    return [layout, optionalFields](const TGuiItemList& rows) { return TLayoutParams::FromRows(rows, layout, optionalFields); };
}

QString TLoRaWANPage::OctetsRow(const QString& name, int octets)
{
    QStringList mask;
    for (int i = 0; i < octets; ++i)
        mask << QStringLiteral("HH");
    return QStringLiteral("GuiName:%1;GuiType:LineEdit;Key:%1;Value:;Mask:%2;HexBytes:%3").arg(name, mask.join(QLatin1Char(' '))).arg(octets);
}

QString TLoRaWANPage::AddressRow(const QString& name)
{
    return QStringLiteral("GuiName:%1;GuiType:LineEdit;Key:%1;Value:;Mask:>HHHHHHHH").arg(name);
}

QString TLoRaWANPage::NumberRow(const QString& name, qint64 minimum, qint64 maximum, const QString& unit, const QString& flags)
{
    QString row = QStringLiteral("GuiName:%1;GuiType:LineEdit;Key:%1;Value:n.a.;MinValue:%2;MaxValue:%3").arg(name).arg(minimum).arg(maximum);
    if (!unit.isEmpty())
        row += QStringLiteral(";Unit:") + unit;
    if (!flags.isEmpty())
        row += QStringLiteral(";GuiFlags:") + flags;
    return row;
}

QString TLoRaWANPage::ShowRow(const QString& name, const QString& key, const QString& unit)
{
    QString row = QStringLiteral("GuiName:%1;GuiType:LineEdit;Key:%2;Value:n.a.;GuiFlags:RO").arg(name, key);
    if (!unit.isEmpty())
        row += QStringLiteral(";Unit:") + unit;
    return row;
}

QString TLoRaWANPage::ChoiceRow(const QString& name, const QStringList& choices, const QString& value)
{
    return QStringLiteral("GuiName:%1;GuiType:ComboBox;Key:%1;Value:%2;GuiFlags:IdList;ValueList:%3").arg(name, value, choices.join(QLatin1Char(',')));
}

QString TLoRaWANPage::ShowKeysRow()
{
    return QStringLiteral("GuiName:%1;GuiType:CheckBox;Value:0;GuiFlags:Enabled").arg(QLatin1String(kShowKeys));
}

QLineEdit* TLoRaWANPage::LineEdit(const TGuiItemList& rows, const QString& key)
{
    return qobject_cast<QLineEdit*>(rows.FindItem(key));
}

void TLoRaWANPage::HideKeys(TGuiItemList& rows, const QStringList& keys)
{
    QList<QLineEdit*> edits;
    for (const QString& key : keys)
        if (QLineEdit* edit = LineEdit(rows, key)) {
            edit->setEchoMode(QLineEdit::Password);
            edits << edit;
        }
    for (int i = 0; i < rows.Count(); ++i) {
        auto* reveal = qobject_cast<QCheckBox*>(rows.Editor(i));
        if (!reveal || TGuiItemList::Field(rows.Descriptor(i), QStringLiteral("GuiName:")) != QLatin1String(kShowKeys))
            continue;
        connect(reveal, &QCheckBox::toggled, reveal, [edits](bool shown) {
            for (QLineEdit* edit : edits)
                edit->setEchoMode(shown ? QLineEdit::Normal : QLineEdit::Password);
        });
    }
}

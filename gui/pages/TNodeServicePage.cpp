#include "gui/pages/TNodeServicePage.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "gui/TFieldCheck.h"
#include "gui/TGuiItemList.h"
#include "sap/LoRaWANLayouts.h"
#include "sap/TFieldLayout.h"
#include "status/TTableCtrl.h"

namespace L = LoRaWANLayouts;

namespace {
const QString kPayload = QStringLiteral("Payload");
const QString kPayloadSize = QStringLiteral("Payload Size");
constexpr int kTableHeightPx = 240;

// The tables' columns: the record's time and port, its event type, then every field the events of
// the table carry (docs/protocol/lorawan.md), each in one column wherever it comes from.
// column
const char* const kTxColumns[] = {
    "HostTime", "Port", "EvType", "ChannelIndex", "DataRate", "PowerLevel", "NumTxPackets", "Airtime", "FrameCounter", "DevNonce",
    nullptr,
};
const char* const kRxColumns[] = {
    "HostTime", "Port", "EvType", "DeviceAddress", "FrameCounter", "RSSI", "SNR", "RxSlot", "ChannelIndex", "DataRate",
    "ACK", "FramePending", "LoRaPort", "Payload", "MACCommand", "Reason", "DevNonce", "UTCTime", "GPSTime", "FractionalSecond",
    nullptr,
};

// The receive events after which the module reports another network status.
bool ChangesStatus(const QString& evType)
{
    return evType == QLatin1String("Join Accepted") || evType == QLatin1String("Link Disconnect");
}
}

const QStringList& TNodeServicePage::TxColumns()
{
    static const QStringList columns = Texts(kTxColumns);
    return columns;
}

const QStringList& TNodeServicePage::RxColumns()
{
    static const QStringList columns = Texts(kRxColumns);
    return columns;
}

QStringList TNodeServicePage::Row(const QStringList& columns, const TKeyValueList& record)
{
    QStringList row;
    for (const QString& column : columns)
        row << record.Value(column);
    return row;
}

TNodeServicePage::TNodeServicePage(const QString& title, QWidget* parent)
    : TLoRaWANPage(title, parent)
{
    m_status = &AddGroup(QStringLiteral("Network Status"), {
        ShowRow(QStringLiteral("NetworkStatus"), QStringLiteral("NetworkStatusText")),
        ShowRow(QStringLiteral("DeviceAddress"), QStringLiteral("DeviceAddress")),
        ShowRow(QStringLiteral("DataRate"), QStringLiteral("DataRate")),
        ShowRow(QStringLiteral("PowerLevel"), QStringLiteral("PowerLevel"), QStringLiteral("dBm")),
        ShowRow(QStringLiteral("MaxPayloadSize"), QStringLiteral("MaxPayloadSize"), QStringLiteral("bytes")),
    });
    AddButton(QStringLiteral("Get Network Status"), QStringLiteral("read the network status"), [this] { ReadStatus(); });
    AddButton(QStringLiteral("Deactivate"), QStringLiteral("deactivate the device"),
              [this] { CommandThenStatus(QStringLiteral("LoRaWAN/DeactivateDevice")); });
    AddButton(QStringLiteral("Reactivate"), QStringLiteral("reactivate the device"),
              [this] { CommandThenStatus(QStringLiteral("LoRaWAN/ReactivateDevice")); });

    // The join request carries the join parameters of the configuration page.
    AddGroup(QStringLiteral("Over-the-Air Activation"), {});
    AddButton(QStringLiteral("Join Network"), QStringLiteral("start joining the network"),
              [this] { CommandThenStatus(QStringLiteral("LoRaWAN/JoinNetwork")); });

    TGuiItemList& abp = AddGroup(QStringLiteral("Activation by Personalisation"), {
        AddressRow(QStringLiteral("DeviceAddress")),
        OctetsRow(QStringLiteral("NwkSessionKey"), 16),
        OctetsRow(QStringLiteral("AppSessionKey"), 16),
        ShowKeysRow(),
    });
    HideKeys(abp, {QStringLiteral("NwkSessionKey"), QStringLiteral("AppSessionKey")});
    AddButton(QStringLiteral("Activate Device"), QStringLiteral("activate the device with the address and keys above"), [this, &abp] {
        if (RunSetCommand(QStringLiteral("LoRaWAN/ActivateDevice"), abp, Fields(L::kActivation)))
            ReadStatus();
    });
    AddButton(QStringLiteral("Get Activation Parameters"), QStringLiteral("read the activation parameters"),
              [this, &abp] { RunGetCommand(QStringLiteral("LoRaWAN/GetDeviceActParameters"), abp); });

    m_data = &AddGroup(QStringLiteral("Data"), {
        QStringLiteral("GuiName:LoRaPort;GuiType:LineEdit;Key:LoRaPort;Value:1;MinValue:1;MaxValue:223"),
        QStringLiteral("GuiName:Payload;GuiType:LineEdit;Key:Payload;Value:;HexBytes:0-%1").arg(kMaxPayloadBytes),
        QStringLiteral("GuiName:%1;GuiType:Label;Value:").arg(kPayloadSize),
    });
    for (int i = 0; i < m_data->Count(); ++i)
        if (TGuiItemList::Field(m_data->Descriptor(i), QStringLiteral("GuiName:")) == kPayloadSize)
            m_payloadSize = qobject_cast<QLabel*>(m_data->Editor(i));
    connect(LineEdit(*m_data, kPayload), &QLineEdit::textChanged, this, &TNodeServicePage::ShowPayloadSize);
    ShowPayloadSize();
    AddButton(QStringLiteral("Send U-Data"), QStringLiteral("send the payload unconfirmed"),
              [this] { RunSetCommand(QStringLiteral("LoRaWAN/SendUData"), *m_data, Fields(L::kRadioData)); });
    AddButton(QStringLiteral("Send C-Data"), QStringLiteral("send the payload confirmed"),
              [this] { RunSetCommand(QStringLiteral("LoRaWAN/SendCData"), *m_data, Fields(L::kRadioData)); });

    // The command sets the MAC command's Service itself: unconfirmed or confirmed by its button.
    TGuiItemList& mac = AddGroup(QStringLiteral("MAC Commands"), {
        ChoiceRow(QStringLiteral("MACCmdID"), {QStringLiteral("2:LinkCheckReq"), QStringLiteral("13:DeviceTimeReq")}, QStringLiteral("2")),
    });
    AddButton(QStringLiteral("Send U-MAC Command"), QStringLiteral("send the MAC command unconfirmed"),
              [this, &mac] { RunSetCommand(QStringLiteral("LoRaWAN/SendUMACCommand"), mac, Fields(L::kMacCommand)); });
    AddButton(QStringLiteral("Send C-MAC Command"), QStringLiteral("send the MAC command confirmed"),
              [this, &mac] { RunSetCommand(QStringLiteral("LoRaWAN/SendCMACCommand"), mac, Fields(L::kMacCommand)); });

    AddGroup(QStringLiteral("Network Time"), {});
    AddButton(QStringLiteral("Network Time Request"), QStringLiteral("ask the network for the time"), [this] {
        RunCommand(QStringLiteral("LoRaWAN/SendNetworkTimeRequest"));
    });

    TGuiItemList& battery = AddGroup(QStringLiteral("Battery Level (0 external power, 255 unknown)"), {
        QStringLiteral("GuiName:BatteryLevel;GuiType:LineEdit;Key:BatteryLevel;Value:255;MinValue:0;MaxValue:255"),
    });
    AddButton(QStringLiteral("Set Battery Level"), QStringLiteral("tell the module its battery level"),
              [this, &battery] { RunSetCommand(QStringLiteral("LoRaWAN/SetBatteryLevel"), battery, Fields(L::kBatteryLevel)); });

    m_tx = new TTableCtrl(QStringLiteral("Tx"), TxColumns(), this);
    m_rx = new TTableCtrl(QStringLiteral("Rx"), RxColumns(), this);
    for (TTableCtrl* table : {m_tx, m_rx}) {
        table->setMinimumHeight(kTableHeightPx);
        Body()->addWidget(table);
    }
    Finish();
}

bool TNodeServicePage::ReadStatus()
{
    const bool ok = RunGetCommand(QStringLiteral("LoRaWAN/GetNwkStatus"), *m_status);
    if (ok) {
        // While inactive the module names no limit: the service's own holds.
        bool known = false;
        const int limit = LineEdit(*m_status, QStringLiteral("MaxPayloadSize"))->text().toInt(&known);
        SetPayloadLimit(known ? qMin(limit, int(kMaxPayloadBytes)) : kMaxPayloadBytes);
    }
    return ok;
}

void TNodeServicePage::CommandThenStatus(const QString& command)
{
    if (RunCommand(command))
        ReadStatus();
}

void TNodeServicePage::SetPayloadLimit(int bytes)
{
    m_payloadLimit = bytes;
    if (TFieldCheck* check = TFieldCheck::Of(LineEdit(*m_data, kPayload)))
        check->SetHexBytes(0, bytes);
    ShowPayloadSize();
}

void TNodeServicePage::ShowPayloadSize()
{
    QByteArray bytes;
    const QString text = LineEdit(*m_data, kPayload)->text();
    if (!TFieldLayout::ParseHexBytes(text, bytes)) {
        m_payloadSize->setText(QStringLiteral("n.a. of at most %1 bytes").arg(m_payloadLimit));
        return;
    }
    const QString size = QStringLiteral("%1 of at most %2 bytes").arg(bytes.size()).arg(m_payloadLimit);
    m_payloadSize->setText(bytes.size() > m_payloadLimit ? size + QStringLiteral(" - too long") : size);
}

void TNodeServicePage::RefreshPage()
{
    if (QPushButton* get = Button(QStringLiteral("Get Network Status")))
        get->click();
}

void TNodeServicePage::RefreshAfterChange()
{
    RunAction(nullptr, QStringLiteral("read the network status the module changed"), [this] { ReadStatus(); });
}

void TNodeServicePage::OnTxEvent(const TKeyValueList& record)
{
    m_tx->AppendRow(Row(TxColumns(), record));
}

void TNodeServicePage::OnRxEvent(const TKeyValueList& record)
{
    m_rx->AppendRow(Row(RxColumns(), record));
    if (ChangesStatus(record.Value(QStringLiteral("EvType"))))
        RequestRefresh(record.Value(QStringLiteral("Port")));
}

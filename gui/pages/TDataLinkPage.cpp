#include "gui/pages/TDataLinkPage.h"

#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "devices/TExtLoRaWANEndNode.h"
#include "gui/TGuiItemList.h"
#include "gui/TSignalView.h"
#include "sap/TDataLinkSAP.h"
#include "status/TStatusLog.h"
#include "status/TTableCtrl.h"

namespace {
const QString kSelectFile = QStringLiteral("Select Message Configuration File");
const QChar kZeroWidthSpace(0x200B);

// Record keys that have a column of their own; whatever else a record carries goes to "Info".
// column        taken from (first found)
const char* const kColumnKeys[][2] = {
    {"EvType",     "EvType"},      // DataLink events
    {"EvType",     "EventType"},   // sensor application events
    {"HostTime",   "HostTime"},
    {"Port",       "Port"},
    {"DstAddress", "DstAddress"},
    {"SrcAddress", "SrcAddress"},
    {"Payload",    "Payload"},
    {"Payload",    "RadioMsg"},    // raw frames
    {"RSSI",       "RSSI"},
    {"SNR",        "SNR"},
    {"Time",       "Time"},
    {"Info",       "Info"},        // transmit events
};

/// "10:1F3A" from the radio configuration in the device information; "" when it has none.
QString OwnAddress(const TKeyValueList& info)
{
    bool groupOk = false, deviceOk = false;
    const uint group = info.Value(QStringLiteral("RxGroupAddress")).toUInt(&groupOk, 0);
    const uint device = info.Value(QStringLiteral("RxDeviceAddress")).toUInt(&deviceOk, 0);
    return groupOk && deviceOk ? TDataLinkSAP::AddressText(quint8(group), quint16(device)) : QString();
}
}

const QStringList& TDataLinkPage::Columns()
{
    static const QStringList columns{QStringLiteral("EvType"),     QStringLiteral("HostTime"), QStringLiteral("Port"),
                                     QStringLiteral("DstAddress"), QStringLiteral("SrcAddress"), QStringLiteral("Payload"),
                                     QStringLiteral("RSSI"),       QStringLiteral("SNR"),       QStringLiteral("Time"),
                                     QStringLiteral("Info")};
    return columns;
}

TDataLinkPage::TDataLinkPage(const QString& title, QWidget* parent)
    : TFormPage(title, parent)
{
    auto* prepared = new QGroupBox(QStringLiteral("Prepared Messages"), Body()->parentWidget());
    auto* preparedLayout = new QVBoxLayout(prepared);
    auto* row = new QHBoxLayout;
    row->setSpacing(TGuiItemList::kRowSpacingPx);
    auto* label = new QLabel(QStringLiteral("Message"), prepared);
    label->setMinimumWidth(kLabelWidthPx);
    m_messageList = new QComboBox(prepared);
    m_messageList->setMinimumWidth(kEditorWidthPx);
    m_messageList->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    m_messageList->setAccessibleName(label->text());
    label->setBuddy(m_messageList);
    row->addWidget(label);
    row->addWidget(m_messageList, 1);
    preparedLayout->addLayout(row);
    m_fileStatus = new QLabel(prepared);
    m_fileStatus->setObjectName(QStringLiteral("MessageFileStatus"));
    m_fileStatus->setWordWrap(true);
    m_fileStatus->setTextInteractionFlags(Qt::TextSelectableByMouse);
    preparedLayout->addWidget(m_fileStatus);
    auto* fileRow = new QHBoxLayout;
    auto* select = new QPushButton(kSelectFile, prepared);
    select->setToolTip(QStringLiteral("load the prepared messages of another file"));
    fileRow->addWidget(select);
    fileRow->addStretch(1);
    preparedLayout->addLayout(fileRow);
    Body()->addWidget(prepared);

    m_message = &AddGroup(QStringLiteral("Radio Message"), {
        QStringLiteral("GuiName:DstGroupAddress;GuiType:LineEdit;Key:DstGroupAddress;Value:n.a.;MinValue:0;MaxValue:0xFF"),
        QStringLiteral("GuiName:DstDeviceAddress;GuiType:LineEdit;Key:DstDeviceAddress;Value:n.a.;MinValue:0;MaxValue:0xFFFF"),
        QStringLiteral("GuiName:Payload;GuiType:LineEdit;Key:Payload;Value:;HexBytes:0-240"),
    });
    AddButton(QStringLiteral("Send U-Message"), QStringLiteral("send the unconfirmed radio message"),
              [this] { Send(QStringLiteral("DataLink/SendURadioMessage"), *m_message); });
    AddButton(QStringLiteral("Send C-Message"), QStringLiteral("send the confirmed radio message"),
              [this] { Send(QStringLiteral("DataLink/SendCRadioMessage"), *m_message); });

    TGuiItemList& ack = AddGroup(QStringLiteral("Acknowledgement Data"), {
        QStringLiteral("GuiName:Ack Mode;GuiType:ComboBox;Key:AckMode;Value:0;GuiFlags:IdList;"
                       "ValueList:0:plain acknowledgements,1:data with the next acknowledgement,2:data with every acknowledgement"),
        QStringLiteral("GuiName:Ack Payload;GuiType:LineEdit;Key:Payload;Value:;HexBytes:0-64"),
    });
    AddButton(QStringLiteral("Set Ack Data"), QStringLiteral("set the data the module's acknowledgements carry"),
              [this, &ack] { Send(QStringLiteral("DataLink/SetAckData"), ack); });

    m_table = new TTableCtrl(QStringLiteral("Radio_Messages"), Columns(), Body()->parentWidget());
    m_table->setMinimumHeight(260);
    Body()->addWidget(m_table);

    auto* signal = new QGroupBox(QStringLiteral("Signal Quality"), Body()->parentWidget());
    auto* signalLayout = new QVBoxLayout(signal);
    m_signal = new TSignalView(title, signal);
    signalLayout->addWidget(m_signal);
    Body()->addWidget(signal);
    Finish();

    connect(m_messageList, QOverload<int>::of(&QComboBox::currentIndexChanged), this, &TDataLinkPage::ChooseMessage);
    connect(m_messageList, QOverload<int>::of(&QComboBox::activated), this, &TDataLinkPage::ChooseMessage);
    connect(select, &QPushButton::clicked, this, &TDataLinkPage::AskMessageFile);
    LoadMessageFile(TRadioMsgConfig::DefaultPath());
    FollowModules([this](TRadioController* device) { Follow(device); });
}

bool TDataLinkPage::LoadMessageFile(const QString& path)
{
    const bool loaded = m_messages.Load(path);
    {
        const QSignalBlocker quiet(m_messageList);
        m_messageList->clear();
        for (const TRadioMsgConfig::Entry& entry : m_messages.Entries())
            m_messageList->addItem(entry.name);
        m_messageList->setCurrentIndex(-1);
    }
    ChooseMessage(0);
    m_fileStatusText = m_messages.StatusText();
    // A long path breaks at its separators rather than widening the page.
    m_fileStatus->setText(QString(m_fileStatusText).replace(QLatin1Char('/'), QStringLiteral("/") + kZeroWidthSpace));
    m_fileStatus->setAccessibleName(m_fileStatusText);
    TStatusLog& log = TStatusLog::Instance();
    for (const QString& warning : m_messages.Warnings())
        log.AddStatusMessage(PageName(), warning);
    log.AddStatusMessage(PageName(), m_fileStatusText);
    return loaded;
}

void TDataLinkPage::ChooseMessage(int index)
{
    if (index < 0 || index >= m_messages.Entries().size())
        return;
    if (m_messageList->currentIndex() != index) {
        const QSignalBlocker quiet(m_messageList);
        m_messageList->setCurrentIndex(index);
    }
    m_message->SetItems(TRadioMsgConfig::Parameters(m_messages.Entries().at(index).line), false);
}

void TDataLinkPage::AskMessageFile()
{
    const QString path = QFileDialog::getOpenFileName(this, kSelectFile, QFileInfo(TRadioMsgConfig::DefaultPath()).absolutePath(),
                                                      QStringLiteral("Configuration Files (*.cfg)"));
    if (!path.isEmpty())
        LoadMessageFile(path);
}

void TDataLinkPage::Send(const QString& command, TGuiItemList& items)
{
    // What is sent is the user's, not the module's: the rows are never marked as read.
    if (!CheckInput(items))
        return;
    RunCommand(command, items.ReadKeyValues());
}

void TDataLinkPage::Follow(TRadioController* device)
{
    if (auto* node = qobject_cast<TLoRaWANEndNode*>(device))
        connect(node, &TLoRaWANEndNode::EvSensorApp_DataEvent, this, &TDataLinkPage::OnRecord);
    if (auto* osprey = qobject_cast<TExtLoRaWANEndNode*>(device))
        connect(osprey, &TExtLoRaWANEndNode::EvDataLink_MessageEvent, this, &TDataLinkPage::OnRecord);
    m_ownAddress.insert(device->PortName(), OwnAddress(device->DeviceInfo()));
}

void TDataLinkPage::OnRecord(const TKeyValueList& record)
{
    m_table->AppendRow(Row(record));
    // A sensor node reports its own telegrams: they count as sent by the module on that port.
    m_signal->Stats().SetOwnAddress(m_ownAddress.value(record.Value(QStringLiteral("Port"))));
    m_signal->Add(record);
}

QStringList TDataLinkPage::Row(const TKeyValueList& record)
{
    QStringList row;
    for (int i = 0; i < Columns().size(); ++i)
        row << QString();
    QStringList rest;
    for (const TKeyValueList::Item& item : record) {
        int column = -1;
        for (const auto& key : kColumnKeys) {
            if (item.first == QLatin1String(key[1])) {
                column = Columns().indexOf(QLatin1String(key[0]));
                break;
            }
        }
        if (column < 0)
            rest << item.first + QLatin1Char(':') + item.second;
        else if (row.at(column).isEmpty())
            row[column] = item.second;
    }
    // Raw frames and sensor values: their other fields, written as the transmit events write theirs.
    const int info = Columns().indexOf(QStringLiteral("Info"));
    if (row.at(info).isEmpty())
        row[info] = rest.join(QStringLiteral("  "));
    return row;
}

#include "gui/dialogs/TDiscoverGatewayDialog.h"

#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QHostAddress>
#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QUrl>
#include <QVBoxLayout>

#include "gateway/TGatewayCaller.h"
#include "gateway/TGatewayList.h"
#include "gateway/TGatewayProtocol.h"
#include "settings/TSettings.h"
#include "status/TStatusLog.h"

namespace {
const char* const kHeading = "Discover Gateways by known IP-Addresses";

QSpinBox* PortBox(QWidget* parent)
{
    auto* box = new QSpinBox(parent);
    box->setRange(1, 65535);
    box->setKeyboardTracking(false);   // a port counts when typed in full, not digit by digit
    return box;
}

QPushButton* Button(const QString& text, QWidget* parent)
{
    auto* button = new QPushButton(text, parent);
    button->setAccessibleName(text);
    return button;
}
}

TDiscoverGatewayDialog::TDiscoverGatewayDialog(QWidget* parent)
    : QDialog(parent)
    , m_table(new QTableWidget(0, 1, this))
    , m_status(new QPlainTextEdit(this))
    , m_call(Button(QStringLiteral("Call Selected Gateways"), this))
    , m_web(Button(QStringLiteral("Open Web Page"), this))
    , m_remove(Button(QStringLiteral("Remove Selected"), this))
    , m_serverPort(PortBox(this))
    , m_gatewayPort(PortBox(this))
    , m_caller(new TGatewayCaller(this))
{
    setWindowTitle(QString::fromLatin1(kTitle));
    auto* layout = new QVBoxLayout(this);
    auto* heading = new QLabel(QString::fromLatin1(kHeading), this);
    heading->setBuddy(m_table);
    m_table->setAccessibleName(heading->text());
    m_table->setHorizontalHeaderLabels({QStringLiteral("IP-Address")});
    m_table->horizontalHeader()->setStretchLastSection(true);
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::ExtendedSelection);
    layout->addWidget(heading);
    layout->addWidget(m_table, 2);

    auto* ports = new QFormLayout;
    const QString serverText = QStringLiteral("Server Port");
    const QString gatewayText = QStringLiteral("Gateway Port");
    ports->addRow(serverText, m_serverPort);
    ports->addRow(gatewayText, m_gatewayPort);
    m_serverPort->setAccessibleName(serverText);
    m_gatewayPort->setAccessibleName(gatewayText);
    layout->addLayout(ports);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_call);
    buttons->addWidget(m_web);
    buttons->addWidget(m_remove);
    buttons->addStretch(1);
    layout->addLayout(buttons);

    auto* statusLabel = new QLabel(QStringLiteral("Status"), this);
    statusLabel->setBuddy(m_status);
    m_status->setAccessibleName(statusLabel->text());
    m_status->setReadOnly(true);
    layout->addWidget(statusLabel);
    layout->addWidget(m_status, 1);
    auto* close = new QDialogButtonBox(QDialogButtonBox::Close, this);
    close->button(QDialogButtonBox::Close)->setAccessibleName(close->button(QDialogButtonBox::Close)->text());
    layout->addWidget(close);

    connect(close, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_table, &QTableWidget::itemChanged, this, &TDiscoverGatewayDialog::OnGatewayAddress_ItemChanged);
    connect(m_table, &QTableWidget::itemSelectionChanged, this, &TDiscoverGatewayDialog::OnGatewayAddress_SelectionChanged);
    connect(m_call, &QPushButton::clicked, this, &TDiscoverGatewayDialog::OnCallGateways);
    connect(m_web, &QPushButton::clicked, this, &TDiscoverGatewayDialog::OnOpenWebPage);
    connect(m_remove, &QPushButton::clicked, this, &TDiscoverGatewayDialog::OnRemoveAddresses);
    connect(m_caller, &TGatewayCaller::EvStatusLine, this, &TDiscoverGatewayDialog::ShowStatusLine);
    // A changed port counts from the next call on; the answers are heard on the new server port.
    auto storePorts = [this] {
        if (m_filling)
            return;
        TSettings& settings = TSettings::Instance();
        settings.SetServerPort(m_serverPort->value());
        settings.SetGatewayPort(m_gatewayPort->value());
        m_caller->SetPorts(m_serverPort->value(), m_gatewayPort->value());
    };
    connect(m_serverPort, QOverload<int>::of(&QSpinBox::valueChanged), this, storePorts);
    connect(m_gatewayPort, QOverload<int>::of(&QSpinBox::valueChanged), this, storePorts);

    resize(520, 560);
    OnRefreshDialog();
}

TDiscoverGatewayDialog::~TDiscoverGatewayDialog() = default;

QMessageBox* TDiscoverGatewayDialog::InfoBox() const
{
    return m_infoBox;
}

void TDiscoverGatewayDialog::OnRefreshDialog()
{
    m_filling = true;
    m_table->setRowCount(0);
    for (const QString& address : TGatewayList::Load())
        AddRow(address);
    EnsureEmptyLastRow();
    const TSettings& settings = TSettings::Instance();
    m_serverPort->setValue(settings.ServerPort());
    m_gatewayPort->setValue(settings.GatewayPort());
    m_caller->SetPorts(settings.ServerPort(), settings.GatewayPort());
    m_filling = false;
    OnGatewayAddress_SelectionChanged();
}

void TDiscoverGatewayDialog::AddRow(const QString& address)
{
    const int row = m_table->rowCount();
    m_table->insertRow(row);
    m_table->setItem(row, 0, new QTableWidgetItem(address));
}

void TDiscoverGatewayDialog::EnsureEmptyLastRow()
{
    // Typing into the empty last row adds an address.
    const int rows = m_table->rowCount();
    if (rows == 0 || !m_table->item(rows - 1, 0) || !m_table->item(rows - 1, 0)->text().trimmed().isEmpty())
        AddRow(QString());
}

QStringList TDiscoverGatewayDialog::Addresses() const
{
    QStringList addresses;
    for (int row = 0; row < m_table->rowCount(); ++row)
        if (const QTableWidgetItem* item = m_table->item(row, 0))
            addresses << item->text();
    return addresses;
}

QStringList TDiscoverGatewayDialog::SelectedAddresses() const
{
    QStringList addresses;
    for (int row = 0; row < m_table->rowCount(); ++row) {
        const QTableWidgetItem* item = m_table->item(row, 0);
        if (item && item->isSelected() && !item->text().trimmed().isEmpty())
            addresses << item->text().trimmed();
    }
    return addresses;
}

void TDiscoverGatewayDialog::StoreAddresses()
{
    TGatewayList::Store(Addresses());
    const QString error = TSettings::Instance().ErrorText();
    if (!error.isEmpty())
        ShowStatusLine(error);
}

void TDiscoverGatewayDialog::OnGatewayAddress_ItemChanged(QTableWidgetItem* item)
{
    if (m_filling || !item)
        return;
    const QString address = item->text().trimmed();
    if (!address.isEmpty() && QHostAddress(address).isNull())
        ShowStatusLine(QStringLiteral("warning - not an IP-Address: ") + address);
    StoreAddresses();
    m_filling = true;
    EnsureEmptyLastRow();
    m_filling = false;
}

void TDiscoverGatewayDialog::OnGatewayAddress_SelectionChanged()
{
    const QStringList selected = SelectedAddresses();
    m_web->setEnabled(selected.size() == 1);
    m_remove->setEnabled(!selected.isEmpty());
}

void TDiscoverGatewayDialog::OnCallGateways()
{
    const QStringList addresses = SelectedAddresses();
    if (addresses.isEmpty()) {
        // Not modal: the answers of earlier calls keep arriving behind the box.
        auto* box = new QMessageBox(QMessageBox::Information, QStringLiteral("Info - No IP-Address selected!"),
                                    QStringLiteral("Please select at least one IP-Address"), QMessageBox::Ok, this);
        box->setAttribute(Qt::WA_DeleteOnClose);
        box->open();
        m_infoBox = box;
        return;
    }
    if (!m_caller->IsListening())
        m_caller->Listen();   // a taken port is told; the gateways are called all the same
    m_caller->Call(addresses);
}

void TDiscoverGatewayDialog::OnOpenWebPage()
{
    const QStringList selected = SelectedAddresses();
    if (selected.isEmpty())
        return;
    const QString address = selected.first();
    const QHostAddress host(address);
    if (host.isNull() || !QDesktopServices::openUrl(QUrl(TGatewayProtocol::WebAddress(TGatewayCaller::AddressText(host))))) {
        const QString text = QStringLiteral("error - couldn't open ") + address;
        TStatusLog::Instance().AddStatusLine(text);
        ShowStatusLine(text);
    }
}

void TDiscoverGatewayDialog::OnRemoveAddresses()
{
    QStringList kept;
    for (int row = 0; row < m_table->rowCount(); ++row)
        if (const QTableWidgetItem* item = m_table->item(row, 0); item && !item->isSelected())
            kept << item->text();
    TGatewayList::Store(kept);
    OnRefreshDialog();
}

void TDiscoverGatewayDialog::ShowStatusLine(const QString& text)
{
    m_status->appendPlainText(text);
}

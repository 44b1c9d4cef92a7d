#pragma once
#include <QDialog>
#include <QPointer>
#include <QStringList>

class QMessageBox;
class QPlainTextEdit;
class QPushButton;
class QSpinBox;
class QTableWidget;
class QTableWidgetItem;
class TGatewayCaller;

/// "Discover Gateways": the editable list of gateway IP-Addresses (kept in the settings store), the
/// call to the selected gateways, their status answers, and each gateway's web page.
class TDiscoverGatewayDialog : public QDialog
{
    Q_OBJECT
public:
    static constexpr const char* kTitle = "Discover Gateways";

    explicit TDiscoverGatewayDialog(QWidget* parent = nullptr);
    ~TDiscoverGatewayDialog() override;

    QTableWidget* AddressTable() const { return m_table; }
    QPlainTextEdit* StatusBox() const { return m_status; }
    QPushButton* CallButton() const { return m_call; }
    QPushButton* WebPageButton() const { return m_web; }
    QSpinBox* ServerPortBox() const { return m_serverPort; }
    QSpinBox* GatewayPortBox() const { return m_gatewayPort; }
    /// The info box shown when the call found no selected address (null when none is open).
    QMessageBox* InfoBox() const;
    TGatewayCaller* Caller() const { return m_caller; }
    /// The non-empty addresses of the selected rows, top to bottom.
    QStringList SelectedAddresses() const;

public slots:
    void OnGatewayAddress_ItemChanged(QTableWidgetItem* item);
    void OnGatewayAddress_SelectionChanged();
    void OnRefreshDialog();
    void OnCallGateways();
    void OnOpenWebPage();
    void OnRemoveAddresses();

private:
    void AddRow(const QString& address);
    void EnsureEmptyLastRow();
    QStringList Addresses() const;
    void StoreAddresses();
    void ShowStatusLine(const QString& text);

    QTableWidget* m_table;
    QPlainTextEdit* m_status;
    QPushButton* m_call;
    QPushButton* m_web;
    QPushButton* m_remove;
    QSpinBox* m_serverPort;
    QSpinBox* m_gatewayPort;
    TGatewayCaller* m_caller;
    QPointer<QMessageBox> m_infoBox;
    bool m_filling = false;
};

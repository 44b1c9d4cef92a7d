#pragma once
#include "gui/pages/TLoRaWANPage.h"

class QLabel;
class TTableCtrl;

/// LoRaWAN services of the selected module: join and activation, the network status, unconfirmed
/// and confirmed data and MAC commands, network time and battery level, with a table of every
/// transmit event ("Tx") and every receive event ("Rx") of every LoRaWAN module.
class TNodeServicePage : public TLoRaWANPage
{
    Q_OBJECT
public:
    /// The service's own limit of a data request's payload.
    static constexpr int kMaxPayloadBytes = 255;

    explicit TNodeServicePage(const QString& title, QWidget* parent = nullptr);

    static const QStringList& TxColumns();
    static const QStringList& RxColumns();
    /// One table row: the record's value for each column ("" where the event has no such field).
    static QStringList Row(const QStringList& columns, const TKeyValueList& record);

    TTableCtrl* TxTable() const { return m_tx; }
    TTableCtrl* RxTable() const { return m_rx; }

public slots:
    void RefreshPage() override;

protected:
    void RefreshAfterChange() override;
    void OnTxEvent(const TKeyValueList& record) override;
    void OnRxEvent(const TKeyValueList& record) override;

private:
    bool ReadStatus();
    /// Runs a command that takes no parameters, then reads the status it changed.
    void CommandThenStatus(const QString& command);
    void SetPayloadLimit(int bytes);
    void ShowPayloadSize();

    TGuiItemList* m_status = nullptr;
    TGuiItemList* m_data = nullptr;
    QLabel* m_payloadSize = nullptr;
    int m_payloadLimit = kMaxPayloadBytes;
    TTableCtrl* m_tx;
    TTableCtrl* m_rx;
};

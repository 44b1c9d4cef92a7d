#include "gui/pages/THCILoggingPage.h"

#include <QPushButton>
#include <QVBoxLayout>

#include "devices/TRadioController.h"
#include "hci/TVeltoLRHCI.h"
#include "status/TTableCtrl.h"

const QStringList& THCILoggingPage::Columns()
{
    static const QStringList columns{QStringLiteral("EvType"),    QStringLiteral("HostTime"),  QStringLiteral("Port"),
                                     QStringLiteral("HCI-SapID"), QStringLiteral("HCI-MsgID"), QStringLiteral("Message"),
                                     QStringLiteral("HCI-PLen"),  QStringLiteral("HCI-Payload"), QStringLiteral("HCI-CRC"),
                                     QStringLiteral("SLIP-Msg")};
    return columns;
}

THCILoggingPage::THCILoggingPage(const QString& title, QWidget* parent)
    : TFormPage(title, parent)
{
    m_table = new TTableCtrl(QStringLiteral("HCI_Logging"), Columns(), this);
    Body()->addWidget(m_table, 1);
    AddButton(QStringLiteral("Start Logging"), QStringLiteral("log every HCI frame of every module"), [this] { SetLogging(!m_logging); });
    FollowModules([this](TRadioController* device) { Follow(device); });
}

THCILoggingPage::~THCILoggingPage()
{
    if (m_logging)
        TVeltoLRHCI::DisableLogging();
}

void THCILoggingPage::Follow(TRadioController* device)
{
    connect(device, &TRadioController::EvLogHCIMessage, this, [this, device](const TKeyValueList& record) {
        if (m_logging)
            m_table->AppendRow(Row(record, device));
    });
}

void THCILoggingPage::SetLogging(bool on)
{
    m_logging = on;
    // Raw capture runs with the log: the table shows the bytes as they came off the line.
    if (on)
        TVeltoLRHCI::EnableLogging();
    else
        TVeltoLRHCI::DisableLogging();
    if (QPushButton* button = Button(on ? QStringLiteral("Start Logging") : QStringLiteral("Stop Logging")))
        button->setText(on ? QStringLiteral("Stop Logging") : QStringLiteral("Start Logging"));
}

QStringList THCILoggingPage::Row(const TKeyValueList& record, const TRadioController* controller)
{
    QString message;
    bool ok = false;
    const quint8 sapId = quint8(record.Value(QStringLiteral("HCI-SapID")).left(2).toUInt(&ok, 16));
    const quint8 msgId = quint8(record.Value(QStringLiteral("HCI-MsgID")).toUInt(nullptr, 16));
    if (ok && controller)
        message = controller->MessageName(sapId, msgId);
    QStringList row;
    for (const QString& column : Columns())
        row << (column == QLatin1String("Message") ? message : record.Value(column));
    return row;
}

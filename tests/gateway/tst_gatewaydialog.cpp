#include <QApplication>
#include <QDesktopServices>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTableWidget>
#include <QtTest>

#include "TestEnvironment.h"
#include "UdpTestPort.h"
#include "app/TMainWindow.h"
#include "devices/TDeviceManager.h"
#include "gateway/TGatewayCaller.h"
#include "gui/dialogs/TDiscoverGatewayDialog.h"
#include "settings/TSettings.h"
#include "status/TStatusLog.h"
#include "tools/sim/TSimGateway.h"

namespace {
void SelectRows(QTableWidget* table, const QList<int>& rows)
{
    table->clearSelection();
    for (int row : rows)
        table->item(row, 0)->setSelected(true);
}

QStringList Lines(const QPlainTextEdit* box)
{
    return box->toPlainText().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}
}

class TestGatewayDialog : public QObject
{
    Q_OBJECT

public slots:
    void OnUrl(const QUrl& url) { m_opened << url.toString(); }

private:
    QStringList m_opened;

private slots:
    void init()
    {
        QFile::remove(TSettings::Instance().SettingsFilePath());
        m_opened.clear();
    }

    void addressTable_storedEditedAndNamed()
    {
        TSettings::Instance().SetGateways({QStringLiteral("10.0.0.1"), QStringLiteral("10.0.0.2")});
        TDiscoverGatewayDialog dialog;
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Discover Gateways"));
        QLabel* heading = nullptr;
        for (QLabel* label : dialog.findChildren<QLabel*>())
            if (label->buddy() == dialog.AddressTable())
                heading = label;
        QVERIFY(heading);
        QCOMPARE(heading->text(), QStringLiteral("Discover Gateways by known IP-Addresses"));
        QCOMPARE(dialog.AddressTable()->accessibleName(), QStringLiteral("Discover Gateways by known IP-Addresses"));
        for (QPushButton* button : dialog.findChildren<QPushButton*>())
            QCOMPARE(button->accessibleName(), button->text());
        QCOMPARE(dialog.ServerPortBox()->accessibleName(), QStringLiteral("Server Port"));
        QCOMPARE(dialog.GatewayPortBox()->value(), 51000);
        QTableWidget* table = dialog.AddressTable();
        QCOMPARE(table->rowCount(), 3);   // the two stored and an empty one for a new address
        QCOMPARE(table->item(1, 0)->text(), QStringLiteral("10.0.0.2"));

        QSignalSpy updated(&TDeviceManager::Instance(), &TDeviceManager::EvUpdateGatewayList);
        table->item(2, 0)->setText(QStringLiteral(" 192.168.1.20 "));
        QCOMPARE(TSettings::Instance().ReadList(QStringLiteral("GatewaySupport"), QStringLiteral("Gateways")),
                 (QStringList{QStringLiteral("10.0.0.1"), QStringLiteral("10.0.0.2"), QStringLiteral("192.168.1.20")}));
        QCOMPARE(updated.size(), 1);
        QCOMPARE(table->rowCount(), 4);
        table->item(0, 0)->setText(QStringLiteral("gateway-one"));
        QCOMPARE(Lines(dialog.StatusBox()), QStringList{QStringLiteral("warning - not an IP-Address: gateway-one")});
        QCOMPARE(updated.size(), 2);
        table->item(0, 0)->setText(QStringLiteral("gateway-one"));   // the same text again changes nothing
        QCOMPARE(updated.size(), 2);

        SelectRows(table, {0, 1});
        dialog.OnRemoveAddresses();
        QCOMPARE(TSettings::Instance().Gateways(), QStringList{QStringLiteral("192.168.1.20")});
        QCOMPARE(updated.size(), 3);
        QCOMPARE(table->rowCount(), 2);

        dialog.GatewayPortBox()->setValue(51001);
        QCOMPARE(TSettings::Instance().GatewayPort(), 51001);
        QCOMPARE(dialog.Caller()->GatewayPort(), 51001);
    }

    void call_noSelectionSendsNothing_selectionCallsEach()
    {
        TSimGateway gateway;
        QVERIFY(gateway.Listen(0));
        TSettings::Instance().SetGateways({QStringLiteral("999.1.1.1"), QStringLiteral("127.0.0.1")});
        TSettings::Instance().SetGatewayPort(gateway.Port());
        TSettings::Instance().SetServerPort(UdpTestPort::FreePort());
        TDiscoverGatewayDialog dialog;
        dialog.show();

        dialog.AddressTable()->clearSelection();
        dialog.CallButton()->click();
        QVERIFY(dialog.InfoBox());
        QCOMPARE(dialog.InfoBox()->windowTitle(), QStringLiteral("Info - No IP-Address selected!"));
        QCOMPARE(dialog.InfoBox()->text(), QStringLiteral("Please select at least one IP-Address"));
        dialog.InfoBox()->close();
        SelectRows(dialog.AddressTable(), {2});   // the empty row is no address
        dialog.CallButton()->click();
        QVERIFY(dialog.InfoBox());
        QCOMPARE(dialog.Caller()->CallsSent(), 0);
        QCOMPARE(dialog.StatusBox()->toPlainText(), QString());
        dialog.InfoBox()->close();

        SelectRows(dialog.AddressTable(), {1, 0});
        dialog.CallButton()->click();
        QCOMPARE(dialog.Caller()->CallsSent(), 1);
        const QString port = QString::number(gateway.Port());
        QTRY_COMPARE(Lines(dialog.StatusBox()).size(), 6);
        QCOMPARE(Lines(dialog.StatusBox()), (QStringList{QStringLiteral("calling gateway:999.1.1.1::") + port,
                                                         QStringLiteral("UDP socket error: 999.1.1.1 - not an IP-Address"),
                                                         QStringLiteral("calling gateway:127.0.0.1::") + port,
                                                         QStringLiteral("OnStatus: Status(E000) - Call received (from 127.0.0.1)"),
                                                         QStringLiteral("OnStatus: Status(E001) - Calling the studio back (from 127.0.0.1)"),
                                                         QStringLiteral("OnStatus: Status(E002) - Connected to the studio (from 127.0.0.1)")}));
        QCOMPARE(gateway.LastDatagram(), QByteArray("MarlinOne::") + QByteArray::number(dialog.Caller()->ServerPort()));
    }

    void webPage_opensPort8080OrTellsError()
    {
        TSettings::Instance().SetGateways({QStringLiteral("192.168.1.20"), QStringLiteral("gateway-one")});
        QDesktopServices::setUrlHandler(QStringLiteral("http"), this, "OnUrl");
        TDiscoverGatewayDialog dialog;
        SelectRows(dialog.AddressTable(), {0, 1});
        QVERIFY(!dialog.WebPageButton()->isEnabled());   // one gateway at a time
        SelectRows(dialog.AddressTable(), {0});
        QVERIFY(dialog.WebPageButton()->isEnabled());
        dialog.WebPageButton()->click();
        QCOMPARE(m_opened, QStringList{QStringLiteral("http://192.168.1.20:8080")});

        QSignalSpy status(&TStatusLog::Instance(), &TStatusLog::EvLine);
        SelectRows(dialog.AddressTable(), {1});
        dialog.WebPageButton()->click();
        QCOMPARE(m_opened.size(), 1);
        QCOMPARE(status.size(), 1);
        QVERIFY2(status.at(0).at(0).toString().endsWith(QStringLiteral(";error - couldn't open gateway-one")), qPrintable(status.at(0).at(0).toString()));
        QDesktopServices::unsetUrlHandler(QStringLiteral("http"));
    }

    void mainWindow_menuEntryOpensOneDialog()
    {
        TMainWindow window;
        QAction* entry = nullptr;
        for (QAction* menu : window.menuBar()->actions())
            for (QAction* action : menu->menu()->actions())
                if (action->text().remove(QLatin1Char('&')) == QLatin1String("Discover Gateways"))
                    entry = action;
        QVERIFY(entry);
        entry->trigger();
        entry->trigger();
        const QList<TDiscoverGatewayDialog*> dialogs = window.findChildren<TDiscoverGatewayDialog*>();
        QCOMPARE(dialogs.size(), 1);
        QVERIFY(dialogs.first()->isVisible());
    }
};

TESSERA_TEST_MAIN_WITH(QApplication, TestGatewayDialog)
#include "tst_gatewaydialog.moc"

#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QGroupBox>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <QtTest>

#include "PageBench.h"
#include "devices/TConfigTemplate.h"
#include "gui/TCheckButtonBox.h"
#include "gui/dialogs/TTemplatePreviewDialog.h"
#include "gui/pages/TDeviceConfigPage.h"

namespace {
QString Text(TDeviceConfigPage& page, int row)
{
    return qobject_cast<QLineEdit*>(page.Group(QStringLiteral("Device Configuration"))->Editor(row))->text();
}

bool PowerSaving(TDeviceConfigPage& page)
{
    return qobject_cast<QCheckBox*>(page.Group(QStringLiteral("Device Configuration"))->FindItem(QStringLiteral("PowerSaving")))->isChecked();
}

int ExtraOptions(TDeviceConfigPage& page)
{
    return qobject_cast<TCheckButtonBox*>(page.Group(QStringLiteral("Device Configuration"))->FindItem(QStringLiteral("ExtraOptions")))->Value();
}

QList<quint8> MessageIds(const QSignalSpy& requests)
{
    return TPageBench::MessageIds(requests, 0x01);
}
}

class TestDeviceConfigPage : public QObject
{
    Q_OBJECT

    TPageBench m_bench;
    QTemporaryDir m_files;

private slots:
    void initTestCase() { TPageBench::Prepare(); }
    void cleanup() { m_bench.Release(); }

    void actions_sendExactRequests_data()
    {
        TPageBench::RequestColumns();
        QTest::newRow("get configuration") << "Get" << QStringList() << false << quint8(0x27) << QByteArray() << "OK - read the device configuration (" << "";
        QTest::newRow("set configuration") << "Set" << QStringList{"PowerSaving=1", "ExtraOptions=5"} << false << quint8(0x25)
                                           << TPageBench::Bytes("00 01 00 05") << "OK - write the device configuration (" << "Reserved: 0; PowerSaving: 1; Reserved: 0; ExtraOptions: 5";
        QTest::newRow("restore factory settings") << "Restore Factory Settings" << QStringList() << true << quint8(0x29) << QByteArray()
                                                  << "OK - restore the factory settings (" << "";
        QTest::newRow("get radio stack") << "Get Radio Stack" << QStringList() << false << quint8(0x3B) << QByteArray() << "OK - read the radio stack (" << "";
        QTest::newRow("set radio stack") << "Set Radio Stack" << QStringList{"RadioStack=1"} << false << quint8(0x39) << TPageBench::Bytes("01")
                                         << "OK - choose the radio stack (" << "RadioStack: 1";
        QTest::newRow("get operation mode") << "Get Operation Mode" << QStringList() << false << quint8(0x0B) << QByteArray()
                                            << "OK - read the operation mode (" << "";
        QTest::newRow("set operation mode") << "Set Operation Mode" << QStringList{"OperationMode=1"} << false << quint8(0x09)
                                            << TPageBench::Bytes("01") << "OK - set the operation mode (" << "OperationMode: 1";
        QTest::newRow("reset device") << "Reset Device" << QStringList() << false << quint8(0x07) << QByteArray() << "The module restarted (" << "";
    }
    void actions_sendExactRequests()
    {
        QVERIFY(m_bench.Attach(QStringLiteral("dual"), QStringLiteral("Caravel_LoRaWAN")));
        TDeviceConfigPage page(QStringLiteral("Device Configuration"));
        m_bench.CheckRequest(page, 0x01);
    }

    void deviceConfig_reservedBytesGoBackAsReadAndChangesAreReadAgain()
    {
        TRadioController* device = m_bench.Attach(QStringLiteral("module"));
        QVERIFY(device);
        // The module holds reserved bytes of its own.
        QVERIFY(TPageBench::Exec(*device, QStringLiteral("DeviceMgmt/SendTestCommand"), {{"SapID", "1"}, {"MsgID", "0x25"}, {"MsgPayload", "5A 00 A5 02"}}));
        TDeviceConfigPage page(QStringLiteral("Device Configuration"));
        page.Button(QStringLiteral("Get"))->click();
        QCOMPARE(Text(page, 0), QStringLiteral("90"));
        QCOMPARE(Text(page, 2), QStringLiteral("165"));
        QVERIFY(!PowerSaving(page));
        QCOMPARE(ExtraOptions(page), 0x02);

        QSignalSpy requests(&m_bench.Sim(), &TSimModule::RequestReceived);
        TPageBench::Enter(page, {"PowerSaving=1"});
        page.Button(QStringLiteral("Set"))->click();
        QCOMPARE(requests.size(), 1);
        QCOMPARE(requests.last().at(2).toByteArray(), TPageBench::Bytes("5A 01 A5 02"));

        // Declined, the factory settings stay untouched: nothing goes out.
        const quint32 sent = device->Link()->FramesSent();
        const QString before = page.ResultLine()->text();
        TPageBench::AnswerNextQuestion(QMessageBox::No);
        page.Button(QStringLiteral("Restore Factory Settings"))->click();
        QCOMPARE(device->Link()->FramesSent(), sent);
        QCOMPARE(page.ResultLine()->text(), before);

        // Restored while the page is in view: the change reaches the page (as the left panel passes it
        // on in the studio) and it reads the configuration again.
        connect(&TDeviceManager::Instance(), &TDeviceManager::EvDeviceConfigChanged, &page, &TPage::DeviceConfigChanged);
        page.show();
        QVERIFY(QTest::qWaitForWindowExposed(&page));
        requests.clear();
        TPageBench::AnswerNextQuestion(QMessageBox::Yes);
        page.Button(QStringLiteral("Restore Factory Settings"))->click();
        QTRY_COMPARE(MessageIds(requests), (QList<quint8>{0x29, 0x27}));
        QTRY_VERIFY(PowerSaving(page));
        QVERIFY2(page.ResultLine()->text().startsWith(QLatin1String("OK - restore the factory settings (")), qPrintable(page.ResultLine()->text()));
        QCOMPARE(Text(page, 0), QStringLiteral("0"));
        QCOMPARE(Text(page, 2), QStringLiteral("0"));
        QCOMPARE(ExtraOptions(page), 0);
        QVERIFY(!page.Group(QStringLiteral("Device Configuration"))->IsStale());

        // Out of view, a change made elsewhere marks the values out of date instead.
        page.hide();
        requests.clear();
        QVERIFY(TPageBench::Exec(*device, QStringLiteral("DeviceMgmt/SetDeviceConfig"), {{"PowerSaving", "0"}, {"ExtraOptions", "1"}}));
        QTRY_VERIFY(page.Group(QStringLiteral("Device Configuration"))->IsStale());
        QVERIFY(page.Group(QStringLiteral("Device Configuration"))->StaleText().endsWith(QLatin1String("out of date: the module's configuration changed")));
        QCOMPARE(requests.size(), 1);
    }

    void resetDevice_waitsForThePowerUpEvent()
    {
        QVERIFY(m_bench.Attach(QStringLiteral("module")));
        TDeviceConfigPage page(QStringLiteral("Device Configuration"));
        TPageBench::Enter(page, {"OperationMode=1"});
        page.Button(QStringLiteral("Set Operation Mode"))->click();
        page.Button(QStringLiteral("Get Operation Mode"))->click();
        QVERIFY(!page.Group(QStringLiteral("Operation Mode"))->IsStale());

        QSignalSpy powerUps(TDeviceManager::Instance().SelectedDevice(), &TRadioController::EvDeviceMgmt_PowerUpEvent);
        page.Button(QStringLiteral("Reset Device"))->click();
        // The click returns only after the module announced itself.
        QCOMPARE(powerUps.size(), 1);
        QVERIFY2(page.ResultLine()->text().startsWith(QLatin1String("The module restarted (")), qPrintable(page.ResultLine()->text()));
        QCOMPARE(page.ResultLine()->property("outcome").toString(), QStringLiteral("ok"));
        QCOMPARE(page.Button(QStringLiteral("Reset Device"))->text(), QStringLiteral("Reset Device"));
        // A restart puts the module back in standard operation: the mode read before is out of date.
        QVERIFY(page.Group(QStringLiteral("Operation Mode"))->StaleText().endsWith(QLatin1String("out of date: the module restarted")));

        // A module that answers but never comes back is reported as such, not as a time-out of the request.
        m_bench.Sim().ForceStatus(0x01, 0x07, 0x00);
        page.SetPowerUpTimeout(300);
        page.Button(QStringLiteral("Reset Device"))->click();
        QCOMPARE(powerUps.size(), 1);
        QCOMPARE(page.ResultLine()->text(), QStringLiteral("The module answered the reset but did not announce itself within 0.3 s"));
        QCOMPARE(page.LastOutcome().Type(), TCommandOutcome::Timeout);

        // A reset the module refuses needs no waiting.
        m_bench.Sim().ForceStatus(0x01, 0x07, 0x04);
        page.Button(QStringLiteral("Reset Device"))->click();
        QCOMPARE(page.ResultLine()->text(), QStringLiteral("The module answered: wrong device mode"));
    }

    void radioStack_shownForModulesWithTwo()
    {
        TDeviceConfigPage page(QStringLiteral("Device Configuration"));
        QGroupBox* stack = page.GroupBox(QStringLiteral("Radio Stack"));
        QVERIFY(stack->isHidden());
        QVERIFY(m_bench.Attach(QStringLiteral("single"), QStringLiteral("Velto_LoRaWAN")));
        QVERIFY(stack->isHidden());
        QVERIFY(m_bench.Attach(QStringLiteral("dual"), QStringLiteral("Caravel_LoRaWAN"), 0x00B0B0B0));
        QVERIFY(!stack->isHidden());
        TDeviceManager::Instance().SelectDevice(m_bench.Port(0));
        QVERIFY(stack->isHidden());
    }

    void template_exportedFromOneModuleAppliedToAnother()
    {
        TRadioController* a = m_bench.Attach(QStringLiteral("a"), QStringLiteral("Caravel_LoRaWAN"), 0x000A0A0A);
        TRadioController* b = m_bench.Attach(QStringLiteral("b"), QStringLiteral("Caravel_LoRaWAN"), 0x000B0B0B);
        QVERIFY(a && b);
        QVERIFY(TPageBench::Exec(*a, QStringLiteral("DeviceMgmt/SetRadioStack"), {{"RadioStack", "1"}}));
        QVERIFY(TPageBench::Exec(*a, QStringLiteral("DeviceMgmt/SetDeviceConfig"), {{"PowerSaving", "0"}, {"ExtraOptions", "5"}}));
        QVERIFY(TPageBench::Exec(*a, QStringLiteral("LoRaWAN/SetCustomConfig"), {{"TxPowerOffset", "-3"}}));
        QVERIFY(TPageBench::Exec(*a, QStringLiteral("DeviceMgmt/SetOperationMode"), {{"OperationMode", "1"}}));

        TDeviceConfigPage page(QStringLiteral("Device Configuration"));
        const QString path = m_files.filePath(QStringLiteral("unit.json"));
        TDeviceManager::Instance().SelectDevice(m_bench.Port(0));
        QVERIFY(page.ExportTemplate(path));
        QVERIFY2(page.ResultLine()->text().startsWith(QLatin1String("OK - exported 10 settings to unit.json (")), qPrintable(page.ResultLine()->text()));
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray json = file.readAll();
        file.close();
        QVERIFY(!json.contains("DeviceID"));
        QVERIFY(!json.contains("AppKey"));
        // Keys only when asked.
        TPageBench::Enter(page, {"WithKeys=1"});
        QVERIFY(page.ExportTemplate(m_files.filePath(QStringLiteral("keys.json"))));
        QFile keys(m_files.filePath(QStringLiteral("keys.json")));
        QVERIFY(keys.open(QIODevice::ReadOnly));
        const QByteArray withKeys = keys.readAll();
        QVERIFY(withKeys.contains("\"AppKey\""));
        QVERIFY(!withKeys.contains("DeviceID"));

        // Cancelled in the preview: nothing is set.
        TDeviceManager::Instance().SelectDevice(m_bench.Port(1));
        QSignalSpy requests(&m_bench.Sim(1), &TSimModule::RequestReceived);
        QStringList shown;
        TPageBench::WhenShown<TTemplatePreviewDialog>([&](TTemplatePreviewDialog* preview) {
            shown = preview->Rows();
            preview->CancelButton()->click();
        });
        QVERIFY(page.ApplyTemplate(path));   // declined is no failure
        const QStringList expected{"DeviceMgmt/SetRadioStack|RadioStack|1|0", "DeviceMgmt/SetDeviceConfig|PowerSaving|0|1",
                                   "DeviceMgmt/SetDeviceConfig|ExtraOptions|5|0", "LoRaWAN/SetCustomConfig|TxPowerOffset|-3|0",
                                   "DeviceMgmt/SetOperationMode|OperationMode|1|0"};
        QCOMPARE(shown, expected);
        QCOMPARE(page.ResultLine()->text(), QStringLiteral("info - unit.json not applied: nothing was sent"));
        for (quint8 id : MessageIds(requests))
            QVERIFY2(id != 0x39 && id != 0x25 && id != 0x09, qPrintable(QString::number(id, 16)));

        // Applied: the second module ends up with the first one's configuration, and keeps its own identity.
        shown.clear();
        TPageBench::WhenShown<TTemplatePreviewDialog>([&](TTemplatePreviewDialog* preview) {
            shown = preview->Rows();
            preview->ApplyButton()->click();
        });
        QVERIFY(page.ApplyTemplate(path));
        QCOMPARE(shown, expected);
        QVERIFY2(page.ResultLine()->text().startsWith(QLatin1String("OK - applied 10 settings of unit.json; the module matches the template (")),
                 qPrintable(page.ResultLine()->text()));
        TConfigTemplate check;
        QVERIFY(check.Load(path));
        QList<TConfigTemplate::Difference> left;
        QVERIFY(check.Compare(*b, left));
        QVERIFY(left.isEmpty());
        QCOMPARE(b->DeviceInfo().Value(QStringLiteral("DeviceID")), QStringLiteral("000B0B0B"));
        QVERIFY(page.ApplyTemplate(path));
        QVERIFY(page.ResultLine()->text().startsWith(QLatin1String("OK - the module already matches unit.json (")));

        // A setting the module refuses stops the apply, with its name; nothing after it is sent.
        QJsonObject root = QJsonDocument::fromJson(json).object();
        QJsonObject settings = root.value(QStringLiteral("Settings")).toObject();
        settings.insert(QStringLiteral("DeviceMgmt/SetDeviceConfig"), QJsonObject{{"PowerSaving", "2"}, {"ExtraOptions", "5"}});
        root.insert(QStringLiteral("Settings"), settings);
        const QString refused = m_files.filePath(QStringLiteral("refused.json"));
        QFile out(refused);
        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write(QJsonDocument(root).toJson());
        out.close();
        requests.clear();
        TPageBench::WhenShown<TTemplatePreviewDialog>([&](TTemplatePreviewDialog* preview) {
            shown = preview->Rows();
            preview->ApplyButton()->click();
        });
        QVERIFY(!page.ApplyTemplate(refused));
        QCOMPARE(shown, QStringList{"DeviceMgmt/SetDeviceConfig|PowerSaving|2|0"});
        QCOMPARE(page.ResultLine()->text(), QStringLiteral("error - setting refused: DeviceMgmt/SetDeviceConfig (wrong parameter)"));
        QCOMPARE(requests.last().at(0).value<quint8>(), quint8(0x01));
        QCOMPARE(requests.last().at(1).value<quint8>(), quint8(0x25));
    }
};

TESSERA_PAGE_TEST_MAIN(TestDeviceConfigPage)

#include "tst_deviceconfigpage.moc"

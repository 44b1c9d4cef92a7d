#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QLabel>
#include <QMenuBar>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QtTest>

#include "HexImage.h"
#include "TestEnvironment.h"
#include "app/TMainWindow.h"
#include "devices/TControllerPrototypes.h"
#include "devices/TDeviceManager.h"
#include "devices/TRadioController.h"
#include "firmware/TFirmwareSupport.h"
#include "gui/dialogs/TBootloaderHelpDialog.h"
#include "gui/dialogs/TFirmwareUpdateDialog.h"
#include "hci/TVeltoLRHCI.h"
#include "tools/sim/TSimModule.h"
#include "tools/sim/TSimStm32Bootloader.h"

// The firmware update dialog, offscreen, against virtual modules found by discovery.
namespace {
constexpr quint32 kFlash = 0x08000000;
constexpr int kRunMs = 60000;
using Dialog = TFirmwareUpdateDialog;

using HexImage::Firmware;

QStringList UnnamedControls(QWidget* root)
{
    QStringList missing;
    for (QWidget* widget : root->findChildren<QWidget*>()) {
        auto* button = qobject_cast<QAbstractButton*>(widget);
        const bool control = button || qobject_cast<QComboBox*>(widget) || qobject_cast<QProgressBar*>(widget);
        if (control && widget->accessibleName().isEmpty())
            missing << widget->metaObject()->className() + QStringLiteral(" ") + (button ? button->text() : QString());
        if (button && !button->text().isEmpty() && button->accessibleName() != QString(button->text()).remove(QLatin1Char('&')))
            missing << QStringLiteral("%1 named \"%2\"").arg(button->text(), button->accessibleName());
    }
    return missing;
}

QString Value(Dialog& dialog, const QString& name)
{
    for (QLabel* label : dialog.findChildren<QLabel*>())
        if (label->accessibleName() == name)
            return label->text();
    return QStringLiteral("<no %1>").arg(name);
}

QPushButton* Button(QWidget& dialog, const QString& name)
{
    for (QPushButton* button : dialog.findChildren<QPushButton*>())
        if (button->accessibleName() == name)
            return button;
    return nullptr;
}

/// Runs the event loop until the dialog enters `state` (QTRY's waits sleep between looks, which
/// would stretch every answer of a paced bootloader).
bool WaitForState(TFirmwareUpdateDialog& dialog, int state, int timeoutMs = kRunMs)
{
    if (dialog.CurrentState() == state)
        return true;
    QEventLoop loop;
    QObject::connect(&dialog, &TFirmwareUpdateDialog::EvStateChanged, &loop, [&loop, state](int entered) {
        if (entered == state)
            loop.quit();
    });
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    loop.exec();
    return dialog.CurrentState() == state;
}

/// Saves a picture of the dialog for the documentation when TESSERA_SCREENSHOTS names a folder.
void Screenshot(QWidget& dialog, const QString& name)
{
    const QString folder = QString::fromLocal8Bit(qgetenv("TESSERA_SCREENSHOTS"));
    if (!folder.isEmpty())
        dialog.grab().save(folder + QLatin1Char('/') + name);
}
}

class TestFirmwareUpdateDialog : public QObject
{
    Q_OBJECT

    TDeviceManager& m_manager = TDeviceManager::Instance();
    QTemporaryDir m_dir{QDir::tempPath() + QStringLiteral("/tessera-XXXXXX")};
    std::vector<std::unique_ptr<TSimModule>> m_modules;
    int m_links = 0;

    /// A virtual module by a name of its own; found by discovery unless `discover` is false.
    TSimModule* AddModule(const QString& version = QStringLiteral("2.4"), bool discover = true)
    {
        auto module = std::make_unique<TSimModule>();
        const QStringList parts = version.split(QLatin1Char('.'));
        module->Identity().versionMajor = quint8(parts.value(0).toUInt());
        module->Identity().versionMinor = quint8(parts.value(1).toUInt());
        const QString link = m_dir.filePath(QStringLiteral("module%1").arg(++m_links));
        if (!module->Open() || !module->CreateLink(link))
            return nullptr;
        m_manager.AddTemporaryPort(link);
        if (discover) {
            QSignalSpy added(&m_manager, &TDeviceManager::EvLocalDeviceAdded);
            m_manager.DiscoveryTick();
            if (added.count() != 1)
                return nullptr;
        }
        m_modules.push_back(std::move(module));
        return m_modules.back().get();
    }
    QString PortOf(int index) const { return m_dir.filePath(QStringLiteral("module%1").arg(index)); }
    QString Image(const QString& name, const QByteArray& text) { return HexImage::Write(m_dir.filePath(name), text); }

private slots:
    void initTestCase()
    {
        Q_INIT_RESOURCE(studio);
        TControllerPrototypes::RegisterAll();
        QVERIFY(TFirmwareSupport::Instance().Load(QStringLiteral(":/Config/FirmwareVersions.json")));
        m_manager.SetDefaultPatterns(TDeviceManager::DefaultPatterns());
    }
    void cleanup()
    {
        m_manager.ResetBlockedPorts(true);
        for (int i = 1; i <= m_links; ++i) {
            m_manager.ResumePort(PortOf(i));
            m_manager.RemoveTemporaryPort(PortOf(i));
        }
        m_modules.clear();
    }

    void opening_showsTheVersionVerdict_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("version");
        QTest::addColumn<int>("build");
        QTest::addColumn<QString>("main");
        QTest::addColumn<QString>("sub");
        QTest::addColumn<QString>("available");
        QTest::newRow("older version") << "Velto_LoRaWAN" << "1.9" << 117 << "A new Firmware Version is available"
                                       << "Press \"Continue\" to update the connected radio module." << "2.0 build 112";
        QTest::newRow("same version, older build") << "Velto_LoRaWAN" << "2.0" << 100 << "A new Firmware Version is available"
                                                   << "Press \"Continue\" to update the connected radio module." << "2.0 build 112";
        QTest::newRow("same version and build") << "Velto_LoRaWAN" << "2.0" << 112 << "The Radio Firmware is up-to-date!"
                                                << "Press \"Continue\" if you still like to update." << "2.0 build 112";
        QTest::newRow("newer than available") << "Velto_LoRaWAN" << "2.4" << 117 << "You are going to write an outdated firmware into the radio!"
                                              << "Press \"Continue\" if you still like to update." << "2.0 build 112";
        QTest::newRow("firmware without an entry") << "Mystery_Firmware" << "2.4" << 117 << "Press \"Continue\" to start the Bootloader." << ""
                                                   << "???";
    }
    void opening_showsTheVersionVerdict()
    {
        QFETCH(QString, name);
        QFETCH(QString, version);
        QFETCH(int, build);
        QFETCH(QString, main);
        QFETCH(QString, sub);
        QFETCH(QString, available);
        TSimModule* module = AddModule(version, false);
        QVERIFY(module);
        module->Identity().firmwareName = name;
        module->Identity().buildCount = quint16(build);
        QSignalSpy added(&m_manager, &TDeviceManager::EvLocalDeviceAdded);
        m_manager.DiscoveryTick();
        QCOMPARE(added.count(), 1);

        Dialog dialog;
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Firmware Update"));
        QCOMPARE(dialog.CurrentState(), int(Dialog::StateStart));
        QCOMPARE(dialog.MainText(), main);
        QCOMPARE(dialog.SubText(), sub);
        QCOMPARE(Value(dialog, QStringLiteral("Device")), QStringLiteral("Velto LR USB Stick on ") + PortOf(m_links));
        QCOMPARE(Value(dialog, QStringLiteral("Firmware Image")), QStringLiteral("none"));
        QCOMPARE(Value(dialog, QStringLiteral("Current Version")), QStringLiteral("V%1 (2026-11-02)").arg(version));
        QCOMPARE(Value(dialog, QStringLiteral("Available Version")), available);
        QCOMPARE(UnnamedControls(&dialog), QStringList());
        QCOMPARE(Button(dialog, QStringLiteral("Continue"))->toolTip(), QStringLiteral("start firmware update"));
        QCOMPARE(Button(dialog, QStringLiteral("Select Firmware"))->toolTip(), QStringLiteral("select a firmware image"));
        QCOMPARE(Button(dialog, QStringLiteral("Close"))->toolTip(), QStringLiteral("close update dialog"));
        QCOMPARE(Button(dialog, QStringLiteral("Show Help"))->toolTip(), QStringLiteral("show additional help"));
        QVERIFY(!dialog.findChild<QCheckBox*>()->isChecked());   // erase all is a choice, never the default
    }

    void twoRadios_askForOneOrAPort()
    {
        QVERIFY(AddModule());
        QVERIFY(AddModule());
        Dialog dialog;
        QCOMPARE(dialog.CurrentState(), int(Dialog::StateSelectPort));
        QCOMPARE(dialog.MainText(), QStringLiteral("Please connect only a single radio device for firmware update purpose!"));
        QCOMPARE(dialog.SubText(), QStringLiteral("Please connect a single radio device or select a COM port manually and press \"Continue\" to proceed."));
        QCOMPARE(Value(dialog, QStringLiteral("Device")), QStringLiteral("No device connected"));
        auto* ports = dialog.findChild<QComboBox*>();
        QVERIFY(ports->isVisibleTo(&dialog));
        QVERIFY(ports->findText(PortOf(m_links - 1)) >= 0);
        QVERIFY(ports->findText(PortOf(m_links)) >= 0);
    }

    void imageChoice_nameCheckedAndReadFirst()
    {
        TSimModule* module = AddModule();
        QVERIFY(module);
        const quint32 requests = module->RequestsHandled();
        Dialog dialog;
        dialog.OnSelectFirmware();
        QFileDialog* files = dialog.FileDialog();
        QVERIFY(files);
        QCOMPARE(files->windowTitle(), QStringLiteral("Open Firmware Image for Velto LR USB Stick"));
        QCOMPARE(files->nameFilters(), QStringList{QStringLiteral("HEX Files (*.hex)")});
        QCOMPARE(Dialog::FirmwareImagesFolder(), QCoreApplication::applicationDirPath() + QStringLiteral("/FirmwareImages"));
        const QString wrong = Image(QStringLiteral("Caravel_LoRaWAN_V1.0.hex"), HexImage::File(kFlash, Firmware(256, "Caravel_LoRaWAN;1.0;1")));
        files->selectFile(wrong);
        static_cast<QDialog*>(files)->accept();   // as the dialog's "Open" button does
        QCOMPARE(dialog.MainText(), QStringLiteral("Wrong image selected!"));
        QCOMPARE(dialog.SubText(), QStringLiteral("Please select an Velto_LoRaWAN compatible firmware!"));
        QCOMPARE(dialog.ImagePath(), QString());
        QCOMPARE(Value(dialog, QStringLiteral("Firmware Image")), QStringLiteral("none"));

        const QString good = Image(QStringLiteral("Velto_LoRaWAN_V3.1.hex"), HexImage::File(kFlash, Firmware(256, "Velto_LoRaWAN;3.1;140")));
        dialog.SelectFirmwareFile(good);
        QCOMPARE(dialog.CurrentState(), int(Dialog::StateReady));
        QCOMPARE(dialog.MainText(), QStringLiteral("Press \"Continue\" to start the firmware update process."));
        QCOMPARE(Value(dialog, QStringLiteral("Firmware Image")), QStringLiteral("Velto_LoRaWAN_V3.1.hex (Velto_LoRaWAN V3.1 build 140)"));

        // A file with a bad line is refused when it is chosen: the module hears nothing of it.
        const QString bad = Image(QStringLiteral("Velto_LoRaWAN_V3.2.hex"), ":020000040800F2\n:0400000001020304F2\n:02002000010200\n:00000001FF\n");
        dialog.SelectFirmwareFile(bad);
        QCOMPARE(dialog.CurrentState(), int(Dialog::StateError));
        QCOMPARE(dialog.MainText(), QStringLiteral("Couldn't load Firmware Image!"));
        QCOMPARE(dialog.SubText(), QStringLiteral("Please close this dialog and download & install this software again!"));
        QCOMPARE(dialog.DetailText(), QStringLiteral("Status(E006) - Image not loaded\n"
                                                     "error - line 3: checksum 0x00 does not match the record (0xDB expected) (Velto_LoRaWAN_V3.2.hex)"));
        QVERIFY(!Button(dialog, QStringLiteral("Continue"))->isEnabled());
        QCOMPARE(module->RequestsHandled(), requests);
        QCOMPARE(m_manager.StateOf(PortOf(m_links)), TDeviceManager::StateConnected);
    }

    void update_walksItsStatesToSuccess()
    {
        const bool pictures = !qEnvironmentVariableIsEmpty("TESSERA_SCREENSHOTS");
        TSimModule* module = AddModule();
        QVERIFY(module);
        module->Bootloader().PreFill(0x2000, 0x6000);
        module->SetBootloaderPacing(pictures);   // at the line's speed there is time for a picture
        const QString port = PortOf(m_links);
        const QByteArray image = Firmware(pictures ? 0x6000 : 0x1000, "Velto_LoRaWAN;3.1;140");
        const QString path = Image(QStringLiteral("Velto_LoRaWAN_V3.1.hex"), HexImage::File(kFlash + 0x2000, image));

        Dialog dialog;
        dialog.show();
        QStringList seen;
        QList<TDeviceManager::DeviceState> portStates;
        connect(&dialog, &Dialog::EvStateChanged, this, [&](int state) {
            seen << QStringLiteral("%1: %2 | %3").arg(state).arg(dialog.MainText(), dialog.SubText());
            portStates << m_manager.StateOf(port);
        });
        bool pictured = false;
        connect(&dialog.Controller(), &TBootloaderCtrl::EvBytes, this, [&](quint64 done, quint64 total) {
            if (!pictured && done * 3 >= total) {
                pictured = true;
                QTimer::singleShot(300, &dialog, [&dialog] { Screenshot(dialog, QStringLiteral("firmware-update-progress.png")); });
            }
        });
        dialog.SelectFirmwareFile(path);
        Button(dialog, QStringLiteral("Continue"))->click();
        QVERIFY(Button(dialog, QStringLiteral("Cancel"))->isVisible());
        QVERIFY(!Button(dialog, QStringLiteral("Close"))->isEnabled());
        QVERIFY(WaitForState(dialog, Dialog::StateStarted));
        QVERIFY2(QRegularExpression(QStringLiteral("^(\\d+) / \\1 bytes - [0-9.]+ KB/s - 0:00 left$"))
                     .match(Value(dialog, QStringLiteral("Bytes, speed and time left")))
                     .hasMatch(),
                 qPrintable(Value(dialog, QStringLiteral("Bytes, speed and time left"))));
        Button(dialog, QStringLiteral("Continue"))->click();
        QVERIFY(WaitForState(dialog, Dialog::StateSuccess));
        Screenshot(dialog, QStringLiteral("firmware-update-success.png"));

        QCOMPARE(seen, (QStringList{
                           "8: Press \"Continue\" to start the firmware update process. | ",
                           "0: Connecting to Target... | Please Wait!",
                           "5: Connecting to Bootloader... | Please wait!",
                           "9: Updating Firmware Image - Please wait! | ",
                           "10: Closing Bootloader - Please wait! | ",
                           "11: Application started! Please press \"Continue\" to proceed! | ",
                           "0: Connecting to Target... | Please Wait!",
                           "16: The Firmware Update was successful! | Please press \"Close\" to continue!",
                       }));
        // Discovery kept off the port from the start of the update to the end.
        for (int i = 1; i < portStates.size(); ++i)
            QCOMPARE(portStates.at(i), TDeviceManager::StateReleased);
        QCOMPARE(dialog.DetailText(), QStringLiteral("info - the module runs Velto_LoRaWAN V3.1 build 140"));
        QCOMPARE(Value(dialog, QStringLiteral("Current Version")), QStringLiteral("V3.1 (2026-11-02)"));
        QCOMPARE(dialog.findChild<QProgressBar*>()->value(), 100);
        QCOMPARE(module->Bootloader().Flash().mid(0x2000, image.size()), image);
        QCOMPARE(module->Bootloader().Flash().left(0x2000), TSimStm32Bootloader::BootRegionPattern(0x2000));
        QVERIFY(!Button(dialog, QStringLiteral("Continue"))->isEnabled());

        // Closing hands the port back: discovery finds the module with its new firmware.
        QSignalSpy added(&m_manager, &TDeviceManager::EvLocalDeviceAdded);
        Button(dialog, QStringLiteral("Close"))->click();
        QCOMPARE(m_manager.StateOf(port), TDeviceManager::StateNone);
        m_manager.DiscoveryTick();
        QCOMPARE(added.count(), 1);
        QCOMPARE(m_manager.DeviceInfoByPort(port).Value(QStringLiteral("FWVersion")), QStringLiteral("V3.1"));
    }

    void manualPort_theUserStartsTheBootloader()
    {
        // A module the studio does not know: its bootloader is started by hand.
        TSimModule* module = AddModule(QStringLiteral("2.4"), false);
        QVERIFY(module);
        module->EnterBootloader();
        const QString port = PortOf(m_links);
        const QString path = Image(QStringLiteral("Velto_LoRaWAN_V3.5.hex"), HexImage::File(kFlash, Firmware(0x800, "Velto_LoRaWAN;3.5;160")));
        Dialog dialog;
        QCOMPARE(dialog.CurrentState(), int(Dialog::StateSelectPort));
        QCOMPARE(dialog.MainText(), QStringLiteral("Please select a device from the dropdown list below!"));
        QCOMPARE(dialog.SubText(), QStringLiteral("\nPlease press \"Continue\" when ready!"));
        auto* ports = dialog.findChild<QComboBox*>();
        ports->setCurrentIndex(ports->findText(port));
        QCOMPARE(dialog.Port(), port);
        dialog.OnContinue();
        QCOMPARE(dialog.CurrentState(), int(Dialog::StateResetDevice));
        QCOMPARE(dialog.MainText(), QStringLiteral("Please reset the connected device and ensure that the \"Bootloader-Mode\" signal is active!"));
        dialog.OnContinue();
        QCOMPARE(dialog.CurrentState(), int(Dialog::StateSelectImage));
        QCOMPARE(dialog.MainText(), QStringLiteral("Bootloader activated - Please select a Firmware Image for update!"));
        QVERIFY(!Button(dialog, QStringLiteral("Continue"))->isEnabled());
        dialog.SelectFirmwareFile(path);
        QCOMPARE(dialog.MainText(), QStringLiteral("Unsupported device type connected!"));
        QCOMPARE(dialog.SubText(), QStringLiteral("Continue with the update at your own risk!"));
        dialog.OnContinue();
        QVERIFY(WaitForState(dialog, Dialog::StateStarted));
        QCOMPARE(dialog.MainText(), QStringLiteral("Update Done! Please reset the connected device and ensure that the\"Bootloader-Mode\" signal is inactive!"));
        QCOMPARE(dialog.SubText(), QStringLiteral("\nPlease press \"Continue\" when ready."));
        dialog.OnContinue();
        QVERIFY(WaitForState(dialog, Dialog::StateSuccess));
        QCOMPARE(dialog.DetailText(), QStringLiteral("info - the module runs Velto_LoRaWAN V3.5 build 160"));
    }

    void cancel_leavesTheUpdateToBeRunAgain()
    {
        TSimModule* module = AddModule();
        QVERIFY(module);
        const QString path = Image(QStringLiteral("Velto_LoRaWAN_V3.1.hex"), HexImage::File(kFlash, Firmware(0x2000, "Velto_LoRaWAN;3.1;140")));
        Dialog dialog;
        connect(&dialog.Controller(), &TBootloaderCtrl::EvBytes, &dialog, [&dialog](quint64 done) {
            if (done >= 0x800)
                Button(dialog, QStringLiteral("Cancel"))->click();
        });
        dialog.SelectFirmwareFile(path);
        dialog.OnContinue();
        QVERIFY(WaitForState(dialog, Dialog::StateCancelled));
        QCOMPARE(dialog.MainText(), QStringLiteral("Firmware Update cancelled!"));
        QCOMPARE(dialog.SubText(), QStringLiteral("Press \"Continue\" to run the update again."));
        QVERIFY(Button(dialog, QStringLiteral("Continue"))->isEnabled());
        QVERIFY(Button(dialog, QStringLiteral("Close"))->isEnabled());
        QVERIFY(!Button(dialog, QStringLiteral("Cancel"))->isVisible());
        QCOMPARE(m_manager.StateOf(PortOf(m_links)), TDeviceManager::StateReleased);
        QVERIFY(module->InBootloader());
    }

    void help_explainsTheBootloaderSignal()
    {
        Dialog dialog;
        dialog.OnHelp();
        TBootloaderHelpDialog* help = dialog.HelpWindow();
        QVERIFY(help);
        QVERIFY(help->isVisible());
        QCOMPARE(help->windowTitle(), QStringLiteral("RM410x Bootloader Activation"));
        QCOMPARE(TBootloaderHelpDialog::Text(),
                 QStringLiteral("1. The RM410x supports a bootloader-mode hardware input signal which is available on the Velto Demoboard at connector \"X5.20\".\n"
                                "2. Connecting this pin to \"X9.1(Vcc)\" (yellow cable) will activate the bootloader on next device reset.\n"
                                "3. Press \"B4\" to reset the radio module.\n"
                                "4. Follow the instructions for firmware update.\n"
                                "5. Disconnect the \"X5.20\" from \"X9.1(Vcc)\".\n"
                                "6. Press \"B4\" again to re-start the fimrware in application mode."));
        bool picture = false;
        for (QLabel* label : help->findChildren<QLabel*>())
            picture = picture || !label->pixmap(Qt::ReturnByValue).isNull();
        QVERIFY(picture);
        QCOMPARE(UnnamedControls(help), QStringList());
    }

    void mainWindow_menuAndCompatibilityWarningOpenTheDialog()
    {
        TVeltoLRHCI::SetDefaultResponseTimeout(5000);
        TMainWindow window;
        TSimModule* module = AddModule(QStringLiteral("1.4"), false);
        QVERIFY(module);
        QSignalSpy added(&m_manager, &TDeviceManager::EvLocalDeviceAdded);
        m_manager.DiscoveryTick();
        QCOMPARE(added.count(), 1);
        QMessageBox* box = window.LastMessageBox();
        QVERIFY(box);
        QCOMPARE(box->windowTitle(), QStringLiteral("Compatibility Warning"));
        QAbstractButton* update = Button(*box, QStringLiteral("Firmware Update"));
        QVERIFY(update);
        update->click();
        QTRY_VERIFY(window.UpdateDialog());
        QCOMPARE(window.UpdateDialog()->windowTitle(), QStringLiteral("Firmware Update"));
        QCOMPARE(static_cast<Dialog*>(window.UpdateDialog())->MainText(), QStringLiteral("A new Firmware Version is available"));
        window.UpdateDialog()->close();
        QTRY_VERIFY(!window.UpdateDialog());

        QAction* menuEntry = nullptr;
        for (QAction* menu : window.menuBar()->actions())
            for (QAction* entry : menu->menu()->actions())
                if (menu->text().remove(QLatin1Char('&')) == QLatin1String("File")
                    && entry->text().remove(QLatin1Char('&')) == QLatin1String("Firmware Update"))
                    menuEntry = entry;
        QVERIFY(menuEntry);
        menuEntry->trigger();
        QTRY_VERIFY(window.UpdateDialog());
        QVERIFY(window.UpdateDialog()->isVisible());
    }
};

TESSERA_TEST_MAIN_WITH(QApplication, TestFirmwareUpdateDialog)
#include "tst_firmwareupdatedialog.moc"

#pragma once
// What the page tests share: virtual modules found by the device manager through named links,
// answers to the questions a page asks, rows filled as the user would (combo boxes by identifier,
// check boxes by 0/1), and the test main.
#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QElapsedTimer>
#include <QGroupBox>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <functional>
#include <memory>
#include <vector>

#include "TestEnvironment.h"
#include "devices/TControllerPrototypes.h"
#include "devices/TDeviceManager.h"
#include "devices/TRadioController.h"
#include "gui/TGuiItemList.h"
#include "gui/pages/TFormPage.h"
#include "hci/TVeltoLRHCI.h"
#include "tools/sim/TSimModule.h"

class TPageBench
{
public:
    TDeviceManager& manager = TDeviceManager::Instance();

    /// Once per test binary: the controller prototypes, and only the virtual modules are probed.
    static void Prepare()
    {
        TControllerPrototypes::RegisterAll();
        TDeviceManager::Instance().SetDefaultPatterns(TDeviceManager::DefaultPatterns());
        TVeltoLRHCI::SetDefaultResponseTimeout(5000);
    }

    /// A virtual module with this firmware behind the link `name`, found and selected by the device manager.
    TRadioController* Attach(const QString& name, const QString& firmware = QStringLiteral("Velto_LoRaWAN"), quint32 deviceId = 0x0042A1C7)
    {
        auto sim = std::make_unique<TSimModule>();
        sim->Identity().firmwareName = firmware;
        sim->Identity().deviceId = deviceId;
        const QString link = m_links.filePath(name);
        if (!sim->Open() || !sim->CreateLink(link))
            return nullptr;
        m_sims.push_back(std::move(sim));
        m_ports << link;
        QSignalSpy added(&manager, &TDeviceManager::EvLocalDeviceAdded);
        manager.AddTemporaryPort(link);
        manager.DiscoveryTick();
        while (!manager.DeviceByPort(link) && added.wait(5000)) {
        }
        TRadioController* device = manager.DeviceByPort(link);
        if (device)
            manager.SelectDevice(link);
        return device;
    }
    TSimModule& Sim(int index = 0) { return *m_sims.at(index); }
    QString Port(int index = 0) const { return m_ports.value(index); }

    /// Columns of a table of page actions: the button, "Key=Value" entries typed first, whether the
    /// button asks first (answered "Yes"), the one request it must send (message and payload), how
    /// the result line starts, and the parameters the command got ("Key: Value; ...", "" for none).
    static void RequestColumns()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<QStringList>("entries");
        QTest::addColumn<bool>("asks");
        QTest::addColumn<quint8>("msgId");
        QTest::addColumn<QByteArray>("payload");
        QTest::addColumn<QString>("result");
        QTest::addColumn<QString>("parameters");
    }
    /// Runs the current row of RequestColumns on `page` against the first module, whose service `sapId` must get it.
    void CheckRequest(TFormPage& page, quint8 sapId)
    {
        QFETCH(QString, button);
        QFETCH(QStringList, entries);
        QFETCH(bool, asks);
        QFETCH(quint8, msgId);
        QFETCH(QByteArray, payload);
        QFETCH(QString, result);
        QFETCH(QString, parameters);
        TRadioController* device = manager.DeviceByPort(Port());
        QVERIFY(device);
        Enter(page, entries);
        QSignalSpy requests(&Sim(), &TSimModule::RequestReceived);
        QSignalSpy shown(device, &TRadioController::EvShowMessage);
        if (asks)
            AnswerNextQuestion(QMessageBox::Yes);
        page.Button(button)->click();
        QCOMPARE(requests.size(), 1);
        QCOMPARE(requests.first().at(0).value<quint8>(), sapId);
        QCOMPARE(requests.first().at(1).value<quint8>(), msgId);
        QCOMPARE(requests.first().at(2).toByteArray(), payload);
        QVERIFY2(page.ResultLine()->text().startsWith(result), qPrintable(page.ResultLine()->text()));
        QCOMPARE(page.LastOutcome().Type(), TCommandOutcome::Ok);
        // Exactly the command's parameters: no row that only shows something goes along.
        QCOMPARE(Parameters(shown), parameters);
    }

    void Release()
    {
        manager.ResetBlockedPorts(true);
        for (const QString& port : qAsConst(m_ports))
            manager.RemoveTemporaryPort(port);
        manager.ClearSelection();
        m_ports.clear();
        m_sims.clear();
    }

    /// Runs `work` with the next modal dialog of type `Dialog` once it shows (given up after 10 s).
    template <class Dialog>
    static void WhenShown(std::function<void(Dialog*)> work)
    {
        auto* poll = new QTimer;
        auto* deadline = new QElapsedTimer;
        deadline->start();
        QObject::connect(poll, &QTimer::timeout, poll, [poll, deadline, work] {
            auto* dialog = qobject_cast<Dialog*>(QApplication::activeModalWidget());
            if (dialog || deadline->hasExpired(10000)) {
                poll->stop();
                poll->deleteLater();
                delete deadline;
            }
            if (dialog)
                work(dialog);
        });
        poll->start(5);
    }

    /// Fills "Key=Value" entries into whichever group of the page has the key.
    static void Enter(TFormPage& page, const QStringList& entries)
    {
        for (QGroupBox* box : page.findChildren<QGroupBox*>()) {
            TGuiItemList* group = page.Group(box->title());
            for (const QString& entry : entries) {
                const QString key = entry.section(QLatin1Char('='), 0, 0);
                if (group && group->FindItem(key)) {
                    TKeyValueList record;
                    record.Append(key, entry.section(QLatin1Char('='), 1));
                    group->SetItems(record, false);
                }
            }
        }
    }

    /// A text command straight to the controller, as tessera-cli exec sends it.
    static bool Exec(TRadioController& device, const QString& command, std::initializer_list<std::pair<const char*, const char*>> params,
                     TKeyValueList* result = nullptr)
    {
        TKeyValueList list;
        for (const auto& p : params)
            list.Append(QString::fromLatin1(p.first), QString::fromLatin1(p.second));
        TKeyValueList unused;
        return device.ExecuteAny(command, list, result ? *result : unused);
    }

    /// What the row of `key` shows, in whichever group of the page has it ("<no row>" when none does).
    static QString Shown(TFormPage& page, const QString& key)
    {
        for (QGroupBox* box : page.findChildren<QGroupBox*>()) {
            TGuiItemList* group = page.Group(box->title());
            QWidget* editor = group ? group->FindItem(key) : nullptr;
            if (auto* edit = qobject_cast<QLineEdit*>(editor))
                return edit->text();
            if (auto* combo = qobject_cast<QComboBox*>(editor))
                return combo->currentText();
        }
        return QStringLiteral("<no row>");
    }

    /// The parameters of the first command among the controller's messages (a spy on EvShowMessage),
    /// as the status window shows them ("Key: Value; ..."); "" for a command without any.
    static QString Parameters(const QSignalSpy& shown)
    {
        for (int i = 0; i + 1 < shown.size(); ++i) {
            if (!shown.at(i).at(1).toString().startsWith(QLatin1String("Command:")))
                continue;
            const QString next = shown.at(i + 1).at(1).toString();
            return next.startsWith(QLatin1String("Result")) ? QString() : next;
        }
        return QStringLiteral("<no command>");
    }

    /// The messages of the service `sapId` among those the module received.
    static QList<quint8> MessageIds(const QSignalSpy& requests, quint8 sapId)
    {
        QList<quint8> ids;
        for (const QList<QVariant>& request : requests)
            if (request.at(0).value<quint8>() == sapId)
                ids << request.at(1).value<quint8>();
        return ids;
    }

    /// Answers the next question box with `answer`.
    static void AnswerNextQuestion(QMessageBox::StandardButton answer)
    {
        WhenShown<QMessageBox>([answer](QMessageBox* box) { box->button(answer)->click(); });
    }

    static QByteArray Bytes(const char* hex) { return QByteArray::fromHex(QByteArray(hex).replace(' ', "")); }

private:
    QTemporaryDir m_links;
    std::vector<std::unique_ptr<TSimModule>> m_sims;
    QStringList m_ports;
};

#define TESSERA_PAGE_TEST_MAIN(TestClass) TESSERA_TEST_MAIN_WITH(QApplication, TestClass)

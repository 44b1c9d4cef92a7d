#pragma once
// What the page tests share: virtual modules found by the device manager through named links,
// answers to the questions a page asks, rows filled as the user would, and the test main.
#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QMessageBox>
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

    void Release()
    {
        manager.ResetBlockedPorts(true);
        for (const QString& port : qAsConst(m_ports))
            manager.RemoveTemporaryPort(port);
        manager.ClearSelection();
        m_ports.clear();
        m_sims.clear();
    }

    /// Fills rows as the user would choose them (combo boxes by identifier, check boxes by 0/1).
    static void Enter(TGuiItemList& group, std::initializer_list<std::pair<const char*, const char*>> values)
    {
        TKeyValueList record;
        for (const auto& value : values)
            record.Append(QString::fromLatin1(value.first), QString::fromLatin1(value.second));
        group.SetItems(record, false);
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

#define TESSERA_PAGE_TEST_MAIN(TestClass)                             \
    int main(int argc, char** argv)                                   \
    {                                                                 \
        TestEnvironment::IsolateUserDirectories();                    \
        QApplication app(argc, argv);                                 \
        TestClass test;                                               \
        QTEST_SET_MAIN_SOURCE_PATH                                    \
        return QTest::qExec(&test, argc, argv);                       \
    }

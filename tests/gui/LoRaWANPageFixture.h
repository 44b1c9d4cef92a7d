#pragma once
// A LoRaWAN page against the virtual module over a pseudo-terminal: the module is found by the
// device manager under a symlink name and selected, as in the studio.
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

#include "devices/TControllerPrototypes.h"
#include "devices/TDeviceManager.h"
#include "devices/TRadioController.h"
#include "gui/TFieldCheck.h"
#include "gui/TGuiItemList.h"
#include "gui/pages/TFormPage.h"
#include "hci/TVeltoLRHCI.h"
#include "settings/TSettings.h"
#include "tools/sim/TSimLoRaWAN.h"
#include "tools/sim/TSimModule.h"

class LoRaWANPageFixture
{
protected:
    TDeviceManager& m = TDeviceManager::Instance();
    std::unique_ptr<TSimModule> m_sim;
    QTemporaryDir m_links;
    QString m_port;
    int m_modules = 0;

    void Prepare()
    {
        TControllerPrototypes::RegisterAll();
        m.SetDefaultPatterns(TDeviceManager::DefaultPatterns());
        TSettings::Instance().SetIsoFormat(true);
    }
    /// A new virtual module under a new name, found and selected.
    bool Connect()
    {
        m_sim = std::make_unique<TSimModule>();
        m_port = m_links.filePath(QStringLiteral("ttyLORA%1").arg(m_modules++));
        if (!m_sim->Open() || !m_sim->CreateLink(m_port) || !m.AddExtraPort(m_port))
            return false;
        m.DiscoveryTick();
        return m.SelectedDevice() && m.SelectedDevice()->PortName() == m_port;
    }
    void Disconnect()
    {
        m.RemoveExtraPort(m_port);
        m.ResetBlockedPorts(true);
        m.ClearSelection();
        m_sim.reset();
    }

    TSimLoRaWAN& SimLw() { return *dynamic_cast<TSimLoRaWAN*>(m_sim->Service(TSimLoRaWAN::kSapId)); }
    quint32 FramesSent() const { return m.SelectedDevice()->Link()->FramesSent(); }
    /// A controller command as the CLI runs it (a change the page did not make).
    bool Execute(const QString& command, const TKeyValueList& parameters = TKeyValueList())
    {
        TKeyValueList result;
        return m.SelectedDevice()->ExecuteAny(command, parameters, result);
    }

    /// Each LoRaWAN request the module received as "MsgID: payload" ("19: 05 0E 81").
    static QStringList Requests(const QSignalSpy& spy)
    {
        QStringList requests;
        for (const QList<QVariant>& request : spy)
            if (request.at(0).toUInt() == TSimLoRaWAN::kSapId)
                requests << QStringLiteral("%1: %2").arg(request.at(1).toUInt(), 2, 16, QLatin1Char('0')).toUpper()
                                .arg(QString::fromLatin1(request.at(2).toByteArray().toHex(' ').toUpper()));
        return requests;
    }

    static TGuiItemList& Group(TFormPage& page, const QString& title)
    {
        TGuiItemList* group = page.Group(title);
        if (!group)
            qFatal("no group %s", qPrintable(title));
        return *group;
    }
    static QLineEdit* Edit(TFormPage& page, const QString& group, const QString& key)
    {
        return qobject_cast<QLineEdit*>(Group(page, group).FindItem(key));
    }
    /// Types into a field as a user does (the field's rule shows its reason at once).
    static void Type(TFormPage& page, const QString& group, const QString& key, const QString& text)
    {
        QLineEdit* edit = Edit(page, group, key);
        QVERIFY2(edit, qPrintable(key));
        edit->selectAll();
        edit->del();
        QTest::keyClicks(edit, text);
    }
    static void Choose(TFormPage& page, const QString& group, const QString& key, int id)
    {
        auto* combo = qobject_cast<QComboBox*>(Group(page, group).FindItem(key));
        QVERIFY2(combo && combo->findData(id) >= 0, qPrintable(key));
        combo->setCurrentIndex(combo->findData(id));
    }
    static QString Shown(TFormPage& page, const QString& group, const QString& key)
    {
        QWidget* editor = Group(page, group).FindItem(key);
        if (auto* edit = qobject_cast<QLineEdit*>(editor))
            return edit->text();
        if (auto* combo = qobject_cast<QComboBox*>(editor))
            return combo->currentText();
        return QStringLiteral("<no row %1>").arg(key);
    }
    static QString Reason(TFormPage& page, const QString& group, const QString& key)
    {
        TFieldCheck* check = TFieldCheck::Of(Group(page, group).FindItem(key));
        return check && check->ReasonLabel() && !check->ReasonLabel()->isHidden() ? check->ReasonLabel()->text() : QString();
    }
    static void Click(TFormPage& page, const QString& button)
    {
        QPushButton* push = page.Button(button);
        QVERIFY2(push, qPrintable(button));
        push->click();
    }
};

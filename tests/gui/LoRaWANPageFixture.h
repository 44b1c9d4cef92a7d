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
#include "gui/TCheckButtonBox.h"
#include "gui/TFieldCheck.h"
#include "gui/TGuiItemList.h"
#include "gui/pages/TFormPage.h"
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
    /// A command as the CLI or another page runs it: a change the page did not make.
    bool Execute(const QString& command, const QStringList& parameters)
    {
        TKeyValueList params;
        TKeyValueList result;
        for (const QString& parameter : parameters)
            params.Append(parameter.section(QLatin1Char('='), 0, 0), parameter.section(QLatin1Char('='), 1));
        return m.SelectedDevice()->ExecuteAny(command, params, result);
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

    /// The editor of the row with this key (or, for a row without one, this name).
    static QWidget* Editor(TFormPage& page, const QString& group, const QString& key)
    {
        TGuiItemList* rows = page.Group(group);
        for (int i = 0; rows && i < rows->Count(); ++i)
            if (TGuiItemList::Field(rows->Descriptor(i), QStringLiteral("Key:"), TGuiItemList::Field(rows->Descriptor(i), QStringLiteral("GuiName:"))) == key)
                return rows->Editor(i);
        return nullptr;
    }
    /// "Key=value|..." into a group as a user enters it: typed, chosen by identifier, ticked (1/0),
    /// or, in a box of check buttons, the texts of those to tick joined by "+".
    static void Fill(TFormPage& page, const QString& group, const QString& entries)
    {
        for (const QString& entry : entries.split(QLatin1Char('|'), Qt::SkipEmptyParts)) {
            const QString key = entry.section(QLatin1Char('='), 0, 0);
            const QString value = entry.section(QLatin1Char('='), 1);
            QWidget* editor = Editor(page, group, key);
            if (auto* edit = qobject_cast<QLineEdit*>(editor)) {
                edit->selectAll();
                edit->del();
                QTest::keyClicks(edit, value);
            } else if (auto* combo = qobject_cast<QComboBox*>(editor)) {
                combo->setCurrentIndex(combo->findData(value.toInt(nullptr, 0)));
            } else if (auto* box = qobject_cast<QCheckBox*>(editor)) {
                box->setChecked(value == QLatin1String("1"));
            } else if (auto* buttons = qobject_cast<TCheckButtonBox*>(editor)) {
                for (int i = 0; i < buttons->Count(); ++i)
                    buttons->Button(i)->setChecked(value.split(QLatin1Char('+')).contains(buttons->Button(i)->text()));
            } else {
                QFAIL(qPrintable(QStringLiteral("no row %1 in %2").arg(key, group)));
            }
        }
    }
    /// What the rows show, in the form Fill takes; `keys` as "A|B" or as Fill's entries ("A=1|B=2").
    static QString Read(TFormPage& page, const QString& group, const QString& keys)
    {
        QStringList shown;
        for (const QString& entry : keys.split(QLatin1Char('|'), Qt::SkipEmptyParts)) {
            const QString key = entry.section(QLatin1Char('='), 0, 0);
            QWidget* editor = Editor(page, group, key);
            QStringList value{QStringLiteral("<no row>")};
            if (auto* edit = qobject_cast<QLineEdit*>(editor))
                value = QStringList{edit->text()};
            else if (auto* combo = qobject_cast<QComboBox*>(editor))
                value = QStringList{combo->currentText()};
            else if (auto* box = qobject_cast<QCheckBox*>(editor))
                value = QStringList{QString::number(box->isChecked())};
            else if (auto* buttons = qobject_cast<TCheckButtonBox*>(editor)) {
                value.clear();
                for (int i = 0; i < buttons->Count(); ++i)
                    if (buttons->Button(i)->isChecked())
                        value << buttons->Button(i)->text();
            }
            shown << key + QLatin1Char('=') + value.join(QLatin1Char('+'));
        }
        return shown.join(QLatin1Char('|'));
    }
    /// The reason shown beside the field ("" when none shows).
    static QString Reason(TFormPage& page, const QString& group, const QString& key)
    {
        TFieldCheck* check = TFieldCheck::Of(Editor(page, group, key));
        return check && check->ReasonLabel() && !check->ReasonLabel()->isHidden() ? check->ReasonLabel()->text() : QString();
    }
    static void Click(TFormPage& page, const QString& button)
    {
        QPushButton* push = page.Button(button);
        QVERIFY2(push, qPrintable(button));
        push->click();
    }
};

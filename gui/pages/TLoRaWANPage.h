#pragma once
#include <QSet>
#include <QTimer>

#include <functional>

#include "base/TCodeTables.h"
#include "gui/pages/TFormPage.h"

class QLineEdit;
class TRadioController;

/// What the two LoRaWAN pages share: they follow every LoRaWAN module's transmit and receive events
/// and its reports of a changed configuration, build their key, EUI and address rows alike, and send
/// each request with exactly the fields of its layout.
///
/// A change the module reports (a join accepted, the link lost, a setting made by another page) that
/// the page did not make itself is shown once the page is in view and free: RefreshAfterChange()
/// then reads again what the page shows. Nothing is read for a page that is hidden or a module that
/// is not selected.
class TLoRaWANPage : public TFormPage
{
    Q_OBJECT
public:
    static constexpr const char* kShowKeys = "Show Keys";

    explicit TLoRaWANPage(const QString& title, QWidget* parent = nullptr);

    void PageShown() override;
    /// True while a reported change waits to be shown (the page is hidden or busy).
    bool RefreshPending() const { return !m_changed.isEmpty(); }

protected:
    /// Reads again what the page shows after the selected module reported a change.
    virtual void RefreshAfterChange() = 0;
    /// Asks for RefreshAfterChange() once the page is in view and free, whoever made the change.
    void RequestRefresh(const QString& port);
    virtual void OnTxEvent(const TKeyValueList& record) { Q_UNUSED(record); }
    virtual void OnRxEvent(const TKeyValueList& record) { Q_UNUSED(record); }

    /// A null-ended table of texts (columns, choices) as a list.
    static QStringList Texts(const char* const* items);
    /// The request's parameters from the rows: the layout's fields only, numbers written for their type.
    static std::function<TKeyValueList(const TGuiItemList&)> Fields(const TFieldLayoutEntry* layout, int optionalFields = -1);

    // Row descriptors. The name is the field's name, so that a row reads like the command's parameter.
    /// `octets` octets as hex pairs in an input mask ("00 11 22 ..."), refused when not all are given.
    static QString OctetsRow(const QString& name, int octets);
    /// A 32-bit device address as 8 hex digits.
    static QString AddressRow(const QString& name);
    static QString NumberRow(const QString& name, qint64 minimum, qint64 maximum, const QString& unit = QString(),
                             const QString& flags = QString());
    /// A read-only row that shows the record's `key`.
    static QString ShowRow(const QString& name, const QString& key, const QString& unit = QString());
    /// A "ComboBox" of `id:text` choices, `value` chosen (an id, or "n.a." for none).
    static QString ChoiceRow(const QString& name, const QStringList& choices, const QString& value);
    /// The check box row that reveals the group's keys.
    static QString ShowKeysRow();
    /// Shows the rows `keys` of `rows` as dots until the group's "Show Keys" box is ticked.
    static void HideKeys(TGuiItemList& rows, const QStringList& keys);
    static QLineEdit* LineEdit(const TGuiItemList& rows, const QString& key);

private:
    void Follow(TRadioController* device);
    void OnConfigChanged(const QString& port);
    void TryRefresh();

    QSet<QString> m_changed;   ///< ports whose module reported a change not shown yet
    QTimer m_retry;            ///< looks again once the event loop is free (coalesces reports)
};

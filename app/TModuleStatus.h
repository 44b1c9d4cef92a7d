#pragma once
#include <QIcon>
#include <QObject>
#include <QSet>
#include <QString>

#include "devices/TDeviceManager.h"

class QLabel;
class QTreeWidget;
class TPage;

/// Shows every module and its connection state: a row per module in the "Radios" tree (icon and
/// tooltip per state) and the selected module in the status bar (type, port, baud rate, firmware,
/// state). It remembers the selected port, so that a module that comes back on it is selected again,
/// and keeps a row for that port while its module is away.
class TModuleStatus : public QObject
{
    Q_OBJECT
public:
    static constexpr const char* kSettingsGroup = "GUI";
    static constexpr const char* kSelectedPortKey = "SelectedPort";

    TModuleStatus(QTreeWidget* tree, QLabel* statusLabel, QObject* parent = nullptr);

    /// Tree columns: type, port, firmware, state.
    static const QStringList& Columns();
    static QIcon StateIcon(TDeviceManager::DeviceState state);
    /// The state shown for a port: the manager's, sharpened by what the studio itself knows
    /// (a page's command waiting, the link having seen its port go away, the remembered module gone).
    TDeviceManager::DeviceState StateOf(const QString& port) const;
    /// "<type> | <port> | <baud rate> | <firmware> | <state>" of the selected module.
    QString StatusText() const;
    QString RememberedPort() const { return m_remembered; }
    /// Follows the commands of a page (its busy state shows on the module).
    void Watch(TPage* page);

public slots:
    void Refresh();

private:
    void OnAdded(const QString& port);
    void OnRemoved(const QString& port);
    void OnSelected(const QString& port);
    void OnTreeSelection();

    QTreeWidget* m_tree;
    QLabel* m_label;
    QString m_remembered;
    TKeyValueList m_rememberedInfo;  ///< what the remembered module said about itself when last seen
    bool m_rememberedAway = false;   ///< the remembered module went away during this run
    QSet<QString> m_busy;            ///< ports on which a page's command runs
};

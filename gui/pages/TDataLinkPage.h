#pragma once
#include <QHash>

#include "gui/pages/TFormPage.h"
#include "sap/TRadioMsgConfig.h"

class QComboBox;
class QLabel;
class TRadioController;
class TSignalView;
class TTableCtrl;

/// The Osprey point-to-point data link: prepared messages from the radio message file, sending
/// unconfirmed and confirmed messages and setting the acknowledgement data; a table of every message
/// the modules receive and send (DataLink and sensor application events), and their signal quality
/// over time.
class TDataLinkPage : public TFormPage
{
    Q_OBJECT
public:
    static const QStringList& Columns();

    explicit TDataLinkPage(const QString& title, QWidget* parent = nullptr);

    /// Replaces the prepared messages with those of `path`, fills the message from the first one
    /// and shows the loader's one line; false when the file was refused as a whole.
    bool LoadMessageFile(const QString& path);
    const TRadioMsgConfig& Messages() const { return m_messages; }
    /// Fills DstGroupAddress, DstDeviceAddress and Payload from the prepared message at `index`.
    void ChooseMessage(int index);
    QComboBox* MessageList() const { return m_messageList; }
    /// The loader's line as the page shows it.
    QString MessageFileStatus() const { return m_fileStatusText; }
    TTableCtrl* Table() const { return m_table; }
    TSignalView* SignalView() const { return m_signal; }

    /// One table row (Columns()) of a DataLink or sensor application event record.
    static QStringList Row(const TKeyValueList& record);

private:
    void Follow(TRadioController* device);
    void OnRecord(const TKeyValueList& record);
    void AskMessageFile();
    void Send(const QString& command, TGuiItemList& items);

    TRadioMsgConfig m_messages;
    QComboBox* m_messageList;
    QLabel* m_fileStatus;
    QString m_fileStatusText;
    TGuiItemList* m_message;
    TTableCtrl* m_table;
    TSignalView* m_signal;
    QHash<QString, QString> m_ownAddress;   ///< port → the module's own radio address ("10:1F3A")
};

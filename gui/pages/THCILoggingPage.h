#pragma once
#include "gui/pages/TFormPage.h"

class TRadioController;
class TTableCtrl;

/// Every HCI frame of every module as a table row with its decoded fields, while logging is on
/// (raw capture included).
class THCILoggingPage : public TFormPage
{
    Q_OBJECT
public:
    static const QStringList& Columns();

    explicit THCILoggingPage(const QString& title, QWidget* parent = nullptr);
    ~THCILoggingPage() override;

    TTableCtrl* Table() const { return m_table; }
    bool IsLogging() const { return m_logging; }
    void SetLogging(bool on);
    /// One table row for a Tx/Rx log record of `controller`.
    static QStringList Row(const TKeyValueList& record, const TRadioController* controller);

private:
    void Follow(TRadioController* device);

    TTableCtrl* m_table;
    bool m_logging = false;
};

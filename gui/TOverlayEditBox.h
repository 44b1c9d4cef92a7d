#pragma once
#include <QDialog>

class QLineEdit;
class QPushButton;

/// Frameless box laid over an editor so a value can be typed in place; Return or "accept value" accepts.
class TOverlayEditBox : public QDialog
{
    Q_OBJECT
public:
    TOverlayEditBox(QWidget* editor, const QString& text);

    QString Text() const;
    void SetText(const QString& text);
    QLineEdit* Edit() const { return m_edit; }
    QPushButton* AcceptButton() const { return m_accept; }

private:
    QLineEdit* m_edit;
    QPushButton* m_accept;
};

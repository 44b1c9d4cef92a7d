#pragma once
#include <QDialog>

#include <functional>

class QLabel;
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
    /// A typed text that `check` finds a problem with is refused: the box stays open and says why.
    void SetCheck(std::function<QString(const QString&)> check) { m_check = std::move(check); }
    QString ReasonText() const;

public slots:
    void accept() override;

private:
    QLineEdit* m_edit;
    QPushButton* m_accept;
    QLabel* m_reason;
    std::function<QString(const QString&)> m_check;
};

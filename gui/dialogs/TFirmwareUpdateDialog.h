#pragma once
#include <QDialog>
#include <QFileDialog>
#include <QPointer>
#include <QTimer>

#include "base/TKeyValueList.h"
#include "firmware/TBootloaderCtrl.h"
#include "firmware/TUpdateProgress.h"
#include "gui/dialogs/TBootloaderHelpDialog.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QProgressBar;
class QPushButton;

/// Guides the user through one firmware update of the module attached (File / Firmware Update):
/// tells whether an update is due, takes an image checked against the module's type, starts the
/// bootloader through the HCI request, the FTDI pins or the user's hands, runs the update sequence
/// with progress, speed and time left, and reads the new firmware's identity at the end. The
/// module's port is taken from discovery for the time the dialog works with it.
class TFirmwareUpdateDialog : public QDialog
{
    Q_OBJECT
public:
    /// The dialog's states; the numbers are the ones its texts are known by.
    enum State {
        StateConnectingTarget = 0,
        StateStart = 2,
        StateSelectPort = 3,
        StateResetDevice = 4,
        StateConnectingBootloader = 5,
        StateSelectImage = 7,
        StateReady = 8,
        StateUpdating = 9,
        StateClosingBootloader = 10,
        StateStarted = 11,
        StateSuccess = 16,
        StateError = 17,
        StateCancelled = 18,
    };

    explicit TFirmwareUpdateDialog(QWidget* parent = nullptr);
    ~TFirmwareUpdateDialog() override;

    int CurrentState() const { return m_state; }
    QString MainText() const;
    QString SubText() const;
    /// The status line and what went wrong, in words (empty while all is well).
    QString DetailText() const;
    QString Port() const { return m_port; }
    QString ImagePath() const { return m_imagePath; }
    TBootloaderCtrl& Controller() { return m_ctrl; }
    /// The "Open Firmware Image" dialog while it is open.
    QFileDialog* FileDialog() const { return m_fileDialog; }
    TBootloaderHelpDialog* HelpWindow() const { return m_help; }
    /// Where "Select Firmware" starts looking.
    static QString FirmwareImagesFolder();
    /// "Status(E008) - Operation Timeout".
    static QString StatusLine(int code);

    /// What choosing a file in the "Open Firmware Image" dialog does: the name check against the
    /// module's type, then the image is read and checked.
    void SelectFirmwareFile(const QString& path);

signals:
    /// The dialog entered a state (its texts are shown by then).
    void EvStateChanged(int state);

public slots:
    void OnContinue();
    void OnSelectFirmware();
    void OnClose();
    void OnHelp();
    void OnCancel();

private slots:
    void OnDeviceStatus(TBootloaderCtrl::StatusCode statusCode);
    void OnFirmwareStatus(TBootloaderCtrl::StatusCode statusCode);
    void OnUpdateStatus(TBootloaderCtrl::StatusCode statusCode);
    void OnApplicationStarted();
    void OnStep(TBootloaderCtrl::Step step);
    void OnBytes(quint64 done, quint64 total);
    void OnFinished(TBootloaderCtrl::StatusCode statusCode, const QString& text);

protected:
    void reject() override;

private:
    void BuildWidgets();
    void ShowDevice();
    void ShowVerdict();
    void SetState(int state);
    void ShowTexts(const QString& main, const QString& sub);
    void ShowError(const QString& main, const QString& sub, int code, const QString& detail);
    void UpdateButtons();
    void ShowProgress();
    void OnStartBootLoader();
    void HandBackPort();
    QString ExpectedFirmwareName() const;

    TBootloaderCtrl m_ctrl;
    TUpdateProgress m_progress;
    QTimer m_progressTimer;
    int m_state = StateStart;
    QString m_port;
    TKeyValueList m_deviceInfo;
    QString m_baudrate;
    bool m_deviceKnown = false;
    bool m_viaHci = false;
    bool m_pinControl = false;
    bool m_userReset = false;      ///< the user said the module sits in its bootloader
    bool m_imageAccepted = false;
    bool m_released = false;       ///< the port is taken from discovery
    bool m_confirming = false;
    bool m_connected = false;
    QString m_imagePath;

    QLabel* m_mainText = nullptr;
    QLabel* m_subText = nullptr;
    QLabel* m_detailText = nullptr;
    QLabel* m_device = nullptr;
    QLabel* m_image = nullptr;
    QLabel* m_currentVersion = nullptr;
    QLabel* m_availableVersion = nullptr;
    QLabel* m_portLabel = nullptr;
    QComboBox* m_ports = nullptr;
    QCheckBox* m_eraseAll = nullptr;
    QProgressBar* m_progressBar = nullptr;
    QLabel* m_progressText = nullptr;
    QPushButton* m_continue = nullptr;
    QPushButton* m_select = nullptr;
    QPushButton* m_cancel = nullptr;
    QPushButton* m_helpButton = nullptr;
    QPushButton* m_close = nullptr;
    QPointer<QFileDialog> m_fileDialog;
    QPointer<TBootloaderHelpDialog> m_help;
};

#pragma once
#include <QByteArray>
#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QPointer>

#include <memory>

#include "base/TKeyValueList.h"
#include "firmware/TFirmwareImage.h"
#include "firmware/TFlashPlan.h"
#include "firmware/TFtdiPins.h"
#include "firmware/TLatencyTimer.h"

class QEventLoop;
class TBootloaderIF;
class TVeltoLRHCI;

/// Runs one whole firmware update: load and check the image, bring the module into its bootloader
/// (HCI request, FTDI pins, or the user), connect, erase the image's pages, write them in 256-byte
/// blocks, read every byte back, start the new application and read its firmware information
/// again. The studio's dialog, tessera-cli and the benchmark all run this one sequence. Every
/// outcome arrives as a StatusCode; EvFinished ends each run.
class TBootloaderCtrl : public QObject
{
    Q_OBJECT
public:
    enum StatusCode {
        Success = 0,
        CouldntOpenPort = 1,
        CouldntConnect = 2,
        NoFileReader = 3,
        NoBootloader = 4,
        FirmwareFileEmpty = 5,
        ImageNotLoaded = 6,
        VerifyFailed = 7,
        OperationTimeout = 8,
        TooManyFtdiDevices = 9,
        FtdiError = 10,
        PortVanished = 11,       ///< unplugged mid-update: said at once, not after the time-outs
        EraseAllNeeded = 12,     ///< 0x43 cannot name the image's pages; refused before erasing
        Cancelled = 13,          ///< the user stopped it between two commands
        IdentityMismatch = 14,   ///< the started firmware is not the one in the image
    };
    Q_ENUM(StatusCode)

    enum Option : quint32 {
        OptVerify = 1,         ///< read every byte of the image back and compare
        OptEraseAll = 2,       ///< erase the whole flash instead of the image's pages
        OptFtdiBootReset = 4,  ///< boot pin and reset pulse (0xC8, 0xCC; leaving 0xC0, 0xC4)
        OptRetryInit = 8,      ///< run Init again after a failed initialisation or time-out before connecting
        OptFtdiBootOnly = 16,  ///< boot pin only (0xC8; leaving 0xC0)
    };

    /// Where a run is; the dialog shows its texts by it.
    enum Step {
        StepIdle,
        StepCheckImage,
        StepEnterBootloader,   ///< the HCI request "DeviceMgmt/SetBootLoaderMode"
        StepConnect,
        StepErase,
        StepWrite,
        StepVerify,
        StepStart,
        StepConfirm,           ///< reading the firmware information of the started application
    };
    Q_ENUM(Step)

    /// How long a started application may take to announce itself before it is asked.
    static constexpr int kApplicationStartMs = 2000;

    struct Request
    {
        QString port;
        QString imagePath;
        quint32 flags = OptVerify;
        bool viaHci = false;          ///< ask the running firmware to start its bootloader first
        QString baudrate;             ///< the firmware's HCI baud rate (empty: 115200)
        bool confirmIdentity = true;  ///< after the start, read the firmware information and compare
        QString expectName;           ///< not empty: the image's file name must contain it
    };

    struct Outcome
    {
        StatusCode status = Success;
        QString text;                 ///< what went wrong, in words (empty on success)
        quint64 bytesWritten = 0;
        quint64 bytesVerified = 0;
        double seconds = 0;           ///< the whole run
        bool verified = false;        ///< every byte of the image was read back and matched
        TKeyValueList oldFirmware;    ///< firmware information before the update (via the HCI)
        TKeyValueList newFirmware;    ///< firmware information read after the start
        TKeyValueList powerUp;        ///< the started application's power-up event
        TFirmwareIdentity image;
    };

    /// "Success" ... "Identity mismatch"; "Unexpected Status Code!" for anything else.
    static QString StatusText(int code);
    static void RegisterMetaTypes();

    explicit TBootloaderCtrl(QObject* parent = nullptr);
    ~TBootloaderCtrl() override;

    /// Starts a run and returns at once (nothing happens while another runs).
    void Run(const Request& request);
    /// Stops the run once the command on the line is answered, so that the module is left between
    /// two commands (or back in its old firmware when nothing was erased yet) and the update can
    /// simply be run again.
    void Cancel();
    /// After a run without confirmIdentity: reads the started firmware's information now and ends
    /// with another EvFinished.
    void ConfirmIdentity();

    bool IsRunning() const { return m_running; }
    const Outcome& Result() const { return m_outcome; }
    const TFlashPlan& Plan() const { return m_plan; }
    /// The STM32 bootloader (tests shorten its time-outs through it).
    TBootloaderIF* Bootloader() const { return m_bootloader; }

signals:
    void onDeviceStatus(TBootloaderCtrl::StatusCode statusCode);
    void onFirmwareStatus(TBootloaderCtrl::StatusCode statusCode);
    void onUpdateStatus(TBootloaderCtrl::StatusCode statusCode);
    void onUpdateProgress(uint progress);
    void onApplicationStarted();
    void EvStep(TBootloaderCtrl::Step step);
    /// Bytes written plus bytes read back so far, of all there are to write and read.
    void EvBytes(quint64 done, quint64 total);
    /// "info - ...", "warning - ..." lines worth showing (also in the status log).
    void EvMessage(const QString& text);
    void EvFinished(TBootloaderCtrl::StatusCode statusCode, const QString& text);

private slots:
    void OnTimeout();
    void OnDeviceInitialized();
    void OnDeviceErased();
    void OnPageWritten();
    void OnPageRead(quint32 memoryAddr, QByteArray data);
    void OnGone();
    void OnLost(const QString& text);

private:
    void SetStep(Step step);
    void Say(const QString& text);
    void Start();
    bool EnterViaHci();
    void Connect();
    void StartErase();
    void WriteNext();
    void ReadNext();
    void StartApplication();
    void ApplicationStarted();
    void Confirm();
    void Progress();
    /// Ends the run; before anything was erased, starts the old firmware again first.
    void Stop(StatusCode code, const QString& text);
    void Finish(StatusCode code, const QString& text);
    void Disconnect();
    bool CancelRequested();
    /// An HCI link on the port at the request's baud rate; null (with `error`) when it won't open.
    std::unique_ptr<TVeltoLRHCI> OpenLink(QString& error);

    TFirmwareImage m_image;
    TFlashPlan m_plan;
    TBootloaderIF* m_bootloader = nullptr;
    TFtdiPins m_pins;
    TLatencyTimer m_latency;
    Request m_request;
    Outcome m_outcome;
    QElapsedTimer m_clock;
    bool m_running = false;
    bool m_cancel = false;
    bool m_connected = false;
    bool m_erased = false;        ///< an erase was sent: the old firmware is gone
    bool m_restoring = false;     ///< Go sent to start the old firmware again before stopping
    bool m_pinsSet = false;
    StatusCode m_pendingCode = Success;
    QString m_pendingText;
    QByteArray m_flash;           ///< the image placed in an erased flash
    quint32 m_flashStart = 0;
    int m_block = 0;
    quint64 m_total = 0;
    QByteArray m_trailing;        ///< the application's first bytes, read with the answer to Go
    QPointer<TVeltoLRHCI> m_link; ///< the HCI link while one is open (Cancel closes it)
    QEventLoop* m_wait = nullptr;
};

Q_DECLARE_METATYPE(TBootloaderCtrl::StatusCode)

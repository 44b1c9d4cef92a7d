#pragma once
#include <QList>
#include <QObject>

#include <memory>
#include <vector>

#include "firmware/TFtdiPins.h"
#include "firmware/TFileReaderIF.h"

class TBootloaderIF;
class TIntelHex;

/// Drives one firmware update: pins, connect, load image, erase, write page by page (with optional
/// read-back), start the application, disconnect. Every outcome arrives as a StatusCode signal.
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
    };
    Q_ENUM(StatusCode)

    enum Option : quint32 {
        OptVerify = 1,         ///< read every written page back and compare
        OptEraseAll = 2,       ///< erase the whole flash instead of the image range
        OptFtdiBootReset = 4,  ///< boot pin and reset pulse (0xC8, 0xCC; leaving 0xC0, 0xC4)
        OptRetryInit = 8,      ///< run Init again after a failed initialisation or time-out before connecting
        OptFtdiBootOnly = 16,  ///< boot pin only (0xC8; leaving 0xC0)
    };
    static constexpr quint32 kApplicationAddress = 0x08000000;

    /// "Success" ... "FTDI Error"; "Unexpected Status Code!" for anything else.
    static QString StatusText(int code);
    static void RegisterMetaTypes();

    explicit TBootloaderCtrl(QObject* parent = nullptr);
    ~TBootloaderCtrl() override;

    void Connect(const QString& portName, quint32 flags);
    void LoadFirmwareImage(const QString& path);
    void StartUpdate();
    void StartApplication();
    void GotoAddress(quint32 address);
    void Disconnect();

    bool IsConnected() const { return m_connected; }
    const TImageInfo& ImageInfo() const { return m_imageInfo; }
    quint32 PageSize() const { return m_pageSize; }
    TBootloaderIF* Bootloader() const { return m_bootloader; }
    /// The first bootloader of the list (tests shorten its time-outs through it).
    TBootloaderIF* FirstBootloader() const;
    QString FtdiErrorText() const { return m_pins.ErrorText(); }

signals:
    void onDeviceStatus(TBootloaderCtrl::StatusCode statusCode);
    void onFirmwareStatus(TBootloaderCtrl::StatusCode statusCode);
    void onUpdateStatus(TBootloaderCtrl::StatusCode statusCode);
    void onUpdateProgress(uint progress);
    void onApplicationStarted();

public slots:
    void OnTimeout();
    void OnDeviceInitialized();
    void OnDeviceUnprotected(bool flag);
    void OnDeviceErased();
    void OnPageWritten();
    void OnPageRead(quint32 memoryAddr, QByteArray data);
    void OnGone();
    void OnU32Read(quint32 address, quint32 value);

private:
    void Erase();
    void WriteStep(bool advance);
    void Forget();

    std::unique_ptr<TIntelHex> m_hex;
    QList<TFileReaderIF*> m_readers;   ///< asked in turn; the Intel HEX reader is the one we have
    QList<TBootloaderIF*> m_bootloaders;
    std::unique_ptr<quint8[]> m_image;
    quint32 m_imageSize = 0;
    TImageInfo m_imageInfo;
    TBootloaderIF* m_bootloader = nullptr;
    quint32 m_flags = 0;
    bool m_connected = false;
    quint32 m_pageSize = 0;
    quint32 m_pageIndex = 0;
    TFtdiPins m_pins;
};

Q_DECLARE_METATYPE(TBootloaderCtrl::StatusCode)

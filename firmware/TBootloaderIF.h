#pragma once
#include <QByteArray>
#include <QObject>
#include <QString>

/// What the firmware update needs from a bootloader: every operation starts one asynchronous step
/// whose outcome arrives as a signal (or Timeout()). Callers start the next step from that signal.
class TBootloaderIF : public QObject
{
    Q_OBJECT
public:
    explicit TBootloaderIF(QObject* parent = nullptr);

    virtual bool Open(const QString& portName) = 0;
    /// Stops the running command's timer, closes and deletes the port.
    virtual void Close() = 0;
    virtual bool IsOpen() const = 0;
    virtual void Init() = 0;
    /// False when no device is identified.
    virtual bool GetFlashSize(quint32& size) const = 0;
    /// 0 when no device is identified.
    virtual quint16 GetPageSize() const = 0;
    /// Erases every page that holds a byte from `startAddress` to `endAddress` (both included);
    /// false, with nothing sent, when the part cannot name those pages.
    virtual bool Erase(quint32 startAddress, quint32 endAddress) = 0;
    /// Erases the whole flash.
    virtual void EraseAll() = 0;
    virtual void Unprotect() = 0;
    /// Writes one block of 1..256 bytes (the protocol's limit, whatever the page size).
    virtual void WritePage(quint32 address, const QByteArray& data) = 0;
    /// Reads one block of 1..256 bytes.
    virtual void ReadPage(quint32 address, int length) = 0;
    virtual void GoToAddress(quint32 address) = 0;
    virtual void ReadU32(quint32 address) = 0;
    /// What arrived after the answer to Go: the started application's first bytes.
    virtual QByteArray TakeTrailingBytes() = 0;
    /// The running command gives up at its next time-out instead of sending again.
    virtual void StopRetrying() = 0;

signals:
    void DeviceInitialized();
    void DeviceErased();
    void PageWritten();
    void PageRead(quint32 memoryAddr, QByteArray data);
    void DeviceWriteProtectionChange(bool protect);
    void Timeout();
    void Gone();
    void U32Read(quint32 address, quint32 value);
    /// The port went away (unplugged): nothing more will be answered.
    void Lost(const QString& text);
};

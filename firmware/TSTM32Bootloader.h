#pragma once
#include <QMap>
#include <QString>
#include <QVariant>

#include "firmware/TBootloaderIF.h"

class QSerialPort;
class Stm32CommandBase;
struct Stm32DeviceInfo;

/// The STM32 USART system bootloader (AN3155) on a serial port: one command at a time, each
/// retried on silence or rejection, results reported as TBootloaderIF signals.
class TSTM32Bootloader : public TBootloaderIF
{
    Q_OBJECT
public:
    static constexpr int kBaudRate = 115200;
    static constexpr int kMaxTries = 5;   // retries after the first send

    explicit TSTM32Bootloader(QObject* parent = nullptr);
    ~TSTM32Bootloader() override;

    bool Open(const QString& portName) override;
    void Close() override;
    bool IsOpen() const override;
    void Init() override;
    bool GetFlashSize(quint32& size) const override;
    quint16 GetPageSize() const override;
    bool Erase(quint32 startAddress, quint32 endAddress) override;
    void EraseAll() override;
    void Unprotect() override;
    void WritePage(quint32 address, const QByteArray& data) override;
    void ReadPage(quint32 address, int length) override;
    void GoToAddress(quint32 address) override;
    void ReadU32(quint32 address) override;
    QByteArray TakeTrailingBytes() override;
    void StopRetrying() override { m_triesLeft = -1; }

    /// Why Open failed or the port went away; empty otherwise.
    QString ErrorText() const { return m_errorText; }
    /// The identified device's row (the all-zero row for an unknown id); nullptr before.
    const Stm32DeviceInfo* Device() const { return m_device; }
    bool HasExtendedErase() const { return m_extendedErase; }
    /// True while a command waits for its answer.
    bool IsWaiting() const;
    /// Response time-out of every command (default 5000 ms); tests shorten it.
    void SetCommandTimeout(int ms);

    void executeCommand(int code, const QVariant& parameters = QVariant());

private slots:
    void onCommandTimeout();
    void onReadyRead();
    void onInitResultReady(QVariant data);
    void onGetResultReady(QVariant data);
    void onGetIdResultReady(QVariant data);
    void onReadMemoryResultReady(QVariant data);
    void onWriteMemoryResultReady(QVariant data);
    void OnEraseResultReady(QVariant data);
    void OnUnprotectResultReady(QVariant data);
    void OnGoToAddressResultReady(QVariant data);
    void OnReadU32ResultReady(QVariant data);

private:
    void AddCommand(Stm32CommandBase* command, const char* resultSlot);
    void SendCurrent();
    void OnPortError(int error);

    QMap<int, Stm32CommandBase*> m_commands;
    const Stm32DeviceInfo* m_device = nullptr;
    bool m_extendedErase = false;
    QSerialPort* m_port = nullptr;
    QString m_portName;
    int m_maxTries = kMaxTries;
    Stm32CommandBase* m_current = nullptr;
    QVariant m_parameters;
    qint8 m_triesLeft = 0;
    QString m_errorText;
    bool m_gone = false;       ///< Go was answered: what arrives now is the application's
    QByteArray m_trailing;
};

#pragma once
#include <QByteArray>
#include <QList>
#include <QObject>
#include <QVector>

#include "firmware/Stm32DeviceTable.h"

/// The STM32 system bootloader's USART protocol (AN3155) as a pure byte machine: Feed() what the
/// host sent, answers leave through EvSend. No port inside, so the pty wiring, the studio's demo
/// mode and byte-level tests share it.
///
/// Behaviour kept from real parts: only 0x7F leaves the reset state; after that every command is
/// a code/complement pair, so a second 0x7F is taken as the first byte of a command and the byte
/// after it decides (0x7F 0x7F is NACKed). A device with Extended Erase lists and accepts 0x44
/// only, one without it 0x43 only. Write Unprotect, Write Protect, Readout Protect and Readout
/// Unprotect end in a reset (back to awaiting 0x7F); Go leaves the bootloader until Reset().
/// Flash is erased to 0xFF; by default a write must only change erased bytes (else NACK, nothing
/// written), as flash programming on the real parts requires; SetRequireErasedFlash(false) lets
/// writes overwrite.
class TSimStm32Bootloader : public QObject
{
    Q_OBJECT
public:
    /// Scripted faults, set per run.
    enum Fault {
        FaultNone,
        FaultNackAll,        ///< every 0x7F and every command frame is answered with NACK
        FaultNackFirstTry,   ///< each command is NACKed once; the repeat is accepted (0x7F is not: the
                             ///< baud rate detection answers or stays silent, and a NACK to it means
                             ///< "initialised before")
        FaultNoAnswer,       ///< bytes are taken in and never answered
    };
    enum : quint8 { Ack = 0x79, Nack = 0x1F, kVersion = 0x31 };

    /// What one erase request named: pages in order, or a mass erase.
    struct EraseRequest
    {
        quint8 command;   ///< 0x43, 0x44, or 0x92 (readout unprotect)
        bool massErase;
        QVector<int> pages;
    };

    explicit TSimStm32Bootloader(quint16 productId = 0x447, bool extendedErase = true, QObject* parent = nullptr);

    /// Takes the memory layout from the device table (flash erased, RAM cleared) and resets. An
    /// unknown id is answered by Get ID but has no memory: every access to it is NACKed.
    void SetDevice(quint16 productId);
    quint16 ProductId() const { return m_productId; }
    const Stm32DeviceInfo& Device() const { return *m_device; }
    void SetExtendedErase(bool on) { m_extendedErase = on; }
    bool HasExtendedErase() const { return m_extendedErase; }
    void SetFault(Fault fault) { m_fault = fault; }
    void SetRequireErasedFlash(bool on) { m_requireErased = on; }
    void SetReadoutProtected(bool on) { m_readoutProtected = on; }
    bool IsReadoutProtected() const { return m_readoutProtected; }

    const QByteArray& Flash() const { return m_flash; }
    const QByteArray& Ram() const { return m_ram; }
    /// Copies an image into flash from the given offset (clipped at the flash end).
    void LoadFlash(const QByteArray& image, quint32 offset = 0);
    /// Flash as a module in the field holds it: a boot loader of its own in the first `bootBytes`,
    /// an old application in the `oldImageBytes` after it, the rest erased. Every byte of both is
    /// programmed (none is 0xFF), so only what an update erases can be written again.
    void PreFill(quint32 bootBytes, quint32 oldImageBytes);
    /// What PreFill puts into the boot loader region and into the old application.
    static QByteArray BootRegionPattern(int size);
    static QByteArray OldImagePattern(int size);
    /// The supported commands in the order Get lists them.
    QByteArray CommandList() const;

    void Feed(const QByteArray& bytes);
    /// A reset with the boot pin high: back to awaiting 0x7F, pending input dropped.
    void Reset();
    bool IsInitialized() const { return m_state != AwaitInit && m_state != RunningApplication; }
    bool IsRunningApplication() const { return m_state == RunningApplication; }

    // What the host did, for tests.
    const QByteArray& Received() const { return m_received; }
    const QList<quint8>& AcceptedCommands() const { return m_accepted; }
    const QList<EraseRequest>& EraseRequests() const { return m_erases; }
    /// Every erased page in order; a page erased twice appears twice.
    QList<int> ErasedPages() const;
    void ClearLog();

signals:
    void EvSend(const QByteArray& bytes);
    void EvApplicationStarted(quint32 address);
    void EvReset();

private:
    enum State {
        AwaitInit,
        AwaitCommand,
        AwaitReadAddress,
        AwaitReadCount,
        AwaitGoAddress,
        AwaitWriteAddress,
        AwaitWriteData,
        AwaitEraseList,
        AwaitExtendedEraseList,
        AwaitProtectList,
        RunningApplication,
    };
    struct Region
    {
        quint32 start = 0;
        QByteArray* memory = nullptr;
        bool writable = false;
        bool flash = false;
    };

    /// Handles one complete unit of input; false when more bytes are needed.
    bool Step();
    void OnCommand(quint8 code);
    bool TakeAddress(quint32& address);
    bool OnWriteData();
    bool OnEraseList();
    bool OnExtendedEraseList();
    void Send(const QByteArray& bytes);
    void Send(quint8 byte) { Send(QByteArray(1, char(byte))); }
    void SendNack();
    void Restart();
    bool FindRegion(quint32 address, quint32 length, Region& region);
    void ErasePage(int page);
    void EraseAllFlash(quint8 command);
    int PageCount() const;

    quint16 m_productId = 0;
    const Stm32DeviceInfo* m_device;
    bool m_extendedErase;
    Fault m_fault = FaultNone;
    bool m_requireErased = true;
    bool m_readoutProtected = false;
    int m_lastNacked = -1;

    State m_state = AwaitInit;
    QByteArray m_in;
    quint32 m_address = 0;

    QByteArray m_flash;
    QByteArray m_ram;
    QByteArray m_systemMemory;
    QByteArray m_optionBytes;

    QByteArray m_received;
    QList<quint8> m_accepted;
    QList<EraseRequest> m_erases;
};

#include "tools/sim/TSimStm32Bootloader.h"

namespace {
enum : quint8 {
    CmdGet = 0x00,
    CmdGetVersion = 0x01,
    CmdGetId = 0x02,
    CmdReadMemory = 0x11,
    CmdGo = 0x21,
    CmdWriteMemory = 0x31,
    CmdErase = 0x43,
    CmdExtendedErase = 0x44,
    CmdWriteProtect = 0x63,
    CmdWriteUnprotect = 0x73,
    CmdInit = 0x7F,
    CmdReadoutProtect = 0x82,
    CmdReadoutUnprotect = 0x92,
};
constexpr int kAddressFrameBytes = 5;   // four address bytes, XOR
constexpr quint8 kGlobalErase = 0xFF;   // 0x43 count byte that means "all pages"
constexpr quint16 kFirstSpecialErase = 0xFFF0;
constexpr quint16 kMassErase = 0xFFFF;
constexpr quint16 kBank2Erase = 0xFFFD;
constexpr quint8 kErased = 0xFF;

quint8 Xor(const QByteArray& bytes, int from, int count)
{
    quint8 check = 0;
    for (int i = from; i < from + count; ++i)
        check ^= quint8(bytes.at(i));
    return check;
}

/// Commands a protected (readout protection on) device refuses.
bool NeedsUnprotectedMemory(quint8 code)
{
    return code == CmdReadMemory || code == CmdGo || code == CmdWriteMemory || code == CmdErase
           || code == CmdExtendedErase || code == CmdWriteProtect;
}
}

TSimStm32Bootloader::TSimStm32Bootloader(quint16 productId, bool extendedErase, QObject* parent)
    : QObject(parent)
    , m_device(&FindStm32Device(productId))
    , m_extendedErase(extendedErase)
{
    SetDevice(productId);
}

void TSimStm32Bootloader::SetDevice(quint16 productId)
{
    m_productId = productId;
    m_device = &FindStm32Device(productId);
    m_flash = QByteArray(int(m_device->FlashSize()), char(kErased));
    m_ram = QByteArray(int(m_device->ramEnd - m_device->ramStart), char(0));
    m_systemMemory = QByteArray(int(m_device->systemMemoryEnd - m_device->systemMemoryStart), char(0));
    // The option byte range is given with its last byte included.
    const int optionBytes = m_device->optionBytesEnd > m_device->optionBytesStart
                                ? int(m_device->optionBytesEnd - m_device->optionBytesStart + 1)
                                : 0;
    m_optionBytes = QByteArray(optionBytes, char(kErased));
    Reset();
}

void TSimStm32Bootloader::LoadFlash(const QByteArray& image, quint32 offset)
{
    if (offset >= quint32(m_flash.size()))
        return;
    const int count = qMin(image.size(), m_flash.size() - int(offset));
    m_flash.replace(int(offset), count, image.constData(), count);
}

namespace {
QByteArray Programmed(int size, int step, int start)
{
    QByteArray bytes(size, 0);
    for (int i = 0; i < size; ++i) {
        const quint8 value = quint8(i * step + start);
        bytes[i] = char(value == kErased ? 0x00 : value);
    }
    return bytes;
}
}

QByteArray TSimStm32Bootloader::BootRegionPattern(int size)
{
    return Programmed(size, 7, 0xB0);
}

QByteArray TSimStm32Bootloader::OldImagePattern(int size)
{
    return Programmed(size, 13, 0x5A);
}

void TSimStm32Bootloader::PreFill(quint32 bootBytes, quint32 oldImageBytes)
{
    m_flash.fill(char(kErased));
    LoadFlash(BootRegionPattern(int(qMin<quint32>(bootBytes, quint32(m_flash.size())))), 0);
    if (bootBytes < quint32(m_flash.size()))
        LoadFlash(OldImagePattern(int(qMin<quint32>(oldImageBytes, quint32(m_flash.size()) - bootBytes))), bootBytes);
}

QByteArray TSimStm32Bootloader::CommandList() const
{
    QByteArray list;
    for (quint8 code : {CmdGet, CmdGetVersion, CmdGetId, CmdReadMemory, CmdGo, CmdWriteMemory,
                        m_extendedErase ? CmdExtendedErase : CmdErase, CmdWriteProtect, CmdWriteUnprotect,
                        CmdReadoutProtect, CmdReadoutUnprotect})
        list.append(char(code));
    return list;
}

void TSimStm32Bootloader::Reset()
{
    m_state = AwaitInit;
    m_in.clear();
    m_lastNacked = -1;
}

QList<int> TSimStm32Bootloader::ErasedPages() const
{
    QList<int> pages;
    for (const EraseRequest& request : m_erases) {
        for (int page : request.pages)
            pages << page;
    }
    return pages;
}

void TSimStm32Bootloader::ClearLog()
{
    m_received.clear();
    m_accepted.clear();
    m_erases.clear();
}

void TSimStm32Bootloader::Feed(const QByteArray& bytes)
{
    m_received.append(bytes);
    if (m_fault == FaultNoAnswer)
        return;
    m_in.append(bytes);
    while (Step()) {
    }
}

void TSimStm32Bootloader::Send(const QByteArray& bytes)
{
    emit EvSend(bytes);
}

void TSimStm32Bootloader::SendNack()
{
    Send(Nack);
}

void TSimStm32Bootloader::Restart()
{
    // Bytes already queued arrived after the reset: they meet the fresh bootloader.
    m_state = AwaitInit;
    m_lastNacked = -1;
    emit EvReset();
}

bool TSimStm32Bootloader::Step()
{
    switch (m_state) {
    case AwaitInit: {
        if (m_in.isEmpty())
            return false;
        const quint8 byte = quint8(m_in.at(0));
        m_in.remove(0, 1);
        if (byte != CmdInit)
            return true;   // the baud rate detection only reacts to 0x7F
        if (m_fault == FaultNackAll) {
            SendNack();
            return true;
        }
        m_lastNacked = -1;
        m_accepted << CmdInit;
        m_state = AwaitCommand;
        Send(Ack);
        return true;
    }
    case AwaitCommand: {
        if (m_in.size() < 2)
            return false;
        const quint8 code = quint8(m_in.at(0));
        const quint8 complement = quint8(m_in.at(1));
        m_in.remove(0, 2);
        const bool valid = complement == quint8(~code) && CommandList().contains(char(code))
                           && !(m_readoutProtected && NeedsUnprotectedMemory(code));
        if (!valid || m_fault == FaultNackAll || (m_fault == FaultNackFirstTry && m_lastNacked != code)) {
            if (valid)
                m_lastNacked = code;
            SendNack();
            return true;
        }
        m_lastNacked = -1;
        OnCommand(code);
        return true;
    }
    case AwaitReadAddress:
    case AwaitGoAddress:
    case AwaitWriteAddress: {
        if (m_in.size() < kAddressFrameBytes)
            return false;
        const State state = m_state;
        m_state = AwaitCommand;
        quint32 address = 0;
        Region region;
        if (!TakeAddress(address) || !FindRegion(address, 1, region)
            || (state != AwaitReadAddress && !region.writable)) {
            SendNack();
            return true;
        }
        m_address = address;
        Send(Ack);
        if (state == AwaitReadAddress) {
            m_state = AwaitReadCount;
        } else if (state == AwaitWriteAddress) {
            m_state = AwaitWriteData;
        } else {
            m_state = RunningApplication;
            m_in.clear();
            emit EvApplicationStarted(address);
        }
        return true;
    }
    case AwaitReadCount: {
        if (m_in.size() < 2)
            return false;
        const int count = quint8(m_in.at(0)) + 1;
        const bool valid = quint8(m_in.at(1)) == quint8(~m_in.at(0));
        m_in.remove(0, 2);
        m_state = AwaitCommand;
        Region region;
        if (!valid || !FindRegion(m_address, quint32(count), region)) {
            SendNack();
            return true;
        }
        Send(QByteArray(1, char(Ack)) + region.memory->mid(int(m_address - region.start), count));
        return true;
    }
    case AwaitWriteData:
        return OnWriteData();
    case AwaitEraseList:
        return OnEraseList();
    case AwaitExtendedEraseList:
        return OnExtendedEraseList();
    case AwaitProtectList: {
        if (m_in.isEmpty() || m_in.size() < quint8(m_in.at(0)) + 3)
            return false;
        const int sectors = quint8(m_in.at(0)) + 1;
        const bool valid = Xor(m_in, 0, sectors + 1) == quint8(m_in.at(sectors + 1));
        m_in.remove(0, sectors + 2);
        m_state = AwaitCommand;
        if (!valid) {
            SendNack();
            return true;
        }
        Send(Ack);
        Restart();
        return true;
    }
    case RunningApplication:
        m_in.clear();
        return false;
    }
    return false;
}

void TSimStm32Bootloader::OnCommand(quint8 code)
{
    m_accepted << code;
    switch (code) {
    case CmdGet: {
        const QByteArray list = CommandList();
        Send(QByteArray(1, char(Ack)) + char(list.size()) + char(kVersion) + list + char(Ack));
        break;
    }
    case CmdGetVersion:
        Send(QByteArray(1, char(Ack)) + char(kVersion) + char(0) + char(0) + char(Ack));
        break;
    case CmdGetId:
        Send(QByteArray(1, char(Ack)) + char(1) + char(m_productId >> 8) + char(m_productId) + char(Ack));
        break;
    case CmdReadMemory:
        m_state = AwaitReadAddress;
        Send(Ack);
        break;
    case CmdGo:
        m_state = AwaitGoAddress;
        Send(Ack);
        break;
    case CmdWriteMemory:
        m_state = AwaitWriteAddress;
        Send(Ack);
        break;
    case CmdErase:
        m_state = AwaitEraseList;
        Send(Ack);
        break;
    case CmdExtendedErase:
        m_state = AwaitExtendedEraseList;
        Send(Ack);
        break;
    case CmdWriteProtect:
        m_state = AwaitProtectList;
        Send(Ack);
        break;
    case CmdWriteUnprotect:
        Send(Ack);
        Send(Ack);
        Restart();
        break;
    case CmdReadoutProtect:
        Send(Ack);
        m_readoutProtected = true;
        Send(Ack);
        Restart();
        break;
    case CmdReadoutUnprotect:
        Send(Ack);
        EraseAllFlash(CmdReadoutUnprotect);
        m_readoutProtected = false;
        Send(Ack);
        Restart();
        break;
    default:
        SendNack();
        break;
    }
}

bool TSimStm32Bootloader::TakeAddress(quint32& address)
{
    address = 0;
    for (int i = 0; i < 4; ++i)
        address = (address << 8) | quint8(m_in.at(i));
    const bool valid = Xor(m_in, 0, 4) == quint8(m_in.at(4));
    m_in.remove(0, kAddressFrameBytes);
    return valid;
}

bool TSimStm32Bootloader::OnWriteData()
{
    if (m_in.isEmpty() || m_in.size() < quint8(m_in.at(0)) + 3)
        return false;
    const int count = quint8(m_in.at(0)) + 1;
    const bool valid = Xor(m_in, 0, count + 1) == quint8(m_in.at(count + 1));
    const QByteArray data = m_in.mid(1, count);
    m_in.remove(0, count + 2);
    m_state = AwaitCommand;
    Region region;
    if (!valid || !FindRegion(m_address, quint32(count), region) || !region.writable) {
        SendNack();
        return true;
    }
    const int offset = int(m_address - region.start);
    if (region.flash && m_requireErased) {
        for (int i = 0; i < count; ++i) {
            const char old = region.memory->at(offset + i);
            if (quint8(old) != kErased && old != data.at(i)) {
                SendNack();   // flash programming needs erased cells
                return true;
            }
        }
    }
    region.memory->replace(offset, count, data);
    Send(Ack);
    return true;
}

bool TSimStm32Bootloader::OnEraseList()
{
    if (m_in.isEmpty())
        return false;
    const quint8 n = quint8(m_in.at(0));
    if (n == kGlobalErase) {
        if (m_in.size() < 2)
            return false;
        const bool valid = quint8(m_in.at(1)) == 0x00;
        m_in.remove(0, 2);
        m_state = AwaitCommand;
        if (!valid) {
            SendNack();
            return true;
        }
        EraseAllFlash(CmdErase);
        Send(Ack);
        return true;
    }
    const int pages = n + 1;
    if (m_in.size() < pages + 2)
        return false;
    const bool valid = Xor(m_in, 0, pages + 1) == quint8(m_in.at(pages + 1));
    EraseRequest request{CmdErase, false, {}};
    for (int i = 1; i <= pages; ++i)
        request.pages << quint8(m_in.at(i));
    m_in.remove(0, pages + 2);
    m_state = AwaitCommand;
    bool inRange = true;
    for (int page : qAsConst(request.pages))
        inRange = inRange && page < PageCount();
    if (!valid || !inRange) {
        SendNack();
        return true;
    }
    for (int page : qAsConst(request.pages))
        ErasePage(page);
    m_erases << request;
    Send(Ack);
    return true;
}

bool TSimStm32Bootloader::OnExtendedEraseList()
{
    if (m_in.size() < 2)
        return false;
    const quint16 n = quint16((quint8(m_in.at(0)) << 8) | quint8(m_in.at(1)));
    if (n >= kFirstSpecialErase) {
        if (m_in.size() < 3)
            return false;
        const bool valid = Xor(m_in, 0, 2) == quint8(m_in.at(2));
        m_in.remove(0, 3);
        m_state = AwaitCommand;
        if (!valid || n < kBank2Erase) {
            SendNack();
            return true;
        }
        EraseAllFlash(CmdExtendedErase);   // mass, bank 1 and bank 2 erase alike: one bank here
        Send(Ack);
        return true;
    }
    const int pages = n + 1;
    const int total = 2 + 2 * pages + 1;
    if (m_in.size() < total)
        return false;
    const bool valid = Xor(m_in, 0, total - 1) == quint8(m_in.at(total - 1));
    EraseRequest request{CmdExtendedErase, false, {}};
    for (int i = 0; i < pages; ++i)
        request.pages << ((quint8(m_in.at(2 + 2 * i)) << 8) | quint8(m_in.at(3 + 2 * i)));
    m_in.remove(0, total);
    m_state = AwaitCommand;
    bool inRange = true;
    for (int page : qAsConst(request.pages))
        inRange = inRange && page < PageCount();
    if (!valid || !inRange) {
        SendNack();
        return true;
    }
    for (int page : qAsConst(request.pages))
        ErasePage(page);
    m_erases << request;
    Send(Ack);
    return true;
}

bool TSimStm32Bootloader::FindRegion(quint32 address, quint32 length, Region& region)
{
    const Region regions[] = {
        {m_device->flashStart, &m_flash, true, true},
        {m_device->ramStart, &m_ram, true, false},
        {m_device->systemMemoryStart, &m_systemMemory, false, false},
        {m_device->optionBytesStart, &m_optionBytes, false, false},
    };
    for (const Region& candidate : regions) {
        if (address >= candidate.start
            && quint64(address - candidate.start) + length <= quint64(candidate.memory->size())) {
            region = candidate;
            return true;
        }
    }
    return false;
}

int TSimStm32Bootloader::PageCount() const
{
    return m_device->pageSize ? int(m_device->FlashSize() / m_device->pageSize) : 0;
}

void TSimStm32Bootloader::ErasePage(int page)
{
    const int size = m_device->pageSize;
    m_flash.replace(page * size, size, QByteArray(size, char(kErased)));
}

void TSimStm32Bootloader::EraseAllFlash(quint8 command)
{
    m_flash.fill(char(kErased));
    m_erases << EraseRequest{command, true, {}};
}

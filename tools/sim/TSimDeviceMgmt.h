#pragma once
#include <QDateTime>

#include "tools/sim/TSimService.h"

/// Device management of the virtual module: identity, firmware, clock.
class TSimDeviceMgmt : public TSimService
{
public:
    static constexpr quint8 kSapId = 0x01;
    enum : quint8 {
        kPingReq = 0x01,
        kGetDeviceInfoReq = 0x03,
        kGetFirmwareInfoReq = 0x05,
        kSetRTCReq = 0x0D,
        kGetRTCReq = 0x0F,
        kPowerUpEvent = 0x20,
    };

    explicit TSimDeviceMgmt(TSimModule& module) : TSimService(module) {}
    quint8 SapID() const override { return kSapId; }
    TSimReply HandleRequest(quint8 msgId, const QByteArray& payload) override;

    /// Firmware information with its leading status byte; the power-up event carries the same bytes.
    QByteArray FirmwareInfo() const;
    QByteArray DeviceInfo() const;
    QDateTime Now() const;

private:
    qint64 m_clockOffsetSecs = 0;   ///< module clock minus host clock
};

#include "tools/sim/TSimDeviceMgmt.h"

#include <QtEndian>

#include "sap/TRtcTime.h"
#include "tools/sim/TSimModule.h"

namespace {
QByteArray U32(quint32 value)
{
    QByteArray bytes(4, 0);
    qToLittleEndian(value, bytes.data());
    return bytes;
}
}

QByteArray TSimDeviceMgmt::DeviceInfo() const
{
    const TSimIdentity& id = m_module.Identity();
    QByteArray data;
    data.append(char(id.deviceType));
    data.append(U32(id.deviceAddress));
    data.append(U32(id.deviceId));
    return data;
}

QByteArray TSimDeviceMgmt::FirmwareInfo() const
{
    const TSimIdentity& id = m_module.Identity();
    QByteArray data;
    data.append(char(TSimReply::kOk));
    data.append(char(id.versionMinor));
    data.append(char(id.versionMajor));
    data.append(char(id.buildCount & 0xFF));
    data.append(char(id.buildCount >> 8));
    data.append(id.buildDate.toLatin1().leftJustified(10, ' ', true));
    data.append(id.FirmwareText().toLatin1());
    return data;
}

QDateTime TSimDeviceMgmt::Now() const
{
    return QDateTime::currentDateTime().addSecs(m_clockOffsetSecs);
}

TSimReply TSimDeviceMgmt::HandleRequest(quint8 msgId, const QByteArray& payload)
{
    switch (msgId) {
    case kPingReq:
        return TSimReply::Ok();
    case kGetDeviceInfoReq:
        return TSimReply::Ok(DeviceInfo());
    case kGetFirmwareInfoReq:
        return TSimReply::Ok(FirmwareInfo().mid(1));
    case kSetRTCReq: {
        if (payload.size() < 4)
            return TSimReply::Status(TSimReply::kWrongParameter);
        const QDateTime time = TRtcTime::Unpack(qFromLittleEndian<quint32>(payload.constData()));
        if (!time.isValid())
            return TSimReply::Status(TSimReply::kWrongParameter);
        m_clockOffsetSecs = QDateTime::currentDateTime().secsTo(time);
        return TSimReply::Ok();
    }
    case kGetRTCReq:
        return TSimReply::Ok(U32(TRtcTime::Pack(Now())));
    default:
        return TSimReply::Unknown();
    }
}

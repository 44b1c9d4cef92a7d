#include "tools/sim/TSimDeviceMgmt.h"

#include <QtEndian>

#include "sap/DeviceMgmtLayouts.h"
#include "sap/TFieldLayout.h"
#include "sap/TRtcTime.h"
#include "tools/sim/TSimModule.h"
#include "tools/sim/TSimProductionSupport.h"

using namespace DeviceMgmtLayouts;

namespace {
constexpr int kMsPerDay = 24 * 60 * 60 * 1000;
constexpr int kDeviceConfigBytes = 4;
const char* const kTimeFormat = "yyyy-MM-dd hh:mm:ss";

QByteArray U32(quint32 value)
{
    QByteArray bytes(4, 0);
    qToLittleEndian(value, bytes.data());
    return bytes;
}

bool KnownBaudrateId(qint64 id)
{
    for (const TCodeTableEntry* row = kBaudrateIds; row->text; ++row)
        if (qint64(row->code) == id)
            return true;
    return false;
}

QString Text(quint32 value)
{
    return QString::number(value);
}
}

namespace TSimLayout {

QByteArray Pack(const TFieldLayoutEntry* layout, const TKeyValueList& record)
{
    QByteArray payload;
    QString error;
    if (!TFieldLayout::Pack(layout, record, payload, error))
        qWarning("virtual module: cannot pack its own answer: %s", qPrintable(error));
    return payload;
}

bool Parse(const TFieldLayoutEntry* layout, const QByteArray& payload, TKeyValueList& record)
{
    TKeyValueList fields;
    TFieldLayout::Decode(layout, payload, 0, fields);
    // Packing what was read must give the request back: nothing short, nothing extra, and
    // reserved fields zero (they are packed as zeros when not given).
    TKeyValueList given;
    for (const TKeyValueList::Item& item : qAsConst(fields))
        if (item.first != QLatin1String("Reserved"))
            given.append(item);
    QByteArray again;
    QString error;
    if (!TFieldLayout::Pack(layout, given, again, error) || again != payload)
        return false;
    record = fields;
    return true;
}

qint64 Number(const TKeyValueList& record, const char* key)
{
    const QString text = record.Value(QLatin1String(key));
    if (text.startsWith(QLatin1String("0x")))
        return text.mid(2).toLongLong(nullptr, 16);
    return text.toLongLong();
}

}

TSimDeviceMgmt::TSimDeviceMgmt(TSimModule& module)
    : TSimService(module)
{
    m_alarmTimer.setSingleShot(true);
    m_alarmTimer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&m_alarmTimer, &QTimer::timeout, &m_context, [this] { FireRtcAlarm(); });
    m_hciConfig.Append(QStringLiteral("NVM"), QStringLiteral("0"));
    m_hciConfig.Append(QStringLiteral("BaudrateID"), QStringLiteral("4"));
    m_hciConfig.Append(QStringLiteral("NumWakeupChars"), QStringLiteral("40"));
    m_hciConfig.Append(QStringLiteral("TxTimeout"), QStringLiteral("10"));
    m_hciConfig.Append(QStringLiteral("RxTimeout"), QStringLiteral("10"));
    ResetDeviceConfig();
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
    return QDateTime::currentDateTime().addMSecs(m_clockOffsetMs);
}

QByteArray TSimDeviceMgmt::DeviceStatus() const
{
    const TSimCounters& c = m_counters;
    TKeyValueList status;
    status.Append(QStringLiteral("SystemTickRes"), QStringLiteral("1"));   // ms per tick
    status.Append(QStringLiteral("SystemTick"), Text(quint32(m_module.Uptime())));
    status.Append(QStringLiteral("RTCTime"), Now().toString(QLatin1String(kTimeFormat)));
    status.Append(QStringLiteral("NVMStatus"), QStringLiteral("0x0000"));
    status.Append(QStringLiteral("BatteryLevel"), Text(kBatteryMv));
    status.Append(QStringLiteral("ExtraStatus"), QStringLiteral("0x0000"));
    const quint32 counters[] = {c.txUData, c.txCData, c.txError, c.rx1UData, c.rx1CData, c.rx1MICError,
                                c.rx2UData, c.rx2CData, c.rx2MICError, c.txJoin, c.rxAccept, c.radioRxPackets,
                                c.radioRxAddressOk, c.radioRxCRCErrors, c.radioTxPackets, c.radioTxErrors,
                                c.radioTxMediaBusy};
    // The counters follow the six fields above in layout order.
    int i = 0;
    for (const TFieldLayoutEntry* field = kDeviceStatus + 6; field->name; ++field)
        status.Append(QLatin1String(field->name), Text(counters[i++]));
    return TSimLayout::Pack(kDeviceStatus, status);
}

QByteArray TSimDeviceMgmt::CpuId() const
{
    TKeyValueList id;
    id.Append(QStringLiteral("CPUID"), QStringLiteral("0x%1").arg(kCpuIdRegister, 8, 16, QLatin1Char('0')));
    const QByteArray unique = QByteArray::fromHex("3300290011513339") + U32(m_module.Identity().deviceId);
    id.Append(QStringLiteral("UniqueID"), TFieldLayout::HexOctets(unique));
    return TSimLayout::Pack(kCpuId, id);
}

TSimReply TSimDeviceMgmt::SetRtc(const QByteArray& payload)
{
    if (payload.size() != 4)
        return TSimReply::Status(TSimReply::kWrongParameter);
    const QDateTime time = TRtcTime::Unpack(qFromLittleEndian<quint32>(payload.constData()));
    if (!time.isValid())
        return TSimReply::Status(TSimReply::kWrongParameter);
    m_clockOffsetMs = QDateTime::currentDateTime().msecsTo(time);
    ScheduleAlarm();
    return TSimReply::Ok();
}

TSimReply TSimDeviceMgmt::SetRtcAlarm(const QByteArray& payload)
{
    TKeyValueList alarm;
    if (!TSimLayout::Parse(kRtcAlarmSet, payload, alarm))
        return TSimReply::Status(TSimReply::kWrongParameter);
    const QTime time(int(TSimLayout::Number(alarm, "Hour")), int(TSimLayout::Number(alarm, "Minute")),
                     int(TSimLayout::Number(alarm, "Second")));
    if (!time.isValid())
        return TSimReply::Status(TSimReply::kWrongParameter);
    m_alarmOptions = quint8(TSimLayout::Number(alarm, "Options"));
    m_alarmTime = time;
    m_alarmActive = true;
    ScheduleAlarm();
    return TSimReply::Ok();
}

TSimReply TSimDeviceMgmt::GetRtcAlarm() const
{
    TKeyValueList alarm;
    alarm.Append(QStringLiteral("Status"), QString::number(m_alarmActive ? 1 : 0));
    alarm.Append(QStringLiteral("Options"), QStringLiteral("0x%1").arg(m_alarmOptions, 2, 16, QLatin1Char('0')));
    alarm.Append(QStringLiteral("Hour"), QString::number(m_alarmTime.isValid() ? m_alarmTime.hour() : 0));
    alarm.Append(QStringLiteral("Minute"), QString::number(m_alarmTime.isValid() ? m_alarmTime.minute() : 0));
    alarm.Append(QStringLiteral("Second"), QString::number(m_alarmTime.isValid() ? m_alarmTime.second() : 0));
    return TSimReply::Ok(TSimLayout::Pack(kRtcAlarmGet, alarm));
}

void TSimDeviceMgmt::ScheduleAlarm()
{
    m_alarmTimer.stop();
    m_nextAlarm = QDateTime();
    if (!m_alarmActive)
        return;
    const QDateTime now = Now();
    m_nextAlarm = QDateTime(now.date(), m_alarmTime);
    if (m_nextAlarm <= now)
        m_nextAlarm = m_nextAlarm.addDays(1);
    m_alarmTimer.start(int(qBound<qint64>(0, now.msecsTo(m_nextAlarm), kMsPerDay)));
}

void TSimDeviceMgmt::FireRtcAlarm()
{
    // The event carries the time the alarm was due; a timer may wake a little early.
    const QDateTime due = m_alarmTimer.isActive() || !m_nextAlarm.isValid() ? Now() : qMax(Now(), m_nextAlarm);
    TKeyValueList time;
    time.Append(QStringLiteral("DateTime"), due.toString(QLatin1String(kTimeFormat)));
    m_module.SendMessage(kSapId, kRTCAlarmEvent, TSimLayout::Pack(kRtc, time));
    if (!(m_alarmOptions & kAlarmDaily))
        m_alarmActive = false;
    ScheduleAlarm();
}

TSimReply TSimDeviceMgmt::SetHciConfig(const QByteArray& payload)
{
    TKeyValueList config;
    if (!TSimLayout::Parse(kHciConfig, payload, config))
        return TSimReply::Status(TSimReply::kWrongParameter);
    if (TSimLayout::Number(config, "NVM") > 1 || !KnownBaudrateId(TSimLayout::Number(config, "BaudrateID")))
        return TSimReply::Status(TSimReply::kWrongParameter);
    m_hciConfig = config;
    return TSimReply::Ok();
}

TSimReply TSimDeviceMgmt::SetDeviceConfig(const QByteArray& payload)
{
    // The reserved bytes are kept as they come, and read back so.
    TKeyValueList config;
    TFieldLayout::Decode(kDeviceConfig, payload, 0, config);
    if (payload.size() != kDeviceConfigBytes || TSimLayout::Number(config, "PowerSaving") > 1)
        return TSimReply::Status(TSimReply::kWrongParameter);
    m_deviceConfig = payload;
    return TSimReply::Ok();
}

TSimReply TSimDeviceMgmt::SetSingleValue(const QByteArray& payload, quint8 maximum, quint8& value)
{
    if (payload.size() != 1 || quint8(payload.at(0)) > maximum)
        return TSimReply::Status(TSimReply::kWrongParameter);
    value = quint8(payload.at(0));
    return TSimReply::Ok();
}

void TSimDeviceMgmt::ResetDeviceConfig()
{
    // Reserved, PowerSaving on, Reserved, ExtraOptions
    m_deviceConfig = QByteArray::fromHex("00010000");
}

void TSimDeviceMgmt::Restart()
{
    // What a restart forgets: the operation mode and a running production test. Clock, alarm and
    // configuration are kept.
    m_operationMode = 0;
    m_module.RestartServices();
    m_module.SendPowerUpEvent();
}

TSimCounters* TSimDeviceMgmt::CountersOf(const TSimModule& module)
{
    auto* dm = module.ServiceOf<TSimDeviceMgmt>();
    return dm ? &dm->Counters() : nullptr;
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
    case kResetReq:
        QTimer::singleShot(kResetDelayMs, &m_context, [this] { Restart(); });
        return TSimReply::Ok();
    case kSetOperationModeReq:
        return SetSingleValue(payload, kMaxOperationMode, m_operationMode);
    case kGetOperationModeReq:
        return TSimReply::Ok(QByteArray(1, char(m_operationMode)));
    case kSetRTCReq:
        return SetRtc(payload);
    case kGetRTCReq:
        return TSimReply::Ok(U32(TRtcTime::Pack(Now())));
    case kGetDeviceStatusReq:
        return TSimReply::Ok(DeviceStatus());
    case kSetDeviceConfigReq:
        return SetDeviceConfig(payload);
    case kGetDeviceConfigReq:
        return TSimReply::Ok(m_deviceConfig);
    case kResetDeviceConfigReq:
        ResetDeviceConfig();
        return TSimReply::Ok();
    case kSetRTCAlarmReq:
        return SetRtcAlarm(payload);
    case kClearRTCAlarmReq:
        m_alarmActive = false;
        m_alarmTimer.stop();
        return TSimReply::Ok();
    case kGetRTCAlarmReq:
        return GetRtcAlarm();
    case kSetRadioStackReq:
        return SetSingleValue(payload, kMaxRadioStack, m_radioStack);
    case kGetRadioStackReq:
        return TSimReply::Ok(QByteArray(1, char(m_radioStack)));
    case kSetHCIConfigReq:
        return SetHciConfig(payload);
    case kGetHCIConfigReq:
        return TSimReply::Ok(TSimLayout::Pack(kHciConfig, m_hciConfig));
    case kGetCPUIDReq:
        return TSimReply::Ok(CpuId());
    case kSetBootloaderModeReq:
        QTimer::singleShot(0, &m_context, [this] {
            if (EnterBootloaderRequested)
                EnterBootloaderRequested();
        });
        return TSimReply::Ok();
    default:
        return TSimReply::Unknown();
    }
}

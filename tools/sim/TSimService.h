#pragma once
#include <QByteArray>
#include <QtGlobal>

class TSimModule;

/// Answer of an emulated service to one request: status byte, then the data that follows it.
struct TSimReply
{
    static constexpr quint8 kOk = 0x00;
    static constexpr quint8 kNotSupported = 0x02;
    static constexpr quint8 kWrongParameter = 0x03;

    bool known = true;   ///< false: not a request of this service ("command not supported")
    quint8 status = kOk;
    QByteArray data;

    static TSimReply Unknown() { TSimReply r; r.known = false; r.status = kNotSupported; return r; }
    static TSimReply Status(quint8 status) { TSimReply r; r.status = status; return r; }
    static TSimReply Ok(const QByteArray& data = QByteArray()) { TSimReply r; r.data = data; return r; }
};

/// One service of the virtual module, keeping its state like the firmware does.
class TSimService
{
public:
    explicit TSimService(TSimModule& module) : m_module(module) {}
    virtual ~TSimService() = default;
    virtual quint8 SapID() const = 0;
    /// Response MsgID is always the request's + 1.
    virtual TSimReply HandleRequest(quint8 msgId, const QByteArray& payload) = 0;
    /// The module restarted: what lives in RAM only is lost.
    virtual void Restarted() {}

protected:
    TSimModule& m_module;
};

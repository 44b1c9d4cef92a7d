// Every service's response and event decoders on payloads of exactly the length they are given:
// the tail of the message buffer behind the payload is unreadable, so a decoder that reads past the
// length stops the run. Input: service, MsgID, flags, then the payload.
#include "FuzzSupport.h"
#include "sap/TDataLinkSAP.h"
#include "sap/TProductionSupportSAP.h"
#include "sap/TSensorSAP.h"
#include "sap/TTraceSAP.h"
#include "sap/TVeltoLRDeviceMgmt.h"
#include "sap/TVeltoLRLoRaWAN.h"

namespace {
struct Services {
    TVeltoLRDeviceMgmt deviceMgmt;
    TVeltoLRLoRaWAN lorawan;
    TDataLinkSAP dataLink;
    TSensorSAP sensor;
    TTraceSAP trace;
    TProductionSupportSAP productionSupport;
};

Services& All()
{
    static Services* services = new Services;
    return *services;
}

/// The response decoder of one service; false when the service has none (trace).
bool DecodeResponse(int service, quint8 msgId, const quint8* payload, int length, TKeyValueList& record)
{
    Services& s = All();
    switch (service) {
    case 0: return s.deviceMgmt.DecodeResponse(msgId, payload, length, record);
    case 1: return s.lorawan.DecodeResponse(msgId, payload, length, record);
    case 2: return s.dataLink.DecodeResponse(msgId, payload, length, record);
    case 3: return s.sensor.DecodeResponse(msgId, payload, length, record);
    case 5: return s.productionSupport.DecodeResponse(msgId, payload, length, record);
    default: return false;
    }
}

TVeltoLRSAP& Service(int service)
{
    Services& s = All();
    TVeltoLRSAP* saps[] = {&s.deviceMgmt, &s.lorawan, &s.dataLink, &s.sensor, &s.trace, &s.productionSupport};
    return *saps[service];
}
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 3)
        return 0;
    const int service = data[0] % 6;
    const quint8 msgId = data[1];
    const bool event = (data[2] & 0x01) != 0;
    All().deviceMgmt.SetDeveloperDecoding((data[2] & 0x02) != 0);
    const size_t length = qMin<size_t>(size - 3, HCIMessage::kMaxPayload);
    const quint8* payload = data + 3;

    TKeyValueList record;
    if (!event) {
        const auto exact = FuzzSupport::ExactCopy(payload, length);
        DecodeResponse(service, msgId, exact.get(), int(length), record);
        return 0;
    }
    TVeltoLRSAP& sap = Service(service);
    const FuzzSupport::ExactMessage message(sap.SapID(), msgId, payload, length);
    record.Append(QStringLiteral("HostTime"), QStringLiteral("2030-01-01 00:00:00.000"));
    record.Append(QStringLiteral("Port"), QStringLiteral("/dev/pts/0"));
    // An event the service takes is shown with its type.
    if (sap.ProcessHCIMessage(message.Message(), record))
        FUZZ_CHECK(record.size() > 2 && !record.at(2).second.isEmpty());
    return 0;
}

#pragma once
#include <QtGlobal>
#include <cstring>

/// One decoded HCI message: the content of a SLIP frame without its CRC.
struct HCIMessage
{
    static constexpr int kMaxPayload = 500;

    quint16 Length = 0;   ///< payload bytes in use
    quint8 SapID = 0;
    quint8 MsgID = 0;
    quint8 Payload[kMaxPayload] = {};
    quint16 CRC16 = 0;    ///< zero on receive: the CRC was checked before the record was built
};

/// Result of sending a message on the link; texts in THCIResult::Text.
enum HCIResult : int {
    HCIResult_OK = 0,
    HCIResult_PayloadLengthError = 1,
    HCIResult_PayloadPointerError = 2,
    HCIResult_TransmitError = 3,
    HCIResult_SlipEncoderError = 4,
    HCIResult_NoResponse = 5,
    HCIResult_NoRadioInterface = 6,
    HCIResult_ParameterError = 7,
    HCIResult_JobBusy = 8,
};

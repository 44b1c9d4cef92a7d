#include "firmware/TFtdiPins.h"

namespace {
const char* const kMissing = "error - FTDI pin control unavailable: this build has no libftdi1 "
                             "(install libftdi1-dev and rebuild)";
}

int TFtdiPins::SetPins(quint8 pattern)
{
    Q_UNUSED(pattern)
    m_errorText = QString::fromLatin1(kMissing);
    return ListFailed;
}

int TFtdiPins::CountDevices()
{
    m_errorText = QString::fromLatin1(kMissing);
    return -1;
}

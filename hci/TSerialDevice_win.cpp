#include "hci/TSerialDevice.h"

// Windows opens only COM devices through the serial port driver; there is nothing else to refuse.
namespace TSerialDevice {

QString RefusalBeforeOpen(const QString&)
{
    return QString();
}

}

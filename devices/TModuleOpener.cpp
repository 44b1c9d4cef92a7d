#include "devices/TModuleOpener.h"

#include "devices/TControllerFactory.h"
#include "devices/TRadioController.h"

namespace TModuleOpener {

TRadioController* Open(const TRadioController& probe, QString* error)
{
    const TKeyValueList info = probe.DeviceInfo();
    TRadioController* controller = TControllerFactory::Instance().CreateController(info);
    controller->SetDeviceInfo(info);
    if (!controller->Open(probe.PortName(), info.Value(QStringLiteral("Baudrate")))) {
        if (error)
            *error = controller->OpenError();
        delete controller;
        return nullptr;
    }
    return controller;
}

}

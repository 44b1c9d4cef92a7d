#include "devices/TControllerPrototypes.h"

#include <QFile>

#include "devices/TExtLoRaWANEndNode.h"
#include "devices/TLoRaWANEndNode.h"
#include "devices/TControllerFactory.h"
#include "firmware/TFirmwareSupport.h"
#include "sap/TTraceEventConfig.h"
#include "sap/TTraceSAP.h"
#include "settings/TSettings.h"
#include "status/TStatusLog.h"

static void InitConfigResources()
{
    Q_INIT_RESOURCE(config);   // the core is a static library: its resources need an explicit hello
}

namespace TControllerPrototypes {

void RegisterAll()
{
    InitConfigResources();
    TFirmwareSupport& support = TFirmwareSupport::Instance();
    if (support.Versions().isEmpty()) {
        const QString path = TSettings::Instance().FirmwareVersionsPath();
        QString error;
        if (!support.Load(path, &error) && !support.Load(QStringLiteral(":/Config/FirmwareVersions.json")))
            TStatusLog::Instance().AddStatusLine(error);
    }
    // The trace names are one table for the program, read once when the user keeps a file.
    if (QFile::exists(TTraceEventConfig::DefaultPath()))
        TTraceEventConfig::Instance().Load(TTraceEventConfig::DefaultPath());

    // firmware name        prototype
    static TLoRaWANEndNode lorawan;
    static TExtLoRaWANEndNode extended;
    TControllerFactory& factory = TControllerFactory::Instance();
    factory.RegisterPrototype(QStringLiteral("Velto_LoRaWAN"), &lorawan);
    factory.RegisterPrototype(QStringLiteral("Velto_Wavelet24"), &lorawan);
    factory.RegisterPrototype(QStringLiteral("Caravel_LoRaWAN"), &extended);
}

}

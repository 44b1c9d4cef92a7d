// The configuration files the studio reads: the firmware versions file, the trace event file, the
// radio message file and the settings file, each from arbitrary bytes (first byte: which one).
// Properties: a load that fails says why; whatever the settings file holds, the typed values stay
// within what their keys allow.
#include "FuzzSupport.h"
#include "firmware/TFirmwareSupport.h"
#include "sap/TRadioMsgConfig.h"
#include "sap/TTraceEventConfig.h"
#include "settings/TSettings.h"

namespace {
void Settings(const quint8* data, size_t size)
{
    TSettings& settings = TSettings::Instance();
    QDir().mkpath(settings.DataDirectory());
    QFile file(settings.SettingsFilePath());
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return;
    file.write(reinterpret_cast<const char*>(data), qint64(size));
    file.close();
    FUZZ_CHECK(QList<int>({1, 2, 4, 8}).contains(settings.StatusBoxLocation()));
    FUZZ_CHECK(QStringList({"Berlin", "Manhattan", "Montreal"}).contains(settings.MainTheme()));
    FUZZ_CHECK(settings.NumWakeupChars() >= 0 && settings.NumWakeupChars() <= 1000);
    FUZZ_CHECK(settings.GatewayPort() >= 1 && settings.GatewayPort() <= 65535);
    FUZZ_CHECK(settings.ServerPort() >= 1 && settings.ServerPort() <= 65535);
    FUZZ_CHECK(!settings.DiscoveryBaudrates().isEmpty());
    settings.LoadSpecialSwitches(QStringLiteral("code"));
    settings.ReadList(QStringLiteral("ComPorts"), QStringLiteral("Extra"));
    settings.ReadGroup(QStringLiteral("ComPorts"));
}
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const quint8* content = data + 1;
    const size_t length = size - 1;
    switch (data[0] % 4) {
    case 0: {
        QString error;
        if (!TFirmwareSupport::Instance().Load(FuzzSupport::AsFile(content, length, "versions.json"), &error))
            FUZZ_CHECK(!error.isEmpty());
        break;
    }
    case 1:
        if (!TTraceEventConfig::Instance().Load(FuzzSupport::AsFile(content, length, "trace.json")))
            FUZZ_CHECK(!TTraceEventConfig::Instance().LastError().isEmpty());
        break;
    case 2: {
        TRadioMsgConfig config;
        if (!config.Load(FuzzSupport::AsFile(content, length, "radio.cfg")))
            FUZZ_CHECK(!config.ErrorText().isEmpty());
        for (const TRadioMsgConfig::Entry& entry : config.Entries())
            TRadioMsgConfig::Parameters(entry.line);
        break;
    }
    default:
        Settings(content, length);
        break;
    }
    return 0;
}

#include "devices/TConfigSettings.h"

#include "sap/DataLinkLayouts.h"
#include "sap/DeviceMgmtLayouts.h"
#include "sap/LoRaWANLayouts.h"
#include "sap/ProductionSupportLayouts.h"
#include "sap/TFieldLayout.h"

namespace {
using C = TConfigSetting;

// The order is the order of applying: the radio stack first (it decides what the module runs),
// regions before the active region before the radio settings that depend on the band, keys and
// identities after the configuration (activation needs the region settled), the operation mode
// last (a module in production test mode may refuse the rest).
// set command                         get command                          layout                                 condition         repeated whole  fixed
const TConfigSetting kSettings[] = {
    {"DeviceMgmt/SetRadioStack",         "DeviceMgmt/GetRadioStack",          DeviceMgmtLayouts::kRadioStack,          C::DualRadioStack, false, false, nullptr},
    {"DeviceMgmt/SetDeviceConfig",       "DeviceMgmt/GetDeviceConfig",        DeviceMgmtLayouts::kDeviceConfig,        C::Always,         false, false, nullptr},
    {"LoRaWAN/SetRegionConfig",          "LoRaWAN/GetRegionConfig",           LoRaWANLayouts::kRegion,                 C::Always,         false, false, nullptr},
    {"LoRaWAN/SetActiveRegion",          "LoRaWAN/GetActiveRegion",           LoRaWANLayouts::kActiveRegion,           C::Always,         false, false, nullptr},
    {"LoRaWAN/SetNodeConfig",            "LoRaWAN/GetNodeConfig",             LoRaWANLayouts::kRadioStackConfig,       C::Always,         false, false, nullptr},
    {"LoRaWAN/SetCustomConfig",          "LoRaWAN/GetCustomConfig",           LoRaWANLayouts::kCustomConfig,           C::Always,         false, false, nullptr},
    {"LoRaWAN/SetTxPowerLimitConfig",    "LoRaWAN/GetTxPowerLimitConfig",     LoRaWANLayouts::kTxPowerLimit,           C::Always,         true,  false, nullptr},
    {"LoRaWAN/SetLinkADRRequestConfig",  "LoRaWAN/GetLinkADRRequestConfig",   LoRaWANLayouts::kLinkADRConfig,          C::Always,         false, false, nullptr},
    {"DataLink/SetRadioConfig",          "DataLink/GetRadioConfig",           DataLinkLayouts::kRadioConfig,           C::Always,         false, false, "NVM=1"},
    {"DataLink/SetAESKey",               "DataLink/GetAESKey",                DataLinkLayouts::kAESKey,                C::Always,         false, false, nullptr},
    {"LoRaWAN/SetDeviceEUI",             "LoRaWAN/GetDeviceEUI",              LoRaWANLayouts::kDeviceEUI,              C::Always,         false, false, nullptr},
    {"LoRaWAN/SetJoinParameters",        "LoRaWAN/GetJoinParameters",         LoRaWANLayouts::kJoinParams,             C::Always,         false, false, nullptr},
    {"LoRaWAN/ActivateDevice",           "LoRaWAN/GetDeviceActParameters",    LoRaWANLayouts::kActivation,             C::ActiveABP,      false, true,  nullptr},
    {"LoRaWAN/SetDevNonce",              "LoRaWAN/GetDevNonce",               LoRaWANLayouts::kDevNonce,               C::Always,         false, false, nullptr},
    {"LoRaWAN/SetJoinNonce",             "LoRaWAN/GetJoinNonce",              LoRaWANLayouts::kJoinNonce,              C::Always,         false, false, nullptr},
    {"PTS/SetDeviceID",                  "DeviceMgmt/GetDeviceInfo",          ProductionSupportLayouts::kDeviceID,     C::Always,         false, false, nullptr},
    {"DeviceMgmt/SetOperationMode",      "DeviceMgmt/GetOperationMode",       DeviceMgmtLayouts::kOperationMode,       C::Always,         false, false, nullptr},
    {nullptr, nullptr, nullptr, C::Always, false, false, nullptr},
};

struct FieldClassRow {
    const char* field;
    TConfigSettings::FieldClass fieldClass;
};
// Every field not listed here is configuration.
// field                 class
const FieldClassRow kFieldClasses[] = {
    {"DeviceEUI",          TConfigSettings::FieldClass::DeviceSpecific},
    {"JoinEUI",            TConfigSettings::FieldClass::DeviceSpecific},
    {"DeviceAddress",      TConfigSettings::FieldClass::DeviceSpecific},
    {"DevNonce",           TConfigSettings::FieldClass::DeviceSpecific},
    {"JoinNonce",          TConfigSettings::FieldClass::DeviceSpecific},
    {"DeviceID",           TConfigSettings::FieldClass::DeviceSpecific},
    {"RxGroupAddress",     TConfigSettings::FieldClass::DeviceSpecific},
    {"RxDeviceAddress",    TConfigSettings::FieldClass::DeviceSpecific},
    {"AppKey",             TConfigSettings::FieldClass::Key},
    {"NwkSessionKey",      TConfigSettings::FieldClass::Key},
    {"AppSessionKey",      TConfigSettings::FieldClass::Key},
    {"AES-Key",            TConfigSettings::FieldClass::Key},
};

QString FixedField(const TConfigSetting& setting)
{
    return setting.fixedParameter ? QString::fromLatin1(setting.fixedParameter).section(QLatin1Char('='), 0, 0) : QString();
}

const TFieldLayoutEntry* LayoutEntry(const TConfigSetting& setting, const QString& field)
{
    for (const TFieldLayoutEntry* entry = setting.layout; entry->name; ++entry)
        if (TFieldLayout::FieldName(entry->name) == field)
            return entry;
    return nullptr;
}
}

namespace TConfigSettings {

const TConfigSetting* Table()
{
    return kSettings;
}

const TConfigSetting* Find(const QString& setCommand)
{
    for (const TConfigSetting* row = kSettings; row->setCommand; ++row)
        if (setCommand == QLatin1String(row->setCommand))
            return row;
    return nullptr;
}

QStringList Fields(const TConfigSetting& setting)
{
    QStringList fields = TFieldLayout::ParameterNames(setting.layout);
    fields.removeAll(FixedField(setting));
    return fields;
}

QStringList RequiredFields(const TConfigSetting& setting)
{
    QStringList fields = Fields(setting);
    for (const TFieldLayoutEntry* entry = setting.layout; entry->name; ++entry)
        if (QLatin1String(entry->name).contains(QLatin1String("Optional:")))
            fields.removeAll(TFieldLayout::FieldName(entry->name));
    return fields;
}

FieldClass ClassOf(const QString& field)
{
    for (const FieldClassRow& row : kFieldClasses)
        if (field == QLatin1String(row.field))
            return row.fieldClass;
    return FieldClass::Configuration;
}

QList<TKeyValueList> Entries(const TConfigSetting& setting, const TKeyValueList& getResult)
{
    const QStringList fields = Fields(setting);
    QList<TKeyValueList> entries;
    for (const TKeyValueList::Item& item : getResult) {
        if (!fields.contains(item.first))
            continue;
        // A repeated setting starts its next entry where its first field comes again.
        if (entries.isEmpty() || (setting.repeated && item.first == fields.first()))
            entries << TKeyValueList();
        entries.last().append(item);
    }
    return entries;
}

bool SameValue(const TConfigSetting& setting, const QString& field, const QString& a, const QString& b)
{
    const TFieldLayoutEntry* entry = LayoutEntry(setting, field);
    if (entry) {
        const TFieldLayoutEntry single[] = {{entry->name, entry->type}, {nullptr, nullptr}};
        TKeyValueList first, second;
        first.Append(field, a);
        second.Append(field, b);
        QByteArray bytesA, bytesB;
        QString error;
        if (TFieldLayout::Pack(single, first, bytesA, error) && TFieldLayout::Pack(single, second, bytesB, error))
            return bytesA == bytesB;
    }
    return a == b;
}

}

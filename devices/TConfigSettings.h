#pragma once
#include <QString>
#include <QStringList>

#include "base/TCodeTables.h"
#include "base/TKeyValueList.h"

/// One setting of a configuration template: the text command that writes it, the one that reads
/// it back, and the request layout whose fields the template holds.
struct TConfigSetting
{
    /// When a module has the setting at all.
    enum Condition {
        Always,
        DualRadioStack,    ///< the controller has the "DualRadioStack" feature
        ActiveABP,         ///< the module is active by personalisation (its session is the setting)
    };

    const char* setCommand;
    const char* getCommand;
    const TFieldLayoutEntry* layout;
    Condition condition;
    bool repeated;                  ///< one set request per entry; the get answers every entry
    bool whole;                     ///< exported only when all of its fields may be
    const char* fixedParameter;     ///< sent with every request, not held by templates ("NVM=1")
};

/// The settings of a module's configuration, the class of each field, and how two values of a
/// field are compared. Templates apply settings in the order of this table.
namespace TConfigSettings {

/// What a field is: part of a shared configuration, a value of this one device (addresses, EUIs,
/// identifiers, nonces), or a key.
enum class FieldClass { Configuration, DeviceSpecific, Key };

/// Rows in apply order, ended by a row with a null set command.
const TConfigSetting* Table();
/// The row of a set command, or null.
const TConfigSetting* Find(const QString& setCommand);

/// The fields a template may hold for the setting: the layout's fields without "Reserved" and the
/// fixed parameter, without their "Optional:" prefix.
QStringList Fields(const TConfigSetting& setting);
/// Fields that must be in every request (the rest are optional).
QStringList RequiredFields(const TConfigSetting& setting);
FieldClass ClassOf(const QString& field);

/// The get result split into one record per entry, holding only the setting's fields.
QList<TKeyValueList> Entries(const TConfigSetting& setting, const TKeyValueList& getResult);

/// True when both texts give the same request bytes for the field ("0x05" and "5" for a U8h,
/// "0A-0B" and "0a 0b" for octets); texts that do not pack are compared as they are.
bool SameValue(const TConfigSetting& setting, const QString& field, const QString& a, const QString& b);

}

#pragma once
#include <QtGlobal>

/// One row of a code table (status texts, message names); a table ends with a null text.
struct TCodeTableEntry
{
    quint32 code;
    const char* text;
};

/// One field of a payload layout (field name, type code such as "U8d" or "OctetSeq-16");
/// a layout ends with a null name.
struct TFieldLayoutEntry
{
    const char* name;
    const char* type;
};

/// One row of a command table (command name, description); a table ends with a null name.
/// The parameter names a command accepts are the fields of the layout it packs, or, for a command
/// that packs none, the comma-separated `parameters`; a command with neither takes no parameters.
struct TCommandTableEntry
{
    const char* name;
    const char* description;
    const TFieldLayoutEntry* layout = nullptr;
    const char* parameters = nullptr;
};

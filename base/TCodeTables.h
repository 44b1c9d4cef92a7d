#pragma once
#include <QtGlobal>

/// One row of a code table (status texts, message names); a table ends with a null text.
struct TCodeTableEntry
{
    quint32 code;
    const char* text;
};

/// One row of a command table (command name, description); a table ends with a null name.
struct TCommandTableEntry
{
    const char* name;
    const char* description;
};

/// One field of a payload layout (field name, type code such as "U8d" or "OctetSeq-16");
/// a layout ends with a null name.
struct TFieldLayoutEntry
{
    const char* name;
    const char* type;
};

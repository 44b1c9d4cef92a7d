#pragma once
#include <QString>

#include "base/TCodeTables.h"
#include "base/TKeyValueList.h"

class TGuiItemList;

/// The parameters of a request whose payload a field layout describes, taken from a group's rows:
/// exactly the layout's field names (rows that only show something stay out, a field the command
/// sets itself is left to it), each number written the way the field's type reads it.
namespace TLayoutParams {

/// Rows named like the layout's fields, in layout order. A row whose label is an unchecked check
/// box ("Checkable") is not asked for; a row masked with hex digits ("Mask:HHHHHHHH") holds hex. Optional fields end at the first one not given, or after
/// `optionalFields` of them (-1: as many as there are).
TKeyValueList FromRows(const TGuiItemList& rows, const TFieldLayoutEntry* layout, int optionalFields = -1);

/// A value as a field of `type` takes it: hexadecimal types ("U8h", "U32h") read digits without a
/// prefix as hexadecimal, so a number typed or chosen in decimal is written "0x0A" for them, and
/// digits typed into a mask of hex digits (`hexDigits`) get the "0x" they mean.
QString Written(const QString& value, const char* type, bool hexDigits = false);

}

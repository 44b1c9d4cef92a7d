#pragma once
#include <QByteArray>
#include <QString>
#include <QStringList>

#include "base/TKeyValueList.h"
#include "base/TCodeTables.h"

/// The one routine that turns payloads into records and parameter records into payloads, driven by
/// a layout table. Multi-byte values are little-endian. A name starting "Optional:" may be missing
/// (packing stops there; decoding stops when the payload does). "Reserved" fields take the parameters
/// named "Reserved" in order, so that a record read from the module goes back as it came; without
/// them they are packed as zeros.
/// Octet sequences of up to 16 octets (EUIs, keys) must be given in full; longer ones are data and
/// may be shorter than their limit.
namespace TFieldLayout {

/// Decodes fields from `offset` until the table or the payload ends; never reads past `length`. A
/// data field (octet sequence longer than 16) that starts where the payload ends appears empty.
/// Returns the offset after the last decoded field.
int Decode(const TFieldLayoutEntry* layout, const quint8* payload, int length, int offset, TKeyValueList& record);
int Decode(const TFieldLayoutEntry* layout, const QByteArray& payload, int offset, TKeyValueList& record);

/// Packs the parameters named like the fields; false with an "error - ..." text on a missing,
/// unparsable or out-of-range value.
bool Pack(const TFieldLayoutEntry* layout, const TKeyValueList& params, QByteArray& payload, QString& error);

/// Number of records a layout must yield: up to its last field that is not optional.
int RequiredFields(const TFieldLayoutEntry* layout);

/// Field name without its "Optional:" prefix.
QString FieldName(const char* name);

/// The names a packing takes from its parameters: every field but "Reserved", once each, in order.
QStringList ParameterNames(const TFieldLayoutEntry* layout);
/// Number of "Reserved" fields of a layout.
int ReservedFields(const TFieldLayoutEntry* layout);

/// Parsers shared with the services for parameters outside layouts.
bool ParseUnsigned(const QString& text, bool hexDefault, quint64 maximum, quint64& value);
bool ParseHexBytes(const QString& text, QByteArray& bytes);
QString HexOctets(const QByteArray& bytes);

}

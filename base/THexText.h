#pragma once
#include <QString>

/// Upper-case hexadecimal texts as the logs, records and tables write them.
namespace THexText {
/// `value` as `digits` upper-case hexadecimal digits, zero-filled ("0A").
QString Digits(quint64 value, int digits);
/// The same with "0x" in front ("0x0A").
QString Prefixed(quint64 value, int digits);
/// Every byte as two digits followed by a blank ("01 0A ").
QString Bytes(const quint8* data, int length);
}

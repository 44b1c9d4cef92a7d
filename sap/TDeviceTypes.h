#pragma once
#include <QString>

/// The module types the studio knows, by the type number a module reports.
namespace TDeviceTypes {
/// "Unknown Device" when the number is not in the list.
QString Name(quint8 type);
/// Type number of a known name; false when unknown.
bool Number(const QString& name, quint8& type);
}

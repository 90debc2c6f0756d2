// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QLatin1String>
#include <QString>

/// \file
/// Lenient reading of the engine's JSON: a missing key, null or a value of the wrong type reads as empty,
/// false or 0, and nothing is reported. Internal: not installed.

namespace JsonFields {

/// \brief Text; a number or bool as its text.
QString Text(const QJsonObject& object, QLatin1String key);
/// \brief A bool; a number is true unless 0, a text unless empty, "0" or "false".
bool Bool(const QJsonObject& object, QLatin1String key);
/// \brief A 32-bit integer; a fraction is rounded, what lies outside is clamped, a text is read as a number.
qint32 Int32(const QJsonObject& object, QLatin1String key);
/// \brief An unsigned 64-bit integer with all digits up to 2^63 - 1; a fraction is rounded, a negative number reads
/// as 0, a text is read as a number.
quint64 UInt64(const QJsonObject& object, QLatin1String key);
/// \brief A signed 64-bit integer from the value's text form; fractional and exponent forms read as 0.
qint64 Counter(const QJsonObject& object, QLatin1String key);
/// \brief An object as JSON text without white space. Unlike Qt's own writer it keeps all digits of integers up to
/// 2^63 - 1.
QByteArray CompactText(const QJsonObject& object);
/// \brief The value, when it is an object, as compact JSON text; otherwise empty.
QByteArray CompactObject(const QJsonValue& value);

} // namespace JsonFields

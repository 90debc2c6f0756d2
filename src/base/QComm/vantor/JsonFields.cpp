// SPDX-License-Identifier: MIT
#include "vantor/JsonFields.h"

#include <QJsonArray>
#include <QLocale>
#include <QVariant>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>

namespace JsonFields {

namespace {

// The first double that no longer fits: 2^64, 2^31.
constexpr double kUInt64End = 18446744073709551616.0;
constexpr double kInt32End = 2147483648.0;

// Room for the object of one file with its URL; it grows by itself.
constexpr std::size_t kUsualTextBytes = 1024;

// Written into a std::string: its one-character append is inline, and that is most of what is done here.

void appendEscape(std::string& json, char16_t character)
{
    switch (character) {
    case u'"':
        json += "\\\"";
        break;
    case u'\\':
        json += "\\\\";
        break;
    case u'\b':
        json += "\\b";
        break;
    case u'\f':
        json += "\\f";
        break;
    case u'\n':
        json += "\\n";
        break;
    case u'\r':
        json += "\\r";
        break;
    case u'\t':
        json += "\\t";
        break;
    default:
        json += "\\u" + QByteArray::number(character, 16).rightJustified(4, '0').toStdString();
    }
}

bool isPlainAscii(char16_t character)
{
    return character >= 0x20 && character < 0x80 && character != u'"' && character != u'\\';
}

/// \brief How many characters from `index` on, none of them plain ASCII, stand as they are: 1, 2 for a pair of
/// surrogates, 0 for one that is escaped.
int encodedCharacters(const QString& text, int index)
{
    const QChar character = text.at(index);
    if (character.isHighSurrogate())
        return index + 1 < text.size() && text.at(index + 1).isLowSurrogate() ? 2 : 0;
    return character.unicode() < 0x80 || character.isLowSurrogate() ? 0 : 1;
}

void appendText(std::string& json, const QString& text)
{
    json += '"';
    for (int index = 0; index < text.size();) {
        const char16_t character = text.at(index).unicode();
        if (isPlainAscii(character)) {
            json += static_cast<char>(character);
            ++index;
        } else if (const int encoded = encodedCharacters(text, index); encoded > 0) {
            json += text.mid(index, encoded).toStdString();
            index += encoded;
        } else {
            appendEscape(json, character);
            ++index;
        }
    }
    json += '"';
}

void appendNumber(std::string& json, const QJsonValue& value)
{
    const QVariant number = value.toVariant();
    if (number.type() == QVariant::LongLong)
        json += std::to_string(number.toLongLong());
    else
        json += QByteArray::number(number.toDouble(), 'g', QLocale::FloatingPointShortest).toStdString();
}

void appendObject(std::string& json, const QJsonObject& object);
void appendArray(std::string& json, const QJsonArray& array);

// Recursion is bounded: the parser refuses what is nested more than 1024 deep.
void appendValue(std::string& json, const QJsonValue& value)
{
    switch (value.type()) {
    case QJsonValue::Bool:
        json += value.toBool() ? "true" : "false";
        break;
    case QJsonValue::Double:
        appendNumber(json, value);
        break;
    case QJsonValue::String:
        appendText(json, value.toString());
        break;
    case QJsonValue::Array:
        appendArray(json, value.toArray());
        break;
    case QJsonValue::Object:
        appendObject(json, value.toObject());
        break;
    case QJsonValue::Null:
    case QJsonValue::Undefined:
        json += "null";
        break;
    }
}

void appendArray(std::string& json, const QJsonArray& array)
{
    json += '[';
    for (auto it = array.constBegin(); it != array.constEnd(); ++it) {
        if (it != array.constBegin())
            json += ',';
        appendValue(json, *it);
    }
    json += ']';
}

void appendObject(std::string& json, const QJsonObject& object)
{
    json += '{';
    for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
        if (it != object.constBegin())
            json += ',';
        appendText(json, it.key());
        json += ':';
        appendValue(json, it.value());
    }
    json += '}';
}

} // namespace

QString Text(const QJsonObject& object, QLatin1String key)
{
    const QJsonValue value = object.value(key);
    return value.isString() ? value.toString() : value.toVariant().toString();
}

bool Bool(const QJsonObject& object, QLatin1String key)
{
    const QJsonValue value = object.value(key);
    // Numbers are compared here: Qt would round them first, which is undefined for very large ones.
    if (value.isDouble())
        return value.toDouble() != 0;
    return value.isBool() ? value.toBool() : value.toVariant().toBool();
}

qint32 Int32(const QJsonObject& object, QLatin1String key)
{
    const QVariant value = object.value(key).toVariant();
    // Clamped before it is rounded too: rounding is undefined for what does not fit.
    const qint64 number = value.type() == QVariant::Double
                              ? qRound64(std::clamp(value.toDouble(), -kInt32End, kInt32End))
                              : value.toLongLong();
    return static_cast<qint32>(
        std::clamp<qint64>(number, std::numeric_limits<qint32>::min(), std::numeric_limits<qint32>::max()));
}

quint64 UInt64(const QJsonObject& object, QLatin1String key)
{
    const QVariant value = object.value(key).toVariant();
    switch (value.type()) {
    case QVariant::Double: {
        // Qt keeps integers below 2^63 exactly; only larger and fractional ones arrive as double.
        const double number = std::round(value.toDouble());
        if (number >= kUInt64End)
            return std::numeric_limits<quint64>::max();
        return number > 0 ? static_cast<quint64>(number) : 0;
    }
    case QVariant::LongLong:
        return static_cast<quint64>(std::max<qint64>(value.toLongLong(), 0));
    default:
        return value.toULongLong();
    }
}

qint64 Counter(const QJsonObject& object, QLatin1String key)
{
    return Text(object, key).toLongLong();
}

QByteArray CompactText(const QJsonObject& object)
{
    std::string json;
    json.reserve(kUsualTextBytes);
    appendObject(json, object);
    return QByteArray::fromStdString(json);
}

QByteArray CompactObject(const QJsonValue& value)
{
    return value.isObject() ? CompactText(value.toObject()) : QByteArray();
}

} // namespace JsonFields

// SPDX-License-Identifier: MIT
#include "vantor/JsonFields.h"

#include <QJsonDocument>
#include <QVariant>

#include <algorithm>
#include <limits>

namespace JsonFields {

namespace {

// The first double that no longer fits: 2^64, 2^31.
constexpr double kUInt64End = 18446744073709551616.0;
constexpr double kInt32End = 2147483648.0;

} // namespace

QString Text(const QJsonObject& object, QLatin1String key)
{
    const QJsonValue value = object.value(key);
    return value.isString() ? value.toString() : value.toVariant().toString();
}

bool Bool(const QJsonObject& object, QLatin1String key)
{
    const QJsonValue value = object.value(key);
    return value.isBool() ? value.toBool() : value.toVariant().toBool();
}

qint32 Int32(const QJsonObject& object, QLatin1String key)
{
    const QVariant value = object.value(key).toVariant();
    if (value.type() == QVariant::Double) {
        const double number = value.toDouble();
        if (number >= kInt32End)
            return std::numeric_limits<qint32>::max();
        if (number < -kInt32End)
            return std::numeric_limits<qint32>::min();
        return qRound(number);
    }
    return static_cast<qint32>(
        std::clamp<qint64>(value.toLongLong(), std::numeric_limits<qint32>::min(), std::numeric_limits<qint32>::max()));
}

quint64 UInt64(const QJsonObject& object, QLatin1String key)
{
    const QVariant value = object.value(key).toVariant();
    switch (value.type()) {
    case QVariant::Double: {
        // Qt keeps integers up to 2^63 exactly; only larger and fractional ones arrive as double.
        const double number = value.toDouble();
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

QByteArray CompactObject(const QJsonValue& value)
{
    return value.isObject() ? QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact) : QByteArray();
}

} // namespace JsonFields

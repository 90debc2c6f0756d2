// SPDX-License-Identifier: MIT
#include "vantor/VantorJsonHelper.h"

#include "vantor/EngineLog.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>

#include <optional>

namespace {

using Map = QMap<QString, QVariant>;

const int kMapType = qRegisterMetaType<Map>("QMap<QString,QVariant>");

/// \brief The text as a map; nothing when an argument is empty or the text is not JSON.
std::optional<Map> parse(const QString& guid, const QString& data, const char* complaint)
{
    if (guid.isEmpty() || data.isEmpty())
        return std::nullopt;
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(data.toUtf8(), &error);
    if (error.error != QJsonParseError::NoError) {
        qCDebug(lcVantorEngine) << complaint;
        return std::nullopt;
    }
    return document.object().toVariantMap();
}

std::optional<Map> parseGroup(const QString& guid, const QString& data)
{
    qCDebug(lcVantorEngine) << "onGroupTaskCallback start:";
    qCDebug(lcVantorEngine).noquote().nospace() << "VantorJsonHelper::ParseGroupTaskCallback: " << data;
    std::optional<Map> map = parse(guid, data, "onGroupTaskCallback with invalid data");
    qCDebug(lcVantorEngine) << "onGroupTaskCallback end:";
    return map;
}

std::optional<Map> parseSingle(const QString& guid, const QString& data)
{
    qCDebug(lcVantorEngine).noquote().nospace() << "VantorJsonHelper::ParseSingleTaskCallback: " << data;
    return parse(guid, data, "onParseSingleTaskCallback with invalid data");
}

} // namespace

VantorJsonHelper::VantorJsonHelper(QObject* parent) : QObject(parent)
{
}

VantorJsonHelper::~VantorJsonHelper() = default;

QMap<QString, QVariant> VantorJsonHelper::ParseGroupTaskCallback(const QString& guid, const QString& data)
{
    return parseGroup(guid, data).value_or(Map());
}

QMap<QString, QVariant> VantorJsonHelper::ParseSingleTaskCallback(const QString& guid, const QString& data)
{
    return parseSingle(guid, data).value_or(Map());
}

void VantorJsonHelper::onParseGroupTaskCallback(const QString& guid, const QString& data)
{
    if (const std::optional<Map> map = parseGroup(guid, data))
        Q_EMIT groupTaskCallback(guid, *map);
}

void VantorJsonHelper::onParseSingleTaskCallback(const QString& guid, const QString& data)
{
    if (const std::optional<Map> map = parseSingle(guid, data))
        Q_EMIT singleTaskCallback(guid, *map);
}

// SPDX-License-Identifier: MIT
#include "vantor/SingleTaskModel.h"

#include "vantor/JsonFields.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QStringList>

namespace {

const int kSingleTaskModelType = qRegisterMetaType<SingleTaskModel>("SingleTaskModel");

QStringList textElements(const QJsonValue& value)
{
    QStringList texts;
    const QJsonArray array = value.toArray();
    for (const QJsonValue element : array) {
        if (element.isString())
            texts.append(element.toString());
    }
    return texts;
}

} // namespace

SingleTaskModel::SingleTaskModel() = default;
SingleTaskModel::SingleTaskModel(const SingleTaskModel& other) = default;
SingleTaskModel::SingleTaskModel(SingleTaskModel&& other) noexcept = default;
SingleTaskModel& SingleTaskModel::operator=(const SingleTaskModel& other) = default;
SingleTaskModel& SingleTaskModel::operator=(SingleTaskModel&& other) noexcept = default;
SingleTaskModel::~SingleTaskModel() = default;

void SingleTaskModel::Parse(const QByteArray& json)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error == QJsonParseError::NoError)
        ReadFile(document.object(), json);
}

void SingleTaskModel::ReadFile(const QJsonObject& object, const QByteArray& json)
{
    ReadTask(object, json);

    remote_address = JsonFields::Text(object, QLatin1String("remote_address"));
    const QStringList names = textElements(object.value(QLatin1String("canonical_name")));
    if (!names.isEmpty())
        canonical_name = QLatin1Char('[') + names.join(QLatin1Char(',')) + QLatin1Char(']');
    url = JsonFields::Text(object, QLatin1String("url"));
    completed = JsonFields::Bool(object, QLatin1String("completed"));
    existing_byte_count = JsonFields::UInt64(object, QLatin1String("existing_byte_count"));
    written_byte_count = JsonFields::UInt64(object, QLatin1String("written_byte_count"));
    size = JsonFields::UInt64(object, QLatin1String("size"));
    group_guid = JsonFields::Text(object, QLatin1String("group_guid"));
    current_retry_times = JsonFields::Int32(object, QLatin1String("current_retry_times"));
    verified_byte_count = JsonFields::UInt64(object, QLatin1String("verified_byte_count"));
    verified_speed_byte = JsonFields::UInt64(object, QLatin1String("verified_speed_byte"));
    bandwidth_byte = JsonFields::UInt64(object, QLatin1String("bandwidth_byte"));
    pcdn_alias = JsonFields::Text(object, QLatin1String("pcdn_alias"));
    using_pcdn = JsonFields::Bool(object, QLatin1String("using_pcdn"));
}

// SPDX-License-Identifier: MIT
#include "vantor/VantorChunkReq.h"

#include "vantor/JsonFields.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>

void VantorChunkReq::FromJsonStr(const QString& json)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json.toUtf8(), &error);
    if (error.error != QJsonParseError::NoError)
        return;

    const QJsonObject object = document.object();
    guid = JsonFields::Text(object, QLatin1String("guid"));
    package_id = JsonFields::Text(object, QLatin1String("package_id"));
    branch = JsonFields::Text(object, QLatin1String("branch"));
    password = JsonFields::Text(object, QLatin1String("password"));
    action = JsonFields::Text(object, QLatin1String("action"));
    action_type = vantor::chunk::ActionNameToActionType(action);
    install_dir = JsonFields::Text(object, QLatin1String("install_dir"));
    staging_dir = JsonFields::Text(object, QLatin1String("staging_dir"));
    chunk_dir = JsonFields::Text(object, QLatin1String("chunk_dir"));
    current_version = JsonFields::Text(object, QLatin1String("current_version"));
    pre_download = JsonFields::Bool(object, QLatin1String("pre_download"));
    pre_download_dir = JsonFields::Text(object, QLatin1String("pre_download_dir"));
    pre_download_regularized = JsonFields::Bool(object, QLatin1String("pre_download_regularized"));
    token = JsonFields::Text(object, QLatin1String("token"));

    // Intended: merged into what is there, not replaced.
    const QJsonArray fields = object.value(QLatin1String("matching_field_list")).toArray();
    for (const QJsonValue field : fields)
        matching_field_list.insert(field.toString());
}

QString VantorChunkReq::ToJsonStr() const
{
    QJsonObject object{
        {QStringLiteral("guid"), guid},
        {QStringLiteral("package_id"), package_id},
        {QStringLiteral("branch"), branch},
        {QStringLiteral("password"), password},
        // Intended: the enumeration decides; the name read from JSON is not written.
        {QStringLiteral("action"), QLatin1String(vantor::chunk::ActionTypeToActionName(action_type))},
        {QStringLiteral("install_dir"), install_dir},
        {QStringLiteral("staging_dir"), staging_dir},
        {QStringLiteral("chunk_dir"), chunk_dir},
        {QStringLiteral("current_version"), current_version},
        {QStringLiteral("token"), token},
        {QStringLiteral("pre_download"), pre_download},
        {QStringLiteral("pre_download_dir"), pre_download_dir},
        {QStringLiteral("pre_download_regularized"), pre_download_regularized},
    };
    if (!matching_field_list.isEmpty()) {
        QJsonArray fields;
        for (const QString& field : matching_field_list)
            fields.append(field);
        object.insert(QStringLiteral("matching_field_list"), fields);
    }
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Indented));
}

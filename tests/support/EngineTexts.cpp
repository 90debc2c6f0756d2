// SPDX-License-Identifier: MIT
#include "EngineTexts.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace EngineTexts {

namespace {

QJsonObject merged(QJsonObject object, const QJsonObject& more)
{
    for (auto it = more.constBegin(); it != more.constEnd(); ++it)
        object.insert(it.key(), it.value());
    return object;
}

} // namespace

QJsonObject File(const QString& guid, const QString& status, const QJsonObject& more)
{
    return merged(
        {
            {QStringLiteral("guid"), guid},
            {QStringLiteral("status"), status},
            {QStringLiteral("url"), QString(QStringLiteral("http://127.0.0.1/") + guid)},
        },
        more);
}

QJsonObject ErrorDetail(int code, int internalCode, const QString& message)
{
    return {
        {QStringLiteral("error_code"), code},
        {QStringLiteral("internal_error_code"), internalCode},
        {QStringLiteral("message"), message},
    };
}

QByteArray Group(const QString& guid, const QString& status, const QList<QJsonObject>& files)
{
    QJsonArray items;
    for (const QJsonObject& file : files)
        items.append(file);
    return Text({
        {QStringLiteral("guid"), guid},
        {QStringLiteral("status"), status},
        {QStringLiteral("download_items"), items},
    });
}

QByteArray Text(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QByteArray Chunk(const QString& action, const QString& status, bool completed, const QJsonObject& more)
{
    return Text(merged(
        {
            {QStringLiteral("action"), action},
            {QStringLiteral("status"), status},
            {QStringLiteral("completed"), completed},
        },
        more));
}

} // namespace EngineTexts

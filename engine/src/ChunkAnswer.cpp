// SPDX-License-Identifier: MIT
#include "ChunkAnswer.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QUuid>

namespace VantorEngine {

ChunkAnswer chunkAnswer(const QByteArray& request)
{
    const QJsonObject asked = QJsonDocument::fromJson(request).object();
    QString guid = asked.value(QStringLiteral("guid")).toString();
    if (guid.isEmpty()) {
        guid = QUuid::createUuid().toString(QUuid::WithoutBraces);
    }
    QJsonObject answer;
    answer.insert(QStringLiteral("guid"), guid);
    for (const QString& key : {QStringLiteral("action"), QStringLiteral("package_id"), QStringLiteral("branch")}) {
        answer.insert(key, asked.value(key).toString());
    }
    answer.insert(QStringLiteral("pre_download"), asked.value(QStringLiteral("pre_download")).toBool());
    answer.insert(QStringLiteral("status"), QStringLiteral("Failed"));
    answer.insert(QStringLiteral("completed"), true);
    answer.insert(QStringLiteral("error_code"), kChunkTasksUnsupported);
    answer.insert(QStringLiteral("error_msg"), QStringLiteral("chunk tasks are not supported by this engine yet"));
    return {guid.toUtf8(), QJsonDocument(answer).toJson(QJsonDocument::Compact)};
}

} // namespace VantorEngine

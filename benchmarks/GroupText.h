// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

/// \brief The text of a group callback with `files` files in the middle of their transfer, as the engine sends it.
inline QByteArray groupText(int files, const QString& guid = QStringLiteral("group"),
                            const QString& status = QStringLiteral("Progressing"))
{
    QJsonArray items;
    for (int i = 0; i < files; ++i) {
        items.append(QJsonObject{
            {QStringLiteral("guid"), QStringLiteral("5f0c1c9e-0000-4000-8000-%1").arg(i, 12, 16, QLatin1Char('0'))},
            {QStringLiteral("status"), QStringLiteral("Downloading")},
            {QStringLiteral("group_guid"), guid},
            {QStringLiteral("url"), QStringLiteral("https://cdn.example.org/game/data/%1.pak").arg(i)},
            {QStringLiteral("size"), 1048576 + i},
            {QStringLiteral("existing_byte_count"), 4096},
            {QStringLiteral("written_byte_count"), 65536 + i},
            {QStringLiteral("verified_byte_count"), 0},
            {QStringLiteral("verified_speed_byte"), 0},
            {QStringLiteral("bandwidth_byte"), 123456},
            {QStringLiteral("current_retry_times"), 0},
            {QStringLiteral("completed"), false},
            {QStringLiteral("remote_address"), QStringLiteral("192.0.2.17")},
            {QStringLiteral("canonical_name"), QJsonArray{QStringLiteral("edge.example.org")}},
            {QStringLiteral("pcdn_alias"), QString()},
            {QStringLiteral("using_pcdn"), false},
        });
    }
    const QJsonObject group{
        {QStringLiteral("guid"), guid},
        {QStringLiteral("status"), status},
        {QStringLiteral("download_items"), items},
    };
    return QJsonDocument(group).toJson(QJsonDocument::Compact);
}

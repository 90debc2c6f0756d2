// SPDX-License-Identifier: MIT
#include "vantor/GroupTaskModel.h"

#include "vantor/JsonFields.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>

namespace {

const int kGroupTaskModelType = qRegisterMetaType<GroupTaskModel>("GroupTaskModel");

constexpr qint32 kUnknownErrorCode = 6099;

const QLatin1String kFailed("Failed");

bool isEndState(const QString& status)
{
    return status == kFailed || status == QLatin1String("Success") || status == QLatin1String("Cancelled") ||
           status == QLatin1String("Duplicated");
}

} // namespace

GroupTaskModel::GroupTaskModel()
{
    error.error_code = kUnknownErrorCode;
    error.message = QStringLiteral("unknown error");
}

GroupTaskModel::GroupTaskModel(const GroupTaskModel& other) = default;
GroupTaskModel::GroupTaskModel(GroupTaskModel&& other) noexcept = default;
GroupTaskModel& GroupTaskModel::operator=(const GroupTaskModel& other) = default;
GroupTaskModel& GroupTaskModel::operator=(GroupTaskModel&& other) noexcept = default;
GroupTaskModel::~GroupTaskModel() = default;

void GroupTaskModel::Parse(const QByteArray& json)
{
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return;

    const QJsonObject group = document.object();
    ReadTask(group, json);

    const QJsonArray files = group.value(QLatin1String("download_items")).toArray();
    // Intended: a callback without files says nothing about how the group ended.
    if (files.isEmpty())
        return;

    finished = isEndState(status);
    const bool failed = status == kFailed;
    items.clear();
    items.reserve(files.size());
    for (const QJsonValue file : files) {
        const QJsonObject object = file.toObject();
        // Each file keeps the text of its own object, read from the object itself: parsing that text once
        // more would give the same and cost as much again.
        const QByteArray text = JsonFields::CompactText(object);
        SingleTaskModel item;
        item.ReadFile(object, text);
        if (failed && item.completed && !error.valid && item.status == kFailed)
            error.ReadFileError(object, text);
        items.append(std::move(item));
    }
}

// SPDX-License-Identifier: MIT
#include "vantor/VantorTaskModel.h"

#include "vantor/JsonFields.h"

#include <QJsonDocument>
#include <QJsonParseError>

namespace {
const int kVantorTaskModelType = qRegisterMetaType<VantorTaskModel>("VantorTaskModel");
} // namespace

VantorTaskModel::VantorTaskModel() = default;
VantorTaskModel::VantorTaskModel(const VantorTaskModel& other) = default;
VantorTaskModel::VantorTaskModel(VantorTaskModel&& other) noexcept = default;
VantorTaskModel& VantorTaskModel::operator=(const VantorTaskModel& other) = default;
VantorTaskModel& VantorTaskModel::operator=(VantorTaskModel&& other) noexcept = default;
VantorTaskModel::~VantorTaskModel() = default;

void VantorTaskModel::Parse(const QByteArray& json)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error == QJsonParseError::NoError)
        ReadTask(document.object(), json);
}

void VantorTaskModel::ReadTask(const QJsonObject& object, const QByteArray& json)
{
    status = JsonFields::Text(object, QLatin1String("status"));
    guid = JsonFields::Text(object, QLatin1String("guid"));
    valid = true;
    raw = json;
}

// SPDX-License-Identifier: MIT
#include "vantor/SingleTaskErrorModel.h"

#include "vantor/JsonFields.h"

#include <QJsonDocument>
#include <QJsonParseError>

namespace {

const int kSingleTaskErrorModelType = qRegisterMetaType<SingleTaskErrorModel>("SingleTaskErrorModel");

struct ErrorKind
{
    const char* key;
    qint32 type;
};

// In order of precedence.
constexpr ErrorKind kErrorKinds[] = {
    {"url_net_error", 1},
    {"file_write_error", 2},
    {"checksum_check_error", 3},
};

} // namespace

SingleTaskErrorModel::SingleTaskErrorModel() = default;
SingleTaskErrorModel::SingleTaskErrorModel(const SingleTaskErrorModel& other) = default;
SingleTaskErrorModel::SingleTaskErrorModel(SingleTaskErrorModel&& other) noexcept = default;
SingleTaskErrorModel& SingleTaskErrorModel::operator=(const SingleTaskErrorModel& other) = default;
SingleTaskErrorModel& SingleTaskErrorModel::operator=(SingleTaskErrorModel&& other) noexcept = default;
SingleTaskErrorModel::~SingleTaskErrorModel() = default;

void SingleTaskErrorModel::Parse(const QByteArray& json)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error == QJsonParseError::NoError)
        ReadFileError(document.object(), json);
}

void SingleTaskErrorModel::ReadFileError(const QJsonObject& object, const QByteArray& json)
{
    ReadFile(object, json);

    const QJsonObject response = object.value(QLatin1String("url_response_info")).toObject();
    http_status_code = JsonFields::Int32(response, QLatin1String("http_status_code"));
    http_header = QString::fromUtf8(JsonFields::CompactObject(response.value(QLatin1String("http_header"))));

    error_type = 0;
    for (const ErrorKind& kind : kErrorKinds) {
        const auto found = object.constFind(QLatin1String(kind.key));
        if (found == object.constEnd())
            continue;
        error_type = kind.type;
        const QJsonObject detail = found.value().toObject();
        if (!detail.isEmpty()) {
            error_code = JsonFields::Int32(detail, QLatin1String("error_code"));
            internal_error_code = JsonFields::Int32(detail, QLatin1String("internal_error_code"));
            message = JsonFields::Text(detail, QLatin1String("message"));
        }
        break;
    }
}

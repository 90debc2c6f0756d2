// SPDX-License-Identifier: MIT
#include "vantor/VantorChunkResp.h"

#include "vantor/JsonFields.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>

namespace {

// Under these names the records travel in queued signals.
const int kDeleteDatabaseRespType = qRegisterMetaType<VantorChunkDeleteDatabaseResp>("VantorChunkDeleteDatabaseResp");
const int kVersionRespType = qRegisterMetaType<VantorChunkVersionResp>("VantorChunkVersionResp");
const int kSizeRespType = qRegisterMetaType<VantorChunkSizeResp>("VantorChunkSizeResp");
const int kNormalDownloadRespType = qRegisterMetaType<VantorChunkNormalDownloadResp>("VantorChunkNormalDownloadResp");
const int kRepairDownloadRespType = qRegisterMetaType<VantorChunkRepairDownloadResp>("VantorChunkRepairDownloadResp");

std::unique_ptr<VantorChunkResp> makeFor(VantorChunkActionType type)
{
    switch (type) {
    case VantorChunkActionFetchVersion:
        return std::make_unique<VantorChunkVersionResp>();
    case VantorChunkActionFetchSize:
        return std::make_unique<VantorChunkSizeResp>();
    case VantorChunkActionNormalDownload:
        return std::make_unique<VantorChunkNormalDownloadResp>();
    case VantorChunkActionRepairDownload:
        return std::make_unique<VantorChunkRepairDownloadResp>();
    case VantorChunkActionDeleteDatabase:
        return std::make_unique<VantorChunkDeleteDatabaseResp>();
    case VantorChunkActionUnknown:
        break;
    }
    return nullptr;
}

/// \brief Adds the text members of an object to a map, replacing like keys; other members are skipped.
void readDepots(const QJsonValue& value, std::unordered_map<std::string, std::string>& depots)
{
    const QJsonObject object = value.toObject();
    for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
        if (it.value().isString())
            depots[it.key().toStdString()] = it.value().toString().toStdString();
    }
}

void readDepotItem(const QJsonObject& object, VantorChunkDepotItem& item)
{
    item.depot_guid = JsonFields::Text(object, QLatin1String("depot_guid"));
    item.status = JsonFields::Text(object, QLatin1String("status"));
    item.error_code = JsonFields::Int32(object, QLatin1String("error_code"));
    item.completed = JsonFields::Bool(object, QLatin1String("completed"));
}

QString compactText(const QJsonValue& value)
{
    return QString::fromUtf8(JsonFields::CompactText(value.toObject()));
}

} // namespace

VantorChunkResp::VantorChunkResp() = default;
VantorChunkResp::VantorChunkResp(const VantorChunkResp& other) = default;
VantorChunkResp::VantorChunkResp(VantorChunkResp&& other) noexcept = default;
VantorChunkResp& VantorChunkResp::operator=(const VantorChunkResp& other) = default;
VantorChunkResp& VantorChunkResp::operator=(VantorChunkResp&& other) noexcept = default;
VantorChunkResp::~VantorChunkResp() = default;

std::unique_ptr<VantorChunkResp> VantorChunkResp::FromJsonStr(const QString& json)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json.toUtf8(), &error);
    if (error.error != QJsonParseError::NoError)
        return nullptr;
    const QJsonObject object = document.object();
    if (object.isEmpty())
        return nullptr;

    const QString name = JsonFields::Text(object, QLatin1String("action"));
    const VantorChunkActionType type = vantor::chunk::ActionNameToActionType(name);
    std::unique_ptr<VantorChunkResp> resp = makeFor(type);
    if (!resp)
        return nullptr;
    resp->raw_json = json;
    resp->action_type = type;
    resp->action = name;
    resp->FromJsonObj(object);
    return resp;
}

void VantorChunkResp::FromJsonObj(const QJsonObject& obj)
{
    if (obj.isEmpty())
        return;
    guid = JsonFields::Text(obj, QLatin1String("guid"));
    duplicated_guid = JsonFields::Text(obj, QLatin1String("duplicated_guid"));
    package_id = JsonFields::Text(obj, QLatin1String("package_id"));
    branch = JsonFields::Text(obj, QLatin1String("branch"));
    pre_download = JsonFields::Bool(obj, QLatin1String("pre_download"));
    status = JsonFields::Text(obj, QLatin1String("status"));
    local_version = JsonFields::Text(obj, QLatin1String("local_version"));
    server_version = JsonFields::Text(obj, QLatin1String("server_version"));
    build_id = JsonFields::Text(obj, QLatin1String("build_id"));
    completed = JsonFields::Bool(obj, QLatin1String("completed"));
    error_code = JsonFields::Int32(obj, QLatin1String("error_code"));
    error_msg = JsonFields::Text(obj, QLatin1String("error_msg"));
    readDepots(obj.value(QLatin1String("depot_version_list")), depot_version_list);
    readDepots(obj.value(QLatin1String("depot_server_version_list")), depot_server_version_list);
}

void VantorChunkSizeResp::FromJsonObj(const QJsonObject& obj)
{
    VantorChunkVersionResp::FromJsonObj(obj);
    if (obj.isEmpty())
        return;
    total_download_byte = JsonFields::Counter(obj, QLatin1String("total_download_byte"));
    total_uncompressed_byte = JsonFields::Counter(obj, QLatin1String("total_uncompressed_byte"));
    total_file_num = JsonFields::Counter(obj, QLatin1String("total_file_num"));
    total_to_process_file_num = JsonFields::Counter(obj, QLatin1String("total_to_process_file_num"));
    total_to_preprocess_file_num = JsonFields::Counter(obj, QLatin1String("total_to_preprocess_file_num"));
    total_chunk_num = JsonFields::Counter(obj, QLatin1String("total_chunk_num"));
    total_to_process_chunk_num = JsonFields::Counter(obj, QLatin1String("total_to_process_chunk_num"));
    total_to_preprocess_chunk_num = JsonFields::Counter(obj, QLatin1String("total_to_preprocess_chunk_num"));
    total_added_byte = JsonFields::Counter(obj, QLatin1String("total_added_byte"));
}

void VantorChunkNormalDownloadResp::FromJsonObj(const QJsonObject& obj)
{
    VantorChunkSizeResp::FromJsonObj(obj);
    if (obj.isEmpty())
        return;
    bandwidth_byte = JsonFields::Counter(obj, QLatin1String("bandwidth_byte"));
    current_completed_file_num = JsonFields::Counter(obj, QLatin1String("current_completed_file_num"));
    current_successful_file_num = JsonFields::Counter(obj, QLatin1String("current_successful_file_num"));
    current_completed_chunk_num = JsonFields::Counter(obj, QLatin1String("current_completed_chunk_num"));
    current_successful_chunk_num = JsonFields::Counter(obj, QLatin1String("current_successful_chunk_num"));
    current_download_byte = JsonFields::Counter(obj, QLatin1String("current_download_byte"));
    current_decompressed_byte = JsonFields::Counter(obj, QLatin1String("current_decompressed_byte"));

    const QJsonArray depots = obj.value(QLatin1String("depot_list")).toArray();
    if (depots.isEmpty())
        return;
    depot_list.clear();
    for (const QJsonValue depot : depots) {
        const QJsonObject object = depot.toObject();
        VantorChunkDepotDownloadItem item;
        item.file_info = compactText(object.value(QLatin1String("file_info")));
        item.chunk_info = compactText(object.value(QLatin1String("chunk_info")));
        readDepotItem(object, item);
        depot_list.append(item);
    }
}

void VantorChunkRepairDownloadResp::FromJsonObj(const QJsonObject& obj)
{
    VantorChunkNormalDownloadResp::FromJsonObj(obj);
    if (obj.isEmpty())
        return;
    total_to_preprocess_file_num = JsonFields::Counter(obj, QLatin1String("total_to_preprocess_file_num"));
    total_to_preprocess_chunk_num = JsonFields::Counter(obj, QLatin1String("total_to_preprocess_chunk_num"));

    const QJsonArray depots = obj.value(QLatin1String("depot_manifest_list")).toArray();
    if (depots.isEmpty())
        return;
    depot_manifest_list.clear();
    for (const QJsonValue depot : depots) {
        VantorChunkDepotItem item;
        readDepotItem(depot.toObject(), item);
        depot_manifest_list.append(item);
    }
}

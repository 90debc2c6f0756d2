// SPDX-License-Identifier: MIT
#include "vantor/VantorChunkActionType.h"

#include <QLatin1String>

namespace vantor::chunk {

namespace {

constexpr char kUnknownName[] = "unknown";

struct Action
{
    VantorChunkActionType type;
    const char* name;
};

constexpr Action kActions[] = {
    {VantorChunkActionFetchVersion, "fetch_version"},     {VantorChunkActionFetchSize, "fetch_size"},
    {VantorChunkActionNormalDownload, "normal_download"}, {VantorChunkActionRepairDownload, "repair_download"},
    {VantorChunkActionDeleteDatabase, "delete_database"},
};

} // namespace

VantorChunkActionType ActionNameToActionType(const QString& name)
{
    for (const Action& action : kActions) {
        if (name == QLatin1String(action.name))
            return action.type;
    }
    return VantorChunkActionUnknown;
}

const char* ActionTypeToActionName(VantorChunkActionType type)
{
    for (const Action& action : kActions) {
        if (action.type == type)
            return action.name;
    }
    return kUnknownName;
}

} // namespace vantor::chunk

// SPDX-License-Identifier: MIT
#include "States.h"

namespace VantorEngine {

const char* statusName(ItemStatus status)
{
    switch (status) {
    case ItemStatus::Pending:
        return "Pending";
    case ItemStatus::Start:
        return "Start";
    case ItemStatus::Preparing:
        return "Preparing";
    case ItemStatus::Prepared:
        return "Prepared";
    case ItemStatus::Downloading:
        return "Downloading";
    case ItemStatus::Downloaded:
        return "Downloaded";
    case ItemStatus::Verifying:
        return "Verifying";
    case ItemStatus::Verified:
        return "Verified";
    case ItemStatus::Cancelling:
        return "Cancelling";
    case ItemStatus::Cancelled:
        return "Cancelled";
    case ItemStatus::Failed:
        return "Failed";
    case ItemStatus::Success:
        return "Success";
    }
    return "Invalid";
}

const char* statusName(GroupStatus status)
{
    switch (status) {
    case GroupStatus::Pending:
        return "Pending";
    case GroupStatus::Start:
        return "Start";
    case GroupStatus::Progressing:
        return "Progressing";
    case GroupStatus::Verifying:
        return "Verifying";
    case GroupStatus::Cancelling:
        return "Cancelling";
    case GroupStatus::Cancelled:
        return "Cancelled";
    case GroupStatus::Failed:
        return "Failed";
    case GroupStatus::Success:
        return "Success";
    case GroupStatus::Duplicated:
        return "Duplicated";
    }
    return "Invalid";
}

} // namespace VantorEngine

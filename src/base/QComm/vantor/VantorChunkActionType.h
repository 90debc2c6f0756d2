// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QString>

/// \brief What a chunk task does with a package.
///
/// The numbers are part of the interface and deliberately not in the order of the names.
enum VantorChunkActionType : qint32 {
    VantorChunkActionUnknown = 0,        ///< "unknown"
    VantorChunkActionFetchVersion = 1,   ///< "fetch_version": which version the server has
    VantorChunkActionFetchSize = 2,      ///< "fetch_size": how much there is to download
    VantorChunkActionNormalDownload = 3, ///< "normal_download": install or update
    VantorChunkActionRepairDownload = 4, ///< "repair_download": fetch again what is damaged
    VantorChunkActionDeleteDatabase = 5, ///< "delete_database": forget what is known about the installation
};

namespace vantor::chunk {

/// \brief The action of a name; case-sensitive. Any other name, the empty one too, is unknown.
QCOMM_EXPORT VantorChunkActionType ActionNameToActionType(const QString& name);

/// \brief The name of an action, static ASCII text; "unknown" for any value outside 1 to 5.
QCOMM_EXPORT const char* ActionTypeToActionName(VantorChunkActionType type);

} // namespace vantor::chunk

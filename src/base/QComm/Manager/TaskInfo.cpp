// SPDX-License-Identifier: MIT
#include "Manager/TaskInfo.h"

namespace {
// Registered when the library is loaded, so that queued connections by signature string work without further
// ado.
const int kTaskInfoType = qRegisterMetaType<TaskInfo>("TaskInfo");
} // namespace

TaskInfo::TaskInfo() = default;

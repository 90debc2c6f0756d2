// SPDX-License-Identifier: MIT
#include "Manager/ProgressInfo.h"

namespace {
const int kProgressInfoType = qRegisterMetaType<ProgressInfo>("ProgressInfo");
} // namespace

ProgressInfo::ProgressInfo() = default;

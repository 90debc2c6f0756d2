// SPDX-License-Identifier: MIT
#include "Manager/DownloadReportData.h"

namespace {
const int kDownloadReportDataType = qRegisterMetaType<DownloadReportData>("DownloadReportData");
} // namespace

DownloadReportData::DownloadReportData() = default;

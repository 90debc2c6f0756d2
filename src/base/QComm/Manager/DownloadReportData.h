// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QMap>
#include <QMetaType>
#include <QString>
#include <QVariant>

/// \brief A typed key/value report for telemetry, as the signal `downloadReport` carries it.
///
/// A plain value: copies are independent of each other. Reports of the HTTP back-end, by type:
///
/// - 0: a redirect status is met. Keys "url", "range" (once a download request was made), "statusCode".
/// - 1: status 416 on the download request. Keys "url", "range", "group", "response_header".
/// - 2: a resumed request is issued ("result" 1), or the file is already complete at start ("result" 0). Keys
///   "url", "result", "group".
/// - 3: the temporary file is flushed at stop. Keys "status" ("start", then "finish"), "flush_time"
///   (milliseconds as text), "result" ("success" or "fail").
///
/// "group" is 1 when sizes are taken from the task description and no header request was forced, else 0.
class QCOMM_EXPORT DownloadReportData
{
public:
    DownloadReportData();

    /// \brief The report's entries by key.
    const QMap<QString, QVariant>& GetReportMap() const { return reportMap; }
    void SetReportMap(const QMap<QString, QVariant>& value) { reportMap = value; }

    /// \brief Kind of the report (table above); 0 by default.
    const int& GetReportType() const { return reportType; }
    void SetReportType(const int& value) { reportType = value; }

private:
    QMap<QString, QVariant> reportMap;
    int reportType = 0;
};

Q_DECLARE_METATYPE(DownloadReportData)

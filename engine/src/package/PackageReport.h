// SPDX-License-Identifier: MIT
#pragma once

#include "package/PackageRequest.h"

#include <QByteArray>

namespace VantorEngine {

/// The members of a chunk task's responses.
struct PackageReport
{
    QByteArray guid;
    QByteArray duplicatedGuid;
    PackageRequest request;
    const char* status = "Pending";
    bool completed = false;
    int errorCode = 0;
    QString errorMessage;
    QByteArray build;
    QString localVersion;
    QString serverVersion;

    qint64 totalDownloadBytes = 0;
    qint64 totalUncompressedBytes = 0;
    qint64 totalFiles = 0;
    qint64 filesToProcess = 0;
    qint64 filesToPreprocess = 0;
    qint64 totalChunks = 0;
    qint64 chunksToProcess = 0;
    qint64 chunksToPreprocess = 0;
    qint64 addedBytes = 0;

    qint64 bytesPerSecond = 0;
    qint64 completedFiles = 0;
    qint64 successfulFiles = 0;
    qint64 completedChunks = 0;
    qint64 successfulChunks = 0;
    qint64 downloadedBytes = 0;
    qint64 decompressedBytes = 0;
    qint64 preprocessedChunks = 0;
};

/// The response text, with the members that the action's responses have.
QByteArray packageReportText(const PackageReport& report);

} // namespace VantorEngine

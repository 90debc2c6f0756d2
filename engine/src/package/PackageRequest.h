// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

namespace VantorEngine {

/// What a chunk task does.
enum class PackageAction { Unknown, FetchVersion, FetchSize, NormalDownload, RepairDownload, DeleteDatabase };

/// "error_code" of chunk tasks, beside the network codes (below 1000) of FileError.
enum PackageErrorCode {
    kBadRequest = 1001,   ///< the request cannot be used
    kNoServer = 1002,     ///< no base address that can be used is configured
    kBadManifest = 1003,  ///< what the server describes cannot be used
    kCorruptChunk = 1004, ///< a chunk stays corrupt
    kStorage = 1010       ///< plus the code of "file_write_error": the disk
};

/// A request as it was given to Vantor_StartChunkTask.
struct PackageRequest
{
    QString guid; ///< asked for; empty: any
    QString actionName;
    PackageAction action = PackageAction::Unknown;
    QString package;
    QString branch;
    QString currentVersion;
    QString installDir;
    QString stagingDir;
    bool preDownload = false;
    QString preDownloadDir;
};

/// Reads a request. Members that are missing or of a wrong type are empty.
PackageRequest parsePackageRequest(const QByteArray& json);

/// Why the request cannot be carried out; empty when it can, as far as it tells.
QString requestProblem(const PackageRequest& request);

/// The folder that the package's files are assembled in, a folder for each build.
QString stagingRoot(const PackageRequest& request);

/// True for the actions that change what is installed.
bool writesInstallation(PackageAction action);

} // namespace VantorEngine

// SPDX-License-Identifier: MIT
#include "package/PackageReport.h"

#include "Json.h"

namespace VantorEngine {

namespace {

void appendVersions(QByteArray& out, const char* key, const QString& package, const QString& version)
{
    appendJsonKey(out, key);
    out.append('{');
    if (!version.isEmpty()) {
        appendJsonString(out, package);
        out.append(':');
        appendJsonString(out, version);
    }
    out.append('}');
}

void appendBase(QByteArray& out, const PackageReport& report)
{
    const PackageRequest& request = report.request;
    appendJsonMember(out, "guid", QString::fromUtf8(report.guid));
    if (!report.duplicatedGuid.isEmpty()) {
        appendJsonMember(out, "duplicated_guid", QString::fromUtf8(report.duplicatedGuid));
    }
    appendJsonMember(out, "action", request.actionName);
    appendJsonMember(out, "package_id", request.package);
    appendJsonMember(out, "branch", request.branch);
    appendJsonMember(out, "pre_download", request.preDownload);
    appendJsonMember(out, "status", report.status);
    appendJsonMember(out, "completed", report.completed);
    appendJsonMember(out, "error_code", static_cast<qint64>(report.errorCode));
    appendJsonMember(out, "error_msg", report.errorMessage);
    appendJsonMember(out, "build_id", report.build.constData());
    appendJsonMember(out, "local_version", report.localVersion);
    appendJsonMember(out, "server_version", report.serverVersion);
    appendVersions(out, "depot_version_list", request.package, report.localVersion);
    appendVersions(out, "depot_server_version_list", request.package, report.serverVersion);
}

void appendTotals(QByteArray& out, const PackageReport& report)
{
    appendJsonMember(out, "total_download_byte", report.totalDownloadBytes);
    appendJsonMember(out, "total_uncompressed_byte", report.totalUncompressedBytes);
    appendJsonMember(out, "total_file_num", report.totalFiles);
    appendJsonMember(out, "total_to_process_file_num", report.filesToProcess);
    appendJsonMember(out, "total_to_preprocess_file_num", report.filesToPreprocess);
    appendJsonMember(out, "total_chunk_num", report.totalChunks);
    appendJsonMember(out, "total_to_process_chunk_num", report.chunksToProcess);
    appendJsonMember(out, "total_to_preprocess_chunk_num", report.chunksToPreprocess);
    appendJsonMember(out, "total_added_byte", report.addedBytes);
}

void appendProgress(QByteArray& out, const PackageReport& report)
{
    appendJsonMember(out, "bandwidth_byte", report.bytesPerSecond);
    appendJsonMember(out, "current_completed_file_num", report.completedFiles);
    appendJsonMember(out, "current_successful_file_num", report.successfulFiles);
    appendJsonMember(out, "current_completed_chunk_num", report.completedChunks);
    appendJsonMember(out, "current_successful_chunk_num", report.successfulChunks);
    appendJsonMember(out, "current_download_byte", report.downloadedBytes);
    appendJsonMember(out, "current_decompressed_byte", report.decompressedBytes);
}

void appendDepot(QByteArray& out, const PackageReport& report)
{
    out.append('{');
    appendJsonMember(out, "depot_guid", report.request.package);
    appendJsonMember(out, "status", report.status);
    appendJsonMember(out, "completed", report.completed);
    appendJsonMember(out, "error_code", static_cast<qint64>(report.errorCode));
}

/// This engine's packages have one depot each, which bears the package's name.
void appendDepots(QByteArray& out, const PackageReport& report)
{
    appendJsonKey(out, "depot_list");
    out.append('[');
    appendDepot(out, report);
    appendJsonKey(out, "file_info");
    out.append('{');
    appendJsonMember(out, "total", report.totalFiles);
    appendJsonMember(out, "to_process", report.filesToProcess);
    appendJsonMember(out, "completed", report.completedFiles);
    out.append('}');
    appendJsonKey(out, "chunk_info");
    out.append('{');
    appendJsonMember(out, "total", report.totalChunks);
    appendJsonMember(out, "to_process", report.chunksToProcess);
    appendJsonMember(out, "completed", report.completedChunks);
    appendJsonMember(out, "to_preprocess", report.chunksToPreprocess);
    appendJsonMember(out, "preprocessed", report.preprocessedChunks);
    out.append("}}]");
}

void appendDepotManifests(QByteArray& out, const PackageReport& report)
{
    appendJsonKey(out, "depot_manifest_list");
    out.append('[');
    appendDepot(out, report);
    out.append("}]");
}

} // namespace

QByteArray packageReportText(const PackageReport& report)
{
    const PackageAction action = report.request.action;
    const bool repair = action == PackageAction::RepairDownload;
    const bool download = repair || action == PackageAction::NormalDownload;
    QByteArray out("{");
    appendBase(out, report);
    if (download || action == PackageAction::FetchSize) {
        appendTotals(out, report);
    }
    if (download) {
        appendProgress(out, report);
        appendDepots(out, report);
    }
    if (repair) {
        appendDepotManifests(out, report);
    }
    return out.append('}');
}

} // namespace VantorEngine

// SPDX-License-Identifier: MIT
// The answer side: from engine callbacks to the common signals. The requests are in
// VantorDownloadManager.cpp.
#include "Manager/VantorDownloadManager.h"

#include "Manager/ByteCounts.h"
#include "OrvelCommon/DeviceInfo.h"
#include "QCommLog.h"
#include "vantor/VantorExporter.h"

#include <QFileInfo>
#include <QPointer>

#include <algorithm>
#include <limits>
#include <numeric>

namespace {

constexpr quint64 kDiskSpaceLimitBytes = 104857600; // 100 MiB
constexpr char kDiskSpaceLimitText[] = "100";

constexpr int kMostSpeedSamples = 10;

constexpr int kDownloadTag = 0;
constexpr int kVerificationTag = 1;

constexpr int kNetworkErrorBase = 6000;
constexpr int kFileWriteErrorBase = 7000;
constexpr int kChecksumErrorBase = 8000;
constexpr int kUnknownErrorCode = 6099;
constexpr int kDiskSpaceErrorCode = 3004;
constexpr char kDiskSpaceErrorText[] = "disk space not enough";

constexpr int kChecksumErrorType = 3;
constexpr int kHttpForbidden = 403;

enum Outcome { None = 0, Succeeded = 1, FailedForGood = 2, WasCancelled = 3 };

using GroupStatus = VantorDownloadManager::GroupStatus;
using ItemStatus = VantorDownloadManager::ItemStatus;

bool isEnding(GroupStatus status)
{
    return status >= GroupStatus::Cancelling && status <= GroupStatus::Duplicated;
}

bool isEnded(GroupStatus status)
{
    return status >= GroupStatus::Cancelled && status <= GroupStatus::Duplicated;
}

/// \brief First code of an error kind; 0 when the model tells of no error.
int errorBase(const SingleTaskErrorModel& model)
{
    switch (model.error_type) {
    case 1:
        return kNetworkErrorBase;
    case 2:
        return kFileWriteErrorBase;
    case kChecksumErrorType:
        return kChecksumErrorBase;
    default:
        return 0;
    }
}

/// \brief The library's code; one that does not fit stays at the limit.
int fileErrorCode(const SingleTaskErrorModel& model)
{
    const qint64 code = qint64(errorBase(model)) + model.error_code;
    return static_cast<int>(std::min<qint64>(code, std::numeric_limits<int>::max()));
}

int groupErrorCode(const SingleTaskErrorModel& model)
{
    return errorBase(model) == 0 ? kUnknownErrorCode : fileErrorCode(model);
}

int outcomeOf(ItemStatus status)
{
    switch (status) {
    case ItemStatus::Success:
        return Succeeded;
    case ItemStatus::Failed:
        return FailedForGood;
    case ItemStatus::Cancelled:
        return WasCancelled;
    default:
        return None;
    }
}

std::string describe(const QVector<TaskInfo>& errors)
{
    QStringList texts;
    for (const TaskInfo& info : errors) {
        texts.append(QStringLiteral("{code: %1, url: %2, http status: %3, retry times: %4, message: %5}")
                         .arg(QString::number(info.GetErrorCode()), info.GetUrl(), // in one step: URLs hold "%2F"
                              QString::number(info.GetStatusCode()), QString::number(info.GetRetryTimes()),
                              info.GetErrorString()));
    }
    return texts.join(QLatin1String(", ")).toStdString();
}

} // namespace

/// \brief Tells, after a signal, whether the manager still exists and works on the same run: the handler may
/// have deleted it or started another.
class VantorDownloadManager::RunGuard
{
public:
    explicit RunGuard(VantorDownloadManager* manager) : m_manager(manager), m_runNumber(manager->runNumber) {}
    bool isOver() const { return !m_manager || m_manager->runNumber != m_runNumber; }

private:
    const QPointer<VantorDownloadManager> m_manager;
    const int m_runNumber;
};

void VantorDownloadManager::groupTaskCallback(const QString& guid, const QString& data)
{
    GroupTaskModel model;
    model.Parse(data.toUtf8());
    onParseGroupTaskCallback(guid, model);
}

void VantorDownloadManager::singleTaskCallback(const QString& guid, const QString& data)
{
    SingleTaskErrorModel model;
    model.Parse(data.toUtf8());
    onParseSingleTaskCallback(model.group_guid, guid, model);
}

void VantorDownloadManager::onGroupFinish(int nGroup)
{
    QCOMM_LOG(LogLevel::Info, "VantorDownloadManager::onGroupFinish")
        << logTag << "[vantor] finished download task, groupGuid: " << groupGuid;
    RemoveDownloadTask(nGroup);
    Q_EMIT finish(nGroup);
}

void VantorDownloadManager::onGetTotalSize(QString /*url*/, qint64 /*size*/)
{
}

void VantorDownloadManager::onStateCallback(QString /*data*/)
{
}

void VantorDownloadManager::onParseGroupTaskCallback(const QString& guid, GroupTaskModel model)
{
    auto status = static_cast<GroupStatus>(GetGroupStatusByName(model.status));
    run.lastGroupStatus = status;
    if (!model.valid || groupId == -1)
        return;
    if (cancelForLowDisk(guid, status))
        return;
    status = asSeenByUser(guid, status);
    run.lastGroupStatus = status;

    const RunGuard guard(this);
    const Sums sums = sumUp(guid, model.items);
    if (sums.allThrough && sums.verifying && !run.md5StartedSent) {
        run.md5StartedSent = true;
        Q_EMIT md5Started(groupId);
        if (guard.isOver())
            return;
    }
    if (run.md5StartedSent) {
        emitCheckProgress(sums);
        if (guard.isOver())
            return;
    }
    QCOMM_LOG(LogLevel::Info, "VantorDownloadManager::onParseGroupTaskCallback")
        << logTag << "pcdn:" << static_cast<qint64>(run.pcdnTraffic) << ", cdn:" << static_cast<qint64>(run.cdnTraffic);

    const bool transferring = status == GroupStatus::Progressing || status == GroupStatus::Success;
    if (transferring && !run.md5StartedSent && sums.totalBytes >= 1) {
        const qint64 doneBytes = ToSignedBytes(std::min(sums.totalBytes, sums.doneBytes));
        emitDownloadProgress(sums, doneBytes);
        if (guard.isOver())
            return;
        reportSpeed(sums, doneBytes);
        if (guard.isOver())
            return;
    }
    if (isEnded(status))
        endRun(status, model);
}

/// \brief The disk guard. \return whether this callback made it cancel the group
bool VantorDownloadManager::cancelForLowDisk(const QString& guid, GroupStatus status)
{
    if (run.diskCancelRequested || run.forbiddenCancelRequested)
        return false;
    if (!QFileInfo(installPath).isDir()) {
        QCOMM_LOG(LogLevel::Warning, "VantorDownloadManager::onParseGroupTaskCallback")
            << logTag << " [vantor] must not check disk space, because invalid install path: " << installPath;
        return false;
    }
    if (isEnding(status))
        return false;
    if (Orvel::Common::DeviceInfo::GetDiskSpaceInfo(installPath.toStdString()).first >= kDiskSpaceLimitBytes)
        return false;

    run.diskLow = true;
    QCOMM_LOG(LogLevel::Warning, "VantorDownloadManager::onParseGroupTaskCallback")
        << logTag << " [vantor] disk space less than " << kDiskSpaceLimitText << " mb, need cancel download task "
        << guid;
    run.diskCancelRequested = true;
    exporter->Cancel(guid);
    return true;
}

/// \brief A cancellation that this side caused is a failure to the user; a user's own stop stays a
/// cancellation.
GroupStatus VantorDownloadManager::asSeenByUser(const QString& guid, GroupStatus status)
{
    if (run.manualCancel || status != GroupStatus::Cancelled)
        return status;
    if (run.diskLow) {
        QCOMM_LOG(LogLevel::Warning, "VantorDownloadManager::onParseGroupTaskCallback")
            << logTag << " [vantor] disk space less than " << kDiskSpaceLimitText << " mb, inner cancelled " << guid;
        return GroupStatus::Failed;
    }
    if (run.forbiddenCancelRequested) {
        QCOMM_LOG(LogLevel::Warning, "VantorDownloadManager::onParseGroupTaskCallback")
            << logTag << " [vantor] single task failed or 403, " << guid;
        return GroupStatus::Failed;
    }
    return status;
}

VantorDownloadManager::Sums VantorDownloadManager::sumUp(const QString& guid, const QVector<SingleTaskModel>& items)
{
    Sums sums;
    for (const SingleTaskModel& item : items) {
        sums.doneBytes += item.existing_byte_count + item.written_byte_count;
        sums.totalBytes += item.size;
        sums.verifiedBytes += item.verified_byte_count;
        sums.verifySpeed += item.verified_speed_byte;
        sums.engineSpeed += item.bandwidth_byte;
        if (!item.pcdn_alias.isEmpty() && !run.pcdnAliases.contains(item.pcdn_alias))
            run.pcdnAliases.append(item.pcdn_alias);
        splitTraffic(item);
        LogSingleTaskNetInfo(item);
        if (!isThroughTransfer(guid, item, sums))
            sums.allThrough = false;
    }
    return sums;
}

void VantorDownloadManager::splitTraffic(const SingleTaskModel& item)
{
    quint64& written = run.writtenBytes[item.guid];
    // Modular: when the engine has started the file over, the difference is taken back.
    const quint64 newBytes = item.written_byte_count - written;
    written = item.written_byte_count;
    if (item.using_pcdn) {
        run.usingPcdn = true;
        run.pcdnTraffic += newBytes;
    } else {
        run.cdnTraffic += newBytes;
    }
}

bool VantorDownloadManager::isThroughTransfer(const QString& guid, const SingleTaskModel& item, Sums& sums)
{
    switch (static_cast<ItemStatus>(GetItemStatusByName(item.status))) {
    case ItemStatus::Downloaded:
    case ItemStatus::Verifying:
    case ItemStatus::Verified:
    case ItemStatus::Success:
        sums.verifying = true;
        return true;
    default:
        break;
    }
    const quint64 doneBytes = item.existing_byte_count + item.written_byte_count;
    if (doneBytes < 1 || doneBytes != item.size)
        return false;
    QCOMM_LOG(LogLevel::Warning, "VantorDownloadManager::onParseGroupTaskCallback")
        << logTag << " [vantor] " << guid << " download finished but status is: " << item.status;
    return true;
}

/// \brief Which server a file comes from, once per file and run, as soon as the engine knows it.
void VantorDownloadManager::LogSingleTaskNetInfo(const SingleTaskModel& item)
{
    if (item.remote_address.isEmpty() || run.netInfoLogged.contains(item.guid))
        return;
    run.netInfoLogged.insert(item.guid);
    QCOMM_LOG(LogLevel::Info, "VantorDownloadManager::LogSingleTaskNetInfo")
        << logTag << " [vantor] url: " << item.url << ", remote address: " << item.remote_address
        << ", canonical name: " << item.canonical_name;
}

void VantorDownloadManager::emitCheckProgress(const Sums& sums)
{
    ProgressInfo info;
    info.SetProcessedBytes(ToSignedBytes(sums.verifiedBytes));
    info.SetTotalBytes(ToSignedBytes(sums.totalBytes));
    info.SetTag(kVerificationTag);
    info.SetSpeed(ToSignedBytes(sums.verifySpeed));
    info.SetGroupId(groupId);
    Q_EMIT checkProgress(info);
}

void VantorDownloadManager::emitDownloadProgress(const Sums& sums, qint64 doneBytes)
{
    ProgressInfo info;
    info.SetProcessedBytes(doneBytes);
    info.SetTotalBytes(ToSignedBytes(sums.totalBytes));
    info.SetTag(kDownloadTag);
    info.SetGroupId(groupId);
    info.SetUsingPcdn(run.usingPcdn);
    info.SetPcdnNetworkTraffic(static_cast<qint64>(run.pcdnTraffic));
    info.SetCdnNetworkTraffic(static_cast<qint64>(run.cdnTraffic));
    info.SetPcdnAlias(run.pcdnAliases.join(QLatin1Char(',')));
    Q_EMIT downloadProgress(info);
}

void VantorDownloadManager::reportSpeed(const Sums& sums, qint64 doneBytes)
{
    if (speedMeter.IsEmpty())
        speedMeter.UpdateCurSpeed(doneBytes, speedInterval->GetLastTimeStamp());
    if (!speedInterval->IsTimeout())
        return;
    const QString speedText = speedMeter.GetCurSpeedString(doneBytes, speedInterval->GetLastTimeStamp());
    const QString timeText = speedMeter.GetNeedTimeString(doneBytes, ToSignedBytes(sums.totalBytes));
    const qint64 measuredSpeed = speedMeter.GetCurSpeed();
    run.currentSpeed = ToSignedBytes(sums.engineSpeed);
    const qint64 engineSpeed = run.averageSpeed < 1 ? run.currentSpeed : run.averageSpeed;
    Q_EMIT speed2(engineSpeed, measuredSpeed, speedText, timeText, groupId);
}

void VantorDownloadManager::endRun(GroupStatus status, const GroupTaskModel& model)
{
    StopStatAvgDownloadSpeed();
    groupGuid.clear();
    disconnect(exporter, nullptr, this, nullptr);
    DisconnectSignals();
    ++runNumber;

    // Nothing of the manager is touched after a signal: the handler may delete it or start the next run.
    switch (status) {
    case GroupStatus::Success:
        Q_EMIT finish(groupId);
        return;
    case GroupStatus::Cancelled:
        QCOMM_LOG(LogLevel::Info, "VantorDownloadManager::onParseGroupTaskCallback")
            << logTag << (run.manualCancel ? " [manual cancel] " : "") << " cancelled";
        Q_EMIT cancelled(groupId);
        return;
    case GroupStatus::Failed:
        reportFailure(model, run);
        return;
    default:
        // Intended: a duplicated group ends without a signal; the group that does the work reports.
        return;
    }
}

void VantorDownloadManager::reportFailure(const GroupTaskModel& model, const Run& ended)
{
    // Intended: after a user's stop a failure is not reported.
    const bool silent = ended.manualCancel;
    if (ended.errorList.isEmpty()) {
        const TaskInfo info = taskInfoOf(model.error, groupErrorCode(model.error));
        QCOMM_LOG(LogLevel::Error, "VantorDownloadManager::onParseGroupTaskCallback")
            << logTag << " [vantor] Single task error list empty, err code: " << info.GetErrorCode()
            << ", url: " << info.GetUrl() << ", err msg: " << info.GetErrorString();
        if (!silent)
            Q_EMIT error(info);
        return;
    }
    const QVector<TaskInfo> errors = ended.errorList;
    QCOMM_LOG(LogLevel::Error, "VantorDownloadManager::onParseGroupTaskCallback")
        << logTag << " [vantor] Single task error list info: " << describe(errors);
    if (silent)
        return;
    const QPointer<VantorDownloadManager> self(this);
    for (const TaskInfo& info : errors) {
        Q_EMIT error(info);
        if (!self)
            return;
    }
}

void VantorDownloadManager::onParseSingleTaskCallback(const QString& groupGuidOfFile, const QString& task_guid,
                                                      SingleTaskErrorModel model)
{
    const auto status = static_cast<ItemStatus>(GetItemStatusByName(model.status));
    run.itemStatus.insert(task_guid, status);
    if (!model.valid || groupId == -1)
        return;

    if (model.error_type == kChecksumErrorType)
        DeleteFileByUrl(model.url);

    TaskInfo info = taskInfoOf(model, fileErrorCode(model));
    if (run.diskLow) {
        QCOMM_LOG(LogLevel::Warning, "VantorDownloadManager::onParseSingleTaskCallback")
            << logTag << " [vantor] disk space less than " << kDiskSpaceLimitText << " mb, inner cancelled ";
        info.SetErrorCode(kDiskSpaceErrorCode);
        info.SetErrorString(QLatin1String(kDiskSpaceErrorText));
    } else {
        info.SetResult(outcomeOf(status));
    }

    if (status != ItemStatus::Failed)
        return;
    if (!model.completed && model.http_status_code != kHttpForbidden)
        Q_EMIT errorRetry(info);
    else
        failForGood(groupGuidOfFile, info);
}

TaskInfo VantorDownloadManager::taskInfoOf(const SingleTaskErrorModel& model, int errorCode) const
{
    TaskInfo info;
    info.SetErrorCode(errorCode);
    info.SetErrorString(model.message);
    info.SetUrl(model.url);
    info.SetStatusCode(model.http_status_code);
    info.SetNetErrorCode(model.internal_error_code);
    info.SetIP(model.remote_address);
    info.SetGroupId(groupId);
    info.SetResponseHeader(model.http_header);
    info.SetRetryTimes(std::max(model.current_retry_times, 1) - 1);
    return info;
}

/// \brief One file that cannot be had makes the group worthless: the whole of it is cancelled, once.
void VantorDownloadManager::failForGood(const QString& groupGuidOfFile, const TaskInfo& info)
{
    run.errorList.append(info);
    if (run.forbiddenCancelRequested || run.diskCancelRequested)
        return;
    run.forbiddenCancelRequested = true;
    QCOMM_LOG(LogLevel::Warning, "VantorDownloadManager::onParseSingleTaskCallback")
        << logTag << " [vantor] single task failed or 403, request to cancel the all group ";
    exporter->Cancel(groupGuidOfFile);
}

void VantorDownloadManager::OnTimeoutToCalcDownloadSpeed()
{
    // Bounded, so that no sum of samples overflows, whatever the engine reports.
    run.speedSamples.append(std::min(run.currentSpeed, std::numeric_limits<qint64>::max() / (kMostSpeedSamples + 1)));
    while (run.speedSamples.size() > kMostSpeedSamples)
        run.speedSamples.removeFirst();
    const qint64 sum = std::accumulate(run.speedSamples.cbegin(), run.speedSamples.cend(), qint64(0));
    run.averageSpeed = sum / run.speedSamples.size();
}

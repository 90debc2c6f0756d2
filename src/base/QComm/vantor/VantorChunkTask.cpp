// SPDX-License-Identifier: MIT
#include "vantor/VantorChunkTask.h"

#include "OrvelCommon/DeviceInfo.h"
#include "QCommLog.h"
#include "vantor/VantorChunkTaskManager.h"

#include <QMutexLocker>

#include <utility>

namespace {

constexpr quint64 kDiskSpaceLimitBytes = 524288000; // 500 MiB
constexpr char kDiskSpaceLimitText[] = "500";
constexpr int kDiskSpaceErrorCode = 1;

const QLatin1String kDuplicated("Duplicated");

/// \brief A response as the record type of its action; responses are made so by
/// VantorChunkResp::FromJsonStr().
template<typename Resp>
const Resp& as(const VantorChunkResp& resp)
{
    return static_cast<const Resp&>(resp);
}

} // namespace

QSharedPointer<VantorChunkTask> VantorChunkTask::MakeChunkTask()
{
    return QSharedPointer<VantorChunkTask>(new VantorChunkTask);
}

VantorChunkTask::VantorChunkTask() = default;

VantorChunkTask::~VantorChunkTask()
{
    Reset();
}

void VantorChunkTask::Start(std::unique_ptr<VantorChunkReq> req)
{
    if (!req)
        return;
    m_req = std::move(req);
    {
        const QMutexLocker locker(&m_mutex);
        m_installDir = m_req->install_dir;
    }
    // Set before the engine is called, which may answer before its guid is back here.
    m_running.store(true, std::memory_order_relaxed);
    m_starting = true;
    VantorChunkTaskManager::Instance()->StartChunkTask(sharedFromThis());
    m_starting = false;
    QCOMM_LOG(LogLevel::Info, "VantorChunkTask::Start")
        << logTag() << " start chunk task, guid: " << m_guid << ", params: " << m_req->ToJsonStr();
}

void VantorChunkTask::Cancel()
{
    QCOMM_LOG(LogLevel::Info, "VantorChunkTask::Cancel") << logTag() << " stop chunk task, guid: " << m_guid;
    VantorChunkTaskManager::Instance()->CancelChunkTask(m_guid);
}

std::shared_ptr<VantorChunkResp> VantorChunkTask::GetLastResp()
{
    const QMutexLocker locker(&m_mutex);
    return m_lastResp;
}

void VantorChunkTask::SetLogTag(const std::string& tag)
{
    const QMutexLocker locker(&m_mutex);
    m_logTag = tag;
}

void VantorChunkTask::setGuid(const QString& guid)
{
    const QMutexLocker locker(&m_mutex);
    m_guid = guid;
}

QString VantorChunkTask::guid() const
{
    const QMutexLocker locker(&m_mutex);
    return m_guid;
}

std::string VantorChunkTask::logTag() const
{
    const QMutexLocker locker(&m_mutex);
    return m_logTag;
}

void VantorChunkTask::Reset()
{
    const QMutexLocker locker(&m_mutex);
    m_lastResp.reset();
    m_guid.clear();
    m_req.reset();
    m_installDir.clear();
    m_diskSpaceCancelled.store(false, std::memory_order_relaxed);
}

void VantorChunkTask::NotifyProgressChanged(std::shared_ptr<VantorChunkResp> resp)
{
    {
        const QMutexLocker locker(&m_mutex);
        m_lastResp = resp;
    }
    if (resp->completed)
        m_running.store(false, std::memory_order_relaxed);
    if (!emitProgress(*resp))
        return;
    if (resp->action_type == VantorChunkActionNormalDownload || resp->action_type == VantorChunkActionRepairDownload)
        guardDiskSpace();
}

bool VantorChunkTask::emitProgress(const VantorChunkResp& resp)
{
    switch (resp.action_type) {
    case VantorChunkActionFetchVersion:
        Q_EMIT ChunkVersionTaskProgressChanged(as<VantorChunkVersionResp>(resp));
        return true;
    case VantorChunkActionFetchSize:
        Q_EMIT ChunkSizeTaskProgressChanged(as<VantorChunkSizeResp>(resp));
        return true;
    case VantorChunkActionNormalDownload:
        Q_EMIT ChunkNormalDownloadTaskProgressChanged(as<VantorChunkNormalDownloadResp>(resp));
        return true;
    case VantorChunkActionRepairDownload:
        Q_EMIT ChunkRepairDownloadTaskProgressChanged(as<VantorChunkRepairDownloadResp>(resp));
        return true;
    case VantorChunkActionDeleteDatabase: // Intended: a deletion has no progress.
    case VantorChunkActionUnknown:
        break;
    }
    return false;
}

void VantorChunkTask::guardDiskSpace()
{
    if (m_diskSpaceCancelled.load(std::memory_order_relaxed))
        return;
    std::string folder;
    {
        const QMutexLocker locker(&m_mutex);
        folder = m_installDir.toStdString();
    }
    if (Orvel::Common::DeviceInfo::GetDiskSpaceInfo(folder).first >= kDiskSpaceLimitBytes)
        return;
    // The present run's guid, also when the answer belongs to an earlier run that has not ended.
    const QString presentGuid = guid();
    QCOMM_LOG(LogLevel::Warning, "VantorChunkTask::NotifyProgressChanged")
        << logTag() << " disk space less than " << kDiskSpaceLimitText << " mb, need cancel download task "
        << presentGuid;
    m_diskSpaceCancelled.store(true, std::memory_order_relaxed);
    VantorChunkTaskManager::Instance()->CancelChunkTask(presentGuid);
}

void VantorChunkTask::NofityFinished(std::shared_ptr<VantorChunkResp> resp)
{
    QCOMM_LOG(LogLevel::Info, "VantorChunkTask::NofityFinished")
        << logTag() << " finished chunk task, guid: " << guid() << ", info: " << resp->GetRawJsonStr();
    if (m_diskSpaceCancelled.exchange(false, std::memory_order_relaxed)) {
        QCOMM_LOG(LogLevel::Warning, "VantorChunkTask::NofityFinished")
            << logTag() << " disk space less than " << kDiskSpaceLimitText << " mb, inner cancelled " << guid();
        // Intended: the shared record itself, so that whoever holds it sees the failure as well.
        resp->error_code = kDiskSpaceErrorCode;
        resp->error_msg = QStringLiteral("disk space not enough");
        resp->status = QStringLiteral("Failed");
    }
    emitFinished(*resp);
}

void VantorChunkTask::emitFinished(const VantorChunkResp& resp)
{
    // Intended: a fetch or a deletion that duplicates another ends without a signal, a download always
    // reports.
    const bool duplicated = resp.status == kDuplicated;
    const auto announce = [this](const char* text) {
        QCOMM_LOG(LogLevel::Info, "VantorChunkTask::NofityFinished") << logTag() << text;
    };
    switch (resp.action_type) {
    case VantorChunkActionFetchVersion:
        if (duplicated)
            return;
        announce("emit ChunkVersionTaskFinished");
        Q_EMIT ChunkVersionTaskFinished(as<VantorChunkVersionResp>(resp));
        return;
    case VantorChunkActionFetchSize:
        if (duplicated)
            return;
        announce("emit ChunkSizeTaskFinished");
        Q_EMIT ChunkSizeTaskFinished(as<VantorChunkSizeResp>(resp));
        return;
    case VantorChunkActionNormalDownload:
        Q_EMIT ChunkNormalDownloadTaskFinished(as<VantorChunkNormalDownloadResp>(resp));
        return;
    case VantorChunkActionRepairDownload:
        Q_EMIT ChunkRepairDownloadTaskFinished(as<VantorChunkRepairDownloadResp>(resp));
        return;
    case VantorChunkActionDeleteDatabase:
        if (duplicated)
            return;
        announce("emit ChunkDeleteDatabaseTaskFinished");
        Q_EMIT ChunkDeleteDatabaseTaskFinished(as<VantorChunkDeleteDatabaseResp>(resp));
        return;
    case VantorChunkActionUnknown:
        return;
    }
}

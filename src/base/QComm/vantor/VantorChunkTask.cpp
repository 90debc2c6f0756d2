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
    m_guid = VantorChunkTaskManager::Instance()->StartChunkTask(sharedFromThis());
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

void VantorChunkTask::NotifyProgressChanged(const QString& guid, std::shared_ptr<VantorChunkResp> resp)
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
        guardDiskSpace(guid);
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

void VantorChunkTask::guardDiskSpace(const QString& guid)
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
    QCOMM_LOG(LogLevel::Warning, "VantorChunkTask::NotifyProgressChanged")
        << logTag() << " disk space less than " << kDiskSpaceLimitText << " mb, need cancel download task " << guid;
    m_diskSpaceCancelled.store(true, std::memory_order_relaxed);
    VantorChunkTaskManager::Instance()->CancelChunkTask(guid);
}

void VantorChunkTask::NofityFinished(const QString& guid, std::shared_ptr<VantorChunkResp> resp)
{
    QCOMM_LOG(LogLevel::Info, "VantorChunkTask::NofityFinished")
        << logTag() << " finished chunk task, guid: " << guid << ", info: " << resp->GetRawJsonStr();
    if (m_diskSpaceCancelled.exchange(false, std::memory_order_relaxed)) {
        QCOMM_LOG(LogLevel::Warning, "VantorChunkTask::NofityFinished")
            << logTag() << " disk space less than " << kDiskSpaceLimitText << " mb, inner cancelled " << guid;
        resp = asDiskFailure(*resp);
        const QMutexLocker locker(&m_mutex);
        m_lastResp = resp;
    }
    emitFinished(*resp);
}

// The caller may be reading the response just received on another thread, so the failure goes into a copy,
// which then takes its place.
std::shared_ptr<VantorChunkResp> VantorChunkTask::asDiskFailure(const VantorChunkResp& resp) const
{
    std::shared_ptr<VantorChunkResp> copy;
    switch (resp.action_type) {
    case VantorChunkActionFetchVersion:
        copy = std::make_shared<VantorChunkVersionResp>(as<VantorChunkVersionResp>(resp));
        break;
    case VantorChunkActionFetchSize:
        copy = std::make_shared<VantorChunkSizeResp>(as<VantorChunkSizeResp>(resp));
        break;
    case VantorChunkActionNormalDownload:
        copy = std::make_shared<VantorChunkNormalDownloadResp>(as<VantorChunkNormalDownloadResp>(resp));
        break;
    case VantorChunkActionRepairDownload:
        copy = std::make_shared<VantorChunkRepairDownloadResp>(as<VantorChunkRepairDownloadResp>(resp));
        break;
    case VantorChunkActionDeleteDatabase:
        copy = std::make_shared<VantorChunkDeleteDatabaseResp>(as<VantorChunkDeleteDatabaseResp>(resp));
        break;
    case VantorChunkActionUnknown:
        copy = std::make_shared<VantorChunkResp>(resp);
        break;
    }
    copy->error_code = kDiskSpaceErrorCode;
    copy->error_msg = QStringLiteral("disk space not enough");
    copy->status = QStringLiteral("Failed");
    return copy;
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

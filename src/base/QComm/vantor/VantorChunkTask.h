// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"
#include "vantor/VantorChunkReq.h"
#include "vantor/VantorChunkResp.h"

#include <QEnableSharedFromThis>
#include <QMutex>
#include <QObject>
#include <QSharedPointer>
#include <QString>

#include <atomic>
#include <memory>
#include <string>

/// \brief One operation of the chunk engine on one package: its size or version, a download, a repair, a
/// deletion.
///
/// Made by MakeChunkTask() and held by shared pointers: the caller's, and the registry's
/// (VantorChunkTaskManager) from Start() until the engine has ended the task, even when the caller drops its
/// own.
///
/// \code
///   idle ──Start──> running ──response──> ...ProgressChanged, any number of times
///                      └──completed response──> ...ProgressChanged, then ...Finished; idle again
/// \endcode
///
/// Each action has its pair of signals; "delete_database" has no progress signal. A "fetch" or "delete" task
/// that the engine ends as "Duplicated" emits no Finished signal: another task does the same work. While a
/// download or repair runs, the volume of `install_dir` is watched; below 500 MiB of free space the task is
/// cancelled once and its last response says code 1, "disk space not enough", "Failed".
///
/// Start() and Cancel() belong to the caller's thread. The signals are emitted on the exporter's chunk
/// thread; connect with a context object, so that delivery is queued. Without an engine the guid is empty and
/// nothing is reported.
class QCOMM_EXPORT VantorChunkTask : public QObject, public QEnableSharedFromThis<VantorChunkTask>
{
    Q_OBJECT

public:
    /// \brief A new, idle task.
    static QSharedPointer<VantorChunkTask> MakeChunkTask();
    ~VantorChunkTask() override;

    /// \brief Sends the request to the engine, replacing that of an earlier run. A null request is ignored.
    void Start(std::unique_ptr<VantorChunkReq> req);
    /// \brief Asks the engine to cancel; the outcome arrives with the completed response.
    void Cancel();

    /// \brief True from Start() until a completed response. Any thread.
    bool IsRunning() const { return m_running.load(std::memory_order_relaxed); }
    /// \brief The engine's guid of the last run; empty before the first.
    const QString& GetGuid() const { return m_guid; }
    /// \brief The latest response; null before the first. Any thread.
    ///
    /// The record is shared, and the last one of a task that ran out of disk space is rewritten before Finished
    /// is emitted. Read what is in it in a handler of Finished, or when IsRunning() was false before.
    std::shared_ptr<VantorChunkResp> GetLastResp();
    /// \brief Text that the task's log lines begin with, UTF-8. Set it before Start().
    void SetLogTag(const std::string& tag);

Q_SIGNALS:
    /// "delete_database" is over. There is no progress of it.
    void ChunkDeleteDatabaseTaskFinished(VantorChunkDeleteDatabaseResp resp);
    /// A response to "fetch_version", the last one included.
    void ChunkVersionTaskProgressChanged(VantorChunkVersionResp resp);
    /// "fetch_version" is over.
    void ChunkVersionTaskFinished(VantorChunkVersionResp resp);
    /// A response to "fetch_size", the last one included.
    void ChunkSizeTaskProgressChanged(VantorChunkSizeResp resp);
    /// "fetch_size" is over.
    void ChunkSizeTaskFinished(VantorChunkSizeResp resp);
    /// A response to "normal_download", the last one included.
    void ChunkNormalDownloadTaskProgressChanged(VantorChunkNormalDownloadResp resp);
    /// "normal_download" is over.
    void ChunkNormalDownloadTaskFinished(VantorChunkNormalDownloadResp resp);
    /// A response to "repair_download", the last one included.
    void ChunkRepairDownloadTaskProgressChanged(VantorChunkRepairDownloadResp resp);
    /// "repair_download" is over.
    void ChunkRepairDownloadTaskFinished(VantorChunkRepairDownloadResp resp);

private:
    friend class VantorChunkTaskManager;

    VantorChunkTask();

    void Reset();
    void NotifyProgressChanged(std::shared_ptr<VantorChunkResp> resp);
    void NofityFinished(std::shared_ptr<VantorChunkResp> resp);

    bool emitProgress(const VantorChunkResp& resp);
    void emitFinished(const VantorChunkResp& resp);
    void guardDiskSpace();

    std::unique_ptr<VantorChunkReq> m_req;
    QString m_guid;
    std::shared_ptr<VantorChunkResp> m_lastResp;
    QString m_installDir;
    std::atomic<bool> m_diskSpaceCancelled{false};
    std::string m_logTag;
    std::atomic<bool> m_running{false};
    bool m_starting = false; // inside Start(): the guid that the engine returns becomes the task's own

    // Guards what the caller's thread writes and the chunk thread reads, or the other way round: the guid, the
    // last response, the installation folder and the log tag. GetGuid() needs it not: it is called on the
    // thread that writes the guid.
    mutable QMutex m_mutex;

    void setGuid(const QString& guid);
    QString guid() const;
    std::string logTag() const;
};

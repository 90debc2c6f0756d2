// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"
#include "vantor/GroupTaskModel.h"
#include "vantor/SingleTaskErrorModel.h"

#include <QEnableSharedFromThis>
#include <QMap>
#include <QMutex>
#include <QObject>
#include <QSharedPointer>
#include <QString>

#include <atomic>
#include <memory>
#include <string>

/// \brief What a group download is asked to do.
struct QCOMM_EXPORT VantorGroupDownloadTaskReq
{
    QString downloadList; ///< the download list, JSON text as VantorDownloadManager builds it
    QString id;           ///< id of the owning manager, used only in log lines
};

/// \brief One submission of a download list to the chunk engine, and the receiver of that group's callbacks.
///
/// Made by MakeGroupDownloadTask() and held by shared pointers: the owner's, and the registry's
/// (VantorGroupDownloadTaskManager) from Start() until the engine ends the group.
///
/// \code
///   idle ──Start──> running, registered under the engine's guid ──end-state callback──> ended, unregistered
/// \endcode
///
/// Start() and Cancel() belong to the owner's thread. The signals are emitted on the exporter's group thread,
/// in the order of the engine's callbacks; connect with a context object, so that delivery is queued.
class QCOMM_EXPORT VantorGroupDownloadTask : public QObject, public QEnableSharedFromThis<VantorGroupDownloadTask>
{
    Q_OBJECT

public:
    /// \brief A new, idle task.
    static QSharedPointer<VantorGroupDownloadTask> MakeGroupDownloadTask();
    ~VantorGroupDownloadTask() override;

    /// \brief Submits a download list, dropping the request of an earlier run. Without an engine the guid is
    /// empty and nothing is ever reported. A null request is ignored.
    void Start(std::unique_ptr<VantorGroupDownloadTaskReq> req);
    /// \brief Asks the engine to cancel the group; does nothing once the group has ended.
    void Cancel();

    /// \brief The engine's guid of the last group started; empty when idle.
    const QString& GetGuid() const { return guid; }
    /// \brief True from Start() until the engine ends the group. Any thread.
    bool IsRunning() const { return running.load(std::memory_order_relaxed); }

Q_SIGNALS:
    /// The group changed; the last one has `model.finished` set.
    void groupTaskInfo(QString guid, GroupTaskModel model);
    /// A file of the group changed.
    void singleTaskInfo(QString groupGuid, QString taskGuid, SingleTaskErrorModel model);

private:
    friend class VantorGroupDownloadTaskManager;

    VantorGroupDownloadTask();

    void Reset();
    void NotifyGroupTaskInfoChanged(const QString& groupGuid, std::unique_ptr<GroupTaskModel> model);
    void NofitySingleTaskInfoChanged(const QString& groupGuid, const QString& taskGuid,
                                     std::unique_ptr<SingleTaskErrorModel> model);
    std::string currentLogTag() const;

    std::unique_ptr<VantorGroupDownloadTaskReq> request;
    QString guid;
    std::atomic<bool> running{false};

    mutable QMutex logTagMutex; // logTag is written by Start() and read on the group thread
    std::string logTag;

    // Scratch values of a run, cleared by Start() and Reset().
    QMap<QString, QString> fileValues;
    QString runValue;
};

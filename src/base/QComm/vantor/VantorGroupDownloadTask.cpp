// SPDX-License-Identifier: MIT
#include "vantor/VantorGroupDownloadTask.h"

#include "QCommLog.h"
#include "vantor/VantorExporter.h"
#include "vantor/VantorGroupDownloadTaskManager.h"

#include <QMutexLocker>

#include <utility>

QSharedPointer<VantorGroupDownloadTask> VantorGroupDownloadTask::MakeGroupDownloadTask()
{
    return QSharedPointer<VantorGroupDownloadTask>(new VantorGroupDownloadTask);
}

VantorGroupDownloadTask::VantorGroupDownloadTask() = default;

VantorGroupDownloadTask::~VantorGroupDownloadTask()
{
    Reset();
}

void VantorGroupDownloadTask::Start(std::unique_ptr<VantorGroupDownloadTaskReq> req)
{
    if (!req)
        return;
    fileValues.clear();
    runValue.clear();
    request = std::move(req);
    {
        const QMutexLocker locker(&logTagMutex);
        logTag = QStringLiteral(" [%1]").arg(request->id).toStdString();
    }
    // Set first: the engine may end the group before its guid is back here.
    running.store(true, std::memory_order_relaxed);
    guid = VantorGroupDownloadTaskManager::Instance()->StartGroupTask(sharedFromThis(), request->downloadList);
}

void VantorGroupDownloadTask::Cancel()
{
    if (VantorGroupDownloadTaskManager::Instance()->FindGroupTask(guid))
        VantorExporter::Instance()->Cancel(guid);
}

void VantorGroupDownloadTask::Reset()
{
    fileValues.clear();
    runValue.clear();
    guid.clear();
    request.reset();
    running.store(false, std::memory_order_relaxed);
}

void VantorGroupDownloadTask::NotifyGroupTaskInfoChanged(const QString& groupGuid,
                                                         std::unique_ptr<GroupTaskModel> model)
{
    QCOMM_LOG(model->finished ? LogLevel::Warning : LogLevel::Info,
              "VantorGroupDownloadTask::NotifyGroupTaskInfoChanged")
        << currentLogTag() << " [vantor] groupGuid: " << groupGuid << ", group info: " << model->raw.toStdString();
    if (model->finished)
        running.store(false, std::memory_order_relaxed);
    Q_EMIT groupTaskInfo(groupGuid, *model);
}

void VantorGroupDownloadTask::NofitySingleTaskInfoChanged(const QString& groupGuid, const QString& taskGuid,
                                                          std::unique_ptr<SingleTaskErrorModel> model)
{
    QCOMM_LOG(model->completed ? LogLevel::Warning : LogLevel::Info,
              "VantorGroupDownloadTask::NofitySingleTaskInfoChanged")
        << currentLogTag() << " [vantor] groupGuid: " << groupGuid << ", task_guid: " << taskGuid
        << " info: " << model->raw.toStdString();
    Q_EMIT singleTaskInfo(groupGuid, taskGuid, *model);
}

std::string VantorGroupDownloadTask::currentLogTag() const
{
    const QMutexLocker locker(&logTagMutex);
    return logTag;
}

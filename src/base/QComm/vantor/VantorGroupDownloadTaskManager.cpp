// SPDX-License-Identifier: MIT
#include "vantor/VantorGroupDownloadTaskManager.h"

#include "vantor/GuidRegistry.h"
#include "vantor/VantorExporter.h"
#include "vantor/VantorGroupDownloadTask.h"

#include <QMetaObject>
#include <QMutex>
#include <QMutexLocker>

#include <utility>

namespace {

struct Callback
{
    bool ofGroup;
    QString fileGuid; // of a file callback
    QString data;
};

// At namespace scope, so that it outlives the exporter, which is a static of a function: the exporter's
// destructor stops the thread on which the manager works.
QMutex instanceMutex;
std::unique_ptr<VantorGroupDownloadTaskManager> instance;

} // namespace

struct VantorGroupDownloadTaskManager::Registry : GuidRegistry<VantorGroupDownloadTask, Callback>
{
    /// \brief Parses the callbacks and hands them to the task; forgets the group when it has ended, and drops
    /// what comes after that.
    void Deliver(const QString& guid, const Delivery& delivery)
    {
        for (const Callback& callback : delivery.callbacks) {
            if (!callback.ofGroup)
                deliverFile(*delivery.task, guid, callback);
            else if (deliverGroup(delivery.task, guid, callback))
                return;
        }
    }

private:
    static void deliverFile(VantorGroupDownloadTask& task, const QString& guid, const Callback& callback)
    {
        auto model = std::make_unique<SingleTaskErrorModel>();
        model->Parse(callback.data.toUtf8());
        task.NofitySingleTaskInfoChanged(guid, callback.fileGuid, std::move(model));
    }

    /// \return whether the group has ended
    bool deliverGroup(const TaskPointer& task, const QString& guid, const Callback& callback)
    {
        auto model = std::make_unique<GroupTaskModel>();
        model->Parse(callback.data.toUtf8());
        const bool finished = model->finished;
        task->NotifyGroupTaskInfoChanged(guid, std::move(model));
        if (finished)
            RemoveOf(guid, task);
        return finished;
    }
};

VantorGroupDownloadTaskManager* VantorGroupDownloadTaskManager::Instance()
{
    const QMutexLocker locker(&instanceMutex);
    if (!instance)
        instance.reset(new VantorGroupDownloadTaskManager);
    return instance.get();
}

VantorGroupDownloadTaskManager::VantorGroupDownloadTaskManager() : registry(std::make_unique<Registry>())
{
}

VantorGroupDownloadTaskManager::~VantorGroupDownloadTaskManager() = default;

QString VantorGroupDownloadTaskManager::StartGroupTask(const QSharedPointer<VantorGroupDownloadTask>& task,
                                                       const QString& downloadList)
{
    registry->BeginRegistration();
    const QString guid = VantorExporter::Instance()->SetDownloadList(downloadList, QString());
    if (registry->FinishRegistration(guid, task))
        QMetaObject::invokeMethod(
            this, [this, guid] { registry->Deliver(guid, registry->TakeEarly(guid)); }, Qt::QueuedConnection);
    return guid;
}

QSharedPointer<VantorGroupDownloadTask> VantorGroupDownloadTaskManager::FindGroupTask(const QString& guid) const
{
    return registry->Find(guid);
}

void VantorGroupDownloadTaskManager::onSingleTaskCallback(const QString& groupGuid, const QString& singleTaskGuid,
                                                          const QString& data)
{
    registry->Deliver(groupGuid, registry->Route(groupGuid, {false, singleTaskGuid, data}));
}

void VantorGroupDownloadTaskManager::onGroupTaskCallback(const QString& guid, const QString& data)
{
    registry->Deliver(guid, registry->Route(guid, {true, QString(), data}));
}

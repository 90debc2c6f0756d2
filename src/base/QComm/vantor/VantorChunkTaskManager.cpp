// SPDX-License-Identifier: MIT
#include "vantor/VantorChunkTaskManager.h"

#include "QCommLog.h"
#include "vantor/GuidRegistry.h"
#include "vantor/VantorChunkResp.h"
#include "vantor/VantorChunkTask.h"
#include "vantor/VantorExporter.h"

#include <QMetaObject>
#include <QMutex>
#include <QMutexLocker>

namespace {

// At namespace scope, so that it outlives the exporter, which is a static of a function: the exporter's
// destructor stops the thread on which the manager works.
QMutex instanceMutex;
std::unique_ptr<VantorChunkTaskManager> instance;

} // namespace

struct VantorChunkTaskManager::Registry : GuidRegistry<VantorChunkTask, QString>
{
    /// \brief Reads the answers and hands them to the task; forgets the task after the last one, and drops what comes
    /// after that.
    void Deliver(const QString& guid, const Delivery& delivery)
    {
        for (const QString& info : delivery.callbacks) {
            const std::shared_ptr<VantorChunkResp> resp = VantorChunkResp::FromJsonStr(info);
            if (!resp)
                continue;
            delivery.task->NotifyProgressChanged(resp);
            if (resp->completed) {
                RemoveOf(guid, delivery.task);
                delivery.task->NofityFinished(resp);
                return;
            }
        }
    }
};

VantorChunkTaskManager* VantorChunkTaskManager::Instance()
{
    const QMutexLocker locker(&instanceMutex);
    if (!instance)
        instance.reset(new VantorChunkTaskManager);
    return instance.get();
}

VantorChunkTaskManager::VantorChunkTaskManager() : registry(std::make_unique<Registry>())
{
}

VantorChunkTaskManager::~VantorChunkTaskManager() = default;

QString VantorChunkTaskManager::StartChunkTask(QSharedPointer<VantorChunkTask> task)
{
    if (!task || !task->m_req)
        return QString();
    registry->BeginRegistration();
    const QString guid = VantorExporter::Instance()->StartChunkTask(task->m_req->ToJsonStr(), task->m_req->guid);
    // Before the task can be found: what it logs about its first answer names the guid.
    if (task->m_starting)
        task->setGuid(guid);
    if (registry->FinishRegistration(guid, task)) {
        QMetaObject::invokeMethod(
            this, [this, guid] { registry->Deliver(guid, registry->TakeEarly(guid)); }, Qt::QueuedConnection);
    }
    return guid;
}

void VantorChunkTaskManager::CancelChunkTask(const QString& guid)
{
    if (!registry->Find(guid)) {
        QCOMM_LOG(LogLevel::Warning, "VantorChunkTaskManager::CancelChunkTask")
            << "[chunk] is task cancelled? Not find guid: " << guid;
        return;
    }
    VantorExporter::Instance()->CancelChunkTask(guid);
}

QSharedPointer<VantorChunkTask> VantorChunkTaskManager::FindChunkTask(const QString& guid)
{
    return registry->Find(guid);
}

void VantorChunkTaskManager::RemoveChunkTask(const QString& guid)
{
    registry->Remove(guid);
}

void VantorChunkTaskManager::OnChunkTaskCallback(const QString& guid, const QString& info)
{
    registry->Deliver(guid, registry->Route(guid, info));
}

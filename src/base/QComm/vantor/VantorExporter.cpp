// SPDX-License-Identifier: MIT
#include "vantor/VantorExporter.h"

#include "QCommLog.h"
#include "vantor/VantorChunkTaskManager.h"
#include "vantor/VantorGroupDownloadTaskManager.h"
#include "vantor/VantorHandle.h"

#include <QCoreApplication>
#include <QList>
#include <QMutex>
#include <QMutexLocker>
#include <QPointer>
#include <QScopedPointer>
#include <QThread>

#include <atomic>

namespace {

void stopAndWait(QThread* thread)
{
    if (!thread)
        return;
    thread->requestInterruption();
    thread->quit();
    thread->wait();
}

QMutex hostedMutex;
QList<QPointer<QThread>> hosted;

/// \brief Stops all threads of hostOnNewThread().
///
/// They end with the application, not only with the exporter: when Windows ends a process it kills all other threads
/// before static objects are destroyed, with whatever locks they hold, and who needs such a lock afterwards waits for
/// ever.
void stopHosted()
{
    QList<QPointer<QThread>> threads;
    {
        const QMutexLocker locker(&hostedMutex);
        threads.swap(hosted);
    }
    for (const QPointer<QThread>& thread : qAsConst(threads))
        stopAndWait(thread);
}

/// \brief A new thread with `manager` on it.
///
/// An object can only be moved from the thread it lives on, so the manager leaves by itself when its thread
/// ends: back to `home`, from where a later Init() can move it to a fresh thread.
QThread* hostOnNewThread(QObject* manager, QThread* home)
{
    auto* thread = new QThread;
    manager->moveToThread(thread);
    const auto leave = [manager, home] {
        // The end of a thread that the system has killed is told by the thread that waits for it.
        if (manager->thread() == QThread::currentThread())
            manager->moveToThread(home);
    };
    QObject::connect(thread, &QThread::finished, manager, leave, Qt::DirectConnection);
    {
        const QMutexLocker locker(&hostedMutex);
        hosted.append(thread);
    }
    qRemovePostRoutine(stopHosted);
    qAddPostRoutine(stopHosted);
    return thread;
}

/// \brief Whether there is no thread, or one that has ended and whose end has not been told yet.
bool hasEnded(const QThread* thread)
{
    return !thread || thread->isFinished();
}

/// \brief Takes in the end of `ended`, unless a later Init() has put another thread in its place.
void forget(QThread*& thread, const QThread* ended)
{
    if (thread == ended)
        thread = nullptr;
}

} // namespace

VantorExporter* VantorExporter::Instance()
{
    static std::atomic<VantorExporter*> created{nullptr};
    static QMutex mutex;
    static QScopedPointer<VantorExporter> inst;

    if (!created.load(std::memory_order_acquire)) {
        const QMutexLocker locker(&mutex);
        if (!inst) {
            inst.reset(new VantorExporter(nullptr));
            created.store(inst.data(), std::memory_order_release);
        }
    }
    return created.load(std::memory_order_acquire);
}

VantorExporter::VantorExporter(QObject* parent) : QObject(parent), handle(new VantorHandle(this))
{
}

VantorExporter::~VantorExporter()
{
    if (handle) {
        VantorHandle::DetachExporter(this);
        // No longer a child, so that it is really left to the event loop: when the process is exiting, the
        // engine's own static data may be gone already and must not be called any more.
        handle->setParent(nullptr);
        handle->deleteLater();
    }
    stopAndWait(groupThread);
    stopAndWait(chunkThread);
}

bool VantorExporter::Init(const QString& path, const QString& config, int logLevel, int logDst)
{
    QCOMM_LOG(LogLevel::Info, "VantorExporter::Init") << " [vantor] init, path: " << path << ", config: " << config
                                                      << ", log level: " << logLevel << ", log dst: " << logDst;
    if (!IsValid())
        return false;

    handle->initEnv(path.toUtf8().constData(), config.toUtf8().constData(), logLevel, logDst);
    handle->RegisterCallbacks();
    startGroupThread();
    startChunkThread();
    return true;
}

void VantorExporter::startGroupThread()
{
    auto* manager = VantorGroupDownloadTaskManager::Instance();
    if (hasEnded(groupThread))
        groupThread = hostOnNewThread(manager, QThread::currentThread());

    // Intended: the manager has no such slot. Deployed launchers expect the attempt, which Qt reports at run
    // time; nothing is connected.
    connect(groupThread, SIGNAL(started()), manager, SLOT(start()));
    connect(this, &VantorExporter::onSingleTaskCallback, manager,
            &VantorGroupDownloadTaskManager::onSingleTaskCallback);
    connect(this, &VantorExporter::onGroupTaskCallback, manager, &VantorGroupDownloadTaskManager::onGroupTaskCallback);
    connect(groupThread, &QThread::finished, this, [this, thread = groupThread] { forget(groupThread, thread); });
    groupThread->start(QThread::InheritPriority);
}

void VantorExporter::startChunkThread()
{
    auto* manager = VantorChunkTaskManager::Instance();
    if (hasEnded(chunkThread))
        chunkThread = hostOnNewThread(manager, QThread::currentThread());

    // Intended, as above: neither pair exists on the manager, both attempts are reported and connect nothing.
    connect(chunkThread, SIGNAL(started()), manager, SLOT(start()));
    connect(manager, SIGNAL(complete()), manager, SLOT(quit()));
    connect(this, &VantorExporter::onChunkTaskCallback, manager, &VantorChunkTaskManager::OnChunkTaskCallback);
    connect(chunkThread, &QThread::finished, this, [this, thread = chunkThread] { forget(chunkThread, thread); });
    chunkThread->start(QThread::InheritPriority);
}

bool VantorExporter::IsValid() const
{
    return handle && handle->IsValid();
}

void VantorExporter::SetConfig(const QString& config)
{
    if (IsValid())
        handle->setConfig(config.toUtf8().constData());
}

QString VantorExporter::SetDownloadList(const QString& downloadList, const QString& extra)
{
    if (!IsValid())
        return QString();
    // The engine owns the text it returns; it is copied at once.
    return QString::fromUtf8(handle->setDownloadList(downloadList.toUtf8().constData(), extra.toUtf8().constData()));
}

void VantorExporter::Cancel(const QString& guid)
{
    if (IsValid())
        handle->cancel(guid.toUtf8().constData());
}

QString VantorExporter::StartChunkTask(const QString& request, const QString& extra)
{
    if (!IsValid())
        return QString();
    return QString::fromUtf8(handle->startChunkTask(request.toUtf8().constData(), extra.toUtf8().constData()));
}

void VantorExporter::CancelChunkTask(const QString& guid)
{
    if (IsValid())
        handle->cancelChunkTask(guid.toUtf8().constData());
}

void VantorExporter::SingleTaskCallback(const QString& group_guid, const QString& task_guid, const QString& data)
{
    Q_EMIT onSingleTaskCallback(group_guid, task_guid, data);
}

void VantorExporter::GroupTaskCallback(const QString& guid, const QString& data)
{
    Q_EMIT onGroupTaskCallback(guid, data);
}

void VantorExporter::ChunkTaskCallback(const QString& guid, const QString& data)
{
    Q_EMIT onChunkTaskCallback(guid, data);
}

void VantorExporter::StateCallback(QString data)
{
    Q_EMIT onStateCallback(data);
}

void VantorExporter::LogCallback(int /*severity*/, const QString& /*file*/, int /*line*/, int /*message_start*/,
                                 const QString& /*message*/)
{
}

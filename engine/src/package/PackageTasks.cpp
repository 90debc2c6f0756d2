// SPDX-License-Identifier: MIT
#include "package/PackageTasks.h"

#include "FileNames.h"
#include "package/PackageTask.h"

#include <algorithm>
#include <utility>

namespace VantorEngine {

namespace {

bool isSameFolder(const PackageRequest& a, const PackageRequest& b)
{
    return pathKey(a.installDir) == pathKey(b.installDir);
}

/// Also when they are of two installations: what one assembles, the other must not touch.
bool shareFolder(const PackageRequest& a, const PackageRequest& b)
{
    return isSameFolder(a, b) || pathKey(stagingRoot(a)) == pathKey(stagingRoot(b));
}

bool isTwin(const PackageRequest& a, const PackageRequest& b)
{
    return a.action == b.action && a.package == b.package && a.branch == b.branch && a.preDownload == b.preDownload &&
           isSameFolder(a, b);
}

/// A version is read from one file that is replaced in one step, so asking for it disturbs nobody.
bool doMeet(const PackageRequest& a, const PackageRequest& b)
{
    const bool onlyAsks = a.action == PackageAction::FetchVersion || b.action == PackageAction::FetchVersion;
    return !onlyAsks && (writesInstallation(a.action) || writesInstallation(b.action)) && shareFolder(a, b);
}

} // namespace

PackageTasks::PackageTasks(EngineServices& services) : m_services(services)
{
}

PackageTasks::~PackageTasks()
{
    for (const Entry& entry : m_tasks) {
        delete entry.task;
    }
}

void PackageTasks::add(const QByteArray& guid, const PackageRequest& request, std::function<void()> ended)
{
    m_services.outbox.hold(guid);
    auto* const task = new PackageTask(guid, request, m_services);
    const PackageTask* const twin = runningTwin(*task);
    m_tasks.push_back({task, std::move(ended)});
    connect(task, &PackageTask::ended, this, [this, task] { remove(task); });
    if (twin != nullptr) {
        task->endDuplicated(twin->guid());
        return;
    }
    startReady();
}

const PackageTask* PackageTasks::runningTwin(const PackageTask& task) const
{
    const auto twin = std::find_if(m_tasks.cbegin(), m_tasks.cend(), [&task](const Entry& each) {
        return !each.task->isEnding() && isTwin(each.task->request(), task.request());
    });
    return twin == m_tasks.cend() ? nullptr : twin->task;
}

bool PackageTasks::mustWait(std::size_t index) const
{
    const auto end = m_tasks.cbegin() + static_cast<std::ptrdiff_t>(index);
    return std::any_of(m_tasks.cbegin(), end, [this, index](const Entry& earlier) {
        return doMeet(earlier.task->request(), m_tasks[index].task->request());
    });
}

void PackageTasks::startReady()
{
    std::vector<PackageTask*> ready;
    for (std::size_t i = 0; i < m_tasks.size(); ++i) {
        if (!m_tasks[i].task->hasStarted() && !mustWait(i)) {
            ready.push_back(m_tasks[i].task);
        }
    }
    for (PackageTask* task : ready) {
        if (!task->hasStarted()) {
            task->start(); // may end at once, which leaves the object to the event loop
        }
    }
}

void PackageTasks::cancel(const QByteArray& guid)
{
    const auto entry = std::find_if(m_tasks.cbegin(), m_tasks.cend(),
                                    [&guid](const Entry& each) { return each.task->guid() == guid; });
    if (entry != m_tasks.cend()) {
        entry->task->cancel();
    }
}

void PackageTasks::release(const QByteArray& guid)
{
    const std::vector<Entry> entries = m_tasks;
    for (const Entry& entry : entries) {
        if (guid.isEmpty() || entry.task->guid() == guid) {
            entry.task->abandon(); // may end at once, which leaves the object to the event loop
        }
    }
}

void PackageTasks::intervalChanged()
{
    for (const Entry& entry : m_tasks) {
        entry.task->intervalChanged();
    }
}

void PackageTasks::remove(PackageTask* task)
{
    const auto entry =
        std::find_if(m_tasks.begin(), m_tasks.end(), [task](const Entry& each) { return each.task == task; });
    if (entry == m_tasks.end()) {
        return;
    }
    const std::function<void()> ended = std::move(entry->ended);
    m_tasks.erase(entry);
    task->deleteLater();
    ended();
    // Not from inside the call that ended it.
    QMetaObject::invokeMethod(this, &PackageTasks::startReady, Qt::QueuedConnection);
}

} // namespace VantorEngine

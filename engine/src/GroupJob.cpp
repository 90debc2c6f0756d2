// SPDX-License-Identifier: MIT
#include "GroupJob.h"

#include "CallbackPacer.h"
#include "Json.h"

#include <algorithm>

namespace VantorEngine {

GroupJob::GroupJob(const QByteArray& guid, const DownloadList& list, EngineServices& services)
    : m_guid(guid), m_services(services), m_open(static_cast<std::size_t>(list.files.size())), m_transfers(m_open)
{
    m_files.reserve(m_open);
    const QString guidText = QString::fromLatin1(guid);
    for (const FileSpec& wanted : list.files) {
        m_files.push_back(std::make_unique<FileJob>(wanted, guidText, services, static_cast<FileJobListener&>(*this)));
        ++m_openPaths[m_files.back()->pathKey()];
    }
    m_tick.setSingleShot(true);
    connect(&m_tick, &QTimer::timeout, this, &GroupJob::tick);
    connect(&services.paths, &PathRegistry::released, this, &GroupJob::onPathReleased);
}

GroupJob::~GroupJob() = default;

void GroupJob::open()
{
    for (const std::unique_ptr<FileJob>& file : m_files) {
        file->survey();
        m_ready.push_back(file.get());
    }
    setStatus(GroupStatus::Pending);
    setStatus(GroupStatus::Start);
    scheduleTick();
    emit workAvailable();
}

void GroupJob::endBroken(const QString& problem)
{
    m_problem = problem;
    VANTOR_LOG(m_services.log, Warning,
               QStringLiteral("group %1 failed: %2").arg(QString::fromLatin1(m_guid), problem));
    m_finished = true;
    setStatus(GroupStatus::Failed);
    emit ended();
}

void GroupJob::endDuplicated()
{
    m_finished = true;
    setStatus(GroupStatus::Duplicated);
    emit ended();
}

void GroupJob::cancel()
{
    if (m_cancelled || m_finished) {
        return;
    }
    m_cancelled = true;
    m_tick.stop();
    m_ready.clear();
    m_blocked.clear();
    setStatus(GroupStatus::Cancelling);
    for (const std::unique_ptr<FileJob>& file : m_files) {
        file->cancel();
    }
}

void GroupJob::abandon()
{
    m_finished = true;
    m_tick.stop();
    m_ready.clear();
    m_blocked.clear();
    m_running.clear();
    m_files.clear();
    m_slotsHeld = 0;
    m_services.outbox.drop(m_guid);
}

bool GroupJob::startNext()
{
    while (!m_ready.empty()) {
        FileJob* const file = m_ready.front();
        m_ready.pop_front();
        if (!claimPath(*file)) {
            continue;
        }
        if (m_status == GroupStatus::Start) {
            setStatus(GroupStatus::Progressing);
        }
        ++m_slotsHeld;
        m_running.push_back(file);
        file->start();
        return true;
    }
    return false;
}

bool GroupJob::widenNext()
{
    const auto file =
        std::find_if(m_running.cbegin(), m_running.cend(), [](FileJob* each) { return each->canWiden(); });
    if (file == m_running.cend()) {
        return false;
    }
    ++m_slotsHeld;
    (*file)->widen();
    return true;
}

bool GroupJob::claimPath(FileJob& file)
{
    // A refused name has no path; the file fails without touching the disk.
    if (file.holdsPath() || file.pathKey().isEmpty()) {
        return true;
    }
    if (!m_services.paths.claim(file.pathKey())) {
        m_blocked.insert(file.pathKey(), &file);
        return false;
    }
    file.setHoldsPath(true);
    return true;
}

void GroupJob::onPathReleased(const QString& key)
{
    const QList<FileJob*> freed = m_blocked.values(key);
    if (freed.isEmpty()) {
        return;
    }
    m_blocked.remove(key);
    // QMultiHash lists the latest first; the list's order is the other way round.
    std::for_each(freed.crbegin(), freed.crend(), [this](FileJob* file) { m_ready.push_back(file); });
    emit workAvailable();
}

bool GroupJob::covers(const GroupJob& other) const
{
    return !m_cancelled && !m_finished &&
           std::all_of(other.m_files.cbegin(), other.m_files.cend(), [this](const std::unique_ptr<FileJob>& file) {
               return !file->pathKey().isEmpty() && m_openPaths.contains(file->pathKey());
           });
}

void GroupJob::intervalChanged()
{
    if (m_tick.isActive()) {
        scheduleTick();
    }
}

void GroupJob::fileChanged(FileJob& file)
{
    if (m_services.callbacks.wantsSingleTask()) {
        FileState& state = file.state();
        m_services.outbox.sendSingleTask(m_guid, state.guid.toLatin1(), singleTaskText(state));
    }
    if (file.canWiden()) {
        emit workAvailable(); // nothing else may happen for as long as it is transferred
    }
}

void GroupJob::fileThrough(FileJob& file)
{
    --m_transfers;
    m_anyTransferred = m_anyTransferred || file.state().status == ItemStatus::Downloaded;
    if (m_transfers == 0 && m_anyTransferred && !m_cancelled) {
        setStatus(GroupStatus::Verifying);
    }
}

void GroupJob::fileSlotFree(FileJob& file)
{
    --m_slotsHeld;
    if (file.slotsHeld() == 0) {
        m_running.erase(std::remove(m_running.begin(), m_running.end(), &file), m_running.end());
    }
    emit workAvailable();
}

void GroupJob::fileReady(FileJob& file)
{
    m_ready.push_front(&file);
    emit workAvailable();
}

void GroupJob::fileEnded(FileJob& file)
{
    m_anyFailed = m_anyFailed || file.state().status == ItemStatus::Failed;
    const auto path = m_openPaths.find(file.pathKey());
    if (--*path == 0) {
        m_openPaths.erase(path);
    }
    if (--m_open == 0) {
        finish();
    }
}

void GroupJob::finish()
{
    m_finished = true;
    m_tick.stop();
    if (m_cancelled) {
        setStatus(GroupStatus::Cancelled);
    } else {
        setStatus(m_anyFailed ? GroupStatus::Failed : GroupStatus::Success);
    }
    emit ended();
}

void GroupJob::setStatus(GroupStatus status)
{
    m_status = status;
    VANTOR_LOG(m_services.log, Detail,
               QStringLiteral("group %1: %2").arg(QString::fromLatin1(m_guid), QLatin1String(statusName(status))));
    report();
}

void GroupJob::tick()
{
    report();
    scheduleTick();
}

void GroupJob::scheduleTick()
{
    m_tick.start(CallbackPacer::interval(m_services.settings.progressIntervalMs, m_lastCostUs,
                                         static_cast<qint64>(m_files.size())));
}

void GroupJob::report()
{
    if (!m_services.callbacks.wantsGroupTask()) {
        return;
    }
    QElapsedTimer cost;
    cost.start();
    m_services.outbox.sendGroupTask(m_guid, groupText());
    m_lastCostUs = cost.nsecsElapsed() / 1000;
}

QByteArray GroupJob::groupText()
{
    QByteArray text;
    text.reserve(m_lastTextBytes + m_lastTextBytes / 8);
    text.append('{');
    appendJsonMember(text, "guid", QString::fromLatin1(m_guid));
    appendJsonMember(text, "status", statusName(m_status));
    if (!m_problem.isEmpty()) {
        appendJsonMember(text, "message", m_problem);
    }
    appendJsonKey(text, "download_items");
    text.append('[');
    bool first = true;
    for (const std::unique_ptr<FileJob>& file : m_files) {
        if (!first) {
            text.append(',');
        }
        first = false;
        file->sample();
        appendFileObject(text, file->state(), Detail::Brief);
    }
    text.append("]}");
    m_lastTextBytes = text.size();
    return text;
}

} // namespace VantorEngine

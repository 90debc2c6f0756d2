// SPDX-License-Identifier: MIT
#include "Hasher.h"

#include <QFile>

#include <algorithm>

namespace VantorEngine {

Hasher::Hasher() : m_waker([this] { deliverResults(); })
{
}

Hasher::~Hasher()
{
    for (const Client& client : std::as_const(m_clients)) {
        client.job->cancelled = true;
    }
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_ending = true;
        m_queue.clear();
    }
    m_changed.notify_all();
    for (std::thread& thread : m_threads) {
        thread.join();
    }
}

Hasher::Id Hasher::start(const QString& path, Callback callback)
{
    const Id id = add(path, kAll, std::move(callback));
    queue(m_clients.constFind(id)->job);
    return id;
}

Hasher::Id Hasher::follow(const QString& path, Callback callback)
{
    return add(path, 0, std::move(callback));
}

Hasher::Id Hasher::add(const QString& path, qint64 available, Callback callback)
{
    auto job = std::make_shared<Job>();
    job->id = ++m_lastId;
    job->path = path;
    job->available = available;
    m_clients.insert(job->id, {job, std::move(callback)});
    return job->id;
}

void Hasher::extend(Id id, qint64 bytes)
{
    const auto client = m_clients.constFind(id);
    if (client != m_clients.constEnd() && bytes - client->job->available >= kWorthwhile) {
        client->job->available = bytes;
        queue(client->job);
    }
}

void Hasher::finish(Id id)
{
    const auto client = m_clients.constFind(id);
    if (client != m_clients.constEnd()) {
        client->job->available = kAll;
        queue(client->job);
    }
}

void Hasher::queue(const JobPointer& job)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (job->busy) {
            return; // whoever works on it looks for more before leaving it
        }
        job->busy = true;
        m_queue.push_back(job);
        if (m_idleThreads < m_queue.size()) {
            addThread();
        }
    }
    m_changed.notify_one();
}

void Hasher::addThread()
{
    if (m_threads.size() < std::clamp(std::thread::hardware_concurrency(), 1U, kMostThreads)) {
        m_threads.emplace_back([this] { work(); });
    }
}

void Hasher::work()
{
    QByteArray slice(kSliceBytes, Qt::Uninitialized);
    std::unique_lock<std::mutex> lock(m_mutex);
    while (true) {
        ++m_idleThreads;
        m_changed.wait(lock, [this] { return m_ending || !m_queue.empty(); });
        --m_idleThreads;
        if (m_ending) {
            return;
        }
        const JobPointer job = std::move(m_queue.front());
        m_queue.pop_front();
        lock.unlock();
        HashResult result;
        const bool done = takeTurn(*job, slice, result);
        lock.lock();
        if (done) {
            m_results.emplace_back(job->id, std::move(result));
            m_waker.wake();
        } else if (wantsAnotherTurn(*job)) {
            m_queue.push_back(job);
        } else {
            job->busy = false;
        }
    }
}

bool Hasher::wantsAnotherTurn(const Job& job) const
{
    return job.cancelled || job.available > job.processed;
}

/// Hashes what is available, or a turn's worth of it.
/// \return true when the job is done, with its \a result.
bool Hasher::takeTurn(Job& job, QByteArray& slice, HashResult& result)
{
    if (job.cancelled) {
        return true;
    }
    QFile file(job.path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered) || !file.seek(job.processed)) {
        result = {HashResult::Outcome::Unreadable, {}, file.errorString()};
        return true;
    }
    const qint64 available = job.available;
    const qint64 turnEnd = std::min(available, job.processed + kTurnBytes);
    while (job.processed < turnEnd) {
        const qint64 got = file.read(slice.data(), std::min<qint64>(slice.size(), turnEnd - job.processed));
        if (got < 0 || (got == 0 && available != kAll)) {
            result = {HashResult::Outcome::Unreadable, {}, file.errorString()};
            return true;
        }
        if (got == 0) {
            result = {HashResult::Outcome::Done, job.digest.result().toHex(), {}};
            return true;
        }
        job.digest.addData(slice.constData(), static_cast<int>(got));
        job.processed += got;
        if (job.cancelled) {
            return true;
        }
    }
    return false;
}

void Hasher::cancel(Id id)
{
    const auto client = m_clients.constFind(id);
    if (client != m_clients.constEnd()) {
        client->job->cancelled = true;
        queue(client->job);
    }
}

void Hasher::forget(Id id)
{
    const Client client = m_clients.take(id);
    if (client.job) {
        client.job->cancelled = true;
    }
}

qint64 Hasher::processed(Id id) const
{
    const auto client = m_clients.constFind(id);
    return client == m_clients.constEnd() ? 0 : client->job->processed.load();
}

void Hasher::deliverResults()
{
    std::vector<std::pair<Id, HashResult>> results;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        results.swap(m_results);
    }
    for (const auto& [id, result] : results) {
        const Client client = m_clients.take(id);
        if (client.callback) {
            client.callback(result);
        }
    }
}

} // namespace VantorEngine

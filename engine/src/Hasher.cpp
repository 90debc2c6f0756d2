// SPDX-License-Identifier: MIT
#include "Hasher.h"

#include <QCryptographicHash>
#include <QFile>

#include <algorithm>

namespace VantorEngine {

Hasher::Hasher() : m_waker([this] { deliverResults(); })
{
}

Hasher::~Hasher()
{
    for (const Job& job : std::as_const(m_jobs)) {
        job.ticket->cancelled = true;
    }
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_ending = true;
        m_orders.clear();
    }
    m_changed.notify_all();
    for (std::thread& thread : m_threads) {
        thread.join();
    }
}

Hasher::Id Hasher::start(const QString& path, Callback callback)
{
    const Id id = ++m_lastId;
    auto ticket = std::make_shared<Ticket>();
    m_jobs.insert(id, {ticket, std::move(callback)});
    bool anyIdle = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_orders.push_back({id, path, ticket});
        anyIdle = m_idleThreads >= m_orders.size();
    }
    if (!anyIdle) {
        addThread();
    }
    m_changed.notify_one();
    return id;
}

void Hasher::addThread()
{
    if (m_threads.size() < std::clamp(std::thread::hardware_concurrency(), 1U, kMostThreads)) {
        m_threads.emplace_back([this] { work(); });
    }
}

void Hasher::work()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (true) {
        ++m_idleThreads;
        m_changed.wait(lock, [this] { return m_ending || !m_orders.empty(); });
        --m_idleThreads;
        if (m_ending) {
            return;
        }
        const Order order = std::move(m_orders.front());
        m_orders.pop_front();
        lock.unlock();
        HashResult result = hash(order.path, *order.ticket);
        lock.lock();
        m_results.emplace_back(order.id, std::move(result));
        m_waker.wake();
    }
}

void Hasher::cancel(Id id)
{
    const auto job = m_jobs.constFind(id);
    if (job != m_jobs.constEnd()) {
        job->ticket->cancelled = true;
    }
}

void Hasher::forget(Id id)
{
    cancel(id);
    m_jobs.remove(id);
}

qint64 Hasher::processed(Id id) const
{
    const auto job = m_jobs.constFind(id);
    return job == m_jobs.constEnd() ? 0 : job->ticket->processed.load();
}

HashResult Hasher::hash(const QString& path, Ticket& ticket)
{
    if (ticket.cancelled) {
        return {};
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return {HashResult::Outcome::Unreadable, {}, file.errorString()};
    }
    QCryptographicHash digest(QCryptographicHash::Md5);
    QByteArray slice(kSliceBytes, Qt::Uninitialized);
    qint64 got = 0;
    while ((got = file.read(slice.data(), slice.size())) > 0) {
        digest.addData(slice.constData(), static_cast<int>(got));
        ticket.processed += got;
        if (ticket.cancelled) {
            return {};
        }
    }
    if (got < 0) {
        return {HashResult::Outcome::Unreadable, {}, file.errorString()};
    }
    return {HashResult::Outcome::Done, digest.result().toHex(), {}};
}

void Hasher::deliverResults()
{
    std::vector<std::pair<Id, HashResult>> results;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        results.swap(m_results);
    }
    for (const auto& [id, result] : results) {
        const Job job = m_jobs.take(id);
        if (job.callback) {
            job.callback(result);
        }
    }
}

} // namespace VantorEngine

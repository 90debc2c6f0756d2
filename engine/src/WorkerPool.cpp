// SPDX-License-Identifier: MIT
#include "WorkerPool.h"

#include <algorithm>
#include <utility>

namespace VantorEngine {

WorkerPool::WorkerPool() : m_waker([this] { deliver(); })
{
}

WorkerPool::~WorkerPool()
{
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

std::size_t WorkerPool::width()
{
    return std::clamp(std::thread::hardware_concurrency(), 1U, kMostThreads);
}

void WorkerPool::post(std::function<void()> work, std::function<void()> done)
{
    bool anyIdle = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_orders.push_back({std::move(work), std::move(done)});
        anyIdle = m_idleThreads >= m_orders.size();
    }
    if (!anyIdle && m_threads.size() < width()) {
        m_threads.emplace_back([this] { run(); });
    }
    m_changed.notify_one();
}

void WorkerPool::run()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (true) {
        ++m_idleThreads;
        m_changed.wait(lock, [this] { return m_ending || !m_orders.empty(); });
        --m_idleThreads;
        if (m_ending) {
            return;
        }
        Order order = std::move(m_orders.front());
        m_orders.pop_front();
        lock.unlock();
        order.work();
        lock.lock();
        m_done.push_back(std::move(order.done));
        m_waker.wake();
    }
}

void WorkerPool::deliver()
{
    std::vector<std::function<void()>> done;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        done.swap(m_done);
    }
    for (const std::function<void()>& each : done) {
        each();
    }
}

} // namespace VantorEngine

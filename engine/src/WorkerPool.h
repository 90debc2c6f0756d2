// SPDX-License-Identifier: MIT
#pragma once

#include "Waker.h"

#include <QObject>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace VantorEngine {

/// Runs work that reads, writes or computes on threads of its own, in order of posting. Used from the engine's thread,
/// and what is to be done with the result happens there, through its event loop.
class WorkerPool : public QObject
{
    Q_OBJECT
public:
    WorkerPool();
    /// Waits for the work that runs; what has not begun is dropped. Nothing is called any more.
    ~WorkerPool() override;

    /// \param work on another thread; must not throw
    /// \param done on the engine's thread afterwards
    void post(std::function<void()> work, std::function<void()> done);
    /// How many pieces of work can run at once.
    static std::size_t width();

    static constexpr unsigned kMostThreads = 8;

private:
    struct Order
    {
        std::function<void()> work;
        std::function<void()> done;
    };

    void run();
    void deliver();

    Waker m_waker;
    std::vector<std::thread> m_threads;

    std::mutex m_mutex; ///< guards what follows
    std::condition_variable m_changed;
    std::deque<Order> m_orders;
    std::vector<std::function<void()>> m_done;
    std::size_t m_idleThreads = 0;
    bool m_ending = false;
};

} // namespace VantorEngine

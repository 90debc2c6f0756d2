// SPDX-License-Identifier: MIT
#pragma once

#include <QThread>

#include <deque>
#include <functional>
#include <mutex>

namespace VantorEngine {

class CallbackTable;
class EngineCore;
class Log;
class Waker;
struct Settings;

/// The thread the engine runs on, and the way there from other threads.
///
/// Never destroyed: it belongs to the engine, which stays until the process is gone. The thread itself is stopped
/// when the application object goes or the process calls exit(), because the libraries it uses end with those.
class EngineThread
{
public:
    using Task = std::function<void(EngineCore&)>;

    EngineThread(CallbackTable& callbacks, Log& log, Settings& settings);

    /// Starts the thread unless it runs.
    void start();
    /// Runs \a task on the thread, in order of posting; tasks for a thread that is not running wait for it.
    void post(Task task);
    /// Like post, but drops the task when there is no thread.
    void postIfRunning(Task task);
    /// Ends the thread, waiting kStopTimeoutMs at most. Groups are dropped without a callback.
    void stop();

    static constexpr unsigned long kStopTimeoutMs = 3000;

private:
    class Worker : public QThread
    {
    public:
        explicit Worker(EngineThread& owner) : m_owner(owner) {}
        void run() override;

    private:
        EngineThread& m_owner;
    };

    void runTasks(EngineCore& core, const Waker& waker);
    void wake();
    void attach(Waker& waker);
    void detach(const Waker& waker);

    CallbackTable& m_callbacks;
    Log& m_log;
    Settings& m_settings;
    std::mutex m_mutex;
    std::deque<Task> m_tasks;
    Worker* m_worker = nullptr;
    Waker* m_waker = nullptr; ///< of m_worker, while its event loop can run tasks
    bool m_awake = false;     ///< runTasks will be called
};

/// Stops the process's engine thread, if there is one.
void stopEngineThread();

} // namespace VantorEngine

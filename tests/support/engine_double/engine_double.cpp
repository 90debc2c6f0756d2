// SPDX-License-Identifier: MIT
// An engine that downloads nothing: it records what it is asked to do and calls back when a test tells it to.
// Each ENGINE_DOUBLE_WITHOUT_<function> leaves one function out.
#include "EngineDoubleControl.h"

#include <array>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#if defined(_WIN32)
#define ENGINE_EXPORT extern "C" __declspec(dllexport)
#else
#define ENGINE_EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace {

using EngineDouble::CallbackKind;
using EngineDouble::CallRecord;
using EngineDouble::Function;

using DataCallback = void (*)(const char* data);
using GuidCallback = void (*)(const char* guid, const char* data);
using FileCallback = void (*)(const char* groupGuid, const char* taskGuid, const char* data);
using LogHandler = void (*)(int severity, const char* file, int line, int messageStart, const char* message);

/// \brief A C text or a null pointer.
using Text = std::optional<std::string>;

Text copyOf(const char* text)
{
    return text ? Text(text) : Text();
}

const char* pointerTo(const Text& text)
{
    return text ? text->c_str() : nullptr;
}

struct Call
{
    Function function;
    Text text1;
    Text text2;
    int number1;
    int number2;
    unsigned long long thread;
};

struct Callbacks
{
    DataCallback state = nullptr;
    FileCallback singleTask = nullptr;
    GuidCallback groupTask = nullptr;
    GuidCallback chunkTask = nullptr;
};

/// \brief One thread of the engine with its queue.
class Worker
{
public:
    Worker()
    {
        std::thread([this] { run(); }).detach();
    }

    void Post(std::function<void()> job)
    {
        const std::lock_guard lock(m_mutex);
        m_jobs.push_back(std::move(job));
        m_changed.notify_all();
    }

    void WaitUntilIdle()
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_jobs.empty() && !m_busy; });
    }

private:
    [[noreturn]] void run()
    {
        std::unique_lock lock(m_mutex);
        for (;;) {
            m_changed.wait(lock, [this] { return !m_jobs.empty(); });
            const std::function<void()> job = std::move(m_jobs.front());
            m_jobs.pop_front();
            m_busy = true;
            lock.unlock();
            job();
            lock.lock();
            m_busy = false;
            m_changed.notify_all();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::function<void()>> m_jobs;
    bool m_busy = false;
};

class Engine final : public EngineDouble::Control
{
public:
    void Reset() override
    {
        const std::lock_guard lock(m_mutex);
        m_calls.clear();
        m_guids.clear();
        m_actions.clear();
        m_ignoreRemoval = false;
    }

    void TakeCalls(void (*visit)(void* context, const CallRecord& call), void* context) override
    {
        std::vector<Call> calls;
        {
            const std::lock_guard lock(m_mutex);
            calls.swap(m_calls);
        }
        for (const Call& call : calls) {
            visit(context, {call.function, pointerTo(call.text1), pointerTo(call.text2), call.number1, call.number2,
                            call.thread});
        }
    }

    unsigned long long CurrentThread() const override
    {
        return static_cast<unsigned long long>(std::hash<std::thread::id>()(std::this_thread::get_id()));
    }

    void ScriptGuid(Function function, const char* guid) override
    {
        const std::lock_guard lock(m_mutex);
        m_guids[function].push_back(copyOf(guid));
    }

    void ScriptAction(Function function, void (*action)(void* context, const char* guid), void* context) override
    {
        const std::lock_guard lock(m_mutex);
        m_actions[function] = [action, context](const char* guid) { action(context, guid); };
    }

    void ScribbleReturnedTexts() override
    {
        const std::lock_guard lock(m_mutex);
        for (std::string& text : m_returned)
            text.assign(text.size(), 'x');
    }

    void Fire(std::size_t thread, CallbackKind kind, const char* text1, const char* text2, const char* text3) override
    {
        worker(thread).Post([this, kind, a = copyOf(text1), b = copyOf(text2), c = copyOf(text3)] {
            FireHere(kind, pointerTo(a), pointerTo(b), pointerTo(c));
        });
    }

    void FireHere(CallbackKind kind, const char* text1, const char* text2, const char* text3) override
    {
        const Callbacks callbacks = current();
        switch (kind) {
        case EngineDouble::StateCallback:
            if (callbacks.state)
                callbacks.state(text1);
            return;
        case EngineDouble::SingleTaskCallback:
            if (callbacks.singleTask)
                callbacks.singleTask(text1, text2, text3);
            return;
        case EngineDouble::GroupTaskCallback:
            if (callbacks.groupTask)
                callbacks.groupTask(text1, text2);
            return;
        case EngineDouble::ChunkTaskCallback:
            if (callbacks.chunkTask)
                callbacks.chunkTask(text1, text2);
            return;
        }
    }

    void Flush() override
    {
        std::vector<Worker*> workers;
        {
            const std::lock_guard lock(m_mutex);
            for (const auto& [number, worker] : m_workers)
                workers.push_back(worker.get());
        }
        for (Worker* worker : workers)
            worker->WaitUntilIdle();
    }

    bool IsInstalled(CallbackKind kind) const override
    {
        const std::lock_guard lock(m_mutex);
        switch (kind) {
        case EngineDouble::StateCallback:
            return m_installed.state != nullptr;
        case EngineDouble::SingleTaskCallback:
            return m_installed.singleTask != nullptr;
        case EngineDouble::GroupTaskCallback:
            return m_installed.groupTask != nullptr;
        case EngineDouble::ChunkTaskCallback:
            return m_installed.chunkTask != nullptr;
        }
        return false;
    }

    void IgnoreRemoval(bool ignore) override
    {
        const std::lock_guard lock(m_mutex);
        m_ignoreRemoval = ignore;
    }

    void Record(Function function, const char* text1 = nullptr, const char* text2 = nullptr, int number1 = 0,
                int number2 = 0)
    {
        const std::lock_guard lock(m_mutex);
        m_calls.push_back({function, copyOf(text1), copyOf(text2), number1, number2, CurrentThread()});
    }

    const char* StartTask(Function function, const char* prefix)
    {
        const char* guid = nullptr;
        std::function<void(const char*)> action;
        {
            const std::lock_guard lock(m_mutex);
            guid = nextGuid(function, prefix);
            std::swap(action, m_actions[function]);
        }
        if (action)
            action(guid);
        return guid;
    }

    void InstallState(DataCallback callback)
    {
        const std::lock_guard lock(m_mutex);
        m_installed.state = m_last.state = callback;
    }
    void InstallSingleTask(FileCallback callback)
    {
        const std::lock_guard lock(m_mutex);
        m_installed.singleTask = m_last.singleTask = callback;
    }
    void InstallGroupTask(GuidCallback callback)
    {
        const std::lock_guard lock(m_mutex);
        m_installed.groupTask = m_last.groupTask = callback;
    }
    void InstallChunkTask(GuidCallback callback)
    {
        const std::lock_guard lock(m_mutex);
        m_installed.chunkTask = m_last.chunkTask = callback;
    }
    void RemoveAll()
    {
        const std::lock_guard lock(m_mutex);
        m_installed = Callbacks();
    }

private:
    Callbacks current() const
    {
        const std::lock_guard lock(m_mutex);
        return m_ignoreRemoval ? m_last : m_installed;
    }

    Worker& worker(std::size_t number)
    {
        const std::lock_guard lock(m_mutex);
        std::unique_ptr<Worker>& worker = m_workers[number];
        if (!worker)
            worker = std::make_unique<Worker>();
        return *worker;
    }

    const char* nextGuid(Function function, const char* prefix)
    {
        std::deque<Text>& script = m_guids[function];
        Text guid = prefix + std::to_string(++m_counts[function]);
        if (!script.empty()) {
            guid = std::move(script.front());
            script.pop_front();
        }
        if (!guid)
            return nullptr;
        return m_returned.emplace_back(std::move(*guid)).c_str();
    }

    mutable std::mutex m_mutex;
    std::vector<Call> m_calls;
    std::map<Function, std::deque<Text>> m_guids;
    std::map<Function, int> m_counts;
    std::map<Function, std::function<void(const char*)>> m_actions;
    std::deque<std::string> m_returned; // a deque, so that returned texts stay where they are
    Callbacks m_installed;
    Callbacks m_last;
    bool m_ignoreRemoval = false;
    std::map<std::size_t, std::unique_ptr<Worker>> m_workers;
};

// Never destroyed: its threads wait for work until the process exits.
Engine& engine()
{
    static Engine* const instance = new Engine;
    return *instance;
}

} // namespace

ENGINE_EXPORT EngineDouble::Control* EngineDouble_Control()
{
    return &engine();
}

#if !defined(ENGINE_DOUBLE_WITHOUT_Vantor_InitEnv)
ENGINE_EXPORT void Vantor_InitEnv(const char* path, const char* config, int logLevel, int logDst)
{
    engine().Record(EngineDouble::InitEnv, path, config, logLevel, logDst);
}
#endif

#if !defined(ENGINE_DOUBLE_WITHOUT_Vantor_SetConfig)
ENGINE_EXPORT void Vantor_SetConfig(const char* config)
{
    engine().Record(EngineDouble::SetConfig, config);
}
#endif

#if !defined(ENGINE_DOUBLE_WITHOUT_Vantor_SetDownloadList)
ENGINE_EXPORT const char* Vantor_SetDownloadList(const char* downloadList, const char* extra)
{
    engine().Record(EngineDouble::SetDownloadList, downloadList, extra);
    return engine().StartTask(EngineDouble::SetDownloadList, "group-");
}
#endif

#if !defined(ENGINE_DOUBLE_WITHOUT_Vantor_Release)
ENGINE_EXPORT void Vantor_Release(const char* text)
{
    engine().Record(EngineDouble::Release, text);
}
#endif

#if !defined(ENGINE_DOUBLE_WITHOUT_Vantor_Cancel)
ENGINE_EXPORT void Vantor_Cancel(const char* groupGuid)
{
    engine().Record(EngineDouble::Cancel, groupGuid);
}
#endif

#if !defined(ENGINE_DOUBLE_WITHOUT_Vantor_RemoveCallback)
ENGINE_EXPORT void Vantor_RemoveCallback()
{
    engine().Record(EngineDouble::RemoveCallback);
    engine().RemoveAll();
}
#endif

#if !defined(ENGINE_DOUBLE_WITHOUT_Vantor_StartChunkTask)
ENGINE_EXPORT const char* Vantor_StartChunkTask(const char* request, const char* extra)
{
    engine().Record(EngineDouble::StartChunkTask, request, extra);
    return engine().StartTask(EngineDouble::StartChunkTask, "chunk-");
}
#endif

#if !defined(ENGINE_DOUBLE_WITHOUT_Vantor_CancelChunkTask)
ENGINE_EXPORT void Vantor_CancelChunkTask(const char* guid)
{
    engine().Record(EngineDouble::CancelChunkTask, guid);
}
#endif

#if !defined(ENGINE_DOUBLE_WITHOUT_Vantor_SetEngineStateCallback)
ENGINE_EXPORT void Vantor_SetEngineStateCallback(DataCallback callback)
{
    engine().Record(EngineDouble::SetEngineStateCallback, nullptr, nullptr, callback ? 1 : 0);
    engine().InstallState(callback);
}
#endif

#if !defined(ENGINE_DOUBLE_WITHOUT_Vantor_SetSingleTaskCallback)
ENGINE_EXPORT void Vantor_SetSingleTaskCallback(FileCallback callback)
{
    engine().Record(EngineDouble::SetSingleTaskCallback, nullptr, nullptr, callback ? 1 : 0);
    engine().InstallSingleTask(callback);
}
#endif

#if !defined(ENGINE_DOUBLE_WITHOUT_Vantor_SetGroupTaskCallback)
ENGINE_EXPORT void Vantor_SetGroupTaskCallback(GuidCallback callback)
{
    engine().Record(EngineDouble::SetGroupTaskCallback, nullptr, nullptr, callback ? 1 : 0);
    engine().InstallGroupTask(callback);
}
#endif

#if !defined(ENGINE_DOUBLE_WITHOUT_Vantor_SetLogHandler)
ENGINE_EXPORT void Vantor_SetLogHandler(LogHandler handler)
{
    engine().Record(EngineDouble::SetLogHandler, nullptr, nullptr, handler ? 1 : 0);
}
#endif

#if !defined(ENGINE_DOUBLE_WITHOUT_Vantor_SetChunkTaskCallback)
ENGINE_EXPORT void Vantor_SetChunkTaskCallback(GuidCallback callback)
{
    engine().Record(EngineDouble::SetChunkTaskCallback, nullptr, nullptr, callback ? 1 : 0);
    engine().InstallChunkTask(callback);
}
#endif

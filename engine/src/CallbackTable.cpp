// SPDX-License-Identifier: MIT
#include "CallbackTable.h"

#include <chrono>
#include <thread>

namespace VantorEngine {

namespace {

/// How many callbacks the present thread is inside of: it cannot wait for those.
thread_local int ownCalls = 0;

class CallScope
{
public:
    explicit CallScope(std::atomic<int>& running) : m_running(running)
    {
        ++m_running;
        ++ownCalls;
    }
    ~CallScope()
    {
        --ownCalls;
        --m_running;
    }
    Q_DISABLE_COPY(CallScope)

private:
    std::atomic<int>& m_running;
};

} // namespace

template<typename Function, typename... Args>
void CallbackTable::call(const std::atomic<Function>& function, Args... args)
{
    if (function.load() == nullptr) {
        return; // uncounted, so that a remover does not wait for calls that come to nothing
    }
    const CallScope scope(m_running);
    const Function target = function.load();
    if (target != nullptr) {
        target(args...);
    }
}

void CallbackTable::removeAll()
{
    m_state = nullptr;
    m_singleTask = nullptr;
    m_groupTask = nullptr;
    m_chunkTask = nullptr;
    m_log = nullptr;
    // A bounded poll: a host that ends may have killed the thread that is counted, and nobody would wake a waiter.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kRemoveTimeoutMs);
    while (m_running > ownCalls && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

void CallbackTable::callState(const QByteArray& data)
{
    call(m_state, data.constData());
}

void CallbackTable::callSingleTask(const QByteArray& groupGuid, const QByteArray& taskGuid, const QByteArray& data)
{
    call(m_singleTask, groupGuid.constData(), taskGuid.constData(), data.constData());
}

void CallbackTable::callGroupTask(const QByteArray& guid, const QByteArray& data)
{
    call(m_groupTask, guid.constData(), data.constData());
}

void CallbackTable::callChunkTask(const QByteArray& guid, const QByteArray& data)
{
    call(m_chunkTask, guid.constData(), data.constData());
}

void CallbackTable::callLog(int severity, const char* file, int line, int messageStart, const QByteArray& message)
{
    call(m_log, severity, file, line, messageStart, message.constData());
}

} // namespace VantorEngine

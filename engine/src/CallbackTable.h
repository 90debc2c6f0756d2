// SPDX-License-Identifier: MIT
#pragma once

#include "VantorApi.h"

#include <QByteArray>

#include <atomic>

namespace VantorEngine {

/// The host's callbacks. Every member may be called from any thread.
///
/// There is no lock: removing the callbacks must also work from inside one, and in a process that is ending, where
/// the thread that ran a callback may have been killed. A counter of running calls takes its place: a call is
/// counted before it reads its function, so a remover either sees the call or the call sees the removal.
class CallbackTable
{
public:
    void setState(VantorStateCallback callback) { m_state = callback; }
    void setSingleTask(VantorSingleTaskCallback callback) { m_singleTask = callback; }
    void setGroupTask(VantorGuidCallback callback) { m_groupTask = callback; }
    void setChunkTask(VantorGuidCallback callback) { m_chunkTask = callback; }
    void setLogHandler(VantorLogHandler handler) { m_log = handler; }

    VantorStateCallback stateCallback() const { return m_state; }
    bool wantsSingleTask() const { return m_singleTask != nullptr; }
    bool wantsGroupTask() const { return m_groupTask != nullptr; }

    /// Uninstalls all, then waits until no call runs but the caller's own, for at most kRemoveTimeoutMs.
    void removeAll();

    void callState(const QByteArray& data);
    void callSingleTask(const QByteArray& groupGuid, const QByteArray& taskGuid, const QByteArray& data);
    void callGroupTask(const QByteArray& guid, const QByteArray& data);
    void callChunkTask(const QByteArray& guid, const QByteArray& data);
    void callLog(int severity, const char* file, int line, int messageStart, const QByteArray& message);

    static constexpr int kRemoveTimeoutMs = 1000;

private:
    template<typename Function, typename... Args>
    void call(const std::atomic<Function>& function, Args... args);

    std::atomic<int> m_running{0};
    std::atomic<VantorStateCallback> m_state{nullptr};
    std::atomic<VantorSingleTaskCallback> m_singleTask{nullptr};
    std::atomic<VantorGuidCallback> m_groupTask{nullptr};
    std::atomic<VantorGuidCallback> m_chunkTask{nullptr};
    std::atomic<VantorLogHandler> m_log{nullptr};
};

} // namespace VantorEngine

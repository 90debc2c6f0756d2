// SPDX-License-Identifier: MIT
#pragma once

#include "CallbackTable.h"
#include "EngineThread.h"
#include "Log.h"
#include "Settings.h"

#include <QByteArray>

#include <atomic>
#include <deque>
#include <mutex>
#include <set>

namespace VantorEngine {

/// What the C functions call: any thread, never waiting.
class Engine
{
public:
    /// The process's engine. It is never destroyed, so that calls are harmless while the process ends.
    static Engine& instance();

    void initEnv(const QByteArray& path, const QByteArray& config, int logLevel, int logDestination);
    void setConfig(const QByteArray& config);
    /// \return the new group's guid; valid for the life of the process.
    const char* setDownloadList(const QByteArray& downloadList);
    void release(const QByteArray& groupGuid);
    void cancel(const QByteArray& groupGuid);
    /// \return the task's guid: the one asked for, unless it is missing or a task has it; valid as above.
    const char* startChunkTask(const QByteArray& request);
    void cancelChunkTask(const QByteArray& guid);
    void setStateCallback(VantorStateCallback callback);
    CallbackTable& callbacks() { return m_callbacks; }

    /// Ends the engine's thread; a later request starts it anew.
    void stop();

private:
    Engine();

    const char* keep(const QByteArray& guid);
    void reportState();
    QByteArray claimChunkGuid(const QByteArray& wanted);
    void freeChunkGuid(const QByteArray& guid);

    CallbackTable m_callbacks;
    Log m_log;
    Settings m_settings; ///< the engine thread's, kept here to outlast it
    EngineThread m_thread;
    std::atomic<int> m_startCount{0};
    std::mutex m_guidMutex;
    std::deque<QByteArray> m_guids;
    std::set<QByteArray> m_chunkGuids; ///< of chunk tasks that have not ended
};

} // namespace VantorEngine

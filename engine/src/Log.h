// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <atomic>

namespace VantorEngine {

class CallbackTable;

/// The engine's log lines, "[vantor] " and the message, for the host's handler and standard error.
class Log
{
public:
    enum Level { Trace = 0, Detail = 1, Info = 2, Warning = 3, Error = 4 };

    explicit Log(CallbackTable& callbacks);

    /// \param level least severity that is written.
    /// \param destination 0: handler only; 1: standard error as well.
    void configure(int level, int destination);
    void write(Level level, const char* file, int line, const QString& message);

private:
    CallbackTable& m_callbacks;
    std::atomic<int> m_level{Info};
    std::atomic<int> m_destination{0};
};

} // namespace VantorEngine

#define VANTOR_LOG(log, level, message) (log).write(VantorEngine::Log::level, __FILE__, __LINE__, (message))

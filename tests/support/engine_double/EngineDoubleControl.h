// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

/// \file
/// How a test reaches into the engine double. Only C types and a table of virtual functions cross the module's
/// boundary, so that module and test may have been built with different run-time libraries.

namespace EngineDouble {

/// \brief The engine's functions, in the order of the table that the library resolves.
enum Function {
    InitEnv,
    SetConfig,
    SetDownloadList,
    Release,
    Cancel,
    RemoveCallback,
    StartChunkTask,
    CancelChunkTask,
    SetEngineStateCallback,
    SetSingleTaskCallback,
    SetGroupTaskCallback,
    SetLogHandler,
    SetChunkTaskCallback,
};

/// \brief One call of the library; the texts live until the visitor returns.
struct CallRecord
{
    Function function;
    const char* text1; ///< UTF-8; null when the function takes none or was given a null pointer
    const char* text2;
    int number1; ///< log level of InitEnv; 1 for a callback that is not null
    int number2; ///< log destination of InitEnv
    unsigned long long thread;
};

/// \brief The callbacks that can be fired.
enum CallbackKind {
    StateCallback,      ///< data
    SingleTaskCallback, ///< group guid, file guid, data
    GroupTaskCallback,  ///< guid, data
    ChunkTaskCallback,  ///< guid, data
};

/// \brief The test's side of the double. Every function may be called on any thread.
class Control
{
public:
    /// \brief Forgets calls and scripts. Installed callbacks stay.
    virtual void Reset() = 0;

    /// \brief Hands out the calls so far, in order, and forgets them.
    virtual void TakeCalls(void (*visit)(void* context, const CallRecord& call), void* context) = 0;
    /// \brief Identifies the calling thread, as CallRecord::thread does.
    virtual unsigned long long CurrentThread() const = 0;

    /// \brief What the next SetDownloadList or StartChunkTask returns; may be null. Several are used in order.
    /// Without a script the answers are "group-1", "group-2", ... and "chunk-1", "chunk-2", ...
    virtual void ScriptGuid(Function function, const char* guid) = 0;
    /// \brief Runs once inside the next SetDownloadList or StartChunkTask, on the caller's thread, before the
    /// function returns.
    virtual void ScriptAction(Function function, void (*action)(void* context, const char* guid), void* context) = 0;
    /// \brief Overwrites the texts that were returned so far.
    virtual void ScribbleReturnedTexts() = 0;

    /// \brief Calls back soon, on one of the engine's threads. Callbacks fired on the same thread arrive in order.
    /// \param thread which thread of the engine; it is started when it is first used
    virtual void Fire(std::size_t thread, CallbackKind kind, const char* text1, const char* text2,
                      const char* text3) = 0;
    /// \brief Calls back at once, on the caller's thread.
    virtual void FireHere(CallbackKind kind, const char* text1, const char* text2, const char* text3) = 0;
    /// \brief Waits until every callback fired so far has returned.
    virtual void Flush() = 0;
    /// \brief Whether a callback is installed.
    virtual bool IsInstalled(CallbackKind kind) const = 0;
    /// \brief From now on callbacks are made even after their removal, as by an engine that is in the middle of it.
    virtual void IgnoreRemoval(bool ignore) = 0;

protected:
    ~Control() = default;
};

/// \brief Name of the module's entry `EngineDouble::Control* ()`.
constexpr char kControlEntry[] = "EngineDouble_Control";

} // namespace EngineDouble

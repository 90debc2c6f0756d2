// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"
#include "vantor/ProcApi.h"

#include <QObject>

/// \brief The one place that knows the chunk engine's library: its thirteen C functions and its callbacks.
///
/// Created and owned by VantorExporter, which alone calls the engine; launchers use the exporter. All text
/// crosses the boundary as zero-terminated UTF-8. The engine is all or nothing: with one function missing,
/// the two that are never called included, nothing of it is used.
///
/// The engine's callbacks arrive on its own threads and are forwarded to the exporter that was last given as
/// a parent. Callbacks that come after that exporter's destruction has begun are dropped.
class QCOMM_EXPORT VantorHandle : public QObject
{
    Q_OBJECT

public:
    /// \brief Loads the engine and resolves its functions; whatever is missing leaves the handle invalid.
    /// \param parent the VantorExporter that callbacks go to; with any other object they are dropped
    explicit VantorHandle(QObject* parent);
    /// \brief Removes the callbacks. The engine stays loaded until the process exits.
    ~VantorHandle() override;

    /// \brief Whether all thirteen functions were found.
    bool IsValid() const;
    /// \brief Installs the state, single task, group task and chunk task callbacks, in this order, when
    /// valid.
    void RegisterCallbacks();
    /// \brief Takes the callbacks out again, when they are installed.
    void RemoveCallbacks();
    /// \brief Whether the callbacks are installed.
    bool AreCallbacksRegistered() const { return callbackRegistered; }

private:
    friend class VantorExporter;

    using StateCallback = void (*)(const char* data);
    using SingleTaskCallback = void (*)(const char* groupGuid, const char* taskGuid, const char* data);
    using GuidCallback = void (*)(const char* guid, const char* data);
    using LogHandler = void (*)(int severity, const char* file, int line, int messageStart, const char* message);

    // Declared in the order in which they are resolved.
    ProcApi<void(const char*, const char*, int, int)> initEnv;
    ProcApi<void(const char*)> setConfig;
    ProcApi<const char*(const char*, const char*)> setDownloadList;
    ProcApi<void(const char*)> release; // required, never called
    ProcApi<void(const char*)> cancel;
    ProcApi<void()> removeCallback;
    ProcApi<const char*(const char*, const char*)> startChunkTask;
    ProcApi<void(const char*)> cancelChunkTask;
    ProcApi<void(StateCallback)> setEngineStateCallback;
    ProcApi<void(SingleTaskCallback)> setSingleTaskCallback;
    ProcApi<void(GuidCallback)> setGroupTaskCallback;
    ProcApi<void(LogHandler)> setLogHandler; // required, never called: the engine keeps its own log
    ProcApi<void(GuidCallback)> setChunkTaskCallback;

    bool callbackRegistered = false;

    /// \brief Drops callbacks from now on and waits until those under way have returned.
    static void DetachExporter(const QObject* exporter);
};

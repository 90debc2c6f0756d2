// SPDX-License-Identifier: MIT
#pragma once

/// \file
/// The C interface of the vantor engine: thirteen functions, all texts UTF-8 and zero-terminated.
///
/// Every function may be called from any thread, also from inside a callback, and returns without waiting for the
/// network or the disk. A null text counts as an empty one. Callbacks run on a thread of the engine, one at a time;
/// their texts are valid only during the call. See README.md for the formats.

#ifdef _WIN32
#define VANTOR_EXPORT __declspec(dllexport)
#else
#define VANTOR_EXPORT __attribute__((visibility("default")))
#endif

extern "C" {

using VantorStateCallback = void (*)(const char* data);
using VantorSingleTaskCallback = void (*)(const char* group_guid, const char* task_guid, const char* data);
using VantorGuidCallback = void (*)(const char* guid, const char* data);
using VantorLogHandler = void (*)(int severity, const char* file, int line, int message_start, const char* message);

/// Starts the engine, or hands a running one a new start-up configuration (JSON).
/// \param path folder for the engine's own data; kept, not used yet.
/// \param logLevel least severity that is logged, 0 (all) to 4 (errors).
/// \param logDst 0: to the log handler only; 1: to standard error as well.
VANTOR_EXPORT void Vantor_InitEnv(const char* path, const char* config, int logLevel, int logDst);

/// Applies a configuration (JSON, "download_policy") to everything that runs and will run.
VANTOR_EXPORT void Vantor_SetConfig(const char* config);

/// Submits a download list (JSON) as a new group and starts the engine if need be.
/// \return the group's guid. The text belongs to the engine and stays valid until the process ends.
VANTOR_EXPORT const char* Vantor_SetDownloadList(const char* downloadList, const char* extra);

/// Stops a group or a chunk task and forgets it without another callback; partial files stay. An empty guid means all
/// of them.
VANTOR_EXPORT void Vantor_Release(const char* groupGuid);

/// Cancels a group: it ends "Cancelled", partial files stay for resuming. Unknown guids are ignored.
VANTOR_EXPORT void Vantor_Cancel(const char* groupGuid);

/// Uninstalls every callback and the log handler. When it returns, none starts any more, and one that was running
/// has returned, unless it takes longer than a second or is the caller itself.
VANTOR_EXPORT void Vantor_RemoveCallback(void);

/// Starts a chunk task (JSON): one action on one package.
/// \return the task's guid, with the same lifetime as a group's: the one that the request asks for, or a new one.
VANTOR_EXPORT const char* Vantor_StartChunkTask(const char* request, const char* extra);

/// Cancels a chunk task: it ends "Cancelled", what it has fetched stays. Unknown guids are ignored.
VANTOR_EXPORT void Vantor_CancelChunkTask(const char* guid);

/// Install one callback each; null uninstalls it.
VANTOR_EXPORT void Vantor_SetEngineStateCallback(VantorStateCallback callback);
VANTOR_EXPORT void Vantor_SetSingleTaskCallback(VantorSingleTaskCallback callback);
VANTOR_EXPORT void Vantor_SetGroupTaskCallback(VantorGuidCallback callback);
VANTOR_EXPORT void Vantor_SetLogHandler(VantorLogHandler handler);
VANTOR_EXPORT void Vantor_SetChunkTaskCallback(VantorGuidCallback callback);
}

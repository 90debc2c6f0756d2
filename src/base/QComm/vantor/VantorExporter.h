// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QObject>
#include <QString>

class QThread;
class VantorHandle;

/// \brief The single transport to the chunk engine: requests go in as UTF-8 text, callbacks come out as
/// signals.
///
/// The launcher calls Instance() and Init() once at start-up, on its own thread and after QCoreApplication
/// exists. Everything else in the library that talks to the engine goes through this object; launchers use
/// DownloadController, VantorDownloadManager and VantorChunkTask instead of the request operations.
///
/// Init() starts two threads, one for each task manager (VantorGroupDownloadTaskManager,
/// VantorChunkTaskManager). The signals are emitted on the engine's threads: connect with a context object,
/// so that delivery is queued.
///
/// Without an engine on the library search path, or with one that lacks a function, every operation is
/// harmless: Init() returns false, requests do nothing and those with a result return an empty text.
class QCOMM_EXPORT VantorExporter : public QObject
{
    Q_OBJECT

public:
    /// \brief The process-wide instance, created on first use on any thread and destroyed at process exit.
    static VantorExporter* Instance();

    /// \brief Loads the engine; use Instance() unless you are a test.
    explicit VantorExporter(QObject* parent);
    /// \brief Drops further callbacks, stops both threads and waits for them without a time limit. The
    /// engine's callbacks are taken out by the event loop afterwards.
    ~VantorExporter() override;

    /// \brief Starts the engine, installs the callbacks and starts the two threads.
    ///
    /// Call it once per process: a second call starts the engine again and delivers every callback twice.
    ///
    /// The threads end with the QCoreApplication, at the latest with the exporter; callbacks that wait for them then
    /// are lost. Under a new application the engine goes on without another call: its callbacks are then handled on
    /// the thread that called Init(), as soon as that has an event loop again. Another Init() starts new threads, and
    /// is a second call.
    /// \param path     the engine's working folder
    /// \param config   the engine's start-up configuration, JSON text
    /// \param logLevel severity from which the engine logs, as the engine counts it
    /// \param logDst   where the engine logs to, as the engine counts it
    /// \return false when there is no usable engine
    bool Init(const QString& path, const QString& config, int logLevel, int logDst);

    /// \brief Applies a configuration, JSON text; running downloads follow it. Any thread.
    void SetConfig(const QString& config);
    /// \brief Submits a download list.
    /// \param downloadList JSON text
    /// \param extra        passed to the engine unchanged
    /// \return the engine's guid of the new group; empty without an engine. Any thread.
    QString SetDownloadList(const QString& downloadList, const QString& extra);
    /// \brief Asks the engine to cancel a group. Any thread.
    void Cancel(const QString& guid);
    /// \brief Starts a chunk task.
    /// \param request JSON text
    /// \param extra   passed to the engine unchanged
    /// \return the engine's guid of the task; empty without an engine. Any thread.
    QString StartChunkTask(const QString& request, const QString& extra);
    /// \brief Asks the engine to cancel a chunk task. Any thread.
    void CancelChunkTask(const QString& guid);

    // Entry points of the engine's callbacks, on the engine's threads. They only emit the signals below.

    /// \brief Emits onSingleTaskCallback.
    void SingleTaskCallback(const QString& group_guid, const QString& task_guid, const QString& data);
    /// \brief Emits onGroupTaskCallback.
    void GroupTaskCallback(const QString& guid, const QString& data);
    /// \brief Emits onChunkTaskCallback.
    void ChunkTaskCallback(const QString& guid, const QString& data);
    /// \brief Emits onStateCallback.
    void StateCallback(QString data);
    /// \brief Does nothing, deliberately: the engine keeps its own log.
    void LogCallback(int severity, const QString& file, int line, int message_start, const QString& message);

Q_SIGNALS:
    /// A file of a group changed; `data` is a JSON object.
    void onSingleTaskCallback(const QString& group_guid, const QString& task_guid, const QString& data);
    /// A group changed; `data` is a JSON object with all its files.
    void onGroupTaskCallback(const QString& guid, const QString& data);
    /// Declared for compatibility; never emitted.
    void onLogCallback(int severity, const QString& file, int line, int message_start, const QString& message);
    /// The engine's state changed.
    void onStateCallback(const QString& data);
    /// A chunk task changed; `data` is a JSON object.
    void onChunkTaskCallback(const QString& guid, const QString& data);

private:
    bool IsValid() const;
    void startGroupThread();
    void startChunkThread();

    VantorHandle* handle = nullptr;
    QThread* groupThread = nullptr;
    QThread* chunkThread = nullptr;
};

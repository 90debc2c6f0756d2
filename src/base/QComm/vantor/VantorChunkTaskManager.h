// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QObject>
#include <QSharedPointer>
#include <QString>

#include <memory>

class VantorChunkTask;

/// \brief The process-wide registry of running chunk tasks: routes the engine's answers to them by guid.
///
/// VantorExporter::Init() moves it to the chunk thread, where it reads the answers. A task is held from its
/// registration until a completed answer, even when its caller drops it. Answers for guids that nobody holds,
/// and answers that are no response record, are dropped.
class QCOMM_EXPORT VantorChunkTaskManager : public QObject
{
    Q_OBJECT

public:
    /// \brief The one instance, created on first use on any thread and deleted at process exit.
    static VantorChunkTaskManager* Instance();

    ~VantorChunkTaskManager() override;

    /// \brief Sends the task's request to the engine and registers the task. Used by
    /// VantorChunkTask::Start().
    ///
    /// Answers that the engine gives before it has returned the guid are delivered too. Called directly for a task
    /// that was started before, it sends that request once more and registers the task under one more guid; the task
    /// itself stays as it is, its own guid included.
    /// \return the engine's guid of the task; empty without an engine (and registered like any other). A task
    /// without a request is neither sent nor registered.
    QString StartChunkTask(QSharedPointer<VantorChunkTask> task);
    /// \brief Asks the engine to cancel a registered task; a guid that is not registered is logged. Any
    /// thread.
    void CancelChunkTask(const QString& guid);
    /// \brief The task registered under a guid; null when there is none. Any thread.
    QSharedPointer<VantorChunkTask> FindChunkTask(const QString& guid);
    /// \brief Forgets a task. Any thread.
    void RemoveChunkTask(const QString& guid);

public Q_SLOTS:
    /// \brief Hands an answer to its task: a progress signal for each, and the finished signal after the
    /// last.
    void OnChunkTaskCallback(const QString& guid, const QString& info);

private:
    struct Registry;

    VantorChunkTaskManager();

    const std::unique_ptr<Registry> registry;
};

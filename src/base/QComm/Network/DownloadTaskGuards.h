// SPDX-License-Identifier: MIT
#pragma once

#include "Network/DownloadTask.h"

#include <QPointer>

/// \file
/// What a DownloadTask looks at after it has emitted a signal. Internal: not installed.

/// \brief Whether handlers have left a task alone since this was made: not deleted, stopped or started it.
class DownloadTask::Watch
{
public:
    explicit Watch(DownloadTask* task) : m_task(task), m_run(task->run) {}
    bool Undisturbed() const { return m_task && m_task->run == m_run; }

private:
    QPointer<DownloadTask> m_task;
    quint64 m_run;
};

/// \brief Marks that a reply's signal is on the stack: its network access must not be deleted under it.
class DownloadTask::ReplyScope
{
public:
    explicit ReplyScope(DownloadTask* task) : m_task(task) { ++task->replyScopes; }
    ~ReplyScope()
    {
        if (m_task)
            --m_task->replyScopes;
    }
    ReplyScope(const ReplyScope&) = delete;
    ReplyScope& operator=(const ReplyScope&) = delete;

private:
    QPointer<DownloadTask> m_task;
};

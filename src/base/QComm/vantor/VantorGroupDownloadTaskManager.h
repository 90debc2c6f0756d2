// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QObject>
#include <QSharedPointer>
#include <QString>

#include <memory>

class VantorGroupDownloadTask;

/// \brief The process-wide registry of running group downloads: routes the engine's callbacks to them by
/// guid.
///
/// VantorExporter::Init() moves it to the group thread, where it parses the callback texts. A task is held
/// from its registration until the engine ends the group, even when its owner drops it. Callbacks for guids
/// that nobody holds are dropped.
class QCOMM_EXPORT VantorGroupDownloadTaskManager : public QObject
{
    Q_OBJECT

public:
    /// \brief The one instance, created on first use on any thread and deleted at process exit.
    static VantorGroupDownloadTaskManager* Instance();

    ~VantorGroupDownloadTaskManager() override;

    /// \brief Submits a download list and registers `task` for the group's callbacks. Any thread.
    ///
    /// The callbacks that the engine sends before it has returned the guid are delivered too.
    /// \return the engine's guid of the group; empty without an engine (and registered like any other)
    QString StartGroupTask(const QSharedPointer<VantorGroupDownloadTask>& task, const QString& downloadList);
    /// \brief The task registered under a guid; null when there is none. Any thread.
    QSharedPointer<VantorGroupDownloadTask> FindGroupTask(const QString& guid) const;

public Q_SLOTS:
    /// \brief Hands a file callback to the group's task. `data` is a JSON object; anything else reads as
    /// empty.
    void onSingleTaskCallback(const QString& groupGuid, const QString& singleTaskGuid, const QString& data);
    /// \brief Hands a group callback to the group's task, and forgets the group when it has ended.
    void onGroupTaskCallback(const QString& guid, const QString& data);

private:
    struct Registry;

    VantorGroupDownloadTaskManager();

    const std::unique_ptr<Registry> registry;
};

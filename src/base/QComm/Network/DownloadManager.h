// SPDX-License-Identifier: MIT
#pragma once

#include "Manager/BaseDownloadManager.h"
#include "QCommGlobal.h"

#include <QMap>
#include <QTimer>

class DownloadGroupTask;

/// \brief The HTTP back-end: groups of files over HTTP(S) with resume, retries, MD5 checks and a speed limit.
///
/// Created by the launcher and driven through BaseDownloadManager, whose signals it emits but those that are
/// said to be the engine back-end's.
///
/// \code
/// auto* manager = new DownloadManager(this, QStringLiteral("net"));
/// connect(manager, &DownloadManager::finish, this, &Launcher::onGroupDone);
/// connect(manager, &DownloadManager::error, this, &Launcher::onFileFailed);
/// const int group = manager->SetTask(models, Normal, -1);
/// manager->StartDownloadTask(group, models, QString());
/// \endcode
///
/// A started group ends with one of: finish(id), after which it is gone; error(info), after which it may be
/// started again and resumes; relogin(), likewise; cancelled(id) after StopDownloadTask(). DownloadTask lists
/// the error codes, DownloadGroupTask the order of the signals of a group.
///
/// The speed limit is a budget of bytes per period of 500 ms, after which all transfers are held back until the
/// period ends. Intended: the budget of a period is the limit of a whole second, and what was too much is
/// counted in bytes per second; launchers choose their limits for that.
///
/// Everything happens on the thread that owns the manager. Its destructor removes every group; a signal handler
/// may delete it.
class QCOMM_EXPORT DownloadManager : public BaseDownloadManager
{
    Q_OBJECT

public:
    /// \param parent owner of the manager, may be null
    /// \param name   begins its log lines as "[name]"
    DownloadManager(QObject* parent, const QString& name);
    ~DownloadManager() override;

    /// \brief Creates a group. A file that an existing group has already, by URL and folder, is left out.
    /// \param models   the files, fetched in this order
    /// \param priority not used: groups are equal
    /// \param groupId  id of the group; -1 takes the one after the last. An id that exists keeps its group
    /// \return the id, also when no file was left
    int SetTask(const QVector<DownloadTaskModel>& models, DownloadPriority priority, int groupId) override;
    /// \brief Starts a group, or starts it again where it was stopped.
    /// \param groupId an unknown one is created from `models`; -1 as in SetTask()
    /// \param models  the files of an unknown group
    /// \param path    not used: every model has its folder
    void StartDownloadTask(int groupId, const QVector<DownloadTaskModel>& models, const QString& path) override;
    /// \brief Stops a group and emits cancelled(), also when it is unknown.
    void StopDownloadTask(int groupId) override;
    void StopAllDownloadTask() override;
    void RemoveDownloadTask(int groupId) override;
    void RemoveAllDownloadTask() override;
    /// \brief Limits all groups together, in KiB per second; 0 or less lifts the limit.
    void SetSpeedLimit(qint64 kb) override;
    /// \brief "QT".
    QString id() override;

public Q_SLOTS:
    // What the groups' signals of like names do, and the end of a period of the speed limit.

    void onGroupFinish(int nGroup);                       ///< removes the group, emits finish()
    void onLimitTimeout();                                ///< lets the transfers go on, begins a new period
    void onDataWritten(qint64 bytes);                     ///< counts against the limit, holds transfers back
    void onGetTotalSize(const QString& url, qint64 size); ///< emits totalSize()
    void onError(const TaskInfo& info);                   ///< emits error() with downloader id 0
    /// \brief The same as SetSpeedLimit(): KiB per second.
    // NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): a field has the name, too
    void onLimitSpeedChanged(qint64 speedLimit);

protected:
    /// \brief Makes an empty group with the manager as parent; a seam for tests.
    virtual DownloadGroupTask* CreateGroup();

private:
    QVector<DownloadTaskModel> WithoutKnown(const QVector<DownloadTaskModel>& models) const;
    void Connect(DownloadGroupTask* group);
    void SetPause(bool pause);

    int lastGroupId = 0;
    QMap<int, DownloadGroupTask*> groups; // children
    qint64 speedLimit = 0;                // bytes per second; 0 or less: none
    qint64 budgetBytes = 0;               // written in this period
    QTimer limitTimer;
};

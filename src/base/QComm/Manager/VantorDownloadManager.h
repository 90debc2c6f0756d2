// SPDX-License-Identifier: MIT
#pragma once

#include "Manager/BaseDownloadManager.h"
#include "QCommGlobal.h"
#include "Tool/BytesUnitOperator.h"
#include "Tool/IntervalOperator.h"
#include "vantor/GroupTaskModel.h"
#include "vantor/SingleTaskErrorModel.h"

#include <QHash>
#include <QList>
#include <QMap>
#include <QSet>
#include <QSharedPointer>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QVector>

#include <memory>

class VantorExporter;
class VantorGroupDownloadTask;

/// \brief The chunk-engine back-end: turns download requests into engine calls and engine callbacks into
/// signals.
///
/// Usually reached through DownloadController, which creates it. The engine is started separately, once per
/// process, with VantorExporter::Init(); without an engine every operation is harmless and nothing is ever
/// reported.
///
/// The manager works on one group at a time. A run begins with StartDownloadTask() and ends with the engine's
/// first end state:
///
/// \code
///   StartDownloadTask
///     │  totalSize(url, size)            once per file, at once
///     ├─ downloadProgress, speed2        while files are transferred (speed2 at most every second)
///     ├─ errorRetry                      a file failed and the engine tries it again
///     ├─ md5Started                      once, when all files are transferred
///     ├─ checkProgress                   from then on
///     └─ exactly one of
///          finish(groupId)               "Success"
///          cancelled(groupId)            "Cancelled" (after StopDownloadTask)
///          error(info), once per file    "Failed", for instance a file failed for good or the disk is full
///          nothing                       "Duplicated", or "Failed" after StopDownloadTask
/// \endcode
///
/// One file that fails for good, or answers HTTP 403, cancels the whole group, which then ends as failed.
/// While a group runs, the volume of its installation folder is watched: below 100 MiB of free space the
/// group is cancelled and ends as failed, and failing files report 3004.
///
/// Error codes: 6000 (URL or network), 7000 (file write) or 8000 (checksum) plus the engine's code; 6099
/// "unknown error"; 3004 "disk space not enough".
///
/// Everything happens on the thread that owns the manager. Signal handlers may call any operation, start another run,
/// or delete the manager; only handlers of `totalSize`, which is emitted inside SetTask() and StartDownloadTask(),
/// must leave it alone.
class QCOMM_EXPORT VantorDownloadManager : public BaseDownloadManager
{
    Q_OBJECT

public:
    /// \brief States of a group, as the engine names them.
    enum class GroupStatus {
        Invalid = -1,
        Pending = 0,
        Start = 1,
        Progressing = 2,
        Verifying = 3,
        Cancelling = 4,
        Cancelled = 5,
        Failed = 6,
        Success = 7,
        Duplicated = 8,
    };
    Q_ENUM(GroupStatus)

    /// \brief States of a file, as the engine names them. Intended: they start at 0 where those of a group
    /// start at -1.
    enum class ItemStatus {
        Invalid = 0,
        Pending = 1,
        Start = 2,
        Preparing = 3,
        Prepared = 4,
        Downloading = 5,
        Downloaded = 6,
        Verifying = 7,
        Verified = 8,
        Cancelling = 9,
        Cancelled = 10,
        Failed = 11,
        Success = 12,
    };
    Q_ENUM(ItemStatus)

    /// \param parent owner of the manager, may be null
    /// \param name   name in log lines, which begin with "[name]" until SetLogTag() is called
    VantorDownloadManager(QObject* parent, const QString& name);
    /// \brief Stops listening; a running group goes on in the engine. Call StopAllDownloadTask() first to end
    /// it.
    ~VantorDownloadManager() override;

    /// \brief Builds the download list of a group and remembers its files.
    /// \param models   the files; an empty list is an error, logged, and asserted in debug builds
    /// \param priority ignored
    /// \param groupId  id of the group; -1 takes the next one
    /// \return the id of the group
    int SetTask(const QVector<DownloadTaskModel>& models, DownloadPriority priority, int groupId) override;
    /// \brief Submits a group to the engine and starts a run.
    /// \param groupId     id of the group
    /// \param models      the files; when empty, those given to SetTask() for this id
    /// \param installPath folder whose volume is watched for free space; not watched when it does not exist
    void StartDownloadTask(int groupId, const QVector<DownloadTaskModel>& models, const QString& installPath) override;
    /// \brief Asks the engine to cancel the run; `cancelled` follows. Partial files stay for resuming.
    /// Another id than the current one only marks the run as stopped by the user.
    void StopDownloadTask(int groupId) override;
    /// \brief Stops the current group.
    void StopAllDownloadTask() override;
    /// \brief Stops the current group, whatever the argument: there is only one.
    void RemoveDownloadTask(int groupId) override;
    /// \brief Does nothing.
    void RemoveAllDownloadTask() override;
    /// \brief Limits the engine's download speed, in KiB per second; 0 lifts the limit. Running groups
    /// follow.
    void SetSpeedLimit(qint64 kilobytesPerSecond) override;
    /// \brief "vantor".
    QString id() override;
    bool IsValid() override;
    /// \brief Stores the path; requests do not use it.
    void UpdateRootPath(const QString& path) override;

    /// \brief The download list of `models` as compact JSON text, empty for no models.
    ///
    /// Remembers where each URL goes, for DeleteFileByUrl(), and emits `totalSize` for each model.
    QString GetDownloadListFromDownloadModels(const QVector<DownloadTaskModel>& models);
    /// \brief The current group's id, whatever the guid: there is only one.
    int GetGroupIdByGroupGuid(const QString& guid);
    /// \brief Deletes the partial file ("_tmp") of a URL of the last download list; does nothing for other
    /// URLs. \param url percent-encoded, as in `totalSize`
    void DeleteFileByUrl(const QString& url);

    /// \brief The number of a GroupStatus name, case-sensitive; -1 for an unknown name.
    static int GetGroupStatusByName(const QString& name);
    /// \brief The number of an ItemStatus name, case-sensitive; -1 for an unknown name.
    static int GetItemStatusByName(const QString& name);

public Q_SLOTS:
    /// \brief Handles the text of a group callback as onParseGroupTaskCallback() handles the model.
    void groupTaskCallback(const QString& guid, const QString& data);
    /// \brief Handles the text of a file callback as onParseSingleTaskCallback() handles the model.
    void singleTaskCallback(const QString& guid, const QString& data);
    /// \brief Ends a group from outside: stops the current one and emits `finish`.
    void onGroupFinish(int nGroup);
    /// \brief Does nothing.
    void onGetTotalSize(QString /*url*/, qint64 size);
    /// \brief Does nothing.
    void onStateCallback(QString /*data*/);
    /// \brief Takes in a group callback of the current run and emits what follows from it.
    void onParseGroupTaskCallback(const QString& /*guid*/, GroupTaskModel /*model*/);
    /// \brief Takes in a file callback of the current run and emits what follows from it.
    void onParseSingleTaskCallback(const QString& /*groupGuid*/, const QString& task_guid,
                                   SingleTaskErrorModel /*model*/);
    /// \brief Takes the current speed into the average; once per second while a run lasts.
    void OnTimeoutToCalcDownloadSpeed();

protected:
    /// \brief Replaces what paces the speed reports. For tests that have a clock of their own.
    void SetSpeedInterval(std::unique_ptr<IntervalOperator> interval);

private:
    /// \brief What is known about a run; all of it starts afresh with the next.
    struct Run
    {
        GroupStatus lastGroupStatus = GroupStatus::Invalid;
        bool manualCancel = false;             // StopDownloadTask() was called
        bool diskLow = false;                  // free space was found below the limit
        bool diskCancelRequested = false;      // the engine was asked to cancel because of that
        bool forbiddenCancelRequested = false; // the engine was asked to cancel because a file failed for good
        bool md5StartedSent = false;
        QHash<QString, ItemStatus> itemStatus; // by file guid
        QVector<TaskInfo> errorList;           // files that failed for good, in order

        QHash<QString, quint64> writtenBytes; // by file guid, as of the previous group callback
        QSet<QString> netInfoLogged;          // file guids
        bool usingPcdn = false;
        quint64 pcdnTraffic = 0; // bytes
        quint64 cdnTraffic = 0;  // bytes
        QStringList pcdnAliases;

        qint64 currentSpeed = 0; // bytes per second, as the engine reported it last
        QList<qint64> speedSamples;
        qint64 averageSpeed = 0; // mean of the samples
    };

    /// \brief Sums over the files of one group callback.
    struct Sums
    {
        quint64 doneBytes = 0;
        quint64 totalBytes = 0;
        quint64 verifiedBytes = 0;
        quint64 verifySpeed = 0; // bytes per second
        quint64 engineSpeed = 0; // bytes per second
        bool allThrough = true;  // every file is through its transfer
        bool verifying = false;  // at least one file has reached the verification phase
    };

    class RunGuard;

    void ConnectSignals();
    void DisconnectSignals();
    void StartStatAvgDownloadSpeed();
    void StopStatAvgDownloadSpeed();

    bool cancelForLowDisk(const QString& guid, GroupStatus status);
    GroupStatus asSeenByUser(const QString& guid, GroupStatus status);
    Sums sumUp(const QString& guid, const QVector<SingleTaskModel>& items);
    void splitTraffic(const SingleTaskModel& item);
    bool isThroughTransfer(const QString& guid, const SingleTaskModel& item, Sums& sums);
    void LogSingleTaskNetInfo(const SingleTaskModel& item);
    void emitCheckProgress(const Sums& sums);
    void emitDownloadProgress(const Sums& sums, qint64 doneBytes);
    void reportSpeed(const Sums& sums, qint64 doneBytes);
    void endRun(GroupStatus status, const GroupTaskModel& model);
    void reportFailure(const GroupTaskModel& model, const Run& ended);

    TaskInfo taskInfoOf(const SingleTaskErrorModel& model, int errorCode) const;
    void failForGood(const QString& groupGuidOfFile, const TaskInfo& info);

    int groupId = -1;
    QMap<int, QVector<DownloadTaskModel>> groupModels;
    VantorExporter* exporter;
    QMap<QString, QString> urlPathMap; // percent-encoded URL to local path
    QString rootPath;
    bool valid = true;
    qint64 speedSampleIntervalMs = 1000;
    int progressCallbackIntervalMs = 100;
    QString groupGuid; // of the running group; empty when none runs
    QString downloadList;
    QString installPath;
    QSharedPointer<VantorGroupDownloadTask> groupTask;

    Run run;
    int runNumber = 0; // changes whenever a run starts or ends
    QTimer speedTimer;
    BytesUnitOperator speedMeter;
    std::unique_ptr<IntervalOperator> speedInterval; // never null
};

// SPDX-License-Identifier: MIT
#pragma once

#include "Manager/DownloadPriority.h"
#include "Manager/DownloadReportData.h"
#include "Manager/DownloadTaskModel.h"
#include "Manager/TaskInfo.h"
#include "QCommGlobal.h"
#include "Tool/BytesUnitOperator.h"
#include "Tool/IntervalOperator.h"

#include <QHash>
#include <QMap>
#include <QObject>
#include <QPair>
#include <QSharedPointer>
#include <QString>
#include <QVector>

class DownloadTaskInterface;
class QNetworkAccessManager;

/// \brief The files that were requested together under one group id, and the order in which they are fetched.
///
/// Created, started and removed by DownloadManager. Owns one DownloadTask per file. One file is transferred at
/// a time; the next one starts when a file enters its MD5 check, so that the transfer of one overlaps the
/// check of another:
///
/// \code
///   Start ──> Init of every file ──> file 1: taskStart, progress ..., taskMd5Start ───> taskMd5Stop, taskFinish
///                                    file 2:                          taskStart, ... ─> ...
///                                    all files started: md5Started; all files finished: finish
/// \endcode
///
/// Intended: a file without MD5 never enters a check, so the group waits after it and the next start of the
/// group goes on with the next file.
///
/// The first error ends the run: all files are stopped, `error` is emitted once, and Start() may be called
/// again. A group ends with `finish`, after which it is empty. Everything happens on the owning thread; a
/// signal handler may stop, clear or delete the group.
class QCOMM_EXPORT DownloadGroupTask : public QObject
{
    Q_OBJECT

public:
    explicit DownloadGroupTask(QObject* parent = nullptr);
    ~DownloadGroupTask() override;

    /// \brief Adds a file per model, in order; a URL and folder that is in the group already is left out.
    /// \param priority passed by the caller's contract; all files of a group are equal here
    void SetTask(const QVector<DownloadTaskModel>& models, DownloadPriority priority, int groupId);
    /// \brief Prepares every file and starts the first that is not in place. Stops at the first file that
    /// cannot be prepared, with error 3012.
    void Start();
    /// \brief Starts the first file that is neither being checked nor finished.
    /// \return false when there is none
    bool StartNext();
    /// \brief Stops every file; what has arrived stays.
    void StopAll();
    /// \brief Stops, releases and forgets every file.
    void Clear();
    /// \brief Holds every transfer back, or lets it go on.
    void SetPause(bool pause);
    /// \brief Whether the group has a file with this URL and folder, both compared as text with case.
    bool Contains(const DownloadTaskModel& model) const;
    /// \brief Speed in bytes per second, as last measured.
    qint64 GetCurSpeed() const;
    /// \brief Bytes that are on the disk: sizes of finished files and of temporary ones.
    qint64 GetDoneBytes();
    /// \brief Bytes of all files whose size is known.
    qint64 GetTotalBytes();

Q_SIGNALS:
    /// Bytes done and in all, at most every 100 ms, once the size of every file is known.
    void progress(qint64 bytesRead, qint64 totalBytes, int groupId);
    /// Every file is in place. The last signal.
    void finish(int groupId);
    void taskStart(int nGroupId, const TaskInfo& info);
    void taskFinish(int nGroupId, const TaskInfo& info);
    void taskMd5Start(int nGroupId, const TaskInfo& info);
    void error(const TaskInfo& info);
    /// No file is left to start: all remaining work is checking.
    void md5Started(int groupId);
    void taskMd5Stop(int nGroupId, const TaskInfo& info);
    /// Bytes per second with its text and the remaining time, at most every 1000 ms.
    void speed(qint64 speed, const QString& speedStr, const QString& timeStr, int groupId);
    void dataWritten(qint64 bytes);
    void downloadReport(const DownloadReportData& data);
    void totalSize(const QString& url, qint64 size);
    void relogin();
    void taskRestart(const QString& json);

public Q_SLOTS:
    void onProgress(qint64 bytesReceived, qint64 bytesTotal);
    void onTaskFinish(QString url);
    void onError(TaskInfo info);
    void onMd5Started(QString url);
    void onMd5Stoped(QString url);
    void onGetTotalSize(QString url, qint64 size);
    void onResetSpeed();
    void onTaskRestart(QString json);
    void onTaskStart(QString url);

protected:
    /// \brief Makes the task of a file; a seam for tests.
    virtual DownloadTaskInterface* CreateTask(const DownloadTaskModel& model);

private:
    class Watch;
    using FileKey = QPair<QString, QString>; // URL text and folder

    // What a file adds to the sums. Asking the disk for thousands of files at every sample would be too slow,
    // so only files that have signalled since are asked again.
    struct Share
    {
        qint64 total = 0;
        qint64 done = 0;
        bool outdated = true;
    };

    static FileKey KeyOf(const DownloadTaskModel& model);
    void Append(const DownloadTaskModel& model);
    void Connect(DownloadTaskInterface* task, int index);
    void Touch(int index);
    void TouchAll();
    void UpdateSums();
    bool InitAll();
    void FailInit(DownloadTaskInterface* task);
    bool AllFinished() const;
    void EmitSpeed(qint64 done, qint64 total);

    int groupId = -1;
    QVector<DownloadTaskInterface*> tasks; // children, in the order of the models
    IntervalOperator speedInterval;
    IntervalOperator progressInterval;
    BytesUnitOperator speedMeter;
    QMap<QString, qint64> sizes; // by URL

    QHash<FileKey, int> known;
    QSharedPointer<QNetworkAccessManager> headerNetwork; // shared by the tasks
    QVector<Share> shares;                               // one per task
    QVector<int> outdatedShares;
    qint64 totalBytes = 0;
    qint64 doneBytes = 0;
    int firstOpen = 0; // every task before it is being checked or finished
    quint64 run = 0;   // counts starts and stops, so that a handler's intervention is noticed
};

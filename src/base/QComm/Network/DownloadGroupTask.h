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
    /// \param models     the files
    /// \param priority   passed by the caller's contract; all files of a group are equal here
    /// \param newGroupId id that the group's signals carry
    void SetTask(const QVector<DownloadTaskModel>& models, DownloadPriority priority, int newGroupId);
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
    /// \brief Bytes that are on the disk now: sizes of finished files and of temporary ones. Asks for every file.
    qint64 GetDoneBytes();
    /// \brief Bytes of all files whose size is known.
    qint64 GetTotalBytes();

Q_SIGNALS:
    /// Bytes done and in all, at most every 100 ms, once the size of every file is known.
    void progress(qint64 bytesRead, qint64 totalBytes, int groupId);
    /// Every file is in place. The last signal.
    void finish(int groupId);
    /// A file is about to be started, or was found in place; `info` carries its URL.
    void taskStart(int nGroupId, const TaskInfo& info);
    /// A file is in place; `info` carries its URL.
    void taskFinish(int nGroupId, const TaskInfo& info);
    /// The check of a file began; `info` carries its URL. The next file is started right after.
    void taskMd5Start(int nGroupId, const TaskInfo& info);
    /// A file failed for good. Every file has been stopped before.
    void error(const TaskInfo& info);
    /// No file is left to start: all remaining work is checking.
    void md5Started(int groupId);
    /// The check of a file ended; `info` carries its URL.
    void taskMd5Stop(int nGroupId, const TaskInfo& info);
    /// Bytes per second with its text and the remaining time, at most every 1000 ms.
    void speed(qint64 speed, const QString& speedStr, const QString& timeStr, int groupId);
    /// A block of this many bytes was written.
    void dataWritten(qint64 bytes);
    /// A telemetry report of a file.
    void downloadReport(const DownloadReportData& data);
    /// The size of a file became known, in bytes.
    void totalSize(const QString& url, qint64 size);
    /// The server refused a file with 403 while downloads require a login.
    void relogin();
    /// A file is about to be tried again: the JSON object of DownloadTaskInterface::taskRestart with "group_id".
    void taskRestart(const QString& json);

public Q_SLOTS:
    // What the files' signals of like names do to the group.

    void onProgress(qint64 bytesReceived, qint64 bytesTotal); ///< sums up, emits progress() and speed()
    void onTaskFinish(QString url);                           ///< emits taskFinish(), and finish() after the last
    void onError(TaskInfo info);                              ///< stops every file, then emits error()
    void onMd5Started(QString url);                           ///< emits taskMd5Start(), starts the next file
    void onMd5Stoped(QString url);                            ///< emits taskMd5Stop()
    void onGetTotalSize(QString url, qint64 size);            ///< notes the size, emits totalSize()
    void onResetSpeed();                                      ///< stops every file and starts anew
    void onTaskRestart(QString json);                         ///< emits taskRestart() with the group's id
    void onTaskStart(QString url);                            ///< emits taskStart()

protected:
    /// \brief Makes the task of a file; a seam for tests.
    virtual DownloadTaskInterface* CreateTask(const DownloadTaskModel& model);
    /// \brief The clock that progress and speed are paced by, in milliseconds since the epoch; a seam for tests.
    virtual qint64 CurrentTimeMs() const;

private:
    class Watch;
    class Interval : public IntervalOperator
    {
    public:
        explicit Interval(DownloadGroupTask* group) : IntervalOperator(group), m_group(group) {}

    protected:
        qint64 CurrentTimeMs() const override { return m_group->CurrentTimeMs(); }

    private:
        const DownloadGroupTask* m_group;
    };
    using FileKey = QPair<QString, QString>; // URL text and folder

    // What a file adds to the sums. Asking the disk for thousands of files at every sample would be too slow,
    // so for the progress of a file only those that have signalled since are asked again.
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
    bool IsSampleDue(qint64 bytesReceived);
    void EmitProgress();
    bool InitAll();
    bool StartFirstOpen();
    bool StartWatched(DownloadTaskInterface* task, const Watch& watch);
    void FailInit(DownloadTaskInterface* task);
    bool AllFinished() const;
    void EmitSpeed(qint64 done, qint64 total);

    int groupId = -1;
    QVector<DownloadTaskInterface*> tasks; // children, in the order of the models
    Interval speedInterval;
    Interval progressInterval;
    BytesUnitOperator speedMeter;
    QMap<QString, qint64> sizes; // by URL

    QHash<FileKey, int> known;
    QSharedPointer<QNetworkAccessManager> headerNetwork; // shared by the tasks
    QVector<Share> shares;                               // one per task
    QVector<int> outdatedShares;
    quint64 totalBytes = 0; // modular: sizes are what servers say, and a sum of them may not fit
    quint64 doneBytes = 0;
    int firstOpen = 0;               // every task before it is being checked or finished
    quint64 run = 0;                 // counts starts and stops, so that a handler's intervention is noticed
    const Watch* starting = nullptr; // of the start of a file that is under way
    bool nextWanted = false;         // that file has entered its check already
};

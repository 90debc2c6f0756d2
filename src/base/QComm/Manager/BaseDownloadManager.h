// SPDX-License-Identifier: MIT
#pragma once

#include "Manager/DownloadPriority.h"
#include "Manager/DownloadReportData.h"
#include "Manager/DownloadTaskModel.h"
#include "Manager/ProgressInfo.h"
#include "Manager/TaskInfo.h"
#include "QCommGlobal.h"

#include <QMap>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QVariant>
#include <QVector>

#include <string>

/// \brief The contract of a download back-end: the commands it takes and the signals by which everything is
/// learnt.
///
/// Two back-ends implement it, VantorDownloadManager over the chunk engine and DownloadManager over HTTP;
/// DownloadController drives one of them and re-emits its signals. Names and arguments of the signals are
/// part of the library's binary interface.
///
/// A *group* is a list of files requested together under one int32 id. The usual way of a group:
///
/// \code
///   SetTask ──> id ──StartDownloadTask──> running ──> finish(id)
///                                            │ ├──> error(info), once per failed file
///                                            │ └──StopDownloadTask──> cancelled(id)
///                                            └ taskStart, progress, speed, md5Started, ...
/// \endcode
///
/// All operations are called and all signals emitted on the thread that owns the object. A signal handler may
/// call any operation and may delete the object with deleteLater().
class QCOMM_EXPORT BaseDownloadManager : public QObject
{
    Q_OBJECT

public:
    /// \param parent owner of the object, may be null
    /// \param name   name of the back-end in log lines: they begin with "[name]" until SetLogTag() is called
    BaseDownloadManager(QObject* parent, const QString& name);
    ~BaseDownloadManager() override;

    /// \brief Back-end specific start-up values; nothing here.
    virtual void Init(const QString& a, const QString& b, int x, int y);
    /// \brief Creates or replaces a group.
    /// \param models   the files, in the order in which they are to be fetched
    /// \param priority urgency among the groups
    /// \param groupId  id of the group; -1 asks the back-end to allocate one
    /// \return the id of the group; 0 here
    virtual int SetTask(const QVector<DownloadTaskModel>& models, DownloadPriority priority, int groupId);
    /// \brief Starts a group, creating it from `models` when it is unknown.
    /// \param groupId id of the group
    /// \param models  the files of a group that is unknown; may be empty for one that is known
    /// \param path    installation folder of the group
    virtual void StartDownloadTask(int groupId, const QVector<DownloadTaskModel>& models, const QString& path);
    /// \brief Stops a group; partial files stay and a later start resumes them.
    virtual void StopDownloadTask(int groupId);
    /// \brief Stops every group.
    virtual void StopAllDownloadTask();
    /// \brief Stops a group and forgets it.
    virtual void RemoveDownloadTask(int groupId);
    /// \brief Stops and forgets every group.
    virtual void RemoveAllDownloadTask();
    /// \brief Limits the speed of all groups together, in KiB per second; 0 lifts the limit.
    virtual void SetSpeedLimit(qint64 kilobytesPerSecond);
    /// \brief The back-end's type, one of NetlibControl's texts; empty here.
    virtual QString id();
    /// \brief Whether the back-end can be used; true here.
    virtual bool IsValid();
    /// \brief Tells the back-end the root folder of all downloads; nothing here.
    virtual void UpdateRootPath(const QString& path);
    /// \brief Whether later requests start files afresh instead of resuming; off at first.
    virtual void SetDisableResumeDownload(bool disable);
    /// \brief Whether later requests may use peer-assisted delivery; off at first.
    virtual void SetEnablePcdn(bool enable);
    /// \brief Tag sent with later requests for the operator's statistics; empty at first.
    virtual void SetBusinessTag(const QString& tag);

    /// \brief Replaces the text that log lines begin with. UTF-8.
    void SetLogTag(const std::string& tag);

Q_SIGNALS:
    /// Bytes done and in all for a group. HTTP back-end: at most every 100 ms.
    void progress(qint64 bytesRead, qint64 totalBytes, int groupId);
    /// Every file of the group is finished; the group has been removed. The last signal of the group.
    void finish(int groupId);
    /// A file's download request is about to start; `info` carries the URL.
    void taskStart(int nGroupId, const TaskInfo& info);
    /// A file is finished and in place; `info` carries the URL.
    void taskFinish(int nGroupId, const TaskInfo& info);
    /// A file's transfer began (engine back-end).
    void taskDownloadStart(int nGroupId, const TaskInfo& info);
    /// A file's transfer ended (engine back-end).
    void taskDownloadStop(int nGroupId, const TaskInfo& info);
    /// A file's MD5 check began.
    void taskMd5Start(int nGroupId, const TaskInfo& info);
    /// A file's MD5 check ended.
    void taskMd5Stop(int nGroupId, const TaskInfo& info);
    /// A file failed for good; `info` carries code, message, URL, status, network error and group.
    void error(const TaskInfo& info);
    /// The group has no file left to start: all remaining work is checking. Once per run.
    void md5Started(int groupId);
    /// Speed in bytes per second, its display text and the remaining time as text. HTTP back-end: at most
    /// every 1000 ms.
    void speed(qint64 speed, const QString& speedStr, const QString& timeStr, int groupId);
    /// A telemetry report.
    void downloadReport(const DownloadReportData& data);
    /// The size of one file became known, in bytes.
    void totalSize(const QString& url, qint64 size);
    /// The server refused a download with 403 while downloads require login.
    void relogin();
    /// A file is being retried. JSON object text: "error_code", "error_string", "url", "status_code",
    /// "net_error_code", "ip" and, once it has passed a group, "group_id".
    void taskRestart(const QString& json);
    /// A stop request for the group was handled (also sent by the HTTP back-end when the group is unknown).
    void cancelled(int groupId);
    /// A file failed in a way that is tried again (engine back-end).
    void errorRetry(const TaskInfo& info);
    /// Detailed download progress (engine back-end).
    void downloadProgress(const ProgressInfo& info);
    /// Detailed verification progress (engine back-end).
    void checkProgress(const ProgressInfo& info);
    /// Two speeds in bytes per second: `speed` as the engine reports it, averaged, and `rwSpeed` measured
    /// from the bytes processed, with the display text and the remaining time of the latter (engine
    /// back-end).
    void speed2(qint64 speed, qint64 rwSpeed, const QString& speedStr, const QString& timeStr, int groupId);

protected:
    bool disableResumeDownload = false; ///< set by SetDisableResumeDownload()
    bool enablePcdn = false;            ///< set by SetEnablePcdn()

    // Room for back-ends, inside and outside the library; the base class does not touch it.
    int m_counter = 0;            ///< free for subclasses
    QMap<int, QVariant> m_values; ///< free for subclasses
    QObject* m_helper = nullptr;  ///< free for subclasses, which own what they put here
    QObject* m_worker = nullptr;  ///< free for subclasses, which own what they put here
    QTimer m_timer;               ///< free for subclasses; not started here
    QString m_text1;              ///< free for subclasses
    QString m_text2;              ///< free for subclasses

    QString name;        ///< the constructor's name
    std::string logTag;  ///< begins the back-end's log lines; "[name]" at first
    QString businessTag; ///< set by SetBusinessTag()
};

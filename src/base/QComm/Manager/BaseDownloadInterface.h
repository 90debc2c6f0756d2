// SPDX-License-Identifier: MIT
#pragma once

#include "Manager/DownloadPriority.h"
#include "Manager/DownloadReportData.h"
#include "Manager/DownloadTaskModel.h"
#include "QCommGlobal.h"

#include <QObject>
#include <QString>
#include <QVector>

/// \brief The older, narrower download contract: group ids and URLs as plain values.
///
/// Kept for launchers that still implement or hold it; new code uses BaseDownloadManager. Every operation
/// does nothing here and is meant to be overridden. Operations are called and signals emitted on the thread
/// that owns the object.
class QCOMM_EXPORT BaseDownloadInterface : public QObject
{
    Q_OBJECT

public:
    explicit BaseDownloadInterface(QObject* parent = nullptr);
    ~BaseDownloadInterface() override;

    /// \brief Back-end specific start-up values.
    virtual void Init(const QString& a, const QString& b, int x, int y);
    /// \brief Creates a group from `models`. \return the id of the group; 0 here
    virtual int SetTask(const QVector<DownloadTaskModel>& models, DownloadPriority priority);
    /// \brief Starts a group.
    virtual void StartDownloadTask(int groupId);
    /// \brief Stops a group; it can be started again.
    virtual void StopDownloadTask(int groupId);
    /// \brief Stops every group.
    virtual void StopAllDownloadTask();
    /// \brief Stops a group and forgets it.
    virtual void RemoveDownloadTask(int groupId);
    /// \brief Stops and forgets every group.
    virtual void RemoveAllDownloadTask();
    /// \brief Limits the speed of all groups together, in KiB per second; 0 or less lifts the limit.
    virtual void SetSpeedLimit(qint64 kilobytesPerSecond);
    /// \brief The back-end's type, one of NetlibControl's texts; empty here.
    virtual QString id();

Q_SIGNALS:
    /// Bytes done and in all for a group.
    void progress(qint64 bytesRead, qint64 totalBytes, int groupId);
    /// Every file of the group is finished.
    void finish(int groupId);
    /// A file's request is about to start.
    void taskStart(int nGroupId, const QString& /*url*/);
    /// A file is finished and in place.
    void taskFinish(int nGroupId, const QString& /*url*/);
    /// A file's MD5 check began.
    void taskMd5Start(int nGroupId, const QString& /*url*/);
    /// A file's MD5 check ended.
    void taskMd5Stop(int nGroupId, const QString& /*url*/);
    /// A file failed for good. `qtErrorCode` is a QNetworkReply::NetworkError.
    void error(int /*code*/, const QString& /*message*/, int statusCode, QString /*url*/, int qtErrorCode,
               int /*groupId*/);
    /// The group has no file left to start: all remaining work is checking.
    void md5Started(int groupId);
    /// Speed in bytes per second, its display text and the remaining time as text.
    void speed(qint64 speed, const QString& speedStr, const QString& timeStr, int groupId);
    /// A telemetry report.
    void downloadReport(const DownloadReportData& data);
    /// The size of one file became known, in bytes.
    void totalSize(const QString& /*url*/, qint64 size);
    /// The server refused a download with 403 while downloads require login.
    void relogin();
    /// A file is being retried; JSON text.
    void taskRestart(const QString& /*json*/);
    /// A stop request for the group was handled.
    void cancelled(int /*groupId*/);
};

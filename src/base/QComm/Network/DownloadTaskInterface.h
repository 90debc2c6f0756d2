// SPDX-License-Identifier: MIT
#pragma once

#include "Manager/DownloadReportData.h"
#include "Manager/DownloadTaskModel.h"
#include "Manager/TaskInfo.h"
#include "QCommGlobal.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QPair>
#include <QString>

/// \brief What a group needs of the download of one file.
///
/// DownloadTask is the one implementation; DownloadGroupTask owns its tasks through this interface. The order
/// of the operations and the names of the signals are part of the library's binary interface. Everything
/// happens on the thread that owns the object. A signal handler may stop, release or delete the task.
class QCOMM_EXPORT DownloadTaskInterface : public QObject
{
    Q_OBJECT

public:
    explicit DownloadTaskInterface(QObject* parent = nullptr);
    ~DownloadTaskInterface() override;

    /// \brief The description of the file, with what has been learnt since: its size, a redirected URL.
    virtual DownloadTaskModel GetTaskModel() = 0;
    /// \brief Size of the file in bytes; 0 or less while it is unknown.
    virtual qint64 GetTotalSize() = 0;
    /// \brief Whether the file is in place.
    virtual bool IsFinished() = 0;
    /// \brief Prepares the local files. Call it before Start(), and again before starting anew.
    /// \return false when that failed; GetErrorString() says why
    virtual bool Init() = 0;
    /// \brief Begins or resumes the transfer; does nothing while it runs.
    virtual bool Start() = 0;
    /// \brief Ends all activity at once. What has arrived stays for the next Start().
    virtual void Stop() = 0;
    /// \brief The file that the transfer writes to.
    virtual QString GetTempFilePath() = 0;
    /// \brief Ends a running check without a signal and drops a pending header request.
    virtual void Release() = 0;
    /// \brief A DownloadTask::Status.
    virtual int GetStatus() = 0;
    /// \brief Holds a running transfer back, or lets it go on.
    virtual void SetPause(bool pause) = 0;
    /// \brief Why the last Init() or header request failed; not translated.
    virtual QString GetErrorString() = 0;
    /// \brief Room in the table of operations; never called, does nothing.
    virtual void Reserved();
    /// \brief Sets the attempt counter; 1 stands for the first attempt.
    virtual void SetRetryTimes(int times) = 0;
    /// \brief The size of the file as a 416 answer tells it; 0 when it does not.
    virtual qint64 GetRangeFrom416Response(const QList<QPair<QByteArray, QByteArray>>& headers) = 0;
    /// \brief Reports a retry with taskRestart() and starts the transfer again.
    virtual void EmitRetry(int code, const QString& message, const QString& url, int statusCode, int netErrorCode,
                           const QString& ip, const QString& header) = 0;

Q_SIGNALS:
    /// Bytes received by the current request, and the size of the file as that request tells it.
    void progress(qint64 bytesReceived, qint64 bytesTotal);
    /// A block of this many bytes was written.
    void dataWritten(qint64 bytes);
    /// The file is in place.
    void finish(const QString& url);
    /// The file failed for good, until it is started again.
    void error(const TaskInfo& errInfo);
    /// The check of the MD5 began.
    void md5Started(const QString& url);
    /// The check of the MD5 ended. A check that is stopped ends without this signal.
    void md5Stoped(const QString& url);
    /// A telemetry report.
    void downloadReport(const DownloadReportData& data);
    /// The size of the file became known, in bytes.
    void totalSize(const QString& url, qint64 size);
    /// Asks the group to begin anew.
    void resetSpeed();
    /// The server refused the file with 403 while downloads require a login. The task waits for a new start.
    void relogin();
    /// The transfer is about to be tried again: JSON object text with "error_code", "error_string", "url",
    /// "status_code", "net_error_code" and "ip".
    void taskRestart(const QString& json);
    /// The file was found in place by Init().
    void taskStart(const QString& url);
};

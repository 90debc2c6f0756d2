// SPDX-License-Identifier: MIT
#pragma once

#include "Manager/DownloadTaskModel.h"
#include "Network/DownloadTaskInterface.h"
#include "QCommGlobal.h"

#include <QFile>
#include <QMap>
#include <QNetworkAccessManager>
#include <QSharedPointer>
#include <QString>
#include <QTimer>
#include <QUrl>
#include <QVariant>

#include <memory>

class Md5Check;
class QDnsLookup;
class QNetworkReply;
class QNetworkRequest;

/// \brief The download of one file over HTTP(S): resumed with ranges, retried, checked, put in place.
///
/// Created and deleted by a DownloadGroupTask, or by the launcher directly. Three names belong to a file: the
/// *destination* (the URL's file name inside the model's folder), the *temporary file* (destination + "_tmp",
/// which the transfer appends to and resumes from) and a *left-over* (destination + "_check", a complete file
/// that was never checked, taken up by Init()). An existing destination is taken as it is, without a request
/// and without a check.
///
/// \code
///                        destination exists
///        ┌────────────────────────────────────────────────────────────┐
///        │        "_check" exists                                     │
///   Stopped ──Init──> CheckFileTaken ────────────────┐                │
///    │ ^ ^                                           │                │
///    │ │ └─ Stop, error ─── any state                │                │
///    │ │                                             v                v
///  Start │            200/206, complete ──> MD5 given? ──no──> rename ──> Finished
///    │ │             ┌────────────────────────^ │yes            │  ^
///    v │             │                          v               │  │match
///   Downloading ─────┤                       Checking ──────────┼──┤
///    │ ^             │                                          v  │mismatch
///    │ │             └─ time-out, network error, redirect,    Failed │
///    │ │                416, short or misplaced body ──> retry: taskRestart, Start; after the 5th: error
///    v │                                                             └──> error 3007, temporary file deleted
///   Paused (speed limit)
/// \endcode
///
/// Signals of a successful run, in order: totalSize (as soon as the size is known, again when the server says
/// otherwise), progress and dataWritten many times, md5Started and md5Stoped when there is an MD5, finish
/// once. A failed run ends with exactly one error or relogin instead of finish; the task can be started again.
///
/// | code | message | status / network error |
/// |---|---|---|
/// | 2004 | message_error_download_delete_old_file: the destination cannot be replaced | -1 / -1 |
/// | 3003 | message_error_open_file: the temporary file cannot be opened | -1 / -1 |
/// | 3004 | message_disk_not_enough_space | -1 / -1 |
/// | 3005, 3006 | message_error_download_write_or_flush_buffer: a write, the final flush | -1 / -1 |
/// | 3007 | "%1 md5 not match, md5: %2, filesize: %3": the temporary file is deleted | -1 / -1 |
/// | 3009 | "status code: %1, error code: %2, %3": a status of 400 or more with a body | both |
/// | 3010 | the same: network errors, redirects and short bodies, after the last retry | both |
/// | 3012 | "url %1, request ...": the header request failed | both |
/// | 3013 | message_request_time_out: nothing arrived for 30 seconds, after the last retry | -1 / 4 |
///
/// Messages that begin with "message_" are translated in the context "DownloadTask". Settings are read from
/// NetlibControl at each request. After a redirect that the network layer does not follow by itself, the
/// task's URL is the new one, and so are its local names.
///
/// Everything runs on the owning thread but the computation of the MD5, which has a thread of its own and
/// always ends with the check. Stop(), Release() and the destructor never wait for the rest of a file.
class QCOMM_EXPORT DownloadTask : public DownloadTaskInterface
{
    Q_OBJECT

public:
    /// \brief The states; the chart above says how they follow each other.
    enum Status : int {
        Downloading = 0,    ///< a data request is running
        Stopped = 1,        ///< idle: at first, after Stop() and after an error
        Failed = 2,         ///< the file could not be put in place
        Checking = 3,       ///< the MD5 is being computed
        Finished = 4,       ///< the destination is in place
        Paused = 5,         ///< held back by the speed limit
        CheckFileTaken = 6, ///< a left-over was taken up; becomes Checking or Finished at once
    };
    Q_ENUM(Status)

    /// \param model  description of the file; the task keeps a copy
    /// \param parent owner of the task, may be null
    explicit DownloadTask(const DownloadTaskModel& model, QObject* parent = nullptr);
    ~DownloadTask() override;

    /// \brief Shares the network access of header requests among tasks, so that thousands of them do not open
    /// thousands of connections at once. Without it the task makes its own on first use.
    void SetHeaderNetwork(const QSharedPointer<QNetworkAccessManager>& network);
    /// \brief A network access that may be shared so. Deleted later than its last owner.
    static QSharedPointer<QNetworkAccessManager> MakeHeaderNetwork();

    DownloadTaskModel GetTaskModel() override;
    qint64 GetTotalSize() override;
    bool IsFinished() override;
    bool Init() override;
    /// \return always true: what goes wrong is reported by signals
    bool Start() override;
    void Stop() override;
    QString GetTempFilePath() override;
    void Release() override;
    int GetStatus() override;
    void SetPause(bool pause) override;
    QString GetErrorString() override;
    void Reserved() override;
    void SetRetryTimes(int times) override;
    qint64 GetRangeFrom416Response(const QList<QPair<QByteArray, QByteArray>>& headers) override;
    /// A stop or another start inside a taskRestart() handler wins: the task is not started again then.
    void EmitRetry(int code, const QString& message, const QString& url, int statusCode, int netErrorCode,
                   const QString& ip, const QString& header) override;

public Q_SLOTS:
    // Where the requests, the timer and the check report.

    void onHeaderReponse();                                               ///< the header request has ended
    void onDownloadFinished();                                            ///< the data request has ended
    void onDownloadReadyRead();                                           ///< data has arrived; left alone while paused
    void onNetworkReplyProgress(qint64 bytesReceived, qint64 bytesTotal); ///< the server is alive; emits progress()
    void onTimeOut();                     ///< nothing has arrived for too long: retries, or fails with 3013
    void onGetFileMD5(QString md5String); ///< the digest of the temporary file is known: 32 hexadecimal digits

protected:
    // Seams for tests; each does what its name says and nothing else.
    virtual int ResponseTimeoutMs() const; ///< longest silence of a server in milliseconds: 30000
    virtual qint64 WriteToFile(const QByteArray& block, qint64* elapsedMs); ///< bytes written, negative on error
    virtual bool FlushFile();                                               ///< false when the flush failed
    virtual qint64 FreeDiskBytes() const;                                   ///< of the disk of the model's folder
    virtual void LookUpCanonicalNames(QDnsLookup* lookup); ///< starts a look-up; at most one per host runs
    virtual std::unique_ptr<QNetworkAccessManager> MakeDataNetwork() const; ///< network access of data requests
    QNetworkAccessManager* HeaderNetwork();                    ///< that of header requests, made on first use
    QNetworkAccessManager* DataNetwork();                      ///< that of data requests, made on first use
    QNetworkReply* DataReply() const { return downloadReply; } ///< the running data request; null when idle
    static int FastWrites();              ///< the process's counter of writes that took under a second
    static void SetFastWrites(int count); ///< sets it

private:
    // Attempts in all, the first included: at most four retries.
    static constexpr int kRetryLimit = 5;

    class Watch;
    class ReplyScope;
    struct Evidence
    {
        QString url;
        QString ip;
        QString responseHeader;
    };
    // A 416 answer whose retry waits for a header request.
    struct RangeRefusal
    {
        QString message;
        int netError = 0;
        QString ip;
    };

    // Files (DownloadTaskFiles.cpp)
    QString TempPath() const;
    bool FailInit(const QString& reason);
    bool TakeExistingDestination();
    bool TakeLeftOver(const QString& leftOver);
    bool PrepareTemporaryFile();
    bool OpenTemporaryFile();
    void CloseTemporaryFile();
    void CloseAndRemoveIfEmpty();
    bool StartFileOver();
    bool WriteBlock(const QByteArray& block);
    void ThrottleByWriteTime(qint64 elapsedMs);
    void CompleteTransfer();
    void FinishFile();
    void StartMd5Check();
    bool StopMd5Check();
    void ResolveExistingDestination(bool match);
    void FailMismatch(const QString& md5String);
    void DiscardMismatch();
    void RenameFile();
    void FailReplacing();

    // Requests and answers (DownloadTaskHttp.cpp)
    void ResetAccess(QNetworkAccessManager& network) const;
    QNetworkRequest MakeRequest() const;
    bool SetRange(QNetworkRequest* request);
    void SendDataRequest(const QNetworkRequest& request);
    void FinishWithoutRequest();
    bool NeedsHeader() const;
    void RequestHeader();
    void FailHeader(int statusCode);
    void FollowHeaderRedirect(int statusCode);
    void TransferAnew();
    void TakeHeader();
    void RetryRefusedRange();
    bool ReadAvailable();
    bool WriteAvailable();
    bool AcceptAnswer(int statusCode);
    bool TakeBadStatus(int statusCode);
    bool NoteRangeRefused();
    void TakeRangeRefused(const QString& message);
    void FinishBadly(int statusCode);
    void RequireLogin();
    bool TakeRedirect(int statusCode);
    void TakeUrl(const QUrl& url);
    void RetryOrFail(int code, const QString& message, int statusCode, int netErrorCode);
    void RetrieveIPCName(const QNetworkReply& reply);
    void GetHeaderInfo(const QNetworkReply& reply);
    void DropReply(QNetworkReply** reply);
    void ReleaseDataNetwork();

    // Reports
    QString UrlText() const;
    Evidence CurrentEvidence() const;
    bool StopUndisturbed();
    void FailWith(int code, const QString& message, int statusCode, int netErrorCode);
    void EmitError(int code, const QString& message, int statusCode, int netErrorCode, const Evidence& evidence);
    void EmitReport(int type, const QMap<QString, QVariant>& values);
    void EmitFlushReport(const QString& step, qint64 elapsedMs, bool success);
    int GroupFlag() const;

    qint64 resumeOffset = 0; // bytes in the temporary file when the current request was made
    int retryTimes = 1;
    int status = Stopped;
    DownloadTaskModel model; // its size is the known size of the file
    QFile file;              // the temporary file
    QTimer timeoutTimer;
    QString errorString;
    QSharedPointer<QNetworkAccessManager> headerManager;
    std::unique_ptr<QNetworkAccessManager> downloadManager;
    std::unique_ptr<Md5Check> check;
    QNetworkReply* headerReply = nullptr;   // child of its manager
    QNetworkReply* downloadReply = nullptr; // child of its manager
    QMap<QString, QVariant> reportMap;
    bool forceHeader = false;
    bool headerInfoTaken = false;
    bool ipTaken = false;
    QString ip;
    QString cname;
    QString responseHeader;
    bool rangeEndWanted = false;

    std::unique_ptr<RangeRefusal> rangeRefusal;
    bool answerAccepted = false; // the current data answer continues the temporary file
    quint64 run = 0;             // counts starts and stops, so that a handler's intervention is noticed
    quint64 checkRun = 0;        // counts checks, so that a stopped one's digest is dropped
    bool mismatch = false;       // the temporary file has failed its check and is to go
    int replyScopes = 0;         // above 0 while a reply's signal may be on the stack
};

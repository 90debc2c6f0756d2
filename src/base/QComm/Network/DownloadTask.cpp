// SPDX-License-Identifier: MIT
// The life of a task and what it reports. Its files are in DownloadTaskFiles.cpp, its requests and their answers in
// DownloadTaskHttp.cpp.
#include "Network/DownloadTask.h"

#include "Manager/NetlibControl.h"
#include "Network/DownloadTaskGuards.h"
#include "Network/HttpAnswer.h"
#include "Network/Md5Check.h"
#include "QCommLog.h"
#include "Tool/PcInfo.h"

#include <QDnsLookup>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QNetworkRequest>

namespace {

constexpr int kResponseTimeoutMs = 30000;

// Shared by all tasks of the process; touched only on the thread that owns them.
int fastWrites = 0;

} // namespace

DownloadTask::DownloadTask(const DownloadTaskModel& taskModel, QObject* parent)
    // File and timer are children, so that they follow the task to another thread.
    : DownloadTaskInterface(parent), model(taskModel), file(this), timeoutTimer(this)
{
    timeoutTimer.setSingleShot(true);
    timeoutTimer.setInterval(kResponseTimeoutMs);
    connect(&timeoutTimer, &QTimer::timeout, this, &DownloadTask::onTimeOut);
}

DownloadTask::~DownloadTask()
{
    check.reset();
    DropReply(&downloadReply);
    DropReply(&headerReply);
    ReleaseDataNetwork();
    if (file.isOpen())
        CloseAndRemoveIfEmpty();
    DiscardMismatch();
}

DownloadTaskModel DownloadTask::GetTaskModel()
{
    return model;
}

qint64 DownloadTask::GetTotalSize()
{
    return model.size;
}

bool DownloadTask::IsFinished()
{
    return status == Finished;
}

QString DownloadTask::GetTempFilePath()
{
    return TempPath();
}

int DownloadTask::GetStatus()
{
    return status;
}

QString DownloadTask::GetErrorString()
{
    return errorString;
}

void DownloadTask::Reserved()
{
}

void DownloadTask::SetRetryTimes(int times)
{
    retryTimes = times;
}

qint64 DownloadTask::GetRangeFrom416Response(const QList<QPair<QByteArray, QByteArray>>& headers)
{
    return HttpAnswer::SizeFromContentRange(headers);
}

bool DownloadTask::Start()
{
    // Paused and Checking too: a second transfer would write into the file of the first.
    if (status != Stopped && status != Failed)
        return true;
    DiscardMismatch();
    ++run;
    status = Downloading;
    rangeRefusal.reset();

    // Intended: the offset of the last request or of Init(), so that a complete file that failed at its end is asked
    // for once more. A file that has shrunk since is not complete.
    if (model.size >= 1 && qMin(resumeOffset, QFileInfo(TempPath()).size()) >= model.size) {
        FinishWithoutRequest();
        return true;
    }

    QNetworkRequest request = MakeRequest();
    QCOMM_LOG(LogLevel::Trace, "DownloadTask::Start") << "download url start: " << model.GetFileName();
    resumeOffset = QFileInfo(TempPath()).size();
    if (SetRange(&request))
        SendDataRequest(request);
    return true;
}

void DownloadTask::FinishWithoutRequest()
{
    const Watch watch(this);
    EmitReport(
        2, {{QStringLiteral("url"), UrlText()}, {QStringLiteral("result"), 0}, {QStringLiteral("group"), GroupFlag()}});
    if (watch.Undisturbed())
        FinishFile();
}

void DownloadTask::Stop()
{
    ++run;
    ip.clear();
    cname.clear();
    responseHeader.clear();
    headerInfoTaken = false;
    ipTaken = false;
    status = Stopped;
    timeoutTimer.stop();
    rangeRefusal.reset();
    ++checkRun;
    check.reset();
    DropReply(&downloadReply);
    DropReply(&headerReply);
    if (file.isOpen())
        CloseTemporaryFile();
}

void DownloadTask::Release()
{
    ++checkRun;
    check.reset();
    if (status == Checking)
        status = Stopped;
    DropReply(&headerReply);
    DiscardMismatch();
}

void DownloadTask::SetPause(bool pause)
{
    if (pause && status == Downloading) {
        status = Paused;
    } else if (!pause && status == Paused) {
        status = Downloading;
        if (downloadReply)
            onDownloadReadyRead();
    }
}

void DownloadTask::EmitRetry(int code, const QString& message, const QString& url, int statusCode, int netErrorCode,
                             const QString& lastIp, const QString& /*header*/)
{
    const QJsonObject json{{QStringLiteral("error_code"), code},
                           {QStringLiteral("error_string"), message},
                           {QStringLiteral("url"), url},
                           {QStringLiteral("status_code"), statusCode},
                           {QStringLiteral("net_error_code"), netErrorCode},
                           {QStringLiteral("ip"), lastIp}};
    const Watch watch(this);
    Q_EMIT taskRestart(QString::fromUtf8(QJsonDocument(json).toJson(QJsonDocument::Compact)));
    if (watch.Undisturbed())
        Start();
}

void DownloadTask::onTimeOut()
{
    // 4 is what the network layer calls a time-out.
    RetryOrFail(3013, tr("message_request_time_out"), -1, QNetworkReply::TimeoutError);
}

void DownloadTask::RetryOrFail(int code, const QString& message, int statusCode, int netErrorCode)
{
    if (retryTimes >= kRetryLimit) {
        FailWith(code, message, statusCode, netErrorCode);
        return;
    }
    // What Stop() is about to clear belongs to the report.
    const Evidence evidence = CurrentEvidence();
    ++retryTimes;
    if (StopUndisturbed())
        EmitRetry(code, message, evidence.url, statusCode, netErrorCode, evidence.ip, QString());
}

int DownloadTask::ResponseTimeoutMs() const
{
    return kResponseTimeoutMs;
}

qint64 DownloadTask::WriteToFile(const QByteArray& block, qint64* elapsedMs)
{
    QElapsedTimer timer;
    timer.start();
    const qint64 written = file.write(block);
    *elapsedMs = timer.elapsed();
    return written;
}

bool DownloadTask::FlushFile()
{
    return file.flush() && file.error() == QFileDevice::NoError;
}

qint64 DownloadTask::FreeDiskBytes() const
{
    return PcInfo::GetDiskMemory(model.path, true);
}

void DownloadTask::LookUpCanonicalNames(QDnsLookup* lookup)
{
    lookup->lookup();
}

int DownloadTask::FastWrites()
{
    return fastWrites;
}

void DownloadTask::SetFastWrites(int count)
{
    fastWrites = count;
}

QString DownloadTask::UrlText() const
{
    return model.url.toString(QUrl::FullyEncoded);
}

DownloadTask::Evidence DownloadTask::CurrentEvidence() const
{
    return {UrlText(), ip, responseHeader};
}

// Whether Stop(), whose reports run handlers, has left the task to go on with.
bool DownloadTask::StopUndisturbed()
{
    const QPointer<DownloadTask> self(this);
    const quint64 stopped = run + 1;
    Stop();
    return self && run == stopped;
}

void DownloadTask::FailWith(int code, const QString& message, int statusCode, int netErrorCode)
{
    // Read before Stop() clears it: the error carries the address and the headers of the failed answer.
    const Evidence evidence = CurrentEvidence();
    if (StopUndisturbed())
        EmitError(code, message, statusCode, netErrorCode, evidence);
}

void DownloadTask::EmitError(int code, const QString& message, int statusCode, int netErrorCode,
                             const Evidence& evidence)
{
    TaskInfo info;
    info.SetErrorCode(code);
    info.SetErrorString(message);
    info.SetUrl(evidence.url);
    info.SetStatusCode(statusCode);
    info.SetNetErrorCode(netErrorCode);
    info.SetIP(evidence.ip);
    info.SetResponseHeader(evidence.responseHeader);
    Q_EMIT error(info);
}

void DownloadTask::EmitReport(int type, const QMap<QString, QVariant>& values)
{
    DownloadReportData data;
    data.SetReportType(type);
    data.SetReportMap(values);
    Q_EMIT downloadReport(data);
}

void DownloadTask::EmitFlushReport(const QString& step, qint64 elapsedMs, bool success)
{
    EmitReport(3, {{QStringLiteral("status"), step},
                   {QStringLiteral("flush_time"), QString::number(elapsedMs)},
                   {QStringLiteral("result"), success ? QStringLiteral("success") : QStringLiteral("fail")}});
}

// 1 when sizes are taken from the task description and no header request was forced.
int DownloadTask::GroupFlag() const
{
    const bool fromResource = NetlibControl::Instance()->GetPkgSizeInfo() == NetlibControl::kPkgSizeInfoResource;
    return fromResource && !forceHeader ? 1 : 0;
}

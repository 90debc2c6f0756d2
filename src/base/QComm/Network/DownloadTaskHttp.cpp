// SPDX-License-Identifier: MIT
// The remote side of a task: header and data requests and what is made of their answers.
#include "Manager/NetlibControl.h"
#include "Network/CanonicalNames.h"
#include "Network/DownloadTask.h"
#include "Network/DownloadTaskGuards.h"
#include "Network/HttpAnswer.h"
#include "QCommLog.h"

#include <QHostAddress>
#include <QHostInfo>
#include <QNetworkReply>
#include <QNetworkRequest>

namespace {

constexpr qint64 kReadBufferBytes = 51200;
constexpr int kAcceptEncodingStrategy = 3;

const QString kUrlKey = QStringLiteral("url");
const QString kRangeKey = QStringLiteral("range");
const QString kStatusCodeKey = QStringLiteral("statusCode");
const QString kGroupKey = QStringLiteral("group");

bool requiresLogin(int statusCode)
{
    return statusCode == HttpAnswer::kForbidden && NetlibControl::Instance()->GetIsDownloadWithLogin();
}

QString statusMessage(int statusCode, const QNetworkReply& reply)
{
    return QStringLiteral("status code: %1, error code: %2, %3")
        .arg(QString::number(statusCode), QString::number(reply.error()), reply.errorString());
}

} // namespace

void DownloadTask::SetHeaderNetwork(const QSharedPointer<QNetworkAccessManager>& network)
{
    headerManager = network;
}

QSharedPointer<QNetworkAccessManager> DownloadTask::MakeHeaderNetwork()
{
    // Later: the last owner may go away inside a signal of one of its replies.
    return QSharedPointer<QNetworkAccessManager>(new QNetworkAccessManager, &QObject::deleteLater);
}

// Made on first use: most tasks of a large group are waiting, and each network access has a thread.
QNetworkAccessManager* DownloadTask::HeaderNetwork()
{
    if (!headerManager)
        headerManager = MakeHeaderNetwork();
    return headerManager.data();
}

QNetworkAccessManager* DownloadTask::DataNetwork()
{
    if (!downloadManager)
        downloadManager = MakeDataNetwork();
    return downloadManager.get();
}

std::unique_ptr<QNetworkAccessManager> DownloadTask::MakeDataNetwork() const
{
    return std::make_unique<QNetworkAccessManager>();
}

void DownloadTask::ReleaseDataNetwork()
{
    if (!downloadManager)
        return;
    // It goes with its network access.
    DropReply(&downloadReply);
    if (replyScopes > 0)
        downloadManager.release()->deleteLater();
    else
        downloadManager.reset();
}

// A network access that once found the machine offline refuses all requests until it is told otherwise.
void DownloadTask::ResetAccess(QNetworkAccessManager& network) const
{
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    if (network.networkAccessible() != QNetworkAccessManager::NotAccessible)
        return;
    network.clearAccessCache();
    network.setNetworkAccessible(QNetworkAccessManager::Accessible);
    QT_WARNING_POP
}

void DownloadTask::DropReply(QNetworkReply** reply)
{
    if (!*reply)
        return;
    QNetworkReply* const dropped = *reply;
    *reply = nullptr;
    dropped->disconnect(this);
    dropped->abort();
    dropped->deleteLater();
}

QNetworkRequest DownloadTask::MakeRequest() const
{
    QNetworkRequest request(model.url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    return request;
}

// The data request.

// Whether the task is left to go on with.
bool DownloadTask::SetRange(QNetworkRequest* request)
{
    reportMap.insert(kUrlKey, UrlText());
    reportMap.remove(kRangeKey);
    if (resumeOffset < 1)
        return true;

    QString range = QStringLiteral("bytes=%1-").arg(resumeOffset);
    if (NetlibControl::Instance()->GetSwitchFor416() && rangeEndWanted && model.size >= 1) {
        // Intended: the end is the size itself, one past the last byte. Servers cut it to the last byte, and deployed
        // delivery networks have rules for exactly this form.
        range += QString::number(model.size);
        rangeEndWanted = false;
    }
    request->setRawHeader("Range", range.toLatin1());
    reportMap.insert(kRangeKey, range);
    const Watch watch(this);
    EmitReport(2, {{kUrlKey, UrlText()}, {QStringLiteral("result"), 1}, {kGroupKey, GroupFlag()}});
    QCOMM_LOG(LogLevel::Trace, "DownloadTask::Start")
        << "downloadtask start file:" << model.GetFileName() << "range: " << range;
    return watch.Undisturbed();
}

void DownloadTask::SendDataRequest(const QNetworkRequest& preparedRequest)
{
    QNetworkRequest request(preparedRequest);
    // A fresh file is asked for with "gzip, deflate": the network layer sends exactly that by itself, and decodes the
    // body only when it does so. Written by us, the header would leave encoded bytes in the file.
    if (NetlibControl::Instance()->GetFlushOrGzipStrategy() == kAcceptEncodingStrategy && resumeOffset >= 1)
        request.setRawHeader("Accept-Encoding", "identity");

    QNetworkAccessManager* const network = DataNetwork();
    ResetAccess(*network);
    answerAccepted = false;
    headerInfoTaken = false;
    ipTaken = false;
    downloadReply = network->get(request);
    downloadReply->setReadBufferSize(kReadBufferBytes);
    timeoutTimer.start(ResponseTimeoutMs());
    connect(downloadReply, &QNetworkReply::finished, this, &DownloadTask::onDownloadFinished);
    connect(downloadReply, &QNetworkReply::readyRead, this, &DownloadTask::onDownloadReadyRead);
    connect(downloadReply, &QNetworkReply::downloadProgress, this, &DownloadTask::onNetworkReplyProgress);
}

void DownloadTask::onNetworkReplyProgress(qint64 bytesReceived, qint64 bytesTotal)
{
    const ReplyScope scope(this);
    if (timeoutTimer.isActive())
        timeoutTimer.start();
    // -1 for an unknown length stays one less than the offset.
    Q_EMIT progress(bytesReceived,
                    bytesTotal < 0 ? resumeOffset + bytesTotal : HttpAnswer::Sum(resumeOffset, bytesTotal));
}

void DownloadTask::onDownloadReadyRead()
{
    // Left in the reply's bounded buffer while paused: that holds the server back.
    if (!downloadReply || status == Paused)
        return;
    const ReplyScope scope(this);
    RetrieveIPCName(*downloadReply);
    GetHeaderInfo(*downloadReply);
    ReadAvailable();
}

// Whether the transfer goes on.
bool DownloadTask::ReadAvailable()
{
    if (downloadReply->bytesAvailable() < 1)
        return true;
    const int statusCode = HttpAnswer::Status(*downloadReply);
    if (!HttpAnswer::HasContent(statusCode))
        return TakeBadStatus(statusCode);
    return AcceptAnswer(statusCode) && WriteAvailable();
}

// In pieces of the buffer that was asked for, and only until the speed limit holds the task back: a reply whose thread
// has begun before it was told of its buffer holds far more at times, and does so again after each time it is emptied.
bool DownloadTask::WriteAvailable()
{
    while (downloadReply->bytesAvailable() > 0 && status != Paused) {
        const qint64 asked = downloadReply->readBufferSize();
        const QByteArray block = downloadReply->read(asked > 0 ? asked : kReadBufferBytes);
        if (block.isEmpty())
            return true;
        if (!WriteBlock(block))
            return false;
    }
    return true;
}

// Decides once per answer how its body relates to the temporary file, and learns the size. False: the transfer ended.
bool DownloadTask::AcceptAnswer(int statusCode)
{
    if (answerAccepted)
        return true;
    answerAccepted = true;
    if (statusCode == HttpAnswer::kPartialContent &&
        !HttpAnswer::ContinuesAt(*downloadReply, resumeOffset, model.size)) {
        RetryOrFail(3010, statusMessage(statusCode, *downloadReply), statusCode, downloadReply->error());
        return false;
    }
    if (statusCode == HttpAnswer::kOk && resumeOffset > 0 && !StartFileOver()) {
        FailWith(3005, tr("message_error_download_write_or_flush_buffer"), -1, -1);
        return false;
    }
    if (model.size >= 1)
        return true;
    // The length of a part is not that of the file.
    model.size = HttpAnswer::WholeSize(*downloadReply, resumeOffset);
    const Watch watch(this);
    Q_EMIT totalSize(UrlText(), model.size);
    return watch.Undisturbed();
}

// A status that carries no part of the file. False: the transfer ended.
bool DownloadTask::TakeBadStatus(int statusCode)
{
    const QString message = statusMessage(statusCode, *downloadReply);
    if (statusCode == HttpAnswer::kRangeNotSatisfiable) {
        TakeRangeRefused(message);
        return false;
    }
    if (statusCode < 400 || requiresLogin(statusCode)) {
        // Left to onDownloadFinished(). Read nevertheless: a full buffer would keep the answer from ending.
        downloadReply->readAll();
        return true;
    }
    FailWith(3009, message, statusCode, downloadReply->error());
    return false;
}

void DownloadTask::onDownloadFinished()
{
    timeoutTimer.stop();
    if (!downloadReply || status == Stopped)
        return;
    const ReplyScope scope(this);
    status = Stopped;
    const int statusCode = HttpAnswer::Status(*downloadReply);
    if (statusCode > 0) {
        // Answers without a body have not passed onDownloadReadyRead().
        RetrieveIPCName(*downloadReply);
        GetHeaderInfo(*downloadReply);
    }
    // Statuses such as 204 carry nothing that could complete the file either.
    if (downloadReply->error() != QNetworkReply::NoError || !HttpAnswer::HasContent(statusCode)) {
        FinishBadly(statusCode);
        return;
    }
    if (AcceptAnswer(statusCode) && ReadAvailable())
        CompleteTransfer();
}

void DownloadTask::FinishBadly(int statusCode)
{
    const int netError = downloadReply->error();
    QCOMM_LOG(LogLevel::Trace, "DownloadTask::onDownloadFinished")
        << "onDownloadFinished error: " << netError << downloadReply->errorString() << ", status code: " << statusCode;
    const QString message = statusMessage(statusCode, *downloadReply);
    if (retryTimes < kRetryLimit) {
        if (HttpAnswer::IsRedirect(statusCode)) {
            if (!TakeRedirect(statusCode))
                return;
        } else if (statusCode == HttpAnswer::kRangeNotSatisfiable) {
            if (!NoteRangeRefused())
                return;
            // Dropped by the retry, whose answer decides.
            RequestHeader();
        } else if (requiresLogin(statusCode)) {
            RequireLogin();
            return;
        }
    }
    RetryOrFail(3010, message, statusCode, netError);
}

void DownloadTask::RequireLogin()
{
    QCOMM_LOG(LogLevel::Trace, "DownloadTask::onDownloadFinished") << " Download encounters 403, do relogin";
    if (StopUndisturbed())
        Q_EMIT relogin();
}

// Whether the task is left to go on with.
bool DownloadTask::TakeRedirect(int statusCode)
{
    reportMap.insert(kStatusCodeKey, statusCode);
    QCOMM_LOG(LogLevel::Info, "DownloadTask::onDownloadFinished")
        << "download task redirect, status code " << statusCode;
    const QUrl target = HttpAnswer::RedirectTarget(*downloadReply, model.url);
    const Watch watch(this);
    EmitReport(0, reportMap);
    if (!watch.Undisturbed())
        return false;
    if (target.isValid())
        TakeUrl(target);
    return true;
}

// The local names come from the URL: what was written under the old one is not resumed under the new.
void DownloadTask::TakeUrl(const QUrl& url)
{
    model.url = url;
    if (file.isOpen() && file.fileName() != TempPath())
        CloseAndRemoveIfEmpty();
}

// 416: the server does not have the range that was asked for.

// What a 416 with a body and one without have in common. Returns whether the task is left to go on with.
bool DownloadTask::NoteRangeRefused()
{
    const HttpAnswer::Headers headers = downloadReply->rawHeaderPairs();
    const Watch watch(this);
    if (NetlibControl::Instance()->GetSwitchFor416()) {
        rangeEndWanted = true;
        const qint64 size = GetRangeFrom416Response(headers);
        if (size > 0) {
            model.size = size;
            Q_EMIT totalSize(UrlText(), size);
            if (!watch.Undisturbed())
                return false;
        }
    }
    reportMap.insert(kStatusCodeKey, HttpAnswer::kRangeNotSatisfiable);
    QCOMM_LOG(LogLevel::Trace, "DownloadTask::NoteRangeRefused") << "download task status code 416";
    EmitReport(1, {{kUrlKey, UrlText()},
                   {kRangeKey, reportMap.value(kRangeKey).toString()},
                   {kGroupKey, GroupFlag()},
                   {QStringLiteral("response_header"), HttpAnswer::HeaderText(headers)}});
    return watch.Undisturbed();
}

void DownloadTask::TakeRangeRefused(const QString& message)
{
    const int netError = downloadReply->error();
    if (!NoteRangeRefused())
        return;
    timeoutTimer.stop();
    if (status == Stopped)
        return;
    status = Stopped;
    const Evidence evidence = CurrentEvidence();
    if (retryTimes >= kRetryLimit) {
        const Watch watch(this);
        EmitError(3009, message, HttpAnswer::kRangeNotSatisfiable, netError, evidence);
        if (watch.Undisturbed())
            Stop();
        return;
    }
    if (!StopUndisturbed())
        return;
    ++retryTimes;
    const bool fromResource = NetlibControl::Instance()->GetPkgSizeInfo() == NetlibControl::kPkgSizeInfoResource;
    if (fromResource && model.size >= 1) {
        EmitRetry(3009, message, evidence.url, HttpAnswer::kRangeNotSatisfiable, netError, evidence.ip, QString());
        return;
    }
    // The header tells whether the file is complete already. If it is not, or does not tell, the transfer is tried
    // again, so that nobody waits for a request that has ended.
    rangeRefusal = std::make_unique<RangeRefusal>(RangeRefusal{message, netError, evidence.ip});
    RequestHeader();
    timeoutTimer.start(ResponseTimeoutMs());
}

void DownloadTask::RetryRefusedRange()
{
    if (!rangeRefusal)
        return;
    timeoutTimer.stop();
    const std::unique_ptr<RangeRefusal> refusal = std::move(rangeRefusal);
    EmitRetry(3009, refusal->message, UrlText(), HttpAnswer::kRangeNotSatisfiable, refusal->netError, refusal->ip,
              QString());
}

// The header request.

bool DownloadTask::NeedsHeader() const
{
    const bool fromResource = NetlibControl::Instance()->GetPkgSizeInfo() == NetlibControl::kPkgSizeInfoResource;
    return forceHeader || model.size < 1 || !fromResource;
}

void DownloadTask::RequestHeader()
{
    DropReply(&headerReply);
    if (!NeedsHeader())
        return;
    QNetworkAccessManager* const network = HeaderNetwork();
    ResetAccess(*network);
    QCOMM_LOG(LogLevel::Trace, "DownloadTask::RequestHeader") << "Request download file: " << model.GetFileName();
    reportMap.insert(kUrlKey, UrlText());
    headerReply = network->head(MakeRequest());
    connect(headerReply, &QNetworkReply::finished, this, &DownloadTask::onHeaderReponse);
}

void DownloadTask::onHeaderReponse()
{
    if (!headerReply)
        return;
    const ReplyScope scope(this);
    QCOMM_LOG(LogLevel::Trace, "DownloadTask::onHeaderReponse") << "Header response, file: " << model.GetFileName();
    const int statusCode = HttpAnswer::Status(*headerReply);
    const bool answered = headerReply->error() == QNetworkReply::NoError;
    if (answered && HttpAnswer::IsRedirect(statusCode))
        FollowHeaderRedirect(statusCode);
    else if (answered && HttpAnswer::HasContent(statusCode))
        TakeHeader();
    else
        FailHeader(statusCode);
}

void DownloadTask::FailHeader(int statusCode)
{
    const QNetworkReply::NetworkError netError = headerReply->error();
    if (netError == QNetworkReply::OperationCanceledError || requiresLogin(statusCode)) {
        // Not reported: the data request meets the same answer and asks for the login.
        DropReply(&headerReply);
        RetryRefusedRange();
        return;
    }
    if (netError == QNetworkReply::NoError) {
        errorString = QStringLiteral("url %1, request status code: %2").arg(UrlText(), QString::number(statusCode));
    } else {
        errorString = QStringLiteral("url %1, request header error, code: %2, %3")
                          .arg(UrlText(), QString::number(netError), headerReply->errorString());
        QCOMM_LOG(LogLevel::Error, "DownloadTask::onHeaderReponse") << errorString;
    }
    Evidence evidence = CurrentEvidence();
    if (statusCode > 0) {
        RetrieveIPCName(*headerReply);
        evidence.ip = ip;
        evidence.responseHeader = HttpAnswer::HeaderJson(headerReply->rawHeaderPairs());
    }
    DropReply(&headerReply);
    // The timer is this request's only after a 416; else it is the data request's.
    if (rangeRefusal)
        timeoutTimer.stop();
    rangeRefusal.reset();
    EmitError(3012, errorString, statusCode, netError, evidence);
}

void DownloadTask::FollowHeaderRedirect(int statusCode)
{
    reportMap.insert(kStatusCodeKey, statusCode);
    QCOMM_LOG(LogLevel::Trace, "DownloadTask::onHeaderReponse")
        << " download task redirect, status code " << statusCode;
    const QUrl target = HttpAnswer::RedirectTarget(*headerReply, model.url);
    DropReply(&headerReply);
    const Watch watch(this);
    EmitReport(0, reportMap);
    if (!watch.Undisturbed())
        return;
    if (!target.isValid()) {
        RetryRefusedRange();
        return;
    }
    const QString temporary = TempPath();
    TakeUrl(target);
    RequestHeader();
    // What a running transfer brings continues the file of the old name, not that of the new one.
    if (downloadReply && TempPath() != temporary)
        TransferAnew();
}

void DownloadTask::TransferAnew()
{
    DropReply(&downloadReply);
    status = Stopped;
    Start();
}

void DownloadTask::TakeHeader()
{
    model.size = HttpAnswer::ContentLength(*headerReply);
    DropReply(&headerReply);
    const Watch watch(this);
    Q_EMIT totalSize(UrlText(), model.size);
    if (!watch.Undisturbed())
        return;
    QCOMM_LOG(LogLevel::Trace, "DownloadTask::onHeaderReponse")
        << "Header response, file: " << model.GetFileName() << ", size: " << model.size;
    QCOMM_LOG(LogLevel::Trace, "DownloadTask::onHeaderReponse") << UrlText() << " header size is " << model.size;
    if (model.size < 1 || resumeOffset < model.size) {
        RetryRefusedRange();
        return;
    }
    if (StopUndisturbed())
        FinishFile();
}

// Facts about an answer, for the errors that follow.

void DownloadTask::RetrieveIPCName(const QNetworkReply& reply)
{
    if (ipTaken)
        return;
    ipTaken = true;
    const QString host = reply.request().url().host();
    const QList<QHostAddress> addresses = QHostInfo::fromName(host).addresses();
    if (!addresses.isEmpty()) {
        ip = addresses.first().toString();
        QCOMM_LOG(LogLevel::Trace, "DownloadTask::RetrieveIPCName") << "ip: " << ip;
    }
    CanonicalNames::Ask(
        host, this, [this](QDnsLookup* lookup) { LookUpCanonicalNames(lookup); },
        [this](const QStringList& names) {
            cname = HttpAnswer::JoinNames(names);
            QCOMM_LOG(LogLevel::Trace, "DownloadTask::RetrieveIPCName") << "cname: " << cname;
        });
}

void DownloadTask::GetHeaderInfo(const QNetworkReply& reply)
{
    if (headerInfoTaken)
        return;
    headerInfoTaken = true;
    responseHeader = HttpAnswer::HeaderJson(reply.rawHeaderPairs());
    QCOMM_LOG(LogLevel::Trace, "DownloadTask::GetHeaderInfo")
        << "URL: " << model.GetFileName() << ", Header-Response: " << responseHeader;
}

// SPDX-License-Identifier: MIT
#include "Network/BaseHttpApi.h"

#include "Network/HttpNetworkManager.h"
#include "QCommLog.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QJsonArray>
#include <QNetworkCookie>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrl>
#include <QUrlQuery>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace {

constexpr int kTimeoutCode = 3001;
constexpr int kNetworkCode = 3002;
constexpr int kOkStatus = 200;
// What a time-out reports when no reply is held. The number is no HTTP status, on purpose: evaluations of deployed
// launchers tell such time-outs by it.
constexpr int kStatusWithoutReply = 638;
constexpr int kErrorWithoutReply = -1;
constexpr int kWaitSendMs = 500;
const QString kTimeoutMessage = QStringLiteral("CommonErrorCode::HTTP_REQUEST_TIMEOUT");
const QString kJsonType = QStringLiteral("application/json");
const QString kFormType = QStringLiteral("application/x-www-form-urlencoded");

QUrlQuery plainQuery(const QMap<QString, QVariant>& params)
{
    QUrlQuery query;
    for (auto param = params.cbegin(); param != params.cend(); ++param)
        query.addQueryItem(param.key(), param.value().toString());
    return query;
}

// The elements of what converts to a JSON array. Those of a list of variants are taken as they are: JSON has 53 bits
// for a number, and identifiers have 64.
QVariantList elementsOf(const QVariant& value)
{
    return value.userType() == QMetaType::QVariantList ? value.toList() : value.toJsonArray().toVariantList();
}

// Lists are spelled out, one "name[]" per element; an empty list is an empty text, like any other value without one.
QUrlQuery expandedQuery(const QMap<QString, QVariant>& params)
{
    QUrlQuery query;
    for (auto param = params.cbegin(); param != params.cend(); ++param) {
        const QVariantList elements = elementsOf(param.value());
        if (elements.isEmpty())
            query.addQueryItem(param.key(), param.value().toString());
        for (const QVariant& element : elements)
            query.addQueryItem(param.key() + QStringLiteral("[]"), element.toString());
    }
    return query;
}

// All of the bytes: the conversion of a QByteArray as a whole ends at the first zero.
QString utf8Text(const QByteArray& data)
{
    return QString::fromUtf8(data.constData(), data.size());
}

QString headerText(const QNetworkReply& reply, const char* name)
{
    return QString::fromLatin1(reply.rawHeader(name));
}

int statusOf(const QNetworkReply& reply)
{
    return reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

// Whether less has come than the server announced. Qt's network layer reports that as a closed connection, but when it
// learns of the end from its own reading of the body it takes what it has for the whole, without an error. An answer
// to HEAD announces a body that does not come; the length of one in chunks or of a compressed one says nothing.
bool isCutShort(const QNetworkReply& reply, const QByteArray& data)
{
    if (reply.operation() == QNetworkAccessManager::HeadOperation || reply.hasRawHeader("Transfer-Encoding"))
        return false;
    return data.size() < reply.header(QNetworkRequest::ContentLengthHeader).toLongLong();
}

} // namespace

BaseHttpApi::BaseHttpApi(QObject* parent) : BaseHttpApiInterface(parent)
{
    connect(&m_timer, &QTimer::timeout, this, &BaseHttpApi::OnTimeout);
}

BaseHttpApi::~BaseHttpApi()
{
    DropForgotten();
    // Not by m_reply, which subclasses can set to what they please.
    if (m_sent)
        m_sent->deleteLater();
}

void BaseHttpApi::SetNetworkManager(HttpNetworkManager* networkManager)
{
    disconnect(m_managerGone);
    m_networkManager = networkManager;
    if (networkManager)
        m_managerGone = connect(networkManager, &QObject::destroyed, this, [this] { m_networkManager = nullptr; });
}

void BaseHttpApi::Send()
{
    const QString url = GetFullUrl();
    if (IsRunning()) {
        QCOMM_LOG(LogLevel::Detail, "BaseHttpApi::Send") << " " << url << " networkReplay is running";
        return;
    }
    if (url.isEmpty()) {
        QCOMM_LOG(LogLevel::Warning, "BaseHttpApi::Send") << " " << url << " http url is empty";
        return;
    }
    if (!StartRequest())
        return;
    if (!m_reply) {
        QCOMM_LOG(LogLevel::Detail, "BaseHttpApi::Send") << " " << url << " networkReplay is nullptr";
        return;
    }
    WatchReply();
    StartTimer();
    m_contentType.clear();
}

// False for a type that there is none of: the call is not made, and nobody is told.
bool BaseHttpApi::StartRequest()
{
    switch (m_type) {
    case Get:
        m_reply = GetRequest();
        return true;
    case Post:
        m_reply = PostRequest();
        return true;
    case Head:
        m_reply = HeadRequest();
        return true;
    case PostForm:
        m_reply = PostFormRequest();
        return true;
    }
    return false;
}

void BaseHttpApi::WatchReply()
{
    DropForgotten();
    m_sent = m_reply;
    connect(m_reply, &QObject::destroyed, this, &BaseHttpApi::ForgetReply);
    connect(m_reply, &QNetworkReply::finished, this, &BaseHttpApi::OnReplyFinished);
}

// Intended: m_reply is cleared whichever reply is destroyed. The reply of a failed attempt is destroyed when its
// successor is already held, and takes it along: the successor's answer is dropped and its attempt ends by the
// time-out. Deployed launchers count on the pace of retries that follows from it, so this must not be narrowed to the
// reply that is held.
void BaseHttpApi::ForgetReply()
{
    // A QPointer is null before its object says that it is destroyed, so what m_sent still has is the successor.
    if (m_reply && m_sent)
        m_forgotten = m_sent;
    m_reply = nullptr;
}

// The forgotten reply of an attempt that is over. Its own end must not touch the next attempt's reply.
void BaseHttpApi::DropForgotten()
{
    if (!m_forgotten)
        return;
    m_forgotten->disconnect(this);
    m_forgotten->deleteLater();
    m_forgotten.clear();
}

void BaseHttpApi::StartTimer()
{
    const int interval = AttemptInterval();
    m_timer.setInterval(interval);
    QCOMM_LOG(LogLevel::Trace, "BaseHttpApi::Send")
        << " request " << GetFullUrl() << " with time interval " << interval << " ms";
    m_timer.start();
}

// Doubled by each retry with back-off; what a timer cannot count ends at the most it can.
int BaseHttpApi::AttemptInterval() const
{
    const qint64 retriesMade = qint64(m_retryTimes) - m_retryLeft;
    if (!m_retryBackoff || retriesMade <= 0)
        return m_timeout;
    const int doublings = static_cast<int>(std::min<qint64>(retriesMade, std::numeric_limits<int>::digits));
    constexpr double kLeast = std::numeric_limits<int>::min();
    constexpr double kMost = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(std::ldexp(double(m_timeout), doublings), kLeast, kMost));
}

void BaseHttpApi::Stop()
{
    DropForgotten();
    if (m_reply) {
        // Not aborted: an abort would report the end of the reply once more.
        m_reply->deleteLater();
        m_reply = nullptr;
    }
    m_timer.stop();
}

QString BaseHttpApi::GetUrlHost()
{
    return QUrl(m_baseUrl).host(QUrl::FullyDecoded);
}

QString BaseHttpApi::GetFullUrl()
{
    return m_baseUrl + m_path;
}

bool BaseHttpApi::IsRunning()
{
    return m_reply != nullptr;
}

void BaseHttpApi::WaitSend()
{
    QEventLoop loop;
    Send();
    if (m_reply)
        connect(m_reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(kWaitSendMs, &loop, &QEventLoop::quit);
    // Handlers that run in it may delete this object: nothing of it may be touched afterwards.
    loop.exec();
}

QString BaseHttpApi::GetHeaderContentType()
{
    return m_contentType;
}

QString BaseHttpApi::GetHeaderETag()
{
    return m_eTag;
}

void BaseHttpApi::SetRequestType(TYPE type)
{
    m_type = type;
}

void BaseHttpApi::SetBaseUrl(const QString& baseUrl)
{
    BaseHttpApiInterface::SetBaseUrl(baseUrl);
}

void BaseHttpApi::SetRequestPath(const QString& path)
{
    BaseHttpApiInterface::SetRequestPath(path);
}

void BaseHttpApi::SetRequestHeaders(QMap<QString, QString> headers)
{
    BaseHttpApiInterface::SetRequestHeaders(std::move(headers));
}

void BaseHttpApi::SetRequestParams(QMap<QString, QVariant> params)
{
    BaseHttpApiInterface::SetRequestParams(std::move(params));
}

void BaseHttpApi::SetParamsString(const QString& params)
{
    BaseHttpApiInterface::SetParamsString(params);
}

void BaseHttpApi::SetCookies(QMap<QByteArray, QByteArray> cookies)
{
    BaseHttpApiInterface::SetCookies(std::move(cookies));
}

void BaseHttpApi::SetRetryTimes(int times, bool backoff)
{
    m_retryBackoff = backoff;
    m_retryLeft = times;
    m_retryTimes = times;
}

void BaseHttpApi::SetTimeout(int ms)
{
    BaseHttpApiInterface::SetTimeout(ms);
}

bool BaseHttpApi::CanRetry()
{
    return m_retryLeft > 0;
}

void BaseHttpApi::DoRetry()
{
    --m_retryLeft;
    Stop();
    Send();
}

void BaseHttpApi::ResetRetryTimes()
{
    if (m_retryTimes > 0)
        m_retryLeft = m_retryTimes;
}

void BaseHttpApi::parseReceiveData(const QByteArray& data)
{
    Q_EMIT apiSucceed(data);
}

// The requests.

QUrl BaseHttpApi::Address() const
{
    return QUrl(m_baseUrl + m_path);
}

QNetworkRequest BaseHttpApi::MakeRequest(const QUrl& url) const
{
    QNetworkRequest request(url);
    // Deprecated by Qt in favour of a policy with several values; true is NoLessSafeRedirectPolicy.
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    request.setAttribute(QNetworkRequest::FollowRedirectsAttribute, true);
    QT_WARNING_POP
    return request;
}

void BaseHttpApi::AddHeaders(QNetworkRequest* request) const
{
    for (auto header = m_headers.cbegin(); header != m_headers.cend(); ++header)
        request->setRawHeader(header.key().toUtf8(), header.value().toUtf8());
    if (m_cookies.isEmpty())
        return;
    QList<QNetworkCookie> cookies;
    for (auto cookie = m_cookies.cbegin(); cookie != m_cookies.cend(); ++cookie)
        cookies.append(QNetworkCookie(cookie.key(), cookie.value()));
    request->setHeader(QNetworkRequest::CookieHeader, QVariant::fromValue(cookies));
    // Else cookies that a server has set would be sent instead of these.
    request->setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
}

QNetworkReply* BaseHttpApi::GetRequest()
{
    QUrl url = Address();
    if (!m_params.isEmpty())
        url.setQuery(expandedQuery(m_params));
    QNetworkRequest request = MakeRequest(url);
    AddHeaders(&request);
    QCOMM_LOG(LogLevel::Trace, "BaseHttpApi::GetRequest") << "request get url: " << url.toString();
    return m_networkManager ? m_networkManager->Get(request) : nullptr;
}

QNetworkReply* BaseHttpApi::PostRequest()
{
    const QUrl url = Address();
    QNetworkRequest request = MakeRequest(url);
    // Intended order: a Content-Type among the raw headers replaces this one.
    request.setHeader(QNetworkRequest::ContentTypeHeader, kJsonType);
    AddHeaders(&request);
    QCOMM_LOG(LogLevel::Trace, "BaseHttpApi::PostRequest")
        << " request post url: " << url.toString() << ", post params: " << m_paramsString;
    return m_networkManager ? m_networkManager->Post(request, m_paramsString.toUtf8()) : nullptr;
}

QNetworkReply* BaseHttpApi::HeadRequest()
{
    QUrl url = Address();
    // Intended: lists are spelled out by GET only.
    if (!m_params.isEmpty())
        url.setQuery(plainQuery(m_params));
    QNetworkRequest request = MakeRequest(url);
    AddHeaders(&request);
    QCOMM_LOG(LogLevel::Trace, "BaseHttpApi::HeadRequest") << "request head url: " << url.toString();
    return m_networkManager ? m_networkManager->Head(request) : nullptr;
}

QNetworkReply* BaseHttpApi::PostFormRequest()
{
    const QUrl url = Address();
    const QString body = plainQuery(m_params).toString(QUrl::FullyEncoded);
    const QByteArray bytes = body.toUtf8();
    QNetworkRequest request = MakeRequest(url);
    AddHeaders(&request);
    // Intended order, unlike PostRequest(): the body is a form whatever the raw headers say.
    request.setHeader(QNetworkRequest::ContentTypeHeader, kFormType);
    request.setHeader(QNetworkRequest::ContentLengthHeader, bytes.size());
    QCOMM_LOG(LogLevel::Trace, "BaseHttpApi::PostFormRequest")
        << "request post url: " << url.toString() << " form: " << body;
    return m_networkManager ? m_networkManager->Post(request, bytes) : nullptr;
}

// The ends of an attempt.

void BaseHttpApi::OnReplyFinished()
{
    // A reply that was stopped or forgotten.
    if (!m_reply)
        return;
    int qtError = m_reply->error();
    QString errorText = m_reply->errorString();
    const int status = statusOf(*m_reply);
    const QByteArray data = m_reply->readAll();
    if (qtError == QNetworkReply::NoError && status == kOkStatus && isCutShort(*m_reply, data)) {
        qtError = QNetworkReply::RemoteHostClosedError;
        // In the network layer's own words, translated like them.
        errorText = QCoreApplication::translate("QHttp", "Connection closed");
    }
    m_contentType = headerText(*m_reply, "Content-Type");
    m_eTag = headerText(*m_reply, "ETag");
    QCOMM_LOG(LogLevel::Trace, "BaseHttpApi::OnReplyFinished")
        << "response header content type: " << m_contentType << ", ETag: " << m_eTag;
    Stop();

    if (qtError != QNetworkReply::NoError) {
        QCOMM_LOG(LogLevel::Trace, "BaseHttpApi::OnReplyFinished")
            << m_path << " network status code: " << status << ", error: " << errorText
            << ", data: " << data.toStdString();
        Fail(status, qtError, errorText + utf8Text(data));
    } else if (status != kOkStatus) {
        QCOMM_LOG(LogLevel::Trace, "BaseHttpApi::OnReplyFinished") << m_path << " status code: " << status;
        Fail(status, qtError, errorText);
    } else {
        QCOMM_LOG(LogLevel::Trace, "BaseHttpApi::OnReplyFinished") << m_path << " receive data: " << data.toStdString();
        Succeed(data);
    }
}

void BaseHttpApi::Fail(int status, int qtError, const QString& message)
{
    if (CanRetry()) {
        DoRetry();
        return;
    }
    const QPointer<BaseHttpApi> self(this);
    Q_EMIT apiFailed(kNetworkCode, status, qtError, message);
    if (self)
        Finish();
}

void BaseHttpApi::Succeed(const QByteArray& data)
{
    const QPointer<BaseHttpApi> self(this);
    parseReceiveData(data);
    if (self)
        Finish();
}

void BaseHttpApi::Finish()
{
    ResetRetryTimes();
    Q_EMIT apiFinished();
}

void BaseHttpApi::OnTimeout()
{
    QCOMM_LOG(LogLevel::Trace, "BaseHttpApi::OnTimeout") << " " << GetFullUrl() << " timeout";
    int qtError = kErrorWithoutReply;
    int status = kStatusWithoutReply;
    if (m_reply) {
        qtError = m_reply->error();
        status = statusOf(*m_reply);
    }
    if (CanRetry()) {
        DoRetry();
        return;
    }
    const QPointer<BaseHttpApi> self(this);
    Q_EMIT apiFailed(kTimeoutCode, status, qtError, kTimeoutMessage);
    if (!self)
        return;
    // Intended: no apiFinished() follows, unlike after a reply. Launchers tell the two ends apart by it.
    Stop();
    ResetRetryTimes();
}

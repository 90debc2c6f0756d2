// SPDX-License-Identifier: MIT
#include "Transfer.h"

#include "Json.h"
#include "Proxies.h"
#include "RetryPolicy.h"

#include <QNetworkAccessManager>
#include <QSslConfiguration>
#include <QSslError>

#include <algorithm>
#include <utility>

namespace VantorEngine {

namespace {

constexpr char kUserAgent[] = "vantor/1.0";
constexpr int kFirstErrorStatus = 400;

QNetworkRequest makeRequest(const TransferRequest& wanted, const QSslConfiguration* tls)
{
    QNetworkRequest request(wanted.url);
    request.setRawHeader("User-Agent", kUserAgent);
    // Sizes, offsets and digests are those of the stored file, so no content encoding may come in between.
    request.setRawHeader("Accept-Encoding", "identity");
    if (wanted.ranged) {
        const QByteArray last = wanted.end < 0 ? QByteArray() : QByteArray::number(wanted.end - 1);
        request.setRawHeader("Range", "bytes=" + QByteArray::number(wanted.offset) + '-' + last);
        if (!wanted.validator.isEmpty()) {
            request.setRawHeader("If-Range", wanted.validator);
        }
    }
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    request.setMaximumRedirectsAllowed(Transfer::kMostRedirects);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    if (tls != nullptr) {
        request.setSslConfiguration(*tls);
    }
    return request;
}

int statusOf(const QNetworkReply& reply)
{
    return reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

bool isFollowedRedirect(int status)
{
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

QByteArray headersJson(const QNetworkReply& reply)
{
    QByteArray json = "{";
    const QList<QNetworkReply::RawHeaderPair>& pairs = reply.rawHeaderPairs();
    for (const QNetworkReply::RawHeaderPair& pair : pairs) {
        if (json.size() > 1) {
            json.append(',');
        }
        appendJsonString(json, QString::fromLatin1(pair.first));
        json.append(':');
        appendJsonString(json, QString::fromUtf8(pair.second));
    }
    return json.append('}');
}

} // namespace

bool isFetchable(const QUrl& url)
{
    const QString scheme = url.scheme().toLower();
    return url.isValid() && !url.host().isEmpty() &&
           (scheme == QLatin1String("http") || scheme == QLatin1String("https"));
}

Transfer::Transfer(NetworkPool& network, BandwidthLimiter& limiter, TransferSink& sink)
    : m_network(network), m_limiter(limiter), m_sink(sink)
{
    m_timeout.setSingleShot(true);
    connect(&m_timeout, &QTimer::timeout, this, &Transfer::onTimeout);
    connect(&network.proxies(), &Proxies::answered, this, &Transfer::onProxiesAnswered);
}

Transfer::~Transfer()
{
    stop();
}

void Transfer::start(const TransferRequest& request, const QSslConfiguration* tls)
{
    stop();
    m_request = request;
    m_headAnnounced = false;
    m_discarded = 0;
    m_certificateProblem.clear();
    m_prepared = makeRequest(request, tls);
    m_waitsForProxy = !m_network.proxies().isReady(request.url);
    if (!m_waitsForProxy) {
        send();
    }
}

void Transfer::onProxiesAnswered()
{
    if (m_waitsForProxy && m_network.proxies().isReady(m_request.url)) {
        m_waitsForProxy = false;
        send();
    }
}

/// The clock of the response begins here: it is the server's.
void Transfer::send()
{
    m_manager = &m_network.acquire();
    m_reply = m_manager->get(m_prepared);
    m_reply->setReadBufferSize(readBufferBytes());
    connect(m_reply, &QNetworkReply::metaDataChanged, this, &Transfer::onHead);
    connect(m_reply, &QNetworkReply::readyRead, this, &Transfer::pump);
    connect(m_reply, &QNetworkReply::sslErrors, this, &Transfer::onSslErrors);
    connect(m_reply, &QNetworkReply::finished, this, &Transfer::onFinished);
    m_timeout.start(m_request.responseTimeoutMs);
}

/// What is buffered was received beyond the limit: a tenth of a second's worth is enough then.
qint64 Transfer::readBufferBytes() const
{
    const qint64 limit = m_limiter.limit();
    return limit == 0 ? kReadBufferBytes : qBound(kSmallestReadBufferBytes, limit / 10, kReadBufferBytes);
}

void Transfer::stop()
{
    m_waitsForProxy = false;
    m_timeout.stop();
    m_limiter.forget(this);
    m_slice.clear();
    if (m_reply.isNull()) {
        return;
    }
    QNetworkReply* reply = m_reply;
    m_reply.clear();
    reply->disconnect(this);
    if (reply->isRunning() && reply->error() == QNetworkReply::NoError) {
        reply->abort(); // Qt complains about aborting what has failed already
    }
    reply->deleteLater();
    m_network.release(*std::exchange(m_manager, nullptr));
}

void Transfer::bandwidthAvailable()
{
    pump();
}

void Transfer::onHead()
{
    m_timeout.start(); // a redirect's head is a sign of life, too
    announceHead();
}

/// \return false when the transfer was stopped by the receiver, or has no head to announce yet.
bool Transfer::announceHead()
{
    if (m_headAnnounced) {
        return true;
    }
    const int status = statusOf(*m_reply);
    // Heads of redirects that are about to be followed come here as well. An error page is read to its end, which
    // keeps the connection, unless it is a long one.
    const bool passing = isFollowedRedirect(status) || (status >= kFirstErrorStatus && m_discarded < kErrorPageBytes);
    if (status == 0 || (passing && !m_reply->isFinished())) {
        return false;
    }
    m_headAnnounced = true;
    m_timeout.start(m_request.stallTimeoutMs);
    m_sink.transferResponse(*this, head(), m_reply->url());
    return !m_reply.isNull();
}

ResponseHead Transfer::head() const
{
    ResponseHead head;
    head.status = statusOf(*m_reply);
    bool numeric = false;
    const qint64 length = m_reply->rawHeader("Content-Length").toLongLong(&numeric);
    head.contentLength = numeric ? length : -1;
    head.contentRange = m_reply->rawHeader("Content-Range");
    head.validator = strongValidator(m_reply->rawHeader("ETag"), m_reply->rawHeader("Last-Modified"));
    head.retryAfterMs = parseRetryAfter(m_reply->rawHeader("Retry-After"), QDateTime::currentDateTimeUtc());
    if (!m_request.sizeHeader.isEmpty()) {
        head.sizeHeader = m_reply->rawHeader(m_request.sizeHeader);
    }
    head.headersJson = headersJson(*m_reply);
    return head;
}

void Transfer::pump()
{
    // The receiver's calls into Qt may come back here; what arrives then is read by the loop that is running.
    if (m_pumping || m_reply.isNull()) {
        return;
    }
    if (!m_headAnnounced && statusOf(*m_reply) >= kFirstErrorStatus) {
        m_discarded += m_reply->readAll().size();
    }
    if (!announceHead()) {
        return;
    }
    if (m_slice.isEmpty()) {
        m_slice.resize(kSliceBytes);
    }
    m_pumping = true;
    while (!m_reply.isNull() && m_reply->bytesAvailable() > 0) {
        const qint64 wanted = std::min<qint64>(m_reply->bytesAvailable(), m_slice.size());
        const qint64 granted = m_limiter.take(wanted);
        if (granted == 0) {
            m_limiter.wait(this);
            break;
        }
        const qint64 got = m_reply->read(m_slice.data(), granted);
        if (got <= 0) {
            break;
        }
        m_timeout.start();
        m_sink.transferData(*this, m_slice.constData(), got);
    }
    m_pumping = false;
    if (!m_reply.isNull() && m_reply->isFinished() && m_reply->bytesAvailable() == 0) {
        end(replyError());
    }
}

void Transfer::onFinished()
{
    // A head that is not known by now belongs to a redirect that Qt gave up, unless it is an error page's.
    const bool failedBefore = !m_headAnnounced && m_reply->error() != QNetworkReply::NoError;
    if (failedBefore && statusOf(*m_reply) < kFirstErrorStatus) {
        end(replyError());
        return;
    }
    pump();
}

/// Certificates are never accepted against the rules; what is wrong with one is only noted for the report.
void Transfer::onSslErrors(const QList<QSslError>& errors)
{
    m_certificateProblem = errors.isEmpty() ? QString() : errors.constFirst().errorString();
}

void Transfer::onTimeout()
{
    if (!m_headAnnounced) {
        end(FileError::net(kNoResponse, QStringLiteral("no response for %1 ms").arg(m_request.responseTimeoutMs),
                           true));
        return;
    }
    // Data that waits for bandwidth here is no stall of the server's.
    if (!m_reply.isNull() && m_reply->bytesAvailable() > 0) {
        m_timeout.start();
        return;
    }
    end(FileError::net(kStalled, QStringLiteral("nothing received for %1 ms").arg(m_request.stallTimeoutMs), true));
}

/// Qt reports a proxy that it hands plain requests to as if it were the server, and of a tunnel that was not made only
/// that it does not know the error.
int Transfer::codeOf(QNetworkReply::NetworkError error) const
{
    const QNetworkProxy::ProxyType type = m_network.proxies().proxiesFor(m_reply->url()).constFirst().type();
    if (type != QNetworkProxy::HttpProxy && type != QNetworkProxy::HttpCachingProxy) {
        return error;
    }
    switch (error) {
    case QNetworkReply::ConnectionRefusedError:
        return QNetworkReply::ProxyConnectionRefusedError;
    case QNetworkReply::HostNotFoundError:
        return QNetworkReply::ProxyNotFoundError;
    case QNetworkReply::TimeoutError:
        return QNetworkReply::ProxyTimeoutError;
    case QNetworkReply::UnknownNetworkError:
        return QNetworkReply::UnknownProxyError;
    default:
        return error;
    }
}

FileError Transfer::replyError() const
{
    const QNetworkReply::NetworkError error = m_reply->error();
    if (error == QNetworkReply::NoError) {
        return {};
    }
    if (!m_certificateProblem.isEmpty()) {
        return FileError::net(error, m_certificateProblem, false, error);
    }
    return FileError::net(codeOf(error), m_reply->errorString(), isTransientNetworkError(error), error);
}

void Transfer::end(const FileError& error)
{
    stop();
    m_sink.transferEnded(*this, error);
}

} // namespace VantorEngine

// SPDX-License-Identifier: MIT
#include "package/BodyFetch.h"

#include <QTimer>

#include <algorithm>
#include <utility>

namespace VantorEngine {

namespace {

constexpr int kOk = 200;
constexpr int kFirstError = 400;
constexpr qint64 kReserveBytes = qint64(16) * 1024 * 1024;

FileError statusError(const QUrl& url, const ResponseHead& head)
{
    const QString message =
        QStringLiteral("%1: the server answered with status %2").arg(url.toString(), QString::number(head.status));
    if (head.status < kFirstError) {
        return FileError::net(kUnusableStatus, message, false);
    }
    FileError error = FileError::net(head.status, message, isTransientStatus(head.status));
    error.retryAfterMs = head.retryAfterMs;
    return error;
}

} // namespace

BodyFetch::BodyFetch(EngineServices& services, QUrl url, qint64 mostBytes, qint64 exactBytes)
    : m_services(services),
      m_url(std::move(url)),
      m_mostBytes(exactBytes >= 0 ? exactBytes : mostBytes),
      m_exactBytes(exactBytes),
      m_retries(services.settings)
{
}

void BodyFetch::start(Done done)
{
    m_done = std::move(done);
    attempt();
}

void BodyFetch::attempt()
{
    m_body.clear();
    m_transfer = std::make_unique<Transfer>(m_services.network, m_services.limiter, static_cast<TransferSink&>(*this));
    TransferRequest request;
    request.url = m_url;
    request.responseTimeoutMs = m_services.settings.responseTimeoutMs;
    request.stallTimeoutMs = m_services.settings.stallTimeoutMs;
    m_transfer->start(request, m_services.tls.get());
    if (m_services.networkUsed) {
        m_services.networkUsed(QStringLiteral("request"));
    }
}

void BodyFetch::transferResponse(Transfer&, const ResponseHead& head, const QUrl&)
{
    if (head.status != kOk) {
        failAttempt(statusError(m_url, head));
        return;
    }
    const bool wrong = m_exactBytes >= 0 && head.contentLength >= 0 && head.contentLength != m_exactBytes;
    if (wrong || head.contentLength > m_mostBytes) {
        failAttempt(FileError::net(
            kWrongLength,
            QStringLiteral("%1 has %2 bytes instead of %3")
                .arg(m_url.toString(), QString::number(head.contentLength), QString::number(m_mostBytes)),
            true));
        return;
    }
    if (head.contentLength > 0) {
        m_body.reserve(static_cast<int>(std::min(head.contentLength, kReserveBytes)));
    }
    if (m_services.networkUsed) {
        m_services.networkUsed(m_url.scheme());
    }
}

void BodyFetch::transferData(Transfer&, const char* data, qint64 length)
{
    if (m_body.size() + length > m_mostBytes) {
        failAttempt(
            FileError::net(kWrongLength, QStringLiteral("%1 is longer than expected").arg(m_url.toString()), true));
        return;
    }
    m_body.append(data, static_cast<int>(length));
    if (m_meter) {
        m_meter(length);
    }
}

void BodyFetch::transferEnded(Transfer&, const FileError& error)
{
    if (error.kind != FileError::Kind::None) {
        FileError told = error;
        told.message = QStringLiteral("%1: %2").arg(m_url.toString(), error.message);
        failAttempt(told);
        return;
    }
    if (m_exactBytes >= 0 && m_body.size() < m_exactBytes) {
        failAttempt(FileError::net(kShortBody, QStringLiteral("%1 ended early").arg(m_url.toString()), true));
        return;
    }
    finish({});
}

void BodyFetch::failAttempt(const FileError& error)
{
    dropTransfer();
    const int delayMs = error.transient ? m_retries.nextDelay(0, error.retryAfterMs) : -1;
    if (delayMs < 0) {
        finish(error);
        return;
    }
    m_body.clear();
    QTimer::singleShot(delayMs, this, &BodyFetch::attempt);
}

void BodyFetch::finish(const FileError& error)
{
    dropTransfer();
    // From the event loop: the transfer may be calling, and the receiver may drop this object.
    const QByteArray body = error.kind == FileError::Kind::None ? m_body : QByteArray();
    QTimer::singleShot(0, this, [this, body, error] { m_done(body, error); });
}

void BodyFetch::dropTransfer()
{
    if (m_transfer) {
        m_transfer->stop();
        m_transfer.release()->deleteLater();
    }
}

} // namespace VantorEngine

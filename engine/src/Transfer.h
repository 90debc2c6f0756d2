// SPDX-License-Identifier: MIT
#pragma once

#include "BandwidthLimiter.h"
#include "FileError.h"
#include "NetworkPool.h"
#include "ResponseCheck.h"

#include <QByteArray>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QUrl>

namespace VantorEngine {

/// What an attempt asks for, and of whom.
struct TransferRequest
{
    QUrl url;
    qint64 offset = 0;     ///< above 0: asks for a Range
    QByteArray sizeHeader; ///< response header to hand on in ResponseHead
    int stallTimeoutMs = 0;
};

/// The receiver of one attempt. It may stop the transfer from inside each call; no further call comes then.
class TransferSink
{
public:
    /// The final response's head, before any data. Comes at most once.
    virtual void transferResponse(const ResponseHead& head, const QUrl& finalUrl) = 0;
    virtual void transferData(const char* data, qint64 length) = 0;
    /// The attempt is over; \a error is of kind None when the server sent all it announced, as far as Qt tells.
    virtual void transferEnded(const FileError& error) = 0;

protected:
    ~TransferSink() = default;
};

/// One GET request: reads the body no faster than the limiter allows and holds the socket back meanwhile.
class Transfer : public QObject, private BandwidthClient
{
    Q_OBJECT
public:
    Transfer(NetworkPool& network, BandwidthLimiter& limiter, TransferSink& sink);
    ~Transfer() override;

    void start(const TransferRequest& request, const QSslConfiguration* tls);
    void stop();
    bool isRunning() const { return !m_reply.isNull(); }

    static constexpr qint64 kReadBufferBytes = qint64(512) * 1024;
    static constexpr int kSliceBytes = 256 * 1024;
    static constexpr int kMostRedirects = 10;
    static constexpr qint64 kErrorPageBytes = qint64(256) * 1024; ///< more of it is not read

private:
    void bandwidthAvailable() override;
    void onHead();
    void onFinished();
    void onSslErrors(const QList<QSslError>& errors);
    void onStalled();
    bool announceHead();
    void pump();
    void end(const FileError& error);
    ResponseHead head() const;
    FileError replyError() const;

    NetworkPool& m_network;
    BandwidthLimiter& m_limiter;
    TransferSink& m_sink;
    TransferRequest m_request;
    QNetworkAccessManager* m_manager = nullptr; ///< while a reply of it is held
    QPointer<QNetworkReply> m_reply;
    QTimer m_stallTimer;
    QByteArray m_slice;
    QString m_certificateProblem;
    bool m_headAnnounced = false;
    qint64 m_discarded = 0; ///< bytes of an error page
    bool m_pumping = false;
};

} // namespace VantorEngine

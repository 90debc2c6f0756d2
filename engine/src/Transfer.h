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

class Transfer;

/// Whether a transfer can be asked for: http or https, and of a server.
bool isFetchable(const QUrl& url);

/// What an attempt asks for, and of whom.
struct TransferRequest
{
    QUrl url;
    bool ranged = false;       ///< asks for a Range
    qint64 offset = 0;         ///< of its first byte
    qint64 end = -1;           ///< behind its last byte, -1: to the file's end
    QByteArray validator;      ///< for If-Range; empty: unconditional
    QByteArray sizeHeader;     ///< response header to hand on in ResponseHead
    int responseTimeoutMs = 0; ///< for the connection and the answer's head
    int stallTimeoutMs = 0;    ///< for each further piece of the answer
};

/// The receiver of one attempt. It may stop the transfer from inside each call; no further call comes then.
class TransferSink
{
public:
    /// The final response's head, before any data. Comes at most once.
    virtual void transferResponse(Transfer& transfer, const ResponseHead& head, const QUrl& finalUrl) = 0;
    virtual void transferData(Transfer& transfer, const char* data, qint64 length) = 0;
    /// The attempt is over; \a error is of kind None when the server sent all it announced, as far as Qt tells. The
    /// transfer may be started again from inside this call.
    virtual void transferEnded(Transfer& transfer, const FileError& error) = 0;

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
    bool isRunning() const { return m_waitsForProxy || !m_reply.isNull(); }

    static constexpr qint64 kReadBufferBytes = qint64(512) * 1024;
    static constexpr qint64 kSmallestReadBufferBytes = qint64(16) * 1024;
    static constexpr int kSliceBytes = 256 * 1024;
    static constexpr int kMostRedirects = 10;
    static constexpr qint64 kErrorPageBytes = qint64(256) * 1024; ///< more of it is not read

private:
    void bandwidthAvailable() override;
    void onProxiesAnswered();
    void send();
    void onHead();
    void onFinished();
    void onSslErrors(const QList<QSslError>& errors);
    void onTimeout();
    qint64 readBufferBytes() const;
    bool announceHead();
    void pump();
    void end(const FileError& error);
    ResponseHead head() const;
    FileError replyError() const;
    int codeOf(QNetworkReply::NetworkError error) const;

    NetworkPool& m_network;
    BandwidthLimiter& m_limiter;
    TransferSink& m_sink;
    TransferRequest m_request;
    QNetworkRequest m_prepared;
    bool m_waitsForProxy = false;
    QNetworkAccessManager* m_manager = nullptr; ///< while a reply of it is held
    QPointer<QNetworkReply> m_reply;
    QTimer m_timeout; ///< of the response, then of each further piece of it
    QByteArray m_slice;
    QString m_certificateProblem;
    bool m_headAnnounced = false;
    qint64 m_discarded = 0; ///< bytes of an error page
    bool m_pumping = false;
};

} // namespace VantorEngine

// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QPair>
#include <QSslCertificate>
#include <QSslKey>
#include <QString>
#include <QUrl>
#include <QVector>

#include <functional>
#include <memory>

class ScriptedHttpServerCore;

/// A request as it came in.
struct HttpRequest
{
    QByteArray method;                              ///< upper case
    QByteArray target;                              ///< as in the request line, with the query
    QVector<QPair<QByteArray, QByteArray>> headers; ///< names as sent, in order
    QByteArray body;
    int connection = 0; ///< counts accepted connections from 1: equal numbers mean keep-alive

    /// The target without its query.
    QByteArray path() const;
    bool hasHeader(const QByteArray& name) const;
    /// A header's value, its name in any case; empty when missing.
    QByteArray header(const QByteArray& name) const;
    /// First byte of "Range: bytes=N-..."; -1 without such a header.
    qint64 rangeStart() const;
    /// Last byte of a closed range "bytes=N-M"; -1 when open or missing.
    qint64 rangeEnd() const;
};

/// What a request is answered with, step by step. The setters return the response, so that they can be chained:
/// \code
/// server.once("/file", HttpResponse::ok(content).resetAfter(1000));
/// \endcode
/// Without a fault the whole body is sent with its Content-Length, and the connection is kept.
class HttpResponse
{
public:
    /// How a response ends that does not end well.
    enum class Fault {
        None,
        Close, ///< the connection is closed in an orderly way (FIN)
        Reset, ///< the connection is reset (RST)
        Stall  ///< nothing more is sent and the connection stays open
    };

    HttpResponse() = default;
    static HttpResponse ok(const QByteArray& body);
    static HttpResponse withStatus(int status, const QByteArray& body = {});
    static HttpResponse redirect(int status, const QByteArray& location);
    /// 416 with "Content-Range: bytes */total"; no such header when \a total is negative.
    static HttpResponse rangeNotSatisfiable(qint64 total);
    /// What a well-behaved file server says: the content, the part asked for by a Range header, or 416.
    static HttpResponse content(const HttpRequest& request, const QByteArray& content);
    /// No response at all: the fault strikes after the request was read.
    static HttpResponse nothing(Fault fault);
    /// These bytes and nothing else, then the connection is closed.
    static HttpResponse raw(const QByteArray& bytes);

    /// Adds a header, also one that is there already.
    HttpResponse& addHeader(const QByteArray& name, const QByteArray& value);
    /// Claims another length than the body's; negative: sends no Content-Length.
    HttpResponse& claimLength(qint64 bytes);
    /// Sends the body in chunks of this size with Transfer-Encoding "chunked". A fault in the body leaves out the
    /// last chunk.
    HttpResponse& chunked(int chunkBytes);
    /// Waits before the first byte, milliseconds.
    HttpResponse& delay(int ms);
    /// Sends the body no faster than this, bytes per second.
    HttpResponse& rate(qint64 bytesPerSecond);
    /// After so many bytes of the body: close, reset, or send nothing more.
    HttpResponse& closeAfter(qint64 bodyBytes);
    HttpResponse& resetAfter(qint64 bodyBytes);
    HttpResponse& stallAfter(qint64 bodyBytes);
    /// Closes the connection after the whole response, and says so in a header.
    HttpResponse& closeConnection();

private:
    friend class ScriptedHttpServerCore;
    friend class ScriptedHttpConnection;

    HttpResponse& faultAfter(Fault fault, qint64 bodyBytes);
    QByteArray headBytes(bool forHead) const;

    int m_status = 200;
    QVector<QPair<QByteArray, QByteArray>> m_headers;
    QByteArray m_body;
    qint64 m_claimedLength = 0;
    bool m_claimsLength = false;
    int m_chunkBytes = 0;
    int m_delayMs = 0;
    qint64 m_bytesPerSecond = 0;
    Fault m_fault = Fault::None;
    qint64 m_faultAfter = -1; ///< bytes of the body; -1: before the status line
    bool m_close = false;
    bool m_raw = false;
};

/// An HTTP/1.1 server inside the test process, on a thread of its own, on a free port of 127.0.0.1.
///
/// Every answer is scripted per path (the target without its query): answers given by once() are used up first, in
/// order; then the handler of on() is asked; a path without either is answered with 404. All members may be called
/// from any thread at any time. Handlers run on the server's thread.
class ScriptedHttpServer
{
public:
    using Handler = std::function<HttpResponse(const HttpRequest&)>;

    /// Listens at once. \c port() is 0 when that failed.
    ScriptedHttpServer();
    /// As above, speaking TLS.
    ScriptedHttpServer(const QSslCertificate& certificate, const QSslKey& key);
    ~ScriptedHttpServer();
    Q_DISABLE_COPY(ScriptedHttpServer)

    quint16 port() const;
    /// "http://127.0.0.1:PORT" (or https) and \a target, which begins with a slash.
    QString urlText(const QByteArray& target) const;
    QUrl url(const QByteArray& target) const;

    /// Answers one request to \a path with \a response. May be called several times for several requests.
    void once(const QByteArray& path, const HttpResponse& response);
    /// Answers every request to \a path that no once() is left for.
    void on(const QByteArray& path, Handler handler);
    /// Always the same answer.
    void always(const QByteArray& path, const HttpResponse& response);
    /// The content as a well-behaved file server gives it, ranges included.
    void serve(const QByteArray& path, const QByteArray& content);

    /// The requests so far, in order of arrival; of one path only when it is not empty.
    QVector<HttpRequest> requests(const QByteArray& path = {}) const;
    int requestCount(const QByteArray& path = {}) const;
    void clearRequests();

    /// Connections that are open now, and the most that were at once.
    int openConnections() const;
    int mostConnections() const;

    /// Resets every connection, those that stall included. The server goes on listening.
    void dropConnections();
    /// Stops listening and resets every connection: further requests are refused.
    void stop();

private:
    class Thread;

    ScriptedHttpServerCore& core() const;

    std::unique_ptr<Thread> m_thread; ///< has the core
    bool m_tls = false;
};

// SPDX-License-Identifier: MIT
#include "ScriptedHttpServer.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QHash>
#include <QQueue>
#include <QSslSocket>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <condition_variable>
#include <limits>
#include <mutex>
#include <vector>

#ifdef Q_OS_WIN
#include <winsock2.h>
#else
#include <sys/socket.h>
#endif

namespace {

constexpr qint64 kMostUnsentBytes = 256 * 1024;
constexpr qint64 kSliceBytes = 64 * 1024;
constexpr int kPaceMs = 5;

#ifdef Q_OS_WIN
/// Wine never tells of a reset that comes before Qt's event loop has asked to hear of the connection's end: with a busy
/// machine, every second one that follows a request at once. Within 50 ms none was missed in 50.
constexpr int kResetDelayMs = 150;
#else
constexpr int kResetDelayMs = 0;
#endif

QByteArray reasonOf(int status)
{
    switch (status) {
    case 200:
        return "OK";
    case 206:
        return "Partial Content";
    case 404:
        return "Not Found";
    case 416:
        return "Range Not Satisfiable";
    default:
        return "Scripted";
    }
}

/// Makes the next close of the socket a reset.
void resetOnClose(qintptr descriptor)
{
    linger option{};
    option.l_onoff = 1;
    option.l_linger = 0;
#ifdef Q_OS_WIN
    ::setsockopt(static_cast<SOCKET>(descriptor), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&option),
                 sizeof option);
#else
    ::setsockopt(static_cast<int>(descriptor), SOL_SOCKET, SO_LINGER, &option, sizeof option);
#endif
}

QByteArray rangeHeader(const HttpRequest& request)
{
    const QByteArray range = request.header("Range").trimmed();
    return range.startsWith("bytes=") ? range.mid(6) : QByteArray();
}

} // namespace

QByteArray HttpRequest::path() const
{
    return target.split('?').constFirst();
}

bool HttpRequest::hasHeader(const QByteArray& name) const
{
    return std::any_of(headers.cbegin(), headers.cend(), [&name](const QPair<QByteArray, QByteArray>& header) {
        return header.first.compare(name, Qt::CaseInsensitive) == 0;
    });
}

QByteArray HttpRequest::header(const QByteArray& name) const
{
    for (const QPair<QByteArray, QByteArray>& header : headers) {
        if (header.first.compare(name, Qt::CaseInsensitive) == 0) {
            return header.second;
        }
    }
    return {};
}

qint64 HttpRequest::rangeStart() const
{
    const QByteArray range = rangeHeader(*this);
    const int dash = range.indexOf('-');
    return dash > 0 ? range.left(dash).toLongLong() : -1;
}

qint64 HttpRequest::rangeEnd() const
{
    const QByteArray range = rangeHeader(*this);
    const int dash = range.indexOf('-');
    return dash > 0 && dash + 1 < range.size() ? range.mid(dash + 1).toLongLong() : -1;
}

HttpResponse HttpResponse::ok(const QByteArray& body)
{
    return withStatus(200, body);
}

HttpResponse HttpResponse::withStatus(int status, const QByteArray& body)
{
    HttpResponse response;
    response.m_status = status;
    response.m_body = body;
    return response;
}

HttpResponse HttpResponse::redirect(int status, const QByteArray& location)
{
    return withStatus(status).addHeader("Location", location);
}

HttpResponse HttpResponse::rangeNotSatisfiable(qint64 total)
{
    HttpResponse response = withStatus(416);
    return total < 0 ? response : response.addHeader("Content-Range", "bytes */" + QByteArray::number(total));
}

HttpResponse HttpResponse::content(const HttpRequest& request, const QByteArray& content)
{
    const qint64 first = request.rangeStart();
    if (first < 0) {
        return ok(content).addHeader("Accept-Ranges", "bytes");
    }
    if (first >= content.size()) {
        return rangeNotSatisfiable(content.size());
    }
    const qint64 asked = request.rangeEnd();
    const qint64 last = asked < 0 ? content.size() - 1 : std::min<qint64>(asked, content.size() - 1);
    const QByteArray range = QByteArray::number(first) + '-' + QByteArray::number(last) + '/';
    return withStatus(206, content.mid(static_cast<int>(first), static_cast<int>(last - first + 1)))
        .addHeader("Content-Range", "bytes " + range + QByteArray::number(content.size()));
}

HttpResponse HttpResponse::nothing(Fault fault)
{
    HttpResponse response;
    response.m_fault = fault;
    return response;
}

HttpResponse HttpResponse::raw(const QByteArray& bytes)
{
    HttpResponse response = ok(bytes).closeConnection();
    response.m_raw = true;
    return response;
}

HttpResponse& HttpResponse::addHeader(const QByteArray& name, const QByteArray& value)
{
    m_headers.append({name, value});
    return *this;
}

HttpResponse& HttpResponse::claimLength(qint64 bytes)
{
    m_claimsLength = true;
    m_claimedLength = bytes;
    return *this;
}

HttpResponse& HttpResponse::chunked(int chunkBytes)
{
    m_chunkBytes = chunkBytes;
    return *this;
}

HttpResponse& HttpResponse::delay(int ms)
{
    m_delayMs = ms;
    return *this;
}

HttpResponse& HttpResponse::rate(qint64 bytesPerSecond)
{
    m_bytesPerSecond = bytesPerSecond;
    return *this;
}

HttpResponse& HttpResponse::closeAfter(qint64 bodyBytes)
{
    return faultAfter(Fault::Close, bodyBytes);
}

HttpResponse& HttpResponse::resetAfter(qint64 bodyBytes)
{
    return faultAfter(Fault::Reset, bodyBytes);
}

HttpResponse& HttpResponse::stallAfter(qint64 bodyBytes)
{
    return faultAfter(Fault::Stall, bodyBytes);
}

HttpResponse& HttpResponse::faultAfter(Fault fault, qint64 bodyBytes)
{
    m_fault = fault;
    m_faultAfter = bodyBytes;
    return *this;
}

HttpResponse& HttpResponse::closeConnection()
{
    m_close = true;
    return *this;
}

QByteArray HttpResponse::headBytes(bool forHead) const
{
    QByteArray head = "HTTP/1.1 " + QByteArray::number(m_status) + ' ' + reasonOf(m_status) + "\r\n";
    for (const QPair<QByteArray, QByteArray>& header : m_headers) {
        head += header.first + ": " + header.second + "\r\n";
    }
    const qint64 length = m_claimsLength ? m_claimedLength : m_body.size();
    if (m_chunkBytes > 0 && !forHead) {
        head += "Transfer-Encoding: chunked\r\n";
    } else if (length >= 0) {
        head += "Content-Length: " + QByteArray::number(length) + "\r\n";
    }
    if (m_close) {
        head += "Connection: close\r\n";
    }
    return head + "\r\n";
}

/// One accepted connection: reads requests and plays the responses, one after the other.
class ScriptedHttpConnection : public QObject
{
public:
    ScriptedHttpConnection(ScriptedHttpServerCore& core, QTcpSocket* socket, int number);

    void reset();

private:
    void onReadyRead();
    bool parseRequest();
    void play(const HttpRequest& request);
    void sendHead();
    void sendBody();
    qint64 allowance() const;
    void append(qint64 bytes);
    void strike();
    void resetOnceHeard();
    void finish();

    ScriptedHttpServerCore& m_core;
    QTcpSocket* const m_socket;
    const int m_number;
    QByteArray m_received;
    HttpResponse m_response;
    bool m_isHead = false;
    bool m_playing = false;
    bool m_sendingBody = false;
    qint64 m_sent = 0; ///< of the body
    QElapsedTimer m_bodyClock;
    QTimer m_pace;
};

/// The server itself, on its own thread. Orders from other threads are flags under the lock and an event that says so.
class ScriptedHttpServerCore : public QTcpServer
{
public:
    HttpResponse answerTo(const HttpRequest& request);
    /// Has every connection reset, and with \a stopListening further ones refused; returns when it is done.
    void order(bool stopListening);

    std::mutex mutex; ///< guards what follows
    QHash<QByteArray, QQueue<HttpResponse>> once;
    QHash<QByteArray, ScriptedHttpServer::Handler> handlers;
    std::vector<HttpRequest> requests;
    int open = 0;
    int most = 0;
    int ordered = 0; ///< orders given, and how many were carried out
    int done = 0;
    bool stopOrdered = false;
    std::condition_variable orderDone;

    QSslCertificate certificate; ///< null: plain HTTP
    QSslKey key;

protected:
    void incomingConnection(qintptr descriptor) override;
    bool event(QEvent* event) override;

private:
    QTcpSocket* makeSocket();
    void carryOutOrders();
    void dropConnections();

    QVector<ScriptedHttpConnection*> m_connections;
    int m_accepted = 0;
};

ScriptedHttpConnection::ScriptedHttpConnection(ScriptedHttpServerCore& core, QTcpSocket* socket, int number)
    : QObject(&core), m_core(core), m_socket(socket), m_number(number)
{
    socket->setParent(this);
    m_pace.setInterval(kPaceMs);
    m_pace.setTimerType(Qt::PreciseTimer);
    connect(&m_pace, &QTimer::timeout, this, &ScriptedHttpConnection::sendBody);
    connect(socket, &QTcpSocket::readyRead, this, &ScriptedHttpConnection::onReadyRead);
    connect(socket, &QTcpSocket::bytesWritten, this, &ScriptedHttpConnection::sendBody);
    connect(socket, &QTcpSocket::disconnected, this, [this] {
        m_pace.stop();
        m_sendingBody = false;
        deleteLater();
    });
}

void ScriptedHttpConnection::reset()
{
    m_pace.stop();
    resetOnClose(m_socket->socketDescriptor());
    m_socket->abort();
}

void ScriptedHttpConnection::onReadyRead()
{
    m_received += m_socket->readAll();
    while (!m_playing && parseRequest()) {
    }
}

/// \return true when a whole request was taken off what was received.
bool ScriptedHttpConnection::parseRequest()
{
    const int end = m_received.indexOf("\r\n\r\n");
    if (end < 0) {
        return false;
    }
    HttpRequest request;
    request.connection = m_number;
    const QList<QByteArray> lines = m_received.left(end).split('\n');
    const QList<QByteArray> words = lines.constFirst().trimmed().split(' ');
    request.method = words.value(0).toUpper();
    request.target = words.value(1);
    for (int i = 1; i < lines.size(); ++i) {
        const int colon = lines.at(i).indexOf(':');
        request.headers.append({lines.at(i).left(colon).trimmed(), lines.at(i).mid(colon + 1).trimmed()});
    }
    const int bodyBytes = request.header("Content-Length").toInt();
    const int headBytes = end + 4;
    if (m_received.size() < headBytes + bodyBytes) {
        return false;
    }
    request.body = m_received.mid(headBytes, bodyBytes);
    m_received.remove(0, headBytes + bodyBytes);
    play(request);
    return true;
}

void ScriptedHttpConnection::play(const HttpRequest& request)
{
    m_playing = true;
    m_response = m_core.answerTo(request);
    m_isHead = request.method == "HEAD";
    m_sent = 0;
    QTimer::singleShot(m_response.m_delayMs, Qt::PreciseTimer, this, [this] { sendHead(); });
}

void ScriptedHttpConnection::sendHead()
{
    const bool nothing = m_response.m_fault != HttpResponse::Fault::None && m_response.m_faultAfter < 0;
    if (nothing) {
        strike();
        return;
    }
    if (!m_response.m_raw) {
        m_socket->write(m_response.headBytes(m_isHead));
    }
    if (m_isHead) {
        finish();
        return;
    }
    m_sendingBody = true;
    m_bodyClock.start();
    if (m_response.m_bytesPerSecond > 0) {
        m_pace.start();
    }
    sendBody();
}

/// How many bytes of the body may have been sent by now.
qint64 ScriptedHttpConnection::allowance() const
{
    qint64 allowed = m_response.m_body.size();
    if (m_response.m_fault != HttpResponse::Fault::None) {
        allowed = std::min(allowed, m_response.m_faultAfter);
    }
    if (m_response.m_bytesPerSecond > 0) {
        allowed = std::min(allowed, m_response.m_bytesPerSecond * m_bodyClock.elapsed() / 1000);
    }
    return allowed;
}

void ScriptedHttpConnection::sendBody()
{
    if (!m_sendingBody || m_socket->state() != QAbstractSocket::ConnectedState) {
        return;
    }
    while (m_sent < allowance() && m_socket->bytesToWrite() < kMostUnsentBytes && m_socket->isOpen()) {
        append(std::min(allowance() - m_sent, kSliceBytes));
    }
    if (m_response.m_fault != HttpResponse::Fault::None) {
        const qint64 last = std::min<qint64>(m_response.m_body.size(), m_response.m_faultAfter);
        if (m_sent == last && m_socket->bytesToWrite() == 0) {
            strike();
        }
        return;
    }
    if (m_sent == m_response.m_body.size()) {
        finish();
    }
}

void ScriptedHttpConnection::append(qint64 bytes)
{
    if (m_response.m_chunkBytes <= 0) {
        m_sent += m_socket->write(m_response.m_body.constData() + m_sent, bytes);
        return;
    }
    const qint64 chunk = std::min<qint64>(bytes, m_response.m_chunkBytes);
    m_socket->write(QByteArray::number(chunk, 16) + "\r\n");
    m_sent += m_socket->write(m_response.m_body.constData() + m_sent, chunk);
    m_socket->write("\r\n");
}

void ScriptedHttpConnection::strike()
{
    m_pace.stop();
    m_sendingBody = false;
    switch (m_response.m_fault) {
    case HttpResponse::Fault::Close:
        m_socket->disconnectFromHost();
        break;
    case HttpResponse::Fault::Reset:
        resetOnceHeard();
        break;
    case HttpResponse::Fault::Stall:
    case HttpResponse::Fault::None:
        break;
    }
}

void ScriptedHttpConnection::resetOnceHeard()
{
    if (kResetDelayMs == 0) {
        reset();
    } else {
        QTimer::singleShot(kResetDelayMs, this, &ScriptedHttpConnection::reset);
    }
}

void ScriptedHttpConnection::finish()
{
    m_pace.stop();
    m_sendingBody = false;
    m_playing = false;
    if (m_response.m_chunkBytes > 0 && !m_isHead) {
        m_socket->write("0\r\n\r\n");
    }
    if (m_response.m_close) {
        m_socket->disconnectFromHost();
        return;
    }
    // The next request may have come already; it is answered by the event loop, never from inside this one.
    QTimer::singleShot(0, this, [this] { onReadyRead(); });
}

HttpResponse ScriptedHttpServerCore::answerTo(const HttpRequest& request)
{
    ScriptedHttpServer::Handler handler;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        requests.push_back(request);
        const auto scripted = once.find(request.path());
        if (scripted != once.end() && !scripted->isEmpty()) {
            return scripted->dequeue();
        }
        handler = handlers.value(request.path());
    }
    return handler ? handler(request) : HttpResponse::withStatus(404, "not scripted\n");
}

void ScriptedHttpServerCore::order(bool stopListening)
{
    std::unique_lock<std::mutex> lock(mutex);
    stopOrdered = stopOrdered || stopListening;
    const int mine = ++ordered;
    QCoreApplication::postEvent(this, new QEvent(QEvent::User));
    orderDone.wait(lock, [this, mine] { return done >= mine; });
}

bool ScriptedHttpServerCore::event(QEvent* event)
{
    if (event->type() != QEvent::User) {
        return QTcpServer::event(event);
    }
    carryOutOrders();
    return true;
}

void ScriptedHttpServerCore::carryOutOrders()
{
    bool stop = false;
    int upTo = 0;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        stop = stopOrdered;
        upTo = ordered;
    }
    if (stop) {
        close();
    }
    dropConnections();
    const std::lock_guard<std::mutex> lock(mutex);
    done = upTo;
    orderDone.notify_all();
}

void ScriptedHttpServerCore::dropConnections()
{
    const QVector<ScriptedHttpConnection*> connections = m_connections;
    for (ScriptedHttpConnection* connection : connections) {
        connection->reset();
    }
}

QTcpSocket* ScriptedHttpServerCore::makeSocket()
{
    if (certificate.isNull()) {
        return new QTcpSocket;
    }
    auto* socket = new QSslSocket;
    socket->setLocalCertificate(certificate);
    socket->setPrivateKey(key);
    return socket;
}

void ScriptedHttpServerCore::incomingConnection(qintptr descriptor)
{
    QTcpSocket* socket = makeSocket();
    socket->setSocketDescriptor(descriptor);
    auto* connection = new ScriptedHttpConnection(*this, socket, ++m_accepted);
    m_connections.append(connection);
    connect(connection, &QObject::destroyed, this, [this, connection] {
        m_connections.removeAll(connection);
        const std::lock_guard<std::mutex> lock(mutex);
        --open;
    });
    {
        const std::lock_guard<std::mutex> lock(mutex);
        most = std::max(most, ++open);
    }
    if (auto* secure = qobject_cast<QSslSocket*>(socket)) {
        secure->startServerEncryption();
    }
}

/// Makes, runs and destroys the core.
class ScriptedHttpServer::Thread : public QThread
{
public:
    Thread(const QSslCertificate& certificate, const QSslKey& key) : m_certificate(certificate), m_key(key)
    {
        start();
        std::unique_lock<std::mutex> lock(m_mutex);
        m_ready.wait(lock, [this] { return m_core != nullptr; });
    }
    ~Thread() override
    {
        m_core->order(true);
        quit();
        wait();
    }
    Q_DISABLE_COPY(Thread)

    ScriptedHttpServerCore& core() { return *m_core; }
    quint16 port() const { return m_port; }

protected:
    void run() override
    {
        ScriptedHttpServerCore core;
        core.certificate = m_certificate;
        core.key = m_key;
        core.listen(QHostAddress::LocalHost);
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_port = core.serverPort();
            m_core = &core;
            m_ready.notify_all();
        }
        exec();
    }

private:
    const QSslCertificate m_certificate;
    const QSslKey m_key;
    std::mutex m_mutex;
    std::condition_variable m_ready;
    ScriptedHttpServerCore* m_core = nullptr;
    quint16 m_port = 0;
};

ScriptedHttpServer::ScriptedHttpServer() : m_thread(std::make_unique<Thread>(QSslCertificate(), QSslKey()))
{
}

ScriptedHttpServer::ScriptedHttpServer(const QSslCertificate& certificate, const QSslKey& key)
    : m_thread(std::make_unique<Thread>(certificate, key)), m_tls(true)
{
}

ScriptedHttpServer::~ScriptedHttpServer() = default;

ScriptedHttpServerCore& ScriptedHttpServer::core() const
{
    return m_thread->core();
}

quint16 ScriptedHttpServer::port() const
{
    return m_thread->port();
}

QString ScriptedHttpServer::urlText(const QByteArray& target) const
{
    return QStringLiteral("%1://127.0.0.1:%2%3")
        .arg(m_tls ? QStringLiteral("https") : QStringLiteral("http"))
        .arg(port())
        .arg(QString::fromUtf8(target));
}

QUrl ScriptedHttpServer::url(const QByteArray& target) const
{
    return QUrl(urlText(target));
}

void ScriptedHttpServer::once(const QByteArray& path, const HttpResponse& response)
{
    const std::lock_guard<std::mutex> lock(core().mutex);
    core().once[path].enqueue(response);
}

void ScriptedHttpServer::on(const QByteArray& path, Handler handler)
{
    const std::lock_guard<std::mutex> lock(core().mutex);
    core().handlers.insert(path, std::move(handler));
}

void ScriptedHttpServer::always(const QByteArray& path, const HttpResponse& response)
{
    on(path, [response](const HttpRequest&) { return response; });
}

void ScriptedHttpServer::serve(const QByteArray& path, const QByteArray& content)
{
    on(path, [content](const HttpRequest& request) { return HttpResponse::content(request, content); });
}

QVector<HttpRequest> ScriptedHttpServer::requests(const QByteArray& path) const
{
    const std::lock_guard<std::mutex> lock(core().mutex);
    if (path.isEmpty()) {
        return QVector<HttpRequest>(core().requests.cbegin(), core().requests.cend());
    }
    QVector<HttpRequest> matching;
    std::copy_if(core().requests.cbegin(), core().requests.cend(), std::back_inserter(matching),
                 [&path](const HttpRequest& request) { return request.path() == path; });
    return matching;
}

int ScriptedHttpServer::requestCount(const QByteArray& path) const
{
    return requests(path).size();
}

void ScriptedHttpServer::clearRequests()
{
    const std::lock_guard<std::mutex> lock(core().mutex);
    core().requests.clear();
}

int ScriptedHttpServer::openConnections() const
{
    const std::lock_guard<std::mutex> lock(core().mutex);
    return core().open;
}

int ScriptedHttpServer::mostConnections() const
{
    const std::lock_guard<std::mutex> lock(core().mutex);
    return core().most;
}

void ScriptedHttpServer::dropConnections()
{
    core().order(false);
}

void ScriptedHttpServer::stop()
{
    core().order(true);
}

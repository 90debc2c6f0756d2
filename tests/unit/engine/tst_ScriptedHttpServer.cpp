// SPDX-License-Identifier: MIT
// The server other tests rely on: that each fault really happens on the wire.
#include "ScriptedHttpServer.h"

#include <QElapsedTimer>
#include <QTcpSocket>
#include <QtTest>

using Fault = HttpResponse::Fault;

namespace {

/// What a bare socket sees.
struct Seen
{
    QByteArray bytes;
    bool closed = false; ///< the peer ended the connection
    QAbstractSocket::SocketError error = QAbstractSocket::UnknownSocketError;
};

QByteArray get(const QByteArray& target, const QByteArray& headers = {})
{
    return "GET " + target + " HTTP/1.1\r\nHost: test\r\n" + headers + "\r\n";
}

Seen talk(const ScriptedHttpServer& server, const QByteArray& request, const std::function<bool(const Seen&)>& enough)
{
    Seen seen;
    QTcpSocket socket;
    socket.connectToHost(QStringLiteral("127.0.0.1"), server.port());
    if (!socket.waitForConnected(5000)) {
        seen.error = socket.error();
        return seen;
    }
    socket.write(request);
    while (!enough(seen) && socket.waitForReadyRead(5000)) {
        seen.bytes += socket.readAll();
    }
    seen.bytes += socket.readAll();
    seen.error = socket.error();
    seen.closed = socket.state() != QAbstractSocket::ConnectedState;
    return seen;
}

bool untilClosed(const Seen&)
{
    return false;
}

std::function<bool(const Seen&)> untilEnd(const QByteArray& end)
{
    return [end](const Seen& seen) { return seen.bytes.endsWith(end); };
}

} // namespace

class tst_ScriptedHttpServer : public QObject
{
    Q_OBJECT
private slots:
    void answersAndRecords();
    void keepsConnections();
    void answersPipelinedRequestsInOrder();
    void usesUpOnceAnswersFirst();
    void answersUnknownPathsWith404();
    void servesRanges_data();
    void servesRanges();
    void sendsChunks();
    void claimsAnotherLength();
    void closesInTheBody();
    void resetsInTheBody();
    void closesWithoutAnswer();
    void resetsWithoutAnswer();
    void stalls();
    void delays();
    void holdsARate();
    void sendsRawBytes();
    void answersHeadWithoutBody();
    void refusesWhenStopped();
};

void tst_ScriptedHttpServer::answersAndRecords()
{
    ScriptedHttpServer server;
    QVERIFY(server.port() != 0);
    server.always("/a", HttpResponse::withStatus(201, "body").addHeader("X-One", "1"));
    const Seen seen = talk(server, "post /a?q=1 HTTP/1.1\r\nhost: h\r\nX-Two:  two \r\nContent-Length: 4\r\n\r\ndata",
                           untilEnd("body"));
    QCOMPARE(seen.bytes, QByteArray("HTTP/1.1 201 Scripted\r\nX-One: 1\r\nContent-Length: 4\r\n\r\nbody"));
    QCOMPARE(server.requestCount(), 1);
    const HttpRequest request = server.requests("/a").value(0);
    QCOMPARE(request.method, QByteArray("POST"));
    QCOMPARE(request.target, QByteArray("/a?q=1"));
    QCOMPARE(request.path(), QByteArray("/a"));
    QCOMPARE(request.header("x-two"), QByteArray("two"));
    QVERIFY(request.hasHeader("HOST"));
    QVERIFY(!request.hasHeader("Range"));
    QCOMPARE(request.rangeStart(), -1);
    QCOMPARE(request.body, QByteArray("data"));
    server.clearRequests();
    QCOMPARE(server.requestCount(), 0);
}

void tst_ScriptedHttpServer::keepsConnections()
{
    ScriptedHttpServer server;
    server.always("/a", HttpResponse::ok("A"));
    server.always("/b", HttpResponse::ok("B"));
    QTcpSocket socket;
    socket.connectToHost(QStringLiteral("127.0.0.1"), server.port());
    QVERIFY(socket.waitForConnected());
    for (const QByteArray& path : {QByteArray("/a"), QByteArray("/b")}) {
        socket.write(get(path));
        QByteArray seen;
        while (!seen.endsWith(path.right(1).toUpper()) && socket.waitForReadyRead(5000)) {
            seen += socket.readAll();
        }
        QVERIFY(seen.endsWith(path.right(1).toUpper()));
    }
    QCOMPARE(server.requests().value(0).connection, 1);
    QCOMPARE(server.requests().value(1).connection, 1);
    QCOMPARE(server.openConnections(), 1);
    socket.abort();
    QTRY_COMPARE(server.openConnections(), 0);
    QCOMPARE(server.mostConnections(), 1);
}

void tst_ScriptedHttpServer::answersPipelinedRequestsInOrder()
{
    ScriptedHttpServer server;
    server.always("/a", HttpResponse::ok("AAA").delay(20));
    server.always("/b", HttpResponse::ok("BBB"));
    const Seen seen = talk(server, get("/a") + get("/b"), untilEnd("BBB"));
    QVERIFY(seen.bytes.indexOf("AAA") > 0);
    QVERIFY(seen.bytes.indexOf("AAA") < seen.bytes.indexOf("BBB"));
}

void tst_ScriptedHttpServer::usesUpOnceAnswersFirst()
{
    ScriptedHttpServer server;
    server.once("/a", HttpResponse::ok("one"));
    server.once("/a", HttpResponse::ok("two"));
    server.on("/a", [](const HttpRequest& request) { return HttpResponse::ok("then " + request.header("X")); });
    QVERIFY(talk(server, get("/a"), untilEnd("one")).bytes.endsWith("one"));
    QVERIFY(talk(server, get("/a"), untilEnd("two")).bytes.endsWith("two"));
    QVERIFY(talk(server, get("/a", "X: y\r\n"), untilEnd("then y")).bytes.endsWith("then y"));
}

void tst_ScriptedHttpServer::answersUnknownPathsWith404()
{
    ScriptedHttpServer server;
    QVERIFY(talk(server, get("/none"), untilEnd("\n")).bytes.startsWith("HTTP/1.1 404 Not Found\r\n"));
}

void tst_ScriptedHttpServer::servesRanges_data()
{
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<QByteArray>("start");
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("none") << QByteArray() << QByteArray("HTTP/1.1 200") << QByteArray("Content-Length: 10\r\n")
                          << QByteArray("0123456789");
    QTest::newRow("open") << QByteArray("Range: bytes=4-\r\n") << QByteArray("HTTP/1.1 206")
                          << QByteArray("Content-Range: bytes 4-9/10\r\n") << QByteArray("456789");
    QTest::newRow("closed") << QByteArray("Range: bytes=4-5\r\n") << QByteArray("HTTP/1.1 206")
                            << QByteArray("Content-Range: bytes 4-5/10\r\n") << QByteArray("45");
    QTest::newRow("too long") << QByteArray("Range: bytes=4-99\r\n") << QByteArray("HTTP/1.1 206")
                              << QByteArray("Content-Range: bytes 4-9/10\r\n") << QByteArray("456789");
    QTest::newRow("behind") << QByteArray("Range: bytes=10-\r\n") << QByteArray("HTTP/1.1 416")
                            << QByteArray("Content-Range: bytes */10\r\n") << QByteArray("\r\n\r\n");
}

void tst_ScriptedHttpServer::servesRanges()
{
    QFETCH(QByteArray, range);
    QFETCH(QByteArray, start);
    QFETCH(QByteArray, header);
    QFETCH(QByteArray, body);
    ScriptedHttpServer server;
    server.serve("/f", "0123456789");
    const Seen seen = talk(server, get("/f", range), untilEnd(body));
    QVERIFY2(seen.bytes.startsWith(start), seen.bytes);
    QVERIFY2(seen.bytes.contains(header), seen.bytes);
    QVERIFY2(seen.bytes.endsWith(body), seen.bytes);
}

void tst_ScriptedHttpServer::sendsChunks()
{
    ScriptedHttpServer server;
    server.always("/f", HttpResponse::ok("abcde").chunked(2));
    const Seen seen = talk(server, get("/f"), untilEnd("0\r\n\r\n"));
    QVERIFY(seen.bytes.contains("Transfer-Encoding: chunked\r\n"));
    QVERIFY(!seen.bytes.contains("Content-Length"));
    QVERIFY(seen.bytes.endsWith("\r\n\r\n2\r\nab\r\n2\r\ncd\r\n1\r\ne\r\n0\r\n\r\n"));
}

void tst_ScriptedHttpServer::claimsAnotherLength()
{
    ScriptedHttpServer server;
    server.always("/long", HttpResponse::ok("ab").claimLength(5));
    server.always("/none", HttpResponse::ok("ab").claimLength(-1));
    QVERIFY(talk(server, get("/long"), untilEnd("ab")).bytes.endsWith("Content-Length: 5\r\n\r\nab"));
    QVERIFY(!talk(server, get("/none"), untilEnd("ab")).bytes.contains("Content-Length"));
}

void tst_ScriptedHttpServer::closesInTheBody()
{
    ScriptedHttpServer server;
    server.always("/f", HttpResponse::ok("abcdef").closeAfter(3));
    const Seen seen = talk(server, get("/f"), untilClosed);
    QVERIFY(seen.bytes.endsWith("Content-Length: 6\r\n\r\nabc"));
    QVERIFY(seen.closed);
    QCOMPARE(seen.error, QAbstractSocket::RemoteHostClosedError);
}

void tst_ScriptedHttpServer::resetsInTheBody()
{
    // A reset may overtake data that the reader has not fetched: only that it was none too much can be relied on.
    ScriptedHttpServer server;
    server.always("/f", HttpResponse::ok("abcdef").resetAfter(3));
    const Seen seen = talk(server, get("/f"), untilClosed);
    QVERIFY(seen.closed);
    QVERIFY(!seen.bytes.contains("abcd"));
    QTRY_COMPARE(server.openConnections(), 0);
}

void tst_ScriptedHttpServer::closesWithoutAnswer()
{
    ScriptedHttpServer server;
    server.always("/f", HttpResponse::nothing(Fault::Close));
    const Seen seen = talk(server, get("/f"), untilClosed);
    QVERIFY(seen.closed);
    QCOMPARE(seen.bytes, QByteArray());
}

void tst_ScriptedHttpServer::resetsWithoutAnswer()
{
    ScriptedHttpServer server;
    server.always("/f", HttpResponse::nothing(Fault::Reset));
    const Seen seen = talk(server, get("/f"), untilClosed);
    QVERIFY(seen.closed);
    QCOMPARE(seen.bytes, QByteArray());
}

void tst_ScriptedHttpServer::stalls()
{
    ScriptedHttpServer server;
    server.always("/f", HttpResponse::ok("abcdef").stallAfter(3));
    QTcpSocket socket;
    socket.connectToHost(QStringLiteral("127.0.0.1"), server.port());
    QVERIFY(socket.waitForConnected());
    socket.write(get("/f"));
    QByteArray seen;
    while (!seen.endsWith("abc") && socket.waitForReadyRead(5000)) {
        seen += socket.readAll();
    }
    QVERIFY(seen.endsWith("abc"));
    QVERIFY(!socket.waitForReadyRead(100));
    QCOMPARE(socket.state(), QAbstractSocket::ConnectedState);
    server.dropConnections();
    QVERIFY(socket.state() != QAbstractSocket::ConnectedState || socket.waitForDisconnected(5000));
}

void tst_ScriptedHttpServer::delays()
{
    ScriptedHttpServer server;
    server.always("/f", HttpResponse::ok("x").delay(150));
    QElapsedTimer timer;
    timer.start();
    QVERIFY(talk(server, get("/f"), untilEnd("x")).bytes.endsWith("x"));
    QVERIFY(timer.elapsed() >= 150);
}

void tst_ScriptedHttpServer::holdsARate()
{
    ScriptedHttpServer server;
    server.always("/f", HttpResponse::ok(QByteArray(20000, 'x') + "end").rate(100 * 1000));
    QElapsedTimer timer;
    timer.start();
    QVERIFY(talk(server, get("/f"), untilEnd("end")).bytes.endsWith("end"));
    QVERIFY(timer.elapsed() >= 195);
}

void tst_ScriptedHttpServer::sendsRawBytes()
{
    ScriptedHttpServer server;
    server.always("/f", HttpResponse::raw("NOT HTTP"));
    const Seen seen = talk(server, get("/f"), untilClosed);
    QCOMPARE(seen.bytes, QByteArray("NOT HTTP"));
    QVERIFY(seen.closed);
}

void tst_ScriptedHttpServer::answersHeadWithoutBody()
{
    ScriptedHttpServer server;
    server.always("/f", HttpResponse::ok("abc"));
    const Seen seen = talk(server, "HEAD /f HTTP/1.1\r\n\r\n", untilEnd("\r\n\r\n"));
    QVERIFY(seen.bytes.endsWith("Content-Length: 3\r\n\r\n"));
}

void tst_ScriptedHttpServer::refusesWhenStopped()
{
    ScriptedHttpServer server;
    server.stop();
    QCOMPARE(talk(server, get("/f"), untilClosed).error, QAbstractSocket::ConnectionRefusedError);
}

QTEST_GUILESS_MAIN(tst_ScriptedHttpServer)
#include "tst_ScriptedHttpServer.moc"

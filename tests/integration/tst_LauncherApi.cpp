// SPDX-License-Identifier: MIT
// "launcher api" as its user sees it: what it sends, what it prints, what it ends with.
#include "LauncherProcess.h"
#include "ScriptedHttpServer.h"

#include <QtTest>

#include <memory>

namespace {

LauncherResult run(const QStringList& arguments)
{
    return LauncherProcess::run(QStringList(QStringLiteral("api")) + arguments);
}

} // namespace

class tst_LauncherApi : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void tellsHowToUseIt();
    void refusesWrongUse_data();
    void refusesWrongUse();
    void gets();
    void posts();
    void sendsAForm();
    void asksForHeaders();
    void reportsFailures();
    void givesUpAfterTheTimeout();
    void triesAgain();

private:
    QString url() const { return m_server->urlText("/call"); }
    static QStringList words(const char* text)
    {
        return QString::fromUtf8(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    }

    std::unique_ptr<ScriptedHttpServer> m_server;
};

void tst_LauncherApi::init()
{
    m_server = std::make_unique<ScriptedHttpServer>();
    QVERIFY(m_server->port() != 0);
}

void tst_LauncherApi::tellsHowToUseIt()
{
    const LauncherResult result = run({QStringLiteral("--help")});
    QCOMPARE(result.code, 0);
    QVERIFY(result.out.startsWith(QStringLiteral("Usage: launcher api get|post|head|form URL")));
    for (const char* option :
         {"\n  -H ", "\n  -p ", "\n  -c ", "\n  -d ", "\n  --retry ", "\n  --backoff ", "\n  --timeout "})
        QVERIFY2(result.out.contains(QLatin1String(option)), option);
    QCOMPARE(result.err, QString());
}

void tst_LauncherApi::refusesWrongUse_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char* name, const char* arguments, const char* reason) {
        QTest::newRow(name) << words(arguments) << QString::fromUtf8(reason);
    };
    row("nothing", "", "no method given: get, post, head or form");
    row("unknown method", "put http://host/", "unknown method \"put\": get, post, head or form");
    row("no URL", "get", "no URL given");
    row("two URLs", "get http://host/ http://other/", "one URL at a time, not also \"http://other/\"");
    row("no web URL", "get ftp://host/", "not an http or https URL: ftp://host/");
    row("no host", "get http:///path", "not an http or https URL: http:///path");
    row("header without a colon", "get http://host/ -H name", "-H wants NAME:VALUE, not \"name\"");
    row("header without a name", "get http://host/ -H :value", "-H wants NAME:VALUE, not \":value\"");
    row("parameter without a value", "get http://host/ -p name", "-p wants NAME=VALUE, not \"name\"");
    row("parameter of a post", "post http://host/ -p a=b", "-p goes with get, head and form; the body of post is -d");
    row("list in a form", "form http://host/ -p a=1 -p a=2", "-p a: only get takes several values of one name");
    row("cookie without a value", "get http://host/ -c name", "-c wants NAME=VALUE, not \"name\"");
    row("body of a get", "get http://host/ -d {}", "-d goes with post");
    row("body that is no JSON", "post http://host/ -d {x", "-d wants JSON: ");
    row("retries in words", "get http://host/ --retry two", "--retry wants a number from 0 to 1000");
    row("too many retries", "get http://host/ --retry 1001", "--retry wants a number from 0 to 1000");
    row("no time", "get http://host/ --timeout 0", "--timeout wants a number from 1 to 86400000");
    row("unknown option", "get http://host/ --what", "Unknown option 'what'.");
}

void tst_LauncherApi::refusesWrongUse()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, reason);
    const LauncherResult result = run(arguments);
    QCOMPARE(result.code, 2);
    QCOMPARE(result.out, QString());
    QVERIFY2(result.err.startsWith(QStringLiteral("error: ") + reason), qPrintable(result.err));
    QVERIFY(result.err.endsWith(QStringLiteral(" (see launcher api --help)\n")));
}

void tst_LauncherApi::gets()
{
    m_server->always("/call", HttpResponse::ok("{\"n\":\"\xc3\xa4\"}")
                                  .addHeader("Content-Type", "application/json")
                                  .addHeader("ETag", "\"7\""));
    const LauncherResult result =
        run(words("get") << url() << words("-p ids=1 -p ids=2 -p q=x=y -H X-Name:M\xc3\xbcller -c a=1 -c b=2"));
    QCOMPARE(result.err, QString());
    QCOMPARE(result.out, QString::fromUtf8("status: 200\ncontent-type: application/json\netag: \"7\"\n\n"
                                           "{\"n\":\"\xc3\xa4\"}\n"));
    QCOMPARE(result.code, 0);
    const HttpRequest request = m_server->requests().constLast();
    QCOMPARE(request.method + ' ' + request.target, QByteArray("GET /call?ids[]=1&ids[]=2&q=x%3Dy"));
    QCOMPARE(request.header("X-Name"), QByteArray("M\xc3\xbcller"));
    QCOMPARE(request.header("Cookie"), QByteArray("a=1; b=2"));
}

void tst_LauncherApi::posts()
{
    m_server->always("/call", HttpResponse::ok("done\n"));
    const LauncherResult result = run(words("post") << url() << words("-d {\"a\":[1,2]}"));
    QCOMPARE(result.out, QStringLiteral("status: 200\n\ndone\n"));
    QCOMPARE(result.code, 0);
    const HttpRequest request = m_server->requests().constLast();
    QCOMPARE(request.method, QByteArray("POST"));
    QCOMPARE(request.body, QByteArray("{\"a\":[1,2]}"));
    QCOMPARE(request.header("Content-Type"), QByteArray("application/json"));
}

void tst_LauncherApi::sendsAForm()
{
    m_server->always("/call", HttpResponse::ok("done"));
    const LauncherResult result = run(words("form") << url() << words("-p b=2 -p a=1"));
    QCOMPARE(result.code, 0);
    const HttpRequest request = m_server->requests().constLast();
    QCOMPARE(request.method, QByteArray("POST"));
    QCOMPARE(request.body, QByteArray("a=1&b=2"));
    QCOMPARE(request.header("Content-Type"), QByteArray("application/x-www-form-urlencoded"));
}

void tst_LauncherApi::asksForHeaders()
{
    m_server->always("/call", HttpResponse::ok("a body").addHeader("ETag", "\"7\""));
    const LauncherResult result = run(words("head") << url() << words("-p a=1"));
    QCOMPARE(result.out, QStringLiteral("status: 200\netag: \"7\"\n"));
    QCOMPARE(result.code, 0);
    const HttpRequest request = m_server->requests().constLast();
    QCOMPARE(request.method + ' ' + request.target, QByteArray("HEAD /call?a=1"));
}

void tst_LauncherApi::reportsFailures()
{
    m_server->always("/call", HttpResponse::withStatus(404, "no such thing").addHeader("Content-Type", "text/plain"));
    const LauncherResult result = run(words("get") << url());
    QCOMPARE(result.code, 1);
    QCOMPARE(result.out, QStringLiteral("status: 404\ncontent-type: text/plain\n"));
    QVERIFY2(result.err.startsWith(QStringLiteral("error: code 3002, status 404, network error 203: ")),
             qPrintable(result.err));
    QVERIFY(result.err.endsWith(QStringLiteral("no such thing\n")));
    m_server->stop();
    const LauncherResult refused = run(words("get") << url());
    QCOMPARE(refused.code, 1);
    QCOMPARE(refused.out, QString());
    QVERIFY2(refused.err.startsWith(QStringLiteral("error: code 3002, status 0, network error 1: ")),
             qPrintable(refused.err));
}

void tst_LauncherApi::givesUpAfterTheTimeout()
{
    m_server->always("/call", HttpResponse::nothing(HttpResponse::Fault::Stall));
    // Long enough for a request to get to the server on a busy machine.
    const LauncherResult result = run(words("get") << url() << words("--timeout 1000 --retry 1 --backoff"));
    QCOMPARE(result.code, 1);
    QCOMPARE(result.out, QString());
    QCOMPARE(result.err, QStringLiteral("error: code 3001, status 638, network error -1: "
                                        "CommonErrorCode::HTTP_REQUEST_TIMEOUT\n"));
    QCOMPARE(m_server->requestCount(), 2);
}

void tst_LauncherApi::triesAgain()
{
    m_server->once("/call", HttpResponse::withStatus(500));
    m_server->once("/call", HttpResponse::withStatus(500));
    m_server->once("/call", HttpResponse::ok("at last"));
    // Long enough for an answer on a busy machine; the second attempt, whose answer is not heard, lasts so long.
    const LauncherResult result = run(words("get") << url() << words("--retry 3 --timeout 2000"));
    QCOMPARE(result.err, QString());
    QCOMPARE(result.out, QStringLiteral("status: 200\n\nat last\n"));
    QCOMPARE(result.code, 0);
    QCOMPARE(m_server->requestCount(), 3);
}

QTEST_GUILESS_MAIN(tst_LauncherApi)
#include "tst_LauncherApi.moc"

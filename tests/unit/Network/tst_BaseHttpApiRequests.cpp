// SPDX-License-Identifier: MIT
// What an API object sends, as a server receives it: request lines, headers in order, cookies, bodies.
#include "ApiProbe.h"
#include "ScriptedHttpServer.h"

#include <QJsonArray>
#include <QJsonValue>
#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QtTest>

#include <memory>

namespace {

using Params = QMap<QString, QVariant>;

const QByteArray kPath("/v1/call");

/// Keeps the requests as they come to the network layer.
class RequestKeeper : public QNetworkAccessManager
{
public:
    using QNetworkAccessManager::QNetworkAccessManager;
    QNetworkRequest last;

protected:
    QNetworkReply* createRequest(Operation operation, const QNetworkRequest& request, QIODevice* body) override
    {
        last = request;
        return QNetworkAccessManager::createRequest(operation, request, body);
    }
};

// The request's own headers, as sent and in order, without those that the network layer adds.
QStringList ownHeaders(const HttpRequest& request)
{
    const QList<QByteArray> added{"host", "connection", "accept-encoding", "accept-language", "user-agent"};
    QStringList lines;
    for (const auto& header : request.headers) {
        if (!added.contains(header.first.toLower()))
            lines << QString::fromUtf8(header.first + ": " + header.second);
    }
    return lines;
}

} // namespace

class tst_BaseHttpApiRequests : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void methods_data();
    void methods();
    void query_data();
    void query();
    void queryReplacesThatOfThePath();
    void pathKeepsItsQueryWithoutParameters();
    void headQueryIsNotExpanded();
    void headers_data();
    void headers();
    void headersAreUtf8();
    void cookies_data();
    void cookies();
    void cookiesOfTheServerDoNotReplaceOwnOnes();
    void jsonBody_data();
    void jsonBody();
    void jsonTypeGivesWayToARawHeader();
    void formBody_data();
    void formBody();
    void formTypeWinsOverARawHeader();
    void largeBodyIsPosted();
    void logsTheRequest_data();
    void logsTheRequest();
    void settingsAreReadByEachSend();
    void requestOfEachType_data();
    void requestOfEachType();

private:
    // Sends the call and gives what the server received; an empty method when nothing came.
    HttpRequest send(BaseHttpApi::TYPE type)
    {
        m_api->SetRequestType(type);
        QSignalSpy finished(m_api.get(), &BaseHttpApi::apiFinished);
        const int before = m_server->requestCount();
        m_api->Send();
        const bool ended = !finished.isEmpty() || finished.wait(30000);
        // The reply goes now: a call that is sent before is forgotten together with it.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        if (!ended || m_server->requestCount() == before)
            return {};
        return m_server->requests().last();
    }

    std::unique_ptr<ScriptedHttpServer> m_server;
    std::unique_ptr<TestNetworkManager> m_manager;
    std::unique_ptr<TestApi> m_api;
};

void tst_BaseHttpApiRequests::init()
{
    m_server = std::make_unique<ScriptedHttpServer>();
    QVERIFY(m_server->port() != 0);
    m_server->always(kPath, HttpResponse::ok("{}"));
    m_manager = std::make_unique<TestNetworkManager>();
    m_api = std::make_unique<TestApi>();
    m_api->SetNetworkManager(m_manager.get());
    m_api->SetBaseUrl(m_server->urlText("/v1"));
    m_api->SetRequestPath(QStringLiteral("/call"));
}

void tst_BaseHttpApiRequests::cleanup()
{
    m_api.reset();
    m_manager.reset();
    m_server.reset();
}

void tst_BaseHttpApiRequests::methods_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QStringList>("headers");
    QTest::newRow("get") << 0 << QByteArray("GET /v1/call?a=1&b=x") << QByteArray() << QStringList();
    QTest::newRow("post") << 1 << QByteArray("POST /v1/call") << QByteArray("{\"n\":1}")
                          << texts({"Content-Type: application/json", "Content-Length: 7"});
    QTest::newRow("head") << 2 << QByteArray("HEAD /v1/call?a=1&b=x") << QByteArray() << QStringList();
    QTest::newRow("form") << 3 << QByteArray("POST /v1/call") << QByteArray("a=1&b=x")
                          << texts({"Content-Type: application/x-www-form-urlencoded", "Content-Length: 7"});
}

void tst_BaseHttpApiRequests::methods()
{
    QFETCH(int, type);
    QFETCH(QByteArray, line);
    QFETCH(QByteArray, body);
    QFETCH(QStringList, headers);
    m_api->SetRequestParams({{QStringLiteral("b"), QStringLiteral("x")}, {QStringLiteral("a"), 1}});
    m_api->SetParamsString(QStringLiteral("{\"n\":1}"));
    const HttpRequest request = send(static_cast<BaseHttpApi::TYPE>(type));
    QCOMPARE(request.method + ' ' + request.target, line);
    QCOMPARE(request.body, body);
    QCOMPARE(ownHeaders(request), headers);
}

void tst_BaseHttpApiRequests::query_data()
{
    QTest::addColumn<Params>("params");
    QTest::addColumn<QByteArray>("query");
    const auto row = [](const char* name, const QVariant& value, const char* query) {
        QTest::newRow(name) << Params{{QStringLiteral("k"), value}} << QByteArray(query);
    };
    const QVariantList mixed{1, QStringLiteral("a b"), true, 1.5, QVariant()};
    QTest::newRow("no parameter") << Params() << QByteArray();
    QTest::newRow("array and text") << Params{{QStringLiteral("q"), QStringLiteral("x")},
                                              {QStringLiteral("ids"), QVariantList{1, 2}}}
                                    << QByteArray("?ids[]=1&ids[]=2&q=x");
    row("empty text", QStringLiteral(""), "?k=");
    row("no text", QString(), "?k");
    row("null", QVariant(), "?k");
    row("number", 42, "?k=42");
    row("large number", Q_INT64_C(9007199254740993), "?k=9007199254740993");
    row("truth", true, "?k=true");
    row("fraction", 0.25, "?k=0.25");
    row("blank and delimiters", QStringLiteral("a b&c=d#e%f"), "?k=a%20b%26c%3Dd%23e%25f");
    row("not ASCII", QString::fromUtf8("\xc3\xa4\xe4\xb8\xad"), "?k=%C3%A4%E4%B8%AD");
    row("list of texts", QStringList{QStringLiteral("a"), QStringLiteral("b")}, "?k[]=a&k[]=b");
    row("list of one", QVariantList{7}, "?k[]=7");
    row("list of many kinds", mixed, "?k[]=1&k[]=a%20b&k[]=true&k[]=1.5&k[]");
    row("large numbers in a list", QVariantList{Q_INT64_C(9007199254740993)}, "?k[]=9007199254740993");
    row("JSON array", QVariant(QJsonArray{1, QStringLiteral("z")}), "?k[]=1&k[]=z");
    row("JSON value that is an array", QVariant(QJsonValue(QJsonArray{3})), "?k[]=3");
    row("empty list", QVariantList(), "?k");
    row("empty JSON array", QVariant(QJsonArray()), "?k");
    row("text that looks like an array", QStringLiteral("[1,2]"), "?k=[1,2]");
    row("bytes that look like an array", QByteArray("[1,2]"), "?k=[1,2]");
    QTest::newRow("name that is not ASCII")
        << Params{{QString::fromUtf8("\xc3\xa4"), QVariantList{1}}} << QByteArray("?%C3%A4[]=1");
}

void tst_BaseHttpApiRequests::query()
{
    QFETCH(Params, params);
    QFETCH(QByteArray, query);
    m_api->SetRequestParams(params);
    QCOMPARE(send(BaseHttpApi::Get).target, kPath + query);
}

void tst_BaseHttpApiRequests::queryReplacesThatOfThePath()
{
    m_api->SetRequestPath(QStringLiteral("/call?old=1"));
    m_api->SetRequestParams({{QStringLiteral("new"), 2}});
    QCOMPARE(send(BaseHttpApi::Get).target, QByteArray("/v1/call?new=2"));
    QCOMPARE(send(BaseHttpApi::Head).target, QByteArray("/v1/call?new=2"));
    // Bodies leave the query alone.
    QCOMPARE(send(BaseHttpApi::Post).target, QByteArray("/v1/call?old=1"));
    QCOMPARE(send(BaseHttpApi::PostForm).target, QByteArray("/v1/call?old=1"));
}

void tst_BaseHttpApiRequests::pathKeepsItsQueryWithoutParameters()
{
    m_api->SetRequestPath(QStringLiteral("/call?old=1"));
    QCOMPARE(send(BaseHttpApi::Get).target, QByteArray("/v1/call?old=1"));
    QCOMPARE(send(BaseHttpApi::Head).target, QByteArray("/v1/call?old=1"));
}

void tst_BaseHttpApiRequests::headQueryIsNotExpanded()
{
    m_api->SetRequestParams({{QStringLiteral("ids"), QVariantList{1, 2}},
                             {QStringLiteral("q"), QString::fromUtf8("\xc3\xa4 x")},
                             {QStringLiteral("n"), 5}});
    QCOMPARE(send(BaseHttpApi::Head).target, QByteArray("/v1/call?ids&n=5&q=%C3%A4%20x"));
    // The same as a form.
    QCOMPARE(send(BaseHttpApi::PostForm).body, QByteArray("ids&n=5&q=%C3%A4%20x"));
}

void tst_BaseHttpApiRequests::headers_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QStringList>("expected");
    const QStringList own = texts({"X-A: 1", "X-B: 2", "X-C: 3"});
    QTest::newRow("get") << 0 << own;
    QTest::newRow("post") << 1 << texts({"Content-Type: application/json"}) + own + texts({"Content-Length: 0"});
    QTest::newRow("head") << 2 << own;
    QTest::newRow("form") << 3 << own + texts({"Content-Type: application/x-www-form-urlencoded", "Content-Length: 0"});
}

void tst_BaseHttpApiRequests::headers()
{
    QFETCH(int, type);
    m_api->SetRequestHeaders({{QStringLiteral("X-C"), QStringLiteral("3")},
                              {QStringLiteral("X-A"), QStringLiteral("1")},
                              {QStringLiteral("X-B"), QStringLiteral("2")}});
    QTEST(ownHeaders(send(static_cast<BaseHttpApi::TYPE>(type))), "expected");
}

void tst_BaseHttpApiRequests::headersAreUtf8()
{
    m_api->SetRequestHeaders({{QStringLiteral("X-Name"), QString::fromUtf8("M\xc3\xbcller \xe4\xb8\xad")}});
    for (const auto type : {BaseHttpApi::Get, BaseHttpApi::Post, BaseHttpApi::Head, BaseHttpApi::PostForm})
        QCOMPARE(send(type).header("X-Name"), QByteArray("M\xc3\xbcller \xe4\xb8\xad"));
}

void tst_BaseHttpApiRequests::cookies_data()
{
    QTest::addColumn<int>("type");
    QTest::newRow("get") << 0;
    QTest::newRow("post") << 1;
    QTest::newRow("head") << 2;
    QTest::newRow("form") << 3;
}

void tst_BaseHttpApiRequests::cookies()
{
    QFETCH(int, type);
    const auto apiType = static_cast<BaseHttpApi::TYPE>(type);
    QVERIFY(!send(apiType).hasHeader("Cookie"));
    m_api->SetCookies({{"token", "x=y"}, {"lang", "de"}, {"id", ""}});
    QCOMPARE(send(apiType).header("Cookie"), QByteArray("id=; lang=de; token=x=y"));
    // They belong to this object's requests only.
    m_api->SetCookies({});
    QVERIFY(!send(apiType).hasHeader("Cookie"));
}

void tst_BaseHttpApiRequests::cookiesOfTheServerDoNotReplaceOwnOnes()
{
    m_server->always(kPath, HttpResponse::ok("{}").addHeader("Set-Cookie", "server=1; Path=/"));
    m_api->SetCookies({{"own", "2"}});
    send(BaseHttpApi::Get);
    QCOMPARE(send(BaseHttpApi::Get).header("Cookie"), QByteArray("own=2"));
}

void tst_BaseHttpApiRequests::jsonBody_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QString();
    QTest::newRow("object") << QStringLiteral("{\"a\":[1,2]}");
    QTest::newRow("not ASCII") << QString::fromUtf8("{\"n\":\"\xc3\xa4\xe4\xb8\xad\xf0\x9f\x98\x80\"}");
    QTest::newRow("not even JSON") << QStringLiteral("a=b&c");
}

void tst_BaseHttpApiRequests::jsonBody()
{
    QFETCH(QString, text);
    m_api->SetParamsString(text);
    m_api->SetRequestParams({{QStringLiteral("not"), QStringLiteral("sent")}});
    const HttpRequest request = send(BaseHttpApi::Post);
    QCOMPARE(request.method, QByteArray("POST"));
    QCOMPARE(request.target, kPath);
    QCOMPARE(request.body, text.toUtf8());
    QCOMPARE(request.header("Content-Type"), QByteArray("application/json"));
}

void tst_BaseHttpApiRequests::jsonTypeGivesWayToARawHeader()
{
    m_api->SetRequestHeaders({{QStringLiteral("content-type"), QStringLiteral("text/own")}});
    QCOMPARE(ownHeaders(send(BaseHttpApi::Post)).filter(QStringLiteral("content-type"), Qt::CaseInsensitive),
             texts({"content-type: text/own"}));
}

void tst_BaseHttpApiRequests::formBody_data()
{
    QTest::addColumn<Params>("params");
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("empty") << Params() << QByteArray();
    QTest::newRow("key order") << Params{{QStringLiteral("b"), 2},
                                         {QStringLiteral("a"), QStringLiteral("1")},
                                         {QStringLiteral("c"), true}}
                               << QByteArray("a=1&b=2&c=true");
    QTest::newRow("encoded") << Params{{QStringLiteral("k y"), QString::fromUtf8("a b&c=\xc3\xa4#%")}}
                             << QByteArray("k%20y=a%20b%26c%3D%C3%A4%23%25");
}

void tst_BaseHttpApiRequests::formBody()
{
    QFETCH(Params, params);
    QFETCH(QByteArray, body);
    m_api->SetRequestParams(params);
    m_api->SetParamsString(QStringLiteral("not sent"));
    const HttpRequest request = send(BaseHttpApi::PostForm);
    QCOMPARE(request.method, QByteArray("POST"));
    QCOMPARE(request.target, kPath);
    QCOMPARE(request.body, body);
    QCOMPARE(request.header("Content-Length"), QByteArray::number(body.size()));
}

void tst_BaseHttpApiRequests::formTypeWinsOverARawHeader()
{
    m_api->SetRequestHeaders({{QStringLiteral("Content-Type"), QStringLiteral("text/own")},
                              {QStringLiteral("Content-Length"), QStringLiteral("999")}});
    m_api->SetRequestParams({{QStringLiteral("a"), 1}});
    QCOMPARE(ownHeaders(send(BaseHttpApi::PostForm)),
             texts({"Content-Type: application/x-www-form-urlencoded", "Content-Length: 3"}));
}

void tst_BaseHttpApiRequests::largeBodyIsPosted()
{
    const QString text(4 * 1024 * 1024, QLatin1Char('j'));
    m_api->SetParamsString(text);
    QVERIFY(send(BaseHttpApi::Post).body == text.toUtf8());
}

void tst_BaseHttpApiRequests::logsTheRequest_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("line");
    QTest::newRow("get") << 0 << QStringLiteral("0 BaseHttpApi::GetRequest|request get url: %1?a[]=1&a[]=2&b=x");
    QTest::newRow("post") << 1
                          << QStringLiteral("0 BaseHttpApi::PostRequest| request post url: %1, post params: {\"n\":1}");
    QTest::newRow("head") << 2 << QStringLiteral("0 BaseHttpApi::HeadRequest|request head url: %1?a&b=x");
    QTest::newRow("form") << 3 << QStringLiteral("0 BaseHttpApi::PostFormRequest|request post url: %1 form: a&b=x");
}

void tst_BaseHttpApiRequests::logsTheRequest()
{
    QFETCH(int, type);
    QFETCH(QString, line);
    m_api->SetRequestParams({{QStringLiteral("b"), QStringLiteral("x")}, {QStringLiteral("a"), QVariantList{1, 2}}});
    m_api->SetParamsString(QStringLiteral("{\"n\":1}"));
    m_api->SetRequestType(static_cast<BaseHttpApi::TYPE>(type));
    const LogCapture log;
    m_api->Send();
    const QString url = m_server->urlText(kPath);
    QCOMPARE(logLines(log),
             (QStringList{line.arg(url),
                          QStringLiteral("0 BaseHttpApi::Send| request %1 with time interval 30000 ms").arg(url)}));
}

void tst_BaseHttpApiRequests::settingsAreReadByEachSend()
{
    QCOMPARE(send(BaseHttpApi::Get).target, kPath);
    m_server->always("/v2/other", HttpResponse::ok("{}"));
    m_api->SetBaseUrl(m_server->urlText("/v2"));
    m_api->SetRequestPath(QStringLiteral("/other"));
    m_api->SetParamsString(QStringLiteral("[]"));
    const HttpRequest request = send(BaseHttpApi::Post);
    QCOMPARE(request.target, QByteArray("/v2/other"));
    QCOMPARE(request.body, QByteArray("[]"));
}

void tst_BaseHttpApiRequests::requestOfEachType_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QStringList>("headers");
    const QString cookie = QStringLiteral("Cookie: a=1; b=2");
    const QString own = QStringLiteral("X-Own: 1");
    QTest::newRow("get") << 0 << QStringList{own, cookie};
    QTest::newRow("post") << 1 << QStringList{QStringLiteral("Content-Type: application/json"), own, cookie};
    QTest::newRow("head") << 2 << QStringList{own, cookie};
    QTest::newRow("form") << 3
                          << QStringList{own, cookie, QStringLiteral("Content-Type: application/x-www-form-urlencoded"),
                                         QStringLiteral("Content-Length: 3")};
}

// What the network layer is given, before it adds and changes anything.
void tst_BaseHttpApiRequests::requestOfEachType()
{
    QFETCH(int, type);
    auto* const keeper = new RequestKeeper(m_manager.get());
    m_manager->m_accessManager = keeper;
    m_api->SetRequestHeaders({{QStringLiteral("X-Own"), QStringLiteral("1")}});
    m_api->SetCookies({{"b", "2"}, {"a", "1"}});
    m_api->SetRequestParams({{QStringLiteral("p"), 1}});
    send(static_cast<BaseHttpApi::TYPE>(type));
    QStringList headers;
    const QList<QByteArray> names = keeper->last.rawHeaderList();
    for (const QByteArray& name : names)
        headers << QString::fromLatin1(name + ": " + keeper->last.rawHeader(name));
    QTEST(headers, "headers");
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    QCOMPARE(keeper->last.attribute(QNetworkRequest::FollowRedirectsAttribute), QVariant(true));
    QT_WARNING_POP
}

QTEST_GUILESS_MAIN(tst_BaseHttpApiRequests)
#include "tst_BaseHttpApiRequests.moc"

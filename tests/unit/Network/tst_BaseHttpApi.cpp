// SPDX-License-Identifier: MIT
// The states of an API object: settings, refusals, results. Replies are made by the test.
#include "ApiProbe.h"

#include <QPointer>
#include <QtTest>

class tst_BaseHttpApi : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hasItsDefaults();
    void settersStore();
    void address();
    void hostIsDecoded_data();
    void hostIsDecoded();

    void sendIsRefusedWhileRunning();
    void sendIsRefusedWithoutUrl();
    void sendIsRefusedWithoutManager_data();
    void sendIsRefusedWithoutManager();
    void unknownTypeIsSilent();
    void sendStartsTheTimer();
    void stopDoesNotAbort();
    void stopWhenIdle();

    void success();
    void networkError();
    void badStatus();
    void bodyWithZeroBytes();
    void bodyCutShortIsAFailure_data();
    void bodyCutShortIsAFailure();
    void unaskedFinishIsIgnored();
    void headersOfTheReply();
};

void tst_BaseHttpApi::hasItsDefaults()
{
    QObject parent;
    TestApi api(&parent);
    QCOMPARE(api.parent(), &parent);
    QCOMPARE(int(api.m_type), 0);
    QVERIFY(api.m_timer.isSingleShot());
    QCOMPARE(api.m_timer.interval(), 30000);
    QVERIFY(!api.m_timer.isActive());
    QVERIFY(!api.IsRunning());
    QVERIFY(!api.CanRetry());
    QCOMPARE(api.m_retryLeft, -1);
    QCOMPARE(api.m_retryTimes, -1);
    QCOMPARE(api.m_timeout, 30000);
    QVERIFY(!api.m_retryBackoff);
    QCOMPARE(api.GetFullUrl(), QString());
    QCOMPARE(api.GetUrlHost(), QString());
    QCOMPARE(api.GetHeaderContentType(), QString());
    QCOMPARE(api.GetHeaderETag(), QString());
}

void tst_BaseHttpApi::settersStore()
{
    TestApi api;
    HttpNetworkManager manager;
    const QMap<QString, QString> headers{{QStringLiteral("a"), QStringLiteral("b")}};
    const QMap<QString, QVariant> params{{QStringLiteral("n"), 1}};
    const QMap<QByteArray, QByteArray> cookies{{"c", "d"}};
    api.SetNetworkManager(&manager);
    api.SetRequestType(BaseHttpApi::Head);
    setAddress(&api);
    api.SetRequestHeaders(headers);
    api.SetRequestParams(params);
    api.SetCookies(cookies);
    api.SetParamsString(QStringLiteral("{}"));
    api.SetRetryTimes(4, true);
    api.SetTimeout(77);
    QCOMPARE(api.m_networkManager, &manager);
    QCOMPARE(int(api.m_type), 2);
    QCOMPARE(api.m_baseUrl, QStringLiteral("http://host"));
    QCOMPARE(api.m_path, QStringLiteral("/path"));
    QCOMPARE(api.m_headers, headers);
    QCOMPARE(api.m_params, params);
    QCOMPARE(api.m_cookies, cookies);
    QCOMPARE(api.m_paramsString, QStringLiteral("{}"));
    QCOMPARE(api.m_retryTimes, 4);
    QCOMPARE(api.m_retryLeft, 4);
    QVERIFY(api.m_retryBackoff);
    QCOMPARE(api.m_timeout, 77);
    QCOMPARE(api.m_timer.interval(), 77);
    QVERIFY(!api.m_timer.isActive());
    api.SetRetryTimes(2, false);
    QVERIFY(!api.m_retryBackoff);
}

void tst_BaseHttpApi::address()
{
    BaseHttpApi api;
    api.SetBaseUrl(QStringLiteral("http://host/a"));
    api.SetRequestPath(QStringLiteral("b?c"));
    QCOMPARE(api.GetFullUrl(), QStringLiteral("http://host/ab?c"));
    QCOMPARE(api.GetUrlHost(), QStringLiteral("host"));
    api.SetBaseUrl(QString());
    QCOMPARE(api.GetFullUrl(), QStringLiteral("b?c"));
    QCOMPARE(api.GetUrlHost(), QString());
}

void tst_BaseHttpApi::hostIsDecoded_data()
{
    QTest::addColumn<QString>("base");
    QTest::addColumn<QString>("host");
    QTest::newRow("plain") << QStringLiteral("https://API.example.com:8443/v1") << QStringLiteral("api.example.com");
    QTest::newRow("percent-encoded") << QStringLiteral("http://a%2Db.example/") << QStringLiteral("a-b.example");
    QTest::newRow("international") << QStringLiteral("http://xn--mller-kva.de/")
                                   << QString::fromUtf8("m\xc3\xbcller.de");
    QTest::newRow("IPv6") << QStringLiteral("http://[::1]:80/") << QStringLiteral("::1");
    QTest::newRow("none") << QStringLiteral("/only/a/path") << QString();
}

void tst_BaseHttpApi::hostIsDecoded()
{
    QFETCH(QString, base);
    BaseHttpApi api;
    api.SetBaseUrl(base);
    QTEST(api.GetUrlHost(), "host");
}

void tst_BaseHttpApi::sendIsRefusedWhileRunning()
{
    FakeApi api;
    setAddress(&api);
    const ApiEvents events(&api);
    api.Send();
    QVERIFY(api.IsRunning());
    const LogCapture log;
    api.Send();
    QCOMPARE(logLines(log), texts({"1 BaseHttpApi::Send| http://host/path networkReplay is running"}));
    QCOMPARE(api.replies.size(), 1);
    QCOMPARE(api.m_reply, api.replies.first().data());
    QVERIFY(events.log.isEmpty());
}

void tst_BaseHttpApi::sendIsRefusedWithoutUrl()
{
    FakeApi api;
    const ApiEvents events(&api);
    const LogCapture log;
    api.Send();
    QCOMPARE(logLines(log), texts({"3 BaseHttpApi::Send|  http url is empty"}));
    QVERIFY(api.replies.isEmpty());
    QVERIFY(!api.IsRunning());
    QVERIFY(!api.m_timer.isActive());
    QVERIFY(events.log.isEmpty());
}

void tst_BaseHttpApi::sendIsRefusedWithoutManager_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("request");
    QTest::newRow("get") << 0 << QStringLiteral("0 BaseHttpApi::GetRequest|request get url: http://host/path");
    QTest::newRow("post") << 1
                          << QStringLiteral("0 BaseHttpApi::PostRequest| request post url: http://host/path, "
                                            "post params: {}");
    QTest::newRow("head") << 2 << QStringLiteral("0 BaseHttpApi::HeadRequest|request head url: http://host/path");
    QTest::newRow("form") << 3
                          << QStringLiteral("0 BaseHttpApi::PostFormRequest|request post url: http://host/path form: ");
}

void tst_BaseHttpApi::sendIsRefusedWithoutManager()
{
    QFETCH(int, type);
    QFETCH(QString, request);
    TestApi api;
    setAddress(&api);
    api.SetParamsString(QStringLiteral("{}"));
    api.SetRequestType(static_cast<BaseHttpApi::TYPE>(type));
    api.m_contentType = QStringLiteral("kept");
    const ApiEvents events(&api);
    const LogCapture log;
    api.Send();
    QCOMPARE(logLines(log), QStringList() << request
                                          << texts({"1 BaseHttpApi::Send| http://host/path networkReplay is "
                                                    "nullptr"}));
    QVERIFY(!api.IsRunning());
    QVERIFY(!api.m_timer.isActive());
    QCOMPARE(api.m_contentType, QStringLiteral("kept"));
    QVERIFY(events.log.isEmpty());
}

void tst_BaseHttpApi::unknownTypeIsSilent()
{
    HttpNetworkManager manager;
    TestApi api;
    setAddress(&api);
    api.SetNetworkManager(&manager);
    const ApiEvents events(&api);
    const LogCapture log;
    for (const int type : {-1, 4, 1000}) {
        api.SetRequestType(static_cast<BaseHttpApi::TYPE>(type));
        api.Send();
    }
    QVERIFY(log.records().empty());
    QVERIFY(!api.IsRunning());
    QVERIFY(!api.m_timer.isActive());
    QVERIFY(events.log.isEmpty());
}

void tst_BaseHttpApi::sendStartsTheTimer()
{
    FakeApi api;
    setAddress(&api);
    api.SetTimeout(4321);
    api.m_contentType = QStringLiteral("from before");
    api.m_eTag = QStringLiteral("from before");
    const LogCapture log;
    api.Send();
    QCOMPARE(logLines(log), texts({"0 BaseHttpApi::Send| request http://host/path with time interval 4321 ms"}));
    QVERIFY(api.m_timer.isActive());
    QCOMPARE(api.m_timer.interval(), 4321);
    QCOMPARE(api.GetHeaderContentType(), QString());
    QCOMPARE(api.GetHeaderETag(), QStringLiteral("from before"));
}

void tst_BaseHttpApi::stopDoesNotAbort()
{
    FakeApi api;
    setAddress(&api);
    const ApiEvents events(&api);
    api.Send();
    const QPointer<FakeReply> reply = api.replies.first();
    api.Stop();
    QVERIFY(!api.IsRunning());
    QVERIFY(!api.m_timer.isActive());
    QVERIFY(reply);
    QCOMPARE(reply->aborts, 0);
    // Whatever it still says is not heard.
    reply->finish();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!reply);
    QVERIFY(events.log.isEmpty());
}

void tst_BaseHttpApi::stopWhenIdle()
{
    TestApi api;
    const LogCapture log;
    api.Stop();
    api.m_timer.start(10000);
    api.Stop();
    QVERIFY(!api.m_timer.isActive());
    QVERIFY(log.records().empty());
}

void tst_BaseHttpApi::success()
{
    FakeApi api;
    setAddress(&api);
    const ApiEvents events(&api);
    api.Send();
    const QPointer<FakeReply> reply = api.replies.first();
    reply->setStatus(200);
    reply->setBody("the body");
    reply->setHeaderText("Content-Type", "text/plain; charset=utf-8");
    reply->setHeaderText("ETag", "\"abc\"");
    const LogCapture log;
    reply->finish();
    QCOMPARE(logLines(log), texts({"0 BaseHttpApi::OnReplyFinished|response header content type: text/plain; "
                                   "charset=utf-8, ETag: \"abc\"",
                                   "0 BaseHttpApi::OnReplyFinished|/path receive data: the body"}));
    QCOMPARE(events.log, texts({"succeed 8", "finished"}));
    QCOMPARE(events.body, QByteArray("the body"));
    QVERIFY(!api.IsRunning());
    QVERIFY(!api.m_timer.isActive());
    QCOMPARE(api.GetHeaderContentType(), QStringLiteral("text/plain; charset=utf-8"));
    QCOMPARE(api.GetHeaderETag(), QStringLiteral("\"abc\""));
    QVERIFY(reply);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!reply);
}

void tst_BaseHttpApi::networkError()
{
    FakeApi api;
    setAddress(&api);
    const ApiEvents events(&api);
    api.Send();
    FakeReply* const reply = api.replies.first();
    reply->setStatus(503);
    reply->setBody("b\xc3\xb6se");
    reply->fail(QNetworkReply::ServiceUnavailableError, QStringLiteral("not now "));
    const LogCapture log;
    reply->finish();
    QCOMPARE(logLines(log), texts({"0 BaseHttpApi::OnReplyFinished|response header content type: , ETag: ",
                                   "0 BaseHttpApi::OnReplyFinished|/path network status code: 503, error: not now , "
                                   "data: b\xc3\xb6se"}));
    QCOMPARE(events.log, texts({"failed 3002 503 403", "finished"}));
    QCOMPARE(events.message, QString::fromUtf8("not now b\xc3\xb6se"));
    QVERIFY(!api.IsRunning());
}

void tst_BaseHttpApi::badStatus()
{
    FakeApi api;
    setAddress(&api);
    const ApiEvents events(&api);
    api.Send();
    FakeReply* const reply = api.replies.first();
    reply->setStatus(201);
    reply->setBody("created");
    const LogCapture log;
    const QString text = reply->errorString();
    reply->finish();
    QCOMPARE(logLines(log), texts({"0 BaseHttpApi::OnReplyFinished|response header content type: , ETag: ",
                                   "0 BaseHttpApi::OnReplyFinished|/path status code: 201"}));
    QCOMPARE(events.log, texts({"failed 3002 201 0", "finished"}));
    QCOMPARE(events.message, text);
}

void tst_BaseHttpApi::bodyWithZeroBytes()
{
    FakeApi api;
    setAddress(&api);
    const ApiEvents events(&api);
    api.Send();
    api.replies.last()->setBody(QByteArray("a\0b", 3));
    api.replies.last()->fail(QNetworkReply::UnknownNetworkError, QStringLiteral("E"));
    api.replies.last()->finish();
    QCOMPARE(events.message, QString::fromLatin1("Ea\0b", 4));
}

void tst_BaseHttpApi::bodyCutShortIsAFailure_data()
{
    QTest::addColumn<QByteArray>("length");
    QTest::addColumn<bool>("chunked");
    QTest::addColumn<int>("method");
    QTest::addColumn<int>("status");
    QTest::addColumn<QStringList>("expected");
    const QStringList failed = texts({"failed 3002 200 2", "finished"});
    const QStringList succeeded = texts({"succeed 4", "finished"});
    const int get = QNetworkAccessManager::GetOperation;
    QTest::newRow("one byte less than announced") << QByteArray("5") << false << get << 200 << failed;
    QTest::newRow("of a post") << QByteArray("5") << false << int(QNetworkAccessManager::PostOperation) << 200
                               << failed;
    QTest::newRow("much less") << QByteArray("9007199254740993") << false << get << 200 << failed;
    QTest::newRow("as announced") << QByteArray("4") << false << get << 200 << succeeded;
    QTest::newRow("nothing announced") << QByteArray() << false << get << 200 << succeeded;
    QTest::newRow("no number announced") << QByteArray("five") << false << get << 200 << succeeded;
    QTest::newRow("in chunks") << QByteArray("5") << true << get << 200 << succeeded;
    QTest::newRow("of a head") << QByteArray("5") << false << int(QNetworkAccessManager::HeadOperation) << 200
                               << succeeded;
    QTest::newRow("of another status") << QByteArray("5") << false << get << 201
                                       << texts({"failed 3002 201 0", "finished"});
}

// The network layer does not tell of every connection that was closed within the body.
void tst_BaseHttpApi::bodyCutShortIsAFailure()
{
    QFETCH(QByteArray, length);
    QFETCH(bool, chunked);
    QFETCH(int, method);
    QFETCH(int, status);
    FakeApi api;
    setAddress(&api);
    const ApiEvents events(&api);
    api.Send();
    FakeReply* const reply = api.replies.last();
    reply->setMethod(static_cast<QNetworkAccessManager::Operation>(method));
    reply->setStatus(status);
    if (!length.isEmpty())
        reply->setHeaderText("Content-Length", length.constData());
    if (chunked)
        reply->setHeaderText("Transfer-Encoding", "chunked");
    reply->setBody("half");
    const LogCapture log;
    reply->finish();
    QTEST(events.log, "expected");
    if (events.log.first() == QStringLiteral("failed 3002 200 2")) {
        QCOMPARE(events.message, QStringLiteral("Connection closedhalf"));
        QCOMPARE(log.count(0, QStringLiteral("/path network status code: 200, error: Connection closed, data: half")),
                 1);
    }
}

void tst_BaseHttpApi::unaskedFinishIsIgnored()
{
    TestApi api;
    setAddress(&api);
    const ApiEvents events(&api);
    const LogCapture log;
    api.OnReplyFinished();
    QVERIFY(events.log.isEmpty());
    QVERIFY(log.records().empty());
}

// The headers are those of the last reply, also when it has none.
void tst_BaseHttpApi::headersOfTheReply()
{
    FakeApi api;
    setAddress(&api);
    api.Send();
    api.replies.last()->setStatus(200);
    api.replies.last()->setHeaderText("Content-Type", "application/json");
    api.replies.last()->setHeaderText("ETag", "W/\"1\"");
    api.replies.last()->finish();
    QCOMPARE(api.GetHeaderContentType(), QStringLiteral("application/json"));
    QCOMPARE(api.GetHeaderETag(), QStringLiteral("W/\"1\""));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);

    api.Send();
    QCOMPARE(api.GetHeaderContentType(), QString());
    QCOMPARE(api.GetHeaderETag(), QStringLiteral("W/\"1\""));
    api.replies.last()->setStatus(200);
    api.replies.last()->finish();
    QCOMPARE(api.GetHeaderContentType(), QString());
    QCOMPARE(api.GetHeaderETag(), QString());
}

QTEST_GUILESS_MAIN(tst_BaseHttpApi)
#include "tst_BaseHttpApi.moc"

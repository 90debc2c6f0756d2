// SPDX-License-Identifier: MIT
// The web API client against a real web server: what it receives, redirects, keep-alive, TLS.
#include "Network/BaseHttpApi.h"
#include "Network/HttpNetworkManager.h"
#include "NginxServer.h"

#include <QFile>
#include <QNetworkReply>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QtTest>

#include <memory>
#include <vector>

namespace {

const char* const kSites = R"(
    log_format own '$connection $request';
    access_log PREFIX/access.log own;
    server {
        listen 127.0.0.1:PLAIN;
        root PREFIX/www;
        default_type application/json;
        location = /echo { return 200 "$request_method|$args|$http_x_name|$http_cookie|$content_type|$content_length"; }
        location = /permanent { return 301 /echo?$args; }
        location = /temporary { return 307 /echo; }
        location = /away { return 302 https://localhost:TLS/hello; }
        location = /loop { return 302 /loop; }
        location = /created { return 201 "made"; }
        location = /none { return 204; }
        location = /broken { return 500 "broken"; }
        location = /forbidden { return 403; }
    }
    server {
        listen 127.0.0.1:TLS ssl;
        CERTIFICATE
        location = /hello { return 200 "hello"; }
        location = /down { return 302 http://127.0.0.1:PLAIN/echo; }
    }
)";

bool writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

/// Puts the process's TLS settings back.
class DefaultTls
{
public:
    DefaultTls() : m_before(QSslConfiguration::defaultConfiguration()) {}
    ~DefaultTls() { QSslConfiguration::setDefaultConfiguration(m_before); }
    DefaultTls(const DefaultTls&) = delete;
    DefaultTls& operator=(const DefaultTls&) = delete;

    void trust(const QString& authority) const
    {
        QSslConfiguration configuration = m_before;
        configuration.setCaCertificates(QSslCertificate::fromPath(authority));
        QSslConfiguration::setDefaultConfiguration(configuration);
    }

private:
    QSslConfiguration m_before;
};

} // namespace

class tst_ApiNginx : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();

    void sends_data();
    void sends();
    void failures_data();
    void failures();
    void followsRedirects();
    void fetchesLargeBodies_data();
    void fetchesLargeBodies();
    void readsEntityTags();
    void sharesConnections();
    void refusesAnUnknownAuthority();
    void acceptsAConfiguredAuthority();
    void doesNotFollowFromTlsToPlain();

private:
    QString plain(const char* path) const
    {
        return QStringLiteral("http://127.0.0.1:%1%2").arg(m_server->port()).arg(QLatin1String(path));
    }
    QString secure(const char* path) const
    {
        return QStringLiteral("https://localhost:%1%2").arg(m_server->tlsPort()).arg(QLatin1String(path));
    }
    QString file(const char* name) const { return m_server->path(QLatin1String(name)); }
    // The outcome of one call as text: "succeed BODY" or "failed CODE STATUS QTERROR".
    QString call(BaseHttpApi& api, const QString& url);

    std::unique_ptr<NginxServer> m_server;
    std::unique_ptr<HttpNetworkManager> m_manager;
};

void tst_ApiNginx::initTestCase()
{
    m_server = std::make_unique<NginxServer>();
    m_server->start(kSites);
}

void tst_ApiNginx::cleanupTestCase()
{
    m_manager.reset();
    m_server.reset();
}

void tst_ApiNginx::init()
{
    m_manager = std::make_unique<HttpNetworkManager>();
}

QString tst_ApiNginx::call(BaseHttpApi& api, const QString& url)
{
    QString outcome;
    const QObject context;
    connect(&api, &BaseHttpApi::apiSucceed, &context,
            [&outcome](const QByteArray& data) { outcome = QStringLiteral("succeed ") + QString::fromUtf8(data); });
    connect(&api, &BaseHttpApi::apiFailed, &context, [&outcome](int code, int status, int qtError) {
        outcome = QStringLiteral("failed %1 %2 %3").arg(code).arg(status).arg(qtError);
    });
    api.SetNetworkManager(m_manager.get());
    api.SetBaseUrl(url);
    api.Send();
    if (!QTest::qWaitFor([&outcome] { return !outcome.isEmpty(); }, 60000))
        return QStringLiteral("nothing");
    return outcome;
}

void tst_ApiNginx::sends_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("answer");
    const QString own = QString::fromUtf8("M\xc3\xbcller|a=1; b=2|");
    QTest::newRow("get") << 0 << QStringLiteral("GET|ids[]=1&ids[]=2&q=a%20%C3%A4|") + own + QStringLiteral("|");
    QTest::newRow("post") << 1 << QStringLiteral("POST||") + own + QStringLiteral("application/json|7");
    QTest::newRow("form") << 3
                          << QStringLiteral("POST||") + own + QStringLiteral("application/x-www-form-urlencoded|16");
}

void tst_ApiNginx::sends()
{
    QFETCH(int, type);
    QFETCH(QString, answer);
    BaseHttpApi api;
    api.SetRequestType(static_cast<BaseHttpApi::TYPE>(type));
    api.SetRequestHeaders({{QStringLiteral("X-Name"), QString::fromUtf8("M\xc3\xbcller")}});
    api.SetCookies({{"b", "2"}, {"a", "1"}});
    api.SetParamsString(QStringLiteral("{\"n\":1}"));
    api.SetRequestParams(
        {{QStringLiteral("q"), QString::fromUtf8("a \xc3\xa4")}, {QStringLiteral("ids"), QVariantList{1, 2}}});
    QCOMPARE(call(api, plain("/echo")), QStringLiteral("succeed ") + answer);
    QCOMPARE(api.GetHeaderContentType(), QStringLiteral("application/json"));
}

void tst_ApiNginx::failures_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QString>("outcome");
    const auto row = [](const char* path, int status, int qtError) {
        QTest::newRow(path) << QByteArray(path) << QStringLiteral("failed 3002 %1 %2").arg(status).arg(qtError);
    };
    row("/created", 201, QNetworkReply::NoError);
    row("/none", 204, QNetworkReply::NoError);
    row("/forbidden", 403, QNetworkReply::ContentAccessDenied);
    row("/missing", 404, QNetworkReply::ContentNotFoundError);
    row("/broken", 500, QNetworkReply::InternalServerError);
    row("/loop", 302, QNetworkReply::TooManyRedirectsError);
}

void tst_ApiNginx::failures()
{
    QFETCH(QByteArray, path);
    BaseHttpApi api;
    QTEST(call(api, plain(path.constData())), "outcome");
}

void tst_ApiNginx::followsRedirects()
{
    BaseHttpApi api;
    QCOMPARE(call(api, plain("/permanent?x=1")), QStringLiteral("succeed GET|x=1||||"));
    BaseHttpApi post;
    post.SetRequestType(BaseHttpApi::Post);
    post.SetParamsString(QStringLiteral("{}"));
    QCOMPARE(call(post, plain("/temporary")), QStringLiteral("succeed POST||||application/json|2"));
}

void tst_ApiNginx::fetchesLargeBodies_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("empty") << 0;
    QTest::newRow("a megabyte") << 1024 * 1024;
    QTest::newRow("64 megabytes") << 64 * 1024 * 1024;
}

void tst_ApiNginx::fetchesLargeBodies()
{
    QFETCH(int, size);
    QByteArray content(size, '\0');
    for (int i = 0; i < size; ++i)
        content[i] = static_cast<char>((i * 31 + i / 253) & 0xff);
    QVERIFY(writeFile(file("www/large"), content));
    BaseHttpApi api;
    QByteArray body("not yet");
    connect(&api, &BaseHttpApi::apiSucceed, this, [&body](const QByteArray& data) { body = data; });
    QVERIFY(call(api, plain("/large")).startsWith(QStringLiteral("succeed ")));
    QVERIFY(body == content);
}

void tst_ApiNginx::readsEntityTags()
{
    QVERIFY(writeFile(file("www/tagged"), "content"));
    BaseHttpApi api;
    QCOMPARE(call(api, plain("/tagged")), QStringLiteral("succeed content"));
    const QString tag = api.GetHeaderETag();
    QVERIFY2(tag.startsWith(QLatin1Char('"')) && tag.endsWith(QLatin1Char('"')) && tag.size() > 4, qPrintable(tag));
    // Sent back, it is answered with 304, which is no success.
    BaseHttpApi again;
    again.SetRequestHeaders({{QStringLiteral("If-None-Match"), tag}});
    QCOMPARE(call(again, plain("/tagged")), QStringLiteral("failed 3002 304 0"));
    QCOMPARE(again.GetHeaderETag(), tag);
}

void tst_ApiNginx::sharesConnections()
{
    QVERIFY(writeFile(file("access.log"), {}));
    for (int i = 0; i < 100; ++i) {
        BaseHttpApi api;
        QCOMPARE(call(api, plain("/echo?alone")), QStringLiteral("succeed GET|alone||||"));
    }
    std::vector<std::unique_ptr<BaseHttpApi>> apis;
    int succeeded = 0;
    for (int i = 0; i < 100; ++i) {
        apis.push_back(std::make_unique<BaseHttpApi>());
        apis.back()->SetNetworkManager(m_manager.get());
        apis.back()->SetBaseUrl(plain("/echo?together"));
        connect(apis.back().get(), &BaseHttpApi::apiSucceed, this, [&succeeded] { ++succeeded; });
        apis.back()->Send();
    }
    QTRY_COMPARE(succeeded, 100);

    QSet<QByteArray> alone;
    QSet<QByteArray> all;
    QFile log(file("access.log"));
    QVERIFY(log.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = log.readAll().split('\n');
    for (const QByteArray& line : lines) {
        if (line.contains("alone"))
            alone.insert(line.split(' ').constFirst());
        if (!line.isEmpty())
            all.insert(line.split(' ').constFirst());
    }
    QCOMPARE(alone.size(), 1);
    // Six at a time; on a busy machine Qt has replaced each of them once.
    QVERIFY2(all.size() <= 20, qPrintable(QString::number(all.size())));
}

void tst_ApiNginx::refusesAnUnknownAuthority()
{
    BaseHttpApi api;
    QCOMPARE(call(api, secure("/hello")),
             QStringLiteral("failed 3002 0 %1").arg(int(QNetworkReply::SslHandshakeFailedError)));
    // Not by way of a redirect either.
    BaseHttpApi redirected;
    const QString outcome = call(redirected, plain("/away"));
    QVERIFY2(outcome.startsWith(QStringLiteral("failed 3002 ")) &&
                 outcome.endsWith(QStringLiteral(" %1").arg(int(QNetworkReply::SslHandshakeFailedError))),
             qPrintable(outcome));
}

void tst_ApiNginx::acceptsAConfiguredAuthority()
{
    const DefaultTls tls;
    tls.trust(m_server->authority());
    BaseHttpApi api;
    QCOMPARE(call(api, secure("/hello")), QStringLiteral("succeed hello"));
    BaseHttpApi redirected;
    QCOMPARE(call(redirected, plain("/away")), QStringLiteral("succeed hello"));
}

void tst_ApiNginx::doesNotFollowFromTlsToPlain()
{
    const DefaultTls tls;
    tls.trust(m_server->authority());
    BaseHttpApi api;
    QCOMPARE(call(api, secure("/down")),
             QStringLiteral("failed 3002 302 %1").arg(int(QNetworkReply::InsecureRedirectError)));
}

QTEST_GUILESS_MAIN(tst_ApiNginx)
#include "tst_ApiNginx.moc"

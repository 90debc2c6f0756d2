// SPDX-License-Identifier: MIT
// Faults of servers, disks and lists: which are tried again, how they are reported, what is left on disk.
#include "EngineTest.h"

#include <QProcess>
#include <QtTest>

#include <memory>

using namespace EngineTesting;

class tst_VantorEngineFaults : public EngineTest
{
    Q_OBJECT
private slots:
    void retriesAfterAFault_data();
    void retriesAfterAFault();
    void givesUpAfterTheLimit();
    void failsForGoodOnPermanentStatuses_data();
    void failsForGoodOnPermanentStatuses();
    void failsWhenTheServerIsGone();
    void goesThroughTheConfiguredProxy_data();
    void goesThroughTheConfiguredProxy();
    void tunnelsThroughTheConfiguredProxy();
#ifndef Q_OS_WIN
    void goesThroughTheSystemsProxy();
#endif
    void reportsAnUnreachableProxy_data();
    void reportsAnUnreachableProxy();
    void noticesWrongLengths_data();
    void noticesWrongLengths();
    void noticesAStall();

    void followsRedirects_data();
    void followsRedirects();
    void endsRedirectLoops();
    void refusesOtherSchemes_data();
    void refusesOtherSchemes();
#ifndef Q_OS_WIN
    void verifiesCertificates();
#endif

    void reportsAChecksumMismatch();
    void goesOnWithOtherFilesAfterAFailure();
    void refusesNamesThatLeaveTheFolder_data();
    void refusesNamesThatLeaveTheFolder();
    void refusesPathsThatLeaveTheRoot();
    void refusesThePlaceOfAPartialFile();
    void reportsFilesThatCannotBeWritten_data();
    void reportsFilesThatCannotBeWritten();
    void reportsAFullDisk();
    void refusesWhatTheDiskHasNoRoomFor();
    void waitsAsTheServerAsks();
#ifdef Q_OS_WIN
    void waitsForAnotherProgram();
#endif

private:
    static void useProxy(const QByteArray& address)
    {
        engine().initEnv("", ("{\"proxy\":\"" + address + "\"}").constData(), 4, 0);
    }
};

void tst_VantorEngineFaults::retriesAfterAFault_data()
{
    QTest::addColumn<int>("fault");
    QTest::addColumn<int>("times");
    QTest::newRow("503") << 0 << 2;
    QTest::newRow("429") << 1 << 2;
    QTest::newRow("408") << 2 << 2;
    QTest::newRow("closed without an answer") << 3 << 4;
    QTest::newRow("reset without an answer") << 4 << 4;
    QTest::newRow("closed in the body") << 5 << 2;
    QTest::newRow("reset in the body") << 6 << 2;
    QTest::newRow("wrong length") << 7 << 2;
    QTest::newRow("no HTTP") << 8 << 4;
    QTest::newRow("chunked, closed in the body") << 9 << 2;
}

void tst_VantorEngineFaults::retriesAfterAFault()
{
    QFETCH(int, fault);
    QFETCH(int, times);
    const QByteArray content = sampleContent(300000);
    const HttpResponse faults[] = {HttpResponse::withStatus(503, "busy"),
                                   HttpResponse::withStatus(429),
                                   HttpResponse::withStatus(408),
                                   HttpResponse::nothing(Fault::Close),
                                   HttpResponse::nothing(Fault::Reset),
                                   HttpResponse::ok(content).closeAfter(1000),
                                   HttpResponse::ok(content).resetAfter(1000),
                                   HttpResponse::ok(content.left(5000)),
                                   HttpResponse::raw("garbage\r\n\r\n"),
                                   HttpResponse::ok(content).chunked(700).closeAfter(70000)};
    // Qt sends a request again by itself when a connection dies before the answer: enough faults for its patience.
    for (int i = 0; i < times; ++i) {
        m_server->once("/a", faults[fault]);
    }
    m_server->serve("/a", content);
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    const QVector<QJsonObject> texts = engine().fileTexts(guid, url("/a"));
    int failures = 0;
    for (const QJsonObject& each : texts) {
        if (text(each, "status") != QLatin1String("Failed")) {
            continue;
        }
        ++failures;
        QVERIFY(!each.value(QStringLiteral("completed")).toBool());
        QCOMPARE(number(each, "current_retry_times"), failures);
        QVERIFY(number(member(each, "url_net_error"), "error_code") > 0);
        QVERIFY(!text(member(each, "url_net_error"), "message").isEmpty());
    }
    QVERIFY(failures > 0);
    const QJsonObject file = engine().lastItem(guid, url("/a"));
    QCOMPARE(number(file, "current_retry_times"), failures);
    QCOMPARE(bytesDone(file), content.size());
    QVERIFY(!file.contains(QStringLiteral("url_net_error")));
}

void tst_VantorEngineFaults::givesUpAfterTheLimit()
{
    m_server->always("/a", HttpResponse::withStatus(503).addHeader("X-Why", "busy"));
    const QString guid = engine().submit({item("/a", 1000, {})});
    TRY_END(guid, "Failed");
    QCOMPARE(m_server->requestCount("/a"), 4); // the first and three retries
    const QStringList expected = words("Start Preparing Prepared Failed Start Failed Start Failed Start Failed");
    QCOMPARE(engine().fileStatuses(guid, url("/a")), expected);
    const QVector<QJsonObject> texts = engine().fileTexts(guid, url("/a"));
    QVERIFY(!texts.at(7).value(QStringLiteral("completed")).toBool());
    QVERIFY(texts.at(9).value(QStringLiteral("completed")).toBool());
    QCOMPARE(number(texts.at(9), "current_retry_times"), 3);
    // The final group callback tells as much.
    const QJsonObject file = engine().lastItem(guid, url("/a"));
    QCOMPARE(text(file, "status"), QStringLiteral("Failed"));
    QVERIFY(file.value(QStringLiteral("completed")).toBool());
    QCOMPARE(number(member(file, "url_net_error"), "error_code"), 503);
    QCOMPARE(number(member(file, "url_response_info"), "http_status_code"), 503);
    QCOMPARE(text(member(member(file, "url_response_info"), "http_header"), "X-Why"), QStringLiteral("busy"));
    QCOMPARE(engine().groupStatuses(guid), words("Pending Start Progressing Failed"));
}

void tst_VantorEngineFaults::failsForGoodOnPermanentStatuses_data()
{
    QTest::addColumn<int>("status");
    for (const int status : {400, 401, 403, 404, 410, 501}) {
        QTest::newRow(QByteArray::number(status).constData()) << status;
    }
}

void tst_VantorEngineFaults::failsForGoodOnPermanentStatuses()
{
    QFETCH(int, status);
    makeFile(QStringLiteral("a_tmp"), "part");
    m_server->always("/a", HttpResponse::withStatus(status, "<html>no</html>"));
    const QString guid = engine().submit({item("/a", 1000, {})});
    TRY_END(guid, "Failed");
    QCOMPARE(m_server->requestCount("/a"), 1);
    const QJsonObject last = engine().fileTexts(guid, url("/a")).constLast();
    QCOMPARE(text(last, "status"), QStringLiteral("Failed"));
    QVERIFY(last.value(QStringLiteral("completed")).toBool());
    QCOMPARE(number(member(last, "url_response_info"), "http_status_code"), status);
    QCOMPARE(number(member(last, "url_net_error"), "error_code"), status);
    QCOMPARE(number(last, "current_retry_times"), 0);
    QCOMPARE(contentOf(QStringLiteral("a_tmp")), QByteArray("part")); // an error page is no content
    QVERIFY(!QFile::exists(at(QStringLiteral("a"))));
}

void tst_VantorEngineFaults::failsWhenTheServerIsGone()
{
    const QJsonObject file = item("/a", 1000, {});
    m_server->stop();
    const QString guid = engine().submit({file});
    TRY_END(guid, "Failed");
    const QJsonObject last = engine().fileTexts(guid, url("/a")).constLast();
    QCOMPARE(number(member(last, "url_net_error"), "error_code"), 1); // refused
    QCOMPARE(number(member(last, "url_net_error"), "internal_error_code"), 1);
    QVERIFY(!last.contains(QStringLiteral("url_response_info")));
    QCOMPARE(number(last, "current_retry_times"), 3);
}

void tst_VantorEngineFaults::goesThroughTheConfiguredProxy_data()
{
    QTest::addColumn<QByteArray>("target");
    QTest::newRow("another server") << QByteArray("http://files.invalid/a");
    QTest::newRow("this machine") << QByteArray("http://127.0.0.1:1/a");
    QTest::newRow("this machine by name") << QByteArray("http://localhost:1/a");
}

void tst_VantorEngineFaults::goesThroughTheConfiguredProxy()
{
    QFETCH(QByteArray, target);
    const QByteArray content = sampleContent(100000);
    m_server->serve(target, content);
    useProxy(url("").toUtf8());
    QJsonObject file = itemFor("/a", content);
    file.insert(QStringLiteral("url"), QString::fromLatin1(target));
    TRY_END(engine().submit({file}), "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(m_server->requestCount(target), 1);
    QCOMPARE(m_server->requests().constFirst().header("Host"), QUrl(QString::fromLatin1(target)).authority().toUtf8());
}

void tst_VantorEngineFaults::tunnelsThroughTheConfiguredProxy()
{
    useProxy(url("").toUtf8());
    QJsonObject file = item("/a", 1000, {});
    file.insert(QStringLiteral("url"), QStringLiteral("https://files.invalid/a"));
    TRY_END(engine().submit({file}), "Failed");
    QCOMPARE(m_server->requests().constFirst().method, QByteArray("CONNECT"));
    QCOMPARE(m_server->requests().constFirst().target, QByteArray("files.invalid:443"));
}

#ifndef Q_OS_WIN
/// The system is told of a proxy by its environment, as a process of its own has it.
void tst_VantorEngineFaults::goesThroughTheSystemsProxy()
{
    const QByteArray target = "http://files.invalid/a";
    const QByteArray content = sampleContent(100000);
    m_server->serve(target, content);
    QJsonObject file = itemFor("/a", content);
    file.insert(QStringLiteral("url"), QString::fromLatin1(target));
    const QJsonObject list{{QStringLiteral("download_items"), QJsonArray{file}}};
    QProcess host;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("http_proxy"), url(""));
    environment.remove(QStringLiteral("no_proxy"));
    host.setProcessEnvironment(environment);
    host.start(QStringLiteral(ENGINE_HOST), hostArguments(QJsonDocument(list).toJson(), {}));
    QVERIFY(host.waitForFinished(30000));
    QVERIFY2(host.exitCode() == 0, host.readAllStandardError());
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(m_server->requestCount(target), 1);
}
#endif

void tst_VantorEngineFaults::reportsAnUnreachableProxy_data()
{
    QTest::addColumn<QString>("proxy");
    QTest::addColumn<QString>("address");
    QTest::addColumn<int>("code");
    const QString plain = QStringLiteral("http://files.invalid/a");
    const QString encrypted = QStringLiteral("https://files.invalid/a");
    QTest::newRow("refuses") << QString() << plain << 101;
    QTest::newRow("refuses, tunnel") << QString() << encrypted << 199;
    QTest::newRow("unknown") << QStringLiteral("http://proxy.invalid:3128") << plain << 103;
    QTest::newRow("unknown, tunnel") << QStringLiteral("http://proxy.invalid:3128") << encrypted << 103;
}

void tst_VantorEngineFaults::reportsAnUnreachableProxy()
{
    QFETCH(QString, proxy);
    QFETCH(QString, address);
    QFETCH(int, code);
    QJsonObject file = item("/a", 1000, {});
    file.insert(QStringLiteral("url"), address);
    useProxy(proxy.isEmpty() ? url("").toUtf8() : proxy.toUtf8());
    m_server->stop();
    const QString guid = engine().submit({file});
    TRY_END(guid, "Failed");
    const QJsonObject last = engine().fileTexts(guid, address).constLast();
    QCOMPARE(number(member(last, "url_net_error"), "error_code"), code);
    QVERIFY(number(member(last, "url_net_error"), "internal_error_code") > 0);
    QCOMPARE(number(last, "current_retry_times"), 3); // it may come back
}

void tst_VantorEngineFaults::noticesWrongLengths_data()
{
    QTest::addColumn<int>("served");
    QTest::addColumn<bool>("told");
    QTest::addColumn<int>("code");
    QTest::newRow("longer, told") << 1001 << true << 900;
    QTest::newRow("shorter, told") << 999 << true << 900;
    QTest::newRow("longer, not told") << 1001 << false << 900;
    QTest::newRow("shorter, not told") << 999 << false << 901;
}

void tst_VantorEngineFaults::noticesWrongLengths()
{
    QFETCH(int, served);
    QFETCH(bool, told);
    QFETCH(int, code);
    HttpResponse response = HttpResponse::ok(sampleContent(served));
    if (!told) {
        response.chunked(400);
    }
    m_server->always("/a", response);
    QJsonObject file = item("/a", 1000, {});
    file.insert(QStringLiteral("disable_resume_download"), true);
    const QString guid = engine().submit({file});
    TRY_END(guid, "Failed");
    const QJsonObject last = engine().lastItem(guid, url("/a"));
    QCOMPARE(number(member(last, "url_net_error"), "error_code"), code);
    QVERIFY(!QFile::exists(at(QStringLiteral("a"))));
    QVERIFY(QFileInfo(at(QStringLiteral("a_tmp"))).size() <= 1000);
}

void tst_VantorEngineFaults::noticesAStall()
{
    QByteArray config(kTestConfig);
    config.replace("30000", "1000"); // both clocks; answers of a busy machine take a while, too
    engine().initEnv("", config.constData(), 4, 0);
    const QByteArray content = sampleContent(3000);
    m_server->once("/a", HttpResponse::nothing(Fault::Stall));
    m_server->once("/a", HttpResponse::ok(content).stallAfter(1000));
    m_server->serve("/a", content);
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QVector<qint64> codes;
    for (const QJsonObject& each : engine().fileTexts(guid, url("/a"))) {
        if (text(each, "status") == QLatin1String("Failed")) {
            codes.append(number(member(each, "url_net_error"), "error_code"));
        }
    }
    QCOMPARE(codes, QVector<qint64>({906, 903}));
    QCOMPARE(m_server->requests("/a").value(2).header("Range"), QByteArray("bytes=1000-"));
}

void tst_VantorEngineFaults::followsRedirects_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<bool>("absolute");
    for (const int status : {301, 302, 303, 307, 308}) {
        QTest::newRow(qPrintable(QStringLiteral("%1 relative").arg(status))) << status << false;
        QTest::newRow(qPrintable(QStringLiteral("%1 absolute").arg(status))) << status << true;
    }
}

void tst_VantorEngineFaults::followsRedirects()
{
    QFETCH(int, status);
    QFETCH(bool, absolute);
    const QByteArray content = sampleContent(3000);
    makePartial("/a", content.left(1000), content.size(), "\"v1\"");
    m_server->always("/a", HttpResponse::redirect(status, absolute ? url("/b").toUtf8() : QByteArray("b")));
    m_server->serve("/b", content);
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(m_server->requests("/b").value(0).header("Range"), QByteArray("bytes=1000-"));
    QCOMPARE(text(engine().lastItem(guid, url("/a")), "url"), url("/a"));
    const QJsonObject last = engine().fileTexts(guid, url("/a")).constLast();
    QCOMPARE(number(member(last, "url_response_info"), "http_status_code"), 206);
    QCOMPARE(number(last, "current_retry_times"), 0);
}

void tst_VantorEngineFaults::endsRedirectLoops()
{
    m_server->always("/a", HttpResponse::redirect(302, "/b"));
    m_server->always("/b", HttpResponse::redirect(302, "/a"));
    const QString guid = engine().submit({item("/a", 1000, {})});
    TRY_END(guid, "Failed");
    QVERIFY(m_server->requestCount() > 10);
    QCOMPARE(engine().fileStatuses(guid, url("/a")), words("Start Preparing Prepared Failed")); // not tried again
    QCOMPARE(number(member(engine().lastItem(guid, url("/a")), "url_net_error"), "error_code"), 10);
}

void tst_VantorEngineFaults::refusesOtherSchemes_data()
{
    QTest::addColumn<QString>("url");
    QTest::newRow("empty") << QString();
    QTest::newRow("file") << QStringLiteral("file:///etc/hostname");
    QTest::newRow("ftp") << QStringLiteral("ftp://127.0.0.1/a");
    QTest::newRow("no host") << QStringLiteral("http:///a");
    QTest::newRow("no URL") << QStringLiteral("just text");
}

void tst_VantorEngineFaults::refusesOtherSchemes()
{
    QFETCH(QString, url);
    QJsonObject file = item("/a", 1000, {});
    file.insert(QStringLiteral("url"), url);
    const QString guid = engine().submit({file});
    TRY_END(guid, "Failed");
    const QJsonObject last = engine().lastItem(guid, url);
    QCOMPARE(number(member(last, "url_net_error"), "error_code"), 904);
    QVERIFY(last.value(QStringLiteral("completed")).toBool());
    QVERIFY(QDir(m_folder->path()).isEmpty());
}

#ifndef Q_OS_WIN
void tst_VantorEngineFaults::verifiesCertificates()
{
    QProcess openssl;
    openssl.setWorkingDirectory(m_folder->path());
    openssl.start(QStringLiteral("openssl"),
                  {QStringLiteral("req"), QStringLiteral("-x509"), QStringLiteral("-newkey"),
                   QStringLiteral("rsa:2048"), QStringLiteral("-nodes"), QStringLiteral("-days"), QStringLiteral("2"),
                   QStringLiteral("-subj"), QStringLiteral("/CN=127.0.0.1"), QStringLiteral("-addext"),
                   QStringLiteral("subjectAltName=IP:127.0.0.1"), QStringLiteral("-keyout"), QStringLiteral("key.pem"),
                   QStringLiteral("-out"), QStringLiteral("cert.pem")});
    QVERIFY(openssl.waitForFinished());
    QCOMPARE(openssl.exitCode(), 0);
    m_server = std::make_unique<ScriptedHttpServer>(QSslCertificate(contentOf(QStringLiteral("cert.pem"))),
                                                    QSslKey(contentOf(QStringLiteral("key.pem")), QSsl::Rsa));
    const QByteArray content = sampleContent(100000);
    m_server->serve("/a", content);
    QVERIFY(url("/a").startsWith(QLatin1String("https://")));
    QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Failed");
    QCOMPARE(number(member(engine().lastItem(guid, url("/a")), "url_net_error"), "error_code"), 6);
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "current_retry_times"), 0);
    QCOMPARE(m_server->requestCount(), 0);

    QByteArray config(kTestConfig);
    config.replace("\"ca_file\":\"\"", "\"ca_file\":\"" + at(QStringLiteral("cert.pem")).toUtf8() + "\"");
    engine().initEnv("", config.constData(), 4, 0);
    guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
}
#endif

void tst_VantorEngineFaults::reportsAChecksumMismatch()
{
    const QByteArray content = sampleContent(3000);
    makeFile(QStringLiteral("a"), "the old file");
    m_server->serve("/a", content);
    const QString guid = engine().submit({item("/a", content.size(), md5Of("something else"))});
    TRY_END(guid, "Failed");
    QCOMPARE(m_server->requestCount(), 2); // once more, and no more after that
    QCOMPARE(engine().fileStatuses(guid, url("/a")),
             words("Start Preparing Prepared Downloading Downloaded Verifying Start Downloading Downloaded Verifying "
                   "Failed"));
    const QJsonObject last = engine().fileTexts(guid, url("/a")).constLast();
    QVERIFY(last.value(QStringLiteral("completed")).toBool());
    QCOMPARE(number(member(last, "checksum_check_error"), "error_code"), 1);
    QVERIFY(text(member(last, "checksum_check_error"), "message").contains(QString::fromLatin1(md5Of(content))));
    QVERIFY(!last.contains(QStringLiteral("url_net_error")));
    QCOMPARE(engine().groupStatuses(guid), words("Pending Start Progressing Verifying Failed"));
    QCOMPARE(contentOf(QStringLiteral("a")), QByteArray("the old file"));
    QVERIFY(!QFile::exists(at(QStringLiteral("a_tmp")))); // the next run must not build on it
}

void tst_VantorEngineFaults::goesOnWithOtherFilesAfterAFailure()
{
    const QByteArray content = sampleContent(3000);
    m_server->serve("/b", content);
    m_server->serve("/c", content);
    const QString guid = engine().submit({item("/a", 1000, {}), itemFor("/b", content), itemFor("/c", content)});
    TRY_END(guid, "Failed");
    QCOMPARE(text(engine().lastItem(guid, url("/a")), "status"), QStringLiteral("Failed"));
    QCOMPARE(text(engine().lastItem(guid, url("/b")), "status"), QStringLiteral("Success"));
    QCOMPARE(text(engine().lastItem(guid, url("/c")), "status"), QStringLiteral("Success"));
    QCOMPARE(contentOf(QStringLiteral("c")), content);
}

void tst_VantorEngineFaults::refusesNamesThatLeaveTheFolder_data()
{
    QTest::addColumn<QString>("name");
    for (const char* name : {".", "..", "../up", "..\\up", "a/b", "a\\b", "/abs", "C:drive", "a:stream"}) {
        QTest::newRow(name) << QString::fromLatin1(name);
    }
    QTest::newRow("zero character") << QStringLiteral("a") + QChar(0) + QStringLiteral("b");
#ifdef Q_OS_WIN
    for (const char* name : {"NUL", "con.txt", "COM1", "dot.", "blank "}) {
        QTest::newRow(name) << QString::fromLatin1(name);
    }
#endif
}

void tst_VantorEngineFaults::refusesNamesThatLeaveTheFolder()
{
    QFETCH(QString, name);
    const QString inner = at(QStringLiteral("inner"));
    QVERIFY(QDir().mkpath(inner));
    m_server->serve("/a", "content");
    QJsonObject file = item("/a", 7, {});
    file.insert(QStringLiteral("name"), name);
    file.insert(QStringLiteral("relative_path"), inner + QLatin1Char('/'));
    const QString guid = engine().submit({file});
    TRY_END(guid, "Failed");
    const QJsonObject last = engine().lastItem(guid, url("/a"));
    QCOMPARE(number(member(last, "file_write_error"), "error_code"), 1);
    QVERIFY(!text(member(last, "file_write_error"), "message").isEmpty());
    QCOMPARE(m_server->requestCount(), 0);
    QVERIFY(QDir(inner).isEmpty());
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList(QStringLiteral("inner")));
}

void tst_VantorEngineFaults::refusesPathsThatLeaveTheRoot()
{
    m_server->serve("/a", "content");
    QJsonObject file = item("/a", 7, {});
    file.insert(QStringLiteral("relative_path"), QStringLiteral("in/../../out/"));
    const QString guid = engine().submit({file}, at(QStringLiteral("root")));
    TRY_END(guid, "Failed");
    QCOMPARE(number(member(engine().lastItem(guid, url("/a")), "file_write_error"), "error_code"), 1);
    QVERIFY(QDir(m_folder->path()).isEmpty());
}

void tst_VantorEngineFaults::refusesThePlaceOfAPartialFile()
{
    const QByteArray content = sampleContent(3000);
    const QByteArray other = sampleContent(4000, 2);
    m_server->serve("/a_tmp", other);
    m_server->serve("/a", content);
    const QString guid = engine().submit({itemFor("/a_tmp", other), itemFor("/a", content)});
    TRY_END(guid, "Failed");
    QCOMPARE(number(member(engine().lastItem(guid, url("/a_tmp")), "file_write_error"), "error_code"), 1);
    QCOMPARE(text(engine().lastItem(guid, url("/a")), "status"), QStringLiteral("Success"));
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(m_server->requestCount("/a_tmp"), 0);
}

void tst_VantorEngineFaults::reportsFilesThatCannotBeWritten_data()
{
    QTest::addColumn<QString>("obstacle");
    QTest::addColumn<int>("code");
    QTest::newRow("the folder is a file") << QStringLiteral("file:sub") << 2;
    QTest::newRow("the partial file is a folder") << QStringLiteral("folder:sub/a_tmp") << 3;
    QTest::newRow("the destination is a folder") << QStringLiteral("folder:sub/a") << 6;
}

void tst_VantorEngineFaults::reportsFilesThatCannotBeWritten()
{
    QFETCH(QString, obstacle);
    QFETCH(int, code);
    const QString name = obstacle.section(QLatin1Char(':'), 1);
    if (obstacle.startsWith(QLatin1String("file"))) {
        makeFile(name, "in the way");
    } else {
        QVERIFY(QDir(m_folder->path()).mkpath(name));
    }
    const QByteArray content = sampleContent(3000);
    m_server->serve("/a", content);
    QJsonObject file = item("/a", content.size(), {});
    file.insert(QStringLiteral("relative_path"), QStringLiteral("sub"));
    const QString guid = engine().submit({file}, m_folder->path());
    TRY_END(guid, "Failed");
    const QJsonObject last = engine().fileTexts(guid, url("/a")).constLast();
    QVERIFY(last.value(QStringLiteral("completed")).toBool());
    QCOMPARE(number(member(last, "file_write_error"), "error_code"), code);
    QVERIFY(!text(member(last, "file_write_error"), "message").isEmpty());
    QVERIFY(m_server->requestCount() <= 1); // trying again would not help
}

void tst_VantorEngineFaults::reportsAFullDisk()
{
#ifdef Q_OS_LINUX
    QVERIFY(QFile::link(QStringLiteral("/dev/full"), at(QStringLiteral("a_tmp"))));
    const QByteArray content = sampleContent(3000);
    m_server->serve("/a", content);
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Failed");
    const QJsonObject last = engine().fileTexts(guid, url("/a")).constLast();
    QCOMPARE(number(member(last, "file_write_error"), "error_code"), 5);
    QVERIFY(!QFile::exists(at(QStringLiteral("a"))));
#endif
}

void tst_VantorEngineFaults::refusesWhatTheDiskHasNoRoomFor()
{
    const QByteArray content = sampleContent(3000);
    m_server->serve("/a", content);
    m_server->serve("/b", content);
    const qint64 endless = 1LL << 52;
    const QString guid = engine().submit({item("/a", endless, {}), itemFor("/b", content)});
    TRY_END(guid, "Failed");
    const QJsonObject last = engine().lastItem(guid, url("/a"));
    QCOMPARE(number(member(last, "file_write_error"), "error_code"), 5);
    QVERIFY(last.value(QStringLiteral("completed")).toBool());
    QCOMPARE(m_server->requestCount("/a"), 0); // before the first byte
    QCOMPARE(contentOf(QStringLiteral("b")), content);
}

void tst_VantorEngineFaults::waitsAsTheServerAsks()
{
    QByteArray config(kTestConfig);
    config.replace("\"retry_delay_cap_ms\":20", "\"retry_delay_cap_ms\":700");
    engine().initEnv("", config.constData(), 4, 0);
    const QByteArray content = sampleContent(3000);
    m_server->once("/a", HttpResponse::withStatus(503).addHeader("Retry-After", "3600"));
    m_server->serve("/a", content);
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QVector<qint64> startedMs;
    for (const Event& event : engine().events(Kind::Single, guid)) {
        if (text(event.data, "status") == QLatin1String("Start")) {
            startedMs.append(event.atMs);
        }
    }
    QCOMPARE(startedMs.size(), 2);
    QVERIFY2(startedMs.at(1) - startedMs.at(0) >= 600, "the wait was shorter than asked for"); // and than the cap
}

#ifdef Q_OS_WIN
void tst_VantorEngineFaults::waitsForAnotherProgram()
{
    const QByteArray content = sampleContent(3000);
    makeFile(QStringLiteral("a"), "the old file");
    m_server->serve("/a", content);
    QFile held(at(QStringLiteral("a")));
    QVERIFY(held.open(QIODevice::ReadOnly));
    const QString guid = engine().submit({itemFor("/a", content)});
    QTRY_COMPARE(text(engine().lastItem(guid, url("/a")), "status"), QStringLiteral("Verified"));
    QCOMPARE(held.readAll(), QByteArray("the old file"));
    held.close();
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
}
#endif

QTEST_GUILESS_MAIN(tst_VantorEngineFaults)
#include "tst_VantorEngineFaults.moc"

// SPDX-License-Identifier: MIT
// The remote side of a task, against a scripted server: every kind of answer, and every fault.
#include "LogCapture.h"
#include "ScriptedHttpServer.h"
#include "TaskProbe.h"

#include <QHostInfo>
#include <QMetaMethod>
#include <QNetworkReply>
#include <QtTest>

#include <limits>

#include <memory>

#ifdef Q_OS_WIN
#include <windows.h>
#endif

namespace {

constexpr int kSize = 200000;
constexpr int kEndLimitMs = 30000; // a loop of redirects takes long where the network is emulated
const QByteArray kPath("/dir/file.bin");

QStringList texts(std::initializer_list<const char*> list)
{
    QStringList result;
    for (const char* text : list)
        result << QString::fromLatin1(text);
    return result;
}

// "hello hello ..." of 1000 bytes, compressed with gzip.
QByteArray gzipOf(const QByteArray& content)
{
    // A stored block per 65535 bytes needs no compressor.
    QByteArray stream("\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\xff", 10);
    int offset = 0;
    do {
        const int length = qMin(65535, content.size() - offset);
        const bool last = offset + length == content.size();
        stream += char(last ? 1 : 0);
        for (const int value : {length, ~length & 0xffff}) {
            stream += char(value & 0xff);
            stream += char((value >> 8) & 0xff);
        }
        stream += content.mid(offset, length);
        offset += length;
    } while (offset < content.size());
    quint32 crc = 0xffffffffU;
    for (const char c : content) {
        crc ^= static_cast<quint8>(c);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ ((crc & 1U) ? 0xedb88320U : 0U);
    }
    crc = ~crc;
    for (const quint32 value : {crc, quint32(content.size())}) {
        for (int byte = 0; byte < 4; ++byte)
            stream += char((value >> (8 * byte)) & 0xffU);
    }
    return stream;
}

} // namespace

class tst_DownloadTaskHttp : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void downloadsAFreshFile();
    void checksTheMd5OfADownload();
    void resumesFromTheTemporaryFile();
    void resumeReport_data();
    void resumeReport();
    void downloadsAnEmptyFile_data();
    void downloadsAnEmptyFile();
    void learnsTheSizeFromTheAnswer();
    void learnsTheSizeOfAResumedFile();
    void sendsAcceptEncoding_data();
    void sendsAcceptEncoding();
    void decodesAFreshFile();
    void reportsProgress();
    void claimsOfTheServerDoNotOverflow();
    void preparingARunningTransferLeavesItAlone();
    void preparingEndsATransferOfWhatIsThere_data();
    void preparingEndsATransferOfWhatIsThere();
    void requestsAreMadeAgainAfterOffline();

    void wholeAnswerToARangeStartsOver();
    void misplacedPartIsNotWritten_data();
    void misplacedPartIsNotWritten();
    void partWithoutContentRangeIsTakenByItsLength();

    void shortBodyIsRetried_data();
    void shortBodyIsRetried();
    void shortBodyNeverGetsIntoPlace();
    void resetMidBodyResumes();
    void refusedConnectionFails();
    void networkErrorOnTheFifthAttemptFails();
    void nothingIsAskedForAfterTheFifthAttempt_data();
    void nothingIsAskedForAfterTheFifthAttempt();
    void badStatusWithBody_data();
    void badStatusWithBody();
    void badStatusWithoutBodyIsRetried();
    void noContentIsNoFile();
    void forbiddenWithoutLoginFails();
    void forbiddenAsksForLogin_data();
    void forbiddenAsksForLogin();
    void stallIsRetriedThenFails();
    void stopEndsTheTimer();
    void progressBeginsTheWaitAnew();

    void followsRedirects_data();
    void followsRedirects();
    void redirectLoopEnds();
    void redirectWithoutTargetEnds();
    void redirectOfTheDataRequestIsRetried_data();
    void redirectOfTheDataRequestIsRetried();
    void bodyOfARedirectIsNotWritten();
    void redirectToAnUnsafeNameIsNotWritten();
    void headerRedirectIsFollowed();
    void headerRedirectIsLeftToTheNetwork();
    void headerRedirectDuringATransferSplicesNothing();

    void rangeRefusedWithBody_data();
    void rangeRefusedWithBody();
    void rangeRefusedClosesTheNextRange();
    void rangeRefusedSwitchedOffMeanwhile();
    void rangeRefusedWithoutAnySize();
    void rangeRefusedAlways();
    void rangeRefusedOnTheFifthAttempt();
    void rangeRefusedFileIsComplete();
    void rangeRefusedHeaderStalls();
    void rangeRefusedHeaderForbidden();
    void rangeRefusedWithoutBody();

    void headerTellsTheSize();
    void headerTellsNoSize_data();
    void headerTellsNoSize();
    void headerFindsTheFileComplete();
    void headerIsSkippedForKnownSizes();
    void headerFailures_data();
    void headerFailures();
    void headerForbiddenWithLoginIsSilent();
    void headerCancelledIsSilent();
    void releaseDropsTheHeaderRequest();
    void headerRedirectWithoutTarget();
    void headerThatLiesEnds();
    void headerThatNeverAnswersHoldsNothingUp();

    void errorsCarryTheFailedAnswer();
    void errorsCarryNothingOfEarlierAnswers();
    void looksUpTheHostOncePerRequest();
    void lookUpsOfAHostDoNotPileUp();
    void waitsThirtySecondsForAnAnswer();

    void writeErrors_data();
    void writeErrors();
    void flushErrorIs3006();
    void openErrorIs3003();
    void slowWritesShrinkTheBuffer();
    void fastWritesGrowTheBuffer();
#ifdef Q_OS_LINUX
    void fullDeviceFailsTheWrite();
    void fullDeviceFailsTheFlush();
#endif
#ifdef Q_OS_WIN
    void destinationInUseIs2004();
    void temporaryFileInUseIs2004();
    void temporaryFileInUseFailsInit();
#endif
    void pausedTaskReadsNothing();
    void pauseHoldsALargeBufferBack();
    void deletingInEverySignalIsSafe_data();
    void deletingInEverySignalIsSafe();

private:
    DownloadTaskModel model(qint64 size, const QString& md5 = QString()) const;
    DownloadTaskModel model() const
    {
        return model(kSize);
    }
    QString destination() const
    {
        return m_folder->filePath(QStringLiteral("file.bin"));
    }
    QString temporary() const
    {
        return destination() + QStringLiteral("_tmp");
    }
    QVector<HttpRequest> gets() const
    {
        return withMethod("GET");
    }
    QVector<HttpRequest> withMethod(const QByteArray& method) const;
    static bool start(TestTask& task)
    {
        return task.Init() && task.Start();
    }

    QByteArray m_content;
    std::unique_ptr<ScriptedHttpServer> m_server;
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<Settings> m_settings;
};

#define RUN_TO_END(task, events)                                                                                       \
    QVERIFY(start(task));                                                                                              \
    QTRY_VERIFY_WITH_TIMEOUT((events).ended(), kEndLimitMs)

void tst_DownloadTaskHttp::init()
{
    m_content = someContent(kSize);
    m_server = std::make_unique<ScriptedHttpServer>();
    QVERIFY(m_server->port() != 0);
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    m_settings = std::make_unique<Settings>();
}

void tst_DownloadTaskHttp::cleanup()
{
    m_settings.reset();
    m_folder.reset();
    m_server.reset();
}

DownloadTaskModel tst_DownloadTaskHttp::model(qint64 size, const QString& md5) const
{
    DownloadTaskModel model;
    model.Init(m_server->urlText(kPath), m_folder->path(), md5, QString(), size);
    return model;
}

QVector<HttpRequest> tst_DownloadTaskHttp::withMethod(const QByteArray& method) const
{
    QVector<HttpRequest> result;
    const QVector<HttpRequest> all = m_server->requests();
    for (const HttpRequest& request : all) {
        if (request.method == method)
            result.append(request);
    }
    return result;
}

void tst_DownloadTaskHttp::downloadsAFreshFile()
{
    m_server->serve(kPath, m_content);
    LogCapture log;
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.log, texts({"totalSize 200000", "report 3 start", "report 3 finish", "finish"}));
    QCOMPARE(readFile(destination()), m_content);
    QVERIFY(!QFile::exists(temporary()));
    QCOMPARE(events.written, qint64(kSize));
    QVERIFY(task.IsFinished());
    QCOMPARE(m_server->requestCount(), 1);
    QVERIFY(!gets().first().hasHeader("Range"));
    QCOMPARE(log.count(0, QStringLiteral("download url start: file.bin")), 1);
}

void tst_DownloadTaskHttp::checksTheMd5OfADownload()
{
    m_server->serve(kPath, m_content);
    TestTask task(model(kSize, md5Of(m_content)));
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.withoutFlush(), texts({"totalSize 200000", "md5Started", "md5Stoped", "finish"}));
    QCOMPARE(readFile(destination()), m_content);
}

void tst_DownloadTaskHttp::resumesFromTheTemporaryFile()
{
    m_server->serve(kPath, m_content);
    QVERIFY(writeFile(temporary(), m_content.left(1000)));
    LogCapture log;
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.withoutFlush(), texts({"totalSize 200000", "report 2 result 1", "finish"}));
    QCOMPARE(gets().size(), 1);
    QCOMPARE(gets().first().header("Range"), QByteArray("bytes=1000-"));
    QCOMPARE(events.written, qint64(kSize - 1000));
    QCOMPARE(readFile(destination()), m_content);
    QCOMPARE(log.count(0, QStringLiteral("downloadtask start file:file.binrange: bytes=1000-")), 1);
}

void tst_DownloadTaskHttp::resumeReport_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<qint64>("size");
    QTest::addColumn<int>("group");
    QTest::newRow("size from the server") << QStringLiteral("header") << qint64(kSize) << 0;
    QTest::newRow("size from the description") << QStringLiteral("resource") << qint64(kSize) << 1;
    QTest::newRow("header request forced") << QStringLiteral("resource") << qint64(0) << 0;
}

void tst_DownloadTaskHttp::resumeReport()
{
    QFETCH(QString, source);
    QFETCH(qint64, size);
    NetlibControl::Instance()->SetPkgSizeInfo(source);
    m_server->serve(kPath, m_content);
    QVERIFY(writeFile(temporary(), m_content.left(1000)));
    TestTask task(model(size));
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    const QMap<QString, QVariant> map = events.lastReport(2).GetReportMap();
    QCOMPARE(map.keys(), texts({"group", "result", "url"}));
    QCOMPARE(map.value(QStringLiteral("url")).toString(), m_server->urlText(kPath));
    QCOMPARE(map.value(QStringLiteral("result")).toInt(), 1);
    QTEST(map.value(QStringLiteral("group")).toInt(), "group");
}

void tst_DownloadTaskHttp::downloadsAnEmptyFile_data()
{
    QTest::addColumn<QString>("md5");
    QTest::newRow("without MD5") << QString();
    QTest::newRow("with MD5") << QStringLiteral("d41d8cd98f00b204e9800998ecf8427e");
}

void tst_DownloadTaskHttp::downloadsAnEmptyFile()
{
    QFETCH(QString, md5);
    m_server->serve(kPath, QByteArray());
    TestTask task(model(0, md5));
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.log.count(QStringLiteral("finish")), 1);
    QVERIFY(events.errors.isEmpty());
    QCOMPARE(readFile(destination()), QByteArray());
    QVERIFY(!QFile::exists(temporary()));
}

void tst_DownloadTaskHttp::learnsTheSizeFromTheAnswer()
{
    m_server->on(kPath, [this](const HttpRequest& request) {
        if (request.method == "HEAD")
            return HttpResponse::nothing(HttpResponse::Fault::Stall);
        return HttpResponse::content(request, m_content);
    });
    TestTask task(model(-1));
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.withoutFlush(), texts({"totalSize 200000", "finish"}));
    QCOMPARE(task.GetTotalSize(), qint64(kSize));
    QCOMPARE(readFile(destination()), m_content);
}

// The Content-Length of a part is not the size of the file.
void tst_DownloadTaskHttp::learnsTheSizeOfAResumedFile()
{
    QVERIFY(writeFile(temporary(), m_content.left(150000)));
    m_server->on(kPath, [this](const HttpRequest& request) {
        if (request.method == "HEAD")
            return HttpResponse::nothing(HttpResponse::Fault::Stall);
        if (m_server->requestCount() < 4)
            return HttpResponse::content(request, m_content).resetAfter(1000);
        return HttpResponse::content(request, m_content);
    });
    TestTask task(model(0));
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QVERIFY(events.log.contains(QStringLiteral("totalSize 200000")));
    QVERIFY(!events.log.contains(QStringLiteral("totalSize 50000")));
    QCOMPARE(readFile(destination()), m_content);
}

void tst_DownloadTaskHttp::sendsAcceptEncoding_data()
{
    QTest::addColumn<int>("strategy");
    QTest::addColumn<bool>("resumed");
    QTest::addColumn<QByteArray>("header");
    QTest::newRow("strategy 3, fresh") << 3 << false << QByteArray("gzip, deflate");
    QTest::newRow("strategy 3, resumed") << 3 << true << QByteArray("identity");
    // The network layer's own header.
    QTest::newRow("strategy 1, resumed") << 1 << true << QByteArray("gzip, deflate");
}

void tst_DownloadTaskHttp::sendsAcceptEncoding()
{
    QFETCH(int, strategy);
    QFETCH(bool, resumed);
    NetlibControl::Instance()->SetFlushOrGzipStrategy(strategy);
    m_server->serve(kPath, m_content);
    if (resumed)
        QVERIFY(writeFile(temporary(), m_content.left(1)));
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QTEST(gets().first().header("Accept-Encoding"), "header");
    QCOMPARE(readFile(destination()), m_content);
}

void tst_DownloadTaskHttp::decodesAFreshFile()
{
    NetlibControl::Instance()->SetFlushOrGzipStrategy(3);
    m_server->always(kPath, HttpResponse::ok(gzipOf(m_content)).addHeader("Content-Encoding", "gzip"));
    TestTask task(model(kSize, md5Of(m_content)));
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.log.last(), QStringLiteral("finish"));
    QCOMPARE(readFile(destination()), m_content);
}

void tst_DownloadTaskHttp::reportsProgress()
{
    m_server->serve(kPath, m_content);
    QVERIFY(writeFile(temporary(), m_content.left(1000)));
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QVERIFY(!events.progress.isEmpty());
    QCOMPARE(events.progress.last(), qMakePair(qint64(kSize - 1000), qint64(kSize)));
}

// The largest length that the network layer takes, on top of what is there.
void tst_DownloadTaskHttp::claimsOfTheServerDoNotOverflow()
{
    constexpr qint64 kLargest = std::numeric_limits<qint64>::max();
    m_server->on(kPath, [this](const HttpRequest& request) {
        // The header request tells nothing: its answer could come after the data and take the size back.
        if (request.method == "HEAD")
            return HttpResponse::nothing(HttpResponse::Fault::Stall);
        return HttpResponse::withStatus(206, m_content.mid(1000))
            .addHeader("Content-Range", "bytes 1000-1999/*")
            .claimLength(kLargest)
            .rate(kSize);
    });
    QVERIFY(writeFile(temporary(), m_content.left(1000)));
    TestTask task(model(0));
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    task.Start();
    QTRY_VERIFY(!events.progress.isEmpty());
    task.Stop();
    QCOMPARE(task.GetTotalSize(), kLargest);
    QCOMPARE(events.progress.first().second, kLargest);
}

// As the start of a group that runs does.
void tst_DownloadTaskHttp::preparingARunningTransferLeavesItAlone()
{
    m_server->always(kPath, HttpResponse::ok(m_content).rate(2 * kSize));
    TestTask task(model());
    bool again = false;
    connect(&task, &DownloadTask::dataWritten, this, [&] {
        if (!again)
            QVERIFY(task.Init());
        again = true;
    });
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QVERIFY(again);
    QCOMPARE(m_server->requestCount(), 1);
    // Counted from where the request began.
    QCOMPARE(events.progress.last(), qMakePair(qint64(kSize), qint64(kSize)));
    QCOMPARE(readFile(destination()), m_content);
}

void tst_DownloadTaskHttp::preparingEndsATransferOfWhatIsThere_data()
{
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<bool>("written"); // some of the body has arrived
    QTest::newRow("destination, at once") << QString() << false;
    QTest::newRow("destination, in the body") << QString() << true;
    QTest::newRow("left-over, at once") << QStringLiteral("_check") << false;
}

void tst_DownloadTaskHttp::preparingEndsATransferOfWhatIsThere()
{
    QFETCH(QString, suffix);
    QFETCH(bool, written);
    m_server->always(kPath, HttpResponse::ok(m_content).stallAfter(kSize / 2));
    TestTask task(model());
    const TaskEvents events(&task);
    QVERIFY(task.Start());
    if (written)
        QTRY_COMPARE(events.written, qint64(kSize / 2));
    QVERIFY(writeFile(destination() + suffix, "there already"));
    QVERIFY(task.Init());
    QCOMPARE(task.GetStatus(), int(DownloadTask::Finished));
    QVERIFY(!task.DataReply());
    QCOMPARE(events.log.count(QStringLiteral("finish")), 1);
    // No connection that is on its way comes after this.
    m_server->stop();
    QTRY_COMPARE(m_server->openConnections(), 0);
    QCOMPARE(events.log.last(), QStringLiteral("finish"));
    QCOMPARE(task.GetStatus(), int(DownloadTask::Finished));
    QCOMPARE(readFile(destination()), QByteArray("there already"));
}

void tst_DownloadTaskHttp::requestsAreMadeAgainAfterOffline()
{
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    m_server->serve(kPath, m_content);
    TestTask task(model(0));
    task.DataNetwork()->setNetworkAccessible(QNetworkAccessManager::NotAccessible);
    task.HeaderNetwork()->setNetworkAccessible(QNetworkAccessManager::NotAccessible);
    QCOMPARE(task.DataNetwork()->networkAccessible(), QNetworkAccessManager::NotAccessible);
    QVector<QNetworkAccessManager::NetworkAccessibility> during;
    connect(&task, &DownloadTask::dataWritten, this,
            [&] { during << task.HeaderNetwork()->networkAccessible() << task.DataNetwork()->networkAccessible(); });
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    // The end of the transfer would take back a header request that has not gone out.
    QTRY_COMPARE(withMethod("HEAD").size(), 1);
    QVERIFY(task.Start());
    QTRY_VERIFY_WITH_TIMEOUT(events.ended(), kEndLimitMs);
    QCOMPARE(events.log.last(), QStringLiteral("finish"));
    QVERIFY(!during.isEmpty());
    QVERIFY(!during.contains(QNetworkAccessManager::NotAccessible));
    QT_WARNING_POP
}

void tst_DownloadTaskHttp::wholeAnswerToARangeStartsOver()
{
    m_server->always(kPath, HttpResponse::ok(m_content));
    QVERIFY(writeFile(temporary(), QByteArray(1000, 'x')));
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(gets().first().header("Range"), QByteArray("bytes=1000-"));
    QCOMPARE(events.log.last(), QStringLiteral("finish"));
    QCOMPARE(readFile(destination()), m_content);
}

void tst_DownloadTaskHttp::misplacedPartIsNotWritten_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<QByteArray>("value");
    QTest::newRow("earlier") << QByteArray("Content-Range") << QByteArray("bytes 0-199999/200000");
    QTest::newRow("later") << QByteArray("Content-Range") << QByteArray("bytes 1001-199999/200000");
    QTest::newRow("not readable") << QByteArray("Content-Range") << QByteArray("bytes what");
    QTest::newRow("missing, wrong length") << QByteArray("X-Nothing") << QByteArray("1");
    QTest::newRow("several parts") << QByteArray("Content-Type") << QByteArray("multipart/byteranges; boundary=x");
}

void tst_DownloadTaskHttp::misplacedPartIsNotWritten()
{
    QFETCH(QByteArray, header);
    QFETCH(QByteArray, value);
    m_server->once(kPath, HttpResponse::withStatus(206, m_content).addHeader(header, value));
    m_server->serve(kPath, m_content);
    QVERIFY(writeFile(temporary(), m_content.left(1000)));
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.withoutFlush(),
             texts({"totalSize 200000", "report 2 result 1", "taskRestart 3010", "report 2 result 1", "finish"}));
    QCOMPARE(events.written, qint64(kSize - 1000));
    QCOMPARE(readFile(destination()), m_content);
}

void tst_DownloadTaskHttp::partWithoutContentRangeIsTakenByItsLength()
{
    m_server->always(kPath, HttpResponse::withStatus(206, m_content.mid(1000)));
    QVERIFY(writeFile(temporary(), m_content.left(1000)));
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(readFile(destination()), m_content);
    QCOMPARE(gets().size(), 1);
}

void tst_DownloadTaskHttp::shortBodyIsRetried_data()
{
    QTest::addColumn<bool>("knownByServer");
    QTest::newRow("the server claims the whole length") << true;
    QTest::newRow("the server claims what it sends") << false;
}

void tst_DownloadTaskHttp::shortBodyIsRetried()
{
    QFETCH(bool, knownByServer);
    m_server->once(kPath, knownByServer ? HttpResponse::ok(m_content).closeAfter(60000)
                                        : HttpResponse::ok(m_content.left(60000)));
    m_server->serve(kPath, m_content);
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.restarts.size(), 1);
    QCOMPARE(events.restarts.first().value(QStringLiteral("error_code")).toInt(), 3010);
    QCOMPARE(events.log.last(), QStringLiteral("finish"));
    QCOMPARE(readFile(destination()), m_content);
    if (!knownByServer) {
        QCOMPARE(gets().last().header("Range"), QByteArray("bytes=60000-"));
        QCOMPARE(events.restarts.first().value(QStringLiteral("error_string")).toString(),
                 QStringLiteral("status code: 200, error code: 0, received 60000 of 200000 bytes"));
    }
}

void tst_DownloadTaskHttp::shortBodyNeverGetsIntoPlace()
{
    m_server->on(kPath, [this](const HttpRequest& request) {
        return request.rangeStart() < 0
                   ? HttpResponse::ok(m_content.left(1000)).closeConnection()
                   : HttpResponse::withStatus(206, QByteArray()).addHeader("Content-Range", "bytes 1000-199999/200000");
    });
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.restarts.size(), 4);
    QCOMPARE(events.errors.size(), 1);
    QCOMPARE(events.log.last(), QStringLiteral("error 3010 206 0"));
    QVERIFY(!QFile::exists(destination()));
    QCOMPARE(readFile(temporary()), m_content.left(1000));
    // The same task succeeds when the server is well.
    m_server->serve(kPath, m_content);
    task.SetRetryTimes(1);
    QVERIFY(start(task));
    QTRY_VERIFY(task.IsFinished());
    QCOMPARE(readFile(destination()), m_content);
}

void tst_DownloadTaskHttp::resetMidBodyResumes()
{
    m_server->once(kPath, HttpResponse::ok(m_content).resetAfter(120000));
    m_server->serve(kPath, m_content);
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    // A reset that overtakes the data is a request that the network layer repeats by itself.
    QVERIFY(events.restarts.size() <= 1);
    QVERIFY(gets().size() >= 2);
    QCOMPARE(events.log.last(), QStringLiteral("finish"));
    QCOMPARE(readFile(destination()), m_content);
}

void tst_DownloadTaskHttp::refusedConnectionFails()
{
    const DownloadTaskModel described = model();
    m_server->stop();
    LogCapture log;
    TestTask task(described);
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.withoutFlush(), texts({"totalSize 200000", "taskRestart 3010", "taskRestart 3010",
                                           "taskRestart 3010", "taskRestart 3010", "error 3010 0 1"}));
    const QString message = QStringLiteral("status code: 0, error code: 1, ");
    const QString error = events.errors.first().GetErrorString();
    QVERIFY(error.startsWith(message));
    QVERIFY(error.size() > message.size());
    QCOMPARE(task.GetStatus(), int(DownloadTask::Stopped));
    QCOMPARE(
        log.count(0, QStringLiteral("onDownloadFinished error: 1%1, status code: 0").arg(error.mid(message.size()))),
        5);
}

void tst_DownloadTaskHttp::networkErrorOnTheFifthAttemptFails()
{
    m_server->always(kPath, HttpResponse::nothing(HttpResponse::Fault::Reset));
    TestTask task(model());
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    task.SetRetryTimes(5);
    QVERIFY(task.Start());
    QTRY_VERIFY_WITH_TIMEOUT(events.ended(), kEndLimitMs);
    QVERIFY(events.restarts.isEmpty());
    QCOMPARE(events.errors.first().GetErrorCode(), 3010);
}

void tst_DownloadTaskHttp::nothingIsAskedForAfterTheFifthAttempt_data()
{
    QTest::addColumn<int>("status");
    QTest::newRow("redirect") << 302;
    QTest::newRow("range refused") << 416;
    QTest::newRow("login required") << 403;
}

// Neither another place nor a size or a login: what ends the last attempt ends the run.
void tst_DownloadTaskHttp::nothingIsAskedForAfterTheFifthAttempt()
{
    QFETCH(int, status);
    NetlibControl::Instance()->SetIsDownloadWithLogin(true);
    NetlibControl::Instance()->SetSwitchFor416(true);
    m_server->always(
        kPath,
        HttpResponse::withStatus(status).addHeader("Location", "/other").addHeader("Content-Range", "bytes */5000"));
    QVERIFY(writeFile(temporary(), m_content.left(1000)));
    TestTask task(model());
    task.manualRedirects = true;
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    task.SetRetryTimes(5);
    QVERIFY(task.Start());
    QTRY_VERIFY_WITH_TIMEOUT(events.ended(), kEndLimitMs);
    const int netError = events.errors.isEmpty() ? -1 : events.errors.first().GetNetErrorCode();
    QCOMPARE(events.log, texts({"totalSize 200000", "report 2 result 1", "report 3 start", "report 3 finish"})
                             << QStringLiteral("error 3010 %1 %2").arg(status).arg(netError));
    QVERIFY(events.errors.first().GetErrorString().startsWith(
        QStringLiteral("status code: %1, error code: %2, ").arg(status).arg(netError)));
    QCOMPARE(task.GetTaskModel().url, m_server->url(kPath));
    QCOMPARE(task.GetTotalSize(), qint64(kSize));
    QCOMPARE(m_server->requestCount(), 1);
}

void tst_DownloadTaskHttp::badStatusWithBody_data()
{
    QTest::addColumn<int>("status");
    QTest::newRow("400") << 400;
    QTest::newRow("404") << 404;
    QTest::newRow("500") << 500;
    QTest::newRow("503") << 503;
}

void tst_DownloadTaskHttp::badStatusWithBody()
{
    QFETCH(int, status);
    m_server->always(kPath, HttpResponse::withStatus(status, "an explanation"));
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.errors.size(), 1);
    QVERIFY(events.restarts.isEmpty());
    QCOMPARE(events.errors.first().GetErrorCode(), 3009);
    QCOMPARE(events.errors.first().GetStatusCode(), status);
    QVERIFY(events.errors.first().GetErrorString().startsWith(
        QStringLiteral("status code: %1, error code: %2, ").arg(status).arg(events.errors.first().GetNetErrorCode())));
    // Stopped before the error: an empty temporary file is gone, and nothing was written.
    QCOMPARE(events.log.mid(1, 2), texts({"report 3 start", "report 3 finish"}));
    QVERIFY(!QFile::exists(temporary()));
    QCOMPARE(events.written, qint64(0));
    QCOMPARE(gets().size(), 1);
}

void tst_DownloadTaskHttp::badStatusWithoutBodyIsRetried()
{
    m_server->once(kPath, HttpResponse::withStatus(500));
    m_server->serve(kPath, m_content);
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.restarts.size(), 1);
    const QJsonObject restart = events.restarts.first();
    QCOMPARE(restart.value(QStringLiteral("error_code")).toInt(), 3010);
    QCOMPARE(restart.value(QStringLiteral("status_code")).toInt(), 500);
    QCOMPARE(restart.value(QStringLiteral("net_error_code")).toInt(), int(QNetworkReply::InternalServerError));
    QCOMPARE(restart.value(QStringLiteral("url")).toString(), m_server->urlText(kPath));
    QCOMPARE(restart.value(QStringLiteral("ip")).toString(), QStringLiteral("127.0.0.1"));
    QCOMPARE(readFile(destination()), m_content);
}

void tst_DownloadTaskHttp::noContentIsNoFile()
{
    m_server->always(kPath, HttpResponse::withStatus(204));
    QVERIFY(writeFile(temporary(), "part"));
    TestTask task(model(0));
    m_server->once(kPath, HttpResponse::nothing(HttpResponse::Fault::Stall)); // the header request
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.errors.size(), 1);
    QVERIFY(!QFile::exists(destination()));
}

void tst_DownloadTaskHttp::forbiddenWithoutLoginFails()
{
    m_server->always(kPath, HttpResponse::withStatus(403, "no"));
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.log.last(), QStringLiteral("error 3009 403 %1").arg(events.errors.first().GetNetErrorCode()));
    QVERIFY(!events.log.contains(QStringLiteral("relogin")));
}

void tst_DownloadTaskHttp::forbiddenAsksForLogin_data()
{
    QTest::addColumn<int>("bytes");
    QTest::newRow("no body") << 0;
    QTest::newRow("short body") << 10;
    QTest::newRow("body larger than the buffer") << 300000;
}

void tst_DownloadTaskHttp::forbiddenAsksForLogin()
{
    QFETCH(int, bytes);
    NetlibControl::Instance()->SetIsDownloadWithLogin(true);
    m_server->always(kPath, HttpResponse::withStatus(403, QByteArray(bytes, 'x')));
    LogCapture log;
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.log, texts({"totalSize 200000", "report 3 start", "report 3 finish", "relogin"}));
    QCOMPARE(task.GetStatus(), int(DownloadTask::Stopped));
    QCOMPARE(log.count(0, QStringLiteral(" Download encounters 403, do relogin")), 1);
    QCOMPARE(gets().size(), 1);
    // After the login.
    m_server->serve(kPath, m_content);
    QVERIFY(start(task));
    QTRY_VERIFY(task.IsFinished());
    QCOMPARE(readFile(destination()), m_content);
}

void tst_DownloadTaskHttp::stallIsRetriedThenFails()
{
    m_server->always(kPath, HttpResponse::nothing(HttpResponse::Fault::Stall));
    TestTask task(model());
    task.timeoutMs = 100;
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.withoutFlush(), texts({"totalSize 200000", "taskRestart 3013", "taskRestart 3013",
                                           "taskRestart 3013", "taskRestart 3013", "error 3013 -1 4"}));
    // A request that is given up so soon need not have reached the server.
    QVERIFY(gets().size() <= 5);
    m_server->serve(kPath, m_content);
    task.timeoutMs = 30000;
    task.SetRetryTimes(1);
    QVERIFY(start(task));
    QTRY_VERIFY(task.IsFinished());
}

void tst_DownloadTaskHttp::stopEndsTheTimer()
{
    m_server->always(kPath, HttpResponse::nothing(HttpResponse::Fault::Stall));
    TestTask task(model());
    const auto* timer = task.findChild<QTimer*>();
    QVERIFY(timer);
    QVERIFY(timer->isSingleShot());
    QVERIFY(start(task));
    QVERIFY(timer->isActive());
    QCOMPARE(timer->interval(), 30000);
    task.Stop();
    QVERIFY(!timer->isActive());
}

void tst_DownloadTaskHttp::progressBeginsTheWaitAnew()
{
    m_server->always(kPath, HttpResponse::nothing(HttpResponse::Fault::Stall));
    TestTask task(model());
    const auto* timer = task.findChild<QTimer*>();
    QVERIFY(timer);
    // Begins nothing where no request runs.
    task.onNetworkReplyProgress(1, 2);
    QVERIFY(!timer->isActive());
    task.timeoutMs = 10000;
    QVERIFY(start(task));
    QTRY_VERIFY(timer->remainingTime() < 8000);
    const int before = timer->remainingTime();
    const TaskEvents events(&task);
    task.onNetworkReplyProgress(1, 2);
    QVERIFY2(timer->remainingTime() > before, qPrintable(QString::number(timer->remainingTime())));
    QCOMPARE(events.progress, (QVector<QPair<qint64, qint64>>{{1, 2}}));
    QCOMPARE(timer->interval(), 10000);
}

void tst_DownloadTaskHttp::followsRedirects_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<bool>("absolute");
    for (const int status : {301, 302, 303, 307, 308}) {
        QTest::addRow("%d absolute", status) << status << true;
        QTest::addRow("%d relative", status) << status << false;
    }
}

void tst_DownloadTaskHttp::followsRedirects()
{
    QFETCH(int, status);
    QFETCH(bool, absolute);
    const QByteArray target("/other/place.dat");
    m_server->serve(target, m_content);
    m_server->always(kPath, HttpResponse::redirect(status, absolute ? m_server->urlText(target).toLatin1()
                                                                    : QByteArray("../other/place.dat")));
    QVERIFY(writeFile(temporary(), m_content.left(1000)));
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.log.last(), QStringLiteral("finish"));
    // Followed by the network layer: the file keeps its name.
    QCOMPARE(readFile(destination()), m_content);
    QCOMPARE(m_server->requests(target).first().header("Range"), QByteArray("bytes=1000-"));
}

void tst_DownloadTaskHttp::redirectLoopEnds()
{
    m_server->always(kPath, HttpResponse::redirect(302, kPath));
    LogCapture log;
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.errors.size(), 1);
    QCOMPARE(events.errors.first().GetErrorCode(), 3010);
    QCOMPARE(events.restarts.size(), 4);
    QCOMPARE(events.log.count(QStringLiteral("report 0")), 4);
    const QMap<QString, QVariant> expected{{QStringLiteral("url"), m_server->urlText(kPath)},
                                           {QStringLiteral("statusCode"), 302}};
    QCOMPARE(events.lastReport(0).GetReportMap(), expected);
    QCOMPARE(log.count(2, QStringLiteral("download task redirect, status code 302")), 4);
}

void tst_DownloadTaskHttp::redirectWithoutTargetEnds()
{
    m_server->always(kPath, HttpResponse::withStatus(302));
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.errors.size(), 1);
    QCOMPARE(events.errors.first().GetErrorCode(), 3010);
    QCOMPARE(events.restarts.size(), 4);
}

void tst_DownloadTaskHttp::redirectOfTheDataRequestIsRetried_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<bool>("absolute");
    for (const int status : {301, 302, 303, 305, 307, 308}) {
        QTest::addRow("%d absolute", status) << status << true;
        QTest::addRow("%d relative", status) << status << false;
    }
}

// The task follows by itself what the network layer hands on, and the local names follow the URL.
void tst_DownloadTaskHttp::redirectOfTheDataRequestIsRetried()
{
    QFETCH(int, status);
    QFETCH(bool, absolute);
    const QByteArray target("/other/place.dat");
    m_server->serve(target, m_content);
    m_server->always(kPath, HttpResponse::redirect(status, absolute ? m_server->urlText(target).toLatin1()
                                                                    : QByteArray("../other/place.dat")));
    QVERIFY(writeFile(temporary(), m_content.left(1000)));
    LogCapture log;
    TestTask task(model());
    task.manualRedirects = true;
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.withoutFlush(),
             texts({"totalSize 200000", "report 2 result 1", "report 0", "taskRestart 3010", "finish"}));
    const QMap<QString, QVariant> report{{QStringLiteral("url"), m_server->urlText(kPath)},
                                         {QStringLiteral("range"), QStringLiteral("bytes=1000-")},
                                         {QStringLiteral("statusCode"), status}};
    QCOMPARE(events.lastReport(0).GetReportMap(), report);
    QCOMPARE(log.count(2, QStringLiteral("download task redirect, status code %1").arg(status)), 1);
    QCOMPARE(events.restarts.first().value(QStringLiteral("status_code")).toInt(), status);
    QCOMPARE(task.GetTaskModel().url, m_server->url(target));
    QCOMPARE(events.urls.last(), m_server->urlText(target));
    QCOMPARE(readFile(m_folder->filePath(QStringLiteral("place.dat"))), m_content);
    QVERIFY(!QFile::exists(destination()));
    QVERIFY(!m_server->requests(target).first().hasHeader("Range"));
}

// Larger than the reply's buffer, which would keep the answer from ending if it were not emptied.
void tst_DownloadTaskHttp::bodyOfARedirectIsNotWritten()
{
    m_server->serve("/other/place.dat", m_content);
    m_server->always(kPath,
                     HttpResponse::withStatus(302, QByteArray(300000, 'x')).addHeader("Location", "/other/place.dat"));
    TestTask task(model());
    task.manualRedirects = true;
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.withoutFlush(), texts({"totalSize 200000", "report 0", "taskRestart 3010", "finish"}));
    QCOMPARE(events.written, qint64(kSize));
    QCOMPARE(readFile(m_folder->filePath(QStringLiteral("place.dat"))), m_content);
}

void tst_DownloadTaskHttp::redirectToAnUnsafeNameIsNotWritten()
{
    const QByteArray target("/other/..%5C..%5Cevil");
    m_server->serve(target, m_content);
    m_server->always(kPath, HttpResponse::redirect(302, target));
    TestTask task(model());
    task.manualRedirects = true;
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.log.last(), QStringLiteral("error 3003 -1 -1"));
    QVERIFY(QDir(m_folder->path()).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden));
}

void tst_DownloadTaskHttp::headerRedirectIsFollowed()
{
    const QByteArray target("/other/place.dat");
    m_server->serve(target, m_content);
    m_server->always(kPath, HttpResponse::redirect(302, "../other/place.dat"));
    LogCapture log;
    TestTask task(model(0));
    task.SetHeaderNetwork(QSharedPointer<ManualRedirects>::create());
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QTRY_VERIFY(events.log.contains(QStringLiteral("totalSize 200000")));
    QCOMPARE(events.log, texts({"report 0", "totalSize 200000"}));
    const QMap<QString, QVariant> report{{QStringLiteral("url"), m_server->urlText(kPath)},
                                         {QStringLiteral("statusCode"), 302}};
    QCOMPARE(events.lastReport(0).GetReportMap(), report);
    QCOMPARE(log.count(0, QStringLiteral(" download task redirect, status code 302")), 1);
    QCOMPARE(task.GetTaskModel().url, m_server->url(target));
    // The data goes into the new file; nothing is left of the old one.
    QVERIFY(task.Start());
    QTRY_VERIFY(task.IsFinished());
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files), texts({"place.dat"}));
    QCOMPARE(readFile(m_folder->filePath(QStringLiteral("place.dat"))), m_content);
}

// Followed where it arises: the task keeps its URL and its names.
void tst_DownloadTaskHttp::headerRedirectIsLeftToTheNetwork()
{
    const QByteArray target("/other/place.dat");
    m_server->serve(target, m_content);
    m_server->always(kPath, HttpResponse::redirect(302, "../other/place.dat"));
    TestTask task(model(0));
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QTRY_COMPARE(events.log, texts({"totalSize 200000"}));
    QCOMPARE(m_server->requests(target).first().method, QByteArray("HEAD"));
    QCOMPARE(task.GetTaskModel().url, m_server->url(kPath));
}

// The transfer has begun under the old name when the header request brings another.
void tst_DownloadTaskHttp::headerRedirectDuringATransferSplicesNothing()
{
    constexpr qint64 kArrived = 100000;
    const QByteArray target("/other/place.dat");
    m_server->serve(target, m_content);
    m_server->on(kPath, [this](const HttpRequest& request) {
        // Without a length: the size stays unknown, so that it is asked for again.
        if (request.method == "GET")
            return HttpResponse::ok(m_content).claimLength(-1).stallAfter(kArrived);
        return withMethod("HEAD").size() < 2 ? HttpResponse::nothing(HttpResponse::Fault::Stall)
                                             : HttpResponse::redirect(302, "../other/place.dat");
    });
    TestTask task(model(0));
    task.SetHeaderNetwork(QSharedPointer<ManualRedirects>::create());
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QTRY_COMPARE(withMethod("HEAD").size(), 1);
    QVERIFY(task.Start());
    QTRY_COMPARE(events.written, kArrived);
    QVERIFY(task.Init());
    QTRY_VERIFY_WITH_TIMEOUT(events.ended(), kEndLimitMs);
    QCOMPARE(events.log.last(), QStringLiteral("finish"));
    QCOMPARE(events.errors.size(), 0);
    QCOMPARE(readFile(m_folder->filePath(QStringLiteral("place.dat"))), m_content);
    QVERIFY(!QFile::exists(destination()));
    QCOMPARE(readFile(temporary()), m_content.left(kArrived));
    QVERIFY(!m_server->requests(target).last().hasHeader("Range"));
}

void tst_DownloadTaskHttp::rangeRefusedWithBody_data()
{
    QTest::addColumn<bool>("switchOn");
    QTest::addColumn<QString>("source");
    QTest::addColumn<qint64>("serverSize"); // negative: no Content-Range
    QTest::addColumn<QStringList>("log");
    const char* known = "totalSize 200000";
    QTest::newRow("off, size from the description")
        << false << QStringLiteral("resource") << qint64(kSize)
        << texts({known, "report 2 result 1", "report 1", "taskRestart 3009", "report 2 result 1", "finish"});
    QTest::newRow("on, size from the description")
        << true << QStringLiteral("resource") << qint64(kSize)
        << texts({known, "report 2 result 1", known, "report 1", "taskRestart 3009", "report 2 result 1", "finish"});
    QTest::newRow("on, no size in the answer")
        << true << QStringLiteral("resource") << qint64(-1)
        << texts({known, "report 2 result 1", "report 1", "taskRestart 3009", "report 2 result 1", "finish"});
    QTest::newRow("off, size from the server")
        << false << QStringLiteral("header") << qint64(kSize)
        << texts({known, "report 2 result 1", "report 1", known, "taskRestart 3009", "report 2 result 1", "finish"});
    QTest::newRow("on, size from the server") << true << QStringLiteral("header") << qint64(kSize)
                                              << texts({known, "report 2 result 1", known, "report 1", known,
                                                        "taskRestart 3009", "report 2 result 1", "finish"});
}

void tst_DownloadTaskHttp::rangeRefusedWithBody()
{
    QFETCH(bool, switchOn);
    QFETCH(QString, source);
    QFETCH(qint64, serverSize);
    NetlibControl::Instance()->SetSwitchFor416(switchOn);
    NetlibControl::Instance()->SetPkgSizeInfo(source);
    HttpResponse refusal = HttpResponse::withStatus(416, "no such range").addHeader("X-Edge", "e1");
    if (serverSize >= 0)
        refusal.addHeader("Content-Range", "bytes */" + QByteArray::number(serverSize));
    m_server->once(kPath, refusal);
    m_server->serve(kPath, m_content);
    QVERIFY(writeFile(temporary(), m_content.left(1000)));
    LogCapture log;
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QTEST(events.withoutFlush(), "log");
    QCOMPARE(readFile(destination()), m_content);
    QCOMPARE(withMethod("HEAD").size(), source == QLatin1String("header") ? 1 : 0);
    QCOMPARE(log.count(0, QStringLiteral("download task status code 416")), 1);

    const QMap<QString, QVariant> report = events.lastReport(1).GetReportMap();
    QCOMPARE(report.keys(), texts({"group", "range", "response_header", "url"}));
    QCOMPARE(report.value(QStringLiteral("range")).toString(), QStringLiteral("bytes=1000-"));
    QCOMPARE(report.value(QStringLiteral("url")).toString(), m_server->urlText(kPath));
    QCOMPARE(report.value(QStringLiteral("group")).toInt(), source == QLatin1String("resource") ? 1 : 0);
    QVERIFY(report.value(QStringLiteral("response_header")).toString().contains(QStringLiteral("X-Edge:e1;")));
    const QJsonObject restart = events.restarts.first();
    QCOMPARE(restart.value(QStringLiteral("status_code")).toInt(), 416);
    QCOMPARE(restart.value(QStringLiteral("ip")).toString(), QStringLiteral("127.0.0.1"));
    QVERIFY(restart.value(QStringLiteral("error_string")).toString().startsWith(QStringLiteral("status code: 416, ")));
}

void tst_DownloadTaskHttp::rangeRefusedClosesTheNextRange()
{
    NetlibControl::Instance()->SetSwitchFor416(true);
    NetlibControl::Instance()->SetPkgSizeInfo(NetlibControl::kPkgSizeInfoResource);
    m_server->once(kPath, HttpResponse::withStatus(416, "x").addHeader("Content-Range", "bytes */5000"));
    m_server->once(kPath, HttpResponse::withStatus(500));
    m_server->serve(kPath, m_content.left(5000));
    QVERIFY(writeFile(temporary(), m_content.left(1000)));
    TestTask task(model(6000));
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.log.last(), QStringLiteral("finish"));
    QCOMPARE(task.GetTotalSize(), qint64(5000));
    QCOMPARE(gets().size(), 3);
    QCOMPARE(gets().at(0).header("Range"), QByteArray("bytes=1000-"));
    QCOMPARE(gets().at(1).header("Range"), QByteArray("bytes=1000-5000"));
    // Once only.
    QCOMPARE(gets().at(2).header("Range"), QByteArray("bytes=1000-"));
    QCOMPARE(readFile(destination()), m_content.left(5000));
}

void tst_DownloadTaskHttp::rangeRefusedSwitchedOffMeanwhile()
{
    NetlibControl::Instance()->SetSwitchFor416(true);
    NetlibControl::Instance()->SetPkgSizeInfo(NetlibControl::kPkgSizeInfoResource);
    m_server->once(kPath, HttpResponse::withStatus(416, "x").addHeader("Content-Range", "bytes */200000"));
    m_server->serve(kPath, m_content);
    QVERIFY(writeFile(temporary(), m_content.left(1000)));
    TestTask task(model());
    const TaskEvents events(&task);
    connect(&task, &DownloadTask::taskRestart, this, [] { NetlibControl::Instance()->SetSwitchFor416(false); });
    RUN_TO_END(task, events);
    QCOMPARE(gets().last().header("Range"), QByteArray("bytes=1000-"));
    QCOMPARE(readFile(destination()), m_content);
}

void tst_DownloadTaskHttp::rangeRefusedWithoutAnySize()
{
    NetlibControl::Instance()->SetSwitchFor416(true);
    m_server->on(kPath, [this](const HttpRequest& request) {
        if (request.method == "HEAD")
            return HttpResponse::nothing(HttpResponse::Fault::Stall);
        return gets().size() < 2 ? HttpResponse::withStatus(416) : HttpResponse::content(request, m_content);
    });
    QVERIFY(writeFile(temporary(), m_content.left(1000)));
    TestTask task(model(0));
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(gets().size(), 2);
    QCOMPARE(gets().last().header("Range"), QByteArray("bytes=1000-"));
    QCOMPARE(readFile(destination()), m_content);
}

void tst_DownloadTaskHttp::rangeRefusedAlways()
{
    NetlibControl::Instance()->SetPkgSizeInfo(NetlibControl::kPkgSizeInfoResource);
    m_server->always(kPath, HttpResponse::withStatus(416, "x"));
    QVERIFY(writeFile(temporary(), m_content.left(1000)));
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.log.filter(QStringLiteral("taskRestart 3009")).size(), 4);
    QCOMPARE(events.errors.size(), 1);
    QCOMPARE(events.errors.first().GetErrorCode(), 3009);
    QCOMPARE(gets().size(), 5);
}

void tst_DownloadTaskHttp::rangeRefusedOnTheFifthAttempt()
{
    m_server->always(kPath, HttpResponse::withStatus(416, "x"));
    QVERIFY(writeFile(temporary(), m_content.left(1000)));
    TestTask task(model());
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    task.SetRetryTimes(5);
    QVERIFY(task.Start());
    QTRY_VERIFY(events.ended());
    const QString error = QStringLiteral("error 3009 416 %1").arg(events.errors.first().GetNetErrorCode());
    // Here the error comes before the stop.
    QCOMPARE(events.log, texts({"totalSize 200000", "report 2 result 1", "report 1"})
                             << error << texts({"report 3 start", "report 3 finish"}));
    QCOMPARE(readFile(temporary()), m_content.left(1000));
}

void tst_DownloadTaskHttp::rangeRefusedFileIsComplete()
{
    m_server->serve(kPath, m_content.left(1000));
    m_server->once(kPath, HttpResponse::withStatus(416, "x"));
    QVERIFY(writeFile(temporary(), m_content.left(1000)));
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.withoutFlush(),
             texts({"totalSize 200000", "report 2 result 1", "report 1", "totalSize 1000", "finish"}));
    QCOMPARE(readFile(destination()), m_content.left(1000));
}

// The header request after a 416 is the only one that runs: nobody else would notice that it hangs.
void tst_DownloadTaskHttp::rangeRefusedHeaderStalls()
{
    m_server->once(kPath, HttpResponse::withStatus(416, "x"));
    m_server->on(kPath, [this](const HttpRequest& request) {
        return request.method == "HEAD" ? HttpResponse::nothing(HttpResponse::Fault::Stall)
                                        : HttpResponse::content(request, m_content);
    });
    QVERIFY(writeFile(temporary(), m_content.left(1000)));
    TestTask task(model());
    const TaskEvents events(&task);
    // Short for the header request alone.
    connect(&task, &DownloadTask::downloadReport, this, [&task](const DownloadReportData& data) {
        if (data.GetReportType() == 1)
            task.timeoutMs = 200;
    });
    connect(&task, &DownloadTask::taskRestart, this, [&task] { task.timeoutMs = 30000; });
    RUN_TO_END(task, events);
    QCOMPARE(events.withoutFlush(), texts({"totalSize 200000", "report 2 result 1", "report 1", "taskRestart 3013",
                                           "report 2 result 1", "finish"}));
}

void tst_DownloadTaskHttp::rangeRefusedHeaderForbidden()
{
    NetlibControl::Instance()->SetIsDownloadWithLogin(true);
    m_server->once(kPath, HttpResponse::withStatus(416, "x"));
    m_server->always(kPath, HttpResponse::withStatus(403));
    QVERIFY(writeFile(temporary(), m_content.left(1000)));
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.withoutFlush(), texts({"totalSize 200000", "report 2 result 1", "report 1", "taskRestart 3009",
                                           "report 2 result 1", "relogin"}));
}

void tst_DownloadTaskHttp::rangeRefusedWithoutBody()
{
    NetlibControl::Instance()->SetSwitchFor416(true);
    m_server->once(kPath, HttpResponse::rangeNotSatisfiable(kSize));
    m_server->serve(kPath, m_content);
    QVERIFY(writeFile(temporary(), m_content.left(1000)));
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.withoutFlush(), texts({"totalSize 200000", "report 2 result 1", "totalSize 200000", "report 1",
                                           "taskRestart 3010", "report 2 result 1", "finish"}));
    QCOMPARE(gets().last().header("Range"), QByteArray("bytes=1000-200000"));
    QCOMPARE(readFile(destination()), m_content);
}

void tst_DownloadTaskHttp::headerTellsTheSize()
{
    m_server->serve(kPath, m_content);
    LogCapture log;
    TestTask task(model(0));
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QTRY_COMPARE(events.log, texts({"totalSize 200000"}));
    QCOMPARE(m_server->requestCount(), 1);
    QCOMPARE(withMethod("HEAD").size(), 1);
    QCOMPARE(task.GetTotalSize(), qint64(kSize));
    QCOMPARE(log.count(0, QStringLiteral("Request download file: file.bin")), 1);
    QCOMPARE(log.count(0, QStringLiteral("Header response, file: file.bin")), 1);
    QCOMPARE(log.count(0, QStringLiteral("Header response, file: file.bin, size: 200000")), 1);
    QCOMPARE(log.count(0, m_server->urlText(kPath) + QStringLiteral(" header size is 200000")), 1);
}

void tst_DownloadTaskHttp::headerTellsNoSize_data()
{
    QTest::addColumn<int>("status");
    QTest::newRow("200") << 200;
    QTest::newRow("206") << 206;
}

// Told as 0. Nothing of what is there counts as the whole file then.
void tst_DownloadTaskHttp::headerTellsNoSize()
{
    QFETCH(int, status);
    m_server->always(kPath, HttpResponse::withStatus(status).claimLength(-1));
    QVERIFY(writeFile(temporary(), m_content.left(1000)));
    LogCapture log;
    TestTask task(model(-1));
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QTRY_COMPARE(events.log, texts({"totalSize 0"}));
    QCOMPARE(log.count(0, QStringLiteral("Header response, file: file.bin, size: 0")), 1);
    QCOMPARE(log.count(0, m_server->urlText(kPath) + QStringLiteral(" header size is 0")), 1);
    QCOMPARE(task.GetTotalSize(), qint64(0));
    QCOMPARE(task.GetStatus(), int(DownloadTask::Stopped));
}

void tst_DownloadTaskHttp::headerFindsTheFileComplete()
{
    m_server->serve(kPath, m_content);
    QVERIFY(writeFile(temporary(), m_content));
    TestTask task(model(0));
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QTRY_VERIFY(task.IsFinished());
    QCOMPARE(events.log, texts({"totalSize 200000", "report 3 start", "report 3 finish", "finish"}));
    QCOMPARE(m_server->requestCount(), 1);
    QCOMPARE(readFile(destination()), m_content);
}

void tst_DownloadTaskHttp::headerIsSkippedForKnownSizes()
{
    m_server->serve(kPath, m_content);
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(withMethod("HEAD").size(), 0);
}

void tst_DownloadTaskHttp::headerFailures_data()
{
    QTest::addColumn<int>("status"); // 0: reset, -1: refused
    QTest::addColumn<QString>("begin");
    QTest::newRow("404") << 404 << QStringLiteral("url %1, request header error, code: 203, ");
    QTest::newRow("403 without login") << 403 << QStringLiteral("url %1, request header error, code: 201, ");
    QTest::newRow("500") << 500 << QStringLiteral("url %1, request header error, code: 401, ");
    QTest::newRow("204") << 204 << QStringLiteral("url %1, request status code: 204");
    QTest::newRow("refused") << -1 << QStringLiteral("url %1, request header error, code: 1, ");
}

void tst_DownloadTaskHttp::headerFailures()
{
    QFETCH(int, status);
    QFETCH(QString, begin);
    const DownloadTaskModel described = model(0);
    if (status < 0)
        m_server->stop();
    else
        m_server->always(kPath, HttpResponse::withStatus(status).addHeader("X-Edge", "e1"));
    LogCapture log;
    TestTask task(described);
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QTRY_VERIFY(events.ended());
    QCOMPARE(events.errors.size(), 1);
    const TaskInfo info = events.errors.first();
    QCOMPARE(info.GetErrorCode(), 3012);
    QCOMPARE(info.GetStatusCode(), qMax(status, 0));
    QVERIFY2(info.GetErrorString().startsWith(begin.arg(described.url.toString())), qPrintable(info.GetErrorString()));
    QCOMPARE(task.GetErrorString(), info.GetErrorString());
    QCOMPARE(log.count(4, info.GetErrorString()), info.GetNetErrorCode() == 0 ? 0 : 1);
    if (status > 0) {
        QVERIFY(info.GetResponseHeader().contains(QStringLiteral("\"X-Edge\":\"e1\"")));
        QCOMPARE(info.GetIP(), QStringLiteral("127.0.0.1"));
    }
}

void tst_DownloadTaskHttp::headerForbiddenWithLoginIsSilent()
{
    NetlibControl::Instance()->SetIsDownloadWithLogin(true);
    m_server->always(kPath, HttpResponse::withStatus(403));
    LogCapture log;
    TestTask task(model(0));
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QTRY_COMPARE(log.count(0, QStringLiteral("Header response, file: file.bin")), 1);
    QCOMPARE(events.log, QStringList());
    // The data request asks for the login.
    QVERIFY(task.Start());
    QTRY_VERIFY(events.ended());
    QCOMPARE(events.withoutFlush(), texts({"relogin"}));
}

void tst_DownloadTaskHttp::headerCancelledIsSilent()
{
    m_server->once(kPath, HttpResponse::nothing(HttpResponse::Fault::Stall));
    LogCapture log;
    TestTask task(model(0));
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QTRY_COMPARE(m_server->requestCount(), 1);
    auto* reply = task.HeaderNetwork()->findChild<QNetworkReply*>();
    QVERIFY(reply);
    reply->abort();
    QCOMPARE(log.count(0, QStringLiteral("Header response, file: file.bin")), 1);
    QCOMPARE(events.log, QStringList());
    QCOMPARE(task.GetErrorString(), QString());
    // The task is as usable as before.
    m_server->serve(kPath, m_content);
    QVERIFY(task.Start());
    QTRY_VERIFY(task.IsFinished());
}

void tst_DownloadTaskHttp::releaseDropsTheHeaderRequest()
{
    m_server->once(kPath, HttpResponse::nothing(HttpResponse::Fault::Stall));
    TestTask task(model(0));
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QTRY_COMPARE(m_server->requestCount(), 1);
    const QPointer<QNetworkReply> reply = task.HeaderNetwork()->findChild<QNetworkReply*>();
    QVERIFY(reply);
    task.Release();
    QTRY_VERIFY(!reply);
    QCOMPARE(events.log, QStringList());
}

void tst_DownloadTaskHttp::headerRedirectWithoutTarget()
{
    m_server->always(kPath, HttpResponse::withStatus(302));
    TestTask task(model(0));
    task.SetHeaderNetwork(QSharedPointer<ManualRedirects>::create());
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QTRY_COMPARE(events.log, texts({"report 0"}));
    // The data request decides.
    m_server->serve(kPath, m_content);
    QVERIFY(task.Start());
    QTRY_VERIFY(task.IsFinished());
    QCOMPARE(m_server->requestCount(), 2);
}

// The known size is the server's: a file that never reaches it is never put in place.
void tst_DownloadTaskHttp::headerThatLiesEnds()
{
    m_server->on(kPath, [this](const HttpRequest& request) {
        if (request.method == "HEAD")
            return HttpResponse::ok(QByteArray()).claimLength(kSize + 1);
        return HttpResponse::content(request, m_content);
    });
    TestTask task(model(0));
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QTRY_COMPARE(task.GetTotalSize(), qint64(kSize + 1));
    QVERIFY(task.Start());
    QTRY_VERIFY_WITH_TIMEOUT(events.ended(), 10000);
    QCOMPARE(events.errors.size(), 1);
    QVERIFY(!QFile::exists(destination()));
}

void tst_DownloadTaskHttp::headerThatNeverAnswersHoldsNothingUp()
{
    m_server->once(kPath, HttpResponse::nothing(HttpResponse::Fault::Stall));
    m_server->serve(kPath, m_content);
    TestTask task(model(0));
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QTRY_COMPARE(m_server->requestCount(), 1);
    QVERIFY(task.Start());
    QTRY_VERIFY(task.IsFinished());
    QCOMPARE(readFile(destination()), m_content);
}

void tst_DownloadTaskHttp::errorsCarryTheFailedAnswer()
{
    m_server->always(kPath, HttpResponse::withStatus(404, "gone").addHeader("X-Edge", "e2"));
    LogCapture log;
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    const TaskInfo info = events.errors.first();
    QCOMPARE(info.GetIP(), QStringLiteral("127.0.0.1"));
    QCOMPARE(info.GetUrl(), m_server->urlText(kPath));
    const QJsonObject headers = QJsonDocument::fromJson(info.GetResponseHeader().toUtf8()).object();
    QCOMPARE(headers.keys(), texts({"http_header"}));
    QCOMPARE(headers.value(QStringLiteral("http_header")).toObject().value(QStringLiteral("X-Edge")).toString(),
             QStringLiteral("e2"));
    QCOMPARE(log.count(0, QStringLiteral("URL: file.bin, Header-Response: ") + info.GetResponseHeader()), 1);
    QCOMPARE(log.count(0, QStringLiteral("ip: 127.0.0.1")), 1);
}

void tst_DownloadTaskHttp::errorsCarryNothingOfEarlierAnswers()
{
    m_server->always(kPath, HttpResponse::withStatus(500).addHeader("X-Edge", "e3"));
    TestTask task(model());
    const TaskEvents events(&task);
    connect(&task, &DownloadTask::taskRestart, this, [this] { m_server->stop(); });
    RUN_TO_END(task, events);
    QCOMPARE(events.restarts.first().value(QStringLiteral("ip")).toString(), QStringLiteral("127.0.0.1"));
    QCOMPARE(events.errors.first().GetStatusCode(), 0);
    QCOMPARE(events.errors.first().GetIP(), QString());
    QCOMPARE(events.errors.first().GetResponseHeader(), QString());
}

void tst_DownloadTaskHttp::looksUpTheHostOncePerRequest()
{
    m_server->once(kPath, HttpResponse::withStatus(500));
    m_server->serve(kPath, m_content);
    LogCapture log;
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    const int requests = gets().size();
    QCOMPARE(requests, 2);
    QCOMPARE(task.lookups, (QStringList{QStringLiteral("33 127.0.0.1"), QStringLiteral("33 127.0.0.1")}));
    // Nobody knows a name here, which is an answer as well.
    QCOMPARE(log.count(0, QStringLiteral("cname: ")), 2);
}

// A look-up without a name server takes long, and the process does not end before it does.
void tst_DownloadTaskHttp::lookUpsOfAHostDoNotPileUp()
{
    m_server->once(kPath, HttpResponse::withStatus(500));
    m_server->serve(kPath, m_content);
    m_server->serve("/other", m_content);
    LogCapture log;
    TestTask first(model());
    first.holdLookups = true;
    const TaskEvents events(&first);
    RUN_TO_END(first, events);
    QCOMPARE(gets().size(), 2);
    QCOMPARE(first.lookups, texts({"33 127.0.0.1"}));

    DownloadTaskModel other = model();
    other.url = m_server->url("/other");
    auto second = std::make_unique<TestTask>(other);
    second->holdLookups = true;
    const TaskEvents secondEvents(second.get());
    RUN_TO_END(*second, secondEvents);
    QCOMPARE(second->lookups, QStringList());
    second.reset();

    QCOMPARE(log.count(0, QStringLiteral("cname: ")), 0);
    QVERIFY(first.heldLookups.first());
    Q_EMIT first.heldLookups.first()->finished();
    // For both requests of the first file, and nothing for the file that is gone.
    QCOMPARE(log.count(0, QStringLiteral("cname: ")), 2);
    QTRY_VERIFY(!first.heldLookups.first());

    // The next request asks anew.
    QVERIFY(QFile::remove(destination()));
    first.holdLookups = false;
    first.Stop();
    QVERIFY(start(first));
    QTRY_VERIFY(first.IsFinished());
    QCOMPARE(first.lookups, texts({"33 127.0.0.1", "33 127.0.0.1"}));
    QCOMPARE(log.count(0, QStringLiteral("cname: ")), 3);
}

void tst_DownloadTaskHttp::waitsThirtySecondsForAnAnswer()
{
    const TestTask task(model());
    QCOMPARE(task.timeoutForReal(), 30000);
}

void tst_DownloadTaskHttp::writeErrors_data()
{
    QTest::addColumn<qint64>("written"); // of the block; -1: all but one byte
    QTest::addColumn<qint64>("freeBytes");
    QTest::addColumn<QString>("text");
    const QString full = QStringLiteral("3004 message_disk_not_enough_space");
    const QString failed = QStringLiteral("3005 message_error_download_write_or_flush_buffer");
    QTest::newRow("fails, no space") << qint64(-2) << qint64(0) << full;
    QTest::newRow("fails, one byte too few") << qint64(-2) << qint64(-1) << full;
    QTest::newRow("fails, just enough space") << qint64(-2) << qint64(-2) << failed;
    QTest::newRow("cut short, no space") << qint64(-1) << qint64(0) << full;
    QTest::newRow("cut short, enough space") << qint64(-1) << qint64(1) << failed;
}

void tst_DownloadTaskHttp::writeErrors()
{
    QFETCH(qint64, written);
    QFETCH(qint64, freeBytes);
    QFETCH(QString, text);
    m_server->serve(kPath, m_content);
    TestTask task(model());
    task.write = [&task, written, freeBytes](const QByteArray& block, qint64* ms) {
        *ms = 0;
        // In terms of the block, whose size the network decides.
        task.freeBytes = freeBytes == -1 ? block.size() - 1 : freeBytes < -1 ? block.size() : freeBytes * 1000000;
        return written == -1 ? qint64(block.size() - 1) : qint64(-1);
    };
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.errors.size(), 1);
    const TaskInfo info = events.errors.first();
    QCOMPARE(QStringLiteral("%1 %2").arg(info.GetErrorCode()).arg(info.GetErrorString()), text);
    QCOMPARE(info.GetStatusCode(), -1);
    QCOMPARE(info.GetNetErrorCode(), -1);
    QCOMPARE(events.written, qint64(0));
    QVERIFY(events.restarts.isEmpty());
    // A later start succeeds.
    task.write = nullptr;
    QVERIFY(start(task));
    QTRY_VERIFY(task.IsFinished());
    QCOMPARE(readFile(destination()), m_content);
}

void tst_DownloadTaskHttp::flushErrorIs3006()
{
    m_server->serve(kPath, m_content);
    TestTask task(model());
    task.flush = [] { return false; };
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.log, texts({"totalSize 200000", "report 3 start", "report 3 finish", "error 3006 -1 -1"}));
    QCOMPARE(events.errors.first().GetErrorString(), QStringLiteral("message_error_download_write_or_flush_buffer"));
    QVERIFY(!QFile::exists(destination()));
    task.flush = nullptr;
    QVERIFY(start(task));
    QTRY_VERIFY(task.IsFinished());
}

void tst_DownloadTaskHttp::openErrorIs3003()
{
    m_server->serve(kPath, m_content);
    TestTask task(model());
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    task.Stop();
    // In the way of the temporary file.
    QVERIFY(QDir().mkpath(temporary() + QStringLiteral("/occupied")));
    QVERIFY(task.Start());
    QTRY_VERIFY(events.ended());
    QCOMPARE(events.log.last(), QStringLiteral("error 3003 -1 -1"));
    QCOMPARE(events.errors.first().GetErrorString(), QStringLiteral("message_error_open_file"));
    QCOMPARE(task.GetStatus(), int(DownloadTask::Stopped));
    QVERIFY(QDir(temporary()).removeRecursively());
    QVERIFY(start(task));
    QTRY_VERIFY(task.IsFinished());
}

void tst_DownloadTaskHttp::slowWritesShrinkTheBuffer()
{
    m_server->serve(kPath, m_content);
    TestTask task(model());
    TestTask::SetFastWrites(40);
    QVector<qint64> buffers;
    task.write = [&](const QByteArray& block, qint64* ms) {
        const qint64 written = task.writeForReal(block, ms);
        *ms = buffers.isEmpty() ? 1000 : 999;
        return written;
    };
    connect(&task, &DownloadTask::dataWritten, this, [&] { buffers << task.DataReply()->readBufferSize(); });
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QVERIFY(buffers.size() > 52);
    QCOMPARE(buffers.mid(0, 51), QVector<qint64>(51, 1024));
    // The 51st fast write after it.
    QCOMPARE(buffers.at(51), qint64(51200));
    QCOMPARE(readFile(destination()), m_content);
}

void tst_DownloadTaskHttp::fastWritesGrowTheBuffer()
{
    m_server->serve(kPath, m_content);
    TestTask task(model());
    TestTask::SetFastWrites(49);
    QVector<int> counters;
    QVector<qint64> buffers;
    connect(&task, &DownloadTask::dataWritten, this, [&] {
        counters << TestTask::FastWrites();
        buffers << task.DataReply()->readBufferSize();
        if (counters.size() == 1)
            task.DataReply()->setReadBufferSize(2048);
    });
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QVERIFY(counters.size() >= 2);
    QCOMPARE(counters.at(0), 50);
    QCOMPARE(buffers.at(0), qint64(51200)); // from the request
    QCOMPARE(counters.at(1), 51);
    QCOMPARE(buffers.at(1), qint64(51200)); // past 50: set again
}

#ifdef Q_OS_LINUX
void tst_DownloadTaskHttp::fullDeviceFailsTheWrite()
{
    m_server->serve(kPath, m_content);
    QVERIFY(QFile::link(QStringLiteral("/dev/full"), temporary()));
    TestTask task(model());
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    // The disk of the folder itself has space.
    QCOMPARE(events.log.last(), QStringLiteral("error 3005 -1 -1"));
    QCOMPARE(events.errors.size(), 1);
}

void tst_DownloadTaskHttp::fullDeviceFailsTheFlush()
{
    // So small that it waits in the file's buffer for the flush.
    m_server->serve(kPath, m_content.left(100));
    QVERIFY(QFile::link(QStringLiteral("/dev/full"), temporary()));
    TestTask task(model(100));
    const TaskEvents events(&task);
    RUN_TO_END(task, events);
    QCOMPARE(events.log.last(), QStringLiteral("error 3006 -1 -1"));
    QCOMPARE(events.errors.size(), 1);
    QVERIFY(!QFile::exists(destination()));
}
#endif

#ifdef Q_OS_WIN
namespace {

/// A file that somebody else has open and does not share.
class HeldFile
{
public:
    explicit HeldFile(const QString& path)
        : m_handle(CreateFileW(reinterpret_cast<const wchar_t*>(QDir::toNativeSeparators(path).utf16()), GENERIC_READ,
                               0, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr))
    {
    }
    ~HeldFile() { release(); }
    HeldFile(const HeldFile&) = delete;
    HeldFile& operator=(const HeldFile&) = delete;

    bool isHeld() const { return m_handle != INVALID_HANDLE_VALUE; }
    void release()
    {
        if (isHeld())
            CloseHandle(m_handle);
        m_handle = INVALID_HANDLE_VALUE;
    }

private:
    HANDLE m_handle;
};

} // namespace

void tst_DownloadTaskHttp::destinationInUseIs2004()
{
    m_server->serve(kPath, m_content);
    TestTask task(model());
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    HeldFile held(destination());
    QVERIFY(held.isHeld());
    QVERIFY(task.Start());
    QTRY_VERIFY(events.ended());
    QCOMPARE(events.log.last(), QStringLiteral("error 2004 -1 -1"));
    QCOMPARE(events.errors.size(), 1);
    QCOMPARE(readFile(temporary()), m_content);
    held.release();
    QVERIFY(task.Start());
    QTRY_VERIFY(task.IsFinished());
    QCOMPARE(readFile(destination()), m_content);
}

void tst_DownloadTaskHttp::temporaryFileInUseIs2004()
{
    QVERIFY(writeFile(temporary(), m_content));
    TestTask task(model());
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    task.Stop();
    HeldFile held(temporary());
    QVERIFY(held.isHeld());
    QVERIFY(task.Start());
    QCOMPARE(events.log.last(), QStringLiteral("error 2004 -1 -1"));
    QCOMPARE(task.GetStatus(), int(DownloadTask::Failed));
    held.release();
    QVERIFY(start(task));
    QTRY_VERIFY(task.IsFinished());
    QCOMPARE(readFile(destination()), m_content);
}

void tst_DownloadTaskHttp::temporaryFileInUseFailsInit()
{
    HeldFile held(temporary());
    QVERIFY(held.isHeld());
    m_server->serve(kPath, m_content);
    TestTask task(model());
    QVERIFY(!task.Init());
    QCOMPARE(task.GetErrorString(), QStringLiteral("download open file error"));
    held.release();
    QVERIFY(start(task));
    QTRY_VERIFY(task.IsFinished());
}
#endif

// The network layer does not always keep to its buffer size. The limit is kept all the same.
void tst_DownloadTaskHttp::pauseHoldsALargeBufferBack()
{
    const QByteArray large = someContent(4 * 1024 * 1024);
    // The answer does not end: its end would be the end of the pause, too.
    m_server->always(kPath, HttpResponse::ok(large).stallAfter(3 * 1024 * 1024));
    TestTask task(model(large.size()));
    const TaskEvents events(&task);
    connect(&task, &DownloadTask::dataWritten, this, [&] { task.SetPause(true); });
    QVERIFY(start(task));
    QTRY_COMPARE(task.GetStatus(), int(DownloadTask::Paused));
    task.DataReply()->setReadBufferSize(0);
    QTRY_VERIFY(task.DataReply()->bytesAvailable() > 2 * 1024 * 1024);
    for (int i = 0; i < 3; ++i) {
        const qint64 before = events.written;
        task.SetPause(false);
        QCOMPARE(task.GetStatus(), int(DownloadTask::Paused));
        QVERIFY(events.written > before);
        QVERIFY2(events.written - before <= 51200, qPrintable(QString::number(events.written - before)));
    }
    // All of it without a pause, although the network layer has nothing more to tell.
    task.disconnect(this);
    task.SetPause(false);
    QTRY_COMPARE(events.written, qint64(3 * 1024 * 1024));
    task.Stop();
    QCOMPARE(readFile(temporary()), large.left(3 * 1024 * 1024));
}

void tst_DownloadTaskHttp::deletingInEverySignalIsSafe_data()
{
    QTest::addColumn<QByteArray>("signal");
    QTest::addColumn<int>("nth"); // which emission of it
    const QMetaObject& meta = DownloadTaskInterface::staticMetaObject;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        // Nothing emits resetSpeed.
        if (method.methodType() != QMetaMethod::Signal || method.name() == "resetSpeed")
            continue;
        QTest::newRow(method.name().constData()) << method.methodSignature() << 1;
    }
    QTest::newRow("dataWritten, in the middle") << QByteArray("dataWritten(qint64)") << 3;
    QTest::newRow("progress, in the middle") << QByteArray("progress(qint64,qint64)") << 3;
    for (int i = 2; i <= 4; ++i)
        QTest::addRow("downloadReport %d", i) << QByteArray("downloadReport(DownloadReportData)") << i;
}

namespace {

/// Deletes a task at one emission of a signal.
class TaskDeleter : public QObject
{
    Q_OBJECT

public:
    TaskDeleter(DownloadTaskInterface* task, int nth) : m_task(task), m_left(nth) {}

public Q_SLOTS:
    void count()
    {
        if (--m_left == 0)
            delete m_task;
    }

private:
    QPointer<DownloadTaskInterface> m_task;
    int m_left;
};

} // namespace

// A resumed transfer with a refused range, a retry, a check and an end; and what ends it badly.
void tst_DownloadTaskHttp::deletingInEverySignalIsSafe()
{
    QFETCH(QByteArray, signal);
    QFETCH(int, nth);
    NetlibControl::Instance()->SetSwitchFor416(true);
    NetlibControl::Instance()->SetIsDownloadWithLogin(true);
    const qint64 rate = nth > 1 ? kSize / 10 : 1000 * kSize; // slow enough for several samples of progress
    m_server->on(kPath, [this, rate](const HttpRequest& request) {
        return HttpResponse::content(request, m_content).rate(rate);
    });
    m_server->once(kPath, HttpResponse::withStatus(416, "x").addHeader("Content-Range", "bytes */200000"));
    if (signal.startsWith("relogin"))
        m_server->always(kPath, HttpResponse::withStatus(403));
    if (signal.startsWith("error"))
        m_server->once(kPath, HttpResponse::withStatus(404, "x"));
    if (signal.startsWith("taskStart("))
        QVERIFY(writeFile(destination(), m_content));
    QVERIFY(writeFile(temporary(), m_content.left(1000)));
    auto* task = new TestTask(model(kSize, md5Of(m_content)));
    QPointer<TestTask> guard(task);
    TaskDeleter deleter(task, nth);
    const QMetaObject* meta = task->metaObject();
    const int index = meta->indexOfSignal(signal.constData());
    QVERIFY(index >= 0);
    connect(task, meta->method(index), &deleter,
            deleter.metaObject()->method(deleter.metaObject()->indexOfSlot("count()")));
    task->Init();
    if (guard)
        task->Start();
    QTRY_VERIFY(!guard);
}

void tst_DownloadTaskHttp::pausedTaskReadsNothing()
{
    const QByteArray large = someContent(8 * 1024 * 1024);
    // The answer begins when the network layer's thread has surely heard of the buffer size.
    m_server->on(kPath,
                 [&large](const HttpRequest& request) { return HttpResponse::content(request, large).delay(200); });
    TestTask task(model(large.size()));
    const TaskEvents events(&task);
    bool paused = false;
    connect(&task, &DownloadTask::dataWritten, this, [&] {
        if (paused)
            return;
        paused = true;
        task.SetPause(true);
    });
    QVERIFY(start(task));
    QTRY_VERIFY(paused);
    const qint64 before = events.written;
    QTRY_VERIFY(task.DataReply()->bytesAvailable() >= 51200);
    QCOMPARE(events.written, before);
    const qint64 buffered = task.DataReply()->bytesAvailable();
    QVERIFY2(buffered < 1024 * 1024, qPrintable(QString::number(buffered)));
    QCOMPARE(task.GetStatus(), int(DownloadTask::Paused));
    task.SetPause(false);
    // Read at once.
    QVERIFY(events.written > before);
    QTRY_VERIFY_WITH_TIMEOUT(task.IsFinished(), 10000);
    QCOMPARE(readFile(destination()), large);
}

QTEST_GUILESS_MAIN(tst_DownloadTaskHttp)

#include "tst_DownloadTaskHttp.moc"

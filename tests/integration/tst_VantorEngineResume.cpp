// SPDX-License-Identifier: MIT
// Going on from partial files: of an earlier attempt, an earlier run, a killed process.
#include "EngineTest.h"
#include "StateFile.h"
#include "Transfer.h"

#include <QJsonDocument>
#include <QProcess>
#include <QtTest>

#include <atomic>
#include <memory>

using namespace EngineTesting;

class tst_VantorEngineResume : public EngineTest
{
    Q_OBJECT
private slots:
    void resumesFromThePartialFile();
    void tellsFromTheStartWhatIsThere();
    void resumesWithoutAKnownSize();
    void tellsWhatIsThereFirst();
    void startsOverWithoutASoundStateFile_data();
    void startsOverWithoutASoundStateFile();
    void asksForTheSameVersion_data();
    void asksForTheSameVersion();
    void startsOverWhenTheVersionHasChanged_data();
    void startsOverWhenTheVersionHasChanged();
    void goesOnWithNoProofOfTheVersionOnlyWithADigest();
    void fetchesASplicedFileOnceMore();
    void leavesNoStateFile();
    void clearsAwayWhatAnEndedRunHasLeft();
    void fillsTheHolesOfAnEarlierRun();
    void fetchesALargeFileInSegments();
    void fetchesALoneLargeFileOverSeveralConnections();
    void goesOnWithSegmentsAfterACancel();
    void fetchesALargeFileAsAWholeFromASimpleServer_data();
    void fetchesALargeFileAsAWholeFromASimpleServer();
    void givesUpSegmentsThatFail();
    void takesTheWholeOfALargeFileThatChanges();
    void keepsToOneMirrorThatTellsNoVersion();
    void resumesWithinARun();
    void startsOverWhenThePartialFileIsGone_data();
    void startsOverWhenThePartialFileIsGone();
    void goesOnAsLongAsThereIsProgress();
    void startsOverWhenResumingIsDisabled();
    void startsOverWhenTheServerSendsTheWhole();
    void neverSplicesPartialContentFromElsewhere();

    void acceptsARefusedRangeWhenAllIsThere();
    void startsOverAfterARefusedRange_data();
    void startsOverAfterARefusedRange();
    void givesUpOnARangeThatIsRefusedTwice();

    void startsOverWithAPartialFileThatIsTooLong();
    void verifiesAPartialFileThatIsComplete();
    void resumesAfterBeingKilled();
};

void tst_VantorEngineResume::resumesFromThePartialFile()
{
    const QByteArray content = sampleContent(300000);
    makePartial("/a", content.left(100000), content.size());
    m_server->serve("/a", content);
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(m_server->requests("/a").value(0).header("Range"), QByteArray("bytes=100000-"));
    const QJsonObject file = engine().lastItem(guid, url("/a"));
    QCOMPARE(number(file, "existing_byte_count"), 100000);
    QCOMPARE(number(file, "written_byte_count"), 200000);
    QCOMPARE(number(file, "verified_byte_count"), 300000);
    QVERIFY(!QFile::exists(at(QStringLiteral("a_tmp"))));
}

void tst_VantorEngineResume::tellsFromTheStartWhatIsThere()
{
    const QByteArray content = sampleContent(300000);
    makePartial("/part", content.left(100000), content.size());
    makeFile(QStringLiteral("whole"), content);
    makeFile(QStringLiteral("long_tmp"), content + content);
    makeFile(QStringLiteral("anew_tmp"), content.left(5));
    QJsonArray items;
    for (const QByteArray path : {"/part", "/whole", "/long", "/none", "/anew"}) {
        m_server->serve(path, content);
        QJsonObject file = itemFor(path, content);
        file.insert(QStringLiteral("disable_resume_download"), path == "/anew");
        items.append(file);
    }
    const QString guid = engine().submit(items);
    TRY_END(guid, "Success");
    const QJsonObject first = engine().events(Kind::Group, guid).constFirst().data;
    QCOMPARE(text(first, "status"), QStringLiteral("Pending"));
    QList<qint64> existing;
    const QJsonArray files = first.value(QStringLiteral("download_items")).toArray();
    for (const QJsonValue& file : files) {
        existing.append(number(file.toObject(), "existing_byte_count"));
    }
    QCOMPARE(existing, (QList<qint64>{100000, 300000, 0, 0, 0}));
}

void tst_VantorEngineResume::resumesWithoutAKnownSize()
{
    const QByteArray content = sampleContent(300000);
    makePartial("/a", content.left(100000), content.size());
    m_server->serve("/a", content);
    const QString guid = engine().submit({item("/a", 0, md5Of(content))});
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "size"), content.size());
}

/// Speeds are made of differences: what is there must be told at once, not file by file as each is started.
void tst_VantorEngineResume::tellsWhatIsThereFirst()
{
    const QByteArray content = sampleContent(300000);
    makePartial("/a", content.left(100000), content.size());
    makePartial("/b", content.left(50000), content.size());
    makeFile(QStringLiteral("c"), content);
    makeFile(QStringLiteral("d_tmp"), content); // without a state file: worth nothing
    QJsonArray list;
    for (const char* path : {"/a", "/b", "/c", "/d"}) {
        m_server->serve(path, content);
        list.append(itemFor(path, content));
    }
    QByteArray config(kTestConfig);
    config.replace("\"max_parallel_files\":6", "\"max_parallel_files\":1");
    engine().initEnv("", config.constData(), 4, 0);
    const QString guid = engine().submit(list);
    TRY_END(guid, "Success");
    const QJsonObject first = engine().events(Kind::Group, guid).constFirst().data;
    QCOMPARE(text(first, "status"), QStringLiteral("Pending"));
    const QJsonArray files = first.value(QStringLiteral("download_items")).toArray();
    QCOMPARE(number(files.at(0).toObject(), "existing_byte_count"), 100000);
    QCOMPARE(number(files.at(1).toObject(), "existing_byte_count"), 50000);
    QCOMPARE(number(files.at(2).toObject(), "existing_byte_count"), 300000);
    QCOMPARE(number(files.at(3).toObject(), "existing_byte_count"), 0);
}

void tst_VantorEngineResume::startsOverWithoutASoundStateFile_data()
{
    QTest::addColumn<QString>("damage");
    for (const char* damage : {"missing", "empty", "zero-filled", "cut off", "one bit", "text", "other URL",
                               "other size", "says more than there is"}) {
        QTest::newRow(damage) << QString::fromLatin1(damage);
    }
}

void tst_VantorEngineResume::startsOverWithoutASoundStateFile()
{
    QFETCH(QString, damage);
    const QByteArray content = sampleContent(300000);
    const QByteArray foreign = sampleContent(100000, 99); // would spoil the file if it were kept
    const QString stateName = QStringLiteral("a_tmp_state");
    makePartial(damage == QLatin1String("other URL") ? "/b/a" : "/a", foreign,
                damage == QLatin1String("other size") ? 300001 : 300000, "\"v1\"");
    QByteArray state = contentOf(stateName);
    if (damage == QLatin1String("missing")) {
        QVERIFY(QFile::remove(at(stateName)));
    } else if (damage == QLatin1String("empty")) {
        makeFile(stateName, {});
    } else if (damage == QLatin1String("zero-filled")) {
        makeFile(stateName, QByteArray(state.size(), 0));
    } else if (damage == QLatin1String("cut off")) {
        makeFile(stateName, state.left(state.size() / 4));
    } else if (damage == QLatin1String("one bit")) {
        const int place = state.indexOf("v1");
        state[place] = static_cast<char>(state.at(place) ^ 1);
        makeFile(stateName, state);
    } else if (damage == QLatin1String("text")) {
        makeFile(stateName, "no state file\n");
    } else if (damage == QLatin1String("says more than there is")) {
        makeFile(QStringLiteral("a_tmp"), foreign.left(99999));
    }
    m_server->on("/a", [content](const HttpRequest& request) {
        return HttpResponse::content(request, content).addHeader("ETag", "\"v1\"");
    });
    const QString guid = engine().submit({item("/a", content.size(), {})}); // no digest would tell
    TRY_END(guid, "Success");
    QCOMPARE(rangesAsked("/a"), QList<QByteArray>());
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "existing_byte_count"), 0);
    QVERIFY(!QFile::exists(at(stateName)));
}

void tst_VantorEngineResume::asksForTheSameVersion_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QByteArray>("ifRange");
    QTest::newRow("tag") << QByteArray("ETag") << QByteArray("\"v1\"") << QByteArray("\"v1\"");
    QTest::newRow("date") << QByteArray("Last-Modified") << QByteArray("Fri, 20 Nov 2026 12:00:00 GMT")
                          << QByteArray("Fri, 20 Nov 2026 12:00:00 GMT");
    QTest::newRow("weak tag") << QByteArray("ETag") << QByteArray("W/\"v1\"") << QByteArray();
}

void tst_VantorEngineResume::asksForTheSameVersion()
{
    QFETCH(QByteArray, header);
    QFETCH(QByteArray, value);
    QFETCH(QByteArray, ifRange);
    const QByteArray content = sampleContent(300000);
    m_server->once("/a", HttpResponse::ok(content).addHeader(header, value).closeAfter(120000));
    m_server->on("/a", [=](const HttpRequest& request) {
        return HttpResponse::content(request, content).addHeader(header, value);
    });
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    const HttpRequest last = m_server->requests("/a").constLast();
    QCOMPARE(last.header("Range"), QByteArray("bytes=120000-"));
    QCOMPARE(last.header("If-Range"), ifRange);
    QCOMPARE(last.header("Accept-Encoding"), QByteArray("identity"));
}

void tst_VantorEngineResume::startsOverWhenTheVersionHasChanged_data()
{
    QTest::addColumn<bool>("heedsIfRange");
    QTest::addColumn<int>("total");
    QTest::newRow("the server sends the whole") << true << 300000;
    QTest::newRow("the server sends a part of another version") << false << 300000;
    QTest::newRow("of another size") << false << 300001;
}

void tst_VantorEngineResume::startsOverWhenTheVersionHasChanged()
{
    QFETCH(bool, heedsIfRange);
    QFETCH(int, total);
    const QByteArray content = sampleContent(total);
    makePartial("/a", sampleContent(100000, 99), 300000, "\"old\"");
    m_server->on("/a", [=](const HttpRequest& request) {
        const bool whole = heedsIfRange && request.header("If-Range") != "\"new\"";
        return (whole ? HttpResponse::ok(content) : HttpResponse::content(request, content))
            .addHeader("ETag", "\"new\"");
    });
    const QString guid = engine().submit({item("/a", 0, {})}); // neither size nor digest would tell
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(rangesAsked("/a"), QList<QByteArray>{"bytes=100000-"});
    const QJsonObject file = engine().lastItem(guid, url("/a"));
    QCOMPARE(number(file, "existing_byte_count"), 0);
    QCOMPARE(number(file, "written_byte_count"), total);
    QCOMPARE(number(file, "current_retry_times"), 0);
}

void tst_VantorEngineResume::goesOnWithNoProofOfTheVersionOnlyWithADigest()
{
    const QByteArray content = sampleContent(300000);
    for (const char* path : {"/a", "/b"}) {
        m_server->once(path, HttpResponse::ok(content).closeAfter(120000));
        m_server->serve(path, content);
    }
    const QString guid = engine().submit({item("/a", content.size(), {}), itemFor("/b", content)});
    TRY_END(guid, "Success");
    QCOMPARE(rangesAsked("/a"), QList<QByteArray>());
    QCOMPARE(rangesAsked("/b"), QList<QByteArray>{"bytes=120000-"});
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(contentOf(QStringLiteral("b")), content);
}

void tst_VantorEngineResume::fetchesASplicedFileOnceMore()
{
    const QByteArray content = sampleContent(300000);
    makePartial("/a", sampleContent(100000, 99), content.size()); // of another version, as only the digest tells
    m_server->serve("/a", content);
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(m_server->requestCount("/a"), 2);
    QVERIFY(!m_server->requests("/a").value(1).hasHeader("Range"));
    QCOMPARE(engine().fileStatuses(guid, url("/a")),
             words("Start Preparing Prepared Downloading Downloaded Verifying Start Downloading Downloaded Verifying "
                   "Verified Success"));
    const QJsonObject file = engine().lastItem(guid, url("/a"));
    QCOMPARE(number(file, "current_retry_times"), 1);
    QCOMPARE(number(file, "written_byte_count"), content.size());
    QCOMPARE(engine().groupStatuses(guid), words("Pending Start Progressing Verifying Success"));
}

void tst_VantorEngineResume::leavesNoStateFile()
{
    const QByteArray content = sampleContent(2 * 1024 * 1024);
    m_server->on("/a", [content](const HttpRequest& request) {
        return HttpResponse::content(request, content).rate(8 * 1024 * 1024);
    });
    const QString guid = engine().submit({itemFor("/a", content)});
    QTRY_VERIFY(QFile::exists(at(QStringLiteral("a_tmp_state"))));
    TRY_END(guid, "Success");
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files), QStringList(QStringLiteral("a")));
}

/// A run may end between any two steps.
void tst_VantorEngineResume::clearsAwayWhatAnEndedRunHasLeft()
{
    const QByteArray content = sampleContent(3000);
    makePartial("/placed", content.left(100), content.size());
    QVERIFY(QFile::remove(at(QStringLiteral("placed_tmp"))));
    makeFile(QStringLiteral("placed"), content);
    makeFile(QStringLiteral("fetched_tmp_state.new"), "the beginning of a state");
    m_server->serve("/fetched", content);
    const QString guid = engine().submit({itemFor("/placed", content), itemFor("/fetched", content)});
    TRY_END(guid, "Success");
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files), words("fetched placed"));
}

void tst_VantorEngineResume::fillsTheHolesOfAnEarlierRun()
{
    const QByteArray content = sampleContent(300000);
    QByteArray holed = content.left(200000);
    holed.replace(50000, 50000, QByteArray(50000, 0));
    makeFile(QStringLiteral("a_tmp"), holed);
    VantorEngine::StateFile state(at(QStringLiteral("a_tmp_state")));
    VantorEngine::Coverage onDisk;
    onDisk.add({0, 50000});
    onDisk.add({100000, 200000});
    QVERIFY(state.create({url("/a"), url("/a"), "\"v1\"", content.size()}, onDisk));
    m_server->on("/a", [content](const HttpRequest& request) {
        return HttpResponse::content(request, content).addHeader("ETag", "\"v1\"");
    });
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(rangesAsked("/a"), (QList<QByteArray>{"bytes=50000-99999", "bytes=200000-"}));
    const QJsonObject file = engine().lastItem(guid, url("/a"));
    QCOMPARE(number(file, "existing_byte_count"), 150000);
    QCOMPARE(number(file, "written_byte_count"), 150000);
}

namespace {

constexpr int kLargeBytes = 64 * 1024 * 1024 + 12345;
constexpr qint64 kSegment = 16 * 1024 * 1024;

/// Quickly made, and no two segments alike.
QByteArray largeContent()
{
    QByteArray content;
    const QByteArray block = sampleContent(1000 * 1000);
    for (char i = 0; content.size() < kLargeBytes; ++i) {
        content += i + block;
    }
    content.truncate(kLargeBytes);
    return content;
}

} // namespace

void tst_VantorEngineResume::fetchesALargeFileInSegments()
{
    const QByteArray content = largeContent();
    m_server->on("/a", [content](const HttpRequest& request) {
        return HttpResponse::content(request, content).addHeader("ETag", "\"v1\"").rate(100 * 1000 * 1000);
    });
    m_server->serve("/b", content.left(1000));
    const QString guid = engine().submit({itemFor("/a", content), itemFor("/b", content.left(1000))});
    TRY_END(guid, "Success");
    QVERIFY(contentOf(QStringLiteral("a")) == content);
    QList<QByteArray> ranges = rangesAsked("/a");
    QCOMPARE(ranges.constFirst(), QByteArray("bytes=0-16777215"));
    QCOMPARE(QSet<QByteArray>(ranges.cbegin(), ranges.cend()),
             (QSet<QByteArray>{"bytes=0-16777215", "bytes=16777216-33554431", "bytes=33554432-50331647",
                               "bytes=50331648-67108863", "bytes=67108864-67121208"}));
    QCOMPARE(ranges.size(), 5); // each once
    const QVector<HttpRequest> requests = m_server->requests("/a");
    QVERIFY(!requests.constFirst().hasHeader("If-Range"));
    QCOMPARE(requests.constLast().header("If-Range"), QByteArray("\"v1\""));
    QVERIFY2(m_server->mostConnections() >= 4, qPrintable(QString::number(m_server->mostConnections())));
    QVERIFY2(m_server->mostConnections() <= 6, qPrintable(QString::number(m_server->mostConnections())));
    QCOMPARE(rangesAsked("/b"), QList<QByteArray>()); // small files are not split
    const QJsonObject file = engine().lastItem(guid, url("/a"));
    QCOMPARE(number(file, "written_byte_count"), kLargeBytes);
    QCOMPARE(number(file, "current_retry_times"), 0);
    QCOMPARE(engine().fileStatuses(guid, url("/a")),
             words("Start Preparing Prepared Downloading Downloaded Verifying Verified Success"));
}

void tst_VantorEngineResume::fetchesALoneLargeFileOverSeveralConnections()
{
    const QByteArray content = largeContent();
    m_server->on("/a", [content](const HttpRequest& request) {
        return HttpResponse::content(request, content).addHeader("ETag", "\"v1\"").rate(20 * 1000 * 1000);
    });
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QVERIFY(contentOf(QStringLiteral("a")) == content);
    QCOMPARE(m_server->mostConnections(), 5); // as many as there are segments
}

void tst_VantorEngineResume::goesOnWithSegmentsAfterACancel()
{
    const QByteArray content = largeContent();
    m_server->on("/a", [content](const HttpRequest& request) {
        HttpResponse response = HttpResponse::content(request, content).addHeader("ETag", "\"v1\"");
        // Those in the middle are quick: what is there has holes.
        return request.rangeStart() % (2 * kSegment) == 0 ? response.rate(4 * 1000 * 1000) : response;
    });
    QString guid = engine().submit({itemFor("/a", content)});
    QTRY_VERIFY_WITH_TIMEOUT(bytesDone(engine().lastItem(guid, url("/a"))) > 2 * kSegment, 20000);
    engine().cancel(guid.toUtf8().constData());
    TRY_END(guid, "Cancelled");
    const qint64 there = bytesDone(engine().lastItem(guid, url("/a")));
    QVERIFY(there < content.size());
    m_server->clearRequests();
    m_server->on("/a", [content](const HttpRequest& request) {
        return HttpResponse::content(request, content).addHeader("ETag", "\"v1\"");
    });
    guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QVERIFY(contentOf(QStringLiteral("a")) == content);
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "existing_byte_count"), there);
    qint64 asked = 0;
    for (const HttpRequest& request : m_server->requests("/a")) {
        QCOMPARE(request.header("If-Range"), QByteArray("\"v1\""));
        asked += request.rangeEnd() + 1 - request.rangeStart();
    }
    QCOMPARE(asked, content.size() - there); // nothing twice
}

void tst_VantorEngineResume::fetchesALargeFileAsAWholeFromASimpleServer_data()
{
    QTest::addColumn<bool>("ranges");
    QTest::addColumn<bool>("digest");
    QTest::addColumn<int>("requests");
    QTest::newRow("no ranges") << false << true << 1;
    QTest::newRow("ranges, but no version and no digest") << true << false << 2;
}

void tst_VantorEngineResume::fetchesALargeFileAsAWholeFromASimpleServer()
{
    QFETCH(bool, ranges);
    QFETCH(bool, digest);
    const QByteArray content = largeContent();
    m_server->on("/a", [=](const HttpRequest& request) {
        return ranges ? HttpResponse::content(request, content) : HttpResponse::ok(content);
    });
    const QString guid = engine().submit({item("/a", content.size(), digest ? md5Of(content) : QByteArray())});
    TRY_END(guid, "Success");
    QVERIFY(contentOf(QStringLiteral("a")) == content);
    QTEST(m_server->requestCount("/a"), "requests");
    QVERIFY(ranges != m_server->requests("/a").constLast().hasHeader("Range"));
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "current_retry_times"), 0);
}

void tst_VantorEngineResume::givesUpSegmentsThatFail()
{
    // A server that has too much to do at first: what is asked for beside the first segment is turned away, until the
    // connection that is left asks for it.
    const QByteArray content = largeContent();
    const auto refused = std::make_shared<QSet<qint64>>(); // of the server's thread
    const auto busy = std::make_shared<bool>(true);
    m_server->on("/a", [=](const HttpRequest& request) {
        *busy = *busy && !refused->contains(request.rangeStart());
        if (request.rangeStart() > 0 && *busy) {
            refused->insert(request.rangeStart());
            return HttpResponse::withStatus(503);
        }
        return HttpResponse::content(request, content).addHeader("ETag", "\"v1\"").rate(100 * 1000 * 1000);
    });
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QVERIFY(contentOf(QStringLiteral("a")) == content);
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "current_retry_times"), 0);
    QVERIFY(m_server->requestCount("/a") <= 10);
}

void tst_VantorEngineResume::takesTheWholeOfALargeFileThatChanges()
{
    QByteArray config(kTestConfig);
    config.replace("\"max_parallel_files\":6", "\"max_parallel_files\":1");
    engine().initEnv("", config.constData(), 4, 0);
    // The digest has gone along with the old bytes when the new ones begin.
    const QByteArray before = largeContent();
    QByteArray after = before;
    after.replace(0, 9, "version 2");
    m_server->on("/a", [=](const HttpRequest& request) {
        return request.rangeStart() == 0 ? HttpResponse::content(request, before).addHeader("ETag", "\"v1\"")
                                         : HttpResponse::ok(after).addHeader("ETag", "\"v2\"").delay(500);
    });
    const QString guid = engine().submit({itemFor("/a", after)});
    TRY_END(guid, "Success");
    QVERIFY(contentOf(QStringLiteral("a")) == after);
    QCOMPARE(m_server->requestCount("/a"), 2); // what came second was right
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "current_retry_times"), 0);
}

void tst_VantorEngineResume::keepsToOneMirrorThatTellsNoVersion()
{
    QByteArray config(kTestConfig);
    config.replace("\"max_parallel_files\":6", "\"max_parallel_files\":2");
    engine().initEnv("", config.constData(), 4, 0);
    const QByteArray content = largeContent();
    const auto visited = std::make_shared<std::atomic<bool>>(false);
    m_server->on("/a", [visited](const HttpRequest& request) {
        const bool elsewhere = request.rangeStart() == kSegment && !*visited;
        return HttpResponse::redirect(302, elsewhere ? "/other/a" : "/mirror/a");
    });
    m_server->on("/mirror/a", [content](const HttpRequest& request) {
        return HttpResponse::content(request, content).rate(100 * 1000 * 1000);
    });
    m_server->on("/other/a", [=](const HttpRequest& request) {
        *visited = true;
        return HttpResponse::content(request, content);
    });
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QVERIFY(contentOf(QStringLiteral("a")) == content);
    QVERIFY(visited->load());
    for (const HttpRequest& request : m_server->requests("/mirror/a")) {
        QVERIFY2(request.hasHeader("Range"), "what was there was thrown away");
    }
}

void tst_VantorEngineResume::resumesWithinARun()
{
    const QByteArray content = sampleContent(300000);
    m_server->once("/a", HttpResponse::ok(content).closeAfter(120000));
    m_server->serve("/a", content);
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(rangesAsked("/a"), QList<QByteArray>{"bytes=120000-"});
    const QJsonObject file = engine().lastItem(guid, url("/a"));
    QCOMPARE(number(file, "existing_byte_count"), 0); // all of it came in this run
    QCOMPARE(number(file, "written_byte_count"), content.size());
}

void tst_VantorEngineResume::startsOverWhenThePartialFileIsGone_data()
{
    QTest::addColumn<bool>("asked");
    QTest::newRow("before the next request") << false;
    QTest::newRow("before its response") << true;
}

/// Between two attempts the file is closed, and anybody may take it for a leftover.
void tst_VantorEngineResume::startsOverWhenThePartialFileIsGone()
{
    QFETCH(bool, asked);
    QByteArray config(kTestConfig);
    config.replace("\"retry_delay_ms\":5,\"retry_delay_cap_ms\":20",
                   "\"retry_delay_ms\":400,\"retry_delay_cap_ms\":400");
    engine().initEnv("", config.constData(), 4, 0);
    const QByteArray content = sampleContent(300000);
    m_server->once("/a", HttpResponse::ok(content).addHeader("ETag", "\"v1\"").closeAfter(120000));
    const QString partial = at(QStringLiteral("a_tmp"));
    std::atomic<bool> removed{false};
    m_server->on("/a", [=, &removed](const HttpRequest& request) {
        if (asked && request.hasHeader("Range")) {
            removed = QFile::remove(partial);
        }
        return HttpResponse::content(request, content).addHeader("ETag", "\"v1\"");
    });
    engine().setHook([=, &removed](const Event& event) {
        if (!asked && event.kind == Kind::Single && text(event.data, "status") == QLatin1String("Failed")) {
            removed = QFile::remove(partial);
        }
    });
    const QString guid = engine().submit({item("/a", content.size(), {})}); // no digest would tell
    TRY_END(guid, "Success");
    QVERIFY(removed);
    QVERIFY(contentOf(QStringLiteral("a")) == content);
    QVERIFY(!m_server->requests("/a").constLast().hasHeader("Range"));
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "current_retry_times"), 1);
}

void tst_VantorEngineResume::goesOnAsLongAsThereIsProgress()
{
    // Three retries in a row are the limit, but each of these ten brings the file on.
    const QByteArray content = sampleContent(1000 * 1000);
    m_server->on("/a", [content](const HttpRequest& request) {
        return HttpResponse::content(request, content).closeAfter(100 * 1000);
    });
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "current_retry_times"), 9);
}

void tst_VantorEngineResume::startsOverWhenResumingIsDisabled()
{
    const QByteArray content = sampleContent(300000);
    makePartial("/a", sampleContent(100000, 99), content.size());
    m_server->serve("/a", content);
    m_server->once("/a", HttpResponse::ok(content).closeAfter(200000));
    QJsonObject file = itemFor("/a", content);
    file.insert(QStringLiteral("disable_resume_download"), true);
    const QString guid = engine().submit({file});
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(rangesAsked("/a"), QList<QByteArray>());
    const QJsonObject last = engine().lastItem(guid, url("/a"));
    QCOMPARE(number(last, "current_retry_times"), 1);
    QCOMPARE(number(last, "existing_byte_count"), 0);
    QCOMPARE(number(last, "written_byte_count"), content.size());
}

void tst_VantorEngineResume::startsOverWhenTheServerSendsTheWhole()
{
    const QByteArray content = sampleContent(300000);
    makePartial("/a", sampleContent(100000, 99), content.size()); // would spoil the file if it were kept
    m_server->always("/a", HttpResponse::ok(content));
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QVERIFY(m_server->requests("/a").value(0).hasHeader("Range"));
    QCOMPARE(m_server->requestCount("/a"), 1);
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    const QJsonObject file = engine().lastItem(guid, url("/a"));
    QCOMPARE(number(file, "existing_byte_count"), 0);
    QCOMPARE(number(file, "written_byte_count"), content.size());
}

void tst_VantorEngineResume::neverSplicesPartialContentFromElsewhere()
{
    const QByteArray content = sampleContent(300000);
    makePartial("/a", content.left(100000), content.size(), "\"v1\"");
    m_server->once(
        "/a",
        HttpResponse::withStatus(206, content.mid(100001)).addHeader("Content-Range", "bytes 100001-299999/300000"));
    m_server->serve("/a", content);
    const QString guid = engine().submit({item("/a", content.size(), {})}); // nothing but the range can tell
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    const QVector<QJsonObject> texts = engine().fileTexts(guid, url("/a"));
    QCOMPARE(engine().fileStatuses(guid, url("/a")),
             words("Start Preparing Prepared Failed Start Downloading Downloaded Success"));
    QCOMPARE(number(member(texts.at(3), "url_net_error"), "error_code"), 902);
    QCOMPARE(number(texts.at(3), "current_retry_times"), 1);
    QVERIFY(!texts.at(3).value(QStringLiteral("completed")).toBool());
    QVERIFY(!texts.at(4).contains(QStringLiteral("url_net_error"))); // told once
}

void tst_VantorEngineResume::acceptsARefusedRangeWhenAllIsThere()
{
    const QByteArray content = sampleContent(3000);
    makePartial("/a", content, -1);
    m_server->serve("/a", content);
    const QString guid = engine().submit({item("/a", 0, md5Of(content))});
    TRY_END(guid, "Success");
    QCOMPARE(m_server->requestCount("/a"), 1);
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "existing_byte_count"), content.size());
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "written_byte_count"), 0);
}

void tst_VantorEngineResume::startsOverAfterARefusedRange_data()
{
    QTest::addColumn<int>("partial");
    QTest::addColumn<bool>("sizeKnown");
    QTest::addColumn<qint64>("total");
    QTest::newRow("more than the server has") << 5000 << false << qint64(3000);
    QTest::newRow("no total told") << 1000 << false << qint64(-1);
    QTest::newRow("size known") << 1000 << true << qint64(1000);
}

void tst_VantorEngineResume::startsOverAfterARefusedRange()
{
    QFETCH(int, partial);
    QFETCH(bool, sizeKnown);
    QFETCH(qint64, total);
    const QByteArray content = sampleContent(3000);
    makePartial("/a", sampleContent(partial, 99), sizeKnown ? content.size() : -1);
    m_server->once("/a", HttpResponse::rangeNotSatisfiable(total));
    m_server->serve("/a", content);
    const QString guid = engine().submit({item("/a", sizeKnown ? content.size() : 0, md5Of(content))});
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(m_server->requestCount("/a"), 2);
    QVERIFY(!m_server->requests("/a").value(1).hasHeader("Range"));
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "existing_byte_count"), 0);
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "current_retry_times"), 0);
}

void tst_VantorEngineResume::givesUpOnARangeThatIsRefusedTwice()
{
    const QByteArray content = sampleContent(3000);
    makePartial("/a", content.left(1000), content.size());
    m_server->once("/a", HttpResponse::rangeNotSatisfiable(-1));
    m_server->once("/a", HttpResponse::ok(content).closeAfter(2000)); // leaves something to resume from
    m_server->always("/a", HttpResponse::rangeNotSatisfiable(-1));
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Failed");
    QCOMPARE(rangesAsked("/a"), (QList<QByteArray>{"bytes=1000-", "bytes=2000-"}));
    const QJsonObject file = engine().lastItem(guid, url("/a"));
    QCOMPARE(number(member(file, "url_net_error"), "error_code"), 416);
    QVERIFY(file.value(QStringLiteral("completed")).toBool());
}

void tst_VantorEngineResume::startsOverWithAPartialFileThatIsTooLong()
{
    const QByteArray content = sampleContent(3000);
    makePartial("/a", content + "x", content.size() + 1);
    m_server->serve("/a", content);
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QVERIFY(!m_server->requests("/a").value(0).hasHeader("Range"));
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "existing_byte_count"), 0);
}

void tst_VantorEngineResume::verifiesAPartialFileThatIsComplete()
{
    const QByteArray content = sampleContent(3000);
    makePartial("/a", content, content.size());
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QCOMPARE(m_server->requestCount(), 0);
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(engine().fileStatuses(guid, url("/a")),
             words("Start Preparing Prepared Downloaded Verifying Verified Success"));
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "existing_byte_count"), content.size());
}

void tst_VantorEngineResume::resumesAfterBeingKilled()
{
    const QByteArray content = sampleContent(3 * 1000 * 1000);
    m_server->on("/a", [content](const HttpRequest& request) {
        return HttpResponse::content(request, content).rate(4 * 1000 * 1000);
    });
    const QJsonObject list{{QStringLiteral("download_items"), QJsonArray{itemFor("/a", content)}}};
    const QStringList arguments = hostArguments(QJsonDocument(list).toJson(), {});
    for (int i = 1; i <= 4; ++i) {
        QProcess host;
        host.start(QStringLiteral(ENGINE_HOST), arguments);
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(at(QStringLiteral("a_tmp"))).size() > i * 400 * 1000, 20000);
        host.kill();
        QVERIFY(host.waitForFinished());
        QVERIFY(!QFile::exists(at(QStringLiteral("a"))));
        const QByteArray left = contentOf(QStringLiteral("a_tmp"));
        QVERIFY(content.startsWith(left));
    }
    QProcess host;
    host.start(QStringLiteral(ENGINE_HOST), arguments);
    QVERIFY(host.waitForFinished(20000));
    QCOMPARE(host.exitCode(), 0);
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QVERIFY(!QFile::exists(at(QStringLiteral("a_tmp"))));
    const QVector<HttpRequest> requests = m_server->requests("/a");
    QCOMPARE(requests.size(), 5);
    for (int i = 1; i < requests.size(); ++i) {
        // Goes on where it was, never from the start. A kill may fall between a write and its note, so the last piece
        // that was written need not count.
        QVERIFY(requests.at(i).rangeStart() > i * 400 * 1000 - VantorEngine::Transfer::kSliceBytes);
    }
}

QTEST_GUILESS_MAIN(tst_VantorEngineResume)
#include "tst_VantorEngineResume.moc"

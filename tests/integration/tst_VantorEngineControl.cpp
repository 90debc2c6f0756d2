// SPDX-License-Identifier: MIT
// Cancelling, limiting, listening and ending: what a host does with groups that run.
#include "EngineTest.h"
#include "StateFile.h"

#include <QDir>
#include <QJsonDocument>
#include <QProcess>
#include <QtTest>

#include <algorithm>
#include <atomic>

using namespace EngineTesting;

#ifdef Q_OS_LINUX
namespace {

/// What a group of very many files is watched by: the recorded texts of all of them would fill the memory themselves.
struct Watch
{
    static void onSingleTask(const char*, const char*, const char* data);
    static void onGroupTask(const char*, const char* data);
    static int openHandles() { return static_cast<int>(QDir(QStringLiteral("/proc/self/fd")).count()); }
    static qint64 residentBytes();

    static std::atomic<int> begun;
    static std::atomic<int> failures;
    static std::atomic<int> mostHandles;
    static std::atomic<qint64> earlyBytes; ///< resident after the first files
    static std::atomic<qint64> mostBytes;
    static std::atomic<bool> ended;
};

std::atomic<int> Watch::begun{0};
std::atomic<int> Watch::failures{0};
std::atomic<int> Watch::mostHandles{0};
std::atomic<qint64> Watch::earlyBytes{0};
std::atomic<qint64> Watch::mostBytes{0};
std::atomic<bool> Watch::ended{false};

qint64 Watch::residentBytes()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    return file.open(QIODevice::ReadOnly) ? file.readAll().split(' ').value(1).toLongLong() * 4096 : 0;
}

void Watch::onSingleTask(const char*, const char*, const char* data)
{
    const QByteArray text = QByteArray::fromRawData(data, static_cast<int>(qstrlen(data)));
    if (text.contains("\"status\":\"Failed\"")) {
        ++failures;
    }
    if (!text.contains("\"status\":\"Downloading\"") || ++begun % 100 != 0) {
        return;
    }
    mostHandles = qMax(mostHandles.load(), openHandles());
    mostBytes = qMax(mostBytes.load(), residentBytes());
    if (begun == 1000) {
        earlyBytes = mostBytes.load();
    }
}

void Watch::onGroupTask(const char*, const char* data)
{
    const QByteArray head(data, static_cast<int>(qMin<size_t>(qstrlen(data), 200)));
    ended = head.contains("\"status\":\"Success\",\"download_items\"") ||
            head.contains("\"status\":\"Failed\",\"download_items\"");
}

} // namespace
#endif

class tst_VantorEngineControl : public EngineTest
{
    Q_OBJECT
private slots:
    void cancelsQuicklyAndResumes();
    void cancelsDuringVerification();
    void cancelsWhatWaits();
    void cancelsFromInsideACallback();
    void staysCancelledAfterAFailure();
    void ignoresUnknownGuids();
    void releasesAGroupSilently();

    void startsNoCallbackAfterRemoval();
    void removesCallbacksFromInsideACallback();
    void callsNoEarlierThanTheGuidIsKnown();

    void limitsBandwidth();
    void changesTheLimitWithinASecond();
    void appliesTheCallbackInterval();
    void transfersSeveralFilesAtOnce_data();
    void transfersSeveralFilesAtOnce();
    void letsGroupsTakeTurns();
#ifdef Q_OS_LINUX
    void queuesTenThousandFiles();
#endif

    void endsWithTheProcess_data();
    void endsWithTheProcess();
};

void tst_VantorEngineControl::cancelsQuicklyAndResumes()
{
    const QByteArray content = sampleContent(2 * 1024 * 1024);
    const QByteArray other = sampleContent(1000, 3);
    m_server->once("/a", HttpResponse::ok(content).stallAfter(500000));
    m_server->serve("/a", content);
    m_server->serve("/b", other);
    const QJsonArray list{itemFor("/a", content), itemFor("/b", other)};
    QString guid = engine().submit(list);
    QTRY_COMPARE(QFileInfo(at(QStringLiteral("a_tmp"))).size(), 500000);
    QTRY_COMPARE(text(engine().lastItem(guid, url("/b")), "status"), QStringLiteral("Success"));
    QElapsedTimer timer;
    timer.start();
    engine().cancel(guid.toUtf8().constData());
    TRY_END(guid, "Cancelled");
    // The stalled server would be waited for much longer.
    QVERIFY2(timer.elapsed() < 10000, qPrintable(QString::number(timer.elapsed())));
    const QStringList groupStatuses = engine().groupStatuses(guid);
    QCOMPARE(groupStatuses.mid(groupStatuses.size() - 2), words("Cancelling Cancelled"));
    const QStringList statuses = engine().fileStatuses(guid, url("/a"));
    QCOMPARE(statuses.mid(statuses.size() - 3), words("Downloading Cancelling Cancelled"));
    const QJsonObject file = engine().lastItem(guid, url("/a"));
    QCOMPARE(text(file, "status"), QStringLiteral("Cancelled"));
    QVERIFY(file.value(QStringLiteral("completed")).toBool());
    QCOMPARE(bytesDone(file), 500000);
    QCOMPARE(text(engine().lastItem(guid, url("/b")), "status"), QStringLiteral("Success"));
    QCOMPARE(QFileInfo(at(QStringLiteral("a_tmp"))).size(), 500000);

    guid = engine().submit(list);
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(m_server->requests("/a").value(1).header("Range"), QByteArray("bytes=500000-"));
    QCOMPARE(m_server->requestCount("/b"), 1);
}

void tst_VantorEngineControl::cancelsDuringVerification()
{
    // Complete, and sparse where the file system can: hashing it takes seconds.
    const qint64 size = 4LL * 1024 * 1024 * 1024;
    QFile large(at(QStringLiteral("a_tmp")));
    QVERIFY(large.open(QIODevice::WriteOnly));
    QVERIFY(large.resize(size));
    large.close();
    VantorEngine::StateFile state(at(QStringLiteral("a_tmp_state")));
    VantorEngine::Coverage onDisk;
    onDisk.add({0, size});
    QVERIFY(state.create({url("/a"), url("/a"), {}, size}, onDisk));
    state.close();
    const QString guid = engine().submit({item("/a", size, md5Of("another"))});
    QTRY_VERIFY(number(engine().lastItem(guid, url("/a")), "verified_byte_count") > 0);
    QCOMPARE(text(engine().lastItem(guid, url("/a")), "status"), QStringLiteral("Verifying"));
    QCOMPARE(text(engine().lastGroup(guid), "status"), QStringLiteral("Verifying"));
    QTRY_VERIFY(number(engine().lastItem(guid, url("/a")), "verified_speed_byte") > 0);
    engine().cancel(guid.toUtf8().constData());
    TRY_END(guid, "Cancelled");
    // In the middle of it, not after it.
    const QJsonObject file = engine().lastItem(guid, url("/a"));
    QCOMPARE(text(file, "status"), QStringLiteral("Cancelled"));
    QVERIFY2(number(file, "verified_byte_count") < size,
             qPrintable(QString::number(number(file, "verified_byte_count"))));
    QCOMPARE(QFileInfo(at(QStringLiteral("a_tmp"))).size(), size);
}

void tst_VantorEngineControl::cancelsWhatWaits()
{
    // One file fails and waits for its retry, six are stalled, one has not been started.
    QByteArray config(kTestConfig);
    config.replace("\"retry_delay_ms\":5,\"retry_delay_cap_ms\":20",
                   "\"retry_delay_ms\":60000,\"retry_delay_cap_ms\":60000");
    engine().initEnv("", config.constData(), 4, 0);
    QJsonArray list;
    m_server->always("/f0", HttpResponse::withStatus(503));
    list.append(item("/f0", 1000, {}));
    for (int i = 1; i <= 7; ++i) {
        const QByteArray path = "/f" + QByteArray::number(i);
        m_server->always(path, HttpResponse::ok(sampleContent(1000)).stallAfter(10));
        list.append(item(path, 1000, {}));
    }
    const QString guid = engine().submit(list);
    QTRY_COMPARE(m_server->requestCount(), 7);
    QTRY_COMPARE(text(engine().lastItem(guid, url("/f0")), "status"), QStringLiteral("Failed"));
    QTRY_COMPARE(text(engine().lastItem(guid, url("/f6")), "status"), QStringLiteral("Downloading"));
    engine().cancel(guid.toUtf8().constData());
    TRY_END(guid, "Cancelled");
    for (int i = 0; i <= 7; ++i) {
        const QString address = url("/f" + QByteArray::number(i));
        QCOMPARE(text(engine().lastItem(guid, address), "status"), QStringLiteral("Cancelled"));
        QVERIFY(engine().lastItem(guid, address).value(QStringLiteral("completed")).toBool());
    }
    QCOMPARE(engine().fileStatuses(guid, url("/f7")), words("Cancelled"));
    QCOMPARE(m_server->requestCount(), 7);
}

void tst_VantorEngineControl::cancelsFromInsideACallback()
{
    const QByteArray content = sampleContent(2 * 1024 * 1024);
    m_server->always("/a", HttpResponse::ok(content).stallAfter(1000));
    engine().setHook([](const Event& event) {
        if (event.kind == Kind::Single && text(event.data, "status") == QLatin1String("Downloading")) {
            engine().cancel(event.guid.toUtf8().constData());
        }
    });
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Cancelled");
}

void tst_VantorEngineControl::staysCancelledAfterAFailure()
{
    m_server->always("/bad", HttpResponse::withStatus(403));
    m_server->always("/slow", HttpResponse::ok(sampleContent(1000)).stallAfter(10));
    engine().setHook([](const Event& event) {
        // What the library does when a file fails for good.
        if (event.kind == Kind::Single && text(event.data, "status") == QLatin1String("Failed")) {
            engine().cancel(event.guid.toUtf8().constData());
        }
    });
    const QString guid = engine().submit({item("/bad", 1000, {}), item("/slow", 1000, {})});
    TRY_END(guid, "Cancelled");
    QCOMPARE(text(engine().lastItem(guid, url("/bad")), "status"), QStringLiteral("Failed"));
    QCOMPARE(text(engine().lastItem(guid, url("/slow")), "status"), QStringLiteral("Cancelled"));
}

void tst_VantorEngineControl::ignoresUnknownGuids()
{
    const QByteArray content = sampleContent(1000);
    m_server->serve("/a", content);
    engine().cancel("no such group");
    engine().cancelChunkTask("no such task");
    engine().release("no such group");
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    const int before = engine().events().size();
    engine().cancel(guid.toUtf8().constData()); // has ended
    TRY_END(engine().submitText("[]"), "Failed");
    QCOMPARE(engine().events(Kind::Group, guid).constLast().data, engine().lastGroup(guid));
    QCOMPARE(engine().endStatus(guid), QStringLiteral("Success"));
    QCOMPARE(engine().events().size(), before + 1);
}

void tst_VantorEngineControl::releasesAGroupSilently()
{
    const QByteArray content = sampleContent(100000);
    m_server->once("/a", HttpResponse::ok(content).stallAfter(50000));
    m_server->serve("/a", content);
    const QString guid = engine().submit({itemFor("/a", content)});
    QTRY_COMPARE(QFileInfo(at(QStringLiteral("a_tmp"))).size(), 50000);
    QTRY_COMPARE(bytesDone(engine().lastItem(guid, url("/a"))), 50000);
    engine().release(guid.toUtf8().constData());
    QTRY_COMPARE(m_server->openConnections(), 0);
    const int before = engine().events(Kind::Group, guid).size();
    const QString next = engine().submit({itemFor("/a", content)}); // the path is free again
    TRY_END(next, "Success");
    QCOMPARE(engine().events(Kind::Group, guid).size(), before);
    QCOMPARE(engine().endStatus(guid), QString());
    QCOMPARE(m_server->requests("/a").value(1).header("Range"), QByteArray("bytes=50000-"));
}

void tst_VantorEngineControl::startsNoCallbackAfterRemoval()
{
    const QByteArray content = sampleContent(1000 * 1000);
    m_server->always("/a", HttpResponse::ok(content).rate(500 * 1000));
    const QString guid = engine().submit({itemFor("/a", content)});
    QTRY_VERIFY(engine().events(Kind::Group, guid).size() > 5);
    engine().removeCallback();
    const int after = engine().events().size();
    QTRY_COMPARE_WITH_TIMEOUT(contentOf(QStringLiteral("a")).size(), content.size(), 10000); // it goes on unheard
    QCOMPARE(engine().events().size(), after);
}

void tst_VantorEngineControl::removesCallbacksFromInsideACallback()
{
    m_server->always("/a", HttpResponse::ok(sampleContent(1000)).stallAfter(10));
    std::atomic<qint64> tookMs{-1};
    engine().setHook([&tookMs](const Event& event) {
        if (event.kind == Kind::Group && tookMs < 0) {
            QElapsedTimer timer;
            timer.start();
            engine().removeCallback();
            tookMs = timer.elapsed();
        }
    });
    const QString guid = engine().submit({item("/a", 1000, {})});
    QTRY_VERIFY(tookMs >= 0);
    QVERIFY2(tookMs < 1000, qPrintable(QString::number(tookMs))); // what it waits for calls on other threads
    QTRY_COMPARE(m_server->requestCount(), 1);
    QCOMPARE(engine().events(Kind::Group, guid).size(), 1);
}

void tst_VantorEngineControl::callsNoEarlierThanTheGuidIsKnown()
{
    const QByteArray content = sampleContent(1000);
    m_server->serve("/a", content);
    engine().clear();
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QVERIFY(engine().events(Kind::Single, guid).constFirst().atMs >= 28);
    QCOMPARE(text(engine().events(Kind::Group, guid).constFirst().data, "status"), QStringLiteral("Pending"));
}

void tst_VantorEngineControl::limitsBandwidth()
{
    const qint64 limit = 400 * 1000;
    const QByteArray content = sampleContent(4 * 1000 * 1000);
    m_server->serve("/a", content);
    m_server->serve("/b", content);
    engine().setConfig(R"({"download_policy":{"download_bandwidth":400000,"progress_callback_interval":10}})");
    QElapsedTimer timer;
    timer.start();
    const QString guid = engine().submit({itemFor("/a", content), itemFor("/b", content)});
    const auto done = [&] {
        return bytesDone(engine().lastItem(guid, url("/a"))) + bytesDone(engine().lastItem(guid, url("/b")));
    };
    QTRY_VERIFY_WITH_TIMEOUT(done() > limit, 10000); // more than a second's worth, over both files
    const qint64 bytes = done();
    const qint64 elapsedMs = timer.elapsed(); // after the bytes: a pause between the two must not make them too many
    QVERIFY2(bytes <= limit * elapsedMs / 1000 + limit / 5,
             qPrintable(QStringLiteral("%1 bytes in %2 ms").arg(bytes).arg(elapsedMs)));
    // Both get their share.
    QVERIFY(bytesDone(engine().lastItem(guid, url("/a"))) > bytes / 4);
    QVERIFY(bytesDone(engine().lastItem(guid, url("/b"))) > bytes / 4);
    QVERIFY(number(engine().lastItem(guid, url("/a")), "bandwidth_byte") > 0);
    // Lifted while the group runs: the other 7 MB would take 18 seconds with the limit.
    timer.restart();
    engine().setConfig(R"({"download_policy":{"download_bandwidth":0}})");
    TRY_END(guid, "Success");
    QVERIFY2(timer.elapsed() < 15000, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(contentOf(QStringLiteral("a")), content);
}

void tst_VantorEngineControl::changesTheLimitWithinASecond()
{
    const QByteArray content = sampleContent(16 * 1000 * 1000);
    m_server->serve("/a", content);
    const auto setLimit = [](const char* bytesPerSecond) {
        engine().setConfig(("{\"download_policy\":{\"progress_callback_interval\":10,\"download_bandwidth\":" +
                            QByteArray(bytesPerSecond) + "}}")
                               .constData());
        return engine().events().isEmpty() ? 0 : engine().events().constLast().atMs;
    };
    setLimit("500000");
    const QString guid = engine().submit({itemFor("/a", content)});
    const auto doneAt = [&](qint64 ms) {
        qint64 done = 0;
        for (const Event& event : engine().events(Kind::Group, guid)) {
            if (event.atMs <= ms) {
                done = bytesDone(event.data.value(QStringLiteral("download_items")).toArray().at(0).toObject());
            }
        }
        return done;
    };
    // Bytes of the last second. Only seconds that begin a second after the change count.
    const auto lastSecond = [&](qint64 changedMs) -> qint64 {
        const qint64 now = engine().events(Kind::Group, guid).constLast().atMs;
        return now < changedMs + 2000 ? -1 : doneAt(now) - doneAt(now - 1000);
    };
    QTRY_VERIFY_WITH_TIMEOUT(bytesDone(engine().lastItem(guid, url("/a"))) > 250000, 30000);
    qint64 changedMs = setLimit("3000000");
    // On a busy machine it may take some more seconds until one is as fast as it may be.
    qint64 fastest = 0;
    QTRY_VERIFY_WITH_TIMEOUT((fastest = std::max(fastest, lastSecond(changedMs))) > 1500000, 30000);
    QVERIFY2(fastest < 3900000, qPrintable(QString::number(fastest)));
    changedMs = setLimit("200000");
    QTRY_VERIFY_WITH_TIMEOUT(lastSecond(changedMs) >= 0, 30000);
    const qint64 slow = lastSecond(changedMs);
    QVERIFY2(slow > 20000 && slow < 260000, qPrintable(QString::number(slow)));
}

void tst_VantorEngineControl::appliesTheCallbackInterval()
{
    m_server->always("/a", HttpResponse::ok(sampleContent(1000)).stallAfter(10));
    const QString guid = engine().submit({item("/a", 1000, {})});
    const auto gapsAtLeast = [&](int count, qint64 leastMs) {
        const QVector<Event> groups = engine().events(Kind::Group, guid);
        int gaps = 0;
        for (int i = groups.size() - 1; i > 0 && groups.at(i).atMs - groups.at(i - 1).atMs >= leastMs; --i) {
            ++gaps;
        }
        return gaps >= count;
    };
    QTRY_VERIFY(engine().events(Kind::Group, guid).size() > 20); // every 10 ms
    engine().setConfig(R"({"download_policy":{"progress_callback_interval":200}})");
    QTRY_VERIFY(gapsAtLeast(3, 150));
    engine().setConfig(R"({"download_policy":{"progress_callback_interval":0}})"); // the default, 100 ms
    const int before = engine().events(Kind::Group, guid).size();
    QTRY_VERIFY(engine().events(Kind::Group, guid).size() >= before + 4);
    QVERIFY(gapsAtLeast(2, 60));
}

void tst_VantorEngineControl::transfersSeveralFilesAtOnce_data()
{
    QTest::addColumn<int>("limit");
    QTest::newRow("one") << 1;
    QTest::newRow("default") << 6;
    QTest::newRow("more than one manager's") << 8;
}

void tst_VantorEngineControl::transfersSeveralFilesAtOnce()
{
    QFETCH(int, limit);
    engine().initEnv("", QByteArray("{\"max_parallel_files\":" + QByteArray::number(limit) + '}').constData(), 4, 0);
    const QByteArray content = sampleContent(1000);
    std::atomic<bool> stall{true};
    QJsonArray first;
    QJsonArray second;
    for (int i = 0; i < 20; ++i) {
        const QByteArray path = "/f" + QByteArray::number(i);
        m_server->on(path, [content, &stall](const HttpRequest& request) {
            HttpResponse response = HttpResponse::content(request, content);
            return stall ? response.stallAfter(10) : response;
        });
        (i < 10 ? first : second).append(itemFor(path, content));
    }
    const QString guid = engine().submit(first);
    const QString other = engine().submit(second);
    QTRY_COMPARE(m_server->requestCount(), limit);
    QTRY_VERIFY(engine().events(Kind::Group, guid).size() > 20); // time enough for one too many
    QCOMPARE(m_server->requestCount(), limit);
    QCOMPARE(m_server->mostConnections(), limit);
    stall = false;
    m_server->dropConnections();
    TRY_END(guid, "Success");
    TRY_END(other, "Success");
}

void tst_VantorEngineControl::letsGroupsTakeTurns()
{
    engine().initEnv("", R"({"max_parallel_files":1})", 4, 0);
    const QByteArray content = sampleContent(1000);
    m_server->once("/first", HttpResponse::ok(content).stallAfter(10));
    m_server->serve("/first", content);
    const QString blocking = engine().submit({itemFor("/first", content)});
    QTRY_COMPARE(m_server->requestCount(), 1);
    QStringList guids;
    for (const char* group : {"/a", "/b", "/c"}) {
        QJsonArray list;
        for (int i = 0; i < 3; ++i) {
            const QByteArray path = group + QByteArray::number(i);
            m_server->serve(path, content);
            list.append(itemFor(path, content));
        }
        guids.append(engine().submit(list));
    }
    QTRY_VERIFY(!engine().groupStatuses(guids.at(2)).isEmpty());
    engine().cancel(blocking.toUtf8().constData());
    for (const QString& guid : std::as_const(guids)) {
        TRY_END(guid, "Success");
    }
    QStringList rounds{QString(), QString(), QString()};
    const QVector<HttpRequest> requests = m_server->requests().mid(1);
    QCOMPARE(requests.size(), 9);
    for (int i = 0; i < requests.size(); ++i) {
        rounds[i / 3] += QString::fromLatin1(requests.at(i).path().mid(1));
    }
    // Whoever begins, a round has one file of each group, and each group's files keep their order.
    for (int i = 0; i < 3; ++i) {
        for (const char* group : {"a", "b", "c"}) {
            QVERIFY2(rounds.at(i).contains(QLatin1String(group) + QString::number(i)), qPrintable(rounds.at(i)));
        }
    }
}

#ifdef Q_OS_LINUX
void tst_VantorEngineControl::queuesTenThousandFiles()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    // Slower, and what was freed is kept for a while.
    constexpr int kFiles = 2000;
    constexpr qint64 kMostGrowth = 1024LL * 1024 * 1024;
#else
    constexpr int kFiles = 10000;
    constexpr qint64 kMostGrowth = 48LL * 1024 * 1024;
#endif
    constexpr int kAnswerMs = 30000 / kFiles; // five seconds for all of them at least
    constexpr int kParallel = 6;
    constexpr int kResponseTimeoutMs = 3000;
    QByteArray config(kTestConfig);
    config.replace("\"response_timeout_ms\":30000",
                   "\"response_timeout_ms\":" + QByteArray::number(kResponseTimeoutMs));
    engine().initEnv("", config.constData(), 4, 0);
    QJsonArray list;
    for (int i = 0; i < kFiles; ++i) {
        const QByteArray path = "/f" + QByteArray::number(i);
        m_server->always(path, HttpResponse::ok(path).delay(kAnswerMs));
        list.append(item(path, path.size(), {}));
    }
    engine().setSingleTaskCallback(&Watch::onSingleTask);
    engine().setGroupTaskCallback(&Watch::onGroupTask);
    const int handlesBefore = Watch::openHandles();
    QElapsedTimer timer;
    timer.start();
    engine().submit(list);
    QTRY_VERIFY_WITH_TIMEOUT(Watch::ended, 120000);
    QVERIFY(timer.elapsed() > kResponseTimeoutMs); // the last ones have waited for longer than that
    QCOMPARE(Watch::failures.load(), 0);
    QCOMPARE(Watch::begun.load(), kFiles);
    QCOMPARE(m_server->requestCount(), kFiles);
    QCOMPARE(QDir(m_folder->path()).entryList({QStringLiteral("f*")}, QDir::Files).size(), kFiles);
    QVERIFY2(m_server->mostConnections() <= kParallel, qPrintable(QString::number(m_server->mostConnections())));
    // Both ends of each connection, two files for each, and what threads and event loops take.
    const int handles = Watch::mostHandles - handlesBefore;
    QVERIFY2(handles <= 4 * kParallel + 20, qPrintable(QString::number(handles)));
    const qint64 grown = Watch::mostBytes - Watch::earlyBytes;
    QVERIFY2(grown < kMostGrowth, qPrintable(QString::number(grown)));
    qInfo("%lld ms, %d handles more, %lld KiB grown after the first 1,000 files", timer.elapsed(), handles,
          grown / 1024);
}
#endif

void tst_VantorEngineControl::endsWithTheProcess_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::newRow("exit()") << QStringList{QStringLiteral("--exit-after"), QStringLiteral("100000")};
    QTest::newRow("return from main()") << QStringList{QStringLiteral("--return-after"), QStringLiteral("100000")};
    QTest::newRow("exit(), no application")
        << QStringList{QStringLiteral("--no-app"), QStringLiteral("--exit-after"), QStringLiteral("100000")};
    QTest::newRow("return from main(), no application")
        << QStringList{QStringLiteral("--no-app"), QStringLiteral("--return-after"), QStringLiteral("100000")};
    QTest::newRow("after the end, no application") << QStringList{QStringLiteral("--no-app")};
}

void tst_VantorEngineControl::endsWithTheProcess()
{
    QFETCH(QStringList, options);
    const QByteArray content = sampleContent(1000 * 1000);
    QJsonArray items;
    for (int i = 0; i < 6; ++i) {
        const QByteArray path = "/f" + QByteArray::number(i);
        m_server->on(path, [content](const HttpRequest& request) {
            return HttpResponse::content(request, content).rate(1000 * 1000);
        });
        items.append(itemFor(path, content));
    }
    const QJsonObject list{{QStringLiteral("download_items"), items}};
    const QStringList arguments = hostArguments(QJsonDocument(list).toJson(), options);
    for (int i = 0; i < 3; ++i) {
        QProcess host;
        host.start(QStringLiteral(ENGINE_HOST), arguments);
        QVERIFY(host.waitForFinished(20000));
        QCOMPARE(host.exitStatus(), QProcess::NormalExit);
        QVERIFY2(host.exitCode() == 0, host.readAllStandardError());
        QDir(m_folder->path()).remove(QStringLiteral("out.json"));
    }
}

QTEST_GUILESS_MAIN(tst_VantorEngineControl)
#include "tst_VantorEngineControl.moc"

// SPDX-License-Identifier: MIT
// What a host of the engine sees when all goes well: states, reports, files on disk.
#include "EngineTest.h"

#include <QProcess>
#include <QtTest>

#include <mutex>
#include <thread>
#include <vector>

using namespace EngineTesting;

class tst_VantorEngine : public EngineTest
{
    Q_OBJECT
private slots:
    void reportsItsState();
    void reportsItsStateToACallbackInstalledBefore();
    void returnsGuidsThatLast();
    void logsToTheHandler();

    void downloadsAGroup();
    void namesEveryStateInOrder();
    void leavesVerifyingOutWithoutChecksum();
    void takesTheSizeFromTheServer_data();
    void takesTheSizeFromTheServer();
    void makesFoldersAndOddNames();
    void tellsAboutTheResponse();

    void keepsAFileThatIsInPlace_data();
    void keepsAFileThatIsInPlace();
    void replacesAFileThatDiffers_data();
    void replacesAFileThatDiffers();

    void reportsDuplicates();
    void fetchesAgainWhatARunningGroupIsThroughWith();
    void waitsForAPathThatIsTaken();
    void fetchesTheSamePathTwiceInTurn();
    void failsBrokenLists_data();
    void failsBrokenLists();
    void answersChunkTasks();
    void acceptsCallsFromManyThreads();
    void downloadsThousandsOfFiles();
#ifndef Q_OS_WIN
    void exportsNothingElse();
#endif
};

void tst_VantorEngine::reportsItsState()
{
    QTRY_COMPARE(engine().events(Kind::State, {}).size(), 1); // init()'s
    engine().removeCallback();
    engine().initEnv("", kTestConfig, 4, 0);
    engine().clear();
    engine().install();
    QTRY_COMPARE(engine().events(Kind::State, {}).size(), 1);
    QCOMPARE(text(engine().events().value(0).data, "state"), QStringLiteral("Running"));
}

void tst_VantorEngine::reportsItsStateToACallbackInstalledBefore()
{
    QTRY_VERIFY(!engine().events(Kind::State, {}).isEmpty());
    engine().clear();
    engine().initEnv("", kTestConfig, 4, 0);
    QTRY_COMPARE(engine().events(Kind::State, {}).size(), 1);
    // Once per start: what is submitted now is answered without another report.
    TRY_END(engine().submitText("[]"), "Failed");
    QCOMPARE(engine().events(Kind::State, {}).size(), 1);
}

void tst_VantorEngine::returnsGuidsThatLast()
{
    const char* const first = engine().setDownloadList("", "");
    const QByteArray copy(first);
    for (int i = 0; i < 1000; ++i) {
        engine().setDownloadList("", "");
    }
    QCOMPARE(QByteArray(first), copy);
    QVERIFY(!copy.contains('{'));
}

void tst_VantorEngine::logsToTheHandler()
{
    engine().initEnv("", kTestConfig, 3, 0);
    engine().setLogHandler(EngineClient::onLog);
    const QString guid = engine().submitText("no list");
    TRY_END(guid, "Failed");
    engine().setLogHandler(nullptr);
    QStringList lines;
    for (const Event& line : engine().events(Kind::Log, {})) {
        QVERIFY(line.severity >= 3);
        if (line.message.startsWith(QStringLiteral("group %1 failed: ").arg(guid))) {
            lines.append(line.message);
        }
    }
    QCOMPARE(lines.size(), 1);
}

void tst_VantorEngine::downloadsAGroup()
{
    const QByteArray large = sampleContent(3 * 1024 * 1024, 7);
    const QByteArray small = sampleContent(1000, 8);
    m_server->serve("/large.bin", large);
    m_server->serve("/small.bin", small);
    m_server->serve("/empty.bin", {});
    const QString guid =
        engine().submit({itemFor("/large.bin", large), itemFor("/small.bin", small), item("/empty.bin", 0, md5Of({}))});
    TRY_END(guid, "Success");

    QCOMPARE(contentOf(QStringLiteral("large.bin")), large);
    QCOMPARE(contentOf(QStringLiteral("small.bin")), small);
    QCOMPARE(contentOf(QStringLiteral("empty.bin")), QByteArray());
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files).size(), 3); // no partial file is left

    const QJsonArray items = engine().lastGroup(guid).value(QStringLiteral("download_items")).toArray();
    QCOMPARE(items.size(), 3);
    const qint64 sizes[] = {large.size(), small.size(), 0};
    const char* const paths[] = {"/large.bin", "/small.bin", "/empty.bin"};
    for (int i = 0; i < 3; ++i) {
        const QJsonObject file = items.at(i).toObject();
        QCOMPARE(text(file, "url"), url(paths[i])); // list order, echoed
        QCOMPARE(text(file, "status"), QStringLiteral("Success"));
        QVERIFY(file.value(QStringLiteral("completed")).toBool());
        QCOMPARE(number(file, "size"), sizes[i]);
        QCOMPARE(number(file, "existing_byte_count"), 0);
        QCOMPARE(number(file, "written_byte_count"), sizes[i]);
        QCOMPARE(number(file, "verified_byte_count"), sizes[i]);
        QCOMPARE(number(file, "current_retry_times"), 0);
        QCOMPARE(text(file, "group_guid"), guid);
        QCOMPARE(m_server->requestCount(paths[i]), 1);
    }
}

void tst_VantorEngine::namesEveryStateInOrder()
{
    const QByteArray content = sampleContent(200000);
    m_server->serve("/a", content);
    m_server->serve("/b", content);
    const QString guid = engine().submit({itemFor("/a", content), itemFor("/b", content)});
    TRY_END(guid, "Success");
    QCOMPARE(engine().groupStatuses(guid), words("Pending Start Progressing Verifying Success"));
    for (const char* path : {"/a", "/b"}) {
        QCOMPARE(engine().fileStatuses(guid, url(path)),
                 words("Start Preparing Prepared Downloading Downloaded Verifying Verified Success"));
    }
    // Verifying comes once all transfers are through, and every callback lists all files.
    const QVector<Event> groups = engine().events(Kind::Group, guid);
    for (const Event& group : groups) {
        const QJsonArray items = group.data.value(QStringLiteral("download_items")).toArray();
        QCOMPARE(items.size(), 2);
        QCOMPARE(text(group.data, "guid"), guid);
        const QString status = text(group.data, "status");
        for (const QJsonValue& file : items) {
            const QString fileStatus = text(file.toObject(), "status");
            if (status == QLatin1String("Pending")) {
                QCOMPARE(fileStatus, QStringLiteral("Pending"));
            }
            if (status == QLatin1String("Verifying")) {
                QVERIFY(words("Downloaded Verifying Verified Success").contains(fileStatus));
            }
        }
    }
    // Each file's callbacks carry its own guid and the group's.
    const QVector<Event> singles = engine().events(Kind::Single, guid);
    for (const Event& single : singles) {
        QCOMPARE(text(single.data, "guid"), single.taskGuid);
        QCOMPARE(text(single.data, "group_guid"), guid);
        QCOMPARE(single.data.value(QStringLiteral("completed")).toBool(),
                 text(single.data, "status") == QLatin1String("Success"));
    }
}

void tst_VantorEngine::leavesVerifyingOutWithoutChecksum()
{
    const QByteArray content = sampleContent(1000);
    m_server->serve("/a", content);
    const QString guid = engine().submit({item("/a", content.size(), {})});
    TRY_END(guid, "Success");
    QCOMPARE(engine().fileStatuses(guid, url("/a")), words("Start Preparing Prepared Downloading Downloaded Success"));
    QCOMPARE(engine().groupStatuses(guid), words("Pending Start Progressing Verifying Success"));
    QCOMPARE(contentOf(QStringLiteral("a")), content);
}

void tst_VantorEngine::takesTheSizeFromTheServer_data()
{
    QTest::addColumn<QString>("header");
    QTest::newRow("Content-Length") << QStringLiteral("Content-Length");
    QTest::newRow("another header") << QStringLiteral("X-File-Size");
    QTest::newRow("none, chunked") << QString();
}

void tst_VantorEngine::takesTheSizeFromTheServer()
{
    QFETCH(QString, header);
    const QByteArray content = sampleContent(300000);
    HttpResponse response = HttpResponse::ok(content);
    if (header != QLatin1String("Content-Length")) {
        response.chunked(5000);
    }
    if (header == QLatin1String("X-File-Size")) {
        response.addHeader("X-File-Size", QByteArray::number(content.size()));
    }
    m_server->always("/a", response);
    QJsonObject file = item("/a", 0, md5Of(content).toUpper());
    file.insert(QStringLiteral("http_header_size"), header);
    const QString guid = engine().submit({file});
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "size"), content.size());
    for (const QJsonObject& each : engine().fileTexts(guid, url("/a"))) {
        const bool known = text(each, "status") != QLatin1String("Start") &&
                           text(each, "status") != QLatin1String("Preparing") &&
                           text(each, "status") != QLatin1String("Prepared");
        if (known && !header.isEmpty()) {
            QCOMPARE(number(each, "size"), content.size());
        }
    }
}

void tst_VantorEngine::makesFoldersAndOddNames()
{
    const QByteArray content = sampleContent(500);
    m_server->serve("/a", content);
    QJsonObject file = itemFor("/a", content);
    file.insert(QStringLiteral("name"), QString::fromUtf8("ä ö 漢.bin"));
    file.insert(QStringLiteral("relative_path"), QString::fromUtf8("new folder/dêep"));
    const QString guid = engine().submit({file}, m_folder->path());
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QString::fromUtf8("new folder/dêep/ä ö 漢.bin")), content);
}

void tst_VantorEngine::tellsAboutTheResponse()
{
    const QByteArray content = sampleContent(1000);
    m_server->always("/a", HttpResponse::ok(content).addHeader("X-Cdn", "edge \"7\""));
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    const QJsonObject last = engine().fileTexts(guid, url("/a")).constLast();
    const QJsonObject response = member(last, "url_response_info");
    QCOMPARE(number(response, "http_status_code"), 200);
    QCOMPARE(text(member(response, "http_header"), "X-Cdn"), QStringLiteral("edge \"7\""));
    QCOMPARE(text(last, "remote_address"), QStringLiteral("127.0.0.1"));
    QCOMPARE(last.value(QStringLiteral("canonical_name")).toArray(), QJsonArray{QStringLiteral("127.0.0.1")});
    QVERIFY(!last.value(QStringLiteral("using_pcdn")).toBool());
    const HttpRequest request = m_server->requests("/a").value(0);
    QCOMPARE(request.method, QByteArray("GET"));
    QCOMPARE(request.header("Accept-Encoding"), QByteArray("identity"));
    QVERIFY(!request.hasHeader("Range"));
}

void tst_VantorEngine::keepsAFileThatIsInPlace_data()
{
    QTest::addColumn<bool>("sizeKnown");
    QTest::addColumn<bool>("checksum");
    QTest::addColumn<QStringList>("statuses");
    QTest::newRow("size and checksum") << true << true << words("Start Preparing Prepared Downloaded Verified Success");
    QTest::newRow("checksum") << false << true << words("Start Preparing Prepared Downloaded Verified Success");
    QTest::newRow("size") << true << false << words("Start Preparing Prepared Downloaded Success");
}

void tst_VantorEngine::keepsAFileThatIsInPlace()
{
    QFETCH(bool, sizeKnown);
    QFETCH(bool, checksum);
    QFETCH(QStringList, statuses);
    const QByteArray content = sampleContent(3000);
    makeFile(QStringLiteral("a"), content);
    const QString guid =
        engine().submit({item("/a", sizeKnown ? content.size() : 0, checksum ? md5Of(content) : QByteArray())});
    TRY_END(guid, "Success");
    QCOMPARE(m_server->requestCount(), 0);
    QCOMPARE(engine().fileStatuses(guid, url("/a")), statuses);
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    const QJsonObject file = engine().lastItem(guid, url("/a"));
    QCOMPARE(number(file, "size"), content.size());
    QCOMPARE(number(file, "existing_byte_count"), content.size());
    QCOMPARE(number(file, "written_byte_count"), 0);
    QCOMPARE(number(file, "verified_byte_count"), checksum ? content.size() : 0);
}

void tst_VantorEngine::replacesAFileThatDiffers_data()
{
    QTest::addColumn<QByteArray>("old");
    QTest::addColumn<bool>("checksum");
    QTest::newRow("same size, other checksum") << sampleContent(3000, 5) << true;
    QTest::newRow("shorter") << sampleContent(2999) << true;
    QTest::newRow("longer, no checksum") << sampleContent(3001) << false;
    QTest::newRow("empty") << QByteArray() << true;
}

void tst_VantorEngine::replacesAFileThatDiffers()
{
    QFETCH(QByteArray, old);
    QFETCH(bool, checksum);
    const QByteArray content = sampleContent(3000);
    makeFile(QStringLiteral("a"), old);
    m_server->serve("/a", content);
    const QString guid = engine().submit({item("/a", content.size(), checksum ? md5Of(content) : QByteArray())});
    TRY_END(guid, "Success");
    QCOMPARE(m_server->requestCount(), 1);
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "written_byte_count"), content.size());
}

void tst_VantorEngine::reportsDuplicates()
{
    const QByteArray content = sampleContent(1000);
    for (const char* path : {"/a", "/b"}) {
        m_server->once(path, HttpResponse::ok(content).stallAfter(10));
        m_server->serve(path, content);
    }
    const QJsonArray list{itemFor("/a", content), itemFor("/b", content)};
    const QString guid = engine().submit(list);
    QTRY_COMPARE(m_server->requestCount(), 2);
    const QString again = engine().submit(list);
    TRY_END(again, "Duplicated");
    const QString part = engine().submit({list.at(1)});
    TRY_END(part, "Duplicated");
    QCOMPARE(engine().groupStatuses(again), words("Duplicated"));
    QCOMPARE(engine().lastGroup(again).value(QStringLiteral("download_items")).toArray().size(), 2);
    QCOMPARE(text(engine().lastItem(again, url("/a")), "status"), QStringLiteral("Pending"));
    QCOMPARE(text(engine().lastItem(again, url("/a")), "group_guid"), again);
    QCOMPARE(m_server->requestCount(), 2);
    engine().cancel(guid.toUtf8().constData());
    TRY_END(guid, "Cancelled");
    const QString afterwards = engine().submit(list);
    TRY_END(afterwards, "Success");
}

/// A duplicate ends without a file or an error: that will do only while somebody fetches what was asked for.
void tst_VantorEngine::fetchesAgainWhatARunningGroupIsThroughWith()
{
    const QByteArray content = sampleContent(1000);
    m_server->once("/a", HttpResponse::withStatus(404));
    m_server->serve("/a", content);
    m_server->always("/b", HttpResponse::ok(content).stallAfter(10));
    const QString guid = engine().submit({itemFor("/a", content), itemFor("/b", content)});
    QTRY_COMPARE(text(engine().lastItem(guid, url("/a")), "status"), QStringLiteral("Failed"));
    const QString again = engine().submit({itemFor("/a", content)});
    TRY_END(again, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    TRY_END(engine().submit({itemFor("/b", content)}), "Duplicated");
    QCOMPARE(engine().endStatus(guid), QString());
}

void tst_VantorEngine::waitsForAPathThatIsTaken()
{
    const QByteArray content = sampleContent(100000);
    m_server->once("/a", HttpResponse::ok(content).stallAfter(5000));
    m_server->serve("/a", content);
    m_server->serve("/b", content);
    const QString first = engine().submit({itemFor("/a", content)});
    QTRY_COMPARE(m_server->requestCount("/a"), 1);
    const QString second = engine().submit({itemFor("/a", content), itemFor("/b", content)});
    QTRY_COMPARE(text(engine().lastItem(second, url("/b")), "status"), QStringLiteral("Success"));
    QCOMPARE(text(engine().lastItem(second, url("/a")), "status"), QStringLiteral("Pending"));
    QCOMPARE(m_server->requestCount("/a"), 1);
    m_server->dropConnections(); // the first goes on
    TRY_END(first, "Success");
    TRY_END(second, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    // The second found the file in place.
    QCOMPARE(number(engine().lastItem(second, url("/a")), "existing_byte_count"), content.size());
    QCOMPARE(engine().fileStatuses(second, url("/a")), words("Start Preparing Prepared Downloaded Verified Success"));
}

void tst_VantorEngine::fetchesTheSamePathTwiceInTurn()
{
    const QByteArray content = sampleContent(100000);
    m_server->serve("/a", content);
    QJsonObject other = itemFor("/a", content);
    other.insert(QStringLiteral("url"), url("/a?mirror"));
    const QString guid = engine().submit({itemFor("/a", content), other});
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(m_server->requestCount("/a"), 1);
    QCOMPARE(number(engine().lastItem(guid, url("/a?mirror")), "existing_byte_count"), content.size());
}

void tst_VantorEngine::failsBrokenLists_data()
{
    QTest::addColumn<QByteArray>("list");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("not JSON") << QByteArray("{\"download_items\":[{\"url\"");
    QTest::newRow("array") << QByteArray("[1,2]");
    QTest::newRow("no items") << QByteArray("{}");
    QTest::newRow("binary") << QByteArray("\xff\xfe\x01");
}

void tst_VantorEngine::failsBrokenLists()
{
    QFETCH(QByteArray, list);
    const QString guid = engine().submitText(list);
    TRY_END(guid, "Failed");
    const QJsonObject group = engine().lastGroup(guid);
    QVERIFY(group.value(QStringLiteral("download_items")).isArray());
    QVERIFY(group.value(QStringLiteral("download_items")).toArray().isEmpty());
    QVERIFY(!text(group, "message").isEmpty());
    QCOMPARE(engine().events(Kind::Group, guid).size(), 1);
}

void tst_VantorEngine::answersChunkTasks()
{
    const auto end = [](const QString& guid) {
        const auto texts = engine().events(Kind::Chunk, guid);
        return texts.isEmpty() ? QJsonObject() : texts.constLast().data;
    };
    const QByteArray request = R"({"guid":"my-guid","action":"fetch_version","package_id":"p","branch":"b"})";
    const QString guid = QString::fromUtf8(engine().startChunkTask(request.constData(), "my-guid"));
    QCOMPARE(guid, QStringLiteral("my-guid"));
    QTRY_VERIFY(end(guid).value(QStringLiteral("completed")).toBool());
    QCOMPARE(text(end(guid), "status"), QStringLiteral("Failed"));
    QCOMPARE(number(end(guid), "error_code"), 1002);
    QCOMPARE(text(end(guid), "error_msg"), QStringLiteral("no \"package_base_url\" is configured"));
    const QString made = QString::fromUtf8(engine().startChunkTask(R"({"action":"explode"})", ""));
    QCOMPARE(made.size(), 36);
    QTRY_VERIFY(end(made).value(QStringLiteral("completed")).toBool());
    QCOMPARE(number(end(made), "error_code"), 1001);
}

void tst_VantorEngine::acceptsCallsFromManyThreads()
{
    const QByteArray content = sampleContent(20000);
    constexpr int kThreads = 8;
    constexpr int kLists = 10;
    std::vector<std::vector<QJsonArray>> lists(kThreads);
    for (int t = 0; t < kThreads; ++t) {
        for (int i = 0; i < kLists; ++i) {
            const QByteArray path = "/t" + QByteArray::number(t) + "-" + QByteArray::number(i);
            m_server->serve(path, content);
            lists[static_cast<std::size_t>(t)].push_back({itemFor(path, content)});
        }
    }
    std::mutex mutex;
    QStringList guids;
    std::vector<std::thread> threads;
    for (const std::vector<QJsonArray>& mine : lists) {
        threads.emplace_back([&mine, &mutex, &guids] {
            for (const QJsonArray& list : mine) {
                const QString guid = engine().submit(list);
                engine().setConfig(R"({"download_policy":{"progress_callback_interval":10}})");
                engine().cancel("unknown");
                const std::lock_guard<std::mutex> lock(mutex);
                guids.append(guid);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    QCOMPARE(guids.removeDuplicates(), 0);
    QCOMPARE(guids.size(), kThreads * kLists);
    for (const QString& guid : std::as_const(guids)) {
        TRY_END(guid, "Success");
    }
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files).size(), kThreads * kLists);
}

void tst_VantorEngine::downloadsThousandsOfFiles()
{
    constexpr int kFetched = 300;
    constexpr int kPresent = 1700;
    const QByteArray content = sampleContent(100);
    m_server->serve("/f", content);
    QJsonArray list;
    for (int i = 0; i < kFetched + kPresent; ++i) {
        QJsonObject file = itemFor("/f", content);
        const QString name = QString::number(i);
        file.insert(QStringLiteral("name"), name);
        file.insert(QStringLiteral("url"), url("/f?" + QByteArray::number(i)));
        list.append(file);
        if (i >= kFetched) {
            makeFile(name, content);
        }
    }
    const QString guid = engine().submit(list);
    TRY_END(guid, "Success");
    QCOMPARE(m_server->requestCount("/f"), kFetched);
    // Six, and each may be replaced before the server has seen it closed.
    QVERIFY(m_server->mostConnections() <= 12);
    QCOMPARE(engine().lastGroup(guid).value(QStringLiteral("download_items")).toArray().size(), kFetched + kPresent);
    // Between the changes of state there is at least 0.1 ms for each file.
    const QVector<Event> groups = engine().events(Kind::Group, guid);
    qint64 last = -1000;
    int progress = 0;
    for (const Event& group : groups) {
        if (text(group.data, "status") == QLatin1String("Progressing") && progress++ > 1) {
            QVERIFY2(group.atMs - last >= 150, qPrintable(QString::number(group.atMs - last)));
        }
        last = group.atMs;
    }
}

#ifndef Q_OS_WIN
void tst_VantorEngine::exportsNothingElse()
{
    QProcess nm;
    nm.start(QStringLiteral("nm"), {QStringLiteral("-D"), QStringLiteral("--defined-only"),
                                    QStringLiteral("--format=posix"), QStringLiteral(VANTOR_MODULE)});
    QVERIFY(nm.waitForFinished());
    QStringList names;
    const QStringList lines = QString::fromLatin1(nm.readAllStandardOutput()).split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        if (!line.isEmpty()) {
            names.append(line.section(QLatin1Char(' '), 0, 0));
        }
    }
    names.sort();
    QCOMPARE(names, words("Vantor_Cancel Vantor_CancelChunkTask Vantor_InitEnv Vantor_Release Vantor_RemoveCallback "
                          "Vantor_SetChunkTaskCallback Vantor_SetConfig Vantor_SetDownloadList "
                          "Vantor_SetEngineStateCallback Vantor_SetGroupTaskCallback Vantor_SetLogHandler "
                          "Vantor_SetSingleTaskCallback Vantor_StartChunkTask"));
}
#endif

QTEST_GUILESS_MAIN(tst_VantorEngine)
#include "tst_VantorEngine.moc"

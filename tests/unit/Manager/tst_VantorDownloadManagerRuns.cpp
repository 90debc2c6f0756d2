// SPDX-License-Identifier: MIT
// Whole runs of the engine back-end, with callbacks from the engine's threads, and what signal handlers may do.
#include "ClockedManager.h"
#include "DownloadEvents.h"
#include "EngineDouble.h"
#include "EngineTexts.h"
#include "LogCapture.h"
#include "OrvelCommon/Testing.h"
#include "vantor/VantorExporter.h"
#include "vantor/VantorGroupDownloadTaskManager.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <functional>
#include <limits>
#include <memory>
#include <utility>

using EngineTexts::ErrorDetail;
using EngineTexts::File;
using EngineTexts::Group;

namespace {

constexpr int kWarning = 3;
constexpr int kInfo = 2;
constexpr int kEngineThreads = 4;

QJsonObject transferred(int done, int size)
{
    return File(QStringLiteral("a"), QStringLiteral("Downloading"),
                {{QStringLiteral("size"), size}, {QStringLiteral("written_byte_count"), done}});
}

QJsonObject verified(int done, int size)
{
    return File(QStringLiteral("a"), QStringLiteral("Verifying"),
                {{QStringLiteral("size"), size},
                 {QStringLiteral("written_byte_count"), size},
                 {QStringLiteral("verified_byte_count"), done}});
}

QByteArray progressing(const QString& guid, int done)
{
    return Group(guid, QStringLiteral("Progressing"), {transferred(done, 1000)});
}

QString progressLine(int done, int group = 1)
{
    return QStringLiteral("downloadProgress(%1 of 1000, tag 0, speed 0, group %2, pcdn 0, alias , traffic 0+%1)")
        .arg(done)
        .arg(group);
}

} // namespace

class tst_VantorDownloadManagerRuns : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void successfulRun();
    void failedRun();
    void stoppedRun();
    void callbacksOvertakeTheGuid();
    void signalsComeOnTheManagersThread();
    void nothingComesAfterTheEnd();
    void callbacksOfAnEarlierRunAreDropped();
    void burstLosesNothing();
    void badCallbacksAreHarmless_data();
    void badCallbacksAreHarmless();
    void hugeCallbackIsHarmless();
    void unknownGuidsAreDropped();
    void guidsOfEndedGroupsAreDropped();
    void managerDiesWithCallbacksInFlight();

    void handlerDeletesTheManager_data();
    void handlerDeletesTheManager();
    void handlerStartsAnotherRun_data();
    void handlerStartsAnotherRun();
    void errorHandlerDeletesTheManagerBetweenErrors();

private:
    using Action = std::function<void()>;

    void addHandlerRows();
    void start(int group, const QString& guid);
    void feedGroup(const QString& status, const QList<QJsonObject>& files);
    void feedFile(const QJsonObject& object);
    void provoke(const QString& signal);
    void onSignal(const QString& signal, const Action& action);
    void settle();
    bool waitForLog(const QString& text);

    qint64 nowMs = 1700000000000; // what the speed reports take for the time
    QTemporaryDir folder;
    std::unique_ptr<EngineDoubleClient> engine;
    std::unique_ptr<LogCapture> log;
    std::unique_ptr<VantorDownloadManager> manager;
    std::unique_ptr<DownloadEvents> events;
};

void tst_VantorDownloadManagerRuns::initTestCase()
{
    // The engine's texts on Qt's debug channel are a test of their own, and QtTest is slow at printing them.
    QLoggingCategory::setFilterRules(QStringLiteral("orvel.qcomm.engine.debug=false"));
    QVERIFY(VantorExporter::Instance()->Init(QString(), QString(), 0, 0));
}

void tst_VantorDownloadManagerRuns::init()
{
    engine = std::make_unique<EngineDoubleClient>();
    log = std::make_unique<LogCapture>();
    Orvel::Common::SetDiskSpaceProbe(
        [](const std::string&) { return std::make_pair(std::numeric_limits<std::uint64_t>::max(), std::uint64_t(0)); });
    manager = std::make_unique<ClockedManager>(nowMs);
    events = std::make_unique<DownloadEvents>(manager.get());
}

void tst_VantorDownloadManagerRuns::cleanup()
{
    engine->Flush();
    events.reset();
    manager.reset();
    settle();
    Orvel::Common::SetDiskSpaceProbe({});
    log.reset();
    engine.reset();
}

void tst_VantorDownloadManagerRuns::start(int group, const QString& guid)
{
    DownloadTaskModel file;
    file.Init(QStringLiteral("http://127.0.0.1/a"), folder.path(), QString(), QString(), 1000);
    engine->NextGroupGuid(guid);
    manager->StartDownloadTask(group, {file}, folder.path());
    events->Take();
}

void tst_VantorDownloadManagerRuns::feedGroup(const QString& status, const QList<QJsonObject>& files)
{
    GroupTaskModel model;
    model.Parse(Group(QStringLiteral("g"), status, files));
    manager->onParseGroupTaskCallback(QStringLiteral("g"), model);
}

void tst_VantorDownloadManagerRuns::feedFile(const QJsonObject& object)
{
    SingleTaskErrorModel model;
    model.Parse(EngineTexts::Text(object));
    manager->onParseSingleTaskCallback(QStringLiteral("g"), model.guid, model);
}

/// \brief Waits until everything fired has passed the group thread and this one.
void tst_VantorDownloadManagerRuns::settle()
{
    engine->Flush();
    // What is posted now runs on the group thread after everything that is on its way.
    bool passed = false;
    QMetaObject::invokeMethod(
        VantorGroupDownloadTaskManager::Instance(), [&passed] { passed = true; }, Qt::BlockingQueuedConnection);
    QVERIFY(passed);
    QCoreApplication::processEvents();
}

/// \brief Waits for a log line of another thread without processing events here.
bool tst_VantorDownloadManagerRuns::waitForLog(const QString& text)
{
    const QDeadlineTimer deadline(10000);
    while (log->texts().filter(text).isEmpty()) {
        if (deadline.hasExpired())
            return false;
        QThread::yieldCurrentThread();
    }
    return true;
}

void tst_VantorDownloadManagerRuns::successfulRun()
{
    start(1, QStringLiteral("ok"));
    engine->FireGroup(QStringLiteral("ok"), Group(QStringLiteral("ok"), QStringLiteral("Pending"), {}));
    engine->FireGroup(QStringLiteral("ok"), progressing(QStringLiteral("ok"), 400));
    engine->FireSingle(QStringLiteral("ok"), QStringLiteral("a"), EngineTexts::Text(transferred(400, 1000)));
    engine->FireGroup(QStringLiteral("ok"),
                      Group(QStringLiteral("ok"), QStringLiteral("Verifying"), {verified(10, 1000)}));
    engine->FireGroup(QStringLiteral("ok"),
                      Group(QStringLiteral("ok"), QStringLiteral("Success"), {verified(1000, 1000)}));
    const QString check =
        QStringLiteral("checkProgress(%1 of 1000, tag 1, speed 0, group 1, pcdn 0, alias , traffic 0+0)");
    QTRY_COMPARE(events->Lines(), (QStringList{progressLine(400), QStringLiteral("md5Started(1)"), check.arg(10),
                                               check.arg(1000), QStringLiteral("finish(1)")}));
    // The task's log lines bear the manager's tag.
    QCOMPARE(log->texts(kWarning).filter(QStringLiteral(" [[net]] [vantor] groupGuid: ok, group info: ")).size(), 1);
}

void tst_VantorDownloadManagerRuns::failedRun()
{
    start(1, QStringLiteral("bad"));
    engine->TakeCalls();
    const QJsonObject failed =
        File(QStringLiteral("a"), QStringLiteral("Failed"),
             {{QStringLiteral("completed"), true},
              {QStringLiteral("checksum_check_error"), ErrorDetail(5, 6, QStringLiteral("wrong sum"))}});
    QJsonObject retried = failed;
    retried.insert(QStringLiteral("completed"), false);
    engine->FireSingle(QStringLiteral("bad"), QStringLiteral("a"), EngineTexts::Text(retried));
    engine->FireSingle(QStringLiteral("bad"), QStringLiteral("a"), EngineTexts::Text(failed));
    engine->FireGroup(QStringLiteral("bad"), Group(QStringLiteral("bad"), QStringLiteral("Cancelled"), {failed}));
    const QString info = QStringLiteral("(code 8005, message wrong sum, url http://127.0.0.1/a, http 0, internal 6, "
                                        "retries 0, outcome 2, group 1)");
    QTRY_COMPARE(events->Lines(), (QStringList{QStringLiteral("errorRetry") + info, QStringLiteral("error") + info}));
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("Cancel(bad)")));
}

void tst_VantorDownloadManagerRuns::stoppedRun()
{
    start(1, QStringLiteral("stop"));
    manager->StopDownloadTask(1);
    engine->FireGroup(QStringLiteral("stop"),
                      Group(QStringLiteral("stop"), QStringLiteral("Cancelled"), {transferred(4, 1000)}));
    QTRY_COMPARE(events->Lines(), QStringList(QStringLiteral("cancelled(1)")));
}

void tst_VantorDownloadManagerRuns::callbacksOvertakeTheGuid()
{
    engine->DuringSetDownloadList([this](const QString& guid) {
        engine->FireGroup(guid, progressing(guid, 1));
        engine->FireGroup(guid, progressing(guid, 2));
        engine->FireSingle(guid, QStringLiteral("a"),
                           EngineTexts::Text(File(QStringLiteral("a"), QStringLiteral("Failed"))));
        engine->FireGroup(guid, Group(guid, QStringLiteral("Success"), {transferred(3, 1000)}));
        engine->Flush();
        // Let the group thread take them all in before the guid is known.
        QMetaObject::invokeMethod(
            VantorGroupDownloadTaskManager::Instance(), [] {}, Qt::BlockingQueuedConnection);
    });
    start(1, QStringLiteral("early"));
    QTRY_COMPARE(events->Lines().size(), 5);
    QCOMPARE(events->Lines()[0], progressLine(1));
    QCOMPARE(events->Lines()[1], progressLine(2));
    QVERIFY(events->Lines()[2].startsWith(QStringLiteral("errorRetry(")));
    QCOMPARE(events->Lines()[3], progressLine(3));
    QCOMPARE(events->Lines()[4], QStringLiteral("finish(1)"));
    QVERIFY(!VantorGroupDownloadTaskManager::Instance()->FindGroupTask(QStringLiteral("early")));
}

void tst_VantorDownloadManagerRuns::signalsComeOnTheManagersThread()
{
    QList<QThread*> threads;
    connect(
        manager.get(), &BaseDownloadManager::downloadProgress, this,
        [&threads] { threads.append(QThread::currentThread()); }, Qt::DirectConnection);
    start(1, QStringLiteral("thread"));
    engine->FireGroup(QStringLiteral("thread"), progressing(QStringLiteral("thread"), 1));
    QTRY_COMPARE(threads, QList<QThread*>{QThread::currentThread()});
}

void tst_VantorDownloadManagerRuns::nothingComesAfterTheEnd()
{
    start(1, QStringLiteral("end"));
    // All of these are on their way before the manager takes in the first.
    engine->FireGroup(QStringLiteral("end"), Group(QStringLiteral("end"), QStringLiteral("Success"), {}));
    engine->FireGroup(QStringLiteral("end"), progressing(QStringLiteral("end"), 5));
    engine->FireSingle(QStringLiteral("end"), QStringLiteral("a"),
                       EngineTexts::Text(File(QStringLiteral("a"), QStringLiteral("Failed"))));
    engine->FireGroup(QStringLiteral("end"),
                      Group(QStringLiteral("end"), QStringLiteral("Failed"), {transferred(5, 1000)}));
    settle();
    settle();
    QCOMPARE(events->Lines(), QStringList(QStringLiteral("finish(1)")));
}

void tst_VantorDownloadManagerRuns::callbacksOfAnEarlierRunAreDropped()
{
    start(1, QStringLiteral("old"));
    engine->FireGroup(QStringLiteral("old"), progressing(QStringLiteral("old"), 1));
    engine->FireSingle(
        QStringLiteral("old"), QStringLiteral("a"),
        EngineTexts::Text(File(QStringLiteral("a"), QStringLiteral("Failed"), {{QStringLiteral("completed"), true}})));
    engine->FireGroup(QStringLiteral("old"),
                      Group(QStringLiteral("old"), QStringLiteral("Success"), {transferred(1000, 1000)}));
    QVERIFY(waitForLog(QStringLiteral("\"Success\"")));
    settle();
    events->Take(); // whatever the first run has told by now; the rest of this test is about the second

    start(1, QStringLiteral("older"));
    engine->FireGroup(QStringLiteral("older"), progressing(QStringLiteral("older"), 7));
    engine->FireGroup(QStringLiteral("older"),
                      Group(QStringLiteral("older"), QStringLiteral("Failed"), {transferred(8, 1000)}));
    // They have passed the group thread and wait for this one.
    QVERIFY(waitForLog(QStringLiteral("\"Failed\"")));
    start(2, QStringLiteral("new"));
    engine->TakeCalls();
    engine->FireGroup(QStringLiteral("new"), progressing(QStringLiteral("new"), 9));
    settle();
    QCOMPARE(events->Lines(), QStringList(progressLine(9, 2)));
    manager->StopAllDownloadTask();
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("Cancel(new)")));
}

void tst_VantorDownloadManagerRuns::burstLosesNothing()
{
    constexpr int kCallbacks = 2000;
    start(1, QStringLiteral("burst"));
    QStringList expected;
    for (int i = 1; i <= kCallbacks; ++i) {
        engine->FireGroup(QStringLiteral("burst"), Group(QStringLiteral("burst"), QStringLiteral("Progressing"),
                                                         {transferred(i, kCallbacks + 1)}));
        expected.append(QStringLiteral("%1 of %2").arg(i).arg(kCallbacks + 1));
    }
    QStringList seen;
    connect(manager.get(), &BaseDownloadManager::downloadProgress, this, [&seen](const ProgressInfo& info) {
        seen.append(QStringLiteral("%1 of %2").arg(info.GetProcessedBytes()).arg(info.GetTotalBytes()));
    });
    QTRY_COMPARE_WITH_TIMEOUT(seen.size(), kCallbacks, 30000);
    QCOMPARE(seen, expected);
}

void tst_VantorDownloadManagerRuns::badCallbacksAreHarmless_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("no JSON") << QByteArray("<html>");
    QTest::newRow("truncated") << progressing(QStringLiteral("g"), 5).chopped(3);
    QTest::newRow("no UTF-8") << QByteArray("{\"status\":\"\xff\xfe\"}");
    QTest::newRow("array") << QByteArray("[1,2]");
    QTest::newRow("empty object") << QByteArray("{}");
    QTest::newRow("wrong types") << QByteArray(
        "{\"guid\":[],\"status\":{\"a\":1},\"download_items\":\"none\",\"url_net_error\":5,\"completed\":\"x\"}");
    QTest::newRow("items of wrong types")
        << QByteArray("{\"status\":\"Pending\",\"download_items\":[1,\"x\",null,[],{}]}");
    QTest::newRow("unknown state") << QByteArray(
        "{\"status\":\"Paused\",\"download_items\":[{\"status\":\"Paused\"}]}");
    QTest::newRow("extreme numbers") << QByteArray(
        "{\"status\":\"Pending\",\"download_items\":[{\"size\":1e400,\"written_byte_count\":-5,"
        "\"existing_byte_count\":18446744073709551615,\"current_retry_times\":99999999999}]}");
    QTest::newRow("deep") << QByteArray(100000, '[');
}

void tst_VantorDownloadManagerRuns::badCallbacksAreHarmless()
{
    QFETCH(QByteArray, data);
    start(1, QStringLiteral("g"));
    engine->TakeCalls();
    for (int thread = 0; thread < kEngineThreads; ++thread) {
        engine->FireGroup(QStringLiteral("g"), data, thread);
        engine->FireSingle(QStringLiteral("g"), QStringLiteral("a"), data, thread);
        engine->FireState(data, thread);
    }
    settle();
    settle();
    QCOMPARE(events->Lines(), QStringList());
    QCOMPARE(engine->TakeCallLines(), QStringList());
    // The run goes on.
    engine->FireGroup(QStringLiteral("g"), progressing(QStringLiteral("g"), 5));
    QTRY_COMPARE(events->Lines(), QStringList(progressLine(5)));
}

void tst_VantorDownloadManagerRuns::hugeCallbackIsHarmless()
{
    constexpr int kBytes = 50 * 1024 * 1024;
    start(1, QStringLiteral("huge"));
    QByteArray text = Group(QStringLiteral("huge"), QStringLiteral("Progressing"), {transferred(5, 1000)});
    text.insert(1, "\"ballast\":\"" + QByteArray(kBytes, 'x') + "\",");
    engine->FireGroup(QStringLiteral("huge"), text);
    engine->FireGroup(QStringLiteral("huge"), QByteArray(kBytes, 'x'));
    engine->FireSingle(QStringLiteral("huge"), QStringLiteral("a"), text.chopped(1));
    QTRY_COMPARE_WITH_TIMEOUT(events->Lines(), QStringList(progressLine(5)), 60000);
}

void tst_VantorDownloadManagerRuns::unknownGuidsAreDropped()
{
    start(1, QStringLiteral("known"));
    for (const char* guid : {"unknown", "", "Known", "known "}) {
        engine->FireGroup(QLatin1String(guid), progressing(QLatin1String(guid), 5));
        engine->FireSingle(QLatin1String(guid), QStringLiteral("a"),
                           EngineTexts::Text(File(QStringLiteral("a"), QStringLiteral("Failed"))));
    }
    engine->FireNulls(EngineDouble::GroupTaskCallback);
    engine->FireNulls(EngineDouble::SingleTaskCallback);
    engine->FireNulls(EngineDouble::StateCallback);
    engine->FireNulls(EngineDouble::ChunkTaskCallback);
    settle();
    QCOMPARE(events->Lines(), QStringList());
    QCOMPARE(log->texts(kInfo).filter(QStringLiteral("groupGuid:")).filter(QStringLiteral("info:")), QStringList());
}

void tst_VantorDownloadManagerRuns::guidsOfEndedGroupsAreDropped()
{
    start(1, QStringLiteral("first"));
    engine->FireGroup(QStringLiteral("first"),
                      Group(QStringLiteral("first"), QStringLiteral("Success"), {transferred(1, 1000)}));
    QTRY_COMPARE(events->Last(), QStringLiteral("finish(1)"));
    start(2, QStringLiteral("second"));
    engine->FireGroup(QStringLiteral("first"), progressing(QStringLiteral("first"), 5));
    engine->FireGroup(QStringLiteral("second"), progressing(QStringLiteral("second"), 6));
    QTRY_COMPARE(events->Lines(), QStringList(progressLine(6, 2)));
}

void tst_VantorDownloadManagerRuns::managerDiesWithCallbacksInFlight()
{
    constexpr int kRounds = 20;
    for (int round = 0; round < kRounds; ++round) {
        const QString guid = QStringLiteral("round %1").arg(round);
        start(1, guid);
        for (int i = 0; i < 50; ++i) {
            engine->FireGroup(guid, progressing(guid, i), i % kEngineThreads);
            engine->FireSingle(guid, QStringLiteral("a"),
                               EngineTexts::Text(File(QStringLiteral("a"), QStringLiteral("Failed"))),
                               i % kEngineThreads);
        }
        QCoreApplication::processEvents();
        events.reset();
        manager = std::make_unique<ClockedManager>(nowMs);
        events = std::make_unique<DownloadEvents>(manager.get());
        QCoreApplication::processEvents();
        QCOMPARE(events->Lines(), QStringList());
    }
    settle();
    QCOMPARE(events->Lines(), QStringList());
}

void tst_VantorDownloadManagerRuns::addHandlerRows()
{
    QTest::addColumn<QString>("signal");
    for (const char* signal : {"md5Started", "checkProgress", "downloadProgress", "speed2", "finish", "cancelled",
                               "error", "errorRetry", "finish from outside"})
        QTest::newRow(signal) << QString::fromLatin1(signal);
}

/// \brief Feeds a callback that makes the manager emit `signal`, among others.
void tst_VantorDownloadManagerRuns::provoke(const QString& signal)
{
    const QJsonObject failed = File(QStringLiteral("a"), QStringLiteral("Failed"),
                                    {{QStringLiteral("url_net_error"), ErrorDetail(1, 2, QString())}});
    if (signal == QLatin1String("md5Started") || signal == QLatin1String("checkProgress")) {
        feedGroup(QStringLiteral("Success"), {verified(5, 1000)});
    } else if (signal == QLatin1String("downloadProgress")) {
        feedGroup(QStringLiteral("Success"), {transferred(5, 1000)});
    } else if (signal == QLatin1String("speed2")) {
        nowMs += 1000;
        feedGroup(QStringLiteral("Success"), {transferred(5, 1000)});
    } else if (signal == QLatin1String("finish")) {
        feedGroup(QStringLiteral("Success"), {});
    } else if (signal == QLatin1String("cancelled")) {
        feedGroup(QStringLiteral("Cancelled"), {});
    } else if (signal == QLatin1String("error")) {
        feedGroup(QStringLiteral("Failed"), {failed});
    } else if (signal == QLatin1String("errorRetry")) {
        feedFile(failed);
    } else {
        manager->onGroupFinish(1);
    }
}

void tst_VantorDownloadManagerRuns::onSignal(const QString& signal, const Action& action)
{
    using Manager = BaseDownloadManager;
    Manager* const source = manager.get();
    if (signal == QLatin1String("md5Started"))
        connect(source, &Manager::md5Started, this, action);
    else if (signal == QLatin1String("checkProgress"))
        connect(source, &Manager::checkProgress, this, action);
    else if (signal == QLatin1String("downloadProgress"))
        connect(source, &Manager::downloadProgress, this, action);
    else if (signal == QLatin1String("speed2"))
        connect(source, &Manager::speed2, this, action);
    else if (signal == QLatin1String("cancelled"))
        connect(source, &Manager::cancelled, this, action);
    else if (signal == QLatin1String("error"))
        connect(source, &Manager::error, this, action);
    else if (signal == QLatin1String("errorRetry"))
        connect(source, &Manager::errorRetry, this, action);
    else
        connect(source, &Manager::finish, this, action);
}

void tst_VantorDownloadManagerRuns::handlerDeletesTheManager_data()
{
    addHandlerRows();
}

void tst_VantorDownloadManagerRuns::handlerDeletesTheManager()
{
    QFETCH(QString, signal);
    start(1, QStringLiteral("g"));
    int handled = 0;
    onSignal(signal, [this, &handled] {
        ++handled;
        manager.reset();
    });
    provoke(signal);
    QCOMPARE(handled, 1);
    QVERIFY(!manager);
}

void tst_VantorDownloadManagerRuns::handlerStartsAnotherRun_data()
{
    addHandlerRows();
}

void tst_VantorDownloadManagerRuns::handlerStartsAnotherRun()
{
    QFETCH(QString, signal);
    start(1, QStringLiteral("g"));
    int handled = 0;
    onSignal(signal, [this, &handled] {
        if (++handled == 1)
            start(2, QStringLiteral("next")); // forgets the events so far
    });
    provoke(signal);
    QCOMPARE(handled, 1);
    // Nothing more of the callback that belongs to the run before.
    QCOMPARE(events->Lines(), QStringList());
    engine->TakeCalls();
    manager->StopAllDownloadTask();
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("Cancel(next)")));
    engine->FireGroup(QStringLiteral("next"),
                      Group(QStringLiteral("next"), QStringLiteral("Cancelled"), {transferred(1, 1000)}));
    QTRY_COMPARE(events->Lines(), QStringList(QStringLiteral("cancelled(2)")));
}

void tst_VantorDownloadManagerRuns::errorHandlerDeletesTheManagerBetweenErrors()
{
    start(1, QStringLiteral("g"));
    for (const char* guid : {"a", "b"}) {
        feedFile(File(
            QLatin1String(guid), QStringLiteral("Failed"),
            {{QStringLiteral("completed"), true}, {QStringLiteral("url_net_error"), ErrorDetail(1, 2, QString())}}));
    }
    int errors = 0;
    connect(manager.get(), &BaseDownloadManager::error, this, [this, &errors] {
        ++errors;
        manager.reset();
    });
    feedGroup(QStringLiteral("Cancelled"), {});
    QCOMPARE(errors, 1);
}

QTEST_GUILESS_MAIN(tst_VantorDownloadManagerRuns)

#include "tst_VantorDownloadManagerRuns.moc"

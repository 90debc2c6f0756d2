// SPDX-License-Identifier: MIT
// Chunk tasks and the registry that routes the engine's answers to them.
#include "EngineDouble.h"
#include "EngineTexts.h"
#include "LogCapture.h"
#include "MetaMethods.h"
#include "OrvelCommon/Testing.h"
#include "vantor/VantorChunkTask.h"
#include "vantor/VantorChunkTaskManager.h"
#include "vantor/VantorExporter.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QMutex>
#include <QMutexLocker>
#include <QTest>
#include <QThread>
#include <QWeakPointer>

#include <atomic>
#include <limits>
#include <memory>
#include <thread>
#include <utility>

using EngineTexts::Chunk;

namespace {

constexpr int kInfo = 2;
constexpr int kWarning = 3;
constexpr int kEngineThreads = 4;
constexpr std::uint64_t kDiskSpaceLimit = 524288000;

using Task = QSharedPointer<VantorChunkTask>;

VantorChunkTaskManager* registry()
{
    return VantorChunkTaskManager::Instance();
}

std::unique_ptr<VantorChunkReq> request(VantorChunkActionType action = VantorChunkActionNormalDownload,
                                        const QString& installDir = QStringLiteral("D:/Spiele/更新"))
{
    auto req = std::make_unique<VantorChunkReq>();
    req->guid = QStringLiteral("wunsch-ß");
    req->package_id = QStringLiteral("demo");
    req->action_type = action;
    req->install_dir = installDir;
    return req;
}

/// \brief The signals of a task, in order, as lines "size progress Status code message".
class TaskEvents : public QObject
{
    Q_OBJECT

public:
    explicit TaskEvents(const Task& task, Qt::ConnectionType type = Qt::AutoConnection)
    {
        using T = VantorChunkTask;
        T* const t = task.data();
        connect(
            t, &T::ChunkVersionTaskProgressChanged, this, [this](const auto& r) { add("version progress", r); }, type);
        connect(
            t, &T::ChunkVersionTaskFinished, this, [this](const auto& r) { add("version finished", r); }, type);
        connect(
            t, &T::ChunkSizeTaskProgressChanged, this, [this](const auto& r) { add("size progress", r); }, type);
        connect(
            t, &T::ChunkSizeTaskFinished, this, [this](const auto& r) { add("size finished", r); }, type);
        connect(
            t, &T::ChunkNormalDownloadTaskProgressChanged, this, [this](const auto& r) { add("normal progress", r); },
            type);
        connect(
            t, &T::ChunkNormalDownloadTaskFinished, this, [this](const auto& r) { add("normal finished", r); }, type);
        connect(
            t, &T::ChunkRepairDownloadTaskProgressChanged, this, [this](const auto& r) { add("repair progress", r); },
            type);
        connect(
            t, &T::ChunkRepairDownloadTaskFinished, this, [this](const auto& r) { add("repair finished", r); }, type);
        connect(
            t, &T::ChunkDeleteDatabaseTaskFinished, this, [this](const auto& r) { add("delete finished", r); }, type);
    }

    QStringList Lines() const
    {
        const QMutexLocker locker(&mutex);
        return lines;
    }
    int Count(const QString& beginning) const { return Lines().filter(beginning).size(); }

private:
    void add(const char* name, const VantorChunkResp& resp)
    {
        const QMutexLocker locker(&mutex);
        QStringList words{QLatin1String(name), resp.status};
        if (resp.error_code != 0 || !resp.error_msg.isEmpty())
            words << QString::number(resp.error_code) << resp.error_msg;
        lines.append(words.join(QLatin1Char(' ')));
    }

    mutable QMutex mutex;
    QStringList lines;
};

struct Action
{
    const char* name; // in the engine's texts
    const char* word; // in TaskEvents
    VantorChunkActionType type;
};

constexpr Action kActions[] = {
    {"fetch_version", "version", VantorChunkActionFetchVersion},
    {"fetch_size", "size", VantorChunkActionFetchSize},
    {"normal_download", "normal", VantorChunkActionNormalDownload},
    {"repair_download", "repair", VantorChunkActionRepairDownload},
    {"delete_database", "delete", VantorChunkActionDeleteDatabase},
};

void syncChunkThread()
{
    QMetaObject::invokeMethod(
        registry(), [] {}, Qt::BlockingQueuedConnection);
}

} // namespace

class tst_VantorChunkTask : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void declaresItsSignalsAndSlots();
    void idleTask();
    void startSendsTheRequest();
    void nullRequestIsIgnored();
    void taskWithoutRequestIsNotSent();
    void registryLeavesTheTasksGuidAlone();
    void cancelAsksTheEngine();
    void cancelBeforeTheStartIsLogged();
    void cancelOfAnUnknownGuidIsLogged();
    void cancelAfterTheEndIsLogged();
    void signalsOfEachAction_data();
    void signalsOfEachAction();
    void duplicatedIsExact();
    void finishIsLogged_data();
    void finishIsLogged();
    void linesNameTheirFunctions();
    void lastResponseIsKept();
    void progressPrecedesTheEnd();
    void recordsTravelWhole();
    void unknownGuidEmitsNothing();
    void endedTaskIsForgotten();
    void unreadableAnswersAreDropped_data();
    void unreadableAnswersAreDropped();
    void hugeAnswerIsHarmless();

    void diskGuardLetsTheLimitPass();
    void diskGuardCancelsOnce_data();
    void diskGuardCancelsOnce();
    void diskGuardIsForDownloadsOnly_data();
    void diskGuardIsForDownloadsOnly();
    void diskGuardLooksAtTheInstallFolder();
    void diskGuardRewritesTheEnd();
    void diskGuardActsOnTheLastAnswerToo();
    void diskGuardIsSetBackByTheEnd();
    void diskFlagSurvivesARestart();
    void diskFlagComesBeforeDuplicated();
    void answersOfAnEarlierRunNameThePresentOne();

    void registryHoldsTheTask();
    void registryForgetsOnRequest();
    void laterTaskReplacesAnEarlierOne();
    void earlyAnswersArriveInOrder();
    void earlyAnswersEndAtTheEnd();
    void signalsAreEmittedOnTheChunkThread();
    void startsAgainAfterCompletion();
    void startsAgainFromTheFinishedSignal();
    void thousandTasks();
    void cancelRacesWithCompletion();
    void readersRaceWithAnswers_data();
    void readersRaceWithAnswers();
    void ownerDropsTasksWhileTheyAreNotified();

private:
    Task started(const QString& guid, VantorChunkActionType action = VantorChunkActionNormalDownload);
    void settle();

    std::unique_ptr<EngineDoubleClient> engine;
    std::unique_ptr<LogCapture> log;
    std::atomic<std::uint64_t> freeBytes{0};
    QMutex probedMutex;
    QStringList probed;
};

void tst_VantorChunkTask::initTestCase()
{
    QVERIFY(VantorExporter::Instance()->Init(QString(), QString(), 0, 0));
}

void tst_VantorChunkTask::init()
{
    engine = std::make_unique<EngineDoubleClient>();
    log = std::make_unique<LogCapture>();
    freeBytes = std::numeric_limits<std::uint64_t>::max();
    probed.clear();
    Orvel::Common::SetDiskSpaceProbe([this](const std::string& path) {
        const QMutexLocker locker(&probedMutex);
        probed.append(QString::fromStdString(path));
        return std::make_pair(freeBytes.load(), std::uint64_t(0));
    });
}

void tst_VantorChunkTask::cleanup()
{
    settle();
    Orvel::Common::SetDiskSpaceProbe({});
    log.reset();
    engine.reset();
}

/// \brief Everything fired has passed the chunk thread, and its signals have arrived.
void tst_VantorChunkTask::settle()
{
    engine->Flush();
    syncChunkThread();
    QCoreApplication::processEvents();
}

Task tst_VantorChunkTask::started(const QString& guid, VantorChunkActionType action)
{
    const Task task = VantorChunkTask::MakeChunkTask();
    engine->NextChunkGuid(guid);
    task->Start(request(action));
    log->clear();
    engine->TakeCalls();
    return task;
}

void tst_VantorChunkTask::declaresItsSignalsAndSlots()
{
    QCOMPARE(declaredSignals(VantorChunkTask::staticMetaObject),
             (QStringList{
                 QStringLiteral("ChunkDeleteDatabaseTaskFinished(VantorChunkDeleteDatabaseResp resp)"),
                 QStringLiteral("ChunkVersionTaskProgressChanged(VantorChunkVersionResp resp)"),
                 QStringLiteral("ChunkVersionTaskFinished(VantorChunkVersionResp resp)"),
                 QStringLiteral("ChunkSizeTaskProgressChanged(VantorChunkSizeResp resp)"),
                 QStringLiteral("ChunkSizeTaskFinished(VantorChunkSizeResp resp)"),
                 QStringLiteral("ChunkNormalDownloadTaskProgressChanged(VantorChunkNormalDownloadResp resp)"),
                 QStringLiteral("ChunkNormalDownloadTaskFinished(VantorChunkNormalDownloadResp resp)"),
                 QStringLiteral("ChunkRepairDownloadTaskProgressChanged(VantorChunkRepairDownloadResp resp)"),
                 QStringLiteral("ChunkRepairDownloadTaskFinished(VantorChunkRepairDownloadResp resp)"),
             }));
    QCOMPARE(declaredSlots(VantorChunkTaskManager::staticMetaObject),
             QStringList(QStringLiteral("OnChunkTaskCallback(QString guid, QString info)")));
}

void tst_VantorChunkTask::idleTask()
{
    const Task task = VantorChunkTask::MakeChunkTask();
    QVERIFY(!task->IsRunning());
    QCOMPARE(task->GetGuid(), QString());
    QVERIFY(!task->GetLastResp());
    QCOMPARE(task->sharedFromThis(), task);
}

void tst_VantorChunkTask::startSendsTheRequest()
{
    const Task task = VantorChunkTask::MakeChunkTask();
    task->SetLogTag("[größe]");
    const QString json = request()->ToJsonStr();
    engine->NextChunkGuid(QStringLiteral("c-ä"));
    task->Start(request());
    engine->ScribbleReturnedTexts();
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("StartChunkTask(%1, wunsch-ß)").arg(json)));
    QCOMPARE(task->GetGuid(), QStringLiteral("c-ä"));
    QVERIFY(task->IsRunning());
    QCOMPARE(registry()->FindChunkTask(QStringLiteral("c-ä")), task);
    QCOMPARE(log->texts(), QStringList(QStringLiteral("[größe] start chunk task, guid: c-ä, params: ") + json));
    QCOMPARE(log->records().front().level, kInfo);
    QCOMPARE(log->records().front().file, std::string("src/base/QComm/vantor/VantorChunkTask.cpp"));
    QVERIFY(!task->GetLastResp());
}

void tst_VantorChunkTask::nullRequestIsIgnored()
{
    const Task task = VantorChunkTask::MakeChunkTask();
    task->Start(nullptr);
    QVERIFY(!task->IsRunning());
    QCOMPARE(engine->TakeCallLines(), QStringList());
    QCOMPARE(log->texts(), QStringList());
}

void tst_VantorChunkTask::taskWithoutRequestIsNotSent()
{
    QCOMPARE(registry()->StartChunkTask(VantorChunkTask::MakeChunkTask()), QString());
    QCOMPARE(registry()->StartChunkTask(Task()), QString());
    QCOMPARE(engine->TakeCallLines(), QStringList());
    QVERIFY(!registry()->FindChunkTask(QString()));
}

// Only Start() makes the engine's guid the task's own.
void tst_VantorChunkTask::registryLeavesTheTasksGuidAlone()
{
    const Task task = started(QStringLiteral("own"));
    engine->NextChunkGuid(QStringLiteral("further"));
    QCOMPARE(registry()->StartChunkTask(task), QStringLiteral("further"));
    QCOMPARE(engine->TakeCallLines(),
             QStringList(QStringLiteral("StartChunkTask(%1, wunsch-ß)").arg(request()->ToJsonStr())));
    QCOMPARE(task->GetGuid(), QStringLiteral("own"));
    QCOMPARE(registry()->FindChunkTask(QStringLiteral("own")), task);
    QCOMPARE(registry()->FindChunkTask(QStringLiteral("further")), task);
    QCOMPARE(log->texts(), QStringList());
    registry()->RemoveChunkTask(QStringLiteral("own"));
    registry()->RemoveChunkTask(QStringLiteral("further"));
}

void tst_VantorChunkTask::cancelAsksTheEngine()
{
    const Task task = VantorChunkTask::MakeChunkTask();
    task->SetLogTag("tag");
    engine->NextChunkGuid(QStringLiteral("c"));
    task->Start(request());
    engine->TakeCalls();
    log->clear();
    task->Cancel();
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("CancelChunkTask(c)")));
    QCOMPARE(log->texts(), QStringList(QStringLiteral("tag stop chunk task, guid: c")));
    QCOMPARE(log->records().front().level, kInfo);
    // Nothing else changes before the engine answers.
    QVERIFY(task->IsRunning());
    QCOMPARE(task->GetGuid(), QStringLiteral("c"));
    QCOMPARE(registry()->FindChunkTask(QStringLiteral("c")), task);
}

void tst_VantorChunkTask::cancelBeforeTheStartIsLogged()
{
    VantorChunkTask::MakeChunkTask()->Cancel();
    QCOMPARE(log->texts(), (QStringList{QStringLiteral(" stop chunk task, guid: "),
                                        QStringLiteral("[chunk] is task cancelled? Not find guid: ")}));
    QCOMPARE(engine->TakeCallLines(), QStringList());
}

void tst_VantorChunkTask::cancelOfAnUnknownGuidIsLogged()
{
    registry()->CancelChunkTask(QStringLiteral("fremd-ß"));
    QCOMPARE(log->texts(), QStringList(QStringLiteral("[chunk] is task cancelled? Not find guid: fremd-ß")));
    QCOMPARE(log->records().front().level, kWarning);
    QCOMPARE(log->records().front().file, std::string("src/base/QComm/vantor/VantorChunkTaskManager.cpp"));
    QCOMPARE(engine->TakeCallLines(), QStringList());
}

void tst_VantorChunkTask::cancelAfterTheEndIsLogged()
{
    const Task task = started(QStringLiteral("c"));
    engine->FireChunk(QStringLiteral("c"), Chunk(QStringLiteral("normal_download"), QStringLiteral("Success"), true));
    settle();
    log->clear();
    task->Cancel();
    QCOMPARE(log->texts(), (QStringList{QStringLiteral(" stop chunk task, guid: c"),
                                        QStringLiteral("[chunk] is task cancelled? Not find guid: c")}));
    QCOMPARE(engine->TakeCallLines(), QStringList());
}

void tst_VantorChunkTask::signalsOfEachAction_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("status");
    QTest::addColumn<QStringList>("expected");
    for (const Action& action : kActions) {
        for (const char* status : {"Success", "Failed", "Cancelled", "Duplicated"}) {
            QStringList expected;
            const QString word = QLatin1String(action.word);
            if (action.type != VantorChunkActionDeleteDatabase)
                expected << word + QStringLiteral(" progress Running")
                         << word + QStringLiteral(" progress ") + QLatin1String(status);
            const bool download =
                action.type == VantorChunkActionNormalDownload || action.type == VantorChunkActionRepairDownload;
            if (download || qstrcmp(status, "Duplicated") != 0)
                expected << word + QStringLiteral(" finished ") + QLatin1String(status);
            QTest::newRow(qPrintable(QStringLiteral("%1 %2").arg(QLatin1String(action.name), QLatin1String(status))))
                << QString::fromLatin1(action.name) << int(action.type) << QString::fromLatin1(status) << expected;
        }
    }
}

void tst_VantorChunkTask::signalsOfEachAction()
{
    QFETCH(QString, action);
    QFETCH(int, type);
    QFETCH(QString, status);
    QFETCH(QStringList, expected);
    const Task task = started(QStringLiteral("c"), static_cast<VantorChunkActionType>(type));
    const TaskEvents events(task);
    engine->FireChunk(QStringLiteral("c"), Chunk(action, QStringLiteral("Running"), false));
    settle();
    QVERIFY(task->IsRunning());
    engine->FireChunk(QStringLiteral("c"), Chunk(action, status, true));
    settle();
    QCOMPARE(events.Lines(), expected);
    QVERIFY(!task->IsRunning());
    QVERIFY(!registry()->FindChunkTask(QStringLiteral("c")));
    QCOMPARE(task->GetGuid(), QStringLiteral("c"));
}

void tst_VantorChunkTask::duplicatedIsExact()
{
    const Task task = started(QStringLiteral("c"), VantorChunkActionFetchSize);
    const TaskEvents events(task);
    engine->FireChunk(QStringLiteral("c"), Chunk(QStringLiteral("fetch_size"), QStringLiteral("duplicated"), true));
    QTRY_COMPARE(events.Count(QStringLiteral("size finished duplicated")), 1);
}

void tst_VantorChunkTask::finishIsLogged_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<QString>("announcement");
    QTest::newRow("version") << QStringLiteral("fetch_version") << QStringLiteral("tagemit ChunkVersionTaskFinished");
    QTest::newRow("size") << QStringLiteral("fetch_size") << QStringLiteral("tagemit ChunkSizeTaskFinished");
    QTest::newRow("delete") << QStringLiteral("delete_database")
                            << QStringLiteral("tagemit ChunkDeleteDatabaseTaskFinished");
    QTest::newRow("normal") << QStringLiteral("normal_download") << QString();
    QTest::newRow("repair") << QStringLiteral("repair_download") << QString();
}

void tst_VantorChunkTask::finishIsLogged()
{
    QFETCH(QString, action);
    QFETCH(QString, announcement);
    const auto finishedLines = [&](const QString& status) {
        const Task task = VantorChunkTask::MakeChunkTask();
        task->SetLogTag("tag");
        engine->NextChunkGuid(QStringLiteral("c"));
        task->Start(request());
        log->clear();
        const QByteArray answer = Chunk(action, status, true, {{QStringLiteral("branch"), QStringLiteral("größe")}});
        engine->FireChunk(QStringLiteral("c"), answer);
        settle();
        QStringList expected{QStringLiteral("tag finished chunk task, guid: c, info: ") + QString::fromUtf8(answer)};
        if (!announcement.isEmpty() && status != QLatin1String("Duplicated"))
            expected << announcement;
        QCOMPARE(log->texts(), expected);
        QCOMPARE(log->texts(kInfo), expected);
    };
    finishedLines(QStringLiteral("Success"));
    finishedLines(QStringLiteral("Duplicated"));
}

void tst_VantorChunkTask::linesNameTheirFunctions()
{
    const Task task = VantorChunkTask::MakeChunkTask();
    engine->NextChunkGuid(QStringLiteral("c"));
    task->Start(request());
    freeBytes = 0;
    engine->FireChunk(QStringLiteral("c"), Chunk(QStringLiteral("normal_download"), QStringLiteral("Running"), false));
    engine->FireChunk(QStringLiteral("c"), Chunk(QStringLiteral("fetch_size"), QStringLiteral("Success"), true));
    settle();
    task->Cancel();
    QStringList lines;
    for (const auto& record : log->records())
        lines << QStringLiteral("%1 %2").arg(QString::number(record.level), QString::fromStdString(record.function));
    QCOMPARE(lines, (QStringList{
                        QStringLiteral("2 VantorChunkTask::Start"),
                        QStringLiteral("3 VantorChunkTask::NotifyProgressChanged"), // too little space
                        QStringLiteral("2 VantorChunkTask::NofityFinished"),        // the answer
                        QStringLiteral("3 VantorChunkTask::NofityFinished"),        // cancelled for lack of space
                        QStringLiteral("2 VantorChunkTask::NofityFinished"),        // the signal
                        QStringLiteral("2 VantorChunkTask::Cancel"),
                        QStringLiteral("3 VantorChunkTaskManager::CancelChunkTask"),
                    }));
}

void tst_VantorChunkTask::lastResponseIsKept()
{
    const Task task = started(QStringLiteral("c"));
    engine->FireChunk(QStringLiteral("c"), Chunk(QStringLiteral("normal_download"), QStringLiteral("One"), false));
    settle();
    const std::shared_ptr<VantorChunkResp> first = task->GetLastResp();
    QVERIFY(first);
    QCOMPARE(first->status, QStringLiteral("One"));
    engine->FireChunk(QStringLiteral("c"), Chunk(QStringLiteral("normal_download"), QStringLiteral("Two"), true));
    settle();
    QCOMPARE(task->GetLastResp()->status, QStringLiteral("Two"));
    QCOMPARE(first->status, QStringLiteral("One"));
    QVERIFY(dynamic_cast<VantorChunkNormalDownloadResp*>(first.get()));
    // A restart keeps it until the next answer.
    engine->NextChunkGuid(QStringLiteral("d"));
    task->Start(request());
    QCOMPARE(task->GetLastResp()->status, QStringLiteral("Two"));
}

void tst_VantorChunkTask::progressPrecedesTheEnd()
{
    const Task task = started(QStringLiteral("c"));
    std::atomic<bool> registeredInProgress{false};
    std::atomic<bool> runningInProgress{true};
    std::atomic<bool> registeredInFinished{true};
    connect(
        task.data(), &VantorChunkTask::ChunkNormalDownloadTaskProgressChanged, this,
        [&] {
            registeredInProgress = !registry()->FindChunkTask(QStringLiteral("c")).isNull();
            runningInProgress = task->IsRunning();
        },
        Qt::DirectConnection);
    connect(
        task.data(), &VantorChunkTask::ChunkNormalDownloadTaskFinished, this,
        [&] { registeredInFinished = !registry()->FindChunkTask(QStringLiteral("c")).isNull(); }, Qt::DirectConnection);
    engine->FireChunk(QStringLiteral("c"), Chunk(QStringLiteral("normal_download"), QStringLiteral("Success"), true));
    settle();
    QVERIFY(registeredInProgress);
    QVERIFY(!runningInProgress);
    QVERIFY(!registeredInFinished);
}

void tst_VantorChunkTask::recordsTravelWhole()
{
    const Task task = started(QStringLiteral("c"), VantorChunkActionRepairDownload);
    VantorChunkRepairDownloadResp received;
    connect(task.data(), &VantorChunkTask::ChunkRepairDownloadTaskFinished, this,
            [&received](const VantorChunkRepairDownloadResp& resp) { received = resp; });
    const QByteArray answer = Chunk(QStringLiteral("repair_download"), QStringLiteral("Success"), true,
                                    {{QStringLiteral("guid"), QStringLiteral("c")},
                                     {QStringLiteral("package_id"), QStringLiteral("größe")},
                                     {QStringLiteral("total_download_byte"), 7},
                                     {QStringLiteral("current_download_byte"), 8},
                                     {QStringLiteral("total_to_preprocess_file_num"), 9}});
    engine->FireChunk(QStringLiteral("c"), answer);
    settle();
    QCOMPARE(received.GetRawJsonStr(), QString::fromUtf8(answer));
    QCOMPARE(received.package_id, QStringLiteral("größe"));
    QCOMPARE(received.total_download_byte, qint64(7));
    QCOMPARE(received.current_download_byte, qint64(8));
    QCOMPARE(received.total_to_preprocess_file_num, qint64(9));
}

void tst_VantorChunkTask::unknownGuidEmitsNothing()
{
    const Task task = started(QStringLiteral("c"));
    const TaskEvents events(task);
    for (const char* guid : {"", "C", "other"})
        engine->FireChunk(QLatin1String(guid),
                          Chunk(QStringLiteral("normal_download"), QStringLiteral("Success"), true));
    settle();
    QCOMPARE(events.Lines(), QStringList());
    QCOMPARE(log->texts(), QStringList());
    QVERIFY(task->IsRunning());
    QVERIFY(!task->GetLastResp());
}

void tst_VantorChunkTask::endedTaskIsForgotten()
{
    const Task task = started(QStringLiteral("c"));
    const TaskEvents events(task);
    engine->FireChunk(QStringLiteral("c"), Chunk(QStringLiteral("normal_download"), QStringLiteral("Success"), true));
    engine->FireChunk(QStringLiteral("c"), Chunk(QStringLiteral("normal_download"), QStringLiteral("Failed"), true));
    settle();
    QCOMPARE(events.Lines(),
             (QStringList{QStringLiteral("normal progress Success"), QStringLiteral("normal finished Success")}));
    QCOMPARE(task->GetLastResp()->status, QStringLiteral("Success"));
}

void tst_VantorChunkTask::unreadableAnswersAreDropped_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("no JSON") << QByteArray("<html>");
    QTest::newRow("truncated") << Chunk(QStringLiteral("normal_download"), QStringLiteral("Success"), true).chopped(1);
    QTest::newRow("no UTF-8") << QByteArray("{\"action\":\"\xff\xfe\",\"completed\":true}");
    QTest::newRow("array") << QByteArray("[{\"action\":\"normal_download\",\"completed\":true}]");
    QTest::newRow("empty object") << QByteArray("{}");
    QTest::newRow("no action") << QByteArray("{\"completed\":true}");
    QTest::newRow("unknown action") << Chunk(QStringLiteral("unknown"), QStringLiteral("Success"), true);
    QTest::newRow("action of another type") << QByteArray("{\"action\":[3],\"completed\":true}");
    QTest::newRow("deep") << QByteArray(100000, '[');
}

void tst_VantorChunkTask::unreadableAnswersAreDropped()
{
    QFETCH(QByteArray, answer);
    const Task task = started(QStringLiteral("c"));
    const TaskEvents events(task);
    engine->FireChunk(QStringLiteral("c"), answer);
    settle();
    QCOMPARE(events.Lines(), QStringList());
    QCOMPARE(log->texts(), QStringList());
    QVERIFY(!task->GetLastResp());
    QVERIFY(task->IsRunning());
    QCOMPARE(registry()->FindChunkTask(QStringLiteral("c")), task);
    // The task goes on.
    engine->FireChunk(QStringLiteral("c"), Chunk(QStringLiteral("normal_download"), QStringLiteral("Success"), true));
    settle();
    QCOMPARE(events.Count(QStringLiteral("normal finished Success")), 1);
}

void tst_VantorChunkTask::hugeAnswerIsHarmless()
{
    constexpr int kBytes = 50 * 1024 * 1024;
    const Task task = started(QStringLiteral("c"), VantorChunkActionFetchSize);
    const TaskEvents events(task);
    engine->FireChunk(QStringLiteral("c"), QByteArray(kBytes, 'x'));
    QByteArray answer = Chunk(QStringLiteral("fetch_size"), QStringLiteral("Success"), true);
    answer.insert(1, "\"ballast\":\"" + QByteArray(kBytes, 'x') + "\",");
    engine->FireChunk(QStringLiteral("c"), answer.chopped(1));
    engine->FireChunk(QStringLiteral("c"), answer);
    QTRY_COMPARE_WITH_TIMEOUT(
        events.Lines(), (QStringList{QStringLiteral("size progress Success"), QStringLiteral("size finished Success")}),
        60000);
}

void tst_VantorChunkTask::diskGuardLetsTheLimitPass()
{
    freeBytes = kDiskSpaceLimit;
    const Task task = started(QStringLiteral("c"));
    const TaskEvents events(task);
    engine->FireChunk(QStringLiteral("c"), Chunk(QStringLiteral("normal_download"), QStringLiteral("Running"), false));
    engine->FireChunk(QStringLiteral("c"), Chunk(QStringLiteral("normal_download"), QStringLiteral("Success"), true));
    settle();
    QCOMPARE(engine->TakeCallLines(), QStringList());
    QCOMPARE(log->texts(kWarning), QStringList());
    QCOMPARE(events.Lines().value(events.Lines().size() - 1), QStringLiteral("normal finished Success"));
    QCOMPARE(probed.size(), 2); // at every answer, the last one too
}

void tst_VantorChunkTask::diskGuardCancelsOnce_data()
{
    QTest::addColumn<QString>("action");
    QTest::newRow("normal") << QStringLiteral("normal_download");
    QTest::newRow("repair") << QStringLiteral("repair_download");
}

void tst_VantorChunkTask::diskGuardCancelsOnce()
{
    QFETCH(QString, action);
    freeBytes = kDiskSpaceLimit - 1;
    const Task task = started(QStringLiteral("c"));
    task->SetLogTag("tag");
    for (int i = 0; i < 3; ++i)
        engine->FireChunk(QStringLiteral("c"), Chunk(action, QStringLiteral("Running"), false));
    settle();
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("CancelChunkTask(c)")));
    QCOMPARE(log->texts(), QStringList(QStringLiteral("tag disk space less than 500 mb, need cancel download task c")));
    QCOMPARE(log->records().front().level, kWarning);
    QCOMPARE(probed.size(), 1);
    QVERIFY(task->IsRunning());
}

void tst_VantorChunkTask::diskGuardIsForDownloadsOnly_data()
{
    QTest::addColumn<QString>("action");
    QTest::newRow("version") << QStringLiteral("fetch_version");
    QTest::newRow("size") << QStringLiteral("fetch_size");
    QTest::newRow("delete") << QStringLiteral("delete_database");
}

void tst_VantorChunkTask::diskGuardIsForDownloadsOnly()
{
    QFETCH(QString, action);
    freeBytes = 0;
    const Task task = started(QStringLiteral("c"));
    engine->FireChunk(QStringLiteral("c"), Chunk(action, QStringLiteral("Running"), false));
    engine->FireChunk(QStringLiteral("c"), Chunk(action, QStringLiteral("Success"), true));
    settle();
    QCOMPARE(probed, QStringList());
    QCOMPARE(engine->TakeCallLines(), QStringList());
    QCOMPARE(task->GetLastResp()->status, QStringLiteral("Success"));
}

void tst_VantorChunkTask::diskGuardLooksAtTheInstallFolder()
{
    const Task task = started(QStringLiteral("c"));
    engine->FireChunk(QStringLiteral("c"), Chunk(QStringLiteral("normal_download"), QStringLiteral("Running"), false));
    settle();
    QCOMPARE(probed, QStringList(QStringLiteral("D:/Spiele/更新")));
}

void tst_VantorChunkTask::diskGuardRewritesTheEnd()
{
    freeBytes = kDiskSpaceLimit - 1;
    const Task task = started(QStringLiteral("c"));
    task->SetLogTag("tag");
    const TaskEvents events(task);
    engine->FireChunk(QStringLiteral("c"), Chunk(QStringLiteral("normal_download"), QStringLiteral("Running"), false));
    settle();
    log->clear();
    std::shared_ptr<VantorChunkResp> held;
    connect(
        task.data(), &VantorChunkTask::ChunkNormalDownloadTaskProgressChanged, task.data(),
        [&held, &task] { held = task->GetLastResp(); }, Qt::DirectConnection);
    const QByteArray last = Chunk(QStringLiteral("normal_download"), QStringLiteral("Cancelled"), true,
                                  {{QStringLiteral("error_code"), 77},
                                   {QStringLiteral("error_msg"), QStringLiteral("stopped")},
                                   {QStringLiteral("package_id"), QStringLiteral("demo")}});
    engine->FireChunk(QStringLiteral("c"), last);
    settle();
    QCOMPARE(events.Lines(), (QStringList{QStringLiteral("normal progress Running"),
                                          QStringLiteral("normal progress Cancelled 77 stopped"),
                                          QStringLiteral("normal finished Failed 1 disk space not enough")}));
    QCOMPARE(log->texts(),
             (QStringList{QStringLiteral("tag finished chunk task, guid: c, info: ") + QString::fromUtf8(last),
                          QStringLiteral("tag disk space less than 500 mb, inner cancelled c")}));
    QCOMPARE(log->texts(kWarning).size(), 1);
    const auto resp = task->GetLastResp();
    QCOMPARE(resp->error_code, 1);
    QCOMPARE(resp->error_msg, QStringLiteral("disk space not enough"));
    QCOMPARE(resp->status, QStringLiteral("Failed"));
    QCOMPARE(resp->package_id, QStringLiteral("demo"));
    QCOMPARE(resp->GetRawJsonStr(), QString::fromUtf8(last));
    QCOMPARE(held.get(), resp.get());
    QVERIFY(dynamic_cast<VantorChunkNormalDownloadResp*>(resp.get()));
}

void tst_VantorChunkTask::diskGuardActsOnTheLastAnswerToo()
{
    freeBytes = kDiskSpaceLimit - 1;
    const Task task = started(QStringLiteral("c"));
    const TaskEvents events(task);
    engine->FireChunk(QStringLiteral("c"), Chunk(QStringLiteral("repair_download"), QStringLiteral("Success"), true));
    settle();
    // Still registered then, so the engine is asked.
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("CancelChunkTask(c)")));
    QCOMPARE(events.Lines(), (QStringList{QStringLiteral("repair progress Success"),
                                          QStringLiteral("repair finished Failed 1 disk space not enough")}));
}

void tst_VantorChunkTask::diskGuardIsSetBackByTheEnd()
{
    freeBytes = kDiskSpaceLimit - 1;
    const Task task = started(QStringLiteral("c"));
    const TaskEvents events(task);
    engine->FireChunk(QStringLiteral("c"), Chunk(QStringLiteral("normal_download"), QStringLiteral("Cancelled"), true));
    settle();
    freeBytes = kDiskSpaceLimit;
    engine->NextChunkGuid(QStringLiteral("d"));
    task->Start(request());
    engine->FireChunk(QStringLiteral("d"), Chunk(QStringLiteral("normal_download"), QStringLiteral("Success"), true));
    settle();
    QCOMPARE(events.Lines().value(events.Lines().size() - 1), QStringLiteral("normal finished Success"));
    freeBytes = 0;
    engine->NextChunkGuid(QStringLiteral("e"));
    task->Start(request());
    engine->TakeCalls();
    engine->FireChunk(QStringLiteral("e"), Chunk(QStringLiteral("normal_download"), QStringLiteral("Running"), false));
    settle();
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("CancelChunkTask(e)")));
}

void tst_VantorChunkTask::diskFlagSurvivesARestart()
{
    freeBytes = 0;
    const Task task = started(QStringLiteral("c"));
    const TaskEvents events(task);
    engine->FireChunk(QStringLiteral("c"), Chunk(QStringLiteral("normal_download"), QStringLiteral("Running"), false));
    settle();
    freeBytes = kDiskSpaceLimit;
    engine->NextChunkGuid(QStringLiteral("d"));
    task->Start(request());
    engine->FireChunk(QStringLiteral("d"), Chunk(QStringLiteral("normal_download"), QStringLiteral("Success"), true));
    settle();
    QCOMPARE(events.Lines().value(events.Lines().size() - 1),
             QStringLiteral("normal finished Failed 1 disk space not enough"));
    registry()->RemoveChunkTask(QStringLiteral("c"));
}

// The record is rewritten first, so a fetch after an ended download reports even when it says "Duplicated".
void tst_VantorChunkTask::diskFlagComesBeforeDuplicated()
{
    freeBytes = 0;
    const Task task = started(QStringLiteral("c"));
    const TaskEvents events(task);
    engine->FireChunk(QStringLiteral("c"), Chunk(QStringLiteral("normal_download"), QStringLiteral("Running"), false));
    settle();
    engine->NextChunkGuid(QStringLiteral("d"));
    task->Start(request(VantorChunkActionFetchSize));
    engine->FireChunk(QStringLiteral("d"), Chunk(QStringLiteral("fetch_size"), QStringLiteral("Duplicated"), true));
    settle();
    QCOMPARE(events.Lines(),
             (QStringList{QStringLiteral("normal progress Running"), QStringLiteral("size progress Duplicated"),
                          QStringLiteral("size finished Failed 1 disk space not enough")}));
    registry()->RemoveChunkTask(QStringLiteral("c"));
}

void tst_VantorChunkTask::answersOfAnEarlierRunNameThePresentOne()
{
    const Task task = started(QStringLiteral("c"));
    engine->NextChunkGuid(QStringLiteral("d"));
    task->Start(request());
    engine->TakeCalls();
    log->clear();
    freeBytes = 0;
    engine->FireChunk(QStringLiteral("c"), Chunk(QStringLiteral("normal_download"), QStringLiteral("Success"), true));
    settle();
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("CancelChunkTask(d)")));
    QCOMPARE(log->texts(kWarning),
             (QStringList{QStringLiteral(" disk space less than 500 mb, need cancel download task d"),
                          QStringLiteral(" disk space less than 500 mb, inner cancelled d")}));
    QVERIFY(log->texts(kInfo).first().startsWith(QStringLiteral(" finished chunk task, guid: d, info: ")));
    QVERIFY(!registry()->FindChunkTask(QStringLiteral("c")));
    QCOMPARE(registry()->FindChunkTask(QStringLiteral("d")), task);
    registry()->RemoveChunkTask(QStringLiteral("d"));
}

void tst_VantorChunkTask::registryHoldsTheTask()
{
    Task task = started(QStringLiteral("c"));
    const QWeakPointer<VantorChunkTask> watch = task;
    const TaskEvents events(task);
    task.reset();
    QVERIFY(watch);
    engine->FireChunk(QStringLiteral("c"), Chunk(QStringLiteral("normal_download"), QStringLiteral("Success"), true));
    settle();
    QCOMPARE(events.Lines().size(), 2);
    QVERIFY(!watch);
}

void tst_VantorChunkTask::registryForgetsOnRequest()
{
    Task task = started(QStringLiteral("c"));
    const TaskEvents events(task);
    registry()->RemoveChunkTask(QStringLiteral("other"));
    QCOMPARE(registry()->FindChunkTask(QStringLiteral("c")), task);
    registry()->RemoveChunkTask(QStringLiteral("c"));
    QVERIFY(!registry()->FindChunkTask(QStringLiteral("c")));
    engine->FireChunk(QStringLiteral("c"), Chunk(QStringLiteral("normal_download"), QStringLiteral("Success"), true));
    settle();
    QCOMPARE(events.Lines(), QStringList());
    QVERIFY(task->IsRunning());
}

void tst_VantorChunkTask::laterTaskReplacesAnEarlierOne()
{
    Task first = started(QStringLiteral("same"));
    const QWeakPointer<VantorChunkTask> watch = first;
    const Task second = started(QStringLiteral("same"));
    QCOMPARE(registry()->FindChunkTask(QStringLiteral("same")), second);
    first.reset();
    QVERIFY(!watch);
}

void tst_VantorChunkTask::earlyAnswersArriveInOrder()
{
    const Task task = VantorChunkTask::MakeChunkTask();
    const TaskEvents events(task);
    engine->DuringStartChunkTask([this](const QString& guid) {
        engine->FireChunk(guid, Chunk(QStringLiteral("fetch_size"), QStringLiteral("1"), false));
        engine->FireChunk(guid, Chunk(QStringLiteral("fetch_size"), QStringLiteral("2"), false));
        engine->Flush();
        syncChunkThread();
        engine->FireChunk(guid, Chunk(QStringLiteral("fetch_size"), QStringLiteral("3"), false));
    });
    engine->NextChunkGuid(QStringLiteral("early"));
    task->Start(request());
    engine->FireChunk(QStringLiteral("early"), Chunk(QStringLiteral("fetch_size"), QStringLiteral("4"), false));
    QTRY_COMPARE(events.Lines(), (QStringList{QStringLiteral("size progress 1"), QStringLiteral("size progress 2"),
                                              QStringLiteral("size progress 3"), QStringLiteral("size progress 4")}));
}

void tst_VantorChunkTask::earlyAnswersEndAtTheEnd()
{
    const Task task = VantorChunkTask::MakeChunkTask();
    const TaskEvents events(task);
    engine->DuringStartChunkTask([this](const QString& guid) {
        engine->FireChunk(guid, Chunk(QStringLiteral("fetch_size"), QStringLiteral("Success"), true));
        engine->FireChunk(guid, Chunk(QStringLiteral("fetch_size"), QStringLiteral("Late"), true));
        engine->Flush();
        syncChunkThread();
    });
    engine->NextChunkGuid(QStringLiteral("ends early"));
    task->Start(request());
    settle();
    QCOMPARE(events.Lines(),
             (QStringList{QStringLiteral("size progress Success"), QStringLiteral("size finished Success")}));
    QVERIFY(!task->IsRunning());
    QVERIFY(!registry()->FindChunkTask(QStringLiteral("ends early")));
    QCOMPARE(task->GetGuid(), QStringLiteral("ends early"));
}

void tst_VantorChunkTask::signalsAreEmittedOnTheChunkThread()
{
    const Task task = started(QStringLiteral("c"));
    std::atomic<QThread*> emittedOn{nullptr};
    connect(
        task.data(), &VantorChunkTask::ChunkNormalDownloadTaskProgressChanged, this,
        [&] { emittedOn = QThread::currentThread(); }, Qt::DirectConnection);
    engine->FireChunk(QStringLiteral("c"), Chunk(QStringLiteral("normal_download"), QStringLiteral("Running"), false));
    settle();
    QCOMPARE(emittedOn.load(), registry()->thread());
    QVERIFY(registry()->thread() != QThread::currentThread());
}

void tst_VantorChunkTask::startsAgainAfterCompletion()
{
    const Task task = started(QStringLiteral("first"), VantorChunkActionFetchSize);
    const TaskEvents events(task);
    engine->FireChunk(QStringLiteral("first"), Chunk(QStringLiteral("fetch_size"), QStringLiteral("Success"), true));
    settle();
    QVERIFY(!task->IsRunning());
    engine->NextChunkGuid(QStringLiteral("second"));
    task->Start(request(VantorChunkActionFetchVersion));
    QVERIFY(task->IsRunning());
    QCOMPARE(task->GetGuid(), QStringLiteral("second"));
    QVERIFY(engine->TakeCallLines().first().contains(QStringLiteral("\"action\": \"fetch_version\"")));
    engine->FireChunk(QStringLiteral("first"), Chunk(QStringLiteral("fetch_size"), QStringLiteral("Late"), true));
    engine->FireChunk(QStringLiteral("second"),
                      Chunk(QStringLiteral("fetch_version"), QStringLiteral("Success"), true));
    settle();
    QCOMPARE(events.Lines(),
             (QStringList{QStringLiteral("size progress Success"), QStringLiteral("size finished Success"),
                          QStringLiteral("version progress Success"), QStringLiteral("version finished Success")}));
    QVERIFY(!task->IsRunning());
}

void tst_VantorChunkTask::startsAgainFromTheFinishedSignal()
{
    constexpr int kRuns = 200;
    const Task task = VantorChunkTask::MakeChunkTask();
    int finished = 0;
    const auto run = [&] {
        task->Start(request());
        engine->FireChunk(task->GetGuid(), Chunk(QStringLiteral("normal_download"), QStringLiteral("Running"), false));
        engine->FireChunk(task->GetGuid(), Chunk(QStringLiteral("normal_download"), QStringLiteral("Success"), true));
    };
    connect(task.data(), &VantorChunkTask::ChunkNormalDownloadTaskFinished, this, [&] {
        if (++finished < kRuns)
            run();
    });
    run();
    QTRY_COMPARE_WITH_TIMEOUT(finished, kRuns, 30000);
    QVERIFY(!task->IsRunning());
}

void tst_VantorChunkTask::thousandTasks()
{
    constexpr int kTasks = 1000;
    QList<Task> tasks;
    std::vector<std::unique_ptr<TaskEvents>> events;
    for (int i = 0; i < kTasks; ++i) {
        tasks.append(VantorChunkTask::MakeChunkTask());
        events.push_back(std::make_unique<TaskEvents>(tasks.last()));
        tasks.last()->Start(request());
    }
    for (int number = 0; number < 4; ++number) {
        for (int i = 0; i < kTasks; ++i) {
            engine->FireChunk(tasks[i]->GetGuid(),
                              Chunk(QStringLiteral("normal_download"), QString::number(number), number == 3),
                              i % kEngineThreads);
        }
    }
    settle();
    const QStringList expected{QStringLiteral("normal progress 0"), QStringLiteral("normal progress 1"),
                               QStringLiteral("normal progress 2"), QStringLiteral("normal progress 3"),
                               QStringLiteral("normal finished 3")};
    for (int i = 0; i < kTasks; ++i) {
        QCOMPARE(events[static_cast<std::size_t>(i)]->Lines(), expected);
        QVERIFY(!tasks[i]->IsRunning());
        QVERIFY(!registry()->FindChunkTask(tasks[i]->GetGuid()));
        QCOMPARE(tasks[i]->GetLastResp()->status, QStringLiteral("3"));
    }
}

void tst_VantorChunkTask::cancelRacesWithCompletion()
{
    constexpr int kTasks = 500;
    std::atomic<int> finished{0};
    QList<Task> tasks;
    for (int i = 0; i < kTasks; ++i) {
        const Task task = VantorChunkTask::MakeChunkTask();
        connect(
            task.data(), &VantorChunkTask::ChunkRepairDownloadTaskFinished, this, [&finished] { ++finished; },
            Qt::DirectConnection);
        task->Start(request(VantorChunkActionRepairDownload));
        engine->FireChunk(task->GetGuid(), Chunk(QStringLiteral("repair_download"), QStringLiteral("Success"), true),
                          i % kEngineThreads);
        task->SetLogTag("late");
        task->Cancel();
        task->GetLastResp();
        tasks.append(task);
    }
    settle();
    QCOMPARE(finished.load(), kTasks);
    // Each cancellation either reached the engine or found the task ended, and said so.
    const int asked = engine->TakeCallLines().filter(QStringLiteral("CancelChunkTask(")).size();
    const int refused = log->texts(kWarning).filter(QStringLiteral("[chunk] is task cancelled?")).size();
    QCOMPARE(asked + refused, kTasks);
}

void tst_VantorChunkTask::readersRaceWithAnswers_data()
{
    QTest::addColumn<int>("reader");
    QTest::newRow("GetLastResp") << 0;
    QTest::newRow("SetLogTag") << 1;
    QTest::newRow("IsRunning") << 2;
    QTest::newRow("FindChunkTask") << 3;
}

// One thread does nothing but this one thing, so that nothing else orders it against the chunk thread.
void tst_VantorChunkTask::readersRaceWithAnswers()
{
    QFETCH(int, reader);
    constexpr int kRuns = 100;
    const Task task = VantorChunkTask::MakeChunkTask();
    std::atomic<bool> stop{false};
    std::atomic<int> rounds{0};
    std::atomic<int> hits{0}; // keeps the reads from being optimised away
    std::thread racer([&] {
        const QString guid = QStringLiteral("read 50");
        int found = 0;
        while (!stop.load(std::memory_order_relaxed)) {
            rounds.fetch_add(1, std::memory_order_relaxed);
            if (reader == 0)
                found += task->GetLastResp() ? 1 : 0;
            else if (reader == 1)
                task->SetLogTag("a tag that is too long to be stored in the object itself");
            else if (reader == 2)
                found += task->IsRunning() ? 1 : 0;
            else
                found += registry()->FindChunkTask(guid) ? 1 : 0;
        }
        hits.store(found, std::memory_order_relaxed);
    });
    for (int i = 0; i < kRuns; ++i) {
        const QString guid = QStringLiteral("read %1").arg(i);
        engine->NextChunkGuid(guid);
        task->Start(request(VantorChunkActionFetchSize));
        engine->FireChunk(guid, Chunk(QStringLiteral("fetch_size"), QStringLiteral("Running"), false));
        engine->FireChunk(guid, Chunk(QStringLiteral("fetch_size"), QStringLiteral("Success"), true));
    }
    settle();
    while (rounds.load(std::memory_order_relaxed) == 0)
        QThread::yieldCurrentThread();
    stop.store(true, std::memory_order_relaxed);
    racer.join();
    QVERIFY(hits.load(std::memory_order_relaxed) >= 0);
    QCOMPARE(task->GetLastResp()->status, QStringLiteral("Success"));
    QVERIFY(!task->IsRunning());
}

void tst_VantorChunkTask::ownerDropsTasksWhileTheyAreNotified()
{
    constexpr int kTasks = 500;
    QList<QWeakPointer<VantorChunkTask>> watches;
    std::atomic<int> finished{0};
    for (int i = 0; i < kTasks; ++i) {
        Task task = VantorChunkTask::MakeChunkTask();
        watches.append(task);
        connect(
            task.data(), &VantorChunkTask::ChunkNormalDownloadTaskFinished, this, [&finished] { ++finished; },
            Qt::DirectConnection);
        task->Start(request());
        const QString guid = task->GetGuid();
        engine->FireChunk(guid, Chunk(QStringLiteral("normal_download"), QStringLiteral("Running"), false),
                          i % kEngineThreads);
        engine->FireChunk(guid, Chunk(QStringLiteral("normal_download"), QStringLiteral("Success"), true),
                          i % kEngineThreads);
        task.reset();
    }
    settle();
    QCOMPARE(finished.load(), kTasks);
    for (const auto& watch : qAsConst(watches))
        QVERIFY(!watch);
}

QTEST_GUILESS_MAIN(tst_VantorChunkTask)

#include "tst_VantorChunkTask.moc"

// SPDX-License-Identifier: MIT
// Group tasks and the registry that routes the engine's callbacks to them.
#include "EngineDouble.h"
#include "EngineTexts.h"
#include "LogCapture.h"
#include "MetaMethods.h"
#include "vantor/VantorExporter.h"
#include "vantor/VantorGroupDownloadTask.h"
#include "vantor/VantorGroupDownloadTaskManager.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <QMetaObject>
#include <QSemaphore>
#include <QTest>
#include <QThread>
#include <QWeakPointer>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

using EngineTexts::File;
using EngineTexts::Group;

namespace {

constexpr int kInfo = 2;
constexpr int kWarning = 3;
constexpr int kEngineThreads = 4;

using Task = QSharedPointer<VantorGroupDownloadTask>;

VantorGroupDownloadTaskManager* registry()
{
    return VantorGroupDownloadTaskManager::Instance();
}

std::unique_ptr<VantorGroupDownloadTaskReq> request(const QString& list = QStringLiteral("{}"),
                                                    const QString& id = QStringLiteral("net"))
{
    auto req = std::make_unique<VantorGroupDownloadTaskReq>();
    req->downloadList = list;
    req->id = id;
    return req;
}

QByteArray pending(const QString& guid, int number = 0)
{
    return EngineTexts::Text({{QStringLiteral("guid"), guid},
                              {QStringLiteral("status"), QStringLiteral("Pending")},
                              {QStringLiteral("number"), number}});
}

QByteArray ended(const QString& guid, const char* status = "Success")
{
    return Group(guid, QLatin1String(status), {File(QStringLiteral("f"), QStringLiteral("Success"))});
}

/// \brief The signals of a task as they arrive on the test's thread.
class TaskEvents : public QObject
{
    Q_OBJECT

public:
    explicit TaskEvents(const Task& task)
    {
        connect(task.data(), &VantorGroupDownloadTask::groupTaskInfo, this,
                [this](const QString& guid, const GroupTaskModel& model) {
                    lines.append(QStringLiteral("group %1: %2").arg(guid, QString::fromUtf8(model.raw)));
                    valid = model.valid;
                });
        connect(task.data(), &VantorGroupDownloadTask::singleTaskInfo, this,
                [this](const QString& guid, const QString& file, const SingleTaskErrorModel& model) {
                    lines.append(QStringLiteral("file %1 of %2: %3").arg(file, guid, QString::fromUtf8(model.raw)));
                    valid = model.valid;
                });
    }

    QStringList lines;
    bool valid = false;
};

/// \brief Waits until the group thread has done everything that is posted to it.
void syncGroupThread()
{
    QMetaObject::invokeMethod(
        registry(), [] {}, Qt::BlockingQueuedConnection);
}

} // namespace

class tst_VantorGroupDownloadTask : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void declaresItsSignalsAndSlots();
    void idleTask();
    void startSubmitsAndRegisters();
    void nullRequestIsIgnored();
    void restartTakesTheNewRequest();
    void groupCallbackReachesTheTask();
    void fileCallbackReachesTheTask();
    void endIsLoggedAsWarning_data();
    void endIsLoggedAsWarning();
    void endedGroupIsForgotten_data();
    void endedGroupIsForgotten();
    void endWithoutFilesIsNoEnd();
    void unknownGuidIsDropped();
    void secondEndIsDropped();
    void cancelAsksTheEngine();
    void cancelAfterTheEndDoesNothing();
    void signalsAreEmittedOnTheGroupThread();
    void registryHoldsTheTask();
    void laterTaskReplacesAnEarlierOne();
    void endDoesNotForgetALaterTask();
    void earlyCallbacksArriveInOrder();
    void earlyCallbacksEndAtTheEnd();
    void earlyCallbacksOfStrangersAreDropped();
    void lateCallbackDuringARegistration();
    void badTextsArriveAsInvalidModels();
    void callbacksFromSeveralThreads();
    void ownerDropsTasksWhileTheyAreNotified();
    void startsFromSeveralThreads();
    void readersRaceWithCallbacks_data();
    void readersRaceWithCallbacks();

private:
    Task started(const QString& guid, const QString& id = QStringLiteral("net"));
    void settle();

    std::unique_ptr<EngineDoubleClient> engine;
    std::unique_ptr<LogCapture> log;
};

void tst_VantorGroupDownloadTask::initTestCase()
{
    // The engine's texts on Qt's debug channel are a test of their own, and QtTest is slow at printing them.
    QLoggingCategory::setFilterRules(QStringLiteral("orvel.qcomm.engine.debug=false"));
    QVERIFY(VantorExporter::Instance()->Init(QString(), QString(), 0, 0));
}

void tst_VantorGroupDownloadTask::init()
{
    engine = std::make_unique<EngineDoubleClient>();
    log = std::make_unique<LogCapture>();
}

void tst_VantorGroupDownloadTask::cleanup()
{
    settle();
    log.reset();
    engine.reset();
}

/// \brief Everything fired has passed the group thread, and its signals have arrived.
void tst_VantorGroupDownloadTask::settle()
{
    engine->Flush();
    syncGroupThread();
    QCoreApplication::processEvents();
}

Task tst_VantorGroupDownloadTask::started(const QString& guid, const QString& id)
{
    const Task task = VantorGroupDownloadTask::MakeGroupDownloadTask();
    engine->NextGroupGuid(guid);
    task->Start(request(QStringLiteral("{}"), id));
    return task;
}

void tst_VantorGroupDownloadTask::declaresItsSignalsAndSlots()
{
    QCOMPARE(declaredSignals(VantorGroupDownloadTask::staticMetaObject),
             (QStringList{QStringLiteral("groupTaskInfo(QString guid, GroupTaskModel model)"),
                          QStringLiteral("singleTaskInfo(QString groupGuid, QString taskGuid, "
                                         "SingleTaskErrorModel model)")}));
    QCOMPARE(declaredSlots(VantorGroupDownloadTaskManager::staticMetaObject),
             (QStringList{QStringLiteral("onSingleTaskCallback(QString groupGuid, QString singleTaskGuid, "
                                         "QString data)"),
                          QStringLiteral("onGroupTaskCallback(QString guid, QString data)")}));
}

void tst_VantorGroupDownloadTask::idleTask()
{
    const Task task = VantorGroupDownloadTask::MakeGroupDownloadTask();
    QCOMPARE(task->GetGuid(), QString());
    QVERIFY(!task->IsRunning());
    task->Cancel();
    QCOMPARE(engine->TakeCallLines(), QStringList());
    QCOMPARE(task->sharedFromThis(), task);
}

void tst_VantorGroupDownloadTask::startSubmitsAndRegisters()
{
    const Task task = VantorGroupDownloadTask::MakeGroupDownloadTask();
    engine->NextGroupGuid(QStringLiteral("größe"));
    task->Start(request(QStringLiteral("{\"列\":1}")));
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("SetDownloadList({\"列\":1}, )")));
    QCOMPARE(task->GetGuid(), QStringLiteral("größe"));
    QVERIFY(task->IsRunning());
    QCOMPARE(registry()->FindGroupTask(QStringLiteral("größe")), task);
    QVERIFY(!registry()->FindGroupTask(QStringLiteral("grösse")));
    QCOMPARE(log->texts(), QStringList());
}

void tst_VantorGroupDownloadTask::nullRequestIsIgnored()
{
    const Task task = VantorGroupDownloadTask::MakeGroupDownloadTask();
    task->Start(nullptr);
    QVERIFY(!task->IsRunning());
    QCOMPARE(engine->TakeCallLines(), QStringList());
}

void tst_VantorGroupDownloadTask::restartTakesTheNewRequest()
{
    const Task task = started(QStringLiteral("first"), QStringLiteral("one"));
    engine->TakeCalls();
    engine->NextGroupGuid(QStringLiteral("second"));
    task->Start(request(QStringLiteral("[2]"), QStringLiteral("two")));
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("SetDownloadList([2], )")));
    QCOMPARE(task->GetGuid(), QStringLiteral("second"));
    engine->FireGroup(QStringLiteral("second"), "{}");
    settle();
    QCOMPARE(log->texts(), QStringList(QStringLiteral(" [two] [vantor] groupGuid: second, group info: {}")));
}

void tst_VantorGroupDownloadTask::groupCallbackReachesTheTask()
{
    const Task task = started(QStringLiteral("g-ä"), QStringLiteral("späť"));
    const TaskEvents events(task);
    const QByteArray text = "{ \"status\" : \"Pending\", \"x\" : \"ü\" }";
    engine->FireGroup(QStringLiteral("g-ä"), text);
    QTRY_COMPARE(events.lines, QStringList(QStringLiteral("group g-ä: %1").arg(QString::fromUtf8(text))));
    QVERIFY(events.valid);
    QCOMPARE(log->texts(),
             QStringList(QStringLiteral(" [späť] [vantor] groupGuid: g-ä, group info: ") + QString::fromUtf8(text)));
    QCOMPARE(log->records().front().level, kInfo);
    QVERIFY(task->IsRunning());
}

void tst_VantorGroupDownloadTask::fileCallbackReachesTheTask()
{
    const Task task = started(QStringLiteral("g"));
    const TaskEvents events(task);
    const QByteArray going = "{\"status\":\"Downloading\"}";
    const QByteArray done = "{\"status\":\"Success\",\"completed\":true}";
    engine->FireSingle(QStringLiteral("g"), QStringLiteral("datei-ß"), going);
    engine->FireSingle(QStringLiteral("g"), QStringLiteral("datei-ß"), done);
    QTRY_COMPARE(events.lines, (QStringList{QStringLiteral("file datei-ß of g: ") + QString::fromUtf8(going),
                                            QStringLiteral("file datei-ß of g: ") + QString::fromUtf8(done)}));
    const QString line = QStringLiteral(" [net] [vantor] groupGuid: g, task_guid: datei-ß info: ");
    QCOMPARE(log->texts(kInfo), QStringList(line + QString::fromUtf8(going)));
    QCOMPARE(log->texts(kWarning), QStringList(line + QString::fromUtf8(done)));
    // The end of a file is not the end of the group.
    QVERIFY(task->IsRunning());
    QVERIFY(registry()->FindGroupTask(QStringLiteral("g")));
}

void tst_VantorGroupDownloadTask::endIsLoggedAsWarning_data()
{
    QTest::addColumn<QString>("status");
    QTest::addColumn<int>("level");
    for (const char* status : {"Success", "Failed", "Cancelled", "Duplicated"})
        QTest::newRow(status) << QString::fromLatin1(status) << kWarning;
    for (const char* status : {"Invalid", "Pending", "Start", "Progressing", "Verifying", "Cancelling", "Unheard-of"})
        QTest::newRow(status) << QString::fromLatin1(status) << kInfo;
}

void tst_VantorGroupDownloadTask::endIsLoggedAsWarning()
{
    QFETCH(QString, status);
    const Task task = started(QStringLiteral("g"));
    const QByteArray text = ended(QStringLiteral("g"), status.toLatin1().constData());
    engine->FireGroup(QStringLiteral("g"), text);
    settle();
    QCOMPARE(log->texts(),
             QStringList(QStringLiteral(" [net] [vantor] groupGuid: g, group info: ") + QString::fromUtf8(text)));
    QTEST(log->records().front().level, "level");
}

void tst_VantorGroupDownloadTask::endedGroupIsForgotten_data()
{
    endIsLoggedAsWarning_data();
}

void tst_VantorGroupDownloadTask::endedGroupIsForgotten()
{
    QFETCH(QString, status);
    QFETCH(int, level);
    const Task task = started(QStringLiteral("g"));
    engine->FireGroup(QStringLiteral("g"), ended(QStringLiteral("g"), status.toLatin1().constData()));
    settle();
    QCOMPARE(registry()->FindGroupTask(QStringLiteral("g")).isNull(), level == kWarning);
    QCOMPARE(task->IsRunning(), level == kInfo);
    QCOMPARE(task->GetGuid(), QStringLiteral("g"));
}

void tst_VantorGroupDownloadTask::endWithoutFilesIsNoEnd()
{
    const Task task = started(QStringLiteral("g"));
    engine->FireGroup(QStringLiteral("g"), Group(QStringLiteral("g"), QStringLiteral("Success"), {}));
    settle();
    QVERIFY(registry()->FindGroupTask(QStringLiteral("g")));
    QVERIFY(task->IsRunning());
    QCOMPARE(log->texts(kInfo).size(), 1);
}

void tst_VantorGroupDownloadTask::unknownGuidIsDropped()
{
    const Task task = started(QStringLiteral("g"));
    const TaskEvents events(task);
    for (const char* guid : {"", "G", "g2"}) {
        engine->FireGroup(QLatin1String(guid), pending(QStringLiteral("g")));
        engine->FireSingle(QLatin1String(guid), QStringLiteral("f"), "{}");
    }
    settle();
    QCOMPARE(events.lines, QStringList());
    QCOMPARE(log->texts(), QStringList());
}

void tst_VantorGroupDownloadTask::secondEndIsDropped()
{
    const Task task = started(QStringLiteral("g"));
    const TaskEvents events(task);
    engine->FireGroup(QStringLiteral("g"), ended(QStringLiteral("g")));
    engine->FireGroup(QStringLiteral("g"), ended(QStringLiteral("g"), "Failed"));
    engine->FireSingle(QStringLiteral("g"), QStringLiteral("f"), "{}");
    settle();
    QCOMPARE(events.lines.size(), 1);
    QCOMPARE(log->texts().size(), 1);
}

void tst_VantorGroupDownloadTask::cancelAsksTheEngine()
{
    const Task task = started(QStringLiteral("g"));
    engine->TakeCalls();
    task->Cancel();
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("Cancel(g)")));
    QVERIFY(task->IsRunning());
    QVERIFY(registry()->FindGroupTask(QStringLiteral("g")));
}

void tst_VantorGroupDownloadTask::cancelAfterTheEndDoesNothing()
{
    const Task task = started(QStringLiteral("g"));
    engine->FireGroup(QStringLiteral("g"), ended(QStringLiteral("g")));
    settle();
    engine->TakeCalls();
    task->Cancel();
    QCOMPARE(engine->TakeCallLines(), QStringList());
}

void tst_VantorGroupDownloadTask::signalsAreEmittedOnTheGroupThread()
{
    const Task task = started(QStringLiteral("g"));
    std::atomic<QThread*> groupEmittedOn{nullptr};
    std::atomic<QThread*> fileEmittedOn{nullptr};
    connect(
        task.data(), &VantorGroupDownloadTask::groupTaskInfo, this, [&] { groupEmittedOn = QThread::currentThread(); },
        Qt::DirectConnection);
    connect(
        task.data(), &VantorGroupDownloadTask::singleTaskInfo, this, [&] { fileEmittedOn = QThread::currentThread(); },
        Qt::DirectConnection);
    engine->FireGroup(QStringLiteral("g"), pending(QStringLiteral("g")));
    engine->FireSingle(QStringLiteral("g"), QStringLiteral("f"), "{}");
    settle();
    QCOMPARE(groupEmittedOn.load(), registry()->thread());
    QCOMPARE(fileEmittedOn.load(), registry()->thread());
    QVERIFY(registry()->thread() != QThread::currentThread());
}

void tst_VantorGroupDownloadTask::registryHoldsTheTask()
{
    Task task = started(QStringLiteral("g"));
    const QWeakPointer<VantorGroupDownloadTask> watch = task;
    TaskEvents events(task);
    task.reset();
    QVERIFY(watch);
    engine->FireGroup(QStringLiteral("g"), pending(QStringLiteral("g")));
    engine->FireGroup(QStringLiteral("g"), ended(QStringLiteral("g")));
    settle();
    QCOMPARE(events.lines.size(), 2);
    QVERIFY(!watch);
}

void tst_VantorGroupDownloadTask::laterTaskReplacesAnEarlierOne()
{
    Task first = started(QStringLiteral("same"));
    const QWeakPointer<VantorGroupDownloadTask> watch = first;
    const Task second = started(QStringLiteral("same"));
    QCOMPARE(registry()->FindGroupTask(QStringLiteral("same")), second);
    first.reset();
    QVERIFY(!watch);
}

void tst_VantorGroupDownloadTask::endDoesNotForgetALaterTask()
{
    // The first task learns its end; before the registry forgets it, the engine hands its guid out again.
    const Task first = started(QStringLiteral("same"));
    Task second;
    connect(
        first.data(), &VantorGroupDownloadTask::groupTaskInfo, this, [&] { second = started(QStringLiteral("same")); },
        Qt::DirectConnection);
    engine->FireGroup(QStringLiteral("same"), ended(QStringLiteral("same")));
    settle();
    QVERIFY(second);
    QCOMPARE(registry()->FindGroupTask(QStringLiteral("same")), second);
}

void tst_VantorGroupDownloadTask::earlyCallbacksArriveInOrder()
{
    const Task task = VantorGroupDownloadTask::MakeGroupDownloadTask();
    TaskEvents events(task);
    engine->DuringSetDownloadList([this](const QString& guid) {
        engine->FireGroup(guid, pending(guid, 1));
        engine->FireSingle(guid, QStringLiteral("f"), "{}");
        engine->FireGroup(guid, pending(guid, 2));
        engine->Flush();
        syncGroupThread();
        engine->FireGroup(guid, pending(guid, 3));
    });
    engine->NextGroupGuid(QStringLiteral("early"));
    task->Start(request());
    engine->FireGroup(QStringLiteral("early"), pending(QStringLiteral("early"), 4));
    const auto line = [](int number) {
        return QString(QStringLiteral("group early: ") + QString::fromUtf8(pending(QStringLiteral("early"), number)));
    };
    QTRY_COMPARE(events.lines,
                 (QStringList{line(1), QStringLiteral("file f of early: {}"), line(2), line(3), line(4)}));
}

void tst_VantorGroupDownloadTask::earlyCallbacksEndAtTheEnd()
{
    const Task task = VantorGroupDownloadTask::MakeGroupDownloadTask();
    TaskEvents events(task);
    engine->DuringSetDownloadList([this](const QString& guid) {
        engine->FireGroup(guid, ended(guid));
        engine->FireGroup(guid, pending(guid));
        engine->FireSingle(guid, QStringLiteral("f"), "{}");
        engine->Flush();
        syncGroupThread();
    });
    engine->NextGroupGuid(QStringLiteral("ends early"));
    task->Start(request());
    settle();
    QCOMPARE(events.lines.size(), 1);
    QVERIFY(!task->IsRunning());
    QCOMPARE(task->GetGuid(), QStringLiteral("ends early"));
    QVERIFY(!registry()->FindGroupTask(QStringLiteral("ends early")));
}

void tst_VantorGroupDownloadTask::earlyCallbacksOfStrangersAreDropped()
{
    engine->DuringSetDownloadList([this](const QString& /*guid*/) {
        engine->FireGroup(QStringLiteral("stranger"), pending(QStringLiteral("stranger")));
        engine->Flush();
        syncGroupThread();
    });
    const Task task = started(QStringLiteral("g"));
    const Task stranger = started(QStringLiteral("stranger")); // known only after the callback
    TaskEvents events(stranger);
    settle();
    QCOMPARE(events.lines, QStringList());
    QCOMPARE(log->texts(), QStringList());
}

void tst_VantorGroupDownloadTask::lateCallbackDuringARegistration()
{
    QSemaphore gate;
    const auto block = [&gate] {
        QMetaObject::invokeMethod(
            registry(), [&gate] { gate.acquire(); }, Qt::QueuedConnection);
    };
    // The first group has an early callback, and ends before the registry has come to handing that out.
    engine->DuringSetDownloadList([&](const QString& guid) {
        engine->FireGroup(guid, pending(guid));
        engine->Flush();
        syncGroupThread();
        block();
        engine->FireGroup(guid, ended(guid));
        engine->FireGroup(guid, pending(guid, 9));
        engine->Flush();
    });
    const Task first = VantorGroupDownloadTask::MakeGroupDownloadTask();
    TaskEvents events(first);
    engine->NextGroupGuid(QStringLiteral("overtaken"));
    first->Start(request());
    // All that happens while another group is being registered.
    engine->DuringSetDownloadList([&](const QString& /*guid*/) {
        gate.release();
        syncGroupThread();
    });
    const Task second = started(QStringLiteral("overtaking"));
    settle();
    QCOMPARE(events.lines.size(), 2);
    QVERIFY(registry()->FindGroupTask(QStringLiteral("overtaking")));
    QVERIFY(!registry()->FindGroupTask(QStringLiteral("overtaken")));
}

void tst_VantorGroupDownloadTask::badTextsArriveAsInvalidModels()
{
    const Task task = started(QStringLiteral("g"));
    TaskEvents events(task);
    engine->FireGroup(QStringLiteral("g"), "no JSON");
    engine->FireSingle(QStringLiteral("g"), QStringLiteral("f"), "");
    QTRY_COMPARE(events.lines.size(), 2);
    QVERIFY(!events.valid);
    QCOMPARE(log->texts(kInfo), (QStringList{QStringLiteral(" [net] [vantor] groupGuid: g, group info: "),
                                             QStringLiteral(" [net] [vantor] groupGuid: g, task_guid: f info: ")}));
}

void tst_VantorGroupDownloadTask::callbacksFromSeveralThreads()
{
    constexpr int kTasks = 40;
    constexpr int kCallbacks = 50;
    QList<Task> tasks;
    std::vector<std::unique_ptr<TaskEvents>> events;
    QList<QStringList> expected;
    for (int i = 0; i < kTasks; ++i) {
        const QString guid = QStringLiteral("t%1").arg(i);
        tasks.append(started(guid));
        events.push_back(std::make_unique<TaskEvents>(tasks.last()));
        expected.append(QStringList());
    }
    for (int number = 0; number < kCallbacks; ++number) {
        for (int i = 0; i < kTasks; ++i) {
            const QByteArray text =
                number + 1 < kCallbacks ? pending(tasks[i]->GetGuid(), number) : ended(tasks[i]->GetGuid());
            engine->FireGroup(tasks[i]->GetGuid(), text, i % kEngineThreads);
            expected[i].append(QStringLiteral("group %1: %2").arg(tasks[i]->GetGuid(), QString::fromUtf8(text)));
        }
    }
    settle();
    for (int i = 0; i < kTasks; ++i) {
        QCOMPARE(events[static_cast<std::size_t>(i)]->lines, expected[i]);
        QVERIFY(!registry()->FindGroupTask(tasks[i]->GetGuid()));
    }
}

void tst_VantorGroupDownloadTask::ownerDropsTasksWhileTheyAreNotified()
{
    QList<QWeakPointer<VantorGroupDownloadTask>> watches;
    for (int i = 0; i < 200; ++i) {
        const QString guid = QStringLiteral("d%1").arg(i);
        Task task = started(guid);
        watches.append(task);
        engine->FireGroup(guid, pending(guid), i % kEngineThreads);
        engine->FireGroup(guid, ended(guid), i % kEngineThreads);
        task.reset();
    }
    settle();
    for (const auto& watch : qAsConst(watches))
        QVERIFY(!watch);
}

void tst_VantorGroupDownloadTask::startsFromSeveralThreads()
{
    constexpr int kThreads = 4;
    constexpr int kTasks = 50;
    std::atomic<int> reported{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([this, t, &reported] {
            for (int i = 0; i < kTasks; ++i) {
                const Task task = VantorGroupDownloadTask::MakeGroupDownloadTask();
                connect(
                    task.data(), &VantorGroupDownloadTask::groupTaskInfo, task.data(), [&reported] { ++reported; },
                    Qt::DirectConnection);
                task->Start(request());
                engine->FireGroup(task->GetGuid(), ended(task->GetGuid()), t);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    settle();
    QCOMPARE(reported.load(), kThreads * kTasks);
}

void tst_VantorGroupDownloadTask::readersRaceWithCallbacks_data()
{
    QTest::addColumn<int>("reader");
    QTest::newRow("FindGroupTask") << 0;
    QTest::newRow("IsRunning") << 1;
}

// One thread does nothing but this one thing, so that nothing else orders it against the group thread.
void tst_VantorGroupDownloadTask::readersRaceWithCallbacks()
{
    QFETCH(int, reader);
    std::atomic<bool> stop{false};
    std::atomic<int> rounds{0};
    Task task = started(QStringLiteral("read 0"));
    std::atomic<int> hits{0}; // keeps the reads from being optimised away
    std::thread racer([&stop, &rounds, &hits, reader, task] {
        const QString guid = QStringLiteral("read 50");
        int found = 0;
        while (!stop.load(std::memory_order_relaxed)) {
            rounds.fetch_add(1, std::memory_order_relaxed);
            if (reader == 0)
                found += registry()->FindGroupTask(guid) ? 1 : 0;
            else
                found += task->IsRunning() ? 1 : 0;
        }
        hits.store(found, std::memory_order_relaxed);
    });
    for (int i = 0; i < 100; ++i) {
        const QString guid = QStringLiteral("read %1").arg(i);
        engine->NextGroupGuid(guid);
        task->Start(request());
        engine->FireGroup(guid, pending(guid));
        engine->FireGroup(guid, ended(guid));
    }
    settle();
    while (rounds.load(std::memory_order_relaxed) == 0)
        QThread::yieldCurrentThread();
    stop.store(true, std::memory_order_relaxed);
    racer.join();
    QVERIFY(hits.load(std::memory_order_relaxed) >= 0);
    QVERIFY(!task->IsRunning());
}

QTEST_GUILESS_MAIN(tst_VantorGroupDownloadTask)

#include "tst_VantorGroupDownloadTask.moc"

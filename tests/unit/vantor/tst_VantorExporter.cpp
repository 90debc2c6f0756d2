// SPDX-License-Identifier: MIT
#include "EngineDouble.h"
#include "EngineTexts.h"
#include "LogCapture.h"
#include "MessageCapture.h"
#include "vantor/VantorChunkTaskManager.h"
#include "vantor/VantorExporter.h"
#include "vantor/VantorGroupDownloadTask.h"
#include "vantor/VantorGroupDownloadTaskManager.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QMetaMethod>
#include <QPointer>
#include <QSemaphore>
#include <QTest>
#include <QThread>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace {

constexpr int kInfo = 2;
constexpr int kEngineThreads = 4;

const QStringList kStart{
    QStringLiteral("InitEnv(größe/路径, {\"a\":\"ü\"}, 3, 4)"),
    QStringLiteral("SetEngineStateCallback(1)"),
    QStringLiteral("SetSingleTaskCallback(1)"),
    QStringLiteral("SetGroupTaskCallback(1)"),
    QStringLiteral("SetChunkTaskCallback(1)"),
};

QThread* groupThread()
{
    return VantorGroupDownloadTaskManager::Instance()->thread();
}

QThread* chunkThread()
{
    return VantorChunkTaskManager::Instance()->thread();
}

void deleteDeferred()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace

class tst_VantorExporter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void instanceIsOne();
    void signalsAreDeclaredInOrder();
    void initStartsEngineAndThreads();
    void initReportsTheMissingConnections();
    void initTwice();
    void requestsCrossAsUtf8();
    void requestsWorkBeforeInit();
    void nullAnswersAreEmpty();
    void callbacksArriveQueued();
    void chunkAndGroupThreadsDiffer();
    void endedThreadIsReplaced();
    void endedThreadIsReplacedAtOnce();
    void destructorStopsTheThreads();
    void destructorLeavesTheHandleToTheEventLoop();
    void destructorDropsCallbacks();
    void destructorWaitsForCallbacks();
    void diesWithCallbacksInFlight();

private:
    void createExporter();
    void endThreads();
    void destroyExporter();

    std::unique_ptr<EngineDoubleClient> engine;
    std::unique_ptr<VantorExporter> exporter;
    QList<QPointer<QThread>> threads; // the exporter leaves them to the process
};

void tst_VantorExporter::init()
{
    engine = std::make_unique<EngineDoubleClient>();
    QVERIFY(engine->IsThere());
}

void tst_VantorExporter::cleanup()
{
    destroyExporter();
    engine.reset();
}

void tst_VantorExporter::createExporter()
{
    exporter = std::make_unique<VantorExporter>(nullptr);
    engine->TakeCalls();
}

/// Ends the exporter's threads, which it must have.
void tst_VantorExporter::endThreads()
{
    const QList<QPointer<QThread>> both{groupThread(), chunkThread()};
    threads << both;
    for (const QPointer<QThread>& thread : both)
        thread->quit();
    for (const QPointer<QThread>& thread : both)
        QVERIFY(thread->wait());
}

void tst_VantorExporter::destroyExporter()
{
    for (QThread* thread : {groupThread(), chunkThread()}) {
        if (thread != QThread::currentThread())
            threads.append(thread);
    }
    engine->Flush();
    exporter.reset();
    deleteDeferred();
    QCoreApplication::processEvents();
    for (const QPointer<QThread>& thread : qAsConst(threads))
        delete thread;
    threads.clear();
}

void tst_VantorExporter::instanceIsOne()
{
    std::vector<VantorExporter*> seen(8, nullptr);
    std::vector<std::thread> callers;
    for (VantorExporter*& place : seen)
        callers.emplace_back([&place] { place = VantorExporter::Instance(); });
    for (std::thread& caller : callers)
        caller.join();
    QVERIFY(seen[0]);
    for (VantorExporter* instance : seen)
        QCOMPARE(instance, seen[0]);
    QCOMPARE(VantorExporter::Instance(), seen[0]);
    QVERIFY(!seen[0]->parent());
}

void tst_VantorExporter::signalsAreDeclaredInOrder()
{
    QStringList names;
    const QMetaObject& meta = VantorExporter::staticMetaObject;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        if (method.methodType() == QMetaMethod::Signal) {
            names.append(QString::fromLatin1(method.methodSignature() + ' ' + method.parameterNames().join(", ")));
        }
    }
    QCOMPARE(names, (QStringList{
                        QStringLiteral("onSingleTaskCallback(QString,QString,QString) group_guid, task_guid, data"),
                        QStringLiteral("onGroupTaskCallback(QString,QString) guid, data"),
                        QStringLiteral("onLogCallback(int,QString,int,int,QString) severity, file, line, "
                                       "message_start, message"),
                        QStringLiteral("onStateCallback(QString) data"),
                        QStringLiteral("onChunkTaskCallback(QString,QString) guid, data"),
                    }));
}

void tst_VantorExporter::initStartsEngineAndThreads()
{
    createExporter();
    const LogCapture log;
    QVERIFY(exporter->Init(QStringLiteral("größe/路径"), QStringLiteral("{\"a\":\"ü\"}"), 3, 4));
    QCOMPARE(engine->TakeCallLines(), kStart);
    const auto records = log.records();
    QCOMPARE(records.size(), std::size_t(1));
    QCOMPARE(QString::fromStdString(records[0].text),
             QStringLiteral(" [vantor] init, path: größe/路径, config: {\"a\":\"ü\"}, log level: 3, log dst: 4"));
    QCOMPARE(records[0].level, kInfo);
    QCOMPARE(records[0].file, std::string("src/base/QComm/vantor/VantorExporter.cpp"));
    QVERIFY(groupThread()->isRunning());
    QVERIFY(chunkThread()->isRunning());
    QVERIFY(groupThread() != QThread::currentThread());
}

void tst_VantorExporter::initReportsTheMissingConnections()
{
    createExporter();
    const MessageCapture messages;
    QVERIFY(exporter->Init(QString(), QString(), 0, 0));
    const QStringList warnings = messages.Texts(QtWarningMsg);
    QCOMPARE(warnings.size(), 3);
    QVERIFY(warnings[0].startsWith(QStringLiteral("QObject::connect: No such slot "
                                                  "VantorGroupDownloadTaskManager::start()")));
    QVERIFY(warnings[1].startsWith(QStringLiteral("QObject::connect: No such slot VantorChunkTaskManager::start()")));
    QVERIFY(
        warnings[2].startsWith(QStringLiteral("QObject::connect: No such signal VantorChunkTaskManager::complete()")));
}

void tst_VantorExporter::initTwice()
{
    createExporter();
    QVERIFY(exporter->Init(QString(), QString(), 0, 0));
    engine->TakeCalls();
    QThread* const first = groupThread();
    QThread* const firstChunk = chunkThread();
    QVERIFY(exporter->Init(QStringLiteral("größe/路径"), QStringLiteral("{\"a\":\"ü\"}"), 3, 4));
    QCOMPARE(engine->TakeCallLines(), kStart);
    QCOMPARE(groupThread(), first);
    QCOMPARE(chunkThread(), firstChunk);

    // Each callback is delivered twice now.
    const auto task = VantorGroupDownloadTask::MakeGroupDownloadTask();
    engine->NextGroupGuid(QStringLiteral("twice"));
    task->Start(std::make_unique<VantorGroupDownloadTaskReq>());
    int infos = 0;
    connect(task.data(), &VantorGroupDownloadTask::groupTaskInfo, this, [&infos] { ++infos; });
    engine->FireGroup(QStringLiteral("twice"), "{\"status\":\"Pending\"}");
    QTRY_COMPARE(infos, 2);
    engine->FireGroup(QStringLiteral("twice"), EngineTexts::Group(QStringLiteral("twice"), QStringLiteral("Success"),
                                                                  {EngineTexts::File(QString(), QString())}));
    QTRY_COMPARE(infos, 3); // the second delivery finds the group ended
    QTRY_VERIFY(!task->IsRunning());
}

void tst_VantorExporter::requestsCrossAsUtf8()
{
    createExporter();
    engine->NextGroupGuid(QStringLiteral("Gruppe-ß"));
    QCOMPARE(exporter->SetDownloadList(QStringLiteral("列表"), QStringLiteral("ä")), QStringLiteral("Gruppe-ß"));
    engine->NextChunkGuid(QStringLiteral("块"));
    QCOMPARE(exporter->StartChunkTask(QStringLiteral("请求"), QStringLiteral("ö")), QStringLiteral("块"));
    exporter->SetConfig(QStringLiteral("配置"));
    exporter->Cancel(QStringLiteral("ü"));
    exporter->CancelChunkTask(QStringLiteral("é"));
    QCOMPARE(engine->TakeCallLines(),
             (QStringList{QStringLiteral("SetDownloadList(列表, ä)"), QStringLiteral("StartChunkTask(请求, ö)"),
                          QStringLiteral("SetConfig(配置)"), QStringLiteral("Cancel(ü)"),
                          QStringLiteral("CancelChunkTask(é)")}));
}

void tst_VantorExporter::requestsWorkBeforeInit()
{
    createExporter();
    exporter->SetConfig(QString());
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("SetConfig()")));
    QCOMPARE(groupThread(), QThread::currentThread());
    QCOMPARE(chunkThread(), QThread::currentThread());
}

void tst_VantorExporter::nullAnswersAreEmpty()
{
    createExporter();
    engine->NextGroupGuidIsNull();
    QCOMPARE(exporter->SetDownloadList(QString(), QString()), QString());
    engine->NextChunkGuidIsNull();
    QCOMPARE(exporter->StartChunkTask(QString(), QString()), QString());
    // A text that the engine overwrites afterwards has been copied.
    engine->NextGroupGuid(QStringLiteral("kept"));
    const QString guid = exporter->SetDownloadList(QString(), QString());
    engine->ScribbleReturnedTexts();
    QCOMPARE(guid, QStringLiteral("kept"));
}

void tst_VantorExporter::callbacksArriveQueued()
{
    createExporter();
    QVERIFY(exporter->Init(QString(), QString(), 0, 0));
    std::atomic<QThread*> emittedOn{nullptr};
    connect(
        exporter.get(), &VantorExporter::onStateCallback, this, [&] { emittedOn = QThread::currentThread(); },
        Qt::DirectConnection);
    QStringList received;
    QThread* receivedOn = nullptr;
    connect(exporter.get(), &VantorExporter::onStateCallback, this, [&](const QString& data) {
        received.append(data);
        receivedOn = QThread::currentThread();
    });
    engine->FireState("{\"state\":\"läuft\"}");
    QTRY_COMPARE(received, QStringList(QStringLiteral("{\"state\":\"läuft\"}")));
    QCOMPARE(receivedOn, QThread::currentThread());
    engine->Flush();
    QVERIFY(emittedOn.load() != QThread::currentThread());
}

void tst_VantorExporter::chunkAndGroupThreadsDiffer()
{
    createExporter();
    QVERIFY(exporter->Init(QString(), QString(), 0, 0));
    QVERIFY(groupThread() != chunkThread());
    QVERIFY(!groupThread()->parent());
    QVERIFY(!chunkThread()->parent());
    QCOMPARE(groupThread()->priority(), QThread::InheritPriority);
    QCOMPARE(chunkThread()->priority(), QThread::InheritPriority);
}

void tst_VantorExporter::endedThreadIsReplaced()
{
    createExporter();
    QVERIFY(exporter->Init(QString(), QString(), 0, 0));
    const QPointer<QThread> first = groupThread();
    const QPointer<QThread> firstChunk = chunkThread();
    endThreads();
    QCoreApplication::processEvents(); // the exporter learns of it
    QVERIFY(exporter->Init(QString(), QString(), 0, 0));
    QVERIFY(groupThread() != first);
    QVERIFY(chunkThread() != firstChunk);
    QVERIFY(groupThread()->isRunning());
    QVERIFY(chunkThread()->isRunning());
    QVERIFY(!first->isRunning());

    const auto task = VantorGroupDownloadTask::MakeGroupDownloadTask();
    engine->NextGroupGuid(QStringLiteral("again"));
    task->Start(std::make_unique<VantorGroupDownloadTaskReq>());
    int infos = 0;
    connect(task.data(), &VantorGroupDownloadTask::groupTaskInfo, this, [&infos] { ++infos; });
    engine->FireGroup(QStringLiteral("again"), EngineTexts::Group(QStringLiteral("again"), QStringLiteral("Success"),
                                                                  {EngineTexts::File(QString(), QString())}));
    QTRY_COMPARE(infos, 1);
}

void tst_VantorExporter::endedThreadIsReplacedAtOnce()
{
    // The thread has ended, but no event has told the exporter yet.
    createExporter();
    QVERIFY(exporter->Init(QString(), QString(), 0, 0));
    const QPointer<QThread> first = groupThread();
    const QPointer<QThread> firstChunk = chunkThread();
    endThreads();
    QVERIFY(exporter->Init(QString(), QString(), 0, 0));
    const QPointer<QThread> second = groupThread();
    const QPointer<QThread> secondChunk = chunkThread();
    QVERIFY(second != first);
    QVERIFY(secondChunk != firstChunk);
    QCoreApplication::processEvents(); // the late news of the first threads must not hide the second ones
    threads << second << secondChunk;
    engine->Flush();
    exporter.reset();
    QVERIFY(second->isFinished());
    QVERIFY(secondChunk->isFinished());
}

void tst_VantorExporter::destructorStopsTheThreads()
{
    createExporter();
    QVERIFY(exporter->Init(QString(), QString(), 0, 0));
    const QPointer<QThread> group = groupThread();
    const QPointer<QThread> chunk = chunkThread();
    threads << group << chunk;
    // Each thread is busy until it is asked to stop, and the destructor waits for both.
    QSemaphore started;
    std::atomic<int> asked{0};
    const auto busy = [&started, &asked] {
        started.release();
        while (!QThread::currentThread()->isInterruptionRequested())
            QThread::yieldCurrentThread();
        ++asked;
    };
    QMetaObject::invokeMethod(VantorGroupDownloadTaskManager::Instance(), busy, Qt::QueuedConnection);
    QMetaObject::invokeMethod(VantorChunkTaskManager::Instance(), busy, Qt::QueuedConnection);
    started.acquire(2);
    exporter.reset();
    QCOMPARE(asked.load(), 2);
    QVERIFY(group && group->isFinished());
    QVERIFY(chunk && chunk->isFinished());
    // The managers live on, for a later start.
    QCOMPARE(groupThread(), QThread::currentThread());
    QCOMPARE(chunkThread(), QThread::currentThread());
}

void tst_VantorExporter::destructorLeavesTheHandleToTheEventLoop()
{
    createExporter();
    QVERIFY(exporter->Init(QString(), QString(), 0, 0));
    threads << groupThread() << chunkThread();
    engine->TakeCalls();
    exporter.reset();
    QCOMPARE(engine->TakeCallLines(), QStringList());
    deleteDeferred();
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("RemoveCallback()")));
}

void tst_VantorExporter::destructorDropsCallbacks()
{
    createExporter();
    QVERIFY(exporter->Init(QString(), QString(), 0, 0));
    threads << groupThread() << chunkThread();
    const LogCapture log;
    const auto task = VantorGroupDownloadTask::MakeGroupDownloadTask();
    engine->NextGroupGuid(QStringLiteral("dropped"));
    task->Start(std::make_unique<VantorGroupDownloadTaskReq>());
    int infos = 0;
    connect(task.data(), &VantorGroupDownloadTask::groupTaskInfo, this, [&infos] { ++infos; });
    exporter.reset();
    const MessageCapture messages;
    QVERIFY(engine->IsInstalled(EngineDouble::GroupTaskCallback)); // it is the trampoline that drops them
    engine->FireGroup(QStringLiteral("dropped"), "{\"status\":\"Pending\"}");
    engine->FireState("{}");
    engine->Flush();
    QCoreApplication::processEvents();
    QCOMPARE(infos, 0);
    QCOMPARE(log.texts(), QStringList());
    QCOMPARE(messages.Texts(QtDebugMsg), QStringList());
}

void tst_VantorExporter::destructorWaitsForCallbacks()
{
    createExporter();
    QVERIFY(exporter->Init(QString(), QString(), 0, 0));
    threads << groupThread() << chunkThread();
    // The callback stays in the exporter long enough for the destructor to be over before it, if that did not wait.
    QSemaphore entered;
    std::atomic<bool> destroyed{false};
    std::atomic<bool> diedInside{false};
    connect(
        exporter.get(), &VantorExporter::onStateCallback, this,
        [&] {
            entered.release();
            const QDeadlineTimer deadline(300);
            while (!destroyed.load() && !deadline.hasExpired())
                QThread::yieldCurrentThread();
            diedInside = destroyed.load();
        },
        Qt::DirectConnection);
    connect(exporter.get(), &QObject::destroyed, this, [&destroyed] { destroyed = true; });
    engine->FireState("{}");
    entered.acquire();
    exporter.reset();
    QVERIFY(destroyed);
    engine->Flush();
    QVERIFY(!diedInside);
}

void tst_VantorExporter::diesWithCallbacksInFlight()
{
    engine->IgnoreRemoval(true);
    for (int round = 0; round < 20; ++round) {
        createExporter();
        QVERIFY(exporter->Init(QString(), QString(), 0, 0));
        for (int i = 0; i < 50; ++i) {
            for (int thread = 0; thread < kEngineThreads; ++thread) {
                engine->FireGroup(QStringLiteral("g"), "{\"status\":\"Pending\"}", thread);
                engine->FireSingle(QStringLiteral("g"), QStringLiteral("f"), "{}", thread);
                engine->FireChunk(QStringLiteral("c"), "{\"action\":\"fetch_size\"}", thread);
                engine->FireState("{}", thread);
            }
        }
        threads << groupThread() << chunkThread();
        exporter.reset(); // while the engine's threads are calling
        deleteDeferred();
        engine->Flush();
        QCoreApplication::processEvents();
    }
}

QTEST_GUILESS_MAIN(tst_VantorExporter)

#include "tst_VantorExporter.moc"

// SPDX-License-Identifier: MIT
// How the exporter's threads end with the application. No application spans this program: each test has its own.
#include "EngineDouble.h"
#include "EngineTexts.h"
#include "vantor/VantorChunkTaskManager.h"
#include "vantor/VantorExporter.h"
#include "vantor/VantorGroupDownloadTask.h"
#include "vantor/VantorGroupDownloadTaskManager.h"

#include <QCoreApplication>
#include <QPointer>
#include <QProcess>
#include <QTest>
#include <QThread>

#include <cstring>
#include <memory>

namespace {

// Makes this program a launcher that starts the engine and returns at once.
constexpr char kStartAndReturn[] = "start-and-return";

constexpr int kProcesses = 12;
constexpr int kProcessMs = 20000;

int g_argc = 1;
char** g_argv = nullptr;

QThread* groupThread()
{
    return VantorGroupDownloadTaskManager::Instance()->thread();
}

QThread* chunkThread()
{
    return VantorChunkTaskManager::Instance()->thread();
}

// Runs a group that reports twice, the second time its end. Returns how often it is told of until then; -1 when its
// end is not told.
int infosOfARun(EngineDoubleClient& engine)
{
    const auto task = VantorGroupDownloadTask::MakeGroupDownloadTask();
    QObject context;
    int infos = 0;
    bool ended = false;
    QObject::connect(task.data(), &VantorGroupDownloadTask::groupTaskInfo, &context,
                     [&infos, &ended](const QString& /*guid*/, const GroupTaskModel& model) {
                         ++infos;
                         ended = model.finished;
                     });
    const QString guid = QStringLiteral("run");
    engine.NextGroupGuid(guid);
    task->Start(std::make_unique<VantorGroupDownloadTaskReq>());
    engine.FireGroup(guid, EngineTexts::Group(guid, QStringLiteral("Pending"), {}));
    engine.FireGroup(guid,
                     EngineTexts::Group(guid, QStringLiteral("Success"), {EngineTexts::File(QString(), QString())}));
    return QTest::qWaitFor([&ended] { return ended; }) ? infos : -1;
}

int startAndReturn()
{
    const QCoreApplication application(g_argc, g_argv);
    return VantorExporter::Instance()->Init(QString(), QString(), 0, 0) ? 0 : 1;
}

} // namespace

class tst_VantorExporterEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void threadsEndWithTheApplication();
    void nextApplicationNeedsNoStart();
    void nextApplicationStartsThemAgain();
    void processEndsRightAfterTheStart();
};

void tst_VantorExporterEnd::threadsEndWithTheApplication()
{
    auto application = std::make_unique<QCoreApplication>(g_argc, g_argv);
    QVERIFY(VantorExporter::Instance()->Init(QString(), QString(), 0, 0));
    const QPointer<QThread> group = groupThread();
    const QPointer<QThread> chunk = chunkThread();
    QVERIFY(group != chunk);
    QVERIFY(group->isRunning());
    QVERIFY(chunk->isRunning());
    application.reset();
    QVERIFY(group && group->isFinished());
    QVERIFY(chunk && chunk->isFinished());
    QCOMPARE(groupThread(), QThread::currentThread());
    QCOMPARE(chunkThread(), QThread::currentThread());
}

void tst_VantorExporterEnd::nextApplicationNeedsNoStart()
{
    const QCoreApplication application(g_argc, g_argv);
    EngineDoubleClient engine;
    QVERIFY(engine.IsThere());
    QCOMPARE(groupThread(), QThread::currentThread());
    QCOMPARE(infosOfARun(engine), 2);
}

void tst_VantorExporterEnd::nextApplicationStartsThemAgain()
{
    const QCoreApplication application(g_argc, g_argv);
    EngineDoubleClient engine;
    QVERIFY(engine.IsThere());
    QVERIFY(VantorExporter::Instance()->Init(QString(), QString(), 0, 0));
    QVERIFY(groupThread() != QThread::currentThread());
    QVERIFY(groupThread()->isRunning());
    QVERIFY(chunkThread()->isRunning());

    // Twice, as after any second start.
    QCOMPARE(infosOfARun(engine), 3);
}

void tst_VantorExporterEnd::processEndsRightAfterTheStart()
{
    // The threads are only just starting then. A process that leaves that to the system to cut off may never end.
    const QCoreApplication application(g_argc, g_argv);
    for (int number = 0; number < kProcesses; ++number) {
        QProcess process;
        process.start(QCoreApplication::applicationFilePath(), {QLatin1String(kStartAndReturn)});
        QVERIFY2(process.waitForFinished(kProcessMs), qPrintable(process.errorString()));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 0);
        QVERIFY(!process.readAllStandardError().contains("Cannot move"));
    }
}

int main(int argc, char** argv)
{
    g_argv = argv;
    if (argc == 2 && std::strcmp(argv[1], kStartAndReturn) == 0)
        return startAndReturn();
    tst_VantorExporterEnd test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_VantorExporterEnd.moc"

// SPDX-License-Identifier: MIT
// Without an engine on the search path every operation is harmless.
#include "DownloadEvents.h"
#include "EngineDouble.h"
#include "LogCapture.h"
#include "Manager/DownloadController.h"
#include "vantor/VantorChunkReq.h"
#include "vantor/VantorChunkTask.h"
#include "vantor/VantorChunkTaskManager.h"
#include "vantor/VantorExporter.h"
#include "vantor/VantorGroupDownloadTask.h"
#include "vantor/VantorGroupDownloadTaskManager.h"

#include <QCoreApplication>
#include <QTest>
#include <QThread>

#include <memory>

class tst_NoEngine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void engineIsMissing();
    void exporterAnswersEmpty();
    void controllerIsHarmless();
    void groupTaskIsHarmless();
    void chunkTaskIsRegisteredUnderTheEmptyGuid();
};

void tst_NoEngine::engineIsMissing()
{
    QVERIFY(!EngineDoubleClient().IsThere());
}

void tst_NoEngine::exporterAnswersEmpty()
{
    const LogCapture log;
    VantorExporter* const exporter = VantorExporter::Instance();
    QVERIFY(!exporter->Init(QStringLiteral("p"), QStringLiteral("c"), 1, 2));
    QCOMPARE(log.count(2, QStringLiteral(" [vantor] init, path: p, config: c, log level: 1, log dst: 2")), 1);
    exporter->SetConfig(QStringLiteral("{}"));
    QCOMPARE(exporter->SetDownloadList(QStringLiteral("{}"), QString()), QString());
    exporter->Cancel(QStringLiteral("g"));
    QCOMPARE(exporter->StartChunkTask(QStringLiteral("{}"), QString()), QString());
    exporter->CancelChunkTask(QStringLiteral("g"));
    QCOMPARE(log.texts().size(), 1);
    // No thread was made for either manager.
    QCOMPARE(VantorGroupDownloadTaskManager::Instance()->thread(), QThread::currentThread());
    QCOMPARE(VantorChunkTaskManager::Instance()->thread(), QThread::currentThread());
}

void tst_NoEngine::controllerIsHarmless()
{
    DownloadController controller(nullptr, QStringLiteral("net"));
    DownloadTaskModel file;
    file.Init(QStringLiteral("http://127.0.0.1/a"), QStringLiteral("C:/Games"), QString(), QString(), 5);
    DownloadEvents events(&controller);
    controller.Init(QString(), QString(), 0, 0);
    const int group = controller.SetTask({file}, Normal);
    controller.StartDownloadTask(group, QStringLiteral("C:/Games"));
    controller.SetSpeedLimit(5);
    controller.StopDownloadTask(group);
    controller.RemoveDownloadTask(group);
    controller.RemoveAllDownloadTask();
    controller.StopAllDownloadTask();
    QCoreApplication::processEvents();
    QCOMPARE(events.Take(), (QStringList{QStringLiteral("totalSize(http://127.0.0.1/a, 5)"),
                                         QStringLiteral("totalSize(http://127.0.0.1/a, 5)")}));
}

void tst_NoEngine::groupTaskIsHarmless()
{
    const auto task = VantorGroupDownloadTask::MakeGroupDownloadTask();
    auto request = std::make_unique<VantorGroupDownloadTaskReq>();
    request->downloadList = QStringLiteral("{}");
    task->Start(std::move(request));
    QCOMPARE(task->GetGuid(), QString());
    QVERIFY(task->IsRunning());
    QCOMPARE(VantorGroupDownloadTaskManager::Instance()->FindGroupTask(QString()), task);
    task->Cancel();
}

void tst_NoEngine::chunkTaskIsRegisteredUnderTheEmptyGuid()
{
    const auto task = VantorChunkTask::MakeChunkTask();
    task->Start(std::make_unique<VantorChunkReq>());
    QCOMPARE(task->GetGuid(), QString());
    QVERIFY(task->IsRunning());
    QCOMPARE(VantorChunkTaskManager::Instance()->FindChunkTask(QString()), task);
    task->Cancel();
    QVERIFY(task->IsRunning());
    VantorChunkTaskManager::Instance()->RemoveChunkTask(QString());
    QVERIFY(!VantorChunkTaskManager::Instance()->FindChunkTask(QString()));
}

QTEST_GUILESS_MAIN(tst_NoEngine)

#include "tst_NoEngine.moc"
